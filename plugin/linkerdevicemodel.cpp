#include "linkerdevicemodel.h"

#include "deviceevents.h"
#include "gamepadmanager.h"

#include <QDateTime>
#include <QUuid>

namespace {

QString usnForDevice(const ControlManette *device)
{
    return QStringLiteral("gp:%1").arg(device->deviceId());
}

// The joystick index of a stand-in device: never bound to a controller.
constexpr int kStandInIndex = -1;

QString profileIdText(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces);
}

} // namespace

LinkerDeviceModel::LinkerDeviceModel(const QString &context, QObject *parent,
                                     JoystickBackend &joysticks)
    : QAbstractListModel(parent), m_joysticks(joysticks), m_context(context)
{
    registerComProviderEventType();
    loadRegistry();
    GamepadManager *manager = GamepadManager::instance();
    connect(manager, &GamepadManager::gamepadsChanged, this, &LinkerDeviceModel::onManagerChanged);
    connect(manager, &GamepadManager::gamepadAdded, this, &LinkerDeviceModel::onGamepadAdded);
    connect(manager, &GamepadManager::gamepadRemoved, this, &LinkerDeviceModel::onGamepadRemoved);
    if (m_autoDetect)
        QMetaObject::invokeMethod(this, &LinkerDeviceModel::onManagerChanged, Qt::QueuedConnection);
}

// ---- Qt model interface ----

int LinkerDeviceModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

// An invalid index has row -1: no row.
QVariant LinkerDeviceModel::data(const QModelIndex &index, int role) const
{
    if (!m_rows.hasRow(index.row()))
        return {};
    const DeviceEntry &entry = entryAt(index.row());
    const QUuid activeId = QUuid::fromString(entry.activeProfileId());
    switch (role) {
    case Qt::DisplayRole:
    case NameRole:
        return entry.displayName();
    case UsnRole:
        return m_rows.usnAt(index.row());
    case IpRole:
        return entry.secondLine();
    case SelectedRole:
        return entry.isSelected();
    case ConnectedRole:
        return entry.device() != nullptr;
    case VideoInterfacesRole:
        return entry.inputs(m_joysticks);
    case JsonRole:
        return entry.description();
    case ProductRole:
        return entry.product();
    case ImageRole:
        return entry.image();
    case ModelRole:
        return entry.modelString();
    case LinkStateRole:
        return entry.linkState();
    case ActiveProfileIdRole:
        return entry.activeProfileId();
    case ActiveProfileNameRole:
        return entry.activeProfileName();
    case ActiveProfilePositionRole:
        return entry.carousel().position(activeId);
    case ProfileCountRole:
        return entry.carousel().count();
    case HasProfileCarouselRole:
        return entry.carousel().isShown();
    default:
        return {};
    }
}

bool LinkerDeviceModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!m_rows.hasRow(index.row()))
        return false;
    switch (role) {
    case NameRole:
        return setName(index.row(), value.toString());
    case SelectedRole:
        return setSelectedRow(index.row(), value.toBool());
    case ProductRole:
        return setProduct(index.row(), value.toString());
    case ImageRole:
        return setImage(index.row(), value);
    default:
        return false;
    }
}

Qt::ItemFlags LinkerDeviceModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return QAbstractListModel::flags(index);
    // Not editable: the card has no in-place editor, and a double-click must not open an empty one.
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
}

QHash<int, QByteArray> LinkerDeviceModel::roleNames() const
{
    return DeviceModelRoles::roleNames();
}

// ---- Properties ----

void LinkerDeviceModel::setUniqSelection(bool unique)
{
    if (m_uniqSelection == unique)
        return;
    m_uniqSelection = unique;
    Q_EMIT uniqSelectionChanged();
    if (m_uniqSelection)
        keepOneSelected();
}

// Of several selected rows, the one seen last stays selected (the first among equals), as the
// registry reader keeps it.
void LinkerDeviceModel::keepOneSelected()
{
    const int kept = m_rows.lastSeenSelectedRow();
    if (kept >= 0 && deselectOthers(kept)) {
        saveRegistry();
        notifySelectedInterfaces();
    }
}

void LinkerDeviceModel::setAutoDetect(bool enabled)
{
    if (m_autoDetect == enabled)
        return;
    m_autoDetect = enabled;
    Q_EMIT autoDetectChanged();
    if (m_autoDetect)
        resynchronise();
}

// Another context is another registry: the rows are rebuilt from its file.
void LinkerDeviceModel::setContext(const QString &context)
{
    if (m_context == context)
        return;
    m_context = context;
    for (int row = 0; row < count(); ++row)
        if (entryAt(row).device())
            disconnect(entryAt(row).device(), nullptr, this, nullptr);
    loadRegistry();
    Q_EMIT contextChanged();
    if (m_autoDetect)
        resynchronise();
}

