#include "calibrationmeasuredialog.h"
#include "controlmanette.h"
#include "gamepadbuttoncalibrationwidget.h"
#include "gamepadconfigwidget.h"
#include "inputprocessing.h"
#include "profilemeta.h"
#include "runtimetestsupport.h"
#include "scripteddialogseam.h"

#include <QComboBox>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableWidget>
#include <QtTest>

#include <memory>

namespace {

using Axis = GamepadCalibration::AxisSettings;

GamepadProfileInfo makeProfile(const QString &mode, const QString &overrideFile = QString())
{
    GamepadProfileMeta meta;
    meta.id = QUuid::createUuid();
    meta.name = QStringLiteral("Regie");
    meta.folder = QDir(userProfilesRoot()).filePath(meta.id.toString(QUuid::WithoutBraces));
    meta.calibrationMode = mode;
    meta.calibrationOverrideFile = overrideFile;
    QDir().mkpath(meta.folder);
    writeProfileMeta(&meta, nullptr);
    return readProfileInfo(meta.folder);
}

QJsonObject readJson(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object()
                                          : QJsonObject();
}

QByteArray readBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString statusOf(const GamepadConfigWidget &panel)
{
    return panel.findChildren<QLabel *>(QStringLiteral("hintLabel")).at(1)->text();
}

} // namespace

class TestGamepadConfigWidget : public QObject
{
    Q_OBJECT

private:
    // A card edit, as the card reports it.
    void editAxis(int axis, const std::function<void(Axis &)> &change)
    {
        const auto cards = m_panel->findChildren<GamepadAxisCalibrationWidget *>();
        for (GamepadAxisCalibrationWidget *card : cards) {
            if (card->axisIndex() == axis) {
                Axis settings = card->settings();
                change(settings);
                Q_EMIT card->settingsChanged(settings);
            }
        }
    }

    QString baseFile() const
    {
        return baseCalibrationWritePath({QStringLiteral("Test Pad"), 0x45e, 0x28e});
    }

    GamepadAxisCalibrationWidget *axisCard(int axis) const
    {
        const auto cards = m_panel->findChildren<GamepadAxisCalibrationWidget *>();
        for (GamepadAxisCalibrationWidget *card : cards) {
            if (card->axisIndex() == axis)
                return card;
        }
        return nullptr;
    }

    QPushButton *button(const QString &text) const
    {
        const auto buttons = m_panel->findChildren<QPushButton *>();
        for (QPushButton *candidate : buttons) {
            if (candidate->text() == text)
                return candidate;
        }
        return nullptr;
    }

    QTemporaryDir m_home;
    std::unique_ptr<VirtualJoysticks> m_joysticks;
    std::unique_ptr<ControlManette> m_pad;
    std::unique_ptr<GamepadConfigWidget> m_panel;

private slots:
    void initTestCase()
    {
        useThrowAwayHome(m_home);
        registerCalibrationMetaTypes();
    }

    void init()
    {
        qApp->setProperty("kx.currentLogin", "tester");
        qApp->setProperty("kx.canEditSharedGamepads", false);
        QDir(configurationRoot()).removeRecursively();
        m_joysticks = std::make_unique<VirtualJoysticks>();
        m_joysticks->backend.connectController(0, padIdentity(), 12, 0x0f);
        m_pad = std::make_unique<ControlManette>(0);
        m_pad->poll();
        m_panel = std::make_unique<GamepadConfigWidget>();
        m_panel->setDevice(m_pad.get());
        m_panel->updateLiveValues();
    }

    void cleanup()
    {
        m_panel.reset();
        m_pad.reset();
        m_joysticks.reset();
    }

