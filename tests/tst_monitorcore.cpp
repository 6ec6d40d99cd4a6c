#include "monitorcore.h"
#include "runtimetestsupport.h"

#include <QBuffer>
#include <QFile>
#include <QtTest>

namespace {

struct ReplayRun
{
    int code = -1;
    QString out;
    QString err;
};

ReplayRun replay(const QByteArray &input, const GamepadCalibration *calibration = nullptr)
{
    QByteArray data = input;
    QBuffer buffer(&data);
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

    void batchLineFormat_data()
    {
        QTest::addColumn<QStringList>("keys");
        QTest::addColumn<QVariantList>("values");
        QTest::addColumn<int>("device");
        QTest::addColumn<QString>("line");
        QTest::newRow("mixed")
            << QStringList{"joy_1", "but_0"} << QVariantList{-29.891304, true} << -1
            << "{\"t\": 120, \"keys\": [\"joy_1\", \"but_0\"], \"values\": [-29.89, true]}";
        QTest::newRow("negative zero and device")
            << QStringList{"joy_0"} << QVariantList{-0.001} << 3
            << "{\"t\": 120, \"device\": 3, \"keys\": [\"joy_0\"], \"values\": [0]}";
        QTest::newRow("quoted gate key")
            << QStringList{"gate \"a\""} << QVariantList{false} << -1
            << "{\"t\": 120, \"keys\": [\"gate \\\"a\\\"\"], \"values\": [false]}";
    }
    void batchLineFormat()
    {
        QFETCH(QStringList, keys);
        QFETCH(QVariantList, values);
        QFETCH(int, device);
        QFETCH(QString, line);
        QCOMPARE(batchLine(120, keys, values, device), line);
    }

    void replayPrintsOneLinePerPublishingPoll()
    {
        const ReplayRun run = replay(sample());
        QCOMPARE(
            run.out,
            QStringLiteral("{\"t\": 120, \"keys\": [\"joy_1\", \"but_0\", \"but_3\"], \"values\": "
                           "[-29.89, true, true]}\n"
                           "{\"t\": 130, \"keys\": [\"joy_1\"], \"values\": [-29.89]}\n"
                           "{\"t\": 130, \"keys\": [\"joy_1\"], \"values\": [0]}\n"));
        QCOMPARE(run.code, 1); // one line was not JSON
        QVERIFY2(run.err.contains("line 4:"), qPrintable(run.err));
        QVERIFY2(run.err.contains("line 5: time goes back"), qPrintable(run.err));
    }

    void replayUsesTheGivenCalibration()
    {
        GamepadCalibration calibration = defaultCalibration(8, 32);
        calibration.axes[1].deadzoneRadius = 40; // -35.5 is now at rest
        calibration.buttons[3].emitOnRelease = true;
        const ReplayRun run = replay(sample(), &calibration);
        QCOMPARE(run.out,
                 QStringLiteral(
                     "{\"t\": 120, \"keys\": [\"but_0\", \"but_3\"], \"values\": [true, true]}\n"
                     "{\"t\": 130, \"keys\": [\"but_3\"], \"values\": [false]}\n"));
    }

    void replayRepeatsOnTheRecordedClock()
    {
        GamepadCalibration calibration = defaultCalibration(8, 32);
        calibration.buttons[0].repeatOnPress = true;
        QByteArray input;
        for (int t = 0; t <= 500; t += 50)
            input += QStringLiteral("{\"t\": %1, \"buttons\": [0]}\n").arg(t).toUtf8();
        const ReplayRun run = replay(input, &calibration);
        QCOMPARE(run.code, 0);
        QCOMPARE(run.out.count("\"but_0\""), 3); // press at 0, repeats at 350 and 500 (>= 470)
        QVERIFY(run.out.startsWith("{\"t\": 0,"));
        QVERIFY(run.out.contains("{\"t\": 350,"));
    }

private:
    QTemporaryDir m_home;
};

QTEST_GUILESS_MAIN(tst_MonitorCore)
#include "tst_monitorcore.moc"
