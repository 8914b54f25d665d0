/// The table of the models. To add one, add its row here and its name to Model.
#include "sim/monitor/monitor_setup.h"

#include <algorithm>
#include <array>

namespace sim {

namespace {

constexpr std::uint32_t mib = 0x100000;

/// In the order of Model. The user-code area starts at 1 MiB; only the QX1655 leaves the factory with it blank.
constexpr std::array<ModelFacts, 3> models{{
    {"QX1320", 2 * mib, 0xFE19, 0x1029, 0xA6, 1 * mib, 2 * mib},
    {"QX1650", 2 * mib, 0xFE28, 0x1038, 0x5C, 1 * mib, 2 * mib},
    {"QX1655", 4 * mib, 0xFE28, 0x1038, 0x5C, 2 * mib, 4 * mib},
}};

} // namespace

const ModelFacts& factsOf(Model model)
{
    return models.at(static_cast<std::size_t>(model));
}

std::optional<Model> modelNamed(const std::string& name)
{
    const auto found = std::find_if(models.begin(), models.end(),
                                    [&name](const ModelFacts& facts) { return facts.name == name; });
    return found == models.end() ? std::nullopt : std::optional(static_cast<Model>(found - models.begin()));
}

std::string factoryCapabilities(Model model)
{
    return std::string("(prot(monitor)type(lcd)model(") + factsOf(model).name +
           " Series)cmds(01 02 03 07 0C E3 F3)vcp(02 04 05 08 10 12 14(05 06 08 0B) 16 18 1A 52 60(11 12 0F)"
           " AC AE B2 B6 C6 C8 C9 D6(01 04 05) DF FD)mccs_ver(2.2))";
}

} // namespace sim
