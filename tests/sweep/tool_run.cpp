/// Detection and both writes, as the dialog makes them.
#include "tool_run.h"

#include "app/display_channel.h"
#include "app/image_fields.h"
#include "hub/api/hub_api.h"
#include "hub/i2c/bridge.h"
#include "hub/platform/clock.h"
#include "hub/transport/session.h"

#include <QString>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <utility>

namespace sweep {

namespace {

using namespace std::chrono_literals;

constexpr int patience_of_the_user = 60; ///< questions for the same fragment until the process is killed

/// How the dialog has the scaler of each model written.
constexpr struct Parameters
{
    const char* model;
    std::uint32_t outReg;
    std::uint32_t cfgReg;
    std::uint8_t blocks;
} parameters[] = {
    {"QX1320", 0xFE19, 0x1029, 16}, {"QX1650", 0xFE28, 0x1038, 16}, {"QX1655", 0xFE28, 0x1038, 32}};

QByteArray asFile(const Bytes& bytes)
{
    return QByteArray::fromRawData(reinterpret_cast<const char*>(bytes.data()),
                                   static_cast<int>(bytes.size()));
}

void ignoreProgress(void* /*context*/, std::uint8_t /*percent*/) {}

bool openHub()
{
    Init();
    CloseDevice();
    return AvailableDevices() != 0 && OpenDevice(0) != 0;
}

/// Nothing when the display never answers what it was asked; empty when there is no display.
std::optional<QByteArray> monitorModel()
{
    QByteArray capabilities;
    if (!openHub() || !selectDisplay())
        return capabilities;
    std::uint16_t offset = 0;
    for (int asked = 0; asked < patience_of_the_user; ++asked) {
        const CapabilitiesFragment fragment = readCapabilities(offset);
        if (fragment.offset != offset)
            continue;
        capabilities += fragment.text;
        const QByteArray model = extractBetween(capabilities, "model(", ")");
        if (!model.isEmpty() || !fragment.is_full)
            return model.isEmpty() ? capabilities : model;
        offset = static_cast<std::uint16_t>(offset + CapabilitiesFragment::text_size);
        asked = 0;
    }
    return std::nullopt;
}

Ending detectScaler(const QByteArray& image)
{
    if (!selectDisplay())
        return Ending::failed;
    const int running = readFirmwareLevel().composite();
    if (image.isEmpty())
        return Ending::failed;
    const std::optional<QByteArray> monitor = monitorModel();
    if (!monitor)
        return Ending::asks_forever;
    if (QString::fromLatin1(*monitor).toUpper().remove(" SERIES") != scalerImageModel(image))
        return Ending::failed;
    CloseDevice();
    const int offered = scalerImageVersion(image).composite();
    if (running == offered)
        return Ending::up_to_date;
    return running < offered ? Ending::scaler_offered : Ending::downgrade_offered;
}

Ending detect(const Pair& files)
{
    const int running = openHub() ? static_cast<std::uint16_t>(GetfwVersion()) : 0;
    if (running == 0)
        return Ending::failed;
    if (running >= hubImageVersion(asFile(files.hub)).composite())
        return detectScaler(asFile(files.scaler));
    CloseDevice();
    return Ending::hub_offered;
}

bool writeHub(Bytes image)
{
    constexpr std::int32_t success = 1;
    CloseDevice();
    OpenDevice(0);
    const auto size = static_cast<std::uint32_t>(image.size());
    const std::int32_t result = UpdateHubFw(image.data(), size, ignoreProgress, nullptr);
    CloseDevice();
    return result == success;
}

bool writeScaler(Bytes image)
{
    constexpr std::uint32_t success = 0;
    constexpr std::int8_t as_user_code = 1;
    CloseDevice();
    OpenDevice(0);
    for (const Parameters& row : parameters) {
        if (scalerImageModel(asFile(image)) != row.model)
            continue;
        const auto size = static_cast<std::uint32_t>(image.size());
        const std::uint32_t result = UpdateScalarFw(image.data(), size, row.outReg, row.cfgReg, row.blocks,
                                                    as_user_code, ignoreProgress, nullptr);
        CloseDevice();
        return result == success;
    }
    return false;
}

ToolRun runOnce(const Pair& files, Downgrade downgrade)
{
    ToolRun run;
    run.ending = detect(files);
    bool older_will_do = downgrade == Downgrade::taken;
    if (run.ending == Ending::hub_offered) {
        Init();
        run.hub_done = writeHub(files.hub);
        if (run.hub_done)
            platform::sleepFor(1000ms);
        run.ending = run.hub_done ? detect(files) : Ending::failed;
        older_will_do = true; // nobody is asked again
    }
    if (run.ending == Ending::scaler_offered || (run.ending == Ending::downgrade_offered && older_will_do)) {
        run.scaler_tried = true;
        run.scaler_done = writeScaler(files.scaler);
        if (run.scaler_done)
            platform::sleepFor(8000ms);
        run.ending = run.scaler_done ? detect(files) : Ending::failed;
    }
    Deinit();
    return run;
}

} // namespace

ToolRun runTool(const Pair& files, Downgrade downgrade)
{
    g_Dev.reset();
    g_ErrCode = 0;
    g_hub = nullptr;
    m_uAddrLen = m_uDataLen = 0;
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* const shown = std::exchange(stdout, open_memstream(&text, &size));
    ToolRun run = runOnce(files, downgrade);
    std::fclose(std::exchange(stdout, shown));
    // Only the hub's update writes it so; the scaler's has "Fail To" and a result of its own.
    run.hub_done = run.hub_done && std::strstr(text, "Fail to ") == nullptr;
    std::free(text);
    return run;
}

} // namespace sweep
