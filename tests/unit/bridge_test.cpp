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
    Bytes data = Bytes(0x10000);
};

} // namespace

TEST_F(Bridge, FreeFunctions)
{
    std::uint8_t noData[] = {0x40, 0xF6, 0x01, 0x94, 0x03, 0x01, 0x00, 0x00};
    std::uint8_t out[] = {0x40, 0xE6, 0x34, 0x12, 0x78, 0x56, 0x02, 0x00};
    std::uint8_t in[] = {0xC0, 0xE6, 0x34, 0x12, 0x78, 0x56, 0x02, 0x00};
    const auto sendAll = [&](bool succeeds) {
        EXPECT_EQ(HH_CtrlPipeOut(out, data.data()), succeeds);
        EXPECT_EQ(HH_CtrlPipeIn(in, data.data()), succeeds);
        EXPECT_EQ(MP_I2C_Read(0x00123456, data.data(), 3), succeeds);
        EXPECT_EQ(MP_I2C_Write(0x00123456, data.data(), 1), succeeds);
        // A failure of these is printed, not returned.
        EXPECT_TRUE(HH_CtrlPipeNoDataOut(noData));
        EXPECT_TRUE(MP_I2C_SetDataPort(0x70));
        EXPECT_TRUE(MP_I2C_SetSlaveAddr(1, 128));
    };
    EXPECT_EQ(printed([&] { sendAll(true); }), "");
    EXPECT_EQ(wire(),
              (Lines{"40 E6 1234 5678 2", "C0 E6 1234 5678 2", "C0 E6 3456 0012 3", "40 E6 3456 0012 1 = 5A",
                     "40 F6 9401 0103 0", "40 E6 0070 0000 0", "40 F6 9401 8003 0"}));
    m_uAddrLen = m_uDataLen = 0;
    device.status = platform::pipe_stalled;
    errno = 11;
    EXPECT_EQ(printed([&] { sendAll(false); }), "Error Code : 11Error Code : 11Error Code : 11");
    EXPECT_EQ(m_uAddrLen, 1); // kept although the hub did not take them
    EXPECT_EQ(m_uDataLen, 128);
}

TEST_F(Bridge, TheHubObjectAsksOnlyWhenOpen)
{
    CHvxHub hub;
    const auto sendAll = [&](bool succeeds) {
        EXPECT_EQ(hub.USB2I2C_ConfigAddr(0x6E, 1, 0), succeeds);
        EXPECT_EQ(hub.USB2I2C_ConfigAddr(0x6E, 2, 9), succeeds); // three bits of the last one count
        EXPECT_EQ(hub.USB2I2C_Write(0x51, data.data(), 6), succeeds);
        EXPECT_EQ(hub.USB2I2C_Read(0x12345678, data.data(), -1), succeeds);
    };
    EXPECT_EQ(printed([&] { sendAll(false); }), "");
    EXPECT_EQ(wire(), Lines{});
    EXPECT_EQ(hub.busSpeed, 0);

    hub.isOpened = 1;
    EXPECT_EQ(printed([&] { sendAll(true); }),
              " --><-- HH_CtlPipeNoDataOut \n --><-- HH_CtlPipeNoDataOut \n"
              "Open hvx hub device for write success.\nOpen hvx hub device for read success.\n");
    EXPECT_EQ(wire(), (Lines{"40 F6 6E01 8080 0", "40 F6 6E02 8081 0", "40 C6 0051 0000 6",
                             "C0 D6 5678 1234 65535"}));
    EXPECT_EQ(hub.busSpeed, 2);
    device.status = platform::pipe_stalled;
    printed([&] { sendAll(false); });
}
