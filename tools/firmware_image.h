/// Builds firmware images for trials and tells what an image file holds. The offsets are those at which the
/// hub chip, the scaler and the updater look for their fields.
///
///     hub     0x7EF9         version, major and minor
///             end - 0x100    vendor-config block: 256 bytes that start with a tag (55 AA, AA 55 or 3C C3)
///             16 before it   mark: 55 AA valid, FF FF blank
///     scaler  0xF8FE         mark: AA 55 user code
///             0xF900         version, major and minor
///             0xF906         model name, 20 bytes, filled up with zeros
///             0xFF8FE        kept blank: the updater programs a marker of its own there, last of all
///
/// No field names the kind of an image, so it is recognised by what it carries, the most telling first: the
/// user-code mark makes it a scaler image, so does a model name alone (two or more printable characters, then
/// zeros), a vendor-config block makes it a hub image. A hub image without that block is not recognised.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace firmware {

using Bytes = std::vector<std::uint8_t>;

/// A file of fewer bytes ends before the version of either kind.
constexpr std::size_t shortest_image = 0x7EFB;

struct Version
{
    std::uint8_t major = 0;
    std::uint8_t minor = 0;
};

struct Recipe
{
    Version version;
    std::size_t size = 0;
    bool mark = true;
    bool vendor_config = true; ///< hub only; the mark has no place without it
    std::string model;         ///< scaler only
};

/// Why no image can be built from the recipe; empty when one can.
std::string hubProblem(const Recipe& recipe);
std::string scalerProblem(const Recipe& recipe);

/// Builds from a recipe without a problem. The same recipe always gives the same bytes, and no mark or block
/// that it does not ask for.
Bytes buildHub(const Recipe& recipe);
Bytes buildScaler(const Recipe& recipe);

/// Sum of all bytes, modulo 65536.
std::uint16_t checksum16(const Bytes& bytes);

struct HubFacts
{
    Version version;
    std::size_t vendor_config_at = 0;
    std::string mark; ///< "valid", "blank" or "none"
};

struct ScalerFacts
{
    Version version;
    std::string model; ///< up to the first zero; '?' for what cannot be printed
    bool mark = false;
};

/// What `image` holds, if it is such an image. Any bytes will do.
std::optional<ScalerFacts> inspectScaler(const Bytes& image);
std::optional<HubFacts> inspectHub(const Bytes& image);

} // namespace firmware
