#include "calibrationeditorstyle.h"
#include "gamepadaxiscalibrationwidget.h"
#include "gamepadbuttoncalibrationwidget.h"
#include "gamepadgatecalibrationwidget.h"
#include "widgettestsupport.h"

#include <QtTest>

using AxisSettings = GamepadCalibration::AxisSettings;
using ButtonSettings = GamepadCalibration::ButtonSettings;
using CaptureTarget = GamepadAxisCalibrationWidget::CaptureTarget;

// A row named after the control: the value to set and the record the card must then report.
template <typename T, typename F> static void editRow(const char *control, double value, F change)
{
    T expected;
    change(expected);
    QTest::newRow(control) << value << QVariant::fromValue(expected);
}

// The "name" or "name.class" entries of `expected` that no object under `card` carries.
static QString styleNamesMissing(QObject *card, const QString &expected)
{
    QStringList found;
    const QObjectList objects = card->findChildren<QObject *>() << card;
    for (QObject *object : objects) {
        const QString style = object->property("class").toString();
        found << object->objectName() + (style.isEmpty() ? "" : "." + style);
    }
    QStringList missing = expected.split(' ');
    missing.removeIf([&found](const QString &name) { return found.contains(name); });
    return missing.join(' ');
}

class TestCalibrationCards : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { registerCalibrationMetaTypes(); }

    void spinBoxLimits_data()
    {
        QTest::addColumn<QString>("limits");
        QTest::newRow("deadzoneSpin") << "0..50 by 0.5, 1 decimals";
        QTest::newRow("gammaSpin") << "0.05..6 by 0.05, 2 decimals";
        QTest::newRow("gainSpin") << "0.001..1000 by 0.1, 3 decimals";
        QTest::newRow("offsetSpin") << "-1000..1000 by 0.1, 3 decimals";
        for (const char *name : {"restSpin", "negativeSpin", "positiveSpin", "activeSpin"})
            QTest::newRow(name) << "-100..100 by 1, 1 decimals";
        QTest::newRow("debounceSpin") << "0..5000 by 10 ms";
        QTest::newRow("repeatDelaySpin") << "0..60000 by 25 ms";
        QTest::newRow("repeatIntervalSpin") << "10..60000 by 10 ms";
        QTest::newRow("gateCenterX") << "-1e+05..1e+05 by 1, 1 decimals";
        QTest::newRow("gateCenterY") << "-1e+05..1e+05 by 1, 1 decimals";
        QTest::newRow("gateRadius") << "0..2e+05 by 1, 1 decimals";
        QTest::newRow("gateHysteresis") << "0..1e+05 by 0.5, 1 decimals";
    }
    void spinBoxLimits()
    {
        QWidget cards;
        new GamepadAxisCalibrationWidget(0, AxisSettings(), {}, &cards);
        new GamepadButtonCalibrationWidget(0, ButtonSettings(), &cards);
        new GamepadGateCalibrationWidget(GamepadCalibration::GateSettings(), {}, {}, &cards);
        const auto *spin = cards.findChild<QAbstractSpinBox *>(QTest::currentDataTag());
        const auto text = [spin](const char *name) { return spin->property(name).toString(); };
        QString found = text("minimum") + ".." + text("maximum") + " by " + text("singleStep");
        if (spin->property("decimals").isValid())
            found += ", " + text("decimals") + " decimals";
        QTEST(found + spin->property("suffix").toString(), "limits");
    }

    // Shown settings never emit and show clamped to the limits; typed values are corrected.
    void limitsOfShownAndTypedValues()
    {
        GamepadAxisCalibrationWidget axis(0, AxisSettings());
        QSignalSpy axisSpy(&axis, &GamepadAxisCalibrationWidget::settingsChanged);
        axis.setSettings({true, GamepadCalibration::AxisMode::Trigger, 0, 80}); // a dead zone of 80
        QCOMPARE(axis.findChild<QDoubleSpinBox *>("deadzoneSpin")->value(), 50.0);
        QCOMPARE(axisSpy.count(), 0);

        GamepadButtonCalibrationWidget button(0, ButtonSettings());
        QSignalSpy buttonSpy(&button, &GamepadButtonCalibrationWidget::settingsChanged);
        auto *interval = button.findChild<QSpinBox *>("repeatIntervalSpin");
        interval->selectAll(), QTest::keyClicks(interval, "5\r");
        QVERIFY(button.settings().repeatIntervalMs == 10 && buttonSpy.count() == 1);
    }

    // One edit, one signal, carrying the whole record with only that field changed.
    void oneSignalPerEdit_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<QVariant>("expected");
        using A = AxisSettings;
        using B = ButtonSettings;
        using C = GamepadCalibration;
        editRow<A>("modeCombo", 1, [](A &s) { s.mode = C::AxisMode::Trigger; });
        editRow<A>("publishCombo", 2, [](A &s) { s.publishMode = C::AxisPublishMode::Always; });
        editRow<A>("curveCombo", 1, [](A &s) { s.curvePreset = C::CurvePreset::Soft; });
        editRow<A>("deadzoneSpin", 12.5, [](A &s) { s.deadzoneRadius = 12.5; });
        editRow<A>("gammaSpin", 2.25, [](A &s) { s.gamma = 2.25; });
        editRow<A>("restSpin", 3.5, [](A &s) { s.restRaw = 3.5; });
        editRow<A>("negativeSpin", -90, [](A &s) { s.negativeRaw = -90; });
        editRow<A>("positiveSpin", 95, [](A &s) { s.positiveRaw = 95; });
        editRow<A>("activeSpin", 80, [](A &s) { s.activeRaw = 80; });
        editRow<A>("gainSpin", 2.5, [](A &s) { s.outputScale = 2.5; });
        editRow<A>("offsetSpin", -1.5, [](A &s) { s.outputOffset = -1.5; });
        editRow<A>("invertCheck", 1, [](A &s) { s.invert = true; });
        editRow<B>("enabledCheck", 0, [](B &s) { s.enabled = false; });
        editRow<B>("pressCheck", 0, [](B &s) { s.emitOnPress = false; });
        editRow<B>("releaseCheck", 1, [](B &s) { s.emitOnRelease = true; });
        editRow<B>("repeatOnReleaseCheck", 1, [](B &s) { s.repeatOnRelease = true; });
        editRow<B>("debounceSpin", 30, [](B &s) { s.debounceMs = 30; });
        editRow<B>("repeatOnPressCheck", 1, [](B &s) { s.repeatOnPress = true; });
        editRow<B>("repeatDelaySpin", 500, [](B &s) { s.repeatDelayMs = 500; });
        editRow<B>("repeatIntervalSpin", 60, [](B &s) { s.repeatIntervalMs = 60; });
    }
    void oneSignalPerEdit()
    {
        QFETCH(double, value);
        QWidget cards;
        auto *axis = new GamepadAxisCalibrationWidget(0, AxisSettings(), {}, &cards);
        auto *button = new GamepadButtonCalibrationWidget(0, ButtonSettings(), &cards);
        QSignalSpy axisSpy(axis, &GamepadAxisCalibrationWidget::settingsChanged);
        QSignalSpy buttonSpy(button, &GamepadButtonCalibrationWidget::settingsChanged);
        QWidget *edited = cards.findChild<QWidget *>(QTest::currentDataTag());
        // As the user would: a combo's index, a check box or a spin box through its setter.
        const bool combo = edited->inherits("QComboBox"), check = edited->inherits("QCheckBox");
        const char *property = combo ? "currentIndex" : check ? "checked" : "value";
        QVERIFY(edited->setProperty(property, value) && axisSpy.count() + buttonSpy.count() == 1);
        const QVariant sent = (axisSpy.isEmpty() ? buttonSpy : axisSpy).at(0).at(0);
        QTEST(sent, "expected");
        // A card given what was sent shows it in the same field (the other card gets defaults).
        QWidget shown;
        new GamepadAxisCalibrationWidget(0, sent.value<AxisSettings>(), {}, &shown);
        new GamepadButtonCalibrationWidget(0, sent.value<ButtonSettings>(), &shown);
        QCOMPARE(shown.findChild<QWidget *>(QTest::currentDataTag())->property(property).toDouble(),
                 value);
        QCOMPARE(cards.findChild<QLabel *>("summaryLabel")->text(), // summed up alike
                 shown.findChild<QLabel *>("summaryLabel")->text());
    }

    // Fields: enabled, press, release, debounce, repeat on press, on release, delay, interval.
    void summary_data()
    {
        QTest::addColumn<ButtonSettings>("settings");
        QTest::addColumn<QString>("text");
        using B = ButtonSettings;
        QTest::newRow("disabled") << B{false, true, true, 30, true, true, 350, 120} << "inactif";
        QTest::newRow("release") << B{true, false, true, 0, false, false, 350, 120} << "release";
        QTest::newRow("none") << B{true, false, false, 0, false, false, 350, 120} << "aucun signal";
        QTest::newRow("repeat release")
            << B{true, true, false, 0, false, true, 200, 50} << "press | repeat 200 / 50 ms";
        QTest::newRow("all") << B{true, true, true, 30, true, false, 350, 120}
                             << "press + release | debounce 30 ms | repeat 350 / 120 ms";
    }
    void summary()
    {
        QFETCH(ButtonSettings, settings);
        GamepadButtonCalibrationWidget card(3, ButtonSettings());
        card.setSettings(settings);
        QTEST(card.findChild<QLabel *>("summaryLabel")->text(), "text");
    }

    // Titles, live values, pressed state, the details opening, and the capture buttons.
    void header()
    {
        GamepadAxisCalibrationWidget named(2, AxisSettings(), "Left X"), card(5, AxisSettings());
        QCOMPARE(named.findChild<QLabel *>("axisTitleLabel")->text(), "joy_2 (Left X)");
        QCOMPARE(card.findChild<QLabel *>("axisTitleLabel")->text(), "joy_5");
        auto *raw = card.findChild<QLabel *>("rawLabel");
        auto *out = card.findChild<QLabel *>("outputLabel");
        QCOMPARE(raw->text() + " " + out->text(), "raw: 0.0 out: 0.0");
        card.setLiveValues(12.34, -0.06);
        QCOMPARE(raw->text() + " " + out->text(), "raw: 12.3 out: -0.1");
        QSignalSpy spy(&card, &GamepadAxisCalibrationWidget::captureRequested);
        for (auto *name : {"restCapture", "negativeCapture", "positiveCapture", "activeCapture"})
            QTest::mouseClick(card.findChild<QToolButton *>(name), Qt::LeftButton);
        QCOMPARE(spy.count(), 4);
        for (int i = 0; i < 4; ++i) // clicked in the order of the targets
            QCOMPARE(spy.at(i).at(0).value<CaptureTarget>(), CaptureTarget(i));

        GamepadButtonCalibrationWidget button(7, ButtonSettings());
        QCOMPARE(button.findChild<QLabel *>("buttonTitleLabel")->text(), "but_7");
        auto *state = button.findChild<QLabel *>("stateLabel");
        button.setStyleSheet(calibrationEditorStyleSheet()), button.setPressed(true); // lit
        QCOMPARE(state->text() + state->palette().windowText().color().name(), "appuye#22d3ee");
        button.setPressed(false);
        QCOMPARE(state->text(), "repos");

        auto *details = button.findChild<QFrame *>("detailsFrame");
        QVERIFY(!details->isVisibleTo(&button));
        QTest::mouseClick(button.findChild<QToolButton *>("expandButton"), Qt::LeftButton);
        QVERIFY(details->isVisibleTo(&button));
        QCOMPARE(unplacedWidgets(&button) + unplacedWidgets(&card), QStringList());
        QVERIFY(!card.driftNotice().row->isVisibleTo(&card) &&
                !button.bounceNotice().row->isVisibleTo(&button)); // until there is news
        QStringList inputs{"QComboBox", "QSpinBox", "QDoubleSpinBox", "QCheckBox", "QToolButton"};
        for (const QWidget *w : card.findChildren<QWidget *>() + button.findChildren<QWidget *>())
            QVERIFY2(!inputs.contains(w->metaObject()->className()) || !w->toolTip().isEmpty(),
                     qPrintable(w->objectName())); // each input says what it sets
        // The names and classes a host's style sheet addresses.
        QString names = "rootLayout axisCard cardLayout headerWidget titleLayout expandButton "
                        "axisTitleLabel.axisTitle previewHost rawLabel.metricLabel "
                        "outputLabel.metricLabel detailsFrame detailsLayout processingGroup";
        QCOMPARE(styleNamesMissing(&card, names), QString());
        names = "rootLayout buttonCard cardLayout headerWidget headerLayout expandButton "
                "buttonTitleLabel.buttonTitle stateLabel.buttonStateLabel "
                "summaryLabel.buttonSummaryLabel detailsFrame detailsLayout buttonSignalGroup "
                "signalLayout .buttonGroupTitleLabel";
        QCOMPARE(styleNamesMissing(&button, names), QString());
    }

    // The preview spans -100..100 from x = 5 to its width less 5: the dead zone is a band around
    // the rest point, on both sides of a stick's rest and on the travel side of a trigger's.
    void previewShowsTheDeadZone_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("band"); // per column: x dead zone, t travel alone, . nothing
        using Mode = GamepadCalibration::AxisMode;
        QTest::newRow("stick") << int(Mode::Bidirectional) << ".xx.";
        QTest::newRow("trigger") << int(Mode::Trigger) << "..xt";
        QTest::newRow("card") << int(Mode::Trigger) << "..xt"; // an axis card's, given settings
    }
    void previewShowsTheDeadZone()
    {
        QFETCH(int, mode);
        const bool onCard = QTest::currentDataTag() == QByteArrayView("card");
        GamepadAxisCalibrationWidget card(0, AxisSettings());
        AxisCalibrationPreviewWidget alone,
            &preview = onCard ? *card.findChild<AxisCalibrationPreviewWidget *>() : alone;
        // Rest at -40, where a trigger's travel starts (up to 100); a dead zone of 20.
        const AxisSettings settings{true, GamepadCalibration::AxisMode(mode), -40, 20};
        onCard ? card.setSettings(settings) : preview.setSettings(settings);
        preview.resize(210, 18); // a card lays its preview out again when it renders
        preview.setLiveRaw(90);  // the live marker, away from the columns looked at
        QImage image(preview.size(), QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent), preview.render(&image, {}, {}, QWidget::DrawChildren);
        QString band;
        for (const int raw : {-70, -50, -30, -10}) { // above the track, within a band's height
            const int alpha =
                image.pixelColor(5 + (raw + 100) * (preview.width() - 10) / 200, 5).alpha();
            band += alpha == 0 ? '.' : alpha <= 45 ? 't' : 'x'; // travel alone is fainter
        }
        QTEST(band, "band");
    }
};

QTEST_MAIN(TestCalibrationCards)
#include "tst_calibrationcards.moc"
