#include "actionlinker.h"
#include "controlmanette.h"
#include "documentsession.h"
#include "filetestsupport.h"
#include "interactiveoverlay.h"
#include "logcapture.h"
#include "mappingdocument.h"
#include "runtimetestsupport.h"
#include "scratchtree.h"
#include "scripteddialogseam.h"
#include "toucharea.h"
#include "widgettestsupport.h"

#include <QtTest>

#include <memory>
#include <utility>

// What only the mapping panel decides; how it lives through each disk fault is tst_editingfaults'.

const char *const kCatalog = R"([{"name": "record", "label": "Enregistrer", "group": "Caméra"},
    {"name": "secret", "hidden": true, "group": "Caméra"}, {"name": "pan", "group": "Tourelle"},
    {"name": "zoom", "label": "Zoom", "group": "Caméra"}, {"name": "tilt"}])";
const QJsonObject kOverlay = QJsonDocument::fromJson(R"({"type": "InteractiveOverlay", "nodes": [
    {"kind": "button", "sources": {"Bouton": {"stringKey": "but_3"}}, "geometry": {"x": 0.6}},
    {"kind": "button", "sources": {"Bouton": {"stringKey": "but_5"}}, "geometry": {"x": 0.7}},
    {"kind": "singleJoy", "sources": {"Joystick": {"stringKey": "joy_1"}}, "geometry": {"y": 0.5}},
    {"kind": "button", "sources": {"Bouton": {"stringKey": "gate_1"}}, "geometry": {"x": 0.3}}]})")
                                 .object();
// Zoom on BUT_5, and a host section big enough that a rewrite outgrows 4096 bytes.
const QByteArray kMapping = R"({"timers": [")" + QByteArray(6000, 'x') + R"("], "bridges": [
    {"src": {"stringKey": "BUT_5", "deviceType": "gamepade"}, "action": "zoom"}]})";
const QByteArray kTheirs = R"({"bridges": [{"src": {"stringKey": "but_5"}, "action": "tilt"}]})";

// "key:action" for each bridge of a mapping document.
static QStringList bridgesOnDisk(const QString &path)
{
    QStringList bridges; // a file that is not there has none
    for (const QJsonValue &bridge : QJsonDocument::fromJson(readBytes(path))[u"bridges"].toArray())
        bridges << bridge[u"src"][u"stringKey"].toString() + ':' + bridge[u"action"].toString();
    return bridges;
}

// A profile in the user's folder: metadata, the overlay document and a mapping document.
static GamepadProfileMeta seedProfile()
{
    GamepadProfileMeta meta;
    meta.id = QUuid::createUuid(), meta.name = "Pad";
    meta.folder = userProfilesRoot() + '/' + meta.id.toString(QUuid::WithoutBraces);
    const bool written = QDir().mkpath(meta.folder) && writeProfileMeta(&meta, nullptr) &&
                         QImage(8, 6, QImage::Format_RGB32).save(meta.imagePath()) &&
                         writeJsonFileAtomic(meta.overlayPath(), kOverlay, nullptr) &&
                         writeFileAtomic(mappingDocumentPath(meta.folder), kMapping, nullptr);
    return written ? meta : GamepadProfileMeta();
}

// Scripted answers; the controller goes on talking while a question is open.
class TestActionLinker : public QObject
{
    Q_OBJECT

private slots:
    void init() // Every test starts on a profile with its mapping document on disk.
    {
        useThrowAwayHome(m_home), qApp->setProperty("kx.currentLogin", "tester");
        m_linker = std::make_unique<ActionLinker>();
        m_linker->setExternalServices(
            {{"sharedActionCatalog", QJsonDocument::fromJson(kCatalog).array()}});
        m_linker->resize(900, 560), m_linker->show();
        m_profile = seedProfile();
        m_path = mappingDocumentPath(m_profile.folder);
        load(m_profile);
    }
    void cleanup() { m_linker.reset(); } // writes a save still waiting, within the test

