/// Construction, showing and closing of the dialog.
#include "app/fw_update_tool.h"

#include <QCoreApplication>
#include <QWindow>

#include <cstdlib>

FW_Update_Tool* g_dialog = nullptr;

FW_Update_Tool::FW_Update_Tool(QWidget* parent)
    : QDialog(parent)
{
    ui.setupUi(this);
    const QString title = QStringLiteral("QX Series USB Firmware Update Tool v");
    setWindowTitle(title); // no number: window lists and scripts know the tool by it, whatever its version
    ui.lblTitle->setText(title + "1.01");
    // The form was designed where a point is a pixel; at any other resolution the title would not fit.
    QFont titleFont = ui.lblTitle->font();
    titleFont.setPixelSize(titleFont.pointSize());
    ui.lblTitle->setFont(titleFont);
    // The name comes from a file and must not be taken for rich text.
    ui.lblModelName->setTextFormat(Qt::PlainText);
    setWindowFlags(Qt::FramelessWindowHint);
}

FW_Update_Tool::~FW_Update_Tool() = default;

void FW_Update_Tool::showEvent(QShowEvent* event)
{
    // QDialog's own handler would move the window.
    QWidget::showEvent(event); // NOLINT(bugprone-parent-virtual-call)
    if (work >= Work::detecting)
        return;
    ui.bar1->setValue(0);
    detectDevice();
}

void FW_Update_Tool::closeEvent(QCloseEvent* /*event*/)
{
    ui.btnExit->setEnabled(false);
    QCoreApplication::processEvents();
    QCoreApplication::quit();
    // In the middle of an update the event loop would not be back for minutes.
    std::exit(EXIT_SUCCESS);
}

void FW_Update_Tool::reject()
{
    if (work != Work::updating)
        QDialog::reject();
}

void FW_Update_Tool::showWarning(const QString& title, const QString& text)
{
    QMessageBox box(QMessageBox::Warning, title, text); // without a button named, it adds "OK"
    ask(box);
}

QMessageBox::StandardButton FW_Update_Tool::ask(QMessageBox& box) const
{
    // The box has no parent, so that it does not take on the dialog's colours; its window has, so that the window
    // system keeps it in front. A box that the dialog could cover would leave a dialog that looks dead.
    box.winId(); // makes the window
    box.windowHandle()->setTransientParent(windowHandle());
    return static_cast<QMessageBox::StandardButton>(box.exec());
}

void updateProgress(void* /*context*/, std::uint8_t percent)
{
    g_dialog->ui.bar1->setValue(percent);
    QCoreApplication::processEvents();
}
