// The profile editor's exchange: export, import, clipboard copy and paste, and PNG snapshots.

#include "gamepaddefinder.h"

#include "dialogseam.h"
#include "documentsession.h"
#include "interactiveoverlay.h"
#include "jsonfile.h"
#include "overlayrender.h"
#include "profileexchange.h"
#include "profileoperations.h"
#include "uilog.h"

#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QMimeData>
#include <QTimer>

#include <utility>

namespace {

const QString kLinkedExport = QStringLiteral(
    "Ce profil est associé à une ou plusieurs manettes. Le copier/coller n’est disponible que pour "
    "les profils non liés.");
const QString kExchangeFilter = QStringLiteral("Configuration Zelto (*.zelto.json)");
const QString kImportTitle = QStringLiteral("Import");
const QString kSnapshotTitle = QStringLiteral("Snapshot PNG");
const QString kSnapshotsTitle = QStringLiteral("Snapshots PNG");

QStringList linkedNamesOf(const GamepadProfileMeta &entry)
{
    return exchangeLinkedNames(
        {{QStringLiteral("deviceNames"), QJsonArray::fromStringList(entry.deviceNames)}});
}

void logSnapshotIssue(const QString &error)
{
    qCWarning(lcGamepadUi).noquote()
        << QStringLiteral("Gamepad snapshot issue error=%1").arg(error);
}

} // namespace

// A failure the creation explains is its own, titled "Import" for paste too; one it does not
// explain is the caller's.
void GamepadDefinder::createFromExchange(const QJsonObject &document, const QString &title,
                                         const QString &failure)
{
    GamepadProfileMeta created;
    QString error;
    if (!createProfileFromExchange(document, &created, &error)) {
        if (error.isEmpty())
            dialogSeam().warning(this, title, failure);
        else
            dialogSeam().warning(this, kImportTitle, failure + QLatin1Char('\n') + error);
        return;
    }
    addCreatedProfile(created);
}

void GamepadDefinder::actionExport()
{
    if (!validRow(m_currentRow))
        return;
    const int row = m_currentRow;
    const QString title = QStringLiteral("Export");
    const QString path = dialogSeam().getSaveFileName(
        this, QStringLiteral("Exporter le gamepad"),
        safeProfileFileName(m_entries.at(row).name) + kExchangeFileSuffix, kExchangeFilter);
    if (path.isEmpty() || row != m_currentRow)
        return;
    // The overlay as shown: edits the autosave has not written yet belong to the export.
    QString error;
    const QJsonObject document =
        buildExchangeDocument(m_entries.at(row), m_overlay->serialize(), &error);
    if (!document.isEmpty() && !exchangeLinkedNames(document).isEmpty()) {
        dialogSeam().information(this, title, kLinkedExport);
        return;
    }
    if (document.isEmpty() || !writeJsonFileAtomic(path, document, &error))
        dialogSeam().warning(this, title, QStringLiteral("Échec export : %1").arg(error));
}

void GamepadDefinder::actionImport()
{
    const QString title = QStringLiteral("Import");
    const QString path =
        dialogSeam().getOpenFileName(this, QStringLiteral("Importer un gamepad"), QString(),
                                     kExchangeFilter + QStringLiteral(";;JSON (*.json)"));
    if (path.isEmpty())
        return;
    QByteArray bytes;
    QString reason;
    if (!readRegularFile(path, kMaxExchangeDocumentBytes, &bytes, &reason)) {
        dialogSeam().warning(this, title, QStringLiteral("Impossible d’ouvrir %1").arg(path));
        return;
    }
    QJsonParseError parse;
    const QJsonDocument json = QJsonDocument::fromJson(bytes, &parse);
    if (parse.error != QJsonParseError::NoError || !json.isObject()) {
        const QString why = parse.error != QJsonParseError::NoError
                                ? parse.errorString()
                                : editorJsonMessages().notAnObject;
        dialogSeam().warning(this, title,
                             QStringLiteral("JSON invalide dans %1 (%2)").arg(path, why));
        return;
    }
    if (!exchangeLinkedNames(json.object()).isEmpty()) {
        dialogSeam().information(
            this, title,
            QStringLiteral("Ce fichier est lié à une ou plusieurs manettes. Le coller/importe "
                           "n’est autorisé que pour des profils non liés."));
        return;
    }
    createFromExchange(json.object(), title, QStringLiteral("Impossible d’importer ce fichier."));
}

