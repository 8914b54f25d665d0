/// A bus of its own for every test, and the wire and the printed text in a form that reads well in a
/// comparison. The library's globals start as in a new process.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "hub/api/hub_api.h"
#include "hub/i2c/bridge.h"
#include "hub/transport/session.h"
#include "sim/virtual_bus.h"
#include "sim/virtual_monitor.h"

using Bytes = std::vector<std::uint8_t>;
using Lines = std::vector<std::string>;

/// "40 C8 2345 0001 16": type, request, value, index, length; a single byte of data is added as " = 80".
inline std::string wireLine(const sim::WireRecord& record)
{
    const sim::SetupPacket& s = record.setup;
    char text[64];
    std::snprintf(text, sizeof text, "%02X %02X %04X %04X %d", s.requestType, s.request, s.value, s.index,
                  s.length);
    std::string line = text;
    if (!s.isIn() && record.data.size() == 1) {
        std::snprintf(text, sizeof text, " = %02X", record.data[0]);
        line += text;
    }
    return line;
}

/// Answers every request with `status` and fills what it is asked for with 5A.
class Responder : public sim::BusDevice
{
public:
    using BusDevice::BusDevice;
    platform::Status control(const sim::SetupPacket& setup, std::uint8_t* data) override
    {
        if (setup.isIn() && status == platform::success)
            std::fill_n(data, setup.length, std::uint8_t{0x5A});
        return status;
    }
    platform::Status status = platform::success;
};

class HubTest : public testing::Test
{
protected:
    HubTest()
    {
        g_Dev.reset();
        g_ErrCode = 0;
        g_hub = nullptr;
        m_uAddrLen = 0;
        m_uDataLen = 0;
    }
    ~HubTest() override { g_Dev.reset(); }

    /// The requests since the last call, one line each.
    Lines wire()
    {
        Lines lines;
        for (const auto& record : bus.log().records())
            lines.push_back(wireLine(record));
        bus.log().clear();
        return lines;
    }

    /// What `action` prints.
    template <typename Action>
    static std::string printed(Action action)
    {
        testing::internal::CaptureStdout();
        action();
        std::fflush(stdout);
        return testing::internal::GetCapturedStdout();
    }

    /// Simulated milliseconds that `action` takes, requests included.
    template <typename Action>
    long milliseconds(Action action)
    {
        const auto start = bus.clock().now();
        action();
        return std::chrono::duration_cast<std::chrono::milliseconds>(bus.clock().now() - start).count();
    }

    sim::VirtualBus bus;
};
