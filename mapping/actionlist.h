#pragma once

#include <QJsonArray>

class QListWidget;

// Fills `list` with the visible actions of the host's catalog: groups in the order they first
// appear, each under a bold header row that cannot be chosen; each action's item carries its name
// (Qt::UserRole) and the tooltip "ID: %1". A catalog without actions shows one disabled row
// "Aucune action". Returns how many actions were listed.
int fillActionList(QListWidget *list, const QJsonArray &catalog);
