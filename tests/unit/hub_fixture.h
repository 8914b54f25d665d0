/// A bus of its own for every test, with devices that answer as they are told. The library's globals start as in
/// a new process.
#pragma once

#include "hub/api/hub_api.h"
#include "hub/i2c/bridge.h"
#include "hub/transport/session.h"
#include "sim/bus/virtual_bus.h"
#include "sim/virtual_monitor.h"

#include <algorithm>
#include <cstdio>
#include <deque>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

using Bytes = std::vector<std::uint8_t>;
using Lines = std::vector<std::string>;

template <typename... Values>
std::string format(const char* pattern, Values... values)
{
    char text[160];
    std::snprintf(text, sizeof text, pattern, values...);
    return text;
}

/// "40 C8 2345 0001 16": type, request, value, index, length.
inline std::string wireLine(const sim::WireRecord& record)
{
    const sim::SetupPacket& s = record.setup;
    return format("%02X %02X %04X %04X %d", s.request_type, s.request, s.value, s.index, s.length);
}

/// Answers every request with `status` and the beginning of `reply`, or with the values that `reads` has.
class Responder : public sim::BusDevice
{
public:
    using BusDevice::BusDevice;
    platform::Status control(const sim::SetupPacket& setup, std::uint8_t* data) override
    {
        if (!setup.isIn() || status != platform::success)
            return status;
        std::deque<std::uint8_t>& values = reads[setup.value];
        std::copy_n(reply.begin(), setup.length, data);
        std::copy_n(values.begin(), values.empty() ? 0 : 1, data);
        if (values.size() > 1)
            values.pop_front();
        return status;
    }
    platform::Status status = platform::success;
    Bytes reply = Bytes(0x10000, 0x5A);
    std::map<int, std::deque<std::uint8_t>> reads; ///< the last value of each stays
};

class HubTest : public testing::Test
{
protected:
    ~HubTest() override { resetLibrary(); }
    static void resetLibrary()
    {
        g_Dev.reset();
        g_hub = nullptr;
        g_ErrCode = m_uAddrLen = m_uDataLen = 0;
    }

    sim::VirtualBus bus;
};
