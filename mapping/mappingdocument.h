#pragma once

#include "jsonfile.h"
#include "overlaybindings.h"
#include "overlaydocument.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QVector>

// "configActionGamepad.json": which host action runs, with which arguments, when an input of a
// gamepad changes. Its "bridges" are regenerated from the overlay's pastilles on every save; the
// sections that belong to the host's action system are carried over untouched.

// The profile folder's mapping file, named by the profile store.
inline const QString &kMappingFileName = kDefaultMappingFile;

// A key bound directly in the linker panel, not tied to a pastille.
struct LearnedKey
{
    QString key;
    QJsonObject binding;
};

// The profile folder joined with "configActionGamepad.json"; empty for an empty folder.
QString mappingDocumentPath(const QString &profileFolder);

// The bridges regenerated from the overlay's nodes (in node order), then from the learned keys;
// the result holds "bridges".
QJsonObject materializeMapping(const QVector<OverlayNode> &nodes,
                               const QVector<LearnedKey> &learnedKeys, const QJsonArray &catalog);

// The document as it is written: preserved sections ensured, "ref" emptied, "refs" removed,
// "bridges" replaced.
QJsonObject mappingDocumentForSave(QJsonObject existing, const QJsonArray &bridges);

// The document to write at `path`: the one there (an unreadable one gives way to a fresh one) with
// its bridges regenerated.
QJsonObject mappingDocumentToWrite(const QString &path, const QVector<OverlayNode> &nodes,
                                   const QVector<LearnedKey> &learnedKeys,
                                   const QJsonArray &catalog,
                                   const JsonFileMessages &messages = editorJsonMessages());

// Regenerates and writes the mapping document of a profile folder. An unreadable existing document
// is replaced; a document that would land outside the folder (a symbolic link) is refused. A
// failure is logged once ("Gamepad mapping save failed error=...") and reported in `error`;
// `messages` words the writer's errors (the profile editor's French, the linker's English).
bool saveMappingDocument(const QString &profileFolder, const QVector<OverlayNode> &nodes,
                         const QVector<LearnedKey> &learnedKeys, const QJsonArray &catalog,
                         QString *error = nullptr,
                         const JsonFileMessages &messages = editorJsonMessages());

// The "bridges" of a profile folder's mapping document; a missing document succeeds with none.
// A failure is logged once ("Gamepad mapping load failed error=...") and reported in `error`.
bool readMappingBridges(const QString &profileFolder, QJsonArray *bridges, QString *error = nullptr,
                        const JsonFileMessages &messages = editorJsonMessages());

// Reads the mapping document of a profile folder (when it exists) and applies its bridges.
// A missing document succeeds and changes nothing.
bool loadMappingDocument(const QString &profileFolder, QVector<OverlayNode> *nodes,
                         QString *error = nullptr,
                         const JsonFileMessages &messages = editorJsonMessages());
