/// The platform's enumeration, on the virtual bus. It and the sleep have files of their own, so that a program that
/// puts the bus behind another platform links neither.
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
