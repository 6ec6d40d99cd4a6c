#include "gamepadcalibration.h"

#include <QFile>
#include <QJsonArray>
#include <QTemporaryDir>
#include <QtTest>

using Cal = GamepadCalibration;

namespace {

Cal parsed(const QJsonArray &axes, const QJsonArray &buttons, const QJsonArray &gates,
           int axisCount = 1, int buttonCount = 1)
{
    return parseCalibration(
        {{"type", "GamepadCalibration"}, {"axes", axes}, {"buttons", buttons}, {"gates", gates}},
        nullptr, nullptr, axisCount, buttonCount);
}

// The key `key` of the first axis, button or gate, as written back.
QJsonValue writtenAt(const Cal &cal, const QString &key)
{
    const QJsonObject doc = calibrationToJson(cal, {}, {});
    for (const char *list : {"axes", "buttons", "gates"}) {
        if (doc[list][0].toObject().contains(key))
            return doc[list][0][key];
    }
    return {};
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
        // At the upper limit, beyond it, and below the lower one (mirrored where absolute).
        for (const auto &[key, low, high, absolute] : limits) {
            row(key, high, high);
            row(key, absolute ? -high - 1 : high + 1, high);
            if (!absolute)
                row(key, low - 1, low);
        }
        row("deadzoneRadius", -12, 12);
        row("gamma", 0, 0.05);
        row("gamma", 50, 50);
        row("outputScale", 0, 0.001);
        row("repeatDelayMs", 1e12, 60000);
        row("debounceMs", -1e12, 0);
    }

    // The key goes into all three lists; the two it does not belong to ignore it.
    void clamps()
    {
        QFETCH(QString, key);
        QFETCH(double, input);
        QFETCH(double, expected);
        const QJsonArray lists = {QJsonObject{{key, input}}};
        QCOMPARE(writtenAt(parsed(lists, lists, lists), key).toDouble(), expected);
    }

    void enumWords_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("word");
        QTest::addColumn<QString>("written");
        const auto row = [](const char *key, const char *word, const char *written) {
            QTest::addRow("%s \"%s\"", key, word)
                << QString(key) << QString(word) << QString(written);
        };
        row("mode", "TRIGGER", "trigger");
        row("mode", "stick", "bidirectional");
        row("curvePreset", "AGGRESSIVE", "aggressive");
        row("curvePreset", "quadratic", "linear");
        row("publishMode", " Continuous_Outside_Rest ", "activeOnly");
        row("publishMode", "  Always\t", "always");
        row("publishMode", "", "onChange");
    }

    void enumWords()
    {
        QFETCH(QString, key);
        QFETCH(QString, word);
        QFETCH(QString, written);
        QCOMPARE(writtenAt(parsed({QJsonObject{{key, word}}}, {}, {}), key).toString(), written);
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
        QJsonObject doc = calibrationToJson(cal, {" Pad ", 0x45E, 0x28E}, " {1234} ");
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
        doc = calibrationToJson(cal, {"  ", 0, 0}, " ");
        for (const char *key : {"deviceName", "vendorId", "productId", "profileId"})
            QVERIFY2(!doc.contains(key), key);

        QString error;
        const QString path = m_dir.filePath("new/sub/cal.json");
        QVERIFY2(saveCalibrationFile(path, cal, {}, {}, &error), qPrintable(error));
        Cal reloaded;
        QVERIFY(loadCalibrationFile(path, &reloaded, &error, 3, 5) && reloaded == cal);
        QVERIFY(loadCalibrationFile(path, &reloaded, &error, 10, 1));
        QVERIFY(reloaded.axes.size() == 10 && reloaded.axes.at(1) == cal.axes.at(1) &&
                reloaded.axes.at(9) == Cal::AxisSettings());
    }

    void loadFailures_data()
    {
        QTest::addColumn<QByteArray>("content"); // null: no file
        QTest::addColumn<QString>("expected");   // "*": any text
        const QString wrongType = "Unsupported calibration type";
        QTest::newRow("missing") << QByteArray() << QString();
        QTest::newRow("invalid") << QByteArray("{ \"type\": ") << "*";
        QTest::newRow("array") << QByteArray("[{\"type\":\"GamepadCalibration\"}]") << wrongType;
        QTest::newRow("wrong type") << QByteArray("{\"type\":\"gamepadcalibration\"}") << wrongType;
    }

    void loadFailures()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, expected);
        const QString path = m_dir.filePath(QTest::currentDataTag());
        QFile file(path);
        QVERIFY(content.isNull() || (file.open(QIODevice::WriteOnly) && file.write(content) >= 0));
        file.close();
        Cal out = defaultCalibration(1, 1);
        QString error;
        QVERIFY(!loadCalibrationFile(path, &out, &error, 2, 3));
        QVERIFY(out == defaultCalibration(2, 3));
        QVERIFY2(expected == "*" ? !error.isEmpty() : error == expected, qPrintable(error));
    }

    void saveFailures()
    {
        QString error;
        QVERIFY(saveCalibrationFile(m_dir.filePath("plain.json"), {}, {}, {}, &error));
        QVERIFY(!saveCalibrationFile(m_dir.filePath("plain.json/a/cal.json"), {}, {}, {}, &error));
        QVERIFY(!error.isEmpty());
        QVERIFY(!saveCalibrationFile("  ", {}, {}, {}, &error));
        QCOMPARE(error, QString("Empty path"));
    }

private:
    QTemporaryDir m_dir;
};

QTEST_GUILESS_MAIN(TestGamepadCalibration)
#include "tst_gamepadcalibration.moc"
