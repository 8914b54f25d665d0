/// The dialog's form, what it shows for each monitor and pair of images it may find, what "Update" makes of it, and
/// what must not get in the way of an update.
#include "app/texts.h"
#include "gui_support.h"

#include <QCheckBox>
#include <QLabel>
#include <QPushButton>

#include <sys/stat.h>

namespace {

using Trouble = std::function<void(Rig&)>;

const QByteArray new_hub = hubImage("2.5");
const QByteArray new_scaler = scalerImage("12.3");

QStringList said; // NOLINT: a Qt message handler has no context

QString readConfig()
{
    said.clear();
    FW_Update_Tool read;
    readSettings(imagePath("Config.ini"), read);
    return QStringList{read.hubBinFile, read.scalarBinFile, read.hubBinCheckSum, read.scalarBinCheckSum,
                       read.modelName}
        .join(' ');
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
    return [=](Rig& rig) { rig.at_box[icon] = [=, &rig] { then(rig); }; };
}

Trouble refuses(std::uint8_t type, std::uint8_t request, int nth)
{
    return [=](Rig& rig) { rig.bus.faults().refuse(sim::atMatch(sim::requestIs(type, request), nth)); };
}

const QMap<QString, Trouble> troubles{
    {"hub refuses a piece", refuses(0x40, 0xC8, 9)},
    {"hub cannot be read back", refuses(0xC0, 0xD8, 1)},
    {"scaler refuses a piece", refuses(0x40, 0xC6, 50)},
    {"no bridge", refuses(0x40, 0xF6, 1)},
    {"no bridge for the reset", at(QMessageBox::NoIcon, refuses(0x40, 0xF6, 1))},
    {"leaves at the end", at(QMessageBox::NoIcon, [](Rig& rig) { rig.monitor.unplug(); })},
    // From outside: the program itself never lets go of the hub library.
    {"no library", at(QMessageBox::Question, [](Rig& rig) { rig.boxes.callOnTimeout(Deinit); })},
    {"no library for the reset", at(QMessageBox::NoIcon, [](Rig&) { Deinit(); })},
    {"hub image removed", at(QMessageBox::Question, [](Rig&) { QFile::remove(imagePath("hub.bin")); })},
    {"scaler image removed", at(QMessageBox::Question, [](Rig&) { QFile::remove(imagePath("scaler.bin")); })},
    {"user in the middle", [](Rig& rig) {
         rig.show();
         Hand::pressEscape(rig.dialog);
         for (const char* button : {"chkOverride", "chkOverride", "btnUpdate"})
             Hand::press(rig.dialog, button);
         QMetaObject::invokeMethod(&rig.dialog, "updateFW");
     }}};

} // namespace

