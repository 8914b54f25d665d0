/// DDC/CI messages as the display answers them.
#include "sim/monitor/ddc_display.h"

#include <algorithm>

namespace sim {

namespace {

constexpr std::uint8_t source_display = 0x6E;
constexpr std::uint8_t checksum_start = 0x50; ///< replies are summed as if sent to address 0x50
constexpr std::uint8_t length_flag = 0x80;

constexpr std::uint8_t get_feature = 0x01;
constexpr std::uint8_t feature_reply = 0x02;
constexpr std::uint8_t set_feature = 0x03;
constexpr std::uint8_t get_capabilities = 0xF3;
constexpr std::uint8_t capabilities_reply = 0xE3;
constexpr std::size_t fragment_size = 26;

constexpr std::uint8_t feature_restore_defaults = 0x04;
constexpr std::uint8_t feature_firmware_level = 0xC9;
constexpr std::uint8_t result_unsupported = 0x01;

constexpr Duration feature_time = std::chrono::milliseconds(40);
constexpr Duration capabilities_time = std::chrono::milliseconds(50);

constexpr std::array<std::uint8_t, 3> null_message{source_display, length_flag, 0xBE};

void copyPadded(const std::uint8_t* bytes, std::size_t count, std::uint8_t* out, std::size_t length)
{
    const std::size_t moved = std::min(count, length);
    std::copy_n(bytes, moved, out);
    std::fill(out + moved, out + length, std::uint8_t{0});
}

std::uint16_t word(const std::uint8_t* bytes)
{
    return static_cast<std::uint16_t>(bytes[0] << 8U | bytes[1]);
}

} // namespace

DdcDisplay::DdcDisplay(const Environment& environment, ScalerIsp& scaler, std::string capabilities)
    : env_(environment)
    , scaler_(scaler)
    , capabilities_(std::move(capabilities))
{
}

bool DdcDisplay::write(const std::uint8_t* message, std::uint16_t length)
{
    if (!scaler_.displayRuns())
        return false;
    reply_length_ = 0;
    constexpr unsigned length_byte_and_checksum = 2;
    if (length < 3 || message[0] != (length_flag | (length - length_byte_and_checksum)))
        return true; // acknowledged, not understood
    const std::uint8_t opcode = message[1];
    if (opcode == get_feature && length == 4)
        answerFeature(message[2]);
    else if (opcode == get_capabilities && length == 5)
        answerCapabilities(word(message + 2));
    else if (opcode == set_feature && length == 6)
        setFeature(message[2], word(message + 3));
    return true;
}

void DdcDisplay::answerFeature(std::uint8_t feature)
{
    const bool known = feature == feature_firmware_level;
    const Version version = known ? runningVersion() : Version{};
    const std::uint8_t max = known ? 0xFF : 0;
    reply_[2] = feature_reply;
    reply_[3] = known ? 0 : result_unsupported;
    reply_[4] = feature;
    reply_[5] = 0; // set parameter, not momentary
    reply_[6] = max;
    reply_[7] = max;
    reply_[8] = version.major;
    reply_[9] = version.minor;
    finishReply(10, feature_time);
}

void DdcDisplay::answerCapabilities(std::uint16_t offset)
{
    const std::size_t start = std::min<std::size_t>(offset, capabilities_.size());
    const std::size_t count = std::min(fragment_size, capabilities_.size() - start);
    reply_[2] = capabilities_reply;
    reply_[3] = static_cast<std::uint8_t>(offset >> 8U);
    reply_[4] = static_cast<std::uint8_t>(offset);
    std::copy_n(capabilities_.begin() + static_cast<std::ptrdiff_t>(start), count, &reply_[5]);
    finishReply(5 + count, capabilities_time);
}

void DdcDisplay::setFeature(std::uint8_t feature, std::uint16_t value)
{
    if (feature == feature_restore_defaults && value != 0)
        ++factory_resets_;
}

void DdcDisplay::finishReply(std::size_t length, Duration readyAfter)
{
    reply_[0] = source_display;
    reply_[1] = static_cast<std::uint8_t>(length_flag | (length - 2));
    std::uint8_t checksum = checksum_start;
    for (std::size_t i = 0; i < length; ++i)
        checksum ^= reply_[i];
    reply_[length] = checksum;
    reply_length_ = length + 1;
    ready_at_ = env_.clock.now() + readyAfter;
}

bool DdcDisplay::read(std::uint8_t* reply, std::uint16_t length)
{
    if (!scaler_.displayRuns())
        return false;
    const bool too_early = reply_length_ != 0 && env_.clock.now() < ready_at_;
    if (too_early)
        env_.violations.add("display: reply read too early");
    if (too_early || reply_length_ == 0) {
        copyPadded(null_message.data(), null_message.size(), reply, length);
        return true;
    }
    copyPadded(reply_.data(), reply_length_, reply, length);
    reply_length_ = 0;
    return true;
}

} // namespace sim
