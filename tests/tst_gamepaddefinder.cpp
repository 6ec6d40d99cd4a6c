#include "actionlinker.h"
#include "cataloguereader.h"
#include "filetestsupport.h"
#include "gamepadbuttoncalibrationwidget.h"
#include "gamepadconfigwidget.h"
#include "gamepaddefinder.h"
#include "inspectorpanel.h"
#include "interactiveoverlay.h"
#include "profilefolderwatcher.h"
#include "profileoperations.h"
#include "profiletiles.h"
#include "quickactionspanel.h"
#include "runtimetestsupport.h"
#include "scratchtree.h"
#include "scripteddialogseam.h"
#include "tagselectionbar.h"
#include "widgettestsupport.h"

#include <QtTest>

class TestGamepadDefinder : public QObject
{
    Q_OBJECT

    // A profile with one pastille per key: a stick for the first, buttons for the others.
    GamepadProfileMeta seed(const QString &name, const QStringList &keys = {},
                            const QString &linked = {})
    {
        InteractiveOverlay draft;
        for (int i = 0; i < keys.size(); ++i) {
            const ElementKind kind = i == 0 ? ElementKind::SingleJoy : ElementKind::Button;
            const int node = draft.createNode(kind, {}, QPoint(100 * i, 100));
            draft.setNodeSource(node, slotLabels(kind).at(0), {i == 0, "gamepade", 0, 1, keys[i]});
        }
        GamepadProfileMeta meta;
        createProfile({name, m_picture, linked, 0, 0, draft.serialize()}, &meta, nullptr, nullptr);
        return meta;
    }

    std::unique_ptr<GamepadDefinder> window()
    {
        auto w = std::make_unique<GamepadDefinder>(GamepadManager::instance());
        w->setRealGamepads({m_pad.get()});
        return w;
    }

    // The banner's buttons shown; clicks the one named `click`, which settles the open profile.
    static QStringList sessionButtons(const GamepadDefinder &w, const QString &click = {})
    {
        QStringList shown;
        for (QPushButton *button : w.findChildren<QPushButton *>("gamepadSessionButton")) {
            if (!button->isVisibleTo(&w))
                continue;
            shown << button->text();
            if (button->text() == click)
                button->click();
        }
        return shown;
    }

    static int rowOf(const GamepadDefinder &w, const QString &name)
    {
        return w.profileList()->row(w.profileList()->findItems(name, Qt::MatchExactly).value(0));
    }

    QTemporaryDir m_home;
    QString m_picture;
    std::unique_ptr<VirtualJoysticks> m_joysticks;
    std::unique_ptr<ControlManette> m_pad;

private slots:
    void initTestCase()
    {
        useThrowAwayHome(m_home), registerCalibrationMetaTypes();
        m_joysticks = std::make_unique<VirtualJoysticks>();
        GamepadManager::instance()->setAutoDetectGamePad(false); // controllers come from the tests
        m_picture = m_home.filePath("pad.png");
        QVERIFY(writeBytes(m_picture, encoded("PNG", {800, 480}, QColor(52, 74, 92))));
    }

    void init()
    {
        qApp->setProperty("kx.currentLogin", "tester"), removeScratchTree(configurationRoot());
        m_joysticks->backend.connectController(0, padIdentity("Pad A"));
        m_pad = std::make_unique<ControlManette>(0), m_pad->poll();
    }

    void cleanup() { m_pad.reset(); }

    void newProfile_data()
    {
        QTest::addColumn<int>("answered"); // questions answered before a cancel
        QTest::newRow("all answers") << 3;
        QTest::newRow("name cancelled") << 0;
        QTest::newRow("no controller chosen") << 2; // a profile linked to nothing
    }

