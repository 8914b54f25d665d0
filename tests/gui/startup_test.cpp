/// What the program is made of before anything is detected: form, built-in images, settings, and the pure
/// helpers that read fields and write debug texts.
#include "app/debug_text.h"
#include "app/image_fields.h"
#include "gui_support.h"

#include <QAbstractButton>
#include <QDir>
#include <QImageReader>
#include <QMetaMethod>
#include <QPushButton>
#include <QResource>
#include <QVBoxLayout>

#include <cstring>

namespace {

QStringList said; // NOLINT: a Qt message handler has no context

void listen(QtMsgType type, const QMessageLogContext& /*context*/, const QString& text)
{
    if (type == QtDebugMsg)
        said += text;
}

enum class Face { unset, title, common, info };

struct Row
{
    const char* name;
    const char* kind;
    QRect geometry; ///< null in a column
    Face face;
    QString style;
    QString text;
};

const QString white = "color:white";
const QString grey = "color:gainsboro";
const QString bar_style =
    "QProgressBar {border: 3px solid white; border-radius: 5px;text-align: center;color:white;}\n"
    "QProgressBar::chunk { background-color: rgb(42, 168, 165);    width: 20px;}";
const QString button_style = "QPushButton:disabled {\n  background-color: rgb(80, 80, 80);color:grey\n}\n"
                             "QPushButton {\n  background-color: rgb(42, 168, 165);color:white \n}\n";

/// In order of creation, which inside one parent is the order of its children.
const std::vector<Row> form{
    {"lblTitle", "QLabel", {180, 5, 441, 41}, Face::title, white, "QX Series USB Firmware Update Tool v1.01"},
    {"line", "QFrame", {108, 60, 20, 141}, Face::unset, {}, {}},
    {"label_5", "QLabel", {20, 0, 141, 51}, Face::common, {}, {}},
    {"bar1", "QProgressBar", {20, 220, 601, 23}, Face::common, bar_style, "50%"},
    {"btnExit", "QPushButton", {540, 270, 75, 23}, Face::common, button_style, "EXIT (&X)"},
    {"chkOverride",
     "QCheckBox",
     {30, 270, 221, 16},
     Face::common,
     white,
     "Allow Monitor use older firmware."},
    {"verticalLayoutWidget", "QWidget", {20, 60, 104, 141}, Face::unset, {}, {}},
    {"label", "QLabel", {}, Face::common, white, "Model Name"},
    {"label_2", "QLabel", {}, Face::common, white, "Current Firmware"},
    {"label_3", "QLabel", {}, Face::common, white, "New Firmware"},
    {"label_4", "QLabel", {}, Face::common, white, "CheckSum"},
    {"btnUpdate", "QPushButton", {440, 270, 75, 23}, Face::common, button_style, "Update"},
    {"verticalLayoutWidget_2", "QWidget", {130, 60, 491, 141}, Face::unset, {}, {}},
    {"lblModelName", "QLabel", {}, Face::common, grey, "Model Name"},
    {"lblCurrentFW", "QLabel", {}, Face::common, grey, "Current Firmware"},
    {"lblNewFW", "QLabel", {}, Face::common, grey, "New Firmware"},
    {"lblCheckSum", "QLabel", {}, Face::common, grey, "CheckSum"},
    {"lblInfo", "QLabel", {30, 300, 591, 51}, Face::info, grey, "Info"},
};

} // namespace

