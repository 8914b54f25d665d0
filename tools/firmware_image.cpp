/// Lays out and recognises firmware images.
#include "tools/firmware_image.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace firmware {

namespace {

using namespace image_layout;

constexpr const char* blank = "\xFF\xFF";

constexpr int hub_block = 0x100;
constexpr int mark_before_block = 16;
constexpr int hub_size_min = 0x8100;  ///< below, the mark's 16 bytes would hold the version
constexpr int hub_size_max = 0x40000; ///< the hub's flash
constexpr char no_tag = 0x4E;         ///< the first byte of no tag
constexpr const char* valid_mark = "\x55\xAA";
constexpr std::array<const char*, 3> block_tags = {"\x55\xAA", "\xAA\x55", "\x3C\xC3"};

constexpr int user_code_at = 0xF8FE;
constexpr int model_size_min = 2;         ///< a single printable byte may stand in any file
constexpr int scaler_size_min = 0x10001;  ///< the updater refuses shorter ones
constexpr int scaler_size_max = 0x100000; ///< the user-code area of the flash
constexpr int updater_marker_at = 0xFF8FE;
constexpr const char* user_code_mark = "\xAA\x55";

/// A splitmix64 sequence: the filling is the same with every compiler and library.
struct Filler
{
    void mixIn(int value) { state = next() ^ static_cast<std::uint64_t>(value); }
    std::uint64_t next()
    {
        std::uint64_t z = state += 0x9E3779B97F4A7C15U;
        z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9U;
        z = (z ^ (z >> 27U)) * 0x94D049BB133111EBU;
        return z ^ (z >> 31U);
    }
    std::uint64_t state = 0;
};

QByteArray filled(FirmwareVersion version, const QByteArray& model, int size)
{
    Filler filler;
    filler.mixIn(size);
    filler.mixIn(version.major);
    filler.mixIn(version.minor);
    for (const char letter : model)
        filler.mixIn(letter);
    QByteArray image(size, Qt::Uninitialized);
    std::generate(image.begin(), image.end(), [&] { return static_cast<char>(filler.next()); });
    return image;
}

void put(QByteArray& image, int at, const QByteArray& bytes)
{
    if (at + bytes.size() <= image.size())
        image.replace(at, bytes.size(), bytes);
}

QByteArray versionBytes(FirmwareVersion version)
{
    return QByteArray(1, static_cast<char>(version.major)) + static_cast<char>(version.minor);
}

bool isPrintable(char letter)
{
    return letter >= 0x20 && letter < 0x7F;
}

QString sizeProblem(int size, int min, int max)
{
    return size >= min && size <= max ? QString()
                                      : QString("the size must be %1 to %2 bytes").arg(min).arg(max);
}

bool isModelField(const QByteArray& field, const QByteArray& model)
{
    return model.size() >= model_size_min && std::all_of(model.begin(), model.end(), isPrintable) &&
           field.count('\0') == field.size() - model.size();
}

} // namespace

QString hubProblem(int size)
{
    return size % hub_block != 0 ? QString("the size of a hub image must be a multiple of %1").arg(hub_block)
                                 : sizeProblem(size, hub_size_min, hub_size_max);
}

QString scalerProblem(const QByteArray& model, int size)
{
    if (model.size() > scaler_model_size || !isModelField(model, model))
        return "the model name must be 2 to 20 printable ASCII characters";
    return sizeProblem(size, scaler_size_min, scaler_size_max);
}

QByteArray buildHub(FirmwareVersion version, int size)
{
    QByteArray image = filled(version, {}, size);
    // The filling must look like none of the things by which an image is recognised.
    for (int block = 0; block < size; block += hub_block)
        image[block] = no_tag;
    put(image, user_code_at, blank);

    put(image, hub_version_at, versionBytes(version));
    put(image, size - hub_block, block_tags.front());
    put(image, size - hub_block - mark_before_block, valid_mark);
    return image;
}

QByteArray buildScaler(FirmwareVersion version, const QByteArray& model, int size)
{
    QByteArray image = filled(version, model, size);
    put(image, user_code_at, user_code_mark);
    put(image, scaler_version_at, versionBytes(version));
    put(image, scaler_model_at, model.leftJustified(scaler_model_size, '\0'));
    put(image, updater_marker_at, blank);
    return image;
}

std::optional<ScalerFacts> inspectScaler(const QByteArray& image)
{
    QByteArray model = scalerImageModel(image);
    const bool user_code = image.mid(user_code_at, 2) == user_code_mark;
    if (image.size() < scaler_model_at + scaler_model_size ||
        (!user_code && !isModelField(image.mid(scaler_model_at, scaler_model_size), model)))
        return {};
    const auto unprintable = [](char letter) { return !isPrintable(letter); };
    std::replace_if(model.begin(), model.end(), unprintable, '?');
    return ScalerFacts{model, user_code};
}

std::optional<HubFacts> inspectHub(const QByteArray& image)
{
    if (image.size() < shortest_image)
        return {};
    for (auto block = image.size() - hub_block; block >= 0; block -= hub_block) {
        if (std::find(block_tags.begin(), block_tags.end(), image.mid(block, 2)) == block_tags.end())
            continue;
        const QByteArray mark = block < mark_before_block ? "" : image.mid(block - mark_before_block, 2);
        return HubFacts{block, mark == valid_mark ? "valid" : mark == blank ? "blank" : "none"};
    }
    return {};
}

} // namespace firmware
