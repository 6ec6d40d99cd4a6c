#include "actionlinker.h"
#include "controlmanette.h"
#include "documentsession.h"
#include "interactiveoverlay.h"
#include "mappingdocument.h"
#include "profilemeta.h"
#include "runtimetestsupport.h"
#include "scripteddialogseam.h"

#include <QJsonDocument>
#include <QLabel>
#include <QListWidget>
#include <QSignalSpy>
#include <QtTest>

#include <csignal>
#include <memory>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

const auto object = [](const char *json) { return QJsonDocument::fromJson(json).object(); };
const auto services = [](const char *catalog) {
    return QJsonObject{{"sharedActionCatalog", QJsonDocument::fromJson(catalog).array()}};
};

const char *const kCatalog = R"([{"name": "record", "label": "Enregistrer", "group": "Caméra"},
    {"name": "secret", "hidden": true, "group": "Caméra"}, {"name": "pan", "group": "Tourelle"},
    {"name": "zoom", "label": "Zoom", "group": "Caméra"}, {"name": "tilt"}])";
const QJsonObject kOverlay = object(R"({"type": "InteractiveOverlay", "nodes": [
    {"kind": "button", "sources": {"Bouton": {"stringKey": "but_3"}}, "geometry": {"x": 0.6}},
    {"kind": "button", "sources": {"Bouton": {"stringKey": "but_5"}}, "geometry": {"x": 0.7}},
    {"kind": "singleJoy", "sources": {"Joystick": {"stringKey": "joy_1"}}, "geometry": {"y": 0.5}},
    {"kind": "button", "sources": {"Bouton": {"stringKey": "gate_1"}}, "geometry": {"x": 0.3}}]})");
// Zoom on BUT_5, and a host section big enough that a rewrite outgrows 4096 bytes.
const QByteArray kMapping = R"({"timers": [")" + QByteArray(6000, 'x') + R"("], "bridges": [
    {"src": {"stringKey": "BUT_5", "deviceType": "gamepade"}, "action": "zoom"}]})";
const QByteArray kTheirs = R"({"bridges": [{"src": {"stringKey": "but_5"}, "action": "tilt"}]})";
using State = EditSession::State;

QByteArray readBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<none>");
}

// "key:action" for each bridge of a mapping document.
QStringList bridgesOnDisk(const QString &path)
{
    QStringList bridges;
    for (const QJsonValue &bridge : QJsonDocument::fromJson(readBytes(path))[u"bridges"].toArray())
        bridges << bridge[u"src"][u"stringKey"].toString() + ':' + bridge[u"action"].toString();
    return bridges;
}

// A profile in the user's folder: metadata, the overlay document and a mapping document.
GamepadProfileMeta seedProfile(const QByteArray &mapping = kMapping)
{
    GamepadProfileMeta meta;
    meta.id = QUuid::createUuid();
    meta.name = "Pad";
    meta.folder = userProfilesRoot() + '/' + meta.id.toString(QUuid::WithoutBraces);
    const bool written = QDir().mkpath(meta.folder) && writeProfileMeta(&meta, nullptr) &&
                         QImage(8, 6, QImage::Format_RGB32).save(meta.imagePath()) &&
                         writeJsonFileAtomic(meta.overlayPath(), kOverlay, nullptr) &&
                         writeFileAtomic(mappingDocumentPath(meta.folder), mapping, nullptr);
    return written ? meta : GamepadProfileMeta();
}

// Scripted answers that also keep where each question was shown, and let the controller go on
// talking while one is open.
struct AskingDialogs : ScriptedDialogs
{
    bool question(QWidget *parent, const QString &title, const QString &text) override
    {
        parents << parent;
        if (const std::function<void()> once = std::exchange(whileAsking, nullptr))
            once();
        return ScriptedDialogs::question(parent, title, text);
    }
    QList<QWidget *> parents;
    std::function<void()> whileAsking;
};

enum Fault { ReadOnlyFolder, DiskFull };