    void linksALivePressAndSavesOnce()
    {
        VirtualJoysticks joysticks;
        joysticks.backend.connectController(0, padIdentity("Pad A"));
        joysticks.backend.connectController(1, padIdentity("Pad B"));
        ControlManette linked(0), other(1);
        auto gone = std::make_unique<ControlManette>(2);
        // No folder given: the profile store finds it by id. Controllers given later are heard.
        m_linker->loadGamepadSnapshot(m_profile.id, "P", {" pad a "}, kOverlay, QString());
        m_linker->setInputDevices({&linked, &other, gone.get()});
        QSignalSpy saved(m_linker.get(), &ActionLinker::mappingSaved);
        choose("Enregistrer"), joysticks.backend.setButton(1, 3, true);
        other.poll(); // a controller the profile does not link is not heard
        QCOMPARE(m_linker->pendingAction(), QString("record"));
        joysticks.backend.setButton(0, 3, true), linked.poll();
        QCOMPARE(bindings(), QStringList({"but_3:record", "but_5:zoom"}));
        QCOMPARE(unplacedWidgets(m_linker.get()) + overlappingWidgets(m_linker.get(), {900, 560}),
                 QStringList());
        gone.reset();
        m_linker->onDeviceSelectionChanged({"", " "}); // linking none: every controller is heard
        choose("tilt"); // a second change while the save waits: still one save
        joysticks.backend.setButton(1, 5, true), other.poll();
        QTRY_COMPARE(saved.size(), 1);
        QCOMPARE(bridgesOnDisk(m_path), QStringList({"but_3:record", "but_5:tilt"}));
    }

