#include "profileexchange.h"

#include "jsonfile.h"
#include "mappingdocument.h"
#include "overlaybindings.h"
#include "overlayrender.h"
#include "profileoperations.h"
#include "profilestore.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QRegularExpression>
#include <QUuid>

#include <algorithm>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Beyond this many numbered names the folder is not one a person keeps snapshots in.
constexpr int kMaxSnapshotNumber = 1000000;

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

QStringList normalizedNames(const QStringList &names)
{
    QStringList result;
    for (const QString &name : names) {
        const QString trimmed = name.trimmed();
        if (!trimmed.isEmpty() && !result.contains(trimmed, Qt::CaseInsensitive))
            result << trimmed;
    }
    return result;
}

QString documentTooLarge(qint64 size)
{
    return editorText("Document trop volumineux (%1 octets, limite %2).")
        .arg(size)
        .arg(kMaxExchangeDocumentBytes);
}

// True for anything at `path`, a dangling link included.
bool entryExists(const QString &path)
{
    struct stat info;
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0;
}

// Undoes a profile folder this process has just made: only the files it wrote are removed, so
// anything else found there keeps the folder in place.
void removeFreshFolder(const QString &folder, const QStringList &files)
{
    for (const QString &name : files)
        ::unlink(QFile::encodeName(QDir(folder).filePath(name)).constData());
    ::rmdir(QFile::encodeName(folder).constData());
}

// Claims `path` by creating it empty; fails with EEXIST when anything is already there.
bool claimPath(const QString &path, int *osError)
{
    const int fd = ::open(QFile::encodeName(path).constData(),
                          O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
    if (fd < 0) {
        *osError = errno;
        return false;
    }
    ::close(fd);
    return true;
}

QString snapshotName(const QString &base, int number)
{
    return number == 0 ? base + QStringLiteral(".png")
                       : QStringLiteral("%1_%2.png").arg(base).arg(number);
}

// Writes the PNG under the first free numbered name. The name is claimed exclusively before the
// atomic writer replaces the empty claim, so a file appearing meanwhile is never overwritten.
bool writeSnapshotFile(const QString &dir, const QString &base, const QByteArray &png,
                       QString *written)
{
    for (int number = 0; number <= kMaxSnapshotNumber; ++number) {
        const QString path = QDir(dir).filePath(snapshotName(base, number));
        if (entryExists(path))
            continue;
        int osError = 0;
        if (!claimPath(path, &osError)) {
            if (osError == EEXIST)
                continue;
            return false;
        }
        QString reason;
        if (!writeFileAtomic(path, png, &reason, LinkTarget::Refuse)) {
            ::unlink(QFile::encodeName(path).constData());
            return false;
        }
        *written = path;
        return true;
    }
    return false;
}

// A file of the profile taken out of its folder must really lie inside it: "Impossible d’ouvrir
// %1 (%2)" with the path (or the name, when it leads elsewhere) and the reason otherwise.
bool mayLeaveFolder(const GamepadProfileMeta &profile, const QString &path, const QString &name,
                    QString *error)
{
    QString reason;
    if (fileStaysInFolder(profile.folder, path, &reason))
        return true;
    const QString shown = path.isEmpty() ? QDir(profile.folder).filePath(name) : path;
    return fail(error,
                editorJsonMessages().cannotOpen.arg(shown) + QStringLiteral(" (%1)").arg(reason));
}

// The picture an exchange document carries; none when the profile's picture file is missing.
bool readExchangePicture(const GamepadProfileMeta &profile, QByteArray *image, QString *error)
{
    const QString path = profile.imagePath();
    if (!mayLeaveFolder(profile, path, profile.imageFile, error))
        return false;
    const QFileInfo info(path);
    if (!info.exists())
        return true;
    if (info.size() > kMaxExchangeImageBytes)
        return fail(error, editorText("Image trop volumineuse (%1 octets, limite 32 Mo) : %2")
                               .arg(info.size())
                               .arg(path));
    QString reason;
    if (!readRegularFile(path, kMaxExchangeImageBytes, image, &reason))
        return fail(error, editorJsonMessages().cannotOpen.arg(path) +
                               QStringLiteral(" (%1)").arg(reason));
    return true;
}

void logSnapshotIssue(const QString &error)
{
    qCWarning(lcGamepadUi, "Gamepad snapshot issue error=%s", qUtf8Printable(error));
}

} // namespace

QString safeProfileFileName(const QString &name)
{
    static const QRegularExpression unsafe(QStringLiteral("[^\\w\\-\\s]"));
    QString safe = printableProfileName(name);
    safe.replace(unsafe, QStringLiteral("_"));
    safe = safe.trimmed();
    return safe.isEmpty() ? QStringLiteral("Gamepad") : safe;
}

