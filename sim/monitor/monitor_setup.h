/// What a virtual monitor is as it leaves the factory, and what sets the models of the family apart. The
/// numbers are the scalers' own.
#pragma once

#include <cstdint>
#include <string>

namespace sim {

enum class Model { qx1320, qx1650, qx1655 };

struct Version
{
    std::uint8_t major = 0;
    std::uint8_t minor = 0;
};

inline bool operator==(Version a, Version b)
{
    return a.major == b.major && a.minor == b.minor;
}

struct MonitorSetup
{
    Model model = Model::qx1650;
    Version hub_version{1, 2};      ///< factory hub image in flash, with a valid mark
    Version display_version{11, 0}; ///< factory scaler firmware
    std::string capabilities;       ///< empty: the model's own text
    bool has_super_speed_face = true;
    std::uint8_t reset_mode = 0; ///< byte 13 of the hub's status block
    std::uint8_t port = 1;       ///< root port of both faces: digit 1 of their location ids
};

struct ModelFacts
{
    const char* name;
    std::uint32_t flash_size;
    std::uint16_t output_register; ///< drives the flash's write-protect pin; 1 releases it
    std::uint16_t config_register; ///< pin configuration that the pin-share register has to follow
    std::uint32_t stale_from;      ///< flash that left the factory with leftovers of a test run in it
    std::uint32_t stale_to;
};

const ModelFacts& factsOf(Model model);

/// The capabilities text of a model, 100 to 200 characters long.
std::string factoryCapabilities(Model model);

} // namespace sim
