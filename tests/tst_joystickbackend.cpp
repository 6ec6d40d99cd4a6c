#include "demojoystickbackend.h"
#include "sfmljoystickbackend.h"
#include "virtualjoystickbackend.h"

#include <QGuiApplication>
#include <QtTest>

class TestJoystickBackend : public QObject
{
    Q_OBJECT

private slots:
    // SFML does not check indices itself: they must never reach it out of range.
    void sfmlIgnoresIndicesOutOfRange()
    {
        SfmlJoystickBackend sfml;
        for (auto [bad, badButton] : {std::pair{-1, -1}, {8, 32}}) {
            QVERIFY(!sfml.isConnected(bad) && sfml.buttonCount(bad) == 0 && !sfml.hasAxis(bad, 0));
            QVERIFY(!sfml.hasAxis(0, bad) && sfml.axisPosition(0, bad) == 0);
            QVERIFY(!sfml.isButtonPressed(bad, 0) && !sfml.isButtonPressed(0, badButton));
            QCOMPARE(sfml.identification(bad).name, QString());
        }
        VirtualJoystickBackend scripted; // nor does a script reach past the axes or buttons
        scripted.connectController(0, {"Pad", 1, 2});
        scripted.setAxis(0, 8, 50.0), scripted.setButton(0, 32, true);
        scripted.setAxisPresent(0, 8, true), scripted.update();
        QVERIFY(!scripted.hasAxis(0, 8) && scripted.axisPosition(0, 8) == 0);
    }

    // The demonstration pad in the last slot: the left stick circles in four seconds, the right
    // one sweeps, a trigger breathes, buttons 0 to 3 are pressed in turn for a quarter second.
    void demoPadMoves_data()
    {
        QTest::addColumn<qint64>("timeMs");
        QTest::addColumn<QList<double>>("axes");
        QTest::addColumn<int>("pressed");
        QTest::newRow("start") << 0LL << QList<double>{100, 0, 0, 60, 0, 0} << 0;
        QTest::newRow("a quarter turn") << 1000LL << QList<double>{0, 100, 50, -60, 0, 0} << 1;
        QTest::newRow("second lap, between presses")
            << 6300LL << QList<double>{-89.1, -45.4, 94.55, 60, 0, 0} << -1;
    }
    void demoPadMoves()
    {
        QFETCH(qint64, timeMs);
        QFETCH(QList<double>, axes);
        QFETCH(int, pressed);
        VirtualJoystickBackend real;
        DemoJoystickBackend demo(real);
        const int slot = DemoJoystickBackend::kDemoSlot;
        demo.openPump();
        QVERIFY(real.isPumpOpen()); // the real controllers' pump opens and closes with the demo's
        demo.closePump(), demo.animate(timeMs), demo.update();
        QVERIFY(!real.isPumpOpen());
        std::array<bool, JoystickBackend::kMaxAxes> present{};
        std::array<double, JoystickBackend::kMaxAxes> read{};
        std::array<bool, JoystickBackend::kMaxButtons> held{};
        demo.readInputs(slot, present, read, held); // as a controller reads it
        for (int axis = 0; axis < axes.size(); ++axis)
            QVERIFY2(present[axis] && qAbs(read[axis] - axes[axis]) < 0.01,
                     qPrintable(QString::number(axis)));
        for (int button = 0; button < 5; ++button)
            QCOMPARE(held[button], button == pressed);
    }

    // No display, then one nobody listens on: SFML would abort the process opening it.
    void sfmlPumpNeverCrashes()
    {
        if (QGuiApplication::platformName() != QLatin1String("offscreen"))
            QSKIP("Needs QT_QPA_PLATFORM=offscreen");
        const auto setDisplay = [](const QByteArray &value) {
            return value.isEmpty() ? qunsetenv("DISPLAY") : qputenv("DISPLAY", value);
        };
        const auto restore = qScopeGuard([&, saved = qgetenv("DISPLAY")] { setDisplay(saved); });
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
