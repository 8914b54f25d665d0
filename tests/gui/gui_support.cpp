/// Layouts and texts from their own documents, letter by letter.
#include "gui_support.h"

#include "hub/api/hub_api.h"

#include <QAbstractButton>
#include <QDir>
#include <QFile>

#include <algorithm>

const QString confirm_box =
    "question [Confirm to update firmware] Are you sure you want to update your firmware to "
    "the latest version? (Yes, No)";
const QString no_hub_text =
    "<img width=20 height=20 src=\":/FW_Update_Tool/cross_mark\"> The detection of USB Hub is not configured "
    "correctly. Please ensure the monitor is powered on and connected properly. Please also close and "
    "restart the "
    "application, then unplug & replug the USB cable to retry again. "
    "<a href=\"https://support.example.com/qx\">https://support.example.com/qx</a>";
const QString latest_text = "<img width=20 height=20 src=\":/FW_Update_Tool/question_mark\"> Your current "
                            "firmware version is already the "
                            "latest version, you don't need to update.";
const QString busy_text =
    "<img width=20 height=20 src=\":/FW_Update_Tool/question_mark\"> The update process may take several "
    "minutes. "
    "Please do not remove the USB cable connection or turn off the monitor's power while updating.";
const QString failed_text =
    "<img width=20 height=20 src=\":/FW_Update_Tool/cross_mark\">The detection of USB Hub is not configured "
    "correctly, "
    "please close the application and retry again, then unplug & replug the USB cable to try again.";

namespace {

QByteArray filled(int size, int seed)
{
    QByteArray bytes(size, '\0');
    for (int i = 0; i < size; ++i)
        bytes[i] = static_cast<char>(i * 7 + i / 256 + seed);
    return bytes;
}

void put(QByteArray& bytes, int offset, const QByteArray& field)
{
    bytes.replace(offset, field.size(), field);
}

QByteArray versionBytes(std::uint8_t major, std::uint8_t minor)
{
    return QByteArray(1, static_cast<char>(major)) + static_cast<char>(minor);
}

} // namespace

QByteArray hubImage(std::uint8_t major, std::uint8_t minor)
{
    QByteArray image = filled(0x10000, major + minor);
    put(image, 0x7EF9, versionBytes(major, minor));
    put(image, 0xFEF0, "\x55\xAA");
    put(image, 0xFF00, "\x55\xAA");
    return image;
}

QByteArray scalerImage(std::uint8_t major, std::uint8_t minor, const QByteArray& model)
{
    QByteArray image = filled(0x10105, major + minor);
    put(image, 0xF8FE, "\xAA\x55");
    put(image, 0xF900, versionBytes(major, minor));
    put(image, 0xF906, model.leftJustified(20, '\0'));
    return image;
}

bool flashHolds(const std::vector<std::uint8_t>& flash, std::size_t at, const QByteArray& image)
{
    return std::equal(image.begin(), image.end(), flash.begin() + static_cast<std::ptrdiff_t>(at),
                      [](char a, std::uint8_t b) { return static_cast<std::uint8_t>(a) == b; });
}

void clearResources()
{
    QDir(resourcesDir()).removeRecursively();
    QDir().mkpath(resourcesDir());
}

void writeResource(const QString& fileName, const QByteArray& bytes)
{
    QFile file(resourcesDir() + "/" + fileName);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("%s cannot be written", qPrintable(file.fileName()));
}

BoxHand::BoxHand()
{
    connect(&timer_, &QTimer::timeout, this, &BoxHand::answer);
    timer_.start(0);
}

void BoxHand::answer()
{
    auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    if (box == nullptr || !box->isVisible())
        return;
    const QStringList icons{"plain", "information", "warning", "critical", "question"};
    const QString wanted = answers.isEmpty() ? QString() : answers.takeFirst();
    QStringList names;
    QAbstractButton* pressed = nullptr;
    for (QAbstractButton* button : box->buttons()) {
        names += button->text().remove('&');
        if (names.back() == wanted)
            pressed = button;
    }
    seen += QString("%1 [%2] %3 (%4)")
                .arg(icons.value(box->icon()), box->windowTitle(), box->text(), names.join(", "));
    emit aboutToAnswer(seen.back());
    if (pressed != nullptr)
        pressed->click();
    else
        QTest::keyClick(box, Qt::Key_Escape);
}

Bench::Bench(const sim::MonitorSetup& setup)
    : monitor(bus, setup)
{
    g_dialog = &dialog;
    dialog.hubBinFile = "hub.bin";
    dialog.scalarBinFile = "scaler.bin";
    dialog.modelName = "from Config.ini";
    QObject::connect(find<QProgressBar>("bar1"), &QProgressBar::valueChanged, &dialog,
                     [this](int percent) { progress += percent; });
}

Bench::~Bench()
{
    Deinit();
    g_dialog = nullptr;
}

QString Bench::offers() const
{
    const auto offered = [this](const char* name, const char* word) {
        const auto* widget = find<QWidget>(name);
        return widget->isEnabled() && widget->isVisible() ? QString(word) + " " : QString();
    };
    return offered("btnUpdate", "update") + offered("btnExit", "exit") + offered("chkOverride", "override") +
           QString::number(find<QProgressBar>("bar1")->value());
}

void Bench::update(const QStringList& answers)
{
    boxes.answers = answers;
    boxes.seen.clear();
    progress.clear();
    QTest::mouseClick(find<QWidget>("btnUpdate"), Qt::LeftButton);
}
