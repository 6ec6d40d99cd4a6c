#include "deviceitemdelegate.h"

#include "cardgeometry.h"
#include "devicemodelroles.h"
#include "resourcepaths.h"

#include <QAbstractItemView>
#include <QHelpEvent>
#include <QIcon>
#include <QImage>
#include <QLinearGradient>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <QPixmapCache>
#include <QRadialGradient>
#include <QToolTip>

// The cards read the device list roles by these names.
using namespace DeviceModelRoles;

// The icons live in a resource object that may sit inside a static archive; naming its
// initialiser here pulls it in and registers it (registering twice is harmless).
static void registerGamepadResources()
{
    Q_INIT_RESOURCE(gamepadresources);
}

namespace {

const QColor kCyan(0, 200, 230);
const QColor kTextBright(232, 240, 247);
const QColor kTextSoft(150, 170, 188);
const QColor kTextDim(104, 118, 132);
const QColor kMono(110, 200, 226);

QFont pixelFont(QFont font, int pixels, int weight = QFont::Normal)
{
    font.setPixelSize(pixels);
    font.setWeight(QFont::Weight(weight));
    return font;
}

void drawCentered(QPainter *p, const QRect &box, const QPixmap &pixmap)
{
    if (pixmap.isNull())
        return;
    QSize size = pixmap.size() / pixmap.devicePixelRatio();
    size = size.scaled(box.size().boundedTo(size), Qt::KeepAspectRatio);
    QRect target(QPoint(0, 0), size);
    target.moveCenter(box.center());
    p->drawPixmap(target, pixmap);
}

void drawChevron(QPainter *p, const QRect &box, bool pointsLeft)
{
    const QPointF c = QRectF(box).center();
    const qreal dx = pointsLeft ? -3.5 : 3.5; // towards the tip
    QPainterPath path;
    path.moveTo(c.x() - dx, c.y() - 7);
    path.lineTo(c.x() + dx, c.y());
    path.lineTo(c.x() - dx, c.y() + 7);
    p->setPen(QPen(kCyan, 2.2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p->setBrush(Qt::NoBrush);
    p->drawPath(path);
}

} // namespace

DeviceItemDelegate::DeviceItemDelegate(QObject *parent)
    : QStyledItemDelegate(parent), m_axisIcon(ResourcePaths::kAxisIcon),
      m_buttonIcon(ResourcePaths::kButtonIcon), m_warningIcon(ResourcePaths::kWarningIcon),
      m_closeIcon(ResourcePaths::kCloseIcon), m_connectedIcon(ResourcePaths::kConnectedIcon),
      m_busyIcon(ResourcePaths::kBusyIcon), m_disconnectedIcon(ResourcePaths::kDisconnectedIcon)
{
    registerGamepadResources();
    m_roles.fill(-1);
}

DeviceItemDelegate::~DeviceItemDelegate() = default;

void DeviceItemDelegate::resolveRoles(const QAbstractItemModel *model) const
{
    if (m_rolesResolved || !model)
        return;
    const QHash<int, QByteArray> names = model->roleNames();
    for (const DeviceModelRoles::RoleName &role : DeviceModelRoles::kRoleNames)
        m_roles[role.role - DeviceModelRoles::Usn] = names.key(QByteArray(role.name), -1);
    m_rolesResolved = true;
}

QVariant DeviceItemDelegate::field(const QModelIndex &index, DeviceModelRoles::Role which) const
{
    const int role = modelRole(which);
    if (role < 0 || !index.isValid())
        return QVariant();
    return index.data(role);
}

bool DeviceItemDelegate::carouselShown(const QModelIndex &index) const
{
    return field(index, HasProfileCarousel).toBool() && field(index, ProfileCount).toInt() >= 2;
}

// ---- painting ---------------------------------------------------------------------------------

void DeviceItemDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option,
                               const QModelIndex &index) const
{
    if (!painter || !index.isValid())
        return;
    resolveRoles(index.model());
    const QRect item = option.rect;
    const bool selected = field(index, Selected).toBool();
    const bool connected = field(index, IsConnected).toBool();
    const bool hovered = option.state.testFlag(QStyle::State_MouseOver);

    painter->save();
    painter->setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform |
                            QPainter::TextAntialiasing);
    paintCard(painter, cardRect(item), selected, connected, hovered);

