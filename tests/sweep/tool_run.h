/// The tool without its window: one start of the process, with the calls of the dialog in the dialog's order,
/// by a user who presses "Update" whenever it is offered.
#pragma once

#include <cstdint>
#include <vector>

namespace sweep {

using Bytes = std::vector<std::uint8_t>;

/// What belongs to the hub and what to the scaler: files of the bundle, or contents of flashes.
struct Pair
{
    Bytes hub;
    Bytes scaler;
};

/// What the user is left with.
enum class Ending {
    up_to_date,
    hub_offered, ///< an update; after a write too, when it was not done in spite of what was said
    scaler_offered,
    downgrade_offered, ///< up to date, with the box for older firmware
    asks_forever,      ///< the display's model is asked for without end; the window is frozen
    failed             ///< any box or text that says so
};

struct ToolRun
{
    Ending ending = Ending::failed;
    bool hub_done = false; ///< the write reported success, without a "Fail to ..." line
    bool scaler_tried = false;
    bool scaler_done = false; ///< the write reported success
};

/// Whether the user ticks "Allow Monitor use older firmware." when it is offered.
enum class Downgrade { refused, taken };

/// Runs the tool as a new process on the current virtual bus, up to its end: the library's globals start anew,
/// and what it prints is not shown.
ToolRun runTool(const Pair& files, Downgrade downgrade);

} // namespace sweep