    void newProfile()
    {
        QFETCH(int, answered);
        const bool created = answered >= 2;
        ScriptedDialogs dialogs;
        if (answered > 0)
            dialogs.answerText("Manette X");
        if (answered > 1)
            dialogs.answerPath(m_picture);
        answered > 2 ? dialogs.answerItem("Pad A") : dialogs.cancelNext();
        auto w = window();
        QSignalSpy catalog(w.get(), &GamepadDefinder::profilesCatalogChanged);
        w->actionNew();

        const ScriptedDialogSeam::Prompt name = dialogs.prompts().first();
        QCOMPARE(QStringList({name.title, name.text, name.value}),
                 QStringList({"Nouveau gamepad", "Nom du gamepad :", "Gamepad"}));
        QCOMPARE(catalog.count(), created ? 1 : 0);
        QCOMPARE(QDir(userProfilesRoot()).isEmpty(), !created);
        if (!created)
            return;
        QCOMPARE(dialogs.prompts().at(1).title, "Choisir l’image du gamepad");
        QCOMPARE(w->entries().first().deviceNames, QStringList(answered - 2, "Pad A")); // if chosen
        QCOMPARE(w->overlay()->node(0).title, "Start");
    }

    void deleteProfile_data()
    {
        QTest::addColumn<bool>("shared");
        QTest::addColumn<bool>("right");
        QTest::addColumn<bool>("yes");
        QTest::newRow("shared without the right") << true << false << true;
        QTest::newRow("shared with the right") << true << true << true;
        QTest::newRow("answered no") << false << false << false;
        QTest::newRow("answered yes") << false << false << true;
    }

    void deleteProfile()
    {
        QFETCH(bool, shared);
        QFETCH(bool, right);
        QFETCH(bool, yes);
        const bool gone = yes && (!shared || right);
        GamepadProfileMeta meta = seed("Vieux", {"joy_0"});
        if (shared) {
            const QString moved = sharedProfilesRoot() + '/' + QFileInfo(meta.folder).fileName();
            QVERIFY(QDir().mkpath(sharedProfilesRoot()) && QDir().rename(meta.folder, moved));
            meta.folder = moved;
        }
        qApp->setProperty("kx.canEditSharedGamepads", right);
        ScriptedDialogs dialogs;
        if (!shared || right) // without the right nothing is asked
            dialogs.answerYes(yes);
        auto w = window();
        w->onListSelectionChanged(0);
        w->overlay()->renameNode(0, shared ? w->overlay()->node(0).title : "Vite"); // not saved:
        runUnder(FileFault::DiskFull, [&] { return w->actionDelete(), true; });
        QCOMPARE(w->session()->hasUnsavedEdits(), !shared && !yes); // a deleted one takes its edits
        const ScriptedDialogSeam::Prompt box = dialogs.prompts().value(0);
        QCOMPARE(box.title, "Supprimer");
        QCOMPARE(box.text, shared && !right ? "Seul un admin peut supprimer un profil partage."
                                            : "Supprimer « Vieux » ?");
        QCOMPARE(QFileInfo::exists(meta.folder), !gone);
        if (shared && !right) { // its calibration edited: copied to the user's, the panel follows
            w->setMode(GamepadDefinder::CalibrationMode);
            Q_EMIT w->calibrationPanel()->profileCalibrationMetadataChanged("override", {}, 0, 0);
            QCoreApplication::processEvents();
            QVERIFY(w->calibrationPanel()->profile().folder.startsWith(userProfilesRoot()));
        }
        QCOMPARE(w->profileList()->count() + w->overlay()->nodeCount(), gone ? 0 : 2); // shown
        // The folders are read again by the worker, not on the window's thread.
        const auto *reader = w->findChild<CatalogueReader *>();
        QCOMPARE(reader && reader->reading(), gone);
    }