// A write fault on this process until lifted. Root writes anywhere, so a read-only folder is
// faced as an unprivileged user; the saved identity brings root back.
struct WriteFault
{
    WriteFault(Fault fault, const QString &folder) : m_folder(QFile::encodeName(folder))
    {
        getrlimit(RLIMIT_FSIZE, &m_saved);
        const rlimit small{4096, m_saved.rlim_max};
        m_limited = fault == DiskFull && setrlimit(RLIMIT_FSIZE, &small) == 0;
        m_locked = fault == ReadOnlyFolder && chmod(m_folder.constData(), 0555) == 0;
        m_asNobody = m_locked && geteuid() == 0 && seteuid(65534) == 0;
    }
    ~WriteFault() { lift(); }
    bool isOn() const { return m_limited || m_locked; }
    void lift()
    {
        if ((m_asNobody && seteuid(0) != 0) ||
            (m_limited && setrlimit(RLIMIT_FSIZE, &m_saved) != 0))
            qFatal("cannot lift the fault");
        if (m_locked)
            chmod(m_folder.constData(), 0755);
        m_asNobody = m_limited = m_locked = false;
    }
    QByteArray m_folder;
    rlimit m_saved;
    bool m_limited = false, m_locked = false, m_asNobody = false;
};

} // namespace

