/// Built on Qt's parser.
#include "tools/command_line.h"

#include <QCoreApplication>
#include <QRegularExpression>

#include <cstdlib>
#include <iostream>

void misuse(const QString& problem)
{
    constexpr int exit_usage = 2;
    const std::string program = QCoreApplication::applicationName().toStdString();
    std::cerr << program << ": " << problem.toStdString() << "; try '" << program << " --help'\n";
    std::exit(exit_usage);
}

void parse(QCommandLineParser& parser)
{
    const QCommandLineOption help({"h", "help"}, "This text.");
    parser.addOption(help);
    if (!parser.parse(QCoreApplication::arguments()))
        misuse(parser.errorText().remove(QRegularExpression("[.]$")));
    if (parser.isSet(help))
        parser.showHelp();
}

FirmwareVersion versionOf(const QCommandLineParser& parser, const QString& option)
{
    static const QRegularExpression format("^([0-9]{1,3})[.]([0-9]{1,3})$");
    const QRegularExpressionMatch match = format.match(parser.value(option));
    const FirmwareVersion version{match.captured(1).toInt(), match.captured(2).toInt()};
    if (!match.hasMatch() || version.major > 0xFF || version.minor > 0xFF)
        misuse(parser.value(option) + " is no version (0.0 to 255.255)");
    return version;
}
