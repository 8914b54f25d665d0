/// The hub device object: short methods that check and delegate.
#include "hub/api/hvx_hub.h"

#include "hub/firmware/hub_status.h"
#include "hub/firmware/hub_update.h"
#include "hub/i2c/bridge.h"
#include "hub/i2c/scaler_update.h"
#include "hub/transport/session.h"
#include "hub/transport/vendor_commands.h"

#include <array>
#include <cstdio>

namespace {

constexpr std::uint32_t open_bound = 20;
constexpr std::uint32_t multi_open_bound = 30;

struct FaceName
{
    const char* name;
    std::uint16_t pid;
};

FaceName faceInUse(myUSB_DEVICE_SPEED speed, const HubStatus& status)
{
    switch (speed) {
    case myUSB_SPEED_SUPER:
        return {"SuperSpeed", status.superSpeedPid};
    case myUSB_SPEED_HIGH:
        return {"HighSpeed", status.highSpeedPid};
    default:
        return {"Unknown speed", status.superSpeedPid};
    }
}

} // namespace

/// The link speeds that a search accepts.
struct CHvxHub::SpeedClass
{
    myUSB_DEVICE_SPEED slowest;
    myUSB_DEVICE_SPEED fastest;
};

const CHvxHub::SpeedClass CHvxHub::super_speed = {myUSB_SPEED_SUPER, myUSB_SPEED_SUPER};
const CHvxHub::SpeedClass CHvxHub::usb2_speeds = {myUSB_SPEED_FULL, myUSB_SPEED_HIGH};

bool CHvxHub::GetBasicInfo(short& vid, short& pid, short& version, std::uint32_t& version32)
{
    if (!isOpened)
        return false;
    std::array<std::uint8_t, HubStatus::decoded_size> block{};
    if (HH_Status(block.data(), block.size()) != platform::success)
        return false;
    const HubStatus status = HubStatus::decode(block.data());
    version = static_cast<short>(status.firmwareVersion);
    version32 = static_cast<std::uint32_t>(version);

    myUSB_DEVICE_SPEED speed = myUSB_SPEED_UNKNOWN;
    HH_Speed(&speed);
    const FaceName face = faceInUse(speed, status);
    vid = static_cast<short>(status.vendorId);
    pid = static_cast<short>(face.pid);
    std::printf(" Got %s hub vid=%#x,pid=%#x \n", face.name, static_cast<unsigned>(vid),
                static_cast<unsigned>(pid));
    return true;
}

bool CHvxHub::OpenDevice()
{
    if (OpenDevice_USB3())
        return true;
    isOpened = OpenDevice_USB2() ? 1 : 0;
    return isOpened != 0;
}

bool CHvxHub::OpenDevice_USB3()
{
    std::uint32_t position = 0;
    return searchBySpeed("---->CMpFlow::MP_OpenDevice_USB3", super_speed, open_bound, &position);
}

bool CHvxHub::OpenDevice_USB2()
{
    std::uint32_t position = 0;
    return searchBySpeed("---->CMpFlow::MP_OpenDevice_USB2", usb2_speeds, open_bound, &position);
}

bool CHvxHub::MP_MultiOpenDevice_USB3(std::uint32_t* position)
{
    return searchBySpeed("---->CMpFlow::MP_MultiOpenDevice_USB3", super_speed, multi_open_bound, position);
}

bool CHvxHub::MP_MultiOpenDevice_USB2(std::uint32_t* position)
{
    return searchBySpeed("---->CMpFlow::MP_MultiOpenDevice_USB2", usb2_speeds, multi_open_bound, position);
}

bool CHvxHub::searchBySpeed(const char* startLine, const SpeedClass& accepted, std::uint32_t bound,
                            std::uint32_t* position)
{
    std::puts(startLine);
    do {
        if (!HH_Open(position))
            return false;
        myUSB_DEVICE_SPEED speed = accepted.fastest;
        if (HH_Speed(&speed) != platform::success)
            return false;
        if (speed >= accepted.slowest && speed <= accepted.fastest)
            break;
        ++*position;
        lockAndClose();
    } while (*position < bound);
    return *position != bound;
}

void CHvxHub::lockAndClose()
{
    if (isOpened)
        HH_VdCmdEnable(0);
    HH_Close();
    isOpened = 0;
}

bool CHvxHub::MP_MultiOpenDevice(std::uint32_t* position)
{
    std::uint32_t index = position ? *position : 0;
    isUsb2 = 0;
    std::printf("MP_MultiOpenDevice index=0n%d \n", static_cast<int>(index));
    if (MP_MultiOpenDevice_USB3(&index)) {
        isOpened = 1;
        std::printf("MP_MultiOpenDevice got usb3.0 hub , device index=0n%d \n", static_cast<int>(index));
        if (position)
            *position = index;
        return true;
    }

    index = 0;
    const bool found = MP_MultiOpenDevice_USB2(&index);
    if (found)
        std::printf("MP_MultiOpenDevice got usb2.0 hub , device index=0n%d \n", static_cast<int>(index));
    else
        std::puts("Failed to find any Halvrex Hub device exist ");
    if (position)
        *position = index;
    isUsb2 = 1;
    isOpened = found ? 1 : 0;
    return found;
}

bool CHvxHub::CloseDevice()
{
    lockAndClose();
    return true;
}

bool CHvxHub::GetLocation(std::uint32_t* location)
{
    return isOpened && HH_GetLocation(location);
}

bool CHvxHub::GetSpeed(myUSB_DEVICE_SPEED* speed)
{
    return isOpened && HH_Speed(speed) == platform::success;
}

void CHvxHub::setStrLocation(char* buffer)
{
    strLocation = buffer;
}

void CHvxHub::dealloc()
{
    strLocation = nullptr;
}

bool CHvxHub::USB2I2C_ConfigAddr(std::uint8_t addr, std::uint8_t Value, std::uint8_t S)
{
    if (!isOpened)
        return false;
    busSpeed = Value;
    return hub::configureBridge(addr, Value, S);
}

bool CHvxHub::USB2I2C_Write(std::uint32_t addr, std::uint8_t* data, std::int16_t len)
{
    return isOpened && hub::writeBridgeBlock(addr, data, len);
}

bool CHvxHub::USB2I2C_Read(std::uint32_t addr, std::uint8_t* data, std::int16_t len)
{
    return isOpened && hub::readBridgeBlock(addr, data, len);
}

std::int32_t CHvxHub::UpdateHubFw(std::uint8_t* image, std::uint32_t length, ProgressCallback callback,
                                  void* context)
{
    return hub::updateHubFirmware(image, length, callback, context);
}

std::uint32_t CHvxHub::UpdateScalarFw(std::uint8_t* data, std::uint32_t len, std::uint32_t outReg,
                                      std::uint32_t cfgReg, std::uint8_t blocks, std::int8_t userCode,
                                      ProgressCallback callback, void* context)
{
    return hub::updateScalerFirmware(data, len, outReg, cfgReg, blocks, userCode, callback, context);
}