QString safeImageSuffix(const QString &imageExt)
{
    const bool valid = !imageExt.isEmpty() && imageExt.size() <= kMaxImageSuffixLength &&
                       std::all_of(imageExt.begin(), imageExt.end(), [](QChar c) {
                           return (c >= u'a' && c <= u'z') || (c >= u'0' && c <= u'9');
                       });
    return valid ? imageExt : QStringLiteral("png");
}

QStringList exchangeLinkedNames(const QJsonObject &document)
{
    QStringList names;
    for (const QJsonValue &value : document.value(QLatin1String("deviceNames")).toArray())
        names << value.toString();
    names << document.value(QLatin1String("deviceName")).toString();
    return normalizedNames(names);
}

QJsonObject buildExchangeDocument(const GamepadProfileMeta &profile, const QJsonObject &overlay,
                                  QString *error, const QDateTime &nowUtc)
{
    QByteArray image;
    if (!readExchangePicture(profile, &image, error))
        return {};
    const QStringList linked = normalizedNames(profile.deviceNames);
    return {{QStringLiteral("type"), kExchangeType},
            {QStringLiteral("version"), kExchangeVersion},
            {QStringLiteral("name"), profile.name},
            {QStringLiteral("createdAt"), nowUtc.toUTC().toString(Qt::ISODate)},
            {QStringLiteral("overlay"), overlay},
            {QStringLiteral("imageBase64"), QString::fromLatin1(image.toBase64())},
            {QStringLiteral("imageExt"), QFileInfo(profile.imageFile).suffix().toLower()},
            {QStringLiteral("deviceName"), linked.value(0)},
            {QStringLiteral("deviceNames"), QJsonArray::fromStringList(linked)}};
}

bool readSavedOverlay(const GamepadProfileMeta &profile, QJsonObject *overlay, QString *error)
{
    const QString path = profile.overlayPath();
    QJsonObject document;
    if (!mayLeaveFolder(profile, path, profile.overlayFile, error) ||
        !readJsonObjectFile(path, &document, error))
        return false;
    // The renderer builds one widget per pastille; a file of millions is refused here.
    const qsizetype nodes = document.value(QLatin1String("nodes")).toArray().size();
    if (nodes > kMaxExchangePastilles)
        return fail(error, editorText("Overlay trop grand (%1 pastilles, limite %2).")
                               .arg(nodes)
                               .arg(kMaxExchangePastilles));
    if (overlay)
        *overlay = document;
    return true;
}

bool parseExchangeDocument(const QByteArray &bytes, QJsonObject *out, QString *error)
{
    if (bytes.size() > kMaxExchangeDocumentBytes)
        return fail(error, documentTooLarge(bytes.size()));
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &parseError);
    const QString invalid = editorText("Données presse‑papier invalides (%1)");
    if (parseError.error != QJsonParseError::NoError)
        return fail(error, invalid.arg(parseError.errorString()));
    if (!document.isObject())
        return fail(error, invalid.arg(editorJsonMessages().notAnObject));
    const QJsonObject object = document.object();
    if (object.value(QLatin1String("type")).toString() != kExchangeType)
        return fail(error, editorText("Type inattendu dans le presse‑papier."));
    if (out)
        *out = object;
    return true;
}

bool readExchangeFile(const QString &path, QJsonObject *out, QString *error)
{
    const JsonFileMessages messages = editorJsonMessages();
    QByteArray bytes;
    QString reason;
    if (!readRegularFile(path, kMaxExchangeDocumentBytes, &bytes, &reason)) {
        const QFileInfo info(path);
        if (info.isFile() && info.size() > kMaxExchangeDocumentBytes)
            return fail(error, documentTooLarge(info.size()));
        return fail(error, messages.cannotOpen.arg(path) + QStringLiteral(" (%1)").arg(reason));
    }
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return fail(error, messages.invalidJson.arg(path, parseError.errorString()));
    if (!document.isObject())
        return fail(error, messages.invalidJson.arg(path, messages.notAnObject));
    if (out)
        *out = document.object();
    return true;
}