    const QRect close = cardCloseRect(item);
    painter->setPen(Qt::NoPen);
    painter->setBrush(QColor(255, 255, 255, hovered ? 26 : 12));
    painter->drawRoundedRect(close, 6, 6);
    drawCentered(painter, close.adjusted(4, 4, -4, -4), resourcePixmap(m_closeIcon, QSize(16, 16)));

    if (!connected)
        drawCentered(painter, cardWarningRect(item).adjusted(2, 2, -2, -2),
                     resourcePixmap(m_warningIcon, QSize(20, 20)));

    paintPicture(painter, cardImageRect(item), field(index, Image), !connected);
    if (carouselShown(index))
        paintCarousel(painter, item, index);
    paintLinkState(painter, cardLinkStateRect(item), field(index, LinkState).toInt());
    paintTexts(painter, item, index, connected);
    paintChips(painter, cardControlsStrip(item), field(index, VideoInterfaces).toStringList());
    painter->restore();
}

void DeviceItemDelegate::paintCard(QPainter *p, const QRect &card, bool selected, bool connected,
                                   bool hovered) const
{
    QLinearGradient fill(card.topLeft(), card.bottomLeft());
    QColor border;
    if (selected) {
        fill.setColorAt(0, QColor(22, 62, 84, 240));
        fill.setColorAt(1, QColor(16, 36, 52, 240));
        border = kCyan;
    } else if (connected) {
        fill.setColorAt(0, QColor(40, 51, 66, 228));
        fill.setColorAt(1, QColor(27, 34, 45, 228));
        border = hovered ? QColor(120, 160, 190) : QColor(72, 90, 110);
    } else {
        fill.setColorAt(0, QColor(34, 40, 49, 196));
        fill.setColorAt(1, QColor(25, 29, 36, 196));
        border = hovered ? QColor(100, 116, 132) : QColor(56, 64, 76);
    }
    const QRectF box = QRectF(card).adjusted(0.5, 0.5, -0.5, -0.5);
    p->setPen(QPen(border, selected ? 2.0 : 1.0));
    p->setBrush(fill);
    p->drawRoundedRect(box, 12, 12);
    if (selected) {
        // A soft inner glow keeps the accent visible on busy host backgrounds.
        p->setPen(QPen(QColor(0, 200, 230, 60), 4.0));
        p->setBrush(Qt::NoBrush);
        p->drawRoundedRect(box.adjusted(3, 3, -3, -3), 10, 10);
    }
}

void DeviceItemDelegate::paintPicture(QPainter *p, const QRect &box, const QVariant &image,
                                      bool dimmed) const
{
    QRadialGradient halo(QRectF(box).center(), box.width() * 0.62);
    halo.setColorAt(0, QColor(0, 200, 230, dimmed ? 18 : 46));
    halo.setColorAt(1, QColor(0, 200, 230, 0));
    p->setPen(Qt::NoPen);
    p->setBrush(halo);
    p->drawEllipse(QRectF(box).adjusted(-10, -10, 10, 10));

    QPixmap picture;
    switch (image.typeId()) {
    case QMetaType::QIcon:
        picture = qvariant_cast<QIcon>(image).pixmap(box.size());
        break;
    case QMetaType::QPixmap:
        picture = qvariant_cast<QPixmap>(image);
        break;
    case QMetaType::QImage:
        picture = QPixmap::fromImage(qvariant_cast<QImage>(image));
        break;
    default:
        if (!image.toString().isEmpty())
            picture = filePixmap(image.toString(), box.size());
    }
    if (picture.isNull())
        picture = resourcePixmap(ResourcePaths::kGenericControllerPicture, box.size());

    p->save();
    p->setOpacity(dimmed ? 0.45 : 1.0);
    drawCentered(p, box, picture);
    p->restore();
}

