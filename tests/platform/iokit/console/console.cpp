/// The hub library in a program without a window: counts the hubs on the bus and reads the firmware version of
/// the first. It is what script/cross-macos links against the macOS SDK.
#include <cstdio>

#include "app/awake/stay_awake.h"
#include "hub/api/hub_api.h"

int main()
{
    const StayAwake awake;
    Init();
    const int hubs = AvailableDevices();
    if (!OpenDevice(0)) {
        std::puts("no hub could be opened");
        return 1;
    }
    const std::uint32_t version = GetfwVersion();
    std::printf("%d hubs; the first runs firmware %u.%u\n", hubs, version >> 8 & 0xFF, version & 0xFF);
    CloseDevice();
    Deinit();
    return 0;
}
