#include "calibrationmeasuredialog.h"
#include "controlmanette.h"
#include "filetestsupport.h"
#include "gamepadbuttoncalibrationwidget.h"
#include "gamepadconfigwidget.h"
#include "runtimetestsupport.h"
#include "scratchtree.h"
#include "scripteddialogseam.h"
#include "widgettestsupport.h"

#include <QtTest>

// The calibration panel; most of what it does with faulty files is in tst_editingfaults.

using Axis = GamepadCalibration::AxisSettings;
using AxisCard = GamepadAxisCalibrationWidget;
using ButtonCard = GamepadButtonCalibrationWidget;
using GateCard = GamepadGateCalibrationWidget;

static GamepadProfileInfo makeProfile() // A profile named "Regie" that inherits the base.
{
    GamepadProfileMeta meta;
    meta.id = QUuid::createUuid(), meta.name = QStringLiteral("Regie");
    meta.folder = QDir(userProfilesRoot()).filePath(meta.id.toString(QUuid::WithoutBraces));
    QDir().mkpath(meta.folder), writeProfileMeta(&meta, nullptr);
    return readProfileInfo(meta.folder);
}

// A calibration file as another program would write it, axis 0 with this gamma.
static bool writeGamma(const QString &path, double gamma)
{
    GamepadCalibration calibration = defaultCalibration(8, 32);
    calibration.axes[0].gamma = gamma;
    return QDir().mkpath(QFileInfo(path).absolutePath()) &&
           saveCalibrationFile(path, calibration, {}, {}, nullptr);
}

static GamepadCalibration onDisk(const QString &path)
{
    GamepadCalibration calibration;
    loadCalibrationFile(path, &calibration, nullptr, kGamepadAxisCount, kGamepadButtonCount);
    return calibration;
}

// Runs the action with the folder read-only, as nobody since root writes anywhere; "": no fault.
static void readOnly(const QString &folder, const std::function<void()> &action)
{
    const QByteArray dir = QFile::encodeName(folder);
    const bool locked = !folder.isEmpty() && chmod(dir.constData(), 0555) == 0;
    runUnder(locked ? FileFault::ReadOnlyFolder : FileFault::None, [&] { return action(), true; });
    if (locked)
        chmod(dir.constData(), 0755);
}

class TestGamepadConfigWidget : public QObject
{
    Q_OBJECT

    QTemporaryDir m_home;
    std::unique_ptr<VirtualJoysticks> m_joysticks;
    std::unique_ptr<ControlManette> m_pad;
    std::unique_ptr<GamepadConfigWidget> m_panel;
    GamepadProfileInfo m_profile;

    QString baseFile() const { return baseCalibrationWritePath({"Test Pad", 0x45e, 0x28e}); }
    QString overrideFile() const { return m_profile.folder + "/calibration.override.json"; }
    static double gammaOnDisk(const QString &path) { return onDisk(path).axes.value(0).gamma; }
    double shownGamma() const { return m_panel->editedCalibration().axes[0].gamma; }
    QString label(const char *name, int i = 0) const
    {
        return m_panel->findChildren<QLabel *>(name).at(i)->text();
    }
    QString status() const { return label("hintLabel", 1); }
    QComboBox *scopeCombo() const { return m_panel->findChild<QComboBox *>("scopeCombo"); }
    // The pad has axes 0 to 3: their cards come in that order.
    AxisCard *axisCard(int axis) const { return m_panel->findChildren<AxisCard *>().at(axis); }
    QPushButton *button(const QString &text) const
    {
        const auto all = m_panel->findChildren<QPushButton *>();
        return *std::find_if(all.begin(), all.end(), [&](auto *b) { return b->text() == text; });
    }
    // A card edit, as the card makes it: its copy changes, then it reports it.
    void editAxis(int axis, const std::function<void(Axis &)> &change)
    {
        Axis settings = axisCard(axis)->settings();
        change(settings), axisCard(axis)->setSettings(settings);
        Q_EMIT axisCard(axis)->settingsChanged(settings);
    }
    void editGamma(double gamma)
    {
        editAxis(0, [gamma](Axis &a) { a.gamma = gamma; });
    }

private slots:
    void initTestCase()
    {
        QVERIFY(useTestHome(m_home));
        useThrowAwayHome(m_home), registerCalibrationMetaTypes();
    }

