#pragma once

#include <QFrame>
#include <QJsonArray>
#include <QString>

class QLabel;
class QListWidget;
class QListWidgetItem;

// The hint of the quick-actions panel for a state, in the order the conditions are tested.
QString quickActionsHint(bool overlayLocked, bool controllerAttached, const QString &pendingAction);

// "gamepadQuickActionsPanel": the catalog's actions; clicking one makes it the pending target
// of quick mapping.
class QuickActionsPanel : public QFrame
{
    Q_OBJECT

public:
    explicit QuickActionsPanel(QWidget *parent = nullptr);

    void setCatalog(const QJsonArray &catalog);
    // The list is usable only while locked, with a controller attached and an enabled action.
    void setState(bool overlayLocked, bool controllerAttached);
    QString pendingAction() const { return m_pending; }
    void setPendingAction(const QString &action);
    void clearPending(); // also clears the list's selection
    // Shows a message in place of the hint until the next change of state or target.
    void showMessage(const QString &text);
    QString hintText() const;
    QListWidget *list() const { return m_list; }

signals:
    void pendingActionChanged(const QString &action);

private:
    void refreshHint();
    void updateListEnabled();
    void onItemClicked(QListWidgetItem *item);
    QListWidgetItem *itemOf(const QString &action) const;

    QString m_pending;
    QString m_message; // shown instead of the hint while not empty
    bool m_locked = true;
    bool m_controllerAttached = false;
    QListWidget *m_list = nullptr;
    QLabel *m_hint = nullptr;
};
