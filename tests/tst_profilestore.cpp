#include "profilestore.h"

#include <QDir>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

namespace {

using Kind = GamepadProfileKind;

void setHost(const QVariant &login, bool sharedRight = false)
{
    qApp->setProperty("kx.currentLogin", login);
    qApp->setProperty("kx.canEditSharedGamepads", sharedRight);
}

// A path below the configuration root; an empty tail stands for "no path".
QString inConfig(const QString &tail)
{
    return tail.isEmpty() ? QString() : configurationRoot() + "/" + tail;
}

bool writeBytes(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray readBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

const QByteArray kMeta = R"({"type":"GamepadDefinderMeta","name":"  Arcade  ",
    "id":"8a1e4c2e-3b7d-4a60-9d5c-0f2b6a7c1d11","deviceNames":["A","B"],"image":" pic.jpg "})";

} // namespace

class TestProfileStore : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // Every root lives below a throw-away home folder.
        QVERIFY(m_home.isValid());
        qputenv("HOME", QFile::encodeName(m_home.path()));
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(configurationRoot().startsWith(m_home.path()));
    }
    void cleanup()
    {
        setHost(QVariant());
        QDir(configurationRoot()).removeRecursively();
    }
    void roots_data()
    {
        QTest::addColumn<QVariant>("login");
        QTest::addColumn<bool>("shared");
        QTest::addColumn<QString>("user");
        QTest::addColumn<QString>("writable");
        QTest::addColumn<QStringList>("candidates");

        const QStringList common = {"GamepadProfiles", "Gamepads"};
        const QStringList bob = {"bob/GamepadProfiles", "GamepadProfiles", "bob/Gamepads",
                                 "Gamepads"};
        QTest::newRow("absent") << QVariant() << false << ""
                                << "" << common;
        QTest::newRow("right only") << QVariant("  ") << true << ""
                                    << "GamepadProfiles" << common;
        QTest::newRow("login") << QVariant("bob") << false << "bob/GamepadProfiles"
                               << "bob/GamepadProfiles" << bob;
        QTest::newRow("login, right, case and blanks")
            << QVariant(" BoB\t") << true << "bob/GamepadProfiles"
            << "GamepadProfiles" << bob;
        // A login naming no plain folder must not move the user's roots elsewhere.
        QTest::newRow("dot login") << QVariant(".") << false << ""
                                   << "" << common;
        QTest::newRow("escaping login") << QVariant("../Evil") << false << ""
                                        << "" << common;
        QTest::newRow("nested login") << QVariant("a/b") << true << ""
                                      << "GamepadProfiles" << common;
    }
    void roots()
    {
        QFETCH(QVariant, login);
        QFETCH(bool, shared);
        QFETCH(QString, user);
        QFETCH(QString, writable);
        QFETCH(QStringList, candidates);
        setHost(login, shared);

        QCOMPARE(canEditSharedGamepads(), shared);
        QCOMPARE(userProfilesRoot(), inConfig(user));
        QCOMPARE(writableProfilesRoot(), inConfig(writable));
        QStringList expected;
        for (const QString &tail : candidates)
            expected << inConfig(tail);
        QCOMPARE(candidateProfileRoots(), expected);
    }
    void explicitLogin()
    {
        setHost(" Carol ");
        QCOMPARE(userProfilesRoot(QString()), inConfig("carol/GamepadProfiles"));
        QCOMPARE(userProfilesRoot(" ALICE "), inConfig("alice/GamepadProfiles"));
        QCOMPARE(legacyUserRoot("Alice"), inConfig("alice/Gamepads"));
        QCOMPARE(userProfilesRoot(""), QString());
        QCOMPARE(legacyUserRoot(""), QString());
    }
    void kindForFolder_data()
    {
        QTest::addColumn<QString>("tail");
        QTest::addColumn<Kind>("kind");
        QTest::newRow("shared root, other case") << "gamepadprofiles" << Kind::Shared;
        QTest::newRow("shared, other case") << "GAMEPADPROFILES/p1" << Kind::Shared;
        QTest::newRow("legacy shared") << "Gamepads/p1/" << Kind::Shared;
        QTest::newRow("user, other case") << "BOB/gamepadprofiles/p1" << Kind::User;
        QTest::newRow("legacy user") << "bob/Gamepads/p1" << Kind::User;
        QTest::newRow("name prefix only") << "GamepadProfilesX/p1" << Kind::User;
    }
    void kindForFolder()
    {
        QFETCH(QString, tail);
        QFETCH(Kind, kind);
        setHost("bob");
        QCOMPARE(profileKindForFolder(inConfig(tail)), kind);
    }
    void readProfileInfo_data()
    {
        QTest::addColumn<QByteArray>("meta"); // null: no "meta.json" at all
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QStringList>("devices"); // empty: the entry must be null
        QTest::addColumn<QString>("image");
        QTest::addColumn<QString>("config");

        const QStringList both = {"pic.jpg", "configActionGamepad.json"};
        const QStringList none;
        QTest::newRow("good") << kMeta << both << QStringList{"A", "B"} << "pic.jpg"
                              << "configActionGamepad.json";
        QTest::newRow("files missing") << kMeta << none << QStringList{"A", "B"} << ""
                                       << "";
        QTest::newRow("deviceName alone")
            << QByteArray(kMeta).replace(R"("deviceNames":["A","B"],"image":" pic.jpg ")",
                                         R"("deviceName":"Solo","config":"m.json")")
            << QStringList{"image.png", "m.json"} << QStringList{"Solo"} << "image.png"
            << "m.json";
        QTest::newRow("wrong type")
            << QByteArray(R"({"type":"Other","name":"x"})") << both << none << ""
            << "";
        QTest::newRow("not an object") << QByteArray("[1]") << both << none << ""
                                       << "";
        QTest::newRow("empty file") << QByteArray("") << both << none << ""
                                    << "";
        QTest::newRow("no file") << QByteArray() << both << none << ""
                                 << "";
    }
    void readProfileInfo()
    {
        QFETCH(QByteArray, meta);
        QFETCH(QStringList, files);
        QFETCH(QStringList, devices);
        QFETCH(QString, image);
        QFETCH(QString, config);

        const QString folder = inConfig("GamepadProfiles/p1");
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(meta.isNull() || writeBytes(folder + "/meta.json", meta));
        for (const QString &file : files)
            QVERIFY(writeBytes(folder + "/" + file, "x"));

        const GamepadProfileInfo info = ::readProfileInfo(folder + "/./");
        QCOMPARE(info.isNull(), devices.isEmpty());
        QCOMPARE(info.folder, devices.isEmpty() ? QString() : folder);
        QCOMPARE(info.deviceNames, devices);
        QCOMPARE(info.imagePath, image.isEmpty() ? QString() : folder + "/" + image);
        QCOMPARE(info.configPath, config.isEmpty() ? QString() : folder + "/" + config);
        if (!info.isNull()) {
            QCOMPARE(info.name, QString("Arcade"));
            QCOMPARE(info.kind, Kind::Shared);
        }
    }
    void copyErrors_data()
    {
        QTest::addColumn<QString>("login");
        QTest::addColumn<QString>("folder");  // "@": a real profile
        QTest::addColumn<QString>("blocker"); // a regular file put in the way, below the root
        QTest::addColumn<QString>("message"); // %1: the configuration root

        const QString copyFailed = "Impossible de copier le profil vers %1/";
        QTest::newRow("no folder") << "bob"
                                   << ""
                                   << ""
                                   << "Profil introuvable.";
        QTest::newRow("missing folder") << "bob"
                                        << "/no/such/dir"
                                        << ""
                                        << "Profil introuvable.";
        QTest::newRow("no login")
            << ""
            << "@"
            << ""
            << "Aucun dossier de configuration disponible pour cet utilisateur.";
        QTest::newRow("root blocked") << "bob"
                                      << "@"
                                      << "bob"
                                      << "Impossible de preparer le dossier %1/bob/GamepadProfiles";
        QTest::newRow("no identifier") << "bob"
                                       << "/"
                                       << ""
                                       << "Identifiant de profil invalide.";
        QTest::newRow("target blocked")
            << "bob"
            << "@"
            << "bob/GamepadProfiles/prof-1" << copyFailed + "bob/GamepadProfiles/prof-1";
        const QString rootName = QFileInfo(configurationRoot()).fileName();
        QTest::newRow("into its own subtree")
            << "bob" << configurationRoot() << "" << copyFailed + "bob/GamepadProfiles/" + rootName;
    }
    void copyErrors()
    {
        QFETCH(QString, login);
        QFETCH(QString, folder);
        QFETCH(QString, blocker);
        QFETCH(QString, message);
        setHost(login);

        QTemporaryDir source;
        QVERIFY(writeBytes(source.filePath("prof-1/meta.json"), kMeta));
        QVERIFY(QDir().mkpath(configurationRoot()));
        QVERIFY(blocker.isEmpty() || writeBytes(inConfig(blocker), "file"));

        GamepadProfileInfo info;
        info.folder = folder == "@" ? source.filePath("prof-1") : folder;
        QString error;
        QCOMPARE(copyProfileToRoot(info, Kind::User, &error), QString());
        QCOMPARE(error, message.contains("%1") ? message.arg(configurationRoot()) : message);
    }
    void copyRecursiveAndOverwrite()
    {
        setHost("Bob");
        QTemporaryDir source;
        QVERIFY(writeBytes(source.filePath("prof-1/meta.json"), kMeta));
        QVERIFY(writeBytes(source.filePath("prof-1/sub/deeper/b.txt"), "deep"));
        const QString target = inConfig("bob/GamepadProfiles/prof-1");
        QVERIFY(writeBytes(target + "/meta.json", "old"));
        QVERIFY(writeBytes(target + "/keep.txt", "kept"));

        GamepadProfileInfo info;
        info.folder = source.filePath("prof-1");
        QString error;
        QCOMPARE(copyProfileToRoot(info, Kind::User, &error), target);
        QVERIFY(error.isEmpty());
        QCOMPARE(readBytes(target + "/meta.json"), kMeta);
        QCOMPARE(readBytes(target + "/sub/deeper/b.txt"), QByteArray("deep"));
        QCOMPARE(readBytes(target + "/keep.txt"), QByteArray("kept"));
        QCOMPARE(QDir(target).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList({"keep.txt", "meta.json", "sub"}));

        // Onto itself: the same folder comes back and no file is rewritten.
        const QDateTime old(QDate(2001, 2, 3), QTime(4, 5, 6), Qt::UTC);
        QFile meta(target + "/meta.json");
        QVERIFY(meta.open(QIODevice::ReadWrite));
        QVERIFY(meta.setFileTime(old, QFileDevice::FileModificationTime));
        meta.close();
        info.folder = target + "/";
        QCOMPARE(copyProfileToRoot(info, Kind::User, nullptr), target);
        QCOMPARE(QFileInfo(target + "/meta.json").lastModified().toUTC(), old);

        QCOMPARE(copyProfileToRoot(info, Kind::Shared, nullptr),
                 inConfig("GamepadProfiles/prof-1"));
        QCOMPARE(readBytes(inConfig("GamepadProfiles/prof-1/sub/deeper/b.txt")),
                 QByteArray("deep"));
    }

private:
    QTemporaryDir m_home;
};

QTEST_GUILESS_MAIN(TestProfileStore)
#include "tst_profilestore.moc"
