#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QUuid>

// Where gamepad profiles live. Every profile is a folder holding "meta.json", the controller
// picture, the overlay and mapping documents and, optionally, a calibration override. The host
// chooses the folders through two properties of its application object, read on every call.

enum class GamepadProfileKind { User = 0, Shared = 1 };

// The files of a profile folder: its metadata file, and the names the metadata gives the others
// when it names none.
inline const QString kProfileMetaFileName = QStringLiteral("meta.json");
inline const QString kDefaultProfileImageFile = QStringLiteral("image.png");
inline const QString kDefaultOverlayFile = QStringLiteral("overlay.json");
inline const QString kDefaultMappingFile = QStringLiteral("configActionGamepad.json");
inline const QString kDefaultOverrideFile = QStringLiteral("calibration.override.json");

// "kx.currentLogin", trimmed and lower-cased; empty when absent or without an application object.
QString currentLogin();
// "kx.canEditSharedGamepads"; false when absent or without an application object.
bool canEditSharedGamepads();

// For tools that work on other folders than the user's own: a non-empty path replaces the current
// user's profiles root or the shared profiles root, as given, whatever the login and the data
// location. While either is set the legacy roots are not read, so that only the named folders are.
// Two empty paths restore the computed roots. Not thread-safe: set it before using the store.
void setProfileRootsOverride(const QString &userRoot, const QString &sharedRoot);

QString configurationRoot();
QString sharedProfilesRoot();
// A null login means the current one; an empty login gives an empty root.
QString userProfilesRoot(const QString &login = QString());
QString legacyUserRoot(const QString &login = QString());
QString legacySharedRoot();
// Roots to read from, most personal first, de-duplicated and without empties.
QStringList candidateProfileRoots();
// The shared root for a user with the shared right, otherwise the current user's root.
QString writableProfilesRoot();

// "user" or "shared"; any other value is "user".
QString profileKindName(int kind);
// User when the folder lies under one of the current user's roots, shared when under a shared one.
GamepadProfileKind profileKindForFolder(const QString &folder);

// A profile's catalog entry.
struct GamepadProfileInfo
{
    QUuid id;
    QString name;
    QStringList deviceNames;
    QString folder;
    GamepadProfileKind kind = GamepadProfileKind::User;
    QString configPath; // empty when the mapping document does not exist
    QString imagePath;  // empty when the picture does not exist
    QString calibrationMode = QStringLiteral("inherit");
    QString calibrationOverrideFile;

    bool isNull() const { return id.isNull(); }
};

// Reads folder/"meta.json"; an unreadable file or one of another type gives a null entry.
GamepadProfileInfo readProfileInfo(const QString &folder);

// The folders under the candidate roots that may hold a profile, most personal root first and by
// name within a root; a folder that is a symbolic link would show files from outside the root as
// one of its own, and is left out.
QStringList candidateProfileFolders();
// Every readable profile of those folders; a profile present in several roots is listed once,
// from the first.
QList<GamepadProfileInfo> profileCatalog();
// The profile with this id (with or without braces), from the most personal root that holds it;
// a null entry when there is none.
GamepadProfileInfo findProfileById(const QString &id);

// Copies the profile's folder into the user or shared root under the same folder name and
// returns the new folder, or an empty string with `error` set.
QString copyProfileToRoot(const GamepadProfileInfo &profile, GamepadProfileKind target,
                          QString *error);
