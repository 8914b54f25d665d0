/// Stand-in for the header of this name in the macOS SDK, as CoreFoundation.h beside it says: the registry's
/// services and the numbers of IOKit's results.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

typedef int kern_return_t, IOReturn;
typedef unsigned mach_port_t, io_object_t, io_iterator_t, io_service_t;

constexpr kern_return_t KERN_SUCCESS = 0;
constexpr mach_port_t MACH_PORT_NULL = 0;
constexpr io_object_t IO_OBJECT_NULL = 0;

enum : IOReturn {
    kIOReturnSuccess = KERN_SUCCESS,
    kIOReturnError = static_cast<IOReturn>(0xE00002BC),
    kIOReturnNoMemory = static_cast<IOReturn>(0xE00002BD),
    kIOReturnNoDevice = static_cast<IOReturn>(0xE00002C0),
    kIOReturnNotPrivileged = static_cast<IOReturn>(0xE00002C1),
    kIOReturnBadArgument = static_cast<IOReturn>(0xE00002C2),
    kIOReturnExclusiveAccess = static_cast<IOReturn>(0xE00002C5),
    kIOReturnUnsupported = static_cast<IOReturn>(0xE00002C7),
    kIOReturnNotOpen = static_cast<IOReturn>(0xE00002CD),
    kIOReturnTimeout = static_cast<IOReturn>(0xE00002D6),
    kIOReturnOverrun = static_cast<IOReturn>(0xE00002E8),
    kIOReturnAborted = static_cast<IOReturn>(0xE00002EB),
    kIOReturnNotResponding = static_cast<IOReturn>(0xE00002ED),
    kIOReturnNotFound = static_cast<IOReturn>(0xE00002F0)
};

extern "C" {
CFMutableDictionaryRef IOServiceMatching(const char* name);
kern_return_t IOServiceGetMatchingServices(mach_port_t mainPort, CFDictionaryRef matching,
                                           io_iterator_t* existing);
io_object_t IOIteratorNext(io_iterator_t iterator);
kern_return_t IOObjectRelease(io_object_t object);
}
