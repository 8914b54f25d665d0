/// Reads image fields byte by byte and never past the end of the file.
#include "app/image_fields.h"

namespace {

using namespace image_layout;

int signedByteAt(const QByteArray& image, int offset)
{
    return offset < image.size() ? static_cast<std::int8_t>(image[offset]) : 0;
}

FirmwareVersion versionAt(const QByteArray& image, int offset)
{
    return {signedByteAt(image, offset), signedByteAt(image, offset + 1)};
}

} // namespace

FirmwareVersion hubImageVersion(const QByteArray& image)
{
    return versionAt(image, hub_version_at);
}

FirmwareVersion scalerImageVersion(const QByteArray& image)
{
    return versionAt(image, scaler_version_at);
}

QByteArray scalerImageModel(const QByteArray& image)
{
    const QByteArray field = image.mid(scaler_model_at, scaler_model_size);
    const auto zero = field.indexOf('\0');
    return zero < 0 ? field : field.left(zero);
}

std::uint16_t checksum16(const QByteArray& bytes)
{
    std::uint16_t sum = 0;
    for (const char byte : bytes)
        sum = static_cast<std::uint16_t>(sum + static_cast<std::uint8_t>(byte));
    return sum;
}

QByteArray extractBetween(const QByteArray& text, const QByteArray& open, const QByteArray& close)
{
    const auto opened = text.indexOf(open);
    const auto closed = opened < 0 ? -1 : text.indexOf(close, opened);
    const auto start = opened + open.size();
    // `close` may occur inside `open`; then there is nothing between them.
    return closed > start ? text.mid(start, closed - start) : QByteArray();
}
