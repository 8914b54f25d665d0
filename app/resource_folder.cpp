/// Paths are built on each use, because only the application object knows the program's folder.
#include "app/resource_folder.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

QString resourcesDir()
{
    return QCoreApplication::applicationDirPath() + "/../Resources";
}

QString imagePath(const QString& fileName)
{
    return resourcesDir() + "/" + fileName;
}

QByteArray readImage(const QString& path)
{
    // Reading a device or a pipe might never end.
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray bytes = file.readAll();
    return file.error() == QFileDevice::NoError ? bytes : QByteArray();
}