    // A pad of 4 axes and 12 buttons, its base with gamma 1.5 on axis 0, a profile inheriting it.
    void init()
    {
        m_panel.reset(), m_pad.reset(), m_joysticks.reset(); // the last test's, panel first
        setHost("tester"), removeScratchTree(configurationRoot());
        m_joysticks = std::make_unique<VirtualJoysticks>();
        m_joysticks->backend.connectController(0, padIdentity(), 12, 0x0f);
        m_pad = std::make_unique<ControlManette>(0), m_pad->poll();
        QVERIFY(writeGamma(baseFile(), 1.5));
        m_profile = makeProfile(), m_panel = std::make_unique<GamepadConfigWidget>();
        m_panel->setDevice(m_pad.get()), m_panel->setProfile(m_profile);
    }

    // The header and live cards, and what the panel offers once the controller is gone.
    void whatThePanelShows()
    {
        QCOMPARE(label("metaLabel"), "Test Pad | VID 0x045e PID 0x028e | connectee");
        QCOMPARE(label("metaLabel", 1) + " | " + label("sourceLabel") + " | " + status(),
                 "Profil: Regie | Source: Base | Pret");
        m_panel->addGate();
        // Every card laid out, and what a gate card holds.
        const QStringList unplaced = unplacedWidgets(m_panel->findChild<GateCard *>());
        QCOMPARE(unplacedWidgets(m_panel.get()) + unplaced, QStringList());
        QCOMPARE(overlappingWidgets(m_panel.get(), QSize(900, 700)), QStringList());
        m_joysticks->backend.setAxis(0, 0, 30.0), m_joysticks->backend.setAxis(0, 1, -30.0);
        m_joysticks->backend.setButton(0, 2, true), m_pad->poll();
        QTRY_COMPARE(axisCard(0)->findChild<QLabel *>("rawLabel")->text(), "raw: 30.0");
        QVERIFY(m_panel->findChild<GateCard *>()->isInside());
        QCOMPARE(m_panel->findChildren<AxisCard *>().size(), 4);
        const QImage surface = axisCard(1)->grab().toImage(); // the cards' own surface
        QCOMPARE(surface.pixelColor(3, surface.height() / 2), QColor(0x21, 0x2b, 0x37));
        m_joysticks->backend.setAxisPresent(0, 0, false); // no card for an axis it lacks
        m_pad->poll();
        QTRY_COMPARE(m_panel->findChildren<AxisCard *>().size(), 3);
        const auto buttons = m_panel->findChildren<ButtonCard *>();
        QVERIFY(buttons.size() == 12 && buttons.at(2)->isPressed() && !buttons.at(1)->isPressed());
        overlappingWidgets(m_panel.get(), QSize(900, 700)); // laid out again: two cards a row
        QVERIFY(buttons[1]->y() == buttons[0]->y() && buttons[2]->y() > buttons[1]->y());
        m_joysticks->backend.disconnectController(0), m_pad->poll();
        QCOMPARE(label("metaLabel"), "Test Pad | VID 0x045e PID 0x028e | deconnectee");
        const auto *capture = m_panel->findChild<QPushButton *>("gateCaptureButton");
        QVERIFY(!button("Mesurer…")->isEnabled() && !capture->isEnabled()); // need the controller
        QVERIFY(!button("Capturer repos")->isEnabled());
        m_panel = std::make_unique<GamepadConfigWidget>();
        QCOMPARE(label("metaLabel", 1) + " | " + label("sourceLabel"),
                 "Aucun profil selectionne | Source: Defaut");
        QVERIFY(!button("Copier base vers profil")->isEnabled()); // an override needs a profile
        auto *unread = new ControlManette(1, m_panel.get());      // every card until it is read
        m_panel->setDevice(unread), m_joysticks->backend.connectController(1, padIdentity(), 1);
        QCOMPARE(m_panel->findChildren<ButtonCard *>().size(), 32);
        unread->poll(); // then its one button
        QTRY_COMPARE(m_panel->findChildren<ButtonCard *>().size(), 1);
    }

