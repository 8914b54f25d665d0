/// The hub chip's own vendor commands, one function a command.
///
/// | command      | type | bRequest | wValue       | wIndex        | data    | what the hub does
/// |--------------|------|----------|--------------|---------------|---------|---------------------------
/// | HubResetRom  | 0x40 | 0x00     | 0            | 0             | none    | restarts into its boot ROM
/// | HubReset     | 0x40 | 0x01     | 0            | 0             | none    | restarts
/// | VdCmdEnable  | 0x40 | 0x02     | 1 on, 0 off  | access code   | none    | opens, locks the commands
/// | Status       | 0xC0 | 0x09     | 0            | 0             | len in  | gives its status block
/// | ReadMem      | 0xC0 | 0x0D     | 0            | addr, low 16  | len in  | reads its memory
/// | WriteMem     | 0x40 | 0x0E     | 0            | addr, low 16  | len out | writes its memory
/// | WriteFlash   | 0x40 | 0xC8     | addr, low 16 | addr, high 16 | len out | programs its SPI flash
/// | ReadFlash    | 0xC0 | 0xD8     | addr, low 16 | addr, high 16 | len in  | reads its SPI flash
/// | EraseFlash   | 0x40 | 0xE8     | addr, low 16 | addr, high 16 | none    | erases its SPI flash
/// | HubResetCode | 0x40 | 0xE9     | a or (b << 8)| 0             | none    | restarts into flash code
///
/// Flash can be erased and programmed only while the boot ROM runs. `len` is in bytes, of which the low 16
/// bits are sent. All return the status of Proxy_SendVendorCmd: 0 is success.
#pragma once

#include "hub/platform/usb_platform.h"

#include <cstdint>

/// The access code of the vendor-command enable request: the hub's own vendor id.
constexpr std::uint16_t kVdCmdKey = 0x2E4D;

/// 1 enables the vendor commands, 0 locks them. They are locked after every restart of the hub.
platform::Status HH_VdCmdEnable(std::uint16_t enable);

/// The three restarts. The hub leaves the bus on both faces and comes back as a new device.
platform::Status HH_HubResetRom();
platform::Status HH_HubReset();
platform::Status HH_HubResetCode(std::uint8_t a, std::uint8_t b);

/// The first `len` bytes of the status block (hub/firmware/hub_status.h).
platform::Status HH_Status(std::uint8_t* buf, std::uint32_t len);

/// Hub memory. Only the low 16 bits of `addr` reach the hub.
platform::Status HH_ReadMem(std::uint32_t addr, std::uint8_t* buf, std::uint32_t len);
platform::Status HH_WriteMem(std::uint32_t addr, std::uint8_t* buf, std::uint32_t len);

/// The hub's SPI flash.
platform::Status HH_ReadFlash(std::uint32_t addr, std::uint8_t* buf, std::uint32_t len);
platform::Status HH_WriteFlash(std::uint32_t addr, std::uint8_t* buf, std::uint32_t len);
platform::Status HH_EraseFlash(std::uint32_t addr);
