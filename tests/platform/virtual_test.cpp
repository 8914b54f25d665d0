// The virtual bus needs no other face.
#include "seam_suite.h"

std::unique_ptr<seam::World> seam::makeWorld()
{
    return std::make_unique<World>();
}
