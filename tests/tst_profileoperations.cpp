#include "jsonfile.h"
#include "overlaybindings.h"
#include "profileoperations.h"

#include <QImageReader>
#include <QtTest>

#include <csignal>
#include <functional>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

enum Fault { NoLogin, ReadOnlyFolder, DiskFull };

const QString kLong(6000, QLatin1Char('x')); // outgrows the disk-full limit of 4096 bytes
const QJsonObject kOverlay{{"type", "InteractiveOverlay"}, {"version", 4}};

void setHost(const QString &login, bool sharedRight = false)
{
    QCoreApplication::instance()->setProperty("kx.currentLogin", login);
    QCoreApplication::instance()->setProperty("kx.canEditSharedGamepads", sharedRight);
}

bool writeBytes(const QString &path, const QByteArray &bytes)
{
    return QDir().mkpath(QFileInfo(path).absolutePath()) && writeFileAtomic(path, bytes, nullptr);
}

QByteArray readBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<none>");
}

QJsonObject readJson(const QString &path)
{
    return QJsonDocument::fromJson(readBytes(path)).object();
}

QByteArray encoded(const char *format)
{
    QImage image(8, 6, QImage::Format_RGB32);
    image.fill(Qt::red);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    return buffer.open(QIODevice::WriteOnly) && image.save(&buffer, format) ? bytes : QByteArray();
}

// A profile "Pad" whose "meta.json" is too large for the disk-full fault; its override file
// "calib.json" is not written.
GamepadProfileMeta seed(const QString &root)
{
    GamepadProfileMeta meta;
    meta.id = QUuid::createUuid();
    meta.folder = root + '/' + meta.id.toString(QUuid::WithoutBraces);
    meta.name = "Pad";
    meta.deviceNames = QStringList{"Pad X"};
    meta.otherKeys = {{"note", kLong}};
    meta.calibrationMode = "override";
    meta.calibrationOverrideFile = "calib.json";
    const bool written = writeBytes(meta.folder + "/image.png", encoded("png")) &&
                         writeBytes(meta.folder + "/overlay.json", "{}") &&
                         writeBytes(meta.folder + "/configActionGamepad.json", "{\"old\": 1}") &&
                         writeProfileMeta(&meta, nullptr) &&
                         readProfileMeta(meta.folder, &meta, nullptr);
    return written ? meta : GamepadProfileMeta();
}

// Every file of a folder with its bytes; temporaries left behind show up too.
QMap<QString, QByteArray> snapshot(const QString &folder)
{
    QMap<QString, QByteArray> files;
    for (const QString &name : QDir(folder).entryList(QDir::Files | QDir::Hidden))
        files.insert(name, readBytes(folder + '/' + name));
    return files;
}

// Runs the operation under the fault and lifts the fault afterwards. Root writes anywhere, so a
// read-only folder is faced as an unprivileged user; the saved identity brings root back.
bool runUnder(Fault fault, const std::function<bool()> &operation)
{
    rlimit saved;
    getrlimit(RLIMIT_FSIZE, &saved);
    const rlimit small{4096, saved.rlim_max};
    const bool limited = fault == DiskFull && setrlimit(RLIMIT_FSIZE, &small) == 0;
    const bool asNobody = fault == ReadOnlyFolder && geteuid() == 0 && seteuid(65534) == 0;
    const bool result = operation();
    if ((asNobody && seteuid(0) != 0) || (limited && setrlimit(RLIMIT_FSIZE, &saved) != 0))
        qFatal("cannot lift the fault");
    return result;
}

} // namespace

