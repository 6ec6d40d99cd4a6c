#include "inputprocessing.h"

#include <QtTest>

#include <algorithm>

using Cal = GamepadCalibration;
using Axis = GamepadCalibration::AxisSettings;
using Button = GamepadCalibration::ButtonSettings;
using Gate = GamepadCalibration::GateSettings;
using Curve = GamepadCalibration::CurvePreset;
using Mode = GamepadCalibration::AxisPublishMode;

namespace {

constexpr double kTolerance = 1e-9;

Axis trigger()
{
    Axis axis;
    axis.mode = Cal::AxisMode::Trigger;
    return axis;
}

// An axis whose output equals its raw reading: no dead zone, linear, full range.
Axis identityAxis(Mode mode = Mode::ActiveOnly)
{
    Axis axis;
    axis.deadzoneRadius = 0.0;
    axis.publishMode = mode;
    return axis;
}

Gate makeGate(const QString &key, int xAxis, int yAxis)
{
    Gate g;
    g.key = key;
    g.xAxis = xAxis;
    g.yAxis = yAxis;
    return g;
}

JoystickReadings allPresent()
{
    JoystickReadings readings;
    readings.axisPresent.fill(true);
    return readings;
}

// "0+ 30- 50+": the button goes down at 0, up at 30, down again at 50.
bool pressedAt(const QString &script, qint64 nowMs)
{
    bool pressed = false;
    for (const QString &change : script.split(' ', Qt::SkipEmptyParts)) {
        if (change.chopped(1).toLongLong() > nowMs)
            break;
        pressed = change.endsWith('+');
    }
    return pressed;
}

} // namespace

class TestInputProcessing : public QObject
{
    Q_OBJECT

private slots:
    void curve_data();
    void curve();
    void axis_data();
    void axis();
    void publishDecision_data();
    void publishDecision();
    void gate_data();
    void gate();
    void button_data();
    void button();
    void repeatDisarmedBySettingsChange();
    void axisPublishing_data();
    void axisPublishing();
    void gateHysteresisAndSkipping();
    void batchOrder();
    void resetRestoresInitialState();
};

void TestInputProcessing::curve_data()
{
    QTest::addColumn<Curve>("preset");
    QTest::addColumn<double>("gamma");
    QTest::addColumn<double>("u");
    QTest::addColumn<double>("expected");

    QTest::newRow("linear") << Curve::Linear << 3.0 << 0.5 << 0.5;
    QTest::newRow("soft") << Curve::Soft << 3.0 << 0.5 << 0.3298769776932235;
    QTest::newRow("aggressive") << Curve::Aggressive << 3.0 << 0.5 << std::pow(0.5, 2.6);
    QTest::newRow("custom gamma 2") << Curve::Custom << 2.0 << 0.5 << 0.25;
    QTest::newRow("custom gamma 0.01 uses 0.05")
        << Curve::Custom << 0.01 << 0.5 << std::pow(0.5, 0.05);
    QTest::newRow("custom NaN gamma uses 0.05")
        << Curve::Custom << qQNaN() << 0.5 << std::pow(0.5, 0.05);
    QTest::newRow("u above 1") << Curve::Soft << 1.0 << 1.7 << 1.0;
    QTest::newRow("u below 0") << Curve::Soft << 1.0 << -0.3 << 0.0;
    QTest::newRow("unknown preset is linear") << Curve(9) << 3.0 << 0.25 << 0.25;
}

void TestInputProcessing::curve()
{
    QFETCH(Curve, preset);
    QFETCH(double, gamma);
    QFETCH(double, u);
    QFETCH(double, expected);
    QVERIFY(qAbs(applyCurve(preset, gamma, u) - expected) < kTolerance);
}

