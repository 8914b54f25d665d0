/// What every test of the dialog needs: image files, a monitor with the dialog in front of it, and short names for
/// all that the dialog says.
#pragma once

#include "../resource_file.h"
#include "demo/hand.h"
#include "hub/api/hub_api.h"
#include "sim/virtual_monitor.h"
#include "tools/firmware_image.h"

#include <QApplication>
#include <QDir>
#include <QProgressBar>
#include <QRegularExpression>
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
    for (QString& text : texts)
        for (const QStringList& row : rowsOf(short_names))
            text = text == QString(row[1]).replace('~', '\n') ? row[0] : text;
    return texts.join(", ");
}

/// "2.5", for the tool or for the monitor.
template <typename Version>
Version versionOf(const QString& text)
{
    using Number = decltype(Version::major);
    return {static_cast<Number>(text.section('.', 0, 0).toInt()),
            static_cast<Number>(text.section('.', 1, 1).toInt())};
}

/// 64 KiB with a vendor-config block at 0xFF00 and the valid mark before it.
inline QByteArray hubImage(const QString& version)
{
    return firmware::buildHub(versionOf<FirmwareVersion>(version), 0x10000);
}

/// A user-code image, a few bytes longer than the shortest that is accepted.
inline QByteArray scalerImage(const QString& version, const QByteArray& model = "QX1650")
{
    return firmware::buildScaler(versionOf<FirmwareVersion>(version), model, 0x10105);
}

inline sim::MonitorSetup running(const QString& hub, const QString& display)
{
    return {sim::Model::qx1650, versionOf<sim::Version>(hub), versionOf<sim::Version>(display)};
}

inline QByteArray bytesOf(const std::vector<std::uint8_t>& bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), static_cast<int>(bytes.size())};
}

/// Whether the hub's flash and the scaler's hold these images, the latter with its marker where the scaler looks for it.
inline QString flashesOf(sim::VirtualMonitor& monitor, const QByteArray& hub, const QByteArray& scaler)
{
    const QString found = bytesOf(monitor.hub().flash()).startsWith(hub) ? "hub new" : "hub old";
    const QByteArray flash = bytesOf(monitor.scaler().flash().bytes());
    const bool isNew = flash.mid(0x100000).startsWith(scaler) && flash.mid(0x1FF8FE, 2) == "\xAA\x55";
    return (monitor.hub().flashIsValid() ? found : "hub void") + (isNew ? ", scaler new" : ", scaler old");
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
        QTest::qFail(qPrintable(rule + ": wanted \"" + wanted + "\", saw \"" + seen + "\""), "", 0);
}

inline void expect(const QString& rule, bool holds)
{
    expect(rule, holds ? "it is so" : "it is not so", "it is so");
}

/// The dialog in front of a monitor.
struct Rig
{
    sim::VirtualBus bus;
    sim::VirtualMonitor monitor;
    FW_Update_Tool dialog;
    QProgressBar* bar = dialog.findChild<QProgressBar*>("bar1");
    Hand boxes;
    QMap<QMessageBox::Icon, std::function<void()>> at_box; ///< done before a box is answered

    Rig(const QByteArray& hubFile, const QByteArray& scalerFile, const sim::MonitorSetup& setup = {})
        : monitor(bus, setup)
    {
        g_dialog = &dialog;
        dialog.hubBinFile = "hub.bin";
        dialog.scalarBinFile = "scaler.bin";
        dialog.modelName = "from Config.ini";
        boxes.before_answer = [this](const QMessageBox& box) {
            // A parent would lend its colours; without a transient parent the dialog could cover the box.
            if (box.parent() || box.windowHandle()->transientParent() != dialog.windowHandle())
                boxes.seen.back() += ", which the dialog may cover";
            if (box.icon() == QMessageBox::Question && box.defaultButton() != box.button(QMessageBox::Yes))
                boxes.seen.back() += ", where Enter is not Yes";
            at_box.value(box.icon(), [] {})();
        };
        prepareResources(hubFile, scalerFile);
    }
    ~Rig() { Deinit(); }

    void show()
    {
        dialog.hide();
        dialog.show();
    }
    QString label(const char* name) const { return named({Hand::label(dialog, name)}); }
    /// "update", "exit" and "override" as far as they can be pressed, and the bar's value.
    QString offers() const
    {
        QString result;
        for (const char* name : {"btnUpdate", "btnExit", "chkOverride"}) {
            const auto* widget = dialog.findChild<QWidget*>(name);
            result += widget->isEnabled() && widget->isVisible() ? QString(name + 3).toLower() + " " : "";
        }
        return result + QString::number(bar->value());
    }
    bool holdsHub()
    {
        const sim::DeviceCounters& hub = monitor.hub().superSpeedFace().counters();
        return hub.opens > hub.closes;
    }
    /// Presses "Update"; boxes are answered in order. Returns boxes; message; what is offered; how often the hub's
    /// flash and blocks of the scaler's were erased and the OSD settings reset, or "untouched" when the monitor got no
    /// request at all.
    QString update(const QStringList& answers)
    {
        boxes.answers = answers;
        boxes.seen.clear();
        bus.log().clear();
        Hand::press(dialog, "btnUpdate");
        const QString wire = QString::fromStdString(bus.log().text());
        const auto hub = wire.count(QRegularExpression("#. .. E8 "));
        const auto scaler = wire.count(QRegularExpression("#. .. .. 0060 .* : B9\n"));
        const QString done = QString("erased %1+%2").arg(hub).arg(scaler);
        const QString reset = monitor.display().factoryResets() > 0 ? ", reset" : "";
        return QStringList{named(boxes.seen), label("lblInfo"), offers(),
                           bus.log().records().empty() ? "untouched" : done + reset}
            .join("; ");
    }
};
