#pragma once

#include "profilemeta.h"

#include <QIcon>
#include <QList>
#include <QObject>
#include <QSize>
#include <QTimer>

class QListWidget;
class QListWidgetItem;

// The catalogue's tiles in the editor's list: one per profile, its name under its picture. The
// pictures are decoded at tile size a few at a time, so that a catalogue of a thousand profiles
// shows at once with placeholders and fills in without freezing the window.
class ProfileTiles : public QObject
{
    Q_OBJECT

public:
    static constexpr QSize kIconSize{140, 90};
    static constexpr QSize kGridSize{160, 120};

    explicit ProfileTiles(QListWidget *list, QObject *parent = nullptr);

    // Replaces every tile, without a selection signal.
    void fill(const QList<GamepadProfileMeta> &entries);
    QListWidgetItem *append(const GamepadProfileMeta &entry);
    // The tile's name, tooltip and picture follow the entry; `note` is added to the name (a
    // profile deleted elsewhere whose edits are still open).
    void update(int row, const GamepadProfileMeta &entry, const QString &note = QString());
    bool thumbnailsPending() const { return !m_queue.isEmpty(); }

private:
    void schedule(int row);
    void decodeSome();

    QListWidget *m_list;
    QTimer m_timer;
    QList<int> m_queue;
    QIcon m_placeholder;
};