void TestInputProcessing::axis_data()
{
    QTest::addColumn<Axis>("settings");
    QTest::addColumn<double>("raw");
    QTest::addColumn<double>("value");
    QTest::addColumn<double>("normalized");
    QTest::addColumn<bool>("atRest");

    Axis offset;
    offset.outputOffset = 5.0;
    Axis inverted;
    inverted.invert = true;
    Axis soft;
    soft.curvePreset = Curve::Soft;
    Axis scaled;
    scaled.outputScale = 2.0;
    scaled.outputOffset = 10.0;
    Axis noTravel = offset;
    noTravel.positiveRaw = 8.0;
    Axis disabled = offset;
    disabled.enabled = false;
    Axis tinySpan = identityAxis();
    tinySpan.positiveRaw = 0.001;
    tinySpan.negativeRaw = -0.001;
    Axis smallSpan = identityAxis();
    smallSpan.positiveRaw = 0.0011;
    Axis invertedTrigger = trigger();
    invertedTrigger.invert = true;
    Axis reversedTrigger = trigger();
    reversedTrigger.restRaw = 100.0;
    reversedTrigger.activeRaw = -100.0;
    reversedTrigger.outputScale = 2.0;
    reversedTrigger.outputOffset = 3.0;

    QTest::newRow("dead-zone edge is rest") << offset << 8.0 << 5.0 << 0.0 << true;
    QTest::newRow("negative edge is rest") << offset << -8.0 << 5.0 << 0.0 << true;
    QTest::newRow("just above edge") << Axis() << 8.0001 << 1e-4 / 0.92 << 1e-6 / 0.92 << false;
    QTest::newRow("half travel") << Axis() << 54.0 << 50.0 << 0.5 << false;
    QTest::newRow("full negative") << Axis() << -100.0 << -100.0 << -1.0 << false;
    QTest::newRow("raw clamped high") << Axis() << 250.0 << 100.0 << 1.0 << false;
    QTest::newRow("raw clamped low") << Axis() << -1e9 << -100.0 << -1.0 << false;
    QTest::newRow("NaN raw is rest") << offset << qQNaN() << 5.0 << 0.0 << true;
    QTest::newRow("soft curve") << soft << 54.0 << 32.98769776932235 << 0.5 << false;
    QTest::newRow("scale and offset") << scaled << -54.0 << -90.0 << -0.5 << false;
    QTest::newRow("invert stick") << inverted << 54.0 << -50.0 << -0.5 << false;
    QTest::newRow("span 0.001 positive") << tinySpan << 0.0005 << 0.0 << 0.0 << true;
    QTest::newRow("span 0.001 negative") << tinySpan << -0.0005 << 0.0 << 0.0 << true;
    QTest::newRow("span above 0.001") << smallSpan << 0.00055 << 50.0 << 0.5 << false;
    QTest::newRow("no positive travel") << noTravel << 60.0 << 5.0 << 0.0 << true;
    QTest::newRow("disabled gives 0") << disabled << 54.0 << 0.0 << 0.0 << true;
    QTest::newRow("trigger half") << trigger() << 54.0 << 50.0 << 0.5 << false;
    QTest::newRow("trigger ignores invert") << invertedTrigger << 54.0 << 50.0 << 0.5 << false;
    QTest::newRow("trigger at start") << trigger() << 8.0 << 0.0 << 0.0 << true;
    QTest::newRow("trigger opposite side") << trigger() << -60.0 << 0.0 << 0.0 << true;
    QTest::newRow("trigger reversed full") << reversedTrigger << -100.0 << 203.0 << 1.0 << false;
    QTest::newRow("trigger reversed rest") << reversedTrigger << 95.0 << 3.0 << 0.0 << true;
}

void TestInputProcessing::axis()
{
    QFETCH(Axis, settings);
    QFETCH(double, raw);
    QFETCH(double, value);
    QFETCH(double, normalized);
    QFETCH(bool, atRest);

    const AxisSample sample = evaluateAxis(raw, settings);
    QVERIFY2(qAbs(sample.value - value) < kTolerance, qPrintable(QString::number(sample.value)));
    QVERIFY(qAbs(sample.normalized - normalized) < kTolerance);
    QCOMPARE(sample.atRest, atRest);
    QCOMPARE(sample.clamped, sample.raw);
    QVERIFY(qIsNaN(raw) || sample.raw == qBound(-100.0, raw, 100.0));
}

