#pragma once

#include <QDir>

// Removes a folder a test made under the temporary folder, and refuses anything else: an empty
// path (which QDir reads as the working directory, the build tree), a relative one, or a real
// configuration folder. A fault in the code under test that leaves a path empty thus fails the
// test instead of wiping the build.
inline bool removeScratchTree(const QString &path)
{
    const QString clean = QDir::cleanPath(path);
    const QString temporary = QDir::cleanPath(QDir::tempPath()) + QLatin1Char('/');
    return !path.isEmpty() && QDir::isAbsolutePath(path) && clean.startsWith(temporary) &&
           QDir(clean).removeRecursively();
}
