/// macOS: a power assertion of the process. It keeps an idle computer awake; nothing keeps a closed lid awake.
#include "app/awake/stay_awake.h"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/pwr_mgt/IOPMLib.h>

struct StayAwake::Hold
{
    Hold()
    {
        if (IOPMAssertionCreateWithName(kIOPMAssertionTypePreventUserIdleSystemSleep, kIOPMAssertionLevelOn,
                                        CFSTR("FW_Update_Tool: the monitor's firmware is being written"),
                                        &id) != kIOReturnSuccess)
            id = kIOPMNullAssertionID;
    }
    ~Hold()
    {
        if (id != kIOPMNullAssertionID)
            IOPMAssertionRelease(id);
    }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

    IOPMAssertionID id = kIOPMNullAssertionID;
};

StayAwake::StayAwake()
    : hold_(std::make_unique<Hold>())
{
}
StayAwake::~StayAwake() = default;