void TestInputProcessing::publishDecision_data()
{
    QTest::addColumn<Mode>("mode");
    QTest::addColumn<bool>("atRest");
    QTest::addColumn<bool>("wasAtRest");
    QTest::addColumn<double>("delta");
    QTest::addColumn<bool>("publish");

    // clang-format off
    QTest::newRow("onChange rest/rest small") << Mode::OnChange << true << true << 0.5 << false;
    QTest::newRow("onChange rest/rest large") << Mode::OnChange << true << true << 0.51 << true;
    QTest::newRow("onChange rest/moving") << Mode::OnChange << true << false << 0.0 << true;
    QTest::newRow("onChange moving/rest") << Mode::OnChange << false << true << 0.0 << true;
    QTest::newRow("onChange moving/moving small") << Mode::OnChange << false << false << 0.5 << false;
    QTest::newRow("onChange moving/moving large") << Mode::OnChange << false << false << -0.6 << true;
    QTest::newRow("activeOnly rest/rest small") << Mode::ActiveOnly << true << true << -0.5 << false;
    QTest::newRow("activeOnly rest/rest large") << Mode::ActiveOnly << true << true << 0.6 << true;
    QTest::newRow("activeOnly rest/moving") << Mode::ActiveOnly << true << false << 0.0 << true;
    QTest::newRow("activeOnly moving/rest") << Mode::ActiveOnly << false << true << 0.0 << true;
    QTest::newRow("activeOnly moving/moving") << Mode::ActiveOnly << false << false << 0.0 << true;
    QTest::newRow("always rest/rest") << Mode::Always << true << true << 0.0 << true;
    QTest::newRow("always rest/moving") << Mode::Always << true << false << 0.0 << true;
    QTest::newRow("always moving/rest") << Mode::Always << false << true << 0.0 << true;
    QTest::newRow("always moving/moving") << Mode::Always << false << false << 0.0 << true;
    QTest::newRow("unknown mode as onChange") << Mode(7) << false << false << 0.0 << false;
    // clang-format on
}

void TestInputProcessing::publishDecision()
{
    QFETCH(Mode, mode);
    QFETCH(bool, atRest);
    QFETCH(bool, wasAtRest);
    QFETCH(double, delta);
    QFETCH(bool, publish);
    QCOMPARE(shouldPublishAxis(20.0 + delta, atRest, 20.0, wasAtRest, mode), publish);
}

void TestInputProcessing::gate_data()
{
    QTest::addColumn<Gate>("settings");
    QTest::addColumn<double>("x");
    QTest::addColumn<double>("y");
    QTest::addColumn<bool>("wasInside");
    // "valid inside value changed emit", each 0 or 1
    QTest::addColumn<QString>("flags");
    QTest::addColumn<double>("distance");

    const Gate plain;
    Gate inverted;
    inverted.invertOutput = true;
    Gate silentEnter;
    silentEnter.emitOnEnter = false;
    Gate silentExit;
    silentExit.emitOnExit = false;
    Gate offCentre;
    offCentre.centerX = 10.0;
    offCentre.centerY = 10.0;
    Gate negative;
    negative.radius = -5.0;
    negative.hysteresis = -5.0;

    QTest::newRow("enter at radius") << plain << 30.0 << 40.0 << false << "11111" << 50.0;
    QTest::newRow("outside beyond radius") << plain << 50.001 << 0.0 << false << "10000" << 50.001;
    QTest::newRow("outside in band") << plain << 52.0 << 0.0 << false << "10000" << 52.0;
    QTest::newRow("stay at r + h") << plain << 0.0 << -53.0 << true << "11100" << 53.0;
    QTest::newRow("leave beyond r + h") << plain << 53.001 << 0.0 << true << "10011" << 53.001;
    QTest::newRow("invert output") << inverted << 0.0 << 0.0 << false << "11011" << 0.0;
    QTest::newRow("no emit on enter") << silentEnter << 0.0 << 0.0 << false << "11110" << 0.0;
    QTest::newRow("no emit on exit") << silentExit << 90.0 << 0.0 << true << "10010" << 90.0;
    QTest::newRow("off centre") << offCentre << 40.0 << 50.0 << false << "11111" << 50.0;
    QTest::newRow("negative radius") << negative << 0.0 << 0.0 << true << "11100" << 0.0;
    QTest::newRow("blank key") << makeGate("  ", 0, 1) << 0.0 << 0.0 << false << "00000" << 0.0;
    QTest::newRow("x axis 8") << makeGate("g", 8, 1) << 0.0 << 0.0 << false << "00000" << 0.0;
    QTest::newRow("y axis -1") << makeGate("g", 0, -1) << 0.0 << 0.0 << true << "00000" << 0.0;
}

