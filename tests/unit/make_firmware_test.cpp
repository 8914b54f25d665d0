// The images that make_firmware builds, and what it recognises in files. Offsets are literal numbers, so that
// a wrong one in the tool shows; the hub library's own search tells whether a vendor-config block is there.
#include <gtest/gtest.h>

#include "hub/firmware/hub_image.h"
#include "tools/firmware_image.h"

namespace {

using namespace firmware;

Recipe hubRecipe(std::size_t size, bool mark = true, std::uint8_t minor = 3, bool vendorConfig = true)
{
    return {{1, minor}, size, mark, vendorConfig, {}};
}

Recipe scalerRecipe(std::size_t size, const char* model = "QX1650", bool mark = true)
{
    return {{12, 1}, size, mark, true, model};
}

Bytes bytesAt(const Bytes& image, std::ptrdiff_t at, std::ptrdiff_t count = 2)
{
    return {image.begin() + at, image.begin() + at + count};
}

/// The image with these bytes from `at` on.
Bytes with(Bytes image, std::ptrdiff_t at, const Bytes& bytes)
{
    std::copy(bytes.begin(), bytes.end(), image.begin() + at);
    return image;
}

const Bytes blank = {0xFF, 0xFF};
const Bytes tag = {0x55, 0xAA};

} // namespace

TEST(MakeFirmware, ImagesCarryTheirFields)
{
    const Bytes hub = buildHub(hubRecipe(0x10000));
    EXPECT_EQ(bytesAt(hub, 0x7EF9), (Bytes{1, 3}));
    EXPECT_EQ(bytesAt(hub, 0xFF00), tag);
    EXPECT_EQ(bytesAt(hub, 0xFEF0), tag);
    EXPECT_EQ(buildHub(hubRecipe(0x10000, false)), with(hub, 0xFEF0, blank)) << "only the mark differs";

    const Bytes scaler = buildScaler(scalerRecipe(0x100000));
    EXPECT_EQ(bytesAt(scaler, 0xF8FE, 4), (Bytes{0xAA, 0x55, 12, 1}));
    EXPECT_EQ(bytesAt(scaler, 0xF906, 8), (Bytes{'Q', 'X', '1', '6', '5', '0', 0, 0}));
    EXPECT_EQ(bytesAt(scaler, 0xFF8FE), blank) << "the updater programs its marker here";
    EXPECT_EQ(bytesAt(buildScaler(scalerRecipe(0xF91A, "QX1650", false)), 0xF8FE), blank);

    // The same recipe gives the same bytes everywhere.
    EXPECT_EQ(checksum16(hub), 0x5F6A);
    EXPECT_EQ(checksum16(buildScaler({{12, 0}, 0xF0000, true, true, "QX1650"})), 0x0CB2);
}

TEST(MakeFirmware, FillingHoldsNoChanceMark)
{
    for (std::uint8_t minor = 0; minor < 120; ++minor) { // 120 000 blocks, of which 1 in 21 845 would match
        Bytes image = buildHub(hubRecipe(0x40000, true, minor, false));
        EXPECT_EQ(Flash_GetVendorConfigAddr(image.data(), static_cast<int>(image.size())), nullptr);
        EXPECT_EQ(bytesAt(image, 0xF8FE), blank);
    }
}

TEST(MakeFirmware, RecipesAreChecked)
{
    for (const Recipe& refused : {hubRecipe(0x8000), hubRecipe(0x40100), hubRecipe(0x10001)})
        EXPECT_NE(hubProblem(refused), "");
    for (const Recipe& refused :
         {scalerRecipe(0x10000), scalerRecipe(0x100001), scalerRecipe(0xF919, "QX1650", false),
          scalerRecipe(0x20000, ""), scalerRecipe(0x20000, "TWENTY-ONE CHARACTERS"),
          scalerRecipe(0x20000, "QX\t1650")})
        EXPECT_NE(scalerProblem(refused), "");
    EXPECT_EQ(hubProblem(hubRecipe(0x8100)) + hubProblem(hubRecipe(0x40000)), "");
    EXPECT_EQ(scalerProblem(scalerRecipe(0x10001)), "");
    EXPECT_EQ(scalerProblem(scalerRecipe(0xF91A, "TWENTY CHARACTERS 20", false)), "");
}

TEST(MakeFirmware, ImagesAreRecognised)
{
    const Bytes hub = buildHub(hubRecipe(0x10000));
    EXPECT_EQ(inspectHub(hub)->mark, "valid");
    EXPECT_EQ(inspectHub(hub)->vendor_config_at, 0xFF00U);
    EXPECT_EQ(inspectHub(hub)->version.minor, 3);
    EXPECT_EQ(inspectHub(with(hub, 0xFEF0, {0x55, 0}))->mark, "none");
    EXPECT_EQ(inspectHub(with(hub, 0xFEF0, blank))->mark, "blank");

    // What looks like a vendor-config block does not make it a hub image.
    const Bytes scaler = with(buildScaler(scalerRecipe(0xF0000)), 0xEFF00, {0x3C, 0xC3});
    EXPECT_FALSE(inspectHub(scaler));
    EXPECT_EQ(inspectScaler(scaler)->version.major, 12);
    const Bytes spoiltName = with(scaler, 0xF907, {0x07});
    EXPECT_EQ(inspectScaler(spoiltName)->model, "Q?1650");
    // Without the mark, only a clean model name will do.
    EXPECT_FALSE(inspectScaler(with(spoiltName, 0xF8FE, {0})));
    EXPECT_FALSE(inspectScaler(with(scaler, 0xF8FE, {0}))->mark);

    for (const Bytes& foreign : {Bytes{}, Bytes{0x55}, with(Bytes(0x7EFA), 0x7DFA, tag),
                                 with(Bytes(0x10000), 0x8001, tag), Bytes(0xF919, 'A'), Bytes(0x100000)})
        EXPECT_FALSE(inspectHub(foreign) || inspectScaler(foreign)) << foreign.size();
}
