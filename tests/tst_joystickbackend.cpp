#include "sfmljoystickbackend.h"
#include "virtualjoystickbackend.h"

#include <QGuiApplication>
#include <QScopeGuard>
#include <QtTest>

static const JoystickIdentification pad{QStringLiteral("Manette Élan"), 0x45e, 0x28e};

// Sets DISPLAY, or removes it when `value` is empty.
static void setDisplay(const QByteArray &value)
{
    if (value.isEmpty())
        qunsetenv("DISPLAY");
    else
        qputenv("DISPLAY", value);
}

class TestJoystickBackend : public QObject
{
    Q_OBJECT

private slots:
    // Like the platform: changes show after update(), the pump reports them before, once.
    void virtualControllerLifecycle()
    {
        VirtualJoystickBackend backend;
        backend.connectController(2, pad, 99, 0x81);
        backend.setAxis(2, 7, -42.5);
        backend.setButton(2, 31, true);
        QVERIFY(!backend.isConnected(2) && backend.axisPosition(2, 7) == 0.0);
        QVERIFY(backend.pumpConnectionEvents());
        QVERIFY(!backend.pumpConnectionEvents());
        backend.update();
        QCOMPARE(backend.identification(2).name, pad.name);
        QCOMPARE(backend.buttonCount(2), JoystickBackend::kMaxButtons); // 99 clamped
        QVERIFY(backend.hasAxis(2, 0) && backend.hasAxis(2, 7) && !backend.hasAxis(2, 1));
        QCOMPARE(backend.axisPosition(2, 7), -42.5);
        QVERIFY(backend.isConnected(2) && backend.isButtonPressed(2, 31));

        // Unplugged: still readable until update(), then idle and anonymous.
        backend.disconnectController(2);
        QVERIFY(backend.pumpConnectionEvents());
        QVERIFY(backend.isConnected(2));
        backend.update();
        QVERIFY(!backend.isConnected(2) && backend.identification(2).name.isEmpty());
        QVERIFY(backend.buttonCount(2) == 0 && !backend.isButtonPressed(2, 31));

        // Plugged and unplugged between two pumps: no net change to report.
        backend.connectController(7, pad);
        backend.disconnectController(7);
        QVERIFY(!backend.pumpConnectionEvents());
    }

    void outOfRangeIsIgnored()
    {
        for (auto [bad, badButton] : {std::pair{-1, -1}, {8, 32}}) {
            VirtualJoystickBackend scripted;
            scripted.connectController(bad, pad);
            scripted.connectController(0, {}, 4, 0x00); // a neighbour nothing may land in
            for (int target : {bad, 0}) {
                scripted.setAxisPresent(target, bad, true);
                scripted.setAxis(target, bad, 55.0);
                scripted.setButton(target, badButton, true);
            }
            scripted.update();
            for (int other = 0; other < JoystickBackend::kMaxButtons; ++other)
                QVERIFY(!scripted.isButtonPressed(0, other) && !scripted.hasAxis(0, other % 8));

            // SFML does not check indices itself: they must never reach it out of range.
            SfmlJoystickBackend sfml;
            for (const JoystickBackend *b : {static_cast<JoystickBackend *>(&scripted),
                                             static_cast<JoystickBackend *>(&sfml)}) {
                QVERIFY(!b->isConnected(bad) && b->buttonCount(bad) == 0 && !b->hasAxis(bad, 0));
                QVERIFY(!b->hasAxis(0, bad) && b->axisPosition(0, bad) == 0.0);
                QVERIFY(!b->isButtonPressed(bad, 0) && !b->isButtonPressed(0, badButton));
            }
        }
    }

    void backendAccessorInstallsAndRestores()
    {
        JoystickBackend *sfml = &joystickBackend();
        QVERIFY(dynamic_cast<SfmlJoystickBackend *>(sfml));
        VirtualJoystickBackend virtualBackend;
        setJoystickBackend(&virtualBackend);
        QCOMPARE(&joystickBackend(), &virtualBackend);
        setJoystickBackend(nullptr);
        QCOMPARE(&joystickBackend(), sfml);
    }

    void sfmlReportsNothingConnected()
    {
        SfmlJoystickBackend backend;
        backend.update();
        for (int index = 0; index < JoystickBackend::kMaxJoysticks; ++index)
            if (backend.isConnected(index))
                QSKIP("A controller is attached to this machine");
        for (int round = 0; round < 1000; ++round)
            backend.update();
        for (int index = 0; index < JoystickBackend::kMaxJoysticks; ++index)
            QVERIFY(!backend.isConnected(index));
    }

    void sfmlPumpNeverCrashes()
    {
        if (QGuiApplication::platformName() != QLatin1String("offscreen"))
            QSKIP("Needs QT_QPA_PLATFORM=offscreen");
        const auto restore = qScopeGuard([saved = qgetenv("DISPLAY")] { setDisplay(saved); });
        // No display, then one nobody listens on: SFML would abort the process opening it.
        for (const QByteArray &display : {QByteArray(), QByteArray(":97")}) {
            setDisplay(display);
            SfmlJoystickBackend backend;
            backend.openPump();
            QVERIFY2(!backend.hasPumpWindow(), display.constData());
            QVERIFY(!backend.pumpConnectionEvents() && !backend.pumpConnectionEvents());
            backend.closePump();
        }
    }
};

QTEST_MAIN(TestJoystickBackend)
#include "tst_joystickbackend.moc"
