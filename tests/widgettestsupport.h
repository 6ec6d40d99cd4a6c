#pragma once

#include <QtWidgets>

#include <algorithm>

// Counts the paints of the widget it watches.
struct PaintCount : QObject
{
    int paints = 0;
    bool eventFilter(QObject *, QEvent *e) override
    {
        return paints += e->type() == QEvent::Paint, false;
    }
};

// A drag with the left button, as plain events since Qt Test's mouseMove carries no buttons.
inline void dragWidget(QWidget *widget, const QPoint &from, const QPoint &delta)
{
    const auto send = [widget](QEvent::Type type, const QPoint &global, Qt::MouseButtons buttons) {
        QMouseEvent e(type, widget->mapFromGlobal(QPointF(global)), QPointF(global), Qt::LeftButton,
                      buttons, Qt::NoModifier);
        QApplication::sendEvent(widget, &e);
    };
    send(QEvent::MouseButtonPress, widget->mapToGlobal(from), Qt::LeftButton);
    send(QEvent::MouseMove, widget->mapToGlobal(from) + delta, Qt::LeftButton);
    send(QEvent::MouseButtonRelease, widget->mapToGlobal(from) + delta, Qt::NoButton);
}

// The widgets under `root` that no layout places (class and object name): they would sit in the
// top-left corner over the others. The insides of Qt's own widgets are left out.
inline QStringList unplacedWidgets(QWidget *root)
{
    QStringList unplaced;
    for (QWidget *widget : root->findChildren<QWidget *>()) {
        QWidget *parent = widget->parentWidget();
        const QMetaObject *kind = parent->metaObject();
        if ((kind != &QWidget::staticMetaObject && kind != &QFrame::staticMetaObject &&
             parent != root) ||
            parent->objectName().startsWith(QLatin1String("qt_"))) // a scroll area's viewport
            continue;
        const auto layouts = parent->findChildren<QLayout *>();
        if (std::none_of(layouts.begin(), layouts.end(),
                         [widget](QLayout *layout) { return layout->indexOf(widget) >= 0; }))
            unplaced << widget->metaObject()->className() + widget->objectName();
    }
    return unplaced;
}

// The pairs of shown widgets that one layout under `root` places over each other, once `root` is
// laid out at `size`.
inline QStringList overlappingWidgets(QWidget *root, const QSize &size)
{
    root->resize(size);
    QStringList overlaps;
    for (QLayout *layout : root->findChildren<QLayout *>()) {
        layout->activate();
        QList<QWidget *> placed;
        for (int i = 0; i < layout->count(); ++i) {
            QWidget *widget = layout->itemAt(i)->widget();
            if (widget && widget->isVisibleTo(root))
                placed << widget;
        }
        for (int i = 0; i < placed.size(); ++i)
            for (int j = i + 1; j < placed.size(); ++j)
                if (placed[i]->geometry().intersects(placed[j]->geometry()))
                    overlaps << placed[i]->objectName() + '/' + placed[j]->objectName();
    }
    return overlaps;
}
