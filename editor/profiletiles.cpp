#include "profiletiles.h"

#include <QElapsedTimer>
#include <QImageReader>
#include <QListWidget>
#include <QPainter>
#include <QPainterPath>
#include <QSignalBlocker>

namespace {

constexpr int kImagePathRole = Qt::UserRole + 1;
constexpr int kThumbnailBatch = 8;
constexpr int kThumbnailBudgetMs = 12; // one batch never holds the event loop longer

// A tile's picture, decoded at tile size: large pictures are never decoded whole when the format
// can scale while decoding.
QImage thumbnailImage(const QString &path)
{
    QImageReader reader(path);
    const QSize full = reader.size();
    const QSize tile = ProfileTiles::kIconSize;
    if (full.isValid() && (full.width() > tile.width() || full.height() > tile.height()))
        reader.setScaledSize(full.scaled(tile, Qt::KeepAspectRatio).expandedTo({1, 1}));
    QImage image = reader.read();
    if (!image.isNull() && (image.width() > tile.width() || image.height() > tile.height()))
        image = image.scaled(tile, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    return image;
}

// The tile shown until the profile's picture is decoded: a controller outline.
QPixmap placeholderTile()
{
    const QSize size = ProfileTiles::kIconSize;
    QPixmap pixmap(size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(63, 200, 220, 90), 1));
    painter.setBrush(QColor(0x22, 0x32, 0x3F));
    painter.drawRoundedRect(QRectF(0.5, 0.5, size.width() - 1, size.height() - 1), 8, 8);
    const QRectF body(size.width() / 2.0 - 34, size.height() / 2.0 - 16, 68, 32);
    QPainterPath outline;
    outline.addRoundedRect(body, 16, 16);
    painter.setPen(QPen(QColor(63, 200, 220, 150), 2));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(outline);
    painter.drawEllipse(QPointF(body.left() + 17, body.center().y()), 5, 5);
    painter.drawEllipse(QPointF(body.right() - 17, body.center().y()), 5, 5);
    return pixmap;
}

} // namespace

ProfileTiles::ProfileTiles(QListWidget *list, QObject *parent)
    : QObject(parent), m_list(list), m_placeholder(placeholderTile())
{
    m_timer.setSingleShot(true);
    m_timer.setInterval(0);
    connect(&m_timer, &QTimer::timeout, this, &ProfileTiles::decodeSome);
}

void ProfileTiles::fill(const QList<GamepadProfileMeta> &entries)
{
    m_queue.clear();
    const QSignalBlocker blocker(m_list);
    m_list->setUpdatesEnabled(false);
    m_list->clear();
    for (const GamepadProfileMeta &entry : entries)
        append(entry);
    m_list->setUpdatesEnabled(true);
}

QListWidgetItem *ProfileTiles::append(const GamepadProfileMeta &entry)
{
    auto *item = new QListWidgetItem(m_placeholder, entry.name);
    item->setToolTip(entry.name);
    item->setData(kImagePathRole, entry.imagePath());
    m_list->addItem(item);
    schedule(m_list->count() - 1);
    return item;
}

void ProfileTiles::update(int row, const GamepadProfileMeta &entry, const QString &note)
{
    QListWidgetItem *item = m_list->item(row);
    if (!item)
        return;
    const QString text = note.isEmpty() ? entry.name : QStringLiteral("%1 %2").arg(entry.name, note);
    item->setText(text);
    item->setToolTip(text);
    if (item->data(kImagePathRole).toString() != entry.imagePath()) {
        item->setData(kImagePathRole, entry.imagePath());
        item->setIcon(m_placeholder);
    }
    schedule(row);
}

void ProfileTiles::schedule(int row)
{
    m_queue << row;
    if (!m_timer.isActive())
        m_timer.start();
}

void ProfileTiles::decodeSome()
{
    QElapsedTimer clock;
    clock.start();
    int decoded = 0;
    while (!m_queue.isEmpty() && decoded < kThumbnailBatch &&
           clock.elapsed() < kThumbnailBudgetMs) {
        QListWidgetItem *item = m_list->item(m_queue.takeFirst());
        const QString path = item ? item->data(kImagePathRole).toString() : QString();
        if (path.isEmpty())
            continue;
        ++decoded;
        const QImage image = thumbnailImage(path);
        if (!image.isNull())
            item->setIcon(QIcon(QPixmap::fromImage(image)));
    }
    if (!m_queue.isEmpty())
        m_timer.start();
}
