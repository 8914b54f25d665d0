/// What the program is made of before anything is detected: form, images, settings, and the pure
/// helpers that read files and fields and write debug texts.
#include "app/debug_text.h"
#include "app/image_fields.h"
#include "gui_support.h"

#include <QAbstractButton>
#include <QImageReader>
#include <QPushButton>
#include <QVBoxLayout>

#include <sys/stat.h>

namespace {

QStringList said; // NOLINT: a Qt message handler has no context

void listen(QtMsgType type, const QMessageLogContext& /*context*/, const QString& text)
{
    if (type == QtDebugMsg)
        said += text;
}

/// Name, kind, place (columns place theirs when shown), font, text, style. Parents before children, in order of
/// creation.
const QStringList form{
    "lblTitle; QLabel; 180 5 441 41; Arial 16 bold; QX Series USB Firmware Update Tool v1.01; color:white",
    "line; QFrame; 108 60 20 141; 12; ; ",
    "label_5; QLabel; 20 0 141 51; Arial 12; ; ",
    "bar1; QProgressBar; 20 220 601 23; Arial 12; 50%; 166 of 0x5a4e",
    "btnExit; QPushButton; 540 270 75 23; Arial 12; EXIT (&X); 139 of 0x8a72",
    "chkOverride; QCheckBox; 30 270 221 16; Arial 12; Allow Monitor use older firmware.; color:white",
    "verticalLayoutWidget; QWidget; 20 60 104 141; 12; ; ",
    "label; QLabel; 0 0 100 30; Arial 12; Model Name; color:white",
    "label_2; QLabel; 0 0 100 30; Arial 12; Current Firmware; color:white",
    "label_3; QLabel; 0 0 100 30; Arial 12; New Firmware; color:white",
    "label_4; QLabel; 0 0 100 30; Arial 12; CheckSum; color:white",
    "btnUpdate; QPushButton; 440 270 75 23; Arial 12; Update; 139 of 0x8a72",
    "verticalLayoutWidget_2; QWidget; 130 60 491 141; 12; ; ",
    "lblModelName; QLabel; 0 0 100 30; Arial 12; Model Name; color:gainsboro",
    "lblCurrentFW; QLabel; 0 0 100 30; Arial 12; Current Firmware; color:gainsboro",
    "lblNewFW; QLabel; 0 0 100 30; Arial 12; New Firmware; color:gainsboro",
    "lblCheckSum; QLabel; 0 0 100 30; Arial 12; CheckSum; color:gainsboro",
    "lblInfo; QLabel; 30 300 591 51; Arial 12 bold; Info; color:gainsboro"};

/// A long text as its length and checksum.
QString brief(const QString& text)
{
    const QByteArray bytes = text.toUtf8();
#if QT_VERSION_MAJOR < 6
    const auto sum = qChecksum(bytes.constData(), static_cast<unsigned>(bytes.size()));
#else
    const auto sum = qChecksum(bytes);
#endif
    return bytes.size() < 30 ? text : QString("%1 of 0x%2").arg(bytes.size()).arg(sum, 0, 16);
}

QString described(const QWidget* widget)
{
    const QFont& font = widget->font();
    const QRect at = widget->geometry();
    return QString("%1; %2; %3 %4 %5 %6; ")
               .arg(widget->objectName(), widget->metaObject()->className())
               .arg(at.x())
               .arg(at.y())
               .arg(at.width())
               .arg(at.height()) +
           (font.family() == "Arial" ? "Arial " : "") + QString::number(widget->fontInfo().pixelSize()) +
           (font.bold() ? " bold; " : "; ") + widget->property("text").toString() + "; " +
           brief(widget->styleSheet());
}

} // namespace

class StartupTest : public QObject
{
    Q_OBJECT

private slots:
    void formIsAsDrawn()
    {
        const FW_Update_Tool dialog;
        QStringList shown;
        for (const auto* widget : dialog.findChildren<QWidget*>())
            shown += described(widget);
        QCOMPARE(shown, form);
        for (const auto* column : dialog.findChildren<QVBoxLayout*>())
            QVERIFY(column->count() == 4 && column->spacing() == 6 && column->contentsMargins().isNull());
        QCOMPARE(dialog.findChild<QFrame*>("line")->frameStyle(), QFrame::VLine | QFrame::Sunken);
        const auto* logo = dialog.findChild<QLabel*>("label_5");
        QVERIFY(logo->hasScaledContents() && logo->pixmap(Qt::ReturnByValue).width() == 569);
        for (const char* mark : {"question_mark", "cross_mark"})
            QCOMPARE(QImageReader(QString(":/FW_Update_Tool/") + mark).size(), QSize(120, 120));
        QCOMPARE(QImageReader(":/FW_Update_Tool/icon.ico").imageCount(), 5);
        QVERIFY(!dialog.findChild<QPushButton*>("btnUpdate")->isDefault());
        const auto* info = dialog.findChild<QLabel*>("lblInfo");
        QVERIFY(info->wordWrap() && info->openExternalLinks());
        QCOMPARE(dialog.findChild<QLabel*>("lblModelName")->textFormat(), Qt::PlainText);

        QCOMPARE(dialog.objectName(), QString("FW_Update_ToolClass"));
        QCOMPARE(dialog.windowTitle(), QString("QX Series USB Firmware Update Tool v"));
        QCOMPARE(dialog.size(), QSize(644, 357));
        QCOMPARE(dialog.styleSheet(), QString("background-color: rgb(91, 89, 90);"));
        QCOMPARE(dialog.windowFlags() & ~Qt::WindowType_Mask, Qt::WindowFlags(Qt::FramelessWindowHint));
    }

