/// The fields of firmware image files that the dialog compares, where the hub's and the scaler's build put them; and
/// what is read from the display's texts.
#pragma once

#include <QByteArray>

#include <cstdint>

/// Offsets and sizes, in bytes.
namespace image_layout {
constexpr int hub_version_at = 0x7EF9;    ///< major, minor
constexpr int scaler_version_at = 0xF900; ///< major, minor
constexpr int scaler_model_at = 0xF906;   ///< filled up with zeros
constexpr int scaler_model_size = 20;
} // namespace image_layout

/// A firmware version. What a device reports is unsigned; the bytes of an image file are signed, so a byte of
/// 0x80 or above makes the whole version compare as negative and the image is never taken for newer.
struct FirmwareVersion
{
    int major = 0;
    int minor = 0;

    /// One number to compare versions by.
    int composite() const { return (major * 0x100) | minor; }
};

/// Version bytes of a hub or scaler image; 0 where the file is too short.
FirmwareVersion hubImageVersion(const QByteArray& image);
FirmwareVersion scalerImageVersion(const QByteArray& image);
/// Model name of a scaler image, up to the first zero byte or the file's end.
QByteArray scalerImageModel(const QByteArray& image);

/// Sum of all bytes, modulo 65536.
std::uint16_t checksum16(const QByteArray& bytes);

/// The bytes between the first `open` and the first `close` that follows the start of `open`; empty when
/// either is missing.
QByteArray extractBetween(const QByteArray& text, const QByteArray& open, const QByteArray& close);
