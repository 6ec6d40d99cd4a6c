#include "jsonfile.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <sys/resource.h>

namespace {

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeRaw(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

QStringList entriesOf(const QString &dir)
{
    return QDir(dir).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
}

// Lowers the file size limit so that a large write fails for real (EFBIG), as on a full disk.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        getrlimit(RLIMIT_FSIZE, &m_saved);
        m_oldHandler = std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit = m_saved;
        limit.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &m_saved);
        std::signal(SIGXFSZ, m_oldHandler);
    }

private:
    rlimit m_saved{};
    void (*m_oldHandler)(int) = nullptr;
};

const QJsonObject kSample{{"type", "Sample"}, {"version", 1}, {"list", QJsonArray{1, 2, 3}}};

} // namespace

class tst_JsonFile : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void writesIndentedOrCompact_data();
    void writesIndentedOrCompact();
    void replacesExistingFile();
    void writesArraysAndRawBytes();
    void failsWhenParentIsAFile_data();
    void failsWhenParentIsAFile();
    void failedWriteKeepsOldFileIntact_data();
    void failedWriteKeepsOldFileIntact();
    void failsToReplaceADirectory();
    void readerReportsProblems_data();
    void readerReportsProblems();
    void readerAcceptsObject();

private:
    QScopedPointer<QTemporaryDir> m_dir;
    QString path(const QString &name) const { return m_dir->filePath(name); }
};

void tst_JsonFile::init()
{
    m_dir.reset(new QTemporaryDir);
    QVERIFY(m_dir->isValid());
}

void tst_JsonFile::writesIndentedOrCompact_data()
{
    QTest::addColumn<bool>("indented");
    QTest::newRow("indented") << true;
    QTest::newRow("compact") << false;
}

void tst_JsonFile::writesIndentedOrCompact()
{
    QFETCH(bool, indented);
    QString error = "untouched";
    QVERIFY(writeJsonFileAtomic(path("a.json"), kSample, &error, indented));
    QCOMPARE(error, QStringLiteral("untouched"));
    const auto format = indented ? QJsonDocument::Indented : QJsonDocument::Compact;
    QCOMPARE(readAll(path("a.json")), QJsonDocument(kSample).toJson(format));
    QCOMPARE(entriesOf(m_dir->path()), QStringList{"a.json"});
}

void tst_JsonFile::replacesExistingFile()
{
    writeRaw(path("a.json"), "old content that is longer than the new one......................");
    QVERIFY(writeJsonFileAtomic(path("a.json"), QJsonObject{{"k", 1}}, nullptr));
    QCOMPARE(QJsonDocument::fromJson(readAll(path("a.json"))).object(), QJsonObject({{"k", 1}}));
    QVERIFY(writeLinkerJsonFileAtomic(path("a.json"), kSample, nullptr));
    QCOMPARE(readAll(path("a.json")), QJsonDocument(kSample).toJson(QJsonDocument::Indented));
    QCOMPARE(entriesOf(m_dir->path()), QStringList{"a.json"});
}

void tst_JsonFile::writesArraysAndRawBytes()
{
    const QJsonArray array{1, "two", QJsonObject{{"three", 3}}};
    QVERIFY(writeJsonFileAtomic(path("array.json"), array, nullptr, false));
    QCOMPARE(readAll(path("array.json")), QJsonDocument(array).toJson(QJsonDocument::Compact));
    QVERIFY(writeJsonFileAtomic(path("raw.json"), QByteArray("{\"raw\": true}\n"), nullptr));
    QCOMPARE(readAll(path("raw.json")), QByteArray("{\"raw\": true}\n"));
}

void tst_JsonFile::failsWhenParentIsAFile_data()
{
    QTest::addColumn<bool>("linker");
    QTest::addColumn<QString>("expected");
    QTest::newRow("editor") << false << QStringLiteral("Impossible d’écrire %1");
    QTest::newRow("linker") << true << QStringLiteral("Cannot write %1");
}

void tst_JsonFile::failsWhenParentIsAFile()
{
    QFETCH(bool, linker);
    QFETCH(QString, expected);
    writeRaw(path("plain"), "a file, not a folder");
    const QString target = path("plain/a.json");
    QString error;
    const bool ok = linker ? writeLinkerJsonFileAtomic(target, kSample, &error)
                           : writeJsonFileAtomic(target, kSample, &error);
    QVERIFY(!ok);
    QCOMPARE(error, expected.arg(target));
    QCOMPARE(readAll(path("plain")), QByteArray("a file, not a folder"));
    QCOMPARE(entriesOf(m_dir->path()), QStringList{"plain"});
}

