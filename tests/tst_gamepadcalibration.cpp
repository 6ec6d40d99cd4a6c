#include "gamepadcalibration.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QtTest>

#include <limits>
#include <optional>

using Cal = GamepadCalibration;
using Axis = GamepadCalibration::AxisSettings;
using Button = GamepadCalibration::ButtonSettings;
using Gate = GamepadCalibration::GateSettings;

namespace {

constexpr double kHuge = 1e308;
constexpr int kIntMax = std::numeric_limits<int>::max();
constexpr int kIntMin = std::numeric_limits<int>::min();

// Written forms of the default settings: every key, nothing more.
// clang-format off
const QVariantMap kDefaultAxis = {
    {"enabled", true}, {"mode", "bidirectional"}, {"restRaw", 0}, {"deadzoneRadius", 8},
    {"invert", false}, {"curvePreset", "linear"}, {"gamma", 1}, {"outputScale", 1},
    {"outputOffset", 0}, {"negativeRaw", -100}, {"positiveRaw", 100}, {"activeRaw", 100},
    {"publishMode", "activeOnly"}};
const QVariantMap kDefaultButton = {{"enabled", true},        {"emitOnPress", true},
                                    {"emitOnRelease", false}, {"debounceMs", 0},
                                    {"repeatOnPress", false}, {"repeatOnRelease", false},
                                    {"repeatDelayMs", 350},   {"repeatIntervalMs", 120}};
const QVariantMap kDefaultGate = {
    {"enabled", true}, {"key", "gate_2"},     {"source2dKey", ""},  {"xAxis", 0},
    {"yAxis", 1},      {"centerX", 0},        {"centerY", 0},       {"radius", 50},
    {"hysteresis", 3}, {"emitOnEnter", true}, {"emitOnExit", true}, {"invertOutput", false}};
// clang-format on

QJsonObject document(const QJsonArray &axes, const QJsonArray &buttons = {},
                     const QJsonArray &gates = {})
{
    return {{"type", "GamepadCalibration"},
            {"version", 3},
            {"axes", axes},
            {"buttons", buttons},
            {"gates", gates}};
}

Cal parsed(const QJsonObject &object, int axisCount, int buttonCount, bool *ok = nullptr)
{
    return parseCalibration(object, ok, nullptr, axisCount, buttonCount);
}

QVariantMap writtenAt(const QJsonObject &doc, const char *list, int index)
{
    return doc.value(list).toArray().at(index).toObject().toVariantMap();
}

QStringList keysOf(const Cal &cal)
{
    QStringList keys;
    for (const Gate &gate : cal.gates)
        keys << gate.key;
    return keys;
}

const QHash<QString, double Axis::*> kAxisNumbers = {{"restRaw", &Axis::restRaw},
                                                     {"deadzoneRadius", &Axis::deadzoneRadius},
                                                     {"gamma", &Axis::gamma},
                                                     {"outputScale", &Axis::outputScale},
                                                     {"outputOffset", &Axis::outputOffset},
                                                     {"negativeRaw", &Axis::negativeRaw},
                                                     {"positiveRaw", &Axis::positiveRaw},
                                                     {"activeRaw", &Axis::activeRaw}};
const QHash<QString, qint32 Button::*> kButtonNumbers = {
    {"debounceMs", &Button::debounceMs},
    {"repeatDelayMs", &Button::repeatDelayMs},
    {"repeatIntervalMs", &Button::repeatIntervalMs}};
const QHash<QString, double Gate::*> kGateNumbers = {{"centerX", &Gate::centerX},
                                                     {"centerY", &Gate::centerY},
                                                     {"radius", &Gate::radius},
                                                     {"hysteresis", &Gate::hysteresis}};

const char *listOf(const QString &key)
{
    return kAxisNumbers.contains(key) ? "axes" : kButtonNumbers.contains(key) ? "buttons" : "gates";
}

// The numeric field `key` of the first axis, button or gate; assigned first when given a value.
double numberAt(Cal &cal, const QString &key, std::optional<double> value = {})
{
    if (kAxisNumbers.contains(key)) {
        double &field = cal.axes[0].*kAxisNumbers.value(key);
        return value ? field = *value : field;
    }
    if (kButtonNumbers.contains(key)) {
        qint32 &field = cal.buttons[0].*kButtonNumbers.value(key);
        return value ? field = qint32(*value) : field;
    }
    double &field = cal.gates[0].*kGateNumbers.value(key);
    return value ? field = *value : field;
}

bool writeBytes(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

// Fields away from their defaults, several out of range, gate keys that need repair.
Cal messyCalibration()
{
    Cal cal = defaultCalibration(8, 32);
    for (int i = 0; i < 8; ++i) {
        Axis &a = cal.axes[i];
        a.mode = Cal::AxisMode(i % 2);
        a.curvePreset = Cal::CurvePreset(i % 4);
        a.publishMode = Cal::AxisPublishMode(i % 3);
        a.restRaw = 30.0 * i - 150.0;
        a.deadzoneRadius = -3.5 - 20 * i;
        a.outputScale = -0.5 * i;
    }
    for (int i = 0; i < 32; ++i) {
        cal.buttons[i].emitOnRelease = i % 2;
        cal.buttons[i].debounceMs = 400 * i - 2000;
    }
    const QStringList keys = {" A ", "A", "", "gate_0", "   "};
    for (int i = 0; i < keys.size(); ++i) {
        Gate g = defaultGateSettings(i);
        g.key = keys.at(i);
        g.xAxis = 3 * i - 2;
        g.yAxis = 9 - i;
        g.radius = -40.0 * i;
        g.emitOnEnter = i % 2;
        g.emitOnExit = i > 2;
        cal.gates << g;
    }
    return cal;
}

} // namespace

class TestGamepadCalibration : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void defaults()
    {
        Cal cal = defaultCalibration(3, 5);
        QCOMPARE(cal.axes.size(), 3);
        QCOMPARE(cal.buttons.size(), 5);
        QVERIFY(cal.gates.isEmpty());
        QVERIFY(cal.axes.at(2) == Axis() && cal.buttons.at(4) == Button());
        const Cal none = defaultCalibration(-1, -7);
        QVERIFY(none.axes.isEmpty() && none.buttons.isEmpty());

