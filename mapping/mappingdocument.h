#pragma once

#include "overlaydocument.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QString>
#include <QVector>

// "configActionGamepad.json": which host action runs, with which arguments, when an input of a
// gamepad changes. Its "bridges" are regenerated from the overlay's pastilles on every save; the
// sections that belong to the host's action system are carried over untouched.

Q_DECLARE_LOGGING_CATEGORY(lcGamepadUi)

inline const QString kMappingFileName = QStringLiteral("configActionGamepad.json");
inline const QString kGamepadDeviceType = QStringLiteral("gamepade");

// A key bound directly in the linker panel, not tied to a pastille.
struct LearnedKey
{
    QString key;
    QJsonObject binding;
};

// The profile folder joined with "configActionGamepad.json"; empty for an empty folder.
QString mappingDocumentPath(const QString &profileFolder);

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

// The bridges regenerated from the overlay's nodes (in node order), then from the learned keys;
// the result holds "bridges".
QJsonObject materializeMapping(const QVector<OverlayNode> &nodes,
                               const QVector<LearnedKey> &learnedKeys, const QJsonArray &catalog);

// The document as it is written: preserved sections ensured, "ref" emptied, "refs" removed,
// "bridges" replaced.
QJsonObject mappingDocumentForSave(QJsonObject existing, const QJsonArray &bridges);

// Regenerates and writes the mapping document of a profile folder. An unreadable existing document
// is replaced; a document that would land outside the folder (a symbolic link) is refused. A
// failure is logged ("Gamepad mapping save failed error=...") and reported in `error`.
bool saveMappingDocument(const QString &profileFolder, const QVector<OverlayNode> &nodes,
                         const QVector<LearnedKey> &learnedKeys, const QJsonArray &catalog,
                         QString *error = nullptr);

// Applies bridges back onto the nodes' sources: each bridge goes to the sources whose stringKey
// equals its own (case ignored), giving them its device fields, its binding and its publish mode.
// Returns false when an element of the list is not a bridge object.
bool applyMappingBridges(const QJsonArray &bridges, QVector<OverlayNode> *nodes);

// Reads the mapping document of a profile folder (when it exists) and applies its bridges.
// A missing document succeeds and changes nothing.
bool loadMappingDocument(const QString &profileFolder, QVector<OverlayNode> *nodes,
                         QString *error = nullptr);
