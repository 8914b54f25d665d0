/// Texts from outside: the hub's text records, the display's capabilities, settings that end up as the debug logger's
/// format string, and the settings file as a whole. The first byte says which, for the second kind two more give the
/// sizes of what stands before and behind the text that is looked for.
#include "app/debug_text.h"
#include "app/image_fields.h"
#include "app/startup.h"
#include "fuzz_input.h"
#include "hub/firmware/hub_image.h"

#include <QApplication>
#include <QTemporaryFile>

namespace {

void takeRecordsApart(std::string bytes)
{
    const auto exact = exactCopy(bytes);
    std::string texts[3];
    for (std::string& text : texts)
        text = std::string(254, '\1').replace(0, 1, 1, '\0'); // what the caller of GetStrInfo has to provide
    require(GetStrInfo(exact.get(), static_cast<int>(bytes.size()), texts[0].data(), texts[1].data(),
                       texts[2].data()) <= UINT8_MAX);
    require(bytes.size() > 2 || texts[1][0] == '\0'); // a second text is only there behind a first
}

void extract(FuzzInput& input)
{
    const std::string open = input.bytes(input.byte() % 8);
    const std::string close = input.bytes(input.byte() % 4);
    const std::string text = input.bytes(SIZE_MAX);
    const QByteArray found = extractBetween(QByteArray::fromStdString(text), QByteArray::fromStdString(open),
                                            QByteArray::fromStdString(close));
    require(found.isEmpty() || text.find(open + found.toStdString() + close) != std::string::npos);
}

void printAsFormat(std::string text)
{
    const QByteArray format = formatWithoutArguments(QByteArray::fromStdString(text));
    require(!QByteArray(format).replace("%%", "").contains('%'));
    debugFormat(QString::fromLatin1(text.data(), static_cast<int>(text.size())));
}

void readAsSettings(std::string bytes)
{
    // What follows "@Variant" is read by Qt alone, which allocates whatever size it names.
    std::replace(bytes.begin(), bytes.end(), '@', '_');
    static int count = 1;
    static char name[] = "text_fuzz";
    static char* arguments[] = {name, nullptr};
    static const QApplication application(count, arguments);
    static FW_Update_Tool dialog;
    QTemporaryFile file; // a new name each time: QSettings remembers what it has read
    require(file.open() && file.write(bytes.data(), static_cast<qint64>(bytes.size())) != -1 && file.flush());
    readSettings(file.fileName(), dialog);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzInput input{data, data + size};
    const int kind = input.byte() % 4;
    if (kind == 1)
        extract(input);
    else
        (kind == 0 ? takeRecordsApart : kind == 2 ? printAsFormat : readAsSettings)(input.bytes(SIZE_MAX));
    return 0;
}
