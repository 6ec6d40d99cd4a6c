#include "filetestsupport.h"
#include "mappingdocument.h"

#include <QtTest>

const QUuid kId("{0a1b2c3d-4e5f-4a6b-8c7d-8e9fa0b1c2d3}");

template <typename T> QByteArray compact(const T &json)
{
    return QJsonDocument(json).toJson(QJsonDocument::Compact);
}

OverlayNode node(ElementKind kind, const QStringList &keys, const QStringList &bindings = {})
{
    OverlayNode n = makeOverlayNode(kind, QStringLiteral("t"));
    n.id = kId;
    n.sources.resize(keys.size());
    for (int i = 0; i < keys.size(); ++i) {
        n.sources[i].source.stringKey = keys[i];
        n.sources[i].binding = jsonOf(bindings.value(i).toUtf8());
    }
    return n;
}

const QJsonArray kCatalog{jsonOf(R"({"name": "MoveGimbal", "params": [
    {"name": "axis", "default": " param:joy_0 "}, {"name": "speed", "default": "1"}]})")};

class TestMappingDocument : public QObject
{
    Q_OBJECT

private slots:
    // Each bridge's "src" is shown as its stringKey; the learned-key test checks the full object.
    void materializeNode_data()
    {
        QTest::addColumn<OverlayNode>("n");
        QTest::addColumn<QString>("expected");
        const auto stick = ElementKind::SingleJoy, cross = ElementKind::DualJoyCross;
        const QString pan = R"({"ref": "pan"})", none = R"({"ref": "None"})";
        QTest::newRow("stick, default mode")
            << node(stick, {" joy_0 "}, {R"({"ref": " moveGimbal "})"})
            << R"([{"action":"moveGimbal","publishMode":"onChange","src":"joy_0"}])";
        QTest::newRow("button, no mode")
            << node(ElementKind::Button, {"but_3"}, {R"({"ref":"rec","action":"rec"})"})
            << R"([{"action":"rec","src":"but_3"}])";
        QTest::newRow("object action")
            << node(stick, {"joy_2"},
                    {R"({"ref": "zoom", "action": {"kind": "macro"}, "args": {"k": 1}})"})
            << R"([{"args":{"k":1},"dst":[{"action":{"kind":"macro"},"args":{"k":1},"ref":"zoom"}],"publishMode":"onChange","src":"joy_2"}])";
        QTest::newRow("arg_0 placeholder")
            << node(stick, {"joy_1"},
                    {R"({"ref": "movegimbal", "args": {"axis": " ARG_0 ", "speed": "arg_0"}})"})
            << R"([{"action":"movegimbal","args":{"axis":"param:joy_0","speed":"arg_0"},"publishMode":"onChange","src":"joy_1"}])";
        QTest::newRow("own axis kept")
            << node(stick, {"joy_1"}, {R"({"ref": "movegimbal", "args": {"axis": "param:joy_3"}})"})
            << R"([{"action":"movegimbal","args":{"axis":"param:joy_3"},"publishMode":"onChange","src":"joy_1"}])";
        QTest::newRow("unsplit cross")
            << node(cross, {"joy_0", "joy_1"}, {none, pan})
            << R"([{"action":"pan","joyXKey":"joy_0","joyYKey":"joy_1","publishGroupKey":"0a1b2c3d-4e5f-4a6b-8c7d-8e9fa0b1c2d3","publishMode":"onChange","src":"joy_0"},)"
               R"({"action":"pan","joyXKey":"joy_0","joyYKey":"joy_1","publishGroupKey":"0a1b2c3d-4e5f-4a6b-8c7d-8e9fa0b1c2d3","publishMode":"onChange","src":"joy_1"}])";
        QTest::newRow("unsplit cross, all none")
            << node(cross, {"joy_0", "joy_1"}, {none, none}) << "[]";
        QTest::newRow("cross, key blank") << node(cross, {"joy_0", " "}, {pan, none}) << "[]";
        QTest::newRow("split cross")
            << node(cross, {"joy_0", "joy_1"}, {pan, R"({"action": "tilt"})"})
            << R"([{"action":"pan","publishMode":"onChange","src":"joy_0"},{"action":"tilt","publishMode":"onChange","src":"joy_1"}])";
    }

