#include "weardetection.h"

#include <QtTest>

struct Edge
{
    qint64 t;
    bool pressed;
};

// Presses every `periodMs`, held `holdMs`; with `gapMs`, each bounces: up 1 ms on, down `gapMs` on.
static QList<Edge> pressSession(int presses, qint64 periodMs, qint64 holdMs, qint64 gapMs)
{
    QList<Edge> edges;
    for (int i = 0; i < presses; ++i) {
        const qint64 t = i * periodMs;
        edges << Edge{t, true};
        if (gapMs > 0)
            edges << Edge{t + 1, false} << Edge{t + 1 + gapMs, true};
        edges << Edge{t + holdMs, false};
    }
    return edges;
}

static int publishedPresses(const QList<Edge> &edges, qint32 debounceMs)
{
    const GamepadCalibration::ButtonSettings settings{true, true, false, debounceMs}; // no repeat
    ButtonState state;
    int presses = 0;
    for (const Edge &e : edges)
        presses += stepButton(state, e.pressed, settings, e.t).publish && e.pressed ? 1 : 0;
    return presses;
}

class TestWearDetection : public QObject
{
    Q_OBJECT

private slots:
    void chatter_data()
    {
        QTest::addColumn<int>("presses");
        QTest::addColumn<QList<Edge>>("edges");
        QTest::addColumn<int>("debounceMs");
        QTest::addColumn<int>("reported");
        const auto row = [](auto tag, int presses, int period, int hold, int gap) -> QTestData & {
            return QTest::newRow(tag) << presses << pressSession(presses, period, hold, gap);
        };
        for (int gap : {5, 20, 39, 40}) // below 40 ms a bounce, from 40 ms a press of its own
            row(qPrintable(QString("gap %1 ms").arg(gap)), 5, 300, 150, gap) << 0 << 5 * (gap < 40);
        row("two bounces are not several", 2, 300, 150, 5) << 0 << 0;
        row("debounce already covers", 5, 300, 150, 20) << 22 << 0;
        row("debounce too short", 5, 300, 150, 20) << 21 << 5;
        row("fast player 80 ms", 20, 80, 60, 0) << 0 << 0;
        row("fast player 80 ms, 1 ms taps", 20, 80, 1, 0) << 0 << 0;
        row("player 120 ms", 20, 120, 100, 0) << 0 << 0;
    }

    void chatter()
    {
        QFETCH(int, presses);
        QFETCH(QList<Edge>, edges);
        QFETCH(int, debounceMs);
        ChatterDetector detector;
        std::array<bool, kGamepadButtonCount> pad{}; // the whole pad, its first button bouncing
        for (const Edge &e : edges) {
            pad[0] = e.pressed;
            detector.feed(pad, e.t);
        }
        const qint64 end = edges.last().t;
        QTEST(detector.reportedBounces(0, debounceMs, end), "reported");
        for (int other : {2, -1, kGamepadButtonCount}) // another button, and none of the pad
            QCOMPARE(detector.reportedBounces(other, 0, end), 0);
        QCOMPARE(detector.reportedBounces(0, 0, end + wear::kBounceMemoryMs), 0); // forgotten
        ChatterDetector restarted = detector; // the device's clock starts again
        restarted.feed(0, true, 10);
        QCOMPARE(restarted.bouncesPassing(0, 0, 10), 0);

        const qint32 suggested = detector.suggestedDebounceMs(0, end);
        QCOMPARE(suggested == 0, detector.bouncesPassing(0, 0, end) == 0);
        if (suggested > 0) {
            QCOMPARE(publishedPresses(edges, 0), 2 * presses);
            QCOMPARE(publishedPresses(edges, suggested), presses); // every bounce removed
            QCOMPARE(detector.bouncesPassing(0, suggested, end), 0);
            QVERIFY(suggested < wear::kDeliberateSpacingMs); // a fast player keeps his presses
        }
    }

    void drift_data()
    {
        QTest::addColumn<double>("stick");   // raw position of axis 0, dead zone 8
        QTest::addColumn<double>("noise");   // alternating ± around it
        QTest::addColumn<qint64>("heldMs");  // polled every 10 ms
        QTest::addColumn<QString>("moving"); // "button 0" tapped every 500 ms or "axis 1" sweeping
        QTest::addColumn<bool>("found");

        QTest::newRow("steady offset at rest") << 15.0 << 0.5 << 6000LL << "" << true;
        QTest::newRow("negative offset") << -30.0 << 0.0 << 5010LL << "" << true;
        QTest::newRow("noise at the steady limit") << 15.0 << 1.0 << 6000LL << "" << true;
        QTest::newRow("held while buttons move") << 60.0 << 0.0 << 9000LL << "button 0" << false;
        QTest::newRow("held, other axis moving") << 60.0 << 0.0 << 9000LL << "axis 1" << false;
        QTest::newRow("noise in the dead zone") << 5.0 << 2.0 << 9000LL << "" << false;
        QTest::newRow("not long enough") << 15.0 << 0.5 << 4900LL << "" << false;
        QTest::newRow("too noisy for a rest") << 15.0 << 3.0 << 9000LL << "" << false;
        QTest::newRow("a trigger at rest") << 15.0 << 0.5 << 6000LL << "" << false;
    }

    void drift()
    {
        QFETCH(double, stick);
        QFETCH(double, noise);
        QFETCH(qint64, heldMs);
        QFETCH(QString, moving);
        auto calibration = defaultCalibration(kGamepadAxisCount, kGamepadButtonCount);
        if (QTest::currentDataTag() == QLatin1String("a trigger at rest")) // rests anywhere
            calibration.axes[0].mode = GamepadCalibration::AxisMode::Trigger;
        DriftDetector detector;
        JoystickReadings readings;
        readings.axisPresent.fill(true);
        for (qint64 t = 0, poll = 0; t <= heldMs; t += 10, ++poll) {
            readings.axes[0] = stick + (poll % 2 ? noise : -noise);
            readings.axes[1] = moving == "axis 1" ? double(poll % 200) - 100.0 : 0.0;
            readings.buttons[0] = moving == "button 0" && t % 500 < 100;
            detector.feed(readings, calibration, t);
        }
        const std::optional<double> rest = detector.driftRest(0, heldMs);
        QTEST(rest.has_value(), "found");
        QCOMPARE(qRound(rest.value_or(stick) * 10), qRound(stick * 10));
        QVERIFY(!detector.driftRest(1, heldMs)); // the centred stick beside it
        detector.clear(0);
        QVERIFY(!detector.driftRest(0, heldMs));
    }
};

QTEST_GUILESS_MAIN(TestWearDetection)
#include "tst_weardetection.moc"
