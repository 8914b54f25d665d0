/// The tool's texts for Qt's debug output. Texts go out as the logger's format string, and some come from
/// outside (settings, folder names), so what a conversion in them would read or write is kept away here.
#pragma once

#include <QByteArray>
#include <QString>

/// Writes `text` to Qt's debug output, default category, as a Latin-1 format string.
void debugText(const QString& text);

/// `text` as a format that takes no arguments: "%%" and text without conversions print as they would, and so
/// does a percent sign that starts no conversion; a conversion prints nothing.
QByteArray formatWithoutArguments(const QByteArray& text);
