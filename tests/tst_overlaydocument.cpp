#include "filetestsupport.h"
#include "overlaydocument.h"

#include <QtTest>

using Mode = BackgroundScaleMode;
const OverlayReadContext kContext{QSize(800, 600), QSize(400, 200)};

// "kind/title/publish mode/s(plit)f(reeAspect)" then "key j|b deviceId packetId" per slot.
QStringList describe(const OverlayDocument &document)
{
    QStringList out;
    for (const OverlayNode &n : document.nodes) {
        out << QString("%1/%2/%3/%4%5")
                   .arg(elementKindName(n.kind), n.title, publishModeName(n.publishMode),
                        n.split ? "s" : "", n.freeAspect ? "f" : "");
        for (const auto &[label, s, binding] : n.sources)
            out.last() += QString(" [%1 %2 %3 %4]")
                              .arg(s.stringKey, s.isJoy ? "j" : "b", QString::number(s.deviceId),
                                   QString::number(s.packetId));
    }
    return out;
}

class TestOverlayDocument : public QObject
{
    Q_OBJECT

private slots:
    void backgroundRect_data()
    {
        QTest::addColumn<QSize>("widget");
        QTest::addColumn<QSize>("picture");
        QTest::addColumn<int>("mode");
        QTest::addColumn<QRect>("expected");
        const auto row = [](const char *name, QSize widget, QSize picture, Mode mode, QRect rect) {
            QTest::newRow(name) << widget << picture << int(mode) << rect;
        };
        row("no picture", {800, 600}, {}, Mode::Contain, {0, 0, 800, 600});
        row("contain wide", {801, 600}, {400, 200}, Mode::Contain, {0, 100, 801, 400});
        row("cover, toward 0", {801, 600}, {400, 200}, Mode::Cover, {-199, 0, 1200, 600});
        row("center larger", {300, 100}, {401, 200}, Mode::Center, {-50, -50, 401, 200});
        row("cover past int range", {2000000000, 1}, {1, 2}, Mode::Cover,
            {0, -(1 << 24), 1 << 24, 1 << 24});
    }
    void backgroundRect()
    {
        QFETCH(QSize, widget);
        QFETCH(QSize, picture);
        QFETCH(int, mode);
        QTEST(::backgroundRect(widget, picture, Mode(mode)), "expected");
    }

    // Rounding half away from zero, at least one pixel, nothing for unusable input; and back.
    void placement_data()
    {
        QTest::addColumn<QRectF>("fractions");
        QTest::addColumn<QRect>("background");
        QTest::addColumn<QRect>("expected");
        const QRect bg(-10, 20, 100, 10);
        QTest::newRow("halves up") << QRectF(0.125, 0.25, 0.125, 0.25) << bg << QRect(3, 23, 13, 3);
        QTest::newRow("thin gets 1 pixel") << QRectF(0, 0, .004, .01) << bg << QRect(-10, 20, 1, 1);
        QTest::newRow("empty background") << QRectF(.1, .1, .1, .1) << QRect(0, 0, 0, 5) << QRect();
        QTest::newRow("huge fractions bounded")
            << QRectF(1e300, -1e300, 1e300, 0.5) << bg << QRect(1 << 24, -(1 << 24), 1 << 24, 5);
    }
    void placement()
    {
        QFETCH(QRectF, fractions);
        QFETCH(QRect, background);
        const QRect placed = placeFractions(fractions, background);
        QTEST(placed, "expected");
        if (placed.width() > 1)
            QCOMPARE(placeFractions(fractionsOf(placed, background), background), placed);
    }