void TestInputProcessing::gate()
{
    QFETCH(Gate, settings);
    QFETCH(double, x);
    QFETCH(double, y);
    QFETCH(bool, wasInside);
    QFETCH(QString, flags);
    QFETCH(double, distance);

    std::array<double, 8> axes{};
    axes[qBound(0, settings.xAxis, 7)] = x;
    axes[qBound(0, settings.yAxis, 7)] = y;
    const GateSample s = evaluateGate(settings, axes.data(), int(axes.size()), wasInside);
    const QString actual = QStringLiteral("%1%2%3%4%5")
                               .arg(int(s.valid))
                               .arg(int(s.inside))
                               .arg(int(s.value))
                               .arg(int(s.changed))
                               .arg(int(s.emit));
    QCOMPARE(actual, flags);
    QVERIFY(qAbs(s.distance - distance) < kTolerance);
    QCOMPARE(s.key, settings.key.trimmed());
}

void TestInputProcessing::button_data()
{
    QTest::addColumn<Button>("settings");
    QTest::addColumn<QString>("script");
    QTest::addColumn<int>("pollMs");
    QTest::addColumn<int>("endMs");
    QTest::addColumn<int>("pauseEndMs"); // no poll strictly between 0 and this time
    QTest::addColumn<QString>("events");

    Button repeat;
    repeat.repeatOnPress = true;
    Button noDelay = repeat;
    noDelay.repeatDelayMs = 0;
    Button fastRepeat = noDelay;
    fastRepeat.repeatIntervalMs = 5;
    Button debounce;
    debounce.debounceMs = 50;
    Button debounceBoth = debounce;
    debounceBoth.emitOnRelease = true;
    Button onRelease;
    onRelease.emitOnRelease = true;
    onRelease.repeatOnRelease = true;
    onRelease.repeatDelayMs = 100;
    onRelease.repeatIntervalMs = 50;
    Button releaseOnly = onRelease;
    releaseOnly.emitOnPress = false;
    releaseOnly.repeatOnRelease = false;
    Button disabled = onRelease;
    disabled.enabled = false;

    // clang-format off
    QTest::newRow("repeat schedule")
        << repeat << "0+" << 10 << 1000 << 0 << "0+ 350+r 470+r 590+r 710+r 830+r 950+r";
    QTest::newRow("release stops repeat") << repeat << "0+ 400-" << 10 << 1000 << 0 << "0+ 350+r";
    QTest::newRow("delay 0 uses interval") << noDelay << "0+" << 10 << 400 << 0 << "0+ 120+r 240+r 360+r";
    QTest::newRow("interval 5 as 10") << fastRepeat << "0+" << 5 << 30 << 0 << "0+ 10+r 20+r 30+r";
    QTest::newRow("late poll skips") << repeat << "0+" << 10 << 1200 << 1000 << "0+ 1000+r 1070+r 1190+r";
    QTest::newRow("debounce loses press") << debounce << "0+ 10- 30+" << 10 << 200 << 0 << "0+";
    QTest::newRow("debounce exactly 50") << debounce << "0+ 10- 50+" << 10 << 200 << 0 << "0+ 50+";
    QTest::newRow("suppressed edge keeps time") << debounceBoth << "0+ 20- 60+ 70-" << 10 << 200 << 0 << "0+ 60+";
    QTest::newRow("repeat on release") << onRelease << "0+ 100-" << 10 << 300 << 0 << "0+ 100- 200-r 250-r 300-r";
    QTest::newRow("release only") << releaseOnly << "0+ 100-" << 10 << 300 << 0 << "100-";
    QTest::newRow("disabled") << disabled << "0+ 100-" << 10 << 300 << 0 << "";
    // clang-format on
}

void TestInputProcessing::button()
{
    QFETCH(Button, settings);
    QFETCH(QString, script);
    QFETCH(int, pollMs);
    QFETCH(int, endMs);
    QFETCH(int, pauseEndMs);
    QFETCH(QString, events);

    ButtonState state;
    QStringList emitted;
    for (qint64 now = 0; now <= endMs; now += pollMs) {
        if (now > 0 && now < pauseEndMs)
            continue;
        const bool pressed = pressedAt(script, now);
        const ButtonStep step = stepButton(state, pressed, settings, now);
        QVERIFY(!step.repeat || step.emit);
        if (step.emit)
            emitted << QString::number(now) + (pressed ? "+" : "-") + (step.repeat ? "r" : "");
    }
    QCOMPARE(emitted.join(' '), events);
}