    void cardsFollowTheController()
    {
        QCOMPARE(m_panel->findChildren<GamepadAxisCalibrationWidget *>().size(), 4);
        QCOMPARE(m_panel->findChildren<GamepadButtonCalibrationWidget *>().size(), 12);
        auto *card = m_panel->findChild<GamepadAxisCalibrationWidget *>();
        m_joysticks->backend.setAxis(0, 0, 30.0);
        m_pad->poll();
        m_panel->updateLiveValues(); // values go into the cards, which stay
        QCOMPARE(m_panel->findChild<GamepadAxisCalibrationWidget *>(), card);
        QCOMPARE(card->findChild<QLabel *>(QStringLiteral("rawLabel"))->text(), "raw: 30.0");
        const double out = evaluateAxis(30.0, m_panel->editedCalibration().axes[0]).value;
        QVERIFY(out > 0.0);
        QCOMPARE(card->findChild<QLabel *>(QStringLiteral("outputLabel"))->text(),
                 "out: " + QString::number(out, 'f', 1));
        card->setExpanded(true);
        m_panel->addGate();
        m_panel->addGate();
        QVERIFY(axisCard(0)->isExpanded()); // the rebuilt cards stay as the user opened them
        QVERIFY(!axisCard(1)->isExpanded());
        const auto gates = m_panel->findChildren<GamepadGateCalibrationWidget *>();
        QCOMPARE(gates.size(), 2);
        QCOMPARE(m_panel->editedCalibration().gates.at(1).key, QStringLiteral("gate_1"));
        m_panel->flushSave();
        GamepadCalibration::GateSettings gate = gates.at(1)->settings();
        gate.radius = 20.0;
        Q_EMIT gates.at(1)->settingsChanged(gate);
        QVERIFY(m_panel->isSavePending());
        m_panel->flushSave();
        auto *buttonCard = m_panel->findChild<GamepadButtonCalibrationWidget *>();
        GamepadCalibration::ButtonSettings debounced = buttonCard->settings();
        debounced.debounceMs = 40;
        Q_EMIT buttonCard->settingsChanged(debounced);
        QVERIFY(m_panel->isSavePending());
        Q_EMIT gates.first()->deleteRequested();
        QTRY_COMPARE(m_panel->editedCalibration().gates.size(), 1);
        QCOMPARE(m_panel->editedCalibration().gates.at(0).key, QStringLiteral("gate_1"));
        QCOMPARE(m_panel->editedCalibration().gates.at(0).radius, 20.0);
    }

    void aFreshPanelShowsNothingBound()
    {
        GamepadConfigWidget panel;
        const auto meta = panel.findChildren<QLabel *>(QStringLiteral("metaLabel"));
        QCOMPARE(meta.at(0)->text(), QStringLiteral("Aucune manette liee"));
        QCOMPARE(meta.at(1)->text(), QStringLiteral("Aucun profil selectionne"));
        QCOMPARE(panel.findChild<QLabel *>(QStringLiteral("sourceLabel"))->text(),
                 QStringLiteral("Source: Defaut"));
        QCOMPARE(statusOf(panel), QStringLiteral("Profil requis pour override"));
    }

    void capturesWriteTheLiveValue_data()
    {
        QTest::addColumn<QString>("target");
        QTest::addColumn<bool>("connected");
        for (const char *target : {"rest", "min", "max", "end", "gate centre"})
            QTest::addRow("%s", target) << QString(target) << true;
        QTest::newRow("rest, disconnected") << "rest" << false;
        QTest::newRow("gate centre, disconnected") << "gate centre" << false;
    }

