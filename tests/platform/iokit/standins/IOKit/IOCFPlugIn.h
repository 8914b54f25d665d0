/// Stand-in for the header of this name in the macOS SDK, as CoreFoundation.h says: the plug-in that leads from
/// a service to its device interface.
#pragma once

#include <IOKit/IOKitLib.h>

struct IOCFPlugInInterface
{
    HRESULT (*QueryInterface)(void* thisPointer, REFIID iid, LPVOID* ppv);
    ULONG (*Release)(void* thisPointer);
};

#define kIOCFPlugInInterfaceID                                                                               \
    CFUUIDGetConstantUUIDWithBytes(nullptr, 0xC2, 0x44, 0xE8, 0x58, 0x10, 0x9C, 0x11, 0xD4, 0x91, 0xD4,      \
                                   0x00, 0x50, 0xE4, 0xC6, 0x42, 0x6F)

extern "C" kern_return_t IOCreatePlugInInterfaceForService(io_service_t service, CFUUIDRef pluginType,
                                                           CFUUIDRef interfaceType,
                                                           IOCFPlugInInterface*** theInterface,
                                                           SInt32* theScore);
