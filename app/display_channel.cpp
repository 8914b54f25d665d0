/// Builds the requests and parses the replies. Transfer results are ignored: a silent display leaves a reply of
/// zeros, which reads as version 0.0 and as a text of zero bytes.
#include "app/display_channel.h"

#include "hub/api/hub_api.h"
#include "hub/platform/clock.h"

#include <array>
#include <chrono>

namespace {

constexpr std::uint8_t ddc_slave = 0x6E;
constexpr std::uint8_t ddc_register_bytes = 1;
constexpr std::uint32_t ddc_host = 0x51;

constexpr std::uint8_t length_flag = 0x80;
constexpr std::uint8_t get_feature = 0x01;
constexpr std::uint8_t set_feature = 0x03;
constexpr std::uint8_t get_capabilities = 0xF3;
constexpr std::uint8_t feature_restore_defaults = 0x04;
constexpr std::uint8_t feature_firmware_level = 0xC9;
constexpr std::uint8_t end_of_message = 0xFF;

/// A display may take 50 ms to have its reply ready; read earlier, it sends a null message.
constexpr std::chrono::milliseconds reply_time(100);

constexpr std::size_t level_reply_size = 11;
constexpr std::size_t level_major_at = 8;
constexpr std::size_t level_minor_at = 9;

constexpr std::size_t fragment_reply_size = 32;
constexpr std::size_t fragment_length_at = 1;
constexpr std::size_t fragment_offset_at = 3;
constexpr std::size_t fragment_text_at = 5;
constexpr std::uint8_t full_fragment = 0x9D; ///< flag, opcode, offset and 26 characters

template <std::size_t size>
void send(std::array<std::uint8_t, size> message)
{
    WriteI2C(ddc_host, message.data(), static_cast<std::int16_t>(size));
}

template <std::size_t reply_size, std::size_t size>
std::array<std::uint8_t, reply_size> ask(const std::array<std::uint8_t, size>& message)
{
    send(message);
    platform::sleepFor(reply_time);
    std::array<std::uint8_t, reply_size> reply{};
    ReadI2C(ddc_host, reply.data(), static_cast<std::uint8_t>(reply_size));
    return reply;
}

} // namespace

bool selectDisplay()
{
    return SetBusSpeed(ddc_slave, ddc_register_bytes, 0) != 0;
}

FirmwareVersion readFirmwareLevel()
{
    const std::array<std::uint8_t, 4> message{length_flag | 2, get_feature, feature_firmware_level,
                                              end_of_message};
    const auto reply = ask<level_reply_size>(message);
    return {reply[level_major_at], reply[level_minor_at]};
}

CapabilitiesFragment readCapabilities(std::uint16_t offset)
{
    const std::array<std::uint8_t, 5> message{length_flag | 3, get_capabilities,
                                              static_cast<std::uint8_t>(offset >> 8U),
                                              static_cast<std::uint8_t>(offset), end_of_message};
    const auto reply = ask<fragment_reply_size>(message);
    CapabilitiesFragment fragment;
    fragment.offset =
        static_cast<std::uint16_t>(reply[fragment_offset_at] << 8U | reply[fragment_offset_at + 1]);
    fragment.is_full = reply[fragment_length_at] == full_fragment;
    for (std::size_t i = 0; i < CapabilitiesFragment::text_size; ++i)
        fragment.text += static_cast<char>(reply[fragment_text_at + i]);
    return fragment;
}

void restoreFactoryDefaults()
{
    const std::array<std::uint8_t, 6> message{
        length_flag | 4, set_feature, feature_restore_defaults, 0x00, 0x01, end_of_message};
    send(message);
}
