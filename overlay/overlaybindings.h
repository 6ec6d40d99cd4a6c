#pragma once

#include "overlaydocument.h"
#include "uilog.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QVector>

// The actions bound to pastille slots, as the overlay reads them and as the mapping document
// writes them: binding objects and the bridges of "configActionGamepad.json". They live beside
// the overlay document so that the overlay never needs the mapping layer, which builds on it.

// The member names of binding objects and bridges.
namespace BridgeField {
inline const QString kSrc = QStringLiteral("src");
inline const QString kRef = QStringLiteral("ref");
inline const QString kAction = QStringLiteral("action");
inline const QString kArgs = QStringLiteral("args");
inline const QString kDst = QStringLiteral("dst");
inline const QString kStringKey = QStringLiteral("stringKey");
inline const QString kPublishMode = QStringLiteral("publishMode");
} // namespace BridgeField

// The shared action catalog carried by the host's services object: its "sharedActionCatalog"
// when that is a non-empty array, otherwise the "ref" entries flagged "__kxSharedActionCatalog"
// (flag removed).
QJsonArray extractSharedActionCatalog(const QJsonObject &externalServices);

// Binding objects ({"ref", "action", "args"}).
QString bindingActionName(const QJsonObject &binding); // "ref" trimmed, else "action" trimmed
bool isEmptyBinding(const QJsonObject &binding);       // no action name, or "none"
QJsonObject normalizedBinding(const QJsonObject &binding);
// The binding quick mapping gives: {"ref": name, "action": name}; empty for an empty name.
QJsonObject quickMappingBinding(const QString &actionName);

// Applies bridges back onto the nodes' sources: each bridge goes to the sources whose stringKey
// equals its own (case ignored), giving them its device fields, its binding and its publish mode.
// Returns false when an element of the list is not a bridge object.
bool applyMappingBridges(const QJsonArray &bridges, QVector<OverlayNode> *nodes);
