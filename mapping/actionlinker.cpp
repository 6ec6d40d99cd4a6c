#include "actionlinker.h"

#include "actionlist.h"

#include "controlmanette.h"
#include "interactiveoverlay.h"
#include "mappingdocument.h"
#include "overlaybindings.h"
#include "profilestore.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPixmap>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <cmath>

namespace {

const QString kRestingHint = QStringLiteral("Cliquez une action puis appuyez sur un bouton.");
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

    m_saveTimer.setSingleShot(true);
    m_saveTimer.setInterval(kSaveDelayMs);
    connect(&m_saveTimer, &QTimer::timeout, this, &ActionLinker::save);
    connect(m_overlay, &InteractiveOverlay::dirty, this, &ActionLinker::scheduleSave);
    connect(m_list, &QListWidget::itemClicked, this, &ActionLinker::onItemClicked);
    rebuildActionList();
}

ActionLinker::~ActionLinker()
{
    flushSave();
    disconnectDevices();
    // The overlay outlives the timer (children go in ~QWidget): it must not reach it any more.
    m_overlay->disconnect(this);
}

void ActionLinker::setExternalServices(const QJsonObject &services)
{
    if (services == m_externalServices)
        return;
    m_externalServices = services;
    m_catalog = extractSharedActionCatalog(services);
    m_overlay->setCatalog(m_catalog);
    rebuildActionList();
    Q_EMIT externalServicesChanged();
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
    flushSave();
    m_loading = true;
    m_profileId = id;
    m_deviceNames = deviceNames;
    m_profileFolder = profileFolder;
    if (m_profileFolder.isEmpty() && !id.isNull())
        m_profileFolder = findProfileById(id.toString()).folder;
    cancelPending();

    // The picture first: the document's geometry is relative to the rectangle it occupies.
    QPixmap picture;
    if (!imagePath.isEmpty())
        picture.load(imagePath);
    m_overlay->setBackgroundPixmap(picture);
    m_overlayLoaded = m_overlay->load(overlay);
    if (!m_overlayLoaded) {
        // A refused document must not leave the previous profile's pastilles on screen.
        m_overlay->load({{QStringLiteral("type"), kOverlayType}});
        if (!overlay.isEmpty())
            qCWarning(lcGamepadUi).noquote()
                << QStringLiteral("Gamepad overlay refused for profile %1").arg(name);
    }

    QJsonArray bridges;
    if (!m_profileFolder.isEmpty() &&
        readMappingBridges(m_profileFolder, &bridges, nullptr, linkerJsonMessages()))
        m_overlay->applyMapping(bridges);

    rewireDevices();
    m_loading = false;
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
    if (!m_saveTimer.isActive())
        return;
    m_saveTimer.stop();
    save();
}

bool ActionLinker::requestLeave()
{
    flushSave();
    return true;
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
    m_hint->setText(QStringLiteral("Appuyez sur un bouton pour mapper \"%1\".").arg(name));
}

void ActionLinker::cancelPending()
{
    m_pending.clear();
    {
        const QSignalBlocker blocker(m_list);
        m_list->clearSelection();
    }
    m_hint->setText(kRestingHint);
}

void ActionLinker::bindPendingAction(const QString &inputKey)
{
    if (m_pending.isEmpty() || !m_overlayLoaded)
        return;
    m_overlay->bindActionToInput(m_pending, inputKey);
    cancelPending();
}

void ActionLinker::scheduleSave()
{
    // The first change of a burst fixes the moment of the save; later ones ride along.
    if (m_loading || m_profileId.isNull() || m_saveTimer.isActive())
        return;
    m_saveTimer.start();
}

void ActionLinker::save()
{
    // The overlay holds every binding: the bridges are regenerated from its nodes alone. A
    // failure is logged by the writer.
    if (saveMappingDocument(m_profileFolder, m_overlay->nodes(), {}, m_catalog, nullptr,
                            linkerJsonMessages()))
        Q_EMIT mappingSaved();
}

void ActionLinker::rewireDevices()
{
    disconnectDevices();
    for (const QPointer<ControlManette> &device : std::as_const(m_devices)) {
        if (!device || !isLinked(*device, m_deviceNames))
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