void GamepadDefinder::actionCopy()
{
    if (!validRow(m_currentRow))
        return;
    const GamepadProfileMeta &entry = m_entries.at(m_currentRow);
    const QStringList linked = linkedNamesOf(entry);
    if (!linked.isEmpty()) {
        dialogSeam().information(
            this, QStringLiteral("Copier"),
            QStringLiteral("Ce profil est associé à « %1 ». Le copier/coller est réservé aux "
                           "profils non liés.")
                .arg(linked.join(QStringLiteral(", "))));
        return;
    }
    // The saved state: a copy is what another workstation would read from this one's disk.
    QJsonObject overlay;
    QString error;
    if (!readSavedOverlay(entry, &overlay, &error))
        overlay = QJsonObject();
    const QJsonObject document = buildExchangeDocument(entry, overlay, &error);
    if (document.isEmpty()) {
        dialogSeam().warning(this, QStringLiteral("Copier"), error);
        return;
    }
    const QByteArray text = QJsonDocument(document).toJson(QJsonDocument::Compact);
    auto *mime = new QMimeData;
    mime->setData(kExchangeMimeType, text);
    mime->setText(QString::fromUtf8(text));
    QGuiApplication::clipboard()->setMimeData(mime);
}

void GamepadDefinder::actionPaste()
{
    const QString title = QStringLiteral("Coller");
    const QMimeData *mime = QGuiApplication::clipboard()->mimeData();
    QJsonObject document;
    QString error;
    if (mime && mime->hasFormat(kExchangeMimeType)) {
        if (!parseExchangeDocument(mime->data(kExchangeMimeType), &document, &error)) {
            dialogSeam().warning(this, title, error);
            return;
        }
    } else {
        const QString text = mime && mime->hasText() ? mime->text() : QString();
        if (text.isEmpty()) {
            dialogSeam().information(
                this, title,
                QStringLiteral("Aucune configuration Zelto trouvée dans le presse‑papier."));
            return;
        }
        if (!parseExchangeDocument(text.toUtf8(), &document, &error)) {
            dialogSeam().warning(
                this, title,
                QStringLiteral("Le presse‑papier ne contient pas de configuration Zelto valide."));
            return;
        }
    }
    if (!exchangeLinkedNames(document).isEmpty()) {
        dialogSeam().information(
            this, title,
            QStringLiteral("Ce profil est lié à une ou plusieurs manettes. Le coller n’est "
                           "autorisé que pour des profils non liés."));
        return;
    }
    createFromExchange(document, title,
                       QStringLiteral("Impossible de créer le gamepad à partir des données."));
}

// Snapshots are drawn a part per turn of the event loop, then written, so that the window answers
// while a large layout, or a whole catalogue, is drawn. A second request, or the window going,
// completes the one under way at once.
void GamepadDefinder::actionSnapshot()
{
    if (!validRow(m_currentRow))
        return;
    const int row = m_currentRow;
    const QString name = safeProfileFileName(m_entries.at(row).name) + QStringLiteral(".png");
    const QString path = dialogSeam().getSaveFileName(
        this, QStringLiteral("Exporter snapshot PNG"),
        m_snapshotFolder.isEmpty() ? name : QDir(m_snapshotFolder).filePath(name),
        QStringLiteral("Images PNG (*.png)"));
    if (path.isEmpty() || row != m_currentRow)
        return;
    m_snapshotFolder = QFileInfo(path).absolutePath();
    finishSnapshot(true);
    m_pendingSnapshot =
        std::make_shared<OverlaySnapshot>(m_overlay->serialize(), m_entries.at(row).imagePath());
    m_pendingSnapshotPath = path;
    m_pendingSnapshot->step(); // the picture, before the profile can change
    startSnapshotSteps();
}

void GamepadDefinder::startSnapshotSteps()
{
    if (!m_snapshotTimer) {
        m_snapshotTimer = new QTimer(this);
        m_snapshotTimer->setInterval(0);
        connect(m_snapshotTimer, &QTimer::timeout, this, &GamepadDefinder::continueSnapshots);
    }
    m_snapshotTimer->start();
}

// One step of the pending snapshot, else of the pending batch.
void GamepadDefinder::continueSnapshots()
{
    if (m_pendingSnapshot)
        stepSnapshot();
    else if (m_pendingBatch && !m_pendingBatch->isDone())
        m_pendingBatch->step();
    else if (m_pendingBatch)
        finishSnapshotBatch(true);
    else
        m_snapshotTimer->stop();
}

// The snapshot is drawn a part at a time, encoded by a worker, then written.
void GamepadDefinder::stepSnapshot()
{
    const QImage image = m_pendingSnapshot->isDone() ? m_pendingSnapshot->image() : QImage();
    if (!m_pendingSnapshot->isDone())
        m_pendingSnapshot->step();
    else if (!image.isNull() && !m_snapshotPng.isStarted())
        m_snapshotPng.start(image);
    else if (image.isNull() || m_snapshotPng.isReady(kPngWaitSlice))
        finishSnapshot(true);
}

