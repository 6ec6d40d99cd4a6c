#include "gamepadconfigwidget.h"
#include "gamepaddefinder.h"
#include "inspectorpanel.h"
#include "interactiveoverlay.h"
#include "profileoperations.h"
#include "quickactionspanel.h"
#include "runtimetestsupport.h"
#include "scripteddialogseam.h"
#include "tagselectionbar.h"

#include <QJsonDocument>
#include <QListWidget>
#include <QPainter>
#include <QPushButton>
#include <QSignalSpy>
#include <QtTest>

class TestGamepadDefinder : public QObject
{
    Q_OBJECT

    static QPoint buttonAt(int i) { return QPoint(560 + 90 * (i % 2), 150 + 90 * (i / 2)); }

    // A controller picture (body, two sticks, four buttons) and, with `keys`, a profile over it
    // with one pastille per key: the first on the left stick, the others on the buttons.
    QString picture(const QString &name)
    {
        QImage image(800, 480, QImage::Format_ARGB32);
        image.fill(Qt::transparent);
        QPainter p(&image);
        p.setPen(QPen(QColor(80, 112, 138), 6));
        p.setBrush(QColor(52, 74, 92));
        p.drawRoundedRect(QRectF(60, 90, 680, 300), 150, 150);
        p.setBrush(QColor(20, 28, 36));
        p.drawEllipse(QPointF(230, 210), 55, 55);
        p.drawEllipse(QPointF(480, 300), 55, 55);
        for (int i = 0; i < 4; ++i)
            p.drawEllipse(buttonAt(i), 24, 24);
        p.end();
        const QString path = QDir(m_home.path()).filePath(name + QStringLiteral(".png"));
        return image.save(path) ? path : QString();
    }

    GamepadProfileMeta seed(const QString &name, const QStringList &keys = {},
                            const QString &linked = {})
    {
        const QString image = picture(name);
        InteractiveOverlay scratch;
        scratch.resize(900, 700);
        scratch.setBackgroundPixmap(QPixmap(image));
        for (int i = 0; i < keys.size(); ++i) {
            const ElementKind kind = keys[i].startsWith(QLatin1String("but_"))
                                         ? ElementKind::Button
                                         : ElementKind::SingleJoy;
            const QPoint at =
                scratch.backgroundRect().topLeft() + (i == 0 ? QPoint(230, 210) : buttonAt(i - 1));
            const int node = scratch.createNode(kind, QString(), at);
            const QString slot = slotLabels(kind).first();
            scratch.setNodeSource(node, slot,
                                  {kind == ElementKind::SingleJoy, "gamepade", 0, 1, keys[i]});
        }
        GamepadProfileMeta meta;
        QString title, error;
        if (!createProfile({name, image, linked, 0, 0, scratch.serialize()}, &meta, &title, &error))
            qWarning() << "seed failed" << error;
        return meta;
    }

    std::unique_ptr<GamepadDefinder> window()
    {
        auto w = std::make_unique<GamepadDefinder>(GamepadManager::instance());
        w->setRealGamepads({m_pad.get()});
        return w;
    }

    static int rowOf(const GamepadDefinder &w, const QString &name)
    {
        for (int row = 0; row < w.entries().size(); ++row)
            if (w.entries().at(row).name == name)
                return row;
        return -1;
    }

    QTemporaryDir m_home;
    std::unique_ptr<VirtualJoysticks> m_joysticks;
    std::unique_ptr<ControlManette> m_pad;

private slots:
    void initTestCase()
    {
        useThrowAwayHome(m_home);
        registerCalibrationMetaTypes();
        m_joysticks = std::make_unique<VirtualJoysticks>();
        GamepadManager::instance()->setAutoDetectGamePad(false); // controllers come from the tests
    }

    void init()
    {
        qApp->setProperty("kx.currentLogin", "tester");
        qApp->setProperty("kx.canEditSharedGamepads", false);
        QDir(configurationRoot()).removeRecursively();
        m_joysticks->backend.connectController(0, padIdentity(QStringLiteral("Pad A")));
        m_pad = std::make_unique<ControlManette>(0);
        m_pad->poll();
    }

    void cleanup() { m_pad.reset(); }

    void newProfile_data()
    {
        QTest::addColumn<int>("answered"); // questions answered before a cancel; 3 = all
        QTest::addColumn<bool>("created");
        QTest::newRow("all answers") << 3 << true;
        QTest::newRow("name cancelled") << 0 << false;
        QTest::newRow("image cancelled") << 1 << false;
        QTest::newRow("no controller chosen") << 2 << true; // a profile linked to nothing
    }

