#include "calibrationsources.h"
#include "filetestsupport.h"
#include "profilestore.h"
#include "scratchtree.h"

#include <QtTest>

using Kind = GamepadProfileKind;

// A path below the configuration root; an empty tail stands for "no path".
static QString inConfig(const QString &tail)
{
    return tail.isEmpty() ? QString() : configurationRoot() + "/" + tail;
}

const GamepadDeviceIdentity kPad{"Pad", 1, 2};

static QString padBaseFileIn(const QString &root)
{
    return inConfig(root + "GamepadProfiles/_deviceCalibration/0001_0002_pad.json");
}

const QByteArray kMeta = R"({"type":"GamepadDefinderMeta","name":"  Arcade  ",
    "id":"8a1e4c2e-3b7d-4a60-9d5c-0f2b6a7c1d11","deviceNames":["A","B"],"image":" pic.jpg "})";

static QString makeProfile() // A profile folder outside the roots, with a file two levels down.
{
    const QString folder = inConfig("elsewhere/prof-1");
    writeBytes(folder + "/sub/deep/b.txt", "b");
    return writeBytes(folder + "/meta.json", kMeta) ? folder : QString();
}

class TestProfileStore : public QObject
{
    Q_OBJECT

    QTemporaryDir m_home;

private slots:
    void initTestCase() { QVERIFY(useTestHome(m_home)); }

    void cleanup()
    {
        setHost(QVariant());
        QVERIFY(configurationRoot().contains("/.qttest/"));
        removeScratchTree(configurationRoot());
    }

    void readProfileInfo()
    {
        const QString folder = inConfig("GamepadProfiles/p1");
        QVERIFY(writeBytes(folder + "/meta.json", kMeta));
        GamepadProfileInfo info = ::readProfileInfo(folder + "/./");
        QVERIFY(info.folder == folder && info.name == "Arcade" && info.kind == Kind::Shared);
        QCOMPARE(info.deviceNames, (QStringList{"A", "B"}));
        QVERIFY(info.imagePath.isEmpty() && writeBytes(folder + "/pic.jpg", "x"));
        QCOMPARE(::readProfileInfo(folder).imagePath, folder + "/pic.jpg");
        // Without a valid id it is a new profile: listed, with the same new id at every read.
        QVERIFY(writeBytes(folder + "/meta.json", R"({"type":"GamepadDefinderMeta","id":"x"})"));
        const QUuid id = ::readProfileInfo(folder).id;
        QVERIFY(!id.isNull() && ::readProfileInfo(folder + "/").id == id);
        QCOMPARE(findProfileById(id.toString()).folder, folder);
        QVERIFY(writeBytes(folder + "/meta.json", R"({"type":"Other","name":"x"})") &&
                ::readProfileInfo(folder).isNull());
    }

    void copyErrors_data()
    {
        QTest::addColumn<QString>("folder");  // "@": a profile outside the roots, "~": a link to it
        QTest::addColumn<QString>("blocker"); // a file put in the way; "!": a read-only root
        QTest::addColumn<QString>("message"); // %1: the configuration root
        const QString copy = "Impossible de copier le profil vers %1/bob/GamepadProfiles/";
        for (const QStringList &row :
             {QStringList{"/no/such/dir", "", "Profil introuvable."},
              {"@", "bob", "Impossible de preparer le dossier %1/bob/GamepadProfiles"},
              {"@", "bob/GamepadProfiles/prof-1", copy + "prof-1 (Not a directory)"},
              {"@", "bob/GamepadProfiles/prof-1/sub", copy + "prof-1 (Not a directory)"},
              {"@", "!", copy + "prof-1 (Permission denied)"},
              {"~", "", copy + "link (Too many levels of symbolic links)"}})
            QTest::addRow("%s", qPrintable(row[0] + row[1])) << row[0] << row[1] << row[2];
    }

    void copyErrors()
    {
        QFETCH(QString, folder);
        QFETCH(QString, blocker);
        setHost("bob");
        const QString profile = makeProfile();
        const QByteArray root = QFile::encodeName(inConfig("bob/GamepadProfiles"));
        QVERIFY(blocker.isEmpty() || (blocker == "!" ? QDir().mkpath(root) && !chmod(root, 0555)
                                                     : writeBytes(inConfig(blocker), "file")));
        QVERIFY(QFile::link(profile, inConfig("elsewhere/link")));
        GamepadProfileInfo info;
        info.folder = folder == "@" ? profile : folder == "~" ? inConfig("elsewhere/link") : folder;
        QString error, copied;
        runUnder(blocker == "!" ? FileFault::ReadOnlyFolder : FileFault::None,
                 [&] { return !(copied = copyProfileToRoot(info, Kind::User, &error)).isEmpty(); });
        chmod(root, 0755);
        QTEST(copied + error.replace(configurationRoot(), "%1"), "message"); // and nothing copied
    }