// A calibration reload that drops the repeat disarms it for good, even if the old one comes back.
void TestInputProcessing::repeatDisarmedBySettingsChange()
{
    Button repeat;
    repeat.repeatOnPress = true;
    Button plain;
    ButtonState state;
    QVERIFY(stepButton(state, true, repeat, 0).emit);
    QVERIFY(!stepButton(state, true, plain, 400).emit);
    QVERIFY(!state.repeatArmed);
    QVERIFY(!stepButton(state, true, repeat, 500).emit);
}

void TestInputProcessing::axisPublishing_data()
{
    QTest::addColumn<Mode>("mode");
    QTest::addColumn<QList<double>>("raws");
    QTest::addColumn<QString>("published"); // per poll: 1 when "joy_0" is in the batch
    QTest::addColumn<QString>("moved");     // per poll: rawAxesMoved

    using L = QList<double>;
    QTest::newRow("onChange") << Mode::OnChange << L{0, 30, 30, 30, 0} << "01001"
                              << "01001";
    QTest::newRow("activeOnly") << Mode::ActiveOnly << L{0, 30, 30, 30, 0} << "01111"
                                << "01001";
    QTest::newRow("always") << Mode::Always << L{0, 0, 0} << "111"
                            << "000";
    QTest::newRow("slow drift") << Mode::OnChange << L{20, 20.4, 20.8, 21.4} << "1001"
                                << "1111";
    QTest::newRow("raw step 0.1") << Mode::OnChange << L{0.1, 0.2, 0.3001} << "100"
                                  << "001";
}

void TestInputProcessing::axisPublishing()
{
    QFETCH(Mode, mode);
    QFETCH(QList<double>, raws);
    QFETCH(QString, published);
    QFETCH(QString, moved);

    Cal calibration;
    calibration.axes = {identityAxis(mode)};
    InputProcessor processor;
    PollResult result;
    JoystickReadings readings;
    readings.axisPresent[0] = true;
    QString actualPublished, actualMoved;
    for (double raw : raws) {
        readings.axes[0] = raw;
        processor.process(readings, calibration, 0, result);
        actualPublished += result.keys.contains("joy_0") ? '1' : '0';
        actualMoved += result.rawAxesMoved ? '1' : '0';
        QCOMPARE(result.axisPublished, result.keys.contains("joy_0"));
        QCOMPARE(processor.axes()[0], raw); // stored even when not published
    }
    QCOMPARE(actualPublished, published);
    QCOMPARE(actualMoved, moved);
}

void TestInputProcessing::gateHysteresisAndSkipping()
{
    Cal calibration;
    calibration.axes = {identityAxis(), identityAxis()};
    calibration.gates = {makeGate("ring", 0, 1), makeGate("bad", 0, 9)};
    InputProcessor processor;
    PollResult result;
    JoystickReadings readings = allPresent();

    const QList<double> path = {70, 50, 52, 53, 51, 53.5, 52, 50, 60};
    QString events;
    for (double x : path) {
        readings.axes[0] = x;
        processor.process(readings, calibration, 0, result);
        for (const PollResult::GateEvent &event : result.gateEvents)
            events += QStringLiteral("%1:%2 ").arg(x).arg(int(event.value));
    }
    QCOMPARE(events, "50:1 53.5:0 50:1 60:0 ");
    QCOMPARE(processor.gateInside().keys(), QStringList{"ring"}); // the bad gate never stored

    // An absent axis skips the gate: no event and the stored state is kept.
    readings.axes[0] = 0.0;
    readings.axisPresent[1] = false;
    processor.process(readings, calibration, 0, result);
    QVERIFY(result.gateEvents.isEmpty());
    QCOMPARE(processor.gateInside().value("ring"), false);
    readings.axisPresent[1] = true;
    processor.process(readings, calibration, 0, result);
    QCOMPARE(result.gateEvents.size(), 1);
    QCOMPARE(processor.gateInside().value("ring"), true);

    // Forgotten states are entered again; a new key at the same position starts outside.
    processor.clearGates();
    processor.process(readings, calibration, 0, result);
    QCOMPARE(result.keys, QStringList{"ring"});
    calibration.gates = {makeGate("other", 0, 1)};
    processor.process(readings, calibration, 0, result);
    QCOMPARE(result.keys, QStringList{"other"});

    // Two gates sharing a key share one state: a single event per batch.
    calibration.gates = {makeGate("ring", 0, 1), makeGate("ring", 0, 1)};
    processor.process(readings, calibration, 0, result);
    QVERIFY(result.isEmpty());
    readings.axes[0] = 90.0;
    processor.process(readings, calibration, 0, result);
    QCOMPARE(result.keys, QStringList({"joy_0", "ring"}));
}

