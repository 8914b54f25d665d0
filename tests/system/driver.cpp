/// Plays the user of the shipping program: preloaded into it, this library finds the dialog's widgets by name,
/// presses buttons, answers boxes and says what it sees, following the steps in the file that
/// FW_DRIVER_STEPS names. The program itself knows nothing of it.
///
///     expect NAME TEXT   waits until the label NAME shows TEXT, or a text around it
///     press NAME         presses the button NAME
///     box TITLE          waits for a message box of that title ...
///     answer BUTTON      ... and presses the button of that text in it
///     progress PERCENT   waits until the bar is that far
///     hold FILE          stops the program where it is, makes FILE, and goes on when FILE has gone
///     picture FILE       saves what the dialog looks like
///     close              closes the dialog; the program ends with status 0
///
/// A step that has waited too long, or a box that no step asks for, ends the program with status 99.
#include "demo/hand.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QPointer>
#include <QProgressBar>
#include <QThread>
#include <QTimer>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr int tick_ms = 20;
/// Longer than any update of the small images takes on an emulated computer.
constexpr int patience_ms = 240000;
constexpr int gave_up = 99;

void say(const QString& text)
{
    std::printf("driver: %s\n", qPrintable(text));
    std::fflush(stdout);
}

class Driver : public QObject
{
public:
    Driver(const QString& stepsFile, QObject* parent)
        : QObject(parent)
    {
        QFile file(stepsFile);
        if (!file.open(QIODevice::ReadOnly))
            giveUp("cannot read " + stepsFile);
        steps_ = QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts);
        connect(&timer_, &QTimer::timeout, this, &Driver::tick);
        timer_.start(tick_ms);
        waited_.start();
    }

private:
    /// Takes one step, when it can be taken.
    void tick()
    {
        for (QWidget* widget : QApplication::topLevelWidgets())
            if (widget->inherits("FW_Update_Tool"))
                dialog_ = widget;
        if (steps_.isEmpty() || !dialog_)
            return;
        // Off the list before it is done: some steps run the program's event loop, and with it this timer.
        const QString step = steps_.takeFirst();
        const QString verb = step.section(' ', 0, 0);
        if (Hand::openBox() && verb != "box" && verb != "answer")
            giveUp("no step expects a box");
        if (!verbs_.contains(verb))
            giveUp("no such step: " + verb);
        if (verbs_[verb](step.section(' ', 1)))
            waited_.restart();
        else
            steps_.prepend(step);
        if (waited_.elapsed() > patience_ms)
            giveUp("waited too long at: " + step);
    }

    bool shows(const QString& name, const QString& text)
    {
        const QString shown = Hand::plain(Hand::label(*dialog_, name));
        if (!shown.contains(text))
            return false;
        say(name + ": " + shown);
        return true;
    }

    /// Pressed from the event loop: what follows may last until the end of an update, and is driven from here.
    bool press(const QString& name)
    {
        say("presses " + name);
        QTimer::singleShot(0, this, [this, name] {
            if (!Hand::press(*dialog_, name))
                giveUp(name + " cannot be pressed");
        });
        return true;
    }

    bool boxIsOpen(const QString& title)
    {
        const auto* box = Hand::openBox();
        if (!box)
            return false;
        say(Hand::plain(Hand::described(*box)));
        if (box->windowTitle() != title)
            giveUp("this is not the box " + title);
        return true;
    }

    static bool hold(const QString& file)
    {
        QFile(file).open(QIODevice::WriteOnly);
        while (QFile::exists(file))
            QThread::msleep(tick_ms);
        return true;
    }

    [[noreturn]] void giveUp(const QString& why) const
    {
        say("gives up: " + why);
        if (const auto* box = Hand::openBox())
            say("it shows the box " + Hand::described(*box));
        if (dialog_)
            say("it shows: " + Hand::plain(Hand::label(*dialog_, "lblInfo")));
        std::_Exit(gave_up);
    }

    /// What each verb does; gives false when it cannot be done yet.
    const QMap<QString, std::function<bool(const QString& object)>> verbs_{
        {"expect", [this](auto& label) { return shows(label.section(' ', 0, 0), label.section(' ', 1)); }},
        {"press", [this](auto& name) { return press(name); }},
        {"box", [this](auto& title) { return boxIsOpen(title); }},
        {"answer", [](auto& text) { return Hand::openBox() && Hand::answer(*Hand::openBox(), text); }},
        {"progress",
         [this](auto& percent) {
             return dialog_->findChild<QProgressBar*>("bar1")->value() >= percent.toInt();
         }},
        {"hold", hold},
        {"picture", [this](auto& file) { return dialog_->grab().save(file); }},
        {"close",
         [this](auto&) { return QMetaObject::invokeMethod(dialog_, "close", Qt::QueuedConnection); }}};
    QStringList steps_;
    QTimer timer_;
    QElapsedTimer waited_;
    QPointer<QWidget> dialog_;
};

void startDriver()
{
    new Driver(qEnvironmentVariable("FW_DRIVER_STEPS"), qApp);
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(startDriver)
