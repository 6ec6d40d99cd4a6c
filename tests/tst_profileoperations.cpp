#include "filetestsupport.h"
#include "overlaybindings.h"
#include "profileoperations.h"
#include "scratchtree.h"

#include <QImageReader>
#include <QtTest>

const QString kLong(6000, QLatin1Char('x')); // outgrows the disk-full limit
const QJsonObject kOverlay{{"type", "InteractiveOverlay"}, {"version", 4}};

// A profile "Pad" whose "meta.json" outgrows a full disk; its override "calib.json" is not written.
static GamepadProfileMeta seed(const QString &root)
{
    GamepadProfileMeta meta;
    meta.id = QUuid::createUuid();
    meta.folder = root + '/' + meta.id.toString(QUuid::WithoutBraces), meta.name = "Pad";
    meta.otherKeys = {{"note", kLong}};
    meta.calibrationMode = "override", meta.calibrationOverrideFile = "calib.json";
    const bool written = writeBytes(meta.folder + "/image.png", encoded("png")) &&
                         writeBytes(meta.folder + "/overlay.json", "{}") &&
                         writeBytes(meta.folder + "/configActionGamepad.json", "{\"old\": 1}") &&
                         writeProfileMeta(&meta, nullptr) &&
                         readProfileMeta(meta.folder, &meta, nullptr);
    return written ? meta : GamepadProfileMeta();
}

// Every file of a folder with its bytes; temporaries left behind show up too.
static QMap<QString, QByteArray> snapshot(const QString &folder)
{
    QMap<QString, QByteArray> files;
    for (const QString &name : QDir(folder).entryList(QDir::Files | QDir::Hidden))
        files.insert(name, readBytes(folder + '/' + name));
    return files;
}

