#include "gamepadmanager.h"

#include "joystickbackend.h"

#include <QCoreApplication>

#include <algorithm>

namespace {

GamepadManager *g_instance = nullptr;

bool sameObjects(const GamepadList &a, const GamepadList &b)
{
    if (a.size() != b.size())
        return false;
    for (int i = 0; i < a.size(); ++i) {
        if (a.at(i).get() != b.at(i).get())
            return false;
    }
    return true;
}

} // namespace

GamepadManager *GamepadManager::instance(QObject *parent)
{
    if (g_instance)
        return g_instance;
    QObject *owner = QCoreApplication::instance() ? QCoreApplication::instance() : parent;
    auto *manager = new GamepadManager(owner);
    g_instance = manager;
    connect(manager, &QObject::destroyed, [manager] {
        if (g_instance == manager)
            g_instance = nullptr;
    });
    manager->m_pollIntervalMs = 100;
    manager->discoverDevices();
    if (manager->m_autoDetectGamePad)
        manager->startTimers();
    return manager;
}

GamepadManager::GamepadManager(QObject *parent) : QObject(parent)
{
    qRegisterMetaType<QPointer<ControlManette>>("QPointer<ControlManette>");
    qRegisterMetaType<GamepadList>("QList<QPointer<ControlManette>>");

    m_pollTimer = new QTimer(this);
    connect(m_pollTimer, &QTimer::timeout, this, &GamepadManager::poll);
    joystickBackend().openPump();
    m_pumpTimer = new QTimer(this);
    connect(m_pumpTimer, &QTimer::timeout, this, &GamepadManager::pump);
    connect(this, &GamepadManager::autoDetectGamePadChanged, this,
            &GamepadManager::applyAutoDetect);
}

GamepadManager::~GamepadManager()
{
    if (g_instance == this)
        g_instance = nullptr;
    m_pollTimer->stop();
    m_pumpTimer->stop();
    joystickBackend().closePump();
    m_gamepads.clear(); // the device objects are children and go with the manager
}

void GamepadManager::setAutoDetectGamePad(bool enabled)
{
    if (m_autoDetectGamePad == enabled)
        return;
    m_autoDetectGamePad = enabled;
    Q_EMIT autoDetectGamePadChanged();
}

void GamepadManager::poll()
{
    joystickBackend().update();
}

void GamepadManager::pump()
{
    // Several connection events in one pump step give one discovery.
    if (joystickBackend().pumpConnectionEvents())
        QTimer::singleShot(kDiscoveryDelayMs, this, &GamepadManager::discoverDevices);
}

void GamepadManager::discoverDevices()
{
    JoystickBackend &joysticks = joystickBackend();
    joysticks.update();
    GamepadList working = m_gamepads;
    bool changed = false;

    for (int index = 0; index < JoystickBackend::kMaxJoysticks; ++index) {
        if (!joysticks.isConnected(index))
            continue;
        const bool known = std::any_of(working.cbegin(), working.cend(), [index](const auto &p) {
            return p && p->deviceId() == index;
        });
        if (known)
            continue;
        auto *device = new ControlManette(index, this);
        working.append(device);
        changed = true;
        setGamepads(working);
        Q_EMIT gamepadAdded(device);
    }

    for (int i = 0; i < working.size();) {
        ControlManette *device = working.at(i).get();
        if (device && joysticks.isConnected(device->deviceId())) {
            ++i;
            continue;
        }
        const int id = device ? device->deviceId() : -1;
        if (device)
            device->deleteLater();
        working.removeAt(i);
        changed = true;
        Q_EMIT gamepadRemoved(id);
    }

    if (changed) {
        setGamepads(working);
        Q_EMIT gamepadsChanged(); // listeners tolerate a repeated notification
    }
}

void GamepadManager::setGamepads(const GamepadList &gamepads)
{
    if (sameObjects(m_gamepads, gamepads))
        return;
    m_gamepads = gamepads;
    Q_EMIT gamepadsChanged();
}

void GamepadManager::applyAutoDetect()
{
    if (!m_autoDetectGamePad) {
        m_pollTimer->stop();
        m_pumpTimer->stop();
        return;
    }
    discoverDevices();
    if (m_autoDetectGamePad)
        startTimers();
}

void GamepadManager::startTimers()
{
    if (!m_pollTimer->isActive())
        m_pollTimer->start(m_pollIntervalMs);
    if (!m_pumpTimer->isActive())
        m_pumpTimer->start(kPumpIntervalMs);
}