    // A pastille on an axis past the eighth is not offered to gates: nothing reads beyond the axes.
    void gateSourcesWithinTheAxes()
    {
        m_panel->setTwoAxisSources({{"far", 8, 1}, {"near", 2, 3}, {"below", 0, -1}});
        m_panel->addGate();
        auto *sources = m_panel->findChild<GateCard *>()->findChild<QComboBox *>("gateSource");
        QStringList offered;
        for (int i = 0; i < sources->count(); ++i) {
            sources->setCurrentIndex(i), m_panel->updateLiveValues();
            offered << sources->itemText(i);
        }
        QCOMPARE(offered, QStringList({"Joy 0/1", "Joy 2/3"})); // the gate's own axes, "near"
    }

    void editsAreSaved_data()
    {
        QTest::addColumn<QString>("edit");
        QTest::addColumn<bool>("connected");
        for (const char *edit : {"axis", "button", "gate removed", "unplugged"})
            QTest::newRow(edit) << QString(edit) << true;
        for (const char *capture : {"rest", "min", "max", "end", "gate centre", "all at rest"})
            QTest::addRow("capture %s", capture) << QString(capture) << true;
        // The four axis captures share their look at the controller: one stands for them.
        for (const char *capture : {"rest", "gate centre", "all at rest"})
            QTest::addRow("capture %s, disconnected", capture) << QString(capture) << false;
    }

    // Saved once, shortly after (at once when the controller goes); axis 0 is at 42, axis 1 at -30.
    void editsAreSaved()
    {
        QFETCH(QString, edit);
        QFETCH(bool, connected);
        m_panel->setProfile(GamepadProfileInfo()); // the base needs no profile
        axisCard(0)->setExpanded(true), m_panel->findChildren<ButtonCard *>()[2]->setExpanded(true);
        m_panel->addGate(), m_panel->addGate(), m_panel->flushSave();
        m_joysticks->backend.setAxis(0, 0, 42.0), m_joysticks->backend.setAxis(0, 1, -30.0);
        if (!connected)
            m_joysticks->backend.disconnectController(0);
        m_pad->poll(), m_panel->updateLiveValues();
        const GamepadCalibration before = m_panel->editedCalibration();
        GamepadCalibration expected = before;
        QSignalSpy saved(m_panel.get(), &GamepadConfigWidget::calibrationSaved);
        const int capture = QStringList{"rest", "min", "max", "end"}.indexOf(edit);
        if (capture >= 0) {
            Q_EMIT axisCard(0)->captureRequested(AxisCard::CaptureTarget(capture));
            double Axis::*const field[] = {&Axis::restRaw, &Axis::negativeRaw, &Axis::positiveRaw,
                                           &Axis::activeRaw};
            expected.axes[0].*field[capture] = 42.0;
        } else if (edit == "axis" || edit == "unplugged") {
            for (double scale : {0.2, 0.4, 0.5})
                editAxis(1, [scale](Axis &a) { a.outputScale = scale; });
            expected.axes[1].outputScale = 0.5;
            QVERIFY(m_panel->hasUnsavedEdits()); // the base's, until saved
        } else if (edit == "button") {
            expected.buttons[3].debounceMs = 40;
            Q_EMIT m_panel->findChildren<ButtonCard *>()[3]->settingsChanged(expected.buttons[3]);
        } else if (edit == "gate removed") {
            Q_EMIT m_panel->findChild<GateCard *>()->deleteRequested();
            expected.gates.removeFirst();
        } else if (edit == "gate centre") {
            Q_EMIT m_panel->findChild<GateCard *>()->captureCenterRequested();
            expected.gates[0].centerX = evaluateAxis(42.0, before.axes[0]).value;
            expected.gates[0].centerY = evaluateAxis(-30.0, before.axes[1]).value;
        } else {
            m_panel->captureRestForAll();
            expected.axes[0].restRaw = 42.0;
            expected.axes[1].restRaw = -30.0; // axis 5 is absent and keeps its rest
        }
        if (!connected) {
            QCOMPARE(m_panel->editedCalibration(), before);
            QCOMPARE(status(), "Deconnectee: captures off");
            m_joysticks->backend.connectController(0, padIdentity(), 12, 0x0f), m_pad->poll();
            QCOMPARE(status(), "Profil requis pour override"); // captures work again
            return;
        }
        if (edit == "unplugged") {
            m_pad.reset();
            QVERIFY(onDisk(baseFile()) == expected && label("metaLabel") == "Aucune manette liee");
            return;
        }
        QTRY_COMPARE(saved.count(), 1);
        QCOMPARE(QList({onDisk(baseFile()), m_pad->calibration()}), QList({expected, expected}));
        QCOMPARE(axisCard(0)->settings(), expected.axes[0]);
        QCOMPARE(m_panel->findChildren<GateCard *>().first()->settings(), expected.gates.first());
        QVERIFY(axisCard(0)->isExpanded() && !axisCard(1)->isExpanded());
        QVERIFY(m_panel->findChildren<ButtonCard *>()[2]->isExpanded());
    }

