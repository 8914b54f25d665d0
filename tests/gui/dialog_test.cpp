/// The dialog's form, what it shows for each monitor and pair of images it may find, what "Update" makes of it, and
/// what must not get in the way of an update.
#include "app/debug_text.h"
#include "app/image_fields.h"
#include "app/texts.h"
#include "gui_support.h"

#include <QCheckBox>
#include <QLabel>
#include <QPushButton>

#include <sys/stat.h>

#include <numeric>

namespace {

using Trouble = std::function<void(Bench&)>;

const QByteArray new_hub = hubImage("2.5");
const QByteArray new_scaler = scalerImage("12.3");

QStringList said; // NOLINT: a Qt message handler has no context

QString readConfig()
{
    said.clear();
    FW_Update_Tool read;
    readSettings(imagePath("Config.ini"), read);
    const QStringList checkSums{read.hubBinCheckSum, read.scalarBinCheckSum};
    return QStringList{read.hubBinFile, read.scalarBinFile, checkSums.join(' '), read.modelName}.join(' ');
}

QString sumOf(const QByteArray& image)
{
    const auto add = [](unsigned sum, char byte) { return sum + static_cast<std::uint8_t>(byte); };
    return "0x" + QString::number(std::accumulate(image.begin(), image.end(), 0U, add) & 0xFFFFU, 16);
}

/// What goes over the I2C bus: the bridge's slave and mode, messages, and how long after each the reply is read.
QString conversation(const sim::WireLog& log)
{
    QStringList lines;
    sim::Duration before{0};
    for (const sim::WireRecord& record : log.records()) {
        const int request = record.setup.request;
        if (request == 0xF6)
            lines += QString("to %1 %2").arg(record.setup.value, 0, 16).arg(record.setup.index, 0, 16);
        if (request == 0xC6)
            lines += bytesOf(record.data).toHex();
        const auto pause = (record.time - before).count() / 1000;
        if (request == 0xD6)
            lines += QString("%1 ms %2 bytes").arg(pause).arg(record.setup.length);
        before = record.time;
    }
    return lines.join(", ");
}

Trouble at(QMessageBox::Icon icon, const Trouble& then)
{
    return [=](Bench& bench) {
        bench.at_box = [=, &bench](QMessageBox::Icon shown) {
            if (shown == icon)
                then(bench);
        };
    };
}

void refuse(Bench& bench, std::uint8_t request, int nth)
{
    bench.bus.faults().refuse(sim::atMatch(sim::requestIs(0x40, request), nth));
}

/// From outside: the program itself never lets go of the hub library.
void loseLibrary(Bench& bench)
{
    auto* timer = new QTimer(&bench.dialog);
    timer->callOnTimeout(Deinit);
    timer->start(0);
}

/// The image file goes, and something that gives no bytes takes its place.
Trouble lose(const QString& name, const std::function<bool(const QString&)>& instead)
{
    return at(QMessageBox::Question, [=](Bench&) {
        if (!QFile::remove(imagePath(name)) || !instead(imagePath(name)))
            qFatal("%s is still there", qPrintable(name));
    });
}

const auto noFile = [](const QString&) { return true; };
const auto emptyFile = [](const QString& path) { return QFile(path).open(QFile::WriteOnly); };
const auto folder = [](const QString& path) { return QDir().mkdir(path); };
/// A regular file that nobody can read, root included.
const auto locked = [](const QString& path) { return QFile::link("/proc/self/mem", path); };

const Trouble nothing = [](Bench&) {};
const QMap<QString, Trouble> troubles{
    {"hub refuses a piece", [](Bench& bench) { refuse(bench, 0xC8, 9); }},
    {"hub cannot be read back",
     [](Bench& bench) { bench.bus.faults().refuse(sim::atMatch(sim::requestIs(0xC0, 0xD8))); }},
    {"scaler refuses a piece", [](Bench& bench) { refuse(bench, 0xC6, 50); }},
    {"no bridge", [](Bench& bench) { refuse(bench, 0xF6, 1); }},
    {"no bridge for the reset", at(QMessageBox::NoIcon, [](Bench& bench) { refuse(bench, 0xF6, 1); })},
    {"leaves at the end", at(QMessageBox::NoIcon, [](Bench& bench) { bench.monitor.unplug(); })},
    {"no library", at(QMessageBox::Question, loseLibrary)},
    {"no library for the reset", at(QMessageBox::NoIcon, [](Bench&) { Deinit(); })},
    {"hub image removed", lose("hub.bin", noFile)},
    {"hub image emptied", lose("hub.bin", emptyFile)},
    {"hub image now a folder", lose("hub.bin", folder)},
    {"hub image locked", lose("hub.bin", locked)},
    {"scaler image removed", lose("scaler.bin", noFile)},
    // In the middle of the first write, by name:
    {"restored",
     [](Bench& bench) {
         QShowEvent event;
         QApplication::sendEvent(&bench.dialog, &event);
     }},
    {"shown again", [](Bench& bench) { bench.show(); }},
    {"Escape", [](Bench& bench) { Hand::pressEscape(bench.dialog); }},
    {"clicks", [](Bench& bench) {
         for (const char* button : {"chkOverride", "chkOverride", "btnUpdate"})
             Hand::press(bench.dialog, button);
         QMetaObject::invokeMethod(&bench.dialog, "updateFW");
     }}};

} // namespace

