#include "monitorcore.h"
#include "runtimetestsupport.h"

#include <QBuffer>
#include <QFile>
#include <QtTest>

namespace {

struct ReplayRun
{
    int code = -1;
    QString out, err;
};

ReplayRun replay(QByteArray input, const GamepadCalibration *calibration = nullptr)
{
    QBuffer buffer(&input);
    buffer.open(QIODevice::ReadOnly);
    ReplayRun run;
    QTextStream out(&run.out), err(&run.err);
    run.code = runReplay(buffer, out, err, calibration);
    return run;
}

QByteArray sample()
{
    QFile file(QStringLiteral(GAMEPAD_TEST_DATA "/replay_sample.jsonl"));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class tst_MonitorCore : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { useThrowAwayHome(m_home); }

    // Values rounded to two decimals without a negative zero; the device only when given.
    void batchLineFormat()
    {
        QCOMPARE(
            batchLine(120, {"joy_0", "but_0"}, {-0.001, true}, 3),
            "{\"t\": 120, \"device\": 3, \"keys\": [\"joy_0\", \"but_0\"], \"values\": [0, true]}");
        QCOMPARE(batchLine(120, {"gate \"a\""}, {false}),
                 "{\"t\": 120, \"keys\": [\"gate \\\"a\\\"\"], \"values\": [false]}");
    }

    void replayPrintsOneLinePerPublishingPoll()
    {
        const ReplayRun run = replay(sample());
        QCOMPARE(run.out, "{\"t\": 120, \"keys\": [\"joy_1\", \"but_0\", \"but_3\"], \"values\": "
                          "[-29.89, true, true]}\n"
                          "{\"t\": 130, \"keys\": [\"joy_1\"], \"values\": [-29.89]}\n"
                          "{\"t\": 130, \"keys\": [\"joy_1\"], \"values\": [0]}\n");
        QCOMPARE(run.code, 1); // one line was not JSON
        QVERIFY2(run.err.contains("line 4:"), qPrintable(run.err));
        QVERIFY2(run.err.contains("line 5: time goes back"), qPrintable(run.err));
    }

    void replayUsesTheGivenCalibration()
    {
        GamepadCalibration calibration = defaultCalibration(8, 32);
        calibration.axes[1].deadzoneRadius = 40; // -35.5 is now at rest
        calibration.buttons[3].emitOnRelease = true;
        QCOMPARE(replay(sample(), &calibration).out,
                 "{\"t\": 120, \"keys\": [\"but_0\", \"but_3\"], \"values\": [true, true]}\n"
                 "{\"t\": 130, \"keys\": [\"but_3\"], \"values\": [false]}\n");
    }

    // Repeats follow the recorded times: due at 350 and 470, the second shows at 500.
    void replayRepeatsOnTheRecordedClock()
    {
        GamepadCalibration calibration = defaultCalibration(8, 32);
        calibration.buttons[0].repeatOnPress = true;
        QByteArray input;
        for (int t = 0; t <= 500; t += 50)
            input += QStringLiteral("{\"t\": %1, \"buttons\": [0]}\n").arg(t).toUtf8();
        const ReplayRun run = replay(input, &calibration);
        const QString line = "{\"t\": %1, \"keys\": [\"but_0\"], \"values\": [true]}\n";
        QCOMPARE(run.out, line.arg(0) + line.arg(350) + line.arg(500));
        QCOMPARE(run.code, 0);
    }

private:
    QTemporaryDir m_home;
};

QTEST_GUILESS_MAIN(tst_MonitorCore)
#include "tst_monitorcore.moc"
