/// What every test of the dialog needs: image files, a monitor with the dialog in front of it, and a hand that
/// answers message boxes. The images are laid out here by themselves, not by the code under test.
#pragma once

#include "app/startup.h"
#include "sim/faults.h"
#include "sim/virtual_bus.h"
#include "sim/virtual_monitor.h"

#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QObject>
#include <QProgressBar>
#include <QStringList>
#include <QTest>
#include <QTimer>

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <vector>

/// 64 KiB with a vendor-config block at 0xFF00 and the valid mark before it.
QByteArray hubImage(std::uint8_t major, std::uint8_t minor);
/// A user-code image, a few bytes longer than the shortest that is accepted.
QByteArray scalerImage(std::uint8_t major, std::uint8_t minor, const QByteArray& model = "QX1650");
bool flashHolds(const std::vector<std::uint8_t>& flash, std::size_t at, const QByteArray& image);

/// Empties the Resources folder of the running program.
void clearResources();
void writeResource(const QString& fileName, const QByteArray& bytes);

/// Presses the given buttons in the boxes that appear, one box after the other; a box that nobody announced
/// is closed by Escape.
class BoxHand : public QObject
{
    Q_OBJECT

public:
    BoxHand();
    QStringList answers;
    /// Each box as "warning [title] text (button, button)".
    QStringList seen;

signals:
    void aboutToAnswer(const QString& box);

private:
    void answer();

    QTimer timer_;
};

/// The dialog in front of a monitor. The images are "hub.bin" and "scaler.bin".
class Bench
{
public:
    explicit Bench(const sim::MonitorSetup& setup = {});
    ~Bench();

    sim::VirtualBus bus;
    sim::VirtualMonitor monitor;
    FW_Update_Tool dialog;
    BoxHand boxes;
    QVector<int> progress; ///< every value that the bar took

    template <class Widget>
    Widget* find(const char* name) const
    {
        return dialog.findChild<Widget*>(name);
    }
    QString label(const char* name) const { return find<QLabel>(name)->text(); }
    /// What is offered: "update", "exit" and "override" as far as they can be pressed, and the bar's value.
    QString offers() const;
    /// Presses "Update"; boxes are answered in order.
    void update(const QStringList& answers);
};

/// Something that goes wrong between detection and "Update".
using Sabotage = std::function<void(Bench&)>;
Q_DECLARE_METATYPE(Sabotage)

extern const QString confirm_box;
extern const QString no_hub_text;
extern const QString latest_text;
extern const QString busy_text;
extern const QString failed_text;

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
    setFontResolution();
    const QApplication application(argc, argv);
    setFormLook();
    Test test;
    const int failures = QTest::qExec(&test, argc, argv);
    finished = true;
    return failures;
}
