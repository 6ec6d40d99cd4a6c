#include "controlmanette.h"

#include "joystickbackend.h"
#include "logging.h"
#include "profilemeta.h"
#include "profilestore.h"
#include "resourcepaths.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QMetaMethod>

namespace {

const QString kGamepadName = QStringLiteral("gamepad");
constexpr double kMaxPollMs = 60000.0;

template <typename Array> QVariantList toVariantList(const Array &values)
{
    QVariantList list;
    list.reserve(int(values.size()));
    for (const auto &v : values)
        list << QVariant(v);
    return list;
}

QString unpaddedHex(quint32 id)
{
    return QStringLiteral("0x%1").arg(id, 0, 16);
}

} // namespace

ControlManette::ControlManette(int index, QObject *parent) : IComInterface(parent)
{
    restartClock();
    m_calibration = defaultCalibration(InputProcessor::kAxisCount, InputProcessor::kButtonCount);
    m_loadedCalibration = m_calibration;
    if (m_deviceId != index) {
        m_deviceId = index;
        Q_EMIT deviceIdChanged();
    }
    m_pollTimer.setInterval(kDefaultPollMs);
    if (index == -1)
        return; // a placeholder, never bound to hardware

    joystickBackend().update();
    readIdentification();
    m_pollTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_pollTimer, &QTimer::timeout, this, &ControlManette::poll);
}

ControlManette::~ControlManette() = default;

void ControlManette::start()
{
    JoystickBackend &joysticks = joystickBackend();
    joysticks.update();
    const bool wasConnected = m_connected;
    setConnected(joysticks.isConnected(m_deviceId));
    resetRuntimeState();
    reloadCalibration();
    m_pollTimer.start(); // at the interval the host set, if it set one
    if (m_connected && !wasConnected)
        Q_EMIT statusChanged(connected);
}

void ControlManette::stop()
{
    if (!m_connected)
        return;
    m_pollTimer.stop();
    setConnected(false);
    resetRuntimeState();
    announceClearedValues();
    Q_EMIT statusChanged(noCom);
}

void ControlManette::close()
{
    static_cast<IComInterface *>(this)->stop(); // an override of stop() is honoured
    Q_EMIT finished();
}

QJsonObject ControlManette::info()
{
    QJsonObject gates;
    const QHash<QString, bool> inside = m_processor.gateInside();
    for (auto it = inside.cbegin(); it != inside.cend(); ++it)
        gates.insert(it.key(), it.value());
    return {{QStringLiteral("deviceId"), m_deviceId},
            {QStringLiteral("name"), m_name},
            {QStringLiteral("activeProfileId"), m_activeProfileId},
            {QStringLiteral("vendorId"), unpaddedHex(m_vendorId)},
            {QStringLiteral("productId"), unpaddedHex(m_productId)},
            {QStringLiteral("connected"), m_connected},
            {QStringLiteral("calibrationSource"), calibrationSourceLabel(m_calibrationSource)},
            {QStringLiteral("calibrationPath"), m_calibrationPath},
            {QStringLiteral("rawAxes"), QJsonArray::fromVariantList(rawAxes())},
            {QStringLiteral("axes"), QJsonArray::fromVariantList(axes())},
            {QStringLiteral("buttons"), QJsonArray::fromVariantList(buttons())},
            {QStringLiteral("gates"), gates}};
}

void ControlManette::setParameter(int deviceId, int catId, QString name, QVariant value)
{
    Q_UNUSED(catId);
    if (deviceId != m_deviceId)
        return;
    if (name == QLatin1String("pollingInterval")) {
        bool ok = false;
        const double interval = value.toDouble(&ok);
        // 0 would poll on every event-loop turn; bounded before the conversion to int.
        if (ok && interval >= 1.0 && interval <= kMaxPollMs)
            m_pollTimer.setInterval(int(interval));
    } else if (name == QLatin1String("resetBias")) {
        resetAllBias();
    } else if (name == QLatin1String("reloadCalibration")) {
        reloadCalibration();
    }
}

