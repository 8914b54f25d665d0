/// Format strings by the grammar of QString::vasprintf.
#include "app/debug_text.h"

#include <QDebug>
#include <QRegularExpression>

void debugText(const QString& text)
{
    QMessageLogger().debug().noquote().nospace() << text;
}

void debugFormat(const QString& text)
{
    // The text is the format on purpose, and no conversion that needs an argument is left in it.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
    QMessageLogger().debug(formatWithoutArguments(text.toLatin1()).constData());
#pragma GCC diagnostic pop
}

QByteArray formatWithoutArguments(const QByteArray& text)
{
    // Flags, width, precision, length modifier, conversion. Possessive, so that a long text takes linear time.
    static const QRegularExpression conversion_or_percent(
        "%[-#0 +']*+(?:[*]|[0-9]*+)(?:[.](?:[*]|[0-9]*+))?+(?:hh|ll|[hlLjzZt])?+[diouxXeEfFgGaAcspn]|(%)%?");
    // A conversion has no group 1. Any other percent sign is doubled: it stays one whatever stands behind it then.
    return QString(QLatin1String(text.constData(), text.size()))
        .replace(conversion_or_percent, "\\1\\1")
        .toLatin1();
}
