#include "calibrationsources.h"
#include "controlmanette.h"
#include "filetestsupport.h"
#include "inputrecorder.h"
#include "monitorcore.h"
#include "runtimetestsupport.h"

#include <QtTest>

// What a replay exits with, prints and complains of.
static QStringList replay(QByteArray input, const GamepadCalibration *calibration = nullptr)
{
    QBuffer buffer(&input);
    buffer.open(QIODevice::ReadOnly);
    QString out, err;
    QTextStream outStream(&out), errStream(&err);
    const int code = runReplay(buffer, outStream, errStream, calibration);
    return {QString::number(code), out, err};
}

// Every kind of input: a gated stick, a trigger, an absent axis, debounce, repeat, release, quiet.
static QString recordSession(const QString &path)
{
    GamepadCalibration calibration = defaultCalibration(8, 32);
    calibration.axes[2].mode = GamepadCalibration::AxisMode::Trigger;
    calibration.axes[2].restRaw = -100;
    calibration.buttons[1].repeatOnPress = true;
    calibration.buttons[2].debounceMs = 30;
    calibration.buttons[3].emitOnRelease = true;
    calibration.gates << defaultGateSettings(0);
    VirtualJoysticks pads;
    pads.backend.connectController(0, padIdentity("Rec Pad"), 32, 0x7f); // axis 7 absent
    qint64 now = -1000; // made a second before it starts: times count from the start
    ControlManette device(0);
    device.setClockSource([&now] { return now; }), device.pinCalibration(calibration);
    InputRecorder recorder; // started twice: a start ends the recording before it
    QString live, reason;
    QTextStream out(&live);
    QObject::connect(&recorder, &InputRecorder::failed, [&](const QString &why) { reason = why; });
    if (!recorder.start(&device, path + '~', &reason) || !recorder.start(&device, path, &reason))
        return reason;
    printBatchesOnDeviceClock(&device, out);
    now = 0, device.start();
    for (; now <= 2000; now += 10) {
        pads.backend.setAxis(0, 0, now < 1500 ? 90.0 * ((now % 700) / 700.0) - 45.0 : 0.3);
        pads.backend.setAxis(0, 1, now % 400 < 200 && now < 1500 ? 30.0 : 0.0);
        pads.backend.setAxis(0, 2, now < 1000 ? -100.0 + now / 5.0 : -100.0);
        pads.backend.setButton(0, 1, now >= 300 && now < 1200);
        pads.backend.setButton(0, 2, (now >= 200 && now < 230) || (now >= 240 && now < 600));
        pads.backend.setButton(0, 3, now % 300 < 150), device.poll();
    }
    return reason.isEmpty() ? live : "failed: " + reason;
}

