#include "cardgeometry.h"

#include <QDateTime>
#include <QFileInfo>

#include <algorithm>

namespace {
constexpr int kCardInset = 6;
constexpr int kImageSide = 96;
constexpr int kChipSide = 20;
constexpr int kChipPitch = 28; // chip side plus an 8 px gap
constexpr int kChipGap = kChipPitch - kChipSide;
constexpr int kStripInset = 12;    // the controls strip's margin inside the card, on either side
constexpr int kChipEdgeMargin = 2; // chips stay clear of the card's border

int rowWidth(int chips)
{
    return chips * kChipPitch - kChipGap;
}
} // namespace

QRect cardRect(const QRect &item)
{
    return item.adjusted(kCardInset, kCardInset, -kCardInset, -kCardInset);
}

QRect cardCloseRect(const QRect &item)
{
    const QRect card = cardRect(item);
    return QRect(card.left() + 6, card.top() + 6, 24, 24);
}

QRect cardImageRect(const QRect &item)
{
    const QRect card = cardRect(item);
    return QRect(card.center().x() - kImageSide / 2, card.top() + 16, kImageSide, kImageSide);
}

QRect cardLeftArrowRect(const QRect &item)
{
    const QRect image = cardImageRect(item);
    return QRect(image.left() - 28, image.center().y() - 16, 18, 32);
}

QRect cardRightArrowRect(const QRect &item)
{
    const QRect image = cardImageRect(item);
    return QRect(image.right() + 10, image.center().y() - 16, 18, 32);
}

QRect cardBadgeRect(const QRect &item)
{
    const QRect image = cardImageRect(item);
    return QRect(image.center().x() - 21, image.bottom() - 24, 42, 20);
}

QRect cardLinkStateRect(const QRect &item)
{
    const QRect image = cardImageRect(item);
    return QRect(image.right() - 28, image.top() - 2, 30, 30);
}

QRect cardWarningRect(const QRect &item)
{
    const QRect card = cardRect(item);
    return QRect(card.right() - 29, card.top() + 6, 24, 24);
}

QRect cardControlsStrip(const QRect &item)
{
    const QRect card = cardRect(item);
    return QRect(card.left() + kStripInset, card.bottom() - 40, card.width() - 2 * kStripInset, 28);
}

QList<QRect> cardTextRows(const QRect &item)
{
    const QRect card = cardRect(item);
    const QRect name(card.left() + 12, cardImageRect(item).bottom() + 6, card.width() - 24, 21);
    const QRect product(name.left(), name.bottom() + 1, name.width(), 17);
    return {name, product, product.translated(0, product.height())};
}

QString cardSecondLine(const QString &name, const QString &product, const QString &address)
{
    return product.isEmpty() || product == name ? address : product;
}

QSize cardSizeHint()
{
    return QSize(300, 240);
}

void splitControlEntry(const QString &entry, QString *label, QString *target)
{
    const int bar = entry.indexOf(QLatin1Char('|'));
    if (bar >= 1) {
        *label = entry.left(bar);
        *target = entry.mid(bar + 1);
    } else {
        label->clear();
        *target = entry;
    }
}

int controlChipKind(const QString &target)
{
    if (target.startsWith(QLatin1String("axis://")))
        return ControlChip::Axis;
    if (target.startsWith(QLatin1String("btn://")))
        return ControlChip::Button;
    return ControlChip::Other;
}

QString controlChipValue(const QString &target)
{
    const int scheme = target.indexOf(QLatin1String("://"));
    if (scheme < 0)
        return target;
    const QString value = target.mid(scheme + 3);
    return value.isEmpty() ? target : value;
}

QList<ControlChip> layoutControlChips(const QRect &strip, const QStringList &entries)
{
    QList<ControlChip> chips;
    if (strip.width() < 1)
        return chips;
    const int room = std::max((strip.width() + kChipGap) / kChipPitch, 0);
    int shown = std::min(int(entries.size()), room);
    // The "+N" chip is centred with the others and may use the strip's margins, never the card's
    // edge: one entry fewer is shown when the row would reach it.
    const int cardLeft = strip.left() - kStripInset + kChipEdgeMargin;
    const int cardRight = strip.right() + kStripInset - kChipEdgeMargin;
    const auto rowStart = [&](int chips) { return strip.center().x() - rowWidth(chips) / 2; };
    const auto fits = [&](int chips) {
        return rowStart(chips) >= cardLeft && rowStart(chips) + rowWidth(chips) - 1 <= cardRight;
    };
    while (shown > 0 && shown < entries.size() && !fits(shown + 1))
        --shown;
    if (shown == 0)
        return chips;

    const bool more = entries.size() > shown;
    const int x0 = rowStart(shown + (more ? 1 : 0));
    const int y = strip.center().y() - kChipSide / 2;
    for (int i = 0; i < shown; ++i) {
        ControlChip chip;
        chip.rect = QRect(x0 + i * kChipPitch, y, kChipSide, kChipSide);
        splitControlEntry(entries.at(i), &chip.label, &chip.target);
        chip.kind = controlChipKind(chip.target);
        chip.text = chip.label.isEmpty() ? chip.target : chip.label;
        chips.append(chip);
    }
    if (more) {
        ControlChip more;
        more.rect = QRect(x0 + shown * kChipPitch, y, kChipSide, kChipSide);
        more.text = QStringLiteral("+%1").arg(entries.size() - shown);
        chips.append(more);
    }
    return chips;
}

QString carouselBadgeText(int position, int count)
{
    const QString shown =
        position >= 1 && position <= count ? QString::number(position) : QStringLiteral("–");
    return QStringLiteral("%1/%2").arg(shown).arg(count);
}

QString imageCacheKey(const QString &path, const QSize &size)
{
    const QFileInfo info(path);
    qint64 modified = 0;
    if (info.exists()) {
        const QDateTime stamp = info.lastModified();
        modified = stamp.isValid() ? stamp.toMSecsSinceEpoch() : 0;
    }
    // One multi-argument arg() so that a "%" inside the path is never taken as a placeholder.
    return QStringLiteral("img:%1:%2x%3:%4")
        .arg(path, QString::number(size.width()), QString::number(size.height()),
             QString::number(modified));
}

QString resourceCacheKey(const QString &resourcePath, const QSize &size)
{
    return QStringLiteral("res:%1:%2x%3")
        .arg(resourcePath, QString::number(size.width()), QString::number(size.height()));
}
