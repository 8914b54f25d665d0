/// The hub chip's USB-to-I2C bridge: four vendor requests that drive the I2C bus behind the hub.
///
/// | request     | type | bRequest | wValue                          | wIndex                  | data
/// |-------------|------|----------|---------------------------------|-------------------------|-----
/// | configure   | 0x40 | 0xF6     | 8-bit slave << 8, address bytes | data length << 8, mode  | none
/// | short write | 0x40 | 0xE6     | register address, low 16 bits   | register address, high  | out
/// | short read  | 0xC0 | 0xE6     | register address, low 16 bits   | register address, high  | in
/// | block write | 0x40 | 0xC6     | address, low 16 bits            | address, high 16 bits   | out
/// | block read  | 0xC0 | 0xD6     | address, low 16 bits            | address, high 16 bits   | in
///
/// The configuration is state of the hub chip and holds for all later requests until the next one. Two slaves
/// are in use: the display's DDC/CI at 0x6E (mode 0x80, data length 0x80) and the scaler's ISP port at 0x94
/// (mode 0x03). Asking the display for its firmware level:
///
///     40 F6 01 6E 80 80 00 00                      slave 6E, one address byte
///     40 C6 51 00 00 00 04 00 : 82 01 C9 FF        DDC/CI: get VCP feature C9
///     C0 D6 51 00 00 00 0B 00 : 6E 88 02 ..        100 ms later, the 11-byte reply
///
/// No length is checked here; wLength carries its low 16 bits.
#pragma once

#include "hub/platform/usb_platform.h"

#include <cstdint>

namespace hub {

constexpr std::uint8_t bridge_configure = 0xF6;
constexpr std::uint8_t bridge_short_access = 0xE6;
constexpr std::uint8_t bridge_block_write = 0xC6;
constexpr std::uint8_t bridge_block_read = 0xD6;

/// 8-bit address of the scaler's ISP port, and the mode byte that goes with it.
constexpr std::uint8_t isp_slave = 0x94;
constexpr std::uint8_t isp_mode = 0x03;

} // namespace hub

/// Register-address length last configured for the ISP port, in bytes.
extern std::uint8_t m_uAddrLen;
/// Data length last configured for the ISP port, in bytes; 1 whenever a status poll is made, which uses it.
extern std::uint8_t m_uDataLen;

/// Sends the 8-byte setup packet as it stands, without data. Prints "Error Code : %d" with errno when it
/// fails; always true.
bool HH_CtrlPipeNoDataOut(std::uint8_t* packet);

/// Send the 8-byte setup packet as it stands with `data`, which holds wLength bytes; the direction is bit 7
/// of byte 0. True when the status was 0.
bool HH_CtrlPipeIn(std::uint8_t* packet, std::uint8_t* data);
bool HH_CtrlPipeOut(std::uint8_t* packet, std::uint8_t* data);

/// Short read and write of `len` bytes at register `addr` of the configured slave.
bool MP_I2C_Read(std::uint32_t addr, std::uint8_t* buf, std::uint16_t len);
bool MP_I2C_Write(std::uint32_t addr, std::uint8_t* buf, std::uint16_t len);

/// Selects register `port` of the configured slave by a write of no bytes. Prints "Error Code : %d" with
/// errno when it fails; always true.
bool MP_I2C_SetDataPort(std::uint8_t port);

/// Points the bridge at the scaler's ISP port (always 0x94) with `addrLen` address bytes and `dataLen` data
/// bytes, and keeps both in m_uAddrLen and m_uDataLen even when the request fails. Prints "Error Code : %d"
/// with errno when it fails; always true.
bool MP_I2C_SetSlaveAddr(std::uint8_t addrLen, std::uint8_t dataLen);

namespace hub {

/// Points the bridge at the slave with the 8-bit address `slave`, with `addrLen` address bytes; the low three
/// bits of `modeBits` go into the mode byte. Prints what HH_CtlPipeNoDataOut prints.
bool configureBridge(std::uint8_t slave, std::uint8_t addrLen, std::uint8_t modeBits);

/// Block write and read of `len` bytes at `addr` of the configured slave. They print the lines
/// "Open hvx hub device for write success." and "Open hvx hub device for read success.".
bool writeBridgeBlock(std::uint32_t addr, std::uint8_t* data, std::int16_t len);
bool readBridgeBlock(std::uint32_t addr, std::uint8_t* data, std::int16_t len);

/// Sends one bridge request; `address` is split over wValue and wIndex. Returns the status.
platform::Status sendBridge(std::uint8_t requestType, std::uint8_t request, std::uint32_t address,
                            std::uint32_t length, void* data);

/// Prints "Error Code : %d" with errno when `status` is a failure. errno is unrelated to USB requests; the
/// text is kept because users and support know it.
void printFailure(platform::Status status);

} // namespace hub
