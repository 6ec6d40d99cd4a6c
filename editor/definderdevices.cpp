// The profile editor's controllers: which one is attached to quick mapping and the calibration
// panel, and the calibration panel kept up to date with the current profile.

#include "gamepaddefinder.h"

#include "actionlinker.h"
#include "controlmanette.h"
#include "definderinternal.h"
#include "gamepadconfigwidget.h"
#include "interactiveoverlay.h"
#include "overlaybindings.h"
#include "quickactionspanel.h"
#include "quickmapping.h"
#include "tagselectionbar.h"

#include <QFileInfo>
#include <QTimer>

using namespace definder;

namespace {

// The axis number of a "joy_%1" key, -1 for any other key.
int axisOfKey(const QString &key)
{
    if (!key.startsWith(QLatin1String("joy_")))
        return -1;
    bool ok = false;
    const int axis = key.mid(4).toInt(&ok);
    return ok ? axis : -1;
}

QList<GateSourceOption> twoAxisSources(const InteractiveOverlay &overlay)
{
    const QStringList labels = slotLabels(ElementKind::DualJoyCross);
    QList<GateSourceOption> sources;
    for (const OverlayNode &node : overlay.nodes()) {
        if (node.kind != ElementKind::DualJoyCross)
            continue;
        GateSourceOption option;
        option.key = idText(node.id);
        const int x = axisOfKey(sourceOf(node, labels.value(0)).stringKey);
        const int y = axisOfKey(sourceOf(node, labels.value(1)).stringKey);
        if (x >= 0)
            option.xAxis = x;
        if (y >= 0)
            option.yAxis = y;
        sources << option;
    }
    return sources;
}

QString sourcesSignature(const QList<GateSourceOption> &sources)
{
    QStringList parts;
    for (const GateSourceOption &s : sources)
        parts << QStringLiteral("%1:%2:%3").arg(s.key).arg(s.xAxis).arg(s.yAxis);
    return parts.join(QLatin1Char(';'));
}

bool sameProfile(const GamepadProfileInfo &a, const GamepadProfileInfo &b)
{
    return a.id == b.id && a.name == b.name && a.folder == b.folder && a.kind == b.kind &&
           a.deviceNames == b.deviceNames && a.configPath == b.configPath &&
           a.imagePath == b.imagePath && a.calibrationMode == b.calibrationMode &&
           a.calibrationOverrideFile == b.calibrationOverrideFile;
}

} // namespace

void GamepadDefinder::setRealGamepads(const QList<QPointer<ControlManette>> &gamepads)
{
    bool same = gamepads.size() == m_realGamepads.size();
    for (int i = 0; same && i < gamepads.size(); ++i)
        same = gamepads.at(i).get() == m_realGamepads.at(i).get();
    if (same)
        return;
    m_realGamepads = gamepads;
    for (const QMetaObject::Connection &c : std::as_const(m_gamepadWatch))
        disconnect(c);
    m_gamepadWatch.clear();
    for (const QPointer<ControlManette> &pad : std::as_const(m_realGamepads)) {
        if (!pad)
            continue;
        m_gamepadWatch << connect(pad, &ControlManette::connectedChanged, this,
                                  &GamepadDefinder::refreshDevices)
                       << connect(pad, &ControlManette::nameChanged, this,
                                  &GamepadDefinder::refreshDevices);
    }
    m_linker->setInputDevices(m_realGamepads);
    refreshDevices();
    Q_EMIT realGamepadsChanged();
}

QStringList GamepadDefinder::connectedNames() const
{
    QStringList names;
    for (const QPointer<ControlManette> &pad : m_realGamepads) {
        if (pad && pad->isConnected())
            names << pad->name().trimmed();
    }
    return names;
}

ControlManette *GamepadDefinder::chooseController() const
{
    const QStringList linked =
        validRow(m_currentRow) ? m_entries.at(m_currentRow).deviceNames : QStringList();
    for (const QPointer<ControlManette> &pad : m_realGamepads) {
        if (!pad || !pad->isConnected())
            continue;
        for (const QString &name : linked) {
            if (sameName(name, pad->name()))
                return pad;
        }
    }
    for (const QPointer<ControlManette> &pad : m_realGamepads) {
        if (pad && pad->isConnected())
            return pad;
    }
    return nullptr;
}

void GamepadDefinder::refreshDevices()
{
    if (m_tagBar)
        m_tagBar->setAvailableTags(connectedNames());
    attachController(chooseController());
    refreshQuickState();
}

