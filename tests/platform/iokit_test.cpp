/// What is IOKit's own: the calls and their order, and what becomes of each that fails. The World checks that every
/// object is released once on every way out.
#include "hub/transport/control_pipe.h"
#include "scripted_iokit.h"

using Iokit = seam::Seam;

std::unique_ptr<seam::World> seam::makeWorld()
{
    g_calls.clear();
    g_objects.clear();
    return std::make_unique<ScriptedWorld>();
}

TEST_F(Iokit, MakesTheseCallsFromTheScanToTheClose)
{
    plugIn({0x1234, 0x7300});
    plugIn(seam::hub);
    ASSERT_TRUE(HH_Open(nullptr));
    EXPECT_EQ(world->liveObjects(), 1) << "a session must hold the device interface alone";
    Proxy_SendVendorCmd2(0x40, 0x01, 2, 3, 0, nullptr);
    EXPECT_EQ(g_Dev->controlRequest(seam::enable, 1, 2), platform::success);
    HH_Close();
    const std::string device =
        "IOIteratorNext\nIOCreatePlugIn user client, plug-in\nIOObjectRelease service\n"
        "QueryInterface device interface\nRelease plug-in\ndevice v\ndevice p\n";
    EXPECT_EQ(g_calls, "IOServiceMatching IOUSBDevice\nIOServiceGetMatchingServices 0\n" + device +
                           "Release device\n" + device +
                           "device o\nrequest\nIOObjectRelease iterator\nrequest 10000 10000\nrequest 1 2\n"
                           "device c\nRelease device\n");
}

TEST_F(Iokit, ACallThatFailsHasItsConsequence)
{
    constexpr std::uint32_t none = 0;
    const std::uint32_t first = plugIn(seam::hub).traits.location;
    const std::uint32_t second = plugIn(seam::second_hub).traits.location;
    // What fails, where a hub is open after that, and the code that is left. A null iterator is an empty list;
    // a plug-in is a plug-in, whatever came with it.
    const std::tuple<Trouble, std::uint32_t, int> table[] = {
        {{"IOServiceMatching"}, none, 2},
        {{"IOServiceGetMatchingServices", kIOReturnError}, none, 2},
        {{"IOServiceGetMatchingServices"}, none, 5},
        {{"IOCreatePlugIn", kIOReturnError}, second, 3},
        {{"IOCreatePlugIn"}, second, 3},
        {{"IOCreatePlugIn", kIOReturnError, true}, first, 0},
        {{"IOObjectRelease service", kIOReturnNoDevice}, second, 3},
        {{"QueryInterface", kIOReturnError}, second, 4},
        {{"QueryInterface"}, second, 4},
        {{"device v", kIOReturnNoDevice}, second, 0},
        {{"device p", kIOReturnNoDevice}, first, 0}, // an id that cannot be read counts as 0
        {{"device o", kIOReturnExclusiveAccess}, none, 5},
        {{"request", kIOUSBPipeStalled}, first, 0},
        {{"device l", kIOReturnNoDevice}, none, 0}};
    for (const auto& [trouble, where, code] : table) {
        SCOPED_TRACE(trouble.call + " " + std::to_string(trouble.result));
        g_trouble = trouble;
        g_ErrCode = 0;
        std::uint32_t location = none;
        HH_Open(nullptr);
        HH_GetLocation(&location);
        EXPECT_EQ(location, where) << "location of the hub that is open after this call failed";
        EXPECT_EQ(g_ErrCode, code) << "error code after this call failed";
        EXPECT_EQ(g_trouble.call, "") << "the call was never made";
        HH_Close();
    }
}
