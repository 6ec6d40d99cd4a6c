#include "deviceregistry.h"
#include "filetestsupport.h"
#include "mappingdocument.h"
#include "overlaydocument.h"

#include <QtTest>

// Every writer facing a full disk, a read-only folder, a linked or piped target and planted links.

enum Fault { FullOverOld, FullNoFile, FullSignal, ReadOnly, Linked, Piped, Planted };

const QString kLong(6000, QLatin1Char('x')); // every document outgrows the size limit
const QByteArray kOld = "{\"old\": true}\n";

// One writer, ready to write a document larger than kFaultFileSizeLimit to `folder`/`file`.
struct WriterCase
{
    QString folder, file;
    std::function<bool(QString *)> write;
};

static WriterCase writerCase(const QString &writer, const QString &base)
{
    const QString folder = base + "/profile", name = QFileInfo(base).fileName();
    const QString path = folder + "/a.json";
    const QJsonObject big{{"t", kLong}};
    GamepadProfileMeta meta;
    meta.folder = folder, meta.name = kLong;
    OverlayDocument overlay;
    overlay.nodes << makeOverlayNode(ElementKind::Button, kLong);
    GamepadProfileInfo source; // copyProfileToRoot: the copied picture is the document
    source.folder = base + "/source/" + name;
    WriterCase w{folder, "a.json", [=](QString *e) { return writeJsonFileAtomic(path, big, e); }};
    if (writer == "writeLinkerJsonFileAtomic")
        w.write = [=](QString *e) { return writeLinkerJsonFileAtomic(path, big, e); };
    if (writer == "saveCalibrationFile")
        w.write = [=](QString *e) { return saveCalibrationFile(path, {}, {kLong, 1, 2}, {}, e); };
    if (writer == "writeProfileMeta")
        w = {folder, "meta.json", [=](QString *e) mutable { return writeProfileMeta(&meta, e); }};
    if (writer == "writeOverlayFile")
        w.write = [=](QString *e) { return writeOverlayFile(folder, "a.json", overlay, e); };
    if (writer == "saveMappingDocument")
        w = {folder, kMappingFileName, [=](QString *e) {
                 return saveMappingDocument(folder, {}, {{"b", quickMappingBinding(kLong)}}, {}, e);
             }};
    if (writer == "writeDeviceRegistry")
        w = {QFileInfo(deviceRegistryPath(name)).absolutePath(), "gamepads.json", [=](QString *) {
                 return writeDeviceRegistry(name, {{"gp:0", big}});
             }};
    if (writer == "copyProfileToRoot" && writeBytes(source.folder + "/a.json", kLong.toUtf8()))
        w = {userProfilesRoot() + '/' + name, "a.json", [=](QString *e) {
                 return !copyProfileToRoot(source, GamepadProfileKind::User, e).isEmpty();
             }};
    return w;
}

