/// Memory cells of a NOR flash: erasing sets bits, programming only clears them, and an operation that loses
/// its power half way leaves some of the bits where they were.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace sim {

class NorFlash
{
public:
    /// As it leaves the factory: `bytes`, filled up to `size` with FF.
    NorFlash(std::size_t size, std::vector<std::uint8_t> bytes);

    const std::vector<std::uint8_t>& bytes() const { return bytes_; }
    std::size_t size() const { return bytes_.size(); }

    /// Sets the whole content by hand, with a programmer clipped to the chip; what is left over is blank.
    void load(const std::vector<std::uint8_t>& bytes);

    void erase(std::size_t address, std::size_t count);
    /// Clears bits. False when `data` has a 1 where the cell holds a 0: that bit stays 0.
    bool program(std::size_t address, const std::uint8_t* data, std::size_t count);
    bool blank(std::size_t address, std::size_t count) const;

    /// Undoes part of the last operation, as the power goes while it runs: either a stretch from its start is
    /// done and the rest is not, or every bit on the way is anywhere. Each bit is as before or as after.
    void tear(std::uint64_t seed);

private:
    void remember(std::size_t address, std::size_t count);

    std::vector<std::uint8_t> bytes_;
    std::size_t last_address_ = 0;
    std::vector<std::uint8_t> before_; ///< what the last operation found
};

} // namespace sim
