#include "toucharea.h"

#include "dialogseam.h"
#include "pastillegeometry.h"

#include <QContextMenuEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPointer>

#include <algorithm>

namespace {
const QColor kTextColor(22, 32, 48);

::ElementKind documentKind(TouchArea::ElementKind kind)
{
    return static_cast<::ElementKind>(kind);
}

QPoint globalPos(const QMouseEvent *event)
{
    return event->globalPosition().toPoint();
}
} // namespace

TouchArea::Colors TouchArea::colorsFor(State state, bool joystickLook, bool hovered)
{
    switch (state) {
    case Listening:
        return {QColor(175, 255, 205, 240), QColor(75, 200, 120, 240)};
    case Active:
        return joystickLook ? Colors{QColor(215, 235, 255, 245), QColor(125, 185, 255, 250)}
                            : Colors{QColor(255, 229, 196, 245), QColor(255, 186, 92, 248)};
    case Normal:
        break;
    }
    return joystickLook
               ? Colors{QColor(180, 220, 255, hovered ? 210 : 170), QColor(65, 145, 255, 225)}
               : Colors{QColor(255, 214, 168, hovered ? 220 : 185), QColor(255, 152, 64, 228)};
}

TouchArea::TouchArea(QWidget *parent) : QWidget(parent), m_id(QUuid::createUuid())
{
    setMouseTracking(true);
    setAttribute(Qt::WA_TranslucentBackground);
    setCursor(Qt::OpenHandCursor);
    const int smallest = pastilleMinimumSide(::ElementKind::Button); // no kind is smaller
    setMinimumSize(smallest, smallest);
    setFixedSize(kNewSide, kNewSide);
}

void TouchArea::renew(ElementKind kind)
{
    m_id = QUuid::createUuid();
    m_title = QStringLiteral("Element");
    m_subtitle.clear();
    m_labels.clear();
    m_editable = true;
    m_hovered = false;
    m_moving = false;
    m_resizing = false;
    m_pressGlobalPos = QPoint();
    m_pressGeometry = QRect();
    m_elementKind = kind;
    m_freeAspect = false;
    m_joystickLook = kind != Button;
    m_state = Normal;
    m_paintingHeld = false;
    if (cursor().shape() != Qt::OpenHandCursor)
        setCursor(Qt::OpenHandCursor);
    update();
}

void TouchArea::setTitle(const QString &title)
{
    m_title = title;
    update();
}

void TouchArea::setSubtitle(const QString &subtitle)
{
    m_subtitle = subtitle;
    update();
}

void TouchArea::setLabels(const QStringList &labels)
{
    m_labels = labels;
    update();
}

void TouchArea::setEditable(bool editable)
{
    if (m_editable == editable)
        return;
    m_editable = editable;
    // A drag in progress cannot survive leaving edit mode.
    m_moving = false;
    m_resizing = false;
    setCursor(Qt::OpenHandCursor);
    update();
}

void TouchArea::setElementKind(ElementKind kind)
{
    if (m_elementKind == kind)
        return;
    m_elementKind = kind;
    const int side = pastilleMinimumSide(documentKind(kind));
    if (width() < side || height() < side)
        setFixedSize(size().expandedTo(QSize(side, side)));
    m_joystickLook = kind != Button;
    update();
    Q_EMIT elementKindChanged(kind);
}

void TouchArea::setFreeAspect(bool freeAspect)
{
    if (m_freeAspect == freeAspect)
        return;
    m_freeAspect = freeAspect;
    Q_EMIT freeAspectChanged(freeAspect);
}

void TouchArea::setJoystickLook(bool joystickLook)
{
    m_joystickLook = joystickLook;
    update();
}

void TouchArea::setState(State state)
{
    if (m_state == state)
        return;
    const State old = m_state;
    m_state = state;
    update();
    Q_EMIT stateChanged(state, old);
}

QRect TouchArea::resizeGripRect() const
{
    return m_editable ? pastilleGripRect(size()) : QRect();
}

bool TouchArea::applyEditedTitle(const QString &text)
{
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty() || trimmed == m_title)
        return false;
    m_title = trimmed;
    update();
    Q_EMIT titleEdited(m_title);
    return true;
}