void GamepadDefinder::attachController(ControlManette *device)
{
    if (m_attached == device && (device || m_liveInput.isEmpty()))
        return;
    for (const QMetaObject::Connection &c : std::as_const(m_liveInput))
        disconnect(c);
    m_liveInput.clear();
    m_attached = device;
    if (device) {
        m_liveInput << connect(device, &ControlManette::axisChanged, this,
                               &GamepadDefinder::onAxisChanged)
                    << connect(device, &ControlManette::buttonChanged, this,
                               &GamepadDefinder::onButtonChanged)
                    << connect(device, &ControlManette::gateChanged, this,
                               &GamepadDefinder::onGateChanged);
    }
    m_calibrationStale = true;
    syncCalibrationPanel();
}

void GamepadDefinder::onAxisChanged(int axis, double value)
{
    if (m_quickMapping)
        m_quickMapping->onAxisChanged(axis, value);
}

void GamepadDefinder::onButtonChanged(int button, bool pressed)
{
    if (m_quickMapping)
        m_quickMapping->onButtonChanged(button, pressed);
}

void GamepadDefinder::onGateChanged(const QString &key, bool inside)
{
    if (m_quickMapping)
        m_quickMapping->onGateChanged(key, inside);
}

GamepadProfileInfo GamepadDefinder::currentProfileInfo() const
{
    GamepadProfileInfo info;
    if (!validRow(m_currentRow))
        return info;
    const GamepadProfileMeta &entry = m_entries.at(m_currentRow);
    info.id = entry.id;
    info.name = entry.name;
    info.deviceNames = entry.deviceNames;
    info.folder = entry.folder;
    info.kind = entry.kind;
    const QString config = entry.configPath();
    if (!config.isEmpty() && QFileInfo::exists(config))
        info.configPath = config;
    const QString image = entry.imagePath();
    if (!image.isEmpty() && QFileInfo::exists(image))
        info.imagePath = image;
    info.calibrationMode = normalizedCalibrationMode(entry.calibrationMode);
    info.calibrationOverrideFile = entry.calibrationOverrideFile;
    return info;
}

// Each of the panel's setters reloads its calibration and rebuilds its cards: it is only brought
// up to date while it is shown, and only in what changed.
void GamepadDefinder::syncCalibrationPanel()
{
    if (!m_calibrationStale || m_mode != CalibrationMode)
        return;
    const GamepadProfileInfo info = currentProfileInfo();
    const bool otherDevice = m_calibration->device() != m_attached;
    const bool otherProfile = !sameProfile(info, m_calibration->profile());
    // The panel may hold edits its user chose to keep: it stays as it is, and is asked again at
    // the next change.
    if ((otherDevice || otherProfile) && !m_calibration->requestLeave())
        return;
    m_calibrationStale = false;
    if (otherDevice)
        m_calibration->setDevice(m_attached);
    if (otherProfile)
        m_calibration->setProfile(info);
    const QList<GateSourceOption> sources = twoAxisSources(*m_overlay);
    const QString signature = sourcesSignature(sources);
    if (signature != m_givenSources) {
        m_givenSources = signature;
        m_calibration->setTwoAxisSources(sources);
    }
}

void GamepadDefinder::onCalibrationProfileMetadataChanged(const QString &mode,
                                                          const QString &overrideFile,
                                                          uint vendorId, uint productId)
{
    // The panel speaks of the profile it holds, which is the current one unless it was just left;
    // one no longer listed (its folder deleted elsewhere) has no entry to write.
    const QUuid id = m_calibration->profile().id;
    int row = id.isNull() ? m_currentRow : -1;
    for (int i = 0; !id.isNull() && i < m_entries.size(); ++i) {
        if (m_entries.at(i).id == id) {
            row = i;
            break;
        }
    }
    const QString folder = validRow(row) ? m_entries.at(row).folder : QString();
    const bool written = updateEntryMeta(row, [&](GamepadProfileMeta &entry) {
        entry.calibrationMode = normalizedCalibrationMode(mode);
        entry.calibrationOverrideFile = overrideFile.trimmed();
        // A panel without a controller knows no ids: the profile keeps its own.
        if (vendorId)
            entry.vendorId = vendorId;
        if (productId)
            entry.productId = productId;
    });
    if (!written)
        return;
    if (m_entries.at(row).folder != folder) {
        // The profile was copied to the user's folder; the panel is told once it is done.
        m_calibrationStale = true;
        QTimer::singleShot(0, this, &GamepadDefinder::syncCalibrationPanel);
    }
    Q_EMIT profilesCatalogChanged();
}

void GamepadDefinder::onDeviceSelectionTagsChanged()
{
    if (!m_tagBar || !validRow(m_currentRow))
        return;
    const QStringList names = m_tagBar->selectedTags();
    if (!updateEntryMeta(m_currentRow,
                         [&names](GamepadProfileMeta &entry) { entry.deviceNames = names; }))
        return;
    Q_EMIT deviceSelectionChanged(names);
    m_calibrationStale = true;
    refreshDevices();
    syncCalibrationPanel();
    Q_EMIT profilesCatalogChanged();
}
