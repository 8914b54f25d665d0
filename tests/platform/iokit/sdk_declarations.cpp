/// What the platform takes for granted without saying it: the bytes behind the names of the UUIDs, and the codes
/// of the link speeds. Compiles against the stand-ins on every machine and against the macOS SDK in
/// script/cross-macos.
#include <IOKit/IOCFPlugIn.h>
#include <IOKit/usb/IOUSBLib.h>

#include <utility>

namespace bytes_of_macros {

using Uuid = std::pair<std::uint64_t, std::uint64_t>;

/// In here the UUID macros find this function first, so that their bytes are known at compile time.
template <typename... Bytes>
constexpr Uuid CFUUIDGetConstantUUIDWithBytes(const void* /*allocator*/, Bytes... bytes)
{
    std::uint64_t halves[2] = {};
    int i = 0;
    ((halves[i / 8] = halves[i / 8] << 8U | static_cast<UInt8>(bytes), ++i), ...);
    return {halves[0], halves[1]};
}

static_assert(kIOUSBDeviceUserClientTypeID == Uuid{0x9DC7B7809EC011D4, 0xA54F000A27052861});
static_assert(kIOCFPlugInInterfaceID == Uuid{0xC244E858109C11D4, 0x91D40050E4C6426F});
static_assert(kIOUSBDeviceInterfaceID == Uuid{0x5C8187D09EF311D4, 0x8B45000A27052861});

} // namespace bytes_of_macros

static_assert(kUSBDeviceSpeedLow == 0 && kUSBDeviceSpeedFull == 1 && kUSBDeviceSpeedHigh == 2);
static_assert(kUSBDeviceSpeedSuper == 3);