QMenu *TouchArea::createContextMenu(QWidget *menuParent)
{
    if (!m_editable)
        return nullptr;
    auto *menu = new QMenu(menuParent);
    connect(menu->addAction(QStringLiteral("Renommer...")), &QAction::triggered, this,
            &TouchArea::promptRename);
    connect(menu->addAction(QStringLiteral("Dupliquer")), &QAction::triggered, this,
            [this] { Q_EMIT requestDuplicate(this); });
    connect(menu->addAction(QStringLiteral("Supprimer")), &QAction::triggered, this,
            [this] { Q_EMIT requestDelete(this); });
    return menu;
}

void TouchArea::promptRename()
{
    bool ok = false;
    const QString text = dialogSeam().getText(this, QStringLiteral("Renommer l'element"),
                                              QStringLiteral("Nom :"), m_title, &ok);
    if (ok)
        applyEditedTitle(text);
}

void TouchArea::contextMenuEvent(QContextMenuEvent *event)
{
    if (!m_editable) {
        event->ignore();
        return;
    }
    // The overlay may discard this pastille from a menu action, so both are watched.
    QPointer<QMenu> menu = createContextMenu(this);
    menu->exec(event->globalPos());
    delete menu.data();
    event->accept();
}

void TouchArea::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    QPointer<TouchArea> self(this);
    Q_EMIT clicked(this);
    if (!self)
        return; // a mouse event arrives accepted: nothing beneath hears this press
    if (!m_editable) {
        Q_EMIT activated(m_id, m_title);
        return;
    }
    m_pressGeometry = geometry();
    m_pressGlobalPos = globalPos(event);
    m_resizing = pastilleGripRect(size()).contains(event->position().toPoint());
    m_moving = !m_resizing;
    setCursor(m_resizing ? Qt::SizeFDiagCursor : Qt::ClosedHandCursor);
}

void TouchArea::mouseMoveEvent(QMouseEvent *event)
{
    if (!m_editable) {
        QWidget::mouseMoveEvent(event);
        return;
    }
    const QPoint delta = globalPos(event) - m_pressGlobalPos;
    if (m_resizing) {
        const QSize proposed = m_pressGeometry.size() + QSize(delta.x(), delta.y());
        const QSize newSize = resizedPastilleSize(documentKind(m_elementKind), m_freeAspect,
                                                  m_pressGeometry.size(), proposed);
        setFixedSize(newSize);
        keepInsideParent(QRect(pos(), newSize));
        Q_EMIT resized();
        update();
    } else if (m_moving) {
        keepInsideParent(m_pressGeometry.translated(delta));
        Q_EMIT moved();
    } else {
        const bool overGrip = pastilleGripRect(size()).contains(event->position().toPoint());
        setCursor(overGrip ? Qt::SizeFDiagCursor : Qt::OpenHandCursor);
    }
    event->accept();
}

void TouchArea::keepInsideParent(const QRect &wanted)
{
    const QWidget *parent = parentWidget();
    const QRect kept = parent ? keptInsideParent(wanted, parent->size()) : wanted;
    move(kept.topLeft());
}

void TouchArea::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton || !m_editable) {
        QWidget::mouseReleaseEvent(event);
        return;
    }
    m_moving = false;
    m_resizing = false;
    setCursor(Qt::OpenHandCursor);
    event->accept();
}

void TouchArea::enterEvent(QEnterEvent *event)
{
    m_hovered = true;
    update();
    QWidget::enterEvent(event);
}

void TouchArea::leaveEvent(QEvent *event)
{
    m_hovered = false;
    update();
    QWidget::leaveEvent(event);
}

// ---- painting ----

TouchArea::Look TouchArea::look() const
{
    return {size(),     m_elementKind, m_state,    m_joystickLook, m_hovered,
            m_editable, m_title,       m_subtitle, font()};
}

void TouchArea::setPaintingHeld(bool held)
{
    if (m_paintingHeld == held)
        return;
    m_paintingHeld = held;
    update();
}

void TouchArea::paintEvent(QPaintEvent *)
{
    if (m_paintingHeld)
        return;
    QPainter painter(this);
    paint(painter, look());
}