void DeviceItemDelegate::paintCarousel(QPainter *p, const QRect &item,
                                       const QModelIndex &index) const
{
    for (const QRect &arrow : {cardLeftArrowRect(item), cardRightArrowRect(item)}) {
        p->setPen(QPen(QColor(0, 200, 230, 90), 1.0));
        p->setBrush(QColor(255, 255, 255, 16));
        p->drawRoundedRect(QRectF(arrow).adjusted(0.5, 0.5, -0.5, -0.5), 6, 6);
        drawChevron(p, arrow, arrow == cardLeftArrowRect(item));
    }

    const QRect badge = cardBadgeRect(item);
    p->setPen(QPen(QColor(140, 230, 250), 1.0));
    p->setBrush(QColor(0, 130, 170, 230));
    p->drawRoundedRect(QRectF(badge).adjusted(0.5, 0.5, -0.5, -0.5), 10, 10);
    p->setFont(pixelFont(p->font(), 12, 700));
    p->setPen(Qt::white);
    p->drawText(badge, Qt::AlignCenter,
                carouselBadgeText(field(index, ActiveProfilePosition).toInt(),
                                  field(index, ProfileCount).toInt()));
}

void DeviceItemDelegate::paintTexts(QPainter *p, const QRect &item, const QModelIndex &index,
                                    bool connected) const
{
    const QString name = field(index, Name).toString();
    const QString product =
        cardSecondLine(name, field(index, Product).toString(), field(index, Ip).toString());
    const QString model = field(index, ModelString).toString();

    struct Line
    {
        QString text;
        QFont font;
        QColor color;
    };
    QFont mono(QStringLiteral("Consolas"));
    mono.setStyleHint(QFont::Monospace);
    const Line lines[] = {
        {name.isEmpty() ? QStringLiteral("<Sans nom>") : name,
         pixelFont(p->font(), 15, QFont::DemiBold), connected ? kTextBright : kTextSoft},
        {product, pixelFont(p->font(), 12), connected ? kTextSoft : kTextDim},
        {model, pixelFont(mono, 12), connected ? kMono : kTextDim},
    };
    const QList<QRect> rows = cardTextRows(item);
    for (int i = 0; i < rows.size(); ++i) {
        if (lines[i].text.isEmpty())
            continue;
        p->setFont(lines[i].font);
        p->setPen(lines[i].color);
        p->drawText(
            rows[i], Qt::AlignCenter,
            QFontMetrics(lines[i].font).elidedText(lines[i].text, Qt::ElideRight, rows[i].width()));
    }
}

void DeviceItemDelegate::paintChips(QPainter *p, const QRect &strip,
                                    const QStringList &entries) const
{
    p->setPen(QPen(QColor(255, 255, 255, 22), 1.0));
    p->drawLine(strip.left(), strip.top() - 5, strip.right(), strip.top() - 5);

    if (entries.isEmpty()) {
        QFont font = pixelFont(p->font(), 11);
        font.setItalic(true);
        p->setFont(font);
        p->setPen(kTextDim);
        p->drawText(strip, Qt::AlignCenter, QStringLiteral("No controls"));
        return;
    }
    p->setFont(pixelFont(p->font(), 9, QFont::Bold));
    for (const ControlChip &chip : layoutControlChips(strip, entries)) {
        const bool overflow = chip.kind == ControlChip::Other && chip.target.isEmpty();
        p->setPen(QPen(QColor(0, 200, 230, overflow ? 140 : 70), 1.0));
        p->setBrush(overflow ? QColor(0, 200, 230, 40) : QColor(255, 255, 255, 14));
        p->drawRoundedRect(QRectF(chip.rect).adjusted(0.5, 0.5, -0.5, -0.5), 5, 5);
        if (chip.kind == ControlChip::Axis || chip.kind == ControlChip::Button) {
            const QString &icon = chip.kind == ControlChip::Axis ? m_axisIcon : m_buttonIcon;
            drawCentered(p, chip.rect.adjusted(2, 2, -2, -2), resourcePixmap(icon, QSize(16, 16)));
        } else {
            p->setPen(kTextBright);
            p->drawText(chip.rect, Qt::AlignCenter,
                        overflow ? chip.text : chip.text.left(2).toUpper());
        }
    }
}

