#include "gamepadmanager.h"
#include "runtimetestsupport.h"

#include <QtTest>

#include <algorithm>
#include <memory>

class TestGamepadManager : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { useThrowAwayHome(m_home); }

    void init()
    {
        m_joysticks = std::make_unique<VirtualJoysticks>(), m_manager = GamepadManager::instance();
        m_events.clear();
        connect(m_manager, &GamepadManager::gamepadsChanged, this,
                [this] { m_events << "changed"; });
        connect(m_manager, &GamepadManager::gamepadAdded, this,
                [this](auto *d) { m_events << "added:" + QString::number(d->deviceId()); });
        connect(m_manager, &GamepadManager::gamepadRemoved, this,
                [this](int id) { m_events << "removed:" + QString::number(id); });
    }

    void cleanup()
    {
        delete GamepadManager::instance();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete), m_joysticks.reset();
    }

    void plugUnplugAndReplug()
    {
        m_joysticks->backend.connectController(5, padIdentity("Pad five"));
        m_joysticks->backend.connectController(3, padIdentity()), discover();
        discover(); // no change, no signal
        QCOMPARE(takeEvents(), "changed added:3 changed added:5 changed");
        QPointer<ControlManette> first = m_manager->gamepads().value(0);
        m_joysticks->backend.disconnectController(3), discover();
        QCOMPARE(takeEvents(), "removed:3 changed changed");
        QVERIFY(first); // deleted later, not inside discovery
        // Plugged again while the old object still waits for deletion: a new object all the same.
        m_joysticks->backend.connectController(3, padIdentity("Another pad")), discover();
        QCOMPARE(takeEvents(), "changed added:3 changed");
        QCOMPARE(m_manager->gamepads().value(1)->name(), QStringLiteral("Another pad"));
        delete m_manager, m_manager = GamepadManager::instance(); // a new one finds them at once
        QCOMPARE(m_manager->gamepads().size(), 2);
    }

    // Auto-detecting, plugs are found; with auto-detection off nothing polls in the background.
    void autoDetectOffStopsPolling()
    {
        m_manager->setAutoDetectGamePad(true);
        const QTimer *update = m_manager->findChild<QTimer *>(); // the joysticks', every 100 ms
        QVERIFY(update->isActive() && update->interval() == 100);
        m_joysticks->backend.connectController(2, padIdentity()); // found without asking
        QTRY_COMPARE(m_events.join(' '), "changed added:2 changed");
        m_manager->setAutoDetectGamePad(false);
        for (const QTimer *timer : m_manager->findChildren<QTimer *>(Qt::FindDirectChildrenOnly))
            QVERIFY(!timer->isActive());
    }

    // Random plugs, unplugs and presses with devices polling: live devices are the connected ones.
    void hotPlugSoak()
    {
        QRandomGenerator random(20261122);
        VirtualJoystickBackend &pads = m_joysticks->backend;
        connect(m_manager, &GamepadManager::gamepadAdded, this, [](auto *d) { d->start(); });
        for (int step = 0; step < 10000; ++step) {
            const int slot = random.bounded(JoystickBackend::kMaxJoysticks);
            if (random.bounded(2))
                pads.connectController(slot, padIdentity(QStringLiteral("Pad %1").arg(step)));
            else
                pads.disconnectController(slot);
            pads.setButton(slot, random.bounded(32), random.bounded(2));
            if (step % 3 != 0)
                continue;
            discover();
            for (ControlManette *device : m_manager->findChildren<ControlManette *>())
                device->poll();
            QCoreApplication::processEvents();
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            QList<int> connected, live;
            for (int i = 0; i < JoystickBackend::kMaxJoysticks; ++i)
                if (pads.isConnected(i))
                    connected << i;
            for (const auto &device : m_manager->gamepads())
                live << (device ? device->deviceId() : -1);
            std::sort(live.begin(), live.end());
            QCOMPARE(live, connected);
        }
    }

private:
    void discover() { QMetaObject::invokeMethod(m_manager, "discoverDevices"); }
    QString takeEvents() { return std::exchange(m_events, {}).join(' '); }

    QTemporaryDir m_home;
    std::unique_ptr<VirtualJoysticks> m_joysticks;
    GamepadManager *m_manager = nullptr;
    QStringList m_events; // the manager's signals in the order they arrived
};

QTEST_GUILESS_MAIN(TestGamepadManager)
#include "tst_gamepadmanager.moc"
