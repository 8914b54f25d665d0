/// Discovery of the hub and the process-wide session.
#include "hub/transport/session.h"

#include "hub/transport/hub_ids.h"
#include "hub/transport/vendor_commands.h"

#include <utility>

std::unique_ptr<platform::Device> g_Dev;
std::int32_t g_ErrCode = 0;

namespace {

/// Goes on to the next device that yields an interface, leaving a code for those that don't. Null at the end.
std::unique_ptr<platform::Device> nextDevice(platform::Enumeration& enumeration)
{
    std::unique_ptr<platform::Device> device;
    for (;;) {
        switch (enumeration.next(&device)) {
        case platform::Found::device:
            return device;
        case platform::Found::no_plug_in:
            g_ErrCode = hub::error_plug_in;
            break;
        case platform::Found::no_interface:
            g_ErrCode = hub::error_interface;
            break;
        case platform::Found::end:
            return nullptr;
        }
    }
}

/// An id that cannot be read counts as 0.
bool isHub(platform::Device& device)
{
    std::uint16_t vid = 0;
    std::uint16_t pid = 0;
    device.vendorId(&vid);
    device.productId(&pid);
    return isInVidPidPool(vid, pid);
}

bool startSession(std::unique_ptr<platform::Device> device)
{
    if (device->open() != platform::success) {
        g_ErrCode = hub::error_open;
        return false;
    }
    g_Dev = std::move(device);
    // A hub that refuses this one shows it by refusing every later command.
    HH_VdCmdEnable(1);
    return true;
}

} // namespace

bool HH_Open(std::uint32_t* position)
{
    const std::uint32_t start = position ? *position : 0;
    const auto enumeration = platform::enumerateUsbDevices();
    if (!enumeration) {
        g_ErrCode = hub::error_enumeration;
        return false;
    }
    std::uint16_t current = 0;
    while (auto device = nextDevice(*enumeration)) {
        if (current < start || !isHub(*device)) {
            ++current;
            continue;
        }
        if (!startSession(std::move(device)))
            return false;
        if (position)
            *position = current;
        return true;
    }
    g_ErrCode = hub::error_open;
    return false;
}

void HH_Close()
{
    if (!g_Dev)
        return;
    g_Dev->close();
    g_Dev.reset();
}

bool IsExistDevice()
{
    const auto enumeration = platform::enumerateUsbDevices();
    if (!enumeration) {
        g_ErrCode = hub::error_enumeration;
        return false;
    }
    while (auto device = nextDevice(*enumeration)) {
        if (isHub(*device))
            return true;
    }
    return false;
}

platform::Status HH_Speed(myUSB_DEVICE_SPEED* speed)
{
    if (!g_Dev)
        return hub::speed_no_session;
    if (!speed)
        return hub::speed_null_argument;
    std::uint8_t code = 1;
    const platform::Status status = g_Dev->speed(&code);
    if (status != platform::success) {
        *speed = myUSB_SPEED_UNKNOWN;
        return status;
    }
    // The operating system counts from low = 0, this enumeration from low = 1.
    *speed = code <= static_cast<std::uint8_t>(platform::LinkSpeed::super)
                 ? static_cast<myUSB_DEVICE_SPEED>(code + 1)
                 : myUSB_SPEED_UNKNOWN;
    return platform::success;
}

bool HH_GetLocation(std::uint32_t* location)
{
    return g_Dev && g_Dev->locationId(location) == platform::success;
}
