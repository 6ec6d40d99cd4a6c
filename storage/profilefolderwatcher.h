#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QStringList>
#include <QTimer>

// Tells the profile editor when the profile folders change under it: a profile imported by the
// command line or copied into a root, one deleted by a file manager, a document of the open
// profile rewritten by another window. It uses the platform's file notifications (no polling)
// and gathers a burst of them into one signal.
class ProfileFolderWatcher : public QObject
{
    Q_OBJECT

public:
    // Bursts shorter than this give one signal; a copied profile has its files by then.
    static constexpr int kSettleMs = 150;

    explicit ProfileFolderWatcher(QObject *parent = nullptr);

    // Watches the roots that exist, and for each root that does not exist yet the nearest folder
    // above it, so that its creation is noticed. `folders` are watched too: the open profile's
    // folder, and folders under a root that are not profiles yet (a copy under way).
    void watch(const QStringList &roots, const QStringList &folders, const QStringList &files);
    QStringList watchedPaths() const;

signals:
    // Something changed in a root: profiles may have come or gone.
    void rootsChanged();
    // Something changed in these watched folders or files (not roots), sorted: a folder first.
    void foldersChanged(const QStringList &paths);

private:
    void onChange(const QString &path);

    QFileSystemWatcher m_watcher;
    QStringList m_roots;
    QStringList m_changed;
    QTimer m_rootsTimer;
    QTimer m_foldersTimer;
};
