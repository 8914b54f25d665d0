/// Firmware images of any content: the hub library's search and the inspector of make_firmware, which share no code,
/// have to agree on where the mark is, and no field reaches past its end.
///
///     3 bytes   size of the image, low to high, modulo 0x14000
///     1         what it is filled with
///     then, as often as there is input: 3 bytes offset, 1 byte count, the bytes to put there
#include "fuzz_input.h"
#include "hub/firmware/hub_image.h"
#include "tools/firmware_image.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzInput input{data, data + size};
    const std::size_t length = input.number24() % 0x14000;
    std::string image(length, static_cast<char>(input.byte()));
    while (input.at != input.end && length != 0) {
        const std::size_t offset = input.number24() % length;
        const std::string bytes = input.bytes(std::min<std::size_t>(input.byte(), length - offset));
        image.replace(offset, bytes.size(), bytes);
    }
    const auto bytes = QByteArray::fromRawData(image.data(), static_cast<int>(length));
    const QByteArray model = scalerImageModel(bytes);
    require(model.size() <= 20 && !model.contains('\0'));
    scalerImageVersion(bytes);
    hubImageVersion(bytes);
    firmware::inspectScaler(bytes);

    const auto exact = exactCopy(image);
    const std::uint8_t* found = Flash_GetVendorConfigAddr(exact.get(), static_cast<int>(length));
    const int mark = found != nullptr ? static_cast<int>(found - exact.get()) : -1;
    // A whole block of 256 bytes stands 16 bytes behind it, on a block border counted from the end.
    const auto behind = bytes.size() - mark - 16;
    require(mark == -1 || (mark >= 0 && behind >= 256 && behind % 256 == 0));
    const auto facts = firmware::inspectHub(bytes);
    require(!facts || mark == std::max<qsizetype>(facts->vendor_config_at - 16, -1));
    require(!facts || mark == -1 || (facts->mark == "valid") == (bytes.mid(mark, 2) == "\x55\xAA"));
    return 0;
}
