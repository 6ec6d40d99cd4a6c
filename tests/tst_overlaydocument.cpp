#include "jsonfile.h"
#include "overlaydocument.h"

#include <QJsonArray>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

using Mode = BackgroundScaleMode;
const OverlayReadContext kContext{QSize(800, 600), QSize(400, 200)};

// A file of the test data folder, or any file by absolute path.
QJsonObject readSample(const QString &name)
{
    QJsonObject object;
    readJsonObjectFile(QDir(GAMEPAD_TEST_DATA).filePath(name), &object, nullptr);
    return object;
}

// "kind/title/publish mode/s(plit)f(reeAspect)" then "key j|b deviceId packetId" per slot.
QStringList describe(const OverlayDocument &document)
{
    QStringList out;
    for (const OverlayNode &n : document.nodes) {
        QString line = QString("%1/%2/%3/%4%5")
                           .arg(elementKindName(n.kind), n.title, publishModeName(n.publishMode),
                                n.split ? "s" : "", n.freeAspect ? "f" : "");
        for (const OverlaySlot &slot : n.sources)
            line += QString(" [%1 %2 %3 %4]")
                        .arg(slot.source.stringKey, slot.source.isJoy ? "j" : "b")
                        .arg(slot.source.deviceId)
                        .arg(slot.source.packetId);
        out << line;
    }
    return out;
}