        // Written whatever the device has: 8 axes and 32 buttons, every key of each.
        cal.gates = {defaultGateSettings(0), defaultGateSettings(1), defaultGateSettings(2)};
        const QJsonObject doc = calibrationToJson(cal, {}, {});
        QCOMPARE(doc.value("type").toString(), QStringLiteral("GamepadCalibration"));
        QCOMPARE(doc.value("version").toInt(), 3);
        QCOMPARE(doc.value("axes").toArray().size(), kCalibrationFileAxisCount);
        QCOMPARE(doc.value("buttons").toArray().size(), kCalibrationFileButtonCount);
        for (int i = 0; i < kCalibrationFileAxisCount; ++i)
            QCOMPARE(writtenAt(doc, "axes", i), kDefaultAxis);
        for (int i = 0; i < kCalibrationFileButtonCount; ++i)
            QCOMPARE(writtenAt(doc, "buttons", i), kDefaultButton);
        QCOMPARE(writtenAt(doc, "gates", 2), kDefaultGate);
        QCOMPARE(calibrationToJson(defaultCalibration(12, 40), {}, {})["axes"].toArray().size(), 8);

        QCOMPARE(defaultGateSettings(-4).key, QStringLiteral("gate_0"));
        QCOMPARE(defaultGateKey(-1), QStringLiteral("gate_0"));
        QCOMPARE(defaultGateKey(17), QStringLiteral("gate_17"));
        registerCalibrationMetaTypes();
        for (const char *name :
             {"GamepadCalibration::AxisSettings", "GamepadCalibration::ButtonSettings",
              "GamepadCalibration::GateSettings"})
            QVERIFY2(QMetaType::fromName(name).isValid(), name);
    }

    void typeMarker_data()
    {
        QTest::addColumn<QJsonValue>("type");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("exact") << QJsonValue("GamepadCalibration") << true;
        QTest::newRow("missing") << QJsonValue(QJsonValue::Undefined) << false;
        QTest::newRow("lower case") << QJsonValue("gamepadcalibration") << false;
        QTest::newRow("trailing blank") << QJsonValue("GamepadCalibration ") << false;
        QTest::newRow("other type") << QJsonValue("GamepadDefinderMeta") << false;
        QTest::newRow("number") << QJsonValue(3) << false;
    }

