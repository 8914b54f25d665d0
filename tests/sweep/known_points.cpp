/// The table. A row that the full sweep does not meet is out of date and fails it.
#include "report.h"

namespace sweep {

std::vector<std::string> knownPoints()
{
    const std::string not_done = " / (refused|timed out)";
    const std::string gone = " / (unplugged|host lost|power cut.*)";
    // The new image's mark is not where the old one has its own, so it is not the old mark that is voided.
    const std::string mark_elsewhere = " / (hub small over|hub, no mark).* / ";
    return {
        "mixture under a valid mark" + mark_elsewhere + "hub: void mark / power cut (during|after)",
        "mixture under a valid mark" + mark_elsewhere + "hub: erase" + gone,
        "stays broken" + mark_elsewhere + "hub: erase / power cut during",
        "hub done, not written / .* / hub: mark" + not_done,

        "marker without its image / scaler again / scaler: erase: .*",
        "scaler done, not written / .* / detection before / (unplugged|power cut .*)",
        "scaler done, not written / .* / scaler: (program setup: opcode|marker: start)" + not_done,
        "factory code damaged / .* / scaler: erase: address" + not_done,
        "needs a downgrade / .* / scaler: erase: address" + not_done,
        "needs a power cycle / .* / scaler: .* / (refused|timed out|answer lost|reply.*|unplugged|host lost)",

        "host broke rules.* / scaler: (prepare|erase): poll / (refused|timed out|answer lost|reply.*)",
        "host broke rules.* / scaler: program setup: length" + not_done,
        "host broke rules.* / scaler: image: (address|data port|bridge.*|start)" + not_done,
        "host broke rules.* / scaler: marker: (address|data port|bridge.*)" + not_done,
        "host broke rules.* / scaler: (erase: .*|image: poll|marker: poll|leave: poll) / reply.*",
        "asks forever / .* / detection .*" + gone,

        // Its erase leaves out the area that is written, so one image is programmed over another.
        "(host broke rules.*|marker without its image|scaler done, not written) / scaler QX1655 again / .*",
        "stays broken / scaler QX1655 again / .*",
    };
}

} // namespace sweep
