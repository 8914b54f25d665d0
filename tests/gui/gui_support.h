/// What every test of the dialog needs: image files, a monitor with the dialog in front of it, and short names for
/// all that the dialog says.
#pragma once

#include "app/startup.h"
#include "demo/hand.h"
#include "hub/api/hub_api.h"
#include "sim/virtual_monitor.h"
#include "tools/firmware_image.h"

#include <QApplication>
#include <QDir>
#include <QProgressBar>
#include <QTest>
#include <QWindow>

/// Users quote these texts to the support, which knows them letter by letter.
inline const char* const short_names = R"(
asked              | question [Confirm to update firmware] Are you sure you want to update your firmware to the latest version? (Yes, No)
asked to downgrade | question [Confirm to update firmware] Are you sure you want to downgrade your firmware to the old version? (Yes, No)
hub failed         | warning [Update Hub FW Failed] Monitor Hub Firmware update failed , please close the application and retry again ! (OK)
scaler failed      | warning [Update Scalar FW Failed] Monitor Scalar Firmware update failed, please close the application and retry again ! (OK)
model unknown      | warning [Fatal Error] Update Failed ! (OK)
no bridge          | warning [Fatal Error] Set Hub Speed failed!!! (OK)
no library         | warning [Fatal Error] Cannot found the Halrex USB Hub driver installed! (OK)
success            | plain [Update Firmware] Your monitor firmware was updated successfully.~Suggest to reset OSD setting to default. (Reset OSD Setting, Exit)
reset              | information [OSD Settings Reset] Your monitor OSD Settings has been reset successfully. (OK)
hub is old         | Please click update button to update new firmware!
scaler is old      | Please click "update" to update your firmware.
no image           | Firmware file is not detected .
up to date         | <img width=20 height=20 src=":/FW_Update_Tool/question_mark"> Your current firmware version is already the latest version, you don't need to update.
busy               | <img width=20 height=20 src=":/FW_Update_Tool/question_mark"> The update process may take several minutes. Please do not remove the USB cable connection or turn off the monitor's power while updating.
try again          | <img width=20 height=20 src=":/FW_Update_Tool/cross_mark">The detection of USB Hub is not configured correctly, please close the application and retry again, then unplug & replug the USB cable to try again.
no hub             | <img width=20 height=20 src=":/FW_Update_Tool/cross_mark"> The detection of USB Hub is not configured correctly. Please ensure the monitor is powered on and connected properly. Please also close and restart the application, then unplug & replug the USB cable to retry again. <a href="https://support.example.com/qx">https://support.example.com/qx</a>)";

inline const QString other_model =
    "information [Update FW Tool for QX Series] unformatted: This firmwave is not for your monitor (";

/// The rows of a table in text, taken apart at each "|".
inline QVector<QStringList> rowsOf(const char* table)
{
    QVector<QStringList> rows;
    for (const QString& line : QString(table).split('\n', Qt::SkipEmptyParts)) {
        rows += QStringList();
        for (const QString& field : line.split('|'))
            rows.back() += field.trimmed();
    }
    return rows;
}

/// Boxes and labels by their short names; a text without one is its own.
inline QString named(QStringList texts)
{
    for (QString& text : texts) {
        for (const QStringList& row : rowsOf(short_names))
            text = text == QString(row[1]).replace('~', '\n') ? row[0] : text;
        if (text.startsWith(other_model) && text.endsWith("!!! (OK)"))
            text = text.mid(other_model.size()).chopped(8).replace(") , only for ", " is no ");
    }
    return texts.join(", ");
}

/// "2.5"
inline FirmwareVersion versionOf(const QString& text)
{
    return {text.section('.', 0, 0).toInt(), text.section('.', 1, 1).toInt()};
}

/// 64 KiB with a vendor-config block at 0xFF00 and the valid mark before it.
inline QByteArray hubImage(const QString& version)
{
    return firmware::buildHub(versionOf(version), 0x10000);
}

/// A user-code image, a few bytes longer than the shortest that is accepted.
inline QByteArray scalerImage(const QString& version, const QByteArray& model = "QX1650")
{
    return firmware::buildScaler(versionOf(version), model, 0x10105);
}

inline sim::MonitorSetup running(const QString& hub, const QString& display,
                                 sim::Model model = sim::Model::qx1650)
{
    const auto version = [](const QString& text) {
        return sim::Version{static_cast<std::uint8_t>(versionOf(text).major),
                            static_cast<std::uint8_t>(versionOf(text).minor)};
    };
    return {model, version(hub), version(display), ""};
}

inline QByteArray bytesOf(const std::vector<std::uint8_t>& bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), static_cast<int>(bytes.size())};
}