    void typeMarker()
    {
        QFETCH(QJsonValue, type);
        QFETCH(bool, accepted);
        QJsonObject object = document({QJsonObject{{"restRaw", 40}}}, {}, {QJsonObject()});
        object.remove("type");
        if (!type.isUndefined())
            object.insert("type", type);
        bool ok = !accepted;
        QString error;
        const Cal cal = parseCalibration(object, &ok, &error, 2, 3);
        QCOMPARE(ok, accepted);
        if (accepted) {
            QCOMPARE(cal.axes.at(0).restRaw, 40.0);
            QCOMPARE(cal.gates.size(), 1);
        } else {
            QCOMPARE(error, QStringLiteral("Unsupported calibration type"));
            QVERIFY(cal == defaultCalibration(2, 3));
        }
        QCOMPARE(parseCalibration(object, nullptr, nullptr, 2, 3).axes.size(), 2);
    }

    void arraySizes_data()
    {
        QTest::addColumn<int>("inFile");
        QTest::addColumn<int>("count");
        QTest::newRow("fewer in file") << 3 << 6;
        QTest::newRow("more in file") << 10 << 6;
        QTest::newRow("equal") << 8 << 8;
        QTest::newRow("empty array") << 0 << 4;
        QTest::newRow("device without inputs") << 5 << 0;
        QTest::newRow("negative count") << 3 << -2;
    }

    void arraySizes()
    {
        QFETCH(int, inFile);
        QFETCH(int, count);
        QJsonArray axes, buttons;
        for (int i = 0; i < inFile; ++i) {
            axes << QJsonObject{{"restRaw", i + 1}};
            buttons << QJsonObject{{"debounceMs", i + 1}};
        }
        bool ok = false;
        const Cal cal = parsed(document(axes, buttons), count, count, &ok);
        QVERIFY(ok);
        QCOMPARE(cal.axes.size(), qMax(count, 0));
        QCOMPARE(cal.buttons.size(), qMax(count, 0));
        for (int i = 0; i < cal.axes.size(); ++i) {
            QCOMPARE(cal.axes.at(i).restRaw, i < inFile ? i + 1.0 : 0.0);
            QCOMPARE(cal.buttons.at(i).debounceMs, i < inFile ? i + 1 : 0);
        }
    }

    void badElementsAndKeys()
    {
        // Non-object elements read as defaults but keep their position.
        const QJsonArray bad = {7, "x", QJsonValue::Null, QJsonArray{1}};
        QJsonArray axes = bad, buttons = bad, gates = {QJsonObject{{"key", "K"}}};
        axes << QJsonObject{{"restRaw", 6}};
        buttons << QJsonObject{{"debounceMs", 6}};
        for (const QJsonValue &value : bad)
            gates << value;
        Cal cal = parsed(document(axes, buttons, gates), 5, 5);
        for (int i = 0; i < 4; ++i) {
            QVERIFY(cal.axes.at(i) == Axis() && cal.buttons.at(i) == Button());
            QVERIFY(cal.gates.at(i + 1) == defaultGateSettings(i + 1));
        }
        QCOMPARE(cal.axes.at(4).restRaw, 6.0);
        QCOMPARE(cal.buttons.at(4).debounceMs, 6);
        QCOMPARE(cal.gates.at(0).key, QStringLiteral("K"));

        // Ill-typed keys keep their defaults; a string enum falls back to the default's word.
        QJsonObject axis, button, gate;
        for (const QString &key : kDefaultAxis.keys())
            axis[key] = kDefaultAxis[key].typeId() == QMetaType::QString ? QJsonValue(2) : "7";
        for (const QString &key : kDefaultButton.keys())
            button[key] = "5";
        for (const QString &key : kDefaultGate.keys())
            gate[key] = key == "key" || key == "source2dKey" ? QJsonValue(true) : QJsonValue("1");
        cal = parsed(document({axis}, {button}, {QJsonObject(), gate}), 2, 2);
        QVERIFY(cal.axes.at(0) == Axis());
        QVERIFY(cal.buttons.at(0) == Button());
        QVERIFY(cal.gates.at(1) == defaultGateSettings(1));

        QJsonObject notArrays = document({});
        notArrays["axes"] = QJsonObject{{"0", QJsonObject{{"restRaw", 9}}}};
        notArrays["buttons"] = "x";
        notArrays["gates"] = 4;
        QVERIFY(parsed(notArrays, 2, 2) == defaultCalibration(2, 2));
    }