class DialogTest : public QObject
{
    Q_OBJECT

private slots:
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
        const auto label = [&](const char* name) { return dialog.findChild<QLabel*>(name); };
        QLabel* const info = label("lblInfo");
        const QString title = "QX Series USB Firmware Update Tool v";
        expect("window title", dialog.windowTitle(), title);
        expect("title in the form", Hand::label(dialog, "lblTitle"), title + "1.01");
        expect("no frame", (dialog.windowFlags() & ~Qt::WindowType_Mask) == Qt::FramelessWindowHint);
        expect("Enter starts no update", !dialog.findChild<QPushButton*>("btnUpdate")->isDefault());
        expect("the support's page opens", info->openExternalLinks());
        expect("names from outside are plain", label("lblModelName")->textFormat() == Qt::PlainText);
        expect("the title fits", label("lblTitle")->sizeHint().width() <= label("lblTitle")->width());
        for (const QString& text :
             {texts::noHub(), texts::busy(), texts::updateFailed(), texts::alreadyLatest()}) {
            info->setText(text);
            expect(text + " fits", info->heightForWidth(info->width()) <= info->height());
        }
        QStringList order;
        for (QWidget* next = dialog.nextInFocusChain(); next != &dialog; next = next->nextInFocusChain())
            order += next->focusPolicy() & Qt::TabFocus ? QStringList(next->objectName()) : QStringList();
        expect("order of the Tab key", order.join(' '), "btnExit chkOverride btnUpdate");
    }

    void settingsMayBeFullPartialOrMissing()
    {
        prepareResources({}, {});
        expect("no settings", readConfig(), "    ");
        writeResource("Config.ini", "[FWFilePath]\nHubBinFile=\xC3\x9C.bin\n");
        expect("settings in UTF-8", readConfig(), QString::fromUtf8("\xC3\x9C.bin    "));
        const QByteArray odd = "100%|a%%b|%%d|%*y|%5%sx|50% off|%%%s%|%-08.3lld/%*.*f/%hhx/%Zu%n.bin";
        writeResource("Config.ini",
                      "[FWFilePath]\nScalarBinFile=" + odd +
                          "\nHubBinFile = 5%%.bin \n[FWFileCheckSum]\n"
                          "ScalarBinCheckSum=0x12\nHubBinCheckSum=34\n[Model]\nModelName=QX1650\n");
        expect("all settings", readConfig(), "5%%.bin " + odd + " 34 0x12 QX1650");
        expect("settings printed as formats", said.join(' '),
               resourcesDir() + " 100%|a%b|%d|%*y|%5x|50ff|%%|///.bin 5%.bin");
        expect("place of the resources", resourcesDir().section('/', -3), "bin/../Resources");
    }

    void filesAndTextsEndWhereTheyEnd()
    {
        prepareResources("\x01\x02", {});
        expect("bytes of a file", readImage(imagePath("hub.bin")), "\x01\x02");
        expect("a named pipe is made", mkfifo(qPrintable(imagePath("pipe.bin")), 0600) == 0);
        for (const QString& file : {imagePath("pipe.bin"), imagePath(""), QString("/dev/zero")})
            expect("bytes of " + file, readImage(file), "");
#ifdef Q_OS_LINUX
        expect("bytes of a file that root cannot read either", readImage("/proc/self/mem"), "");
#endif
        const auto number = [](const auto& version) { return QString::number(version.composite()); };
        expect("hub version cut in half", number(hubImageVersion(new_hub.left(0x7EFA))), "512");
        expect("scaler version cut off", number(scalerImageVersion(new_scaler.left(0xF900))), "0");
        expect("hub version with its sign", number(hubImageVersion(hubImage("255.1"))), "-255");
        const QByteArray name = "ABCDEFGHIJKLMNOPQRST";
        expect("longest model", scalerImageModel(scalerImage("1.0", name).replace(0xF91A, 1, "U")), name);
        expect("model name of zeros", scalerImageModel(scalerImage("1.0").replace(0xF906, 1, "\0", 1)), "");
        expect("model name cut off", scalerImageModel(scalerImage("1.0", "QX1655").left(0xF909)), "QX1");
        expect("checksum of 258 bytes FF", QString::number(checksum16(QByteArray(258, '\xFF')), 16), "fe");
        expect("a model at the start", extractBetween("model(A)x)", "model(", ")"), "A");
        expect("an empty model", extractBetween("(model()x)", "model(", ")"), "");
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
            2.5   | 12.4  | 2.5   |       | no image      | Current Firmware      | New Firmware          | Model Name      | exit 0
            128.0 | 200.0 | 2.5   | 12.3  | up to date    | Monitor FW : <b>M200</b>      | Monitor FW : <b>M012</b>      | QX1650 | exit override 100
            2.5   | 11.0  | 3.144 | 251.0 | up to date    | Monitor FW : <b>M011</b>      | Monitor FW : <b>M0-5</b>      | QX1650 | exit override 100)";
        for (const QStringList& row : rowsOf(table)) {
            const QByteArray scaler = row[3].isEmpty() ? QByteArray() : scalerImage(row[3]);
            Rig rig(hubImage(row[2]), scaler, running(row[0], row[1]));
            said.clear();
            rig.show();
            QStringList seen;
            for (const char* name : {"lblInfo", "lblCurrentFW", "lblNewFW", "lblModelName"})
                seen += rig.label(name);
            const QString rule =
                QString("hub %1, display %2, images %3 and %4").arg(row[0], row[1], row[2], row[3]);
            expect(rule, (seen + QStringList(rig.offers())).join(", "), row.mid(4).join(", "));
            if (row[0] == "0.0" || row[2] == "3.144")
                continue;
            const bool isHub = row[4] == "hub is old";
            expect(rule + ", checksum", rig.label("lblCheckSum"),
                   "0x" + QString::number(checksum16(isHub ? hubImage(row[2]) : scaler), 16));
            expect(rule + ", debug output", said.join(' '),
                   imagePath("hub.bin") + " Hub Current:" + row[0] + " Hub bin:" + row[2] +
                       (isHub ? "" : " " + imagePath("scaler.bin")));
            expect(rule + ", an idle dialog lets the hub go", !rig.holdsHub() || row[3].isEmpty());
        }
    }

    void displayIsAskedAsItMustBe()
    {
        Rig rig({}, new_scaler, running("1.2", "12.3"));
        const auto again = [&] { QApplication::postEvent(&rig.dialog, new QShowEvent); };
        connect(rig.bar, &QProgressBar::valueChanged, again); // starts no second detection
        rig.monitor.display().setCapabilities("(prot(monitor)model(QX1650))");
        const sim::Matches reads = sim::requestIs(0xC0, 0xD6);
        // The second fragment comes as that of another offset twice, which differs in the high or the low byte.
        rig.bus.faults().replaceReply(sim::atMatch(reads, 3), 3, {0x01, 0x1A});
        rig.bus.faults().replaceReply(sim::atMatch(reads, 4), 3, {0x00, 0x00});
        rig.show();
        const QString second = ", 83f3001aff, 100 ms 32 bytes";
        expect("DDC/CI, detection", conversation(rig.bus.log()),
               "to 6e01 8080, 8201c9ff, 100 ms 11 bytes, to 6e01 8080, 83f30000ff, 100 ms 32 bytes" +
                   second.repeated(3));
        rig.bar->disconnect();
        rig.monitor.display().setCapabilities(std::string(270, ' ') + "model(qx1650 series)");
        rig.bus.faults().refuse(sim::atMatch(reads)); // the firmware level then reads as 0.0
        rig.show();
        expect("unread display version", rig.label("lblCurrentFW"), "Monitor FW : <b>M000</b>");
        rig.monitor.display().setCapabilities("(model(QX1650))");
        rig.update({"Yes", "Reset OSD Setting"});
        expect("DDC/CI, reset", conversation(rig.bus.log()).section(", ", -2), "to 6e01 8080, 8403040001ff");
    }

    void showingAgainDetectsAgain()
    {
        Rig rig({}, new_scaler, running("1.2", "12.4"));
        rig.show();
        Hand::press(rig.dialog, "chkOverride");
        troubles["scaler image removed"](rig);
        rig.update({"Yes", "OK"});
        prepareResources({}, new_scaler);
        rig.show();
        for (const QString update : {"update ", "", "update "}) {
            Hand::press(rig.dialog, "chkOverride");
            expect("Update follows the tick", rig.offers(), update + "exit override 100");
        }
        prepareResources(new_hub, new_scaler);
        rig.show();
        troubles["hub image removed"](rig);
        expect("a failed hub write leaves the scaler alone, which an earlier detection offered",
               rig.update({"Yes", "OK"}), "asked, hub failed; try again; exit 0; untouched");
        prepareResources({}, new_scaler);
        rig.boxes.seen.clear();
        refuses(0x40, 0xF6, 1)(rig);
        rig.show();
        expect("bridge gone", named(rig.boxes.seen) + "; " + rig.offers(), "no bridge; exit 0");
        rig.monitor.unplug();
        rig.show();
        expect("monitor gone", rig.label("lblInfo") + "; " + rig.offers(), "no hub; exit 0");
        expect("the tick goes with its hub", !rig.dialog.findChild<QCheckBox*>("chkOverride")->isChecked());
        Hand::pressEscape(rig.dialog);
        expect("Escape hides the idle dialog", !rig.dialog.isVisible());
    }

    void update()
    {
        // hub, display | before, or in the middle | answers | boxes; message; what is offered; erased blocks of hub and scaler
        const char* const table = R"(
            1.2 | 11.0 | QX1320                    | Yes Exit        | asked, success; up to date; exit 100; erased 1+16
            1.2 | 11.0 | QX1655                    | Yes Exit        | asked, success; up to date; exit 100; erased 1+32
            2.5 | 11.0 | QX9999                    | Yes OK          | asked, model unknown; busy; exit 0; erased 0+0
            1.2 | 11.0 | High-Speed only           | Yes Exit        | asked, success; up to date; exit 100; erased 1+16
            1.2 | 11.0 |                           | No              | asked; hub is old; update exit 0; untouched
            1.2 | 12.3 |                           | Yes             | asked; up to date; exit 100; erased 1+0
            2.5 | 11.0 |                           | Yes Reset OK    | asked, success, reset; up to date; exit 100; erased 0+16, reset
            2.5 | 12.4 |                           | Yes             | ; up to date; exit override 100; untouched
            2.5 | 12.4 |                           | Yes Exit        | asked to downgrade, success; up to date; exit 100; erased 0+16
            1.2 | 11.0 | hub refuses a piece       | Yes OK          | asked, hub failed; try again; exit 24; erased 1+0
            1.2 | 11.0 | hub cannot be read back   | Yes             | asked; hub is old; update exit 42; erased 1+0
            2.5 | 11.0 | scaler refuses a piece    | Yes OK          | asked, scaler failed; try again; exit 27; erased 0+16
            1.2 | 11.0 | no bridge                 | Yes OK          | asked, no bridge; busy; exit 84; erased 1+0
            2.5 | 11.0 | no bridge for the reset   | Yes Reset OK OK | asked, success, no bridge, reset; up to date; exit 100; erased 0+16
            2.5 | 11.0 | leaves at the end         | Yes Reset OK    | asked, success, reset; no hub; exit 100; erased 0+16
            1.2 | 11.0 | no library                | Yes OK          | asked, no library; busy; 0; untouched
            2.5 | 11.0 | no library                | Yes OK          | asked, no library; busy; 0; untouched
            2.5 | 11.0 | no library for the reset  | Yes Reset OK OK | asked, success, no library, reset; up to date; exit 100; erased 0+16
            1.2 | 11.0 | hub image removed         | Yes OK          | asked, hub failed; try again; exit 0; untouched
            2.5 | 11.0 | scaler image removed      | Yes OK          | asked, scaler failed; try again; exit 0; erased 0+0
            1.2 | 11.0 | user in the middle        | Yes Exit        | asked, success; up to date; exit 100; erased 1+16
            2.5 | 12.4 | user in the middle        | Yes Exit        | asked to downgrade, success; up to date; exit 100; erased 0+16)";
        for (const QStringList& row : rowsOf(table)) {
            const QString rule =
                QString("hub %1, display %2, %3, answers %4").arg(row[0], row[1], row[2], row[3]);
            sim::MonitorSetup setup = running(row[0], row[1]);
            if (row[2] == "QX1320" || row[2] == "QX1655")
                setup.model = row[2] == "QX1320" ? sim::Model::qx1320 : sim::Model::qx1655;
            setup.has_super_speed_face = row[2] != "High-Speed only";
            const QByteArray model = row[2].startsWith("QX") ? row[2].toLatin1() : "QX1650";
            const QByteArray scaler = scalerImage("12.3", model);
            Rig rig(new_hub, scaler, setup);
            rig.monitor.display().setCapabilities("(model(" + model.toStdString() + " series))");
            rig.show();
            const Trouble trouble = troubles.value(row[2], [](Rig&) {});
            const bool inTheMiddle = row[2].endsWith(" in the middle");
            if (row[4].contains("downgrade"))
                Hand::press(rig.dialog, "chkOverride");
            if (!inTheMiddle)
                trouble(rig);
            QStringList odd;
            int last = 0;
            connect(rig.bar, &QProgressBar::valueChanged, [&, disturbed = false](int percent) mutable {
                if (std::exchange(last, percent) > percent)
                    odd += QString("back to %1").arg(percent);
                if (inTheMiddle && percent == 42 && !std::exchange(disturbed, true))
                    trouble(rig);
                const QString seen = rig.label("lblInfo") + "; " + rig.offers();
                if (percent != 100 && (rig.dialog.isHidden() || seen != QString("busy; %1").arg(percent)))
                    odd += seen;
            });
            said.clear();
            const QStringList answers = row[3].split(' ').replaceInStrings("Reset", "Reset OSD Setting");
            expect(rule, rig.update(answers), row[4]);
            expect(rule + ", while it writes", odd.join(", "),
                   row[0] == "1.2" && row[4].contains("success") ? "back to 0" : "");
            if (row[3] == "Yes Exit" || row[2].endsWith(" refuses a piece"))
                expect(rule + ", an idle dialog lets the hub go", !rig.holdsHub());
            if (!row[4].contains("success"))
                continue;
            expect(rule + ", debug output", row[0] == "2.5" || said.contains("Update Hub Resulte :1"));
            expect(rule + ", flashes", flashesOf(rig.monitor, row[0] == "2.5" ? "" : new_hub, scaler),
                   "hub new, scaler new");
            expect(rule + ", no rule of the monitor is broken", rig.bus.violations().count() == 0);
            QSet<qint64> pauses; // whole milliseconds from a request to the next
            sim::Duration before{0};
            for (const sim::WireRecord& record : rig.bus.log().records())
                pauses += (record.time - std::exchange(before, record.time)).count() / 1000;
            expect(rule + ", hub and scaler are given time to restart",
                   pauses.contains(8000) && (row[0] == "2.5" || pauses.contains(1000)));
        }
    }

    void twoMonitorsAreOneTooMany()
    {
        Rig rig(new_hub, new_scaler);
        sim::VirtualMonitor second(rig.bus, {sim::Model::qx1320, {1, 2}, {11, 0}, true, 2});
        const auto run = [&](const QString& answer) {
            rig.bus.clock().advance(sim::VirtualMonitor::start_up_time);
            rig.show();
            QString seen = rig.update({"Yes", answer, "OK"});
            for (auto* monitor : {&rig.monitor, &second})
                seen += "; " + flashesOf(*monitor, new_hub, new_scaler);
            return seen;
        };
        expect("first run: the restart of the first hub finds the second", run("OK"),
               "asked, hub failed; try again; exit 0; erased 0+0; hub old, scaler old; hub old, scaler old");
        expect("second run: finishes the first", run("Reset OSD Setting"),
               "asked, success, reset; up to date; exit 100; erased 1+16, reset; hub new, scaler new; hub "
               "old, scaler old");
        expect("third run: never reaches the second", run(""),
               "; up to date; exit 100; untouched; hub new, scaler new; hub old, scaler old");
    }
};

QTEST_MAIN(DialogTest)

#include "dialog_test.moc"