class StartupTest : public QObject
{
    Q_OBJECT

private slots:
    void formIsAsDrawn()
    {
        const FW_Update_Tool dialog;
        const QList<QWidget*> widgets = dialog.findChildren<QWidget*>();
        QCOMPARE(widgets.size(), static_cast<int>(form.size()));
        QStringList order;
        for (const Row& row : form) {
            const auto* widget = dialog.findChild<QWidget*>(row.name);
            QVERIFY2(widget != nullptr, row.name);
            QCOMPARE(QString(widget->metaObject()->className()), QString(row.kind));
            QCOMPARE(widget->styleSheet(), row.style);
            QCOMPARE(widget->parentWidget() == &dialog, !row.geometry.isNull());
            if (!row.geometry.isNull()) {
                QCOMPARE(widget->geometry(), row.geometry);
                order += row.name;
            }
            if (row.face == Face::unset)
                continue;
            QCOMPARE(widget->font().family(), QString("Arial"));
            QCOMPARE(widget->font().bold(), row.face != Face::common);
            QCOMPARE(widget->font().pointSize(), row.face == Face::title ? 16 : 12);
            QCOMPARE(widget->property("text").toString(), row.text);
        }
        QStringList children;
        for (const QObject* child : dialog.children())
            children += child->objectName();
        QCOMPARE(children, order);
        for (const char* column : {"verticalLayout", "verticalLayout_2"}) {
            const auto* layout = dialog.findChild<QVBoxLayout*>(column);
            QCOMPARE(layout->count(), 4);
            QCOMPARE(layout->spacing(), 6);
            QCOMPARE(layout->contentsMargins(), QMargins());
        }
        const auto* line = dialog.findChild<QFrame*>("line");
        QCOMPARE(line->frameShape(), QFrame::VLine);
        QCOMPARE(line->frameShadow(), QFrame::Sunken);
        const auto* logo = dialog.findChild<QLabel*>("label_5");
        QVERIFY(logo->hasScaledContents());
        QCOMPARE(logo->pixmap(Qt::ReturnByValue).size(), QSize(569, 209));
        QVERIFY(!dialog.findChild<QPushButton*>("btnUpdate")->isDefault());
        QVERIFY(dialog.findChild<QLabel*>("lblInfo")->wordWrap());
        QVERIFY(dialog.findChild<QLabel*>("lblInfo")->openExternalLinks());
    }

    void dialogItself()
    {
        const FW_Update_Tool dialog;
        QCOMPARE(dialog.objectName(), QString("FW_Update_ToolClass"));
        QCOMPARE(dialog.windowTitle(), QString("QX Series USB Firmware Update Tool v"));
        QCOMPARE(dialog.size(), QSize(644, 357));
        QCOMPARE(dialog.styleSheet(), QString("background-color: rgb(91, 89, 90);"));
        QCOMPARE(dialog.windowFlags() & ~Qt::WindowType_Mask, Qt::WindowFlags(Qt::FramelessWindowHint));
        const QMetaObject* meta = dialog.metaObject();
        QCOMPARE(meta->className(), "FW_Update_Tool");
        QCOMPARE(meta->methodCount() - meta->methodOffset(), 2);
        QCOMPARE(meta->method(meta->methodOffset()).methodSignature(), QByteArray("updateFW()"));
        QCOMPARE(meta->method(meta->methodOffset() + 1).methodSignature(),
                 QByteArray("allowUpdateOldVersion()"));
    }

    void everyTextFitsItsPlace()
    {
        FW_Update_Tool dialog;
        for (const Row& row : form) {
            if (const auto* button = dialog.findChild<QAbstractButton*>(row.name))
                QVERIFY2(button->fontMetrics().horizontalAdvance(button->text()) <= button->width() - 20,
                         row.name);
            const auto* label = dialog.findChild<QLabel*>(row.name);
            if (label == nullptr || row.text.isEmpty())
                continue;
            const bool inColumn = row.geometry.isNull();
            QVERIFY2(label->sizeHint().width() <= (inColumn ? label->parentWidget() : label)->width(),
                     row.name);
        }
        auto* info = dialog.findChild<QLabel*>("lblInfo");
        for (const QString& text : {no_hub_text, busy_text, failed_text, latest_text}) {
            info->setText(text);
            QVERIFY2(info->heightForWidth(info->width()) <= info->height(), qPrintable(text));
        }
    }

    void progressAboveTheRangeIsIgnored()
    {
        Bench bench;
        updateProgress(nullptr, 101);
        QCOMPARE(bench.progress, QVector<int>());
        updateProgress(&bench, 100);
        QCOMPARE(bench.progress, QVector<int>({100}));
    }

    void builtInImagesAreStoredAsTheyAre()
    {
        const QMap<QString, QSize> pngs{
            {"logo", {569, 209}}, {"question_mark", {120, 120}}, {"cross_mark", {120, 120}}};
        for (auto png = pngs.begin(); png != pngs.end(); ++png) {
            const QString path = ":/FW_Update_Tool/" + png.key();
            QCOMPARE(QImageReader(path).size(), png.value());
            QVERIFY(std::memcmp(QResource(path).data(), "\x89PNG", 4) == 0);
        }
        QImageReader icon(":/FW_Update_Tool/icon.ico");
        QCOMPARE(icon.imageCount(), 5);
        QCOMPARE(icon.read().size(), QSize(16, 16));
    }

