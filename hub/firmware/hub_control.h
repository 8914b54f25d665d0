/// Switching the hub between its boot ROM and its flash code, erasing its flash, reading its version.
///
/// All functions need the session to be open on entry and print nothing. A restarting hub leaves the bus, so
/// every reset closes the session; only HvxFun_ResetAndWait and HvxFun_OpenRomDevice open it again.
#pragma once

#include <cstdint>

/// The kinds of restart. Any other value sends no request.
enum HubResetKind : std::uint8_t {
    HUB_RESET = 0,
    ROM_MODE = 0x21, ///< into the boot ROM
    CODE_MODE = 0x22 ///< into the code in flash
};

/// True when the hub answers and runs its boot ROM.
bool HvxFun_IsRomCode();

/// Brings the hub into its boot ROM, by a restart if it runs its code. False when it does not come back, or
/// (g_ErrCode 12) comes back in code. The session is open again when the result is true.
bool HvxFun_OpenRomDevice();

/// Requests a restart and closes the session. Sends once; when the hub refuses, two later attempts find no session
/// and only wait, 128 ms each, and the result is false.
bool HvxFun_ResetDev(std::uint8_t kind);

/// Requests a restart once and closes the session. True when the hub accepted it, or for an unknown kind.
bool HvxFun_ResetDevEx(std::uint8_t kind);

/// Restarts the hub and opens the first one that comes back, polling 20 times, 2 s apart (1 s for a ROM
/// restart of a hub with reset mode 1). Blocks up to 40 s. False when the hub refused or did not come back.
bool HvxFun_ResetAndWait(std::uint8_t kind);

/// The reset mode byte of the status block; 0 when it cannot be read.
std::uint8_t HvxFun_GetResetMode();

/// Erases the hub's whole flash. Up to three attempts; waits 128 ms after each, including a successful one.
bool HvxFun_EraseFlash();

/// Running firmware version, major in bits 8 to 15 and minor in bits 0 to 7; 0 on failure.
std::uint16_t HvxFun_GetFwVer();