    void renameAndDuplicate()
    {
        seed("Alpha");
        ScriptedDialogs dialogs;
        dialogs.answerText("   "), dialogs.answerText(" Beta ");
        auto w = window();
        QStringList keys; // the window's shortcuts, wherever the focus is inside it
        for (const QShortcut *shortcut : w->findChildren<QShortcut *>())
            keys << shortcut->key().toString();
        QCOMPARE(keys.join(' '), "Ctrl+N Ctrl+S Ctrl+D Del F2 Ctrl+C Ctrl+V Ctrl+E");
        QSignalSpy catalog(w.get(), &GamepadDefinder::profilesCatalogChanged);
        w->onListSelectionChanged(0), w->setMode(GamepadDefinder::CalibrationMode);
        w->actionRename(); // blank: nothing changes
        QCOMPARE(catalog.count(), 0);
        w->actionRename();
        QCOMPARE(dialogs.prompts().last().value, "Alpha");
        QCOMPARE(w->profileList()->item(0)->text(), "Beta");
        QCOMPARE(w->calibrationPanel()->profile().name, "Beta"); // its calibration's header too
        GamepadProfileMeta onDisk;
        QVERIFY(readProfileMeta(w->entries().first().folder, &onDisk, nullptr) &&
                onDisk.name == "Beta");
        runUnder(
            FileFault::DiskFull, [&] { return w->actionDuplicate(), true; }, 16); // no copy
        QCOMPARE(dialogs.prompts().last().title + QString::number(w->entries().size()),
                 "Dupliquer1");
        w->actionDuplicate();
        QVERIFY(w->profileList()->currentItem()->text() == "Beta (copie)" && catalog.count() == 2);
        // Cancelled, then refused and said, then the copy's new picture: red and square.
        QVERIFY(writeBytes(m_home.filePath("square.png"), encoded("PNG", {300, 300}, Qt::red)));
        for (const QString name : {"", "absent.png", "square.png"})
            dialogs.answerPath(name.isEmpty() ? name : m_home.filePath(name));
        QSignalSpy told(w.get(), &GamepadDefinder::currentGamepadChanged); // the host's preview
        auto *tiles = w->findChild<ProfileTiles *>();
        tiles->waitForThumbnails(); // the copy's tile shows Beta's picture, then the new one
        for (int ask = 0; ask < 3; ++ask)
            w->actionChangeImage();
        tiles->waitForThumbnails();
        const QImage tile = w->profileList()->currentItem()->icon().pixmap(64).toImage();
        QCOMPARE(tile.pixelColor(32, 32), QColor(Qt::red));
        QCOMPARE(QList({told.size(), dialogs.prompts().size()}), QList<qsizetype>({1, 7}));
        const QString refused = dialogs.prompts().at(5).title + dialogs.prompts().at(5).text;
        QVERIFY(refused.startsWith("ImageImpossible de copier l’image " + m_home.path()));
        QVERIFY(w->overlay()->pictureSize() == QSize(300, 300) && catalog.count() == 3);
    }

