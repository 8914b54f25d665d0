/// Lays out and recognises firmware images, byte by byte.
#include "tools/firmware_image.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace firmware {

namespace {

using Pair = std::array<std::uint8_t, 2>;
constexpr Pair blank = {0xFF, 0xFF};

constexpr std::size_t hub_version_at = 0x7EF9;
constexpr std::size_t hub_block = 0x100;
constexpr std::size_t mark_before_block = 16;
constexpr std::size_t hub_size_min = 0x8100;  ///< below, the mark's 16 bytes would hold the version
constexpr std::size_t hub_size_max = 0x40000; ///< the hub's flash
constexpr Pair valid_mark = {0x55, 0xAA};
constexpr std::array<Pair, 3> block_tags = {{{0x55, 0xAA}, {0xAA, 0x55}, {0x3C, 0xC3}}};
constexpr std::uint8_t no_tag = 0x4E; ///< the first byte of no tag

constexpr std::size_t user_code_at = 0xF8FE;
constexpr std::size_t scaler_version_at = 0xF900;
constexpr std::size_t model_at = 0xF906;
constexpr std::size_t model_size = 20;
constexpr std::size_t model_least = 2; ///< a single printable byte may stand in any file
constexpr std::size_t scaler_size_min = model_at + model_size;
constexpr std::size_t user_code_size_min = 0x10001; ///< the updater refuses shorter ones
constexpr std::size_t scaler_size_max = 0x100000;   ///< the user-code area of the flash
constexpr std::size_t updater_marker_at = 0xFF8FE;
constexpr Pair user_code_mark = {0xAA, 0x55};

/// A splitmix64 sequence, so that the filling is the same with every compiler and library.
struct Filler
{
    void mixIn(std::uint64_t value) { state = next() ^ value; }
    std::uint64_t next()
    {
        std::uint64_t z = state += 0x9E3779B97F4A7C15U;
        z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9U;
        z = (z ^ (z >> 27U)) * 0x94D049BB133111EBU;
        return z ^ (z >> 31U);
    }
    std::uint64_t state = 0;
};

Bytes filled(const Recipe& recipe)
{
    Filler filler;
    filler.mixIn(recipe.size);
    filler.mixIn(recipe.version.major);
    filler.mixIn(recipe.version.minor);
    for (const char letter : recipe.model)
        filler.mixIn(static_cast<std::uint8_t>(letter));
    Bytes image(recipe.size);
    std::generate(image.begin(), image.end(), [&] { return static_cast<std::uint8_t>(filler.next()); });
    return image;
}

void put(Bytes& image, std::size_t at, Pair pair)
{
    if (at + 1 >= image.size())
        return;
    image[at] = pair[0];
    image[at + 1] = pair[1];
}

/// Bytes beyond the end count as 0, as they do for the updater.
Pair pairAt(const Bytes& image, std::size_t at)
{
    const auto byteAt = [&](std::size_t i) { return i < image.size() ? image[i] : std::uint8_t{0}; };
    return {byteAt(at), byteAt(at + 1)};
}

Version versionAt(const Bytes& image, std::size_t at)
{
    const Pair version = pairAt(image, at);
    return {version[0], version[1]};
}

bool isTag(Pair pair)
{
    return std::find(block_tags.begin(), block_tags.end(), pair) != block_tags.end();
}

bool isPrintable(char letter)
{
    return letter >= 0x20 && letter < 0x7F;
}

std::string sizeProblem(std::size_t size, std::size_t least, std::size_t most)
{
    if (size >= least && size <= most)
        return {};
    return "the size must be " + std::to_string(least) + " to " + std::to_string(most) + " bytes";
}

std::optional<std::size_t> findVendorConfig(const Bytes& image)
{
    for (std::size_t end = image.size(); end >= hub_block; end -= hub_block) {
        if (isTag(pairAt(image, end - hub_block)))
            return end - hub_block;
    }
    return {};
}

std::string markBefore(const Bytes& image, std::size_t block)
{
    const Pair mark = block < mark_before_block ? Pair{} : pairAt(image, block - mark_before_block);
    if (mark == valid_mark)
        return "valid";
    return mark == blank ? "blank" : "none";
}

bool isModelField(const std::string& field)
{
    const std::size_t length = std::min(field.find('\0'), field.size());
    return length >= model_least &&
           std::all_of(field.begin(), field.end(),
                       [](char letter) { return letter == '\0' || isPrintable(letter); }) &&
           field.find_first_not_of('\0', length) == std::string::npos;
}

} // namespace

std::string hubProblem(const Recipe& recipe)
{
    if (recipe.size % hub_block != 0)
        return "the size of a hub image must be a multiple of " + std::to_string(hub_block);
    return sizeProblem(recipe.size, hub_size_min, hub_size_max);
}

std::string scalerProblem(const Recipe& recipe)
{
    const std::string& model = recipe.model;
    if (model.size() < model_least || model.size() > model_size ||
        !std::all_of(model.begin(), model.end(), isPrintable))
        return "the model name must be 2 to 20 printable ASCII characters";
    return sizeProblem(recipe.size, recipe.mark ? user_code_size_min : scaler_size_min, scaler_size_max);
}

Bytes buildHub(const Recipe& recipe)
{
    Bytes image = filled(recipe);
    // The filling must look like none of the things by which an image is recognised.
    for (std::size_t block = 0; block < image.size(); block += hub_block)
        image[block] = no_tag;
    put(image, user_code_at, blank);

    put(image, hub_version_at, {recipe.version.major, recipe.version.minor});
    if (!recipe.vendor_config)
        return image;
    const std::size_t block = image.size() - hub_block;
    put(image, block, block_tags.front());
    put(image, block - mark_before_block, recipe.mark ? valid_mark : blank);
    return image;
}

Bytes buildScaler(const Recipe& recipe)
{
    Bytes image = filled(recipe);
    put(image, user_code_at, recipe.mark ? user_code_mark : blank);
    put(image, scaler_version_at, {recipe.version.major, recipe.version.minor});
    std::string field = recipe.model;
    field.resize(model_size);
    std::copy(field.begin(), field.end(), image.begin() + model_at);
    put(image, updater_marker_at, blank);
    return image;
}

std::uint16_t checksum16(const Bytes& bytes)
{
    return static_cast<std::uint16_t>(std::accumulate(bytes.begin(), bytes.end(), 0U));
}

std::optional<ScalerFacts> inspectScaler(const Bytes& image)
{
    if (image.size() < scaler_size_min)
        return {};
    const bool marked = pairAt(image, user_code_at) == user_code_mark;
    const std::string field(image.begin() + model_at, image.begin() + model_at + model_size);
    if (!marked && !isModelField(field))
        return {};
    std::string model = field.substr(0, field.find('\0'));
    std::replace_if(
        model.begin(), model.end(), [](char letter) { return !isPrintable(letter); }, '?');
    return ScalerFacts{versionAt(image, scaler_version_at), model, marked};
}

std::optional<HubFacts> inspectHub(const Bytes& image)
{
    const std::optional<std::size_t> block = findVendorConfig(image);
    if (image.size() < hub_version_at + 2 || !block || inspectScaler(image))
        return {};
    return HubFacts{versionAt(image, hub_version_at), *block, markBefore(image, *block)};
}

} // namespace firmware
