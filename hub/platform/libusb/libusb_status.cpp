/// Maps libusb's results to the seam's status values.
#include "hub/platform/libusb/libusb_status.h"

#include <libusb.h>

platform::Status platform::statusOfLibusb(int result)
{
    if (result >= 0)
        return success;
    switch (result) {
    case LIBUSB_ERROR_INVALID_PARAM:
        return bad_argument;
    case LIBUSB_ERROR_ACCESS:
        return not_privileged;
    case LIBUSB_ERROR_NO_DEVICE:
        return no_device;
    case LIBUSB_ERROR_NOT_FOUND:
        return not_found;
    case LIBUSB_ERROR_BUSY:
        return exclusive_access;
    case LIBUSB_ERROR_TIMEOUT:
        return timeout;
    case LIBUSB_ERROR_OVERFLOW:
        return overrun;
    case LIBUSB_ERROR_PIPE:
        return pipe_stalled;
    case LIBUSB_ERROR_INTERRUPTED:
        return aborted;
    case LIBUSB_ERROR_NO_MEM:
        return no_memory;
    case LIBUSB_ERROR_NOT_SUPPORTED:
        return unsupported;
    default:
        return io_error;
    }
}
