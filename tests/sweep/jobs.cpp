/// The table of the jobs. What a job does not update holds what the bundle offers already.
#include "jobs.h"

#include "tools/firmware_image.h"

namespace sweep {

using firmware::buildHub;
using firmware::buildScaler;

std::vector<Job> allJobs()
{
    constexpr int whole_hub = 0x10000;
    constexpr int small_hub = 0x8200;
    constexpr int least_scaler = 0x10001;
    const QByteArray small = buildHub({1, 2}, small_hub);
    const QByteArray new_small = buildHub({2, 5}, small_hub);
    const QByteArray whole = buildHub({1, 2}, whole_hub);
    const QByteArray new_whole = buildHub({2, 5}, whole_hub);
    const QByteArray never_newer = buildHub({0, 0}, whole_hub);
    const QByteArray text(40000, 'a'); // nothing makes the hub start it
    const QByteArray current = buildScaler({11, 0}, "QX1650", least_scaler);
    const QByteArray earlier = buildScaler({12, 1}, "QX1650", least_scaler);
    const QByteArray scaler = buildScaler({12, 3}, "QX1650", least_scaler);
    const QByteArray scaler_1320 = buildScaler({12, 3}, "QX1320", 0x10180);
    const QByteArray earlier_1655 = buildScaler({12, 1}, "QX1655", least_scaler);
    const QByteArray scaler_1655 = buildScaler({12, 3}, "QX1655", 0x18000);
    QByteArray unmarked = scaler;
    unmarked[0xF8FE] = 0;

    const sim::MonitorSetup qx1650;
    sim::MonitorSetup qx1655;
    qx1655.model = sim::Model::qx1655;
    sim::MonitorSetup high_speed_only;
    high_speed_only.model = sim::Model::qx1320;
    high_speed_only.has_super_speed_face = false;
    high_speed_only.reset_mode = 1;

    std::vector<Job> jobs{
        {"hub small", qx1650, {small, current}, {new_small, current}},
        {"hub 64 KiB", qx1650, {whole, current}, {new_whole, current}},
        {"hub small over 64 KiB", qx1650, {whole, current}, {new_small, current}},
        {"hub, no mark: text", qx1650, {whole, current}, {text, current}},
        {"scaler", qx1650, {whole, {}}, {whole, scaler}, 4},
        {"scaler again", qx1650, {whole, earlier}, {whole, scaler}, 16},
        {"scaler QX1655", qx1655, {whole, {}}, {whole, scaler_1655}, 32},
        {"scaler QX1655 again", qx1655, {whole, earlier_1655}, {whole, scaler_1655}, 128},
        {"hub, then scaler, High-Speed", high_speed_only, {small, {}}, {new_small, scaler_1320}, 32}};
    jobs[0].in_pairs = true;
    jobs[0].bounded_step = 1;
    jobs[3].ending = "Please click update button to update new firmware!"; // again

    const auto addForeign = [&](const char* name, const QByteArray& hub, const QByteArray& file,
                                const QString& ending) {
        jobs.push_back({name, qx1650, {whole, {}}, {hub, file}, 1, 4, ending, true});
    };
    const QString no_file = "Firmware file is not detected .";
    addForeign("foreign: empty files", {}, {}, no_file);
    addForeign("foreign: hub, negative version", buildHub({0x90, 1}, whole_hub), {}, no_file);
    addForeign("foreign: hub as scaler", never_newer, new_whole, {});
    addForeign("foreign: scaler, other model", never_newer, scaler_1320, {});
    addForeign("foreign: scaler, model cut off", never_newer, scaler.left(0xF904), {});
    addForeign("foreign: scaler, a byte short", never_newer, scaler.left(least_scaler - 1),
               texts::updateFailed());
    addForeign("foreign: scaler, no mark", never_newer, unmarked, texts::updateFailed());
    return jobs;
}

} // namespace sweep
