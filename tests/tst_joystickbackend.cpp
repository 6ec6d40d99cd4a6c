#include "sfmljoystickbackend.h"

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
            QVERIFY(!sfml.isConnected(bad) && sfml.buttonCount(bad) == 0);
            QVERIFY(!sfml.hasAxis(bad, 0) && !sfml.hasAxis(0, bad) &&
                    sfml.axisPosition(0, bad) == 0);
            QVERIFY(!sfml.isButtonPressed(bad, 0) && !sfml.isButtonPressed(0, badButton));
        }
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