class TestProfileOperations : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(useTestHome(m_home));
        QVERIFY(writeBytes(m_png, encoded("png")) && writeBytes(m_jpg, encoded("jpeg")));
    }

    void init()
    {
        setHost("tester");
        QVERIFY(configurationRoot().startsWith(m_home.path()));
        QVERIFY(removeScratchTree(configurationRoot()));
        QVERIFY(removeScratchTree(m_home.filePath("outside")));
    }

    void create() // A picture without suffix is stored as PNG; a JPEG chosen later goes beside it.
    {
        const NewProfileRequest request{" New ", m_png, " Pad X ", 0x45e, 0x28e, kOverlay};
        const QDateTime now(QDate(2024, 5, 6), QTime(7, 8, 9), Qt::UTC);
        GamepadProfileMeta created;
        QString title, error;
        QVERIFY2(createProfile(request, &created, &title, &error, now), qPrintable(error));
        QCOMPARE(title, QString("Création"));
        const QString folder = created.folder;
        QCOMPARE(folder, userProfilesRoot() + '/' + created.id.toString(QUuid::WithoutBraces));
        QCOMPARE(jsonOf(readBytes(folder + "/overlay.json")), kOverlay);
        const auto mapping = QJsonDocument::fromJson(R"({"bridges": [], "onClose": [],
            "onStartup": [], "ref": [], "signals": [], "timers": []})");
        QCOMPARE(jsonOf(readBytes(folder + "/configActionGamepad.json")), mapping.object());
        const auto expected = QJsonDocument::fromJson(R"({"name": "New", "image": "image.png",
            "calibrationMode": "inherit", "createdAt": "2024-05-06T07:08:09Z", "vendorId": "0x045e",
            "productId": "0x028e", "deviceNames": ["Pad X"]})");
        for (const QString &key : expected.object().keys())
            QCOMPARE(jsonOf(readBytes(folder + "/meta.json"))[key], expected[key]);
        QVERIFY2(changeProfileImage(&created, m_jpg, &error), qPrintable(error));
        QCOMPARE(jsonOf(readBytes(folder + "/meta.json"))["image"].toString(),
                 QString("image.jpg"));
        QCOMPARE(QImageReader::imageFormat(folder + "/image.jpg"), "jpeg");
        QCOMPARE(QImageReader::imageFormat(folder + "/image.png"), "png");
    }

    // The override goes with the copy; once its file is gone, a copy is left in "inherit".
    void duplicate()
    {
        const GamepadProfileMeta source = seed(userProfilesRoot());
        QVERIFY(writeBytes(source.folder + "/calib.json", "{\"c\": 1}"));
        QString error;
        for (const QString mode : {"override", "inherit"}) {
            GamepadProfileMeta copy;
            QVERIFY2(duplicateProfile(source, &copy, &error), qPrintable(error));
            QCOMPARE(QFileInfo(copy.folder).absolutePath(), userProfilesRoot());
            QCOMPARE(QImage(copy.imagePath()), QImage(source.imagePath()));
            for (const char *file : {"/overlay.json", "/configActionGamepad.json", "/calib.json"})
                QCOMPARE(readBytes(copy.folder + file), readBytes(source.folder + file));
            QCOMPARE(copy.calibrationMode, mode);
            QVERIFY(mode == "inherit" || QFile::remove(source.folder + "/calib.json"));
        }
        // Nothing comes from outside: a linked override stays behind, a linked overlay refuses.
        const QString outside = m_home.filePath("outside/kept.json");
        QVERIFY(writeBytes(outside, "{}") && QFile::link(outside, source.folder + "/calib.json"));
        GamepadProfileMeta copy;
        QVERIFY(duplicateProfile(source, &copy, &error) && copy.calibrationMode == "inherit");
        QVERIFY(QFile::remove(source.folder + "/overlay.json") &&
                QFile::link(outside, source.folder + "/overlay.json"));
        QVERIFY(!duplicateProfile(source, &copy, &error));
        QCOMPARE(error, QString("Impossible de copier la configuration."));

        // The editor lists what the store's catalogue lists: an id once, from its first folder.
        const QString twin = userProfilesRoot() + "/0 twin";
        QVERIFY(writeBytes(twin + "/meta.json", readBytes(source.folder + "/meta.json")));
        QStringList listed, catalogued;
        for (const GamepadProfileMeta &entry : readProfileEntries())
            listed << entry.folder;
        for (const GamepadProfileInfo &info : profileCatalog())
            catalogued << info.folder;
        QVERIFY(listed == catalogued && listed.contains(twin) && !listed.contains(source.folder));
    }

    // A shared profile: without the right it is copied to the user first and the shared one kept.
    void rename()
    {
        for (const bool right : {false, true}) {
            setHost("tester", right);
            GamepadProfileMeta entry = seed(sharedProfilesRoot());
            const QString folder = entry.folder, meta = folder + "/meta.json";
            const QByteArray before = readBytes(meta);
            QString error;
            QVERIFY2(renameProfile(&entry, "  Neo ", &error), qPrintable(error));
            QCOMPARE(readBytes(meta) == before, !right);
            QCOMPARE(entry.folder,
                     right ? folder : userProfilesRoot() + '/' + QFileInfo(folder).fileName());
            QCOMPARE(jsonOf(readBytes(entry.folder + "/meta.json"))["name"].toString(),
                     QString("Neo"));
        }
    }

    void deletion_data() // A profile removed, or refused, by the profile editor is its own test.
    {
        QTest::addColumn<QString>("message");   // empty: removed; %1: the folder
        QTest::newRow("link to outside") << ""; // the link goes, not its target
        QTest::newRow("outside the roots") << "Impossible de supprimer %1";
    }

    void deletion()
    {
        QFETCH(QString, message);
        GamepadProfileMeta entry = seed(m_home.filePath("outside"));
        const QString target = entry.folder, link = userProfilesRoot() + "/link";
        const QMap<QString, QByteArray> files = snapshot(target);
        QVERIFY(!message.isEmpty() ||
                (QDir().mkpath(userProfilesRoot()) && QFile::link(target, link) &&
                 readProfileMeta(link, &entry, nullptr)));
        QString error;
        QCOMPARE(deleteProfileFolder(entry, &error), message.isEmpty());
        QCOMPARE(error, message.contains("%1") ? message.arg(entry.folder) : message);
        QCOMPARE(QFileInfo(entry.folder).exists() || QFileInfo(entry.folder).isSymLink(),
                 !message.isEmpty());
        QCOMPARE(snapshot(target), files);
    }

    // Folders more than 63 deep below the profile are not walked: its deletion stops there.
    void deletionDepth()
    {
        for (const int depth : {63, 64}) {
            const GamepadProfileMeta entry = seed(userProfilesRoot());
            QString error;
            QVERIFY(QDir().mkpath(entry.folder + QString("/d").repeated(depth)));
            QCOMPARE(deleteProfileFolder(entry, &error), depth == 63);
            QVERIFY2(depth == 63 || error.endsWith("(Too many levels of symbolic links)"),
                     qPrintable(error));
        }
    }

    // A root the user may not write keeps the profile's folder, emptied, and says why.
    void deletionUnderAReadOnlyRoot()
    {
        const GamepadProfileMeta entry = seed(userProfilesRoot());
        const QByteArray root = QFile::encodeName(userProfilesRoot());
        QString error;
        QVERIFY(chmod(QFile::encodeName(entry.folder), 0777) == 0 && chmod(root, 0555) == 0);
        const bool deleted =
            runUnder(FileFault::ReadOnlyFolder, [&] { return deleteProfileFolder(entry, &error); });
        chmod(root, 0755);
        QVERIFY2(!deleted && error.endsWith("(Permission denied)"), qPrintable(error));
        QVERIFY(QDir(entry.folder).isEmpty());
    }

    void failures_data() // A failing step leaves every file it did not write byte for byte.
    {
        // Named "operation, fault"; a profile without login lies in the shared root.
        QTest::addColumn<QString>("changed"); // the files written before the failing step
        QTest::addColumn<QString>("pattern"); // wildcards; %1 the profile folder, %2 the user root
        const QString denied = " (Permission denied)";
        const QList<QStringList> rows{
            {"create, no login", "", "Aucun dossier utilisateur n'est disponible pour ce profil."},
            {"create, read-only", "", "Échec écriture image %2/*/image.png" + denied},
            {"duplicate, no login", "",
             "Aucun dossier utilisateur n'est disponible pour cette copie."},
            {"rename, no login", "",
             "Impossible de preparer une configuration locale : Aucun dossier de configuration "
             "disponible pour cet utilisateur."},
            {"rename, read-only", "",
             "Impossible d’écrire meta.json : Impossible d’écrire %1/meta.json" + denied},
            {"image, read-only", "", "Échec écriture image %1/image.jpg" + denied},
            {"save, read-only", "",
             "Échec sauvegarde config : Impossible d’écrire %1/overlay.json" + denied},
            {"save big, disk full", "overlay.json", "Echec sauvegarde mapping."},
            {"save, disk full", "overlay.json configActionGamepad.json",
             "Échec sauvegarde meta : Écriture incomplète dans %1/meta.json (File too large)"}};
        for (const QStringList &row : rows)
            QTest::newRow(qPrintable(row[0])) << row[1] << row[2];
    }

    void failures()
    {
        const QString tag = QTest::currentDataTag(), operation = tag.section(',', 0, 0);
        const bool noLogin = tag.endsWith("no login");
        const FileFault fault = noLogin                     ? FileFault::None
                                : tag.endsWith("read-only") ? FileFault::ReadOnlyFolder
                                                            : FileFault::DiskFull;
        QFETCH(QString, changed);
        QFETCH(QString, pattern);
        const auto profile = seed(noLogin ? sharedProfilesRoot() : userProfilesRoot());
        const QString root = QFileInfo(profile.folder).absolutePath();
        const QStringList folders = QDir(root).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
        const QMap<QString, QByteArray> before = snapshot(profile.folder);
        const QByteArray lock = QFile::encodeName(operation == "create" ? root : profile.folder);
        QVERIFY(fault != FileFault::ReadOnlyFolder || chmod(lock.constData(), 0555) == 0);
        setHost(noLogin ? "" : "tester");
        QVector<OverlayNode> nodes{makeOverlayNode(ElementKind::Button, "b")};
        nodes[0].sources[0].source.stringKey = "but_0";
        nodes[0].sources[0].binding = quickMappingBinding(operation == "save big" ? kLong : "");

        GamepadProfileMeta entry = profile;
        QString title, error;
        const bool done = runUnder(fault, [&] {
            if (operation == "create")
                return createProfile({"New", m_png, "", 0, 0, kOverlay}, nullptr, &title, &error);
            if (operation == "duplicate")
                return duplicateProfile(entry, nullptr, &error);
            if (operation == "rename")
                return renameProfile(&entry, "Neo", &error);
            if (operation == "image")
                return changeProfileImage(&entry, m_jpg, &error);
            return saveProfileFiles(&entry, kOverlay, nodes, {}, &error);
        });
        chmod(lock.constData(), 0755);

        pattern.replace("%1", profile.folder).replace("%2", userProfilesRoot()); // %2: logged in
        const auto wildcard = QRegularExpression::wildcardToRegularExpression(pattern);
        QVERIFY2(!done && QRegularExpression(wildcard).match(error).hasMatch(), qPrintable(error));
        QCOMPARE(QDir(root).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), folders);
        const QMap<QString, QByteArray> after = snapshot(profile.folder);
        QCOMPARE(after.keys(), before.keys());
        for (const QString &file : before.keys())
            QCOMPARE(after[file] != before[file], changed.split(' ').contains(file));
    }

    // Converted to the destination's format; bytes no reader takes are copied as they are.
    void writeImage()
    {
        const QString out = m_home.filePath("out/a"), junk = out + ".junk", missing = out + ".none";
        QVERIFY(writeBytes(junk, "\x89PNG not really")); // and the folder "out"
        QString error;
        QVERIFY(writeImageFile(m_png, out + ".jpg", &error) &&
                writeImageFile(junk, out + ".png", &error));
        QCOMPARE(QImageReader::imageFormat(out + ".jpg"), "jpeg");
        QCOMPARE(readBytes(out + ".png"), "\x89PNG not really");
        QVERIFY(!writeImageFile(missing, out + ".png", &error));
        QCOMPARE(error, "Impossible de copier l’image " + missing + " vers " + out +
                            ".png (No such file or directory)");
    }

private:
    QTemporaryDir m_home;
    const QString m_png = m_home.filePath("pic"), m_jpg = m_home.filePath("shot.JPG");
};

QTEST_GUILESS_MAIN(TestProfileOperations)
#include "tst_profileoperations.moc"
