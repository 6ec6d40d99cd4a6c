#include "calibrationmeasuredialog.h"
#include "gamepadgatecalibrationwidget.h"
#include "widgettestsupport.h"

#include <QTableWidget>
#include <QtTest>

// Enabled, key, pastille, x axis, y axis; the rest as by default.
using Gate = GamepadCalibration::GateSettings;

static const QList<GateSourceOption> kSources = {{"pad_left", 0, 1}, {"pad_right", 3, 4}};
static const QStringList kNames = {"Stick G X", "Stick G Y", "", "Stick D X"};

class TestGateCalibration : public QObject
{
    Q_OBJECT

private slots:
    // The preview is painted again for a new gate or live point, and only then.
    void previewRepaintsOnChange()
    {
        GatePreviewWidget preview;
        preview.show();
        QVERIFY(QTest::qWaitForWindowExposed(&preview));
        PaintCount count;
        preview.installEventFilter(&count);
        for (int i = 0; i < 5; ++i) { // each change twice, then the point moves still inside
            i < 2 ? preview.setGate({true, "gate_0", {}, 0, 1, 20.0})
                  : preview.setLivePoint({i < 4 ? 5.0 : 6.0, 5}, true);
            QCoreApplication::processEvents();
        }
        QCOMPARE(count.paints, 3);
        // A gate wider than the axes' ±100 is drawn whole with the ring of its hysteresis: the
        // plane's corner stays outside it.
        const QRgb corner = preview.grab().toImage().pixel(6, 6);
        preview.setGate({true, "gate_0", {}, 0, 1, 0, 0, 150.0, 50.0});
        QCOMPARE(preview.grab().toImage().pixel(6, 6), corner);
    }

    void nextKey_data()
    {
        QTest::addColumn<QStringList>("keys");
        QTest::addColumn<QString>("expected");
        QTest::newRow("none") << QStringList{} << "gate_0";
        QTest::newRow("highest plus one") << QStringList{"gate_0", "gate_40"} << "gate_41";
        QTest::newRow("not numbered, other prefixes")
            << QStringList{"gate_x", "gate_", "gate_-3", "gate_ 9", "Gate_7", "pad_9", "gate_1"}
            << "gate_2";
        QTest::newRow("huge number skipped")
            << QStringList{"gate_99999999999", "gate_2147483647", "gate_3"} << "gate_4";
        QTest::newRow("largest counted") << QStringList{"gate_2147483646"} << "gate_2147483647";
    }
    void nextKey()
    {
        QFETCH(QStringList, keys);
        QList<Gate> gates;
        for (const QString &key : std::as_const(keys))
            gates.append({true, key, {}});
        QTEST(nextGateKey(gates), "expected");
    }

    void front_data()
    {
        QTest::addColumn<bool>("enter");
        QTest::addColumn<bool>("exit");
        QTest::addColumn<int>("index");
        QTest::newRow("both") << true << true << 0;
        QTest::newRow("enter only") << true << false << 1;
        QTest::newRow("exit only") << false << true << 2;
        QTest::newRow("neither shows as enter only") << false << false << 1;
    }
    void front()
    {
        QFETCH(bool, enter);
        QFETCH(bool, exit);
        Gate g{true, "gate_0", {}, 0, 1, 0, 0, 50, 3, enter, exit};
        QTEST(gateFrontIndex(g), "index");
        applyGateFrontIndex(g, gateFrontIndex(g));
        QCOMPARE(QList<bool>({g.emitOnEnter, g.emitOnExit}), QList<bool>({enter || !exit, exit}));
    }

    // A gate whose pastille is gone keeps its axes; every edit emits the whole record once.
    void sourcesAndEdits()
    {
        GamepadGateCalibrationWidget card(Gate{true, "gate_0", "deleted", 2, 3}, kSources, kNames);
        QSignalSpy changed(&card, &GamepadGateCalibrationWidget::settingsChanged);
        auto *combo = card.findChild<QComboBox *>("gateSource");
        QCOMPARE(combo->currentText(), "Joy 2/3"); // the historical item, then both pastilles
        QCOMPARE(combo->itemData(0, Qt::ToolTipRole).toString(),
                 "Source historique sans pastille\nX : joy_2\nY : joy_3 (Stick D X)");
        QCOMPARE(combo->itemData(1, Qt::ToolTipRole).toString(),
                 "Source technique : pad_left\nX : joy_0 (Stick G X)\nY : joy_1 (Stick G Y)");

        combo->setCurrentIndex(1); // the first pastille
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.at(0).at(0).value<Gate>(), Gate({true, "gate_0", "pad_left", 0, 1}));
        auto *centerX = card.findChild<QDoubleSpinBox *>("gateCenterX");
        centerX->selectAll(), QTest::keyClicks(centerX, "-12.5\r"); // one edit, not one per key
        card.findChild<QComboBox *>("gateFront")->setCurrentIndex(2);
        card.findChild<QCheckBox *>("gateInvert")->setChecked(true);
        // Enabled, key, pastille, axes, centre, radius, hysteresis, enter, exit, invert.
        const Gate edited{true, "gate_0", "pad_left", 0, 1, -12.5, 0, 50, 3, false, true, true};
        QVERIFY(changed.count() == 4 && changed.last().at(0).value<Gate>() == edited);
        QCOMPARE(card.findChild<GatePreviewWidget *>()->gate(), edited); // the preview follows

