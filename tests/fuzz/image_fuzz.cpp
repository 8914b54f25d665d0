/// Firmware images of any content: the hub library's search, the dialog's fields and the inspector of
/// make_firmware, which share no code, have to agree on what an image holds.
///
///     3 bytes   size of the image, low to high, modulo 0x14000
///     1         what it is filled with
///     then, as often as there is input: 3 bytes offset, 1 byte count, the bytes to put there
#include "app/image_fields.h"
#include "fuzz_input.h"
#include "hub/firmware/hub_image.h"
#include "tools/firmware_image.h"

namespace {

constexpr std::size_t largest = 0x14000;

firmware::Bytes imageFrom(FuzzInput& input)
{
    firmware::Bytes image(input.number24() % largest, input.byte());
    while (!input.atEnd() && !image.empty()) {
        const std::size_t offset = input.number24() % image.size();
        const std::string bytes = input.bytes(std::min<std::size_t>(input.byte(), image.size() - offset));
        std::copy(bytes.begin(), bytes.end(), image.begin() + static_cast<std::ptrdiff_t>(offset));
    }
    return image;
}

bool sameVersion(FirmwareVersion dialogs, firmware::Version inspectors)
{
    return static_cast<std::uint8_t>(dialogs.major) == inspectors.major &&
           static_cast<std::uint8_t>(dialogs.minor) == inspectors.minor;
}

void checkHub(const firmware::Bytes& image, const QByteArray& bytes)
{
    const auto exact = exactCopy(image);
    const std::uint8_t* found = Flash_GetVendorConfigAddr(exact.get(), bytes.size());
    const std::ptrdiff_t mark = found != nullptr ? found - exact.get() : -1;
    // A whole block of 256 bytes stands 16 bytes behind it, on a block border counted from the end.
    require(mark == -1 ||
            (mark >= 0 && mark + 16 + 256 <= bytes.size() && (bytes.size() - mark - 16) % 256 == 0));
    const auto facts = firmware::inspectHub(image);
    if (!facts)
        return;
    require(mark == std::max<std::ptrdiff_t>(static_cast<std::ptrdiff_t>(facts->vendor_config_at) - 16, -1));
    require(sameVersion(hubImageVersion(bytes), facts->version));
    require(mark == -1 || (facts->mark == "valid") == (bytes.mid(static_cast<int>(mark), 2) == "\x55\xAA"));
}

void checkScaler(const firmware::Bytes& image, const QByteArray& bytes)
{
    const QByteArray model = scalerImageModel(bytes);
    require(model.size() <= 20 && !model.contains('\0'));
    const auto facts = firmware::inspectScaler(image);
    require(!facts || (sameVersion(scalerImageVersion(bytes), facts->version) &&
                       static_cast<std::size_t>(model.size()) == facts->model.size()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    const firmware::Bytes image = imageFrom(input);
    const auto bytes =
        QByteArray::fromRawData(reinterpret_cast<const char*>(image.data()), static_cast<int>(image.size()));
    require(checksum16(bytes) == firmware::checksum16(image));
    checkHub(image, bytes);
    checkScaler(image, bytes);
    return 0;
}
