// The profile editor's selection and its editing session: which profile is current, how its
// documents are loaded and saved, and what happens when they cannot be.

#include "gamepaddefinder.h"

#include "actionlinker.h"
#include "definderinternal.h"
#include "dialogseam.h"
#include "documentsession.h"
#include "gamepadconfigwidget.h"
#include "interactiveoverlay.h"
#include "jsonfile.h"
#include "mappingdocument.h"
#include "profileoperations.h"
#include "profiletiles.h"
#include "tagselectionbar.h"

#include <QDir>
#include <QFileInfo>
#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QJsonDocument>
#include <QLabel>
#include <QListWidget>
#include <QMetaMethod>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QSignalBlocker>
#include <QTemporaryDir>

using namespace definder;

namespace {

// What the overlay shows when no profile is current.
QJsonObject emptyOverlayDocument()
{
    return {{QStringLiteral("type"), kOverlayType},
            {QStringLiteral("version"), 3},
            {QStringLiteral("nodes"), QJsonArray()}};
}

QPushButton *bannerButton(const QString &text, QWidget *parent)
{
    auto *button = new QPushButton(text, parent);
    button->setObjectName(QStringLiteral("gamepadSessionButton"));
    button->hide();
    return button;
}

} // namespace

bool GamepadDefinder::isDirty() const
{
    return m_session->hasUnsavedEdits();
}

bool GamepadDefinder::isReadOnly() const
{
    return validRow(m_currentRow) && m_session->isReadOnly();
}

QStringList GamepadDefinder::documentPaths(const GamepadProfileMeta &entry) const
{
    QStringList paths = {entry.overlayPath(), mappingDocumentPath(entry.folder),
                         containedFilePath(entry.folder, kProfileMetaFileName)};
    paths.removeAll(QString());
    return paths;
}

void GamepadDefinder::buildSession()
{
    m_session = new DocumentSession(kAutosaveDelayMs, EditSession::Coalescing::RestartOnEdit, this);
    m_session->setDialogParent(this);
    m_session->setSaver([this]() -> DocumentSession::SaveResult {
        if (!validRow(m_currentRow))
            return {};
        GamepadProfileMeta entry = m_entries.at(m_currentRow);
        QString error;
        QString failedPath;
        if (!saveProfileFiles(&entry, m_overlay->serialize(), m_overlay->nodes(),
                              m_overlay->catalog(), &error, &failedPath))
            return {false, failedPath, error};
        // A shared profile the user may not edit now lives in the user's folder.
        if (entry.folder != m_entries.at(m_currentRow).folder)
            m_session->retarget(entry.folder, documentPaths(entry));
        m_entries[m_currentRow] = entry;
        return {};
    });
    m_session->setReloader([this] { reloadCurrentProfile(); });
    m_session->setSaveAsNew([this] { return saveAsNewProfile(); });
    connect(m_session, &DocumentSession::saved, this, [this] {
        if (m_refreshAfterSave && validRow(m_currentRow))
            refreshMappingPanel();
        emitCurrentSelection();
        if (!m_loading)
            Q_EMIT profilesCatalogChanged();
    });
    connect(m_session, &DocumentSession::failureAnnounced, this,
            [this](const QString &message) { dialogSeam().critical(this, kSaveTitle, message); });
    connect(m_session, &DocumentSession::changedElsewhere, this,
            &GamepadDefinder::reloadCurrentProfile);
    connect(m_session, &DocumentSession::stateChanged, this,
            &GamepadDefinder::onSessionStateChanged);
}