void LinkerDeviceModel::selectedInterfaces(QList<IComInterface *> &out, QJsonArray &infos)
{
    out.clear();
    infos = QJsonArray();
    updateStandIns();
    for (int row = 0; row < count(); ++row) {
        const DeviceEntry &entry = entryAt(row);
        if (!entry.isSelected())
            continue;
        out.append(entry.hostDevice());
        infos.append(entry.description());
    }
}

// ---- Slots ----

// Starts the selected devices that are not running yet and tells the host again what is selected.
void LinkerDeviceModel::syncSelected()
{
    for (int row = 0; row < count(); ++row) {
        DeviceEntry &entry = entryAt(row);
        if (entry.isSelected() && entry.device() && !entry.device()->isPolling())
            entry.start();
    }
    notifySelectedInterfaces();
}

void LinkerDeviceModel::refreshProfilesCatalog()
{
    const QList<CatalogProfile> catalog = readProfileCatalog();
    for (int row = 0; row < count(); ++row)
        entryAt(row).refreshCarousel(catalog);
    if (count() > 0)
        Q_EMIT dataChanged(index(0), index(count() - 1),
                           {NameRole, ImageRole, JsonRole, ActiveProfileNameRole,
                            ActiveProfilePositionRole, ProfileCountRole, HasProfileCarouselRole});
}

void LinkerDeviceModel::onManagerChanged()
{
    if (m_autoDetect)
        resynchronise();
}

void LinkerDeviceModel::onGamepadAdded(ControlManette *gp)
{
    Q_UNUSED(gp);
    onManagerChanged();
}

void LinkerDeviceModel::onGamepadRemoved(int deviceId)
{
    Q_UNUSED(deviceId);
    onManagerChanged();
}

// ---- Invokable operations ----

int LinkerDeviceModel::indexOfUsn(QString usn) const
{
    return m_rows.indexOf(usn);
}

QString LinkerDeviceModel::usnForRow(int row) const
{
    return m_rows.hasRow(row) ? m_rows.usnAt(row) : QString();
}

bool LinkerDeviceModel::isSelected(QString usn) const
{
    const int row = indexOfUsn(usn);
    return row >= 0 && entryAt(row).isSelected();
}

void LinkerDeviceModel::setSelected(QString usn, bool sel)
{
    const int row = indexOfUsn(usn);
    if (row >= 0)
        setData(index(row), sel, SelectedRole);
}

// Forgets a controller that is not plugged in; a plugged one would come straight back.
bool LinkerDeviceModel::deleteDevice(QString usn)
{
    const int row = indexOfUsn(usn);
    if (row < 0 || entryAt(row).device())
        return false;
    removeEntryRow(row);
    saveRegistry();
    return true;
}

bool LinkerDeviceModel::cycleProfile(QString usn, int delta)
{
    const int row = indexOfUsn(usn);
    if (row < 0)
        return false;
    const DeviceEntry &entry = entryAt(row);
    const GamepadProfileInfo next =
        entry.carousel().step(QUuid::fromString(entry.activeProfileId()), delta);
    return !next.isNull() && setActiveProfile(usn, profileIdText(next.id));
}

// Binds a profile (with or without braces) to the device; an empty id unbinds it. A profile that
// is neither a candidate of the device nor in the catalog is refused.
bool LinkerDeviceModel::setActiveProfile(QString usn, QString profileId)
{
    const int row = indexOfUsn(usn);
    if (row < 0)
        return false;
    profileId = profileId.trimmed();
    if (profileId.isEmpty()) {
        setActiveProfileEntry(row, QString(), QString());
        return true;
    }
    const QUuid id = QUuid::fromString(profileId);
    if (id.isNull())
        return false;
    GamepadProfileInfo profile = entryAt(row).carousel().find(id);
    if (profile.isNull())
        profile = findProfileById(profileId);
    if (profile.isNull())
        return false;
    setActiveProfileEntry(row, profileIdText(id), profile.name);
    return true;
}

QObject *LinkerDeviceModel::interfaceForRow(int row) const
{
    return m_rows.hasRow(row) ? entryAt(row).device() : nullptr;
}

// ---- Rows and registry ----

