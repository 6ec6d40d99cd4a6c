#include "actionlist.h"

#include "actionparameters.h"

#include <QListWidget>

int fillActionList(QListWidget *list, const QJsonArray &catalog)
{
    list->clear();
    const QVector<ActionDescription> actions = readActionCatalog(catalog);
    QStringList groups; // in order of first appearance
    for (const ActionDescription &action : actions) {
        if (!action.name.trimmed().isEmpty() && !groups.contains(action.group))
            groups << action.group;
    }
    int listed = 0;
    for (const QString &group : std::as_const(groups)) {
        auto *header = new QListWidgetItem(group, list);
        header->setFlags(Qt::NoItemFlags);
        QFont bold = header->font();
        bold.setBold(true);
        header->setFont(bold);
        for (const ActionDescription &action : actions) {
            const QString name = action.name.trimmed();
            if (action.group != group || name.isEmpty())
                continue;
            auto *item = new QListWidgetItem(action.label.isEmpty() ? name : action.label, list);
            item->setData(Qt::UserRole, name);
            item->setToolTip(QStringLiteral("ID: %1").arg(name));
            ++listed;
        }
    }
    if (listed == 0) {
        auto *none = new QListWidgetItem(QStringLiteral("Aucune action"), list);
        none->setFlags(Qt::NoItemFlags);
    }
    return listed;
}
