#include "calibrationmeasurement.h"

#include <QtTest>

#include <limits>

using Axis = GamepadCalibration::AxisSettings;
using AxisMode = GamepadCalibration::AxisMode;
using Curve = GamepadCalibration::CurvePreset;
using Publish = GamepadCalibration::AxisPublishMode;
using Samples = QList<double>;

static const double kNaN = std::numeric_limits<double>::quiet_NaN();
static const double kInf = std::numeric_limits<double>::infinity();

// What axis 0 is proposed; `measured` names the fields a merge takes ("-" "+" the ends of a
// stick, "T" a trigger's mode and end), empty when the axis keeps its settings.
struct Proposed
{
    double rest = 0, noise = 0, deadzone = 0;
    double low = 0, high = 0; // negativeRaw; positiveRaw of a stick, activeRaw of a trigger
    QString measured;
};
Q_DECLARE_METATYPE(Proposed)

class TestCalibrationMeasurement : public QObject
{
    Q_OBJECT

private slots:
    void proposal_data()
    {
        QTest::addColumn<Samples>("rest");
        QTest::addColumn<Samples>("motion");
        QTest::addColumn<bool>("wasTrigger");
        QTest::addColumn<Proposed>("expected");
        // clang-format off
        QTest::newRow("stick resting at 54, asymmetric ends") << Samples{51, 57, 54, 54} << Samples{54, -70, 100, 20} << false << Proposed{54, 3, 5, -70, 100, "-+"};
        QTest::newRow("end never reached keeps its value") << Samples{0, 0.4} << Samples{0, 80} << false << Proposed{0.2, 0.2, 2.5, -90, 80, "+"};
        QTest::newRow("noise beyond the limit") << Samples{-60, 60} << Samples{-100, 100} << false << Proposed{0, 60, 50, -100, 100, "-+"};
        QTest::newRow("trigger resting at -90, the limit") << Samples{-90, -90} << Samples{-90, 100} << false << Proposed{-90, 0, 2, -90, 100, "T"};
        QTest::newRow("reversed trigger, up to its dead zone") << Samples{97, 98} << Samples{100, -97} << false << Proposed{97.5, 0.5, 2.5, -90, -97, "T"};
        QTest::newRow("stick resting near an end") << Samples{95} << Samples{100, 40} << false << Proposed{95, 0, 2, 40, 100, "-+"};
        QTest::newRow("trigger mode kept") << Samples{0} << Samples{0, -60} << true << Proposed{0, 0, 2, -90, -60, "T"};
        QTest::newRow("never moved") << Samples{10} << Samples{12, 29.9} << false << Proposed{};
        QTest::newRow("no rest samples") << Samples{} << Samples{-100, 100} << false << Proposed{};
        QTest::newRow("non-finite ignored, noise 3.000000000000007") << Samples{kNaN, -66.9, kInf, -60.9} << Samples{-kInf, -100, kNaN, 100} << false << Proposed{-63.9, 3, 5, -100, 100, "-+"};
        // clang-format on
    }

    // Axis 0 is measured; axis 1 reads the same but is absent. The user's curve and gain stay.
    void proposal()
    {
        QFETCH(Samples, rest);
        QFETCH(Samples, motion);
        QFETCH(bool, wasTrigger);
        QFETCH(Proposed, expected);
        CalibrationRecording recording;
        for (double value : rest)
            recording.addRestSample({true, false}, {value, value});
        for (double value : motion)
            recording.addMotionSample({true, false}, {value, value});
        GamepadCalibration current = defaultCalibration(6, 0);
        Axis &before = current.axes[0];
        before.mode = wasTrigger ? AxisMode::Trigger : AxisMode::Bidirectional;
        before.negativeRaw = -90, before.curvePreset = Curve::Soft;
        Axis settings = before;
        const bool trigger = expected.measured == "T";
        if (!expected.measured.isEmpty()) {
            settings.mode = trigger ? AxisMode::Trigger : AxisMode::Bidirectional;
            settings.restRaw = expected.rest, settings.deadzoneRadius = expected.deadzone;
            settings.negativeRaw = expected.low;
            (trigger ? settings.activeRaw : settings.positiveRaw) = expected.high;
        }

        const QList<AxisProposal> proposals = proposeAxisCalibration(recording, current);
        QVERIFY(proposals.size() == 6 && !proposals.at(1).changed);
        const AxisProposal &p = proposals.at(0);
        QCOMPARE(p.settings, settings);
        QCOMPARE(p.restNoise, expected.noise);
        QCOMPARE(QList<bool>({p.changed, p.trigger, p.negativeMeasured, p.positiveMeasured}),
                 QList<bool>({!expected.measured.isEmpty(), trigger,
                              expected.measured.contains('-'), expected.measured.contains('+')}));
    }

    // Rows named by what was measured: "-" "+" the ends of a stick, "T" a trigger.
    void applyingMeasuredFields_data()
    {
        QTest::addColumn<QString>("taken"); // the fields that come from the measurement
        QTest::newRow("-+") << "rest dz neg pos";
        QTest::newRow("+") << "rest dz pos";
        QTest::newRow("-") << "rest dz neg";
        QTest::newRow("T") << "rest dz mode active";
        QTest::newRow("-+T, not changed") << "";
    }

    // Only what was measured lands on the axis as it is now: the user's other settings, edited
    // while measuring, stay. A proposal for an axis the calibration lacks is ignored.
    void applyingMeasuredFields()
    {
        QFETCH(QString, taken);
        const QString measured = QTest::currentDataTag();
        // Enabled, mode, rest, dead zone, invert, curve, gamma, gain, offset, min, max, end, sent.
        const Axis now{
            false, AxisMode::Bidirectional, 1, 6, true, Curve::Custom, 2.5, 3, 1, -95, 96,
            97,    Publish::Always};
        const Axis measuredAs{
            true, AxisMode::Trigger,  12, 4, false, Curve::Linear, 1, 1, 0, -80, 85,
            90,   Publish::ActiveOnly};
        const auto has = [&](char end) { return measured.contains(end); };
        AxisProposal proposal{1, !taken.isEmpty(), 0, measuredAs, has('T'), has('-'), has('+')};
        GamepadCalibration current = defaultCalibration(2, 0);
        current.axes[1] = now;
        GamepadCalibration expected = current;
        Axis &merged = expected.axes[1];
        const auto take = [&](const char *name, auto Axis::*field) {
            if (taken.contains(name))
                merged.*field = measuredAs.*field;
        };
        take("rest", &Axis::restRaw), take("dz", &Axis::deadzoneRadius);
        take("neg", &Axis::negativeRaw), take("pos", &Axis::positiveRaw);
        take("active", &Axis::activeRaw), take("mode", &Axis::mode);
        QCOMPARE(applyAxisProposals(current, {proposal, {2, true, 0, measuredAs}}), expected);
    }
};

QTEST_GUILESS_MAIN(TestCalibrationMeasurement)
#include "tst_calibrationmeasurement.moc"
