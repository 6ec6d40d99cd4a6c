#include "profilestore.h"

#include "jsonfile.h"
#include "profilemeta.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonObject>
#include <QSet>
#include <QStandardPaths>

#include <cerrno>
#include <sys/stat.h>

namespace {

const QString kProfilesFolder = QStringLiteral("GamepadProfiles");
const QString kLegacyFolder = QStringLiteral("Gamepads");

// Roots named by setProfileRootsOverride; empty: computed.
QString overriddenUserRoot;
QString overriddenSharedRoot;

bool rootsOverridden()
{
    return !overriddenUserRoot.isEmpty() || !overriddenSharedRoot.isEmpty();
}

QString absoluteRoot(const QString &path)
{
    return path.trimmed().isEmpty() ? QString()
                                    : QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

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

// Empty for a path that is empty or names nothing.
QString existingAbsolutePath(const QString &path)
{
    return !path.isEmpty() && QFileInfo::exists(path) ? absoluteCleanPath(path) : QString();
}

bool setError(QString *error, const QString &text)
{
    if (error)
        *error = text;
    return false;
}

// A real folder at `path`, made when missing; a link or a file in the way fails with ENOTDIR.
bool ensureRealFolder(const QString &path, QString *osReason)
{
    const QByteArray name = QFile::encodeName(path);
    if (::mkdir(name.constData(), 0777) != 0 && errno != EEXIST) {
        *osReason = qt_error_string(errno);
        return false;
    }
    struct stat info;
    if (::lstat(name.constData(), &info) != 0 || !S_ISDIR(info.st_mode)) {
        *osReason = qt_error_string(ENOTDIR);
        return false;
    }
    return true;
}

// Copies the regular files and real sub-folders of `source` into `target`, keeping what the
// target already holds apart from files of the same name. Symbolic links are skipped, so nothing
// outside the profile is ever read, and each file is replaced atomically.
bool copyFolderContents(const QString &source, const QString &target, QString *osReason)
{
    if (!ensureRealFolder(target, osReason))
        return false;
    const QFileInfoList entries = QDir(source).entryInfoList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
    for (const QFileInfo &entry : entries) {
        const QString destination = target + QLatin1Char('/') + entry.fileName();
        if (entry.isSymLink())
            continue;
        if (entry.isDir()) {
            if (!copyFolderContents(entry.filePath(), destination, osReason))
                return false;
        } else if (entry.isFile()) {
            QByteArray bytes;
            if (!readRegularFile(entry.filePath(), kMaxProfileFileBytes, &bytes, osReason) ||
                !writeFileAtomic(destination, bytes, osReason, LinkTarget::Refuse))
                return false;
        }
    }
    return true;
}

} // namespace

QString currentLogin()
{
    const QCoreApplication *app = qApp;
    if (!app)
        return QString();
    return normalizedLogin(app->property("kx.currentLogin").toString());
}

bool canEditSharedGamepads()
{
    const QCoreApplication *app = qApp;
    return app && app->property("kx.canEditSharedGamepads").toBool();
}

void setProfileRootsOverride(const QString &userRoot, const QString &sharedRoot)
{
    overriddenUserRoot = absoluteRoot(userRoot);
    overriddenSharedRoot = absoluteRoot(sharedRoot);
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
    if (!overriddenSharedRoot.isEmpty())
        return overriddenSharedRoot;
    return underRoot(configurationRoot(), kProfilesFolder);
}

QString userProfilesRoot(const QString &login)
{
    if (login.isNull() && !overriddenUserRoot.isEmpty())
        return overriddenUserRoot;
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
    QStringList all = {userProfilesRoot(), sharedProfilesRoot()};
    if (!rootsOverridden())
        all << legacyUserRoot() << legacySharedRoot();
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
    const bool legacy = !rootsOverridden();
    if (liesUnder(path, userProfilesRoot()) || (legacy && liesUnder(path, legacyUserRoot())))
        return GamepadProfileKind::User;
    if (liesUnder(path, sharedProfilesRoot()) || (legacy && liesUnder(path, legacySharedRoot())))
        return GamepadProfileKind::Shared;
    return GamepadProfileKind::User;
}

GamepadProfileInfo readProfileInfo(const QString &folder)
{
    if (folder.trimmed().isEmpty())
        return {};
    const QString cleanFolder = QDir::cleanPath(folder);
    QJsonObject object;
    if (!readJsonObjectFile(cleanFolder + u'/' + kProfileMetaFileName, &object, nullptr))
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
    info.configPath = existingAbsolutePath(meta.configPath());
    info.imagePath = existingAbsolutePath(meta.imagePath());
    info.calibrationMode = meta.calibrationMode;
    info.calibrationOverrideFile = meta.calibrationOverrideFile;
    return info;
}

QStringList candidateProfileFolders()
{
    QStringList folders;
    const QStringList roots = candidateProfileRoots();
    for (const QString &root : roots) {
        const QStringList names =
            QDir(root).entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::NoSymLinks, QDir::Name);
        for (const QString &name : names)
            folders << root + QLatin1Char('/') + name;
    }
    return folders;
}

QList<GamepadProfileInfo> profileCatalog()
{
    QList<GamepadProfileInfo> catalog;
    QSet<QUuid> seen;
    const QStringList folders = candidateProfileFolders();
    for (const QString &folder : folders) {
        const GamepadProfileInfo info = readProfileInfo(folder);
        if (!info.isNull() && !seen.contains(info.id)) {
            seen.insert(info.id);
            catalog << info;
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
        const QString folder = root + QLatin1Char('/') + folderName;
        if (QFileInfo(folder).isSymLink())
            continue;
        const GamepadProfileInfo info = readProfileInfo(folder);
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
    // A linked profile folder would copy whatever it points to; one copied into its own subtree
    // would end up holding copies of itself.
    const bool linked = QFileInfo(source).isSymLink();
    QString reason = qt_error_string(linked ? ELOOP : EINVAL);
    const bool refused = linked || destination.startsWith(source + QLatin1Char('/'));
    if (refused || !copyFolderContents(source, destination, &reason)) {
        setError(error, storeText("Impossible de copier le profil vers %1").arg(destination) +
                            QStringLiteral(" (%1)").arg(reason));
        return QString();
    }
    return destination;
}
