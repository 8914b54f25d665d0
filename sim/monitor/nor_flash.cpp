/// Cells, and operations that are torn.
#include "sim/monitor/nor_flash.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <utility>

namespace sim {

namespace {
constexpr std::uint8_t blank_byte = 0xFF;
} // namespace

NorFlash::NorFlash(std::size_t size, std::vector<std::uint8_t> bytes)
    : bytes_(std::move(bytes))
{
    bytes_.resize(size, blank_byte);
}

void NorFlash::load(const std::vector<std::uint8_t>& bytes)
{
    const std::size_t count = std::min(bytes.size(), bytes_.size());
    const auto end = std::copy_n(bytes.begin(), count, bytes_.begin());
    std::fill(end, bytes_.end(), blank_byte);
    before_.clear();
}

void NorFlash::erase(std::size_t address, std::size_t count)
{
    remember(address, count);
    std::memset(&bytes_[address], blank_byte, count);
}

bool NorFlash::program(std::size_t address, const std::uint8_t* data, std::size_t count)
{
    remember(address, count);
    std::uint8_t wanted_back = 0;
    for (std::size_t i = 0; i < count; ++i) {
        std::uint8_t& cell = bytes_[address + i];
        wanted_back |= static_cast<std::uint8_t>(data[i] & ~cell);
        cell &= data[i];
    }
    return wanted_back == 0;
}

bool NorFlash::blank(std::size_t address, std::size_t count) const
{
    const std::uint8_t* first = &bytes_[address];
    return count == 0 || (*first == blank_byte && std::memcmp(first, first + 1, count - 1) == 0);
}

void NorFlash::remember(std::size_t address, std::size_t count)
{
    last_address_ = address;
    before_.assign(&bytes_[address], &bytes_[address] + count);
}

void NorFlash::tear(std::uint64_t seed)
{
    if (before_.empty())
        return;
    std::mt19937_64 random(seed);
    const bool in_order = random() % 2 == 0;
    const std::size_t done = random() % before_.size();
    for (std::size_t i = 0; i < before_.size(); ++i) {
        if (in_order && i < done)
            continue;
        const auto moved = static_cast<std::uint8_t>(in_order && i > done ? 0 : random());
        std::uint8_t& cell = bytes_[last_address_ + i];
        cell = static_cast<std::uint8_t>((before_[i] & ~moved) | (cell & moved));
    }
    before_.clear();
}

} // namespace sim
