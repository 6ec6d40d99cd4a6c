#include "gamepadmanager.h"
#include "runtimetestsupport.h"

#include <QRandomGenerator>
#include <QSignalSpy>
#include <QtTest>

#include <memory>

// Records the manager's signals in the order they arrive.
class SignalLog : public QObject
{
public:
    explicit SignalLog(GamepadManager *manager)
    {
        connect(manager, &GamepadManager::gamepadsChanged, this, [this] { events << "changed"; });
        connect(manager, &GamepadManager::gamepadAdded, this, [this](ControlManette *device) {
            events << QStringLiteral("added:%1").arg(device->deviceId());
        });
        connect(manager, &GamepadManager::gamepadRemoved, this,
                [this](int id) { events << QStringLiteral("removed:%1").arg(id); });
    }
    QStringList take() { return std::exchange(events, {}); }
    QStringList events;
};

class tst_GamepadManager : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { useThrowAwayHome(m_home); }
    void init();
    void cleanup();

    void startsEmptyAndSilentWithoutControllers();
    void plugAnnouncesEachControllerInOrder();
    void discoveryWithoutChangeIsSilent();
    void unplugDeletesTheDeviceOnTheNextTurn();
    void replugAtSameIndexGivesANewObject();
    void vanishedPointerIsAnnouncedAsMinusOne();
    void connectionEventDiscoversAfterDelay();
    void autoDetectStopsAndRestartsDiscovery();
    void destroyedManagerIsRecreated();
    void hotPlugSoak();

private:
    void discover() { QMetaObject::invokeMethod(m_manager, "discoverDevices"); }
    static void flushDeletes()
    {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    QList<int> liveIds() const;

    QTemporaryDir m_home;
    std::unique_ptr<VirtualJoysticks> m_joysticks;
    GamepadManager *m_manager = nullptr;
};

void tst_GamepadManager::init()
{
    m_joysticks = std::make_unique<VirtualJoysticks>();
    m_manager = GamepadManager::instance();
    QVERIFY(m_manager);
}

void tst_GamepadManager::cleanup()
{
    delete GamepadManager::instance();
    flushDeletes();
    m_joysticks.reset();
}

