/// Writing a scaler firmware image into the scaler's serial flash, through the hub's bridge.
///
/// As user code (the only way in which the tool writes it) an image lies at flash address 0x100000, and the
/// two bytes AA 55 at 0x1FF8FE, written last, tell the scaler that it is complete. The erase is ruled by the
/// number of blocks, not by that address: it starts at block `blocks`, so for 16 blocks it clears 0x100000 to
/// 0x1FFFFF, for 32 blocks 0x200000 to 0x3FFFFF.
#pragma once

#include "hub/progress_callback.h"
#include "hub/result_codes.h"

#include <cstdint>

namespace hub {

/// Writes `len` bytes at `data` in chunks of 128. `outReg` and `cfgReg` are the 16-bit scaler registers of
/// the flash's protection pin, `blocks` the number of 64 KiB blocks to erase. With `userCode` (non-zero) the
/// image must have at least 0x10001 bytes and AA 55 at 0xF8FE. `callback` may be null; it is given 20 after
/// the erase, 20 + 80 x written / len after each chunk, and 100 at the end.
///
/// Nothing is read back: the erase check and the programming polls are the only checks. After a failure
/// beyond the image rules the scaler stays in ISP mode, its flash unprotected, without the marker.
///
/// Prints "Wrong Fw file" (no line end) for an empty image, nothing for a broken user-code rule, and the
/// lines "Fail To I2C SetSlaveAddr", "Fail To I2C Initial", "Fail To I2C WriteSerialFlash", "Failed to I2C
/// WriteSerialFlash for Scalar UserCode ".
std::uint32_t updateScalerFirmware(std::uint8_t* data, std::uint32_t len, std::uint32_t outReg,
                                   std::uint32_t cfgReg, std::uint8_t blocks, std::int8_t userCode,
                                   ProgressCallback callback, void* context);

} // namespace hub
