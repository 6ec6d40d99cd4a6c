#include "controlmanette.h"
#include "gamepadbuttoncalibrationwidget.h"
#include "gamepadconfigwidget.h"
#include "profilemeta.h"
#include "runtimetestsupport.h"
#include "scripteddialogseam.h"

#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QtTest>

#include <csignal>
#include <functional>
#include <memory>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

// The calibration panel keeps the files of its two scopes through the editing session: failed
// saves, files that cannot be read, folders that disappear and files changed by someone else.

namespace {

using Axis = GamepadCalibration::AxisSettings;

enum Fault { ReadOnlyFolder, DiskFull };

const QString kLeaveTitle = QStringLiteral("Modifications non enregistrées");
const QStringList kLeaveChoices = {"Réessayer", "Abandonner les modifications", "Rester"};

GamepadProfileInfo makeProfile(const QString &name, const QString &mode)
{
    GamepadProfileMeta meta;
    meta.id = QUuid::createUuid();
    meta.name = name;
    meta.folder = QDir(userProfilesRoot()).filePath(meta.id.toString(QUuid::WithoutBraces));
    meta.calibrationMode = mode;
    QDir().mkpath(meta.folder);
    writeProfileMeta(&meta, nullptr);
    return readProfileInfo(meta.folder);
}

QByteArray readBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<none>");
}

bool writeBytes(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

// A calibration file as another program would write it, axis 0 with this gamma.
bool writeGamma(const QString &path, double gamma)
{
    GamepadCalibration calibration = defaultCalibration(8, 32);
    calibration.axes[0].gamma = gamma;
    QDir().mkpath(QFileInfo(path).absolutePath());
    return saveCalibrationFile(path, calibration, {}, {}, nullptr);
}

double gammaOnDisk(const QString &path)
{
    const QJsonObject file = QJsonDocument::fromJson(readBytes(path)).object();
    return file.value("axes").toArray().at(0)["gamma"].toDouble(-1.0);
}

// Runs the operation under the fault, then lifts it. Root writes anywhere: the read-only folder is
// also faced as an unprivileged user, the saved identity bringing root back.
bool runUnder(Fault fault, const QString &folder, const std::function<bool()> &operation)
{
    rlimit saved;
    getrlimit(RLIMIT_FSIZE, &saved);
    const rlimit small{1024, saved.rlim_max};
    const QByteArray dir = QFile::encodeName(folder);
    const bool limited = fault == DiskFull && setrlimit(RLIMIT_FSIZE, &small) == 0;
    const bool locked = fault == ReadOnlyFolder && chmod(dir.constData(), 0555) == 0;
    const bool asNobody = fault == ReadOnlyFolder && geteuid() == 0 && seteuid(65534) == 0;
    const bool result = operation();
    if ((asNobody && seteuid(0) != 0) || (limited && setrlimit(RLIMIT_FSIZE, &saved) != 0) ||
        (locked && chmod(dir.constData(), 0755) != 0))
        qFatal("cannot lift the fault");
    return result;
}

} // namespace

class TestCalibrationSessions : public QObject
{
    Q_OBJECT

    QTemporaryDir m_home;
    std::unique_ptr<VirtualJoysticks> m_joysticks;
    std::unique_ptr<ControlManette> m_pad;
    std::unique_ptr<GamepadConfigWidget> m_panel;
    GamepadProfileInfo m_profile;

    QString baseFile(const QString &name = QStringLiteral("Test Pad")) const
    {
        return baseCalibrationWritePath({name, 0x45e, 0x28e});
    }
    QString overrideFile() const { return m_profile.folder + "/calibration.override.json"; }