    void everyTextFitsItsPlace()
    {
        FW_Update_Tool dialog;
        for (const auto* button : dialog.findChildren<QAbstractButton*>()) {
            const int wanted = button->fontMetrics().horizontalAdvance(button->text());
            QVERIFY2(wanted <= button->width() - 20, qPrintable(button->text()));
        }
        auto* info = dialog.findChild<QLabel*>("lblInfo");
        for (const auto* label : dialog.findChildren<QLabel*>()) {
            const QWidget* place = label->parentWidget() == &dialog ? label : label->parentWidget();
            QVERIFY2(label->text().isEmpty() || label->sizeHint().width() <= place->width(),
                     qPrintable(label->text()));
        }
        QString all;
        for (const QString& text :
             {texts::noHub(), texts::busy(), texts::updateFailed(), texts::alreadyLatest()}) {
            info->setText(text);
            QVERIFY2(info->heightForWidth(info->width()) <= info->height(), qPrintable(text));
            all += text;
        }
        QCOMPARE(brief(all), QString("904 of 0x723")); // the support knows them as they stand
    }

    void settingsMayBeFullPartialOrMissing()
    {
        clearResources();
        QCOMPARE(readConfig(), QStringList({"", "", "", "", ""}));
        writeResource("Config.ini", "\x01\xFF garbage [[[\n[Model]\nModelName=QX1320\n");
        QCOMPARE(readConfig(), QStringList({"", "", "", "", "QX1320"}));
        writeResource("Config.ini",
                      "[FWFilePath]\nHubBinFile=\xC3\x9C.bin\n"); // UTF-8, whichever Qt reads it
        QCOMPARE(readConfig(), QStringList({"Ü.bin", "", "", "", ""}));
        writeResource("Config.ini", "[FWFilePath]\nScalarBinFile=100%s%n%d.bin\nHubBinFile = 5%%.bin \n"
                                    "[FWFileCheckSum]\nScalarBinCheckSum=0x12\nHubBinCheckSum=34\n"
                                    "[Model]\nModelName=QX1650\n");
        QCOMPARE(readConfig(), QStringList({"5%%.bin", "100%s%n%d.bin", "34", "0x12", "QX1650"}));
        QCOMPARE(said, QStringList({resourcesDir(), "100.bin", "5%.bin"})); // as formats
        QVERIFY(resourcesDir().endsWith("/bin/../Resources"));
    }

    void conversionsAreDroppedFromFormats()
    {
        const QMap<QByteArray, QByteArray> printed{
            {"100%", "100%"}, {"a%%b", "a%b"},     {"%%d", "%d"},   {"%*y", "%*y"},
            {"%5%sx", "%5x"}, {"50% off", "50ff"}, {"%%%s%", "%%"}, {"%-08.3lld|%*.*f|%hhx|%Zu", "|||"}};
        for (auto text = printed.begin(); text != printed.end(); ++text) {
            QByteArray format = formatWithoutArguments(text.key());
            QVERIFY2(!QByteArray(format).replace("%%", "").contains('%'), text.key());
            QCOMPARE(format.replace("%%", "%"), text.value());
        }
    }

    void onlyRegularFilesAreRead()
    {
        clearResources();
        writeResource("some.bin", "\x01\x02");
        QCOMPARE(readImage(imagePath("some.bin")), QByteArray("\x01\x02"));
        QCOMPARE(mkfifo(qPrintable(imagePath("pipe.bin")), 0600), 0);
        for (const QString& endless : {imagePath("pipe.bin"), QString("/dev/zero"), imagePath("")})
            QCOMPARE(readImage(endless), QByteArray());
    }

    void imageFieldsEndWithTheFile()
    {
        QCOMPARE(hubImageVersion(hubImage(2, 5).left(0x7EFA)).composite(), 0x200);
        QCOMPARE(hubImageVersion(hubImage(0xFF, 1)).composite(), -255);
        QVERIFY(scalerImageVersion(scalerImage(12, 0x80)).composite() < 0);
        const char* const longest = "ABCDEFGHIJKLMNOPQRST";
        QCOMPARE(scalerImageModel(scalerImage(1, 0, longest)), QByteArray(longest));
        QCOMPARE(scalerImageModel(scalerImage(1, 0, "QX1655").left(0xF909)), QByteArray("QX1"));
        QCOMPARE(scalerImageModel({}), QByteArray());
        QCOMPARE(checksum16(QByteArray(258, '\xFF')), std::uint16_t{0x00FE});
    }

    void textBetweenTwoOthers()
    {
        QCOMPARE(extractBetween("(model(QX1650)vcp(02))model(B)", "model(", ")"), QByteArray("QX1650"));
        for (const char* nothing : {"model(QX", "prot(monitor)", "model()x)"})
            QCOMPARE(extractBetween(nothing, "model(", ")"), QByteArray());
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
