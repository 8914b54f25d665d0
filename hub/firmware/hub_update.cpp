/// The hub update: one function per stage, in order.
#include "hub/firmware/hub_update.h"

#include "hub/firmware/hub_control.h"
#include "hub/firmware/hub_image.h"
#include "hub/transport/vendor_commands.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

namespace hub {

namespace {

constexpr std::uint32_t piece_size = 4096;
constexpr std::uint8_t erased_percent = 10;
constexpr double pass_percent = 40;
constexpr std::uint8_t restarted_percent = 10;
constexpr std::array<std::uint8_t, 2> valid_mark = {0x55, 0xAA};
constexpr std::uint8_t blank = 0xFF;

using Mark = std::array<std::uint8_t, 2>;

struct Update
{
    std::uint8_t* image = nullptr;
    std::uint32_t length = 0;
    ProgressCallback callback = nullptr;
    void* context = nullptr;
    std::uint8_t percent = 0;

    void report(std::uint8_t value)
    {
        percent = value;
        callback(context, percent);
    }

    void reportPiece(std::uint32_t piece)
    {
        report(static_cast<std::uint8_t>(percent + static_cast<double>(piece) / length * pass_percent));
    }
};

/// Where the image carries its validity mark; null when it has none.
std::uint8_t* findMark(const Update& update)
{
    std::uint8_t* mark = Flash_GetVendorConfigAddr(update.image, static_cast<int>(update.length));
    return mark && std::equal(valid_mark.begin(), valid_mark.end(), mark) ? mark : nullptr;
}

/// The status is ignored for both marks: if the hub refuses, it stays in its ROM, where it can be updated.
void writeMark(const Update& update, const std::uint8_t* mark, Mark value)
{
    HH_WriteFlash(static_cast<std::uint32_t>(mark - update.image), value.data(), value.size());
}

void destroyMark(const Update& update, std::uint8_t* mark)
{
    std::fill_n(mark, valid_mark.size(), blank);
    writeMark(update, mark, {0, 0});
}

void restoreMark(const Update& update, std::uint8_t* mark)
{
    std::copy(valid_mark.begin(), valid_mark.end(), mark);
    writeMark(update, mark, valid_mark);
}

platform::Status writeImage(Update& update)
{
    for (std::uint32_t offset = 0; offset < update.length;) {
        const std::uint32_t piece = std::min(piece_size, update.length - offset);
        const platform::Status status = HH_WriteFlash(offset, update.image + offset, piece);
        if (status != platform::success)
            return status;
        update.reportPiece(piece);
        offset += piece;
    }
    return platform::success;
}

/// Reads the whole range back, even after a difference; false when the hub refuses a read.
bool readBack(Update& update, bool* equal)
{
    *equal = true;
    for (std::uint32_t offset = 0; offset < update.length;) {
        const std::uint32_t piece = std::min(piece_size, update.length - offset);
        std::array<std::uint8_t, piece_size> buffer{};
        if (HH_ReadFlash(offset, buffer.data(), piece) != platform::success)
            return false;
        *equal = *equal && std::memcmp(update.image + offset, buffer.data(), piece) == 0;
        update.reportPiece(piece);
        offset += piece;
    }
    return true;
}

std::int32_t end(const char* message, std::int32_t result)
{
    std::puts(message);
    return result;
}

} // namespace

std::int32_t updateHubFirmware(std::uint8_t* image, std::uint32_t length, ProgressCallback callback,
                               void* context)
{
    if (!callback)
        return hub_update_failed;
    if (!HvxFun_OpenRomDevice())
        return end("Fail To Open Rom Device\nPlease Load Driver firstly\nThen replugin usb hub device",
                   hub_update_no_rom_mode);

    Update update{image, length, callback, context};
    std::uint8_t* const mark = findMark(update);
    if (mark)
        destroyMark(update, mark);
    if (!HvxFun_EraseFlash())
        return end("Fail to Erase Flash", hub_update_failed);
    update.report(erased_percent);

    const platform::Status written = writeImage(update);
    if (written != platform::success)
        return end("Fail to Write Flash", static_cast<std::int32_t>(written));
    std::puts("Write Flash done. ");

    bool equal = false;
    if (!readBack(update, &equal))
        return end("Fail to Read Flash", hub_update_success);
    std::puts("Verify Flash...");
    if (!equal)
        return end("Fail to verify flash", hub_update_success);
    if (mark)
        restoreMark(update, mark);

    std::puts("Reset to Flash Code...");
    if (!HvxFun_ResetAndWait(CODE_MODE))
        return end("Fail to Reset to Flash Code", hub_update_success);
    update.report(static_cast<std::uint8_t>(update.percent + restarted_percent));
    return hub_update_success;
}

} // namespace hub
