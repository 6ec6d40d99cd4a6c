#include "profilestore.h"

#include <QDir>
#include <QStandardPaths>
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

const QByteArray kMeta = R"({"type":"GamepadDefinderMeta","name":"  Arcade  ",
    "id":"8a1e4c2e-3b7d-4a60-9d5c-0f2b6a7c1d11","deviceNames":["A","B"],"image":" pic.jpg "})";

// A profile folder outside the roots, with a file two levels down.
QString makeProfile()
{
    const QString folder = inConfig("elsewhere/prof-1");
    writeBytes(folder + "/sub/deep/b.txt", "b");
    return writeBytes(folder + "/meta.json", kMeta) ? folder : QString();
}

} // namespace

class TestProfileStore : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void cleanup()
    {
        setHost(QVariant());
        QVERIFY(configurationRoot().contains("/.qttest/"));
        QDir(configurationRoot()).removeRecursively();
    }

    void roots_data()
    {
        QTest::addColumn<QVariant>("login");
        QTest::addColumn<bool>("shared");
        QTest::addColumn<QString>("writable");
        QTest::addColumn<QStringList>("candidates");
        const QStringList common = {"GamepadProfiles", "Gamepads"};
        const QStringList bob = {"bob/GamepadProfiles", "GamepadProfiles", "bob/Gamepads",
                                 "Gamepads"};
        QTest::newRow("blank login, right") << QVariant(" ") << true << "GamepadProfiles" << common;
        QTest::newRow("login") << QVariant("bob") << false << "bob/GamepadProfiles" << bob;
        QTest::newRow("login, right") << QVariant(" BoB\t") << true << "GamepadProfiles" << bob;
        QTest::newRow("escaping login") << QVariant("../Evil") << false << "" << common;
    }

    void roots()
    {
        QFETCH(QVariant, login);
        QFETCH(bool, shared);
        QFETCH(QString, writable);
        QFETCH(QStringList, candidates);
        setHost(login, shared);
        QCOMPARE(writableProfilesRoot(), inConfig(writable));
        QCOMPARE(candidateProfileRoots().replaceInStrings(configurationRoot() + "/", ""),
                 candidates);
    }

    // This login puts the user's roots below the legacy shared root: the user's roots win.
    void kindIgnoresCase()
    {
        setHost("Gamepads");
        QCOMPARE(profileKindForFolder(inConfig("GAMEPADPROFILES/p1")), Kind::Shared);
        QCOMPARE(profileKindForFolder(inConfig("gamepads/p1/")), Kind::Shared);
        QCOMPARE(profileKindForFolder(inConfig("GAMEPADS/gamepadprofiles/p1")), Kind::User);
        QCOMPARE(profileKindForFolder(inConfig("GamepadProfilesX/p1")), Kind::User);
    }

    void readProfileInfo()
    {
        const QString folder = inConfig("GamepadProfiles/p1");
        QVERIFY(writeBytes(folder + "/meta.json", kMeta));
        GamepadProfileInfo info = ::readProfileInfo(folder + "/./");
        QCOMPARE(info.folder, folder);
        QCOMPARE(info.name, QString("Arcade"));
        QCOMPARE(info.deviceNames, (QStringList{"A", "B"}));
        QVERIFY(info.imagePath.isEmpty() && info.configPath.isEmpty());
        QVERIFY(writeBytes(folder + "/pic.jpg", "x") &&
                writeBytes(folder + "/configActionGamepad.json", "x"));
        info = ::readProfileInfo(folder);
        QCOMPARE(info.imagePath, folder + "/pic.jpg");
        QCOMPARE(info.configPath, folder + "/configActionGamepad.json");

        QVERIFY(writeBytes(folder + "/meta.json",
                           R"({"type":"GamepadDefinderMeta","deviceName":"S"})"));
        QCOMPARE(::readProfileInfo(folder).deviceNames, QStringList{"S"});
        QVERIFY(writeBytes(folder + "/meta.json", R"({"type":"Other","name":"x"})") &&
                ::readProfileInfo(folder).isNull());
    }

    void copyErrors_data()
    {
        QTest::addColumn<QString>("login");
        QTest::addColumn<QString>("folder");  // "@": a real profile outside the roots
        QTest::addColumn<QString>("blocker"); // a regular file put in the way, below the root
        QTest::addColumn<QString>("message"); // %1: the configuration root
        // clang-format off
        for (const QStringList &row : {
                 QStringList{"bob", "/no/such/dir", "", "Profil introuvable."},
                 {"", "@", "", "Aucun dossier de configuration disponible pour cet utilisateur."},
                 {"bob", "@", "bob", "Impossible de preparer le dossier %1/bob/GamepadProfiles"},
                 {"bob", "/", "", "Identifiant de profil invalide."},
                 {"bob", "@", "bob/GamepadProfiles/prof-1",
                  "Impossible de copier le profil vers %1/bob/GamepadProfiles/prof-1"}})
            QTest::addRow("%s", qPrintable(row[3].left(40))) << row[0] << row[1] << row[2] << row[3];
        // clang-format on
    }

    void copyErrors()
    {
        QFETCH(QString, login);
        QFETCH(QString, folder);
        QFETCH(QString, blocker);
        QFETCH(QString, message);
        setHost(login);
        const QString profile = makeProfile();
        QVERIFY(blocker.isEmpty() || writeBytes(inConfig(blocker), "file"));
        GamepadProfileInfo info;
        info.folder = folder == "@" ? profile : folder;
        QString error;
        QCOMPARE(copyProfileToRoot(info, Kind::User, &error), QString());
        QCOMPARE(error, message.replace("%1", configurationRoot()));
    }

    void copyRecursiveAndOntoItself()
    {
        setHost("Bob");
        const QString target = inConfig("bob/GamepadProfiles/prof-1");
        QVERIFY(writeBytes(target + "/meta.json", "old"));
        GamepadProfileInfo info;
        info.folder = makeProfile();
        QCOMPARE(copyProfileToRoot(info, Kind::User, nullptr), target);
        QCOMPARE(::readProfileInfo(target).name, QString("Arcade"));
        QVERIFY(QFileInfo::exists(target + "/sub/deep/b.txt"));

        info.folder = target + "/";
        QCOMPARE(copyProfileToRoot(info, Kind::User, nullptr), target);
        QCOMPARE(QDir(inConfig("bob/GamepadProfiles")).entryList(QDir::Dirs | QDir::NoDotAndDotDot),
                 QStringList{"prof-1"});
    }
};

QTEST_GUILESS_MAIN(TestProfileStore)
#include "tst_profilestore.moc"
