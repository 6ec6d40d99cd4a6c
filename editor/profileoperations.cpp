#include "profileoperations.h"

#include "jsonfile.h"
#include "mappingdocument.h"
#include "profilestore.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QImageReader>
#include <QImageWriter>
#include <QSet>
#include <QUuid>

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Profile folders are flat; a deeper tree is not ours and is not walked down any further.
constexpr int kMaxRemovalDepth = 64;

QString editorText(const char *text)
{
    return QCoreApplication::translate("GamepadDefinder", text);
}

bool fail(QString *error, const QString &text)
{
    if (error)
        *error = text;
    return false;
}

QString localCopyError(const QString &reason)
{
    return editorText("Impossible de preparer une configuration locale : %1").arg(reason);
}

QString metaWriteError(const QString &reason)
{
    return editorText("Impossible d’écrire meta.json : %1").arg(reason);
}

// True for anything at `path`, a dangling link included.
bool entryExists(const QString &path)
{
    struct stat info;
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0;
}

bool isSharedProfile(const GamepadProfileMeta &entry)
{
    return entry.kind == GamepadProfileKind::Shared ||
           profileKindForFolder(entry.folder) == GamepadProfileKind::Shared;
}

// The profile's own folder under `root`, named after its id. The root is made when missing; the
// folder itself must be new.
bool makeProfileFolder(const QString &root, const QUuid &id, QString *folder, QString *osReason)
{
    *folder = QDir::cleanPath(root + u'/' + id.toString(QUuid::WithoutBraces));
    QDir().mkpath(root);
    if (::mkdir(QFile::encodeName(*folder).constData(), 0777) == 0)
        return true;
    int reason = errno;
    // QDir does not say why the root could not be made; one more attempt does.
    if (reason == ENOENT && ::mkdir(QFile::encodeName(root).constData(), 0777) != 0)
        reason = errno;
    *osReason = qt_error_string(reason);
    return false;
}

// Copies one file of the profile folder `folder` as it is: a file kept outside that folder is
// refused, and a link at the target is not written through. `reason` names the failing file.
bool copyFileBytes(const QString &folder, const QString &source, const QString &target,
                   QString *reason)
{
    QByteArray bytes;
    QString osReason;
    if (!fileStaysInFolder(folder, source, &osReason) ||
        !readRegularFile(source, kMaxProfileFileBytes, &bytes, &osReason)) {
        *reason = QStringLiteral("%1 (%2)").arg(source, osReason);
        return false;
    }
    if (!writeFileAtomic(target, bytes, &osReason, LinkTarget::Refuse)) {
        *reason = QStringLiteral("%1 (%2)").arg(target, osReason);
        return false;
    }
    return true;
}

// A picture the user picked may be reached through a link; the reader below does not follow one.
QString chosenFile(const QString &path)
{
    const QString resolved = QFileInfo(path).canonicalFilePath();
    return resolved.isEmpty() ? path : resolved;
}

QByteArray imageFormatFor(const QString &destination)
{
    const QString suffix = QFileInfo(destination).suffix().toLower();
    if (suffix == QLatin1String("jpg") || suffix == QLatin1String("jpeg"))
        return "jpeg";
    if (suffix == QLatin1String("bmp"))
        return "bmp";
    return "png";
}

// Removes `name` inside the folder `parentFd` without ever following a link: a link, like a
// file, is unlinked; a folder is emptied through descriptors opened with O_NOFOLLOW, so a folder
// swapped for a link meanwhile is unlinked as well instead of being walked into.
bool removeTreeAt(int parentFd, const char *name, int depth, int *osError)
{
    const int fd = ::openat(parentFd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
        if (errno != ENOTDIR && errno != ELOOP) {
            *osError = errno;
            return false;
        }
        if (::unlinkat(parentFd, name, 0) == 0)
            return true;
        *osError = errno;
        return false;
    }
    DIR *dir = depth < kMaxRemovalDepth ? ::fdopendir(fd) : nullptr;
    if (!dir) {
        *osError = depth < kMaxRemovalDepth ? errno : ELOOP;
        ::close(fd);
        return false;
    }
    bool ok = true;
    while (ok) {
        errno = 0;
        const dirent *child = ::readdir(dir);
        if (!child) {
            if (errno != 0) {
                *osError = errno;
                ok = false;
            }
            break;
        }
        if (std::strcmp(child->d_name, ".") != 0 && std::strcmp(child->d_name, "..") != 0)
            ok = removeTreeAt(::dirfd(dir), child->d_name, depth + 1, osError);
    }
    ::closedir(dir);
    if (ok && ::unlinkat(parentFd, name, AT_REMOVEDIR) != 0) {
        *osError = errno;
        ok = false;
    }
    return ok;
}