    // Distinct non-default values in every key: read into the right fields, written back as read.
    void everyKeyReadAndWritten()
    {
        const QJsonObject axis = {
            {"enabled", false},       {"mode", "trigger"},   {"restRaw", -12.5},
            {"deadzoneRadius", 4.25}, {"invert", true},      {"curvePreset", "custom"},
            {"gamma", 2.5},           {"outputScale", 3.5},  {"outputOffset", -7.25},
            {"negativeRaw", -80.5},   {"positiveRaw", 70.5}, {"activeRaw", 60.5},
            {"publishMode", "always"}};
        const QJsonObject button = {{"enabled", false},      {"emitOnPress", false},
                                    {"emitOnRelease", true}, {"debounceMs", 25},
                                    {"repeatOnPress", true}, {"repeatOnRelease", true},
                                    {"repeatDelayMs", 500},  {"repeatIntervalMs", 40}};
        const QJsonObject gate = {
            {"enabled", false},     {"key", "aim"},       {"source2dKey", "stick_l"},
            {"xAxis", 2},           {"yAxis", 3},         {"centerX", -10.5},
            {"centerY", 20.5},      {"radius", 30.5},     {"hysteresis", 2.5},
            {"emitOnEnter", false}, {"emitOnExit", true}, {"invertOutput", true}};
        const Cal cal = parsed(document({axis}, {button}, {gate}), 8, 32);
        const Axis &a = cal.axes.at(0);
        QVERIFY(!a.enabled && a.invert && a.mode == Cal::AxisMode::Trigger);
        QCOMPARE(a.negativeRaw, -80.5);
        QCOMPARE(a.positiveRaw, 70.5);
        QCOMPARE(a.activeRaw, 60.5);
        QCOMPARE(a.publishMode, Cal::AxisPublishMode::Always);
        QCOMPARE(cal.buttons.at(0).repeatDelayMs, 500);
        QVERIFY(!cal.buttons.at(0).emitOnPress && cal.buttons.at(0).repeatOnRelease);
        QCOMPARE(cal.gates.at(0).centerY, 20.5);
        QCOMPARE(cal.gates.at(0).yAxis, 3);
        QVERIFY(!cal.gates.at(0).emitOnEnter && cal.gates.at(0).invertOutput);

        const QJsonObject doc = calibrationToJson(cal, {}, {});
        QCOMPARE(writtenAt(doc, "axes", 0), axis.toVariantMap());
        QCOMPARE(writtenAt(doc, "buttons", 0), button.toVariantMap());
        QCOMPARE(writtenAt(doc, "gates", 0), gate.toVariantMap());
    }

