/// The monitor's two plugs, USB cable and power, for a face of its hub to pull: either concerns the whole monitor.
#pragma once

#include "sim/bus/bus_device.h"

namespace sim {

class Plugs
{
public:
    virtual ~Plugs() = default;

    virtual void pullCable() = 0;
    virtual void cutPower(const PowerLoss& loss) = 0;
};

} // namespace sim
