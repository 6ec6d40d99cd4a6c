#pragma once

#include "gamepadcalibration.h"
#include "profilestore.h"

#include <QDateTime>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QUuid>

// The content of a profile's "meta.json", as the profile editor keeps it.
struct GamepadProfileMeta
{
    QUuid id; // read from a folder without a valid id: a new one, the same at every read
    QString name = QStringLiteral("Gamepad");
    QString folder;
    QString imageFile = kDefaultProfileImageFile;
    QString overlayFile = kDefaultOverlayFile;
    QString configFile = kDefaultMappingFile;
    QStringList deviceNames;
    QString createdAt;
    QString modifiedAt;
    QString calibrationMode = QStringLiteral("inherit");
    QString calibrationOverrideFile;
    quint32 vendorId = 0;
    quint32 productId = 0;
    GamepadProfileKind kind = GamepadProfileKind::User;
    QJsonObject otherKeys; // keys this version does not know, written back unchanged

    // The files inside the folder; empty when the name would lead outside it.
    QString imagePath() const;
    QString overlayPath() const;
    QString configPath() const;

};

constexpr int kProfileMetaVersion = 4;

// The name as it may be printed on one line or put in a file name: control characters and line
// or paragraph separators become spaces.
QString printableProfileName(const QString &name);

// "override" when the mode says so in any case, otherwise "inherit".
QString normalizedCalibrationMode(const QString &mode);
// Reads an id written as "0x045e", "045e" or a JSON number; 0 when unreadable.
quint32 readHexId(const QJsonValue &value);

// A document without a valid "id" is a new profile: its id is derived from the folder (random
// without one), so the catalogue lists it and finds it again until a save writes the id.
GamepadProfileMeta profileMetaFromJson(const QJsonObject &object, const QString &folder);
QJsonObject profileMetaToJson(const GamepadProfileMeta &meta);

// Reads folder/"meta.json". Fails with the reader's text, or "Type de profil inconnu dans %1"
// when the file is of another type.
bool readProfileMeta(const QString &folder, GamepadProfileMeta *out, QString *error);
// Stamps "modifiedAt" (and "createdAt" on the first save) with `nowUtc` and writes
// folder/"meta.json" through the atomic writer.
bool writeProfileMeta(GamepadProfileMeta *meta, QString *error,
                      const QDateTime &nowUtc = QDateTime::currentDateTimeUtc());

// The profile made for this controller: the first whose vendor and product ids match, else the
// first that lists the controller's name. False when there is none.
bool findProfileMetaForDevice(const GamepadDeviceIdentity &identity, GamepadProfileMeta *out);