// A strip above the overlay that says what the session cannot do, with the ways out.
void GamepadDefinder::buildBanner()
{
    m_banner = new QFrame(this);
    m_banner->setObjectName(QStringLiteral("gamepadSessionBanner"));
    auto *layout = new QHBoxLayout(m_banner);
    layout->setContentsMargins(10, 6, 10, 6);
    m_bannerText = new QLabel(m_banner);
    m_bannerText->setObjectName(QStringLiteral("gamepadSessionMessage"));
    m_bannerText->setWordWrap(true);
    layout->addWidget(m_bannerText, 1);
    m_retryButton = bannerButton(QStringLiteral("Réessayer"), m_banner);
    m_startEmptyButton = bannerButton(DocumentSession::startEmptyTitle(), m_banner);
    m_saveAsNewButton = bannerButton(DocumentSession::saveAsNewChoice(), m_banner);
    m_discardButton = bannerButton(QStringLiteral("Abandonner les modifications"), m_banner);
    for (QPushButton *button :
         {m_retryButton, m_startEmptyButton, m_saveAsNewButton, m_discardButton})
        layout->addWidget(button);
    connect(m_retryButton, &QPushButton::clicked, m_session, &DocumentSession::saveNow);
    connect(m_startEmptyButton, &QPushButton::clicked, this, &GamepadDefinder::startAgainEmpty);
    connect(m_saveAsNewButton, &QPushButton::clicked, this, &GamepadDefinder::saveAsNewProfile);
    connect(m_discardButton, &QPushButton::clicked, m_session, &DocumentSession::discard);
    m_banner->hide();
    m_grid->addWidget(m_banner, 1, 0, 1, 3);
}

QString GamepadDefinder::bannerText() const
{
    return m_banner->isHidden() ? QString() : m_bannerText->text();
}

void GamepadDefinder::refreshBanner()
{
    using State = EditSession::State;
    const State state = m_session->state();
    const bool lost = state == State::Gone && m_session->hasUnsavedEdits();
    const QString message = validRow(m_currentRow) ? m_session->stateMessage() : QString();
    m_bannerText->setText(message);
    m_retryButton->setVisible(state == State::SaveFailed);
    m_startEmptyButton->setVisible(state == State::LoadFailed);
    m_saveAsNewButton->setVisible(lost);
    m_discardButton->setVisible(state == State::SaveFailed || lost);
    m_banner->setVisible(!message.isEmpty());
}

void GamepadDefinder::onSessionStateChanged()
{
    refreshBanner();
    // Read-only or not decides whether the overlay and its panels take edits.
    refreshModeWidgets();
    if (m_session->state() == EditSession::State::Gone && validRow(m_currentRow) &&
        !m_session->hasUnsavedEdits()) {
        // Nothing of it is left to keep: the profile simply leaves the catalogue.
        QMetaObject::invokeMethod(this, &GamepadDefinder::onProfileRootsChanged,
                                  Qt::QueuedConnection);
    }
}

void GamepadDefinder::startAgainEmpty()
{
    // The overlay already shows the empty start: a damaged overlay as no pastille, a damaged
    // mapping document as pastilles without actions. It only becomes editable.
    if (m_session->offerStartEmpty())
        m_failedLoadPath.clear();
}

bool GamepadDefinder::selectRow(int row)
{
    if (!validRow(row))
        row = -1;
    if (row == m_currentRow)
        return true;
    if (m_list->currentRow() == row)
        onListSelectionChanged(row);
    else
        m_list->setCurrentRow(row);
    return m_currentRow == row;
}

// The current profile's documents, then those of its panels, may be left: edits saved, or the
// user chose what becomes of them.
bool GamepadDefinder::mayLeaveCurrent()
{
    if (!validRow(m_currentRow))
        return m_calibration->requestLeave() && m_linker->requestLeave();
    return m_session->requestLeave() && m_calibration->requestLeave() && m_linker->requestLeave();
}

// A mouse click finishes its own selection after the change it started was handled: the list
// is put back on the current profile afterwards.
void GamepadDefinder::showCurrentRowAfterClick()
{
    QMetaObject::invokeMethod(
        this,
        [this] {
            const QSignalBlocker blocker(m_list);
            m_list->setCurrentRow(m_currentRow);
        },
        Qt::QueuedConnection);
}

bool GamepadDefinder::requestClose()
{
    return mayLeaveCurrent();
}

