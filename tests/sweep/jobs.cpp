/// The table of the jobs. What a job does not update holds what the bundle offers already.
#include "jobs.h"

#include "sim/monitor/factory_images.h"
#include "tools/firmware_image.h"

#include <algorithm>

namespace sweep {

namespace {

using sim::Model;
using sim::Version;

constexpr std::size_t whole_hub = 0x10000;
constexpr std::size_t small_hub = 0x8200;
constexpr std::size_t least_scaler = 0x10001;
constexpr std::size_t image_mark_at = 0xF8FE;
constexpr Bytes::value_type blank = 0xFF;

constexpr Version old_hub{1, 2};
constexpr Version new_hub{2, 5};
constexpr Version old_scaler{11, 0};
constexpr Version earlier_scaler{12, 1};
constexpr Version new_scaler{12, 3};

Bytes asBytes(const QByteArray& image)
{
    return {image.begin(), image.end()};
}

Bytes hubImage(std::size_t size, Version version)
{
    return asBytes(firmware::buildHub({version.major, version.minor}, static_cast<int>(size)));
}

Bytes scalerImage(Model model, Version version, std::size_t size = least_scaler)
{
    return asBytes(firmware::buildScaler({version.major, version.minor}, sim::factsOf(model).name,
                                         static_cast<int>(size)));
}

Bytes factoryScaler(Model model)
{
    return sim::factoryScalerFlash(model, old_scaler);
}

Bytes updatedScaler(Model model, Version version)
{
    return withUserCode(factoryScaler(model), scalerImage(model, version));
}

Bytes cut(Bytes bytes, std::size_t size)
{
    bytes.resize(size);
    return bytes;
}

/// Which the tool has to leave alone.
Job foreignJob(const char* name, const Bytes& hubFile, const Bytes& scalerFile)
{
    const Pair before{hubImage(whole_hub, old_hub), factoryScaler(Model::qx1650)};
    return {name, {}, before, {hubFile, scalerFile}, 1, 1, Ending::failed, true};
}

} // namespace

Bytes withUserCode(Bytes flash, const Bytes& image)
{
    std::fill(flash.begin() + user_code_at, flash.begin() + user_code_end, blank);
    std::copy(image.begin(), image.end(), flash.begin() + user_code_at);
    flash[user_code_marker_at] = 0xAA;
    flash[user_code_marker_at + 1] = 0x55;
    return flash;
}

std::vector<Job> allJobs()
{
    const Bytes small = hubImage(small_hub, old_hub);
    const Bytes new_small = hubImage(small_hub, new_hub);
    const Bytes whole = hubImage(whole_hub, old_hub);
    const Bytes new_whole = hubImage(whole_hub, new_hub);
    const Bytes never_newer = hubImage(whole_hub, {0, 0});
    const Bytes text(40000, 'a'); // nothing makes the hub start it
    const Bytes current = updatedScaler(Model::qx1650, old_scaler);
    const Bytes offered = scalerImage(Model::qx1650, old_scaler);
    const Bytes factory = factoryScaler(Model::qx1650);
    const Bytes updated = updatedScaler(Model::qx1650, earlier_scaler);
    const Bytes factory_1655 = factoryScaler(Model::qx1655);
    const Bytes updated_1655 = updatedScaler(Model::qx1655, earlier_scaler);
    const Bytes scaler = scalerImage(Model::qx1650, new_scaler);
    const Bytes scaler_1320 = scalerImage(Model::qx1320, new_scaler, 0x10180);
    const Bytes scaler_1655 = scalerImage(Model::qx1655, new_scaler, 0x18000);
    Bytes unmarked = scaler;
    unmarked[image_mark_at] = 0;
    sim::MonitorSetup largest;
    largest.model = Model::qx1655;
    sim::MonitorSetup high_speed_only;
    high_speed_only.model = Model::qx1320;
    high_speed_only.has_super_speed_face = false;
    high_speed_only.reset_mode = 1;
    return {{"hub small", {}, {small, current}, {new_small, offered}},
            {"hub 64 KiB", {}, {whole, current}, {new_whole, offered}},
            {"hub small over 64 KiB", {}, {whole, current}, {new_small, offered}},
            {"hub, no mark: text", {}, {whole, current}, {text, offered}, 1, 1, Ending::hub_offered},
            {"scaler", {}, {whole, factory}, {whole, scaler}, 1, 16},
            {"scaler again", {}, {whole, updated}, {whole, scaler}, 2, 256},
            {"scaler QX1655", largest, {whole, factory_1655}, {whole, scaler_1655}, 16, 512},
            {"scaler QX1655 again", largest, {whole, updated_1655}, {whole, scaler_1655}, 64, 1024},
            {"hub, then scaler, High-Speed",
             high_speed_only,
             {small, factoryScaler(Model::qx1320)},
             {new_small, scaler_1320},
             8,
             256},
            foreignJob("foreign: empty files", {}, {}),
            foreignJob("foreign: hub, negative version", hubImage(whole_hub, {0x90, 1}), {}),
            foreignJob("foreign: hub as scaler", never_newer, new_whole),
            foreignJob("foreign: scaler, other model", never_newer, scaler_1320),
            foreignJob("foreign: scaler, model cut off", never_newer, cut(scaler, 0xF904)),
            foreignJob("foreign: scaler, a byte short", never_newer, cut(scaler, least_scaler - 1)),
            foreignJob("foreign: scaler, no mark", never_newer, unmarked)};
}

} // namespace sweep
