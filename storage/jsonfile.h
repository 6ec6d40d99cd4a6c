#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

// The texts a JSON writer and its matching reader report. %1 is the path, %2 the file's or the
// parser's error text.
struct JsonFileMessages
{
    QString cannotWrite;  // %1
    QString writeFailed;  // %1
    QString commitFailed; // %1 %2
    QString cannotOpen;   // %1
    QString invalidJson;  // %1 %2
    QString notAnObject;  // the %2 of invalidJson when the document is not an object
    // Whether cannotOpen is followed by the system's reason in parentheses; the linker's log
    // keeps its text bare.
    bool openReason = true;
};

// French texts of the profile editor and the profile metadata, translated in the editor's context.
JsonFileMessages editorJsonMessages();
// English texts of the action linker, never translated.
JsonFileMessages linkerJsonMessages();

// File size limits, one set for every reader and writer.
// The largest JSON document the program reads (and so writes): far above any real profile,
// calibration or registry, small enough that a hostile file cannot exhaust memory.
constexpr qint64 kMaxJsonFileBytes = qint64(16) << 20;
// The largest controller picture a profile holds, exports or imports.
constexpr qint64 kMaxProfileImageBytes = qint64(32) << 20;
// Any file a profile folder holds, as profile copies take it; a picture chosen by the user is
// read within this bound too, before it is re-encoded.
constexpr qint64 kMaxProfileFileBytes = qint64(256) << 20;

// The path of `name` inside `folder`, or empty when the name is empty or absolute or has a ".."
// component. Symbolic links below the folder are the user's own and are followed; content that
// leaves the folder is checked with fileStaysInFolder.
QString containedFilePath(const QString &folder, const QString &name);

// Whether `path` really lies inside `folder` once every symbolic link is resolved, for content
// taken out of a folder that may come from someone else (export, copies, snapshots). A path that
// names nothing yet stays; an empty one does not. `reason` says why not.
bool fileStaysInFolder(const QString &folder, const QString &path, QString *reason);

// What a writer does with a symbolic link at its target.
enum class LinkTarget {
    Follow, // the user's own file kept elsewhere (a dotfile manager's link): its target is replaced
    Refuse, // a folder filled from elsewhere: nothing is written through a link ("Too many levels
            // of symbolic links")
};

// Writes `bytes` to a uniquely named temporary file beside the target, syncs it and renames it
// over the target, which keeps its permission bits. The target is `path`, or the file a link
// there leads to. Anything else than a regular file at the target (a folder, a pipe, a device) is
// refused, and so is a file beyond the process's file size limit, before a byte is written. On
// failure the previous file stays byte for byte, no temporary is left and `osReason` gets the
// system's text for the failing call.
bool writeFileAtomic(const QString &path, const QByteArray &bytes, QString *osReason,
                     LinkTarget links = LinkTarget::Follow);

// Reads a regular file of at most `maxBytes`, following symbolic links. A folder, a device or
// pipe, or a larger file fails; `osReason` gets the system's text.
bool readRegularFile(const QString &path, qint64 maxBytes, QByteArray *out, QString *osReason);

// The one atomic JSON writer, writeFileAtomic with messages: the bytes go to a temporary file
// beside the target, their count is checked, then the temporary is renamed over the target. A
// document larger than kMaxJsonFileBytes, which no reader would take back, is refused. On any
// failure the previous file stays untouched, no temporary is left behind, `error` gets the
// message and the result is false.
bool writeJsonFileAtomic(const QString &path, const QByteArray &bytes, QString *error,
                         const JsonFileMessages &messages = editorJsonMessages());
bool writeJsonFileAtomic(const QString &path, const QJsonObject &object, QString *error,
                         bool indented = true);
bool writeJsonFileAtomic(const QString &path, const QJsonArray &array, QString *error,
                         bool indented = true);
// The action linker's writer: always indented, English messages.
bool writeLinkerJsonFileAtomic(const QString &path, const QJsonObject &object, QString *error);

// Reads a JSON document of at most kMaxJsonFileBytes from a regular file (links followed);
// fails with "cannot open" (with the system's reason) or "invalid JSON" from `messages`.
bool readJsonFile(const QString &path, QJsonDocument *out, QString *error,
                  const JsonFileMessages &messages = editorJsonMessages());
// Same, but the document must be an object.
bool readJsonObjectFile(const QString &path, QJsonObject *out, QString *error,
                        const JsonFileMessages &messages = editorJsonMessages());
