// The two parsers of the hub's image and text records. The buffers are exact heap blocks, so that a sanitizer
// build sees any byte read beyond them.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "hub/firmware/hub_image.h"

namespace {

struct ExactBuffer
{
    explicit ExactBuffer(std::size_t length)
        : size(static_cast<int>(length))
        , bytes(new std::uint8_t[length]())
    {
    }
    explicit ExactBuffer(const std::vector<std::uint8_t>& content)
        : ExactBuffer(content.size())
    {
        std::copy(content.begin(), content.end(), bytes.get());
    }
    void tag(std::size_t offset, std::uint8_t a, std::uint8_t b)
    {
        bytes[offset] = a;
        bytes[offset + 1] = b;
    }
    /// Where vendorConfig was found, or -1.
    std::ptrdiff_t find() const
    {
        const std::uint8_t* found = Flash_GetVendorConfigAddr(bytes.get(), size);
        return found ? found - bytes.get() : -1;
    }

    int size;
    std::unique_ptr<std::uint8_t[]> bytes;
};

} // namespace

TEST(VendorConfig, IsBeforeTheLastTaggedBlock)
{
    const std::pair<std::uint8_t, std::uint8_t> tags[] = {{0x55, 0xAA}, {0xAA, 0x55}, {0x3C, 0xC3}};
    for (const auto& [a, b] : tags) {
        ExactBuffer image(0x10000);
        image.tag(0xFF00, a, b);
        EXPECT_EQ(image.find(), 0xFEF0);
    }
    ExactBuffer image(0x10000);
    image.tag(0x0100, 0x55, 0xAA);
    image.tag(0x8000, 0x3C, 0xC3);
    EXPECT_EQ(image.find(), 0x7FF0);
    image.tag(0x9001, 0x55, 0xAA); // not at a block start
    image.tag(0xA000, 0x55, 0xC3); // not a tag
    EXPECT_EQ(image.find(), 0x7FF0);
}

TEST(VendorConfig, IsNullWithoutABlockOrRoomForIt)
{
    EXPECT_EQ(Flash_GetVendorConfigAddr(nullptr, 0x10000), nullptr);
    EXPECT_EQ(ExactBuffer(0x10000).find(), -1);
    ExactBuffer tooShort(255);
    tooShort.tag(0, 0x55, 0xAA);
    EXPECT_EQ(tooShort.find(), -1);
    ExactBuffer noRoomBefore(256);
    noRoomBefore.tag(0, 0x55, 0xAA);
    EXPECT_EQ(noRoomBefore.find(), -1);
    // The blocks count from the end; what is left over at the start is not looked at.
    ExactBuffer odd(256 + 100);
    odd.tag(0, 0x55, 0xAA);
    EXPECT_EQ(odd.find(), -1);
    odd.tag(100, 0x55, 0xAA);
    EXPECT_EQ(odd.find(), 84);
}

TEST(StringRecords, AreCopiedUntilTheBufferEnds)
{
    const auto parse = [](const std::vector<std::uint8_t>& content, std::vector<std::string> wanted,
                          std::uint32_t wantedLength) {
        const ExactBuffer buffer(content);
        char texts[3][254] = {"-", "-", "-"};
        EXPECT_EQ(GetStrInfo(buffer.bytes.get(), buffer.size, texts[0], texts[1], texts[2]), wantedLength);
        for (std::size_t i = 0; i < 3; ++i)
            EXPECT_EQ(texts[i], wanted[i]);
    };
    parse({4, 3, 'a', 'b', 3, 3, 'c', 5, 3, 'd', 'e', 'f', 9, 9}, {"ab", "c", "def"}, 9);
    parse({4, 3, 'a', 'b', 0, 7}, {"ab", "-", "-"}, 0);
    parse({4, 3, 'a', 'b', 4, 3, 'x'}, {"ab", "-", "-"}, 4); // the second would pass the end
    parse({4, 3, 'a', 'b'}, {"ab", "-", "-"}, 4);            // ends with the buffer
    parse({1, 2, 0, 0}, {"", "", "-"}, 0);                   // shorter than its own header
    parse({5, 3, 'a', 'b'}, {"-", "-", "-"}, 5);
    parse({0}, {"-", "-", "-"}, 0);
    parse({}, {"-", "-", "-"}, 0);
}
