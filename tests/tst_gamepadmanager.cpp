#include "gamepadmanager.h"
#include "runtimetestsupport.h"

#include <QRandomGenerator>
#include <QSignalSpy>
#include <QtTest>

#include <memory>

static void flushDeletes()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

class tst_GamepadManager : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { useThrowAwayHome(m_home); }

    void init()
    {
        m_joysticks = std::make_unique<VirtualJoysticks>();
        m_manager = GamepadManager::instance();
        m_events.clear();
        connect(m_manager, &GamepadManager::gamepadsChanged, this,
                [this] { m_events << "changed"; });
        connect(m_manager, &GamepadManager::gamepadAdded, this, [this](ControlManette *d) {
            m_events << "added:" + QString::number(d->deviceId());
        });
        connect(m_manager, &GamepadManager::gamepadRemoved, this,
                [this](int id) { m_events << "removed:" + QString::number(id); });
    }

    void cleanup()
    {
        delete GamepadManager::instance();
        flushDeletes();
        m_joysticks.reset();
    }

    void plugAnnouncesEachControllerOnce()
    {
        discover();
        QCOMPARE(takeEvents(), QStringList()); // nothing plugged, nothing to say
        m_joysticks->backend.connectController(5, padIdentity("Pad five"));
        m_joysticks->backend.connectController(2, padIdentity("Pad two"));
        discover();
        QCOMPARE(takeEvents(),
                 QStringList({"changed", "added:2", "changed", "added:5", "changed"}));
        const GamepadList list = m_manager->gamepads();
        QCOMPARE(list.size(), 2);
        QCOMPARE(list.at(0)->name(), QStringLiteral("Pad two"));
        QCOMPARE(m_manager->property("gamepads").value<GamepadList>(), list);
        discover();
        discover();
        QCOMPARE(takeEvents(), QStringList()); // no change, no signal
    }

    void unplugAndReplug()
    {
        m_joysticks->backend.connectController(3, padIdentity());
        discover();
        QPointer<ControlManette> first = m_manager->gamepads().value(0);
        takeEvents();
        m_joysticks->backend.disconnectController(3);
        discover();
        QCOMPARE(takeEvents(), QStringList({"removed:3", "changed", "changed"}));
        QVERIFY(m_manager->gamepads().isEmpty());
        QVERIFY(first); // deleted later, not inside discovery
        // Plugged again while the old object still waits for deletion: a new object all the same.
        m_joysticks->backend.connectController(3, padIdentity("Another pad"));
        discover();
        QCOMPARE(takeEvents(), QStringList({"changed", "added:3", "changed"}));
        flushDeletes();
        QVERIFY(!first);
        QCOMPARE(liveIds(), QList<int>{3});
        QCOMPARE(m_manager->gamepads().value(0)->name(), QStringLiteral("Another pad"));
    }

    void vanishedPointerIsAnnouncedAsMinusOne()
    {
        m_joysticks->backend.connectController(4, padIdentity());
        discover();
        delete m_manager->gamepads()
            .value(0)
            .data(); // someone deleted it behind the manager's back
        takeEvents();
        discover();
        // The controller is still there: the empty entry goes, and a new device is made.
        QCOMPARE(takeEvents(),
                 QStringList({"changed", "added:4", "removed:-1", "changed", "changed"}));
        QCOMPARE(liveIds(), QList<int>{4});
    }

    void connectionEventDiscoversAfterDelay()
    {
        QElapsedTimer timer;
        timer.start();
        m_joysticks->backend.connectController(6, padIdentity());
        QTRY_COMPARE_WITH_TIMEOUT(m_events, QStringList({"changed", "added:6", "changed"}), 5000);
        QVERIFY(timer.elapsed() >= GamepadManager::kDiscoveryDelayMs);
        QCOMPARE(liveIds(), QList<int>{6});
    }

    void autoDetectStopsAndRestartsDiscovery()
    {
        QVERIFY(m_manager->isPolling() && m_manager->isPumping());
        QSignalSpy toggled(m_manager, &GamepadManager::autoDetectGamePadChanged);
        m_manager->setAutoDetectGamePad(false);
        m_manager->setAutoDetectGamePad(false);
        QCOMPARE(toggled.count(), 1);
        QVERIFY(!m_manager->isPolling() && !m_manager->isPumping());

        m_joysticks->backend.connectController(0, padIdentity());
        m_manager->setAutoDetectGamePad(true);
        QCOMPARE(liveIds(), QList<int>{0}); // discovered at once, not after a pump
        QVERIFY(m_manager->isPolling() && m_manager->isPumping());
    }

    void destroyedManagerIsRecreated()
    {
        QCOMPARE(m_manager->parent(), QCoreApplication::instance());
        QVERIFY(m_joysticks->backend.isPumpOpen());
        m_joysticks->backend.connectController(0, padIdentity());
        discover();
        QPointer<ControlManette> device = m_manager->gamepads().value(0);
        delete m_manager;
        QVERIFY(!device); // devices are the manager's children
        QVERIFY(!m_joysticks->backend.isPumpOpen());
        m_manager = GamepadManager::instance();
        QCOMPARE(GamepadManager::instance(), m_manager);
        QCOMPARE(liveIds(), QList<int>{0}); // the new manager discovers at creation
    }

    void hotPlugSoak()
    {
        // Random plugs, unplugs and inputs on the eight slots, with started devices polling between
        // them: after every event-loop turn the live devices are exactly the connected controllers.
        QRandomGenerator random(20261122);
        VirtualJoystickBackend &pads = m_joysticks->backend;
        connect(m_manager, &GamepadManager::gamepadAdded, this,
                [](ControlManette *d) { d->start(); });
        for (int step = 0; step < 10000; ++step) {
            const int slot = random.bounded(JoystickBackend::kMaxJoysticks);
            const int action = random.bounded(4);
            if (action == 0)
                pads.connectController(slot, padIdentity(QStringLiteral("Pad %1").arg(step)));
            else if (action == 1)
                pads.disconnectController(slot);
            else if (action == 2)
                pads.setAxis(slot, random.bounded(8), random.bounded(201) - 100);
            else
                pads.setButton(slot, random.bounded(32), random.bounded(2));
            if (step % 3 != 0)
                continue;
            discover();
            for (ControlManette *device : m_manager->findChildren<ControlManette *>())
                device->poll();
            QCoreApplication::processEvents();
            flushDeletes();
            QList<int> connected;
            for (int i = 0; i < JoystickBackend::kMaxJoysticks; ++i)
                if (pads.isConnected(i))
                    connected << i;
            QCOMPARE(liveIds(), connected);
            QCOMPARE(m_manager->findChildren<ControlManette *>().size(), connected.size());
        }
    }

private:
    void discover() { QMetaObject::invokeMethod(m_manager, "discoverDevices"); }
    QStringList takeEvents() { return std::exchange(m_events, {}); }
    QList<int> liveIds() const
    {
        QList<int> ids;
        for (const auto &device : m_manager->gamepads())
            ids << (device ? device->deviceId() : -1);
        std::sort(ids.begin(), ids.end());
        return ids;
    }

    QTemporaryDir m_home;
    std::unique_ptr<VirtualJoysticks> m_joysticks;
    GamepadManager *m_manager = nullptr;
    QStringList m_events; // the manager's signals in the order they arrived
};

QTEST_GUILESS_MAIN(tst_GamepadManager)
#include "tst_gamepadmanager.moc"
