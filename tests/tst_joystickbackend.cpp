#include "sfmljoystickbackend.h"
#include "virtualjoystickbackend.h"

#include <QGuiApplication>
#include <QtTest>

#include <limits>

class TestJoystickBackend : public QObject
{
    Q_OBJECT

private slots:
    void virtualChangesShowAfterUpdate();
    void virtualAxisClamping_data();
    void virtualAxisClamping();
    void outOfRangeIsIgnored_data();
    void outOfRangeIsIgnored();
    void virtualPumpReportsEachChangeOnce();
    void backendAccessorInstallsAndRestores();
    void sfmlReportsNothingConnected();
    void sfmlPumpNeverCrashes_data();
    void sfmlPumpNeverCrashes();
};

namespace {
const JoystickIdentification pad{QStringLiteral("Manette Élan"), 0x45e, 0x28e};
}

void TestJoystickBackend::virtualChangesShowAfterUpdate()
{
    VirtualJoystickBackend backend;
    backend.connectController(2, pad, 99, 0x81);
    backend.setAxis(2, 7, -42.5);
    backend.setButton(2, 31, true);
    QVERIFY(!backend.isConnected(2));
    QCOMPARE(backend.axisPosition(2, 7), 0.0);
    backend.update();
    QVERIFY(backend.isConnected(2));
    QCOMPARE(backend.identification(2).name, pad.name);
    QCOMPARE(backend.identification(2).vendorId, 0x45eu);
    QCOMPARE(backend.identification(2).productId, 0x28eu);
    QCOMPARE(backend.buttonCount(2), JoystickBackend::kMaxButtons); // 99 clamped
    for (int axis = 0; axis < JoystickBackend::kMaxAxes; ++axis)
        QCOMPARE(backend.hasAxis(2, axis), axis == 0 || axis == 7);
    QCOMPARE(backend.axisPosition(2, 7), -42.5);
    QVERIFY(backend.isButtonPressed(2, 31));

    // Unplugged: still readable until update(), then idle and anonymous.
    backend.disconnectController(2);
    backend.setButton(2, 0, true);
    QVERIFY(backend.isConnected(2));
    backend.update();
    QVERIFY(!backend.isConnected(2));
    QVERIFY(backend.identification(2).name.isEmpty());
    QVERIFY(backend.buttonCount(2) == 0 && !backend.isButtonPressed(2, 0));
    QCOMPARE(backend.updateCount(), 2);
}

void TestJoystickBackend::virtualAxisClamping_data()
{
    QTest::addColumn<double>("written");
    QTest::addColumn<double>("read");
    QTest::newRow("inside") << 37.25 << 37.25;
    QTest::newRow("upper bound") << 100.0 << 100.0;
    QTest::newRow("above") << 100.5 << 100.0;
    QTest::newRow("-inf") << -std::numeric_limits<double>::infinity() << -100.0;
    QTest::newRow("nan") << std::numeric_limits<double>::quiet_NaN() << 0.0;
}

void TestJoystickBackend::virtualAxisClamping()
{
    QFETCH(double, written);
    QFETCH(double, read);
    VirtualJoystickBackend backend;
    backend.connectController(0, pad);
    backend.setAxis(0, 3, written);
    backend.update();
    QCOMPARE(backend.axisPosition(0, 3), read);
}

void TestJoystickBackend::outOfRangeIsIgnored_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<int>("axis");
    QTest::addColumn<int>("button");
    QTest::newRow("below") << -1 << -1 << -1;
    QTest::newRow("just above") << 8 << 8 << 32;
    QTest::newRow("far above") << 1000 << 1000 << 1000;
}