void tst_JsonFile::failedWriteKeepsOldFileIntact_data()
{
    QTest::addColumn<bool>("linker");
    QTest::addColumn<QString>("expected");
    QTest::newRow("editor") << false << QStringLiteral("Écriture incomplète dans %1");
    QTest::newRow("linker") << true << QStringLiteral("Write failed for %1");
}

void tst_JsonFile::failedWriteKeepsOldFileIntact()
{
    QFETCH(bool, linker);
    QFETCH(QString, expected);
    const QByteArray old = "{\"previous\": \"profile\"}\n";
    writeRaw(path("meta.json"), old);
    const QByteArray big(1 << 20, 'x');
    QString error;
    bool ok = true;
    {
        FileSizeLimit limit(4096);
        ok = writeJsonFileAtomic(path("meta.json"), big, &error,
                                 linker ? linkerJsonMessages() : editorJsonMessages());
    }
    QVERIFY(!ok);
    QCOMPARE(error, expected.arg(path("meta.json")));
    QCOMPARE(readAll(path("meta.json")), old);
    QCOMPARE(entriesOf(m_dir->path()), QStringList{"meta.json"});
}

void tst_JsonFile::failsToReplaceADirectory()
{
    QVERIFY(QDir(m_dir->path()).mkdir("taken"));
    QString error;
    QVERIFY(!writeJsonFileAtomic(path("taken"), kSample, &error));
    QVERIFY2(error.startsWith(QStringLiteral("Impossible d’écrire %1").arg(path("taken"))) ||
                 error.startsWith(
                     QStringLiteral("Impossible de valider l’écriture de %1 (").arg(path("taken"))),
             qPrintable(error));
    QVERIFY(QFileInfo(path("taken")).isDir());
    QCOMPARE(entriesOf(m_dir->path()), QStringList{"taken"});
}

void tst_JsonFile::readerReportsProblems_data()
{
    QTest::addColumn<QByteArray>("content"); // null: no file at all
    QTest::addColumn<bool>("linker");
    QTest::addColumn<QString>("expectedStart");
    const QString open = QStringLiteral("Impossible d’ouvrir %1");
    const QString invalid = QStringLiteral("JSON invalide dans %1 (");
    QTest::newRow("missing") << QByteArray() << false << open;
    QTest::newRow("missing linker") << QByteArray() << true << QStringLiteral("Cannot open %1");
    QTest::newRow("empty file") << QByteArray("") << false << invalid;
    QTest::newRow("garbage") << QByteArray("{\"a\": ") << false << invalid;
    QTest::newRow("garbage linker")
        << QByteArray("nope") << true << QStringLiteral("Invalid JSON in %1 (");
    QTest::newRow("array") << QByteArray("[1, 2]") << false << invalid;
    QTest::newRow("binary") << QByteArray("\x00\xff\xfe", 3) << false << invalid;
}

void tst_JsonFile::readerReportsProblems()
{
    QFETCH(QByteArray, content);
    QFETCH(bool, linker);
    QFETCH(QString, expectedStart);
    if (!content.isNull())
        writeRaw(path("doc.json"), content);
    QJsonObject out{{"kept", true}};
    QString error;
    QVERIFY(!readJsonObjectFile(path("doc.json"), &out, &error,
                                linker ? linkerJsonMessages() : editorJsonMessages()));
    const QString start = expectedStart.arg(path("doc.json"));
    QVERIFY2(error.startsWith(start), qPrintable(error));
    if (start.endsWith('('))
        QVERIFY2(error.endsWith(')') && error.size() > start.size() + 1, qPrintable(error));
    QCOMPARE(out, QJsonObject({{"kept", true}}));
}

void tst_JsonFile::readerAcceptsObject()
{
    QVERIFY(writeJsonFileAtomic(path("doc.json"), kSample, nullptr));
    QJsonObject out;
    QString error;
    QVERIFY(readJsonObjectFile(path("doc.json"), &out, &error));
    QCOMPARE(out, kSample);
    QVERIFY(error.isEmpty());
    QJsonDocument document;
    QVERIFY(readJsonFile(path("doc.json"), &document, nullptr));
    QCOMPARE(document.object(), kSample);
}

QTEST_GUILESS_MAIN(tst_JsonFile)
#include "tst_jsonfile.moc"
