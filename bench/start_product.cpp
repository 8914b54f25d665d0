/// The update tool itself, up to its first paint.
#include "app/startup.h"
#include "bench/first_paint.h"

static void endAfterFirstPaint()
{
    static FirstPaint paint(endProcess);
}

Q_COREAPP_STARTUP_FUNCTION(endAfterFirstPaint)

int main(int argc, char** argv)
{
    return runUpdateTool(argc, argv);
}
