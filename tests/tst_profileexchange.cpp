#include "filetestsupport.h"
#include "profileexchange.h"
#include "profileoperations.h"
#include "scratchtree.h"

#include <QtTest>

const QByteArray kBig(kMaxExchangeImageBytes, 'p'); // a picture as large as accepted
const QJsonObject kOverlay{{"type", "InteractiveOverlay"}, {"version", 4}, {"nodes", QJsonArray()}};
const QString kLinked = "Ce fichier est lié à une ou plusieurs manettes. Le coller/importe n’est "
                        "autorisé que pour des profils non liés.";

// A profile folder outside the user root, so that the user root only ever holds imports.
static GamepadProfileMeta seed(const QString &root, const QString &name, const QByteArray &image,
                               const QString &imageFile, const QJsonObject &overlay)
{
    GamepadProfileMeta meta;
    meta.id = QUuid::createUuid(), meta.name = name;
    meta.folder = root + '/' + meta.id.toString(QUuid::WithoutBraces), meta.imageFile = imageFile;
    const bool ok =
        writeBytes(meta.folder + '/' + imageFile, image) &&
        (overlay.isEmpty() || writeJsonFileAtomic(meta.folder + "/overlay.json", overlay, nullptr));
    return ok ? meta : GamepadProfileMeta();
}

static QJsonObject document(const QJsonObject &patch = {})
{
    QJsonObject object{
        {"type", kExchangeType},     {"version", 3},     {"name", "Pad"}, {"overlay", kOverlay},
        {"imageBase64", "AAECAw=="}, {"imageExt", "png"}};
    for (const QString &key : patch.keys())
        patch[key].isNull() ? object.remove(key) : void(object.insert(key, patch[key]));
    return object;
}

static QJsonObject overlayWithNodes(int count)
{
    return {{"type", "InteractiveOverlay"},
            {"nodes", QJsonArray::fromVariantList(QVariantList(count, QVariantMap()))}};
}

class TestProfileExchange : public QObject
{
    Q_OBJECT

    QTemporaryDir home;
    QString sources = home.path() + "/sources";
    QTemporaryDir outRoot;
    QString outDir = outRoot.path() + "/exchange-snapshots";

    // Every file and folder under the home folder, so that a stray write anywhere shows up.
    QStringList allEntries() const
    {
        QStringList entries;
        QDirIterator it(home.path(), QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden,
                        QDirIterator::Subdirectories);
        while (it.hasNext())
            entries << it.next();
        entries.sort();
        return entries;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(useTestHome(home));
        setHost("alice");
    }
    void init() { removeScratchTree(outDir); }

    void roundTrip_data()
    {
        QTest::addColumn<QString>("imageFile");
        QTest::addColumn<QByteArray>("image");
        QTest::addColumn<QString>("stored");
        QTest::newRow("jpeg") << "Photo.JPG" << encoded("jpeg") << "image.jpg";
        QTest::newRow("odd bytes")
            << "image.bmp" << QByteArray("\x00\xff\x89PNG\r\n\x1a?", 11) << "image.bmp";
        QTest::newRow("no picture") << "image.png" << QByteArray() << "image.png";
    }
    void roundTrip()
    {
        QFETCH(QString, imageFile);
        QFETCH(QByteArray, image);
        const QJsonObject overlay = overlayWithNodes(2);
        const GamepadProfileMeta source = seed(sources, "Mon pad", image, imageFile, overlay);
        const auto bytes = QJsonDocument(buildExchangeDocument(source, overlay, nullptr)).toJson();
        QJsonObject parsed;
        QVERIFY(parseExchangeDocument(bytes, &parsed, nullptr));

        GamepadProfileMeta created;
        QString error;
        QVERIFY2(createProfileFromExchange(parsed, &created, &error), qPrintable(error));
        QTEST(created.imageFile, "stored");
        QCOMPARE(readBytes(created.imagePath()), image);
    }

