#include "overlaylines.h"

#include <QPainter>

OverlayLines::OverlayLines(QWidget *parent) : QWidget(parent)
{
}

void OverlayLines::setBackgroundPixmap(const QPixmap &pixmap)
{
    if (pixmap.cacheKey() == m_backgroundPixmap.cacheKey())
        return;
    m_backgroundPixmap = pixmap;
    update();
    Q_EMIT backgroundPixmapChanged();
}

void OverlayLines::setBackgroundScaleMode(BackgroundScaleMode mode)
{
    if (mode == m_backgroundScaleMode)
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
