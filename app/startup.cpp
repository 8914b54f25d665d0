/// Start-up. Nothing is checked here; the dialog reports what is missing.
#include "app/startup.h"

#include "app/debug_text.h"
#include "app/process.h"

#include <QApplication>
#include <QFont>
#include <QPalette>
#include <QSettings>
#include <QStandardPaths>

namespace {

/// In pixels, like the form: the longest message just fits its three lines.
constexpr int form_font_size = 12;
constexpr QRgb link_color = qRgb(135, 206, 250);

} // namespace

void setScreenScaling()
{
#if QT_VERSION_MAJOR < 6 // Qt 6 always scales
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
#endif
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
}

void setFormLook()
{
    QFont font;
    font.setPixelSize(form_font_size);
    QApplication::setFont(font);
    QPalette palette;
    palette.setColor(QPalette::Link, link_color);
    QApplication::setPalette(palette);
}

void readSettings(const QString& settingsPath, FW_Update_Tool& dialog)
{
    QSettings settings(settingsPath, QSettings::IniFormat);
#if QT_VERSION_MAJOR < 6 // Qt 6 reads only UTF-8
    settings.setIniCodec("UTF-8");
#endif
    debugFormat(resourcesDir());
    const auto text = [&settings](const char* key) { return settings.value(key, QString()).toString(); };
    dialog.scalarBinFile = text("FWFilePath/ScalarBinFile");
    dialog.hubBinFile = text("FWFilePath/HubBinFile");
    dialog.scalarBinCheckSum = text("FWFileCheckSum/ScalarBinCheckSum");
    dialog.hubBinCheckSum = text("FWFileCheckSum/HubBinCheckSum");
    dialog.modelName = text("Model/ModelName");
    debugFormat(dialog.scalarBinFile);
    debugFormat(dialog.hubBinFile);
}

int runUpdateTool(int& argc, char** argv)
{
    prepareProcess();
    setScreenScaling();
    const QApplication application(argc, argv);
    QGuiApplication::setDesktopFileName("com.qxseries.FWUpdateTool");
    Q_INIT_RESOURCE(resources);
    setFormLook();

    // Never deleted: closing it ends the process, possibly from within a call that still uses it.
    g_dialog = new FW_Update_Tool;
    const QString settingsPath = resourcesDir() + "/Config.ini";
    // Formed and never used: the tool writes no log file.
    const QString logPath =
        QStandardPaths::writableLocation(QStandardPaths::TempLocation) + "/FW_Update_Tool_log.txt";
    readSettings(settingsPath, *g_dialog);
    g_dialog->show();
    return QApplication::exec();
}
