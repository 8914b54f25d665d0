/// Takes format strings apart by the grammar of QString::vasprintf: flags, width, precision, length modifier,
/// conversion.
#include "app/debug_text.h"

#include <QMessageLogger>

#include <cstring>

namespace {

/// Index of the first byte from `at` on that is not one of `set`.
int skipAny(const QByteArray& text, int at, const char* set)
{
    while (at < text.size() && text[at] != '\0' && std::strchr(set, text[at]) != nullptr)
        ++at;
    return at;
}

int skipOne(const QByteArray& text, int at, const char* set)
{
    return at < skipAny(text, at, set) ? at + 1 : at;
}

/// A width or a precision: a number, or a star that takes its value from the arguments.
int skipNumber(const QByteArray& text, int at)
{
    const int afterStar = skipOne(text, at, "*");
    return afterStar != at ? afterStar : skipAny(text, at, "0123456789");
}

int skipLengthModifier(const QByteArray& text, int at)
{
    const int next = skipOne(text, at, "hlLjzZt");
    const bool doubled = next != at && next < text.size() && text[next] == text[at];
    return doubled && (text[at] == 'h' || text[at] == 'l') ? next + 1 : next;
}

/// Index behind the conversion whose percent sign stands at `percent`, or -1 when it starts none.
int endOfConversion(const QByteArray& text, int percent)
{
    int at = skipAny(text, percent + 1, "#0- +'");
    at = skipNumber(text, at);
    if (at < text.size() && text[at] == '.')
        at = skipNumber(text, at + 1);
    at = skipLengthModifier(text, at);
    const int end = skipOne(text, at, "diouxXeEfFgGaAcspn");
    return end != at ? end : -1;
}

} // namespace

QByteArray formatWithoutArguments(const QByteArray& text)
{
    QByteArray format;
    int at = 0;
    while (at < text.size()) {
        if (text[at] != '%') {
            format += text[at++];
            continue;
        }
        const int end = endOfConversion(text, at);
        if (end != -1) {
            at = end;
            continue;
        }
        // Doubled, it stays a percent sign whatever stands behind it once other conversions are gone.
        format += "%%";
        at = text.mid(at, 2) == "%%" ? at + 2 : at + 1;
    }
    return format;
}

void debugText(const QString& text)
{
    const QByteArray format = formatWithoutArguments(text.toLatin1());
    // The text is the format on purpose, and no conversion that needs an argument is left in it.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
    QMessageLogger().debug(format.constData());
#pragma GCC diagnostic pop
}
