/// The hub library in a program without a window, for script/cross-macos to link against the macOS SDK.
#include <cstdio>

#include "app/awake/stay_awake.h"
#include "hub/api/hub_api.h"

int main()
{
    const StayAwake awake;
    Init();
    std::printf("%d hubs\n", AvailableDevices());
    return OpenDevice(0) == 1 ? 0 : 1;
}
