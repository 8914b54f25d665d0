/// The monitor's two plugs, as seen from one face of its hub: what is pulled there is pulled for the whole
/// monitor.
#pragma once

#include "sim/bus/bus_device.h"

namespace sim {

class Supply
{
public:
    virtual ~Supply() = default;

    virtual void pullCable() = 0;
    virtual void cutPower(const PowerLoss& loss) = 0;
};

} // namespace sim
