/// The whole program on a virtual monitor, ended in the way that its argument names; run by exit_test. Prints
/// "returned" when start-up gets the event loop's result back, and what the boxes said.
#include "gui_support.h"

#include <QPushButton>

#include <cstdio>

namespace {

QString wayOut; // NOLINT: the start-up hook below takes no arguments

void pressUpdateAndCloseMidway()
{
    auto* bar = g_dialog->findChild<QProgressBar*>("bar1");
    QObject::connect(bar, &QProgressBar::valueChanged, bar, [](int percent) {
        if (percent > 30 && percent < 100)
            QTimer::singleShot(0, g_dialog, [] { g_dialog->close(); });
    });
    g_dialog->findChild<QPushButton*>("btnUpdate")->click();
}

void leave()
{
    if (wayOut == "exit")
        QTest::mouseClick(g_dialog->findChild<QPushButton*>("btnExit"), Qt::LeftButton);
    else if (wayOut == "close")
        g_dialog->close();
    else if (wayOut == "escape")
        QTest::keyClick(g_dialog, Qt::Key_Escape);
    else if (wayOut == "update")
        pressUpdateAndCloseMidway();
}

void prepare()
{
    auto* boxes = new BoxHand;
    boxes->answers = QStringList{wayOut == "update" ? "Yes" : "OK"};
    QObject::connect(boxes, &BoxHand::aboutToAnswer, [](const QString& box) { std::puts(qPrintable(box)); });
    QTimer::singleShot(0, qApp, leave);
}
Q_COREAPP_STARTUP_FUNCTION(prepare)

} // namespace

int main(int argc, char** argv)
{
    wayOut = argv[1];
    sim::VirtualBus bus;
    sim::VirtualMonitor monitor(bus);
    const int result = runUpdateTool(argc, argv);
    std::printf("returned %d\n", result);
    return result;
}