    // A card edit, as the card makes it: its copy changes, then it reports it.
    void editAxis(int axis, const std::function<void(Axis &)> &change)
    {
        const auto cards = m_panel->findChildren<GamepadAxisCalibrationWidget *>();
        for (GamepadAxisCalibrationWidget *card : cards) {
            if (card->axisIndex() == axis) {
                Axis settings = card->settings();
                change(settings);
                card->setSettings(settings);
                Q_EMIT card->settingsChanged(settings);
            }
        }
    }
    void editGamma(double gamma)
    {
        editAxis(0, [gamma](Axis &a) { a.gamma = gamma; });
    }
    double shownGamma() const { return m_panel->editedCalibration().axes[0].gamma; }
    QString status() const
    {
        return m_panel->findChildren<QLabel *>(QStringLiteral("hintLabel")).at(1)->text();
    }
    QComboBox *scopeCombo() const
    {
        return m_panel->findChild<QComboBox *>(QStringLiteral("scopeCombo"));
    }
    bool cardsEnabled() const
    {
        return m_panel->findChild<GamepadAxisCalibrationWidget *>()->isEnabled() &&
               m_panel->findChild<GamepadButtonCalibrationWidget *>()->isEnabled();
    }
    bool startEmptyOffered() const
    {
        return m_panel->findChild<QPushButton *>(QStringLiteral("startEmptyButton"))
            ->isVisibleTo(m_panel.get());
    }
    // Saves the edit of the base scope under the fault: it fails and leaves the previous file.
    void failToSave(Fault fault)
    {
        const QString folder = QFileInfo(baseFile()).absolutePath();
        runUnder(fault, folder, [this] {
            m_panel->flushSave();
            return true;
        });
        QVERIFY2(status().startsWith("Impossible d'enregistrer " + baseFile() + " ("),
                 qPrintable(status()));
        QCOMPARE(gammaOnDisk(baseFile()), 1.5);
        QCOMPARE(shownGamma(), 2.5);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_home.isValid());
        // The unprivileged user must reach the folders it is refused to write in.
        QVERIFY(chmod(QFile::encodeName(m_home.path()).constData(), 0755) == 0);
        umask(022);
        useThrowAwayHome(m_home);
        registerCalibrationMetaTypes();
        std::signal(SIGXFSZ, SIG_IGN); // a write beyond the file size limit fails instead
        QLoggingCategory::setFilterRules("kx.plugin.gamepad.ui.warning=false");
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
        QVERIFY(writeGamma(baseFile(), 1.5));
        m_profile = makeProfile("Regie", "inherit");
        m_panel = std::make_unique<GamepadConfigWidget>();
        m_panel->setDevice(m_pad.get());
        m_panel->setProfile(m_profile);
        m_panel->updateLiveValues();
        QCOMPARE(shownGamma(), 1.5);
    }

    void cleanup()
    {
        m_panel.reset();
        m_pad.reset();
        m_joysticks.reset();
    }

    void leavingAfterAFailedSave_data()
    {
        QTest::addColumn<QString>("leave");
        QTest::addColumn<int>("fault");
        QTest::addColumn<QString>("answer");
        const QList<QPair<QString, int>> leaves = {{"profile", ReadOnlyFolder},
                                                   {"controller", DiskFull},
                                                   {"scope", ReadOnlyFolder},
                                                   {"identity", DiskFull},
                                                   {"panel closing", ReadOnlyFolder}};
        for (const auto &[leave, fault] : leaves) {
            for (const QString &answer : kLeaveChoices)
                QTest::addRow("%s, %s", qPrintable(leave), qPrintable(answer))
                    << leave << fault << answer;
        }
    }

    void leavingAfterAFailedSave()
    {
        QFETCH(QString, leave);
        QFETCH(int, fault);
        QFETCH(QString, answer);
        m_joysticks->backend.connectController(1, padIdentity("Other Pad"), 12, 0x0f);
        ControlManette otherPad(1);
        otherPad.poll();
        const GamepadProfileInfo otherProfile = makeProfile("Plateau", "inherit");
        editGamma(2.5);
        failToSave(Fault(fault));
        const QString failure = status();

        ScriptedDialogs dialogs;
        dialogs.answerChoice(answer);
        bool left = true;
        if (leave == "profile") {
            m_panel->setProfile(otherProfile);
            left = m_panel->profile().id == otherProfile.id;
        } else if (leave == "controller") {
            m_panel->setDevice(&otherPad);
            left = m_panel->device() == &otherPad;
        } else if (leave == "scope") {
            scopeCombo()->setCurrentIndex(GamepadConfigWidget::ProfileScope);
            left = m_panel->scope() == GamepadConfigWidget::ProfileScope;
            QCOMPARE(scopeCombo()->currentIndex(), m_panel->scope());
        } else if (leave == "identity") {
            m_joysticks->backend.setIdentification(0, padIdentity("Renamed Pad"));
            m_pad->poll();
            QTRY_COMPARE(dialogs.prompts().size(), 1);
            left = m_panel->currentTargetPath() == baseFile("Renamed Pad");
        } else {
            left = m_panel->requestLeave();
        }

        QCOMPARE(dialogs.prompts().size(), 1);
        const auto prompt = dialogs.prompts().first();
        QCOMPARE(prompt.title, kLeaveTitle);
        QCOMPARE(prompt.text, "Les modifications de la calibration Base de « Test Pad » ne sont "
                              "pas enregistrées :\n" +
                                  failure);
        QCOMPARE(prompt.items, kLeaveChoices);
        QCOMPARE(left, answer != "Rester");
        QCOMPARE(gammaOnDisk(baseFile()), answer == "Réessayer" ? 2.5 : 1.5);
        if (answer == "Rester") {
            QCOMPARE(m_panel->profile().id, m_profile.id);
            QCOMPARE(m_panel->device(), m_pad.get());
            QCOMPARE(m_panel->scope(), int(GamepadConfigWidget::BaseScope));
            QCOMPARE(scopeCombo()->currentIndex(), 0);
            QCOMPARE(shownGamma(), 2.5);
            QVERIFY(m_panel->hasUnsavedEdits());
            QCOMPARE(status(), failure);
        } else {
            QVERIFY(!m_panel->hasUnsavedEdits());
            QCOMPARE(status(), QStringLiteral("Pret"));
        }
        if ((leave == "panel closing" || leave == "scope") && answer != "Rester")
            QCOMPARE(shownGamma(), answer == "Réessayer" ? 2.5 : 1.5);
        if (leave == "identity" && answer == "Rester") {
            // Once its edits are saved, the panel follows the renamed controller.
            m_panel->flushSave();
            QTRY_COMPARE(m_panel->currentTargetPath(), baseFile("Renamed Pad"));
            QCOMPARE(gammaOnDisk(baseFile()), 2.5);
        }
    }

    void aFailureIsToldOnce_data()
    {
        QTest::addColumn<int>("fault");
        QTest::newRow("read-only folder") << int(ReadOnlyFolder);
        QTest::newRow("disk full") << int(DiskFull);
    }

    void aFailureIsToldOnce()
    {
        QFETCH(int, fault);
        ScriptedDialogs dialogs;
        QSignalSpy told(m_panel->scopeSession(GamepadConfigWidget::BaseScope),
                        &DocumentSession::failureAnnounced);
        editGamma(2.5);
        failToSave(Fault(fault));
        const QString failure = status();
        editAxis(1, [](Axis &a) { a.invert = true; });
        QVERIFY(m_panel->isSavePending()); // a later edit retries
        failToSave(Fault(fault));
        QCOMPARE(told.count(), 1);
        QCOMPARE(status(), failure);
        QVERIFY(dialogs.prompts().isEmpty());

        editGamma(3.0);
        m_panel->flushSave();
        QCOMPARE(gammaOnDisk(baseFile()), 3.0);
        QCOMPARE(status(), QStringLiteral("Pret"));
    }

    // A file that is there but cannot be read is shown read-only and never written, until the
    // user starts again empty.
    void unreadableFileAtLoad_data()
    {
        QTest::addColumn<int>("scope");
        QTest::addColumn<QByteArray>("damage");
        QTest::addColumn<QString>("when"); // damaged before the load, or after it; Profil reached
                                           // at the load or by switching to it
        QTest::addColumn<bool>("startEmpty");
        QTest::newRow("base, not JSON, start empty") << 0 << QByteArray("{ \"axes\": [") << "load"
                                                     << true;
        QTest::newRow("base, other type, keep") << 0 << QByteArray("{\"type\": \"Overlay\"}")
                                                << "load" << false;
        QTest::newRow("override, not an object, start empty") << 1 << QByteArray("[1, 2]")
                                                              << "load" << true;
        QTest::newRow("override, not JSON, keep") << 1 << QByteArray("{,}") << "load" << false;
        QTest::newRow("override reached by switching, start empty")
            << 1 << QByteArray("{,}") << "switch" << true;
        QTest::newRow("override reached by switching, keep") << 1 << QByteArray("{,}") << "switch"
                                                             << false;
        QTest::newRow("override damaged after the load, keep") << 1 << QByteArray("{,}")
                                                               << "after load" << false;
    }

    void unreadableFileAtLoad()
    {
        QFETCH(int, scope);
        QFETCH(QByteArray, damage);
        QFETCH(QString, when);
        QFETCH(bool, startEmpty);
        const QString path = scope == 0 ? baseFile() : overrideFile();
        QVERIFY(when == "after load" ? writeGamma(path, 1.5) : writeBytes(path, damage));
        m_profile.calibrationMode = scope == 1 && when == "load" ? "override" : "inherit";
        m_panel->setProfile(makeProfile("Regie", "inherit")); // away, then back: read again
        m_panel->setProfile(m_profile);
        if (when == "after load")
            QVERIFY(writeBytes(path, damage));
        if (when != "load")
            scopeCombo()->setCurrentIndex(1);
        QCOMPARE(m_panel->scope(), scope);
        QVERIFY2(status().startsWith("Calibration illisible dans " + path + " ("),
                 qPrintable(status()));
        QVERIFY(!cardsEnabled());
        QVERIFY(!m_panel->findChild<QPushButton *>(QStringLiteral("addGateButton"))->isEnabled());
        QVERIFY(startEmptyOffered());

        // Every way of editing is refused; nothing reaches the file.
        ScriptedDialogs dialogs;
        const GamepadCalibration shown = m_panel->editedCalibration();
        editGamma(4.0);
        m_panel->captureRestForAll();
        m_panel->resetCurrentCalibration();
        m_panel->addGate();
        m_panel->openMeasurement();
        m_panel->flushSave();
        QCOMPARE(m_panel->editedCalibration(), shown);
        QVERIFY(!m_panel->measureDialog());
        QVERIFY(!m_panel->isSavePending());
        QCOMPARE(readBytes(path), damage);
        QVERIFY(dialogs.prompts().isEmpty());

        dialogs.answerYes(startEmpty);
        const QString failure = status();
        m_panel->findChild<QPushButton *>(QStringLiteral("startEmptyButton"))->click();
        QCOMPARE(dialogs.prompts().size(), 1);
        QCOMPARE(dialogs.prompts().first().title, QStringLiteral("Recommencer à vide"));
        const QString subject = scope == 0 ? "la calibration Base de « Test Pad »"
                                           : "la calibration du profil « Regie »";
        QCOMPARE(dialogs.prompts().first().text,
                 failure + "\n\nRecommencer " + subject +
                     " à vide ? Le fichier sera remplacé à la première modification.");
        QCOMPARE(cardsEnabled(), startEmpty);
        QCOMPARE(startEmptyOffered(), !startEmpty);
        if (startEmpty) {
            // Base starts from the defaults, Profil from the base.
            QCOMPARE(shownGamma(), scope == 0 ? 1.0 : 1.5);
            QCOMPARE(readBytes(path), damage); // replaced at the first edit only
            QCOMPARE(status(), QStringLiteral("Pret"));
        }
        editGamma(2.5);
        m_panel->flushSave();
        if (startEmpty)
            QCOMPARE(gammaOnDisk(path), 2.5);
        else
            QCOMPARE(readBytes(path), damage);
    }

    // One scope that cannot be read does not keep the other from being edited and saved.
    void theOtherScopeStillSaves()
    {
        QVERIFY(writeBytes(overrideFile(), "{,}"));
        m_profile.calibrationMode = "override";
        m_panel->setProfile(m_profile);
        QVERIFY(!cardsEnabled());
        scopeCombo()->setCurrentIndex(0);
        QVERIFY(cardsEnabled());
        QVERIFY(!startEmptyOffered());
        editGamma(2.5);
        m_panel->flushSave();
        QCOMPARE(gammaOnDisk(baseFile()), 2.5);
        QCOMPARE(readBytes(overrideFile()), QByteArray("{,}"));
        // Copying the base over an unreadable override is refused as well.
        m_panel->copyBaseToProfile();
        QCOMPARE(readBytes(overrideFile()), QByteArray("{,}"));
        QCOMPARE(m_panel->scope(), int(GamepadConfigWidget::BaseScope));
        QVERIFY(status().startsWith("Calibration illisible dans " + overrideFile()));
    }

    // A profile folder that refuses writes: preparing the override fails, and so does deleting
    // it; the panel stays where it was and says why.
    void readOnlyProfileFolder_data()
    {
        QTest::addColumn<QString>("action");
        QTest::newRow("switching to Profil") << "switch";
        QTest::newRow("copying the base to the profile") << "copy";
        QTest::newRow("deleting the override") << "delete";
    }

    void readOnlyProfileFolder()
    {
        QFETCH(QString, action);
        if (action == "delete")
            scopeCombo()->setCurrentIndex(1); // prepares the override
        const int scopeBefore = m_panel->scope();
        ScriptedDialogs dialogs;
        runUnder(ReadOnlyFolder, m_profile.folder, [&] {
            if (action == "switch")
                scopeCombo()->setCurrentIndex(1);
            else if (action == "copy")
                m_panel->copyBaseToProfile();
            else
                m_panel->deleteOverride();
            return true;
        });
        QCOMPARE(m_panel->scope(), scopeBefore);
        QCOMPARE(scopeCombo()->currentIndex(), scopeBefore);
        QCOMPARE(m_panel->profile().calibrationMode, scopeBefore == 1 ? "override" : "inherit");
        const QString said = action == "delete" ? "Impossible de supprimer " + overrideFile()
                                                : "Impossible d'enregistrer " + overrideFile();
        QVERIFY2(status().startsWith(said), qPrintable(status()));
        QCOMPARE(QFileInfo::exists(overrideFile()), action == "delete");
        QVERIFY(!m_panel->hasUnsavedEdits());
        QVERIFY(dialogs.prompts().isEmpty());
    }

    void folderGoneUnderneath_data()
    {
        QTest::addColumn<QString>("change");
        QTest::addColumn<QString>("said");
        QTest::newRow("profile folder deleted") << "delete folder" << "Le dossier %1 a disparu";
        QTest::newRow("override replaced by a folder")
            << "folder at override" << "%2 a été remplacé par autre chose qu’un fichier";
        QTest::newRow("profile folder missing at load")
            << "missing at load" << "Le dossier du profil %1 n'existe plus";
    }

    void folderGoneUnderneath()
    {
        QFETCH(QString, change);
        QFETCH(QString, said);
        QVERIFY(writeGamma(overrideFile(), 1.5));
        m_profile.calibrationMode = "override";
        if (change == "missing at load")
            QVERIFY(QDir(m_profile.folder).removeRecursively());
        m_panel->setProfile(m_profile);
        editGamma(2.5);
        if (change == "delete folder")
            QVERIFY(QDir(m_profile.folder).removeRecursively());
        if (change == "folder at override")
            QVERIFY(QFile::remove(overrideFile()) && QDir().mkdir(overrideFile()));
        ScriptedDialogs dialogs;
        m_panel->flushSave();

        said.replace("%1", m_profile.folder).replace("%2", overrideFile());
        QVERIFY2(status().startsWith(said), qPrintable(status()));
        QCOMPARE(QFileInfo::exists(m_profile.folder), change == "folder at override");
        QCOMPARE(QFileInfo(overrideFile()).isFile(), false);
        QCOMPARE(shownGamma(), 2.5); // the edits stay in memory
        QVERIFY(m_panel->hasUnsavedEdits());
        QVERIFY(dialogs.prompts().isEmpty());
        editGamma(3.0);
        m_panel->flushSave();
        QCOMPARE(QFileInfo::exists(m_profile.folder), change == "folder at override");
    }

    void fileChangedElsewhere_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<double>("onDisk");
        QTest::addColumn<double>("shown");
        QTest::newRow("overwrite") << "Écraser" << 2.5 << 2.5;
        QTest::newRow("reload") << "Recharger" << 3.0 << 3.0;
        QTest::newRow("cancel") << "Annuler" << 3.0 << 2.5;
    }

    void fileChangedElsewhere()
    {
        QFETCH(QString, answer);
        editGamma(2.5);
        QVERIFY(writeGamma(baseFile(), 3.0)); // another workstation edits the shared base
        ScriptedDialogs dialogs;
        dialogs.answerChoice(answer);
        m_panel->flushSave();
        QCOMPARE(dialogs.prompts().size(), 1);
        QCOMPARE(dialogs.prompts().first().title, QStringLiteral("Fichier modifié ailleurs"));
        QVERIFY(dialogs.prompts().first().text.startsWith(baseFile() +
                                                          " a été modifié sur le disque"));
        QCOMPARE(dialogs.prompts().first().items,
                 QStringList({"Écraser", "Recharger", "Annuler"}));
        QTEST(gammaOnDisk(baseFile()), "onDisk");
        QTEST(shownGamma(), "shown");
        QTEST(m_panel->findChild<GamepadAxisCalibrationWidget *>()->settings().gamma, "shown");
        QCOMPARE(m_panel->hasUnsavedEdits(), answer == "Annuler");
    }

    // Without edits of its own, a scope shows what another program wrote.
    void aCleanScopeFollowsTheDisk()
    {
        QVERIFY(writeGamma(baseFile(), 3.0));
        ScriptedDialogs dialogs;
        m_panel->checkDisk();
        QCOMPARE(shownGamma(), 3.0);
        QVERIFY(dialogs.prompts().isEmpty());
    }

    void switchingScopeSavesThePendingEditFirst_data()
    {
        QTest::addColumn<int>("from");
        QTest::newRow("Base to Profil") << 0;
        QTest::newRow("Profil to Base") << 1;
    }

    void switchingScopeSavesThePendingEditFirst()
    {
        QFETCH(int, from);
        if (from == 1)
            scopeCombo()->setCurrentIndex(1);
        const QString left = from == 0 ? baseFile() : overrideFile();
        editGamma(2.5);
        QVERIFY(m_panel->isSavePending());
        QCOMPARE(gammaOnDisk(left), 1.5);
        scopeCombo()->setCurrentIndex(1 - from);
        QCOMPARE(m_panel->scope(), 1 - from);
        QCOMPARE(gammaOnDisk(left), 2.5);
        QVERIFY(!m_panel->isSavePending());
    }

    // Closing the panel saves what waits, without a question and never over another's file.
    void closingSavesQuietly_data()
    {
        QTest::addColumn<QString>("situation");
        QTest::addColumn<double>("onDisk");
        QTest::addColumn<double>("inForce"); // what the runtime applies afterwards
        QTest::newRow("pending edit") << "edit" << 2.5 << 2.5;
        QTest::newRow("file changed elsewhere") << "changed" << 3.0 << 4.0;
        QTest::newRow("nothing to save") << "none" << 1.5 << 4.0;
    }

    void closingSavesQuietly()
    {
        QFETCH(QString, situation);
        GamepadCalibration live = defaultCalibration(8, 32);
        live.axes[0].gamma = 4.0;
        m_pad->setCalibration(live); // a live calibration stays until the files are read again
        if (situation != "none")
            editGamma(2.5);
        if (situation == "changed")
            QVERIFY(writeGamma(baseFile(), 3.0));
        ScriptedDialogs dialogs;
        m_panel.reset();
        QTEST(gammaOnDisk(baseFile()), "onDisk");
        QTEST(m_pad->calibration().axes[0].gamma, "inForce");
        QVERIFY(dialogs.prompts().isEmpty());
    }
};

QTEST_MAIN(TestCalibrationSessions)
#include "tst_calibrationsessions.moc"
