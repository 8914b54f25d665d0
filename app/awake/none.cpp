/// For programs whose monitor is not on a real bus.
#include "app/awake/stay_awake.h"

struct StayAwake::Hold
{
};

StayAwake::StayAwake() = default;
StayAwake::~StayAwake() = default;
