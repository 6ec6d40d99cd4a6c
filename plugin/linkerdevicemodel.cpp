#include "linkerdevicemodel.h"

#include "gamepadmanager.h"
#include "joystickbackend.h"
#include "profilemeta.h"

#include <QDateTime>
#include <QUuid>

namespace {

const QString kDeviceId = QStringLiteral("deviceId");
const QString kVendorHex = QStringLiteral("vendorIdHex");
const QString kProductHex = QStringLiteral("productIdHex");
const QString kName = QStringLiteral("name");
const QString kImagePath = QStringLiteral("imagePath");
const QString kCustomImage = QStringLiteral("customImage"); // the user chose the picture
const QString kSelected = QStringLiteral("selected");
const QString kActiveProfileId = QStringLiteral("activeProfileId");
const QString kActiveProfileName = QStringLiteral("activeProfileName");
const QString kNameOverride = QStringLiteral("nameOverride");
const QString kProduct = QStringLiteral("product");
const QString kLastSeen = QStringLiteral("lastSeen"); // ms since the epoch, stamped at each save

QString usnForDevice(const ControlManette *device)
{
    return QStringLiteral("gp:%1").arg(device->deviceId());
}

quint32 hexId(const QJsonObject &kv, const QString &key)
{
    return kv.value(key).toString().toUInt(nullptr, 16);
}

QString hexText(const QJsonObject &kv, const QString &key)
{
    const QString text = kv.value(key).toString();
    return text.isEmpty() ? QStringLiteral("0") : text;
}

// When the controller was last seen connected; never (or unreadable) sorts before any time.
double lastSeen(const QJsonObject &kv)
{
    const QJsonValue value = kv.value(kLastSeen);
    return value.isDouble() ? value.toDouble() : -qInf();
}

QString profileIdText(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces);
}

} // namespace

LinkerDeviceModel::LinkerDeviceModel(const QString &context, QObject *parent)
    : QAbstractListModel(parent), m_context(context)
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

QVariant LinkerDeviceModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || !validRow(index.row()))
        return {};
    const Entry &entry = entryAt(index.row());
    const QJsonObject &kv = entry.kv;
    switch (role) {
    case Qt::DisplayRole:
    case NameRole:
        return displayName(entry);
    case UsnRole:
        return m_usns.at(index.row());
    case IpRole:
        return secondLine(entry);
    case SelectedRole:
        return kv.value(kSelected).toBool();
    case ConnectedRole:
        return !entry.device.isNull();
    case VideoInterfacesRole:
        return liveInputs(entry);
    case JsonRole:
        return description(index.row());
    case ProductRole:
        return kv.value(kProduct).toString().isEmpty() ? deviceName(entry)
                                                       : kv.value(kProduct).toString();
    case ImageRole:
        return image(entry);
    case ModelRole:
        return hexText(kv, kVendorHex) + QLatin1Char('-') + hexText(kv, kProductHex);
    case LinkStateRole:
        return entry.linkState;
    case ActiveProfileIdRole:
        return kv.value(kActiveProfileId).toString();
    case ActiveProfileNameRole:
        return activeProfileName(entry);
    case ActiveProfilePositionRole:
        return activePosition(entry) + 1;
    case ProfileCountRole:
        return int(entry.profiles.size());
    case HasProfileCarouselRole:
        return entry.profiles.size() > 1;
    default:
        return {};
    }
}