    // Links inside the profile are skipped: nothing outside it is copied.
    void copyRecursiveAndOntoItself()
    {
        setHost("Bob");
        const QString target = inConfig("bob/GamepadProfiles/prof-1");
        QVERIFY(writeBytes(target + "/meta.json", "old") && writeBytes(inConfig("secret"), "s"));
        GamepadProfileInfo info;
        info.folder = makeProfile();
        QVERIFY(QFile::link(inConfig("secret"), info.folder + "/sub/secret") &&
                QFile::link(configurationRoot(), info.folder + "/root"));
        QCOMPARE(copyProfileToRoot(info, Kind::User, nullptr), target);
        QCOMPARE(::readProfileInfo(target).name, QString("Arcade"));
        QVERIFY(QFile::exists(target + "/sub/deep/b.txt"));
        struct stat made; // a folder made for the copy is open to the user's other programs
        QVERIFY(stat(QFile::encodeName(target + "/sub/deep"), &made) == 0);
        QCOMPARE(made.st_mode & 07777, 0755u);
        QVERIFY(!QFileInfo::exists(target + "/sub/secret") && !QFileInfo::exists(target + "/root"));

        info.folder = target + "/";
        QCOMPARE(copyProfileToRoot(info, Kind::User, nullptr), target);
    }

    // A dotfile manager's links are the user's own files: read through, as they are written.
    void linksInTheUserRoot()
    {
        setHost("alice");
        const QString kept = inConfig("dotfiles"), folder = userProfilesRoot() + "/p1";
        const QString base = padBaseFileIn("alice/");
        QVERIFY(writeBytes(kept + "/meta.json", kMeta) && writeBytes(kept + "/pic.jpg", "x") &&
                writeBytes(kept + "/base.json",
                           R"({"type":"GamepadCalibration","axes":[{"restRaw":33}]})") &&
                QDir().mkpath(folder) && QDir().mkpath(QFileInfo(base).path()));
        for (const QString name : {"/meta.json", "/pic.jpg"})
            QVERIFY(QFile::link(kept + name, folder + name));
        QVERIFY(QFile::link(kept + "/base.json", base));
        const GamepadProfileInfo info = ::readProfileInfo(folder);
        QVERIFY(info.name == "Arcade" && info.imagePath == folder + "/pic.jpg");
        const ResolvedCalibration resolved = resolveCalibration(kPad, info, 2, 3);
        QVERIFY(resolved.source == CalibrationSource::BaseDevice);
        QCOMPARE(resolved.calibration.axes[0].restRaw, 33.0);
        // A linked profile folder would bring files from outside the root: it is not listed.
        const QString id = "8a1e4c2e-3b7d-4a60-9d5c-0f2b6a7c1d11";
        QVERIFY(QFile::link(makeProfile(), userProfilesRoot() + '/' + id));
        QCOMPARE(profileCatalog().size(), 1); // p1, whose meta.json holds the same id
        QCOMPARE(findProfileById(id).folder, folder);
    }

    // Every key written back as read, unknown ones too, "modifiedAt" stamped; other types refused.
    void metaRoundTrip()
    {
        const QDateTime now(QDate(2024, 3, 5), QTime(10, 20, 30), Qt::UTC);
        const QString folder = inConfig("p");
        const QJsonDocument hand = QJsonDocument::fromJson(R"({"type": "GamepadDefinderMeta",
            "version": 4, "id": "8a1e4c2e-3b7d-4a60-9d5c-0f2b6a7c1d11", "name": "Arcade",
            "image": "img/i.jpg", "overlayFile": "/o.json", "config": "../c.json", "future": [1],
            "deviceName": "A", "deviceNames": ["A", "B"], "createdAt": "2020-01-01T00:00:00Z",
            "modifiedAt": "2024-03-05T10:20:30Z", "calibrationMode": "override",
            "vendorId": "0x045e", "productId": "0x028e", "calibrationOverrideFile": "../m.json"})");
        GamepadProfileMeta meta = profileMetaFromJson(hand.object(), folder);
        QString error;
        QVERIFY(QDir().mkpath(folder) && writeProfileMeta(&meta, &error, now.toOffsetFromUtc(60)));
        QCOMPARE(jsonOf(readBytes(folder + "/meta.json")), hand.object());
        // Files are read only from inside the folder.
        QVERIFY(meta.imagePath() == folder + "/img/i.jpg" && meta.configPath().isEmpty());
        meta.calibrationMode = "overrides"; // Only the override mode names its file.
        QVERIFY(!profileMetaToJson(meta).contains("calibrationOverrideFile"));
        QCOMPARE(profileMetaToJson(meta).value("calibrationMode"), "inherit");