    void newProfile()
    {
        QFETCH(int, answered);
        QFETCH(bool, created);
        ScriptedDialogs dialogs;
        const QList<ScriptedDialogSeam::Answer> answers = {
            {true, "Manette X"}, {true, picture("new")}, {true, "Pad A"}};
        for (int i = 0; i < 3; ++i)
            dialogs.queue(i < answered ? answers[i] : ScriptedDialogSeam::Answer{});
        auto w = window();
        QSignalSpy catalog(w.get(), &GamepadDefinder::profilesCatalogChanged);
        w->actionNew();

        const ScriptedDialogSeam::Prompt name = dialogs.prompts().first();
        QCOMPARE(QStringList({name.title, name.text, name.value}),
                 QStringList({"Nouveau gamepad", "Nom du gamepad :", "Gamepad"}));
        QCOMPARE(w->entries().size(), created ? 1 : 0);
        QCOMPARE(catalog.count(), created ? 1 : 0);
        if (!created) {
            QVERIFY(QDir(userProfilesRoot()).isEmpty());
            return;
        }
        QCOMPARE(dialogs.prompts().at(1).title, QStringLiteral("Choisir l’image du gamepad"));
        QCOMPARE(dialogs.prompts().at(1).filter, profileImageFilter());
        const GamepadProfileMeta &entry = w->entries().first();
        QCOMPARE(entry.deviceNames, answered == 3 ? QStringList{"Pad A"} : QStringList());
        QCOMPARE(entry.vendorId, answered == 3 ? 0x45eu : 0u);
        for (const char *file : {"image.png", "overlay.json", "meta.json"})
            QVERIFY(QFileInfo::exists(QDir(entry.folder).filePath(file)));
        QFile mapping(entry.configPath());
        QVERIFY(mapping.open(QIODevice::ReadOnly));
        const QJsonObject document = QJsonDocument::fromJson(mapping.readAll()).object();
        QVERIFY(document.contains("ref") && !document.contains("refs"));
        QCOMPARE(w->profileList()->currentRow(), 0);
        QCOMPARE(w->overlay()->node(0).title, QStringLiteral("Start"));
    }

    void deleteProfile_data()
    {
        QTest::addColumn<bool>("shared");
        QTest::addColumn<bool>("right");
        QTest::addColumn<bool>("yes");
        QTest::addColumn<bool>("gone");
        QTest::newRow("shared without the right") << true << false << true << false;
        QTest::newRow("shared with the right") << true << true << true << true;
        QTest::newRow("answered no") << false << false << false << false;
        QTest::newRow("answered yes") << false << false << true << true;
    }

    void deleteProfile()
    {
        QFETCH(bool, shared);
        QFETCH(bool, right);
        QFETCH(bool, yes);
        QFETCH(bool, gone);
        GamepadProfileMeta meta = seed(QStringLiteral("Vieux"));
        if (shared) {
            QDir().mkpath(sharedProfilesRoot());
            const QString moved =
                QDir(sharedProfilesRoot()).filePath(QFileInfo(meta.folder).fileName());
            QVERIFY(QDir().rename(meta.folder, moved));
            meta.folder = moved;
        }
        qApp->setProperty("kx.canEditSharedGamepads", right);
        ScriptedDialogs dialogs;
        dialogs.answerYes(yes);
        auto w = window();
        w->onListSelectionChanged(0);
        w->actionDelete();
        QCOMPARE(dialogs.prompts().size(), 1);
        const ScriptedDialogSeam::Prompt box = dialogs.prompts().first();
        QCOMPARE(box.title, QStringLiteral("Supprimer"));
        if (shared && !right)
            QCOMPARE(box.text, QStringLiteral("Seul un admin peut supprimer un profil partage."));
        else
            QCOMPARE(box.text, QStringLiteral("Supprimer « Vieux » ?"));
        QCOMPARE(QFileInfo::exists(meta.folder), !gone);
        QCOMPARE(w->profileList()->count(), gone ? 0 : 1);
        QCOMPARE(w->currentRow(), gone ? -1 : 0);
    }