void LinkerDeviceModel::loadRegistry()
{
    const DeviceRegistry registry = readDeviceRegistry(m_context, m_uniqSelection);
    const QList<CatalogProfile> catalog = readProfileCatalog();
    beginResetModel();
    for (int row = 0; row < count(); ++row)
        entryAt(row).releaseStandIn();
    m_rows.clear();
    for (const DeviceRegistryEntry &remembered : registry.devices) {
        if (remembered.usn.isEmpty() || m_rows.contains(remembered.usn))
            continue;
        DeviceEntry entry(remembered.kv);
        entry.refreshCarousel(catalog);
        m_rows.addRow(remembered.usn, entry);
    }
    endResetModel();
    Q_EMIT countChanged();
    if (m_previousCount != registry.lastCount) {
        m_previousCount = registry.lastCount;
        Q_EMIT previousCountChanged();
    }
}

// Connected controllers are stamped "lastSeen" with one time per save: saves follow user actions
// and plugging, never the polling.
void LinkerDeviceModel::saveRegistry()
{
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    QList<DeviceRegistryEntry> devices;
    for (int row = 0; row < count(); ++row) {
        DeviceEntry &entry = entryAt(row);
        entry.refreshLiveValues();
        if (entry.device())
            entry.markSeen(now);
        devices.append({m_rows.usnAt(row), entry.kv()});
    }
    writeDeviceRegistry(m_context, devices);
}

void LinkerDeviceModel::removeEntryRow(int row)
{
    beginRemoveRows(QModelIndex(), row, row);
    entryAt(row).releaseStandIn();
    m_rows.removeRow(row);
    endRemoveRows();
    Q_EMIT countChanged();
}

// Keeps the rows within the registry's capacity before one more is added: the absent
// controllers seen longest ago are forgotten, a connected one never.
void LinkerDeviceModel::makeRoomForOneRow()
{
    while (count() >= kMaxRegistryEntries) {
        const int oldest = m_rows.oldestAbsentRow();
        if (oldest < 0)
            return;
        removeEntryRow(oldest);
    }
}

void LinkerDeviceModel::appendEntry(const QString &usn)
{
    beginInsertRows(QModelIndex(), count(), count());
    m_rows.addRow(usn);
    endInsertRows();
    Q_EMIT countChanged();
}

void LinkerDeviceModel::emitRowChanged(int row, const QList<int> &roles)
{
    Q_EMIT dataChanged(index(row), index(row), roles);
}

// ---- Live devices ----

// Brings the rows in line with the manager's list: rows whose controller went away keep their
// values and lose their device; a controller reuses the row of its joystick index ("gp:<index>"),
// or gets a new row at the end.
void LinkerDeviceModel::resynchronise()
{
    QList<ControlManette *> live;
    for (const QPointer<ControlManette> &device : GamepadManager::instance()->gamepads())
        if (device)
            live.append(device.data());
    detachVanishedDevices(live);
    if (attachLiveDevices(live))
        saveRegistry();
}

void LinkerDeviceModel::detachVanishedDevices(const QList<ControlManette *> &live)
{
    for (int row = 0; row < count(); ++row) {
        const DeviceEntry &entry = entryAt(row);
        if (entry.isAttached() && (!entry.device() || !live.contains(entry.device())))
            detachDevice(row);
    }
}

// A controller takes back the row remembered for its identity, in whatever slot it comes back; a
// different controller in the slot gets a row of its own. An absent row that holds the slot's key
// is renamed to its identity key first.
bool LinkerDeviceModel::attachLiveDevices(const QList<ControlManette *> &live)
{
    QList<CatalogProfile> catalog;
    bool attached = false;
    for (ControlManette *device : live) {
        const QString usn = usnForDevice(device);
        if (m_rows.deviceOf(usn) == device)
            continue;
        const int remembered = m_rows.rememberedRow(*device, usn);
        const int occupant = indexOfUsn(usn);
        if (occupant >= 0 && occupant != remembered)
            renameRow(occupant, m_rows.freeIdentityKey(occupant));
        if (remembered >= 0) {
            renameRow(remembered, usn);
        } else {
            makeRoomForOneRow();
            appendEntry(usn);
        }
        if (!attached)
            catalog = readProfileCatalog();
        attachDevice(indexOfUsn(usn), device, catalog);
        attached = true;
    }
    return attached;
}

void LinkerDeviceModel::renameRow(int row, const QString &usn)
{
    if (m_rows.renameRow(row, usn))
        emitRowChanged(row, {UsnRole});
}

void LinkerDeviceModel::attachDevice(int row, ControlManette *device,
                                     const QList<CatalogProfile> &catalog)
{
    const QString usn = m_rows.usnAt(row);
    DeviceEntry &entry = entryAt(row);
    if (entry.device())
        disconnect(entry.device(), nullptr, this, nullptr);
    entry.attach(device);
    entry.refreshCarousel(catalog);
    // The row is found by its device, not by a key that a later resynchronisation may rename.
    connect(device, &ControlManette::connectedChanged, this,
            [this, device] { updateLinkState(device); });
    Q_EMIT providerEventOccurred(DeviceEvents::detected(entry.deviceName(), usn));
    emitRowChanged(row, {});
    if (entry.isSelected()) {
        entry.start();
        notifySelectedInterfaces();
    }
    updateLinkState(device);
}

