/// The tool's texts for Qt's debug output, default category.
#pragma once

#include <QByteArray>
#include <QString>

/// Writes `text` as it stands, without quotes.
void debugText(const QString& text);

/// Writes `text` as a Latin-1 format string without arguments. Settings and folder names come from outside, so
/// what a conversion in them would read or write is kept away.
void debugFormat(const QString& text);

/// `text` as a format that takes no arguments: "%%" and text without conversions print as they would, and so
/// does a percent sign that starts no conversion; a conversion prints nothing.
QByteArray formatWithoutArguments(const QByteArray& text);