class TestActionLinker : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        useThrowAwayHome(m_home);
        qApp->setProperty("kx.currentLogin", "tester");
        // The unprivileged user must reach the folders it is refused to write in.
        QVERIFY(chmod(QFile::encodeName(m_home.path()).constData(), 0755) == 0);
        umask(022);
        std::signal(SIGXFSZ, SIG_IGN); // a write beyond the file size limit fails instead
    }
    void init()
    {
        m_joysticks = std::make_unique<VirtualJoysticks>();
        m_profile = std::make_unique<QTemporaryDir>();
        m_linker = std::make_unique<ActionLinker>();
        m_linker->setExternalServices(services(kCatalog));
        m_linker->resize(900, 560);
        m_linker->show();
    }
    void cleanup()
    {
        m_linker.reset(); // writes a save still waiting into the profile folder
        m_profile.reset();
        m_joysticks.reset();
    }

    void linksALivePressAndSavesOnce()
    {
        const GamepadProfileMeta meta = seedProfile();
        const QString path = mappingDocumentPath(meta.folder);
        m_joysticks->backend.connectController(0, padIdentity("Pad A"));
        m_joysticks->backend.connectController(1, padIdentity("Pad B"));
        ControlManette linked(0), other(1);
        auto gone = std::make_unique<ControlManette>(2);
        m_linker->setInputDevices({&linked, &other, gone.get()});
        // No folder given: the profile store finds it by id.
        m_linker->loadGamepadSnapshot(meta.id, "P", {" pad a "}, kOverlay, QString());
        QCOMPARE(bindings(), QStringList{"but_5:zoom"});
        QSignalSpy saved(m_linker.get(), &ActionLinker::mappingSaved);
        choose("Enregistrer");
        m_joysticks->backend.setButton(1, 3, true);
        other.poll(); // a controller the profile does not link is not heard
        QCOMPARE(m_linker->pendingAction(), QString("record"));
        m_joysticks->backend.setButton(0, 3, true);
        linked.poll();
        QCOMPARE(bindings(), QStringList({"but_3:record", "but_5:zoom"}));
        QCOMPARE(m_linker->pendingAction(), QString());
        const std::optional<qint64> due = m_linker->session()->session().deadline();
        QVERIFY(due && m_linker->isSavePending());
        gone.reset();
        m_linker->onDeviceSelectionChanged({"", " "}); // linking none: every controller is heard
        choose("tilt"); // a second change while the save waits keeps the first one's moment
        m_joysticks->backend.setButton(1, 5, true);
        other.poll();
        QCOMPARE(m_linker->session()->session().deadline(), due);
        QTRY_COMPARE(saved.size(), 1);
        QVERIFY(!m_linker->isSavePending());
        QCOMPARE(bridgesOnDisk(path), QStringList({"but_3:record", "but_5:tilt"}));
        m_linker->setInputDevices({}); // controllers taken away are no longer heard
        choose("pan");
        m_joysticks->backend.setButton(1, 4, true);
        other.poll();
        QCOMPARE(m_linker->pendingAction(), QString("pan"));
    }

    void bindsOnDecisiveInputsOnly_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<double>("value");
        QTest::addColumn<bool>("binds");
        QTest::newRow("axis at 39.9") << "joy_1" << 39.9 << false;
        QTest::newRow("axis at 40.0") << "joy_1" << 40.0 << true;
        QTest::newRow("axis at -40.0") << "joy_1" << -40.0 << true;
        QTest::newRow("button press") << "but_3" << 1.0 << true;
        QTest::newRow("button release") << "but_3" << 0.0 << false;
        QTest::newRow("entering a gate") << "gate_1" << 1.0 << true;
        QTest::newRow("leaving a gate") << "gate_1" << 0.0 << false;
    }
    void bindsOnDecisiveInputsOnly()
    {
        QFETCH(QString, key);
        QFETCH(double, value);
        QFETCH(bool, binds);
        m_linker->loadGamepadSnapshot(QUuid::createUuid(), "P", {}, kOverlay, {},
                                      m_profile->path());
        choose("pan");
        const int number = key.section('_', 1).toInt();
        if (key.startsWith("joy_"))
            m_linker->onInputAxisChanged(number, value);
        else if (key.startsWith("but_"))
            m_linker->onInputButtonChanged(number, value != 0);
        else
            m_linker->onInputGateChanged(key, value != 0);
        QCOMPARE(bindings().contains(key + ":pan"), binds);
        QCOMPARE(m_linker->pendingAction().isEmpty(), binds);
        QCOMPARE(m_linker->isSavePending(), binds);
    }

    // A damaged document is reported in English with the reader's words; a profile without id
    // is never saved.
    void loadFailureIsLoggedAndNoProfileIsNeverSaved()
    {
        const QDir dir(m_profile->path());
        QVERIFY(writeFileAtomic(mappingDocumentPath(dir.path()), "{,", nullptr));
        const QString reason = "Invalid JSON in " + mappingDocumentPath(dir.path());
        warnsOnce("Gamepad mapping load failed error=" + reason);
        m_linker->loadGamepadSnapshot(QUuid::createUuid(), "P", {}, kOverlay, {}, dir.path());
        QVERIFY(hint().startsWith(reason));
        choose("tilt"); // an action chosen for one profile does not wait in the next

        m_linker->loadGamepadSnapshot(QUuid(), "P", {}, kOverlay, {});
        QCOMPARE(hint(), QString("Cliquez une action puis appuyez sur un bouton."));
        bind("pan", 3);
        QCOMPARE(bindings(), QStringList{"but_3:pan"});
        QVERIFY(!m_linker->isSavePending());
        QCOMPARE(readBytes(mappingDocumentPath(dir.path())), QByteArray("{,"));
        m_linker->loadGamepadSnapshot(QUuid(), "P", {}, {}, {});
        bind("pan", 3);
        QCOMPARE(m_linker->pendingAction(), QString("pan")); // no overlay: nothing to bind to
    }

    // Rows: "#" a bold inert header, "-" another inert row, "label=name" an action; "?" marks a
    // wrong flag or tooltip.
    void listsVisibleActionsByGroup()
    {
        const ActionLinker bare; // no services yet
        QCOMPARE(bare.findChild<QListWidget *>()->findItems("Aucune action", {}).size(), 1);
        QCOMPARE(rows(), QString("#Caméra,Enregistrer=record,Zoom=zoom,#Tourelle,pan=pan,"
                                 "#Sans groupe,tilt=tilt")
                             .split(','));
        choose("pan"); // waits no longer once the catalog changed
        m_linker->setExternalServices(services(R"([{"name": "secret", "hidden": true}])"));
        QCOMPARE(rows(), QStringList{"-Aucune action"});
        QCOMPARE(m_linker->pendingAction(), QString());
    }

    // The panel with an action waiting, then the second click on it, which cancels.
    void rendersAndCancels()
    {
        QJsonArray catalog;
        for (int i = 0; i < 12; ++i)
            catalog << QJsonObject{{"name", QString("action%1").arg(i)},
                                   {"label", QString("Action %1").arg(i)},
                                   {"group", i < 7 ? "Caméra" : "Tourelle"}};
        m_linker->setExternalServices({{"sharedActionCatalog", catalog}});
        m_linker->loadGamepadSnapshot(QUuid(), "P", {}, kOverlay, {});
        choose("Action 3");
        QCOMPARE(hint(), QString("Appuyez sur un bouton pour mapper \"action3\"."));
        QCOMPARE(list()->selectedItems().size(), 1);
        QCOMPARE(m_linker->overlay()->objectName(), QString("iteractiveoverlay"));
        const QLabel *title = m_linker->findChild<QLabel *>("mappingActionsTitle");
        QVERIFY(title && title->text() == "Actions disponibles");
        QVERIFY(m_linker->overlay()->geometry().right() < title->parentWidget()->x());
        QVERIFY(title->geometry().bottom() < list()->geometry().top());
        QVERIFY(list()->geometry().bottom() <
                m_linker->findChild<QLabel *>("mappingActionsHint")->y());
        QVERIFY(m_linker->overlay()->isLocked());
        QVERIFY(m_linker->grab().save(QStringLiteral(GAMEPAD_TEST_OUTPUT "/action_linker.png")));

        choose("Action 3");
        QCOMPARE(m_linker->pendingAction(), QString());
        QCOMPARE(hint(), QString("Cliquez une action puis appuyez sur un bouton."));
        QVERIFY(list()->selectedItems().isEmpty());
    }

    // A pending save finds its profile folder deleted, or its document replaced by a folder:
    // nothing is written or made again, the panel says so once and binds nothing more.
    void goneBeforeThePendingSave_data()
    {
        QTest::addColumn<bool>("folderDeleted");
        QTest::addColumn<QString>("told"); // %1 the profile folder, %2 the mapping document
        QTest::newRow("profile folder deleted")
            << true << "Le dossier %1 a disparu ou a été remplacé : ";
        QTest::newRow("document replaced by a folder")
            << false << "%2 a été remplacé par autre chose qu’un fichier : ";
    }
    void goneBeforeThePendingSave()
    {
        QFETCH(bool, folderDeleted);
        QFETCH(QString, told);
        const GamepadProfileMeta profile = seedProfile();
        const QString path = mappingDocumentPath(profile.folder);
        told.replace("%1", profile.folder).replace("%2", path);
        load(profile);
        QSignalSpy saved(m_linker.get(), &ActionLinker::mappingSaved);
        warnsOnce("Gamepad mapping not saved error=" + told);
        bind("Enregistrer", 3);
        QVERIFY(m_linker->isSavePending());
        QVERIFY(QFile::remove(path));
        QVERIFY(folderDeleted ? QDir(profile.folder).removeRecursively() : QDir().mkdir(path));
        QTRY_COMPARE(m_linker->session()->state(), State::Gone);
        bind("pan", 5); // nothing binds any more
        m_linker->flushSave();

        QVERIFY2(hint().startsWith(told), qPrintable(hint()));
        QCOMPARE(bindings(), QStringList({"but_3:record", "but_5:zoom"}));
        QCOMPARE(m_linker->pendingAction(), QString());
        m_linker.reset(); // its last save is not written either
        QCOMPARE(saved.size(), 0);
        QCOMPARE(QFileInfo::exists(profile.folder), !folderDeleted);
        QVERIFY(folderDeleted || QDir(path).isEmpty());
    }

    // A document that cannot be read is never written, unless the user starts it again empty.
    void damagedDocument_data()
    {
        QTest::addColumn<QByteArray>("damage"); // "folder": a folder in its place
        QTest::addColumn<QString>("reason");
        QTest::addColumn<bool>("startEmpty");
        QTest::addColumn<QStringList>("written"); // the bridges after the save; empty: untouched
        const QStringList recorded{"but_3:record"};
        QTest::newRow("invalid JSON, kept")
            << QByteArray("{,") << "Invalid JSON in %1 (" << false << QStringList();
        QTest::newRow("invalid JSON, started again")
            << QByteArray("{\"bridges\": [") << "Invalid JSON in %1 (" << true << recorded;
        QTest::newRow("not an object, started again")
            << QByteArray("[1]") << "Invalid JSON in %1 (not an object)" << true << recorded;
        QTest::newRow("folder in its place, kept")
            << QByteArray("folder") << "Cannot open %1" << false << QStringList();
        QTest::newRow("folder in its place, started again")
            << QByteArray("folder") << "Cannot open %1" << true << QStringList();
    }
    void damagedDocument()
    {
        QFETCH(QByteArray, damage);
        QFETCH(QString, reason);
        QFETCH(bool, startEmpty);
        QFETCH(QStringList, written);
        const GamepadProfileMeta profile = seedProfile();
        const QString path = mappingDocumentPath(profile.folder);
        QVERIFY(damage == "folder" ? QFile::remove(path) && QDir().mkdir(path)
                                   : writeFileAtomic(path, damage, nullptr));
        load(profile);
        reason = reason.arg(path);
        QCOMPARE(m_linker->session()->state(), State::LoadFailed);
        const QString told = hint();
        QVERIFY2(told.startsWith(reason), qPrintable(told));
        AskingDialogs dialogs;
        dialogs.answerYes(startEmpty);
        dialogs.whileAsking = [this] { m_linker->onInputButtonChanged(5, true); };
        bind("Enregistrer", 3);
        QCOMPARE(dialogs.prompts().size(), 1);
        QCOMPARE(dialogs.parents, QList<QWidget *>{m_linker.get()});
        const ScriptedDialogSeam::Prompt question = dialogs.prompts().first();
        QCOMPARE(question.kind, ScriptedDialogSeam::Kind::Question);
        QCOMPARE(question.title, QString("Recommencer à vide"));
        QCOMPARE(question.text, told + "\n\nRecommencer le mapping de « Pad » à vide ? Le "
                                       "fichier sera remplacé à la première modification.");
        QCOMPARE(m_linker->pendingAction(), QString());
        QCOMPARE(bindings(), startEmpty ? QStringList{"but_3:record"} : QStringList());
        if (!startEmpty) {
            bind("pan", 5); // asks again, binds nothing again
            QCOMPARE(dialogs.prompts().size(), 2);
            QCOMPARE(bindings(), QStringList());
            QVERIFY(hint().startsWith(reason));
        }
        m_linker->flushSave();
        m_linker.reset();
        if (damage == "folder")
            QVERIFY(QDir(path).isEmpty());
        else if (written.isEmpty())
            QCOMPARE(readBytes(path), damage);
        else
            QCOMPARE(bridgesOnDisk(path), written);
    }

    // Saves refused by the disk keep the file and the edits; leaving asks, and each way out does
    // what it says.
    void failedWrites_data()
    {
        QTest::addColumn<int>("fault");
        QTest::addColumn<QString>("reason");
        QTest::addColumn<QString>("answer");
        const QList<std::pair<Fault, QString>> faults = {
            {ReadOnlyFolder, "Cannot write %1 (Permission denied)"},
            {DiskFull, "Write failed for %1 (File too large)"}};
        for (const auto &[fault, reason] : faults) {
            for (const char *answer : {"Réessayer", "Abandonner les modifications", "Rester"})
                QTest::addRow("%s, %s", fault == DiskFull ? "disk full" : "read-only folder",
                              answer)
                    << int(fault) << reason << QString(answer);
        }
    }
    void failedWrites()
    {
        QFETCH(int, fault);
        QFETCH(QString, reason);
        QFETCH(QString, answer);
        const GamepadProfileMeta profile = seedProfile(), next = seedProfile();
        const QString path = mappingDocumentPath(profile.folder);
        reason = reason.arg(path);
        load(profile);
        warnsOnce("Gamepad mapping not saved error=" + reason);
        if (answer == "Rester")
            warnsOnce("Gamepad mapping of profile Pad kept on screen");
        ScriptedDialogs dialogs;
        WriteFault under(Fault(fault), profile.folder);
        QVERIFY(under.isOn());
        bind("Enregistrer", 3);
        m_linker->flushSave();
        bind("pan", 5);
        m_linker->flushSave();
        const QStringList edits{"but_3:record", "but_5:pan"};
        QCOMPARE(hint(), reason);
        QCOMPARE(bindings(), edits);
        if (answer == "Réessayer")
            under.lift();
        dialogs.answerChoice(answer);
        m_linker->loadGamepadSnapshot(next.id, next.name, {}, kOverlay, {}, next.folder);
        under.lift();

        QCOMPARE(dialogs.prompts().size(), 1);
        const ScriptedDialogSeam::Prompt leave = dialogs.prompts().first();
        QCOMPARE(leave.title, QString("Modifications non enregistrées"));
        QCOMPARE(leave.text, "Les modifications du mapping de « Pad » ne sont pas enregistrées "
                             ":\n" +
                                 reason);
        QCOMPARE(leave.items, QStringList({"Réessayer", "Abandonner les modifications", "Rester"}));
        const bool stays = answer == "Rester";
        QCOMPARE(m_linker->profileId(), stays ? profile.id : next.id);
        QCOMPARE(hint(),
                 stays ? reason : QString("Cliquez une action puis appuyez sur un bouton."));
        QCOMPARE(bindings(), stays ? edits : QStringList{"but_5:zoom"});
        if (answer == "Réessayer")
            QCOMPARE(bridgesOnDisk(path), edits);
        else
            QCOMPARE(readBytes(path), kMapping);
    }

    // The document changed by another process after the load: the save asks first.
    void changedElsewhereBeforeTheSave_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<QStringList>("onDisk");
        QTest::addColumn<QStringList>("shown");
        const QStringList mine{"but_3:record", "but_5:zoom"}, theirs{"but_5:tilt"};
        QTest::newRow("overwrite") << "Écraser" << mine << mine;
        QTest::newRow("reload") << "Recharger" << theirs << theirs;
        QTest::newRow("cancel") << "Annuler" << theirs << mine;
    }
    void changedElsewhereBeforeTheSave()
    {
        QFETCH(QString, answer);
        const GamepadProfileMeta profile = seedProfile();
        const QString path = mappingDocumentPath(profile.folder);
        load(profile);
        QSignalSpy saved(m_linker.get(), &ActionLinker::mappingSaved);
        bind("Enregistrer", 3);
        QVERIFY(writeFileAtomic(path, kTheirs, nullptr));
        ScriptedDialogs dialogs;
        dialogs.answerChoice(answer);
        m_linker->flushSave();

        QCOMPARE(dialogs.prompts().size(), 1);
        const ScriptedDialogSeam::Prompt conflict = dialogs.prompts().first();
        QCOMPARE(conflict.title, QString("Fichier modifié ailleurs"));
        QVERIFY(conflict.text.startsWith(path + " a été modifié sur le disque"));
        QCOMPARE(conflict.items, QStringList({"Écraser", "Recharger", "Annuler"}));
        QTEST(bridgesOnDisk(path), "onDisk");
        QTEST(bindings(), "shown");
        QCOMPARE(saved.size(), int(answer == "Écraser"));
        QCOMPARE(hint().contains("a été modifié ailleurs"), answer == "Annuler");
        if (answer != "Écraser")
            QCOMPARE(readBytes(path), kTheirs);
    }

    // Without edits of its own the panel takes what changed on disk, lazily: before the next
    // binding, or when it is shown again.
    void changedElsewhereWithoutEdits_data()
    {
        QTest::addColumn<bool>("byAnotherEditor"); // of this process, whose save it hears of
        QTest::newRow("another editor's save, then a binding") << true;
        QTest::newRow("another process's write, then shown again") << false;
    }
    void changedElsewhereWithoutEdits()
    {
        QFETCH(bool, byAnotherEditor);
        const GamepadProfileMeta profile = seedProfile();
        const QString path = mappingDocumentPath(profile.folder);
        load(profile);
        m_linker->hide();
        DocumentSession editor(250, EditSession::Coalescing::RestartOnEdit);
        editor.loaded(profile.folder, {path});
        QJsonObject overlay = kOverlay; // the profile editor added a pastille
        overlay["nodes"] = QJsonArray(kOverlay["nodes"].toArray())
                           << object(R"({"kind": "button"})");
        QVERIFY(writeJsonFileAtomic(profile.overlayPath(), overlay, nullptr));
        QVERIFY(writeFileAtomic(path, kTheirs, nullptr));
        if (byAnotherEditor)
            editor.noteOwnWrite();
        QCoreApplication::processEvents();
        QCOMPARE(bindings(), QStringList{"but_5:zoom"}); // not yet
        ScriptedDialogs dialogs;
        if (!byAnotherEditor) {
            m_linker->show();
            QCOMPARE(bindings(), QStringList{"but_5:tilt"});
        }
        bind("Enregistrer", 3);
        choose("pan"); // a second binding keeps the first
        m_linker->onInputGateChanged("gate_1", true);
        m_linker->flushSave();
        const QStringList expected{"but_3:record", "but_5:tilt", "gate_1:pan"};
        QCOMPARE(bindings(), expected);
        QCOMPARE(bridgesOnDisk(path), expected);
        QVERIFY(dialogs.prompts().isEmpty());
        QCOMPARE(m_linker->overlay()->nodeCount(), 5);
        QCOMPARE(m_linker->overlay()->backgroundPixmap().size(), QSize(8, 6));
    }