class TestMonitorCore : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        useThrowAwayHome(m_home);
        std::signal(SIGXFSZ, SIG_IGN); // as the monitor does
        qApp->setProperty("kx.currentLogin", "tester");
    }

    // Values rounded to two decimals without a negative zero; the device only when given.
    void batchLineFormat()
    {
        QCOMPARE(batchLine(120, {"joy_0", "but_0"}, {-0.001, true}, 3),
                 R"({"t": 120, "device": 3, "keys": ["joy_0", "but_0"], "values": [0, true]})");
        QCOMPARE(batchLine(120, {"gate \"a\""}, {false}),
                 "{\"t\": 120, \"keys\": [\"gate \\\"a\\\"\"], \"values\": [false]}");
    }

    void arguments_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("durationMs"); // -1: rejected
        QTest::addColumn<QString>("error");  // a part of the message

        const QString badDuration = "--duration takes seconds from 0.001 to 604800, not \"%1\"";
        QTest::newRow("none") << QStringList{} << 0 << "";
        QTest::newRow("smallest") << QStringList{"--duration", "0.001"} << 1 << "";
        QTest::newRow("a week") << QStringList{"--duration", "604800"} << 604800000 << "";
        for (const char *bad : {"604800.01", "2200000", "inf", "nan", "0", "-1", "1e300", "soon"})
            QTest::newRow(bad) << QStringList{"--duration", bad} << -1 << badDuration.arg(bad);
        QTest::newRow("stray argument") << QStringList{"x.jsonl"} << -1 << "\"x.jsonl\"";
        QTest::newRow("record slot 7") << QStringList{"--record", "r", "--slot", "7"} << 0 << "";
        // clang-format off
        QTest::newRow("slot 8") << QStringList{"--record", "r", "--slot", "8"} << -1 << "--slot takes a controller index from 0 to 7, not \"8\"";
        QTest::newRow("record a replay") << QStringList{"--record", "r", "--replay", "s"} << -1 << "--record and --replay cannot be used together";
        QTest::newRow("slot alone") << QStringList{"--slot", "0"} << -1 << "--slot chooses the controller of --record";
        QTest::newRow("empty calibration") << QStringList{"--calibration", ""} << -1 << "--calibration needs a file name";
        // clang-format on
    }

    void arguments()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, error);
        QString message;
        const auto options = parseMonitorArguments(QStringList{"gamepad-monitor"} + args, &message);
        QTEST(options ? options->durationMs : -1, "durationMs");
        QVERIFY2(message.contains(error), qPrintable(message));
    }

    // The defaults apply, whatever calibration files this machine holds for the recorded pad.
    void replaySampleIgnoresCalibrationFiles()
    {
        GamepadCalibration wide = defaultCalibration(8, 32);
        wide.axes[1].deadzoneRadius = 40;
        const GamepadDeviceIdentity pad{"Rec Pad", 0x45e, 0x28e};
        QVERIFY(saveCalibrationFile(baseCalibrationWritePath(pad), wide, pad, {}, nullptr));
        const QByteArray sample = readBytes(GAMEPAD_TEST_DATA "/replay_sample.jsonl");
        const QString printed = "{\"t\": 120, \"keys\": [\"joy_1\", \"but_0\", \"but_3\"], "
                                "\"values\": [-29.89, true, true]}\n"
                                "{\"t\": 130, \"keys\": [\"joy_1\"], \"values\": [-29.89]}\n"
                                "{\"t\": 500, \"keys\": [\"joy_1\"], \"values\": [0]}\n";
        QCOMPARE(replay(sample), QStringList({QString::number(kExitSuccess), printed, ""}));

        // A given calibration applies, on the recorded clock: button 0 repeats at 470, seen at 500.
        wide.buttons[3].emitOnRelease = true;
        wide.buttons[0].repeatOnPress = true;
        QCOMPARE(replay(sample, &wide).at(1),
                 "{\"t\": 120, \"keys\": [\"but_0\", \"but_3\"], \"values\": [true, true]}\n"
                 "{\"t\": 130, \"keys\": [\"but_3\"], \"values\": [false]}\n"
                 "{\"t\": 500, \"keys\": [\"but_0\"], \"values\": [true]}\n");
    }

    void badReplayLine_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("error");

        const QString time = "\"t\" must be a whole number of milliseconds from 0 to 1e15";
        const QString axis = "\"axes\" entry %1 must be null or a number from -100 to 100";
        const QString button = "\"buttons\" entry %1 must be a button index from 0 to 31";
        QTest::newRow("t past 1e15") << "{\"t\": 1000000000000001}" << time;
        QTest::newRow("fractional t") << "{\"t\": 20.5}" << time;
        QTest::newRow("t goes back") << "{\"t\": 9}" << QString("\"t\" goes back from 10 to 9");
        QTest::newRow("not an object") << "[1]" << QString("not a JSON object");
        QTest::newRow("not JSON") << "nope" << QString("not JSON (illegal value)");
        QTest::newRow("axis above 100") << "{\"t\": 20, \"axes\": [0, 100.5]}" << axis.arg(1);
        QTest::newRow("axis as text") << "{\"t\": 20, \"axes\": [\"5\"]}" << axis.arg(0);
        QTest::newRow("nine axes") << "{\"t\": 20, \"axes\": [0,0,0,0,0,0,0,0,0]}"
                                   << "\"axes\" must be an array of at most 8 entries";
        QTest::newRow("button 32") << "{\"t\": 20, \"buttons\": [1, 32]}" << button.arg(1);
        QTest::newRow("button 1.5") << "{\"t\": 20, \"buttons\": [1.5]}" << button.arg(0);
        QTest::newRow("buttons as object") << "{\"t\": 20, \"buttons\": {}}"
                                           << "\"buttons\" must be an array of button indices";
    }

    // The replay stops at the bad line: what came before is printed, nothing after.
    void badReplayLine()
    {
        QFETCH(QString, line);
        QFETCH(QString, error);

        QCOMPARE(replay("{\"t\": 10, \"buttons\": [1]}\n" + line.toUtf8() +
                        "\n{\"t\": 30, \"buttons\": [2]}\n"),
                 QStringList({QString::number(kExitBadInput),
                              "{\"t\": 10, \"keys\": [\"but_1\"], \"values\": [true]}\n",
                              "line 2: " + error + "\n"}));
    }

    // A replay needs no option to print the live output byte for byte: line 1 has pad, calibration.
    void recordThenReplayAndStopWhenFull()
    {
        const QString path = m_home.filePath("session.jsonl"), live = recordSession(path);
        const QByteArray recorded = readBytes(path);
        QVERIFY(QFileInfo(path).permission(QFile::ReadOwner | QFile::WriteOwner)); // as any file
        QVERIFY(recorded.startsWith("{\"t\": 0, \"name\": \"Rec Pad\", \"vendorId\": "
                                    "\"0x045e\", \"productId\": \"0x028e\", \"axes\": "));
        QVERIFY(live.count('\n') > 100 && recorded.count('\n') < 170); // quiet polls skipped
        QCOMPARE(replay(recorded), QStringList({QString::number(kExitSuccess), live, ""}));
        QVERIFY(replay(recorded, &m_defaults).at(1) != live); // the options' calibration wins

        // A full disk stops a recording with the system's reason; the file keeps its whole lines.
        QString cut;
        const auto stopped = [&] { return !(cut = recordSession(path)).isEmpty(); };
        QVERIFY(runUnder(FileFault::DiskFull, stopped, rlim_t(recorded.size() - 300)));
        QCOMPARE(cut, "failed: " + QString::fromLocal8Bit(strerror(EFBIG)));
        const QByteArray kept = readBytes(path);
        QVERIFY(kept.endsWith('\n') && kept.size() < recorded.size() - 300);
        QCOMPARE(kept, recorded.left(kept.size()));
        const QStringList replayed = replay(kept);
        QCOMPARE(replayed.at(0), QString::number(kExitSuccess));
        QVERIFY(live.startsWith(replayed.at(1)) && replayed.at(1).size() > live.size() / 2);
        // Only the file asked for is written: a link or a pipe standing there is refused.
        const QString link = m_home.filePath("link.jsonl"), pipe = m_home.filePath("pipe.jsonl");
        QVERIFY(QFile::link(path, link) && mkfifo(QFile::encodeName(pipe).constData(), 0644) == 0);
        QCOMPARE(recordSession(link), QString::fromLocal8Bit(strerror(ELOOP)));
        QCOMPARE(recordSession(pipe), QString::fromLocal8Bit(strerror(ENXIO))); // nobody reads it
        QCOMPARE(readBytes(path), kept);
    }

private:
    QTemporaryDir m_home;
    const GamepadCalibration m_defaults = defaultCalibration(8, 32);
};

QTEST_GUILESS_MAIN(TestMonitorCore)
#include "tst_monitorcore.moc"