bool validateExchangeDocument(const QJsonObject &document, ExchangeContent *out, QString *error)
{
    if (document.value(QLatin1String("type")).toString() != kExchangeType)
        return fail(error, QString());
    if (!exchangeLinkedNames(document).isEmpty())
        return fail(error, editorText("Ce fichier est lié à une ou plusieurs manettes. Le "
                                      "coller/importe n’est autorisé que pour des profils non "
                                      "liés."));
    const QJsonObject overlay = document.value(QLatin1String("overlay")).toObject();
    if (overlay.isEmpty())
        return fail(error, QString());
    const qsizetype nodes = overlay.value(QLatin1String("nodes")).toArray().size();
    if (nodes > kMaxExchangePastilles)
        return fail(error, editorText("Overlay trop grand (%1 pastilles, limite %2).")
                               .arg(nodes)
                               .arg(kMaxExchangePastilles));
    // The overlay becomes one file of the profile, which the store must be able to read back.
    const qint64 overlayBytes = QJsonDocument(overlay).toJson().size();
    if (overlayBytes > kMaxJsonFileBytes)
        return fail(error, editorText("Overlay trop volumineux (%1 octets, limite %2).")
                               .arg(overlayBytes)
                               .arg(kMaxJsonFileBytes));

    // Absent means no picture; anything else must be clean base64 within the limit, checked on
    // the text's length before a byte is decoded.
    const QJsonValue encoded = document.value(QLatin1String("imageBase64"));
    const QString unreadable = editorText("Image illisible dans le document.");
    if (!encoded.isUndefined() && !encoded.isString())
        return fail(error, unreadable);
    const QString text = encoded.toString();
    const qint64 maxEncoded = (kMaxExchangeImageBytes + 2) / 3 * 4;
    if (text.size() > maxEncoded)
        return fail(error, editorText("Image trop volumineuse (limite 32 Mo)."));
    const auto decoded =
        QByteArray::fromBase64Encoding(text.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
    if (decoded.decodingStatus != QByteArray::Base64DecodingStatus::Ok)
        return fail(error, unreadable);
    if (decoded.decoded.size() > kMaxExchangeImageBytes)
        return fail(error, editorText("Image trop volumineuse (limite 32 Mo)."));

    if (out) {
        const QString name = document.value(QLatin1String("name")).toString().trimmed();
        out->name = name.isEmpty() ? editorText("Gamepad importé") : name;
        out->imageSuffix = safeImageSuffix(document.value(QLatin1String("imageExt")).toString());
        out->imageBytes = decoded.decoded;
        out->overlay = overlay;
    }
    return true;
}

bool createProfileFromExchange(const QJsonObject &document, GamepadProfileMeta *created,
                               QString *error)
{
    ExchangeContent content;
    if (!validateExchangeDocument(document, &content, error))
        return false;
    const QString root = userProfilesRoot();
    if (root.isEmpty())
        return fail(error,
                    editorText("Aucun dossier utilisateur n'est disponible pour ce profil."));

    // The folder is named by a fresh id and made exclusively: it is ours alone to remove.
    const QUuid id = QUuid::createUuid();
    const QString folder = QDir::cleanPath(root + u'/' + id.toString(QUuid::WithoutBraces));
    const QString imageFile = QStringLiteral("image.%1").arg(content.imageSuffix);
    QDir().mkpath(root);
    const QString imagePath = QDir(folder).filePath(imageFile);
    // A folder that cannot be made is reported by the first file that needed it.
    if (::mkdir(QFile::encodeName(folder).constData(), 0777) != 0) {
        const QString reason = qt_error_string(errno);
        return fail(error, editorText("Échec écriture image : %1")
                               .arg(QStringLiteral("%1 (%2)").arg(imagePath, reason)));
    }
    const QStringList written{imageFile, kDefaultOverlayFile, kProfileMetaFileName,
                              kMappingFileName};
    const auto abandon = [&](const QString &message) {
        removeFreshFolder(folder, written);
        return fail(error, message);
    };

    QString reason;
    if (!writeFileAtomic(imagePath, content.imageBytes, &reason))
        return abandon(editorText("Échec écriture image : %1")
                           .arg(QStringLiteral("%1 (%2)").arg(imagePath, reason)));
    if (!writeJsonFileAtomic(QDir(folder).filePath(kDefaultOverlayFile), content.overlay, &reason))
        return abandon(editorText("Échec écriture overlay.json : %1").arg(reason));

    GamepadProfileMeta meta;
    meta.id = id;
    meta.name = content.name;
    meta.folder = folder;
    meta.imageFile = imageFile;
    meta.overlayFile = kDefaultOverlayFile;
    meta.calibrationMode = QStringLiteral("inherit");
    meta.kind = GamepadProfileKind::User;
    if (!writeProfileMeta(&meta, &reason))
        return abandon(editorText("Échec écriture meta.json : %1").arg(reason));

    const QString mappingPath = QDir(folder).filePath(kMappingFileName);
    if (!entryExists(mappingPath) &&
        !writeJsonFileAtomic(mappingPath, emptyMappingDocument(), &reason))
        return abandon(editorText("Echec ecriture mapping : %1").arg(reason));

    GamepadProfileMeta readBack;
    if (!readProfileMeta(folder, &readBack, &reason))
        return abandon(reason);
    if (created)
        *created = readBack;
    return true;
}

QString freeSnapshotPath(const QString &dir, const QString &base)
{
    for (int number = 0; number < kMaxSnapshotNumber; ++number) {
        const QString path = QDir(dir).filePath(snapshotName(base, number));
        if (!entryExists(path))
            return path;
    }
    return QDir(dir).filePath(snapshotName(base, kMaxSnapshotNumber));
}

// The workers hold their own share of the picture: they may outlive the caller's copy, not this.
PngEncoding::~PngEncoding()
{
    m_pool.waitForDone();
}

void PngEncoding::start(const QImage &image)
{
    auto encode = std::make_shared<std::packaged_task<QByteArray()>>([image] {
        QByteArray png;
        QBuffer buffer(&png);
        if (!buffer.open(QIODevice::WriteOnly) || !image.save(&buffer, "PNG"))
            png.clear();
        return png;
    });
    m_png = encode->get_future();
    m_pool.start([encode] { (*encode)(); });
}

bool PngEncoding::isReady(std::chrono::milliseconds slice) const
{
    return m_png.valid() && m_png.wait_for(slice) == std::future_status::ready;
}

QByteArray PngEncoding::take()
{
    return m_png.valid() ? m_png.get() : QByteArray();
}

SnapshotBatch::SnapshotBatch(const QList<GamepadProfileMeta> &profiles, const QString &outDir,
                             const QUuid &liveProfileId, const QJsonObject &liveOverlay)
    : m_profiles(profiles), m_outDir(outDir), m_liveProfileId(liveProfileId),
      m_liveOverlay(liveOverlay)
{
}

SnapshotBatch::~SnapshotBatch() = default;

void SnapshotBatch::step()
{
    if (isDone())
        return;
    if (!m_started)
        start();
    else if (!m_snapshot)
        beginProfile();
    else if (!m_snapshot->isDone())
        m_snapshot->step();
    else if (!m_png.isStarted())
        startEncoding();
    else if (m_png.isReady(kPngWaitSlice))
        writeProfile();
}

void SnapshotBatch::finish()
{
    while (!isDone())
        step();
}

void SnapshotBatch::start()
{
    m_started = true;
    if (m_outDir.trimmed().isEmpty())
        refuse(editorText("Dossier de sortie vide."));
    else if (!QDir().mkpath(m_outDir) || !QFileInfo(m_outDir).isDir())
        refuse(editorText("Impossible de créer le dossier : %1").arg(m_outDir));
}

void SnapshotBatch::refuse(const QString &message)
{
    logSnapshotIssue(message);
    m_error = message;
    m_next = m_profiles.size();
}

void SnapshotBatch::issue(const QString &reason)
{
    const QString line =
        QStringLiteral("%1 : %2").arg(printableProfileName(m_profiles.at(m_next).name), reason);
    logSnapshotIssue(line);
    m_report.errors << line;
    m_snapshot.reset();
    ++m_next;
}

// The profile's layout read and its picture checked; the drawing starts with the next step.
void SnapshotBatch::beginProfile()
{
    const GamepadProfileMeta &profile = m_profiles.at(m_next);
    QJsonObject overlay;
    QString reason;
    if (!m_liveProfileId.isNull() && profile.id == m_liveProfileId)
        overlay = m_liveOverlay;
    else if (!readSavedOverlay(profile, &overlay, &reason))
        return issue(reason);
    const QString imagePath = profile.imagePath();
    if (!mayLeaveFolder(profile, imagePath, profile.imageFile, &reason))
        return issue(reason);
    m_snapshot = std::make_unique<OverlaySnapshot>(overlay, imagePath);
}

void SnapshotBatch::startEncoding()
{
    const QImage image = m_snapshot->image();
    if (image.isNull())
        return issue(m_snapshot->error());
    m_png.start(image);
}

void SnapshotBatch::writeProfile()
{
    const QByteArray png = m_png.take();
    QString path;
    if (png.isEmpty() ||
        !writeSnapshotFile(m_outDir, safeProfileFileName(m_profiles.at(m_next).name), png, &path))
        return issue(editorText("Échec sauvegarde PNG"));
    m_report.written << path;
    m_snapshot.reset();
    ++m_next;
}

bool exportSnapshots(const QList<GamepadProfileMeta> &profiles, const QString &outDir,
                     SnapshotReport *report, QString *error, const QUuid &liveProfileId,
                     const QJsonObject &liveOverlay)
{
    SnapshotBatch batch(profiles, outDir, liveProfileId, liveOverlay);
    batch.finish();
    if (report)
        *report = batch.report();
    return batch.succeeded() || fail(error, batch.error());
}