bool removeEntry(const QString &parent, const QString &name, int *osError)
{
    const int parentFd =
        ::open(QFile::encodeName(parent).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (parentFd < 0) {
        *osError = errno;
        return false;
    }
    const bool removed = removeTreeAt(parentFd, QFile::encodeName(name).constData(), 0, osError);
    ::close(parentFd);
    return removed;
}

} // namespace

QString profileImageFilter()
{
    return editorText("Images") + QStringLiteral(" (*.png *.jpg *.jpeg *.bmp)");
}

QString profileImageFileName(const QString &source)
{
    const QString suffix = QFileInfo(source).suffix().toLower();
    return QStringLiteral("image.%1").arg(suffix.isEmpty() ? QStringLiteral("png") : suffix);
}

QJsonObject emptyMappingDocument()
{
    // "ref", not the "refs" that older readers look for: a new profile starts with the current key.
    QJsonObject document;
    for (const char *key : {"signals", "onStartup", "onClose", "timers", "bridges", "ref"})
        document.insert(QLatin1String(key), QJsonArray());
    return document;
}

bool writeImageFile(const QString &source, const QString &destination, QString *error)
{
    QByteArray bytes;
    QString reason;
    const bool read = readRegularFile(source, kMaxProfileFileBytes, &bytes, &reason);
    if (read) {
        // Decoded from memory: the file is read once, within the bound above, and QImageReader's
        // allocation limit (256 MB by default) caps what a small file may claim to hold.
        QBuffer input(&bytes);
        input.open(QIODevice::ReadOnly);
        QImageReader reader(&input);
        reader.setDecideFormatFromContent(true);
        const QImage image = reader.read();
        if (!image.isNull()) {
            QByteArray encoded;
            QBuffer output(&encoded);
            output.open(QIODevice::WriteOnly);
            QImageWriter writer(&output, imageFormatFor(destination));
            if (!writer.write(image))
                reason = writer.errorString();
            else if (writeFileAtomic(destination, encoded, &reason))
                return true;
            return fail(error, editorText("Échec écriture image %1 (%2)").arg(destination, reason));
        }
    }
    // Not a picture Qt decodes: it is kept as it is.
    if (read && writeFileAtomic(destination, bytes, &reason))
        return true;
    return fail(error,
                editorText("Impossible de copier l’image %1 vers %2").arg(source, destination) +
                    QStringLiteral(" (%1)").arg(reason));
}

// The catalogue's profiles, each "meta.json" read once.
QList<GamepadProfileMeta> readProfileEntries()
{
    QList<GamepadProfileMeta> entries;
    QSet<QUuid> seen;
    const QStringList folders = candidateProfileFolders();
    for (const QString &folder : folders) {
        GamepadProfileMeta meta;
        if (readProfileMeta(folder, &meta, nullptr) && !seen.contains(meta.id)) {
            seen.insert(meta.id);
            entries << meta;
        }
    }
    return entries;
}

bool createProfile(const NewProfileRequest &request, GamepadProfileMeta *created, QString *title,
                   QString *error, const QDateTime &nowUtc)
{
    if (title)
        *title = editorText("Création");
    const QUuid id = QUuid::createUuid();
    const QString root = userProfilesRoot();
    if (root.isEmpty())
        return fail(error,
                    editorText("Aucun dossier utilisateur n'est disponible pour ce profil."));

    QString folder, reason;
    const QString imageFile = profileImageFileName(request.imageSource);
    // A folder that cannot be made is reported by the first file that needed it.
    if (!makeProfileFolder(root, id, &folder, &reason))
        return fail(error, editorText("Échec écriture image %1 (%2)")
                               .arg(QDir(folder).filePath(imageFile), reason));
    if (!writeImageFile(chosenFile(request.imageSource), QDir(folder).filePath(imageFile), error))
        return false;

    const QString overlayPath = QDir(folder).filePath(kDefaultOverlayFile);
    if (!writeJsonFileAtomic(overlayPath, request.overlayDocument, &reason))
        return fail(error,
                    editorText("Impossible d’écrire la configuration par défaut : %1").arg(reason));

    GamepadProfileMeta meta;
    meta.id = id;
    meta.name = request.name.trimmed();
    meta.folder = folder;
    meta.imageFile = imageFile;
    meta.overlayFile = kDefaultOverlayFile;
    const QString linked = request.linkedName.trimmed();
    if (!linked.isEmpty())
        meta.deviceNames = QStringList{linked};
    meta.createdAt = nowUtc.toUTC().toString(Qt::ISODate);
    meta.calibrationMode = QStringLiteral("inherit");
    meta.kind = GamepadProfileKind::User;
    meta.vendorId = request.vendorId;
    meta.productId = request.productId;
    if (!writeProfileMeta(&meta, &reason, nowUtc))
        return fail(error, metaWriteError(reason));

    const QString mappingPath = QDir(folder).filePath(kMappingFileName);
    if (!entryExists(mappingPath) &&
        !writeJsonFileAtomic(mappingPath, emptyMappingDocument(), &reason)) {
        if (title)
            *title = editorText("Creation");
        return fail(error, editorText("Echec ecriture mapping : %1").arg(reason));
    }
    GamepadProfileMeta readBack;
    if (!readProfileMeta(folder, &readBack, error))
        return false;
    if (created)
        *created = readBack;
    return true;
}

