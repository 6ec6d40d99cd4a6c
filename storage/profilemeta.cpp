#include "profilemeta.h"

#include "gamepadcalibration.h"
#include "jsonfile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonValue>

#include <cerrno>
#include <cmath>

namespace {

const QString kMetaType = QStringLiteral("GamepadDefinderMeta");
const QString kDefaultName = QStringLiteral("Gamepad");
const QStringList kKnownKeys = {
    "type",        "version",         "id",         "name",        "image",
    "overlayFile", "config",          "deviceName", "deviceNames", "createdAt",
    "modifiedAt",  "calibrationMode", "vendorId",   "productId",   "calibrationOverrideFile"};

// The user's file name as written; only an empty one takes the default. Whether it stays inside
// the folder is checked where the file is opened.
QString fileNameOr(const QString &name, const QString &fallback)
{
    const QString trimmed = name.trimmed();
    return trimmed.isEmpty() ? fallback : trimmed;
}

QString nameOrDefault(const QString &name)
{
    const QString trimmed = name.trimmed();
    return trimmed.isEmpty() ? kDefaultName : trimmed;
}

QStringList readDeviceNames(const QJsonObject &object)
{
    QStringList names;
    const QJsonArray array = object.value(QStringLiteral("deviceNames")).toArray();
    for (const QJsonValue &value : array) {
        const QString name = value.toString().trimmed();
        if (!name.isEmpty())
            names << name;
    }
    const QString single = object.value(QStringLiteral("deviceName")).toString().trimmed();
    if (names.isEmpty() && !single.isEmpty())
        names << single;
    return names;
}

// A profile without a valid id is a new one and gets an id of its own: derived from its folder,
// so that every read gives the same until a save writes it into "meta.json".
QUuid idOrNew(const QJsonValue &value, const QString &folder)
{
    static const QUuid folderIds(QStringLiteral("6f1c2b8e-5d4a-4e0f-9a3b-7c2d1e0f4a5b"));
    const QUuid id = QUuid::fromString(value.toString().trimmed());
    if (!id.isNull())
        return id;
    if (folder.isEmpty())
        return QUuid::createUuid();
    return QUuid::createUuidV5(folderIds, QDir::cleanPath(QFileInfo(folder).absoluteFilePath()));
}

quint32 hexIdFromString(const QString &text)
{
    QString digits = text.trimmed();
    if (digits.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
        digits = digits.mid(2);
    if (digits.isEmpty())
        return 0;
    for (const QChar c : digits) {
        if (!c.isDigit() && !QStringLiteral("abcdefABCDEF").contains(c))
            return 0;
    }
    bool ok = false;
    const uint value = digits.toUInt(&ok, 16);
    return ok ? value : 0;
}

} // namespace

QString GamepadProfileMeta::imagePath() const
{
    return containedFilePath(folder, imageFile);
}

QString GamepadProfileMeta::overlayPath() const
{
    return containedFilePath(folder, overlayFile);
}

QString GamepadProfileMeta::configPath() const
{
    return containedFilePath(folder, configFile);
}

QString printableProfileName(const QString &name)
{
    QString printable = name;
    for (QChar &c : printable) {
        const QChar::Category category = c.category();
        if (category == QChar::Other_Control || category == QChar::Separator_Line ||
            category == QChar::Separator_Paragraph)
            c = QLatin1Char(' ');
    }
    return printable;
}

QString normalizedCalibrationMode(const QString &mode)
{
    const bool isOverride =
        mode.trimmed().compare(QLatin1String("override"), Qt::CaseInsensitive) == 0;
    return isOverride ? QStringLiteral("override") : QStringLiteral("inherit");
}

quint32 readHexId(const QJsonValue &value)
{
    if (value.isString())
        return hexIdFromString(value.toString());
    if (!value.isDouble())
        return 0;
    const double number = value.toDouble();
    if (!std::isfinite(number) || number < 0 || number > 4294967295.0 ||
        number != std::floor(number))
        return 0;
    return quint32(number);
}

GamepadProfileMeta profileMetaFromJson(const QJsonObject &object, const QString &folder)
{
    GamepadProfileMeta meta;
    meta.name = nameOrDefault(object.value(QStringLiteral("name")).toString());
    meta.folder = folder.isEmpty() ? QString() : QDir::cleanPath(folder);
    meta.id = idOrNew(object.value(QStringLiteral("id")), meta.folder);
    meta.imageFile =
        fileNameOr(object.value(QStringLiteral("image")).toString(), kDefaultProfileImageFile);
    meta.overlayFile =
        fileNameOr(object.value(QStringLiteral("overlayFile")).toString(), kDefaultOverlayFile);
    meta.configFile =
        fileNameOr(object.value(QStringLiteral("config")).toString(), kDefaultMappingFile);
    meta.deviceNames = readDeviceNames(object);
    meta.createdAt = object.value(QStringLiteral("createdAt")).toString();
    meta.modifiedAt = object.value(QStringLiteral("modifiedAt")).toString();
    meta.calibrationMode =
        normalizedCalibrationMode(object.value(QStringLiteral("calibrationMode")).toString());
    meta.calibrationOverrideFile =
        object.value(QStringLiteral("calibrationOverrideFile")).toString().trimmed();
    meta.vendorId = readHexId(object.value(QStringLiteral("vendorId")));
    meta.productId = readHexId(object.value(QStringLiteral("productId")));
    meta.kind = profileKindForFolder(meta.folder);
    meta.otherKeys = object;
    for (const QString &key : kKnownKeys)
        meta.otherKeys.remove(key);
    return meta;
}

QJsonObject profileMetaToJson(const GamepadProfileMeta &meta)
{
    const QString mode = normalizedCalibrationMode(meta.calibrationMode);
    QJsonObject object = meta.otherKeys;
    const QJsonObject known{
        {QStringLiteral("type"), kMetaType},
        {QStringLiteral("version"), kProfileMetaVersion},
        {QStringLiteral("id"), meta.id.toString(QUuid::WithoutBraces)},
        {QStringLiteral("name"), nameOrDefault(meta.name)},
        {QStringLiteral("image"), fileNameOr(meta.imageFile, kDefaultProfileImageFile)},
        {QStringLiteral("overlayFile"), fileNameOr(meta.overlayFile, kDefaultOverlayFile)},
        {QStringLiteral("config"), fileNameOr(meta.configFile, kDefaultMappingFile)},
        {QStringLiteral("deviceName"), meta.deviceNames.value(0)},
        {QStringLiteral("deviceNames"), QJsonArray::fromStringList(meta.deviceNames)},
        {QStringLiteral("createdAt"), meta.createdAt},
        {QStringLiteral("modifiedAt"), meta.modifiedAt},
        {QStringLiteral("calibrationMode"), mode},
        {QStringLiteral("vendorId"), paddedHexId(meta.vendorId)},
        {QStringLiteral("productId"), paddedHexId(meta.productId)},
    };
    for (auto it = known.constBegin(); it != known.constEnd(); ++it)
        object.insert(it.key(), it.value());
    if (mode == QLatin1String("override")) {
        const QString file = meta.calibrationOverrideFile.trimmed();
        object.insert(QStringLiteral("calibrationOverrideFile"),
                      file.isEmpty() ? kDefaultOverrideFile : file);
    }
    return object;
}

bool readProfileMeta(const QString &folder, GamepadProfileMeta *out, QString *error)
{
    if (folder.trimmed().isEmpty()) {
        if (error)
            *error = editorJsonMessages().cannotOpen.arg(kProfileMetaFileName);
        return false;
    }
    const QString path = QDir::cleanPath(folder + u'/' + kProfileMetaFileName);
    QJsonObject object;
    if (!readJsonObjectFile(path, &object, error))
        return false;
    if (object.value(QStringLiteral("type")).toString() != kMetaType) {
        if (error)
            *error =
                QCoreApplication::translate("GamepadDefinder", "Type de profil inconnu dans %1")
                    .arg(path);
        return false;
    }
    if (out)
        *out = profileMetaFromJson(object, folder);
    return true;
}

bool writeProfileMeta(GamepadProfileMeta *meta, QString *error, const QDateTime &nowUtc)
{
    if (!meta)
        return false;
    // The stamps reach the caller's record only once the file is on disk.
    GamepadProfileMeta stamped = *meta;
    const QString now = nowUtc.toUTC().toString(Qt::ISODate);
    if (stamped.createdAt.trimmed().isEmpty())
        stamped.createdAt = now;
    stamped.modifiedAt = now;
    // A "meta.json" that is a symbolic link is refused, not followed.
    const QString path = containedFilePath(stamped.folder, kProfileMetaFileName);
    if (path.isEmpty()) {
        if (error)
            *error = QStringLiteral("%1 (%2)").arg(
                editorJsonMessages().cannotWrite.arg(
                    QDir(stamped.folder).filePath(kProfileMetaFileName)),
                qt_error_string(stamped.folder.isEmpty() ? ENOENT : ELOOP));
        return false;
    }
    if (!writeJsonFileAtomic(path, profileMetaToJson(stamped), error))
        return false;
    *meta = stamped;
    return true;
}

bool findProfileMetaForDevice(const GamepadDeviceIdentity &identity, GamepadProfileMeta *out)
{
    const QString name = identity.name.trimmed();
    const bool knownModel = identity.vendorId != 0 && identity.productId != 0;
    const QList<GamepadProfileInfo> catalog = profileCatalog();
    GamepadProfileMeta byName;
    bool foundByName = false;
    for (const GamepadProfileInfo &info : catalog) {
        GamepadProfileMeta meta;
        if (!readProfileMeta(info.folder, &meta, nullptr))
            continue;
        if (knownModel && meta.vendorId == identity.vendorId &&
            meta.productId == identity.productId) {
            if (out)
                *out = meta;
            return true;
        }
        if (!foundByName && !name.isEmpty() &&
            meta.deviceNames.contains(name, Qt::CaseInsensitive)) {
            byName = meta;
            foundByName = true;
        }
    }
    if (foundByName && out)
        *out = byName;
    return foundByName;
}