    void renameAndDuplicate()
    {
        seed(QStringLiteral("Alpha"));
        ScriptedDialogs dialogs;
        dialogs.answerText(QStringLiteral("   "));
        dialogs.answerText(QStringLiteral(" Beta "));
        auto w = window();
        QSignalSpy catalog(w.get(), &GamepadDefinder::profilesCatalogChanged);
        w->onListSelectionChanged(0);
        w->actionRename(); // blank: nothing changes
        QCOMPARE(w->entries().first().name, QStringLiteral("Alpha"));
        QCOMPARE(catalog.count(), 0);
        w->actionRename();
        QCOMPARE(dialogs.prompts().last().value, QStringLiteral("Alpha"));
        QCOMPARE(w->profileList()->item(0)->text(), QStringLiteral("Beta"));
        GamepadProfileMeta onDisk;
        QVERIFY(readProfileMeta(w->entries().first().folder, &onDisk, nullptr) &&
                onDisk.name == QStringLiteral("Beta"));
        w->actionDuplicate();
        QCOMPARE(w->currentRow(), 1);
        QCOMPARE(w->entries().at(1).name, QStringLiteral("Beta (copie)"));
        QCOMPARE(catalog.count(), 2);
    }

    void autosaveCoalesces()
    {
        seed(QStringLiteral("Gamma"), {"joy_0"});
        auto w = window();
        w->onListSelectionChanged(0);
        QElapsedTimer clock;
        qint64 secondChange = -1;
        QList<qint64> saves;
        connect(w.get(), &GamepadDefinder::profilesCatalogChanged, this,
                [&] { saves << clock.elapsed(); });
        clock.start();
        w->overlay()->renameNode(0, QStringLiteral("Un"));
        QTimer::singleShot(100, this, [&] {
            secondChange = clock.elapsed();
            w->overlay()->renameNode(0, QStringLiteral("Deux"));
        });
        QTRY_COMPARE_WITH_TIMEOUT(saves.size(), 1, 3000);
        QVERIFY2(saves.first() - secondChange >= 245, qPrintable(QString::number(saves.first())));
        QVERIFY(!w->isDirty());
    }

    void failedSavesAndLoadsAreReported()
    {
        const GamepadProfileMeta first = seed(QStringLiteral("Un"), {"joy_0"});
        seed(QStringLiteral("Deux"), {"joy_1"});
        ScriptedDialogs dialogs;
        auto w = window();
        const int one = rowOf(*w, QStringLiteral("Un"));
        const int two = rowOf(*w, QStringLiteral("Deux"));
        w->onListSelectionChanged(one);
        // Another program replaces the overlay file by a folder: the edit cannot be saved.
        QVERIFY(QFile::remove(first.overlayPath()) && QDir().mkdir(first.overlayPath()));
        w->overlay()->renameNode(0, QStringLiteral("Edite"));
        w->profileList()->setCurrentRow(two);
        QCOMPARE(dialogs.prompts().size(), 1);
        QCOMPARE(dialogs.prompts().first().kind, ScriptedDialogSeam::Kind::Critical);
        QCOMPARE(dialogs.prompts().first().title, QStringLiteral("Sauvegarde"));
        QCOMPARE(w->currentRow(), one);
        QCOMPARE(w->profileList()->currentRow(), one);
        QVERIFY(w->isDirty());
        QVERIFY(QDir().rmdir(first.overlayPath()));
        w->profileList()->setCurrentRow(two);
        QCOMPARE(w->currentRow(), two);
        // Another program removes a profile: selecting it says so and shows nothing of it.
        QVERIFY(QDir(first.folder).removeRecursively());
        w->profileList()->setCurrentRow(one);
        QCOMPARE(dialogs.prompts().last().title, QStringLiteral("Chargement"));
        QVERIFY(
            dialogs.prompts().last().text.startsWith("Impossible de charger la configuration : "));
        QCOMPARE(w->overlay()->nodeCount(), 0);
    }

