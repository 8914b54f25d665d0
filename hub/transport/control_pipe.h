/// Control transfers on endpoint 0 of the session.
///
/// A setup packet is 8 bytes (USB 2.0, table 9-2), two-byte fields low byte first:
///
///     +---------------+----------+---------+---------+---------+
///     | bmRequestType | bRequest | wValue  | wIndex  | wLength |
///     |       0       |    1     |  2   3  |  4   5  |  6   7  |
///     +---------------+----------+---------+---------+---------+
///
/// Read the 32-byte status block: C0 09 00 00 00 00 20 00, then 32 bytes come in.
///
/// Each call sends one request, once, in one transfer of any length; nothing is retried or split. The status
/// comes back unchanged (0 is success); without a session it is platform::not_found and nothing is sent.
#pragma once

#include "hub/platform/usb_platform.h"

#include <cstddef>
#include <cstdint>

namespace hub {

/// bmRequestType of every request to the hub: vendor type, device recipient.
constexpr std::uint8_t vendor_out = 0x40;
constexpr std::uint8_t vendor_in = 0xC0;

constexpr std::size_t setup_packet_size = 8;

/// The request in an 8-byte setup packet as it stands; `data` holds as many bytes as its wLength says and is
/// null when there is no data stage.
platform::Status sendSetupPacket(const std::uint8_t* packet, void* data);

} // namespace hub

/// One vendor request from its fields. `length` is in bytes, of which the low 16 bits are sent; `data` holds
/// that many bytes and is null when there is no data stage.
platform::Status Proxy_SendVendorCmd(std::uint8_t requestType, std::uint8_t request, std::uint16_t value,
                                     std::uint16_t index, std::uint32_t length, void* data);

/// The same with a limit of 10 s, both without data moving and for the whole request.
platform::Status Proxy_SendVendorCmd2(std::uint8_t requestType, std::uint8_t request, std::uint16_t value,
                                      std::uint16_t index, std::uint32_t length, void* data);

/// The request in an 8-byte setup packet as it stands, like hub::sendSetupPacket. The direction is bit 7 of
/// byte 0, so these two are one and the same. True when the status was 0.
bool HH_CtlPipeIn(std::uint8_t* packet, void* data);
bool HH_CtlPipeOut(std::uint8_t* packet, void* data);

/// The request in an 8-byte setup packet with no data stage, whatever its wLength says. Prints the line
/// " --><-- HH_CtlPipeNoDataOut " and, on failure, one with the status and the packet.
bool HH_CtlPipeNoDataOut(std::uint8_t* packet);
