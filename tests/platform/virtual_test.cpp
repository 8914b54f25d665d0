// The virtual bus needs no other face.
#include "seam_suite.h"

std::unique_ptr<seam::World> seam::makeWorld(sim::VirtualBus& /*bus*/)
{
    return std::make_unique<World>();
}
