#include "jsonfile.h"
#include "mappingdocument.h"

#include <QJsonDocument>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

const QUuid kId("{0a1b2c3d-4e5f-4a6b-8c7d-8e9fa0b1c2d3}");

QJsonObject object(const QString &json)
{
    return QJsonDocument::fromJson(json.toUtf8()).object();
}
template <typename T> QByteArray compact(const T &json)
{
    return QJsonDocument(json).toJson(QJsonDocument::Compact);
}

QByteArray fileBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

OverlayNode node(ElementKind kind, const QStringList &keys, const QStringList &bindings = {})
{
    OverlayNode n = makeOverlayNode(kind, QStringLiteral("t"));
    n.id = kId;
    n.sources.resize(keys.size());
    for (int i = 0; i < keys.size(); ++i) {
        n.sources[i].source.stringKey = keys[i];
        n.sources[i].binding = object(bindings.value(i));
    }
    return n;
}

const QJsonArray kCatalog = QJsonDocument::fromJson(R"([{"name": "MoveGimbal", "params": [
    {"name": "axis", "default": " param:joy_0 "}, {"name": "speed", "default": "1"}]}])")
                                .array();

class TestMappingDocument : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void bindingRules()
    {
        QCOMPARE(bindingActionName(object(R"({"ref": " ", "action": " pan "})")), "pan");
        QVERIFY(isEmptyBinding(object(R"({"action": {"kind": "macro"}})")));
        QCOMPARE(compact(quickMappingBinding(" pan ")), R"({"action":"pan","ref":"pan"})");
        QCOMPARE(compact(normalizedBinding(object(R"({"ref": " a ", "action": null, "x": 1})"))),
                 R"({"args":{},"ref":"a"})");
    }

    // The catalog list wins when not empty; otherwise the flagged "ref" entries, flag removed.
    void catalogExtraction()
    {
        const QString flagged = R"("ref": [{"name": "a", "__kxSharedActionCatalog": true}, 3])";
        QCOMPARE(compact(extractSharedActionCatalog(object("{" + flagged + "}"))),
                 R"([{"name":"a"}])");
        QCOMPARE(compact(extractSharedActionCatalog(
                     object(R"({"sharedActionCatalog": [{"name": "s"}], )" + flagged + "}"))),
                 R"([{"name":"s"}])");
    }

    // Each bridge's "src" is shown as its stringKey; the learned-key test checks the full object.
    void materializeNode_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<bool>("split");
        QTest::addColumn<QStringList>("keys");
        QTest::addColumn<QStringList>("bindings");
        QTest::addColumn<QString>("expected");
        const int stick = int(ElementKind::SingleJoy), cross = int(ElementKind::DualJoyCross),
                  button = int(ElementKind::Button);
        const QString pan = R"({"ref": "pan"})", none = R"({"ref": "None"})";
        // clang-format off
        QTest::newRow("stick, default mode") << stick << false << QStringList{" joy_0 "} << QStringList{R"({"ref": " moveGimbal "})"}
            << R"([{"action":"moveGimbal","publishMode":"onChange","src":"joy_0"}])";
        QTest::newRow("button, no mode") << button << false << QStringList{"but_3"} << QStringList{R"({"ref":"rec","action":"rec"})"}
            << R"([{"action":"rec","src":"but_3"}])";
        QTest::newRow("none binding") << button << false << QStringList{"but_3"} << QStringList{none} << "[]";
        QTest::newRow("blank key") << stick << false << QStringList{"  "} << QStringList{pan} << "[]";
        QTest::newRow("object action") << stick << false << QStringList{"joy_2"}
            << QStringList{R"({"ref": "zoom", "action": {"kind": "macro"}, "args": {"k": 1}})"}
            << R"([{"args":{"k":1},"dst":[{"action":{"kind":"macro"},"args":{"k":1},"ref":"zoom"}],"publishMode":"onChange","src":"joy_2"}])";
        QTest::newRow("arg_0 placeholder") << stick << false << QStringList{"joy_1"}
            << QStringList{R"({"ref": "movegimbal", "args": {"axis": " ARG_0 ", "speed": "arg_0"}})"}
            << R"([{"action":"movegimbal","args":{"axis":"param:joy_0","speed":"arg_0"},"publishMode":"onChange","src":"joy_1"}])";
        QTest::newRow("unsplit cross") << cross << false << QStringList{"joy_0", "joy_1"} << QStringList{none, pan}
            << R"([{"action":"pan","joyXKey":"joy_0","joyYKey":"joy_1","publishGroupKey":"0a1b2c3d-4e5f-4a6b-8c7d-8e9fa0b1c2d3","publishMode":"onChange","src":"joy_0"},)"
               R"({"action":"pan","joyXKey":"joy_0","joyYKey":"joy_1","publishGroupKey":"0a1b2c3d-4e5f-4a6b-8c7d-8e9fa0b1c2d3","publishMode":"onChange","src":"joy_1"}])";
        QTest::newRow("unsplit cross, X binding wins") << cross << false << QStringList{"joy_2", "joy_3"} << QStringList{pan, R"({"ref": "tilt"})"}
            << R"([{"action":"pan","joyXKey":"joy_2","joyYKey":"joy_3","publishGroupKey":"0a1b2c3d-4e5f-4a6b-8c7d-8e9fa0b1c2d3","publishMode":"onChange","src":"joy_2"},)"
               R"({"action":"pan","joyXKey":"joy_2","joyYKey":"joy_3","publishGroupKey":"0a1b2c3d-4e5f-4a6b-8c7d-8e9fa0b1c2d3","publishMode":"onChange","src":"joy_3"}])";
        QTest::newRow("unsplit cross, all none") << cross << false << QStringList{"joy_0", "joy_1"} << QStringList{none, none} << "[]";
        QTest::newRow("unsplit cross, one key blank") << cross << false << QStringList{"joy_0", " "} << QStringList{pan, pan} << "[]";
        QTest::newRow("unsplit cross, one source") << cross << false << QStringList{"joy_0"} << QStringList{pan} << "[]";
        QTest::newRow("split cross") << cross << true << QStringList{"joy_0", "joy_1"} << QStringList{pan, R"({"action": "tilt"})"}
            << R"([{"action":"pan","publishMode":"onChange","src":"joy_0"},{"action":"tilt","publishMode":"onChange","src":"joy_1"}])";
        // clang-format on
    }

    void materializeNode()
    {
        QFETCH(int, kind);
        QFETCH(bool, split);
        QFETCH(QStringList, keys);
        QFETCH(QStringList, bindings);
        QFETCH(QString, expected);
        OverlayNode n = node(ElementKind(kind), keys, bindings);
        n.split = split;
        QJsonArray bridges = materializeMapping({n}, {}, kCatalog).value("bridges").toArray();
        for (int i = 0; i < bridges.size(); ++i) {
            QJsonObject bridge = bridges[i].toObject();
            bridge.insert("src", bridge.value("src").toObject().value("stringKey"));
            bridges[i] = bridge;
        }
        QCOMPARE(compact(bridges), expected.toUtf8());
    }

    void learnedKeysFollowNodes()
    {
        OverlayNode stick = node(ElementKind::SingleJoy, {"joy_0"}, {R"({"ref": "pan"})"});
        stick.sources[0].source.deviceId = 3;
        stick.publishMode = PublishMode::Always;
        const QVector<LearnedKey> learned{{" but_9 ", quickMappingBinding("rec")},
                                          {" ", quickMappingBinding("rec")},
                                          {"but_1", quickMappingBinding("none")}};
        QCOMPARE(
            compact(materializeMapping({stick}, learned, {})),
            R"({"bridges":[{"action":"pan","publishMode":"always","src":{"deviceId":3,"deviceType":"gamepade","packetId":1,"stringKey":"joy_0"}},)"
            R"({"action":"rec","src":{"deviceId":0,"deviceType":"gamepade","packetId":1,"stringKey":"but_9"}}]})");
    }

    // What a save makes of the document already on disk (no nodes: empty bridges).
    void saveKeepsHostSections_data()
    {
        QTest::addColumn<QByteArray>("existing");
        QTest::addColumn<QByteArray>("expected");
        const QByteArray fresh =
            R"({"bridges":[],"onClose":[],"onStartup":[],"ref":[],"signals":[],"timers":[]})";
        QTest::newRow("no file") << QByteArray() << fresh;
        QTest::newRow("corrupt") << QByteArray("{\"timers\": [") << fresh;
        QTest::newRow("not an object") << QByteArray("[1, 2]") << fresh;
        QTest::newRow("kept")
            << QByteArray(R"({"timers": [{"every": 250, "run": ["a", {"x": 1.5}]}],
            "signals": {"odd": true}, "x": 1, "refs": [1], "ref": [2], "bridges": [{"old": 1}]})")
            << QByteArray(
                   R"({"bridges":[],"onClose":[],"onStartup":[],"ref":[],)"
                   R"("signals":{"odd":true},"timers":[{"every":250,"run":["a",{"x":1.5}]}],"x":1})");
    }

    void saveKeepsHostSections()
    {
        QFETCH(QByteArray, existing);
        QFETCH(QByteArray, expected);
        QTemporaryDir dir;
        const QString folder = dir.filePath("profiles/p1");
        const QString path = mappingDocumentPath(folder);
        QCOMPARE(path, folder + "/configActionGamepad.json");
        if (!existing.isEmpty()) {
            QVERIFY(QDir().mkpath(folder));
            QVERIFY(writeJsonFileAtomic(path, existing, nullptr));
        }
        QVERIFY(saveMappingDocument(folder, {}, {}, {}));
        QCOMPARE(QJsonDocument::fromJson(fileBytes(path)).toJson(QJsonDocument::Compact), expected);
    }

    void saveTwiceGivesSameBytes()
    {
        QTemporaryDir dir;
        const QVector<OverlayNode> nodes{
            node(ElementKind::DualJoyCross, {"joy_0", "joy_1"}, {R"({"ref": "pan"})"}),
            node(ElementKind::Button, {"but_0"},
                 {R"({"ref": "MoveGimbal", "args": {"axis": "arg_0"}})"})};
        QVERIFY(saveMappingDocument(dir.path(), nodes, {}, kCatalog));
        const QByteArray first = fileBytes(mappingDocumentPath(dir.path()));
        QVERIFY(first.contains("\n    \"bridges\": ["));
        QVERIFY(saveMappingDocument(dir.path(), nodes, {}, kCatalog));
        QCOMPARE(fileBytes(mappingDocumentPath(dir.path())), first);
    }

    void failedSaveIsLoggedAndReported()
    {
        QTemporaryDir dir;
        const QString blocker = dir.filePath("blocker");
        QVERIFY(writeJsonFileAtomic(blocker, QByteArray("{\"keep\": 1}"), nullptr));
        QTest::ignoreMessage(
            QtWarningMsg, QRegularExpression("^Gamepad mapping save failed error=Impossible .*"));
        QString error;
        QVERIFY(!saveMappingDocument(blocker + "/p1", {}, {}, {}, &error));
        QVERIFY(error.contains(blocker));
        QCOMPARE(fileBytes(blocker), QByteArray("{\"keep\": 1}"));
    }

    void loadLegacyDocument()
    {
        QTemporaryDir dir;
        QVERIFY(QFile::copy(QDir(GAMEPAD_TEST_DATA).filePath("mapping_legacy.json"),
                            mappingDocumentPath(dir.path())));
        QVector<OverlayNode> nodes{
            node(ElementKind::SingleJoy, {"joy_1"}), node(ElementKind::Button, {"but_4"}),
            node(ElementKind::SingleJoy, {"7"}), node(ElementKind::Button, {"GATE_2"}),
            node(ElementKind::Button, {"but_8"}, {R"({"ref": "kept"})"})};
        QVERIFY(loadMappingDocument(dir.path(), &nodes));
        const OverlaySource stick = nodes[0].sources[0].source; // flat record, key case ignored
        QCOMPARE(stick.deviceId + stick.packetId * 10, 32);
        QVERIFY(stick.isJoy);
        QCOMPARE(nodes[0].publishMode, PublishMode::Always);
        QCOMPARE(compact(nodes[0].sources[0].binding),
                 R"({"action":"moveGimbal","args":{"axis":"param:joy_1"}})");
        QCOMPARE(nodes[1].sources[0].source.deviceId, 2); // the first bridge of a key wins
        QCOMPARE(compact(nodes[1].sources[0].binding), R"({"action":"record"})");
        QCOMPARE(nodes[2].sources[0].source.isJoy, false);
        QCOMPARE(nodes[3].publishMode, PublishMode::ActiveOnly);
        QCOMPARE(nodes[3].sources[0].source.packetId, 4);
        QCOMPARE(compact(nodes[3].sources[0].binding),
                 R"({"action":{"kind":"macro"},"args":{"speed":3},"ref":"zoom"})");
        QCOMPARE(compact(nodes[4].sources[0].binding), R"({"ref":"kept"})");

        // Saving back keeps the host's sections and drops the legacy "refs".
        const QJsonObject before = object(fileBytes(mappingDocumentPath(dir.path())));
        QVERIFY(saveMappingDocument(dir.path(), nodes, {}, {}));
        const QJsonObject after = object(fileBytes(mappingDocumentPath(dir.path())));
        QCOMPARE(after.value("timers"), before.value("timers"));
        QVERIFY(!after.contains("refs"));
        QCOMPARE(after.value("bridges").toArray().size(), 5);
    }

    void loadFailures()
    {
        QTemporaryDir dir;
        QVector<OverlayNode> nodes{node(ElementKind::Button, {"but_0"})};
        QVERIFY(loadMappingDocument(dir.path(), &nodes)); // no document yet
        QVERIFY(writeJsonFileAtomic(mappingDocumentPath(dir.path()), QByteArray("{,"), nullptr));
        QTest::ignoreMessage(
            QtWarningMsg,
            QRegularExpression("^Gamepad mapping load failed error=JSON invalide dans .*"));
        QString error;
        QVERIFY(!loadMappingDocument(dir.path(), &nodes, &error));
        QVERIFY(error.startsWith("JSON invalide dans"));
        QVERIFY(!applyMappingBridges(QJsonArray{"x", QJsonObject{{"action", "a"}}}, &nodes));
        QCOMPARE(nodes, QVector<OverlayNode>{node(ElementKind::Button, {"but_0"})});
    }
};

QTEST_GUILESS_MAIN(TestMappingDocument)
#include "tst_mappingdocument.moc"
