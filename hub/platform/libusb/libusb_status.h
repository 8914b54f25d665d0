/// libusb's error codes as the status numbers of the platform seam:
///
/// | libusb                      | status
/// |-----------------------------|--------------------------------------------------------------
/// | LIBUSB_SUCCESS, or a count  | success
/// | LIBUSB_ERROR_INVALID_PARAM  | bad_argument
/// | LIBUSB_ERROR_ACCESS         | not_privileged: the user may not open the device node
/// | LIBUSB_ERROR_NO_DEVICE      | no_device
/// | LIBUSB_ERROR_NOT_FOUND      | not_found
/// | LIBUSB_ERROR_BUSY           | exclusive_access
/// | LIBUSB_ERROR_TIMEOUT        | timeout
/// | LIBUSB_ERROR_OVERFLOW       | overrun: the device sent more data than requested
/// | LIBUSB_ERROR_PIPE           | pipe_stalled
/// | LIBUSB_ERROR_INTERRUPTED    | aborted
/// | LIBUSB_ERROR_NO_MEM         | no_memory
/// | LIBUSB_ERROR_NOT_SUPPORTED  | unsupported
/// | LIBUSB_ERROR_IO, any other  | io_error
#pragma once

#include "hub/platform/usb_platform.h"

namespace platform {

/// Translates a libusb result; a byte count means success.
Status statusOfLibusb(int result);

} // namespace platform