bool duplicateProfile(const GamepadProfileMeta &source, GamepadProfileMeta *copy, QString *error)
{
    const QUuid id = QUuid::createUuid();
    const QString root = userProfilesRoot();
    if (root.isEmpty())
        return fail(error,
                    editorText("Aucun dossier utilisateur n'est disponible pour cette copie."));

    QString folder, reason;
    const QString sourceImage = source.imagePath();
    const QString imageFile = profileImageFileName(sourceImage);
    if (!makeProfileFolder(root, id, &folder, &reason))
        return fail(error, editorText("Échec écriture image %1 (%2)")
                               .arg(QDir(folder).filePath(imageFile), reason));
    // The copy takes nothing from outside the source folder, the picture included.
    if (!fileStaysInFolder(source.folder, sourceImage, &reason))
        return fail(error, editorText("Impossible de copier l’image %1 vers %2")
                                   .arg(sourceImage, QDir(folder).filePath(imageFile)) +
                               QStringLiteral(" (%1)").arg(reason));
    if (!writeImageFile(sourceImage, QDir(folder).filePath(imageFile), error))
        return false;
    if (!copyFileBytes(source.folder, source.overlayPath(),
                       QDir(folder).filePath(kDefaultOverlayFile), &reason))
        return fail(error, editorText("Impossible de copier la configuration."));

    const QString sourceMapping = containedFilePath(source.folder, kMappingFileName);
    const QString mapping = QDir(folder).filePath(kMappingFileName);
    if (!sourceMapping.isEmpty() && entryExists(sourceMapping) &&
        !copyFileBytes(source.folder, sourceMapping, mapping, &reason))
        return fail(error, editorText("Echec copie mapping : %1").arg(reason));
    if (!entryExists(mapping) && !writeJsonFileAtomic(mapping, emptyMappingDocument(), &reason))
        return fail(error, editorText("Echec ecriture mapping : %1").arg(reason));

    GamepadProfileMeta meta = source;
    if (normalizedCalibrationMode(source.calibrationMode) == QLatin1String("override")) {
        const QString trimmed = source.calibrationOverrideFile.trimmed();
        const QString name = trimmed.isEmpty() ? kDefaultOverrideFile : trimmed;
        // An override outside the folder, or kept outside it through a link, is not the
        // profile's own: the copy falls back to the base calibration as for a missing file.
        const QString from = containedFilePath(source.folder, name);
        const QString to = containedFilePath(folder, name);
        if (!entryExists(from) || !fileStaysInFolder(source.folder, from, nullptr)) {
            meta.calibrationMode = QStringLiteral("inherit");
            meta.calibrationOverrideFile.clear();
        } else if (to.isEmpty() || !QDir().mkpath(QFileInfo(to).absolutePath()) ||
                   !copyFileBytes(source.folder, from, to, &reason)) {
            return fail(error, editorText("Impossible de copier la calibration du profil."));
        }
    }
    meta.id = id;
    meta.name = editorText("%1 (copie)").arg(source.name);
    meta.folder = folder;
    meta.imageFile = imageFile;
    meta.overlayFile = kDefaultOverlayFile;
    meta.configFile = kDefaultMappingFile;
    meta.kind = GamepadProfileKind::User;
    if (!writeProfileMeta(&meta, &reason))
        return fail(error, metaWriteError(reason));
    GamepadProfileMeta readBack;
    if (!readProfileMeta(folder, &readBack, error))
        return false;
    if (copy)
        *copy = readBack;
    return true;
}