    void samples_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QStringList>("nodes");
        QTest::addColumn<QRect>("placed0"); // in the background of the stored size and mode
        QTest::newRow("v1 overlay fractions")
            << GAMEPAD_TEST_DATA "/overlay_v1.json"
            << QStringList{"button/Tir/onChange/ [but_4 b 1 1]",
                           "singleJoy/Joy 2/onChange/ [joy_3 j 2 3]",
                           "button/Bouton 3/onChange/ [but_7 b 0 1]"}
            << QRect(400, 150, 80, 60);
        QTest::newRow("v2 legacy keys, background space")
            << GAMEPAD_TEST_DATA "/overlay_v2.json"
            << QStringList{"dualJoyCross/Gauche/activeOnly/s [joy_0 j 1 2] [ j 0 1]",
                           "button/Bouton 2/onChange/f [gate_2 b 0 1]"}
            << QRect(205, 282, 154, 102);
    }
    void samples()
    {
        QFETCH(QString, file);
        OverlayDocument doc;
        QVERIFY(overlayDocumentFromJson(jsonOf(readBytes(file)), kContext, &doc));
        QTEST(describe(doc), "nodes");
        const QRect bg = ::backgroundRect(doc.overlaySize, kContext.pictureSize, doc.bgMode);
        QTEST(placeFractions(doc.nodes[0].geometry, bg), "placed0");
    }

    // Written and read back field for field; nothing is ever written outside the profile folder.
    void writeAndReadBack()
    {
        OverlayDocument document{
            QSize(1111, 333), Mode::Cover, {makeOverlayNode(ElementKind::DualJoyCross, "Croix")}};
        OverlayNode &cross = document.nodes[0];
        cross.geometry = QRectF(-0.1, 0.7, 0.3, 0.45);
        cross.sources[0].source = {true, "autre", 3, 7, "joy_6"};
        cross.publishMode = PublishMode::Always, cross.split = cross.freeAspect = true;
        QTemporaryDir dir;
        const QString profile = dir.filePath("profile"), outside = dir.filePath("outside");
        QVERIFY(QDir().mkpath(profile) && QDir().mkpath(outside) &&
                QFile::link(outside, profile + "/linked"));
        QString error;
        QVERIFY2(writeOverlayFile(profile, "overlay.json", document, &error), qPrintable(error));
        const QByteArray bytes = readBytes(profile + "/overlay.json");
        QJsonObject written = jsonOf(bytes); // indented, as a hand edit expects
        const QJsonArray nodes = written.take("nodes").toArray(); // each marked as at rest
        QCOMPARE(QJsonArray({nodes.size(), nodes[0]["state"]}), QJsonArray({1, "Normal"}));
        QCOMPARE(written, jsonOf(R"({"type": "InteractiveOverlay", "version": 4, "bgMode": "Cover",
            "coordSpace": "background", "overlaySize": {"w": 1111, "h": 333}})"));
        OverlayDocument read;
        QVERIFY(bytes.startsWith("{\n    \"") && overlayDocumentFromJson(jsonOf(bytes), {}, &read));
        QCOMPARE(overlayDocumentToJson(read), overlayDocumentToJson(document)); // size, mode
        QCOMPARE(read.nodes, document.nodes);
        // A link below the folder is the user's, written through; a name climbing out is refused.
        QVERIFY(writeOverlayFile(profile, "linked/overlay.json", document, &error));
        QCOMPARE(jsonOf(readBytes(outside + "/overlay.json")), overlayDocumentToJson(document));
        QVERIFY(!writeOverlayFile(profile, "../overlay.json", document, &error));
        QCOMPARE(error,
                 "Écriture refusée hors du dossier du profil " + profile + " : ../overlay.json");
        QVERIFY(!QFileInfo::exists(dir.filePath("overlay.json")));
    }

    // Only a wrong marker refuses; bad members take defaults; sizes and fractions are bounded.
    void storedValues()
    {
        OverlayDocument document;
        QVERIFY(!overlayDocumentFromJson({{"type", "interactiveOverlay"}}, kContext, &document));
        QVERIFY(overlayDocumentFromJson(jsonOf(R"({"type": "InteractiveOverlay", "version": "4",
            "coordSpace": "BackGround", "overlaySize": {"w": 400, "h": -5}, "bgMode": 2,
            "nodes": [3, "x", null, {"id": "nope", "kind": 3, "title": 7, "isJoy": "no",
                "geometry": {"x": "a", "y": 0.5, "w": true}, "publishMode": 2, "split": "yes",
                "sources": {"Joystick": {"deviceType": 1, "deviceId": "3", "packetId": 2.5,
                    "stringKey": 9}}, "freeAspect": 1}]})"),
                                        kContext, &document));
        QVERIFY(document.overlaySize == QSize(400, 1) && document.bgMode == Mode::Contain);
        OverlayNode expected = makeOverlayNode(ElementKind::SingleJoy, "Joy 1");
        expected.id = document.nodes.value(0).id;
        expected.geometry = QRectF(0.1, 0.5, 0.08, 0.08);
        QCOMPARE(document.nodes, QVector<OverlayNode>{expected});

        QVERIFY(overlayDocumentFromJson(jsonOf(R"({"type": "InteractiveOverlay", "bgMode": "cover",
            "overlaySize": {"w": 2147483647, "h": 46341},
            "nodes": [{"geometry": {"x": 1e300, "y": -1e300, "w": 3e9, "h": 0.5}}]})"),
                                        kContext, &document));
        QCOMPARE(document.overlaySize, QSize(16384, 16384));
        // Version 1: fractions of the stored overlay, re-expressed over the covered picture.
        const QRect bg = ::backgroundRect(document.overlaySize, kContext.pictureSize, Mode::Cover);
        QCOMPARE(placeFractions(document.nodes[0].geometry, bg),
                 QRect(16384000, -16384000, 16384000, 8192));
    }
};

QTEST_GUILESS_MAIN(TestOverlayDocument)
#include "tst_overlaydocument.moc"