    void capturesWriteTheLiveValue()
    {
        QFETCH(QString, target);
        QFETCH(bool, connected);
        m_panel->addGate();
        m_panel->flushSave();
        m_joysticks->backend.setAxis(0, 0, 42.0);
        m_joysticks->backend.setAxis(0, 1, -30.0);
        if (!connected)
            m_joysticks->backend.disconnectController(0);
        m_pad->poll();
        m_panel->updateLiveValues();
        using Target = GamepadAxisCalibrationWidget::CaptureTarget;
        const QMap<QString, Target> targets = {{"rest", Target::Rest},
                                               {"min", Target::Negative},
                                               {"max", Target::Positive},
                                               {"end", Target::Active}};
        const GamepadCalibration before = m_panel->editedCalibration();
        if (target == "gate centre")
            Q_EMIT m_panel->findChild<GamepadGateCalibrationWidget *>()->captureCenterRequested();
        else
            Q_EMIT axisCard(0)->captureRequested(targets.value(target));
        QCOMPARE(m_panel->isSavePending(), connected);
        if (!connected) {
            QCOMPARE(m_panel->editedCalibration(), before);
            QCOMPARE(statusOf(*m_panel), QStringLiteral("Deconnectee: captures off"));
            return;
        }
        m_panel->flushSave();
        const QJsonObject file = readJson(baseFile());
        if (target == "gate centre") {
            const QJsonObject gate = file.value("gates").toArray().at(0).toObject();
            QCOMPARE(gate.value("centerX").toDouble(), evaluateAxis(42.0, before.axes[0]).value);
            QCOMPARE(gate.value("centerY").toDouble(), evaluateAxis(-30.0, before.axes[1]).value);
            return;
        }
        const QMap<QString, QString> fields = {
            {"rest", "restRaw"}, {"min", "negativeRaw"}, {"max", "positiveRaw"}, {"end", "activeRaw"}};
        QCOMPARE(file.value("axes").toArray().at(0)[fields.value(target)].toDouble(), 42.0);
        const Axis shown = axisCard(0)->settings();
        QCOMPARE(QList<double>({shown.restRaw, shown.negativeRaw, shown.positiveRaw, shown.activeRaw})
                     .count(42.0),
                 1);
    }

    void scopeNeedsAProfile()
    {
        QCOMPARE(statusOf(*m_panel), QStringLiteral("Profil requis pour override"));
        m_panel->findChild<QComboBox *>(QStringLiteral("scopeCombo"))->setCurrentIndex(1);
        QCOMPARE(m_panel->scope(), int(GamepadConfigWidget::BaseScope));
        QCOMPARE(m_panel->findChild<QComboBox *>(QStringLiteral("scopeCombo"))->currentIndex(), 0);
        for (auto action : {&GamepadConfigWidget::copyBaseToProfile,
                            &GamepadConfigWidget::deleteOverride}) {
            (m_panel.get()->*action)();
            QCOMPARE(statusOf(*m_panel),
                     QStringLiteral("Aucun profil selectionne pour creer un override."));
        }
    }

    void profileScopeCreatesTheOverride()
    {
        const GamepadProfileInfo profile = makeProfile(QStringLiteral("inherit"));
        m_panel->setProfile(profile);
        QCOMPARE(statusOf(*m_panel), QStringLiteral("Pret"));
        QSignalSpy meta(m_panel.get(), &GamepadConfigWidget::profileCalibrationMetadataChanged);
        m_panel->onScopeComboChanged(GamepadConfigWidget::ProfileScope);
        QCOMPARE(m_panel->scope(), int(GamepadConfigWidget::ProfileScope));
        QCOMPARE(meta.count(), 1);
        QCOMPARE(meta.at(0), QVariantList({"override", "calibration.override.json", quint32(0x45e),
                                           quint32(0x28e)}));
        const QJsonObject file = readJson(profile.folder + "/calibration.override.json");
        QCOMPARE(file.value("vendorId").toString(), QStringLiteral("0x045e"));
        QCOMPARE(file.value("profileId").toString(), profile.id.toString(QUuid::WithoutBraces));

        editAxis(0, [](Axis &a) { a.gamma = 2.0; });
        m_panel->flushSave();
        QCOMPARE(m_panel->findChild<QLabel *>(QStringLiteral("sourceLabel"))->text(),
                 QStringLiteral("Source: Profil"));
        // Back and forth between the scopes keeps the user's override.
        m_panel->onScopeComboChanged(GamepadConfigWidget::BaseScope);
        m_panel->onScopeComboChanged(GamepadConfigWidget::ProfileScope);
        QCOMPARE(m_panel->editedCalibration().axes[0].gamma, 2.0);

        QSignalSpy saved(m_panel.get(), &GamepadConfigWidget::calibrationSaved);
        m_panel->deleteOverride();
        QVERIFY(!QFile::exists(profile.folder + "/calibration.override.json"));
        QCOMPARE(m_panel->scope(), int(GamepadConfigWidget::BaseScope));
        QCOMPARE(meta.last(), QVariantList({"inherit", "", quint32(0x45e), quint32(0x28e)}));
        QCOMPARE(saved.count(), 1);
        QCOMPARE(m_panel->findChild<QLabel *>(QStringLiteral("sourceLabel"))->text(),
                 QStringLiteral("Source: Defaut"));
        m_panel->copyBaseToProfile();
        QCOMPARE(m_panel->scope(), int(GamepadConfigWidget::ProfileScope));
        QCOMPARE(m_panel->editedCalibration().axes[0].gamma, 1.0);
        QVERIFY(QFile::exists(profile.folder + "/calibration.override.json"));
    }

