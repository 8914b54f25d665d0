/// The hub device object: opens a hub by position and speed class, identifies it, and carries the bridge requests and
/// the two firmware updates.
///
/// The transport session is one for the whole process, so at most one hub is open whatever number of objects
/// exists. Failures are booleans and the lines named here (each with a line end); one thread only.
#pragma once

#include "hub/progress_callback.h"
#include "hub/result_codes.h"

#include <cstdint>

/// An object starts with all fields zero: closed, without a location buffer.
class CHvxHub
{
public:
    /// 1 when the last MP_MultiOpenDevice had to look for a USB 2 hub, found or not.
    std::uint8_t isUsb2 = 0;
    /// 1 while this object holds an open session. While it is 0 the other operations send nothing; the two updates
    /// ignore it.
    std::uint8_t isOpened = 0;
    /// Register-address length last given to USB2I2C_ConfigAddr.
    std::uint8_t busSpeed = 0;
    /// The caller's text buffer for the hub description; not owned.
    char* strLocation = nullptr;

    /// Reads the hub's identity from its status block: vendor id, the product id of the face in use, the
    /// firmware version (major in bits 8 to 15) and the same widened with its sign. False when closed or when
    /// the hub does not answer. Prints " Got SuperSpeed hub vid=%#x,pid=%#x \n" (or HighSpeed, Unknown
    /// speed).
    bool GetBasicInfo(short& vid, short& pid, short& version, std::uint32_t& version32);

    /// A SuperSpeed hub, else a full or high speed one. Sets isOpened only on the second path.
    bool OpenDevice();

    /// Walk the hubs from position 0 (below 20), or from `*position` (below 30), and leave the session open
    /// on the first of the right speed. The result says that the walk did not end exactly at its bound, which
    /// is true too when a hub beyond the bound was rejected; false when no hub is left or the speed cannot be
    /// read (that session stays open). None sets isOpened. They print "---->CMpFlow::MP_OpenDevice_USB3" and
    /// so on.
    bool OpenDevice_USB3();
    bool OpenDevice_USB2();
    bool MP_MultiOpenDevice_USB3(std::uint32_t* position);
    bool MP_MultiOpenDevice_USB2(std::uint32_t* position);

    /// Opens the first SuperSpeed hub from `*position` (0 when null), else the first full or high speed one
    /// from position 0, and stores the position where the search ended. Prints
    /// "MP_MultiOpenDevice index=0n%d \n", then "MP_MultiOpenDevice got usb3.0 hub , device index=0n%d \n"
    /// (or usb2.0) or "Failed to find any Halvrex Hub device exist ".
    bool MP_MultiOpenDevice(std::uint32_t* position);

    /// Locks the hub's vendor commands if this object opened it, and ends the session. Always true.
    bool CloseDevice();

    /// Location id and link speed of the open hub; false when closed or when they cannot be read.
    bool GetLocation(std::uint32_t* location);
    bool GetSpeed(myUSB_DEVICE_SPEED* speed);

    /// The buffer for the hub description, at least 128 bytes; the one set before is forgotten.
    void setStrLocation(char* buffer);
    /// Forgets the location buffer.
    void dealloc();

    /// The bridge requests (hub/i2c/bridge.h); false without a request when closed.
    /// Points the bridge at the slave with the 8-bit address `addr`, `Value` address bytes, mode bits `S`.
    bool USB2I2C_ConfigAddr(std::uint8_t addr, std::uint8_t Value, std::uint8_t S);
    bool USB2I2C_Write(std::uint32_t addr, std::uint8_t* data, std::int16_t len);
    bool USB2I2C_Read(std::uint32_t addr, std::uint8_t* data, std::int16_t len);

    /// Writes a hub image and restarts the hub into it: 1 is success. Results, texts and progress in
    /// hub/firmware/hub_update.h.
    std::int32_t UpdateHubFw(std::uint8_t* image, std::uint32_t length, ProgressCallback callback,
                             void* context);

    /// Writes a scaler image: 0 is success. Arguments, results, texts and progress in
    /// hub/i2c/scaler_update.h.
    std::uint32_t UpdateScalarFw(std::uint8_t* data, std::uint32_t len, std::uint32_t outReg,
                                 std::uint32_t cfgReg, std::uint8_t blocks, std::int8_t userCode,
                                 ProgressCallback callback, void* context);

private:
    struct SpeedClass;
    static const SpeedClass super_speed;
    static const SpeedClass usb2_speeds;

    bool searchBySpeed(const char* startLine, const SpeedClass& accepted, std::uint32_t bound,
                       std::uint32_t* position);
    void lockAndClose();
};
