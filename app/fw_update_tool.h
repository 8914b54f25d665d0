/// The program's one window: shows which firmware the monitor runs and which the images hold, and updates it.
/// Detection is in detection.cpp, the update in update_workflow.cpp, the form in fw_update_tool.ui.
#pragma once

#include "ui_fw_update_tool.h"

#include <QByteArray>
#include <QDialog>
#include <QMessageBox>
#include <QString>

#include <cstdint>

/// Fill in the settings after construction and before the first show. Each show, including a restore of the window,
/// runs detection, which may block for seconds; a show during other work does not. Closing the dialog ends the
/// process with status 0 at any time; Escape hides it, except during an update.
class FW_Update_Tool : public QDialog
{
    Q_OBJECT

public:
    explicit FW_Update_Tool(QWidget* parent = nullptr);
    ~FW_Update_Tool() override;

    /// What Escape does.
    void reject() override;

    // From detection:
    bool newerFirmware = false; ///< the scaler image may be written: newer, or offered as a downgrade
    bool hubNewer = false;      ///< the hub image is newer than the running hub firmware
    // From the settings:
    QString hubBinFile;        ///< hub image, a file name in the Resources folder
    QString scalarBinFile;     ///< scaler image, likewise
    QString hubBinCheckSum;    ///< unused: the dialog shows the checksum that it computes
    QString scalarBinCheckSum; ///< likewise
    QString modelName;         ///< until detection takes it from the scaler image

protected:
    void closeEvent(QCloseEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    friend void updateProgress(void* context, std::uint8_t percent);

    void detectDevice();
    void detectScaler();
    void showHubUpdate(const QString& running, const QString& offered);
    void showScalerUpdate();
    void showNothingToUpdate(bool imageIsOlder);
    void showChecksum(const QByteArray& image);
    void showNoHub();
    /// Ends the process when the scaler image is for another model.
    void exitUnlessMeantForMonitor();
    /// The model in the display's capabilities string, or the whole string when it names none; empty when the hub
    /// cannot be reached. Repeats a request until the display answers it.
    QByteArray readMonitorModel();
    /// Restores the display's factory settings; true when the request was sent.
    bool resetMonitorOsd();

    /// These three tell the user before they return false.
    bool closeHubOrReport();
    bool findHubOrReport();
    bool selectDisplayOrReport();

    bool confirmUpdate();
    bool updateHub();
    bool updateScaler();
    void offerOsdReset();
    bool beginWriting();
    void failWriting(const QString& title, const QString& text);
    void showWarning(const QString& title, const QString& text);
    /// Shows `box` in front of the dialog and waits for the answer.
    QMessageBox::StandardButton ask(QMessageBox& box) const;

    Ui::FW_Update_ToolClass ui{};

    /// What the dialog is doing, from harmless to critical. Events are delivered meanwhile; their handlers check this
    /// before they start other work.
    enum class Work { none, asking, detecting, updating };
    Work work = Work::none;

private slots:
    void updateFW();
    void allowUpdateOldVersion();
};

/// The one dialog; set by start-up.
extern FW_Update_Tool* g_dialog;

/// ProgressCallback of both updates: moves the progress bar of `g_dialog` and lets the window repaint and take
/// input once. `context` is ignored; above 100 the bar stays.
void updateProgress(void* context, std::uint8_t percent);
