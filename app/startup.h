/// Everything up to the dialog's first show. The steps are also callable one by one, for tests and the demo.
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

/// Sets the default font that the form was measured with, and a link colour that is readable on dark grey. Call
/// before the dialog is made.
void setFormLook();

/// Reads the five settings of `settingsPath` into `dialog`; what is missing becomes empty. Writes the
/// Resources folder and the two image names to the debug output.
void readSettings(const QString& settingsPath, FW_Update_Tool& dialog);
