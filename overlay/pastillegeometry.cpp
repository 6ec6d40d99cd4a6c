#include "pastillegeometry.h"

#include <algorithm>

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

QRect pastilleGripRect(const QSize &size)
{
    return {size.width() - 15, size.height() - 15, 12, 12};
}

QSize resizedPastilleSize(ElementKind kind, bool freeAspect, const QSize &pressSize,
                          const QSize &proposed)
{
    const int m = pastilleMinimumSide(kind);
    QSize size = proposed;
    if (kind == ElementKind::DualJoyCross) {
        // A cross keeps the proportions it had when the drag started.
        const double ratio =
            pressSize.height() > 0 ? double(pressSize.width()) / double(pressSize.height()) : 1.0;
        const int side = std::max({proposed.width(), proposed.height(), m});
        size = QSize(int(side * ratio), side);
        if (size.width() < m) {
            size.setWidth(m);
            size.setHeight(std::max(m, int(m / std::max(0.1, ratio))));
        }
    } else if (!freeAspect) {
        const int side = std::max({proposed.width(), proposed.height(), m});
        size = QSize(side, side);
    }
    return size.expandedTo(QSize(m, m));
}

QRect keptInsideParent(const QRect &geometry, const QSize &parentSize)
{
    QRect r = geometry;
    if (r.right() > parentSize.width() - 1)
        r.moveRight(parentSize.width() - 1);
    if (r.bottom() > parentSize.height() - 1)
        r.moveBottom(parentSize.height() - 1);
    if (r.left() < 0)
        r.moveLeft(0);
    if (r.top() < 0)
        r.moveTop(0);
    return r;
}
