/// The bridge requests; the table is in the header.
#include "hub/i2c/bridge.h"

#include "hub/transport/control_pipe.h"
#include "hub/transport/setup_packet.h"

#include <array>
#include <cerrno>
#include <cstdio>

std::uint8_t m_uAddrLen = 0;
std::uint8_t m_uDataLen = 0;

namespace {

constexpr std::uint8_t display_mode = 0x80;
constexpr std::uint8_t display_mode_bits = 0x07;
constexpr std::uint8_t display_data_length = 0x80;

using Packet = std::array<std::uint8_t, hub::setup_packet_size>;

constexpr std::uint8_t byteOf(std::uint32_t value, int index)
{
    return static_cast<std::uint8_t>(value >> (8 * index));
}

Packet blockPacket(std::uint8_t requestType, std::uint8_t request, std::uint32_t addr, std::int16_t len)
{
    const auto length = static_cast<std::uint16_t>(len);
    return {requestType,     request,         byteOf(addr, 0),   byteOf(addr, 1),
            byteOf(addr, 2), byteOf(addr, 3), byteOf(length, 0), byteOf(length, 1)};
}

} // namespace

platform::Status hub::sendBridge(std::uint8_t requestType, std::uint8_t request, std::uint32_t address,
                                 std::uint32_t length, void* data)
{
    return Proxy_SendVendorCmd(requestType, request, hub::lowHalf(address), hub::highHalf(address), length,
                               data);
}

void hub::printFailure(platform::Status status)
{
    if (status != platform::success)
        std::printf("Error Code : %d", errno);
}

bool HH_CtrlPipeNoDataOut(std::uint8_t* packet)
{
    hub::printFailure(hub::sendSetupPacket(packet, nullptr));
    return true;
}

bool HH_CtrlPipeIn(std::uint8_t* packet, std::uint8_t* data)
{
    return hub::sendSetupPacket(packet, data) == platform::success;
}

bool HH_CtrlPipeOut(std::uint8_t* packet, std::uint8_t* data)
{
    return hub::sendSetupPacket(packet, data) == platform::success;
}

bool MP_I2C_Read(std::uint32_t addr, std::uint8_t* buf, std::uint16_t len)
{
    return hub::sendBridge(hub::vendor_in, hub::bridge_short_access, addr, len, buf) == platform::success;
}

bool MP_I2C_Write(std::uint32_t addr, std::uint8_t* buf, std::uint16_t len)
{
    return hub::sendBridge(hub::vendor_out, hub::bridge_short_access, addr, len, buf) == platform::success;
}

bool MP_I2C_SetDataPort(std::uint8_t port)
{
    hub::printFailure(hub::sendBridge(hub::vendor_out, hub::bridge_short_access, port, 0, nullptr));
    return true;
}

bool MP_I2C_SetSlaveAddr(std::uint8_t addrLen, std::uint8_t dataLen)
{
    const auto slave = static_cast<std::uint16_t>((hub::isp_slave << 8) + addrLen);
    const auto access = static_cast<std::uint16_t>(dataLen << 8 | hub::isp_mode);
    hub::printFailure(Proxy_SendVendorCmd(hub::vendor_out, hub::bridge_configure, slave, access, 0, nullptr));
    m_uAddrLen = addrLen;
    m_uDataLen = dataLen;
    return true;
}

bool hub::configureBridge(std::uint8_t slave, std::uint8_t addrLen, std::uint8_t modeBits)
{
    const auto mode = static_cast<std::uint8_t>(display_mode | (modeBits & display_mode_bits));
    Packet packet = {hub::vendor_out, hub::bridge_configure, addrLen, slave, mode, display_data_length, 0, 0};
    return HH_CtlPipeNoDataOut(packet.data());
}

bool hub::writeBridgeBlock(std::uint32_t addr, std::uint8_t* data, std::int16_t len)
{
    std::puts("Open hvx hub device for write success.");
    Packet packet = blockPacket(hub::vendor_out, hub::bridge_block_write, addr, len);
    return HH_CtlPipeOut(packet.data(), data);
}

bool hub::readBridgeBlock(std::uint32_t addr, std::uint8_t* data, std::int16_t len)
{
    std::puts("Open hvx hub device for read success.");
    Packet packet = blockPacket(hub::vendor_in, hub::bridge_block_read, addr, len);
    return HH_CtlPipeIn(packet.data(), data);
}
