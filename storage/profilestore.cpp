#include "profilestore.h"

#include "jsonfile.h"
#include "profilemeta.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QJsonObject>
#include <QSaveFile>
#include <QSet>
#include <QStandardPaths>

namespace {

const QString kProfilesFolder = QStringLiteral("GamepadProfiles");
const QString kLegacyFolder = QStringLiteral("Gamepads");

QString storeText(const char *text)
{
    return QCoreApplication::translate("GamepadProfileStore", text);
}

// The login names a folder under the configuration root; one that could lead elsewhere counts as
// no login at all.
QString normalizedLogin(const QString &login)
{
    const QString name = login.trimmed().toLower();
    const bool escapes = name == QLatin1String(".") || name == QLatin1String("..") ||
                         name.contains(QLatin1Char('/')) || name.contains(QLatin1Char('\\'));
    return escapes ? QString() : name;
}

// Joins path parts under `base`; an empty base gives an empty path.
QString underRoot(const QString &base, const QString &tail)
{
    if (base.isEmpty())
        return QString();
    return QDir::cleanPath(base + QLatin1Char('/') + tail);
}

QString loginRoot(const QString &login, const QString &folderName)
{
    const QString name = login.isNull() ? currentLogin() : normalizedLogin(login);
    if (name.isEmpty())
        return QString();
    return underRoot(configurationRoot(), name + QLatin1Char('/') + folderName);
}

QString absoluteCleanPath(const QString &path)
{
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

// True when `path` is `root` or lies below it, letters compared without regard to case.
bool liesUnder(const QString &path, const QString &root)
{
    if (root.isEmpty())
        return false;
    if (path.compare(root, Qt::CaseInsensitive) == 0)
        return true;
    const QString prefix = root.endsWith(QLatin1Char('/')) ? root : root + QLatin1Char('/');
    return path.startsWith(prefix, Qt::CaseInsensitive);
}

bool setError(QString *error, const QString &text)
{
    if (error)
        *error = text;
    return false;
}

// Replaces the target file only once the whole content has been written, so a failed copy never
// leaves a truncated file behind.
bool copyFileAtomically(const QString &source, const QString &target)
{
    QFile in(source);
    QSaveFile out(target);
    if (!in.open(QIODevice::ReadOnly) || !out.open(QIODevice::WriteOnly))
        return false;
    char buffer[64 * 1024];
    for (;;) {
        const qint64 count = in.read(buffer, sizeof buffer);
        if (count == 0)
            break;
        if (count < 0 || out.write(buffer, count) != count) {
            out.cancelWriting();
            return false;
        }
    }
    return out.commit();
}

// Copies every file and sub-folder of `source` into `target`, keeping what the target already
// holds apart from files of the same name. Linked folders are not followed.
bool copyFolderContents(const QString &source, const QString &target)
{
    if (!QDir().mkpath(target))
        return false;
    QStringList entries;
    QDirIterator it(source, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        entries << it.next();
    const QDir sourceDir(source);
    for (const QString &entry : entries) {
        const QFileInfo info(entry);
        const QString destination = target + QLatin1Char('/') + sourceDir.relativeFilePath(entry);
        const bool ok =
            info.isDir() ? QDir().mkpath(destination) : copyFileAtomically(entry, destination);
        if (!ok)
            return false;
    }
    return true;
}

} // namespace

QString currentLogin()
{
    const QCoreApplication *app = QCoreApplication::instance();
    if (!app)
        return QString();
    return normalizedLogin(app->property("kx.currentLogin").toString());
}

bool canEditSharedGamepads()
{
    const QCoreApplication *app = QCoreApplication::instance();
    return app && app->property("kx.canEditSharedGamepads").toBool();
}

QString configurationRoot()
{
    const QString data = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    if (!data.isEmpty())
        return QDir::cleanPath(data);
    return QDir::cleanPath(QDir::homePath() + QStringLiteral("/.zelto"));
}

QString sharedProfilesRoot()
{
    return underRoot(configurationRoot(), kProfilesFolder);
}

QString userProfilesRoot(const QString &login)
{
    return loginRoot(login, kProfilesFolder);
}

QString legacyUserRoot(const QString &login)
{
    return loginRoot(login, kLegacyFolder);
}

QString legacySharedRoot()
{
    return underRoot(configurationRoot(), kLegacyFolder);
}

QStringList candidateProfileRoots()
{
    QStringList roots;
    const QStringList all = {userProfilesRoot(), sharedProfilesRoot(), legacyUserRoot(),
                             legacySharedRoot()};
    for (const QString &root : all) {
        if (!root.isEmpty() && !roots.contains(root))
            roots << root;
    }
    return roots;
}

QString writableProfilesRoot()
{
    return canEditSharedGamepads() ? sharedProfilesRoot() : userProfilesRoot();
}

QString profileKindName(int kind)
{
    return kind == int(GamepadProfileKind::Shared) ? QStringLiteral("shared")
                                                   : QStringLiteral("user");
}

GamepadProfileKind profileKindForFolder(const QString &folder)
{
    if (folder.trimmed().isEmpty())
        return GamepadProfileKind::User;
    const QString path = absoluteCleanPath(folder);
    // A user's own roots win: they lie below the configuration root like the shared ones.
    if (liesUnder(path, userProfilesRoot()) || liesUnder(path, legacyUserRoot()))
        return GamepadProfileKind::User;
    if (liesUnder(path, sharedProfilesRoot()) || liesUnder(path, legacySharedRoot()))
        return GamepadProfileKind::Shared;
    return GamepadProfileKind::User;
}

GamepadProfileInfo readProfileInfo(const QString &folder)
{
    if (folder.trimmed().isEmpty())
        return {};
    const QString cleanFolder = QDir::cleanPath(folder);
    QJsonObject object;
    if (!readJsonObjectFile(cleanFolder + QStringLiteral("/meta.json"), &object, nullptr))
        return {};
    if (object.value(QStringLiteral("type")).toString() != QLatin1String("GamepadDefinderMeta"))
        return {};

    const GamepadProfileMeta meta = profileMetaFromJson(object, cleanFolder);
    GamepadProfileInfo info;
    info.id = meta.id;
    info.name = object.value(QStringLiteral("name")).toString().trimmed();
    info.deviceNames = meta.deviceNames;
    info.folder = cleanFolder;
    info.kind = meta.kind;
    const QString configPath = absoluteCleanPath(meta.configPath());
    const QString imagePath = absoluteCleanPath(meta.imagePath());
    info.configPath = QFileInfo::exists(configPath) ? configPath : QString();
    info.imagePath = QFileInfo::exists(imagePath) ? imagePath : QString();
    info.calibrationMode = meta.calibrationMode;
    info.calibrationOverrideFile = meta.calibrationOverrideFile;
    return info;
}

QList<GamepadProfileInfo> profileCatalog()
{
    QList<GamepadProfileInfo> catalog;
    QSet<QUuid> seen;
    const QStringList roots = candidateProfileRoots();
    for (const QString &root : roots) {
        const QStringList folders =
            QDir(root).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
        for (const QString &folder : folders) {
            const GamepadProfileInfo info = readProfileInfo(root + QLatin1Char('/') + folder);
            if (!info.isNull() && !seen.contains(info.id)) {
                seen.insert(info.id);
                catalog << info;
            }
        }
    }
    return catalog;
}

GamepadProfileInfo findProfileById(const QString &id)
{
    const QUuid uuid = QUuid::fromString(id.trimmed());
    if (uuid.isNull())
        return {};
    // Profiles live in a folder named after their id; look there first, then everywhere.
    const QString folderName = uuid.toString(QUuid::WithoutBraces);
    const QStringList roots = candidateProfileRoots();
    for (const QString &root : roots) {
        const GamepadProfileInfo info = readProfileInfo(root + QLatin1Char('/') + folderName);
        if (info.id == uuid)
            return info;
    }
    const QList<GamepadProfileInfo> catalog = profileCatalog();
    for (const GamepadProfileInfo &info : catalog) {
        if (info.id == uuid)
            return info;
    }
    return {};
}

QString copyProfileToRoot(const GamepadProfileInfo &profile, GamepadProfileKind target,
                          QString *error)
{
    if (profile.folder.trimmed().isEmpty() || !QFileInfo(profile.folder).isDir()) {
        setError(error, storeText("Profil introuvable."));
        return QString();
    }
    const QString root =
        target == GamepadProfileKind::Shared ? sharedProfilesRoot() : userProfilesRoot();
    if (root.isEmpty()) {
        setError(error,
                 storeText("Aucun dossier de configuration disponible pour cet utilisateur."));
        return QString();
    }
    if (!QDir().mkpath(root)) {
        setError(error, storeText("Impossible de preparer le dossier %1").arg(root));
        return QString();
    }
    const QString source = absoluteCleanPath(profile.folder);
    const QString name = QFileInfo(source).fileName();
    if (name.isEmpty()) {
        setError(error, storeText("Identifiant de profil invalide."));
        return QString();
    }
    const QString destination = QDir::cleanPath(root + QLatin1Char('/') + name);
    if (destination == source)
        return destination;
    // A folder copied into its own subtree would end up holding copies of itself.
    const bool intoItself = destination.startsWith(source + QLatin1Char('/'));
    if (intoItself || !copyFolderContents(source, destination)) {
        setError(error, storeText("Impossible de copier le profil vers %1").arg(destination));
        return QString();
    }
    return destination;
}