    void editsWithoutTargetStayInMemory_data()
    {
        QTest::addColumn<QString>("login");
        QTest::addColumn<QString>("overrideFile");
        QTest::newRow("base without login") << ""
                                            << "";
        QTest::newRow("absolute override") << "tester"
                                           << "ABSOLUTE";
        QTest::newRow("escaping override") << "tester"
                                           << "../outside.json";
    }

    void editsWithoutTargetStayInMemory()
    {
        QFETCH(QString, login);
        QFETCH(QString, overrideFile);
        const QString outside = overrideFile == "ABSOLUTE"
                                    ? QDir(m_home.path()).filePath("outside.json")
                                    : QDir(userProfilesRoot()).filePath("outside.json");
        if (!overrideFile.isEmpty()) {
            GamepadCalibration external = defaultCalibration(8, 32);
            external.axes[0].gamma = 3.0;
            QVERIFY(saveCalibrationFile(outside, external, {}, {}, nullptr));
            if (overrideFile == "ABSOLUTE")
                overrideFile = outside;
            m_panel->setProfile(makeProfile(QStringLiteral("override"), overrideFile));
            QCOMPARE(m_panel->editedCalibration().axes[0].gamma, 3.0); // read all the same
        }
        qApp->setProperty("kx.currentLogin", login);
        const QByteArray bytes = readBytes(outside);

        editAxis(0, [](Axis &a) { a.outputOffset = 7.0; });
        m_panel->flushSave();
        QCOMPARE(statusOf(*m_panel), QStringLiteral("Aucun fichier de calibration cible."));
        QVERIFY(!m_panel->isSavePending());
        QCOMPARE(m_panel->editedCalibration().axes[0].outputOffset, 7.0);
        QVERIFY(!QFile::exists(baseFile()));
        QCOMPARE(readBytes(outside), bytes);
    }

    // An override named outside the profile folder is read but never written.
    void overrideOutsideTheProfileIsNeverPrepared()
    {
        const QString outside = QDir(m_home.path()).filePath("elsewhere.json");
        m_panel->setProfile(makeProfile(QStringLiteral("override"), outside));
        auto *scopes = m_panel->findChild<QComboBox *>(QStringLiteral("scopeCombo"));
        scopes->setCurrentIndex(0);
        scopes->setCurrentIndex(1);
        QCOMPARE(m_panel->scope(), int(GamepadConfigWidget::BaseScope));
        QCOMPARE(statusOf(*m_panel), QStringLiteral("Chemin d'override invalide."));
        QVERIFY(!QFile::exists(outside));
    }

    void burstOfEditsWritesOnceAndReachesTheRuntime()
    {
        QSignalSpy saved(m_panel.get(), &GamepadConfigWidget::calibrationSaved);
        for (double scale : {0.2, 0.4, 0.5})
            editAxis(0, [scale](Axis &a) { a.outputScale = scale; });
        QVERIFY(m_panel->isSavePending());
        QVERIFY(!QFile::exists(baseFile()));
        QTRY_COMPARE(saved.count(), 1);
        QCOMPARE(readJson(baseFile()).value("axes").toArray().at(0)["outputScale"].toDouble(), 0.5);
        QCOMPARE(m_panel->findChild<QLabel *>(QStringLiteral("sourceLabel"))->text(),
                 QStringLiteral("Source: Base"));

        QSignalSpy published(m_pad.get(), qOverload<QString, QString, QStringList, QVariantList>(
                                              &IComInterface::dataChanged));
        m_joysticks->backend.setAxis(0, 0, 54.0);
        m_pad->poll();
        QCOMPARE(published.count(), 1);
        QCOMPARE(published.at(0).at(3).toList().at(0).toDouble(), 25.0); // 50 before the edit
    }

