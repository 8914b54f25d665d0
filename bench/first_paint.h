/// For the programs whose start is timed: does something once the first window has been painted.
#pragma once

#include <QCoreApplication>
#include <QEvent>

#include <unistd.h>

class FirstPaint : public QObject
{
public:
    explicit FirstPaint(void (*action)())
        : action_(action)
    {
        QCoreApplication::instance()->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject* /*receiver*/, QEvent* event) override
    {
        if (event->type() == QEvent::Paint) {
            // Queued, it comes when the window's other widgets are painted too.
            QMetaObject::invokeMethod(QCoreApplication::instance(), action_, Qt::QueuedConnection);
            QCoreApplication::instance()->removeEventFilter(this);
        }
        return false;
    }

private:
    void (*action_)();
};

/// Without tearing anything down: that is no part of a start.
inline void endProcess()
{
    _exit(0);
}
