/// What every part of the virtual monitor gets from its bus: the time, the faults that it has, and where to report a
/// host that breaks a rule.
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