        card.setSettings({true, "gate_1", "pad_left"}); // a known pastille: no historical item
        QCOMPARE(combo->count(), 2);
        const auto *front = card.findChild<QComboBox *>("gateFront"); // both edges again
        QCOMPARE(QList({combo->currentIndex(), front->currentIndex()}), QList({0, 0}));
        QCOMPARE(card.findChild<QLabel *>("gateTitle")->text(), "gate_1");
        const QImage shown = card.findChild<GatePreviewWidget *>()->grab().toImage(); // the gate
        GatePreviewWidget alone;
        alone.resize(shown.size()), alone.setGate(card.settings());
        QCOMPARE(shown.convertToFormat(QImage::Format_RGB32), alone.grab().toImage());
    }

    void liveStateAndCapture()
    {
        GamepadGateCalibrationWidget card(Gate(), kSources);
        auto *state = card.findChild<QLabel *>("gateStateLabel");
        QVERIFY(state->text() == "dehors" && !state->property("inside").toBool()); // until read
        card.setLiveState(QPointF(10, -5), true);
        QVERIFY(state->text() == "dedans" && state->property("inside").toBool());
        card.setLiveState(QPointF(90, 0), false);
        QVERIFY(state->text() == "dehors" && !state->property("inside").toBool());

        auto *capture = card.findChild<QPushButton *>("gateCaptureButton");
        QSignalSpy requested(&card, &GamepadGateCalibrationWidget::captureCenterRequested);
        card.setCaptureEnabled(false), QTest::mouseClick(capture, Qt::LeftButton);
        card.setCaptureEnabled(true), QTest::mouseClick(capture, Qt::LeftButton);
        QCOMPARE(requested.count(), 1);
    }

    // The rest lasts 2 s from the first sample, the motion cannot end before; every axis reviewed.
    void measureDialogPhases()
    {
        CalibrationMeasureDialog dialog(defaultCalibration(3, 0), {});
        auto *apply = dialog.findChild<QPushButton *>("measureApplyButton");
        auto *progress = dialog.findChild<QWidget *>("measureProgress"); // shown during the rest
        QVERIFY(dialog.findChild<QLabel *>("measureInstructions")->wordWrap()); // a long text
        QCOMPARE(dialog.windowTitle(), "Mesurer la calibration");
        const CalibrationRecording::Presence present{true, true, true};
        dialog.addSample(500, present, {54, 0, 0}), dialog.addSample(2499, present, {54, 0, 0});
        dialog.finishMotion();
        const auto *review = dialog.findChild<QTableWidget *>(); // shown once reviewing
        QVERIFY(!apply->isEnabled() && !progress->isHidden() && review->isHidden());
        dialog.addSample(2500, present, {54, 0, 0});
        QVERIFY(progress->isHidden());
        dialog.addSample(3000, present, {-70, 80, 0}), dialog.finishMotion();
        dialog.addSample(4000, present, {-100, 0, 0}); // ignored once reviewing
        QVERIFY(apply->isEnabled() && !review->isHidden());
        QVERIFY(!review->selectionMode() && !review->editTriggers()); // read, not picked or edited
        QStringList rows(review->rowCount()); // each row's cells joined by '|'
        for (int row = 0; row < review->rowCount(); ++row)
            for (int column = 0; column < review->columnCount(); ++column)
                rows[row] += (column ? "|" : "") + review->item(row, column)->text();
        QCOMPARE(rows, QStringList({"joy_0|Stick|54.0|-70.0|100.0|2.0|0.0",
                                    "joy_1|Stick|0.0|-100.0|80.0|2.0|0.0",
                                    "joy_2|inchange|0.0|-100.0|100.0|8.0|-"}));
        const GamepadCalibration proposed = dialog.proposedCalibration();
        QVERIFY(proposed.axes.at(0).restRaw == 54 && proposed.axes.at(0).negativeRaw == -70);
        CalibrationMeasureDialog still(defaultCalibration(3, 0), {}); // nothing moved: told so
        still.addSample(0, present, {}), still.addSample(2000, present, {}), still.finishMotion();
        QVERIFY(still.findChild<QLabel *>("measureInstructions")->text().startsWith("Aucun axe"));
    }
};

QTEST_MAIN(TestGateCalibration)
#include "tst_gatecalibration.moc"
