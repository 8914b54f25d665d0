/// What "Update" does. A monitor has two firmwares: one in its USB hub, and one in its display scaler, on an I2C bus
/// behind that hub. Detection (detection.cpp) has compared the hub's with its image file and, if the hub is up to date,
/// the scaler's, refusing an image for another model. It set `hubNewer` when the hub image is newer than the hub's
/// firmware, or `newerFirmware` when the scaler image may be written: when it is newer, or older and a downgrade is
/// offered, in which case "Update" is enabled only by the check box.
///
/// The update asks the user, writes the hub if `hubNewer` is set, detects again, writes the scaler if `newerFirmware`
/// is set by then, detects once more and offers to reset the OSD settings.
///
/// A write fails when its image is missing, a request is refused, or the cable or the power is lost. A box says so,
/// and "Update" stays disabled until the next detection: a restart of the tool, or a restore of its window. An
/// interrupted hub starts in its boot ROM; an interrupted scaler lacks its completion marker and, after a power cycle,
/// runs its factory firmware. Detection finds either outdated and offers the update again. A hub whose read-back or
/// restart failed counts as written; the detection that follows offers it again.
///
/// To add a monitor model, add its case to scalerParameters() here, and its virtual twin to
/// sim/monitor/monitor_setup.{h,cpp}.
#include "app/awake/stay_awake.h"
#include "app/debug_text.h"
#include "app/fw_update_tool.h"
#include "app/process.h"
#include "app/resource_folder.h"
#include "app/texts.h"
#include "hub/api/hub_api.h"
#include "hub/platform/clock.h"

#include <QAbstractButton>
#include <QCoreApplication>
#include <QScopedValueRollback>

#include <chrono>
#include <optional>

namespace {

/// From the hub's restart until the display answers through its bridge.
constexpr std::chrono::milliseconds hub_settling_time(1000);
/// From the scaler's restart until it answers DDC/CI.
constexpr std::chrono::milliseconds scaler_settling_time(8000);

constexpr std::int8_t as_user_code = 1;

/// How a model's scaler lifts the write protection of its flash, and how many 64 KiB blocks are erased.
struct ScalerParameters
{
    std::uint32_t outReg;
    std::uint32_t cfgReg;
    std::uint8_t blocks;
};

/// By model name; none for an unknown model. The QX1655 is recognised by the name in the dialog, which detection keeps
/// equal to `model`.
std::optional<ScalerParameters> scalerParameters(const QString& model, const QString& shownModel)
{
    if (model == "QX1320")
        return ScalerParameters{0xFE19, 0x1029, 16};
    if (model == "QX1650")
        return ScalerParameters{0xFE28, 0x1038, 16};
    if (shownModel != "QX1655")
        return std::nullopt;
    return ScalerParameters{0xFE28, 0x1038, static_cast<std::uint8_t>(model == "QX1655" ? 32 : 16)};
}

std::uint8_t* bytesOf(QByteArray& image)
{
    return reinterpret_cast<std::uint8_t*>(image.data());
}

std::uint32_t sizeOf(const QByteArray& image)
{
    return static_cast<std::uint32_t>(image.size());
}

/// Keeps signals and sleep away for the length of a write.
struct Undisturbed
{
    SignalsHeldBack heldBack;
    StayAwake awake;
};

std::int32_t writeHub(QByteArray& image)
{
    const Undisturbed undisturbed;
    return UpdateHubFw(bytesOf(image), sizeOf(image), updateProgress, nullptr);
}

std::uint32_t writeScaler(QByteArray& image, const ScalerParameters& parameters)
{
    const Undisturbed undisturbed;
    return UpdateScalarFw(bytesOf(image), sizeOf(image), parameters.outReg, parameters.cfgReg,
                          parameters.blocks, as_user_code, updateProgress, nullptr);
}

} // namespace

