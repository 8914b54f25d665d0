/// Every way out of the program, each in a process of its own.
#include "gui_support.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>

class ExitTest : public QObject
{
    Q_OBJECT

private slots:
    void everyWayOut_data()
    {
        QTest::addColumn<QString>("told"); // the line that tells which box came, or that start-up went on
        QTest::newRow("exit") << QString();
        QTest::newRow("close") << QString();
        QTest::newRow("update") << confirm_box; // and closed midway
        QTest::newRow("escape") << "returned 0";
        QTest::newRow("mismatch")
            << "information [Update FW Tool for QX Series] This firmwave is not for your "
               "monitor (QX1650) , only for QX1655!!! (OK)";
    }
    void everyWayOut()
    {
        const QByteArray way = QTest::currentDataTag();
        clearResources();
        writeResource("Config.ini", "[FWFilePath]\nScalarBinFile=scaler.bin\nHubBinFile=hub.bin\n");
        writeResource("hub.bin", hubImage(way == "update" ? 2 : 1, 2));
        writeResource("scaler.bin", scalerImage(12, 3, way == "mismatch" ? "QX1655" : "QX1650"));

        const QTemporaryDir temporary;
        QProcess probe;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("TMPDIR", temporary.path());
        probe.setProcessEnvironment(environment);
        probe.start(QApplication::applicationDirPath() + "/exit_probe", {way});
        QVERIFY(probe.waitForFinished());

        QCOMPARE(probe.exitStatus(), QProcess::NormalExit);
        QCOMPARE(probe.exitCode(), 0);
        QStringList told;
        const QStringList output = QString::fromUtf8(probe.readAllStandardOutput()).split('\n');
        for (const QString& line : output) {
            if (line.startsWith("returned") || line.contains("] "))
                told += line;
        }
        QTEST(told.join('\n'), "told");
        // The name of a log file is known to the tool, but it writes none.
        QCOMPARE(QDir(temporary.path()).entryList(QDir::Files), QStringList());
    }
};

int main(int argc, char** argv)
{
    return runGuiTest<ExitTest>(argc, argv);
}

#include "exit_test.moc"
