/// Image files and settings for a test, where the tool looks for them.
#pragma once

#include "app/startup.h"

#include <QFile>

inline void writeResource(const QString& fileName, const QByteArray& bytes)
{
    QFile file(imagePath(fileName));
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("%s cannot be written", qPrintable(file.fileName()));
}