class TestOverlayDocument : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void backgroundRect_data()
    {
        QTest::addColumn<QSize>("widget");
        QTest::addColumn<QSize>("picture");
        QTest::addColumn<int>("mode");
        QTest::addColumn<QRect>("expected");
        // clang-format off
        QTest::newRow("no picture") << QSize(800, 600) << QSize() << 1 << QRect(0, 0, 800, 600);
        QTest::newRow("empty widget") << QSize(0, 600) << QSize(4, 2) << 1 << QRect(0, 0, 0, 600);
        QTest::newRow("stretch") << QSize(800, 600) << QSize(4, 2) << 0 << QRect(0, 0, 800, 600);
        QTest::newRow("contain wide") << QSize(801, 600) << QSize(400, 200) << 1 << QRect(0, 100, 801, 400);
        QTest::newRow("contain tall") << QSize(801, 600) << QSize(100, 200) << 1 << QRect(250, 0, 300, 600);
        QTest::newRow("cover, toward 0") << QSize(801, 600) << QSize(400, 200) << 2 << QRect(-199, 0, 1200, 600);
        QTest::newRow("center larger") << QSize(300, 100) << QSize(401, 200) << 3 << QRect(-50, -50, 401, 200);
        QTest::newRow("unknown mode") << QSize(800, 600) << QSize(4, 2) << 9 << QRect(0, 0, 800, 600);
        // clang-format on
    }
    void backgroundRect()
    {
        QFETCH(QSize, widget);
        QFETCH(QSize, picture);
        QFETCH(int, mode);
        QTEST(::backgroundRect(widget, picture, Mode(mode)), "expected");
    }

    // Rounding is half away from zero, sizes are at least one pixel, unusable input places
    // nothing; the inverse gives the fractions back.
    void placement_data()
    {
        QTest::addColumn<QRectF>("fractions");
        QTest::addColumn<QRect>("background");
        QTest::addColumn<QRect>("expected");
        const QRect bg(-10, 20, 100, 10);
        // clang-format off
        QTest::newRow("halves up") << QRectF(0.125, 0.25, 0.125, 0.25) << bg << QRect(3, 23, 13, 3);
        QTest::newRow("halves down") << QRectF(-0.125, -2.25, 0.5, 1) << bg << QRect(-23, -3, 50, 10);
        QTest::newRow("thin gets one pixel") << QRectF(0, 0, 0.004, 0.01) << bg << QRect(-10, 20, 1, 1);
        QTest::newRow("invalid fractions") << QRectF(0.1, 0.1, 0, 0.1) << bg << QRect();
        QTest::newRow("empty background") << QRectF(0.1, 0.1, 0.1, 0.1) << QRect(0, 0, 0, 5) << QRect();
        // clang-format on
    }
    void placement()
    {
        QFETCH(QRectF, fractions);
        QFETCH(QRect, background);
        QFETCH(QRect, expected);
        const QRect placed = placeFractions(fractions, background);
        QCOMPARE(placed, expected);
        if (!placed.isEmpty() && placed.width() > 1)
            QCOMPARE(placeFractions(fractionsOf(placed, background), background), placed);
        QCOMPARE(roundHalfAway(-1e300), INT_MIN);
    }

    void samples_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<int>("mode");
        QTest::addColumn<QStringList>("nodes");
        QTest::addColumn<QString>("id0");
        QTest::addColumn<QRect>("placed0"); // in the background the layout was saved with
        // clang-format off
        QTest::newRow("v1 overlay fractions") << "overlay_v1.json" << QSize(800, 600) << 2
            << QStringList{"button/Tir/onChange/ [but_4 b 1 1]", "singleJoy/Joy 2/onChange/ [3 j 2 3]",
                           "button/Bouton 3/onChange/ [7 b 0 1]"}
            << "6f1c2a7e-0b3d-4c5e-9a8f-1d2e3f405162"
            << QRect(400, 150, 80, 60);
        QTest::newRow("v2 legacy keys") << "overlay_v2.json" << QSize(1024, 768) << 0
            << QStringList{"dualJoyCross/Gauche/activeOnly/s [joy_0 j 1 2] [ j 0 1]",
                           "button/Bouton 2/onChange/f [gate_2 b 0 1]"}
            << "2b9e0c41-7d55-4f0a-8e61-93a4b5c6d7e8"
            << QRect(205, 230, 154, 154);
        QTest::newRow("v3 sources by label") << "overlay_v3.json" << QSize(640, 480) << 3
            << QStringList{"dualJoyCross/Droite/always/ [joy_2 j 0 1] [joy_3 j 0 1]",
                           "button/Bouton 2/onChange/ [but_11 b 0 1]", "singleJoy/Joy 3/onChange/ [ j 0 1]"}
            << "9d8c7b6a-5f4e-4d3c-8b2a-19f8e7d6c5b4"
            << QRect(360, 220, 80, 50);
        QTest::newRow("v4 current") << "overlay_v4.json" << QSize(1280, 720) << 1
            << QStringList{"singleJoy/Stick/activeOnly/f [joy_5 j 0 1]", "button/A/onChange/ [but_0 b 0 1]"}
            << "0a1b2c3d-4e5f-4a6b-8c7d-8e9fa0b1c2d3"
            << QRect(64, 104, 154, 115);
        // clang-format on
    }
    void samples()
    {
        QFETCH(QString, file);
        QFETCH(QSize, size);
        OverlayDocument document;
        QVERIFY(overlayDocumentFromJson(readSample(file), kContext, &document));
        QCOMPARE(document.overlaySize, size);
        QTEST(int(document.bgMode), "mode");
        QTEST(describe(document), "nodes");
        QTEST(document.nodes[0].id.toString(QUuid::WithoutBraces), "id0");
        const QRect bg = ::backgroundRect(size, kContext.pictureSize, document.bgMode);
        QTEST(placeFractions(document.nodes[0].geometry, bg), "placed0");
    }

    // Every node field survives writing and reading back, in memory and through the file.
    void roundTrip()
    {
        OverlayDocument document;
        document.overlaySize = QSize(1111, 333);
        document.bgMode = Mode::Cover;
        OverlayNode cross = makeOverlayNode(ElementKind::DualJoyCross, "Croix");
        cross.geometry = QRectF(-0.1, 0.7, 0.3, 0.45);
        cross.sources[0].source = {true, "autre", 3, 7, "joy_6"};
        cross.sources[1].source = {true, "gamepade", 0, 1, "joy_7"};
        cross.publishMode = PublishMode::Always;
        cross.split = true;
        OverlayNode button = makeOverlayNode(ElementKind::Button, "B");
        button.sources[0].source = {false, "gamepade", 1, 2, "gate_3"};
        button.publishMode = PublishMode::ActiveOnly;
        button.freeAspect = true;
        document.nodes = {cross, button, makeOverlayNode(ElementKind::SingleJoy, "S")};

        const QJsonObject json = overlayDocumentToJson(document);
        QCOMPARE(json.value("coordSpace"), "background");
        const QJsonArray nodes = json.value("nodes").toArray();
        QCOMPARE(nodes[0].toObject().value("state"), "Normal");
        QVERIFY(!nodes[1].toObject().contains("split"));

        QTemporaryDir dir;
        const QString path = dir.filePath("overlay.json");
        QString error;
        QVERIFY2(writeOverlayFile(path, document, &error), qPrintable(error));
        OverlayDocument read;
        QVERIFY(overlayDocumentFromJson(readSample(path), {}, &read));
        QCOMPARE(readSample(path), json);
        QCOMPARE(read.overlaySize, document.overlaySize);
        QCOMPARE(read.bgMode, document.bgMode);
        QCOMPARE(read.nodes, document.nodes);

        document.nodes[2].geometry = QRectF(0.1, 0.1, 0, 0.1);
        const QJsonArray written = overlayDocumentToJson(document).value("nodes").toArray();
        QVERIFY(!written[2].toObject().contains("geometry"));
    }

    // A wrong marker refuses the document and leaves the caller's document as it was.
    void wrongTypeRefused()
    {
        OverlayDocument document;
        document.nodes = {makeOverlayNode(ElementKind::Button, "Garde")};
        const QVector<OverlayNode> kept = document.nodes;
        QJsonObject json = readSample("overlay_v4.json");
        for (const QJsonValue &type : {QJsonValue(), QJsonValue("interactiveOverlay"),
                                       QJsonValue("InteractiveOverlay "), QJsonValue(4)}) {
            json.insert("type", type);
            QVERIFY(!overlayDocumentFromJson(json, kContext, &document));
            QCOMPARE(document.nodes, kept);
            QCOMPARE(document.overlaySize, QSize(1, 1));
        }
    }

    void wrongMemberTypes()
    {
        // clang-format off
        const QJsonObject json{{"type", "InteractiveOverlay"}, {"version", "4"},
            {"coordSpace", "BackGround"}, {"overlaySize", QJsonObject{{"w", 0}, {"h", -5}}},
            {"bgMode", 2}, {"nodes", QJsonArray{3, "x", QJsonValue(),
                QJsonObject{{"id", "nope"}, {"kind", 3}, {"title", 7}, {"isJoy", "no"},
                    {"geometry", QJsonObject{{"x", "a"}, {"y", 0.5}, {"w", true}}},
                    {"sources", QJsonObject{{"Joystick", QJsonObject{{"deviceType", 1},
                        {"deviceId", "3"}, {"packetId", 2.5}, {"stringKey", 9}}}}},
                    {"publishMode", 2}, {"split", "yes"}, {"freeAspect", 1}}}}};
        // clang-format on
        OverlayDocument document;
        QVERIFY(overlayDocumentFromJson(json, kContext, &document));
        QCOMPARE(document.overlaySize, QSize(1, 1));
        QCOMPARE(document.bgMode, Mode::Contain);
        QCOMPARE(document.nodes.size(), 1);
        OverlayNode expected = makeOverlayNode(ElementKind::SingleJoy, "Joy 1");
        expected.id = document.nodes[0].id;
        expected.geometry = QRectF(0.1, 0.5, 0.08, 0.08);
        QCOMPARE(document.nodes[0], expected);
        QVERIFY(!expected.id.isNull());

        QVERIFY(overlayDocumentFromJson({{"type", "InteractiveOverlay"}, {"nodes", 1}}, kContext,
                                        &document));
        QCOMPARE(document.overlaySize, kContext.widgetSize);
        QVERIFY(document.nodes.isEmpty());
    }

    void thousandsOfNodes()
    {
        QJsonArray nodes;
        for (int i = 0; i < 5000; ++i)
            nodes.append(QJsonObject{{"kind", "button"},
                                     {"geometry", QJsonObject{{"x", i / 5000.}, {"y", 0.5}}}});
        OverlayDocument document;
        QVERIFY(overlayDocumentFromJson(
            {{"type", "InteractiveOverlay"}, {"version", 4}, {"nodes", nodes}}, {}, &document));
        QCOMPARE(document.nodes.size(), 5000);
        QCOMPARE(document.nodes.last().title, "Bouton 5000");
        QCOMPARE(document.nodes.last().geometry, QRectF(4999 / 5000., 0.5, 0.08, 0.08));
    }
};

QTEST_GUILESS_MAIN(TestOverlayDocument)
#include "tst_overlaydocument.moc"
