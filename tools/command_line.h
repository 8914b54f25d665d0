/// What the command lines of the tools have in common.
#pragma once

#include "app/image_fields.h"

#include <QCommandLineParser>

/// Ends the program for wrong usage, status 2, with `problem` and where to find help on the error output.
[[noreturn]] void misuse(const QString& problem);

/// Parses the program's arguments. --help prints the help and ends the program; a wrong option is a misuse().
void parse(QCommandLineParser& parser);

/// The version that `option` gives: MAJOR.MINOR, 0 to 255 each; anything else is a misuse().
FirmwareVersion versionOf(const QCommandLineParser& parser, const QString& option);
