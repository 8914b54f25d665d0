/// Memory cells of a NOR flash: erasing sets bits, programming only clears them, and an operation that loses power
/// half way leaves some of the bits unchanged.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace sim {

class NorFlash
{
public:
    /// `bytes`, filled up to `size` with FF.
    NorFlash(std::size_t size, std::vector<std::uint8_t> bytes);

    const std::vector<std::uint8_t>& bytes() const { return bytes_; }

    /// Replaces the whole content, as a programmer clipped to the chip would; what `bytes` leaves over is blank.
    void load(const std::vector<std::uint8_t>& bytes);

    void erase(std::size_t address, std::size_t count);
    /// Clears bits. False when `data` has a 1 where the cell holds a 0: that bit stays 0.
    bool program(std::size_t address, const std::uint8_t* data, std::size_t count);
    bool blank(std::size_t address, std::size_t count) const;

    /// Undoes part of the last operation, as when the power goes while it runs. `seed` decides how: either the bytes
    /// up to some point are done, those after it are not, and that one is torn; or every bit that was to change has
    /// changed or not, at random.
    void tear(std::uint64_t seed);

private:
    void remember(std::size_t address, std::size_t count);

    std::vector<std::uint8_t> bytes_;
    std::size_t last_address_ = 0;
    std::vector<std::uint8_t> before_; ///< the cells of the last operation, before it
};

} // namespace sim