class TestProfileOperations : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(m_home.isValid());
        // The unprivileged user must reach the folders it is refused to write in.
        QVERIFY(chmod(QFile::encodeName(m_home.path()).constData(), 0755) == 0);
        umask(022);
        qputenv("HOME", QFile::encodeName(m_home.path()));
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_home.filePath(".local/share")));
        QStandardPaths::setTestModeEnabled(true);
        std::signal(SIGXFSZ, SIG_IGN); // a write beyond the file size limit fails instead
        QLoggingCategory::setFilterRules("kx.plugin.gamepad.ui.warning=false");
        QVERIFY(writeBytes(m_png, encoded("png")) && writeBytes(m_jpg, encoded("jpeg")));
        setHost("tester");
    }

    void cleanup()
    {
        setHost("tester");
        QVERIFY(configurationRoot().startsWith(m_home.path()));
        QVERIFY(QDir(configurationRoot()).removeRecursively());
        QVERIFY(QDir(m_home.filePath("outside")).removeRecursively());
    }

    // A picture without suffix is stored as PNG; a JPEG chosen later goes beside it.
    void create()
    {
        const NewProfileRequest request{" New ", m_png, " Pad X ", 0x45e, 0x28e, kOverlay};
        const QDateTime now(QDate(2024, 5, 6), QTime(7, 8, 9), Qt::UTC);
        GamepadProfileMeta created;
        QString title, error;
        QVERIFY2(createProfile(request, &created, &title, &error, now), qPrintable(error));
        QCOMPARE(title, QString("Création"));
        const QString folder = created.folder;
        QCOMPARE(folder, userProfilesRoot() + '/' + created.id.toString(QUuid::WithoutBraces));
        QCOMPARE(readJson(folder + "/overlay.json"), kOverlay);
        QJsonObject mapping, meta = readJson(folder + "/meta.json");
        for (const char *key : {"bridges", "onClose", "onStartup", "ref", "signals", "timers"})
            mapping.insert(key, QJsonArray());
        QCOMPARE(readJson(folder + "/configActionGamepad.json"), mapping);
        // clang-format off
        const QJsonObject expected{{"name", "New"}, {"image", "image.png"}, {"calibrationMode", "inherit"},
            {"createdAt", "2024-05-06T07:08:09Z"}, {"vendorId", "0x045e"}, {"productId", "0x028e"},
            {"deviceNames", QJsonArray{"Pad X"}}};
        // clang-format on
        for (const QString &key : expected.keys())
            QCOMPARE(meta[key], expected[key]);
        QVERIFY2(changeProfileImage(&created, m_jpg, &error), qPrintable(error));
        QCOMPARE(readJson(folder + "/meta.json")["image"].toString(), QString("image.jpg"));
        QCOMPARE(QImageReader::imageFormat(folder + "/image.jpg") +
                     QImageReader::imageFormat(folder + "/image.png"),
                 "jpegpng");
    }

    // The override goes with the copy; once its file is gone, a copy is left in "inherit".
    void duplicate()
    {
        const GamepadProfileMeta source = seed(userProfilesRoot());
        QVERIFY(writeBytes(source.folder + "/calib.json", "{\"c\": 1}"));
        for (const QString mode : {"override", "inherit"}) {
            GamepadProfileMeta copy;
            QString error;
            QVERIFY2(duplicateProfile(source, &copy, &error), qPrintable(error));
            QVERIFY(copy.name == "Pad (copie)" && copy.id != source.id);
            QCOMPARE(QFileInfo(copy.folder).absolutePath(), userProfilesRoot());
            QCOMPARE(copy.deviceNames, source.deviceNames);
            QCOMPARE(QImage(copy.imagePath()), QImage(source.imagePath()));
            for (const char *file : {"overlay.json", "configActionGamepad.json", "calib.json"})
                QCOMPARE(readBytes(copy.folder + '/' + file),
                         readBytes(source.folder + '/' + file));
            QCOMPARE(copy.calibrationMode, mode);
            QVERIFY(mode == "inherit" || QFile::remove(source.folder + "/calib.json"));
        }
    }

    // A shared profile; renaming one's own is the profile editor's test.
    void rename_data()
    {
        QTest::addColumn<QString>("newName");
        QTest::addColumn<bool>("right");
        QTest::newRow("blank") << " \t " << true;
        QTest::newRow("no right") << "Neo" << false; // copied to the user first
        QTest::newRow("right") << "  Neo " << true;
    }

    void rename()
    {
        QFETCH(QString, newName);
        QFETCH(bool, right);
        setHost("tester", right);
        GamepadProfileMeta entry = seed(sharedProfilesRoot());
        const QString folder = entry.folder, meta = folder + "/meta.json";
        const QByteArray before = readBytes(meta);
        const bool blank = newName.trimmed().isEmpty(), copied = !right;
        QString error = "stale";
        QCOMPARE(renameProfile(&entry, newName, &error), !blank);
        QCOMPARE(error, blank ? QString() : QString("stale"));
        QCOMPARE(readBytes(meta) == before, blank || copied);
        const QString local =
            copied ? userProfilesRoot() + '/' + entry.id.toString(QUuid::WithoutBraces) : folder;
        QCOMPARE(entry.folder, local);
        QCOMPARE(readJson(local + "/meta.json")["name"].toString(), QString(blank ? "Pad" : "Neo"));
    }

    // A user or shared profile removed with the right is the profile editor's own test.
    void deletion_data()
    {
        QTest::addColumn<QString>("where");
        QTest::addColumn<QString>("message"); // empty: removed; %1: the folder
        // clang-format off
        QTest::newRow("shared, no right") << "shared" << "Seul un admin peut supprimer un profil partage.";
        QTest::newRow("link to outside") << "link" << ""; // the link goes, not its target
        QTest::newRow("outside the roots") << "outside" << "Impossible de supprimer %1";
        // clang-format on
    }

    void deletion()
    {
        QFETCH(QString, where);
        QFETCH(QString, message);
        GamepadProfileMeta entry =
            seed(where == "shared" ? sharedProfilesRoot() : m_home.filePath("outside"));
        const QString target = entry.folder, link = userProfilesRoot() + "/link";
        const QMap<QString, QByteArray> files = snapshot(target);
        QVERIFY(where != "link" ||
                (QDir().mkpath(userProfilesRoot()) && QFile::link(target, link) &&
                 readProfileMeta(link, &entry, nullptr)));
        QCOMPARE(mayDeleteProfile(entry), where != "shared");
        QString error;
        QCOMPARE(deleteProfileFolder(entry, &error), message.isEmpty());
        QCOMPARE(error, message.contains("%1") ? message.arg(entry.folder) : message);
        QCOMPARE(QFileInfo(entry.folder).exists() || QFileInfo(entry.folder).isSymLink(),
                 !message.isEmpty());
        QCOMPARE(snapshot(target), files);
    }

    // A failing step leaves every file it did not write byte for byte.
    void failures_data()
    {
        QTest::addColumn<QString>("operation");
        QTest::addColumn<int>("fault");       // NoLogin: the profile lies in the shared root
        QTest::addColumn<QString>("changed"); // the files written before the failing step
        QTest::addColumn<QString>("pattern"); // wildcards; %1 the profile folder, %2 the user root
        const QString denied = " (Permission denied)";
        // clang-format off
        QTest::newRow("create, no login") << "create" << int(NoLogin) << ""
            << "Aucun dossier utilisateur n'est disponible pour ce profil.";
        QTest::newRow("create, read-only root") << "create" << int(ReadOnlyFolder) << ""
            << "Échec écriture image %2/*/image.png" + denied;
        QTest::newRow("duplicate, no login") << "duplicate" << int(NoLogin) << ""
            << "Aucun dossier utilisateur n'est disponible pour cette copie.";
        QTest::newRow("rename, no local root") << "rename" << int(NoLogin) << ""
            << "Impossible de preparer une configuration locale : Aucun dossier de configuration "
               "disponible pour cet utilisateur.";
        QTest::newRow("rename, read-only") << "rename" << int(ReadOnlyFolder) << ""
            << "Impossible d’écrire meta.json : Impossible d’écrire %1/meta.json" + denied;
        QTest::newRow("image, read-only") << "image" << int(ReadOnlyFolder) << ""
            << "Échec écriture image %1/image.jpg" + denied;
        QTest::newRow("save, read-only") << "save" << int(ReadOnlyFolder) << ""
            << "Échec sauvegarde config : Impossible d’écrire %1/overlay.json" + denied;
        QTest::newRow("save, mapping too large") << "save big" << int(DiskFull) << "overlay.json"
            << "Echec sauvegarde mapping.";
        QTest::newRow("save, meta too large") << "save" << int(DiskFull)
            << "overlay.json configActionGamepad.json"
            << "Échec sauvegarde meta : Écriture incomplète dans %1/meta.json (File too large)";
        // clang-format on
    }

    void failures()
    {
        QFETCH(QString, operation);
        QFETCH(int, fault);
        QFETCH(QString, changed);
        QFETCH(QString, pattern);
        const QString userRoot = userProfilesRoot();
        const GamepadProfileMeta profile = seed(fault == NoLogin ? sharedProfilesRoot() : userRoot);
        const QString root = QFileInfo(profile.folder).absolutePath();
        const QStringList folders = QDir(root).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
        const QMap<QString, QByteArray> before = snapshot(profile.folder);
        const QByteArray lock = QFile::encodeName(operation == "create" ? root : profile.folder);
        QVERIFY(fault != ReadOnlyFolder || chmod(lock.constData(), 0555) == 0);
        setHost(fault == NoLogin ? "" : "tester");
        QVector<OverlayNode> nodes{makeOverlayNode(ElementKind::Button, "b")};
        nodes[0].sources[0].source.stringKey = "but_0";
        nodes[0].sources[0].binding = quickMappingBinding(kLong);
        if (operation != "save big")
            nodes.clear();

        GamepadProfileMeta entry = profile;
        QString title, error;
        const bool done = runUnder(Fault(fault), [&] {
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

        QVERIFY(!done);
        const QString expected = pattern.replace("%1", profile.folder).replace("%2", userRoot);
        const auto wildcard = QRegularExpression::wildcardToRegularExpression(expected);
        QVERIFY2(QRegularExpression(wildcard).match(error).hasMatch(), qPrintable(error));
        QCOMPARE(QDir(root).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), folders);
        const QMap<QString, QByteArray> after = snapshot(profile.folder);
        QCOMPARE(after.keys(), before.keys());
        for (const QString &file : before.keys())
            QCOMPARE(after[file] != before[file], changed.split(' ').contains(file));
    }

    void writeImage_data()
    {
        QTest::addColumn<QByteArray>("source"); // an image format, "junk" or "none"
        QTest::addColumn<QString>("destination");
        QTest::addColumn<QByteArray>("expected"); // a format, "bytes" (copied as is) or "error"
        // clang-format off
        for (const QByteArrayList &row : {QByteArrayList{"png", "a.jpg", "jpeg"},
                 {"png", "a.JPEG", "jpeg"}, {"jpeg", "a.bmp", "bmp"}, {"bmp", "a.png", "png"},
                 {"png", "a.gif", "png"}, {"junk", "a.png", "bytes"}, {"none", "a.png", "error"}})
            QTest::addRow("%s to %s", row[0].data(), row[1].data())
                << row[0] << QString(row[1]) << row[2];
        // clang-format on
    }

    void writeImage()
    {
        QFETCH(QByteArray, source);
        QFETCH(QString, destination);
        QFETCH(QByteArray, expected);
        const QString from = m_home.filePath(source), to = m_home.filePath("out/" + destination);
        const QByteArray bytes = source == "junk" ? "\x89PNG not really" : encoded(source);
        QVERIFY(source == "none" || writeBytes(from, bytes));
        QVERIFY(QDir().mkpath(m_home.filePath("out")));
        QString error;
        QCOMPARE(writeImageFile(from, to, &error), expected != "error");
        const QString missing =
            "Impossible de copier l’image %1 vers %2 (No such file or directory)";
        QCOMPARE(error, expected == "error" ? missing.arg(from, to) : QString());
        if (expected != "error")
            QCOMPARE(expected == "bytes" ? readBytes(to) : QImageReader::imageFormat(to),
                     expected == "bytes" ? bytes : expected);
    }

private:
    QTemporaryDir m_home;
    const QString m_png = m_home.filePath("pic");
    const QString m_jpg = m_home.filePath("shot.JPG");
};

QTEST_GUILESS_MAIN(TestProfileOperations)
#include "tst_profileoperations.moc"
