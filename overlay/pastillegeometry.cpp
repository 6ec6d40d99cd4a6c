#include "pastillegeometry.h"

#include <algorithm>
#include <limits>

namespace {
constexpr int kGripSide = 12;
constexpr int kDuplicateOffset = 28;
constexpr int kGripInset = 15; // from the right and bottom edges to the grip's top-left corner

// Truncates toward zero, saturating at the int range so that an absurd drag cannot overflow.
int truncatedInt(double value)
{
    constexpr double lo = std::numeric_limits<int>::min();
    constexpr double hi = std::numeric_limits<int>::max();
    return int(std::clamp(value, lo, hi));
}
} // namespace

int pastilleMinimumSide(ElementKind kind)
{
    switch (kind) {
    case ElementKind::DualJoyCross:
        return 90;
    case ElementKind::Button:
        return 44;
    case ElementKind::SingleJoy:
        break;
    }
    return 56;
}

QSize createdPastilleSize(ElementKind kind)
{
    switch (kind) {
    case ElementKind::DualJoyCross:
        return {180, 180};
    case ElementKind::Button:
        return {72, 72};
    case ElementKind::SingleJoy:
        break;
    }
    return {122, 122};
}

int duplicateOffset(int start, int length, int room)
{
    if (start + length + kDuplicateOffset <= room || start - kDuplicateOffset < 0)
        return kDuplicateOffset;
    return -kDuplicateOffset;
}

QRect pastilleGripRect(const QSize &size)
{
    return QRect(size.width() - kGripInset, size.height() - kGripInset, kGripSide, kGripSide);
}

PastilleTextRects pastilleTextRects(const QRectF &inner, qreal titleHeight, qreal subtitleHeight)
{
    const qreal top = inner.center().y() - (titleHeight + subtitleHeight) / 2;
    const QRectF title(inner.left(), top, inner.width(), titleHeight);
    return {title, QRectF(inner.left(), title.bottom(), inner.width(), subtitleHeight)};
}

// A cross keeps the ratio it had when the drag started; when that ratio would push the width
// below the minimum, the width is pinned and the height follows the ratio instead.
static QSize resizedCrossSize(const QSize &pressSize, const QSize &proposed, int minSide)
{
    const double ratio =
        pressSize.height() > 0 ? double(pressSize.width()) / double(pressSize.height()) : 1.0;
    const int side = std::max({proposed.width(), proposed.height(), minSide});
    QSize size(truncatedInt(side * ratio), side);
    if (size.width() < minSide) {
        size.setWidth(minSide);
        size.setHeight(std::max(minSide, truncatedInt(minSide / std::max(0.1, ratio))));
    }
    return size;
}

QSize resizedPastilleSize(ElementKind kind, bool freeAspect, const QSize &pressSize,
                          const QSize &proposed)
{
    const int minSide = pastilleMinimumSide(kind);
    QSize size = proposed;
    if (kind == ElementKind::DualJoyCross) {
        size = resizedCrossSize(pressSize, proposed, minSide);
    } else if (!freeAspect) {
        const int side = std::max({proposed.width(), proposed.height(), minSide});
        size = QSize(side, side);
    }
    return size.expandedTo(QSize(minSide, minSide));
}

QRect keptInsideParent(const QRect &geometry, const QSize &parentSize)
{
    QRect r = geometry;
    if (r.x() + r.width() > parentSize.width())
        r.moveLeft(parentSize.width() - r.width());
    if (r.y() + r.height() > parentSize.height())
        r.moveTop(parentSize.height() - r.height());
    if (r.x() < 0)
        r.moveLeft(0);
    if (r.y() < 0)
        r.moveTop(0);
    return r;
}