bool LinkerDeviceModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!index.isValid() || !validRow(index.row()))
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
    return {{UsnRole, "usn"},
            {NameRole, "name"},
            {IpRole, "ip"},
            {SelectedRole, "selected"},
            {ConnectedRole, "isConnected"},
            {VideoInterfacesRole, "videoInterfaces"},
            {JsonRole, "json"},
            {ProductRole, "product"},
            {ImageRole, "image"},
            {ModelRole, "modelString"},
            {LinkStateRole, "linkState"},
            {ActiveProfileIdRole, "activeProfileId"},
            {ActiveProfileNameRole, "activeProfileName"},
            {ActiveProfilePositionRole, "activeProfilePosition"},
            {ProfileCountRole, "profileCount"},
            {HasProfileCarouselRole, "hasProfileCarousel"}};
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
    int kept = -1;
    for (int row = 0; row < count(); ++row) {
        const QJsonObject &kv = entryAt(row).kv;
        if (kv.value(kSelected).toBool() && (kept < 0 || lastSeen(kv) > lastSeen(entryAt(kept).kv)))
            kept = row;
    }
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
    for (const Entry &entry : std::as_const(m_entries))
        if (entry.device)
            disconnect(entry.device, nullptr, this, nullptr);
    loadRegistry();
    Q_EMIT contextChanged();
    if (m_autoDetect)
        resynchronise();
}

void LinkerDeviceModel::selectedInterfaces(QList<IComInterface *> &out, QJsonArray &infos) const
{
    out.clear();
    infos = QJsonArray();
    for (int row = 0; row < count(); ++row) {
        const Entry &entry = entryAt(row);
        if (!entry.kv.value(kSelected).toBool())
            continue;
        if (entry.device)
            out.append(entry.device.data());
        infos.append(description(row));
    }
}

// ---- Slots ----

// Starts the selected devices that are not running yet and tells the host again what is selected.
void LinkerDeviceModel::syncSelected()
{
    for (int row = 0; row < count(); ++row) {
        Entry &entry = entryAt(row);
        if (entry.kv.value(kSelected).toBool() && entry.device && !entry.device->isPolling())
            activateDevice(entry);
    }
    notifySelectedInterfaces();
}

void LinkerDeviceModel::refreshProfilesCatalog()
{
    const QList<CatalogProfile> catalog = readCatalog();
    for (Entry &entry : m_entries) {
        refreshCandidates(entry, catalog);
        applyProfileToDevice(entry);
    }
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
    return int(m_usns.indexOf(usn));
}

QString LinkerDeviceModel::usnForRow(int row) const
{
    return validRow(row) ? m_usns.at(row) : QString();
}

bool LinkerDeviceModel::isSelected(QString usn) const
{
    const int row = indexOfUsn(usn);
    return row >= 0 && entryAt(row).kv.value(kSelected).toBool();
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
    if (row < 0 || entryAt(row).device)
        return false;
    removeEntryRow(row);
    saveRegistry();
    return true;
}

bool LinkerDeviceModel::cycleProfile(QString usn, int delta)
{
    const int row = indexOfUsn(usn);
    if (delta == 0 || row < 0)
        return false;
    const Entry &entry = entryAt(row);
    const int count = int(entry.profiles.size());
    if (count == 0)
        return false;
    // With no profile of the carousel bound, forward starts at the first one, backward at the last.
    const int current = activePosition(entry);
    const int next =
        current < 0 ? (delta > 0 ? 0 : count - 1) : (current + (count + delta % count)) % count;
    return setActiveProfile(usn, profileIdText(entry.profiles.at(next).id));
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
    GamepadProfileInfo profile;
    for (const GamepadProfileInfo &candidate : entryAt(row).profiles)
        if (candidate.id == id)
            profile = candidate;
    if (profile.isNull())
        profile = findProfileById(profileId);
    if (profile.isNull())
        return false;
    setActiveProfileEntry(row, profileIdText(id), profile.name);
    return true;
}

QObject *LinkerDeviceModel::interfaceForRow(int row) const
{
    return validRow(row) ? entryAt(row).device.data() : nullptr;
}

// ---- Rows and registry ----

