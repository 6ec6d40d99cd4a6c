#pragma once

#include "devicemodelroles.h"

#include <QStyledItemDelegate>

#include <array>

class QMenu;
class QPainter;
class QPixmap;

// Paints each gamepad of the device list as a card and turns clicks on the card into requests:
// select or deselect, configure, delete, step through the profiles. It never touches files; the
// owner of the view acts on its signals, and only the selection goes through the model.
class DeviceItemDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    explicit DeviceItemDelegate(QObject *parent = nullptr);
    ~DeviceItemDelegate() override;

    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    bool editorEvent(QEvent *event, QAbstractItemModel *model, const QStyleOptionViewItem &option,
                     const QModelIndex &index) override;
    bool helpEvent(QHelpEvent *event, QAbstractItemView *view, const QStyleOptionViewItem &option,
                   const QModelIndex &index) override;
    // Cards are edited through their clicks and the configuration window, never in place.
    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem &option,
                          const QModelIndex &index) const override;

    // The context menu of a card: select or deselect, configure, delete. Its actions emit the
    // matching signals for `usn`; the caller owns the menu.
    QMenu *createContextMenu(const QString &usn, bool selected, QWidget *parent = nullptr);

signals:
    void toggledSelect(QString usn, bool selected);
    void requestConfig(QString usn);
    void requestDelete(QString usn);
    void cycleProfile(QString usn, int delta);

private:
    void resolveRoles(const QAbstractItemModel *model) const;
    // The value of a device list role, found in the painted model by its name.
    QVariant field(const QModelIndex &index, DeviceModelRoles::Role which) const;
    int modelRole(DeviceModelRoles::Role which) const
    {
        return m_roles[which - DeviceModelRoles::Usn];
    }
    bool carouselShown(const QModelIndex &index) const;
    bool handleLeftRelease(const QPoint &pos, QAbstractItemModel *model,
                           const QStyleOptionViewItem &option, const QModelIndex &index);
    QString tooltipAt(const QPoint &pos, const QRect &item, const QModelIndex &index,
                      QRect *area) const;

    void paintCard(QPainter *p, const QRect &card, bool selected, bool connected,
                   bool hovered) const;
    void paintPicture(QPainter *p, const QRect &box, const QVariant &image, bool dimmed) const;
    void paintCarousel(QPainter *p, const QRect &item, const QModelIndex &index) const;
    void paintTexts(QPainter *p, const QRect &item, const QModelIndex &index, bool connected) const;
    void paintChips(QPainter *p, const QRect &strip, const QStringList &entries) const;
    void paintLinkState(QPainter *p, const QRect &area, int state) const;
    QPixmap resourcePixmap(const QString &path, const QSize &size) const;
    QPixmap filePixmap(const QString &path, const QSize &size) const;

    QString m_axisIcon;
    QString m_buttonIcon;
    QString m_warningIcon;
    QString m_closeIcon;
    QString m_connectedIcon;
    QString m_busyIcon;
    QString m_disconnectedIcon;

    mutable bool m_rolesResolved = false;
    mutable std::array<int, DeviceModelRoles::kCount>
        m_roles{}; // the model's numbers, -1 when absent
};
