#include "actionlinker.h"

#include "actionlist.h"

#include "controlmanette.h"
#include "documentsession.h"
#include "interactiveoverlay.h"
#include "mappingdocument.h"
#include "overlaybindings.h"
#include "profilemeta.h"
#include "profilestore.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QJsonDocument>
#include <QLabel>
#include <QListWidget>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <cmath>

namespace {

const QString kRestingHint = QStringLiteral("Cliquez une action puis appuyez sur un bouton.");
const QString kPressHint = QStringLiteral("Appuyez sur un bouton pour mapper \"%1\".");
constexpr int kPanelWidth = 260;

const char *const kPanelStyle = R"(
QFrame#mappingActionsPanel { background: rgba(15, 26, 36, 210); border-radius: 8px; }
QLabel#mappingActionsTitle { font-weight: 600; color: #E8F0F5; }
QLabel#mappingActionsHint { color: rgba(232, 240, 245, 170); }
QListWidget#mappingActionsList { background: transparent; border: none; color: #E8F0F5; }
QListWidget#mappingActionsList::item { padding: 5px 8px; border-radius: 4px; }
QListWidget#mappingActionsList::item:disabled { color: rgba(232, 240, 245, 120); }
QListWidget#mappingActionsList::item:hover { background: rgba(47, 79, 99, 160); }
QListWidget#mappingActionsList::item:selected { background: #2F7A43; }
)";

// A controller is heard when the profile links no name, or links its name (trimmed, any case).
bool isLinked(const ControlManette &device, const QStringList &linkedNames)
{
    const QString name = device.name().trimmed();
    bool anyLink = false;
    for (const QString &linked : linkedNames) {
        const QString wanted = linked.trimmed();
        if (wanted.isEmpty())
            continue;
        anyLink = true;
        if (wanted.compare(name, Qt::CaseInsensitive) == 0)
            return true;
    }
    return !anyLink;
}

} // namespace

ActionLinker::ActionLinker(QWidget *parent) : QWidget(parent)
{
    m_overlay = new InteractiveOverlay(this);
    m_overlay->setObjectName(QStringLiteral("iteractiveoverlay"));
    m_overlay->setMode(InteractiveOverlay::Mapping);

    auto *panel = new QFrame(this);
    panel->setObjectName(QStringLiteral("mappingActionsPanel"));
    panel->setFixedWidth(kPanelWidth);
    panel->setStyleSheet(QString::fromLatin1(kPanelStyle));
    auto *title = new QLabel(QStringLiteral("Actions disponibles"), panel);
    title->setObjectName(QStringLiteral("mappingActionsTitle"));
    m_list = new QListWidget(panel);
    m_list->setObjectName(QStringLiteral("mappingActionsList"));
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    // A catalog of thousands of actions is laid out a batch of rows per turn of the event loop,
    // the first rows at once.
    m_list->setLayoutMode(QListView::Batched);
    m_hint = new QLabel(kRestingHint, panel);
    m_hint->setObjectName(QStringLiteral("mappingActionsHint"));
    m_hint->setWordWrap(true);

    auto *panelLayout = new QVBoxLayout(panel);
    panelLayout->setContentsMargins(6, 6, 6, 6);
    panelLayout->addWidget(title);
    panelLayout->addWidget(m_list, 1);
    panelLayout->addWidget(m_hint);
    auto *layout = new QHBoxLayout(this);
    layout->addWidget(m_overlay, 1);
    layout->addWidget(panel);

    m_session = new DocumentSession(kSaveDelayMs, EditSession::Coalescing::KeepFirstDeadline, this);
    m_session->setDialogParent(this);
    m_session->setSaver([this] { return saveMapping(); });
    m_session->setReloader([this] { reloadFromDisk(); });
    connect(m_session, &DocumentSession::saved, this, &ActionLinker::mappingSaved);
    connect(m_session, &DocumentSession::stateChanged, this, &ActionLinker::refreshHint);
    // No box in this panel: the log and the hint say it, once per failure.
    connect(m_session, &DocumentSession::failureAnnounced, this, [](const QString &message) {
        qCWarning(lcGamepadUi).noquote()
            << QStringLiteral("Gamepad mapping not saved error=%1").arg(message);
    });
    connect(m_session, &DocumentSession::changedElsewhere, this, [this] { m_stale = true; });
    connect(m_overlay, &InteractiveOverlay::dirty, this, &ActionLinker::onOverlayChanged);
    connect(m_list, &QListWidget::itemClicked, this, &ActionLinker::onItemClicked);
    rebuildActionList();
}