    // A bouncing button and a drifting stick are told on their cards; their fixes are saved.
    void wearIsFixedThroughTheSave()
    {
        m_panel->setProfile(GamepadProfileInfo()); // the base needs no profile
        qint64 now = 0;
        m_pad->setClockSource([&now] { return now; });
        const auto pollAt = [&](qint64 t, bool down) { // button 3
            now = t, m_joysticks->backend.setButton(0, 3, down), m_pad->poll();
        };
        for (qint64 t = 1000; t < 1900; t += 300) // each press bounces once, 5 ms after
            for (const auto &[dt, down] : {std::pair{0, true}, {1, false}, {6, true}, {150, false}})
                pollAt(t + dt, down);
        m_joysticks->backend.setAxis(0, 0, 20.0);
        for (qint64 t = 2000; t <= 2000 + wear::kDriftHoldMs; t += 10)
            pollAt(t, false);
        m_panel->updateLiveValues();
        const WearNotice &bounces = m_panel->findChildren<ButtonCard *>().at(3)->bounceNotice();
        const WearNotice &drift = axisCard(0)->driftNotice();
        QCOMPARE(bounces.label->text() + " | " + drift.label->text(),
                 "Rebonds détectés : 3 | Dérive : repos à 20.0");
        QVERIFY(!axisCard(1)->driftNotice().row->isVisibleTo(m_panel.get()));

        QSignalSpy saved(m_panel.get(), &GamepadConfigWidget::calibrationSaved);
        QTest::mouseClick(bounces.action, Qt::LeftButton);
        QTest::mouseClick(drift.action, Qt::LeftButton);
        QTRY_COMPARE(saved.count(), 1);
        QCOMPARE(onDisk(baseFile()).buttons[3].debounceMs, 12); // bounces 6 ms after their press
        QCOMPARE(onDisk(baseFile()).axes[0].restRaw, 20.0);
        m_panel->updateLiveValues();
        QVERIFY(!bounces.row->isVisibleTo(m_panel.get()) && !drift.row->isVisibleTo(m_panel.get()));
    }

    // "Enregistrer…" records the panel's controller into the file asked for until pressed again;
    // a full disk stops it with the reason and leaves whole lines.
    void recording()
    {
        ScriptedDialogs dialogs;
        auto *record = m_panel->findChild<QPushButton *>("recordButton");
        QCOMPARE(record->text(), "Enregistrer…");
        dialogs.cancelNext(), QTest::mouseClick(record, Qt::LeftButton);
        QVERIFY(!m_panel->isRecording() && !record->isChecked());
        dialogs.answerPath(m_home.path()); // a folder: refused and said, the button up again
        QTest::mouseClick(record, Qt::LeftButton);
        QVERIFY(!record->isChecked() && dialogs.prompts().last().text.endsWith("Is a directory"));

        const QString path = m_home.filePath("session.jsonl");
        const auto pressFor = [this](int polls) {
            for (int i = 0; i < polls; ++i)
                m_joysticks->backend.setButton(0, 1, i / 2 % 2), m_pad->poll();
        };
        dialogs.answerPath(path), QTest::mouseClick(record, Qt::LeftButton);
        QVERIFY(m_panel->isRecording() && record->isChecked());
        pressFor(4), QTest::mouseClick(record, Qt::LeftButton), pressFor(4);
        const QList<QByteArray> lines = readBytes(path).split('\n');
        QCOMPARE(lines.size(), 3); // two of four polls changed something, then the last line's end
        QVERIFY(lines[0].startsWith("{\"t\": ") && lines[0].contains("\"name\": \"Test Pad\""));
        QVERIFY(lines[1].endsWith("\"buttons\": [1]}") && lines[2].isEmpty());

        dialogs.answerPath(path), QTest::mouseClick(record, Qt::LeftButton);
        QVERIFY(runUnder(
            FileFault::DiskFull, [&] { return pressFor(400), true; }, 16384));
        QVERIFY(!m_panel->isRecording() && !record->isChecked());
        QCOMPARE(dialogs.prompts().last().title + ": " + dialogs.prompts().last().text,
                 "Enregistrer: Enregistrement arrêté, " + path +
                     " garde ce qui a été écrit : " + QString::fromLocal8Bit(strerror(EFBIG)));
        QVERIFY(readBytes(path).endsWith("}\n"));
    }

