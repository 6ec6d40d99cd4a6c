#include "jsonfile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonParseError>
#include <QRandomGenerator>

#include <cerrno>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString editorText(const char *text)
{
    return QCoreApplication::translate("GamepadDefinder", text);
}

// Where an atomic write stopped; each step has its own message.
enum class WriteStep { Done, Create, Write, Commit };

struct WriteOutcome
{
    WriteStep step = WriteStep::Done;
    int osError = 0;
};

WriteOutcome failed(WriteStep step, int osError)
{
    return {step, osError};
}

// Stands for "something that is not a regular file is at the target", which has no errno.
constexpr int kNotRegularFile = -1;
// Like the system's own limit on a chain of links (MAXSYMLINKS).
constexpr int kMaxLinkHops = 40;

QString reasonText(int osError)
{
    return osError == kNotRegularFile ? QStringLiteral("not a regular file")
                                      : qt_error_string(osError);
}

// Replaces `path` by the file the chain of symbolic links there ends on (itself when no link).
// A chain of kMaxLinkHops links is followed, as the system would; one more is refused.
bool followLinks(QByteArray *path, int *osError)
{
    for (int hop = 0;; ++hop) {
        struct stat info;
        if (::lstat(path->constData(), &info) != 0 || !S_ISLNK(info.st_mode))
            return true;
        if (hop == kMaxLinkHops) {
            *osError = ELOOP;
            return false;
        }
        QByteArray target(PATH_MAX, Qt::Uninitialized);
        const ssize_t length = ::readlink(path->constData(), target.data(), size_t(target.size()));
        if (length < 0 || length >= target.size()) {
            *osError = length < 0 ? errno : ENAMETOOLONG;
            return false;
        }
        target.truncate(length);
        if (!target.startsWith('/'))
            target.prepend(path->left(path->lastIndexOf('/') + 1));
        *path = target;
    }
}

// What stands at the target: -1 when nothing does, else the permission bits the replacement
// keeps. Anything but a regular file there (a link, a folder, a pipe, a device) is refused with
// `osError`.
int existingMode(const QByteArray &path, int *osError)
{
    struct stat info;
    if (::lstat(path.constData(), &info) != 0)
        return -1;
    if (S_ISLNK(info.st_mode))
        *osError = ELOOP;
    else if (S_ISDIR(info.st_mode))
        *osError = EISDIR;
    else if (!S_ISREG(info.st_mode))
        *osError = kNotRegularFile;
    return int(info.st_mode & 07777);
}

// A file beyond the size limit raises SIGXFSZ, which ends the process unless the signal is
// ignored or handled. A host may leave it as it is, so such a file is refused before a byte of
// it is written; otherwise the write itself fails with EFBIG.
bool beyondFileSizeLimit(qint64 size)
{
    struct sigaction action;
    if (::sigaction(SIGXFSZ, nullptr, &action) != 0 || (action.sa_flags & SA_SIGINFO) ||
        action.sa_handler != SIG_DFL)
        return false;
    rlimit limit;
    return ::getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY &&
           quint64(size) > quint64(limit.rlim_cur);
}

// A fresh name beside the target, created exclusively so that nothing planted there (a file, a
// symbolic link) is ever opened. The target's name is shortened to stay within NAME_MAX.
int createTemporary(const QByteArray &target, QByteArray *temporary)
{
    const qsizetype slash = target.lastIndexOf('/');
    const QByteArray folder = target.left(slash + 1);
    const QByteArray name = target.mid(slash + 1).left(200);
    for (int attempt = 0; attempt < 100; ++attempt) {
        const quint64 random = QRandomGenerator::system()->generate64();
        *temporary = folder + '.' + name + '.' + QByteArray::number(random, 36) + ".tmp";
        const int fd = ::open(temporary->constData(),
                              O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
        if (fd >= 0 || errno != EEXIST) // a new file starts at 0666 less the umask
            return fd;
    }
    return -1;
}

bool writeAll(int fd, const QByteArray &bytes)
{
    const char *data = bytes.constData();
    qsizetype left = bytes.size();
    while (left > 0) {
        const ssize_t written = ::write(fd, data, size_t(left));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0) {
            if (written == 0)
                errno = EIO; // no progress and no reason: do not spin
            return false;
        }
        data += written;
        left -= written;
    }
    return true;
}