void LinkerDeviceModel::loadRegistry()
{
    const DeviceRegistry registry = readDeviceRegistry(m_context);
    const QList<CatalogProfile> catalog = readCatalog();
    beginResetModel();
    m_usns.clear();
    m_entries.clear();
    for (const DeviceRegistryEntry &remembered : registry.devices) {
        if (remembered.usn.isEmpty() || m_entries.contains(remembered.usn))
            continue;
        Entry entry;
        entry.kv = remembered.kv;
        refreshCandidates(entry, catalog);
        m_usns.append(remembered.usn);
        m_entries.insert(remembered.usn, entry);
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
    for (const QString &usn : std::as_const(m_usns)) {
        Entry &entry = m_entries[usn];
        refreshLiveValues(entry);
        if (entry.device)
            entry.kv.insert(kLastSeen, now);
        devices.append({usn, entry.kv});
    }
    writeDeviceRegistry(m_context, devices);
}

void LinkerDeviceModel::removeEntryRow(int row)
{
    beginRemoveRows(QModelIndex(), row, row);
    m_entries.remove(m_usns.takeAt(row));
    endRemoveRows();
    Q_EMIT countChanged();
}

// Keeps the rows within the registry's capacity before one more is added: the absent
// controllers seen longest ago are forgotten, a connected one never.
void LinkerDeviceModel::makeRoomForOneRow()
{
    while (count() >= kMaxRegistryEntries) {
        int oldest = -1;
        for (int row = 0; row < count(); ++row) {
            if (!entryAt(row).device &&
                (oldest < 0 || lastSeen(entryAt(row).kv) < lastSeen(entryAt(oldest).kv)))
                oldest = row;
        }
        if (oldest < 0)
            return;
        removeEntryRow(oldest);
    }
}

void LinkerDeviceModel::appendEntry(const QString &usn)
{
    beginInsertRows(QModelIndex(), count(), count());
    m_usns.append(usn);
    m_entries.insert(usn, Entry());
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
        const Entry &entry = entryAt(row);
        if (entry.attached && (!entry.device || !live.contains(entry.device.data())))
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
        if (m_entries.value(usn).device == device)
            continue;
        const int remembered = rememberedRow(device);
        const int occupant = indexOfUsn(usn);
        if (occupant >= 0 && occupant != remembered)
            renameRow(occupant, freeIdentityKey(entryAt(occupant).kv));
        if (remembered >= 0) {
            renameRow(remembered, usn);
        } else {
            makeRoomForOneRow();
            appendEntry(usn);
        }
        if (!attached)
            catalog = readCatalog();
        attachDevice(indexOfUsn(usn), device, catalog);
        attached = true;
    }
    return attached;
}

// The absent row remembered for the controller's identity; the one of its slot when several are.
int LinkerDeviceModel::rememberedRow(const ControlManette *device) const
{
    const QString slot = usnForDevice(device);
    int found = -1;
    for (int row = 0; row < count(); ++row) {
        const QJsonObject &kv = entryAt(row).kv;
        if (entryAt(row).device || hexId(kv, kVendorHex) != device->vendorId() ||
            hexId(kv, kProductHex) != device->productId() ||
            kv.value(kName).toString() != device->name())
            continue;
        if (m_usns.at(row) == slot)
            return row;
        if (found < 0)
            found = row;
    }
    return found;
}

// "gp:<vendor>-<product>:<name>", which never collides with a slot key "gp:<index>"; identical
// controllers remembered apart get "#2", "#3"...
QString LinkerDeviceModel::freeIdentityKey(const QJsonObject &kv) const
{
    const QString base =
        QStringLiteral("gp:%1-%2:%3")
            .arg(hexText(kv, kVendorHex), hexText(kv, kProductHex), kv.value(kName).toString());
    QString key = base;
    for (int n = 2; m_entries.contains(key); ++n)
        key = base + QStringLiteral("#%1").arg(n);
    return key;
}

void LinkerDeviceModel::renameRow(int row, const QString &usn)
{
    if (m_usns.at(row) == usn)
        return;
    m_entries.insert(usn, m_entries.take(m_usns.at(row)));
    m_usns[row] = usn;
    emitRowChanged(row, {UsnRole});
}

