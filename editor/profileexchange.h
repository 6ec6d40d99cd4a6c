#pragma once

#include "jsonfile.h"
#include "profilemeta.h"

#include <QByteArray>
#include <QImage>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>
#include <QThreadPool>
#include <QUuid>

#include <chrono>
#include <future>
#include <memory>

class OverlaySnapshot;

// Profiles travel between workstations as one JSON document (a ".zelto.json" file or a clipboard
// payload) carrying the name, the overlay and the picture's bytes, never the mapping, the
// calibration or the link to a controller. The document comes from someone else's machine:
// everything it holds is bounded and checked before it reaches a file name or an allocation.

inline const QString kExchangeType = QStringLiteral("ZeltoGamepad");
constexpr int kExchangeVersion = 3;
inline const QString kExchangeMimeType = QStringLiteral("application/x-zelto-gamepad");
inline const QString kExchangeFileSuffix = QStringLiteral(".zelto.json");

// Limits no real profile reaches; a document beyond them is refused before it is decoded. What it
// carries is bounded by what the profile store reads back (jsonfile.h): the picture, and the
// overlay as one JSON file.
constexpr qint64 kMaxExchangeImageBytes = kMaxProfileImageBytes;
constexpr qint64 kMaxExchangeDocumentBytes = qint64(64) << 20;
static_assert(kMaxExchangeDocumentBytes > (kMaxExchangeImageBytes + 2) / 3 * 4 + kMaxJsonFileBytes,
              "a document holds the largest picture and overlay the store reads");
constexpr int kMaxExchangePastilles = 10000;
constexpr int kMaxImageSuffixLength = 5;

// The name made safe for a file: printable (printableProfileName), then every character but word
// characters, "-" and blanks becomes "_", then trimmed; "Gamepad" when nothing is left.
QString safeProfileFileName(const QString &name);
// The picture's suffix in a document: a lower-case run of letters and digits of at most
// kMaxImageSuffixLength characters, otherwise "png".
QString safeImageSuffix(const QString &imageExt);
// The names a document links to ("deviceNames", then "deviceName"), normalised.
QStringList exchangeLinkedNames(const QJsonObject &document);

// The document of a profile with the given overlay and the picture of its folder; "createdAt" is
// `nowUtc`. A profile without a picture file travels without one. An empty object, with the
// message in `error`, when the picture cannot be taken: beyond kMaxExchangeImageBytes ("Image
// trop volumineuse (%1 octets, limite 32 Mo) : %2"), unreadable, or kept outside the folder.
QJsonObject buildExchangeDocument(const GamepadProfileMeta &profile, const QJsonObject &overlay,
                                  QString *error,
                                  const QDateTime &nowUtc = QDateTime::currentDateTimeUtc());
// The overlay saved in the profile's folder, as content leaving it (export, copy, snapshot): a
// file kept outside the folder is refused ("Impossible d’ouvrir %1 (%2)" naming the path and the
// reason), and so is one of more than kMaxExchangePastilles pastilles.
bool readSavedOverlay(const GamepadProfileMeta &profile, QJsonObject *overlay, QString *error);
// Clipboard bytes to a document: "Données presse‑papier invalides (%1)" or "Type inattendu dans
// le presse‑papier.".
bool parseExchangeDocument(const QByteArray &bytes, QJsonObject *out, QString *error);
// A document's file (export, import): at most kMaxExchangeDocumentBytes, not through a link.
// "Impossible d’ouvrir %1" or "JSON invalide dans %1 (%2)"; the type is left to the caller.
bool readExchangeFile(const QString &path, QJsonObject *out, QString *error);

// What a document brings once checked: nothing of it reaches a path but the suffix.
struct ExchangeContent
{
    QString name;          // trimmed, "Gamepad importé" when absent, blank or not a string
    QString imageSuffix;   // safeImageSuffix of "imageExt"
    QByteArray imageBytes; // decoded "imageBase64", possibly empty
    QJsonObject overlay;   // as the document holds it
};
// Every check of createProfileFromExchange, without touching a file. False with an empty `error`
// for another type or an empty overlay; false with the message for a linked document, an image
// that does not decode or exceeds kMaxExchangeImageBytes, more than kMaxExchangePastilles, or an
// overlay whose file would exceed kMaxJsonFileBytes.
bool validateExchangeDocument(const QJsonObject &document, ExchangeContent *out, QString *error);

// A new profile under the user root from a document: the picture's bytes unchanged, the overlay
// as the document holds it, "meta.json" and the empty mapping document. False with an empty
// `error` for a document that is not one (another type, no overlay); false with the message
// otherwise. A refused or failed document leaves no folder behind.
bool createProfileFromExchange(const QJsonObject &document, GamepadProfileMeta *created,
                               QString *error);

// Snapshots: each profile rendered to "<safe name>.png" in `outDir`, numbered "_1", "_2"... so
// that no existing file is ever overwritten. `liveOverlay` replaces the overlay file of the
// profile whose id is `liveProfileId` (the one open in the editor, unsaved edits included).
struct SnapshotReport
{
    QStringList written; // paths of the PNG files, in profile order
    QStringList errors;  // "%1 : %2" lines (profile name, error)
};
bool exportSnapshots(const QList<GamepadProfileMeta> &profiles, const QString &outDir,
                     SnapshotReport *report, QString *error, const QUuid &liveProfileId = QUuid(),
                     const QJsonObject &liveOverlay = QJsonObject());

// A picture encoded as PNG by a worker, the longest part of a snapshot, while the window's event
// loop turns; the bytes are those QImage::save writes.
class PngEncoding
{
public:
    ~PngEncoding();
    void start(const QImage &image);
    bool isStarted() const { return m_png.valid(); }
    // True once the bytes are there, after waiting at most `slice`.
    bool isReady(std::chrono::milliseconds slice) const;
    // The bytes, empty when the picture could not be encoded; waits for them.
    QByteArray take();

private:
    QThreadPool m_pool;
    std::future<QByteArray> m_png;
};

// How long a step of a snapshot waits for its PNG before the window's loop turns again.
constexpr std::chrono::milliseconds kPngWaitSlice{2};

// The same snapshots made a step at a time, so that a window can turn its event loop between the
// steps: the folder made, then for each profile its layout read, its picture drawn a part at a
// time (OverlaySnapshot), encoded by a worker, and its file written.
class SnapshotBatch
{
public:
    SnapshotBatch(const QList<GamepadProfileMeta> &profiles, const QString &outDir,
                  const QUuid &liveProfileId = QUuid(),
                  const QJsonObject &liveOverlay = QJsonObject());
    ~SnapshotBatch();

    void step();
    void finish();
    bool isDone() const { return m_started && m_next >= m_profiles.size(); }
    const SnapshotReport &report() const { return m_report; }
    // False when the folder could not be made; error() says why.
    bool succeeded() const { return m_error.isEmpty(); }
    QString error() const { return m_error; }

private:
    void start();
    void refuse(const QString &message);
    void issue(const QString &reason);
    void beginProfile();
    void startEncoding();
    void writeProfile();

    QList<GamepadProfileMeta> m_profiles;
    QString m_outDir;
    QUuid m_liveProfileId;
    QJsonObject m_liveOverlay;
    bool m_started = false;
    qsizetype m_next = 0; // the profile under way
    std::unique_ptr<OverlaySnapshot> m_snapshot;
    PngEncoding m_png;
    SnapshotReport m_report;
    QString m_error;
};
// The first free "<base>.png", "<base>_1.png", ... in `dir`.
QString freeSnapshotPath(const QString &dir, const QString &base);
