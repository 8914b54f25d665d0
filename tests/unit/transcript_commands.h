/// The words in which transcripts are written: every function of the library, and what a case does to the
/// devices around it.
#pragma once

#include <functional>
#include <optional>
#include <sstream>

#include "hub_fixture.h"

/// What the commands of one transcript work on.
struct World
{
    sim::VirtualBus& bus;
    std::deque<Responder> devices{};
    std::optional<sim::VirtualMonitor> monitor{};
    Bytes image{};                                       ///< what the updates write
    std::vector<std::pair<std::size_t, int>> progress{}; ///< requests before it, percent
};

/// Takes its arguments from the stream. A function of the library gives its result, then what it put behind
/// its pointers.
using Command = std::function<std::string(World&, std::istringstream&)>;

/// By name. Arguments are hexadecimal numbers in the functions' own order; ":0A0B" stands for bytes, "buffer"
/// for 64 KiB of zeros, "image" for the image, "-" for null, "report" for a noted callback and its context.
/// A pointer to a number takes the value before the call.
const std::map<std::string, Command>& commands();