void LinkerDeviceModel::attachDevice(int row, ControlManette *device,
                                     const QList<CatalogProfile> &catalog)
{
    const QString usn = m_usns.at(row);
    Entry &entry = entryAt(row);
    if (entry.device)
        disconnect(entry.device, nullptr, this, nullptr);
    entry.device = device;
    entry.attached = true;
    refreshLiveValues(entry);
    refreshCandidates(entry, catalog);
    applyProfileToDevice(entry);
    // The row is found by its device, not by a key that a later resynchronisation may rename.
    connect(device, &ControlManette::connectedChanged, this,
            [this, device] { updateLinkState(device); });
    post(ComProviderEvent::Information, tr("Gamepad detected"), tr("%1 (%2) is now available."),
         usn);
    emitRowChanged(row, {});
    if (entry.kv.value(kSelected).toBool()) {
        activateDevice(entry);
        notifySelectedInterfaces();
    }
    updateLinkState(device);
}

void LinkerDeviceModel::detachDevice(int row)
{
    const QString usn = m_usns.at(row);
    Entry &entry = entryAt(row);
    if (entry.device)
        disconnect(entry.device, nullptr, this, nullptr);
    entry.device = nullptr;
    entry.attached = false;
    setLinkState(row, kUnlinked);
    const bool selected = entry.kv.value(kSelected).toBool();
    const QString message = tr("%1 (%2) is no longer available.");
    if (selected)
        post(ComProviderEvent::Warning, tr("Selected gamepad disconnected"), message, usn);
    else
        post(ComProviderEvent::Information, tr("Gamepad removed"), message, usn);
    emitRowChanged(row, {ConnectedRole, VideoInterfacesRole, JsonRole});
    if (selected)
        notifySelectedInterfaces();
}

// Copies the identity of the attached controller into the stored values.
void LinkerDeviceModel::refreshLiveValues(Entry &entry) const
{
    const ControlManette *device = entry.device;
    if (!device)
        return;
    entry.kv.insert(kDeviceId, QString::number(device->deviceId()));
    entry.kv.insert(kVendorHex, QString::number(device->vendorId(), 16));
    entry.kv.insert(kProductHex, QString::number(device->productId(), 16));
    entry.kv.insert(kName, device->name());
    if (!entry.kv.value(kCustomImage).toBool())
        entry.kv.insert(kImagePath, device->imagePath());
}

void LinkerDeviceModel::activateDevice(Entry &entry)
{
    if (!entry.device)
        return;
    applyProfileToDevice(entry);
    entry.device->start();
}

// A stop the user asked for is no lost connection: the link goes down quietly before stop()
// reports the device as disconnected.
void LinkerDeviceModel::stopDevice(int row)
{
    Entry &entry = entryAt(row);
    if (entry.linkState != kUnlinked) {
        entry.linkState = kUnlinked;
        emitRowChanged(row, {LinkStateRole});
    }
    if (entry.device)
        static_cast<IComInterface *>(entry.device.data())->stop();
}

void LinkerDeviceModel::updateLinkState(const ControlManette *device)
{
    for (int row = 0; row < count(); ++row) {
        if (entryAt(row).device == device) {
            setLinkState(row, device->isConnected() ? kLinked : kUnlinked);
            return;
        }
    }
}

void LinkerDeviceModel::setLinkState(int row, int state)
{
    Entry &entry = entryAt(row);
    if (entry.linkState == state)
        return;
    entry.linkState = state;
    emitRowChanged(row, {LinkStateRole});
    if (state == kLinked)
        post(ComProviderEvent::Information, tr("Gamepad connected"), tr("%1 (%2) is connected."),
             m_usns.at(row));
    else
        post(ComProviderEvent::Warning, tr("Gamepad connection lost"),
             tr("%1 (%2) is no longer responding."), m_usns.at(row));
}

// ---- Roles ----

QString LinkerDeviceModel::deviceName(const Entry &entry) const
{
    return entry.device ? entry.device->name() : entry.kv.value(kName).toString();
}

