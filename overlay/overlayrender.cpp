#include "overlayrender.h"

#include "interactiveoverlay.h"
#include "overlaybindings.h"
#include "toucharea.h"

#include <QPainter>
#include <QPixmap>

#include <algorithm>
#include <cmath>

namespace {

QSize storedSize(const QJsonObject &document, const QSize &requestedSize)
{
    const QSize fallback =
        requestedSize.width() >= 1 && requestedSize.height() >= 1 ? requestedSize : QSize(800, 600);
    const QJsonObject stored = document.value(QLatin1String("overlaySize")).toObject();
    const int w = stored.value(QLatin1String("w")).toInt(0);
    const int h = stored.value(QLatin1String("h")).toInt(0);
    return {w >= 1 ? w : fallback.width(), h >= 1 ? h : fallback.height()};
}

// The stored size comes from the document; a hostile one must not ask for gigabytes.
QSize renderSize(const QJsonObject &document, const QSize &requestedSize)
{
    const QSize stored = storedSize(document, requestedSize);
    const double w = stored.width();
    const double h = stored.height();
    const double scale =
        std::min({1.0, kMaxRenderSide / std::max(w, h), std::sqrt(kMaxRenderPixels / (w * h))});
    if (scale >= 1.0)
        return stored;
    // Truncated, with a margin for the rounding of the scale itself, so the caps always hold.
    const QSize capped(std::max(1, int(w * scale + 1e-6)), std::max(1, int(h * scale + 1e-6)));
    qCWarning(lcGamepadUi).noquote()
        << QStringLiteral("Gamepad snapshot size capped from %1x%2 to %3x%4")
               .arg(stored.width())
               .arg(stored.height())
               .arg(capped.width())
               .arg(capped.height());
    return capped;
}

void fail(QString *error, const QString &text)
{
    if (error && !text.isEmpty())
        *error = text;
}

// The font pastilles take in a shown overlay, style sheets of the application included.
QFont pastilleFont()
{
    InteractiveOverlay overlay;
    TouchArea sample(&overlay);
    sample.ensurePolished();
    return sample.font();
}

// What a locked overlay shows of one node.
TouchArea::Look lookOf(const OverlayNode &node, const QSize &size, const QFont &font)
{
    const auto kind = static_cast<TouchArea::ElementKind>(node.kind);
    TouchArea::Look look;
    look.size = size;
    look.kind = kind;
    look.joystickLook = kind != TouchArea::Button;
    look.title = node.title;
    look.subtitle = sourceSummary(node);
    look.font = font;
    return look; // in its normal state, neither hovered nor editable
}

} // namespace

OverlaySnapshot::OverlaySnapshot(const QJsonObject &document, const QString &imagePath,
                                 const QSize &requestedSize)
    : m_document(document), m_imagePath(imagePath), m_requestedSize(requestedSize)
{
}

void OverlaySnapshot::step()
{
    switch (m_phase) {
    case Phase::Picture:
        readPicture();
        m_phase = m_error.isEmpty() ? Phase::Layout : Phase::Done;
        break;
    case Phase::Layout:
        drawPicture();
        m_phase = m_image.isNull() || m_layout.nodes.isEmpty() ? Phase::Done : Phase::Pastilles;
        break;
    case Phase::Pastilles:
        drawPastilles();
        if (m_next >= m_layout.nodes.size())
            m_phase = Phase::Done;
        break;
    case Phase::Done:
        break;
    }
}

void OverlaySnapshot::readPicture()
{
    if (m_document.isEmpty())
        m_error = QStringLiteral("Overlay vide.");
    else if (!m_imagePath.isEmpty())
        m_picture = QPixmap(m_imagePath);
}

// The overlay widget's drawing without its widgets: first the picture as OverlayLines paints it.
void OverlaySnapshot::drawPicture()
{
    const QSize size = renderSize(m_document, m_requestedSize);
    const QSize pictureSize = m_picture.isNull() ? QSize() : m_picture.size();
    if (!overlayDocumentFromJson(m_document, {size, pictureSize}, &m_layout)) {
        m_error = QStringLiteral("Format de configuration non reconnu.");
        return;
    }
    m_document = QJsonObject();
    // A locked overlay keeps the default scale mode whatever the document stored.
    m_background =
        backgroundRect(size, pictureSize, OverlayLines::toDocumentMode(OverlayLines::Contain));
    m_font = pastilleFont();
    m_image = QImage(size, QImage::Format_ARGB32_Premultiplied);
    m_image.fill(Qt::transparent);
    if (m_picture.isNull())
        return;
    QPainter painter(&m_image);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawPixmap(m_background, m_picture);
    m_picture = QPixmap();
}

// Then each pastille in the order the overlay stacks them, clipped to its own rectangle.
void OverlaySnapshot::drawPastilles()
{
    QPainter painter(&m_image);
    const qsizetype end = std::min(m_next + kSnapshotPastillesPerStep, m_layout.nodes.size());
    for (; m_next < end; ++m_next) {
        const OverlayNode &node = m_layout.nodes.at(m_next);
        QRect place = placeFractions(node.geometry, m_background);
        if (place.isEmpty())
            place = QRect(0, 0, TouchArea::kNewSide, TouchArea::kNewSide);
        place.setSize(place.size().boundedTo(QSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX)));
        painter.save();
        painter.translate(place.topLeft());
        painter.setClipRect(QRect(QPoint(), place.size()));
        TouchArea::paint(painter, lookOf(node, place.size(), m_font));
        painter.restore();
    }
}

QImage OverlaySnapshot::image() const
{
    return isDone() ? m_image : QImage();
}

QImage renderOverlayImage(const QJsonObject &document, const QString &imagePath,
                          const QSize &requestedSize, QString *error)
{
    OverlaySnapshot snapshot(document, imagePath, requestedSize);
    while (!snapshot.isDone())
        snapshot.step();
    fail(error, snapshot.error());
    return snapshot.image();
}