void TestJoystickBackend::outOfRangeIsIgnored()
{
    QFETCH(int, index);
    QFETCH(int, axis);
    QFETCH(int, button);
    VirtualJoystickBackend scripted;
    scripted.connectController(index, pad);
    scripted.connectController(0, {}, 4, 0x00);
    for (int target : {index, 0}) {
        scripted.setAxisPresent(target, axis, true);
        scripted.setAxis(target, axis, 55.0);
        scripted.setButton(target, button, true);
    }
    scripted.update();
    // Nothing may land in controller 0's valid slots.
    for (int other = 0; other < JoystickBackend::kMaxAxes; ++other)
        QVERIFY(!scripted.hasAxis(0, other) && scripted.axisPosition(0, other) == 0.0);
    for (int other = 0; other < JoystickBackend::kMaxButtons; ++other)
        QVERIFY(!scripted.isButtonPressed(0, other));

    // SFML does not check indices itself: they must never reach it out of range.
    SfmlJoystickBackend sfml;
    for (JoystickBackend *backend :
         {static_cast<JoystickBackend *>(&scripted), static_cast<JoystickBackend *>(&sfml)}) {
        QVERIFY(!backend->isConnected(index) && backend->identification(index).name.isEmpty());
        QVERIFY(backend->buttonCount(index) == 0 && !backend->isButtonPressed(index, 0));
        QVERIFY(!backend->hasAxis(index, 0) && backend->axisPosition(index, 0) == 0.0);
        QVERIFY(!backend->hasAxis(0, axis) && backend->axisPosition(0, axis) == 0.0);
        QVERIFY(!backend->isButtonPressed(0, button));
    }
}

void TestJoystickBackend::virtualPumpReportsEachChangeOnce()
{
    VirtualJoystickBackend backend;
    QVERIFY(!backend.pumpConnectionEvents());
    backend.connectController(1, pad);
    backend.connectController(6, pad);
    QVERIFY(backend.pumpConnectionEvents()); // before update(), like the platform's queue
    QVERIFY(!backend.pumpConnectionEvents());
    backend.update();
    QVERIFY(!backend.pumpConnectionEvents());
    backend.disconnectController(6);
    QVERIFY(backend.pumpConnectionEvents());
    QVERIFY(!backend.pumpConnectionEvents());
    // Plugged and unplugged between two pumps: no net change to report.
    backend.connectController(7, pad);
    backend.disconnectController(7);
    QVERIFY(!backend.pumpConnectionEvents());
}

void TestJoystickBackend::backendAccessorInstallsAndRestores()
{
    JoystickBackend *sfml = &joystickBackend();
    QVERIFY(dynamic_cast<SfmlJoystickBackend *>(sfml));
    VirtualJoystickBackend virtualBackend;
    setJoystickBackend(&virtualBackend);
    QCOMPARE(&joystickBackend(), &virtualBackend);
    setJoystickBackend(nullptr);
    QCOMPARE(&joystickBackend(), sfml);
}

void TestJoystickBackend::sfmlReportsNothingConnected()
{
    SfmlJoystickBackend backend;
    backend.update();
    for (int index = 0; index < JoystickBackend::kMaxJoysticks; ++index) {
        if (backend.isConnected(index))
            QSKIP("A controller is attached to this machine");
    }
    for (int round = 0; round < 1000; ++round) {
        backend.update();
        for (int index = 0; index < JoystickBackend::kMaxJoysticks; ++index)
            QVERIFY(!backend.isConnected(index));
    }
}

void TestJoystickBackend::sfmlPumpNeverCrashes_data()
{
    QTest::addColumn<QByteArray>("display");
    QTest::newRow("no display") << QByteArray();
    // Nothing listens there: SFML would abort the process if it tried to open it.
    QTest::newRow("unreachable display") << QByteArray(":97");
}

void TestJoystickBackend::sfmlPumpNeverCrashes()
{
    QFETCH(QByteArray, display);
    if (QGuiApplication::platformName() != QLatin1String("offscreen"))
        QSKIP("Needs QT_QPA_PLATFORM=offscreen");
    const bool hadDisplay = qEnvironmentVariableIsSet("DISPLAY");
    const QByteArray savedDisplay = qgetenv("DISPLAY");
    if (display.isEmpty())
        qunsetenv("DISPLAY");
    else
        qputenv("DISPLAY", display);

    SfmlJoystickBackend backend;
    backend.openPump();
    const bool windowMade = backend.hasPumpWindow();
    bool changed = false;
    for (int round = 0; round < 50; ++round)
        changed = backend.pumpConnectionEvents() || changed;
    backend.closePump();
    backend.closePump();

    if (hadDisplay)
        qputenv("DISPLAY", savedDisplay);
    else
        qunsetenv("DISPLAY");
    QVERIFY(!windowMade);
    QVERIFY(!changed);
}

QTEST_MAIN(TestJoystickBackend)
#include "tst_joystickbackend.moc"
