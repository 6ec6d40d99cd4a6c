#include "overlayrender.h"

#include "interactiveoverlay.h"

#include <QPainter>
#include <QPixmap>

namespace {

QSize renderSize(const QJsonObject &document, const QSize &requestedSize)
{
    const QSize fallback =
        requestedSize.width() >= 1 && requestedSize.height() >= 1 ? requestedSize : QSize(800, 600);
    const QJsonObject stored = document.value(QLatin1String("overlaySize")).toObject();
    const int w = stored.value(QLatin1String("w")).toInt(0);
    const int h = stored.value(QLatin1String("h")).toInt(0);
    return {w >= 1 ? w : fallback.width(), h >= 1 ? h : fallback.height()};
}

void fail(QString *error, const QString &text)
{
    if (error)
        *error = text;
}

} // namespace

QImage renderOverlayImage(const QJsonObject &document, const QString &imagePath,
                          const QSize &requestedSize, QString *error)
{
    if (document.isEmpty()) {
        fail(error, QStringLiteral("Overlay vide."));
        return {};
    }
    InteractiveOverlay overlay;
    // Laid out and painted like a shown widget, but never placed on a screen.
    overlay.setAttribute(Qt::WA_DontShowOnScreen);
    overlay.resize(renderSize(document, requestedSize));
    overlay.setLocked(true);
    if (!imagePath.isEmpty())
        overlay.setBackgroundPixmap(QPixmap(imagePath));
    if (!overlay.load(document)) {
        fail(error, QStringLiteral("Format de configuration non reconnu."));
        return {};
    }
    overlay.show();

    QImage image(overlay.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    overlay.render(&painter, QPoint(), QRegion(), QWidget::DrawChildren);
    painter.end();
    return image;
}
