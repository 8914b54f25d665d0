/// Parsers of the hub's firmware image and of its text records; neither touches a device.
#include "hub/firmware/hub_image.h"

#include <array>
#include <cstring>

namespace {

constexpr int block_size = 256;
constexpr int vendor_config_size = 16;
constexpr int record_header_size = 2;

bool isVendorConfigBlock(const std::uint8_t* block)
{
    static constexpr std::uint8_t tags[][2] = {{0x55, 0xAA}, {0xAA, 0x55}, {0x3C, 0xC3}};
    for (const auto& tag : tags) {
        if (block[0] == tag[0] && block[1] == tag[1])
            return true;
    }
    return false;
}

void copyText(const std::uint8_t* record, int length, char* text)
{
    // A record shorter than its own header carries no text.
    const int textLength = length > record_header_size ? length - record_header_size : 0;
    std::memcpy(text, record + record_header_size, static_cast<std::size_t>(textLength));
    text[textLength] = '\0';
}

} // namespace

std::uint8_t* Flash_GetVendorConfigAddr(std::uint8_t* image, int size)
{
    if (!image || size < block_size)
        return nullptr;
    for (int block = size - block_size; block >= 0; block -= block_size) {
        if (isVendorConfigBlock(image + block))
            return block >= vendor_config_size ? image + block - vendor_config_size : nullptr;
    }
    return nullptr;
}

std::uint32_t GetStrInfo(const std::uint8_t* buffer, int size, char* text1, char* text2, char* text3)
{
    if (size <= 0)
        return 0;
    const std::array<char*, 3> texts = {text1, text2, text3};
    int offset = 0;
    int length = buffer[0];
    for (char* text : texts) {
        if (length == 0 || length > size - offset)
            break;
        copyText(buffer + offset, length, text);
        offset += length;
        if (offset == size)
            break;
        length = buffer[offset];
    }
    return static_cast<std::uint32_t>(length);
}