bool ensureLocalProfile(GamepadProfileMeta *entry, QString *error)
{
    if (!entry)
        return fail(error,
                    QCoreApplication::translate("GamepadProfileStore", "Profil introuvable."));
    QString folder = entry->folder;
    if (isSharedProfile(*entry) && !canEditSharedGamepads()) {
        GamepadProfileInfo info;
        info.id = entry->id;
        info.name = entry->name;
        info.folder = entry->folder;
        info.kind = GamepadProfileKind::Shared;
        folder = copyProfileToRoot(info, GamepadProfileKind::User, error);
        if (folder.isEmpty())
            return false;
    }
    GamepadProfileMeta reread;
    if (!readProfileMeta(folder, &reread, nullptr))
        return fail(error, editorText("Impossible de recharger le profil apres copie."));
    *entry = reread;
    return true;
}

bool renameProfile(GamepadProfileMeta *entry, const QString &newName, QString *error)
{
    const QString name = newName.trimmed();
    if (name.isEmpty() || !entry)
        return fail(error, QString());
    QString reason;
    if (!ensureLocalProfile(entry, &reason))
        return fail(error, localCopyError(reason));
    GamepadProfileMeta renamed = *entry;
    renamed.name = name;
    if (!writeProfileMeta(&renamed, &reason))
        return fail(error, metaWriteError(reason));
    *entry = renamed;
    return true;
}

bool changeProfileImage(GamepadProfileMeta *entry, const QString &imageSource, QString *error)
{
    if (!entry)
        return fail(error, QString());
    QString reason;
    if (!ensureLocalProfile(entry, &reason))
        return fail(error, localCopyError(reason));
    GamepadProfileMeta changed = *entry;
    changed.imageFile = profileImageFileName(imageSource);
    if (!writeImageFile(chosenFile(imageSource), QDir(changed.folder).filePath(changed.imageFile),
                        error))
        return false;
    if (!writeProfileMeta(&changed, &reason))
        return fail(error, metaWriteError(reason));
    *entry = changed;
    return true;
}

bool mayDeleteProfile(const GamepadProfileMeta &entry)
{
    return !isSharedProfile(entry) || canEditSharedGamepads();
}

bool deleteProfileFolder(const GamepadProfileMeta &entry, QString *error)
{
    if (!mayDeleteProfile(entry))
        return fail(error, editorText("Seul un admin peut supprimer un profil partage."));
    const QString folder =
        entry.folder.trimmed().isEmpty() ? QString() : QFileInfo(entry.folder).absoluteFilePath();
    const QFileInfo info(QDir::cleanPath(folder));
    const QString refused = editorText("Impossible de supprimer %1").arg(info.filePath());
    // Only a profile folder right below a root is removed, and only when it holds this very
    // profile: a stale or forged entry never leads to anything else. The path is clean, so no
    // ".." and no root itself (whose parent is no root) gets past the roots.
    const QString name = info.fileName();
    GamepadProfileMeta onDisk;
    if (folder.isEmpty() || !candidateProfileRoots().contains(info.absolutePath()) ||
        !readProfileMeta(info.filePath(), &onDisk, nullptr) || onDisk.id != entry.id)
        return fail(error, refused);
    int osError = 0;
    if (!removeEntry(info.absolutePath(), name, &osError))
        return fail(error, refused + QStringLiteral(" (%1)").arg(qt_error_string(osError)));
    return true;
}

bool saveProfileFiles(GamepadProfileMeta *entry, const QJsonObject &overlayDocument,
                      const QVector<OverlayNode> &nodes, const QJsonArray &catalog, QString *error,
                      QString *failedPath)
{
    if (!entry)
        return false;
    const auto failAt = [&](const QString &path, const QString &message) {
        if (failedPath)
            *failedPath = path;
        return fail(error, message);
    };
    QString reason;
    if (!ensureLocalProfile(entry, &reason))
        return failAt(entry->folder, localCopyError(reason));
    const QString overlayPath = entry->overlayPath();
    if (overlayPath.isEmpty())
        reason = outsideProfileFolderError(entry->folder, entry->overlayFile);
    if (overlayPath.isEmpty() || !writeJsonFileAtomic(overlayPath, overlayDocument, &reason))
        return failAt(overlayPath.isEmpty() ? entry->folder : overlayPath,
                      editorText("Échec sauvegarde config : %1").arg(reason));
    if (!saveMappingDocument(entry->folder, nodes, {}, catalog))
        return failAt(mappingDocumentPath(entry->folder), editorText("Echec sauvegarde mapping."));
    if (!writeProfileMeta(entry, &reason))
        return failAt(QDir(entry->folder).filePath(kProfileMetaFileName),
                      editorText("Échec sauvegarde meta : %1").arg(reason));
    return true;
}
