/// Firmware images of any content: the hub library's search and the inspector of make_firmware, which share no code,
/// have to agree on where the mark is, and no field reaches past its end.
///
///     3 bytes   size of the image, low to high, modulo 0x14000
///     1         what it is filled with
///     then, as often as there is input: 3 bytes offset, 1 byte count, the bytes to put there
#include "fuzz_input.h"
#include "hub/firmware/hub_image.h"
#include "tools/firmware_image.h"

namespace {

constexpr std::size_t largest = 0x14000;

std::string imageFrom(FuzzInput& input)
{
    std::string image(input.number24() % largest, static_cast<char>(input.byte()));
    while (!input.atEnd() && !image.empty()) {
        const std::size_t offset = input.number24() % image.size();
        const std::string bytes = input.bytes(std::min<std::size_t>(input.byte(), image.size() - offset));
        image.replace(offset, bytes.size(), bytes);
    }
    return image;
}

void checkHub(const std::string& image, const QByteArray& bytes)
{
    const auto exact = exactCopy(image);
    const std::uint8_t* found = Flash_GetVendorConfigAddr(exact.get(), bytes.size());
    const std::ptrdiff_t mark = found != nullptr ? found - exact.get() : -1;
    // A whole block of 256 bytes stands 16 bytes behind it, on a block border counted from the end.
    require(mark == -1 ||
            (mark >= 0 && mark + 16 + 256 <= bytes.size() && (bytes.size() - mark - 16) % 256 == 0));
    const auto facts = firmware::inspectHub(bytes);
    if (!facts)
        return;
    require(mark == std::max(facts->vendor_config_at - 16, -1));
    require(mark == -1 || (facts->mark == "valid") == (bytes.mid(static_cast<int>(mark), 2) == "\x55\xAA"));
}

void checkScaler(const QByteArray& bytes)
{
    const QByteArray model = scalerImageModel(bytes);
    require(model.size() <= 20 && !model.contains('\0'));
    scalerImageVersion(bytes);
    checksum16(bytes);
    firmware::inspectScaler(bytes);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    const std::string image = imageFrom(input);
    const auto bytes = QByteArray::fromRawData(image.data(), static_cast<int>(image.size()));
    checkHub(image, bytes);
    checkScaler(bytes);
    return 0;
}
