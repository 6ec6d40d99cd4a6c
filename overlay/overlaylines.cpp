#include "overlaylines.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImageReader>
#include <QLabel>
#include <QPainter>
#include <QPointer>
#include <QScreen>
#include <QThreadPool>

#include <functional>

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

// What tells a picture file from its earlier versions, and the size it is decoded to.
QString pictureKey(const QString &path, const QSize &bound)
{
    const QFileInfo file(path);
    return QStringLiteral("%1|%2|%3|%4x%5")
        .arg(file.absoluteFilePath())
        .arg(file.lastModified().toMSecsSinceEpoch())
        .arg(file.size())
        .arg(bound.width())
        .arg(bound.height());
}

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

// Pictures are decoded off the window's thread, each once however many overlays ask for it
// meanwhile. The last one decoded is kept: the editor and its mapping panel show the same
// picture, and show it again on every profile switch.
class PictureDecoder : public QObject
{
public:
    using Ready = std::function<void(const Picture &)>;

    static PictureDecoder &instance()
    {
        static QPointer<PictureDecoder> decoder;
        if (!decoder)
            decoder = new PictureDecoder(QCoreApplication::instance());
        return *decoder;
    }

    // The workers post to this object: none may outlive it.
    ~PictureDecoder() override
    {
        m_pool.clear();
        m_pool.waitForDone();
    }

    const Picture *find(const QString &key) const { return key == m_lastKey ? &m_last : nullptr; }
    void keep(const QString &key, const Picture &picture)
    {
        m_lastKey = key;
        m_last = picture;
    }

    // `ready` is called on this thread with the picture, unless `receiver` is gone by then.
    void request(const QString &key, const QString &path, const QSize &bound, QObject *receiver,
                 const Ready &ready)
    {
        QList<Waiter> &waiting = m_waiting[key];
        waiting.append({receiver, ready});
        if (waiting.size() > 1)
            return; // under way
        m_pool.start([this, key, path, bound] {
            const Picture picture = decodePicture(path, bound);
            QMetaObject::invokeMethod(
                this, [this, key, picture] { decoded(key, picture); }, Qt::QueuedConnection);
        });
    }

    void waitForAll()
    {
        m_pool.waitForDone();
        QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
    }

private:
    struct Waiter
    {
        QPointer<QObject> receiver;
        Ready ready;
    };

    using QObject::QObject;

    void decoded(const QString &key, const Picture &picture)
    {
        keep(key, picture);
        for (const Waiter &waiter : m_waiting.take(key)) {
            if (waiter.receiver)
                waiter.ready(picture);
        }
    }

    QThreadPool m_pool;
    QHash<QString, QList<Waiter>> m_waiting;
    QString m_lastKey;
    Picture m_last;
};

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
    m_pendingPicture.clear();
    m_message->hide();
    showPicture(pixmap, pixmap.isNull() ? QSize() : pixmap.size());
}

// The picture's size is read at once, so that pastilles take their places; its pixels follow
// when a worker has decoded them. A format that cannot tell its size beforehand is decoded here.
void OverlayLines::setBackgroundPicture(const QString &path)
{
    m_pendingPicture.clear();
    if (path.isEmpty()) {
        showDecoded(path, {}, {});
        return;
    }
    PictureDecoder &decoder = PictureDecoder::instance();
    const QSize bound = decodeBound();
    const QString key = pictureKey(path, bound);
    const Picture *known = decoder.find(key);
    const QSize size = known ? known->size : QImageReader(path).size();
    if (known) {
        showDecoded(path, known->image, known->size);
    } else if (!size.isValid()) {
        const Picture picture = decodePicture(path, bound);
        if (!picture.image.isNull()) // a file that is no picture fails as fast again
            decoder.keep(key, picture);
        showDecoded(path, picture.image, picture.size);
    } else {
        m_pendingPicture = key;
        m_message->hide();
        showPicture(QPixmap(), size);
        decoder.request(key, path, bound, this, [this, key, path](const Picture &picture) {
            if (key == m_pendingPicture)
                showDecoded(path, picture.image, picture.size);
        });
    }
}

void OverlayLines::waitForPicture()
{
    if (!m_pendingPicture.isEmpty())
        PictureDecoder::instance().waitForAll();
}

void OverlayLines::showDecoded(const QString &path, const QImage &image, const QSize &size)
{
    m_pendingPicture.clear();
    m_message->setVisible(!path.isEmpty() && image.isNull());
    if (m_message->isVisibleTo(this)) {
        m_message->setText(kPictureMessage.arg(QDir::toNativeSeparators(path)));
        m_message->lower(); // under the pastilles
        placeMessage();
    }
    showPicture(QPixmap::fromImage(image), image.isNull() ? QSize() : size);
}

QString OverlayLines::pictureMessage() const
{
    return m_message->isVisibleTo(this) ? m_message->text() : QString();
}

void OverlayLines::showPicture(const QPixmap &pixmap, const QSize &size)
{
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
