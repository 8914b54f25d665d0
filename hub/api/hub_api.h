/// The hub library as an application sees it: flat functions over one current hub, `g_hub`. This header is all
/// that an application needs. Its order of use:
///
///     Init, CloseDevice, AvailableDevices          is there a hub?
///     OpenDevice(0), GetfwVersion                  what does it run?
///     SetBusSpeed(0x6E, 1, 0)                      point the hub's I2C bridge at the display,
///     WriteI2C(0x51, ...), ReadI2C(0x51, ...)      then speak DDC/CI with it
///     UpdateHubFw or UpdateScalarFw, CloseDevice   write one of the two firmware images
///
/// A hub appears on the bus as two USB devices, its faces: one at SuperSpeed, one at high or full speed. A session
/// lasts from OpenDevice to CloseDevice; at most one hub is open at a time. One thread only. Results are 1 or 0
/// unless stated; a 0 never says why. Texts go to standard output as listed with each function, without a line end
/// unless it says "line". Before Init, every function except Init and Deinit returns 0; SetBusSpeed, ReadI2C,
/// WriteI2C and the two updates print their first text even then. The display scaler is "Scalar" in names and texts.
#pragma once

#include "hub/progress_callback.h"
#include "hub/result_codes.h"

#include <cstdint>

class CHvxHub;

/// The current hub object; null before Init and after Deinit.
extern CHvxHub* g_hub;

/// Kept for the interface; nothing writes or reads it.
extern char g_logBuf[1024];

/// Creates `g_hub`, closed and zeroed, and prints "Init USB2I2C framework success.". When it exists already:
/// prints " USB2I2C framework has been inited before." and returns false, the object stays as it is.
bool Init();

/// Closes the hub, sets `g_hub` to null and prints "Deinit USB2I2C framework success.". Without Init:
/// nothing. The object itself is deliberately left alive.
void Deinit();

/// Counts the hubs on the bus by opening and closing each. Prints "Get Usb3.0 Hub Devices=%d \n" when there
/// are SuperSpeed faces, and always "Get Available Devices=%d \n" with the result: the number of hubs at full
/// or high speed. A lone SuperSpeed face does not count. Closes the session.
int AvailableDevices();

/// Closes the session, then opens the first hub from position `index`: a SuperSpeed face if there is one,
/// else, from position 0, a full or high speed one.
int OpenDevice(int index);

/// Opens the hub at `*index` like OpenDevice and describes it in `dst`:
/// "Hub %d - USB\VID_%04X&PID_%04X&Rev_%04x - port %d, parent %d" with the index that was asked for.
/// `dst` must hold 128 bytes; the int after it is ignored. `*index` becomes the position that was opened,
/// `*isUsb3` 1 on a SuperSpeed link, else 0. Returns 0 when no hub opens or its location cannot be read.
int OpenAndGetInfo(char* dst, int ignored, int* index, int* isUsb3);

/// Disables the hub's vendor commands if it is open and ends the session. Always 1 after Init.
int CloseDevice();

/// Points the hub's I2C bridge at the slave with the 8-bit address `addr`, with register addresses of `Value`
/// bytes; the low three bits of `S` go into the mode byte. Prints
/// "SetBusSpeed g_hub= 0x%p, addr=0x%x,Value=0x%x,S=0x%x \n" and, when closed,
/// "     Invalid Handle on set_BusSpeed function .".
int SetBusSpeed(std::uint8_t addr, std::uint8_t Value, std::uint8_t S);

/// The firmware version that the hub reports: major in bits 8 to 15, minor in bits 0 to 7, sign-extended; 0
/// on failure and before Init. Prints " Device has not been opened before Get Firmware Version Function."
/// when closed, the line " Hub GetBasicInfo fail." when the hub does not answer.
std::uint32_t GetfwVersion();

/// Block read of `len` bytes (at most 255) at register `addr` of the configured slave. Prints the line
/// "Read 7305 USB2I2C function ... " and, when closed, "     Invalid Handle.".
int ReadI2C(std::uint32_t addr, std::uint8_t* buf, std::uint8_t len);

/// Block write of `len` bytes. Prints the line "Write 7305 I2C function... " and, when closed,
/// "     Invalid Handle.".
int WriteI2C(std::uint32_t addr, std::uint8_t* buf, std::int16_t len);

/// Writes the hub image of `len` bytes at `data` and restarts the hub into it: destroys the validity mark of the
/// firmware in flash, erases, writes, reads everything back, writes the new mark last. Until then the hub starts
/// its boot ROM, where the next update finds it. Takes minutes and reports 10 to about 90 %; without a `callback`
/// nothing is done.
///
/// Returns hub::hub_update_success (1), also when the read-back, the comparison or the restart failed: the hub then
/// runs its ROM, and GetfwVersion tells. hub::hub_update_failed (0): closed, no callback, or the erase failed.
/// hub::hub_update_no_rom_mode (41511): the hub did not enter its boot ROM. Any other value is the 32-bit status of
/// the flash write that the hub refused. Prints the line "Update Hub Firmware function... ", a line for each stage,
/// and, when closed, "     Invalid Handle.".
std::int32_t UpdateHubFw(std::uint8_t* data, std::uint32_t len, ProgressCallback callback, void* context);

/// Writes the scaler image of `len` bytes at `data` through the bridge and restarts the scaler. `outReg` and
/// `cfgReg` are the 16-bit scaler registers of the pin that protects its flash, `blocks` the number of 64 KiB
/// blocks to erase; with `userCode` non-zero the image goes to 0x100000 and the two bytes that tell the scaler
/// that it is complete follow last. Nothing is read back. Takes minutes; `callback` may be null and is given 20
/// after the erase, then up to 100.
///
/// Returns hub::scaler_update_success (0), or 41511 to 41521: the bridge, the preparation, a chunk or the marker
/// failed, or the image is not usable (hub::scaler_update_...). A closed hub gives 0 too, so open it first. After a
/// failure the scaler stays in its programming mode, without those two bytes, until its power is cycled; the next
/// update then finishes the job. Prints the line "Update Scalar function... ", a line for a failure, and, when
/// closed, "     Invalid Handle.".
std::uint32_t UpdateScalarFw(std::uint8_t* data, std::uint32_t len, std::uint32_t outReg,
                             std::uint32_t cfgReg, std::uint8_t blocks, std::int8_t userCode,
                             ProgressCallback callback, void* context);
