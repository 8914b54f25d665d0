/// The log as text.
#include "sim/bus/wire_log.h"

#include <array>
#include <cstdio>

namespace sim {

namespace {

constexpr std::size_t shown_bytes = 16;

std::string statusText(platform::Status status)
{
    switch (status) {
    case platform::success:
        return "ok";
    case platform::pipe_stalled:
        return "stall";
    case platform::timeout:
        return "timeout";
    case platform::no_device:
        return "no device";
    default:
        break;
    }
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%08X", status);
    return text.data();
}

std::string dataText(const std::vector<std::uint8_t>& data)
{
    std::string text;
    for (std::size_t i = 0; i < data.size() && i < shown_bytes; ++i) {
        std::array<char, 4> byte{};
        std::snprintf(byte.data(), byte.size(), " %02X", data[i]);
        text += byte.data();
    }
    return data.size() > shown_bytes ? text + " .." : text;
}

} // namespace

std::string WireLog::text() const
{
    std::string all;
    for (const WireRecord& record : records_) {
        std::array<char, 80> head{};
        std::snprintf(head.data(), head.size(), "%11.6f #%d %02X %02X %04X %04X len %u -> ",
                      std::chrono::duration<double>(record.time).count(), record.device,
                      record.setup.request_type, record.setup.request, record.setup.value, record.setup.index,
                      record.setup.length);
        all += head.data() + statusText(record.status);
        if (!record.data.empty())
            all += " :" + dataText(record.data);
        all += '\n';
    }
    return all;
}

} // namespace sim