    // A controller that gets its name late, or is renamed, is heard under the name it has now;
    // the profile, loaded after the controllers were given, listens to its own.
    void followsControllerNames_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("after");
        QTest::addColumn<bool>("heard");
        QTest::newRow("named later") << QString() << QString("Pad A") << true;
        QTest::newRow("renamed away") << QString("Pad A") << QString("Pad C") << false;
        QTest::newRow("never named") << QString() << QString() << false;
    }
    void followsControllerNames()
    {
        QFETCH(QString, before);
        QFETCH(QString, after);
        VirtualJoysticks joysticks;
        joysticks.backend.connectController(0, padIdentity(before));
        ControlManette pad(0);
        m_linker->setInputDevices({&pad});
        m_linker->loadGamepadSnapshot(m_profile.id, "P", {"Pad A"}, kOverlay, QString());
        joysticks.backend.setIdentification(0, padIdentity(after));
        joysticks.backend.setButton(0, 3, true), choose("pan"), pad.poll();
        QTEST(bindings().contains("but_3:pan"), "heard");
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
        choose("pan");
        key == "joy_1"   ? m_linker->onInputAxisChanged(1, value)
        : key == "but_3" ? m_linker->onInputButtonChanged(3, value != 0)
                         : m_linker->onInputGateChanged(key, value != 0);
        QTEST(bindings().contains(key + ":pan"), "binds");
    }

    // A chosen action does not wait in the next profile; without an id nothing is saved.
    void noProfileIsNeverSaved()
    {
        choose("tilt"), m_linker->loadGamepadSnapshot(QUuid(), "P", {}, kOverlay, {});
        QCOMPARE(hint(), QString("Cliquez une action puis appuyez sur un bouton."));
        bind("pan", 3);
        QCOMPARE(bindings(), QStringList{"but_3:pan"});
        // A refused overlay document leaves none of the previous profile's pastilles on screen.
        m_linker->loadGamepadSnapshot(QUuid(), "Q", {}, QJsonObject{{"type", "Autre"}}, {});
        QCOMPARE(m_linker->findChild<InteractiveOverlay *>()->nodeCount(), 0);
        m_linker.reset();
        QCOMPARE(bridgesOnDisk(m_path), QStringList{"BUT_5:zoom"}); // as the host wrote it
    }

    // "#" a bold inert header, "-" another inert row, "label=tooltip" an action.
    void listsActionsAndCancels()
    {
        QCOMPARE(rows().join(','), "#Caméra,Enregistrer=ID: record,Zoom=ID: zoom,#Tourelle,"
                                   "pan=ID: pan,#Sans groupe,tilt=ID: tilt");
        choose("Zoom");
        QCOMPARE(hint(), QString("Appuyez sur un bouton pour mapper \"zoom\"."));
        QCOMPARE(m_linker->findChild<QLabel *>("mappingActionsTitle")->text(),
                 "Actions disponibles");
        const int gap = m_linker->findChild<QFrame *>("mappingActionsPanel")->x() -
                        m_linker->overlay()->geometry().right();
        QVERIFY(gap > 0 && gap < 20 && m_linker->overlay()->isLocked()); // fills its room, fixed
        QVERIFY(m_linker->findChild<QLabel *>("mappingActionsHint")->y() >
                m_linker->findChild<QWidget *>("mappingActionsList")->geometry().bottom());
        QSignalSpy selection(list()->selectionModel(), &QItemSelectionModel::selectionChanged);
        choose("Zoom"); // a second click cancels, without a word of the selection
        QCOMPARE(hint(), QString("Cliquez une action puis appuyez sur un bouton."));
        QVERIFY(list()->selectedItems().isEmpty() && selection.isEmpty());
        choose("pan"); // waits no longer once the catalog changed
        const char *const flagged =
            R"([{"name": "tilt", "__kxSharedActionCatalog": true}, {"name": "pan"}])";
        m_linker->setExternalServices({{"ref", QJsonDocument::fromJson(flagged).array()}});
        QCOMPARE(rows().join(","), "#Sans groupe,tilt=ID: tilt"); // the flagged one only
        QCOMPARE(hint(), QString("Cliquez une action puis appuyez sur un bouton."));
        m_linker = std::make_unique<ActionLinker>(); // no catalog yet: it says so
        QCOMPARE(rows(), QStringList{"-Aucune action"});
    }

    // The host's logs read the same lines whatever goes wrong: English, the reader's bare texts.
    void logsTheHostsLines_data()
    {
        QTest::addColumn<QString>("line"); // %1: the mapping document
        QTest::newRow("document a folder") << "Gamepad mapping load failed error=Cannot open %1";
        QTest::newRow("profile without folder") << "Gamepad mapping materialize failed error=No "
                                                   "profile folder for configActionGamepad.json";
    }
    void logsTheHostsLines()
    {
        QFETCH(QString, line);
        LogCapture log;
        if (QTest::currentDataTag() == QByteArray("document a folder")) {
            QVERIFY(QFile::remove(m_path) && QDir().mkdir(m_path));
            load(m_profile);
        } else {
            m_linker->loadGamepadSnapshot(QUuid::createUuid(), "Perdu", {}, kOverlay, {});
            bind("pan", 3), m_linker->flushSave();
        }
        QVERIFY2(log.lines.contains(line.arg(m_path)), qPrintable(log.lines.join('\n')));
    }

    // An unreadable document is shown; each binding asks to start it empty until the user agrees.
    void damagedDocumentAsksAtEachBinding()
    {
        QVERIFY(writeFileAtomic(m_path, "[1]", nullptr));
        const QString reason = "Invalid JSON in " + m_path + " (not an object)";
        load(m_profile);
        QCOMPARE(hint(), reason);
        ScriptedDialogs dialogs;
        dialogs.answerYes(false), dialogs.answerYes(true);
        dialogs.whileAsking = [this] { m_linker->onInputButtonChanged(5, true); }; // binds nothing
        bind("pan", 5);
        QCOMPARE(bindings(), QStringList());
        bind("Enregistrer", 9); // started again, on a button without pastille
        bind("Enregistrer", 3);
        QCOMPARE(dialogs.prompts().value(1).text,
                 reason + "\n\nRecommencer le mapping de « Pad » à vide ? Le fichier sera remplacé "
                          "à la première modification.");
        QCOMPARE(bindings(), QStringList{"but_3:record"}); // saved as tst_editingfaults shows
    }

    // A pending save finds the profile folder deleted: the panel says so and binds nothing more.
    void goneFolderBindsNothing()
    {
        const QString told = "Le dossier " + m_profile.folder +
                             " a disparu ou a été remplacé : les modifications ne peuvent plus y "
                             "être enregistrées.";
        bind("Enregistrer", 3);
        QVERIFY(removeScratchTree(m_profile.folder));
        QTRY_COMPARE(m_linker->session()->state(), EditSession::State::Gone);
        bind("pan", 5);
        QCOMPARE(bindings() << hint(), QStringList({"but_3:record", "but_5:zoom", told}));
        ScriptedDialogs dialogs; // no answer: the default, staying
        m_linker->loadGamepadSnapshot(QUuid(), "P", {}, kOverlay, {});
        QCOMPARE(dialogs.prompts().value(0).text,
                 told +
                     "\nLes modifications du mapping de « Pad » ne sont enregistrées nulle part.");
    }

    // Without edits the panel takes what changed on disk before the next binding, or when shown.
    void changedElsewhereWithoutEdits_data()
    {
        QTest::addColumn<bool>("byAnotherEditor"); // of this process, whose save it hears of
        QTest::newRow("another editor's save, then a binding") << true;
        QTest::newRow("another process's write, then shown again") << false;
    }
    void changedElsewhereWithoutEdits()
    {
        QFETCH(bool, byAnotherEditor);
        m_linker->hide();
        DocumentSession editor(250, EditSession::Coalescing::RestartOnEdit);
        editor.loaded(m_profile.folder, {m_path});
        QJsonObject overlay = kOverlay; // the profile editor added a pastille
        overlay["nodes"] = kOverlay["nodes"].toArray() << QJsonObject{{"kind", "button"}};
        QVERIFY(writeJsonFileAtomic(m_profile.overlayPath(), overlay, nullptr));
        QVERIFY(writeFileAtomic(m_path, kTheirs, nullptr));
        if (byAnotherEditor)
            editor.noteOwnWrite(); // its word comes queued
        QCoreApplication::processEvents();
        QCOMPARE(bindings(), QStringList{"but_5:zoom"}); // not yet
        ScriptedDialogs dialogs;
        if (!byAnotherEditor) {
            m_linker->show();
            QCOMPARE(bindings(), QStringList{"but_5:tilt"});
        }
        bind("Enregistrer", 3);
        choose("pan"); // a second binding keeps the first
        m_linker->onInputGateChanged("gate_1", true), m_linker->flushSave();
        const QStringList expected{"but_3:record", "but_5:tilt", "gate_1:pan"};
        QCOMPARE(bindings() + bridgesOnDisk(m_path), expected + expected); // shown, then on disk
        QVERIFY(dialogs.prompts().isEmpty() && m_linker->overlay()->nodeCount() == 5);
    }

    // A hidden panel holds the previous profile's pastilles until shown, then builds the last's.
    void hiddenPanelBuildsTheLastProfileWhenShown()
    {
        m_linker->hide();
        const GamepadProfileMeta first = seedProfile(), last = seedProfile();
        QVERIFY(writeFileAtomic(mappingDocumentPath(last.folder), kTheirs, nullptr));
        load(first), load(last);
        const auto *built = m_linker->findChild<InteractiveOverlay *>("iteractiveoverlay");
        QCOMPARE(bindingsOf(*built), QStringList{"but_5:zoom"}); // the previous profile's
        m_linker->show();
        QCOMPARE(bindings() << m_linker->profileFolder(), QStringList({"but_5:tilt", last.folder}));
        QCOMPARE(m_linker->overlay()->pictureSize(), QSize(8, 6)); // its picture, its actions
        QCOMPARE(m_linker->overlay()->pastille(1)->labels(), QStringList("tilt"));
        bind("Enregistrer", 3), m_linker->flushSave();
        QCOMPARE(bridgesOnDisk(mappingDocumentPath(last.folder)),
                 QStringList({"but_3:record", "but_5:tilt"}));
    }

