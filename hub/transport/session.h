/// Finds the monitor's hub among the USB devices and holds the one open session, `g_Dev`.
///
/// A device's position is its index among the devices on the bus that yielded a device interface, counted
/// from 0. Nothing here prints; failures are the boolean results and `g_ErrCode`. One thread only.
#pragma once

#include "hub/platform/usb_platform.h"
#include "hub/result_codes.h"

#include <cstdint>
#include <memory>

/// The open hub; null when there is no session. HH_Open sets it, HH_Close releases it.
extern std::unique_ptr<platform::Device> g_Dev;

/// Results of HH_Speed that are not the operating system's.
namespace hub {
constexpr platform::Status speed_no_session = 29;
constexpr platform::Status speed_null_argument = 4;
} // namespace hub

/// Opens the first hub at or after `*position` (0 when null), enables its vendor commands and stores its
/// position in `*position`. False with g_ErrCode 2 when the bus cannot be listed, 5 when no hub is left or
/// the first one cannot be opened (later hubs are not tried). A session that is still open is replaced
/// without being closed; as macOS refuses to open the same hub twice, call HH_Close first.
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
