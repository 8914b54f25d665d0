/// The dialog's long or repeated texts. Users quote them to support, which searches for them word for word, so their
/// spelling stays as it is.
#pragma once

#include <QString>

namespace texts {

inline QString noHub()
{
    return QStringLiteral(
        "<img width=20 height=20 src=\":/FW_Update_Tool/cross_mark\"> "
        "The detection of USB Hub is not configured correctly. Please ensure the monitor is powered on and "
        "connected properly. Please also close and restart the application, then unplug & replug the "
        "USB cable to retry again. "
        "<a href=\"https://support.example.com/qx\">https://support.example.com/qx</a>");
}

inline QString updateFailed()
{
    return QStringLiteral(
        "<img width=20 height=20 src=\":/FW_Update_Tool/cross_mark\">"
        "The detection of USB Hub is not configured correctly, please close the application and retry again, "
        "then unplug & replug the USB cable to try again.");
}

inline QString busy()
{
    return QStringLiteral(
        "<img width=20 height=20 src=\":/FW_Update_Tool/question_mark\"> "
        "The update process may take several minutes. Please do not remove the USB cable connection or turn "
        "off the monitor's power while updating.");
}

inline QString alreadyLatest()
{
    return QStringLiteral(
        "<img width=20 height=20 src=\":/FW_Update_Tool/question_mark\"> "
        "Your current firmware version is already the latest version, you don't need to update.");
}

inline QString fatalError()
{
    return QStringLiteral("Fatal Error");
}

} // namespace texts
