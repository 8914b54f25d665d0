/// What happens before the dialog is on the screen. The parts stand alone for programs that bring a dialog of
/// their own.
#pragma once

#include "app/fw_update_tool.h"
#include "app/resource_folder.h"

#include <QString>

/// The whole program: application, dialog, settings, event loop. Returns the event loop's result, when the
/// dialog was hidden rather than closed; closing it ends the process.
int runUpdateTool(int& argc, char** argv);

/// Makes the form, whose size is fixed in pixels, follow the desktop's scale, 150 % included. Call before the
/// QApplication is made.
void setScreenScaling();

/// A default font of the size that the form's labels were measured for, and links that can be read on dark
/// grey. Call before the dialog is made.
void setFormLook();

/// Reads the five settings of `settingsPath` into `dialog`; what is missing becomes empty. Says in the debug
/// output where the Resources folder is and which two images are configured.
void readSettings(const QString& settingsPath, FW_Update_Tool& dialog);
