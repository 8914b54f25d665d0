/// Texts from outside: the hub's text records, the display's capabilities, and settings that end up as the
/// debug logger's format string. The first byte says which, for the second kind two more give the sizes of
/// what stands before and behind the text that is looked for.
#include "app/debug_text.h"
#include "app/image_fields.h"
#include "fuzz_input.h"
#include "hub/firmware/hub_image.h"

#include <vector>

namespace {

constexpr std::size_t text_size = 254; ///< what the caller of GetStrInfo has to provide

void takeRecordsApart(const std::string& bytes)
{
    const auto exact = exactCopy(bytes);
    std::vector<char> texts[3] = {std::vector<char>(text_size), std::vector<char>(text_size),
                                  std::vector<char>(text_size)};
    const std::uint32_t last = GetStrInfo(exact.get(), static_cast<int>(bytes.size()), texts[0].data(),
                                          texts[1].data(), texts[2].data());
    require(last <= UINT8_MAX);
    // The third text is only there behind a second one, and that behind a first.
    require(bytes.size() > 2 || texts[1][0] == '\0');
    for (const auto& text : texts)
        require(std::count(text.begin(), text.end(), '\0') > 0);
}

void extract(FuzzInput& input)
{
    const std::string open = input.bytes(input.byte() % 8);
    const std::string close = input.bytes(input.byte() % 4);
    const std::string text = input.rest();
    const QByteArray found =
        extractBetween(QByteArray::fromRawData(text.data(), static_cast<int>(text.size())),
                       QByteArray::fromStdString(open), QByteArray::fromStdString(close));
    const std::size_t opened = text.find(open);
    const std::size_t closed = opened == std::string::npos ? opened : text.find(close, opened);
    const bool between = closed != std::string::npos && closed > opened + open.size();
    const std::size_t start = opened + open.size();
    require(found.toStdString() == (between ? text.substr(start, closed - start) : std::string()));
}

void printAsFormat(const std::string& text)
{
    const QByteArray format = formatWithoutArguments(QByteArray::fromStdString(text));
    require(!QByteArray(format).replace("%%", "").contains('%'));
    debugFormat(QString::fromLatin1(text.data(), static_cast<int>(text.size())));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    const std::uint8_t kind = input.byte() % 3;
    if (kind == 0)
        takeRecordsApart(input.rest());
    else if (kind == 1)
        extract(input);
    else
        printAsFormat(input.rest());
    return 0;
}