void LinkerDeviceModel::detachDevice(int row)
{
    const QString usn = m_rows.usnAt(row);
    DeviceEntry &entry = entryAt(row);
    if (entry.device())
        disconnect(entry.device(), nullptr, this, nullptr);
    entry.detach();
    setLinkState(row, kUnlinked);
    const bool selected = entry.isSelected();
    Q_EMIT providerEventOccurred(DeviceEvents::removed(entry.deviceName(), usn, selected));
    emitRowChanged(row, {ConnectedRole, VideoInterfacesRole, JsonRole});
    if (selected)
        notifySelectedInterfaces();
}

// A stop the user asked for is no lost connection: the link goes down quietly before stop()
// reports the device as disconnected.
void LinkerDeviceModel::stopDevice(int row)
{
    DeviceEntry &entry = entryAt(row);
    if (entry.setLinkState(kUnlinked))
        emitRowChanged(row, {LinkStateRole});
    entry.stop();
}

// A stand-in is never started: its slot may hold another controller meanwhile.
void LinkerDeviceModel::updateStandIns()
{
    for (int row = 0; row < count(); ++row) {
        DeviceEntry &entry = entryAt(row);
        if (!entry.isSelected() || entry.device())
            entry.releaseStandIn();
        else if (!entry.standIn())
            entry.setStandIn(new ControlManette(kStandInIndex, this));
    }
}

void LinkerDeviceModel::updateLinkState(const ControlManette *device)
{
    for (int row = 0; row < count(); ++row) {
        if (entryAt(row).device() == device) {
            setLinkState(row, device->isConnected() ? kLinked : kUnlinked);
            return;
        }
    }
}

void LinkerDeviceModel::setLinkState(int row, int state)
{
    if (!entryAt(row).setLinkState(state))
        return;
    emitRowChanged(row, {LinkStateRole});
    Q_EMIT providerEventOccurred(
        DeviceEvents::linkChanged(entryAt(row).deviceName(), m_rows.usnAt(row), state == kLinked));
}

// ---- Writable roles ----

bool LinkerDeviceModel::setName(int row, const QString &name)
{
    if (!entryAt(row).setNameOverride(name))
        return true;
    emitRowChanged(row, {NameRole, JsonRole});
    saveRegistry();
    return true;
}

bool LinkerDeviceModel::setSelectedRow(int row, bool selected)
{
    const bool othersChanged = m_uniqSelection && selected && deselectOthers(row);
    DeviceEntry &entry = entryAt(row);
    if (entry.isSelected() == selected) {
        if (othersChanged)
            saveRegistry();
        notifySelectedInterfaces();
        return true;
    }
    entry.setSelected(selected);
    if (selected)
        entry.start();
    else
        stopDevice(row);
    emitRowChanged(row, {SelectedRole, LinkStateRole, JsonRole});
    saveRegistry();
    notifySelectedInterfaces();
    return true;
}

bool LinkerDeviceModel::deselectOthers(int row)
{
    bool changed = false;
    for (int other = 0; other < count(); ++other) {
        DeviceEntry &entry = entryAt(other);
        if (other == row || !entry.isSelected())
            continue;
        entry.setSelected(false);
        stopDevice(other);
        emitRowChanged(other, {SelectedRole, LinkStateRole, JsonRole});
        changed = true;
    }
    return changed;
}

bool LinkerDeviceModel::setProduct(int row, const QString &product)
{
    entryAt(row).setProduct(product);
    emitRowChanged(row, {ProductRole, JsonRole});
    saveRegistry();
    return true;
}

bool LinkerDeviceModel::setImage(int row, const QVariant &value)
{
    if (!entryAt(row).setImage(value))
        return false;
    emitRowChanged(row, {ImageRole});
    saveRegistry();
    return true;
}

void LinkerDeviceModel::notifySelectedInterfaces()
{
    QList<IComInterface *> selected;
    QJsonArray infos;
    selectedInterfaces(selected, infos);
    Q_EMIT selectedInterfacesChanged(selected, infos);
}

// ---- Profiles ----

void LinkerDeviceModel::setActiveProfileEntry(int row, const QString &id, const QString &name)
{
    if (!entryAt(row).setActiveProfile(id, name))
        return;
    emitRowChanged(row, {NameRole, ImageRole, JsonRole, ActiveProfileIdRole, ActiveProfileNameRole,
                         ActiveProfilePositionRole});
    saveRegistry();
}
