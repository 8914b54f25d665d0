/// What every part of the virtual monitor lives in: its bus's time, the faults it is to suffer, and the place
/// to report a host that does wrong.
#pragma once

#include "sim/bus/clock.h"
#include "sim/bus/faults.h"
#include "sim/bus/violations.h"

namespace sim {

struct Environment
{
    Clock& clock;
    Faults& faults;
    Violations& violations;
};

} // namespace sim