    void modesTable_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("withRow");
        QTest::addColumn<QString>("expected"); // locked overlay calibration inspector quick add
        QTest::newRow("mapping") << 0 << true << "1 1 0 1 1 0";
        QTest::newRow("calibration") << 1 << true << "0 0 1 0 0 0"; // from Edit: lock kept
        QTest::newRow("edit") << 2 << true << "0 1 0 1 0 1";
        QTest::newRow("edit without profile") << 2 << false << "0 1 0 1 0 1";
    }

    void modesTable()
    {
        QFETCH(int, mode);
        QFETCH(bool, withRow);
        QFETCH(QString, expected);
        seed(QStringLiteral("Delta"), {"but_1"});
        auto w = window();
        w->onListSelectionChanged(withRow ? 0 : -1);
        w->setMode(GamepadDefinder::EditMode);
        w->overlay()->setSelectedNode(withRow ? 0 : -1);
        w->quickActions()->setPendingAction(QStringLiteral("zoom"));
        w->setMode(mode);
        QPushButton *add = nullptr, *edit = nullptr;
        for (QPushButton *b : w->findChildren<QPushButton *>()) {
            add = b->text() == "+ Joy" ? b : add;
            edit = b->text() == "Edit" ? b : edit;
        }
        QStringList seen = {QString::number(w->overlay()->isLocked())};
        const QList<QWidget *> parts = {w->overlay(), w->calibrationPanel(), w->inspector(),
                                        w->quickActions(), add};
        for (QWidget *part : parts)
            seen << QString::number(part->isVisibleTo(w.get()));
        QCOMPARE(seen.join(' '), expected);
        QCOMPARE(add->isEnabled(), withRow);
        QCOMPARE(edit->isChecked(), mode == 2);
        const bool cleared = mode != GamepadDefinder::EditMode;
        QCOMPARE(w->quickActions()->pendingAction().isEmpty(), cleared);
        QCOMPARE(w->overlay()->selectedNode(), cleared || !withRow ? -1 : 0);
    }

    void liveInputAndRenders()
    {
        m_joysticks->backend.connectController(1, padIdentity(QStringLiteral("Pad B")));
        ControlManette padB(1);
        padB.poll();
        seed(QStringLiteral("Arcade"), {"joy_0", "but_1", "but_2", "but_3"});
        seed(QStringLiteral("Pilote"), {"joy_1", "but_0"}, QStringLiteral("Pad B"));
        seed(QStringLiteral("Studio"), {"joy_2"});
        auto w = window();
        w->setRealGamepads({m_pad.get(), &padB});
        const QJsonArray actions = {
            QJsonObject{{"name", "zoom"}, {"label", "Zoom"}, {"group", "Camera"}},
            QJsonObject{{"name", "record"}, {"label", "Record"}, {"group", "Camera"}}};
        w->setExternalServices({{"sharedActionCatalog", actions}});
        w->resize(1280, 800);
        w->show();
        w->profileList()->setCurrentRow(rowOf(*w, QStringLiteral("Pilote")));
        QCOMPARE(w->attachedController(), &padB); // the linked controller, not the first one
        const int arcade = rowOf(*w, QStringLiteral("Arcade"));
        w->profileList()->setCurrentRow(arcade);
        QCOMPARE(w->attachedController(), m_pad.get());

        w->quickActions()->setPendingAction(QStringLiteral("zoom"));
        QTRY_VERIFY(!w->thumbnailsPending());
        QVERIFY(w->grab().save(QStringLiteral(GAMEPAD_TEST_OUTPUT "/editor_mapping.png")));
        m_joysticks->backend.setButton(0, 3, true);
        m_pad->poll();
        QCOMPARE(w->overlay()->node(3).sources.first().binding.value("ref").toString(), "zoom");
        QVERIFY(w->isDirty());

        w->setMode(GamepadDefinder::CalibrationMode);
        QCOMPARE(w->calibrationPanel()->device(), m_pad.get());
        QCOMPARE(w->calibrationPanel()->profile().id, w->entries().at(arcade).id);
        QTRY_VERIFY(
            w->calibrationPanel()->findChild<GamepadAxisCalibrationWidget *>()->isVisible());
        QCoreApplication::processEvents(); // the new cards' layout requests
        QVERIFY(w->grab().save(QStringLiteral(GAMEPAD_TEST_OUTPUT "/editor_calibration.png")));

        Q_EMIT w->calibrationPanel()->profileCalibrationMetadataChanged("override", {}, 0x45e, 0);

        w->setMode(GamepadDefinder::EditMode);
        w->overlay()->setSelectedNode(0);
        QVERIFY(w->grab().save(QStringLiteral(GAMEPAD_TEST_OUTPUT "/editor_edit.png")));

        // Linking another controller is written to the profile and moves the live input to it.
        QSignalSpy linked(w.get(), &GamepadDefinder::deviceSelectionChanged);
        w->associationBar()->setSelectedTags({"Pad B"});
        QCOMPARE(linked.count(), 1);
        QCOMPARE(w->attachedController(), &padB);
        GamepadProfileMeta onDisk;
        QVERIFY(readProfileMeta(w->entries().at(arcade).folder, &onDisk, nullptr));
        QCOMPARE(onDisk.deviceNames, QStringList{"Pad B"});
        QCOMPARE(onDisk.calibrationMode, QStringLiteral("override"));
        QCOMPARE(onDisk.vendorId, 0x45eu);
    }
};

QTEST_MAIN(TestGamepadDefinder)
#include "tst_gamepaddefinder.moc"