class DialogTest : public QObject
{
    Q_OBJECT

private slots:
    static void initMain() { setScreenScaling(); }
    void initTestCase()
    {
        setFormLook();
        qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
            said += type == QtDebugMsg ? QStringList(text) : QStringList();
        });
    }

    void formIsAsUsersKnowIt()
    {
        FW_Update_Tool dialog;
        auto* info = dialog.findChild<QLabel*>("lblInfo");
        const QString title = "QX Series USB Firmware Update Tool v";
        expect("window title", dialog.windowTitle(), title);
        expect("title in the form", Hand::label(dialog, "lblTitle"), title + "1.01");
        expect("no frame", (dialog.windowFlags() & ~Qt::WindowType_Mask) == Qt::FramelessWindowHint);
        expect("Enter starts no update", !dialog.findChild<QPushButton*>("btnUpdate")->isDefault());
        expect("the support's page opens", info->openExternalLinks());
        expect("links stand out on dark grey", dialog.palette().color(QPalette::Link).lightness() > 150);
        expect("names from outside are plain",
               dialog.findChild<QLabel*>("lblModelName")->textFormat() == Qt::PlainText);
        const auto exactly = Qt::HighDpiScaleFactorRoundingPolicy::PassThrough;
        expect("150 % are 150 %", QGuiApplication::highDpiScaleFactorRoundingPolicy() == exactly);
#if QT_VERSION_MAJOR < 6
        expect("scaled as the desktop", QCoreApplication::testAttribute(Qt::AA_EnableHighDpiScaling));
        expect("scaled pictures", QCoreApplication::testAttribute(Qt::AA_UseHighDpiPixmaps));
#endif
        for (const auto* button : dialog.findChildren<QAbstractButton*>())
            expect(button->text() + " fits",
                   button->fontMetrics().horizontalAdvance(button->text()) <= button->width() - 20);
        for (const auto* label : dialog.findChildren<QLabel*>()) {
            const QWidget* place = label->parentWidget() == &dialog ? label : label->parentWidget();
            expect(label->text() + " fits",
                   label->text().isEmpty() || label->sizeHint().width() <= place->width());
        }
        for (const QString& text :
             {texts::noHub(), texts::busy(), texts::updateFailed(), texts::alreadyLatest()}) {
            info->setText(text);
            expect(text + " fits", info->heightForWidth(info->width()) <= info->height());
        }
        QWidget* control = dialog.findChild<QWidget*>("chkOverride");
        for (const char* next : {"btnUpdate", "btnExit", "chkOverride"}) {
            do
                control = control->nextInFocusChain();
            while ((control->focusPolicy() & Qt::TabFocus) == 0);
            expect("order of the Tab key", control->objectName(), next);
        }
    }

    void settingsMayBeFullPartialOrMissing()
    {
        prepareResources({}, {});
        expect("no settings", readConfig(), "    ");
        writeResource("Config.ini", "\x01\xFF garbage [[[\n[Model]\nModelName=QX1320\n");
        expect("garbage and a model", readConfig(), "    QX1320");
        writeResource("Config.ini", "[FWFilePath]\nHubBinFile=\xC3\x9C.bin\n");
        expect("settings in UTF-8", readConfig(), QString::fromUtf8("\xC3\x9C.bin    "));
        writeResource("Config.ini",
                      "[FWFilePath]\nScalarBinFile=100%s%n%d.bin\nHubBinFile = 5%%.bin \n[FWFileCheckSum]\n"
                      "ScalarBinCheckSum=0x12\nHubBinCheckSum=34\n[Model]\nModelName=QX1650\n");
        expect("all settings", readConfig(), "5%%.bin 100%s%n%d.bin 34 0x12 QX1650");
        expect("settings printed as formats", said.join(' '), resourcesDir() + " 100.bin 5%.bin");
        QVERIFY(resourcesDir().endsWith("/bin/../Resources"));
    }

    void conversionsAreDroppedFromFormats()
    {
        const char* const table = R"(
            100% | 100%
            a%%b | a%b
            %%d | %d
            %*y | %*y
            %5%sx | %5x
            50% off | 50ff
            %%%s% | %%
            %-08.3lld/%*.*f/%hhx/%Zu | ///)";
        for (const QStringList& row : rowsOf(table)) {
            const QByteArray format = formatWithoutArguments(row[0].toLatin1());
            QVERIFY2(!QByteArray(format).replace("%%", "").contains('%'), format);
            expect("without conversions: " + row[0], QString(format).replace("%%", "%"), row[1]);
        }
    }

    void filesAndTextsEndWhereTheyEnd()
    {
        prepareResources("\x01\x02", {});
        QCOMPARE(readImage(imagePath("hub.bin")), QByteArray("\x01\x02"));
        QCOMPARE(mkfifo(qPrintable(imagePath("pipe.bin")), 0600), 0);
        for (const QString& endless : {imagePath("pipe.bin"), QString("/dev/zero"), imagePath("")})
            expect("bytes of " + endless, readImage(endless), "");
        QCOMPARE(hubImageVersion(hubImage("2.5").left(0x7EFA)).composite(), 0x200);
        QCOMPARE(hubImageVersion(hubImage("255.1")).composite(), -255);
        const QByteArray longest = "ABCDEFGHIJKLMNOPQRST";
        expect("longest model name", scalerImageModel(scalerImage("1.0", longest)), longest);
        expect("model name cut off", scalerImageModel(scalerImage("1.0", "QX1655").left(0xF909)), "QX1");
        QCOMPARE(checksum16(QByteArray(258, '\xFF')), std::uint16_t{0x00FE});
        const char* const between = R"(
            (model(QX1650)vcp(02))model(B) | QX1650
            model(A) | A
            model(QX |
            prot(monitor) |
            model()x) | )";
        for (const QStringList& row : rowsOf(between))
            expect("model in " + row[0], extractBetween(row[0].toLatin1(), "model(", ")"), row[1]);
        expect("closed within its opening", extractBetween("a)bX)", "a)b", ")"), "");
    }

    void detection()
    {
        // monitor: hub, display | image files: hub, scaler | message | versions | model | what is offered
        const char* const table = R"(
            0.0   | 11.0  | 2.5   | 12.3  | no hub        | Current Firmware      | New Firmware          | Model Name      | exit 0
            0.1   | 11.0  | 2.5   | 12.3  | hub is old    | Hub FW : <b>0.1</b>   | Hub FW : <b>2.5</b>   | from Config.ini | update exit 0
            1.0   | 11.0  | 2.5   | 12.3  | hub is old    | Hub FW : <b>1.0</b>   | Hub FW : <b>2.5</b>   | from Config.ini | update exit 0
            2.4   | 11.0  | 2.5   | 12.3  | hub is old    | Hub FW : <b>2.4</b>   | Hub FW : <b>2.5</b>   | from Config.ini | update exit 0
            2.5   | 11.9  | 2.5   | 12.3  | scaler is old | Monitor FW : <b>M011</b>      | Monitor FW : <b>M012</b>      | QX1650 | update exit 0
            2.5   | 12.1  | 2.5   | 12.3  | scaler is old | Monitor FW : <b>M012REV 1</b> | Monitor FW : <b>M012REV 3</b> | QX1650 | update exit 0
            2.5   | 12.3  | 2.5   | 12.3  | up to date    | Monitor FW : <b>M012</b>      | Monitor FW : <b>M012</b>      | QX1650 | exit 100
            2.6   | 12.3  | 2.5   | 12.3  | up to date    | Monitor FW : <b>M012</b>      | Monitor FW : <b>M012</b>      | QX1650 | exit 100
            2.5   | 12.4  | 2.5   | 12.3  | up to date    | Monitor FW : <b>M012</b>      | Monitor FW : <b>M012</b>      | QX1650 | exit override 100
            128.0 | 200.0 | 2.5   | 12.3  | up to date    | Monitor FW : <b>M200</b>      | Monitor FW : <b>M012</b>      | QX1650 | exit override 100
            2.5   | 11.0  | 3.144 | 251.0 | up to date    | Monitor FW : <b>M011</b>      | Monitor FW : <b>M0-5</b>      | QX1650 | exit override 100)";
        for (const QStringList& row : rowsOf(table)) {
            Bench bench(hubImage(row[2]), scalerImage(row[3]), running(row[0], row[1]));
            bench.show();
            QStringList seen;
            for (const char* name : {"lblInfo", "lblCurrentFW", "lblNewFW", "lblModelName"})
                seen += bench.label(name);
            expect(row.mid(0, 4).join(", "), (seen + QStringList(bench.offers())).join(", "),
                   row.mid(4).join(", "));
        }
        for (const QByteArray& hub : {new_hub, hubImage("1.2")}) {
            Bench bench(hub, hub == new_hub ? new_scaler : QByteArray());
            said.clear();
            bench.show();
            const QString compared =
                imagePath("hub.bin") + " Hub Current:1.2 Hub bin:" + (hub == new_hub ? "2.5" : "1.2 ");
            expect("debug output", said.join(' '),
                   compared + (hub == new_hub ? "" : imagePath("scaler.bin")));
            expect("checksum", bench.label("lblCheckSum"), hub == new_hub ? sumOf(new_hub) : "0x0");
            expect("scaler image empty", bench.label("lblInfo") + "; " + bench.offers(),
                   hub == new_hub ? "hub is old; update exit 0" : "no image; exit 0");
        }
    }

    void displayIsAskedAsItMustBe()
    {
        Bench bench({}, new_scaler);
        bench.monitor.display().setCapabilities("(prot(monitor)model(QX1650))");
        const sim::Matches reads = sim::requestIs(0xC0, 0xD6);
        // The second fragment comes as that of another offset twice, which differs in the high or the low byte.
        bench.bus.faults().replaceReply(sim::atMatch(reads, 3), 3, {0x01, 0x1A});
        bench.bus.faults().replaceReply(sim::atMatch(reads, 4), 3, {0x00, 0x00});
        bench.show();
        const QString second = ", 83f3001aff, 100 ms 32 bytes";
        expect("DDC/CI of a detection", conversation(bench.bus.log()),
               "to 6e01 8080, 8201c9ff, 100 ms 11 bytes, to 6e01 8080, 83f30000ff, 100 ms 32 bytes" + second +
                   second + second);
        bench.monitor.display().setCapabilities(std::string(270, ' ') + "model(qx1650 series)");
        bench.bus.faults().refuse(sim::atMatch(reads)); // the firmware level then reads as 0.0
        bench.show();
        expect("version of a display that does not tell it", bench.label("lblCurrentFW"),
               "Monitor FW : <b>M000</b>");
        expect("checksum", bench.label("lblCheckSum"), sumOf(new_scaler));
        bench.monitor.display().setCapabilities("(model(QX1650))");
        bench.update({"Yes", "Reset OSD Setting"});
        expect("DDC/CI of a reset", conversation(bench.bus.log()).section(", ", -2),
               "to 6e01 8080, 8403040001ff");
        QCOMPARE(bench.monitor.display().factoryResets(), 1);
    }

    void showingAgainDetectsAgain()
    {
        Bench bench({}, new_scaler, running("1.2", "12.4"));
        bench.show();
        for (const char* offers :
             {"update exit override 100", "exit override 100", "update exit override 100"}) {
            Hand::press(bench.dialog, "chkOverride");
            expect("Update follows the tick", bench.offers(), offers);
        }
        bench.monitor.unplug();
        bench.show();
        expect("monitor gone", bench.label("lblInfo") + "; " + bench.offers(), "no hub; exit 0");
        QVERIFY2(!bench.dialog.findChild<QCheckBox*>("chkOverride")->isChecked(),
                 "a tick for another monitor stays");
        Hand::pressEscape(bench.dialog);
        expect("Escape hides the idle dialog", !bench.dialog.isVisible());
    }

    void detectionDoesNotNest()
    {
        Bench bench({}, new_scaler, running("1.2", "12.3"));
        connect(bench.bar, &QProgressBar::valueChanged,
                [&] { QApplication::postEvent(&bench.dialog, new QShowEvent); });
        bench.show();
        QCOMPARE(conversation(bench.bus.log()).count("8201c9ff"), 1);
    }

    void update()
    {
        // hub, display | before, or in the middle | answers | boxes; message; what is offered; erased blocks of hub and scaler
        const char* const table = R"(
            1.2 | 11.0 | QX1320                    | Yes Exit        | asked, success; up to date; exit 100; erased 1+16
            1.2 | 11.0 | QX1655                    | Yes Exit        | asked, success; up to date; exit 100; erased 1+32
            1.2 | 11.0 | High-Speed only           | Yes Exit        | asked, success; up to date; exit 100; erased 1+16
            1.2 | 11.0 |                           | No              | asked; hub is old; update exit 0; untouched
            1.2 | 11.0 |                           | Escape          | asked; hub is old; update exit 0; untouched
            1.2 | 12.3 |                           | Yes             | asked; up to date; exit 100; erased 1+0
            2.5 | 11.0 |                           | Yes Exit        | asked, success; up to date; exit 100; erased 0+16
            1.2 | 11.0 |                           | Yes Escape      | asked, success; up to date; exit 100; erased 1+16
            2.5 | 12.4 |                           | Yes             | ; up to date; exit override 100; untouched
            2.5 | 12.4 |                           | Yes Exit        | asked to downgrade, success; up to date; exit 100; erased 0+16
            1.2 | 11.0 | hub refuses a piece       | Yes OK          | asked, hub failed; try again; exit 24; erased 1+0
            1.2 | 11.0 | hub cannot be read back   | Yes             | asked; hub is old; update exit 42; erased 1+0
            2.5 | 11.0 | scaler refuses a piece    | Yes OK          | asked, scaler failed; try again; exit 27; erased 0+16
            2.5 | 12.4 | scaler refuses a piece    | Yes OK          | asked to downgrade, scaler failed; try again; exit 27; erased 0+16
            1.2 | 11.0 | no bridge                 | Yes OK          | asked, no bridge; busy; exit 84; erased 1+0
            2.5 | 11.0 | no bridge for the reset   | Yes Reset OK OK | asked, success, no bridge, reset; up to date; exit 100; erased 0+16
            2.5 | 11.0 | leaves at the end         | Yes Reset OK    | asked, success, reset; no hub; exit 100; erased 0+16
            1.2 | 11.0 | no library                | Yes OK          | asked, no library; busy; 0; untouched
            2.5 | 11.0 | no library                | Yes OK          | asked, no library; busy; 0; untouched
            2.5 | 11.0 | no library for the reset  | Yes Reset OK OK | asked, success, no library, reset; up to date; exit 100; erased 0+16
            1.2 | 11.0 | hub image removed         | Yes OK          | asked, hub failed; try again; exit 0; untouched
            1.2 | 11.0 | hub image emptied         | Yes OK          | asked, hub failed; try again; exit 0; untouched
            1.2 | 11.0 | hub image now a folder    | Yes OK          | asked, hub failed; try again; exit 0; untouched
            1.2 | 11.0 | hub image locked          | Yes OK          | asked, hub failed; try again; exit 0; untouched
            2.5 | 11.0 | scaler image removed      | Yes OK          | asked, scaler failed; try again; exit 0; erased 0+0
            1.2 | 11.0 | restored in the middle    | Yes Exit        | asked, success; up to date; exit 100; erased 1+16
            2.5 | 12.4 | restored in the middle    | Yes Exit        | asked to downgrade, success; up to date; exit 100; erased 0+16
            1.2 | 11.0 | shown again in the middle | Yes Exit        | asked, success; up to date; exit 100; erased 1+16
            2.5 | 12.4 | shown again in the middle | Yes Exit        | asked to downgrade, success; up to date; exit 100; erased 0+16
            1.2 | 11.0 | Escape in the middle      | Yes Exit        | asked, success; up to date; exit 100; erased 1+16
            2.5 | 12.4 | Escape in the middle      | Yes Exit        | asked to downgrade, success; up to date; exit 100; erased 0+16
            1.2 | 11.0 | clicks in the middle      | Yes Exit        | asked, success; up to date; exit 100; erased 1+16
            2.5 | 12.4 | clicks in the middle      | Yes Exit        | asked to downgrade, success; up to date; exit 100; erased 0+16)";
        for (const QStringList& row : rowsOf(table)) {
            const QString rule = row.mid(0, 4).join(", ");
            sim::MonitorSetup setup = running(row[0], row[1]);
            setup.model = row[2] == "QX1320"   ? sim::Model::qx1320
                          : row[2] == "QX1655" ? sim::Model::qx1655
                                               : setup.model;
            setup.has_super_speed_face = row[2] != "High-Speed only";
            const QByteArray scaler = scalerImage("12.3", sim::factsOf(setup.model).name);
            Bench bench(new_hub, scaler, setup);
            bench.show();
            const bool inTheMiddle = row[2].endsWith(" in the middle");
            if (row[4].contains("downgrade"))
                Hand::press(bench.dialog, "chkOverride");
            troubles.value(inTheMiddle ? "" : row[2], nothing)(bench);
            QString meanwhile = "busy";
            connect(bench.bar, &QProgressBar::valueChanged, [&, disturbed = false](int percent) mutable {
                if (inTheMiddle && percent == 42 && !std::exchange(disturbed, true))
                    troubles[row[2].section(" in the", 0, 0)](bench);
                if (percent != 100 && (bench.label("lblInfo") != "busy" ||
                                       bench.offers() != QString::number(percent) || bench.dialog.isHidden()))
                    meanwhile = bench.label("lblInfo") + "; " + bench.offers();
            });
            said.clear();
            const QStringList answers = row[3].split(' ').replaceInStrings("Reset", "Reset OSD Setting");
            expect(rule, bench.update(answers), row[4]);
            expect(rule + ", while it writes", meanwhile, "busy");
            QString bars; // from 0 on: the hub's ends with 84, the scaler's with 100
            for (int i = 1; i < bench.progress.size(); ++i)
                bars += bench.progress[i] < bench.progress[i - 1]
                            ? QString("%1>%2 ").arg(bench.progress[i - 1]).arg(bench.progress[i])
                            : "";
            expect(rule + ", where the bar goes back", bars,
                   row[0] == "1.2" && row[4].contains("success") ? "84>0 " : "");
            if (!row[4].contains("success"))
                continue;
            expect(rule + ", debug output", row[0] == "2.5" || said.contains("Update Hub Resulte :1"));
            expect(rule + ", the scaler's flash is new", scalerHolds(bench.monitor, scaler));
            expect(rule + ", the hub's flash is new", row[0] == "2.5" || hubHolds(bench.monitor, new_hub));
            expect(rule + ", no rule of the monitor is broken", bench.bus.violations().count() == 0);
            QSet<qint64> pauses; // whole milliseconds from a request to the next
            const std::vector<sim::WireRecord>& records = bench.bus.log().records();
            for (std::size_t i = 1; i < records.size(); ++i)
                pauses += (records[i].time - records[i - 1].time).count() / 1000;
            expect(rule + ", the scaler is given time", pauses.contains(8000));
            expect(rule + ", the hub is given time", row[0] == "2.5" || pauses.contains(1000));
        }
    }

    void modelWithoutParametersIsNotWritten()
    {
        Bench bench({}, scalerImage("12.3", "QX9999"));
        bench.monitor.display().setCapabilities("(model(QX9999 Series))");
        bench.show();
        expect("unknown model", bench.update({"Yes", "OK"}),
               "asked, model unknown; busy; exit 0; erased 0+0");
    }

    void twoMonitorsAreOneTooMany()
    {
        Bench bench(new_hub, scalerImage("11.0"));
        sim::VirtualMonitor second(bench.bus, {sim::Model::qx1650, {1, 2}, {11, 0}, "", true, 2});
        const auto run = [&] {
            bench.bus.clock().advance(sim::VirtualMonitor::start_up_time);
            bench.show();
            QString seen = bench.update({"Yes", "OK"}).section("; erased", 0, 0);
            for (auto* monitor : {&bench.monitor, &second})
                seen += QString("; ") + (monitor->hub().runsCode() ? "" : "ROM ") +
                        (hubHolds(*monitor, new_hub) ? "new" : "old");
            return seen;
        };
        expect("first run: the restart of the first hub finds the second", run(),
               "asked, hub failed; try again; exit 0; ROM old; old");
        expect("second run: finishes the first", run(), "asked; up to date; exit 100; new; old");
        expect("third run: never reaches the second", run(), "; up to date; exit 100; untouched; new; old");
        bench.monitor.unplug();
        expect("the second alone", run(), "asked; up to date; exit 100; new; new");
    }
};

QTEST_MAIN(DialogTest)

#include "dialog_test.moc"
