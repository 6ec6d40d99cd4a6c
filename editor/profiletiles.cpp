#include "profiletiles.h"

#include "jsonfile.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDateTime>
#include <QFileInfo>
#include <QImageReader>
#include <QListWidget>
#include <QMutex>
#include <QPainter>
#include <QPainterPath>
#include <QSignalBlocker>

#include <algorithm>
#include <chrono>
#include <future>

namespace {

constexpr int kImagePathRole = Qt::UserRole + 1;
constexpr int kPictureIdentityRole = Qt::UserRole + 2;

// What tells a picture file from its earlier versions without reading it; empty when there is
// no file to show.
QString fileIdentity(const QString &path)
{
    const QFileInfo file(path);
    if (path.isEmpty() || !file.isFile())
        return {};
    return file.absoluteFilePath() + u'|' +
           QString::number(file.lastModified().toMSecsSinceEpoch()) + u'|' +
           QString::number(file.size());
}

// Pictures up to this size are decoded whole before they are scaled: faster than scaling while
// decoding, which only JPEG does cheaply, at a bounded cost in memory per worker.
constexpr qint64 kWholeDecodeMaxPixels = 8 * 1024 * 1024;

// A tile's picture from the bytes of its file, scaled smoothly to the tile. JPEG pictures, and
// pictures too large to decode whole, are scaled while decoding.
QImage thumbnailImage(const QByteArray &bytes)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    const QSize full = reader.size();
    const QSize tile = ProfileTiles::kIconSize;
    const bool larger = full.width() > tile.width() || full.height() > tile.height();
    if (full.isValid() && larger &&
        (reader.format() == "jpeg" || qint64(full.width()) * full.height() > kWholeDecodeMaxPixels))
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

// The thumbnails decoded so far, by content. The first worker that meets a content decodes it; a
// worker that meets it meanwhile waits for that result rather than decoding it again.
class ProfileTiles::Contents
{
public:
    template <typename Decode> QImage thumbnail(const ContentDigest &key, Decode decode)
    {
        std::promise<QImage> promise;
        std::shared_future<QImage> known;
        {
            const QMutexLocker lock(&m_mutex);
            known = m_thumbnails.value(key);
            if (!known.valid())
                m_thumbnails.insert(key, promise.get_future().share());
        }
        if (known.valid())
            return known.get();
        QImage image = decode();
        promise.set_value(image);
        return image;
    }