void GamepadDefinder::onListSelectionChanged(int row)
{
    if (!validRow(row))
        row = -1;
    if (row == m_currentRow)
        return;
    const QString wanted = row >= 0 ? m_entries.at(row).folder : QString();
    if (!mayLeaveCurrent()) {
        const QSignalBlocker blocker(m_list);
        m_list->setCurrentRow(m_currentRow);
        showCurrentRowAfterClick();
        return;
    }
    // A profile deleted elsewhere leaves the catalogue once its edits are settled; the rows
    // after it move up.
    if (validRow(m_currentRow) && !QFileInfo(m_entries.at(m_currentRow).folder).isDir()) {
        m_entries.removeAt(m_currentRow);
        const QSignalBlocker blocker(m_list);
        delete m_list->takeItem(m_currentRow);
        m_currentRow = -1;
        row = -1;
        for (int i = 0; !wanted.isEmpty() && i < m_entries.size(); ++i) {
            if (m_entries.at(i).folder == wanted)
                row = i;
        }
        showCurrentRowAfterClick(); // the click lands where the wanted tile no longer is
    }
    m_currentRow = row;
    if (m_list->currentRow() != row) {
        const QSignalBlocker blocker(m_list);
        m_list->setCurrentRow(row);
    }
    if (row >= 0)
        loadCurrentProfile();
    else
        showNoProfile();
}

void GamepadDefinder::loadCurrentProfile()
{
    const GamepadProfileMeta entry = m_entries.at(m_currentRow);
    const QString imagePath = entry.imagePath();

    QString problem;
    QJsonObject document;
    m_failedLoadPath.clear();
    m_loading = true;
    {
        const QSignalBlocker blocker(m_overlay);
        // The mapping panel below shows the same picture without decoding it again.
        m_overlay->setBackgroundPicture(imagePath);
        QJsonDocument json;
        QString error;
        if (!readJsonFile(entry.overlayPath(), &json, &error))
            problem = QStringLiteral("Impossible de charger la configuration : %1").arg(error);
        else if (!json.isObject() || !m_overlay->load(json.object()))
            problem = QStringLiteral("Format de configuration non reconnu.");
        else
            document = json.object();
        if (!problem.isEmpty()) {
            // Never leave the previous profile's pastilles where this one's would be saved.
            m_failedLoadPath = entry.overlayPath().isEmpty() ? entry.folder : entry.overlayPath();
            m_overlay->load(emptyOverlayDocument());
        } else {
            QJsonArray bridges;
            if (readMappingBridges(entry.folder, &bridges, &error)) {
                m_overlay->applyMapping(bridges);
            } else {
                problem = QStringLiteral("Impossible de charger la configuration : %1").arg(error);
                m_failedLoadPath = mappingDocumentPath(entry.folder);
            }
        }
    }
    m_loading = false;
    m_session->setSubject(QStringLiteral("« %1 »").arg(entry.name));
    // A document that failed to load is never written, nor are its siblings.
    if (problem.isEmpty())
        m_session->loaded(entry.folder, documentPaths(entry));
    else
        m_session->loadFailed(entry.folder, documentPaths(entry), m_failedLoadPath, problem);

    if (m_tagBar) {
        const QSignalBlocker blocker(m_tagBar);
        m_tagBar->setSelectedTags(entry.deviceNames);
    }
    m_linker->loadGamepadSnapshot(entry.id, entry.name, entry.deviceNames, document, imagePath,
                                  entry.folder);
    m_calibrationStale = true;
    refreshDevices();
    syncCalibrationPanel();
    refreshModeWidgets();
    emitCurrentSelection();
    rearmWatcher();
    Q_EMIT deviceSelectionChanged(entry.deviceNames);
    if (!problem.isEmpty())
        dialogSeam().critical(this, kLoadTitle, problem);
}

// Drops what the window holds of the current profile and reads it again, its metadata first.
void GamepadDefinder::reloadCurrentProfile()
{
    if (!validRow(m_currentRow))
        return;
    GamepadProfileMeta meta;
    if (readProfileMeta(m_entries.at(m_currentRow).folder, &meta, nullptr)) {
        m_entries[m_currentRow] = meta;
        updateTile(m_currentRow);
    }
    loadCurrentProfile();
}

void GamepadDefinder::showNoProfile()
{
    m_loading = true;
    {
        const QSignalBlocker blocker(m_overlay);
        m_overlay->setBackgroundPixmap(QPixmap());
        m_overlay->load(emptyOverlayDocument());
    }
    m_loading = false;
    m_session->close();
    if (m_list->currentRow() != -1) {
        const QSignalBlocker blocker(m_list);
        m_list->setCurrentRow(-1);
    }
    if (m_tagBar) {
        const QSignalBlocker blocker(m_tagBar);
        m_tagBar->setSelectedTags({});
    }
    m_linker->loadGamepadSnapshot(QUuid(), QString(), {}, {}, QString());
    m_calibrationStale = true;
    refreshDevices();
    syncCalibrationPanel();
    refreshModeWidgets();
    emitCurrentSelection();
    rearmWatcher();
    Q_EMIT deviceSelectionChanged({});
}

