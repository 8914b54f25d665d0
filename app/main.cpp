/// The program's entry; everything it does is start-up.
#include "app/startup.h"

int main(int argc, char** argv)
{
    return runUpdateTool(argc, argv);
}
