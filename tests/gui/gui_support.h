/// What every test of the dialog needs: image files, and a monitor with the dialog in front of it.
#pragma once

#include "app/startup.h"
#include "app/texts.h"
#include "demo/hand.h"
#include "sim/virtual_monitor.h"

#include <QApplication>
#include <QProgressBar>
#include <QTest>

#include <cstdlib>

/// 64 KiB with a vendor-config block at 0xFF00 and the valid mark before it.
QByteArray hubImage(std::uint8_t major, std::uint8_t minor);
/// A user-code image, a few bytes longer than the shortest that is accepted.
QByteArray scalerImage(std::uint8_t major, std::uint8_t minor, const std::string& model = "QX1650");
bool hubHolds(sim::VirtualMonitor& monitor, const QByteArray& image);
/// The user code and, where the scaler looks for it, its marker.
bool scalerHolds(sim::VirtualMonitor& monitor, const QByteArray& image);

/// Empties the Resources folder of the running program.
void clearResources();
void writeResource(const QString& fileName, const QByteArray& bytes);

/// The dialog in front of a monitor. The images are "hub.bin" and "scaler.bin".
class Bench
{
public:
    explicit Bench(const sim::MonitorSetup& setup = {});
    /// With these image files in the Resources folder, and the dialog shown.
    Bench(const QByteArray& hubFile, const QByteArray& scalerFile, const sim::MonitorSetup& setup = {});
    ~Bench();

    sim::VirtualBus bus;
    sim::VirtualMonitor monitor;
    FW_Update_Tool dialog;
    Hand boxes;
    QVector<int> progress; ///< every value that the bar took

    template <class Widget>
    Widget* find(const char* name) const
    {
        return dialog.findChild<Widget*>(name);
    }
    QString label(const char* name) const { return Hand::label(dialog, name); }
    void press(const char* button) { Hand::press(dialog, button); }
    /// What is offered: "update", "exit" and "override" as far as they can be pressed, and the bar's value.
    QString offers() const;
    void showAgain();
    /// Presses "Update"; boxes are answered in order. Returns the boxes, then what the dialog says and offers.
    QStringList update(const QStringList& answers);
};

extern const QString confirm_box;
extern const QString success_box;
extern const QString reset_box;

/// main() of a test program: the application as start-up makes it. The dialog may end the process with
/// status 0; before the last test that is a failure.
template <class Test>
int runGuiTest(int argc, char** argv)
{
    static bool finished = false;
    std::atexit([] {
        if (!finished)
            std::_Exit(EXIT_FAILURE);
    });
    setScreenScaling();
    const QApplication application(argc, argv);
    setFormLook();
    Test test;
    const int failures = QTest::qExec(&test, argc, argv);
    finished = true;
    return failures;
}