private:
    void load(const GamepadProfileMeta &profile)
    {
        m_linker->loadGamepadSnapshot(profile.id, profile.name, {}, kOverlay, profile.imagePath(),
                                      profile.folder);
    }
    void bind(const QString &label, int button)
    {
        choose(label), m_linker->onInputButtonChanged(button, true);
    }
    QStringList bindings() const { return bindingsOf(*m_linker->overlay()); }
    // "key:action" for each bound slot of the overlay, sorted.
    static QStringList bindingsOf(const InteractiveOverlay &overlay)
    {
        QStringList bound;
        for (const OverlayNode &node : overlay.nodes())
            for (const OverlaySlot &slot : node.sources)
                if (const QString action = bindingActionName(slot.binding); !action.isEmpty())
                    bound << slot.source.stringKey + ':' + action;
        bound.sort();
        return bound;
    }
    QListWidget *list() const { return m_linker->findChild<QListWidget *>("mappingActionsList"); }
    QString hint() const { return m_linker->findChild<QLabel *>("mappingActionsHint")->text(); }
    void choose(const QString &label) // clicks the action's row
    {
        const QRect row = list()->visualItemRect(list()->findItems(label, {}).value(0));
        QTest::mouseClick(list()->viewport(), Qt::LeftButton, {}, row.center());
    }
    QStringList rows() const
    {
        QStringList rows;
        for (int i = 0; i < list()->count(); ++i) {
            const QListWidgetItem *item = list()->item(i);
            const bool inert = item->flags() == Qt::NoItemFlags;
            rows << (inert ? (item->font().bold() ? "#" : "-") + item->text()
                           : item->text() + '=' + item->toolTip());
        }
        return rows;
    }

    QTemporaryDir m_home;
    std::unique_ptr<ActionLinker> m_linker;
    GamepadProfileMeta m_profile;
    QString m_path;
};

QTEST_MAIN(TestActionLinker)
#include "tst_actionlinker.moc"
