#pragma once

#include "contentdigest.h"

#include <QList>
#include <QString>

// What a file looked like when the program last read or wrote it: enough to tell later whether
// someone else (another window, the profiles command line, a colleague on the shared folder) has
// changed or replaced it since.
struct FileStamp
{
    bool exists = false;  // something stands at the path, or at the end of a link there
    bool regular = false; // a regular file, not a folder, device or pipe
    qint64 size = 0;
    qint64 modifiedNs = 0; // modification time, nanoseconds since the epoch
    quint64 inode = 0;
    quint64 device = 0;
    ContentDigest digest; // of the bytes, for a regular file that could be read
};

// A folder's identity: a folder deleted and made again under the same name is another one.
struct FolderStamp
{
    bool exists = false;
    quint64 inode = 0;
    quint64 device = 0;
    qint64 bornNs = 0; // creation time where the file system keeps one: inode numbers are reused
};

// Files larger than this are stamped by their metadata alone; no document of ours comes near it.
constexpr qint64 kMaxDigestedFileBytes = qint64(256) << 20;

// The file as it is now, through symbolic links (the file a link leads to is the one the writers
// replace): metadata, and a digest of its bytes.
FileStamp stampFile(const QString &path);
// The folder as it is now, following links (a root may be a link to a network share).
FolderStamp stampFolder(const QString &path);

// How a file compares with what was known of it.
enum class FileChange {
    Same,     // the same bytes (metadata alone may differ: touched, or rewritten identically)
    Changed,  // other bytes, or created or deleted since
    Replaced, // something that is not a regular file stands there now (a folder, a pipe)
};
FileChange compareWithDisk(const FileStamp &known, const QString &path);
// Whether the folder is still the one that was stamped; a folder that did not exist then
// always is (nothing was loaded from it).
bool folderStillThere(const FolderStamp &known, const QString &path);

// The documents an editor loaded together: the folder that holds them and each file's stamp.
struct DocumentSet
{
    QString folder;
    FolderStamp folderStamp;
    QList<QString> paths;
    QList<FileStamp> stamps;

    // Stamps `folder` and each of `paths` now; an empty folder is not watched.
    static DocumentSet take(const QString &folder, const QStringList &paths);
    bool tracks(const QString &path) const;
    bool isEmpty() const { return folder.isEmpty() && paths.isEmpty(); }
};

// What a save finds on disk before it writes.
struct DiskCheck
{
    enum Kind {
        Unchanged, // as loaded or last saved
        Changed,   // a file was changed, created or deleted by someone else
        Gone,      // the folder disappeared or was replaced, or a file was replaced by a non-file
    };
    Kind kind = Unchanged;
    QString path; // the folder or file concerned
};
DiskCheck checkDocuments(const DocumentSet &documents);