// Fills, syncs and closes the temporary; on failure errno says why and the descriptor is closed.
bool fillTemporary(int fd, const QByteArray &bytes, int mode)
{
    const bool ok =
        writeAll(fd, bytes) && (mode < 0 || ::fchmod(fd, mode_t(mode)) == 0) && ::fsync(fd) == 0;
    const int reason = errno;
    const bool closed = ::close(fd) == 0;
    if (!ok)
        errno = reason;
    return ok && closed;
}

// The renamed entry reaches the disk with its folder; a failed sync here cannot undo the rename,
// so it only weakens durability after a crash.
void syncFolder(const QByteArray &target)
{
    const qsizetype slash = target.lastIndexOf('/');
    const QByteArray folder = slash < 0 ? QByteArray(".") : target.left(slash + 1);
    const int fd = ::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
}

WriteOutcome writeAtomically(const QString &path, const QByteArray &bytes, LinkTarget links)
{
    if (path.isEmpty())
        return failed(WriteStep::Create, ENOENT);
    QByteArray target = QFile::encodeName(path);
    int refusal = 0;
    if (links == LinkTarget::Follow && !followLinks(&target, &refusal))
        return failed(WriteStep::Create, refusal);
    const int mode = existingMode(target, &refusal);
    if (refusal != 0)
        return failed(WriteStep::Create, refusal);
    if (beyondFileSizeLimit(bytes.size()))
        return failed(WriteStep::Write, EFBIG);
    QByteArray temporary;
    const int fd = createTemporary(target, &temporary);
    if (fd < 0)
        return failed(WriteStep::Create, errno);
    if (!fillTemporary(fd, bytes, mode)) {
        const int reason = errno;
        ::unlink(temporary.constData());
        return failed(WriteStep::Write, reason);
    }
    if (::rename(temporary.constData(), target.constData()) != 0) {
        const int reason = errno;
        ::unlink(temporary.constData());
        return failed(WriteStep::Commit, reason);
    }
    syncFolder(target);
    return {};
}

bool readOpenedFile(int fd, qint64 maxBytes, QByteArray *out)
{
    struct stat info;
    if (::fstat(fd, &info) != 0)
        return false;
    if (!S_ISREG(info.st_mode)) {
        errno = S_ISDIR(info.st_mode) ? EISDIR : EINVAL;
        return false;
    }
    if (info.st_size > maxBytes) {
        errno = EFBIG;
        return false;
    }
    QByteArray bytes(qsizetype(info.st_size), Qt::Uninitialized);
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t count = ::read(fd, bytes.begin() + done, size_t(bytes.size() - done));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return false;
        if (count == 0)
            break; // the file shrank meanwhile
        done += count;
    }
    bytes.truncate(done);
    if (out)
        *out = bytes;
    return true;
}

QString withReason(const QString &message, int osError)
{
    return QStringLiteral("%1 (%2)").arg(message, reasonText(osError));
}

// True for anything at `path`, a dangling link included.
bool entryExists(const QString &path)
{
    struct stat info;
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0;
}

} // namespace

QString containedFilePath(const QString &folder, const QString &name)
{
    if (folder.isEmpty() || name.isEmpty() || QDir::isAbsolutePath(name))
        return QString();
    QStringList parts = name.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    parts.removeAll(QStringLiteral("."));
    // A name that is the folder itself or climbs out of it names no file inside.
    if (parts.isEmpty() || parts.contains(QLatin1String("..")))
        return QString();
    return QDir::cleanPath(folder + QLatin1Char('/') + name);
}

bool fileStaysInFolder(const QString &folder, const QString &path, QString *reason)
{
    const QString realFolder = QFileInfo(folder).canonicalFilePath();
    if (path.isEmpty() || realFolder.isEmpty()) {
        if (reason)
            *reason = editorText("hors du dossier du profil");
        return false;
    }
    // A missing file or a dangling link brings nothing in; reading it fails on its own.
    const QString real = QFileInfo(path).canonicalFilePath();
    if (!entryExists(path) || real.isEmpty() || real.startsWith(realFolder + QLatin1Char('/')))
        return true;
    if (reason)
        *reason = editorText("lien symbolique vers %1, hors du dossier du profil").arg(real);
    return false;
}

