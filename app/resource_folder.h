/// The Resources folder beside the program's own folder: settings and firmware images lie there, as in an
/// application bundle.
#pragma once

#include <QByteArray>
#include <QString>

/// The program's folder and "/../Resources"; not normalised, no separator at the end.
QString resourcesDir();

/// Path of the image file `fileName` in the Resources folder.
QString imagePath(const QString& fileName);

/// All bytes of a regular file; none of anything else, as when its configured name is empty and `path` is the
/// folder itself, and none when it cannot be opened or read to its end.
QByteArray readImage(const QString& path);