inline bool hubHolds(sim::VirtualMonitor& monitor, const QByteArray& image)
{
    return bytesOf(monitor.hub().flash()).startsWith(image);
}

/// The user code and, where the scaler looks for it, its marker.
inline bool scalerHolds(sim::VirtualMonitor& monitor, const QByteArray& image)
{
    const QByteArray flash = bytesOf(monitor.scaler().flash().bytes());
    return flash.mid(0x100000, image.size()) == image && flash.mid(0x1FF8FE, 2) == "\xAA\x55";
}

inline void writeResource(const QString& fileName, const QByteArray& bytes)
{
    QFile file(imagePath(fileName));
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("%s cannot be written", qPrintable(file.fileName()));
}

/// Leaves nothing in the Resources folder but these images, "hub.bin" and "scaler.bin".
inline void prepareResources(const QByteArray& hubFile, const QByteArray& scalerFile)
{
    QDir(resourcesDir()).removeRecursively();
    QDir().mkpath(resourcesDir());
    writeResource("hub.bin", hubFile);
    writeResource("scaler.bin", scalerFile);
}

/// These fail the running test, which goes on: when something else than `wanted` was `seen`, or `rule` is broken.
inline void expect(const QString& rule, const QString& seen, const QString& wanted)
{
    if (seen != wanted)
        QTest::qFail(qPrintable(rule + ": wanted \"" + wanted + "\", saw \"" + seen + "\""), __FILE__,
                     __LINE__);
}

inline void expect(const QString& rule, bool holds)
{
    if (!holds)
        QTest::qFail(qPrintable(rule + ": it is not so"), __FILE__, __LINE__);
}

/// The dialog in front of a monitor.
struct Bench
{
    sim::VirtualBus bus;
    sim::VirtualMonitor monitor;
    FW_Update_Tool dialog;
    QProgressBar* bar = dialog.findChild<QProgressBar*>("bar1");
    QVector<int> progress; ///< every value that the bar took
    Hand boxes;
    std::function<void(QMessageBox::Icon)> at_box = [](QMessageBox::Icon) {};

    Bench(const QByteArray& hubFile, const QByteArray& scalerFile, const sim::MonitorSetup& setup = {})
        : monitor(bus, setup)
    {
        g_dialog = &dialog;
        dialog.hubBinFile = "hub.bin";
        dialog.scalarBinFile = "scaler.bin";
        dialog.modelName = "from Config.ini";
        QObject::connect(bar, &QProgressBar::valueChanged, [this](int percent) { progress += percent; });
        boxes.before_answer = [this](const QMessageBox& box) {
            // A parent would lend its colours; without a transient parent the dialog could cover the box.
            if (box.parent() || box.windowHandle()->transientParent() != dialog.windowHandle())
                boxes.seen.back() += ", which the dialog may cover";
            at_box(box.icon());
        };
        prepareResources(hubFile, scalerFile);
    }
    ~Bench() { Deinit(); }

    void show()
    {
        dialog.hide();
        dialog.show();
    }
    QString label(const char* name) const { return named({Hand::label(dialog, name)}); }
    /// "update", "exit" and "override" as far as they can be pressed, and the bar's value.
    QString offers() const
    {
        const std::pair<const char*, const char*> buttons[]{
            {"btnUpdate", "update "}, {"btnExit", "exit "}, {"chkOverride", "override "}};
        QString result;
        for (const auto& [name, word] : buttons) {
            const auto* widget = dialog.findChild<QWidget*>(name);
            result += widget->isEnabled() && widget->isVisible() ? word : "";
        }
        return result + QString::number(bar->value());
    }
    /// Presses "Update"; boxes are answered in order. Returns boxes; message; what is offered; how often the hub's
    /// flash and blocks of the scaler's were erased, or "untouched" when the monitor got no request at all.
    QString update(const QStringList& answers)
    {
        boxes.answers = answers;
        boxes.seen.clear();
        progress.clear();
        bus.log().clear();
        Hand::press(dialog, "btnUpdate");
        int hub = 0;
        int scaler = 0;
        for (const sim::WireRecord& record : bus.log().records()) {
            hub += record.setup.request == 0xE8 ? 1 : 0;
            scaler += record.setup.value == 0x60 && record.data == std::vector<std::uint8_t>{0xB9} ? 1 : 0;
        }
        const QString erased = QString("erased %1+%2").arg(hub).arg(scaler);
        return QStringList{named(boxes.seen), label("lblInfo"), offers(),
                           bus.log().records().empty() ? "untouched" : erased}
            .join("; ");
    }
};
