/// Stand-in for the header of this name in the macOS SDK: what hub/platform/iokit uses of it, under Apple's
/// names, so that the platform compiles and runs on every machine. sdk_declarations.cpp holds it to the SDK;
/// scripted_world.h implements it.
#pragma once

#include <cstdint>

using UInt8 = std::uint8_t;
using UInt16 = std::uint16_t;
typedef std::uint32_t UInt32, ULONG;
typedef std::int32_t SInt32, HRESULT;
using LPVOID = void*;

constexpr HRESULT S_OK = 0;

struct CFUUIDBytes
{
    UInt8 bytes[16];
};
using REFIID = CFUUIDBytes;
/// Constant UUIDs are never released, so a value does for the reference.
struct CFUUIDRef
{
    CFUUIDBytes value;
};

template <typename... Bytes>
CFUUIDRef CFUUIDGetConstantUUIDWithBytes(const void* /*allocator*/, Bytes... bytes)
{
    return {{{static_cast<UInt8>(bytes)...}}};
}
inline CFUUIDBytes CFUUIDGetUUIDBytes(CFUUIDRef uuid)
{
    return uuid.value;
}

using CFDictionaryRef = const struct ScriptedObject*;
using CFMutableDictionaryRef = struct ScriptedObject*;
