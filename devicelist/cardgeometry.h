#pragma once

#include <QList>
#include <QRect>
#include <QSize>
#include <QString>
#include <QStringList>

// Geometry of a device card, computed from the rectangle the view gives to one item. Pure
// functions so that hit tests and painting share one set of rectangles and can be checked
// pixel by pixel.

// The card itself: the item rectangle inset by 6 on every side.
QRect cardRect(const QRect &item);
// The 24 x 24 close box in the card's top-left corner.
QRect cardCloseRect(const QRect &item);
// The 96 x 96 box of the controller picture, centred near the card's top.
QRect cardImageRect(const QRect &item);
// The 18 x 32 arrows that step through the profiles, on either side of the picture.
QRect cardLeftArrowRect(const QRect &item);
QRect cardRightArrowRect(const QRect &item);
// The 42 x 20 badge with the profile position, over the bottom of the picture.
QRect cardBadgeRect(const QRect &item);
// The 30 x 30 hit area of the link state icon, over the picture's top-right corner.
QRect cardLinkStateRect(const QRect &item);
// The 24 x 24 warning shown in the card's top-right corner while its controller is away.
QRect cardWarningRect(const QRect &item);
// The 28 px high strip of control chips along the bottom of the card.
QRect cardControlsStrip(const QRect &item);
// The card's three lines of text under the picture, each as wide as the card less 12 on either
// side: the name (21 high), the product (17) and the model (17).
QList<QRect> cardTextRows(const QRect &item);
// The card's second line: the product, or the address when there is none or it only repeats the
// name.
QString cardSecondLine(const QString &name, const QString &product, const QString &address);
// Every card has this size.
QSize cardSizeHint();

// One chip of the controls strip.
struct ControlChip
{
    enum Kind { Axis = 0, Button = 1, Other = 2 };

    QRect rect;
    QString label;
    QString target;
    int kind = Other;
    QString text; // what an "other" chip shows: its label, its target or "+N"
};

// Splits an entry "label|target" at its first "|"; an entry without a "|" or starting with one
// has no label and is its own target.
void splitControlEntry(const QString &entry, QString *label, QString *target);
// Axis for "axis://..." targets, Button for "btn://...", Other for anything else.
int controlChipKind(const QString &target);
// The part of a target after its scheme ("axis://0" gives "0"); the whole target when it has no
// scheme or nothing after it.
QString controlChipValue(const QString &target);
// The chips that fit in `strip`, centred, 20 x 20 and 28 apart. When some entries do not fit, a
// "+N" chip follows and the row is centred with it; the row may then reach into the strip's side
// margins but stays inside the card, showing one entry fewer where it would not.
QList<ControlChip> layoutControlChips(const QRect &strip, const QStringList &entries);

// The carousel badge: "position/count", or "–/count" when the position is outside 1..count
// (no profile of the carousel is bound).
QString carouselBadgeText(int position, int count);

// Keys of the shared pixmap cache. A picture file's key carries its modification time, so an
// edited file is loaded again.
QString imageCacheKey(const QString &path, const QSize &size);
QString resourceCacheKey(const QString &resourcePath, const QSize &size);
