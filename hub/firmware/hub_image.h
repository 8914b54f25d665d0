/// The parts of a hub firmware image that the update has to know, and the parser of its text records.
///
/// An image is written to flash from address 0 as it stands. Somewhere in it lies the vendor-config block:
/// 256 bytes, a whole number of 256-byte blocks away from the end of the image, that start with 55 AA, AA 55
/// or 3C C3. The 16 bytes before it, `vendorConfig`, carry the validity mark: 55 AA in the first two.
#pragma once

#include <cstdint>

/// Finds `vendorConfig` in the `size` bytes at `image`: the bytes 16 before the last vendor-config block.
/// Null when there is no such block, no room for `vendorConfig` before it, `image` is null or `size` is below
/// 256. Sizes are meant to be multiples of 256; a remainder at the start of the image is not searched.
std::uint8_t* Flash_GetVendorConfigAddr(std::uint8_t* image, int size);

/// Takes apart up to three text records in the `size` bytes at `buffer`, each a length byte (of the whole
/// record), a type byte and the text, as in USB string descriptors. Copies each text byte for byte and
/// terminates it with a zero byte; each text buffer must hold 254 bytes. Stops at a length of 0, at a record
/// that would pass `size` and after the third. Returns the last length byte read (0 when there is none).
std::uint32_t GetStrInfo(const std::uint8_t* buffer, int size, char* text1, char* text2, char* text3);