    void createFromDocument_data()
    {
        QTest::addColumn<QJsonObject>("patch"); // a null member is removed
        QTest::addColumn<QString>("error");     // null: created
        const auto add = [](const char *tag, const QJsonObject &patch, const QString &error = {}) {
            QTest::newRow(tag) << patch << error;
        };
        add("linked by deviceName", {{"deviceName", " Pad X "}}, kLinked);
        add("no name", {{"name", QJsonValue()}}); // named "Gamepad importé"
        for (QString ext : {"", "../x", "png/../../y", "a\\b", "/etc/passwd", "PNG", "toolongext"})
            add(qPrintable("imageExt '" + ext + "'"), {{"imageExt", ext}});
        add("overlay empty", {{"overlay", QJsonObject()}}, "");
        add("10001 nodes", {{"overlay", overlayWithNodes(10001)}},
            "Overlay trop grand (10001 pastilles, limite 10000).");
        // The store reads no file beyond kMaxJsonFileBytes: such an overlay is never written.
        add("overlay beyond the reader",
            {{"overlay", QJsonObject{{"type", "InteractiveOverlay"},
                                     {"pad", QString(kMaxJsonFileBytes, 'x')}}}},
            "Overlay trop volumineux (");
        add("no picture", {{"imageBase64", QJsonValue()}});
        add("picture as a number", {{"imageBase64", 5}}, "Image illisible dans le document.");
        add("invalid base64", {{"imageBase64", "AA=E"}}, "Image illisible dans le document.");
        add("image over 32 MiB",
            {{"imageBase64", QString((kMaxExchangeImageBytes + 2) / 3 * 4 + 4, 'A')}},
            "Image trop volumineuse (limite 32 Mo).");
        add("image of 32 MiB", {{"imageBase64", QString(kBig.toBase64())}});
        // Past the file size limit below, so the write fails once the folder exists.
        add("image write fails", {{"imageBase64", QString(8000, 'A')}}, "Échec écriture image : ");
        add("overlay write fails", {{"overlay", overlayWithNodes(2000)}},
            "Échec écriture overlay.json : ");
    }
    void createFromDocument()
    {
        QFETCH(QJsonObject, patch);
        QFETCH(QString, error);
        const QStringList before = allEntries();
        GamepadProfileMeta meta;
        QString message = "untouched";
        const QString tag = QTest::currentDataTag();
        const FileFault fault = tag.endsWith("write fails") ? FileFault::DiskFull : FileFault::None;
        const bool done = runUnder(
            fault, [&] { return createProfileFromExchange(document(patch), &meta, &message); });
        QCOMPARE(done, error.isNull());
        QVERIFY2(done || (error.isEmpty() ? message.isEmpty() : message.startsWith(error)),
                 qPrintable(message));
        QStringList added = allEntries();
        for (const QString &entry : before)
            QVERIFY2(added.removeOne(entry), qPrintable(entry));
        const QString f = userProfilesRoot() + '/' + QFileInfo(meta.folder).fileName() + '/';
        QCOMPARE(added, done ? QStringList({f.chopped(1), f + "configActionGamepad.json",
                                            f + "image.png", f + "meta.json", f + "overlay.json"})
                             : QStringList());
        if (!done)
            return;
        const QString name = tag == "no name" ? "Gamepad importé" : "Pad";
        QCOMPARE(QStringList({meta.name, meta.imageFile, readBytes(meta.imagePath()).toBase64()}),
                 QStringList({name, "image.png", document(patch)["imageBase64"].toString()}));
    }