QList<int> tst_GamepadManager::liveIds() const
{
    QList<int> ids;
    for (const auto &device : m_manager->gamepads()) {
        if (device)
            ids << device->deviceId();
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

void tst_GamepadManager::startsEmptyAndSilentWithoutControllers()
{
    QVERIFY(m_manager->gamepads().isEmpty());
    QCOMPARE(m_manager->parent(), QCoreApplication::instance());
    QVERIFY(m_manager->isPolling());
    QVERIFY(m_manager->isPumping());
    QVERIFY(m_joysticks->backend.isPumpOpen());
    SignalLog log(m_manager);
    discover();
    QCOMPARE(log.take(), QStringList());
}

void tst_GamepadManager::plugAnnouncesEachControllerInOrder()
{
    SignalLog log(m_manager);
    m_joysticks->backend.connectController(5, padIdentity("Pad five"));
    m_joysticks->backend.connectController(2, padIdentity("Pad two"));
    discover();
    QCOMPARE(log.take(), QStringList({"changed", "added:2", "changed", "added:5", "changed"}));
    const GamepadList list = m_manager->gamepads();
    QCOMPARE(list.size(), 2);
    QCOMPARE(list.at(0)->deviceId(), 2);
    QCOMPARE(list.at(0)->name(), QStringLiteral("Pad two"));
    QCOMPARE(list.at(1)->parent(), m_manager);
    // The property is readable through the meta-object system.
    QCOMPARE(m_manager->property("gamepads").value<GamepadList>(), list);
}

void tst_GamepadManager::discoveryWithoutChangeIsSilent()
{
    m_joysticks->backend.connectController(0, padIdentity());
    discover();
    SignalLog log(m_manager);
    discover();
    discover();
    QCOMPARE(log.take(), QStringList());
    QCOMPARE(liveIds(), QList<int>{0});
}

void tst_GamepadManager::unplugDeletesTheDeviceOnTheNextTurn()
{
    m_joysticks->backend.connectController(3, padIdentity());
    discover();
    QPointer<ControlManette> device = m_manager->gamepads().value(0);
    QVERIFY(device);
    SignalLog log(m_manager);
    m_joysticks->backend.disconnectController(3);
    discover();
    QCOMPARE(log.take(), QStringList({"removed:3", "changed", "changed"}));
    QVERIFY(m_manager->gamepads().isEmpty());
    QVERIFY(device); // deleted later, not inside discovery
    flushDeletes();
    QVERIFY(!device);
}

void tst_GamepadManager::replugAtSameIndexGivesANewObject()
{
    m_joysticks->backend.connectController(1, padIdentity());
    discover();
    QPointer<ControlManette> first = m_manager->gamepads().value(0);
    m_joysticks->backend.disconnectController(1);
    discover();
    m_joysticks->backend.connectController(1, padIdentity("Another pad"));
    discover();
    flushDeletes();
    QVERIFY(!first);
    QCOMPARE(liveIds(), QList<int>{1});
    QCOMPARE(m_manager->gamepads().value(0)->name(), QStringLiteral("Another pad"));
}

void tst_GamepadManager::vanishedPointerIsAnnouncedAsMinusOne()
{
    m_joysticks->backend.connectController(4, padIdentity());
    discover();
    delete m_manager->gamepads().value(0).data(); // someone deleted it behind the manager's back
    SignalLog log(m_manager);
    discover();
    // The controller is still there: the empty entry goes, and a new device is made.
    QCOMPARE(log.take(), QStringList({"changed", "added:4", "removed:-1", "changed", "changed"}));
    QCOMPARE(liveIds(), QList<int>{4});
}

void tst_GamepadManager::connectionEventDiscoversAfterDelay()
{
    QSignalSpy added(m_manager, &GamepadManager::gamepadAdded);
    QElapsedTimer timer;
    timer.start();
    m_joysticks->backend.connectController(6, padIdentity());
    QTRY_COMPARE_WITH_TIMEOUT(added.count(), 1, 5000);
    QVERIFY(timer.elapsed() >= GamepadManager::kDiscoveryDelayMs);
    QCOMPARE(liveIds(), QList<int>{6});
}

void tst_GamepadManager::autoDetectStopsAndRestartsDiscovery()
{
    QSignalSpy toggled(m_manager, &GamepadManager::autoDetectGamePadChanged);
    m_manager->setAutoDetectGamePad(false);
    m_manager->setAutoDetectGamePad(false);
    QCOMPARE(toggled.count(), 1);
    QVERIFY(!m_manager->isPolling());
    QVERIFY(!m_manager->isPumping());

    m_joysticks->backend.connectController(0, padIdentity());
    m_manager->setAutoDetectGamePad(true);
    QCOMPARE(liveIds(), QList<int>{0}); // discovered at once, not after a pump
    QVERIFY(m_manager->isPolling());
    QVERIFY(m_manager->isPumping());
}

void tst_GamepadManager::destroyedManagerIsRecreated()
{
    m_joysticks->backend.connectController(0, padIdentity());
    discover();
    QPointer<ControlManette> device = m_manager->gamepads().value(0);
    QPointer<GamepadManager> old = m_manager;
    delete m_manager;
    QVERIFY(!device); // devices are the manager's children
    QVERIFY(!m_joysticks->backend.isPumpOpen());
    m_manager = GamepadManager::instance();
    QVERIFY(m_manager && m_manager != old.data());
    QCOMPARE(GamepadManager::instance(), m_manager);
    QCOMPARE(liveIds(), QList<int>{0}); // the new manager discovers at creation
}

void tst_GamepadManager::hotPlugSoak()
{
    // Random plugs, unplugs and inputs on the eight slots, with started devices polling between
    // them: after every event-loop turn the live devices are exactly the connected controllers.
    QRandomGenerator random(20261122);
    VirtualJoystickBackend &pads = m_joysticks->backend;
    connect(m_manager, &GamepadManager::gamepadAdded, this, [](ControlManette *d) { d->start(); });
    QList<int> connected;
    for (int step = 0; step < 10000; ++step) {
        const int slot = random.bounded(JoystickBackend::kMaxJoysticks);
        switch (random.bounded(4)) {
        case 0:
            pads.connectController(slot, padIdentity(QStringLiteral("Pad %1").arg(step)));
            break;
        case 1:
            pads.disconnectController(slot);
            break;
        case 2:
            pads.setAxis(slot, random.bounded(8), random.bounded(201) - 100);
            break;
        default:
            pads.setButton(slot, random.bounded(32), random.bounded(2));
        }
        if (step % 3 == 0) {
            discover();
            for (ControlManette *device : m_manager->findChildren<ControlManette *>())
                device->poll();
            QCoreApplication::processEvents();
            flushDeletes();
            connected.clear();
            for (int i = 0; i < JoystickBackend::kMaxJoysticks; ++i) {
                if (pads.isConnected(i))
                    connected << i;
            }
            QCOMPARE(liveIds(), connected);
            QCOMPARE(m_manager->findChildren<ControlManette *>().size(), connected.size());
        }
    }
}

QTEST_GUILESS_MAIN(tst_GamepadManager)
#include "tst_gamepadmanager.moc"