    // A switch saves first; the override is made from the base once, kept until deleted.
    void profileScope()
    {
        QVERIFY(writeGamma(baseFile(), 2.0)); // another program
        m_panel->checkDisk();
        QCOMPARE(axisCard(0)->settings().gamma, 2.0);
        QSignalSpy meta(m_panel.get(), &GamepadConfigWidget::profileCalibrationMetadataChanged);
        editGamma(2.5), scopeCombo()->setCurrentIndex(1);
        QVERIFY(gammaOnDisk(baseFile()) == 2.5 && meta.count() == 1);
        QCOMPARE(meta.at(0), QVariantList({"override", "calibration.override.json", quint32(0x45e),
                                           quint32(0x28e)}));
        const QJsonObject file = jsonOf(readBytes(overrideFile()));
        QCOMPARE(file.value("profileId").toString(), m_profile.id.toString(QUuid::WithoutBraces));
        QVERIFY(gammaOnDisk(overrideFile()) == 2.5 && label("sourceLabel") == "Source: Profil");
        QVERIFY(writeGamma(baseFile(), 2.25)); // another program meanwhile: read on the way back
        editGamma(3.0), scopeCombo()->setCurrentIndex(0);
        QVERIFY(gammaOnDisk(overrideFile()) == 3.0 && meta.size() == 3 && meta[2][0] == "inherit");
        QCOMPARE(axisCard(0)->settings().gamma, 2.25); // the base, on its card at once
        scopeCombo()->setCurrentIndex(1);
        QCOMPARE(shownGamma(), 3.0);
        button("Copier base vers profil")->click(); // the base on disk, not the override in force
        QCOMPARE(gammaOnDisk(overrideFile()), 2.25);
        QSignalSpy saved(m_panel.get(), &GamepadConfigWidget::calibrationSaved);
        button("Supprimer override")->click();
        QVERIFY(!QFile::exists(overrideFile()) && scopeCombo()->currentIndex() == 0);
        QCOMPARE(meta.last(), QVariantList({"inherit", "", quint32(0x45e), quint32(0x28e)}));
        QCOMPARE(saved.count(), 1);
        button("Copier base vers profil")->click();
        QCOMPARE(meta.last().at(0).toString(), "override");
        QCOMPARE(scopeCombo()->currentText() + " " + label("sourceLabel"), "Profil Source: Profil");
        QCOMPARE(gammaOnDisk(overrideFile()), 2.25);
    }

    void refused_data()
    {
        QTest::addColumn<QString>("said"); // %1 the override; a row is named "situation, action"
        QTest::newRow("no profile, switch") << "Profil requis pour override";
        QTest::newRow("no profile, copy") << "Aucun profil selectionne pour creer un override.";
        QTest::newRow("no profile, delete") << "Aucun profil selectionne pour creer un override.";
        QTest::newRow("read-only, switch") << "Impossible d'enregistrer %1 (";
        QTest::newRow("read-only, copy") << "Impossible d'enregistrer %1 (";
        QTest::newRow("read-only, delete") << "Impossible de supprimer %1";
        QTest::newRow("no login, edit") << "Aucun fichier de calibration cible.";
        QTest::newRow("login gone, edit") << "Aucun fichier de calibration cible.";
        QTest::newRow("outside, edit") << "Impossible d'enregistrer %1 (hors du dossier du profil)";
        QTest::newRow("damaged, copy") << "Calibration illisible dans %1 (";
    }