bool writeFileAtomic(const QString &path, const QByteArray &bytes, QString *osReason,
                     LinkTarget links)
{
    const WriteOutcome outcome = writeAtomically(path, bytes, links);
    if (outcome.step != WriteStep::Done && osReason)
        *osReason = reasonText(outcome.osError);
    return outcome.step == WriteStep::Done;
}

JsonFileMessages editorJsonMessages()
{
    return {editorText("Impossible d’écrire %1"),
            editorText("Écriture incomplète dans %1"),
            editorText("Impossible de valider l’écriture de %1 (%2)"),
            editorText("Impossible d’ouvrir %1"),
            editorText("JSON invalide dans %1 (%2)"),
            editorText("le document n’est pas un objet")};
}

JsonFileMessages linkerJsonMessages()
{
    return {QStringLiteral("Cannot write %1"),
            QStringLiteral("Write failed for %1"),
            QStringLiteral("Commit failed for %1 (%2)"),
            QStringLiteral("Cannot open %1"),
            QStringLiteral("Invalid JSON in %1 (%2)"),
            QStringLiteral("not an object"),
            false};
}

bool readRegularFile(const QString &path, qint64 maxBytes, QByteArray *out, QString *osReason)
{
    // Non-blocking, so that a pipe planted under the name cannot stall the open.
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const bool ok = fd >= 0 && readOpenedFile(fd, maxBytes, out);
    const int reason = errno;
    if (fd >= 0)
        ::close(fd);
    if (!ok && osReason)
        *osReason = qt_error_string(reason);
    return ok;
}

bool writeJsonFileAtomic(const QString &path, const QByteArray &bytes, QString *error,
                         const JsonFileMessages &messages)
{
    // A document no reader takes back is not written at all.
    const WriteOutcome outcome = bytes.size() > kMaxJsonFileBytes
                                     ? failed(WriteStep::Create, EFBIG)
                                     : writeAtomically(path, bytes, LinkTarget::Follow);
    if (outcome.step == WriteStep::Done)
        return true;
    if (error) {
        switch (outcome.step) {
        case WriteStep::Create:
            *error = withReason(messages.cannotWrite.arg(path), outcome.osError);
            break;
        case WriteStep::Write:
            *error = withReason(messages.writeFailed.arg(path), outcome.osError);
            break;
        default:
            *error = messages.commitFailed.arg(path, reasonText(outcome.osError));
        }
    }
    return false;
}

bool writeJsonFileAtomic(const QString &path, const QJsonObject &object, QString *error,
                         bool indented)
{
    const auto format = indented ? QJsonDocument::Indented : QJsonDocument::Compact;
    return writeJsonFileAtomic(path, QJsonDocument(object).toJson(format), error);
}

bool writeJsonFileAtomic(const QString &path, const QJsonArray &array, QString *error,
                         bool indented)
{
    const auto format = indented ? QJsonDocument::Indented : QJsonDocument::Compact;
    return writeJsonFileAtomic(path, QJsonDocument(array).toJson(format), error);
}

bool writeLinkerJsonFileAtomic(const QString &path, const QJsonObject &object, QString *error)
{
    return writeJsonFileAtomic(path, QJsonDocument(object).toJson(QJsonDocument::Indented), error,
                               linkerJsonMessages());
}

bool readJsonFile(const QString &path, QJsonDocument *out, QString *error,
                  const JsonFileMessages &messages)
{
    QByteArray bytes;
    QString reason;
    if (!readRegularFile(path, kMaxJsonFileBytes, &bytes, &reason)) {
        if (error)
            *error = messages.openReason
                         ? QStringLiteral("%1 (%2)").arg(messages.cannotOpen.arg(path), reason)
                         : messages.cannotOpen.arg(path);
        return false;
    }
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        if (error)
            *error = messages.invalidJson.arg(path, parseError.errorString());
        return false;
    }
    if (out)
        *out = document;
    return true;
}

bool readJsonObjectFile(const QString &path, QJsonObject *out, QString *error,
                        const JsonFileMessages &messages)
{
    QJsonDocument document;
    if (!readJsonFile(path, &document, error, messages))
        return false;
    if (!document.isObject()) {
        if (error)
            *error = messages.invalidJson.arg(path, messages.notAnObject);
        return false;
    }
    if (out)
        *out = document.object();
    return true;
}
