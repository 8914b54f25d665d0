/// Stands in, by the linker's --wrap, for exit() and for the reading of image files.
#include "dialog_seam.h"

#include "app/startup.h"
#include "demo/hand.h"

#include <QApplication>
#include <QShowEvent>

#include <csetjmp>
#include <cstdlib>

namespace {

std::jmp_buf way_back; // NOLINT: exit() has no context
bool detecting = false;

} // namespace

extern "C" [[noreturn]] void __real_exit(int status);

/// Leaves the dialog's frames behind without destroying what is in them: some strings a call, that nobody
/// misses within a fuzzer's life.
extern "C" [[noreturn]] void __wrap_exit(int status)
{
    if (!detecting)
        __real_exit(status);
    // What Qt still knows may not stay in frames that are about to be overwritten.
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* box = qobject_cast<QMessageBox*>(widget))
            box->~QMessageBox();
    }
    std::longjmp(way_back, 1);
}

QByteArray readFromMemory(const QString& path) asm("__wrap__Z9readImageRK7QString");
QByteArray readFromMemory(const QString& path)
{
    const FuzzDialog& dialog = fuzzDialog();
    const QByteArray& image = path.endsWith("/scaler.bin") ? dialog.scalerImage : dialog.hubImage;
    return QByteArray::fromRawData(image.constData(),
                                   image.size()); // a copy would be left behind with its frame
}

bool FuzzDialog::detect()
{
    static QShowEvent shown;
    detecting = setjmp(way_back) == 0;
    if (!detecting)
        return false;
    showEvent(&shown);
    detecting = false;
    return true;
}

FuzzDialog& fuzzDialog()
{
    static FuzzDialog* dialog = nullptr;
    if (dialog != nullptr)
        return *dialog;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    static int argc = 1;
    static char name[] = "fuzzer";
    static char* argv[] = {name, nullptr};
    setScreenScaling();
    new QApplication(argc, argv);
    setFormLook();
    auto* hand = new Hand;
    hand->before_answer = [hand](QMessageBox& /*box*/) { hand->seen.clear(); };
    dialog = new FuzzDialog;
    g_dialog = dialog;
    return *dialog;
}
