/// Detection, boxes and writes are the dialog's own; here is only what its user and its operating system do.
#include "tool.h"

#include "app/fw_update_tool.h"
#include "hub/api/hub_api.h"
#include "hub/i2c/bridge.h"
#include "hub/platform/clock.h"
#include "hub/transport/session.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

/// The longest update takes 30 s. Re-opening the restarted hub is tried for 40 s more, a poll for 5 s, and a silent
/// device costs 5 s.
constexpr sim::Duration patience_of_the_user = std::chrono::seconds(90);

Tool::Tool(sim::VirtualBus& on, const QString& imageFiles)
    : bus(on)
    , files(imageFiles)
{
    hand.before_answer = [this](QMessageBox& box) {
        scaler_done = scaler_done || box.icon() == QMessageBox::NoIcon;
        hand.answers = QStringList{box.icon() == QMessageBox::Question ? "Yes" : "Reset OSD Setting"};
    };
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString& text) {
        running->hub_done = running->hub_done || text == "Update Hub Resulte :1";
    });
    running = this;
}

void Tool::start(bool takesOlder)
{
    said.clear();
    hub_done = scaler_done = offers_older = frozen = false;
    g_ErrCode = m_uAddrLen = m_uDataLen = 0;
    stdout = open_memstream(&printed, &printed_size);
    patience_ends = bus.clock().now() + patience_of_the_user;
    g_dialog = new FW_Update_Tool;      // never deleted, as in the program
    g_dialog->setUpdatesEnabled(false); // painting is most of the work, and nobody looks
    g_dialog->hubBinFile = files + ".hub";
    g_dialog->scalarBinFile = files + ".scaler";
    g_dialog->show();
    if (takesOlder)
        Hand::press(*g_dialog, "chkOverride");
    Hand::press(*g_dialog, "btnUpdate");
    said = Hand::label(*g_dialog, "lblInfo");
    offers_older = g_dialog->findChild<QWidget*>("chkOverride")->isVisible();
    end();
}

void Tool::end()
{
    std::fflush(stdout);
    // Only the hub's update writes it so; the scaler's has "Fail To" and a result of its own.
    hub_done = hub_done && std::strstr(printed, "Fail to ") == nullptr;
    Deinit();
    g_Dev.reset();
    const auto then = ended; // which may set another
    std::_Exit(then());
}

void platform::sleepFor(std::chrono::microseconds duration)
{
    Tool& tool = *Tool::running;
    tool.bus.clock().advance(duration);
    tool.frozen = tool.bus.clock().now() > tool.patience_ends;
    if (tool.frozen)
        tool.end();
}

/// What the tool calls in place of exit(): the process that was the tool still has the monitor to look at.
extern "C" [[noreturn]] void __wrap_exit(int /*status*/) // NOLINT: the linker makes the name
{
    Tool::running->end();
}