    void capturesNeedAConnectedController()
    {
        QPushButton *captureRest = button(QStringLiteral("Capturer repos"));
        QCOMPARE(captureRest->toolTip(), QStringLiteral("Capturer le repos de tous les axes.\n"
                                                        "Utilise la position actuelle comme "
                                                        "neutre."));
        QVERIFY(captureRest->isEnabled() && button(QStringLiteral("Mesurer…"))->isEnabled());
        m_joysticks->backend.setAxis(0, 1, 54.0);
        m_pad->poll();
        m_panel->captureRestForAll();
        QCOMPARE(m_panel->editedCalibration().axes[1].restRaw, 54.0);
        QCOMPARE(m_panel->editedCalibration().axes[5].restRaw, 0.0); // absent axis

        m_joysticks->backend.setAxis(0, 1, -20.0);
        m_joysticks->backend.disconnectController(0);
        m_pad->poll();
        m_panel->captureRestForAll();
        m_panel->openMeasurement();
        QCOMPARE(m_panel->editedCalibration().axes[1].restRaw, 54.0);
        QVERIFY(!m_panel->measureDialog());
        QCOMPARE(statusOf(*m_panel), QStringLiteral("Deconnectee: captures off"));
        QVERIFY(!captureRest->isEnabled() && !button(QStringLiteral("Mesurer…"))->isEnabled());
    }

    void controllerDeletedUnderThePanel()
    {
        editAxis(2, [](Axis &a) { a.invert = true; });
        m_joysticks->backend.disconnectController(0);
        m_pad->poll();
        m_panel->updateLiveValues();
        m_pad.reset();
        m_panel->updateLiveValues();
        QVERIFY(readJson(baseFile()).value("axes").toArray().at(2)["invert"].toBool());
        QCOMPARE(m_panel->findChildren<QLabel *>(QStringLiteral("metaLabel")).at(0)->text(),
                 QStringLiteral("Aucune manette liee"));
        m_panel->captureRestForAll();
        m_panel->resetCurrentCalibration();
        QVERIFY(!m_panel->editedCalibration().axes[2].invert);
    }

    // Drives the open measurement to its proposal: axis 0 rests at 54 and travels -70..100.
    CalibrationMeasureDialog *measureAxisZero()
    {
        button(QStringLiteral("Mesurer…"))->click();
        CalibrationMeasureDialog *dialog = m_panel->measureDialog();
        if (!dialog)
            return nullptr;
        CalibrationRecording::Presence present{true, true};
        for (qint64 t = 0; t <= CalibrationMeasureDialog::kRestDurationMs; t += 100)
            dialog->addSample(t, present, {54.0 + double(t / 100 % 3 - 1) * 3.0, 0.0});
        for (double x : {-70.0, 100.0, 54.0})
            dialog->addSample(3000, present, {x, 0.0});
        dialog->finishMotion();
        return dialog;
    }

    // Only the measured fields land on the axis as it is when applied: an edit of the curve made
    // while measuring stays.
    void measurementMergesIntoTheCurrentSettings()
    {
        CalibrationMeasureDialog *dialog = measureAxisZero();
        QVERIFY(dialog);
        editAxis(0, [](Axis &a) {
            a.curvePreset = GamepadCalibration::CurvePreset::Soft;
            a.negativeRaw = -80.0;
        });
        editAxis(1, [](Axis &a) { a.outputScale = 3.0; });
        dialog->accept();
        const Axis &axis = m_panel->editedCalibration().axes[0];
        QCOMPARE(axis.restRaw, 54.0);
        QCOMPARE(axis.negativeRaw, -70.0);
        QCOMPARE(axis.positiveRaw, 100.0);
        QCOMPARE(axis.curvePreset, GamepadCalibration::CurvePreset::Soft);
        QCOMPARE(m_panel->editedCalibration().axes[1].outputScale, 3.0);
        QVERIFY(m_panel->isSavePending());
        QTRY_VERIFY(!m_panel->measureDialog());
    }

