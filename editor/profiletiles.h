#pragma once

#include "contentdigest.h"
#include "profilemeta.h"

#include <QHash>
#include <QIcon>
#include <QList>
#include <QObject>
#include <QPersistentModelIndex>
#include <QSet>
#include <QSize>
#include <QThreadPool>

#include <atomic>
#include <memory>
#include <utility>

class QListWidget;
class QListWidgetItem;

// The catalogue's tiles in the editor's list: one per profile, its name under its picture. The
// pictures are decoded at tile size on worker threads, so that a catalogue of a thousand profiles
// shows at once with placeholders and fills in while the window answers. Decoded tiles are kept
// by file identity (path, modification time, size): listing the catalogue again decodes only the
// pictures that changed. Pictures whose bytes are identical (a duplicated profile, profiles of the
// same controller) are decoded once.
class ProfileTiles : public QObject
{
    Q_OBJECT

public:
    static constexpr QSize kIconSize{140, 90};
    static constexpr QSize kGridSize{160, 120};

    explicit ProfileTiles(QListWidget *list, QObject *parent = nullptr);
    ~ProfileTiles() override;

    // Replaces every tile, without a selection signal.
    void fill(const QList<GamepadProfileMeta> &entries);
    QListWidgetItem *append(const GamepadProfileMeta &entry);
    // Takes the tile away, without a selection signal.
    void remove(int row);
    // The tile's name, tooltip and picture follow the entry; `note` is added to the name (a
    // profile deleted elsewhere whose edits are still open).
    void update(int row, const GamepadProfileMeta &entry, const QString &note = QString());
    bool thumbnailsPending() const { return !m_waiting.isEmpty(); }
    // Blocks until the decodes under way are done and their tiles show them.
    void waitForThumbnails();
    // Pictures decoded since construction; identical pictures count once.
    int decodeCount() const { return m_decodes.load(); }

signals:
    // Every tile shows its picture (or its placeholder when the picture cannot be read).
    void thumbnailsReady();

private:
    class Contents; // thumbnails by content, shared by the workers

    void request(QListWidgetItem *item, const QString &path);
    void startDecodes();
    QImage thumbnailOf(const QString &path, ContentDigest *content);
    void decoded(const QString &key, const ContentDigest &content, const QImage &image);
    void keepListedContents();

    QListWidget *m_list;
    QIcon m_placeholder;
    std::unique_ptr<Contents> m_contents; // outlives the workers
    QThreadPool m_pool;
    QHash<QString, QIcon> m_cache; // by file identity; a null icon for an unreadable file
    QHash<QString, ContentDigest> m_contentOf; // file identity -> its bytes, for m_cache's
    QHash<QString, QList<QPersistentModelIndex>> m_waiting; // tiles waiting for a decode
    QSet<QString> m_decoding;                               // asked for, under way or to start
    QList<std::pair<QString, QString>> m_toDecode;          // identity and path, not started yet
    std::atomic<int> m_decodes{0};
};
