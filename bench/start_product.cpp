/// The update tool itself, up to its first paint.
#include "app/startup.h"
#include "bench/first_paint.h"

static void endAtFirstPaint()
{
    static EndAtFirstPaint paint;
}

Q_COREAPP_STARTUP_FUNCTION(endAtFirstPaint)

int main(int argc, char** argv)
{
    return runUpdateTool(argc, argv);
}
