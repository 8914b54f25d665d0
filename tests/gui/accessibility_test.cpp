/// What somebody is told who does not look at the screen, what the keyboard reaches, and how well the texts
/// stand out, in each state of the dialog. docs/user-guide.md lists the same.
#include "gui_support.h"

#include <QAccessible>
#include <QImage>
#include <QPushButton>

#include <cmath>

namespace {

/// "role: name, value (states)" of everything that a screen reader finds in the dialog, in its order.
QStringList spoken(QWidget& dialog)
{
    const QMap<QAccessible::Role, QString> roles{{QAccessible::StaticText, "text"},
                                                 {QAccessible::PushButton, "button"},
                                                 {QAccessible::CheckBox, "check box"},
                                                 {QAccessible::ProgressBar, "progress"}};
    QStringList lines;
    for (const auto* widget : dialog.findChildren<QWidget*>()) {
        QAccessibleInterface* face = QAccessible::queryAccessibleInterface(const_cast<QWidget*>(widget));
        const QAccessible::State state = face->state();
        const QString name = face->text(QAccessible::Name).remove(QChar::ObjectReplacementCharacter);
        if (state.invisible || !roles.contains(face->role()))
            continue;
        lines += roles[face->role()] + ": " + (name + face->text(QAccessible::Value)).simplified() +
                 (state.disabled ? " (disabled)" : "") + (state.checked ? " (checked)" : "");
    }
    return lines;
}

/// Relative luminance as in WCAG 2.1.
double luminance(QRgb color)
{
    const auto linear = [](int channel) {
        const double value = channel / 255.0;
        return value <= 0.03928 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(qRed(color)) + 0.7152 * linear(qGreen(color)) + 0.0722 * linear(qBlue(color));
}

double contrast(QRgb a, QRgb b)
{
    const double one = luminance(a) + 0.05;
    const double other = luminance(b) + 0.05;
    return std::max(one, other) / std::min(one, other);
}

/// As painted: the colour that covers most of the widget, against the one that stands out most.
double contrastOf(QWidget* widget)
{
    const QImage image = widget->grab().toImage().copy(6, 4, widget->width() - 12, widget->height() - 8);
    QHash<QRgb, int> pixels;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            ++pixels[image.pixel(x, y)];
    const auto most = std::max_element(pixels.begin(), pixels.end());
    double best = 1;
    for (auto pixel = pixels.begin(); pixel != pixels.end(); ++pixel)
        best = std::max(best, contrast(most.key(), pixel.key()));
    return best;
}

} // namespace

class AccessibilityTest : public QObject
{
    Q_OBJECT

private slots:
    void eachStateIsSpoken()
    {
        Bench bench(hubImage(2, 5), scalerImage(11, 0));
        const QStringList title{"text: QX Series USB Firmware Update Tool v1.01"};
        const QStringList captions{"text: Model Name", "text: Current Firmware", "text: New Firmware",
                                   "text: CheckSum"};
        const QStringList values{"text: from Config.ini", "text: Hub FW : 1.2", "text: Hub FW : 2.5",
                                 "text: " + bench.label("lblCheckSum")};
        const QString closing = "button: EXIT (X)";
        const QStringList offered = title + QStringList({"progress: 0", closing}) + captions +
                                    QStringList({"button: Update"}) + values +
                                    QStringList({"text: Please click update button to update new firmware!"});
        QCOMPARE(spoken(bench.dialog), offered);

        QStringList writing;
        connect(bench.find<QProgressBar>("bar1"), &QProgressBar::valueChanged, this, [&](int percent) {
            if (percent == 42)
                writing = spoken(bench.dialog);
        });
        bench.update({"Yes"});
        QCOMPARE(writing.mid(1, 2), QStringList({"progress: 42", closing + " (disabled)"}));
        QCOMPARE(writing.at(7), QString("button: Update (disabled)"));
        QVERIFY(writing.back().startsWith("text: The update process may take several minutes."));

        writeResource("scaler.bin", scalerImage(10, 0));
        bench.showAgain();
        const QStringList older = spoken(bench.dialog);
        QCOMPARE(older.mid(1, 3),
                 QStringList({"progress: 100", closing, "check box: Allow Monitor use older firmware."}));
        QTest::keyClick(bench.find<QWidget>("chkOverride"), Qt::Key_Space);
        QCOMPARE(spoken(bench.dialog).at(3), older.at(3) + " (checked)");

        bench.monitor.unplug();
        bench.showAgain();
        QVERIFY(spoken(bench.dialog).back().startsWith("text: The detection of USB Hub is not configured"));
    }

    void keyboardReachesEachControl()
    {
        Bench bench(hubImage(1, 2), scalerImage(10, 0));
        bench.dialog.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&bench.dialog));
        bench.find<QWidget>("chkOverride")->setFocus();
        QTest::keyClick(bench.dialog.focusWidget(), Qt::Key_Space);
        QStringList reached;
        for (int i = 0; i < 3; ++i) {
            QTest::keyClick(bench.dialog.focusWidget(), Qt::Key_Tab);
            reached += bench.dialog.focusWidget()->objectName();
        }
        QCOMPARE(reached, QStringList({"btnUpdate", "btnExit", "chkOverride"}));
        QCOMPARE(QKeySequence::mnemonic(bench.find<QPushButton>("btnExit")->text()), QKeySequence("Alt+X"));
    }

    void textsStandOut()
    {
        Bench bench(hubImage(2, 5), scalerImage(11, 0));
        for (const char* name : {"lblTitle", "label", "lblModelName", "lblInfo", "bar1"})
            QVERIFY2(contrastOf(bench.find<QWidget>(name)) >= 4.5, name); // WCAG 2.1, AA
    }
};

int main(int argc, char** argv)
{
    return runGuiTest<AccessibilityTest>(argc, argv);
}

#include "accessibility_test.moc"
