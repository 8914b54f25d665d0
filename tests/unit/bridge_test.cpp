// The bridge requests byte for byte, and what becomes of those that fail.
#include "hub/i2c/bridge.h"

#include <cerrno>

#include "hub/api/hvx_hub.h"
#include "hub_fixture.h"

namespace {

class Bridge : public HubTest
{
protected:
    Bridge()
    {
        bus.attach(device);
        HH_Open(nullptr);
        wire();
    }
    Responder device{sim::DeviceTraits{0x2E4D, 0x7305}};
    Bytes data = Bytes(0x200);
};

} // namespace

TEST_F(Bridge, FreeFunctionsOnTheWire)
{
    std::uint8_t packet[] = {0x40, 0xE6, 0x34, 0x12, 0x78, 0x56, 0x02, 0x00};
    std::uint8_t noData[] = {0x40, 0xF6, 0x01, 0x94, 0x03, 0x01, 0x00, 0x00};
    EXPECT_TRUE(HH_CtrlPipeNoDataOut(noData));
    EXPECT_TRUE(HH_CtrlPipeOut(packet, data.data()));
    packet[0] = 0xC0;
    EXPECT_TRUE(HH_CtrlPipeIn(packet, data.data()));
    EXPECT_TRUE(MP_I2C_Read(0x00123456, data.data(), 3));
    EXPECT_TRUE(MP_I2C_Write(0x00123456, data.data(), 1));
    EXPECT_TRUE(MP_I2C_SetDataPort(0x70));
    EXPECT_TRUE(MP_I2C_SetSlaveAddr(1, 128));
    EXPECT_EQ(m_uAddrLen, 1);
    EXPECT_EQ(m_uDataLen, 128);
    EXPECT_EQ(wire(),
              (Lines{"40 F6 9401 0103 0", "40 E6 1234 5678 2", "C0 E6 1234 5678 2", "C0 E6 3456 0012 3",
                     "40 E6 3456 0012 1 = 5A", "40 E6 0070 0000 0", "40 F6 9401 8003 0"}));
}

TEST_F(Bridge, FailuresAreSwallowedOrReturned)
{
    device.status = platform::pipe_stalled;
    std::uint8_t packet[] = {0x40, 0xF6, 0, 0, 0, 0, 0, 0};
    errno = 11;
    EXPECT_EQ(printed([&] {
                  EXPECT_TRUE(HH_CtrlPipeNoDataOut(packet));
                  EXPECT_TRUE(MP_I2C_SetDataPort(0x70));
                  EXPECT_TRUE(MP_I2C_SetSlaveAddr(1, 128));
                  EXPECT_FALSE(HH_CtrlPipeIn(packet, nullptr));
                  EXPECT_FALSE(HH_CtrlPipeOut(packet, nullptr));
                  EXPECT_FALSE(MP_I2C_Read(0, data.data(), 1));
                  EXPECT_FALSE(MP_I2C_Write(0, data.data(), 1));
              }),
              "Error Code : 11Error Code : 11Error Code : 11");
    EXPECT_EQ(m_uDataLen, 128); // kept although the hub did not take it
}

TEST_F(Bridge, TheHubObjectAsksOnlyWhenOpen)
{
    CHvxHub hub;
    EXPECT_FALSE(hub.USB2I2C_ConfigAddr(0x6E, 1, 0));
    EXPECT_FALSE(hub.USB2I2C_Write(0x51, data.data(), 6));
    EXPECT_FALSE(hub.USB2I2C_Read(0x51, data.data(), 32));
    EXPECT_EQ(wire(), Lines{});
    EXPECT_EQ(hub.busSpeed, 0);

    hub.isOpened = 1;
    EXPECT_EQ(printed([&] {
                  EXPECT_TRUE(hub.USB2I2C_ConfigAddr(0x6E, 1, 0));
                  EXPECT_TRUE(hub.USB2I2C_ConfigAddr(0x6E, 2, 9)); // three bits of the last one count
                  EXPECT_TRUE(hub.USB2I2C_Write(0x51, data.data(), 6));
                  EXPECT_TRUE(hub.USB2I2C_Read(0x12345678, data.data(), 32));
              }),
              " --><-- HH_CtlPipeNoDataOut \n --><-- HH_CtlPipeNoDataOut \n"
              "Open hvx hub device for write success.\nOpen hvx hub device for read success.\n");
    EXPECT_EQ(hub.busSpeed, 2);
    data.resize(0x10000);
    printed([&] { EXPECT_TRUE(hub.USB2I2C_Read(0x51, data.data(), -1)); });
    EXPECT_EQ(wire(), (Lines{"40 F6 6E01 8080 0", "40 F6 6E02 8081 0", "40 C6 0051 0000 6",
                             "C0 D6 5678 1234 32", "C0 D6 0051 0000 65535"}));
    device.status = platform::pipe_stalled;
    printed([&] {
        EXPECT_FALSE(hub.USB2I2C_ConfigAddr(0x6E, 1, 0));
        EXPECT_FALSE(hub.USB2I2C_Write(0x51, data.data(), 6));
        EXPECT_FALSE(hub.USB2I2C_Read(0x51, data.data(), 6));
    });
}
