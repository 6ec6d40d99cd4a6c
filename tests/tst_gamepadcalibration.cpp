#include "gamepadcalibration.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QtTest>

using Cal = GamepadCalibration;

namespace {

Cal parsed(const QJsonArray &axes, const QJsonArray &buttons, const QJsonArray &gates,
           int axisCount = 1, int buttonCount = 1)
{
    const QJsonObject object = {
        {"type", "GamepadCalibration"}, {"axes", axes}, {"buttons", buttons}, {"gates", gates}};
    return parseCalibration(object, nullptr, nullptr, axisCount, buttonCount);
}

// The numeric field `key` of the first axis, button or gate.
double numberAt(const Cal &cal, const QString &key)
{
    using A = Cal::AxisSettings;
    using B = Cal::ButtonSettings;
    using G = Cal::GateSettings;
    // clang-format off
    static const QHash<QString, double A::*> axis = {
        {"restRaw", &A::restRaw}, {"deadzoneRadius", &A::deadzoneRadius}, {"gamma", &A::gamma},
        {"outputScale", &A::outputScale}, {"outputOffset", &A::outputOffset},
        {"negativeRaw", &A::negativeRaw}, {"positiveRaw", &A::positiveRaw}, {"activeRaw", &A::activeRaw}};
    static const QHash<QString, qint32 B::*> button = {{"debounceMs", &B::debounceMs},
        {"repeatDelayMs", &B::repeatDelayMs}, {"repeatIntervalMs", &B::repeatIntervalMs}};
    static const QHash<QString, double G::*> gate = {{"centerX", &G::centerX},
        {"centerY", &G::centerY}, {"radius", &G::radius}, {"hysteresis", &G::hysteresis}};
    return axis.contains(key) ? cal.axes.at(0).*axis.value(key)
         : button.contains(key) ? cal.buttons.at(0).*button.value(key)
                                : cal.gates.at(0).*gate.value(key);
    // clang-format on
}

bool writeBytes(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

} // namespace

class TestGamepadCalibration : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void clamps_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<double>("input");
        QTest::addColumn<double>("expected");
        const auto row = [](const char *key, double in, double out) {
            QTest::addRow("%s %g", key, in) << QString(key) << in << out;
        };
        // clang-format off
        const std::tuple<const char *, double, double, bool> limits[] = {
            {"restRaw", -100, 100, false}, {"negativeRaw", -100, 100, false},
            {"positiveRaw", -100, 100, false}, {"activeRaw", -100, 100, false},
            {"deadzoneRadius", 0, 99, true}, {"outputScale", 0.001, 1000, true},
            {"outputOffset", -1000, 1000, false}, {"debounceMs", 0, 5000, false},
            {"repeatDelayMs", 0, 60000, false}, {"repeatIntervalMs", 10, 60000, false},
            {"centerX", -1e5, 1e5, false}, {"centerY", -1e5, 1e5, false},
            {"radius", 0, 2e5, true}, {"hysteresis", 0, 1e5, true}};
        // clang-format on
        for (const auto &[key, low, high, absolute] : limits) {
            row(key, low, low);
            row(key, high, high);
            row(key, high + 1, high);
            row(key, absolute ? -12 : low - 1, absolute ? 12 : low);
            if (absolute)
                row(key, -high - 1, high);
        }
        row("outputScale", 0, 0.001);
        row("gamma", 0.05, 0.05);
        row("gamma", 0.049, 0.05);
        row("gamma", 1e6, 1e6);
        row("repeatDelayMs", 1e12, 60000);
        row("debounceMs", -1e12, 0);
    }

    // The key goes into all three lists; the two it does not belong to ignore it.
    void clamps()
    {
        QFETCH(QString, key);
        QFETCH(double, input);
        QFETCH(double, expected);
        const QJsonArray list = {QJsonObject{{key, input}}};
        QCOMPARE(numberAt(parsed(list, list, list), key), expected);
    }

    void enumWords_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("word");
        QTest::addColumn<int>("read");
        QTest::addColumn<int>("value");
        QTest::addColumn<QString>("written"); // the word `value` is written as
        const auto row = [](const char *key, const char *word, int read, int value,
                            const char *written) {
            QTest::addRow("%s \"%s\" %d", key, word, value)
                << QString(key) << QString(word) << read << value << QString(written);
        };
        row("mode", "TRIGGER", 1, 1, "trigger");
        row("mode", "stick", 0, 2, "bidirectional");
        row("curvePreset", "Soft", 1, 1, "soft");
        row("curvePreset", "AGGRESSIVE", 2, 2, "aggressive");
        row("curvePreset", "quadratic", 0, 4, "linear");
        row("publishMode", " Continuous_Outside_Rest ", 1, 1, "activeOnly");
        row("publishMode", "active_only", 1, 1, "activeOnly");
        row("publishMode", "  Always\t", 2, 2, "always");
        row("publishMode", "onchange", 0, 0, "onChange");
        row("publishMode", "", 0, 3, "onChange");
    }

    void enumWords()
    {
        QFETCH(QString, key);
        QFETCH(QString, word);
        QFETCH(int, read);
        QFETCH(int, value);
        QFETCH(QString, written);
        if (key == "mode") {
            QCOMPARE(int(axisModeFromString(word)), read);
            QCOMPARE(axisModeToString(Cal::AxisMode(value)), written);
        } else if (key == "curvePreset") {
            QCOMPARE(int(curvePresetFromString(word)), read);
            QCOMPARE(curvePresetToString(Cal::CurvePreset(value)), written);
        } else {
            QCOMPARE(int(axisPublishModeFromString(word)), read);
            QCOMPARE(axisPublishModeToString(Cal::AxisPublishMode(value)), written);
        }
    }

    // Keys are trimmed; blanks take their index's default key and duplicates the first free one.
    void gates()
    {
        QJsonArray gates;
        for (const char *key : {" A ", "A", " \t ", "gate_4", "", "A"})
            gates << QJsonObject{{"key", key}};
        QStringList keys;
        for (const Cal::GateSettings &gate : parsed({}, {}, gates).gates)
            keys << gate.key;
        QCOMPARE(keys, (QStringList{"A", "gate_0", "gate_2", "gate_4", "gate_1", "gate_3"}));

        gates = {
            QJsonObject{{"emitOnEnter", false}, {"emitOnExit", false}, {"xAxis", 9}, {"yAxis", -2}},
            QJsonObject{{"emitOnEnter", false}}};
        const Cal cal = parsed({}, {}, gates, 4, 0);
        QVERIFY(cal.gates[0].emitOnEnter && !cal.gates[0].emitOnExit);
        QVERIFY(!cal.gates[1].emitOnEnter && cal.gates[1].emitOnExit);
        QVERIFY(cal.gates[0].xAxis == 3 && cal.gates[0].yAxis == 0);
        for (const Cal::GateSettings &gate : parsed({}, {}, gates, 0, 0).gates)
            QVERIFY(gate.xAxis == 0 && gate.yAxis == 0);
    }

    // Every key away from its default: read into its field, written back under its name.
    void roundTrip()
    {
        // clang-format off
        const QJsonObject axis = {
            {"enabled", false}, {"mode", "trigger"}, {"restRaw", -12.5}, {"deadzoneRadius", 4.25},
            {"invert", true}, {"curvePreset", "custom"}, {"gamma", 2.5}, {"outputScale", 3.5},
            {"outputOffset", -7.25}, {"negativeRaw", -80.5}, {"positiveRaw", 70.5},
            {"activeRaw", 60.5}, {"publishMode", "always"}};
        const QJsonObject button = {
            {"enabled", false}, {"emitOnPress", false}, {"emitOnRelease", true},
            {"debounceMs", 25}, {"repeatOnPress", true}, {"repeatOnRelease", true},
            {"repeatDelayMs", 500}, {"repeatIntervalMs", 40}};
        const QJsonObject gate = {
            {"enabled", false}, {"key", "aim"}, {"source2dKey", "stick_l"}, {"xAxis", 2},
            {"yAxis", 0}, {"centerX", -10.5}, {"centerY", 20.5}, {"radius", 30.5},
            {"hysteresis", 2.5}, {"emitOnEnter", false}, {"emitOnExit", true},
            {"invertOutput", true}};
        // clang-format on
        const Cal cal = parsed({QJsonObject(), axis}, {button}, {gate}, 3, 5);
        QVERIFY(cal.axes.at(0) == Cal::AxisSettings());
        QString error;
        const QString path = m_dir.filePath("new/sub/cal.json");
        const GamepadDeviceIdentity identity{" Pad ", 0x45E, 0x28E};
        QVERIFY2(saveCalibrationFile(path, cal, identity, " {1234} ", &error), qPrintable(error));
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QJsonObject doc = QJsonDocument::fromJson(file.readAll()).object();
        QVERIFY(doc["axes"].toArray().size() == 8 && doc["buttons"].toArray().size() == 32);
        QCOMPARE(doc["axes"][1], QJsonValue(axis));
        QCOMPARE(doc["buttons"][0], QJsonValue(button));
        QCOMPARE(doc["gates"], QJsonValue(QJsonArray{gate}));
        for (const char *list : {"axes", "buttons", "gates"})
            doc.remove(list);
        const QJsonObject header = {{"type", "GamepadCalibration"}, {"version", 3},
                                    {"deviceName", "Pad"},          {"vendorId", "0x045e"},
                                    {"productId", "0x028e"},        {"profileId", "{1234}"}};
        QCOMPARE(doc, header);
        const QJsonObject bare = calibrationToJson(cal, {"  ", 0, 0}, " ");
        for (const char *key : {"deviceName", "vendorId", "productId", "profileId"})
            QVERIFY2(!bare.contains(key), key);

        Cal reloaded;
        QVERIFY(loadCalibrationFile(path, &reloaded, &error, 3, 5));
        QVERIFY(reloaded == cal);
        QVERIFY(loadCalibrationFile(path, &reloaded, &error, 10, 1));
        QCOMPARE(reloaded.axes.size(), 10);
        QVERIFY(reloaded.axes.at(1) == cal.axes.at(1) &&
                reloaded.axes.at(9) == Cal::AxisSettings());
    }

    void loadFailures_data()
    {
        QTest::addColumn<QByteArray>("content"); // null: no file
        QTest::addColumn<QString>("expected");   // "*": any text
        const QString wrongType = "Unsupported calibration type";
        QTest::newRow("missing") << QByteArray() << QString();
        QTest::newRow("empty") << QByteArray("") << "*";
        QTest::newRow("invalid") << QByteArray("{ \"type\": ") << "*";
        QTest::newRow("array") << QByteArray("[{\"type\":\"GamepadCalibration\"}]") << wrongType;
        QTest::newRow("wrong type") << QByteArray("{\"type\":\"gamepadcalibration\"}") << wrongType;
    }

    void loadFailures()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, expected);
        const QString path = m_dir.filePath(QTest::currentDataTag());
        QVERIFY(content.isNull() || writeBytes(path, content));
        Cal out = defaultCalibration(1, 1);
        QString error;
        QVERIFY(!loadCalibrationFile(path, &out, &error, 2, 3));
        QVERIFY(out == defaultCalibration(2, 3));
        QVERIFY2(expected == "*" ? !error.isEmpty() : error == expected, qPrintable(error));
    }

    void saveFailures()
    {
        QVERIFY(writeBytes(m_dir.filePath("plain.txt"), "plain"));
        QString error;
        QVERIFY(!saveCalibrationFile(m_dir.filePath("plain.txt/a/cal.json"), {}, {}, {}, &error));
        QVERIFY(!error.isEmpty());
        QVERIFY(!saveCalibrationFile("  ", {}, {}, {}, &error));
        QCOMPARE(error, QString("Empty path"));
    }

private:
    QTemporaryDir m_dir;
};

QTEST_GUILESS_MAIN(TestGamepadCalibration)
#include "tst_gamepadcalibration.moc"
