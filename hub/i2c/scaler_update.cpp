/// The scaler update: one function per stage, in order.
#include "hub/i2c/scaler_update.h"

#include "hub/i2c/bridge.h"
#include "hub/i2c/scaler_isp.h"
#include "hub/platform/clock.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>

namespace hub {

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t chunk_size = 128;
constexpr std::uint32_t user_code_min_size = 0x10001;
constexpr std::uint32_t user_code_base = 0x100000;
constexpr std::uint32_t mark_offset = 0xF8FE; ///< in the image
constexpr std::uint32_t marker_address = 0x1FF8FE;
constexpr std::array<std::uint8_t, 2> marker = {0xAA, 0x55};

constexpr std::uint8_t erased_percent = 20;
constexpr double write_percent = 80.0;
constexpr std::uint8_t done_percent = 100;
constexpr auto after_erase = 10ms;
constexpr auto before_leaving = 40ms;

bool isUserCodeImage(const std::uint8_t* data, std::uint32_t len)
{
    return len >= user_code_min_size && std::equal(marker.begin(), marker.end(), data + mark_offset);
}

void report(ProgressCallback callback, void* context, std::uint8_t percent)
{
    if (callback)
        callback(context, percent);
}

bool writeImage(std::uint8_t* data, std::uint32_t len, std::uint32_t base, ProgressCallback callback,
                void* context)
{
    for (std::uint32_t offset = 0; offset < len;) {
        const std::uint32_t chunk = std::min(len - offset, chunk_size);
        if (!MP_I2C_WriteSerialFlash(base + offset, data + offset, chunk, chunk_size))
            return false;
        offset += chunk;
        report(callback, context, static_cast<std::uint8_t>(offset * write_percent / len + erased_percent));
    }
    return true;
}

bool writeMarker()
{
    auto bytes = marker;
    return MP_I2C_WriteSerialFlash(marker_address, bytes.data(), bytes.size(), chunk_size);
}

std::uint32_t fail(const char* message, std::uint32_t result)
{
    std::puts(message);
    return result;
}

} // namespace

std::uint32_t updateScalerFirmware(std::uint8_t* data, std::uint32_t len, std::uint32_t outReg,
                                   std::uint32_t cfgReg, std::uint8_t blocks, std::int8_t userCode,
                                   ProgressCallback callback, void* context)
{
    if (len == 0) {
        std::fputs("Wrong Fw file", stdout);
        return scaler_update_bad_image;
    }
    const bool asUserCode = userCode != 0;
    if (asUserCode && !isUserCodeImage(data, len))
        return scaler_update_bad_image;
    if (!MP_I2C_SetSlaveAddr(1, 1))
        return fail("Fail To I2C SetSlaveAddr", scaler_update_no_slave);
    if (!MP_I2C_Initial(data, len, outReg, cfgReg, blocks, asUserCode))
        return fail("Fail To I2C Initial", scaler_update_not_ready);
    platform::sleepFor(after_erase);
    report(callback, context, erased_percent);

    MP_I2C_WriteInitalize(chunk_size);
    if (!writeImage(data, len, asUserCode ? user_code_base : 0, callback, context))
        return fail("Fail To I2C WriteSerialFlash", scaler_update_write);
    if (asUserCode && !writeMarker())
        return fail("Failed to I2C WriteSerialFlash for Scalar UserCode ", scaler_update_marker);

    platform::sleepFor(before_leaving);
    // If the scaler does not leave ISP mode now, a power cycle makes it.
    MP_I2C_Reset();
    report(callback, context, done_percent);
    return scaler_update_success;
}

} // namespace hub
