#include "overlayrender.h"

#include "interactiveoverlay.h"
#include "overlaybindings.h"

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
