#include "filestamp.h"

#include "jsonfile.h"

#include <QDir>
#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <tuple>

namespace {

FileStamp metadataOf(const struct stat &info)
{
    FileStamp stamp;
    stamp.exists = true;
    stamp.regular = S_ISREG(info.st_mode);
    stamp.size = qint64(info.st_size);
    stamp.modifiedNs = qint64(info.st_mtim.tv_sec) * 1000000000 + qint64(info.st_mtim.tv_nsec);
    stamp.inode = quint64(info.st_ino);
    stamp.device = quint64(info.st_dev);
    return stamp;
}

bool sameMetadata(const FileStamp &a, const FileStamp &b)
{
    return std::tie(a.exists, a.regular, a.size, a.modifiedNs, a.inode, a.device) ==
           std::tie(b.exists, b.regular, b.size, b.modifiedNs, b.inode, b.device);
}

// Through links: the writers replace the file a link leads to, so that file is the one stamped.
FileStamp metadataOnly(const QString &path)
{
    struct stat info;
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return FileStamp();
    return metadataOf(info);
}

} // namespace

FileStamp stampFile(const QString &path)
{
    FileStamp stamp = metadataOnly(path);
    QByteArray bytes;
    if (stamp.regular && stamp.size <= kMaxDigestedFileBytes &&
        readRegularFile(path, kMaxDigestedFileBytes, &bytes, nullptr))
        stamp.digest = contentDigestOf(bytes);
    return stamp;
}

FolderStamp stampFolder(const QString &path)
{
    struct statx info;
    if (path.isEmpty() ||
        ::statx(AT_FDCWD, QFile::encodeName(path).constData(), 0,
                STATX_TYPE | STATX_INO | STATX_BTIME, &info) != 0 ||
        !S_ISDIR(info.stx_mode))
        return FolderStamp();
    FolderStamp stamp{true, quint64(info.stx_ino),
                      quint64(makedev(info.stx_dev_major, info.stx_dev_minor)), 0};
    if (info.stx_mask & STATX_BTIME)
        stamp.bornNs = qint64(info.stx_btime.tv_sec) * 1000000000 + info.stx_btime.tv_nsec;
    return stamp;
}

FileChange compareWithDisk(const FileStamp &known, const QString &path)
{
    const FileStamp now = metadataOnly(path);
    if (now.exists && !now.regular)
        return FileChange::Replaced;
    if (now.exists != known.exists)
        return FileChange::Changed;
    if (!now.exists || sameMetadata(known, now))
        return FileChange::Same;
    // The metadata moved: only other bytes count (a touch or an identical rewrite does not).
    return stampFile(path).digest == known.digest ? FileChange::Same : FileChange::Changed;
}

bool folderStillThere(const FolderStamp &known, const QString &path)
{
    if (!known.exists)
        return true;
    const FolderStamp now = stampFolder(path);
    return now.exists && now.inode == known.inode && now.device == known.device &&
           now.bornNs == known.bornNs;
}

DocumentSet DocumentSet::take(const QString &folder, const QStringList &paths)
{
    DocumentSet set;
    set.folder = folder.isEmpty() ? QString() : QDir::cleanPath(folder);
    set.folderStamp = stampFolder(set.folder);
    for (const QString &path : paths) {
        if (path.isEmpty())
            continue;
        set.paths << QDir::cleanPath(path);
        set.stamps << stampFile(path);
    }
    return set;
}

bool DocumentSet::tracks(const QString &path) const
{
    return !path.isEmpty() && paths.contains(QDir::cleanPath(path));
}

DiskCheck checkDocuments(const DocumentSet &documents)
{
    if (!documents.folder.isEmpty() && !folderStillThere(documents.folderStamp, documents.folder))
        return {DiskCheck::Gone, documents.folder};
    DiskCheck changed;
    for (qsizetype i = 0; i < documents.paths.size(); ++i) {
        const FileChange change = compareWithDisk(documents.stamps.at(i), documents.paths.at(i));
        if (change == FileChange::Replaced)
            return {DiskCheck::Gone, documents.paths.at(i)};
        if (change == FileChange::Changed && changed.kind == DiskCheck::Unchanged)
            changed = {DiskCheck::Changed, documents.paths.at(i)};
    }
    return changed;
}