QString LinkerDeviceModel::displayName(const Entry &entry) const
{
    const QString override = entry.kv.value(kNameOverride).toString();
    if (!override.isEmpty())
        return override;
    const QString profile = activeProfileName(entry);
    return profile.isEmpty() ? deviceName(entry) : profile;
}

QString LinkerDeviceModel::secondLine(const Entry &entry) const
{
    const QJsonObject &kv = entry.kv;
    if (hexId(kv, kVendorHex) == 0 && hexId(kv, kProductHex) == 0)
        return QStringLiteral("ID:%1").arg(kv.value(kDeviceId).toString());
    return QStringLiteral("VID:%1 PID:%2")
        .arg(kv.value(kVendorHex).toString(), kv.value(kProductHex).toString());
}

QJsonObject LinkerDeviceModel::description(int row) const
{
    const Entry &entry = entryAt(row);
    const QJsonObject &kv = entry.kv;
    return {{kDeviceId, kv.value(kDeviceId).toString()},
            {kName, deviceName(entry)},
            {QStringLiteral("vendorId"), QStringLiteral("0x") + hexText(kv, kVendorHex)},
            {QStringLiteral("productId"), QStringLiteral("0x") + hexText(kv, kProductHex)},
            {QStringLiteral("connected"), entry.linkState == kLinked},
            {QStringLiteral("kv"), kv}};
}

// "label|address" for each axis and button the plugged controller reports.
QStringList LinkerDeviceModel::liveInputs(const Entry &entry) const
{
    QStringList inputs;
    if (!entry.device)
        return inputs;
    const JoystickBackend &joysticks = joystickBackend();
    const int id = entry.device->deviceId();
    for (int axis = 0; axis < JoystickBackend::kMaxAxes; ++axis)
        if (joysticks.hasAxis(id, axis))
            inputs << tr("Axe %1").arg(axis) + QStringLiteral("|axis://%1").arg(axis);
    const int buttons = qBound(0, joysticks.buttonCount(id), int(JoystickBackend::kMaxButtons));
    for (int button = 0; button < buttons; ++button)
        inputs << tr("Bouton %1").arg(button) + QStringLiteral("|btn://%1").arg(button);
    return inputs;
}

QVariant LinkerDeviceModel::image(const Entry &entry) const
{
    if (!entry.icon.isNull())
        return entry.icon;
    return entry.kv.value(kImagePath).toString();
}

// Zero-based place of the bound profile in the carousel, -1 when none of them is bound.
int LinkerDeviceModel::activePosition(const Entry &entry) const
{
    const QUuid id = QUuid::fromString(entry.kv.value(kActiveProfileId).toString());
    if (id.isNull())
        return -1;
    for (int i = 0; i < entry.profiles.size(); ++i)
        if (entry.profiles.at(i).id == id)
            return i;
    return -1;
}

// The carousel knows the current name after a rename; otherwise the name stored when bound.
QString LinkerDeviceModel::activeProfileName(const Entry &entry) const
{
    const int position = activePosition(entry);
    if (position >= 0)
        return entry.profiles.at(position).name;
    if (entry.kv.value(kActiveProfileId).toString().isEmpty())
        return QString();
    return entry.kv.value(kActiveProfileName).toString();
}

// ---- Writable roles ----

bool LinkerDeviceModel::setName(int row, const QString &name)
{
    Entry &entry = entryAt(row);
    if (entry.kv.value(kNameOverride).toString() == name)
        return true;
    entry.kv.insert(kNameOverride, name);
    emitRowChanged(row, {NameRole, JsonRole});
    saveRegistry();
    return true;
}

bool LinkerDeviceModel::setSelectedRow(int row, bool selected)
{
    const bool othersChanged = m_uniqSelection && selected && deselectOthers(row);
    Entry &entry = entryAt(row);
    if (entry.kv.value(kSelected).toBool() == selected) {
        if (othersChanged)
            saveRegistry();
        notifySelectedInterfaces();
        return true;
    }
    entry.kv.insert(kSelected, selected);
    if (selected)
        activateDevice(entry);
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
        Entry &entry = entryAt(other);
        if (other == row || !entry.kv.value(kSelected).toBool())
            continue;
        entry.kv.insert(kSelected, false);
        stopDevice(other);
        emitRowChanged(other, {SelectedRole, LinkStateRole, JsonRole});
        changed = true;
    }
    return changed;
}