    void materializeNode()
    {
        QFETCH(OverlayNode, n);
        n.split = QTest::currentDataTag() == QLatin1String("split cross");
        const QVector<LearnedKey> none{{"joy_5", {{"ref", "None"}}}, {" ", {{"ref", "pan"}}}};
        QJsonArray bridges = materializeMapping({n}, none, kCatalog).value("bridges").toArray();
        for (int i = 0; i < bridges.size(); ++i) {
            QJsonObject bridge = bridges[i].toObject();
            bridge.insert("src", bridge.value("src").toObject().value("stringKey"));
            bridges[i] = bridge;
        }
        QTEST(QString(compact(bridges)), "expected");
    }

    // What a save makes of the document already on disk (no nodes: empty bridges).
    void saveKeepsHostSections()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("configActionGamepad.json");
        const QList<std::pair<QByteArray, QByteArray>> rows{
            {"{\"timers\": [", // corrupt
             R"({"bridges":[],"onClose":[],"onStartup":[],"ref":[],"signals":[],"timers":[]})"},
            {R"({"timers": [{"every": 250, "run": ["a", {"x": 1.5}]}],
            "signals": {"odd": true}, "x": 1, "refs": [1], "ref": [2], "bridges": [{"old": 1}]})",
             R"({"bridges":[],"onClose":[],"onStartup":[],"ref":[],)"
             R"("signals":{"odd":true},"timers":[{"every":250,"run":["a",{"x":1.5}]}],"x":1})"}};
        for (const auto &[existing, expected] : rows) {
            QVERIFY(writeJsonFileAtomic(path, existing, nullptr));
            QVERIFY(saveMappingDocument(dir.path(), {}, {}, {}));
            QCOMPARE(compact(QJsonDocument::fromJson(readBytes(path))), expected);
        }
    }

    // A profile folder deleted meanwhile is never made again by a save, which fails.
    void saveIntoDeletedFolder()
    {
        QTemporaryDir dir;
        const QString folder = dir.filePath("deleted");
        QString text;
        QVERIFY(!saveMappingDocument(folder, {}, {}, {}, &text));
        QVERIFY2(text.startsWith("Impossible d’écrire " + folder + '/'), qPrintable(text));
        QVERIFY(!QFileInfo::exists(folder));
    }

    // Nothing to load before the first save; a damaged document is reported and leaves the nodes.
    void load()
    {
        QTemporaryDir dir;
        const QString path = mappingDocumentPath(dir.path());
        QVector<OverlayNode> nodes{
            node(ElementKind::SingleJoy, {"joy_1"}), node(ElementKind::Button, {"but_4"}),
            node(ElementKind::SingleJoy, {"but_7"}), node(ElementKind::Button, {"GATE_2"}),
            node(ElementKind::Button, {"but_8"}, {R"({"ref": "kept"})"})};
        const QVector<OverlayNode> before = nodes;
        QVERIFY(loadMappingDocument(dir.path(), &nodes));
        QVERIFY(writeJsonFileAtomic(path, QByteArray("{,"), nullptr));
        QString error;
        QVERIFY(!loadMappingDocument(dir.path(), &nodes, &error) &&
                error.startsWith("JSON invalide"));
        QCOMPARE(nodes, before);

        QVERIFY(QFile::remove(path) && QFile::copy(GAMEPAD_TEST_DATA "/mapping_legacy.json", path));
        QVERIFY(loadMappingDocument(dir.path(), &nodes));
        QCOMPARE(nodes[0].sources[0].source, (OverlaySource{true, "gamepade", 2, 3, "joy_1"}));
        QCOMPARE(nodes[0].publishMode, PublishMode::Always);
        const auto binding = [&nodes](int i) { return compact(nodes[i].sources[0].binding); };
        QCOMPARE(binding(0), R"({"action":"moveGimbal","args":{"axis":"param:joy_1"}})");
        QCOMPARE(binding(1), R"({"action":"record"})");    // the first bridge of a key wins
        QCOMPARE(nodes[2].sources[0].source.isJoy, false); // bare "7" of a button record
        QCOMPARE(nodes[3].publishMode, PublishMode::ActiveOnly);
        QCOMPARE(binding(3), R"({"action":{"kind":"macro"},"args":{"speed":3},"ref":"zoom"})");
        QCOMPARE(binding(4), R"({"ref":"kept"})");
    }
};

QTEST_GUILESS_MAIN(TestMappingDocument)
#include "tst_mappingdocument.moc"