    // The panel stays in its scope and says why; nothing is written, the profile is told nothing;
    // an edit whose save fails (the login gone before it) stays to be saved.
    void refused()
    {
        const QStringList row = QString(QTest::currentDataTag()).split(", ");
        const QString situation = row[0], action = row[1];
        QFETCH(QString, said);
        const QString outside = QFileInfo(m_profile.folder + "/../outside.json").absoluteFilePath();
        const QString watched = situation == "no login"  ? baseFile()
                                : situation == "outside" ? outside
                                                         : overrideFile();
        setHost(situation == "no login" ? QString() : "tester");
        QVERIFY(situation != "damaged" || writeFileAtomic(overrideFile(), "{,}", nullptr));
        QVERIFY(situation != "outside" || writeGamma(outside, 1.5)); // named outside: never written
        m_profile.calibrationOverrideFile = situation == "outside" ? "../outside.json" : "";
        m_profile.calibrationMode =
            situation == "damaged" || situation == "outside" ? "override" : "inherit";
        m_panel->setProfile(situation == "no profile" ? GamepadProfileInfo() : m_profile);
        if (action != "edit")
            scopeCombo()->setCurrentIndex(action == "delete" ? 1 : 0);
        const int scope = scopeCombo()->currentIndex();
        const QByteArray bytes = readBytes(watched);
        QSignalSpy meta(m_panel.get(), &GamepadConfigWidget::profileCalibrationMetadataChanged);
        ScriptedDialogs dialogs;
        const QMap<QString, std::function<void()>> acts = {
            {"switch", [this] { scopeCombo()->setCurrentIndex(1); }},
            {"copy", [this] { m_panel->copyBaseToProfile(); }},
            {"delete", [this] { m_panel->deleteOverride(); }},
            {"edit", [&] {
                 editGamma(2.5), setHost(situation.contains("login") ? QString() : "tester");
                 m_panel->flushSave();
             }}};
        readOnly(situation == "read-only" ? m_profile.folder : QString(), acts[action]);
        QCOMPARE(scopeCombo()->currentIndex(), scope);
        QVERIFY2(status().startsWith(said.replace("%1", watched)), qPrintable(status()));
        QVERIFY((shownGamma() == 2.5) == (action == "edit") && readBytes(watched) == bytes);
        QVERIFY(meta.isEmpty() && dialogs.prompts().isEmpty());
        QCOMPARE(m_panel->hasUnsavedEdits(), situation == "outside" || situation == "login gone");
    }

    void leavingAfterAFailedSave_data()
    {
        QTest::addColumn<QString>("leave");
        QTest::addColumn<QString>("answer");
        for (const char *leave : {"controller", "controller renamed", "scope", "panel closing"})
            for (const char *answer : {"Réessayer", "Abandonner les modifications", "Rester"})
                QTest::addRow("%s, %s", leave, answer) << QString(leave) << QString(answer);
        QTest::newRow("panel destroyed") << "destroyed" << QString();
    }

