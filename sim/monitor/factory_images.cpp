/// Random-looking code with the marks and versions in it.
#include "sim/monitor/factory_images.h"

#include <cstring>

namespace sim {

namespace {

constexpr std::size_t hub_image_size = 0x10000;
constexpr std::size_t hub_config_block_at = 0xFF00;
constexpr std::size_t hub_mark_at = hub_config_block_at - hub_mark_before_block;
constexpr std::uint8_t no_block_tag = 0x4E; ///< the first byte of no vendor-config tag

constexpr std::size_t scaler_image_size = 0x10100;
constexpr std::size_t scaler_model_at = 0xF906;
constexpr std::size_t scaler_block = 0x10000;
constexpr std::size_t leftover_bytes = 0x100; ///< at the start of each stale block

/// Four bytes at a time, as tests build monitors by the thousand. `count` is a multiple of four.
void fillWithCode(std::vector<std::uint8_t>& bytes, std::size_t from, std::size_t count, std::uint32_t seed)
{
    std::uint32_t state = seed;
    for (std::size_t i = from; i < from + count; i += sizeof state) {
        state ^= state << 13U;
        state ^= state >> 17U;
        state ^= state << 5U;
        std::memcpy(&bytes[i], &state, sizeof state);
    }
}

std::uint32_t seedOf(Version version)
{
    return 0x2545F491U + static_cast<std::uint32_t>(version.major << 8U | version.minor);
}

} // namespace

std::vector<std::uint8_t> factoryHubImage(Version version)
{
    std::vector<std::uint8_t> image(hub_image_size);
    fillWithCode(image, 0, image.size(), seedOf(version));
    for (std::size_t block = 0; block < image.size(); block += hub_block_size)
        image[block] = no_block_tag;
    image[hub_config_block_at] = 0x55;
    image[hub_config_block_at + 1] = 0xAA;
    image[hub_mark_at] = 0x55;
    image[hub_mark_at + 1] = 0xAA;
    image[hub_version_at] = version.major;
    image[hub_version_at + 1] = version.minor;
    return image;
}

std::vector<std::uint8_t> factoryScalerFlash(Model model, Version version)
{
    const ModelFacts& facts = factsOf(model);
    std::vector<std::uint8_t> flash(facts.flash_size, 0xFF);
    fillWithCode(flash, 0, scaler_image_size, seedOf(version));
    flash[scaler_mark_at] = 0xAA;
    flash[scaler_mark_at + 1] = 0x55;
    flash[scaler_version_at] = version.major;
    flash[scaler_version_at + 1] = version.minor;
    std::memcpy(&flash[scaler_model_at], facts.name, std::strlen(facts.name) + 1);
    for (std::size_t block = facts.stale_from; block < facts.stale_to; block += scaler_block)
        fillWithCode(flash, block, leftover_bytes, seedOf(version));
    return flash;
}

} // namespace sim
