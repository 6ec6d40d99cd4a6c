#pragma once

#include "overlaydocument.h"

#include <QColor>
#include <QFont>
#include <QPoint>
#include <QRect>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QUuid>
#include <QWidget>

class QMenu;
class QPainter;

// A pastille: the child widget of the overlay that stands for one node over the controller
// picture. While editable it is dragged and resized by its grip; otherwise a click activates it.
class TouchArea : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(TouchArea::State state READ state WRITE setState)
    Q_PROPERTY(TouchArea::ElementKind elementKind READ elementKind WRITE setElementKind)

public:
    enum State { Normal = 0, Listening = 1, Active = 2 };
    Q_ENUM(State)
    enum ElementKind { SingleJoy = 0, DualJoyCross = 1, Button = 2 };
    Q_ENUM(ElementKind)
    // The document's kinds, re-declared where Qt's meta-object system can name them; casts
    // between the two keep the kind.
    static_assert(SingleJoy == int(::ElementKind::SingleJoy) &&
                      DualJoyCross == int(::ElementKind::DualJoyCross) &&
                      Button == int(::ElementKind::Button),
                  "ElementKind values follow the overlay document's");

    // The body and outline colours of a pastille in a given state.
    struct Colors
    {
        QColor pale;   // body
        QColor strong; // outline and marks
    };
    static Colors colorsFor(State state, bool joystickLook, bool hovered);

    // Everything a pastille's drawing depends on.
    struct Look
    {
        QSize size;
        ElementKind kind = SingleJoy;
        State state = Normal;
        bool joystickLook = true;
        bool hovered = false;
        bool editable = false;
        QString title;
        QString subtitle;
        QFont font;
    };
    // Draws a pastille at the painter's origin, as the widget paints itself; the overlay's
    // snapshot draws its pastilles with it, without making widgets.
    static void paint(QPainter &painter, const Look &look);

    // The size of a new pastille.
    static constexpr int kNewSide = 120;

    explicit TouchArea(QWidget *parent = nullptr);

    // Back to the state of a new pastille of `kind` (title, texts, flags, state; a new id), without
    // a signal and without moving: the overlay hands its pastilles on to the next layout it loads
    // rather than making new widgets, and places them itself.
    void renew(ElementKind kind);

    QUuid id() const { return m_id; }
    void setId(const QUuid &id) { m_id = id; }
    QString title() const { return m_title; }
    void setTitle(const QString &title);
    QString subtitle() const { return m_subtitle; }
    void setSubtitle(const QString &subtitle);
    QStringList labels() const { return m_labels; }
    void setLabels(const QStringList &labels);
    bool isEditable() const { return m_editable; }
    void setEditable(bool editable);
    bool isHovered() const { return m_hovered; }
    bool isMoving() const { return m_moving; }
    bool isResizing() const { return m_resizing; }
    ElementKind elementKind() const { return m_elementKind; }
    void setElementKind(ElementKind kind);
    bool freeAspect() const { return m_freeAspect; }
    void setFreeAspect(bool freeAspect);
    bool joystickLook() const { return m_joystickLook; }
    void setJoystickLook(bool joystickLook);
    State state() const { return m_state; }
    void setState(State state);
    Look look() const;
    // A held pastille paints nothing until released: the overlay shows a large layout a batch of
    // pastilles per turn of the event loop.
    bool isPaintingHeld() const { return m_paintingHeld; }
    void setPaintingHeld(bool held);

    // The resize grip in widget coordinates; empty while the pastille is not editable.
    QRect resizeGripRect() const;
    // The rename rule of the context menu: a trimmed, non-empty text that differs from the title
    // becomes the title and emits titleEdited. Returns whether the title changed.
    bool applyEditedTitle(const QString &text);
    // The context menu of an editable pastille ("Renommer...", "Dupliquer", "Supprimer"), owned
    // by the caller; null while the pastille is not editable.
    QMenu *createContextMenu(QWidget *menuParent);

signals:
    void activated(const QUuid &id, const QString &title);
    void clicked(TouchArea *self);
    void requestDelete(TouchArea *self);
    void requestDuplicate(TouchArea *self);
    void moved();
    void resized();
    void stateChanged(TouchArea::State newState, TouchArea::State oldState);
    void elementKindChanged(TouchArea::ElementKind kind);
    void freeAspectChanged(bool freeAspect);
    void titleEdited(const QString &title);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void enterEvent(QEnterEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;

private:
    void promptRename();
    void keepInsideParent(const QRect &wanted);

    QUuid m_id;
    QString m_title = QStringLiteral("Element");
    QString m_subtitle;
    QStringList m_labels;
    bool m_editable = true;
    bool m_hovered = false;
    bool m_moving = false;
    bool m_resizing = false;
    QPoint m_pressGlobalPos;
    QRect m_pressGeometry;
    ElementKind m_elementKind = SingleJoy;
    bool m_freeAspect = false;
    bool m_joystickLook = true;
    State m_state = Normal;
    bool m_paintingHeld = false;
};
