/// The generic senders of the control pipe.
#include "hub/transport/control_pipe.h"

#include "hub/transport/session.h"
#include "hub/transport/setup_packet.h"

#include <cstdio>

namespace {

constexpr std::uint32_t timed_request_ms = 10000;

platform::Status send(const platform::ControlRequest& request)
{
    return g_Dev ? g_Dev->controlRequest(request) : platform::not_found;
}

} // namespace

platform::Status Proxy_SendVendorCmd(std::uint8_t requestType, std::uint8_t request, std::uint16_t value,
                                     std::uint16_t index, std::uint32_t length, void* data)
{
    return send({requestType, request, value, index, static_cast<std::uint16_t>(length), data});
}

platform::Status Proxy_SendVendorCmd2(std::uint8_t requestType, std::uint8_t request, std::uint16_t value,
                                      std::uint16_t index, std::uint32_t length, void* data)
{
    if (!g_Dev)
        return platform::not_found;
    return g_Dev->controlRequest(
        {requestType, request, value, index, static_cast<std::uint16_t>(length), data}, timed_request_ms,
        timed_request_ms);
}

platform::Status hub::sendSetupPacket(const std::uint8_t* packet, void* data)
{
    return send(decodeSetupPacket(packet, data));
}

bool HH_CtlPipeIn(std::uint8_t* packet, void* data)
{
    return hub::sendSetupPacket(packet, data) == platform::success;
}

bool HH_CtlPipeOut(std::uint8_t* packet, void* data)
{
    return hub::sendSetupPacket(packet, data) == platform::success;
}

bool HH_CtlPipeNoDataOut(std::uint8_t* packet)
{
    std::puts(" --><-- HH_CtlPipeNoDataOut ");
    platform::ControlRequest request = hub::decodeSetupPacket(packet, nullptr);
    request.length = 0;
    const platform::Status status = send(request);
    if (status == platform::success)
        return true;
    std::printf("HH_CtlPipeNoDataOut failed,ret=0x%x, "
                "packet={0x%02x,0x%02x,0x%02x,0x%02x,0x%02x,0x%02x,0x%02x,0x%02x}\n",
                status, packet[0], packet[1], packet[2], packet[3], packet[4], packet[5], packet[6],
                packet[7]);
    return false;
}
