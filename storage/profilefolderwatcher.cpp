#include "profilefolderwatcher.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>

namespace {

// The root itself when it exists, else the nearest existing folder above it.
QString nearestExisting(const QString &root)
{
    QString path = QDir::cleanPath(root);
    while (!path.isEmpty() && !QFileInfo(path).isDir()) {
        const QString up = QFileInfo(path).path();
        if (up == path)
            return QString();
        path = up;
    }
    return path;
}

} // namespace

ProfileFolderWatcher::ProfileFolderWatcher(QObject *parent) : QObject(parent)
{
    for (QTimer *timer : {&m_rootsTimer, &m_foldersTimer}) {
        timer->setSingleShot(true);
        timer->setInterval(kSettleMs);
    }
    connect(&m_rootsTimer, &QTimer::timeout, this, &ProfileFolderWatcher::rootsChanged);
    connect(&m_foldersTimer, &QTimer::timeout, this, [this] {
        // Sorted, so a folder comes before the files in it whatever order the kernel told them.
        QStringList changed = m_changed;
        m_changed.clear();
        changed.sort();
        Q_EMIT foldersChanged(changed);
    });
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this,
            &ProfileFolderWatcher::onChange);
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, this, &ProfileFolderWatcher::onChange);
}

void ProfileFolderWatcher::watch(const QStringList &roots, const QStringList &folders,
                                 const QStringList &files)
{
    QSet<QString> wanted;
    m_roots.clear();
    for (const QString &root : roots) {
        const QString watched = nearestExisting(root);
        if (!watched.isEmpty()) {
            wanted.insert(watched);
            m_roots << watched;
        }
    }
    for (const QString &path : folders + files) {
        if (!path.isEmpty() && QFileInfo::exists(path))
            wanted.insert(QDir::cleanPath(path));
    }
    const QStringList current = watchedPaths();
    QStringList gone;
    for (const QString &path : current) {
        if (!wanted.contains(path))
            gone << path;
    }
    if (!gone.isEmpty())
        m_watcher.removePaths(gone);
    QStringList added;
    for (const QString &path : std::as_const(wanted)) {
        if (!current.contains(path))
            added << path;
    }
    if (!added.isEmpty())
        m_watcher.addPaths(added);
}

QStringList ProfileFolderWatcher::watchedPaths() const
{
    return m_watcher.directories() + m_watcher.files();
}

void ProfileFolderWatcher::onChange(const QString &path)
{
    const QString clean = QDir::cleanPath(path);
    if (m_roots.contains(clean)) {
        m_rootsTimer.start();
        return;
    }
    if (!m_changed.contains(clean))
        m_changed << clean;
    m_foldersTimer.start();
}
