#include "gamepadcalibration.h"
#include "jsonfile.h"

#include <QtTest>

using Cal = GamepadCalibration;

static Cal parsed(const QJsonArray &axes, const QJsonArray &buttons, const QJsonArray &gates,
                  int axisCount = 1, int buttonCount = 1)
{
    return parseCalibration(
        {{"type", "GamepadCalibration"}, {"axes", axes}, {"buttons", buttons}, {"gates", gates}},
        nullptr, nullptr, axisCount, buttonCount);
}

// The key `key` of the first axis, button or gate, as written back.
static QJsonValue writtenAt(const Cal &cal, const QString &key)
{
    const QJsonObject doc = calibrationToJson(cal, {}, {});
    for (const char *list : {"axes", "buttons", "gates"})
        if (doc[list][0].toObject().contains(key))
            return doc[list][0][key];
    return {};
}

class TestGamepadCalibration : public QObject
{
    Q_OBJECT

private slots:
    // A value read from a file and written back: clamped, or its word normalised.
    void readThenWritten_data()
    {
        QTest::addColumn<QJsonArray>("lists");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QJsonValue>("written");
        const auto row = [](const char *key, const QJsonValue &in, const QJsonValue &out) {
            QTest::addRow("%s %s", key, qPrintable(in.toVariant().toString()))
                << QJsonArray{QJsonObject{{key, in}}} << QString(key) << out;
        };
        row("deadzoneRadius", 150, 99), row("gamma", 0, 0.05);
        row("outputScale", 0, 0.001), row("debounceMs", 9000, 5000);
        row("debounceMs", 12.5, 0); // not a whole number: the default
        row("repeatDelayMs", 1e12, 350), row("repeatIntervalMs", 60001, 60000);
        row("xAxis", 9, 3), row("mode", "TRIGGER", "trigger");
        row("publishMode", " Continuous_Outside_Rest ", "activeOnly");
        QTest::newRow("a gate emits on one edge at least")
            << QJsonArray{QJsonObject{{"emitOnEnter", false}, {"emitOnExit", false}}}
            << "emitOnEnter" << QJsonValue(true);
    }

    // The input goes into all three lists; the two it does not belong to ignore it.
    void readThenWritten()
    {
        QFETCH(QJsonArray, lists);
        QFETCH(QString, key);
        QTEST(writtenAt(parsed(lists, lists, lists, 4), key), "written");
    }

    // Keys are trimmed; blanks take their index's default key and duplicates the first free one.
    void gateKeys_data()
    {
        QTest::addColumn<QStringList>("keys");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("blanks and duplicates")
            << QStringList{" A ", "A", " \t ", "gate_4", "", "A"}
            << QStringList{"A", "gate_0", "gate_2", "gate_4", "gate_1", "gate_3"};
        QTest::newRow("taken after use") << QStringList{"k", "k", "gate_0", "k"}
                                         << QStringList{"k", "gate_0", "gate_1", "gate_2"};
        QTest::newRow("inputs' keys")
            << QStringList{"joy_0", "but_31", "joy_8", "but_07", "gate_0"}
            << QStringList{"gate_0", "gate_1", "joy_8", "but_07", "gate_2"};
        // Quadratic de-duplication takes many minutes here and the test times out.
        QStringList many(100000, "k"), renamed{"k"};
        for (int i = 0; i + 1 < many.size(); ++i)
            renamed << defaultGateKey(i);
        QTest::newRow("100000 equal keys") << many << renamed;
    }

    void gateKeys()
    {
        QFETCH(QStringList, keys);
        Cal cal;
        for (const QString &key : keys)
            cal.gates << Cal::GateSettings{true, key, {}};
        QStringList result;
        for (const Cal::GateSettings &gate : normalizeCalibration(cal, 2, 0).gates)
            result << gate.key;
        QTEST(result, "expected");
    }

    // Every key away from its default: read into its field, written back under its name.
    void roundTrip()
    {
        const auto json = [](const char *text) { return QJsonDocument::fromJson(text).object(); };
        const QJsonObject axis = json(R"({"enabled": false, "mode": "trigger", "restRaw": -12.5,
            "deadzoneRadius": 4.25, "invert": true, "curvePreset": "custom", "gamma": 2.5,
            "outputScale": 3.5, "outputOffset": -7.25, "negativeRaw": -80.5, "positiveRaw": 70.5,
            "activeRaw": 60.5, "publishMode": "always"})");
        const QJsonObject button = json(R"({"enabled": false, "emitOnPress": false,
            "emitOnRelease": true, "debounceMs": 25, "repeatOnPress": true,
            "repeatOnRelease": true, "repeatDelayMs": 500, "repeatIntervalMs": 40})");
        const QJsonObject gate = json(R"({"enabled": false, "key": "aim", "source2dKey": "stick_l",
            "xAxis": 2, "yAxis": 0, "centerX": -10.5, "centerY": 20.5, "radius": 30.5,
            "hysteresis": 2.5, "emitOnEnter": false, "emitOnExit": true, "invertOutput": true})");
        const Cal cal = parsed({QJsonObject(), axis}, {button}, {gate}, 3, 5);
        QJsonObject doc = calibrationToJson(cal, {" Pad ", 0x45E, 0x28E}, " {1234} ");
        QVERIFY(doc["axes"].toArray().size() == 8 && doc["buttons"].toArray().size() == 32);
        QCOMPARE(doc.take("axes")[1], QJsonValue(axis));
        QCOMPARE(doc.take("buttons")[0], QJsonValue(button));
        QCOMPARE(doc.take("gates"), QJsonValue(QJsonArray{gate}));
        QCOMPARE(doc, json(R"({"type": "GamepadCalibration", "version": 3, "deviceName": "Pad",
            "vendorId": "0x045e", "productId": "0x028e", "profileId": "{1234}"})"));
        QCOMPARE(calibrationToJson(cal, {"  ", 0, 0}, " ").keys(), // a blank identity writes none
                 (QStringList{"axes", "buttons", "gates", "type", "version"}));

        QString error;
        const QTemporaryDir dir;
        const QString path = dir.filePath("new/sub/cal.json");
        QVERIFY2(saveCalibrationFile(path, cal, {}, {}, &error), qPrintable(error));
        Cal reloaded;
        QVERIFY(loadCalibrationFile(path, &reloaded, &error, 3, 5) && reloaded == cal);
        QCOMPARE(parsed({}, {}, {QJsonObject{{"xAxis", 5}}}, 0, 0).gates[0].xAxis, 0);
        QTest::ignoreMessage(QtWarningMsg,
                             "Gamepad calibration gate key refused key=joy_3: an input's key");
        QCOMPARE(parsed({}, {}, {QJsonObject{{"key", " joy_3 "}}}).gates[0].key, "gate_0");
        // A file of another type leaves defaults.
        QVERIFY(writeFileAtomic(path, R"({"type":"gamepadcalibration"})", nullptr));
        QVERIFY(!loadCalibrationFile(path, &reloaded, &error, 2, 3));
        QVERIFY(error == "Unsupported calibration type" && reloaded == defaultCalibration(2, 3));
        error.clear(); // no file is no error: most controllers have none
        QVERIFY(!loadCalibrationFile(path + "x", &reloaded, &error, 2, 3) && error.isEmpty());
        QCOMPARE(normalizeCalibration(defaultCalibration(9, 33), 8, 32), defaultCalibration(8, 32));
    }
};

QTEST_GUILESS_MAIN(TestGamepadCalibration)
#include "tst_gamepadcalibration.moc"
