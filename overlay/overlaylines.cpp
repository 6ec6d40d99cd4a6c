#include "overlaylines.h"

#include <QPainter>

OverlayLines::OverlayLines(QWidget *parent) : QWidget(parent)
{
}

void OverlayLines::setBackgroundPixmap(const QPixmap &pixmap)
{
    // Copies of one pixmap share a cache key, and every null pixmap has key 0.
    if (pixmap.cacheKey() == m_backgroundPixmap.cacheKey())
        return;
    m_backgroundPixmap = pixmap;
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
    return ::backgroundRect(size(), m_backgroundPixmap.size(),
                            toDocumentMode(m_backgroundScaleMode));
}

void OverlayLines::paintEvent(QPaintEvent *)
{
    if (m_backgroundPixmap.isNull())
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawPixmap(backgroundRect(), m_backgroundPixmap);
}