    void enumRead_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("word");
        QTest::addColumn<int>("expected");
        const auto row = [](const char *key, const char *word, int expected) {
            QTest::addRow("%s=\"%s\"", key, word) << QString(key) << QString(word) << expected;
        };
        for (const char *word : {"trigger", "TRIGGER", "Trigger"})
            row("mode", word, 1);
        for (const char *word : {"bidirectional", "stick", ""})
            row("mode", word, 0);
        row("curvePreset", "soft", 1);
        row("curvePreset", "Soft", 1);
        row("curvePreset", "AGGRESSIVE", 2);
        row("curvePreset", "Custom", 3);
        for (const char *word : {"linear", "quadratic", ""})
            row("curvePreset", word, 0);
        for (const char *word : {"onChange", "onchange", "sometimes", ""})
            row("publishMode", word, 0);
        for (const char *word : {"activeOnly", "ACTIVEONLY", "active_only", "continuousoutsiderest",
                                 " Continuous_Outside_Rest "})
            row("publishMode", word, 1);
        for (const char *word : {"always", "ALWAYS", "  Always\t"})
            row("publishMode", word, 2);
    }

    void enumRead()
    {
        QFETCH(QString, key);
        QFETCH(QString, word);
        QFETCH(int, expected);
        const Axis axis = parsed(document({QJsonObject{{key, word}}}), 1, 0).axes.at(0);
        if (key == "mode") {
            QCOMPARE(int(axisModeFromString(word)), expected);
            QCOMPARE(int(axis.mode), expected);
        } else if (key == "curvePreset") {
            QCOMPARE(int(curvePresetFromString(word)), expected);
            QCOMPARE(int(axis.curvePreset), expected);
        } else {
            QCOMPARE(int(axis.publishMode), expected);
        }
    }

    void enumWrite_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<int>("value");
        QTest::addColumn<QString>("word");
        const auto row = [](const char *key, int value, const char *word) {
            QTest::addRow("%s=%d", key, value) << QString(key) << value << QString(word);
        };
        row("mode", 1, "trigger");
        row("mode", 2, "bidirectional");
        row("mode", -1, "bidirectional");
        row("curvePreset", 1, "soft");
        row("curvePreset", 2, "aggressive");
        row("curvePreset", 3, "custom");
        row("curvePreset", 4, "linear");
        row("curvePreset", -3, "linear");
        row("publishMode", 0, "onChange");
        row("publishMode", 2, "always");
        row("publishMode", 3, "onChange");
        row("publishMode", 1000, "onChange");
    }

    void enumWrite()
    {
        QFETCH(QString, key);
        QFETCH(int, value);
        QFETCH(QString, word);
        Cal cal = defaultCalibration(1, 0);
        Axis &axis = cal.axes[0];
        QString converted;
        if (key == "mode") {
            axis.mode = static_cast<Cal::AxisMode>(value);
            converted = axisModeToString(axis.mode);
        } else if (key == "curvePreset") {
            axis.curvePreset = static_cast<Cal::CurvePreset>(value);
            converted = curvePresetToString(axis.curvePreset);
        } else {
            axis.publishMode = static_cast<Cal::AxisPublishMode>(value);
            converted = axisPublishModeToString(axis.publishMode);
        }
        QCOMPARE(converted, word);
        QCOMPARE(writtenAt(calibrationToJson(cal, {}, {}), "axes", 0).value(key).toString(), word);
    }

    void clamps_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<double>("input");
        QTest::addColumn<double>("expected");
        const auto row = [](const char *key, double in, double out) {
            QTest::addRow("%s %g", key, in) << QString(key) << in << out;
        };
        for (const char *key : {"restRaw", "negativeRaw", "positiveRaw", "activeRaw"}) {
            for (const double in : {-100.0, 100.0, -100.5, 250.0, kHuge, -kHuge})
                row(key, in, qBound(-100.0, in, 100.0));
        }
        for (const char *key : {"centerX", "centerY"}) {
            for (const double in : {-1e5, 1e5, 100001.0, -250000.0, kHuge, -kHuge})
                row(key, in, qBound(-1e5, in, 1e5));
        }
        const struct
        {
            const char *key;
            double in, out;
        } rows[] = {
            // clang-format off
            {"deadzoneRadius", -12, 12}, {"deadzoneRadius", 150, 99}, {"deadzoneRadius", 99, 99},
            {"deadzoneRadius", 0, 0}, {"deadzoneRadius", -99.5, 99}, {"deadzoneRadius", -kHuge, 99},
            {"gamma", 0, 0.05}, {"gamma", 50, 50}, {"gamma", 0.05, 0.05}, {"gamma", 0.049, 0.05},
            {"gamma", -3, 0.05}, {"gamma", kHuge, kHuge}, {"gamma", -kHuge, 0.05},
            {"outputScale", -2, 2}, {"outputScale", 0, 0.001}, {"outputScale", -0.0005, 0.001},
            {"outputScale", 1000, 1000}, {"outputScale", -1000.5, 1000},
            {"outputScale", kHuge, 1000}, {"outputScale", -kHuge, 1000},
            {"outputOffset", -1000, -1000}, {"outputOffset", 1000, 1000},
            {"outputOffset", 1000.5, 1000}, {"outputOffset", -2000, -1000},
            {"outputOffset", kHuge, 1000}, {"outputOffset", -kHuge, -1000},
            {"debounceMs", -1, 0}, {"debounceMs", 0, 0}, {"debounceMs", 5000, 5000},
            {"debounceMs", 5001, 5000}, {"debounceMs", 9000, 5000}, {"debounceMs", kIntMin, 0},
            {"repeatDelayMs", -5, 0}, {"repeatDelayMs", 0, 0}, {"repeatDelayMs", 60000, 60000},
            {"repeatDelayMs", 60001, 60000}, {"repeatDelayMs", kIntMax, 60000},
            {"repeatIntervalMs", 0, 10}, {"repeatIntervalMs", 9, 10}, {"repeatIntervalMs", 10, 10},
            {"repeatIntervalMs", -50, 10}, {"repeatIntervalMs", 60000, 60000},
            {"repeatIntervalMs", 70000, 60000}, {"repeatIntervalMs", kIntMin, 10},
            {"radius", 0, 0}, {"radius", -20, 20}, {"radius", 200000, 200000},
            {"radius", 200001, 200000}, {"radius", -300000, 200000}, {"radius", -kHuge, 200000},
            {"hysteresis", 0, 0}, {"hysteresis", -4, 4}, {"hysteresis", 100000, 100000},
            {"hysteresis", 1e6, 100000}, {"hysteresis", -kHuge, 100000},
            // clang-format on
        };
        for (const auto &r : rows)
            row(r.key, r.in, r.out);
    }

    void clamps()
    {
        QFETCH(QString, key);
        QFETCH(double, input);
        QFETCH(double, expected);
        QJsonObject doc = document({}, {}, {});
        doc[listOf(key)] = QJsonArray{QJsonObject{{key, input}}};
        Cal fromFile = parsed(doc, 1, 1);
        QCOMPARE(numberAt(fromFile, key), expected);

        Cal cal = defaultCalibration(1, 1);
        cal.gates << defaultGateSettings(0);
        numberAt(cal, key, input);
        Cal normalised = normalizeCalibration(cal, 1, 1);
        QCOMPARE(numberAt(normalised, key), expected);
    }

    void gateAxes_data()
    {
        QTest::addColumn<int>("axisCount");
        QTest::addColumn<int>("x");
        QTest::addColumn<int>("y");
        QTest::addColumn<int>("expectedX");
        QTest::addColumn<int>("expectedY");
        QTest::newRow("no axes") << 0 << 3 << 5 << 0 << 0;
        QTest::newRow("no axes, negative") << 0 << -1 << -7 << 0 << 0;
        QTest::newRow("negative count") << -3 << 1 << 1 << 0 << 0;
        QTest::newRow("one axis") << 1 << 1 << 0 << 0 << 0;
        QTest::newRow("below range") << 4 << -2 << 0 << 0 << 0;
        QTest::newRow("above range") << 4 << 3 << 9 << 3 << 3;
        QTest::newRow("in range") << 8 << 6 << 7 << 6 << 7;
        QTest::newRow("int limits") << 8 << kIntMax << kIntMin << 7 << 0;
    }

    void gateAxes()
    {
        QFETCH(int, axisCount);
        QFETCH(int, x);
        QFETCH(int, y);
        QFETCH(int, expectedX);
        QFETCH(int, expectedY);
        const QJsonObject gate = {{"xAxis", x}, {"yAxis", y}};
        const Gate fromFile = parsed(document({}, {}, {gate}), axisCount, 0).gates.at(0);
        QCOMPARE(fromFile.xAxis, expectedX);
        QCOMPARE(fromFile.yAxis, expectedY);
        Cal cal;
        cal.gates << defaultGateSettings(0);
        cal.gates[0].xAxis = x;
        cal.gates[0].yAxis = y;
        const Gate normalised = normalizeCalibration(cal, axisCount, 0).gates.at(0);
        QCOMPARE(normalised.xAxis, expectedX);
        QCOMPARE(normalised.yAxis, expectedY);
    }

    void gateKeys_data()
    {
        QTest::addColumn<QStringList>("keys");
        QTest::addColumn<QStringList>("expected");
        const auto row = [](const char *name, const QStringList &keys,
                            const QStringList &expected) {
            QTest::newRow(name) << keys << expected;
        };
        row("trimmed", {" A ", "\tB"}, {"A", "B"});
        row("empty first", {""}, {"gate_0"});
        row("blank at index 2", {"x", "y", "   "}, {"x", "y", "gate_2"});
        row("duplicate", {"A", "A"}, {"A", "gate_0"});
        row("duplicate after trim", {"A", " A "}, {"A", "gate_0"});
        row("duplicate, gate_0 taken", {"gate_0", "A", "A"}, {"gate_0", "A", "gate_1"});
        row("duplicate, gate_0 and 1 taken", {"gate_1", "gate_0", "gate_1"},
            {"gate_1", "gate_0", "gate_2"});
        row("blank whose default is taken", {"gate_1", ""}, {"gate_1", "gate_0"});
        row("three of a kind", {"A", "A", "A"}, {"A", "gate_0", "gate_1"});
        row("case matters", {"A", "a"}, {"A", "a"});
    }

    void gateKeys()
    {
        QFETCH(QStringList, keys);
        QFETCH(QStringList, expected);
        QJsonArray gates;
        Cal cal;
        for (int i = 0; i < keys.size(); ++i) {
            gates << QJsonObject{{"key", keys.at(i)}, {"source2dKey", " src "}};
            cal.gates << defaultGateSettings(i);
            cal.gates.last().key = keys.at(i);
        }
        const Cal fromFile = parsed(document({}, {}, gates), 2, 0);
        QCOMPARE(keysOf(fromFile), expected);
        QCOMPARE(fromFile.gates.at(0).source2dKey, QStringLiteral("src"));
        QCOMPARE(keysOf(normalizeCalibration(cal, 2, 0)), expected);
    }

    // A gate always emits on at least one edge.
    void gateEmitFlags()
    {
        for (const auto &[enter, exit] : {std::pair{false, false}, {false, true}, {true, false}}) {
            const QJsonObject gate = {{"emitOnEnter", enter}, {"emitOnExit", exit}};
            const Gate fromFile = parsed(document({}, {}, {gate}), 2, 0).gates.at(0);
            QCOMPARE(fromFile.emitOnEnter, enter || !exit);
            QCOMPARE(fromFile.emitOnExit, exit);
            Cal cal;
            cal.gates << defaultGateSettings(0);
            cal.gates[0].emitOnEnter = enter;
            cal.gates[0].emitOnExit = exit;
            QCOMPARE(normalizeCalibration(cal, 2, 0).gates.at(0).emitOnEnter, enter || !exit);
        }
    }

    void identityKeys_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<quint32>("vendor");
        QTest::addColumn<quint32>("product");
        QTest::addColumn<QString>("profileId");
        QTest::addColumn<QStringList>("expected"); // name, vendor, product, profile; empty = absent
        QTest::newRow("all present") << "  Pad X  " << 0x45Eu << 0x28Eu << " {1234} "
                                     << QStringList{"Pad X", "0x045e", "0x028e", "{1234}"};
        QTest::newRow("nothing") << "" << 0u << 0u << "" << QStringList{"", "", "", ""};
        QTest::newRow("blanks only") << "   " << 0u << 0u << "  " << QStringList{"", "", "", ""};
        QTest::newRow("product only")
            << "P" << 0u << 1u << "" << QStringList{"P", "", "0x0001", ""};
        QTest::newRow("upper-case hex")
            << "" << 0xABCDu << 0u << "" << QStringList{"", "0xabcd", "", ""};
        QTest::newRow("more than 4 digits")
            << "" << 0x12345u << 0xFFFFFFFFu << "" << QStringList{"", "0x12345", "0xffffffff", ""};
    }

    void identityKeys()
    {
        QFETCH(QString, name);
        QFETCH(quint32, vendor);
        QFETCH(quint32, product);
        QFETCH(QString, profileId);
        QFETCH(QStringList, expected);
        const QJsonObject doc =
            calibrationToJson(defaultCalibration(2, 2), {name, vendor, product}, profileId);
        const QStringList keys = {"deviceName", "vendorId", "productId", "profileId"};
        for (int i = 0; i < keys.size(); ++i) {
            QCOMPARE(doc.contains(keys[i]), !expected[i].isEmpty());
            QCOMPARE(doc.value(keys[i]).toString(), expected[i]);
        }
        QCOMPARE(paddedHexId(product), QStringLiteral("0x%1").arg(product, 4, 16, QChar('0')));
    }

    void roundTrip_data()
    {
        QTest::addColumn<int>("axisCount");
        QTest::addColumn<int>("buttonCount");
        QTest::newRow("full capacity") << 8 << 32;
        QTest::newRow("small device") << 3 << 5;
        QTest::newRow("no inputs") << 0 << 0;
        QTest::newRow("beyond capacity") << 12 << 40;
    }

    void roundTrip()
    {
        QFETCH(int, axisCount);
        QFETCH(int, buttonCount);
        const Cal messy = messyCalibration();
        const GamepadDeviceIdentity identity{"Pad", 0x45E, 0x28E};
        const QString path =
            m_dir.filePath(QStringLiteral("%1/new/cal.json").arg(QTest::currentDataTag()));
        QString error;
        QVERIFY2(saveCalibrationFile(path, messy, identity, "{abc}", &error), qPrintable(error));
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        QVERIFY(bytes.contains("\n    \"")); // indented
        QCOMPARE(QJsonDocument::fromJson(bytes).object(),
                 calibrationToJson(messy, identity, "{abc}"));

        // The file holds the calibration normalised to the joystick layer's capacities.
        const Cal expected =
            normalizeCalibration(normalizeCalibration(messy, 8, 32), axisCount, buttonCount);
        Cal loaded;
        QVERIFY(loadCalibrationFile(path, &loaded, &error, axisCount, buttonCount));
        QVERIFY(loaded == expected);
        QCOMPARE(keysOf(loaded), (QStringList{"A", "gate_0", "gate_2", "gate_1", "gate_4"}));
        QVERIFY(normalizeCalibration(loaded, axisCount, buttonCount) == loaded);
        QVERIFY(loadCalibrationFile(path, nullptr, nullptr, axisCount, buttonCount));

        // A shorter document over a longer one leaves no trailing bytes.
        QVERIFY(saveCalibrationFile(path, Cal(), {}, {}, nullptr));
        QVERIFY(loadCalibrationFile(path, &loaded, nullptr, axisCount, buttonCount));
        QVERIFY(loaded == defaultCalibration(axisCount, buttonCount));
    }

    void loadFailures_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("expectedError"); // "*": any text, "?": not checked
        QTest::newRow("missing file") << "missing.json" << QByteArray() << "";
        QTest::newRow("empty path") << "" << QByteArray() << "";
        QTest::newRow("blank path") << "   " << QByteArray() << "";
        QTest::newRow("empty file") << "empty.json" << QByteArray("") << "*";
        QTest::newRow("invalid JSON") << "invalid.json" << QByteArray("{ \"type\": ") << "*";
        QTest::newRow("array") << "array.json" << QByteArray("[{\"type\":\"GamepadCalibration\"}]")
                               << "?";
        QTest::newRow("wrong type") << "wrong.json" << QByteArray("{\"type\":\"Calibration\"}")
                                    << "Unsupported calibration type";
        QTest::newRow("directory") << "folder" << QByteArray() << "?";
    }

    void loadFailures()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, content);
        QFETCH(QString, expectedError);
        const QString path = name.trimmed().isEmpty() ? name : m_dir.filePath(name);
        if (name == "folder")
            QVERIFY(QDir(m_dir.path()).mkpath(name));
        else if (!content.isNull())
            QVERIFY(writeBytes(path, content));
        Cal out = messyCalibration();
        QString error;
        QVERIFY(!loadCalibrationFile(path, &out, &error, 3, 4));
        QVERIFY(out == defaultCalibration(3, 4));
        if (expectedError == "*")
            QVERIFY(!error.isEmpty());
        else if (expectedError != "?")
            QCOMPARE(error, expectedError);
        QVERIFY(!loadCalibrationFile(path, nullptr, nullptr, 3, 4));
    }

    void saveFailures_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("expectedError"); // "*": any text
        QTest::newRow("empty path") << ""
                                    << "Empty path";
        QTest::newRow("blank path") << "  "
                                    << "Empty path";
        QTest::newRow("parent is a file") << "plain.txt/cal.json"
                                          << "*";
        QTest::newRow("ancestor is a file") << "plain.txt/a/b/cal.json"
                                            << "*";
    }

    void saveFailures()
    {
        QFETCH(QString, path);
        QFETCH(QString, expectedError);
        QVERIFY(writeBytes(m_dir.filePath("plain.txt"), "plain"));
        if (!path.trimmed().isEmpty())
            path = m_dir.filePath(path);
        QString error;
        QVERIFY(!saveCalibrationFile(path, defaultCalibration(2, 2), {}, {}, &error));
        if (expectedError == "*")
            QVERIFY(!error.isEmpty());
        else
            QCOMPARE(error, expectedError);
        QVERIFY(!saveCalibrationFile(path, defaultCalibration(2, 2), {}, {}, nullptr));
    }

private:
    QTemporaryDir m_dir;
};

QTEST_GUILESS_MAIN(TestGamepadCalibration)
#include "tst_gamepadcalibration.moc"
