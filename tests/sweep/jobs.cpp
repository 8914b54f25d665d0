/// What is swept, the smallest first. What a job does not update holds what the bundle offers already.
#include "tools/firmware_image.h"
#include "trial.h"

using namespace firmware;

std::vector<Job> allJobs()
{
    const QByteArray small = buildHub({1, 2}, 0x8200);
    const QByteArray new_small = buildHub({2, 5}, 0x8200);
    const QByteArray whole = buildHub({1, 2}, 0x10000);
    const QByteArray new_whole = buildHub({2, 5}, 0x10000);
    const QByteArray no_hub = buildHub({0, 0}, 0x10000); // never newer
    const QByteArray bad_hub = buildHub({0x90, 1}, 0x10000);
    const QByteArray text(40000, 'a'); // nothing makes the hub start it
    const QByteArray current = buildScaler({11, 0}, "QX1650", 0x10001);
    const QByteArray earlier = buildScaler({12, 1}, "QX1650", 0x10001);
    const QByteArray scaler = buildScaler({12, 3}, "QX1650", 0x10001);
    const QByteArray scaler_1320 = buildScaler({12, 3}, "QX1320", 0x10180);
    const QByteArray earlier_1655 = buildScaler({12, 1}, "QX1655", 0x10001);
    const QByteArray scaler_1655 = buildScaler({12, 3}, "QX1655", 0x18000);
    const QByteArray unmarked = QByteArray(scaler).replace(0xF8FE, 1, "b");

    const sim::MonitorSetup qx1650;
    const sim::MonitorSetup qx1655{sim::Model::qx1655, {1, 2}, {11, 0}, true, 0};
    const sim::MonitorSetup high_speed_only{sim::Model::qx1320, {1, 2}, {11, 0}, false, 1};

    const Contents<QByteArray> factory{whole, {}};
    const QString again = "Please click update button to update new firmware!";
    const QString no_file = "Firmware file is not detected .";
    const QString failed = texts::updateFailed();
    return {
        {"hub small", qx1650, {small, current}, {new_small, current}, 1, texts::alreadyLatest(), false, true},
        {"hub 64 KiB", qx1650, {whole, current}, {new_whole, current}},
        {"hub small over 64 KiB", qx1650, {whole, current}, {new_small, current}},
        {"hub, no mark: text", qx1650, {whole, current}, {text, current}, 1, again},
        {"scaler", qx1650, factory, {whole, scaler}, 16},
        {"scaler again", qx1650, {whole, earlier}, {whole, scaler}, 32},
        {"scaler QX1655", qx1655, factory, {whole, scaler_1655}, 64},
        {"scaler QX1655 again", qx1655, {whole, earlier_1655}, {whole, scaler_1655}, 256},
        {"hub, then scaler, High-Speed", high_speed_only, {small, {}}, {new_small, scaler_1320}, 64},
        {"foreign: empty files", qx1650, factory, {}, 1, no_file, true},
        {"foreign: hub, negative version", qx1650, factory, {bad_hub, {}}, 1, no_file, true},
        {"foreign: hub as scaler", qx1650, factory, {no_hub, new_whole}, 1, "", true},
        {"foreign: scaler, other model", qx1650, factory, {no_hub, scaler_1320}, 1, "", true},
        {"foreign: scaler, model cut off", qx1650, factory, {no_hub, scaler.left(0xF904)}, 1, "", true},
        {"foreign: scaler, a byte short", qx1650, factory, {no_hub, scaler.chopped(1)}, 1, failed, true},
        {"foreign: scaler, no mark", qx1650, factory, {no_hub, unmarked}, 1, failed, true}};
}
