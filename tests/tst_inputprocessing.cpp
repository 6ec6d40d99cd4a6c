#include "inputprocessing.h"

#include <QtTest>

using Cal = GamepadCalibration;
using Axis = GamepadCalibration::AxisSettings;
using Button = GamepadCalibration::ButtonSettings;
using Mode = GamepadCalibration::AxisPublishMode;

class TestInputProcessing : public QObject
{
    Q_OBJECT

private slots:
    void axis_data()
    {
        QTest::addColumn<Axis>("settings");
        QTest::addColumn<double>("raw");
        QTest::addColumn<double>("value");
        QTest::addColumn<bool>("atRest");

        using M = Cal::AxisMode;
        using C = Cal::CurvePreset;
        // Enabled, mode, rest, dead zone, invert, curve, gamma, gain, offset, min, max, end.
        const Axis shifted{true, M::Bidirectional, 0, 8, true, C::Linear, 1, 2, 5};
        const Axis tinySpan{true, M::Bidirectional, 0, 0, false, C::Linear, 1, 1, 0, -100, 0.001};
        const Axis trigger{true, M::Trigger, 0, 8, true}; // the invert is ignored by triggers
        const Axis reversed{true, M::Trigger, 100, 8, false, C::Linear, 1, 2, 3, -100, 100, -100};
        const Axis disabled{false, M::Bidirectional, 0, 8, true, C::Linear, 1, 2, 5};

        QTest::newRow("dead-zone edge is rest") << shifted << 8.0 << 5.0 << true;
        QTest::newRow("rest at 20") << Axis{true, M::Bidirectional, 20, 8} << 25.0 << 0.0 << true;
        QTest::newRow("just above edge") << Axis() << 8.0001 << 1e-4 / 0.92 << false;
        QTest::newRow("raw clamped") << Axis() << 250.0 << 100.0 << false;
        QTest::newRow("invert stick, scale, offset") << shifted << 54.0 << -95.0 << false;
        QTest::newRow("span 0.001 is rest") << tinySpan << 0.0005 << 0.0 << true;
        QTest::newRow("trigger ignores invert") << trigger << 54.0 << 50.0 << false;
        QTest::newRow("inverted travel full") << reversed << -100.0 << 203.0 << false;
        QTest::newRow("disabled gives 0") << disabled << 54.0 << 0.0 << true;
    }

    void axis()
    {
        QFETCH(Axis, settings);
        QFETCH(double, raw);
        QFETCH(double, value);
        const AxisSample sample = evaluateAxis(raw, settings);
        QVERIFY2(qAbs(sample.value - value) < 1e-9, qPrintable(QString::number(sample.value)));
        QTEST(sample.atRest, "atRest");
    }

    // Rest/rest, rest/moving, moving/rest, moving/moving; each with a change of 0.5, then 0.51.
    void publishDecision()
    {
        QStringList got;
        for (Mode mode : {Mode::OnChange, Mode::ActiveOnly, Mode::Always}) {
            got << QString();
            for (bool atRest : {true, false})
                for (bool wasAtRest : {true, false})
                    for (double delta : {0.5, -0.51})
                        got.last() +=
                            shouldPublishAxis(20 + delta, atRest, 20, wasAtRest, mode) ? '1' : '0';
        }
        QCOMPARE(got, QStringList({"01111101", "01111111", "11111111"}));
    }

    void button_data()
    {
        QTest::addColumn<Button>("settings");
        QTest::addColumn<QList<int>>("toggles"); // times the button flips, starting released
        QTest::addColumn<int>("endMs");
        QTest::addColumn<int>("pauseEndMs"); // the poll after 0 comes no earlier than this
        QTest::addColumn<QString>("events");
        const auto row = [](const char *name, const Button &settings, const QList<int> &toggles,
                            int endMs, const char *events, int pauseEndMs = 0) {
            QTest::newRow(name) << settings << toggles << endMs << pauseEndMs << QString(events);
        };
        // Enabled, press, release, debounce, repeat on press, on release, delay, interval.
        const Button repeat{true, true, false, 0, true};
        const Button noDelay{true, true, false, 0, true, false, 0};
        const Button fastRepeat{true, true, false, 0, true, false, 0, 5};
        const Button debounce{true, true, true, 50}; // a suppressed release must not restart it

        row("repeat schedule", repeat, {0}, 1000, "0+ 350+r 470+r 590+r 710+r 830+r 950+r");
        row("release stops repeat", repeat, {0, 400}, 1000, "0+ 350+r");
        row("delay 0 uses interval", noDelay, {0}, 400, "0+ 120+r 240+r 360+r");
        row("interval 5 as 10", fastRepeat, {0}, 30, "0+ 10+r 20+r 30+r");
        row("delay 1 kept", {true, true, false, 0, true, false, 1}, {0}, 250, "0+ 5+r 125+r 245+r");
        row("late poll skips missed", repeat, {0}, 1200, "0+ 1000+r 1070+r 1190+r", 1000);
        row("debounce loses press", debounce, {0, 10, 30}, 200, "0+");
        row("debounce exactly 50", debounce, {0, 10, 50}, 200, "0+ 50+");
    }

