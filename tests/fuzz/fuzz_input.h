/// A fuzzer's input, read from its first byte on, so that seeds can be written by hand. Past its end it reads as
/// zeros.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

struct FuzzInput
{
    const std::uint8_t* at;
    const std::uint8_t* end;

    std::uint8_t byte() { return at == end ? std::uint8_t{0} : *at++; }
    std::size_t number24()
    {
        const std::size_t low = byte(), middle = byte();
        return low | middle << 8U | std::size_t{byte()} << 16U;
    }
    /// The next `count` bytes, or as many as are left.
    std::string bytes(std::size_t count)
    {
        const std::uint8_t* from = at;
        at += std::min(count, static_cast<std::size_t>(end - at));
        return {from, at};
    }
};

/// `bytes` in a heap block of exactly their size, so that the sanitizer sees any access past the end.
inline std::unique_ptr<std::uint8_t[]> exactCopy(const std::string& bytes)
{
    std::unique_ptr<std::uint8_t[]> exact(new std::uint8_t[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), exact.get());
    return exact;
}

/// A property that has to hold for every input.
inline void require(bool holds)
{
    if (!holds)
        __builtin_trap();
}
