/// Restarts, erase and version of the hub chip.
#include "hub/firmware/hub_control.h"

#include "hub/firmware/hub_status.h"
#include "hub/platform/clock.h"
#include "hub/transport/session.h"
#include "hub/transport/vendor_commands.h"

#include <array>
#include <chrono>

namespace {

using namespace std::chrono_literals;

constexpr int attempts = 3;
constexpr auto retry_wait = 128000us;
constexpr int reopen_tries = 20;
constexpr std::uint8_t short_reset_mode = 1;

bool readStatus(HubStatus* status)
{
    std::array<std::uint8_t, HubStatus::full_size> block{};
    if (HH_Status(block.data(), block.size()) != platform::success)
        return false;
    *status = HubStatus::decode(block.data());
    return true;
}

platform::Status requestReset(std::uint8_t kind)
{
    switch (kind) {
    case HUB_RESET:
        return HH_HubReset();
    case ROM_MODE:
        return HH_HubResetRom();
    case CODE_MODE:
        return HH_HubResetCode(1, 1);
    default:
        return platform::success;
    }
}

} // namespace

bool HvxFun_IsRomCode()
{
    HubStatus status{};
    return readStatus(&status) && !status.runsCode;
}

bool HvxFun_OpenRomDevice()
{
    if (HvxFun_IsRomCode())
        return true;
    if (!HvxFun_ResetAndWait(ROM_MODE))
        return false;
    if (HvxFun_IsRomCode())
        return true;
    g_ErrCode = hub::error_rom_mode;
    return false;
}

bool HvxFun_ResetDev(std::uint8_t kind)
{
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (HvxFun_ResetDevEx(kind))
            return true;
        platform::sleepFor(retry_wait);
    }
    return false;
}

bool HvxFun_ResetDevEx(std::uint8_t kind)
{
    const platform::Status status = requestReset(kind);
    HH_Close();
    return status == platform::success;
}

bool HvxFun_ResetAndWait(std::uint8_t kind)
{
    const std::uint8_t resetMode = kind == ROM_MODE ? HvxFun_GetResetMode() : 0;
    if (!HvxFun_ResetDev(kind))
        return false;
    const auto pollInterval = resetMode == short_reset_mode ? 1s : 2s;
    for (int poll = 0; poll < reopen_tries; ++poll) {
        platform::sleepFor(pollInterval);
        if (HH_Open(nullptr))
            return true;
    }
    return false;
}

std::uint8_t HvxFun_GetResetMode()
{
    HubStatus status{};
    return readStatus(&status) ? status.resetMode : std::uint8_t{0};
}

bool HvxFun_EraseFlash()
{
    for (int attempt = 0; attempt < attempts; ++attempt) {
        const bool erased = HH_EraseFlash(0) == platform::success;
        platform::sleepFor(retry_wait);
        if (erased)
            return true;
    }
    return false;
}

std::uint16_t HvxFun_GetFwVer()
{
    HubStatus status{};
    return readStatus(&status) ? status.firmwareVersion : std::uint16_t{0};
}