    void reviewSaysWhatWasMeasured_data()
    {
        QTest::addColumn<bool>("moved");
        QTest::addColumn<QString>("instructions");
        QTest::newRow("axis moved") << true
                                    << "Verifiez la proposition axe par axe puis cliquez sur "
                                       "Appliquer.";
        QTest::newRow("nothing moved") << false
                                       << "Aucun axe n'a bouge : rien ne change. Recommencez la "
                                          "mesure en bougeant les sticks et les gachettes.";
    }

    void reviewSaysWhatWasMeasured()
    {
        QFETCH(bool, moved);
        m_panel->openMeasurement();
        CalibrationMeasureDialog *dialog = m_panel->measureDialog();
        QVERIFY(dialog);
        auto *table = dialog->findChild<QTableWidget *>(QStringLiteral("measureTable"));
        QVERIFY(!table->isVisible());
        QCOMPARE(dialog->findChild<QProgressBar *>(QStringLiteral("measureProgress"))->maximum(),
                 int(CalibrationMeasureDialog::kRestDurationMs));
        const CalibrationRecording::Presence present{true};
        for (qint64 t = 0; t <= CalibrationMeasureDialog::kRestDurationMs; t += 500)
            dialog->addSample(t, present, {0.0});
        dialog->addSample(3000, present, {moved ? 90.0 : 5.0});
        dialog->finishMotion();
        QVERIFY(table->isVisible());
        QTEST(dialog->findChild<QLabel *>(QStringLiteral("measureInstructions"))->text(),
              "instructions");
        QCOMPARE(table->item(0, 1)->text(), moved ? "Stick" : "inchange");
        dialog->findChild<QPushButton *>(QStringLiteral("measureCancelButton"))->click();
        QTRY_VERIFY(!m_panel->measureDialog());
        QVERIFY(!m_panel->isSavePending());
    }

    void measurementEndsWithItsController_data()
    {
        QTest::addColumn<QString>("change");
        QTest::addColumn<QString>("message");
        const QString unplugged = "La manette a été débranchée : mesure annulée.";
        const QString changed = "La manette a changé : mesure annulée.";
        QTest::newRow("unplugged") << "disconnect" << unplugged;
        QTest::newRow("deleted") << "delete" << unplugged;
        QTest::newRow("another controller") << "other" << changed;
        QTest::newRow("renamed controller") << "rename" << changed;
        QTest::newRow("another profile") << "profile" << "Le profil a changé : mesure annulée.";
    }

    void measurementEndsWithItsController()
    {
        QFETCH(QString, change);
        ScriptedDialogs dialogs;
        m_panel->openMeasurement();
        QPointer<CalibrationMeasureDialog> dialog = m_panel->measureDialog();
        QVERIFY(dialog && dialog->isVisible());
        m_joysticks->backend.connectController(1, padIdentity("Other Pad"), 12, 0x0f);
        ControlManette other(1);
        other.poll();
        if (change == "disconnect") {
            m_joysticks->backend.disconnectController(0);
            m_pad->poll();
        } else if (change == "delete") {
            m_pad.reset();
        } else if (change == "other") {
            m_panel->setDevice(&other);
        } else if (change == "rename") {
            m_joysticks->backend.setIdentification(0, padIdentity("Renamed Pad"));
            m_pad->poll();
        } else {
            m_panel->setProfile(makeProfile(QStringLiteral("inherit")));
        }
        QTRY_COMPARE(dialogs.prompts().size(), 1);
        QVERIFY(!m_panel->measureDialog());
        QVERIFY(!dialog || !dialog->isVisible());
        QCOMPARE(dialogs.prompts().first().kind, ScriptedDialogSeam::Kind::Information);
        QCOMPARE(dialogs.prompts().first().title, QStringLiteral("Mesurer"));
        QTEST(dialogs.prompts().first().text, "message");
    }