    // Leaving unsaved base edits asks first; a panel destroyed without asking saves them quietly.
    void leavingAfterAFailedSave()
    {
        QFETCH(QString, leave);
        QFETCH(QString, answer);
        m_joysticks->backend.connectController(1, padIdentity("Other Pad"), 12, 0x0f);
        ControlManette otherPad(1);
        otherPad.poll(), editGamma(2.5);
        readOnly(QFileInfo(baseFile()).absolutePath(), [this] { m_panel->flushSave(); });
        const QString failure = status();
        QVERIFY(failure.startsWith("Impossible d'enregistrer " + baseFile() + " ("));
        ScriptedDialogs dialogs;
        if (!answer.isEmpty())
            dialogs.answerChoice(answer);
        bool left = true;
        if (leave == "controller") {
            m_panel->setDevice(&otherPad);
            left = m_panel->device() == &otherPad;
        } else if (leave == "controller renamed") {
            m_joysticks->backend.connectController(0, padIdentity("Renamed Pad")), m_pad->poll();
            QTRY_VERIFY(!dialogs.prompts().isEmpty());
            left = label("metaLabel").startsWith("Renamed Pad");
        } else if (leave == "scope") {
            scopeCombo()->setCurrentIndex(1);
            left = m_panel->scope() == 1;
            QCOMPARE(scopeCombo()->currentIndex(), m_panel->scope());
        } else if (leave == "panel closing") {
            left = m_panel->requestLeave();
        } else {
            m_panel.reset();
            QVERIFY(dialogs.prompts().isEmpty());
            QVERIFY(gammaOnDisk(baseFile()) == 2.5 && m_pad->calibration().axes[0].gamma == 2.5);
            return;
        }
        QCOMPARE(dialogs.prompts().size(), 1);
        QCOMPARE(dialogs.prompts()[0].title + ": " + dialogs.prompts()[0].text,
                 QString("Modifications non enregistrées: Les modifications de la calibration Base "
                         "de « Test Pad » ne sont pas enregistrées :\n") +
                     failure);
        QCOMPARE(left, answer != "Rester");
        QCOMPARE(gammaOnDisk(baseFile()), answer == "Réessayer" ? 2.5 : 1.5);
        QCOMPARE(status(), left ? "Pret" : failure);
        if (!left || leave == "panel closing" || leave == "scope")
            QCOMPARE(shownGamma(), answer == "Abandonner les modifications" ? 1.5 : 2.5);
    }

    // An unreadable file is shown read-only and never written until the user starts again empty.
    void unreadableFiles()
    {
        const QByteArray damage = "{ \"axes\": [";
        QVERIFY(writeFileAtomic(baseFile(), damage, nullptr));
        m_panel->setProfile(makeProfile()); // away, then back: read again
        m_panel->setProfile(m_profile);
        QVERIFY(status().startsWith("Calibration illisible dans " + baseFile() + " ("));
        QPushButton *startAgain = button("Recommencer à vide");
        QVERIFY(!axisCard(0)->isEnabled() && startAgain->isVisibleTo(m_panel.get()));
        QVERIFY(!button("Mesurer…")->isEnabled() && !button("Ajouter une gate")->isEnabled());
        ScriptedDialogs dialogs;
        const GamepadCalibration shown = m_panel->editedCalibration();
        auto *buttonCard = m_panel->findChildren<ButtonCard *>().at(1); // given back the buffer's
        editGamma(4.0), buttonCard->setSettings({false});
        Q_EMIT buttonCard->settingsChanged(buttonCard->settings());
        for (auto slot : {&GamepadConfigWidget::captureRestForAll, &GamepadConfigWidget::addGate,
                          &GamepadConfigWidget::resetCurrentCalibration,
                          &GamepadConfigWidget::openMeasurement, &GamepadConfigWidget::flushSave})
            (m_panel.get()->*slot)();
        QCOMPARE(m_panel->editedCalibration(), shown);
        QCOMPARE(axisCard(0)->settings().gamma, shown.axes[0].gamma);
        QVERIFY(buttonCard->settings().enabled);
        QVERIFY(!m_panel->measureDialog() && dialogs.prompts().isEmpty());

        dialogs.answerYes(true), startAgain->click();
        const auto asked = dialogs.prompts().first(); // over the panel
        QVERIFY(asked.text.contains("Base de « Test Pad »") && asked.parent == m_panel.get());
        QVERIFY(axisCard(0)->isEnabled() && !startAgain->isVisibleTo(m_panel.get()));
        QVERIFY(button("Mesurer…")->isEnabled() && button("Ajouter une gate")->isEnabled());
        QCOMPARE(status(), "Pret");
        QCOMPARE(shownGamma(), 1.0); // the defaults; the file goes at the first edit
        QCOMPARE(readBytes(baseFile()), damage);
        editGamma(2.5), m_panel->flushSave();
        QCOMPARE(gammaOnDisk(baseFile()), 2.5);

        // An unreadable override started again empty is a copy of the base, shown on the cards.
        QVERIFY(writeFileAtomic(overrideFile(), "{,}", nullptr));
        m_profile.calibrationMode = "override";
        m_panel->setProfile(m_profile);
        QCOMPARE(scopeCombo()->currentIndex(), 1);
        dialogs.answerYes(true), startAgain->click();
        QVERIFY(axisCard(0)->settings().gamma == 2.5 && readBytes(overrideFile()) == "{,}");
    }

