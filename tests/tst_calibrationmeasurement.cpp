#include "calibrationmeasurement.h"

#include <QtTest>

#include <limits>

using AxisMode = GamepadCalibration::AxisMode;
using Samples = QList<double>;

static const double kNaN = std::numeric_limits<double>::quiet_NaN();
static const double kInf = std::numeric_limits<double>::infinity();

// Axis 0 is measured from `rest` then `motion`; axis 1 reads the same but is absent.
static CalibrationRecording record(const Samples &rest, const Samples &motion)
{
    CalibrationRecording recording;
    const CalibrationRecording::Presence presence{true, false};
    for (double value : rest)
        recording.addRestSample(presence, {value, value});
    for (double value : motion)
        recording.addMotionSample(presence, {value, value});
    return recording;
}

class TestCalibrationMeasurement : public QObject
{
    Q_OBJECT

private slots:
    void proposal_data()
    {
        QTest::addColumn<Samples>("rest");
        QTest::addColumn<Samples>("motion");
        QTest::addColumn<bool>("wasTrigger");
        QTest::addColumn<bool>("changed");
        QTest::addColumn<bool>("trigger");
        QTest::addColumn<double>("restRaw");
        QTest::addColumn<double>("noise");
        QTest::addColumn<double>("deadzone");
        QTest::addColumn<double>("low");  // negativeRaw of a stick
        QTest::addColumn<double>("high"); // positiveRaw of a stick, activeRaw of a trigger

        QTest::newRow("stick resting at 54, asymmetric ends")
            << Samples{51, 57, 54, 54} << Samples{54, -70, 100, 20} << false << true << false
            << 54.0 << 3.0 << 5.0 << -70.0 << 100.0;
        QTest::newRow("end never reached keeps its value")
            << Samples{0, 0.4} << Samples{0, 80} << false << true << false << 0.2 << 0.2 << 2.5
            << -90.0 << 80.0;
        QTest::newRow("noise beyond the limit")
            << Samples{-60, 60} << Samples{-100, 100} << false << true << false << 0.0 << 60.0
            << 50.0 << -100.0 << 100.0;
        QTest::newRow("trigger resting at -100")
            << Samples{-100, -100} << Samples{-100, 100} << false << true << true << -100.0 << 0.0
            << 2.0 << -90.0 << 100.0;
        QTest::newRow("reversed trigger") << Samples{99, 100} << Samples{100, -97} << false << true
                                          << true << 99.5 << 0.5 << 2.5 << -90.0 << -97.0;
        QTest::newRow("stick resting near an end")
            << Samples{95} << Samples{100, 40} << false << true << false << 95.0 << 0.0 << 2.0
            << 40.0 << 100.0;
        QTest::newRow("trigger mode kept") << Samples{0} << Samples{0, -60} << true << true << true
                                           << 0.0 << 0.0 << 2.0 << -90.0 << -60.0;
        QTest::newRow("never moved") << Samples{10} << Samples{12, 29.9} << false << false;
        QTest::newRow("no rest samples") << Samples{} << Samples{-100, 100} << false << false;
        QTest::newRow("non-finite ignored, noise 3.000000000000007")
            << Samples{kNaN, -66.9, kInf, -60.9} << Samples{-kInf, -100, kNaN, 100} << false << true
            << false << -63.9 << 3.0 << 5.0 << -100.0 << 100.0;
    }
    void proposal()
    {
        QFETCH(Samples, rest);
        QFETCH(Samples, motion);
        QFETCH(bool, wasTrigger);
        QFETCH(bool, changed);
        GamepadCalibration current = defaultCalibration(6, 0);
        GamepadCalibration::AxisSettings &before = current.axes[0];
        before.mode = wasTrigger ? AxisMode::Trigger : AxisMode::Bidirectional;
        before.negativeRaw = -90;
        before.curvePreset = GamepadCalibration::CurvePreset::Soft;
        before.outputScale = 2;

        const QList<AxisProposal> proposals = proposeAxisCalibration(record(rest, motion), current);
        QCOMPARE(proposals.size(), 6);
        QVERIFY(!proposals.at(1).changed);
        const AxisProposal &p = proposals.at(0);
        QCOMPARE(p.changed, changed);
        if (!changed) {
            QCOMPARE(p.settings, before);
            return;
        }
        QFETCH(bool, trigger);
        QFETCH(double, restRaw);
        QFETCH(double, noise);
        QFETCH(double, deadzone);
        QFETCH(double, low);
        QFETCH(double, high);
        const GamepadCalibration::AxisSettings &s = p.settings;
        QCOMPARE(s.mode, trigger ? AxisMode::Trigger : AxisMode::Bidirectional);
        QCOMPARE(s.restRaw, restRaw);
        QCOMPARE(p.restNoise, noise);
        QCOMPARE(s.deadzoneRadius, deadzone);
        QCOMPARE(s.negativeRaw, low);
        QCOMPARE(trigger ? s.activeRaw : s.positiveRaw, high);
        QCOMPARE(s.curvePreset, GamepadCalibration::CurvePreset::Soft);
        QCOMPARE(s.outputScale, 2.0);
    }

    void applyingProposals()
    {
        const GamepadCalibration current = defaultCalibration(10, 2);
        QList<AxisProposal> proposals = proposeAxisCalibration(CalibrationRecording(), current);
        QCOMPARE(proposals.size(), kGamepadAxisCount);
        proposals[2].changed = true;
        proposals[2].settings.restRaw = 54;
        proposals[3].settings.restRaw = 12; // not changed: ignored
        proposals.append({42, true, 0.0, {}});
        GamepadCalibration expected = current;
        expected.axes[2].restRaw = 54;
        QCOMPARE(applyAxisProposals(current, proposals), expected);
    }
};

QTEST_GUILESS_MAIN(TestCalibrationMeasurement)
#include "tst_calibrationmeasurement.moc"
