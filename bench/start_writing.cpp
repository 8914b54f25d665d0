/// The update tool itself, up to the end of a hub update, on the hub that answers at once. Exits with 0 when that
/// hub holds the image of the Resources folder.
#include "app/startup.h"
#include "bench/answering_hub.h"
#include "bench/first_paint.h"
#include "demo/hand.h"

#include <cstring>

/// Says yes to the question whether to update.
static void confirm()
{
    Hand::answer(*Hand::openBox(), "Yes");
}

static void update()
{
    QMetaObject::invokeMethod(g_dialog, confirm, Qt::QueuedConnection);
    Hand::press(*g_dialog, "btnUpdate");
    const QByteArray image = readImage(imagePath(g_dialog->hubBinFile));
    const auto size = static_cast<std::size_t>(image.size());
    _exit(size != 0 && std::memcmp(image.constData(), bench::hub.flash.data(), size) == 0 ? 0 : 1);
}

static void updateAfterFirstPaint()
{
    static FirstPaint paint(update);
}

Q_COREAPP_STARTUP_FUNCTION(updateAfterFirstPaint)

int main(int argc, char** argv)
{
    bench::hub.plugged = true;
    bench::hub.flash[bench::hub_version_at] = 1;
    return runUpdateTool(argc, argv);
}
