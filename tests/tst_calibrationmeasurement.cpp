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
        QTest::addColumn<QString>("measured"); // the fields a merge takes: "-" "+" ends, "T"

        QTest::newRow("stick resting at 54, asymmetric ends")
            << Samples{51, 57, 54, 54} << Samples{54, -70, 100, 20} << false << true << false
            << 54.0 << 3.0 << 5.0 << -70.0 << 100.0 << "-+";
        QTest::newRow("end never reached keeps its value")
            << Samples{0, 0.4} << Samples{0, 80} << false << true << false << 0.2 << 0.2 << 2.5
            << -90.0 << 80.0 << "+";
        QTest::newRow("positive end never reached keeps its value")
            << Samples{0, 0.4} << Samples{0, -80} << false << true << false << 0.2 << 0.2 << 2.5
            << -80.0 << 100.0 << "-";
        QTest::newRow("noise beyond the limit")
            << Samples{-60, 60} << Samples{-100, 100} << false << true << false << 0.0 << 60.0
            << 50.0 << -100.0 << 100.0 << "-+";
        QTest::newRow("trigger resting at -100")
            << Samples{-100, -100} << Samples{-100, 100} << false << true << true << -100.0 << 0.0
            << 2.0 << -90.0 << 100.0 << "T";
        QTest::newRow("reversed trigger") << Samples{99, 100} << Samples{100, -97} << false << true
                                          << true << 99.5 << 0.5 << 2.5 << -90.0 << -97.0 << "T";
        QTest::newRow("stick resting near an end")
            << Samples{95} << Samples{100, 40} << false << true << false << 95.0 << 0.0 << 2.0
            << 40.0 << 100.0 << "-+";
        QTest::newRow("trigger mode kept") << Samples{0} << Samples{0, -60} << true << true << true
                                           << 0.0 << 0.0 << 2.0 << -90.0 << -60.0 << "T";
        QTest::newRow("never moved") << Samples{10} << Samples{12, 29.9} << false << false;
        QTest::newRow("no rest samples") << Samples{} << Samples{-100, 100} << false << false;
        QTest::newRow("non-finite ignored, noise 3.000000000000007")
            << Samples{kNaN, -66.9, kInf, -60.9} << Samples{-kInf, -100, kNaN, 100} << false << true
            << false << -63.9 << 3.0 << 5.0 << -100.0 << 100.0 << "-+";
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
        QFETCH(QString, measured);
        QCOMPARE(p.trigger, measured == "T");
        QCOMPARE(p.negativeMeasured, measured.contains('-'));
        QCOMPARE(p.positiveMeasured, measured.contains('+'));
    }

    void applyingProposals()
    {
        const GamepadCalibration current = defaultCalibration(10, 2);
        QList<AxisProposal> proposals = proposeAxisCalibration(CalibrationRecording(), current);
        QCOMPARE(proposals.size(), kGamepadAxisCount);
        proposals[2].changed = true;
        proposals[2].settings.restRaw = 54;
        proposals[3].settings.restRaw = 12; // not changed: ignored
        AxisProposal outside;
        outside.axis = 42;
        outside.changed = true;
        proposals.append(outside);
        GamepadCalibration expected = current;
        expected.axes[2].restRaw = 54;
        QCOMPARE(applyAxisProposals(current, proposals), expected);
    }

    // Only what was measured lands on the axis as it is now: the user's other settings, edited
    // while measuring, stay.
    void mergingMeasuredFields_data()
    {
        QTest::addColumn<bool>("changed");
        QTest::addColumn<QString>("measured"); // "-" "+" ends of a stick, "T" a trigger
        QTest::addColumn<QString>("taken");    // the fields that come from the measurement
        QTest::newRow("stick, both ends") << true << "-+" << "rest dz neg pos";
        QTest::newRow("stick, positive end only") << true << "+" << "rest dz pos";
        QTest::newRow("stick, negative end only") << true << "-" << "rest dz neg";
        QTest::newRow("trigger") << true << "T" << "rest dz mode active";
        QTest::newRow("nothing measured") << false << "-+T" << "";
    }

    void mergingMeasuredFields()
    {
        QFETCH(bool, changed);
        QFETCH(QString, measured);
        QFETCH(QString, taken);
        GamepadCalibration::AxisSettings current;
        current.curvePreset = GamepadCalibration::CurvePreset::Custom;
        current.gamma = 2.5;
        current.outputScale = 3.0;
        current.outputOffset = 1.0;
        current.invert = true;
        current.enabled = false;
        current.publishMode = GamepadCalibration::AxisPublishMode::Always;
        AxisProposal proposal;
        proposal.changed = changed;
        proposal.trigger = measured.contains('T');
        proposal.negativeMeasured = measured.contains('-');
        proposal.positiveMeasured = measured.contains('+');
        GamepadCalibration::AxisSettings &m = proposal.settings; // as at the start: defaults
        m.restRaw = 12;
        m.deadzoneRadius = 4;
        m.mode = AxisMode::Trigger;
        m.negativeRaw = -80;
        m.positiveRaw = 85;
        m.activeRaw = 90;

        GamepadCalibration::AxisSettings expected = current;
        const QStringList fields = taken.split(' ', Qt::SkipEmptyParts);
        if (fields.contains("rest"))
            expected.restRaw = 12;
        if (fields.contains("dz"))
            expected.deadzoneRadius = 4;
        if (fields.contains("mode"))
            expected.mode = AxisMode::Trigger;
        if (fields.contains("neg"))
            expected.negativeRaw = -80;
        if (fields.contains("pos"))
            expected.positiveRaw = 85;
        if (fields.contains("active"))
            expected.activeRaw = 90;
        QCOMPARE(mergeMeasuredFields(current, proposal), expected);
    }
};

QTEST_GUILESS_MAIN(TestCalibrationMeasurement)
#include "tst_calibrationmeasurement.moc"