void FW_Update_Tool::updateFW()
{
    if (work != Work::none)
        return;
    const QScopedValueRollback<Work> atWork(work, Work::asking);
    if (!confirmUpdate())
        return;
    work = Work::updating;
    Init();
    if (hubNewer && !updateHub())
        return;
    if (!newerFirmware) {
        ui.btnExit->setEnabled(true);
        return;
    }
    if (updateScaler())
        offerOsdReset();
}

void FW_Update_Tool::allowUpdateOldVersion()
{
    ui.btnUpdate->setEnabled(ui.chkOverride->isChecked());
}

bool FW_Update_Tool::confirmUpdate()
{
    const QString question = ui.chkOverride->isChecked()
                                 ? tr("Are you sure you want to downgrade your firmware to the old version?")
                                 : tr("Are you sure you want to update your firmware to the latest version?");
    QMessageBox box(QMessageBox::Question, "Confirm to update firmware", question,
                    QMessageBox::Yes | QMessageBox::No);
    box.setDefaultButton(QMessageBox::Yes);
    return ask(box) == QMessageBox::Yes;
}

bool FW_Update_Tool::updateHub()
{
    if (!beginWriting())
        return false;
    QByteArray image = readImage(imagePath(hubBinFile));
    std::int32_t result = hub::hub_update_failed;
    // The file may have gone since it was offered, and a hub with old firmware is better than an erased one.
    if (!image.isEmpty()) {
        OpenDevice(0);
        ui.bar1->setValue(0);
        result = writeHub(image);
        debugText("Update Hub Resulte :" + QString::number(result));
        CloseDevice();
        image.clear(); // detection reads it again
    }
    if (result != hub::hub_update_success) {
        failWriting("Update Hub FW Failed",
                    "Monitor Hub Firmware update failed , please close the application "
                    "and retry again !");
        return false;
    }
    platform::sleepFor(hub_settling_time);
    detectDevice();
    return true;
}

bool FW_Update_Tool::updateScaler()
{
    if (!beginWriting())
        return false;
    QByteArray image = readImage(imagePath(scalarBinFile)); // UpdateScalarFw refuses an empty one
    OpenDevice(0);
    const auto parameters = scalerParameters(modelName, ui.lblModelName->text());
    if (!parameters) {
        showWarning(texts::fatalError(), "Update Failed !");
        ui.btnExit->setEnabled(true);
        return false;
    }
    ui.bar1->setValue(0);
    const std::uint32_t result = writeScaler(image, *parameters);
    CloseDevice();
    image.clear(); // detection reads it again
    if (result != hub::scaler_update_success) {
        failWriting("Update Scalar FW Failed", "Monitor Scalar Firmware update failed, please close the "
                                               "application and retry again !");
        return false;
    }
    platform::sleepFor(scaler_settling_time);
    detectDevice();
    ui.btnExit->setEnabled(true);
    return true;
}

bool FW_Update_Tool::beginWriting()
{
    ui.btnUpdate->setEnabled(false);
    ui.btnExit->setEnabled(false);
    ui.chkOverride->setEnabled(false);
    ui.lblInfo->setText(texts::busy());
    QCoreApplication::processEvents();
    return closeHubOrReport();
}

void FW_Update_Tool::failWriting(const QString& title, const QString& text)
{
    showWarning(title, text);
    ui.btnExit->setEnabled(true);
    ui.lblInfo->setText(texts::updateFailed());
}

void FW_Update_Tool::offerOsdReset()
{
    QMessageBox box(
        QMessageBox::NoIcon, tr("Update Firmware"),
        tr("Your monitor firmware was updated successfully.\nSuggest to reset OSD setting to default."),
        QMessageBox::Yes | QMessageBox::No, nullptr, Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
    box.button(QMessageBox::Yes)->setText("Reset OSD Setting");
    box.button(QMessageBox::No)->setText("Exit");
    if (ask(box) != QMessageBox::Yes)
        return;
    // The display does not acknowledge the reset, so there is no result to report.
    resetMonitorOsd();
    QMessageBox done(QMessageBox::Information, tr("OSD Settings Reset"),
                     tr("Your monitor OSD Settings has been reset successfully."), QMessageBox::Ok);
    ask(done);
}
