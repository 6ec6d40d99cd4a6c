#include "actionlinker.h"
#include "controlmanette.h"
#include "interactiveoverlay.h"
#include "mappingdocument.h"
#include "profilemeta.h"
#include "runtimetestsupport.h"

#include <QJsonDocument>
#include <QLabel>
#include <QListWidget>
#include <QSignalSpy>
#include <QtTest>

#include <memory>

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

} // namespace

class TestActionLinker : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        useThrowAwayHome(m_home);
        qApp->setProperty("kx.currentLogin", "tester");
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
        GamepadProfileMeta meta;
        meta.id = QUuid::createUuid();
        meta.folder = userProfilesRoot() + '/' + meta.id.toString(QUuid::WithoutBraces);
        const QString path = mappingDocumentPath(meta.folder);
        QVERIFY(QDir().mkpath(meta.folder) && writeProfileMeta(&meta, nullptr) &&
                writeJsonFileAtomic(path, object(R"({"bridges": [
            {"src": {"stringKey": "BUT_5", "deviceType": "gamepade"}, "action": "zoom"}]})"),
                                    nullptr));
        m_joysticks->backend.connectController(0, padIdentity("Pad A"));
        m_joysticks->backend.connectController(1, padIdentity("Pad B"));
        ControlManette linked(0), other(1);
        auto gone = std::make_unique<ControlManette>(2);
        m_linker->setInputDevices({&linked, &other, gone.get()});
        // No folder given: the profile store finds it by id.
        m_linker->loadGamepadSnapshot(meta.id, "P", {" pad a "}, kOverlay, QString());
        QCOMPARE(actionOn("but_5"), QString("zoom"));
        gone.reset();
        m_linker->onDeviceSelectionChanged({"PAD A", ""});

        QSignalSpy saved(m_linker.get(), &ActionLinker::mappingSaved);
        choose("Enregistrer");
        m_joysticks->backend.setButton(1, 3, true);
        other.poll(); // a controller the profile does not link is not heard
        QCOMPARE(m_linker->pendingAction(), QString("record"));
        m_joysticks->backend.setButton(0, 3, true);
        linked.poll();
        QCOMPARE(actionOn("but_3"), QString("record"));
        QCOMPARE(m_linker->pendingAction(), QString());
        choose("Zoom"); // a second change while the save waits
        m_linker->onInputButtonChanged(3, true);
        QTRY_COMPARE(saved.size(), 1);
        QVERIFY(!m_linker->isSavePending());
        QJsonObject written;
        QVERIFY(readJsonObjectFile(path, &written, nullptr));
        QStringList bridges;
        for (const QJsonValue &bridge : written.value("bridges").toArray())
            bridges << bridge[u"src"][u"stringKey"].toString() + ':' + bridge[u"action"].toString();
        QCOMPARE(bridges, QStringList({"but_3:zoom", "but_5:zoom"}));
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
        QCOMPARE(actionOn(key), binds ? QString("pan") : QString());
        QCOMPARE(m_linker->pendingAction().isEmpty(), binds);
        QCOMPARE(m_linker->isSavePending(), binds);
    }

    // Failures reach the log once each, in English; a profile without id is never saved.
    void failuresAreLoggedNotSaved()
    {
        const QDir dir(m_profile->path());
        QVERIFY(writeJsonFileAtomic(mappingDocumentPath(dir.path()), QByteArray("{,"), nullptr));
        QVERIFY(writeJsonFileAtomic(dir.filePath("blocker"), QByteArray("{}"), nullptr));
        QTest::ignoreMessage(
            QtWarningMsg, QRegularExpression("^Gamepad mapping load failed error=Invalid JSON in " +
                                             QRegularExpression::escape(dir.path())));
        QTest::ignoreMessage(
            QtWarningMsg, QRegularExpression("^Gamepad mapping save failed error=Cannot write "));
        QTest::failOnWarning(QRegularExpression("Gamepad")); // each failure is logged once
        m_linker->loadGamepadSnapshot(QUuid::createUuid(), "P", {}, kOverlay, {}, dir.path());
        m_linker->loadGamepadSnapshot(QUuid::createUuid(), "P", {}, kOverlay, {},
                                      dir.filePath("blocker/p1"));
        choose("pan");
        m_linker->onInputButtonChanged(5, true);
        m_linker->flushSave();

        m_linker->loadGamepadSnapshot(QUuid(), "P", {}, kOverlay, {});
        choose("pan");
        m_linker->onInputButtonChanged(3, true);
        QCOMPARE(actionOn("but_3"), QString("pan"));
        QVERIFY(!m_linker->isSavePending());
    }

    // Rows: "#" a bold inert header, "-" another inert row, "label=name" an action; "?" marks a
    // wrong flag or tooltip.
    void listsVisibleActionsByGroup()
    {
        QCOMPARE(rows(), QString("#Caméra,Enregistrer=record,Zoom=zoom,#Tourelle,pan=pan,"
                                 "#Sans groupe,tilt=tilt")
                             .split(','));
        m_linker->setExternalServices(services(R"([{"name": "secret", "hidden": true}])"));
        QCOMPARE(rows(), QStringList{"-Aucune action"});
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
        QVERIFY(m_linker->overlay()->isLocked());
        QVERIFY(m_linker->grab().save(QStringLiteral(GAMEPAD_TEST_OUTPUT "/action_linker.png")));

        choose("Action 3");
        QCOMPARE(m_linker->pendingAction(), QString());
        QCOMPARE(hint(), QString("Cliquez une action puis appuyez sur un bouton."));
        QVERIFY(list()->selectedItems().isEmpty());
    }

private:
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
    QString actionOn(const QString &key) const
    {
        for (const OverlayNode &node : m_linker->overlay()->nodes()) {
            if (node.sources.value(0).source.stringKey == key)
                return bindingActionName(node.sources[0].binding);
        }
        return "no such key";
    }

    QTemporaryDir m_home;
    std::unique_ptr<VirtualJoysticks> m_joysticks;
    std::unique_ptr<QTemporaryDir> m_profile;
    std::unique_ptr<ActionLinker> m_linker;
};

QTEST_MAIN(TestActionLinker)
#include "tst_actionlinker.moc"