ActionLinker::~ActionLinker()
{
    m_session->flushQuietly();
    disconnectDevices();
    // The children outlive this object's members: nothing they emit may reach it any more.
    m_session->disconnect(this);
    m_overlay->disconnect(this);
}

bool ActionLinker::isSavePending() const
{
    return m_session->isSavePending();
}

void ActionLinker::setExternalServices(const QJsonObject &services)
{
    if (services == m_externalServices)
        return;
    m_externalServices = services;
    m_catalog = extractSharedActionCatalog(services);
    rebuildActionList();
    Q_EMIT externalServicesChanged();
}

// The overlay holds every binding: the bridges are regenerated from its nodes alone, into the
// document on disk. Failures are logged in English, one line each, as the host's logs expect.
DocumentSession::SaveResult ActionLinker::saveMapping()
{
    const QString path = containedFilePath(m_profileFolder, kMappingFileName);
    if (path.isEmpty()) {
        const QString error =
            m_profileFolder.isEmpty()
                ? QStringLiteral("No profile folder for %1").arg(kMappingFileName)
                : QStringLiteral("Write refused outside the profile folder %1: %2")
                      .arg(m_profileFolder, kMappingFileName);
        qCWarning(lcGamepadUi).noquote()
            << QStringLiteral("Gamepad mapping materialize failed error=%1").arg(error);
        return {false, m_profileFolder, error};
    }
    const QJsonObject document =
        mappingDocumentToWrite(path, m_overlay->nodes(), {}, m_catalog, linkerJsonMessages());
    QString error;
    if (writeJsonFileAtomic(path, QJsonDocument(document).toJson(QJsonDocument::Indented), &error,
                            linkerJsonMessages()))
        return {};
    qCWarning(lcGamepadUi).noquote()
        << QStringLiteral("Gamepad mapping save failed error=%1").arg(error);
    return {false, path, error};
}

void ActionLinker::setInputDevices(const QList<QPointer<ControlManette>> &devices)
{
    m_devices = devices;
    rewireDevices();
}

void ActionLinker::loadGamepadSnapshot(const QUuid &id, const QString &name,
                                       const QStringList &deviceNames, const QJsonObject &overlay,
                                       const QString &imagePath, const QString &profileFolder)
{
    // Changes of the previous profile go to its own folder, not to the next one's.
    if (!requestLeave()) {
        qCWarning(lcGamepadUi).noquote()
            << QStringLiteral("Gamepad mapping of profile %1 kept on screen: %2 not shown")
                   .arg(m_profileName, name);
        return;
    }
    m_profileId = id;
    m_profileName = name;
    m_deviceNames = deviceNames;
    m_profileFolder = profileFolder;
    if (m_profileFolder.isEmpty()) // found by its id; without one, no folder and nothing saved
        m_profileFolder = findProfileById(id.toString()).folder;
    m_session->setSubject(QStringLiteral("le mapping de « %1 »").arg(name));
    cancelPending();
    m_unbuilt = Snapshot{overlay, imagePath};
    if (isVisible())
        buildUnbuiltSnapshot();
    rewireDevices();
}

