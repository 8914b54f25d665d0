/// Stand-in for the header of this name in the macOS SDK, as CoreFoundation.h says: the device interface of the
/// USB family. The SDK's table has many more functions, in an order of its own.
#pragma once

#include <IOKit/IOKitLib.h>

constexpr IOReturn kIOUSBPipeStalled = static_cast<IOReturn>(0xE000404F);

enum { kUSBDeviceSpeedLow, kUSBDeviceSpeedFull, kUSBDeviceSpeedHigh, kUSBDeviceSpeedSuper };

struct IOUSBDevRequest
{
    UInt8 bmRequestType, bRequest;
    UInt16 wValue, wIndex, wLength;
    void* pData;
    UInt32 wLenDone;
};

struct IOUSBDevRequestTO : IOUSBDevRequest
{
    UInt32 noDataTimeout, completionTimeout;
};

struct IOUSBDeviceInterface182
{
    ULONG (*Release)(void* thisPointer);
    IOReturn (*USBDeviceOpen)(void* self);
    IOReturn (*USBDeviceClose)(void* self);
    IOReturn (*GetDeviceVendor)(void* self, UInt16* devVendor);
    IOReturn (*GetDeviceProduct)(void* self, UInt16* devProduct);
    IOReturn (*GetDeviceSpeed)(void* self, UInt8* devSpeed);
    IOReturn (*GetLocationID)(void* self, UInt32* locationID);
    IOReturn (*DeviceRequest)(void* self, IOUSBDevRequest* req);
    IOReturn (*DeviceRequestTO)(void* self, IOUSBDevRequestTO* req);
};

#define kIOUSBDeviceUserClientTypeID                                                                         \
    CFUUIDGetConstantUUIDWithBytes(nullptr, 0x9D, 0xC7, 0xB7, 0x80, 0x9E, 0xC0, 0x11, 0xD4, 0xA5, 0x4F,      \
                                   0x00, 0x0A, 0x27, 0x05, 0x28, 0x61)
#define kIOUSBDeviceInterfaceID                                                                              \
    CFUUIDGetConstantUUIDWithBytes(nullptr, 0x5C, 0x81, 0x87, 0xD0, 0x9E, 0xF3, 0x11, 0xD4, 0x8B, 0x45,      \
                                   0x00, 0x0A, 0x27, 0x05, 0x28, 0x61)