        QVERIFY(writeJsonFileAtomic(folder + "/meta.json", QJsonObject{{"type", "X"}}, nullptr));
        QVERIFY(!readProfileMeta(folder, nullptr, &error));
        QCOMPARE(error, "Type de profil inconnu dans " + folder + "/meta.json");
        meta.folder.clear(); // a profile without a folder is never written
        QVERIFY(!writeProfileMeta(&meta, &error) && error.endsWith("(No such file or directory)"));
    }

    // A controller finds its model's profile (ids 1 and up), else one linked to its name.
    void profileForDevice()
    {
        const QString root = inConfig("GamepadProfiles/");
        const QByteArray type = R"({"type":"GamepadDefinderMeta",)";
        QVERIFY(writeBytes(root + "m/meta.json",
                           type + R"("name":"model","vendorId":"0x045e","productId":"0x0001"})") &&
                writeBytes(root + "n/meta.json", type + R"("name":"named","vendorId":"0x0000",
                    "productId":"0x028e","deviceNames":["Pad B"]})"));
        QStringList found;
        GamepadProfileMeta meta;
        for (const GamepadDeviceIdentity &pad : {GamepadDeviceIdentity{"Pad A", 0x45e, 0x1},
                                                 {" pad b ", 0, 0x28e},
                                                 {"Pad C", 0, 0x28e}})
            found << (findProfileMetaForDevice(pad, &meta) ? meta.name : "-");
        QCOMPARE(found, (QStringList{"model", "named", "-"}));
    }

    // A root given on a command line takes the user's place, and the old "Gamepads" roots go.
    void overriddenRoots()
    {
        setHost("GamepadProfiles"); // a login named like the shared root: its own root wins
        QCOMPARE(profileKindForFolder(userProfilesRoot() + "/p"), GamepadProfileKind::User);
        setHost("alice");
        const QString shared = sharedProfilesRoot(), user = m_home.filePath("u");
        QCOMPARE(candidateProfileRoots().size(), 4);
        setProfileRootsOverride(user, QString());
        const QStringList roots = candidateProfileRoots();
        setProfileRootsOverride(shared, QString()); // one folder named twice is one root
        const QStringList same = candidateProfileRoots();
        setProfileRootsOverride(QString(), QString());
        QCOMPARE(roots + same, (QStringList{user, shared, shared}));
    }

    // USB ids written as hex text or as whole numbers in range; anything else reads as none.
    void hexIds()
    {
        const QList<std::pair<QJsonValue, quint32>> rows{
            {"0x045e", 0x45e}, {1118, 1118}, {4294967295.0, 4294967295u},
            {1.5, 0},          {-1, 0},      {4294967296.0, 0},
            {"zz", 0},         {true, 0}};
        for (const auto &[value, id] : rows)
            QVERIFY2(readHexId(value) == id, qPrintable(QJsonDocument(QJsonArray{value}).toJson()));
    }

    void baseFileName_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<quint32>("vendor");
        QTest::addColumn<QString>("expected");
        QTest::newRow("example") << "Wireless Pad (Model 2)" << 0x045Eu
                                 << "045e_028e_wireless_pad_model_2_.json";
        QTest::newRow("cut at 64")
            << QString(40, 'a') + " -- " + QString(40, 'B') << 1u
            << "0001_028e_" + QString(40, 'a') + "_" + QString(23, 'b') + ".json";
        QTest::newRow("no identity") << " \t " << 0u << "";
        QTest::newRow("a name only") << "Pad" << 0u << "0000_0000_pad.json";
        const QString bold = QStringLiteral("\U0001D400"); // a letter beyond the basic plane
        QTest::newRow("letter beyond the basic plane")
            << bold + "Pad!" << 1u << "0001_028e_" + bold + "pad_.json";
        QTest::newRow("cut at 64 letters")
            << bold.repeated(70) << 1u << "0001_028e_" + bold.repeated(64) + ".json";
    }

    void baseFileName()
    {
        QFETCH(QString, name);
        QFETCH(quint32, vendor);
        QTEST(baseCalibrationFileName({name, vendor, vendor ? 0x028Eu : 0u}), "expected");
    }

    // The user's base file wins over the shared one; it is written where the host allows.
    void baseFileLocations()
    {
        setHost("alice");
        QVERIFY(writeBytes(padBaseFileIn(""), "{}") && writeBytes(padBaseFileIn("alice/"), "{}"));
        QCOMPARE(findBaseCalibrationFile(kPad), padBaseFileIn("alice/"));
        QVERIFY(findBaseCalibrationFile({}).isEmpty());
        QCOMPARE(baseCalibrationWritePath(kPad), padBaseFileIn("alice/"));
        setHost("", true);
        QCOMPARE(baseCalibrationWritePath(kPad), padBaseFileIn(""));
        setHost("");
        QVERIFY(baseCalibrationWritePath(kPad).isEmpty());
        setHost("../Alice"); // a login that would lead elsewhere counts as none
        QVERIFY(userProfilesRoot().isEmpty() && baseCalibrationWritePath(kPad).isEmpty());
    }

    // Read from where the name says; written only inside the folder ("@": a real profile folder).
    void overridePath()
    {
        const QString real = inConfig("p"), fallback = "/p/calibration.override.json";
        QVERIFY(QDir().mkpath(real) && QFile::link(configurationRoot(), real + "/link"));
        GamepadProfileInfo info;
        info.id = QUuid::createUuid();
        // folder | file | read path | write path
        for (const QStringList &row : {QStringList{"  ", "x.json", "", ""},
                                       {"/p", "  ", fallback, fallback},
                                       {"/p/", " sub/c.json ", "/p/sub/c.json", "/p/sub/c.json"},
                                       {"/p", "/else/c.json", "/else/c.json", ""},
                                       {"/p", "../q/c.json", "/q/c.json", ""},
                                       {"@", "link/c.json", "@/link/c.json", "@/link/c.json"}}) {
            info.folder = QString(row[0]).replace("@", real);
            info.calibrationOverrideFile = row[1];
            const QStringList paths{profileOverridePath(info), profileOverrideWritePath(info)};
            QCOMPARE((row.mid(0, 2) + paths).join(" | ").replace(real, "@"), row.join(" | "));
        }
    }

    void resolve_data()
    {
        QTest::addColumn<QByteArray>("overrideFile");
        QTest::addColumn<QString>("mode");
        QTest::addColumn<bool>("nullId");
        QTest::addColumn<int>("source");
        const QByteArray mine = R"({"type":"GamepadCalibration","axes":[{"restRaw":22}]})";
        QTest::newRow("OVERRIDE wins") << mine << "OVERRIDE" << false << 2;
        QTest::newRow("inherit ignores override") << mine << "inherit" << false << 1;
        QTest::newRow("broken override") << QByteArray("{") << "override" << false << 1;
        QTest::newRow("null id") << mine << "override" << true << 1;
    }

    void resolve()
    {
        QFETCH(QByteArray, overrideFile);
        QFETCH(QString, mode);
        QFETCH(bool, nullId);
        QFETCH(int, source);
        setHost("alice");
        const QString basePath = padBaseFileIn("alice/"), overridePath = inConfig("p1/o.json");
        QVERIFY(writeBytes(basePath, R"({"type":"GamepadCalibration","axes":[{"restRaw":11}]})") &&
                writeBytes(overridePath, overrideFile));
        GamepadProfileInfo profile;
        profile.id = nullId ? QUuid() : QUuid::createUuid(), profile.folder = inConfig("p1");
        profile.calibrationMode = mode, profile.calibrationOverrideFile = "o.json";
        const ResolvedCalibration result = resolveCalibration(kPad, profile, 2, 3);
        QCOMPARE(result.overridePath, nullId ? "" : overridePath);
        QCOMPARE(result.sourcePath, (QStringList{"", basePath, overridePath}.at(source)));
        QCOMPARE(result.calibration.axes.at(0).restRaw, (QList<double>{0, 11, 22}.at(source)));
        QVERIFY(result.calibration.axes.size() == 2 && result.calibration.buttons.size() == 3);
    }
};

QTEST_GUILESS_MAIN(TestProfileStore)
#include "tst_profilestore.moc"