namespace {

void paintMark(QPainter &painter, TouchArea::ElementKind kind, const QRectF &body,
               const QColor &strong)
{
    const QPointF centre = body.center();
    const qreal half = std::min(body.width(), body.height()) * 0.5;
    QColor faint = strong;
    faint.setAlpha(60);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(strong, 2.0, Qt::SolidLine, Qt::RoundCap));
    switch (kind) {
    case TouchArea::DualJoyCross: {
        // Two axes: a cross spanning the body, with a knob where they meet.
        const qreal dx = body.width() * 0.36;
        const qreal dy = body.height() * 0.36;
        painter.drawLine(QPointF(centre.x() - dx, centre.y()),
                         QPointF(centre.x() + dx, centre.y()));
        painter.drawLine(QPointF(centre.x(), centre.y() - dy),
                         QPointF(centre.x(), centre.y() + dy));
        painter.setBrush(faint);
        painter.drawEllipse(centre, half * 0.14, half * 0.14);
        break;
    }
    case TouchArea::Button:
        // A round push button.
        painter.setBrush(faint);
        painter.drawEllipse(centre, half * 0.62, half * 0.62);
        break;
    case TouchArea::SingleJoy:
        // A stick: its travel circle and the knob in the middle.
        painter.drawEllipse(centre, half * 0.7, half * 0.7);
        painter.setBrush(faint);
        painter.drawEllipse(centre, half * 0.22, half * 0.22);
        break;
    }
}

void paintTexts(QPainter &painter, const TouchArea::Look &look, const QRectF &body)
{
    const QRectF inner = body.adjusted(4, 4, -4, -4);
    QFont titleFont = look.font;
    titleFont.setBold(true);
    const QFontMetricsF titleMetrics(titleFont);
    QFont subtitleFont = look.font;
    subtitleFont.setPointSizeF(std::max(6.0, subtitleFont.pointSizeF() * 0.8));
    const QFontMetricsF subtitleMetrics(subtitleFont);

    const bool hasSubtitle = !look.subtitle.isEmpty();
    const PastilleTextRects rects = pastilleTextRects(inner, titleMetrics.height(),
                                                      hasSubtitle ? subtitleMetrics.height() : 0.0);

    painter.setPen(kTextColor);
    painter.setFont(titleFont);
    painter.drawText(rects.title, Qt::AlignCenter,
                     titleMetrics.elidedText(look.title, Qt::ElideRight, inner.width()));
    if (!hasSubtitle)
        return;
    painter.setFont(subtitleFont);
    painter.drawText(rects.subtitle, Qt::AlignCenter,
                     subtitleMetrics.elidedText(look.subtitle, Qt::ElideRight, inner.width()));
}

void paintGrip(QPainter &painter, const QSize &size, const QColor &strong)
{
    // Three diagonal strokes in the bottom-right corner, the usual size-grip look.
    const QRectF grip = pastilleGripRect(size);
    painter.setPen(QPen(strong, 1.5, Qt::SolidLine, Qt::RoundCap));
    for (int i = 0; i < 3; ++i) {
        const qreal offset = 3.0 + i * 4.0;
        painter.drawLine(QPointF(grip.right() - offset, grip.bottom()),
                         QPointF(grip.right(), grip.bottom() - offset));
    }
}

} // namespace

void TouchArea::paint(QPainter &painter, const Look &look)
{
    painter.setRenderHint(QPainter::Antialiasing);
    const Colors colors = colorsFor(look.state, look.joystickLook, look.hovered);
    const QRectF body = QRectF(QPointF(), look.size).adjusted(1.5, 1.5, -1.5, -1.5);
    const qreal radius = std::min(body.width(), body.height()) * 0.22;

    painter.setPen(QPen(colors.strong, look.state == Listening ? 3.0 : 2.0));
    painter.setBrush(colors.pale);
    painter.drawRoundedRect(body, radius, radius);

    paintMark(painter, look.kind, body, colors.strong);
    paintTexts(painter, look, body);
    if (look.editable)
        paintGrip(painter, look.size, colors.strong);
}
