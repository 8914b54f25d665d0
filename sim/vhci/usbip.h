/// The messages by which the kernel's virtual host controller passes on USB requests: headers of 48 bytes,
/// all numbers big-endian (the kernel's Documentation/usb/usbip_protocol.rst).
///
///     at  size  command 1, submit      command 3, its reply   command 2, unlink      command 4, its reply
///      0   4    command
///      4   4    number of this message; a reply repeats its request's
///      8  12    device, direction (1: the device sends), endpoint; zero in replies
///     20   4    flags                  status                 number to unlink       status
///     24   4    buffer size            bytes moved
///     28  12    (isochronous, interval, error count: zero here)
///     40   8    setup packet
///
/// Data follows the header of a submit if the host sends, of its reply if the device does. A status is 0 or a
/// negative errno. An unlink of a request that still waits is answered with -104, and that request then gets no
/// reply. The kernel trusts the device: a reply longer than the host's buffer would be written past its end.
///
/// The first eight bytes of the device descriptor, asked for and sent:
///
///     00000001 00000001 00020001 00000001 00000000 00000200 00000040 ... 80 06 00 01 00 00 08 00
///     00000003 00000001 00000000 00000000 00000000 00000000 00000008 ... 12 01 10 02 09 00 01 40
#pragma once

#include "sim/bus/setup_packet.h"

#include <array>
#include <cstdint>
#include <optional>

namespace sim::vhci {

constexpr std::size_t header_size = 48;
using Header = std::array<std::uint8_t, header_size>;

constexpr std::int32_t status_done = 0;
constexpr std::int32_t status_stalled = -32;   ///< -EPIPE
constexpr std::int32_t status_unlinked = -104; ///< -ECONNRESET

enum class Command : std::uint32_t { submit = 1, unlink = 2, submit_reply = 3, unlink_reply = 4 };

/// What the kernel asks for.
struct Request
{
    Command command = Command::submit;
    std::uint32_t number = 0;
    std::uint32_t endpoint = 0;
    bool device_sends = false;
    std::uint32_t size = 0;     ///< of the host's buffer
    std::uint32_t unlinked = 0; ///< the request that an unlink takes back
    SetupPacket setup;
};

/// None if it is not a request.
std::optional<Request> decodeRequest(const Header& header);
Header submitReply(std::uint32_t number, std::int32_t status, std::uint32_t moved);
Header unlinkReply(std::uint32_t number, std::int32_t status);

} // namespace sim::vhci