class TestFileFaults : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(useTestHome(m_home));
        setHost("tester");
        QVERIFY(configurationRoot().startsWith(m_home.path()));
    }

    void faults_data()
    {
        QTest::addColumn<QString>("writer");
        QTest::addColumn<int>("fault");
        QTest::addColumn<QString>("reason"); // empty: the write succeeds
        const QStringList names{"disk full",        "disk full, no file", "disk full, SIGXFSZ",
                                "read-only folder", "linked target",      "pipe target",
                                "planted links"};
        const QString full = "File too large", denied = "Permission denied";
        const QStringList reasons{full, full, full, denied, "", "not a regular file", ""};
        for (const char *writer : {"writeJsonFileAtomic", "writeLinkerJsonFileAtomic",
                                   "saveCalibrationFile", "writeProfileMeta", "writeDeviceRegistry",
                                   "writeOverlayFile", "saveMappingDocument", "copyProfileToRoot"})
            for (int fault = FullOverOld; fault <= Planted; ++fault) {
                // A copy never writes through a link: the target folder may not be the user's.
                const bool copy = fault == Linked && QByteArray(writer) == "copyProfileToRoot";
                QTest::addRow("%s, %s", writer, qPrintable(names[fault]))
                    << QString(writer) << fault
                    << (copy ? "Too many levels of symbolic links" : reasons[fault]);
            }
    }

    void faults()
    {
        QFETCH(QString, writer);
        QFETCH(int, fault);
        QFETCH(QString, reason);
        const QString base = m_home.filePath(QString::number(m_row++));
        const WriterCase w = writerCase(writer, base);
        const QString target = w.folder + '/' + w.file, outside = base + "/outside.txt";
        QVERIFY(QDir().mkpath(w.folder) && writeBytes(outside, kOld));
        const QByteArray folder = QFile::encodeName(w.folder), file = QFile::encodeName(target);

        QStringList expected{w.file};
        if (fault == Linked) // a link relative to its folder, as a copied folder holds them
            QVERIFY(!symlink(QFile::encodeName(QDir(w.folder).relativeFilePath(outside)), file));
        else if (fault == Piped)
            QVERIFY(mkfifo(file, 0644) == 0);
        else if (fault != FullNoFile) // a file kept from other users, which a rewrite keeps so
            QVERIFY(writeBytes(target, kOld) && chmod(file, 0640) == 0);
        else
            expected.clear();
        if (fault == Planted)
            expected += {w.file + ".tmp", "." + w.file + ".tmp"};
        for (const QString &name : expected.mid(1))
            QVERIFY(QFile::link(outside, w.folder + '/' + name));
        QVERIFY(fault != ReadOnly || chmod(folder, 0555) == 0);

        // The fault the writer meets while it runs; the others are set up in its folder beforehand.
        const FileFault during = fault <= FullNoFile   ? FileFault::DiskFull
                                 : fault == FullSignal ? FileFault::DiskFullSignalNotIgnored
                                 : fault == ReadOnly   ? FileFault::ReadOnlyFolder
                                                       : FileFault::None;
        QString error;
        const bool ok = runUnder(during, [&] { return w.write(&error); });
        chmod(folder, 0755);

        QCOMPARE(ok, reason.isEmpty());
        if (!reason.isEmpty() && writer != "writeDeviceRegistry") // the registry reports no text
            QVERIFY2(error.contains(reason), qPrintable(error));
        // The JSON writers name the failing step: writing the bytes, or creating the file.
        const QMap<QString, QStringList> texts{
            {"writeJsonFileAtomic",
             {"Écriture incomplète dans %1 (%2)", "Impossible d’écrire %1 (%2)"}},
            {"writeLinkerJsonFileAtomic", {"Write failed for %1 (%2)", "Cannot write %1 (%2)"}}};
        if (texts.contains(writer) && !reason.isEmpty())
            QCOMPARE(error, texts[writer][fault <= FullSignal ? 0 : 1].arg(target, reason));
        // Through a link, the file it leads to is replaced and the link stays.
        QCOMPARE(readBytes(outside) == kOld, !ok || fault != Linked);
        QCOMPARE(QFileInfo(target).isSymLink(), fault == Linked);
        QCOMPARE(QFileInfo(target).isFile(), fault != FullNoFile && fault != Piped);
        if (fault == Planted)
            QVERIFY(QFileInfo(target).size() > qint64(kFaultFileSizeLimit));
        else if (fault != Linked && fault != Piped)
            QCOMPARE(readBytes(target), fault == FullNoFile ? "<none>" : kOld);
        struct stat written;
        if (fault == Planted && writer != "copyProfileToRoot")
            QCOMPARE(stat(file, &written) == 0 ? written.st_mode & 07777 : 0, 0640u);
        const auto all = QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot | QDir::System;
        QCOMPARE(QDir(w.folder).entryList(all), (expected.sort(), expected));
    }

    void readerMessages_data() // The reader's messages; "*" stands for the parser's reason.
    {
        QTest::addColumn<QByteArray>("content"); // empty: no file
        QTest::addColumn<QString>("expected");
        const QList<QByteArrayList> rows{
            {"missing", "", "Impossible d’ouvrir %1 (No such file or directory)"},
            {"folder", "<dir>", "Impossible d’ouvrir %1 (Is a directory)"},
            {"pipe", "<pipe>", "Impossible d’ouvrir %1 (Invalid argument)"},
            {"truncated", "{\"a\": ", "JSON invalide dans %1 (*)"},
            {"array", "[1]", "JSON invalide dans %1 (le document n’est pas un objet)"}};
        for (const QByteArrayList &row : rows)
            QTest::newRow(row[0]) << row[1] << QString(row[2]);
    }

    void readerMessages()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, expected);
        const QString path = m_home.filePath(QString::number(m_row++));
        if (content == "<dir>")
            QVERIFY(QDir().mkpath(path));
        else if (content == "<pipe>") // opened without waiting for a writer, then refused
            QVERIFY(mkfifo(QFile::encodeName(path).constData(), 0644) == 0);
        else
            QVERIFY(content.isEmpty() || writeBytes(path, content));
        QString error;
        QVERIFY(!readJsonObjectFile(path, nullptr, &error));
        const QString text = expected.arg(path);
        QVERIFY2(text.endsWith("(*)") ? error.startsWith(text.chopped(2)) && !error.endsWith("()")
                                      : error == text,
                 qPrintable(error));
    }

    void documentBeyondTheReaders() // A document the readers would refuse is never written.
    {
        const QString path = m_home.filePath("big.json");
        QString error;
        QVERIFY(!writeJsonFileAtomic(path, QByteArray(kMaxJsonFileBytes + 1, ' '), &error));
        QCOMPARE(error, "Impossible d’écrire " + path + " (File too large)");
        QVERIFY(!QFileInfo::exists(path));
        QByteArray held; // less than its size says (sysfs's way, or cut while read): what it holds
        const QString mtu = "/sys/class/net/lo/mtu";
        QVERIFY(!QFile::exists(mtu) || (readRegularFile(mtu, 8192, &held, nullptr) && held > ""));
        // Up to a size limit whose signal would end the process, a document that size is written.
        const QByteArray fits(kFaultFileSizeLimit, ' ');
        QVERIFY(runUnder(FileFault::DiskFullSignalNotIgnored,
                         [&] { return writeJsonFileAtomic(path, fits, &error); }));
    }

    void linkChains() // followed as far as the system would: 40 links, and no further
    {
        const QString end = m_home.filePath("end.json"), at = m_home.filePath("link%1");
        for (int i = 1; i <= 41; ++i) // link 1 leads to the file, link i to link i - 1
            QVERIFY(QFile::link(i == 1 ? end : at.arg(i - 1), at.arg(i)));
        QString error;
        QVERIFY(writeFileAtomic(at.arg(40), "[]", &error) && readBytes(end) == "[]");
        QVERIFY(!writeFileAtomic(at.arg(41), "{}", &error) && readBytes(end) == "[]");
        QCOMPARE(error, "Too many levels of symbolic links");
    }

    // A name below the folder, through its links too, gives the clean path; any other is refused.
    void containedFilePath()
    {
        const QString folder = m_home.filePath("contained");
        QVERIFY(QDir().mkpath(folder + "/real") && QFile::link(m_home.path(), folder + "/link") &&
                QFile::link(m_home.filePath("f"), folder + "/real/file"));
        for (const QString name : {"a.json", "link/a.json", "real/file", "./new/deep/a.json"})
            QCOMPARE(::containedFilePath(folder + "/", name), QDir::cleanPath(folder + '/' + name));
        for (const QString refused : {"", "./.", "/tmp/a.json", "real/../../a.json"})
            QVERIFY2(::containedFilePath(folder + "/", refused).isEmpty(), qPrintable(refused));
    }

private:
    QTemporaryDir m_home;
    int m_row = 0;
};

QTEST_GUILESS_MAIN(TestFileFaults)
#include "tst_filefaults.moc"