void TestInputProcessing::batchOrder()
{
    Cal calibration = defaultCalibration(8, 32);
    calibration.gates = {makeGate("zeta", 2, 3), makeGate("alpha", 0, 1)};
    calibration.gates[1].emitOnEnter = false; // entered silently
    InputProcessor processor;
    PollResult result;
    JoystickReadings readings = allPresent();
    readings.axes[7] = 54.0;
    readings.axes[3] = -54.0;
    readings.axisPresent[5] = false;
    readings.axes[5] = 99.0;
    readings.buttons[31] = readings.buttons[0] = readings.buttons[4] = true;

    processor.process(readings, calibration, 0, result);
    const QStringList expected = {"joy_3", "joy_7", "zeta", "but_0", "but_4", "but_31"};
    QCOMPARE(result.keys, expected);
    QCOMPARE(result.values, QVariantList({-50.0, 50.0, true, true, true, true}));
    QCOMPARE(result.values.at(0).typeId(), int(QMetaType::Double));
    QCOMPARE(result.values.at(2).typeId(), int(QMetaType::Bool));
    QCOMPARE(result.axisEvents.size(), 2);
    QCOMPARE(result.axisEvents.at(1).axis, 7);
    QCOMPARE(result.gateEvents.size(), 1);
    QCOMPARE(result.buttonEvents.size(), 3);
    QCOMPARE(result.buttonEvents.at(2).button, 31);
    QVERIFY(result.axisPublished && result.rawAxesMoved && result.buttonsChanged);
    QCOMPARE(processor.gateInside().value("alpha"), true);
    QCOMPARE(processor.rawAxes()[5], 0.0); // absent: not read

    // Same readings: only the deflected axes stream; a release without event still notifies.
    readings.buttons[4] = false;
    processor.process(readings, calibration, 10, result);
    QCOMPARE(result.keys, QStringList({"joy_3", "joy_7"}));
    QVERIFY(!result.rawAxesMoved && result.buttonsChanged && result.buttonEvents.isEmpty());
}

void TestInputProcessing::resetRestoresInitialState()
{
    Cal calibration = defaultCalibration(8, 32);
    calibration.gates = {Gate()};
    calibration.buttons[2].repeatOnPress = true;
    InputProcessor processor;
    PollResult result;
    JoystickReadings readings = allPresent();
    readings.axes.fill(60.0);
    readings.buttons[2] = true;
    processor.process(readings, calibration, 5, result);
    readings.axes[0] = readings.axes[1] = 0.0; // enters the gate
    readings.buttons[2] = false;
    processor.process(readings, calibration, 10, result);
    QVERIFY(!processor.gateInside().isEmpty());

    const qsizetype capacity = result.keys.capacity();
    result.clear();
    QVERIFY(result.isEmpty() && !result.axisPublished && !result.buttonsChanged);
    QCOMPARE(result.keys.capacity(), capacity);

    processor.reset();
    const InputProcessor fresh;
    QCOMPARE(processor.axes(), fresh.axes());
    QCOMPARE(processor.rawAxes(), fresh.rawAxes());
    QCOMPARE(processor.axisPresent(), fresh.axisPresent());
    QCOMPARE(processor.axisAtRest(), fresh.axisAtRest());
    QVERIFY(processor.gateInside().isEmpty());
    for (const ButtonState &state : processor.buttons()) {
        QVERIFY(!state.down && !state.repeatArmed && !state.repeatState);
        QCOMPARE(state.lastEdgeMs, qint64(-1));
        QCOMPARE(state.nextRepeatMs, qint64(0));
    }
    QVERIFY(std::all_of(fresh.axisAtRest().begin(), fresh.axisAtRest().end(),
                        [](bool rest) { return rest; }));
}

QTEST_GUILESS_MAIN(TestInputProcessing)
#include "tst_inputprocessing.moc"
