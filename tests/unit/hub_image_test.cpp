// The two parsers of the hub's image and text records. The buffers are exact heap blocks, so that a sanitizer
// build sees any byte read beyond them.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <vector>

#include "hub/firmware/hub_image.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

std::unique_ptr<std::uint8_t[]> exactCopy(const Bytes& content)
{
    std::unique_ptr<std::uint8_t[]> copy(new std::uint8_t[content.size()]);
    std::copy(content.begin(), content.end(), copy.get());
    return copy;
}

/// Where vendor config is found in zeros with these pairs of bytes, or -1.
std::ptrdiff_t find(std::size_t size, const std::map<std::size_t, Bytes>& pairs)
{
    Bytes image(size);
    for (const auto& [offset, pair] : pairs)
        std::copy(pair.begin(), pair.end(), image.data() + offset);
    const auto bytes = exactCopy(image);
    const std::uint8_t* found = Flash_GetVendorConfigAddr(bytes.get(), static_cast<int>(size));
    return found ? found - bytes.get() : -1;
}

/// The three texts, "-" where none was stored, then the result.
std::vector<std::string> parse(const Bytes& content)
{
    char texts[3][254] = {"-", "-", "-"};
    const auto bytes = exactCopy(content);
    const auto result =
        GetStrInfo(bytes.get(), static_cast<int>(content.size()), texts[0], texts[1], texts[2]);
    return {texts[0], texts[1], texts[2], std::to_string(result)};
}

using Parsed = std::vector<std::string>;

} // namespace

TEST(VendorConfig, IsBeforeTheLastTaggedBlock)
{
    for (const Bytes& tag : {Bytes{0x55, 0xAA}, Bytes{0xAA, 0x55}, Bytes{0x3C, 0xC3}})
        EXPECT_EQ(find(0x10000, {{0x100, {0x55, 0xAA}}, {0x8000, tag}}), 0x7FF0);
    // Neither at a block's start nor with half a tag.
    EXPECT_EQ(find(0x10000, {{0x100, {0x55, 0xAA}}, {0x9001, {0x55, 0xAA}}, {0xA000, {0x55, 0xC3}}}), 0xF0);
    // The blocks count from the end; what is left over at the start is not looked at.
    EXPECT_EQ(find(256 + 100, {{100, {0x55, 0xAA}}}), 84);
    EXPECT_EQ(find(256 + 100, {{0, {0x55, 0xAA}}}), -1);
}

TEST(VendorConfig, IsNullWithoutABlockOrRoomForIt)
{
    EXPECT_EQ(Flash_GetVendorConfigAddr(nullptr, 0x10000), nullptr);
    EXPECT_EQ(find(0x10000, {}), -1);
    for (const std::size_t size : {255, 256})
        EXPECT_EQ(find(size, {{0, {0x55, 0xAA}}}), -1);
}

TEST(StringRecords, AreCopiedUntilTheBufferEnds)
{
    EXPECT_EQ(parse({4, 3, 'a', 'b', 3, 3, 'c', 5, 3, 'd', 'e', 'f', 9, 9}), (Parsed{"ab", "c", "def", "9"}));
    EXPECT_EQ(parse({4, 3, 'a', 'b', 0, 7}), (Parsed{"ab", "-", "-", "0"}));
    EXPECT_EQ(parse({4, 3, 'a', 'b', 4, 3, 'x'}), (Parsed{"ab", "-", "-", "4"})); // would pass the end
    EXPECT_EQ(parse({4, 3, 'a', 'b'}), (Parsed{"ab", "-", "-", "4"}));            // ends with the buffer
    EXPECT_EQ(parse({1, 2, 0, 0}), (Parsed{"", "", "-", "0"}));                   // shorter than its header
    EXPECT_EQ(parse({5, 3, 'a', 'b'}), (Parsed{"-", "-", "-", "5"}));
    EXPECT_EQ(parse({}), (Parsed{"-", "-", "-", "0"}));
}
