/// A virtual monitor as it leaves the factory, and how the models of the family differ.
#pragma once

#include <cstdint>
#include <optional>
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
    bool has_super_speed_face = true;
    std::uint8_t reset_mode = 0; ///< byte 13 of the hub's status block
};

struct ModelFacts
{
    const char* name;
    std::uint32_t flash_size;
    std::uint16_t output_register; ///< drives the flash's write-protect pin; 1 releases it
    std::uint16_t config_register; ///< pin configuration that the pin-share register has to copy
    std::uint8_t config_value;     ///< of that register at power on
    /// Between these two the flash holds leftovers of a test run in the factory.
    std::uint32_t stale_from;
    std::uint32_t stale_to;
};

const ModelFacts& factsOf(Model model);
std::optional<Model> modelNamed(const std::string& name);

/// The capabilities text of a model, 100 to 200 characters long.
std::string factoryCapabilities(Model model);

} // namespace sim