void GamepadDefinder::emitCurrentSelection()
{
    // The overlay is serialised only for someone who listens.
    static const QMetaMethod signal =
        QMetaMethod::fromSignal(&GamepadDefinder::currentGamepadChanged);
    if (!isSignalConnected(signal))
        return;
    if (!validRow(m_currentRow)) {
        Q_EMIT currentGamepadChanged(QString(), QString(), QJsonObject(), QString());
        return;
    }
    const GamepadProfileMeta &entry = m_entries.at(m_currentRow);
    Q_EMIT currentGamepadChanged(idText(entry.id), entry.name, m_overlay->serialize(),
                                 entry.imagePath());
}

// The overlay holds the current profile only: a row that is not current has nothing to save.
// Every failure is told the same way; `interactive` only says whether the window is brought up to
// date with what was written (a save before leaving the profile or exporting snapshots is not).
bool GamepadDefinder::saveProfile(int row, bool interactive)
{
    if (!validRow(row) || row != m_currentRow)
        return false;
    const QScopedValueRollback<bool> refresh(m_refreshAfterSave, interactive);
    return m_session->saveNow();
}

// The mapping panel shows the mapping document just written, rather than when next needed.
void GamepadDefinder::refreshMappingPanel()
{
    const GamepadProfileMeta &entry = m_entries.at(m_currentRow);
    m_linker->loadGamepadSnapshot(entry.id, entry.name, entry.deviceNames, m_overlay->serialize(),
                                  entry.imagePath(), entry.folder);
}

void GamepadDefinder::onOverlayDirty()
{
    if (m_loading)
        return;
    m_calibrationStale = true; // its gates follow the two-axis pastilles
    syncCalibrationPanel();
    if (validRow(m_currentRow))
        m_session->edited();
}

// The edits of a profile whose folder is gone, kept as a new profile: the picture as shown, the
// pastilles with their actions, the linked controllers.
bool GamepadDefinder::saveAsNewProfile()
{
    if (!validRow(m_currentRow))
        return false;
    const GamepadProfileMeta lost = m_entries.at(m_currentRow);
    const QString title = DocumentSession::saveAsNewChoice();
    QTemporaryDir scratch;
    m_overlay->waitForPicture();
    QImage picture = m_overlay->backgroundPixmap().toImage();
    if (picture.isNull()) {
        picture = QImage(1, 1, QImage::Format_ARGB32);
        picture.fill(Qt::transparent);
    }
    const QString imageSource = scratch.filePath(QStringLiteral("image.png"));
    if (!scratch.isValid() || !picture.save(imageSource, "PNG")) {
        dialogSeam().warning(this, title, QStringLiteral("Impossible de préparer l’image."));
        return false;
    }
    NewProfileRequest request;
    request.name = QStringLiteral("%1 (récupéré)").arg(lost.name);
    request.imageSource = imageSource;
    request.linkedName = lost.deviceNames.value(0);
    request.vendorId = lost.vendorId;
    request.productId = lost.productId;
    request.overlayDocument = m_overlay->serialize();
    GamepadProfileMeta created;
    QString ignoredTitle;
    QString error;
    bool saved = createProfile(request, &created, &ignoredTitle, &error);
    if (saved) {
        created.deviceNames = lost.deviceNames;
        saved = saveProfileFiles(&created, request.overlayDocument, m_overlay->nodes(),
                                 m_overlay->catalog(), &error);
    }
    if (!saved) {
        dialogSeam().warning(this, title, error);
        return false;
    }
    m_entries[m_currentRow] = created;
    m_session->setSubject(QStringLiteral("« %1 »").arg(created.name));
    m_session->loaded(created.folder, documentPaths(created));
    updateTile(m_currentRow);
    m_linker->loadGamepadSnapshot(created.id, created.name, created.deviceNames,
                                  request.overlayDocument, created.imagePath(), created.folder);
    m_calibrationStale = true;
    syncCalibrationPanel();
    emitCurrentSelection();
    rearmWatcher();
    Q_EMIT profilesCatalogChanged();
    return true;
}
