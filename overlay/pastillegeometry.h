#pragma once

#include "overlaydocument.h"

#include <QRect>
#include <QRectF>
#include <QSize>

// Sizing and placement rules of a pastille, free of any widget so that they can be checked
// pixel by pixel.

// The smallest side a pastille of this kind may have: stick 56, cross 90, button 44.
int pastilleMinimumSide(ElementKind kind);
// The size of a pastille the user adds: stick 122, cross 180, button 72 (square).
QSize createdPastilleSize(ElementKind kind);
// How far a copy of a pastille moves along one side of the overlay: 28 pixels right (down), or
// left (up) where right would leave the overlay, so that it never hides the original.
int duplicateOffset(int start, int length, int room);

// Where a pastille writes its title and, below it, its subtitle (`subtitleHeight` 0: none): one
// block of text lines centred vertically in `inner`, each line as wide as `inner`.
struct PastilleTextRects
{
    QRectF title;
    QRectF subtitle;
};
PastilleTextRects pastilleTextRects(const QRectF &inner, qreal titleHeight, qreal subtitleHeight);

// The 12 x 12 resize grip in the bottom-right corner of a pastille of this size.
QRect pastilleGripRect(const QSize &size);

// The size a pastille takes while it is being resized: `pressSize` is its size when the drag
// started, `proposed` that size plus the mouse delta. A cross keeps the aspect ratio it had when
// the drag started, other kinds stay square unless `freeAspect` is set; every side is at least the
// kind's minimum.
QSize resizedPastilleSize(ElementKind kind, bool freeAspect, const QSize &pressSize,
                          const QSize &proposed);

// `geometry` moved back inside a parent of `parentSize`: right and bottom edges first, then left
// and top, so that a pastille larger than its parent ends aligned top-left.
QRect keptInsideParent(const QRect &geometry, const QSize &parentSize);