    void measurementIsBound_data()
    {
        QTest::addColumn<QString>("message"); // %1 the base; a row is named after the change
        QTest::newRow("unplugged") << "La manette a été débranchée : mesure annulée.";
        QTest::newRow("deleted") << "La manette a été débranchée : mesure annulée.";
        QTest::newRow("another controller") << "La manette a changé : mesure annulée.";
        QTest::newRow("another profile") << "Le profil a changé : mesure annulée.";
        QTest::newRow("another scope") << "Cette mesure a été prise pour la calibration Base : "
                                          "repassez sur « Base » pour l'appliquer.";
        QTest::newRow("unreadable") << "Calibration illisible dans %1 (";
    }

    // Cancelled with its controller or profile, refused for another scope or an unreadable file.
    void measurementIsBound()
    {
        const QString change = QTest::currentDataTag();
        QFETCH(QString, message);
        ScriptedDialogs dialogs;
        button("Mesurer…")->click(); // axis 0 rests at 54 and travels -70..100
        QPointer<CalibrationMeasureDialog> dialog = m_panel->measureDialog();
        QCOMPARE(unplacedWidgets(dialog), QStringList());
        qint64 now = 0; // the rest fed by the panel, timed by the controller's polls
        m_pad->setClockSource([&now] { return now; }), m_joysticks->backend.setAxis(0, 0, 54.0);
        for (; now <= CalibrationMeasureDialog::kRestDurationMs; now += 100)
            m_pad->poll(), m_panel->updateLiveValues();
        for (double x : {-70.0, 100.0, 54.0})
            dialog->addSample(3000, {true, true}, {x, 0.0});
        dialog->finishMotion();
        m_joysticks->backend.connectController(1, padIdentity("Other Pad"), 12, 0x0f);
        ControlManette other(1);
        other.poll();
        const QMap<QString, std::function<void()>> changes = {
            {"unplugged", [this] { m_joysticks->backend.disconnectController(0); }},
            {"deleted", [this] { m_pad.reset(); }},
            {"another controller", [&] { m_panel->setDevice(&other); }},
            {"another profile", [this] { m_panel->setProfile(makeProfile()); }},
            {"another scope", [this] { scopeCombo()->setCurrentIndex(1); }},
            {"unreadable", [this] { writeFileAtomic(baseFile(), "{,}", nullptr); }}};
        changes[change]();
        if (m_pad)
            m_pad->poll();
        m_panel->checkDisk();
        const bool stays = change == "another scope" || change == "unreadable";
        if (stays)
            dialog->accept();
        QTRY_COMPARE(dialogs.prompts().size(), 1);
        const auto prompt = dialogs.prompts().first();
        using Kind = ScriptedDialogSeam::Kind;
        QCOMPARE(prompt.kind, stays ? Kind::Warning : Kind::Information);
        QCOMPARE(prompt.title, "Mesurer");
        QVERIFY(prompt.text.startsWith(message.replace("%1", baseFile())));
        QCOMPARE(dialog && dialog->isVisible(), stays);
        QVERIFY(m_panel->editedCalibration().axes[0].restRaw != 54.0);
        if (change == "unreadable")
            QCOMPARE(readBytes(baseFile()), QByteArray("{,}"));
        if (change != "another scope")
            return;
        scopeCombo()->setCurrentIndex(0); // back: applied, and the user's new curve kept
        editAxis(0, [](Axis &a) { a.curvePreset = GamepadCalibration::CurvePreset::Soft; });
        dialog->findChild<QPushButton *>("measureApplyButton")->click();
        const Axis &axis = m_panel->editedCalibration().axes[0];
        QVERIFY(axis.restRaw == 54.0 && axis.curvePreset == GamepadCalibration::CurvePreset::Soft);
        QTRY_VERIFY(!dialog);
    }
};

QTEST_MAIN(TestGamepadConfigWidget)
#include "tst_gamepadconfigwidget.moc"