    void button()
    {
        QFETCH(Button, settings);
        QFETCH(QList<int>, toggles);
        QFETCH(int, endMs);
        QFETCH(int, pauseEndMs);

        ButtonState state;
        QStringList emitted;
        for (int now = 0; now <= endMs; now = std::max(now + 5, pauseEndMs)) {
            const bool pressed =
                std::count_if(toggles.begin(), toggles.end(), [&](int t) { return t <= now; }) % 2;
            const ButtonStep step = stepButton(state, pressed, settings, now);
            if (step.publish)
                emitted << QString::number(now) + (pressed ? "+" : "-") + (step.repeat ? "r" : "");
        }
        QTEST(emitted.join(' '), "events");
    }

    // A calibration reload that turns the repeat off stops a repeat armed before it, for good:
    // turned on again while still held, it waits for a new press.
    void repeatTurnedOffWhileHeld()
    {
        ButtonState state;
        Button settings{true, true, false, 0, true};
        QVERIFY(stepButton(state, true, settings, 0).publish);
        settings.repeatOnPress = false;
        QVERIFY(!stepButton(state, true, settings, 400).publish);
        settings.repeatOnPress = true;
        QVERIFY(!stepButton(state, true, settings, 1000).publish);
    }

    // Centre (20, 5), radius 50, hysteresis 3: entered at 50 from it, kept up to 53, left beyond.
    void gateHysteresisAndAbsentAxis()
    {
        Cal calibration;
        const Axis linear{true, Cal::AxisMode::Bidirectional, 0, 0}; // output = raw
        calibration.axes = {linear, linear};
        calibration.gates = {{true, "ring", {}, 0, 1, 20, 5}, {true, "bad", {}, 0, 8}}; // no axis 8
        InputProcessor processor;
        PollResult result;
        JoystickReadings readings;
        readings.axisPresent.fill(true), readings.axes[1] = 5.0;

        QString events;
        for (double x : {90.0, 70.0, 72.0, 73.0, 71.0, 73.5, 72.0, 70.0}) {
            readings.axes[0] = x;
            processor.process(readings, calibration, 0, result);
            for (const PollResult::GateEvent &event : result.gateEvents)
                events += QStringLiteral("%1:%2 ").arg(x).arg(int(event.value));
        }
        QCOMPARE(events, "70:1 73.5:0 70:1 ");

        readings.axes[0] = 90.0; // An absent axis skips the gate and keeps its state.
        readings.axisPresent[1] = false;
        processor.process(readings, calibration, 0, result);
        QVERIFY(result.gateEvents.isEmpty() && processor.gateInside().value("ring"));
        processor.reset(); // After a reset the gate starts again outside, and says so when entered.
        readings.axisPresent.fill(true);
        readings.axes[0] = 0.0;
        processor.process(readings, calibration, 0, result);
        QCOMPARE(processor.gateInside(), (QHash<QString, bool>{{"ring", true}}));
        QCOMPARE(result.gateEvents.size(), 1);
    }

    void batchOrder()
    {
        Cal calibration = defaultCalibration(8, 32);
        calibration.gates = {{true, "zeta", {}, 2, 3}, {true, "alpha", {}, 0, 1}};
        calibration.gates[0].invertOutput = true;
        calibration.gates[1].emitOnEnter = false; // entered silently
        InputProcessor processor;
        PollResult result;
        JoystickReadings readings;
        readings.axisPresent.fill(true);
        readings.axes[7] = 54.0;
        readings.axes[3] = -54.0;
        readings.axisPresent[5] = false;
        readings.axes[5] = 99.0;
        readings.buttons[31] = readings.buttons[0] = readings.buttons[4] = true;

        processor.process(readings, calibration, 0, result);
        const QStringList kept = result.keys; // as a host keeps a batch
        QVERIFY(InputProcessor::axisKey(0) == "joy_0" && InputProcessor::buttonKey(32).isEmpty());
        QCOMPARE(result.keys, QStringList({"joy_3", "joy_7", "zeta", "but_0", "but_4", "but_31"}));
        QCOMPARE(result.values, QVariantList({-50.0, 50.0, false, true, true, true}));
        QVERIFY(result.values.at(0).typeId() == QMetaType::Double && result.rawAxesMoved &&
                result.values.at(2).typeId() == QMetaType::Bool);

        // Same readings: only the deflected axes stream; a release without event still notifies.
        readings.buttons[4] = false;
        processor.process(readings, calibration, 10, result);
        QCOMPARE(result.keys, QStringList({"joy_3", "joy_7"}));
        QVERIFY(!result.rawAxesMoved && result.buttonsChanged && result.buttonEvents.isEmpty());

        // A new calibration drops the old gates silently; the batch kept before reads the same.
        calibration.gates = {};
        readings.axes[3] = 100.0;
        processor.process(readings, calibration, 20, result);
        QCOMPARE(result.keys, QStringList({"joy_3", "joy_7"}));
        QVERIFY(!result.buttonsChanged); // nothing for the buttons' listeners
        readings.axes[3] = -54.0;
        QCOMPARE(kept, QStringList({"joy_3", "joy_7", "zeta", "but_0", "but_4", "but_31"}));

        // A controller back starts afresh: no axis known until read again, held buttons are news.
        processor.reset();
        QCOMPARE(processor.axisPresent(), decltype(readings.axisPresent){});
        processor.process(readings, calibration, 30, result);
        QCOMPARE(result.keys, QStringList({"joy_3", "joy_7", "but_0", "but_31"}));
    }
};

QTEST_GUILESS_MAIN(TestInputProcessing)
#include "tst_inputprocessing.moc"