    // An asked save refreshes the mapping panel at once, the snapshots' save later; both ask alike.
    void saveProfileRefreshesOnlyWhenAsked()
    {
        const GamepadProfileMeta meta = seed("Un", {"joy_0"});
        ScriptedDialogs dialogs;
        auto w = window();
        w->onListSelectionChanged(0);
        ActionLinker *panel = w->mappingPanel();
        const QString shots = QDir(m_home.path()).filePath("shots");
        QSignalSpy catalog(w.get(), &GamepadDefinder::profilesCatalogChanged); // a save told
        w->overlay()->createNode(ElementKind::Button, {}, QPoint(50, 50));
        w->exportSnapshotsToDir(shots);
        QVERIFY(w->lastSnapshotSucceeded() && panel->overlay()->nodeCount() == 1);
        w->actionSave();
        QVERIFY(panel->overlay()->nodeCount() == 2 && catalog.count() == 1);

        // The user keeps another program's file: the snapshots' save asks again.
        w->overlay()->renameNode(0, "Edite");
        QVERIFY(writeFileAtomic(meta.overlayPath(), readBytes(meta.overlayPath()) + ' ', nullptr));
        dialogs.answerChoice("Annuler"), dialogs.answerChoice("Annuler");
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("issue error=Impossible de sauv"));
        w->actionSave(), w->exportSnapshotsToDir(shots);
        QCOMPARE(dialogs.prompts().size(), 2);
        QCOMPARE(dialogs.prompts().last().title, "Fichier modifié ailleurs");
        QCOMPARE(w->lastSnapshotError(), "Impossible de sauvegarder la configuration en cours.");
    }

    void damagedOverlayIsNeverSavedOver_data()
    {
        QTest::addColumn<bool>("outside");
        QTest::newRow("damaged JSON") << false;
        QTest::newRow("named outside the folder") << true;
    }

    // A damaged overlay, or one named outside its folder, shows no pastille and is never written.
    void damagedOverlayIsNeverSavedOver()
    {
        QFETCH(bool, outside);
        GamepadProfileMeta broken = seed("Casse", {"joy_0", "but_1"});
        seed("Sain", {"joy_0"});
        QVERIFY(writeFileAtomic(broken.overlayPath(), "{ \"nodes\": [", nullptr));
        const QString elsewhere = QFileInfo(broken.folder).dir().filePath("elsewhere.json");
        QVERIFY(writeFileAtomic(elsewhere, "{}", nullptr));
        if (outside) {
            broken.overlayFile = "../elsewhere.json";
            QVERIFY(writeProfileMeta(&broken, nullptr));
        }
        const QByteArray mapping =
            R"({"bridges": [{"src": {"stringKey": "but_1"}, "action": "zoom"}]})";
        QVERIFY(writeFileAtomic(broken.configPath(), mapping, nullptr));
        ScriptedDialogs dialogs;
        auto w = window();
        w->profileList()->setCurrentRow(rowOf(*w, "Sain"));
        w->profileList()->setCurrentRow(rowOf(*w, "Casse")), w->setMode(GamepadDefinder::EditMode);
        QVERIFY(dialogs.prompts()[0].text.startsWith("Impossible de charger la configuration : "));
        QCOMPARE(w->overlay()->nodeCount(), 0); // none of the profile shown before
        QVERIFY(!w->findChild<QPushButton *>("gamepadAddNodeButton")->isEnabled());
        QTest::mouseClick(w->overlay(), Qt::LeftButton);
        w->profileList()->setCurrentRow(rowOf(*w, "Sain"));
        QCOMPARE(readBytes(QDir(broken.folder).filePath("overlay.json")), "{ \"nodes\": [");
        QCOMPARE(readBytes(broken.configPath()), mapping);
        QCOMPARE(readBytes(elsewhere), QByteArray("{}"));
        QCOMPARE(dialogs.prompts().size(), 1); // nothing asked about edits that cannot exist
        if (outside)
            return;

        // Coming back says why; starting over (whose edits tst_editingfaults saves) clears it.
        w->profileList()->setCurrentRow(rowOf(*w, "Casse"));
        QVERIFY(w->bannerText().startsWith("Impossible de charger la configuration"));
        dialogs.answerYes(true);
        QCOMPARE(sessionButtons(*w, "Recommencer à vide"), QStringList{"Recommencer à vide"});
        QVERIFY(w->findChild<QPushButton *>("gamepadAddNodeButton")->isEnabled());
        QVERIFY(w->bannerText().isEmpty());
    }

    // Rewrites and profiles from elsewhere show; one deleted goes quietly, unless it holds edits.
    void catalogueFollowsTheFolders()
    {
        const QString staged = m_home.filePath("lent"); // a profile copied in file by file later
        QVERIFY(removeScratchTree(staged) && QDir().rename(seed("Lent").folder, staged));
        GamepadProfileMeta open = seed("Ouvert", {"joy_0"});
        const QString first = QFileInfo(open.folder).path() + "/0"; // listed before any other
        QVERIFY(QDir().rename(std::exchange(open.folder, first), first));
        QVERIFY(QFile::remove(open.imagePath())); // shown without a picture
        ScriptedDialogs dialogs;
        auto w = window();
        QSignalSpy catalog(w.get(), &GamepadDefinder::profilesCatalogChanged);
        w->profileList()->setCurrentRow(0);
        const QByteArray title = '"' + w->overlay()->node(0).title.toUtf8() + '"';
        const QByteArray rewritten = readBytes(open.overlayPath()).replace(title, "\"Ailleurs\"");
        QVERIFY(writeFileAtomic(open.overlayPath(), rewritten, nullptr));
        QTRY_COMPARE_WITH_TIMEOUT(w->overlay()->node(0).title, "Ailleurs", 5000);
        // A profile arriving while an edit waits for its save: the open one is listed once.
        w->overlay()->renameNode(0, "Ici");
        const GamepadProfileMeta later = seed("Importe");
        QTRY_VERIFY_WITH_TIMEOUT(w->profileList()->count() != 1, 5000);
        QVERIFY(w->profileList()->count() == 2 && catalog.count() >= 1);
        QCOMPARE(w->entries().at(w->currentRow()).name, "Ouvert");
        // Another profile going moves the open one up its list; it stays open.
        QVERIFY(removeScratchTree(later.folder));
        QTRY_COMPARE_WITH_TIMEOUT(w->profileList()->count(), 1, 5000);
        QVERIFY(w->currentRow() == 0 && w->overlay()->node(0).title == "Ici");
        const GamepadProfileMeta gone = seed("Importe");
        QTRY_COMPARE_WITH_TIMEOUT(w->profileList()->count(), 2, 5000);
        w->profileList()->setCurrentRow(rowOf(*w, "Importe"));
        QVERIFY(removeScratchTree(gone.folder));
        QTRY_COMPARE_WITH_TIMEOUT(w->profileList()->count(), 1, 5000);
        QVERIFY(w->currentRow() == -1 && dialogs.prompts().isEmpty());
        QVERIFY(QDir().mkdir(userProfilesRoot() + "/lent")); // watched before its files land
        QTest::qWait(3 * ProfileFolderWatcher::kSettleMs);   // read, with nothing to list yet
        for (const QString &file : QDir(staged).entryList(QDir::Files))
            QVERIFY(QFile::rename(staged + '/' + file, userProfilesRoot() + "/lent/" + file));
        QTRY_COMPARE_WITH_TIMEOUT(w->profileList()->count(), 2, 5000);
        const QString lent = userProfilesRoot() + "/lent/meta.json"; // renamed, then read again
        QVERIFY(writeFileAtomic(lent, readBytes(lent).replace("\"Lent\"", "\"Lente\""), nullptr));
        QVERIFY(QDir().mkdir(userProfilesRoot() + "/vide"));
        QTRY_COMPARE_WITH_TIMEOUT(w->profileList()->item(1)->text(), "Lente", 5000);

        w->profileList()->setCurrentRow(0), w->overlay()->renameNode(0, "Garde");
        QVERIFY(removeScratchTree(open.folder));
        QTRY_COMPARE_WITH_TIMEOUT(w->profileList()->item(0)->text(), "Ouvert (supprimé)", 5000);
        QVERIFY(w->bannerText().contains("a disparu"));
        w->setMode(GamepadDefinder::EditMode); // shown as it was, never edited
        QVERIFY(w->overlay()->isLocked() && w->overlay()->node(0).title == "Garde");

        {
            const auto restore = qScopeGuard([tmp = qgetenv("TMPDIR")] { qputenv("TMPDIR", tmp); });
            qputenv("TMPDIR", "/dev/null"); // no scratch folder: the user stays, with the edits
            dialogs.answerChoice("Enregistrer comme nouveau profil");
            QVERIFY(!w->session()->requestLeave() && w->session()->hasUnsavedEdits());
        }
        const auto leave = [&w] { return w->session()->requestLeave(); };
        dialogs.answerChoice("Enregistrer comme nouveau profil"); // a full disk: told, nothing made
        QVERIFY(!runUnder(FileFault::DiskFull, leave, 100));
        const QString said = dialogs.prompts().last().text, why = "/overlay.json (File too large)";
        QVERIFY(said.endsWith(why) && readProfileEntries().size() == 1);
        // Kept as a new profile (whose edits tst_editingfaults checks), with a blank picture.
        sessionButtons(*w, "Enregistrer comme nouveau profil"); // else no "(récupéré)" below
        const QImage kept(w->entries().at(w->currentRow()).imagePath());
        QCOMPARE(QList<QRgb>({QRgb(kept.width()), kept.pixel(0, 0)}), QList<QRgb>({1, 0}));
        QVERIFY(w->bannerText().isEmpty());
        QCOMPARE(w->profileList()->currentItem()->text(), "Ouvert (récupéré)");
    }

    void listMenu_data()
    {
        QTest::addColumn<bool>("onTile");
        QTest::newRow("on a tile") << true;
        QTest::newRow("beside the tiles") << false;
    }

    // Entries acting on a profile are enabled ("-": not) only over a tile, and act on that tile;
    // separators (no text) part the groups.
    void listMenu()
    {
        QFETCH(bool, onTile);
        seed("Alpha"), seed("Beta");
        ScriptedDialogs dialogs;
        if (onTile)
            dialogs.answerText("Gamma");
        auto w = window();
        w->show();
        QListWidget *list = w->profileList();
        const QRect tile = list->visualItemRect(list->item(0)); // the first acts too
        QString shown;
        QTimer::singleShot(0, this, [&] {
            auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
            for (QAction *action : menu->actions()) {
                if (action->isVisible())
                    shown += action->text() + (action->isEnabled() ? ", " : "-, ");
                if (action->text() == "Renommer…")
                    action->trigger();
            }
            menu->close();
        });
        Q_EMIT list->customContextMenuRequested(onTile ? tile.center()
                                                       : tile.bottomRight() + QPoint(0, 40));
        QString menu = "Nouveau…, Importer…, , Copier*, Coller, , Renommer…*, Dupliquer*, "
                       "Changer l’image…*, Exporter…*, Supprimer*, ";
        QCOMPARE(shown, menu.replace('*', onTile ? "" : "-"));
        QCOMPARE(rowOf(*w, "Gamma") >= 0, onTile);
    }

    // A reading of the folders older than a delete here is done again rather than bring it back.
    void readingOlderThanADeleteIsNotShown()
    {
        seed("Importe"), seed("Ouvert");
        ScriptedDialogs dialogs;
        auto w = window();
        w->profileList()->setCurrentRow(rowOf(*w, "Ouvert"));
        Q_EMIT w->findChild<ProfileFolderWatcher *>()->rootsChanged();
        dialogs.answerYes(true), w->actionDelete();
        w->findChild<CatalogueReader *>()->waitForReading();
        QVERIFY(w->profileList()->count() == 1 && w->profileList()->item(0)->text() == "Importe");
    }

    void modesTable_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("withRow");
        // locked; shown: overlay, calibration, side column, quick actions, "+ Joy"; "+ Joy" on,
        // "Edit" checked, nothing pending, a pastille selected, "Passez en mode Mapping" hinted
        QTest::addColumn<QString>("expected");
        QTest::newRow("mapping") << 0 << true << "1 1 0 1 1 0 1 0 1 0 0";
        QTest::newRow("calibration") << 1 << true << "0 0 1 0 0 0 1 0 1 0 1"; // Edit's lock kept
        QTest::newRow("edit") << 2 << true << "0 1 0 1 0 1 1 1 0 1 1";
        QTest::newRow("edit without profile") << 2 << false << "0 1 0 1 0 1 0 1 0 0 1";
    }

    void modesTable()
    {
        QFETCH(int, mode);
        QFETCH(bool, withRow);
        seed("Delta", {"joy_3"});
        auto w = window();
        w->onListSelectionChanged(withRow ? 0 : -1), w->setMode(GamepadDefinder::EditMode);
        w->overlay()->setSelectedNode(withRow ? 0 : -1);
        w->quickActions()->setPendingAction("zoom"), w->setMode(mode);
        QCOMPARE(unplacedWidgets(w.get()), QStringList());
        QCOMPARE(overlappingWidgets(w.get(), QSize(1400, 900)), QStringList());
        auto *add = w->findChild<QPushButton *>("gamepadAddNodeButton");
        auto *edit = w->findChildren<QPushButton *>("gamepadModeButton").value(2);
        QCOMPARE(add->text() + ", " + edit->text(), "+ Joy, Edit");
        QStringList seen = {QString::number(w->overlay()->isLocked())};
        for (QWidget *part : QWidgetList{w->overlay(), w->calibrationPanel(),
                                         w->inspector()->parentWidget(), w->quickActions(), add})
            seen << QString::number(part->isVisibleTo(w.get()));
        seen << QString::number(add->isEnabled()) << QString::number(edit->isChecked())
             << QString::number(w->quickActions()->pendingAction().isEmpty())
             << QString::number(w->overlay()->selectedNode() == 0)
             << QString::number(w->quickActions()->hintText().startsWith("Passez en mode"));
        QTEST(seen.join(' '), "expected");
    }

    void liveInputFollowsTheLinkedController()
    {
        m_joysticks->backend.connectController(1, padIdentity("Pad B"));
        ControlManette padB(1);
        padB.poll(), seed("Arcade", {"joy_0", "but_1", "but_2", "but_3"});
        seed("Pilote", {"joy_1", "but_0"}, "Pad B");
        auto w = window();
        QSignalSpy plugged(w.get(), &GamepadDefinder::realGamepadsChanged);
        for (int twice = 0; twice < 2; ++twice) // the second time is no news
            w->setRealGamepads({m_pad.get(), &padB});
        QCOMPARE(plugged.count(), 1);
        const QJsonObject zoom{{"name", "zoom"}, {"label", "Zoom"}, {"group", "Camera"}};
        w->setExternalServices({{"sharedActionCatalog", QJsonArray{zoom}}});
        w->profileList()->setCurrentRow(rowOf(*w, "Pilote"));
        QCOMPARE(w->attachedController(), &padB); // the linked controller, not the first one
        w->overlay()->waitForPicture();
        QCOMPARE(w->overlay()->backgroundPixmap().size(), QSize(800, 480)); // the profile's picture
        const int arcade = rowOf(*w, "Arcade");
        w->profileList()->setCurrentRow(arcade);
        QCOMPARE(w->attachedController(), m_pad.get());

        w->quickActions()->setPendingAction("zoom"), m_joysticks->backend.setButton(0, 3, true);
        m_pad->poll();
        QCOMPARE(w->overlay()->node(3).sources.first().binding.value("ref").toString(), "zoom");

        const int cross = w->overlay()->createNode(ElementKind::DualJoyCross, {}, QPoint(50, 50));
        OverlaySource y; // its vertical axis the first one
        y.stringKey = "joy_0";
        QVERIFY(w->overlay()->setNodeSource(cross, slotLabels(ElementKind::DualJoyCross)[1], y));
        // The hidden panel makes its cards as it is first shown: those of a panel made at once.
        const auto cards = [](const QWidget *panel) {
            return panel->findChildren<GamepadAxisCalibrationWidget *>().size() * 100 +
                   panel->findChildren<GamepadButtonCalibrationWidget *>().size();
        };
        QCOMPARE(cards(w->calibrationPanel()), 0);
        w->setMode(GamepadDefinder::CalibrationMode);
        GamepadConfigWidget atOnce;
        atOnce.setDevice(w->attachedController());
        QVERIFY(cards(&atOnce) > 0 && cards(w->calibrationPanel()) == cards(&atOnce));
        w->calibrationPanel()->addGate(); // offered its own axes and the profile's cross
        QCOMPARE(w->calibrationPanel()->findChild<QComboBox *>("gateSource")->itemText(1),
                 "Joy 0/0");
        QPointer<QWidget> card = w->calibrationPanel()->findChild<GamepadAxisCalibrationWidget *>();
        w->setMode(GamepadDefinder::EditMode), w->overlay()->renameNode(cross, "Croix");
        w->setMode(GamepadDefinder::CalibrationMode), QCoreApplication::processEvents();
        QVERIFY2(card, "the same profile and controller: its cards stay as they are");
        w->setRealGamepads({&padB}); // the panel follows the controllers plugged
        QCOMPARE(w->calibrationPanel()->device(), &padB);
        w->setRealGamepads({m_pad.get(), &padB});
        Q_EMIT w->calibrationPanel()->profileCalibrationMetadataChanged("override", {}, 0x45e, 0);
        GamepadProfileInfo gone = w->calibrationPanel()->profile(); // no longer listed: not written
        gone.id = QUuid::createUuid(), w->calibrationPanel()->setProfile(gone);
        Q_EMIT w->calibrationPanel()->profileCalibrationMetadataChanged("inherit", {}, 0, 0);

        // Linking another controller is written to the profile and moves the live input to it.
        QSignalSpy linked(w.get(), &GamepadDefinder::deviceSelectionChanged);
        // Unless "meta.json" cannot be written: then the user is told and nothing moves.
        ScriptedDialogs dialogs;
        runUnder(FileFault::DiskFull, [&] { // a name too long for the disk left
            return w->associationBar()->setSelectedTags({QString(kFaultFileSizeLimit, 'B')}), true;
        });
        QCOMPARE(dialogs.prompts().value(0).text.left(24), "Échec sauvegarde meta : ");
        QVERIFY(linked.isEmpty() && w->attachedController() == m_pad.get());
        w->associationBar()->setSelectedTags({}), linked.clear();
        w->associationBar()->setSelectedTags({"Pad B"});
        QVERIFY(linked.count() == 1 && w->attachedController() == &padB);
        GamepadProfileMeta onDisk;
        QVERIFY(readProfileMeta(w->entries().at(arcade).folder, &onDisk, nullptr));
        QCOMPARE(onDisk.deviceNames.join(',') + ' ' + onDisk.calibrationMode, "Pad B override");
        QCOMPARE(onDisk.vendorId, 0x45eu);
        QSignalSpy current(w.get(), &GamepadDefinder::currentGamepadChanged);
        w->onListSelectionChanged(-1); // no profile: no pastille, the first controller plugged
        QVERIFY(w->attachedController() == m_pad.get() && w->overlay()->nodeCount() == 0);
        QCOMPARE(current.isEmpty() ? "no signal" : current.last().first().toString(), QString());

        // A linked controller that left is never attached; the panel follows the profile shown.
        const int pilote = rowOf(*w, "Pilote");
        m_joysticks->backend.disconnectController(1), padB.poll();
        w->profileList()->setCurrentRow(pilote);
        QCOMPARE(w->attachedController(), m_pad.get());
        QCOMPARE(w->calibrationPanel()->profile().name, "Pilote");
        QCOMPARE(w->calibrationPanel()->profile().imagePath, w->entries().at(pilote).imagePath());
        QCOMPARE(dialogs.prompts().size(), 1); // the failed link was the only question
    }
};

QTEST_MAIN(TestGamepadDefinder)
#include "tst_gamepaddefinder.moc"
