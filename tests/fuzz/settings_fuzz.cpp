/// Config.ini of any content through the whole start-up: reading, the debug output, and the first detection in
/// front of a monitor whose hub is old, which puts the configured model name on the form.
#include "dialog_seam.h"
#include "fuzz_input.h"

#include "app/startup.h"
#include "sim/bus/virtual_bus.h"
#include "sim/virtual_monitor.h"

#include <QDir>
#include <QFile>

namespace {

/// More than QSettings remembers by name: it would not look again at a file of the same size and time.
constexpr unsigned file_names = 64;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static sim::VirtualBus bus;
    static sim::VirtualMonitor monitor(bus);
    static unsigned runs = 0;
    bus.log().setEnabled(false);
    FuzzDialog& dialog = fuzzDialog();
    dialog.hubImage = QByteArray(0x8000, '\x7F'); // newer than any
    const QString path = QDir::tempPath() + "/" + QString::number(QCoreApplication::applicationPid()) + "-" +
                         QString::number(runs++ % file_names);
    QFile file(path);
    require(file.open(QIODevice::WriteOnly) &&
            file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size)) != -1);
    file.close();
    readSettings(path, dialog);
    file.remove();
    require(dialog.detect());
    return 0;
}
