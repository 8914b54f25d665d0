/// Builds firmware images for trials and tells what an image file holds. Besides the fields that the updater reads
/// (app/image_fields.h) an image carries what the chips look for before they run it:
///
///     hub     end - 0x100    vendor-config block: 256 bytes that start with a tag (55 AA, AA 55 or 3C C3)
///             16 before it   mark: 55 AA valid, FF FF blank
///     scaler  0xF8FE         mark: AA 55 user code
///             0xFF8FE        left blank: the updater programs a marker of its own there, last of all
///
/// No field names the kind of an image. The user-code mark makes it a scaler image, and so does a model name alone
/// (two or more printable characters, then zeros); failing both, a vendor-config block makes it a hub image.
#pragma once

#include "app/image_fields.h"

#include <QString>

#include <optional>

namespace firmware {

/// A shorter file ends before the version of either kind.
constexpr int shortest_image = image_layout::hub_version_at + 2;

/// Why no image can be built from these; empty when one can. Sizes are in bytes.
QString hubProblem(int size);
QString scalerProblem(const QByteArray& model, int size);

/// Builds an image without a problem. The same arguments always give the same bytes. `version` is 0 to 255 each.
QByteArray buildHub(FirmwareVersion version, int size);
QByteArray buildScaler(FirmwareVersion version, const QByteArray& model, int size);

struct HubFacts
{
    qsizetype vendor_config_at = 0;
    QByteArray mark; ///< "valid", "blank" or "none"
};

struct ScalerFacts
{
    QByteArray model; ///< '?' for what cannot be printed
    bool user_code = false;
};

/// What `image` holds, if it is such an image; any bytes will do. Ask for a scaler image first: it may hold what looks
/// like a vendor-config block.
std::optional<ScalerFacts> inspectScaler(const QByteArray& image);
std::optional<HubFacts> inspectHub(const QByteArray& image);

} // namespace firmware