void ActionLinker::buildUnbuiltSnapshot()
{
    if (!m_unbuilt)
        return;
    const Snapshot snapshot = *std::exchange(m_unbuilt, std::nullopt);
    showSnapshot(snapshot.overlay, snapshot.imagePath);
}

InteractiveOverlay *ActionLinker::overlay()
{
    buildUnbuiltSnapshot();
    return m_overlay;
}

DocumentSession *ActionLinker::session()
{
    buildUnbuiltSnapshot();
    return m_session;
}

// The overlay document and its picture, then the bridges of the mapping document.
void ActionLinker::showSnapshot(const QJsonObject &overlay, const QString &imagePath)
{
    m_loading = true;
    m_stale = false;
    m_imagePath = imagePath;
    // The picture first: the document's geometry is relative to the rectangle it occupies.
    m_overlay->setBackgroundPicture(imagePath);
    m_overlayLoaded = m_overlay->load(overlay);
    m_loadedOverlay = overlay;
    if (!m_overlayLoaded) {
        // A refused document must not leave the previous profile's pastilles on screen.
        m_loadedOverlay = {{QStringLiteral("type"), kOverlayType}};
        m_overlay->load(m_loadedOverlay);
        if (!overlay.isEmpty())
            qCWarning(lcGamepadUi).noquote()
                << QStringLiteral("Gamepad overlay refused for profile %1").arg(m_profileName);
    }
    loadMapping();
    m_loading = false;
}

// A mapping document that exists but cannot be read makes the panel read-only for the profile:
// its content may matter to the host, so it is never replaced behind the user's back.
void ActionLinker::loadMapping()
{
    const QString path = mappingDocumentPath(m_profileFolder);
    QJsonArray bridges;
    QString error;
    const bool read = readMappingBridges(m_profileFolder, &bridges, &error, linkerJsonMessages());
    if (read)
        m_overlay->applyMapping(bridges);
    if (m_profileId.isNull())
        m_session->close();
    else if (read || path.isEmpty())
        m_session->loaded(m_profileFolder, {path});
    else
        m_session->loadFailed(m_profileFolder, {path}, path, error);
}

void ActionLinker::onDeviceSelectionChanged(const QStringList &deviceNames)
{
    m_deviceNames = deviceNames;
    rewireDevices();
}

void ActionLinker::onInputButtonChanged(int button, bool pressed)
{
    if (pressed)
        bindPendingAction(QStringLiteral("but_%1").arg(button));
}

void ActionLinker::onInputAxisChanged(int axis, double value)
{
    if (std::abs(value) >= kAxisBindThreshold)
        bindPendingAction(QStringLiteral("joy_%1").arg(axis));
}

void ActionLinker::onInputGateChanged(const QString &key, bool inside)
{
    // Leaving a gate is the stick's way back to rest, not a choice of the user.
    if (inside)
        bindPendingAction(key);
}

void ActionLinker::flushSave()
{
    m_session->flush();
}

bool ActionLinker::requestLeave()
{
    return m_session->requestLeave();
}

void ActionLinker::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    buildUnbuiltSnapshot();
    // While hidden the panel heard only of this process's saves: the disk tells the rest.
    m_session->checkDisk();
    reloadIfStale();
}

// What changed on disk while the panel had no edits (the profile editor saved the same mapping,
// another window, the profiles command line) is shown before the user binds over it. A gone
// profile is not reloaded: its folder would pass for a fresh one.
void ActionLinker::reloadIfStale()
{
    if (m_stale && m_session->state() != EditSession::State::Gone)
        reloadFromDisk();
}

// The profile as it is on disk: its metadata names the overlay document and the picture. What
// cannot be read there keeps what the panel was given.
void ActionLinker::reloadFromDisk()
{
    QJsonObject overlay = m_loadedOverlay;
    QString imagePath = m_imagePath;
    GamepadProfileMeta meta;
    QString error;
    if (readProfileMeta(m_profileFolder, &meta, &error)) {
        imagePath = meta.imagePath();
        if (!readJsonObjectFile(meta.overlayPath(), &overlay, &error, linkerJsonMessages()))
            overlay = m_loadedOverlay;
    }
    if (!error.isEmpty())
        qCWarning(lcGamepadUi).noquote()
            << QStringLiteral("Gamepad mapping reload kept the overlay error=%1").arg(error);
    showSnapshot(overlay, imagePath);
}