void DeviceItemDelegate::paintLinkState(QPainter *p, const QRect &area, int state) const
{
    const QString &icon =
        state == 2 ? m_connectedIcon : (state == 1 ? m_busyIcon : m_disconnectedIcon);
    p->setPen(QPen(QColor(255, 255, 255, 30), 1.0));
    p->setBrush(QColor(16, 22, 30, 210));
    p->drawEllipse(QRectF(area).adjusted(3, 3, -3, -3));
    drawCentered(p, area.adjusted(6, 6, -6, -6), resourcePixmap(icon, QSize(18, 18)));
}

// ---- shared pixmap cache ----------------------------------------------------------------------

static QPixmap cachedPixmap(const QString &key, const QString &path, const QSize &size)
{
    QPixmap pixmap;
    if (QPixmapCache::find(key, &pixmap))
        return pixmap;
    const QPixmap source(path);
    if (source.isNull() || size.isEmpty())
        return QPixmap();
    pixmap = source.scaled(size, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    if (!pixmap.isNull())
        QPixmapCache::insert(key, pixmap);
    return pixmap;
}

QPixmap DeviceItemDelegate::resourcePixmap(const QString &path, const QSize &size) const
{
    return cachedPixmap(resourceCacheKey(path, size), path, size);
}

QPixmap DeviceItemDelegate::filePixmap(const QString &path, const QSize &size) const
{
    return cachedPixmap(imageCacheKey(path, size), path, size);
}

QSize DeviceItemDelegate::sizeHint(const QStyleOptionViewItem &, const QModelIndex &) const
{
    return cardSizeHint();
}

// ---- clicks -----------------------------------------------------------------------------------

QMenu *DeviceItemDelegate::createContextMenu(const QString &usn, bool selected, QWidget *parent)
{
    auto *menu = new QMenu(parent);
    const QString toggleText =
        selected ? QStringLiteral("Désélectionner") : QStringLiteral("Sélectionner");
    connect(menu->addAction(toggleText), &QAction::triggered, this,
            [this, usn, selected] { Q_EMIT toggledSelect(usn, !selected); });
    connect(menu->addAction(QStringLiteral("Configurer")), &QAction::triggered, this,
            [this, usn] { Q_EMIT requestConfig(usn); });
    menu->addSeparator();
    connect(menu->addAction(QStringLiteral("Supprimer")), &QAction::triggered, this,
            [this, usn] { Q_EMIT requestDelete(usn); });
    return menu;
}

bool DeviceItemDelegate::editorEvent(QEvent *event, QAbstractItemModel *model,
                                     const QStyleOptionViewItem &option, const QModelIndex &index)
{
    if (!event)
        return false;
    if (!index.isValid() || event->type() != QEvent::MouseButtonRelease)
        return QStyledItemDelegate::editorEvent(event, model, option, index);
    resolveRoles(model ? model : index.model());
    const auto *mouse = static_cast<QMouseEvent *>(event);

    if (mouse->button() == Qt::RightButton) {
        // Non-blocking, so the host's event loop keeps running while the menu is open.
        QMenu *menu =
            createContextMenu(field(index, Usn).toString(), field(index, Selected).toBool(),
                              const_cast<QWidget *>(option.widget));
        menu->setAttribute(Qt::WA_DeleteOnClose);
        menu->popup(mouse->globalPosition().toPoint());
        return true;
    }
    if (mouse->button() == Qt::LeftButton &&
        handleLeftRelease(mouse->position().toPoint(), model, option, index))
        return true;
    return QStyledItemDelegate::editorEvent(event, model, option, index);
}

bool DeviceItemDelegate::handleLeftRelease(const QPoint &pos, QAbstractItemModel *model,
                                           const QStyleOptionViewItem &option,
                                           const QModelIndex &index)
{
    const QRect item = option.rect;
    const QString usn = field(index, Usn).toString();
    if (cardCloseRect(item).contains(pos)) {
        Q_EMIT requestDelete(usn);
        return true;
    }
    if (carouselShown(index)) {
        if (cardLeftArrowRect(item).contains(pos)) {
            Q_EMIT cycleProfile(usn, -1);
            return true;
        }
        if (cardRightArrowRect(item).contains(pos)) {
            Q_EMIT cycleProfile(usn, +1);
            return true;
        }
    }
    if (modelRole(Selected) < 0 || !model)
        return false;
    // A model that takes the change reports it itself; the signal is only the fallback.
    const bool wanted = !field(index, Selected).toBool();
    if (!model->setData(index, wanted, modelRole(Selected)))
        Q_EMIT toggledSelect(usn, wanted);
    return true;
}

QWidget *DeviceItemDelegate::createEditor(QWidget *, const QStyleOptionViewItem &,
                                          const QModelIndex &) const
{
    return nullptr;
}

// ---- tooltips ---------------------------------------------------------------------------------

bool DeviceItemDelegate::helpEvent(QHelpEvent *event, QAbstractItemView *view,
                                   const QStyleOptionViewItem &option, const QModelIndex &index)
{
    if (!event)
        return false;
    if (event->type() != QEvent::ToolTip || !index.isValid())
        return QStyledItemDelegate::helpEvent(event, view, option, index);
    resolveRoles(index.model());
    QRect area;
    const QString text = tooltipAt(event->pos(), option.rect, index, &area);
    if (text.isEmpty())
        return QStyledItemDelegate::helpEvent(event, view, option, index);
    QToolTip::showText(event->globalPos(), text, view ? view->viewport() : nullptr, area);
    return true;
}

QString DeviceItemDelegate::tooltipAt(const QPoint &pos, const QRect &item,
                                      const QModelIndex &index, QRect *area) const
{
    const QStringList entries = field(index, VideoInterfaces).toStringList();
    for (const ControlChip &chip : layoutControlChips(cardControlsStrip(item), entries)) {
        if (!chip.rect.contains(pos))
            continue;
        *area = chip.rect;
        if (chip.kind == ControlChip::Other)
            return chip.text;
        QString label = chip.label;
        if (label.isEmpty())
            label =
                chip.kind == ControlChip::Axis ? QStringLiteral("Axe") : QStringLiteral("Bouton");
        return QStringLiteral("%1: %2").arg(label, controlChipValue(chip.target));
    }

    if (carouselShown(index)) {
        for (const QRect &r :
             {cardBadgeRect(item), cardLeftArrowRect(item), cardRightArrowRect(item)}) {
            if (!r.contains(pos))
                continue;
            *area = r;
            QString name = field(index, ActiveProfileName).toString();
            if (name.isEmpty())
                name = QStringLiteral("Aucun profil");
            return QStringLiteral("%1 (%2)").arg(
                name, carouselBadgeText(field(index, ActiveProfilePosition).toInt(),
                                        field(index, ProfileCount).toInt()));
        }
    }

    const QRect link = cardLinkStateRect(item);
    if (field(index, Selected).toBool() && link.contains(pos)) {
        *area = link;
        switch (field(index, LinkState).toInt()) {
        case 2:
            return QStringLiteral("Interface: connecté");
        case 1:
            return QStringLiteral("Interface: connexion en cours");
        default:
            return QStringLiteral("Interface: déconnecté");
        }
    }
    return QString();
}