    void parseRefusals_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("error");
        QByteArray huge = QJsonDocument(document()).toJson(QJsonDocument::Compact);
        huge.append(QByteArray(kMaxExchangeDocumentBytes + 1 - huge.size(), ' '));
        QTest::newRow("over 64 MiB")
            << huge << "Document trop volumineux (67108865 octets, limite 67108864).";
        const QByteArray nested = QByteArray(5000, '[') + QByteArray(5000, ']');
        QTest::newRow("deep nesting") << R"({"type":"ZeltoGamepad","overlay":)" + nested + '}'
                                      << "Données presse‑papier invalides (";
        QTest::newRow("other type")
            << QByteArray("{\"type\":\"zeltoGamepad\"}") << "Type inattendu dans le presse‑papier.";
    }
    void parseRefusals()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, error);
        QString message;
        QVERIFY(!parseExchangeDocument(bytes, nullptr, &message));
        QVERIFY2(message.startsWith(error), qPrintable(message));
    }

    // What leaves a profile folder is taken whole from inside it; messages name file and reason.
    void contentLeavingTheFolder_data()
    {
        // Named "file, fault": the file made a link leading outside or inside the folder, or huge.
        QTest::addColumn<QString>("error"); // %1 the file, %2 where it leads; empty: exported
        for (const char *file : {"image.png", "overlay.json"}) {
            QTest::addRow("%s, outside", file)
                << "Impossible d’ouvrir %1 (lien symbolique vers %2, hors du dossier du profil)";
            QTest::addRow("%s, inside", file) << QString();
        }
        QTest::newRow("image.png, huge")
            << "Image trop volumineuse (33554433 octets, limite 32 Mo) : %1";
    }
    void contentLeavingTheFolder()
    {
        const QString tag = QTest::currentDataTag();
        const QString file = tag.section(", ", 0, 0), fault = tag.section(", ", 1);
        QFETCH(QString, error);
        const auto profile = seed(sources, "Pad", encoded("png", {4, 3}), "image.png", kOverlay);
        const QString path = profile.folder + '/' + file;
        const QString target = (fault == "outside" ? sources : profile.folder) + "/kept-" + file;
        QVERIFY(fault == "huge" ? QFile::resize(path, kMaxExchangeImageBytes + 1)
                                : QFile::rename(path, target) && QFile::link(target, path));
        QString message;
        QJsonObject overlay;
        const bool exported = readSavedOverlay(profile, &overlay, &message) &&
                              !buildExchangeDocument(profile, overlay, &message).isEmpty();
        QCOMPARE(message,
                 error.replace("%1", path).replace("%2", QFileInfo(target).canonicalFilePath()));
        QCOMPARE(exported, error.isEmpty());
        SnapshotReport report;
        QVERIFY(exportSnapshots({profile}, outDir, &report, nullptr));
        QCOMPARE(report.errors, QStringList(fault == "outside" ? 1 : 0, "Pad : " + message));
        const auto full = seed(sources, "Full", {}, "image.png", overlayWithNodes(10000));
        QVERIFY(readSavedOverlay(full, nullptr, nullptr)); // 10000 pastilles still leave
    }

    // A picture's suffix from a document: lower-case letters and digits, at most five.
    void imageSuffixes()
    {
        QStringList kept;
        for (const char *suffix : {"jp2", "a09", "webp5", "webp55", "Png", "p-g", "a:"})
            kept << safeImageSuffix(suffix);
        QCOMPARE(kept.join(' '), "jp2 a09 webp5 png png png png");
    }

    // Names are never reused across exports; the live overlay replaces the stored one.
    void snapshots()
    {
        const auto stored = QJsonDocument::fromJson(R"({"type": "InteractiveOverlay", "version": 4,
            "coordSpace": "background", "overlaySize": {"w": 400, "h": 300}, "bgMode": "Stretch",
            "nodes": [{"kind": "button", "geometry": {"x": 0.5, "y": 0.5, "w": 0.2, "h": 0.2}}]})");
        QJsonObject overlay = stored.object();
        const QByteArray blue = encoded("png", {40, 30}, Qt::blue);
        const QList<GamepadProfileMeta> profiles{seed(sources, "Pad", blue, "image.png", overlay),
                                                 seed(sources, "Pad", {}, "image.png", overlay),
                                                 seed(sources, "a/b:c", {}, "image.png", kOverlay)};
        overlay["overlaySize"] = QJsonObject{{"w", 320}, {"h", 240}};
        for (QString names : {"Pad.png,Pad_1.png,a_b_c.png", "Pad_2.png,Pad_3.png,a_b_c_1.png"}) {
            SnapshotReport report;
            QVERIFY(exportSnapshots(profiles, outDir, &report, nullptr, profiles[1].id, overlay));
            QVERIFY2(report.errors.isEmpty(), qPrintable(report.errors.join('\n')));
            QCOMPARE(report.written.join(',').remove(outDir + '/'), names);
            const QImage image(report.written[0]);
            QCOMPARE(image.size(), QSize(400, 300));
            QCOMPARE(image.pixelColor(20, 20), QColor(Qt::blue));
            QVERIFY(image.pixelColor(240, 180) != QColor(Qt::blue));
            QCOMPARE(QImage(report.written[1]).size(), QSize(320, 240));
        }
        QCOMPARE(freeSnapshotPath(outDir, "Pad"), outDir + "/Pad_4.png");
    }
};

QTEST_MAIN(TestProfileExchange)
#include "tst_profileexchange.moc"