void ActionLinker::rebuildActionList()
{
    cancelPending();
    fillActionList(m_list, m_catalog);
}

void ActionLinker::onItemClicked(QListWidgetItem *item)
{
    const QString name = item ? item->data(Qt::UserRole).toString() : QString();
    if (name.isEmpty())
        return;
    if (name.compare(m_pending, Qt::CaseInsensitive) == 0) {
        cancelPending();
        return;
    }
    m_pending = name;
    refreshHint();
}

void ActionLinker::cancelPending()
{
    m_pending.clear();
    {
        // The selection model announces the change too, and the list only repaints on its word.
        const QSignalBlocker listBlocker(m_list);
        const QSignalBlocker modelBlocker(m_list->selectionModel());
        m_list->clearSelection();
    }
    m_list->viewport()->update();
    refreshHint();
}

// A failure of the mapping document stays in sight until the session is clean again.
void ActionLinker::refreshHint()
{
    const QString problem = m_session->stateMessage();
    if (!problem.isEmpty())
        m_hint->setText(problem);
    else if (m_pending.isEmpty())
        m_hint->setText(kRestingHint);
    else
        m_hint->setText(kPressHint.arg(m_pending));
}

void ActionLinker::bindPendingAction(const QString &inputKey)
{
    buildUnbuiltSnapshot();
    if (m_pending.isEmpty() || !m_overlayLoaded)
        return;
    // Taken at once: a question below runs an event loop in which the controller goes on talking.
    const QString action = m_pending;
    cancelPending();
    reloadIfStale();
    if (mayBind())
        m_overlay->bindActionToInput(action, inputKey);
}

// A read-only mapping binds nothing, unless the user starts a document that could not be read
// again from scratch.
bool ActionLinker::mayBind()
{
    switch (m_session->state()) {
    case EditSession::State::Gone:
        return false;
    case EditSession::State::LoadFailed:
        return startEmpty();
    default:
        return true;
    }
}

// The overlay as loaded, without a binding of the unreadable document.
bool ActionLinker::startEmpty()
{
    if (!m_session->offerStartEmpty())
        return false;
    m_loading = true;
    m_overlay->load(m_loadedOverlay);
    m_loading = false;
    return true;
}

void ActionLinker::onOverlayChanged()
{
    if (!m_loading && !m_profileId.isNull())
        m_session->edited();
}

// A controller is heard under its name of the moment: one that learns its name on a later poll, or
// is renamed, is wired again at once, so the input of that very poll is judged by the new name.
void ActionLinker::rewireDevices()
{
    disconnectDevices();
    for (const QPointer<ControlManette> &device : std::as_const(m_devices)) {
        if (!device)
            continue;
        m_deviceConnections << connect(device, &ControlManette::nameChanged, this,
                                       &ActionLinker::rewireDevices);
        if (!isLinked(*device, m_deviceNames))
            continue;
        m_deviceConnections << connect(device, &ControlManette::buttonChanged, this,
                                       &ActionLinker::onInputButtonChanged)
                            << connect(device, &ControlManette::axisChanged, this,
                                       &ActionLinker::onInputAxisChanged)
                            << connect(device, &ControlManette::gateChanged, this,
                                       &ActionLinker::onInputGateChanged);
    }
}

void ActionLinker::disconnectDevices()
{
    // A connection to a controller deleted meanwhile is already gone; disconnecting it is a no-op.
    for (const QMetaObject::Connection &connection : std::as_const(m_deviceConnections))
        disconnect(connection);
    m_deviceConnections.clear();
}
