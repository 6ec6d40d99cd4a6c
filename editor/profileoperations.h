#pragma once

#include "overlaydocument.h"
#include "profilemeta.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QVector>

// The file work behind each operation of the profile editor. Nothing here asks a question or
// shows a box: each operation returns false with the exact text the editor shows (and, where the
// operation has several, the title of the box). Every file goes through the atomic writer, so a
// failure leaves the files that existed before byte for byte.

// "Images (*.png *.jpg *.jpeg *.bmp)", the filter of both image choosers.
QString profileImageFilter();
// "image.%1" with the lower-case suffix of `source`, "image.png" without one.
QString profileImageFileName(const QString &source);
// The mapping document of a new profile: "signals", "onStartup", "onClose", "timers", "bridges"
// and "ref", each an empty array.
QJsonObject emptyMappingDocument();

// Decodes `source` and encodes it to `destination` in the format of its suffix; a file that does
// not decode is copied byte for byte. "Échec écriture image %1 (%2)" or "Impossible de copier
// l’image %1 vers %2".
bool writeImageFile(const QString &source, const QString &destination, QString *error);

// Every profile of the user and shared roots, as the editor lists them: most personal root
// first, folders by name, a profile present in several roots once.
QList<GamepadProfileMeta> readProfileEntries();

struct NewProfileRequest
{
    QString name;
    QString imageSource;
    QString linkedName; // empty: the profile is linked to no controller
    quint32 vendorId = 0;
    quint32 productId = 0;
    QJsonObject overlayDocument; // the default layout, serialised by the editor's overlay
};

// Creates the folder under the user root with the picture, overlay, "meta.json" and the empty
// mapping document, then reads the metadata back into `created`. `title` is "Création", or
// "Creation" for the mapping document.
bool createProfile(const NewProfileRequest &request, GamepadProfileMeta *created, QString *title,
                   QString *error, const QDateTime &nowUtc = QDateTime::currentDateTimeUtc());
// A copy under the user root named "%1 (copie)"; an override whose file is missing leaves the
// copy in mode "inherit". Messages of the "Dupliquer" box.
bool duplicateProfile(const GamepadProfileMeta &source, GamepadProfileMeta *copy, QString *error);
// Makes the profile writable for the current user: a shared profile the user may not edit is
// copied to the user root first. Re-reads "meta.json" into `entry`; the message is the bare
// reason (the editor wraps it in "Impossible de preparer une configuration locale : %1").
bool ensureLocalProfile(GamepadProfileMeta *entry, QString *error);
// False without a message for a name that is blank. Messages of the "Renommer" box, complete.
bool renameProfile(GamepadProfileMeta *entry, const QString &newName, QString *error);
// Messages of the "Image" box, complete.
bool changeProfileImage(GamepadProfileMeta *entry, const QString &imageSource, QString *error);
// A shared profile needs the host's shared right.
bool mayDeleteProfile(const GamepadProfileMeta &entry);
bool deleteProfileFolder(const GamepadProfileMeta &entry, QString *error);
// The save sequence: local copy, overlay, mapping document, "meta.json". Messages of the
// "Sauvegarde" box, complete ("Échec sauvegarde config : %1", "Echec sauvegarde mapping.", ...);
// `failedPath` gets the file (or, for the local copy, the folder) that could not be written.
bool saveProfileFiles(GamepadProfileMeta *entry, const QJsonObject &overlayDocument,
                      const QVector<OverlayNode> &nodes, const QJsonArray &catalog, QString *error,
                      QString *failedPath = nullptr);