    void settingsMayBeFullPartialOrMissing()
    {
        clearResources();
        QCOMPARE(readConfig(), QStringList({"", "", "", "", ""}));
        QCOMPARE(QDir(resourcesDir()).entryList(QDir::Files), QStringList());
        writeResource("Config.ini", "\x01\xFF garbage [[[\n[Model]\nModelName=QX1320\n");
        QCOMPARE(readConfig(), QStringList({"", "", "", "", "QX1320"}));
        writeResource("Config.ini", "[FWFilePath]\nScalarBinFile=100%s%n%d.bin\nHubBinFile = 5%%.bin \n"
                                    "[FWFileCheckSum]\nScalarBinCheckSum=0x12\nHubBinCheckSum=34\n"
                                    "[Model]\nModelName=QX1650\n");
        QCOMPARE(readConfig(), QStringList({"5%%.bin", "100%s%n%d.bin", "34", "0x12", "QX1650"}));
        QCOMPARE(said, QStringList({resourcesDir(), "100.bin", "5%.bin"})); // as formats
        QVERIFY(resourcesDir().endsWith("/bin/../Resources"));
    }

    void conversionsAreDroppedFromFormats()
    {
        const QMap<QByteArray, QByteArray> printed{{"/opt/tool", "/opt/tool"},
                                                   {"100%", "100%"},
                                                   {"a%%b", "a%b"},
                                                   {"%%d", "%d"},
                                                   {"a%sb%nc", "abc"},
                                                   {"%*y", "%*y"},
                                                   {"%q %5", "%q %5"},
                                                   {"%5%sx", "%5x"},
                                                   {"50% off", "50ff"},
                                                   {"%%%s%", "%%"},
                                                   {"50% yes", "50% yes"},
                                                   {"%-08.3lld|%*.*f|%hhx|%Zu", "|||"}};
        for (auto text = printed.begin(); text != printed.end(); ++text) {
            QByteArray format = formatWithoutArguments(text.key());
            QVERIFY2(!QByteArray(format).replace("%%", "").contains('%'), text.key());
            QCOMPARE(format.replace("%%", "%"), text.value());
        }
    }

    void imageFieldsEndWithTheFile()
    {
        QCOMPARE(hubImageVersion(hubImage(2, 5)).composite(), 0x205);
        QCOMPARE(hubImageVersion(hubImage(2, 5).left(0x7EFA)).composite(), 0x200);
        QCOMPARE(hubImageVersion(hubImage(0xFF, 1)).composite(), -255);
        QCOMPARE(scalerImageModel(scalerImage(1, 0, "ABCDEFGHIJKLMNOPQRST")),
                 QByteArray("ABCDEFGHIJKLMNOPQRST"));
        QCOMPARE(scalerImageModel(scalerImage(1, 0, "QX1655").left(0xF909)), QByteArray("QX1"));
        QCOMPARE(scalerImageModel({}), QByteArray());
        QCOMPARE(checksum16({}), std::uint16_t{0});
        QCOMPARE(checksum16(QByteArray(258, '\xFF')), std::uint16_t{0x00FE});
    }

    void textBetweenTwoOthers()
    {
        QCOMPARE(extractBetween("(model(QX1650)vcp(02))", "model(", ")"), QByteArray("QX1650"));
        QCOMPARE(extractBetween("model(A)model(B)", "model(", ")"), QByteArray("A"));
        QCOMPARE(extractBetween("model(QX", "model(", ")"), QByteArray());
        QCOMPARE(extractBetween("prot(monitor)", "model(", ")"), QByteArray());
        QCOMPARE(extractBetween("model()x)", "model(", ")"), QByteArray());
        QCOMPARE(extractBetween("QX)", "", ")"), QByteArray("QX"));
        QCOMPARE(extractBetween("a)bX)", "a)b", ")"), QByteArray()); // the first ")" is inside the opening
    }

private:
    static QStringList readConfig()
    {
        said.clear();
        FW_Update_Tool dialog;
        const QtMessageHandler before = qInstallMessageHandler(listen);
        readSettings(resourcesDir() + "/Config.ini", dialog);
        qInstallMessageHandler(before);
        return {dialog.hubBinFile, dialog.scalarBinFile, dialog.hubBinCheckSum, dialog.scalarBinCheckSum,
                dialog.modelName};
    }
};

int main(int argc, char** argv)
{
    return runGuiTest<StartupTest>(argc, argv);
}

#include "startup_test.moc"
