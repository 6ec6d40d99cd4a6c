#include "overlaylines.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImageReader>
#include <QLabel>
#include <QPainter>
#include <QScreen>

namespace {

const QString kPictureMessage = QStringLiteral("Impossible d’afficher l’image %1");
const char *const kMessageStyle =
    "QLabel#overlayPictureMessage { color: #A8BCC8; "
    "background: rgba(15, 26, 36, 210); border: 1px solid "
    "rgba(63, 200, 220, 90); border-radius: 8px; padding: 10px 14px; }";
constexpr int kMessageMargin = 16;
// Where no screen tells how much can be shown.
constexpr QSize kFallbackDecodeBound{4096, 4096};

// The most pixels a picture is decoded to: enough to cover the largest screen, in device pixels.
QSize decodeBound()
{
    QSize bound;
    for (const QScreen *screen : QGuiApplication::screens())
        bound = bound.expandedTo(screen->size() * screen->devicePixelRatio());
    return bound.isEmpty() ? kFallbackDecodeBound : bound;
}

struct Picture
{
    QImage image; // as decoded; an image, unlike a pixmap, may outlive the application object
    QSize size;   // the picture's own size
};

struct PictureKey
{
    QString path;
    QDateTime modified;
    qint64 bytes = -1;
    QSize bound;
    bool operator==(const PictureKey &other) const
    {
        return path == other.path && modified == other.modified && bytes == other.bytes &&
               bound == other.bound;
    }
};

// A picture is decoded at the size it can be shown: a large one is never held whole, and the
// formats that can scale while decoding (JPEG) never decode it whole either.
Picture decodePicture(const QString &path, const QSize &bound)
{
    QImageReader reader(path);
    const QSize full = reader.size();
    const QSize shown = full.scaled(bound, Qt::KeepAspectRatioByExpanding);
    if (full.isValid() && shown.width() < full.width())
        reader.setScaledSize(shown.expandedTo({1, 1}));
    const QImage image = reader.read();
    if (image.isNull())
        return {};
    return {image, full.isValid() ? full : image.size()};
}

// The editor and its mapping panel show the same picture, and show it again on every profile
// switch: the last one read is kept, keyed by the file's stamp.
Picture readPicture(const QString &path)
{
    static PictureKey lastKey;
    static Picture last;
    const QFileInfo file(path);
    const PictureKey key{file.absoluteFilePath(), file.lastModified(), file.size(), decodeBound()};
    if (!(key == lastKey)) {
        last = decodePicture(path, key.bound);
        lastKey = key;
    }
    return last;
}

} // namespace

OverlayLines::OverlayLines(QWidget *parent) : QWidget(parent)
{
    m_message = new QLabel(this);
    m_message->setObjectName(QStringLiteral("overlayPictureMessage"));
    m_message->setStyleSheet(QString::fromLatin1(kMessageStyle));
    m_message->setAlignment(Qt::AlignCenter);
    m_message->setWordWrap(true);
    m_message->setAttribute(Qt::WA_TransparentForMouseEvents);
    m_message->hide();
}

void OverlayLines::setBackgroundPixmap(const QPixmap &pixmap)
{
    m_message->hide();
    showPicture(pixmap, pixmap.size());
}

void OverlayLines::setBackgroundPicture(const QString &path)
{
    const Picture picture = path.isEmpty() ? Picture() : readPicture(path);
    m_message->setVisible(!path.isEmpty() && picture.image.isNull());
    if (m_message->isVisibleTo(this)) {
        m_message->setText(kPictureMessage.arg(QDir::toNativeSeparators(path)));
        m_message->lower(); // under the pastilles
        placeMessage();
    }
    showPicture(QPixmap::fromImage(picture.image), picture.size);
}

QString OverlayLines::pictureMessage() const
{
    return m_message->isVisibleTo(this) ? m_message->text() : QString();
}

void OverlayLines::showPicture(const QPixmap &pixmap, const QSize &pictureSize)
{
    const QSize size = pixmap.isNull() ? QSize() : pictureSize;
    // Copies of one pixmap share a cache key, and every null pixmap has key 0.
    if (pixmap.cacheKey() == m_backgroundPixmap.cacheKey() && size == m_pictureSize)
        return;
    m_backgroundPixmap = pixmap;
    m_pictureSize = size;
    update();
    Q_EMIT backgroundPixmapChanged();
}

void OverlayLines::setBackgroundScaleMode(BackgroundScaleMode mode)
{
    if (m_backgroundScaleMode == mode)
        return;
    m_backgroundScaleMode = mode;
    update();
    Q_EMIT backgroundScaleModeChanged();
}

QRect OverlayLines::backgroundRect() const
{
    return ::backgroundRect(size(), m_pictureSize, toDocumentMode(m_backgroundScaleMode));
}

void OverlayLines::paintEvent(QPaintEvent *)
{
    if (m_backgroundPixmap.isNull())
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawPixmap(backgroundRect(), m_backgroundPixmap);
}

void OverlayLines::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    placeMessage();
}

void OverlayLines::placeMessage()
{
    if (m_message->isHidden())
        return;
    const int width =
        qMin(m_message->sizeHint().width(), qMax(0, this->width() - 2 * kMessageMargin));
    const int height = qMin(m_message->heightForWidth(width), this->height());
    m_message->setGeometry((this->width() - width) / 2, (this->height() - height) / 2, width,
                           height);
}
