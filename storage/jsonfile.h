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

// The path of `name` inside `folder`, or empty when the name is empty or absolute, has a ".."
// component, or would reach outside the folder through a symbolic link below it.
QString containedFilePath(const QString &folder, const QString &name);

// Writes `bytes` to a uniquely named temporary file beside `path`, syncs it and renames it over
// `path`, which keeps its permission bits. A `path` that is a symbolic link is refused. On failure
// the previous file stays byte for byte, no temporary is left and `osReason` gets the system's
// text for the failing call.
bool writeFileAtomic(const QString &path, const QByteArray &bytes, QString *osReason);

// Reads a regular file of at most `maxBytes` without following a symbolic link. A link, a folder,
// a device or pipe, or a larger file fails; `osReason` gets the system's text.
bool readRegularFile(const QString &path, qint64 maxBytes, QByteArray *out, QString *osReason);

// The one atomic JSON writer: the bytes go to a temporary file beside the target, their count is
// checked, then the temporary is renamed over the target. On any failure the previous file stays
// untouched, no temporary is left behind, `error` gets the message and the result is false.
bool writeJsonFileAtomic(const QString &path, const QByteArray &bytes, QString *error,
                         const JsonFileMessages &messages = editorJsonMessages());
bool writeJsonFileAtomic(const QString &path, const QJsonObject &object, QString *error,
                         bool indented = true);
bool writeJsonFileAtomic(const QString &path, const QJsonArray &array, QString *error,
                         bool indented = true);
// The action linker's writer: always indented, English messages.
bool writeLinkerJsonFileAtomic(const QString &path, const QJsonObject &object, QString *error);

// The largest JSON document the program reads: far above any real profile, calibration or
// registry, small enough that a hostile file cannot exhaust memory.
constexpr qint64 kMaxJsonFileBytes = qint64(16) << 20;

// Reads a JSON document of at most kMaxJsonFileBytes from a regular file (not through a link);
// fails with "cannot open" (with the system's reason) or "invalid JSON" from `messages`.
bool readJsonFile(const QString &path, QJsonDocument *out, QString *error,
                  const JsonFileMessages &messages = editorJsonMessages());
// Same, but the document must be an object.
bool readJsonObjectFile(const QString &path, QJsonObject *out, QString *error,
                        const JsonFileMessages &messages = editorJsonMessages());
