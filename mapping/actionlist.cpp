#include "actionlist.h"

#include "actionparameters.h"

#include <QHash>
#include <QListWidget>

namespace {

// The visible actions by group, groups in order of first appearance: one pass over the catalog,
// however many groups it has.
QVector<QVector<const ActionDescription *>>
actionsByGroup(const QVector<ActionDescription> &actions)
{
    QVector<QVector<const ActionDescription *>> groups;
    QHash<QString, qsizetype> groupIndex;
    for (const ActionDescription &action : actions) {
        if (action.name.trimmed().isEmpty())
            continue;
        const auto found = groupIndex.constFind(action.group);
        const qsizetype index = found != groupIndex.cend() ? *found : groups.size();
        if (index == groups.size()) {
            groupIndex.insert(action.group, index);
            groups.append(QVector<const ActionDescription *>());
        }
        groups[index].append(&action);
    }
    return groups;
}

} // namespace

// Items are made whole before they join the list: the list then announces one row each, not
// every property set on a row it already shows.
int fillActionList(QListWidget *list, const QJsonArray &catalog)
{
    list->clear();
    const QVector<ActionDescription> actions = readActionCatalog(catalog);
    int listed = 0;
    QFont bold;
    bold.setBold(true);
    for (const QVector<const ActionDescription *> &group : actionsByGroup(actions)) {
        auto *header = new QListWidgetItem(group.first()->group);
        header->setFlags(Qt::NoItemFlags);
        header->setFont(bold);
        list->addItem(header);
        for (const ActionDescription *action : group) {
            const QString name = action->name.trimmed();
            auto *item = new QListWidgetItem(action->label.isEmpty() ? name : action->label);
            item->setData(Qt::UserRole, name);
            item->setToolTip(QStringLiteral("ID: %1").arg(name));
            list->addItem(item);
            ++listed;
        }
    }
    if (listed == 0) {
        auto *none = new QListWidgetItem(QStringLiteral("Aucune action"));
        none->setFlags(Qt::NoItemFlags);
        list->addItem(none);
    }
    return listed;
}