bool LinkerDeviceModel::setProduct(int row, const QString &product)
{
    entryAt(row).kv.insert(kProduct, product);
    emitRowChanged(row, {ProductRole, JsonRole});
    saveRegistry();
    return true;
}

// A text is a picture file kept in the registry; an icon lives only as long as the model.
bool LinkerDeviceModel::setImage(int row, const QVariant &value)
{
    Entry &entry = entryAt(row);
    if (value.typeId() == QMetaType::QString) {
        entry.kv.insert(kImagePath, value.toString());
        entry.kv.insert(kCustomImage, true);
        entry.icon = QIcon();
    } else if (value.canConvert<QIcon>()) {
        entry.icon = value.value<QIcon>();
        entry.kv.remove(kImagePath);
        entry.kv.remove(kCustomImage);
    } else {
        return false;
    }
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

QList<LinkerDeviceModel::CatalogProfile> LinkerDeviceModel::readCatalog()
{
    QList<CatalogProfile> catalog;
    for (const GamepadProfileInfo &info : profileCatalog()) {
        if (info.isNull())
            continue;
        CatalogProfile profile{info, 0, 0};
        GamepadProfileMeta meta;
        if (readProfileMeta(info.folder, &meta, nullptr)) {
            profile.vendorId = meta.vendorId;
            profile.productId = meta.productId;
        }
        catalog.append(profile);
    }
    return catalog;
}

// The carousel holds the profiles whose metadata names this controller or its model.
void LinkerDeviceModel::refreshCandidates(Entry &entry, const QList<CatalogProfile> &catalog) const
{
    const QString name = deviceName(entry).trimmed();
    const quint32 vendor = hexId(entry.kv, kVendorHex);
    const quint32 product = hexId(entry.kv, kProductHex);
    entry.profiles.clear();
    for (const CatalogProfile &profile : catalog) {
        const bool sameModel = vendor != 0 && product != 0 && profile.vendorId == vendor &&
                               profile.productId == product;
        const bool named =
            !name.isEmpty() && profile.info.deviceNames.contains(name, Qt::CaseInsensitive);
        if (sameModel || named)
            entry.profiles.append(profile.info);
    }
}

void LinkerDeviceModel::applyProfileToDevice(Entry &entry)
{
    if (!entry.device)
        return;
    entry.device->setActiveProfileId(entry.kv.value(kActiveProfileId).toString());
    entry.device->setProfileName(activeProfileName(entry));
    refreshLiveValues(entry); // the picture follows the bound profile
}

void LinkerDeviceModel::setActiveProfileEntry(int row, const QString &id, const QString &name)
{
    Entry &entry = entryAt(row);
    if (entry.kv.value(kActiveProfileId).toString() == id &&
        entry.kv.value(kActiveProfileName).toString() == name)
        return;
    if (id.isEmpty()) {
        entry.kv.remove(kActiveProfileId);
        entry.kv.remove(kActiveProfileName);
    } else {
        entry.kv.insert(kActiveProfileId, id);
        entry.kv.insert(kActiveProfileName, name);
    }
    applyProfileToDevice(entry);
    emitRowChanged(row, {NameRole, ImageRole, JsonRole, ActiveProfileIdRole, ActiveProfileNameRole,
                         ActiveProfilePositionRole});
    saveRegistry();
}

void LinkerDeviceModel::post(int level, const QString &title, const QString &message,
                             const QString &usn)
{
    const int row = indexOfUsn(usn);
    const QString name = row >= 0 ? deviceName(entryAt(row)) : QString();
    Q_EMIT providerEventOccurred(ComProviderEvent(level, title, message.arg(name, usn)));
}
