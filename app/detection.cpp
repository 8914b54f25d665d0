/// Finds the monitor, compares its firmware with the image files and offers what can be updated: the hub first,
/// the scaler only once the hub is current.
#include "app/debug_text.h"
#include "app/display_channel.h"
#include "app/fw_update_tool.h"
#include "app/image_fields.h"
#include "app/resource_folder.h"
#include "app/texts.h"
#include "hub/api/hub_api.h"

#include <QCoreApplication>
#include <QScopedValueRollback>

#include <algorithm>
#include <cstdlib>

namespace {

FirmwareVersion runningHubVersion()
{
    const std::uint32_t version = GetfwVersion();
    return {static_cast<int>(version >> 8U & 0xFFU), static_cast<int>(version & 0xFFU)};
}

QString dotted(FirmwareVersion version)
{
    return QString::number(version.major) + "." + QString::number(version.minor);
}

QString bold(const QString& caption, const QString& text)
{
    return caption + " : <b>" + text + "</b>";
}

/// Scaler releases go by their major number; the minor number is shown only when it makes the difference.
QString releaseName(FirmwareVersion version, bool withMinor)
{
    const QString name = "M" + QString::number(version.major).rightJustified(3, '0');
    return withMinor ? name + "REV " + QString::number(version.minor) : name;
}

QByteArray readConfiguredImage(const QString& fileName)
{
    const QString path = imagePath(fileName);
    debugText(path);
    return readImage(path);
}

} // namespace

void FW_Update_Tool::detectDevice()
{
    const QScopedValueRollback<Work> atWork(work, std::max(work, Work::detecting));
    Init();
    if (!closeHubOrReport())
        return;
    ui.chkOverride->setChecked(false);
    ui.chkOverride->hide();
    ui.btnUpdate->setEnabled(false);
    if (!findHubOrReport())
        return;
    OpenDevice(0);
    const FirmwareVersion running = runningHubVersion();
    if (running.composite() == 0) {
        showNoHub();
        return;
    }

    const QByteArray image = readConfiguredImage(hubBinFile);
    const FirmwareVersion offered = hubImageVersion(image);
    debugText("Hub Current:" + dotted(running));
    debugText("Hub bin:" + dotted(offered));
    hubNewer = running.composite() < offered.composite();
    if (!hubNewer) {
        detectScaler();
        return;
    }
    showChecksum(image);
    showHubUpdate(dotted(running), dotted(offered));
    CloseDevice();
}

void FW_Update_Tool::showHubUpdate(const QString& running, const QString& offered)
{
    ui.lblInfo->setText("Please click update button to update new firmware!");
    ui.chkOverride->setEnabled(false);
    ui.chkOverride->hide();
    ui.btnUpdate->setEnabled(true);
    ui.lblCurrentFW->setText(bold("Hub FW", running));
    ui.lblNewFW->setText(bold("Hub FW", offered));
    ui.lblModelName->setText(modelName);
}

void FW_Update_Tool::detectScaler()
{
    if (!selectDisplayOrReport())
        return;
    const FirmwareVersion running = readFirmwareLevel();
    const QByteArray image = readConfiguredImage(scalarBinFile);
    showChecksum(image);
    if (image.isEmpty()) {
        ui.lblInfo->setText("Firmware file is not detected .");
        ui.btnUpdate->setEnabled(false);
        return;
    }
    const FirmwareVersion offered = scalerImageVersion(image);
    modelName = QString::fromLatin1(scalerImageModel(image));
    ui.lblModelName->setText(modelName);
    exitUnlessMeantForMonitor();

    newerFirmware = running.composite() < offered.composite();
    const bool onlyMinorDiffers = newerFirmware && running.major == offered.major;
    ui.lblCurrentFW->setText(bold("Monitor FW", releaseName(running, onlyMinorDiffers)));
    ui.lblNewFW->setText(bold("Monitor FW", releaseName(offered, onlyMinorDiffers)));
    if (newerFirmware)
        showScalerUpdate();
    else
        showNothingToUpdate(running.composite() > offered.composite());
    CloseDevice();
}

void FW_Update_Tool::exitUnlessMeantForMonitor()
{
    // With its length, because a zero byte in the name counts.
    const QByteArray name = readMonitorModel();
    const QString monitor = QString::fromLatin1(name.constData(), name.size()).toUpper().remove(" SERIES");
    if (monitor == modelName)
        return;
    QMessageBox box(QMessageBox::Information, "Update FW Tool for QX Series",
                    "This firmwave is not for your monitor (" + monitor + ") , only for " + modelName +
                        "!!!");
    box.setTextFormat(Qt::PlainText); // both names come from outside
    ask(box);
    std::exit(EXIT_SUCCESS); // the same end as closing the dialog
}

void FW_Update_Tool::showScalerUpdate()
{
    ui.lblInfo->setText("Please click \"update\" to update your firmware.");
    ui.chkOverride->setEnabled(false);
    ui.chkOverride->hide();
    ui.btnUpdate->setEnabled(true);
}

void FW_Update_Tool::showNothingToUpdate(bool imageIsOlder)
{
    ui.lblInfo->setText(texts::alreadyLatest());
    ui.bar1->setValue(ui.bar1->maximum());
    QCoreApplication::processEvents();
    ui.btnUpdate->setEnabled(false);
    if (!imageIsOlder)
        return;
    ui.chkOverride->show();
    ui.chkOverride->setEnabled(true);
    newerFirmware = true;
}

void FW_Update_Tool::showChecksum(const QByteArray& image)
{
    ui.lblCheckSum->setText("0x" + QString::number(checksum16(image), 16));
}

void FW_Update_Tool::showNoHub()
{
    ui.lblInfo->setText(texts::noHub());
    ui.btnUpdate->setEnabled(false);
}

QByteArray FW_Update_Tool::readMonitorModel()
{
    Init();
    if (!closeHubOrReport() || !findHubOrReport())
        return {};
    OpenDevice(0);
    if (!selectDisplayOrReport())
        return {};
    std::uint16_t offset = 0;
    QByteArray capabilities;
    while (true) {
        const CapabilitiesFragment fragment = readCapabilities(offset);
        // A reply for another offset answers an earlier request; a slow display catches up eventually.
        if (fragment.offset != offset)
            continue;
        capabilities += fragment.text;
        QByteArray model = extractBetween(capabilities, "model(", ")");
        if (!model.isEmpty())
            return model;
        if (!fragment.is_full)
            return capabilities;
        offset = static_cast<std::uint16_t>(offset + CapabilitiesFragment::text_size);
    }
}

bool FW_Update_Tool::resetMonitorOsd()
{
    if (!closeHubOrReport() || !findHubOrReport())
        return false;
    OpenDevice(0);
    if (!selectDisplayOrReport())
        return false;
    restoreFactoryDefaults();
    return true;
}

bool FW_Update_Tool::closeHubOrReport()
{
    if (CloseDevice() != 0)
        return true;
    showWarning(texts::fatalError(), "Cannot found the Halrex USB Hub driver installed!");
    return false;
}

bool FW_Update_Tool::findHubOrReport()
{
    if (AvailableDevices() != 0)
        return true;
    showNoHub();
    return false;
}

bool FW_Update_Tool::selectDisplayOrReport()
{
    if (selectDisplay())
        return true;
    showWarning(texts::fatalError(), "Set Hub Speed failed!!!");
    return false;
}