private:
    // The warning must come exactly once in this test function.
    static void warnsOnce(const QString &start)
    {
        const QRegularExpression line('^' + QRegularExpression::escape(start));
        QTest::ignoreMessage(QtWarningMsg, line);
        QTest::failOnWarning(line);
    }
    void load(const GamepadProfileMeta &profile)
    {
        m_linker->loadGamepadSnapshot(profile.id, profile.name, {}, kOverlay, profile.imagePath(),
                                      profile.folder);
    }
    void bind(const QString &label, int button)
    {
        choose(label);
        m_linker->onInputButtonChanged(button, true);
    }
    // "key:action" for each bound slot of the overlay, sorted.
    QStringList bindings() const
    {
        QStringList bound;
        for (const OverlayNode &node : m_linker->overlay()->nodes()) {
            for (const OverlaySlot &slot : node.sources) {
                const QString action = bindingActionName(slot.binding);
                if (!action.isEmpty())
                    bound << slot.source.stringKey + ':' + action;
            }
        }
        bound.sort();
        return bound;
    }
    QListWidget *list() const { return m_linker->findChild<QListWidget *>("mappingActionsList"); }
    QString hint() const { return m_linker->findChild<QLabel *>("mappingActionsHint")->text(); }
    void choose(const QString &label) // clicks the action's row
    {
        const QListWidgetItem *item = list()->findItems(label, Qt::MatchExactly).value(0);
        QTest::mouseClick(list()->viewport(), Qt::LeftButton, {},
                          list()->visualItemRect(item).center());
    }
    QStringList rows() const
    {
        QStringList rows;
        for (int i = 0; i < list()->count(); ++i) {
            const QListWidgetItem *item = list()->item(i);
            const QString name = item->data(Qt::UserRole).toString();
            const bool inert = item->flags() == Qt::NoItemFlags;
            const bool wellFormed =
                inert ? name.isEmpty() && item->toolTip().isEmpty()
                      : item->toolTip() == "ID: " + name &&
                            item->flags().testFlags(Qt::ItemIsSelectable | Qt::ItemIsEnabled);
            rows << (inert ? (item->font().bold() ? "#" : "-") : "") + item->text() +
                        (inert ? "" : '=' + name) + (wellFormed ? "" : "?");
        }
        return rows;
    }

    QTemporaryDir m_home;
    std::unique_ptr<VirtualJoysticks> m_joysticks;
    std::unique_ptr<QTemporaryDir> m_profile;
    std::unique_ptr<ActionLinker> m_linker;
};

QTEST_MAIN(TestActionLinker)
#include "tst_actionlinker.moc"