    // Forgets the thumbnails of the other contents, but for those still being decoded.
    void keepOnly(const QSet<ContentDigest> &kept)
    {
        using namespace std::chrono_literals;
        const QMutexLocker lock(&m_mutex);
        m_thumbnails.removeIf([&](const auto &entry) {
            return !kept.contains(entry.key()) &&
                   entry.value().wait_for(0s) == std::future_status::ready;
        });
    }

private:
    QMutex m_mutex;
    QHash<ContentDigest, std::shared_future<QImage>> m_thumbnails;
};

ProfileTiles::ProfileTiles(QListWidget *list, QObject *parent)
    : QObject(parent), m_list(list), m_placeholder(placeholderTile()),
      m_contents(std::make_unique<Contents>())
{
}

// The workers post to this object: none may outlive it.
ProfileTiles::~ProfileTiles()
{
    m_pool.clear();
    m_pool.waitForDone();
}

void ProfileTiles::fill(const QList<GamepadProfileMeta> &entries)
{
    m_waiting.clear();
    const QSignalBlocker blocker(m_list);
    m_list->setUpdatesEnabled(false);
    m_list->clear();
    for (const GamepadProfileMeta &entry : entries)
        append(entry);
    m_list->setUpdatesEnabled(true);
    // Only the pictures still listed are kept.
    QSet<QString> listed;
    for (int row = 0; row < m_list->count(); ++row)
        listed.insert(m_list->item(row)->data(kPictureIdentityRole).toString());
    m_cache.removeIf([&](const auto &tile) { return !listed.contains(tile.key()); });
    keepListedContents();
    if (m_waiting.isEmpty())
        Q_EMIT thumbnailsReady();
}

QListWidgetItem *ProfileTiles::append(const GamepadProfileMeta &entry)
{
    auto *item = new QListWidgetItem(m_placeholder, entry.name);
    item->setToolTip(entry.name);
    const QString path = entry.imagePath();
    item->setData(kImagePathRole, path);
    m_list->addItem(item);
    request(item, path);
    return item;
}

void ProfileTiles::remove(int row)
{
    const QSignalBlocker blocker(m_list);
    delete m_list->takeItem(row);
    // A picture that only this tile waited for is waited for no more.
    const auto listedNoMore = [](const auto &waiting) {
        const QList<QPersistentModelIndex> &tiles = waiting.value();
        return std::none_of(tiles.cbegin(), tiles.cend(),
                            [](const auto &t) { return t.isValid(); });
    };
    if (m_waiting.removeIf(listedNoMore) > 0 && m_waiting.isEmpty())
        Q_EMIT thumbnailsReady();
}

void ProfileTiles::update(int row, const GamepadProfileMeta &entry, const QString &note)
{
    QListWidgetItem *item = m_list->item(row);
    if (!item)
        return;
    const QString text =
        note.isEmpty() ? entry.name : QStringLiteral("%1 %2").arg(entry.name, note);
    item->setText(text);
    item->setToolTip(text);
    const QString path = entry.imagePath();
    if (item->data(kImagePathRole).toString() != path) {
        item->setData(kImagePathRole, path);
        item->setIcon(m_placeholder);
    }
    request(item, path);
}

void ProfileTiles::waitForThumbnails()
{
    startDecodes();
    m_pool.waitForDone();
    QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
}

// The tile shows its picture at once when this version of the file was decoded already;
// otherwise a worker decodes it, once however many tiles show it.
void ProfileTiles::request(QListWidgetItem *item, const QString &path)
{
    const QString key = fileIdentity(path);
    item->setData(kPictureIdentityRole, key);
    const auto cached = m_cache.constFind(key);
    if (key.isEmpty() || cached != m_cache.cend()) {
        item->setIcon(key.isEmpty() || cached->isNull() ? m_placeholder : *cached);
        return;
    }
    m_waiting[key].append(QPersistentModelIndex(m_list->model()->index(m_list->row(item), 0)));
    if (m_decoding.contains(key))
        return;
    m_decoding.insert(key);
    if (m_toDecode.isEmpty())
        QMetaObject::invokeMethod(this, &ProfileTiles::startDecodes, Qt::QueuedConnection);
    m_toDecode.append({key, path});
}

// On the next turn of the event loop: the workers do not compete with the listing that asked for
// the pictures, and pictures no longer listed by then are not decoded.
void ProfileTiles::startDecodes()
{
    for (const auto &[key, path] : std::as_const(m_toDecode)) {
        if (!m_waiting.contains(key)) {
            m_decoding.remove(key);
            continue;
        }
        m_pool.start([this, key = key, path = path] {
            ContentDigest content;
            const QImage image = thumbnailOf(path, &content);
            QMetaObject::invokeMethod(
                this, [this, key, content, image] { decoded(key, content, image); },
                Qt::QueuedConnection);
        });
    }
    m_toDecode.clear();
}

// On a worker: the file is read once, within the size any file of a profile folder may have, and
// its bytes are decoded unless identical bytes were already.
QImage ProfileTiles::thumbnailOf(const QString &path, ContentDigest *content)
{
    QByteArray bytes;
    if (!readRegularFile(path, kMaxProfileFileBytes, &bytes, nullptr))
        return {};
    *content = contentDigestOf(bytes);
    return m_contents->thumbnail(*content, [&] {
        ++m_decodes;
        return thumbnailImage(bytes);
    });
}

void ProfileTiles::decoded(const QString &key, const ContentDigest &content, const QImage &image)
{
    m_decoding.remove(key);
    const QList<QPersistentModelIndex> tiles = m_waiting.take(key);
    if (tiles.isEmpty())
        return; // listed no more
    const QIcon icon = image.isNull() ? QIcon() : QIcon(QPixmap::fromImage(image));
    m_cache.insert(key, icon);
    if (content.size >= 0)
        m_contentOf.insert(key, content);
    for (const QPersistentModelIndex &tile : tiles) {
        QListWidgetItem *item = m_list->item(tile.row());
        if (tile.isValid() && item && item->data(kPictureIdentityRole).toString() == key)
            item->setIcon(icon.isNull() ? m_placeholder : icon);
    }
    if (m_waiting.isEmpty())
        Q_EMIT thumbnailsReady();
}

// The decoded contents follow the identity cache: only those of the listed pictures are kept.
void ProfileTiles::keepListedContents()
{
    m_contentOf.removeIf([&](const auto &file) { return !m_cache.contains(file.key()); });
    QSet<ContentDigest> listed;
    for (const ContentDigest &content : std::as_const(m_contentOf))
        listed.insert(content);
    m_contents->keepOnly(listed);
}
