/// A hostile monitor through the dialog's detection and both updates: the virtual one, whose answers the input
/// spoils. (The dialog asks a display for its capabilities for as long as the display answers another question,
/// so every fault is a single one, and none takes the monitor off the bus.)
///
///     1 byte   bit 0: SuperSpeed too; bit 1: a hub update follows; bit 2: a scaler update follows
///     20       model in the scaler image
///     then faults: 1 byte kind, 1 byte at which request after the last fault, 1 byte position in the reply, and
///              for spoilt replies 1 byte count and the bytes
///
/// Longer replies than were asked for end at the seam to the operating system: a reply has a fixed place.
#include "dialog_seam.h"
#include "fuzz_input.h"

#include "hub/api/hub_api.h"
#include "sim/virtual_monitor.h"

#include <array>

namespace {

void armFaults(sim::Faults& faults, FuzzInput& input)
{
    int request = 0;
    while (!input.atEnd()) {
        const int kind = input.byte() % 6;
        const sim::When when = sim::atRequest(request += 1 + input.byte());
        const std::size_t position = input.byte();
        const std::string bytes = kind < 2 ? input.bytes(input.byte()) : "";
        if (kind == 0)
            faults.replaceReply(when, position, {bytes.begin(), bytes.end()});
        else if (kind == 1)
            faults.flipReply(when, position, {bytes.begin(), bytes.end()});
        else if (kind == 2)
            faults.shortenReply(when, position);
        else if (kind == 3)
            faults.refuse(when);
        else if (kind == 4)
            faults.timeOut(when);
        else
            faults.loseAnswer(when);
    }
}

QByteArray scalerImageFor(const std::string& model)
{
    return QByteArray(0xF906 + 20, '\0')
        .replace(0xF900, 2, "\x0C\x03")
        .replace(0xF906, static_cast<int>(model.size()), model.data(), static_cast<int>(model.size()));
}

void update(bool hub)
{
    std::array<std::uint8_t, 0x1200> image{};
    const ProgressCallback ignore = [](void*, std::uint8_t) {};
    OpenDevice(0);
    if (hub) {
        image[0x1100] = image[0x10F0] = 0x55; // a vendor-config block and the mark before it
        image[0x1101] = image[0x10F1] = 0xAA;
        UpdateHubFw(image.data(), image.size(), ignore, nullptr);
    } else {
        UpdateScalarFw(image.data(), 300, 0xFE28, 0x1038, 1, 0, ignore, nullptr);
    }
    CloseDevice();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    const std::uint8_t options = input.byte();
    FuzzDialog& dialog = fuzzDialog();
    dialog.hubImage = QByteArray(0x8000, '\1'); // 1.1, older than the hub's own
    dialog.scalarBinFile = "scaler.bin";
    dialog.scalerImage = scalerImageFor(input.bytes(20));

    sim::VirtualBus bus;
    bus.log().setEnabled(false);
    sim::MonitorSetup setup;
    setup.has_super_speed_face = (options & 1U) != 0;
    sim::VirtualMonitor monitor(bus, setup);
    armFaults(bus.faults(), input);
    dialog.detect();
    if ((options & 2U) != 0)
        update(true);
    if ((options & 4U) != 0)
        update(false);
    CloseDevice();
    for (const sim::HubFace* face : {&monitor.hub().superSpeedFace(), &monitor.hub().highSpeedFace()})
        require(face->counters().live_interfaces == 0);
    return 0;
}
