/// Finds the monitor's hub among the USB devices and holds the one open session, `g_Dev`.
///
/// A device's position is its index among the devices on the bus that yielded a device interface, counted
/// from 0. Nothing here prints; failures are the boolean results and `g_ErrCode`. One thread only.
#pragma once

#include <cstdint>
#include <memory>

#include "hub/platform/usb_platform.h"

/// The open hub; null when there is no session. HH_Open sets it, HH_Close releases it.
extern std::unique_ptr<platform::Device> g_Dev;

/// The last error of discovery and of ROM entry, for diagnosis; never cleared.
extern std::int32_t g_ErrCode;

/// Values of g_ErrCode.
enum HubError : std::int32_t {
    hub_error_enumeration = 2, ///< the operating system refused the listing
    hub_error_plug_in = 3,     ///< a device gave no access path
    hub_error_interface = 4,   ///< a device gave no device interface
    hub_error_open = 5,        ///< no hub found, or opening it failed
    hub_error_rom_mode = 12    ///< the hub would not come up in ROM mode
};

/// USB link speed of the open hub.
enum myUSB_DEVICE_SPEED : std::uint32_t {
    myUSB_SPEED_UNKNOWN = 0, ///< unknown, or faster than SuperSpeed
    myUSB_SPEED_LOW = 1,
    myUSB_SPEED_FULL = 2,
    myUSB_SPEED_HIGH = 3, ///< USB 2
    myUSB_SPEED_SUPER = 4 ///< USB 3
};

/// Results of HH_Speed that are not the operating system's.
constexpr platform::Status speed_no_session = 29;
constexpr platform::Status speed_null_argument = 4;

/// Opens the first hub at or after `*position` (0 when null), enables its vendor commands and stores its
/// position in `*position`. False with g_ErrCode 2 when the bus cannot be listed, 5 when no hub is left or
/// the first one cannot be opened (later hubs are not tried). A session that is still open is replaced
/// without being closed, so call HH_Close first.
bool HH_Open(std::uint32_t* position);

/// Ends exclusive use and releases the session; nothing when there is none.
void HH_Close();

/// True when a hub is on the bus; opens nothing. g_ErrCode 2, 3 and 4 as for HH_Open, never 5.
bool IsExistDevice();

/// Reads the link speed of the session into `*speed`. Returns 0 on success, 29 without a session, 4 when
/// `speed` is null; else the operating system's status, with `*speed` unknown.
platform::Status HH_Speed(myUSB_DEVICE_SPEED* speed);

/// Reads the location id of the session: bus in the top byte, one hex digit a port. False without a session
/// or when it cannot be read.
bool HH_GetLocation(std::uint32_t* location);
