/// For the programs whose start is timed: they end with their first paint.
#pragma once

#include <QCoreApplication>
#include <QEvent>

#include <unistd.h>

class EndAtFirstPaint : public QObject
{
public:
    EndAtFirstPaint() { QCoreApplication::instance()->installEventFilter(this); }

protected:
    bool eventFilter(QObject* /*receiver*/, QEvent* event) override
    {
        // Queued, it comes when the window's other widgets are painted too. Tearing down is no part of a start.
        if (event->type() == QEvent::Paint)
            QMetaObject::invokeMethod(
                this, [] { _exit(0); }, Qt::QueuedConnection);
        return false;
    }
};
