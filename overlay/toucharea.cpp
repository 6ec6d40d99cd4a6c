#include "toucharea.h"

#include "pastillegeometry.h"

#include <QContextMenuEvent>
#include <QInputDialog>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

namespace {

::ElementKind documentKind(TouchArea::ElementKind kind)
{
    return static_cast<::ElementKind>(kind);
}

void drawStickMark(QPainter &p, const QRectF &body, const QColor &strong)
{
    const QPointF c = body.center();
    const qreal r = std::min(body.width(), body.height()) * 0.22;
    p.setPen(QPen(strong, 2));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(c, r, r);
    p.setBrush(strong);
    p.drawEllipse(c, r * 0.35, r * 0.35);
}

void drawCrossMark(QPainter &p, const QRectF &body, const QColor &strong)
{
    const QPointF c = body.center();
    const qreal arm = std::min(body.width(), body.height()) * 0.26;
    p.setPen(QPen(strong, 3, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(c - QPointF(arm, 0), c + QPointF(arm, 0));
    p.drawLine(c - QPointF(0, arm), c + QPointF(0, arm));
    p.setPen(Qt::NoPen);
    p.setBrush(strong);
    const qreal tip = arm * 0.18;
    p.drawEllipse(c + QPointF(arm, 0), tip, tip);
    p.drawEllipse(c - QPointF(arm, 0), tip, tip);
    p.drawEllipse(c + QPointF(0, arm), tip, tip);
    p.drawEllipse(c - QPointF(0, arm), tip, tip);
}

void drawButtonMark(QPainter &p, const QRectF &body, const QColor &strong)
{
    const qreal r = std::min(body.width(), body.height()) * 0.16;
    p.setPen(Qt::NoPen);
    p.setBrush(strong);
    p.drawEllipse(body.center(), r, r);
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
    setMinimumSize(44, 44);
    setFixedSize(120, 120);
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
    if (editable == m_editable)
        return;
    m_editable = editable;
    if (!editable)
        m_moving = m_resizing = false;
    setCursor(editable ? Qt::OpenHandCursor : Qt::PointingHandCursor);
    update();
}

void TouchArea::setElementKind(ElementKind kind)
{
    if (kind == m_elementKind)
        return;
    m_elementKind = kind;
    m_joystickLook = kind != Button;
    const int side = pastilleMinimumSide(documentKind(kind));
    if (width() < side || height() < side)
        setFixedSize(size().expandedTo(QSize(side, side)));
    update();
    Q_EMIT elementKindChanged(kind);
}

void TouchArea::setFreeAspect(bool freeAspect)
{
    if (freeAspect == m_freeAspect)
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
    if (state == m_state)
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
    const QString title = text.trimmed();
    if (title.isEmpty() || title == m_title)
        return false;
    setTitle(title);
    Q_EMIT titleEdited(title);
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
    bool accepted = false;
    const QString text =
        QInputDialog::getText(this, QStringLiteral("Renommer l'element"), QStringLiteral("Nom :"),
                              QLineEdit::Normal, m_title, &accepted);
    if (accepted)
        applyEditedTitle(text);
}

void TouchArea::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const Colors colors = colorsFor(m_state, m_joystickLook, m_hovered);
    const QRectF body = QRectF(rect()).adjusted(1.5, 1.5, -1.5, -1.5);
    const qreal radius = m_elementKind == Button ? std::min(body.width(), body.height()) / 2
                                                 : std::min(body.width(), body.height()) * 0.18;
    p.setPen(QPen(colors.strong, 2.5));
    p.setBrush(colors.pale);
    p.drawRoundedRect(body, radius, radius);

    switch (m_elementKind) {
    case SingleJoy:
        drawStickMark(p, body, colors.strong);
        break;
    case DualJoyCross:
        drawCrossMark(p, body, colors.strong);
        break;
    case Button:
        drawButtonMark(p, body, colors.strong);
        break;
    }

    QFont font = p.font();
    font.setBold(true);
    font.setPixelSize(std::clamp(height() / 8, 9, 14));
    p.setFont(font);
    p.setPen(QColor(20, 30, 40));
    const QRectF titleBox = body.adjusted(4, 4, -4, -body.height() * 0.62);
    p.drawText(titleBox, Qt::AlignHCenter | Qt::AlignTop | Qt::TextSingleLine, m_title);
    if (!m_subtitle.isEmpty()) {
        font.setBold(false);
        font.setPixelSize(std::clamp(height() / 10, 8, 12));
        p.setFont(font);
        p.drawText(body.adjusted(4, body.height() * 0.68, -4, -4),
                   Qt::AlignHCenter | Qt::AlignTop | Qt::TextSingleLine, m_subtitle);
    }

    if (m_editable) {
        const QRect grip = resizeGripRect();
        p.setPen(QPen(colors.strong, 1.5));
        for (int i = 0; i < 3; ++i)
            p.drawLine(grip.right() - 8 + 4 * i, grip.bottom(), grip.right(),
                       grip.bottom() - 8 + 4 * i);
    }
}

void TouchArea::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    Q_EMIT clicked(this);
    if (!m_editable) {
        Q_EMIT activated(m_id, m_title);
        event->accept();
        return;
    }
    m_pressGeometry = geometry();
    m_pressGlobalPos = event->globalPosition().toPoint();
    m_resizing = resizeGripRect().contains(event->position().toPoint());
    m_moving = !m_resizing;
    setCursor(m_resizing ? Qt::SizeFDiagCursor : Qt::ClosedHandCursor);
    event->accept();
}

void TouchArea::mouseMoveEvent(QMouseEvent *event)
{
    if (!m_editable) {
        QWidget::mouseMoveEvent(event);
        return;
    }
    const QPoint delta = event->globalPosition().toPoint() - m_pressGlobalPos;
    const QSize parentSize = parentWidget() ? parentWidget()->size() : QSize();
    if (m_resizing) {
        const QSize size =
            resizedPastilleSize(documentKind(m_elementKind), m_freeAspect, m_pressGeometry.size(),
                                m_pressGeometry.size() + QSize(delta.x(), delta.y()));
        setFixedSize(size);
        if (parentWidget())
            move(keptInsideParent(QRect(pos(), size), parentSize).topLeft());
        Q_EMIT resized();
        update();
    } else if (m_moving) {
        QRect target = m_pressGeometry.translated(delta);
        if (parentWidget())
            target = keptInsideParent(target, parentSize);
        move(target.topLeft());
        Q_EMIT moved();
    } else {
        const bool overGrip = resizeGripRect().contains(event->position().toPoint());
        setCursor(overGrip ? Qt::SizeFDiagCursor : Qt::OpenHandCursor);
    }
}

void TouchArea::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton || !m_editable) {
        QWidget::mouseReleaseEvent(event);
        return;
    }
    m_moving = m_resizing = false;
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

void TouchArea::contextMenuEvent(QContextMenuEvent *event)
{
    QMenu *menu = createContextMenu(this);
    if (!menu) {
        event->ignore();
        return;
    }
    menu->exec(event->globalPos());
    delete menu;
}
