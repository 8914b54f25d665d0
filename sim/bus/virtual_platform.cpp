/// The platform's listing, taken from the virtual bus. Alone in its file, as the sleep is: a program that puts the
/// bus behind another platform does not get this one as well.
#include "sim/bus/virtual_bus.h"

namespace {

class NothingPluggedIn final : public platform::Enumeration
{
    platform::Found next(std::unique_ptr<platform::Device>* /*device*/) override
    {
        return platform::Found::end;
    }
};

} // namespace

std::unique_ptr<platform::Enumeration> platform::enumerateUsbDevices()
{
    if (sim::VirtualBus* bus = sim::VirtualBus::current())
        return bus->enumerate();
    return std::make_unique<NothingPluggedIn>();
}