QStringList ControlManette::noCodeApp()
{
    QString path;
    const GamepadProfileInfo profile = findProfileById(m_activeProfileId);
    if (!profile.folder.isEmpty()) { // a profile not found has no folder
        path = profile.configPath;
    } else {
        GamepadProfileMeta meta;
        if (findProfileMetaForDevice({m_name, m_vendorId, m_productId}, &meta) &&
            QFileInfo::exists(meta.configPath()))
            path = meta.configPath();
    }
    const QStringList choice = path.isEmpty() ? QStringList() : QStringList{path};
    qCDebug(lcGamepadInput) << "Gamepad input unmapped choice=" << choice
                            << "profile=" << m_activeProfileId;
    return choice;
}

void ControlManette::setProfileName(const QString &name)
{
    if (m_profileName == name)
        return;
    m_profileName = name;
    Q_EMIT profileNameChanged();
}

void ControlManette::setActiveProfileId(const QString &id)
{
    if (m_activeProfileId == id)
        return;
    m_activeProfileId = id;
    m_identityChanged = true;
    Q_EMIT activeProfileIdChanged();
}

QVariantList ControlManette::axes() const
{
    return toVariantList(m_processor.axes());
}

QVariantList ControlManette::rawAxes() const
{
    return toVariantList(m_processor.rawAxes());
}

QVariantList ControlManette::buttons() const
{
    QVariantList list;
    list.reserve(InputProcessor::kButtonCount);
    for (const ButtonState &button : m_processor.buttons())
        list << button.down;
    return list;
}

QString ControlManette::imagePath() const
{
    const GamepadProfileInfo profile = findProfileById(m_activeProfileId);
    if (!profile.imagePath.isEmpty())
        return profile.imagePath;
    GamepadProfileMeta meta;
    if (findProfileMetaForDevice({m_name, m_vendorId, m_productId}, &meta) &&
        QFileInfo::exists(meta.imagePath()))
        return meta.imagePath();
    return ResourcePaths::controllerPicturePath(m_productId);
}

void ControlManette::setClockSource(std::function<qint64()> source)
{
    m_clockSource = std::move(source);
    restartClock();
}

void ControlManette::setCalibration(const GamepadCalibration &calibration)
{
    m_calibration =
        normalizeCalibration(calibration, InputProcessor::kAxisCount, InputProcessor::kButtonCount);
    m_processor.clearGates();
}

void ControlManette::pinCalibration(const GamepadCalibration &calibration)
{
    m_pinnedCalibration =
        normalizeCalibration(calibration, InputProcessor::kAxisCount, InputProcessor::kButtonCount);
    reloadCalibration();
}

void ControlManette::resetAllBias()
{
    m_calibration = defaultCalibration(InputProcessor::kAxisCount, InputProcessor::kButtonCount);
    m_loadedCalibration = m_calibration;
    m_calibrationSource = CalibrationSource::Defaults;
    m_calibrationPath.clear();
    resetRuntimeState();
}

ResolvedCalibration ControlManette::resolveCalibrationInForce() const
{
    if (m_pinnedCalibration) {
        ResolvedCalibration pinned;
        pinned.calibration = *m_pinnedCalibration;
        return pinned;
    }
    const GamepadProfileInfo profile = findProfileById(m_activeProfileId);
    const GamepadDeviceIdentity identity{m_name.trimmed(), m_vendorId, m_productId};
    return resolveCalibration(identity, profile, InputProcessor::kAxisCount,
                              InputProcessor::kButtonCount);
}

void ControlManette::reloadCalibration()
{
    const ResolvedCalibration resolved = resolveCalibrationInForce();
    m_loadedCalibration = resolved.calibration;
    m_calibration = resolved.calibration;
    m_calibrationSource = resolved.source;
    m_calibrationPath = resolved.sourcePath;
    m_calibrationBasePath = resolved.basePath;
    m_calibrationOverridePath = resolved.overridePath;
    m_calibrationSignature = currentSignature();
    m_identityChanged = false;
    m_processor.clearGates();
    qCDebug(lcGamepadInput) << "Gamepad calibration reloaded source="
                            << calibrationSourceLabel(m_calibrationSource)
                            << "path=" << m_calibrationPath << "profile=" << m_activeProfileId;
}

