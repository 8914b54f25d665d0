/// How the two firmware updates report their progress, for all layers that take part in one.
#pragma once

#include <cstdint>

/// Called on the caller's thread from inside the update, between transfers, with the caller's own context
/// pointer unchanged and a percentage from 0 to 100. It may run an event loop; it must not call back into
/// the library, and it cannot stop the update.
using ProgressCallback = void (*)(void* context, std::uint8_t percent);
