// The images that make_firmware builds, and what it recognises in files. Offsets are literal numbers, so that
// a wrong one in the tool shows; the hub library's own search tells whether a vendor-config block is there.
#include <gtest/gtest.h>

#include "hub/firmware/hub_image.h"
#include "tools/firmware_image.h"

namespace {

using namespace firmware;

Recipe hubRecipe(std::size_t size = 0x10000)
{
    return {{1, 3}, size, true, true, {}};
}

Recipe scalerRecipe(std::size_t size = 0xF0000)
{
    return {{12, 0}, size, true, true, "QX1650"};
}

/// Where the hub library finds the mark's place, or -1.
std::ptrdiff_t markPlace(Bytes image)
{
    const std::uint8_t* found = Flash_GetVendorConfigAddr(image.data(), static_cast<int>(image.size()));
    return found ? found - image.data() : -1;
}

Bytes bytesAt(const Bytes& image, std::ptrdiff_t at, std::ptrdiff_t count)
{
    return {image.begin() + at, image.begin() + at + count};
}

} // namespace

TEST(MakeFirmware, HubImageCarriesItsFields)
{
    Recipe recipe = hubRecipe();
    const Bytes image = buildHub(recipe);
    EXPECT_EQ(image.size(), 0x10000U);
    EXPECT_EQ(bytesAt(image, 0x7EF9, 2), (Bytes{1, 3}));
    EXPECT_EQ(bytesAt(image, 0xFF00, 2), (Bytes{0x55, 0xAA}));
    EXPECT_EQ(bytesAt(image, 0xFEF0, 2), (Bytes{0x55, 0xAA}));

    recipe.mark = false;
    Bytes unmarked = buildHub(recipe);
    EXPECT_EQ(bytesAt(unmarked, 0xFEF0, 2), (Bytes{0xFF, 0xFF}));
    unmarked[0xFEF0] = 0x55;
    unmarked[0xFEF1] = 0xAA;
    EXPECT_EQ(unmarked, image) << "only the mark differs";
}

TEST(MakeFirmware, ScalerImageCarriesItsFields)
{
    Recipe recipe = scalerRecipe(0x100000);
    const Bytes image = buildScaler(recipe);
    EXPECT_EQ(image.size(), 0x100000U);
    EXPECT_EQ(bytesAt(image, 0xF8FE, 4), (Bytes{0xAA, 0x55, 12, 0}));
    EXPECT_EQ(bytesAt(image, 0xF906, 20),
              (Bytes{'Q', 'X', '1', '6', '5', '0', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(bytesAt(image, 0xFF8FE, 2), (Bytes{0xFF, 0xFF})) << "the updater programs its marker here";
    recipe.mark = false;
    recipe.model = "TWENTY CHARACTERS 20";
    EXPECT_EQ(bytesAt(buildScaler(recipe), 0xF8FE, 2), (Bytes{0xFF, 0xFF}));
    EXPECT_EQ(inspectScaler(buildScaler(recipe))->model, "TWENTY CHARACTERS 20");
}

TEST(MakeFirmware, SameRecipeGivesTheSameBytesEverywhere)
{
    EXPECT_EQ(checksum16(buildHub(hubRecipe())), 0x5F6A);
    EXPECT_EQ(checksum16(buildScaler(scalerRecipe())), 0x0CB2);
    Recipe newer = hubRecipe();
    newer.version.minor = 4;
    EXPECT_NE(bytesAt(buildHub(newer), 0x100, 0x100), bytesAt(buildHub(hubRecipe()), 0x100, 0x100));
}

TEST(MakeFirmware, FillingHoldsNoChanceMark)
{
    for (std::uint8_t version = 0; version < 120;
         ++version) { // some 120 000 blocks, of which 1 in 21 845 would match
        Recipe recipe = hubRecipe(0x40000);
        recipe.version.minor = version;
        recipe.vendor_config = false;
        EXPECT_EQ(markPlace(buildHub(recipe)), -1);
        EXPECT_EQ(bytesAt(buildHub(recipe), 0xF8FE, 2), (Bytes{0xFF, 0xFF}));
    }
}

TEST(MakeFirmware, RecipesAreChecked)
{
    const auto modelled = [](const char* model) {
        Recipe recipe = scalerRecipe();
        recipe.model = model;
        return scalerProblem(recipe);
    };
    Recipe unmarked = scalerRecipe(0xF919);
    unmarked.mark = false;
    for (const std::string& refused :
         {hubProblem(hubRecipe(0x8000)), hubProblem(hubRecipe(0x40100)), hubProblem(hubRecipe(0x10001)),
          scalerProblem(scalerRecipe(0x10000)), scalerProblem(scalerRecipe(0x100001)),
          scalerProblem(unmarked), modelled(""), modelled("TWENTY-ONE CHARACTERS"), modelled("QX\t1650"),
          modelled("QX\xE9")})
        EXPECT_NE(refused, "");
    ++unmarked.size;
    for (const std::string& taken : {hubProblem(hubRecipe(0x8100)), hubProblem(hubRecipe(0x40000)),
                                     scalerProblem(scalerRecipe(0x10001)), scalerProblem(unmarked)})
        EXPECT_EQ(taken, "");
    EXPECT_EQ(buildHub(hubRecipe(0x8100))[0x7EFA], 3);
    EXPECT_EQ(buildScaler(unmarked).back(), 0);
}

TEST(MakeFirmware, ImagesAreRecognised)
{
    Bytes hub = buildHub(hubRecipe());
    EXPECT_EQ(inspectHub(hub)->mark, "valid");
    EXPECT_EQ(inspectHub(hub)->vendor_config_at, 0xFF00U);
    EXPECT_EQ(inspectHub(hub)->version.minor, 3);
    hub[0xFEF1] = 0;
    EXPECT_EQ(inspectHub(hub)->mark, "none");
    hub[0xFEF0] = hub[0xFEF1] = 0xFF;
    EXPECT_EQ(inspectHub(hub)->mark, "blank");

    Bytes scaler = buildScaler(scalerRecipe());
    scaler[0xEFF00] = 0x3C; // what looks like a vendor-config block does not make it a hub image
    scaler[0xEFF01] = 0xC3;
    scaler[0xF907] = 0x07;
    ASSERT_TRUE(inspectScaler(scaler));
    EXPECT_EQ(inspectScaler(scaler)->model, "Q?1650");
    EXPECT_EQ(inspectScaler(scaler)->version.major, 12);
    EXPECT_FALSE(inspectHub(scaler));
    scaler[0xF8FE] = 0; // without the mark, only a clean model name will do
    EXPECT_FALSE(inspectScaler(scaler));
    scaler[0xF907] = 'X';
    EXPECT_FALSE(inspectScaler(scaler)->mark);

    Bytes tagged(0x7EFA);
    tagged[0x7DFA] = 0x55;
    tagged[0x7DFB] = 0xAA;
    Bytes tagged_off_the_grid(0x10000);
    tagged_off_the_grid[0x8001] = 0x55;
    tagged_off_the_grid[0x8002] = 0xAA;
    for (const Bytes& foreign : {Bytes{}, Bytes{0x55}, Bytes(256, 0xFF), tagged, tagged_off_the_grid,
                                 Bytes(0xF919, 'A'), Bytes(0x100000)}) {
        EXPECT_FALSE(inspectHub(foreign)) << foreign.size();
        EXPECT_FALSE(inspectScaler(foreign)) << foreign.size();
    }
}
