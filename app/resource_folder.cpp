/// Paths are formed anew on each use: the application object that knows the program's folder comes first.
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
    // A device file or a pipe has no end.
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray bytes = file.readAll();
    return file.error() == QFileDevice::NoError ? bytes : QByteArray();
}
