/// The dialog for fuzzers: offscreen, its image files in memory, its boxes closed as they appear, and alive
/// after it has wished to end the process.
#pragma once

#include "app/fw_update_tool.h"

class FuzzDialog : public FW_Update_Tool
{
public:
    QByteArray hubImage;
    QByteArray scalerImage;
    /// Detects as when the dialog is shown. False when it would have ended the process.
    bool detect();
};

/// The one dialog, made at the first call together with the application; also `g_dialog`.
FuzzDialog& fuzzDialog();
