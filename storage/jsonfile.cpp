#include "jsonfile.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonParseError>
#include <QSaveFile>

namespace {

QString editorText(const char *text)
{
    return QCoreApplication::translate("GamepadDefinder", text);
}

} // namespace

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
    return {QStringLiteral("Cannot write %1"),           QStringLiteral("Write failed for %1"),
            QStringLiteral("Commit failed for %1 (%2)"), QStringLiteral("Cannot open %1"),
            QStringLiteral("Invalid JSON in %1 (%2)"),   QStringLiteral("not an object")};
}

bool writeJsonFileAtomic(const QString &path, const QByteArray &bytes, QString *error,
                         const JsonFileMessages &messages)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        if (error)
            *error = messages.cannotWrite.arg(path);
        return false;
    }
    if (file.write(bytes) != bytes.size()) {
        file.cancelWriting();
        if (error)
            *error = messages.writeFailed.arg(path);
        return false;
    }
    if (!file.commit()) {
        if (error)
            *error = messages.commitFailed.arg(path, file.errorString());
        return false;
    }
    return true;
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
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = messages.cannotOpen.arg(path);
        return false;
    }
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &parseError);
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
