/// Takes headers apart and puts them together byte by byte.
#include "sim/vhci/usbip.h"

namespace sim::vhci {

namespace {

constexpr std::size_t command_at = 0;
constexpr std::size_t number_at = 4;
constexpr std::size_t direction_at = 12;
constexpr std::size_t endpoint_at = 16;
constexpr std::size_t status_at = 20; ///< in an unlink, the number to unlink
constexpr std::size_t size_at = 24;
constexpr std::size_t setup_at = 40;
constexpr std::size_t setup_size = 8;
static_assert(setup_at + setup_size == header_size);

std::uint32_t bigEndian(const Header& header, std::size_t at)
{
    return static_cast<std::uint32_t>(header[at]) << 24U | static_cast<std::uint32_t>(header[at + 1]) << 16U |
           static_cast<std::uint32_t>(header[at + 2]) << 8U | header[at + 3];
}

void putBigEndian(Header& header, std::size_t at, std::uint32_t value)
{
    for (std::size_t i = 0; i < 4; ++i)
        header[at + i] = static_cast<std::uint8_t>(value >> (24U - 8U * i));
}

/// USB itself is little-endian.
std::uint16_t littleEndian(const Header& header, std::size_t at)
{
    return static_cast<std::uint16_t>(header[at] | header[at + 1] << 8U);
}

Header reply(Command command, std::uint32_t number, std::int32_t status)
{
    Header header{};
    putBigEndian(header, command_at, static_cast<std::uint32_t>(command));
    putBigEndian(header, number_at, number);
    putBigEndian(header, status_at, static_cast<std::uint32_t>(status));
    return header;
}

} // namespace

std::optional<Request> decodeRequest(const Header& header)
{
    Request request;
    request.command = static_cast<Command>(bigEndian(header, command_at));
    request.number = bigEndian(header, number_at);
    request.endpoint = bigEndian(header, endpoint_at);
    request.device_sends = bigEndian(header, direction_at) != 0;
    switch (request.command) {
    case Command::submit:
        request.size = bigEndian(header, size_at);
        request.setup = {header[setup_at], header[setup_at + 1], littleEndian(header, setup_at + 2),
                         littleEndian(header, setup_at + 4), littleEndian(header, setup_at + 6)};
        return request;
    case Command::unlink:
        request.unlinked = bigEndian(header, status_at);
        return request;
    default:
        return std::nullopt;
    }
}

Header submitReply(std::uint32_t number, std::int32_t status, std::uint32_t moved)
{
    Header header = reply(Command::submit_reply, number, status);
    putBigEndian(header, size_at, moved);
    return header;
}

Header unlinkReply(std::uint32_t number, std::int32_t status)
{
    return reply(Command::unlink_reply, number, status);
}

} // namespace sim::vhci
