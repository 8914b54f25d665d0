/// The entry point.
#include "app/startup.h"

int main(int argc, char** argv)
{
    return runUpdateTool(argc, argv);
}
