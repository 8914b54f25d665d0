/// The two parsers of the hub's image and text records. The buffers are exact heap blocks, so that a sanitizer
/// build sees any byte read beyond them.
#include "hub/firmware/hub_image.h"
#include "hub_fixture.h"

/// Where vendor config is found in zeros with these pairs of bytes, or -1.
static std::ptrdiff_t find(std::size_t size, const std::map<std::size_t, Bytes>& pairs)
{
    Bytes image(size);
    for (const auto& [offset, pair] : pairs)
        std::copy(pair.begin(), pair.end(), image.data() + offset);
    const std::uint8_t* found = Flash_GetVendorConfigAddr(image.data(), static_cast<int>(size));
    return found ? found - image.data() : -1;
}

/// The three texts, "-" where none was stored, then the result.
static std::string parse(Bytes content)
{
    char texts[3][254] = {"-", "-", "-"};
    const auto size = static_cast<int>(content.size());
    const auto result = GetStrInfo(content.data(), size, texts[0], texts[1], texts[2]);
    return std::string(texts[0]) + "," + texts[1] + "," + texts[2] + "," + std::to_string(result);
}

TEST(VendorConfig, IsBeforeTheLastTaggedBlock)
{
    for (const Bytes& tag : {Bytes{0x55, 0xAA}, Bytes{0xAA, 0x55}, Bytes{0x3C, 0xC3}})
        EXPECT_EQ(find(0x10000, {{0x100, {0x55, 0xAA}}, {0x8000, tag}}), 0x7FF0) << "the last tag must count";
    EXPECT_EQ(find(0x300, {{0x100, {0x55, 0xAA}}, {0x201, {0x55, 0xAA}}}), 0xF0) << "a mid-block tag is none";
    EXPECT_EQ(find(0x300, {{0x100, {0x55, 0xAA}}, {0x200, {0x55, 0xC3}}}), 0xF0) << "half a tag is none";
    EXPECT_EQ(find(0x164, {{0x64, {0x55, 0xAA}}}), 0x54) << "blocks must count from the image's end";
    EXPECT_EQ(find(0x110, {{0x10, {0x55, 0xAA}}}), 0) << "it may stand at the image's start";
    EXPECT_EQ(find(0x164, {{0, {0x55, 0xAA}}}), -1) << "less than a block must not be searched";
    EXPECT_EQ(find(0x300, {}), -1) << "without a tag there is no block";
    EXPECT_EQ(find(0x100, {{0, {0x55, 0xAA}}}), -1) << "without room before the block there is none";
    EXPECT_EQ(find(0xFF, {{0, {0x55, 0xAA}}}), -1) << "an image shorter than a block has none";
    EXPECT_EQ(Flash_GetVendorConfigAddr(nullptr, 0x10000), nullptr) << "no image has no block";
}

TEST(StringRecords, AreCopiedUntilTheBufferEnds)
{
    EXPECT_EQ(parse({4, 3, 'a', 'b', 3, 3, 'c', 5, 3, 'd', 'e', 'f', 9, 9}), "ab,c,def,9") << "three texts";
    EXPECT_EQ(parse({4, 3, 'a', 'b', 0, 7}), "ab,-,-,0") << "a record of length 0 must end the records";
    EXPECT_EQ(parse({4, 3, 'a', 'b', 4, 3, 'x'}), "ab,-,-,4") << "a record must end inside the buffer";
    EXPECT_EQ(parse({4, 3, 'a', 'b'}), "ab,-,-,4") << "the last record may end with the buffer";
    EXPECT_EQ(parse({1, 2, 'x', 0}), ",,-,0") << "a record shorter than its header must give an empty text";
    EXPECT_EQ(parse({5}), "-,-,-,5") << "the first record must end inside the buffer";
    EXPECT_EQ(parse({}), "-,-,-,0") << "an empty buffer has no texts";
}
