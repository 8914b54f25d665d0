/// The generic senders of the control pipe.
#include "hub/transport/control_pipe.h"

#include <cstdio>

#include "hub/transport/session.h"
#include "hub/transport/setup_packet.h"

namespace {

constexpr std::uint32_t timed_request_ms = 10000;

platform::ControlRequest makeRequest(std::uint8_t requestType, std::uint8_t request, std::uint16_t value,
                                     std::uint16_t index, std::uint32_t length, void* data)
{
    return {requestType, request, value, index, static_cast<std::uint16_t>(length), data};
}

} // namespace

platform::Status Proxy_SendVendorCmd(std::uint8_t requestType, std::uint8_t request, std::uint16_t value,
                                     std::uint16_t index, std::uint32_t length, void* data)
{
    if (!g_Dev)
        return platform::not_found;
    return g_Dev->controlRequest(makeRequest(requestType, request, value, index, length, data));
}

platform::Status Proxy_SendVendorCmd2(std::uint8_t requestType, std::uint8_t request, std::uint16_t value,
                                      std::uint16_t index, std::uint32_t length, void* data)
{
    if (!g_Dev)
        return platform::not_found;
    return g_Dev->controlRequest(makeRequest(requestType, request, value, index, length, data),
                                 timed_request_ms, timed_request_ms);
}

platform::Status sendSetupPacket(const std::uint8_t* packet, void* data)
{
    const SetupFields setup = decodeSetupPacket(packet);
    return Proxy_SendVendorCmd(setup.requestType, setup.request, setup.value, setup.index, setup.length,
                               data);
}

bool HH_CtlPipeIn(std::uint8_t* packet, void* data)
{
    return sendSetupPacket(packet, data) == platform::success;
}

bool HH_CtlPipeOut(std::uint8_t* packet, void* data)
{
    return sendSetupPacket(packet, data) == platform::success;
}

bool HH_CtlPipeNoDataOut(std::uint8_t* packet)
{
    std::puts(" --><-- HH_CtlPipeNoDataOut ");
    const SetupFields setup = decodeSetupPacket(packet);
    const platform::Status status =
        Proxy_SendVendorCmd(setup.requestType, setup.request, setup.value, setup.index, 0, nullptr);
    if (status == platform::success)
        return true;
    std::printf("HH_CtlPipeNoDataOut failed,ret=0x%x, "
                "packet={0x%02x,0x%02x,0x%02x,0x%02x,0x%02x,0x%02x,0x%02x,0x%02x}\n",
                status, packet[0], packet[1], packet[2], packet[3], packet[4], packet[5], packet[6],
                packet[7]);
    return false;
}
