/// The virtual bus as a back end: it needs no simulated operating system.
#include "seam_suite.h"

std::unique_ptr<seam::World> seam::makeWorld()
{
    return std::make_unique<World>();
}