    // Measured in Base, the proposal is not applied to the profile's override: the dialog stays
    // open until the user is back on Base.
    void measurementAppliesToItsScopeOnly()
    {
        m_panel->setProfile(makeProfile(QStringLiteral("inherit")));
        ScriptedDialogs dialogs;
        CalibrationMeasureDialog *dialog = measureAxisZero();
        QVERIFY(dialog);
        auto *scopes = m_panel->findChild<QComboBox *>(QStringLiteral("scopeCombo"));
        scopes->setCurrentIndex(GamepadConfigWidget::ProfileScope);
        dialog->accept();
        QCOMPARE(dialogs.prompts().size(), 1);
        QCOMPARE(dialogs.prompts().first().kind, ScriptedDialogSeam::Kind::Warning);
        QCOMPARE(dialogs.prompts().first().title, QStringLiteral("Mesurer"));
        QCOMPARE(dialogs.prompts().first().text,
                 QStringLiteral("Cette mesure a été prise pour la calibration Base : repassez sur "
                                "« Base » pour l'appliquer."));
        QCOMPARE(m_panel->measureDialog(), dialog);
        QVERIFY(dialog->isVisible());
        QCOMPARE(m_panel->editedCalibration().axes[0].restRaw, 0.0);

        scopes->setCurrentIndex(GamepadConfigWidget::BaseScope);
        dialog->accept();
        QCOMPARE(m_panel->editedCalibration().axes[0].restRaw, 54.0);
        QCOMPARE(dialogs.prompts().size(), 1);
        m_panel->flushSave();
        QCOMPARE(readJson(baseFile()).value("axes").toArray().at(0)["restRaw"].toDouble(), 54.0);
    }

    // A file that became unreadable while measuring takes no measurement either.
    void measuringAScopeThatBecameUnreadable()
    {
        m_panel->openMeasurement();
        CalibrationMeasureDialog *dialog = m_panel->measureDialog();
        QVERIFY(dialog);
        QFile base(baseFile());
        QVERIFY(QDir().mkpath(QFileInfo(baseFile()).absolutePath()));
        QVERIFY(base.open(QIODevice::WriteOnly) && base.write("{,}") == 3);
        base.close();
        m_panel->checkDisk();
        ScriptedDialogs dialogs;
        dialog->accept();
        QCOMPARE(dialogs.prompts().size(), 1);
        QCOMPARE(dialogs.prompts().first().title, QStringLiteral("Mesurer"));
        QCOMPARE(dialogs.prompts().first().text, statusOf(*m_panel));
        QVERIFY(statusOf(*m_panel).startsWith("Calibration illisible dans " + baseFile()));
        QCOMPARE(m_panel->measureDialog(), dialog);
        QCOMPARE(readBytes(baseFile()), QByteArray("{,}"));
    }

    // The panel as a user sees it, for the eye: build/tests/calibration_panel.png.
    void renderThePanel()
    {
        m_panel->setTwoAxisSources({{QStringLiteral("dual_left"), 0, 1}});
        m_panel->addGate();
        m_joysticks->backend.setAxis(0, 0, 40.0);
        m_joysticks->backend.setAxis(0, 1, -30.0);
        m_joysticks->backend.setButton(0, 2, true);
        m_pad->poll();
        m_panel->updateLiveValues();
        m_panel->findChildren<GamepadAxisCalibrationWidget *>().first()->setExpanded(true);
        const auto gate = m_panel->findChild<GamepadGateCalibrationWidget *>();
        QVERIFY(gate->isInside());
        QCOMPARE(m_panel->findChildren<GamepadButtonCalibrationWidget *>().at(2)->isPressed(),
                 true);
        m_panel->resize(900, 1650);
        const QImage image = m_panel->grab().toImage();
        QVERIFY(image.save(QStringLiteral(GAMEPAD_TEST_OUTPUT "/calibration_panel.png")));
        QVERIFY(qBlue(image.pixel(2, 2)) < 80); // the dark theme is applied
    }
};

QTEST_MAIN(TestGamepadConfigWidget)
#include "tst_gamepadconfigwidget.moc"