// Makes what is left of the pending snapshot and writes it; without `interactive` a failure is
// only logged.
void GamepadDefinder::finishSnapshot(bool interactive)
{
    const std::shared_ptr<OverlaySnapshot> snapshot = std::exchange(m_pendingSnapshot, nullptr);
    if (!snapshot)
        return;
    while (!snapshot->isDone())
        snapshot->step();
    QString failure;
    if (snapshot->image().isNull()) {
        logSnapshotIssue(snapshot->error());
        failure = QStringLiteral("Impossible de générer le snapshot : %1").arg(snapshot->error());
    } else {
        if (!m_snapshotPng.isStarted())
            m_snapshotPng.start(snapshot->image());
        const QByteArray png = m_snapshotPng.take();
        QFile file(m_pendingSnapshotPath);
        if (png.isEmpty() || !file.open(QIODevice::WriteOnly) || file.write(png) != png.size() ||
            !file.flush()) {
            failure = QStringLiteral("Échec sauvegarde PNG : %1").arg(m_pendingSnapshotPath);
            logSnapshotIssue(failure);
        }
    }
    if (interactive && !failure.isEmpty())
        dialogSeam().warning(this, kSnapshotTitle, failure);
}

void GamepadDefinder::actionSnapshotAll()
{
    if (m_entries.isEmpty())
        return;
    const QString folder = dialogSeam().getExistingDirectory(
        this, QStringLiteral("Choisir un dossier pour les snapshots"), m_snapshotFolder);
    if (folder.isEmpty())
        return;
    m_snapshotFolder = folder;
    finishSnapshotBatch(true);
    m_pendingBatch = prepareSnapshotBatch(folder);
    if (m_pendingBatch)
        startSnapshotSteps();
    else
        reportSnapshotBatch();
}

void GamepadDefinder::reportSnapshotBatch()
{
    const qsizetype count = m_snapshotReport.written.size();
    if (!m_snapshotSucceeded) {
        dialogSeam().warning(this, kSnapshotsTitle,
                             m_snapshotError.isEmpty()
                                 ? QStringLiteral("Impossible de générer les snapshots.")
                                 : m_snapshotError);
    } else if (m_snapshotReport.errors.isEmpty()) {
        dialogSeam().information(this, kSnapshotsTitle,
                                 QStringLiteral("Snapshots générés : %1").arg(count));
    } else {
        dialogSeam().warning(this, kSnapshotsTitle,
                             QStringLiteral("Snapshots générés : %1\nErreurs :\n%2")
                                 .arg(count)
                                 .arg(m_snapshotReport.errors.join(QLatin1Char('\n'))));
    }
}

void GamepadDefinder::exportSnapshotsToDir(const QString &outDir)
{
    finishSnapshotBatch(true);
    m_pendingBatch = prepareSnapshotBatch(outDir);
    finishSnapshotBatch(false); // made at once: the caller reads the outcome on return
}

// The batch of every profile, the current one as shown; null, with the reason, when the folder
// is not named or the current profile's edits cannot be saved first.
std::unique_ptr<SnapshotBatch> GamepadDefinder::prepareSnapshotBatch(const QString &outDir)
{
    m_snapshotReport = SnapshotReport();
    m_snapshotSucceeded = false;
    m_snapshotError.clear();
    if (outDir.trimmed().isEmpty()) {
        m_snapshotError = QStringLiteral("Dossier de sortie vide.");
        logSnapshotIssue(m_snapshotError);
        return nullptr;
    }
    // The other profiles are read from their files: the current one must not lag behind them.
    if (validRow(m_currentRow) && isDirty()) {
        if (!saveProfile(m_currentRow, false)) {
            m_snapshotError =
                QStringLiteral("Impossible de sauvegarder la configuration en cours.");
            logSnapshotIssue(m_snapshotError);
            return nullptr;
        }
    }
    const bool current = validRow(m_currentRow);
    return std::make_unique<SnapshotBatch>(m_entries, outDir,
                                           current ? m_entries.at(m_currentRow).id : QUuid(),
                                           current ? m_overlay->serialize() : QJsonObject());
}

// Makes what is left of the pending batch; with `interactive` the outcome is then told.
void GamepadDefinder::finishSnapshotBatch(bool interactive)
{
    const std::unique_ptr<SnapshotBatch> batch = std::move(m_pendingBatch);
    if (!batch)
        return;
    batch->finish();
    m_snapshotReport = batch->report();
    m_snapshotSucceeded = batch->succeeded();
    m_snapshotError = batch->error();
    if (interactive)
        reportSnapshotBatch();
}