void ControlManette::poll()
{
    JoystickBackend &joysticks = joystickBackend();
    joysticks.update();
    setConnected(joysticks.isConnected(m_deviceId));
    if (!m_connected)
        return;
    readIdentification();
    // The signature only changes with the identity or the bound profile: rebuild it only then.
    if (m_identityChanged) {
        m_identityChanged = false;
        if (currentSignature() != m_calibrationSignature)
            reloadCalibration();
    }

    joysticks.readInputs(m_deviceId, m_readings.axisPresent, m_readings.axes, m_readings.buttons);
    m_lastPollMs = elapsedMs();
    m_processor.process(m_readings, m_calibration, m_lastPollMs, m_result);
    publish(m_result);
    static const QMetaMethod polledSignal = QMetaMethod::fromSignal(&ControlManette::polled);
    if (isSignalConnected(polledSignal))
        Q_EMIT polled(!m_result.publishesNothing());
}

// A moving pad streams eight axis events per poll, usually to nobody: the per-event signals are
// emitted only when something listens.
void ControlManette::publish(const PollResult &result)
{
    static const QMetaMethod axisSignal = QMetaMethod::fromSignal(&ControlManette::axisChanged);
    static const QMetaMethod gateSignal = QMetaMethod::fromSignal(&ControlManette::gateChanged);
    static const QMetaMethod buttonSignal = QMetaMethod::fromSignal(&ControlManette::buttonChanged);
    if (!result.axisEvents.isEmpty() && isSignalConnected(axisSignal)) {
        for (const auto &e : result.axisEvents)
            Q_EMIT axisChanged(e.axis, e.value);
    }
    if (!result.gateEvents.isEmpty() && isSignalConnected(gateSignal)) {
        for (const auto &e : result.gateEvents)
            Q_EMIT gateChanged(e.key, e.value);
    }
    if (!result.buttonEvents.isEmpty() && isSignalConnected(buttonSignal)) {
        for (const auto &e : result.buttonEvents)
            Q_EMIT buttonChanged(e.button, e.pressed);
    }
    if (!result.publishesNothing()) {
        Q_EMIT dataChanged(0, 1, result.keys, result.values);
        Q_EMIT dataChanged(kGamepadName, kGamepadName, result.keys, result.values);
    }
    if (result.axisPublished)
        Q_EMIT axesChanged();
    if (result.rawAxesMoved)
        Q_EMIT rawAxesChanged();
    if (result.buttonsChanged)
        Q_EMIT buttonsChanged();
}

// A stopped device reports every output and raw value as 0: views drop its last values.
void ControlManette::announceClearedValues()
{
    Q_EMIT axesChanged();
    Q_EMIT rawAxesChanged();
    Q_EMIT buttonsChanged();
}

void ControlManette::setConnected(bool connected)
{
    if (m_connected == connected)
        return;
    m_connected = connected;
    Q_EMIT connectedChanged();
}

void ControlManette::readIdentification()
{
    const JoystickIdentification id = joystickBackend().identification(m_deviceId);
    m_buttonCount = joystickBackend().buttonCount(m_deviceId);
    if (m_vendorId != id.vendorId) {
        m_vendorId = id.vendorId;
        m_identityChanged = true;
        Q_EMIT vendorIdChanged();
    }
    if (m_productId != id.productId) {
        m_productId = id.productId;
        m_identityChanged = true;
        Q_EMIT productIdChanged();
    }
    if (m_name != id.name) {
        m_name = id.name;
        m_identityChanged = true;
        Q_EMIT nameChanged();
    }
}

void ControlManette::resetRuntimeState()
{
    m_processor.reset();
    m_readings = JoystickReadings();
    restartClock();
}

void ControlManette::restartClock()
{
    if (m_clockSource)
        m_clockStart = m_clockSource();
    else
        m_clock.start();
}

qint64 ControlManette::elapsedMs()
{
    if (m_clockSource)
        return m_clockSource() - m_clockStart;
    if (!m_clock.isValid())
        m_clock.start();
    return m_clock.elapsed();
}

QString ControlManette::currentSignature() const
{
    const QChar bar = QLatin1Char('|');
    return m_name.trimmed().toLower() + bar + QString::number(m_vendorId) + bar +
           QString::number(m_productId) + bar + m_activeProfileId.trimmed().toLower();
}
