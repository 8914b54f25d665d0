/// The flat functions over the current hub object.
#include "hub/api/hub_api.h"

#include "hub/api/hvx_hub.h"
#include "hub/transport/session.h"

#include <cstdio>
#include <cstring>

CHvxHub* g_hub = nullptr;
char g_logBuf[1024] = {};

namespace {

constexpr const char* invalid_handle = "     Invalid Handle.";

/// The location buffer of an object that has none of its own: `Init` sets none, and the flat functions cannot.
char default_location[128] = {};

/// Opens and closes every hub that `openFrom` finds.
int countHubs(bool (CHvxHub::*openFrom)(std::uint32_t*))
{
    int count = 0;
    std::uint32_t index = 0;
    while ((g_hub->*openFrom)(&index)) {
        ++count;
        ++index;
        g_hub->CloseDevice();
    }
    return count;
}

/// True when the hub is open; else prints `text`.
bool isOpenOr(const char* text)
{
    if (g_hub->isOpened)
        return true;
    std::fputs(text, stdout);
    return false;
}

} // namespace

bool Init()
{
    if (g_hub) {
        std::fputs(" USB2I2C framework has been inited before.", stdout);
        return false;
    }
    g_hub = new CHvxHub{};
    std::fputs("Init USB2I2C framework success.", stdout);
    return true;
}

void Deinit()
{
    if (!g_hub)
        return;
    g_hub->CloseDevice();
    g_hub = nullptr;
    std::fputs("Deinit USB2I2C framework success.", stdout);
}

int AvailableDevices()
{
    if (!g_hub)
        return 0;
    const int usb3Hubs = countHubs(&CHvxHub::MP_MultiOpenDevice_USB3);
    const int usb2Hubs = countHubs(&CHvxHub::MP_MultiOpenDevice_USB2);
    if (usb3Hubs > 0)
        std::printf("Get Usb3.0 Hub Devices=%d \n", usb3Hubs);
    std::printf("Get Available Devices=%d \n", usb2Hubs);
    return usb2Hubs;
}

int OpenDevice(int index)
{
    if (!g_hub)
        return 0;
    g_hub->CloseDevice();
    auto position = static_cast<std::uint32_t>(index);
    return g_hub->MP_MultiOpenDevice(&position) ? 1 : 0;
}

int OpenAndGetInfo(char* dst, int /*ignored*/, int* index, int* isUsb3)
{
    if (!g_hub)
        return 0;
    const int requested = *index;
    auto position = static_cast<std::uint32_t>(requested);
    g_hub->CloseDevice();
    const bool opened = g_hub->MP_MultiOpenDevice(&position);
    *index = static_cast<int>(position);
    if (!opened)
        return 0;

    short vid = 0;
    short pid = 0;
    short release = 0;
    std::uint32_t version = 0;
    g_hub->GetBasicInfo(vid, pid, release, version);
    myUSB_DEVICE_SPEED speed = myUSB_SPEED_HIGH;
    g_hub->GetSpeed(&speed);
    *isUsb3 = speed == myUSB_SPEED_SUPER ? 1 : 0;
    std::uint32_t location = 0;
    if (!g_hub->GetLocation(&location))
        return 0;

    if (!g_hub->strLocation)
        g_hub->setStrLocation(default_location);
    std::snprintf(g_hub->strLocation, sizeof default_location,
                  "Hub %d - USB\\VID_%04X&PID_%04X&Rev_%04x - port %d, parent %d", requested,
                  static_cast<unsigned>(vid), static_cast<unsigned>(pid), static_cast<unsigned>(release),
                  static_cast<int>(location), 0);
    std::strcpy(dst, g_hub->strLocation);
    return 1;
}

int CloseDevice()
{
    return g_hub && g_hub->CloseDevice() ? 1 : 0;
}

int SetBusSpeed(std::uint8_t addr, std::uint8_t Value, std::uint8_t S)
{
    std::printf("SetBusSpeed g_hub= 0x%p, addr=0x%x,Value=0x%x,S=0x%x \n", static_cast<void*>(g_hub), addr,
                Value, S);
    if (!g_hub || !isOpenOr("     Invalid Handle on set_BusSpeed function ."))
        return 0;
    return g_hub->USB2I2C_ConfigAddr(addr, Value, S) ? 1 : 0;
}

std::uint32_t GetfwVersion()
{
    if (!g_hub || !isOpenOr(" Device has not been opened before Get Firmware Version Function."))
        return 0;
    short vid = 0;
    short pid = 0;
    short release = 0;
    std::uint32_t version = 0;
    if (!g_hub->GetBasicInfo(vid, pid, release, version)) {
        std::puts(" Hub GetBasicInfo fail.");
        return 0;
    }
    return version;
}

int ReadI2C(std::uint32_t addr, std::uint8_t* buf, std::uint8_t len)
{
    std::puts("Read 7305 USB2I2C function ... ");
    if (!g_hub || !isOpenOr(invalid_handle))
        return 0;
    return g_hub->USB2I2C_Read(addr, buf, len) ? 1 : 0;
}

int WriteI2C(std::uint32_t addr, std::uint8_t* buf, std::int16_t len)
{
    std::puts("Write 7305 I2C function... ");
    if (!g_hub || !isOpenOr(invalid_handle))
        return 0;
    return g_hub->USB2I2C_Write(addr, buf, len) ? 1 : 0;
}

std::int32_t UpdateHubFw(std::uint8_t* data, std::uint32_t len, ProgressCallback callback, void* context)
{
    std::puts("Update Hub Firmware function... ");
    if (!g_hub || !isOpenOr(invalid_handle))
        return hub::hub_update_failed;
    return g_hub->UpdateHubFw(data, len, callback, context);
}

std::uint32_t UpdateScalarFw(std::uint8_t* data, std::uint32_t len, std::uint32_t outReg,
                             std::uint32_t cfgReg, std::uint8_t blocks, std::int8_t userCode,
                             ProgressCallback callback, void* context)
{
    std::puts("Update Scalar function... ");
    if (!g_hub || !isOpenOr(invalid_handle))
        return 0;
    return g_hub->UpdateScalarFw(data, len, outReg, cfgReg, blocks, userCode, callback, context);
}
