#include "quickactionspanel.h"

#include "actionlist.h"


#include <QLabel>
#include <QListWidget>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace {

const char *const kPanelStyle = R"(
QFrame#gamepadQuickActionsPanel { background: #1F2F3C; border: 1px solid #34495A; border-radius: 8px; }
QLabel#quickActionsTitle { color: #00C8E6; font-weight: 600; background: transparent; }
QLabel#quickActionsHint { color: rgba(232, 240, 245, 170); background: transparent; }
QListWidget#quickActionsList { background: transparent; border: none; color: #E8F0F5; outline: 0; }
QListWidget#quickActionsList::item { padding: 5px 8px; border-radius: 4px; }
QListWidget#quickActionsList::item:disabled { color: rgba(232, 240, 245, 110); }
QListWidget#quickActionsList::item:hover { background: rgba(47, 79, 99, 160); }
QListWidget#quickActionsList::item:selected { background: rgba(0, 200, 230, 70); color: #FFFFFF; }
QListWidget#quickActionsList:disabled { color: rgba(232, 240, 245, 90); }
)";

} // namespace

QString quickActionsHint(bool overlayLocked, bool controllerAttached, const QString &pendingAction)
{
    if (!overlayLocked)
        return QStringLiteral("Passez en mode Mapping pour affecter rapidement une action.");
    if (!controllerAttached)
        return QStringLiteral("Connectez la manette pour utiliser le mapping rapide.");
    if (pendingAction.isEmpty())
        return QStringLiteral("Cliquez une action puis appuyez sur un bouton ou bougez un axe.");
    return QStringLiteral("Appuyez sur un bouton ou bougez un axe pour mapper \"%1\".")
        .arg(pendingAction);
}

QuickActionsPanel::QuickActionsPanel(QWidget *parent) : QFrame(parent)
{
    setObjectName(QStringLiteral("gamepadQuickActionsPanel"));
    setStyleSheet(QString::fromLatin1(kPanelStyle));

    auto *title = new QLabel(QStringLiteral("Actions disponibles"), this);
    title->setObjectName(QStringLiteral("quickActionsTitle"));
    m_list = new QListWidget(this);
    m_list->setObjectName(QStringLiteral("quickActionsList"));
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_hint = new QLabel(this);
    m_hint->setObjectName(QStringLiteral("quickActionsHint"));
    m_hint->setWordWrap(true);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 8, 8, 8);
    layout->setSpacing(6);
    layout->addWidget(title);
    layout->addWidget(m_list, 1);
    layout->addWidget(m_hint);

    connect(m_list, &QListWidget::itemClicked, this, &QuickActionsPanel::onItemClicked);
    setCatalog({});
}

void QuickActionsPanel::setCatalog(const QJsonArray &catalog)
{
    fillActionList(m_list, catalog);
    updateListEnabled();

    // A pending action that is still offered stays pending.
    if (QListWidgetItem *item = itemOf(m_pending)) {
        const QSignalBlocker blocker(m_list);
        item->setSelected(true);
    } else {
        clearPending();
    }
}

void QuickActionsPanel::setState(bool overlayLocked, bool controllerAttached)
{
    if (overlayLocked == m_locked && controllerAttached == m_controllerAttached)
        return;
    m_locked = overlayLocked;
    m_controllerAttached = controllerAttached;
    m_message.clear();
    updateListEnabled();
    refreshHint();
}

void QuickActionsPanel::setPendingAction(const QString &action)
{
    const QString name = action.trimmed();
    if (name.isEmpty()) {
        clearPending();
        return;
    }
    if (name == m_pending)
        return;
    m_pending = name;
    m_message.clear();
    {
        const QSignalBlocker blocker(m_list);
        m_list->clearSelection();
        if (QListWidgetItem *item = itemOf(name))
            item->setSelected(true);
    }
    refreshHint();
    Q_EMIT pendingActionChanged(m_pending);
}

void QuickActionsPanel::clearPending()
{
    {
        const QSignalBlocker blocker(m_list);
        m_list->clearSelection();
    }
    if (m_pending.isEmpty()) {
        refreshHint();
        return;
    }
    m_pending.clear();
    m_message.clear();
    refreshHint();
    Q_EMIT pendingActionChanged(m_pending);
}

void QuickActionsPanel::showMessage(const QString &text)
{
    m_message = text;
    refreshHint();
}

QString QuickActionsPanel::hintText() const
{
    return m_hint->text();
}

void QuickActionsPanel::refreshHint()
{
    m_hint->setText(m_message.isEmpty()
                        ? quickActionsHint(m_locked, m_controllerAttached, m_pending)
                        : m_message);
}

void QuickActionsPanel::updateListEnabled()
{
    bool anyAction = false;
    for (int row = 0; row < m_list->count() && !anyAction; ++row) {
        const QListWidgetItem *item = m_list->item(row);
        anyAction =
            (item->flags() & Qt::ItemIsEnabled) && !item->data(Qt::UserRole).toString().isEmpty();
    }
    m_list->setEnabled(m_locked && m_controllerAttached && anyAction);
}

// Clicking the pending action again cancels it, as in the mapping panel.
void QuickActionsPanel::onItemClicked(QListWidgetItem *item)
{
    const QString name = item ? item->data(Qt::UserRole).toString() : QString();
    if (name.isEmpty())
        return;
    if (name.compare(m_pending, Qt::CaseInsensitive) == 0)
        clearPending();
    else
        setPendingAction(name);
}

QListWidgetItem *QuickActionsPanel::itemOf(const QString &action) const
{
    if (action.isEmpty())
        return nullptr;
    for (int row = 0; row < m_list->count(); ++row) {
        QListWidgetItem *item = m_list->item(row);
        if (item->data(Qt::UserRole).toString().compare(action, Qt::CaseInsensitive) == 0)
            return item;
    }
    return nullptr;
}
