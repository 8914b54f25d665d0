/// The Resources folder beside the program's own folder: settings and firmware images lie there, as in an
/// application bundle.
#pragma once

#include <QByteArray>
#include <QString>

/// The program's folder and "/../Resources"; not normalised, no separator at the end.
QString resourcesDir();

/// Path of the image file `fileName` in the Resources folder.
QString imagePath(const QString& fileName);

/// The whole content of a regular file. Empty for anything else (a folder, when the configured name is empty) and
/// for a file that cannot be opened or read to its end.
QByteArray readImage(const QString& path);
