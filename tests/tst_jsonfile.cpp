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

const QJsonObject kSample{{"type", "Sample"}, {"version", 1}, {"list", QJsonArray{1, 2, 3}}};

} // namespace

class tst_JsonFile : public QObject
{
    Q_OBJECT
private slots:
    void init() { m_dir.reset(new QTemporaryDir); }

    void writesWholeFile_data()
    {
        QTest::addColumn<bool>("indented");
        QTest::addColumn<bool>("linker");
        QTest::addColumn<QByteArray>("old"); // null: no previous file
        const QByteArray longer(300, 'x');   // a replacement that is not truncated shows its tail
        QTest::newRow("indented, new file") << true << false << QByteArray();
        QTest::newRow("compact, replacing") << false << false << longer;
        QTest::newRow("linker, replacing") << true << true << longer;
    }

    void writesWholeFile()
    {
        QFETCH(bool, indented);
        QFETCH(bool, linker);
        QFETCH(QByteArray, old);
        if (!old.isNull())
            writeRaw(path("a.json"), old);
        QVERIFY(linker ? writeLinkerJsonFileAtomic(path("a.json"), kSample, nullptr)
                       : writeJsonFileAtomic(path("a.json"), kSample, nullptr, indented));
        const auto format = indented ? QJsonDocument::Indented : QJsonDocument::Compact;
        QCOMPARE(readAll(path("a.json")), QJsonDocument(kSample).toJson(format));
        QCOMPARE(entries(), QStringList{"a.json"});
        QJsonObject back;
        QVERIFY(readJsonObjectFile(path("a.json"), &back, nullptr) && back == kSample);
    }

    void failedWriteLeavesNoTrace_data()
    {
        QTest::addColumn<QString>("target");
        QTest::addColumn<bool>("tooBig"); // fails in the middle of the write
        QTest::addColumn<bool>("linker");
        QTest::addColumn<QString>("expected");
        const QString cannotWrite = QStringLiteral("Impossible d’écrire %1");
        QTest::newRow("parent is a file") << "plain/a.json" << false << false << cannotWrite;
        QTest::newRow("parent is a file, linker")
            << "plain/a.json" << false << true << QStringLiteral("Cannot write %1");
        QTest::newRow("directory in the way") << "taken" << false << false << cannotWrite;
        QTest::newRow("disk full")
            << "plain" << true << false << QStringLiteral("Écriture incomplète dans %1");
    }

    void failedWriteLeavesNoTrace()
    {
        QFETCH(QString, target);
        QFETCH(bool, tooBig);
        QFETCH(bool, linker);
        QFETCH(QString, expected);
        const QByteArray old = "{\"previous\": \"profile\"}\n";
        writeRaw(path("plain"), old);
        QVERIFY(QDir(m_dir->path()).mkdir("taken"));
        // A lowered file size limit makes a large write fail for real (EFBIG), as on a full disk.
        rlimit saved{};
        getrlimit(RLIMIT_FSIZE, &saved);
        const rlimit limit{tooBig ? 4096 : saved.rlim_cur, saved.rlim_max};
        const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &limit);
        QString error;
        const bool ok = tooBig ? writeJsonFileAtomic(path(target), QByteArray(1 << 20, 'x'), &error)
                        : linker ? writeLinkerJsonFileAtomic(path(target), kSample, &error)
                                 : writeJsonFileAtomic(path(target), kSample, &error);
        setrlimit(RLIMIT_FSIZE, &saved);
        std::signal(SIGXFSZ, oldHandler);
        QVERIFY(!ok);
        QCOMPARE(error, expected.arg(path(target)));
        QCOMPARE(readAll(path("plain")), old);
        QCOMPARE(entries(), QStringList({"plain", "taken"}));
        QVERIFY(QFileInfo(path("taken")).isDir());
    }

    void readerReportsProblems_data()
    {
        QTest::addColumn<QByteArray>("content"); // null: no file at all
        QTest::addColumn<bool>("linker");
        QTest::addColumn<QString>("expectedStart"); // "(" at the end: the parser's reason follows
        const QString invalid = "JSON invalide dans %1 (";
        QTest::newRow("missing") << QByteArray() << false << QString("Impossible d’ouvrir %1");
        QTest::newRow("missing, linker") << QByteArray() << true << QString("Cannot open %1");
        QTest::newRow("truncated") << QByteArray("{\"a\": ") << false << invalid;
        QTest::newRow("garbage, linker")
            << QByteArray("nope") << true << QString("Invalid JSON in %1 (");
        QTest::newRow("array") << QByteArray("[1, 2]") << false
                               << invalid + "le document n’est pas un objet)";
    }

    void readerReportsProblems()
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

private:
    QString path(const QString &name) const { return m_dir->filePath(name); }
    // Whatever happens, no temporary file may be left beside the target.
    QStringList entries() const
    {
        return QDir(m_dir->path())
            .entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
    }

    QScopedPointer<QTemporaryDir> m_dir;
};

QTEST_GUILESS_MAIN(tst_JsonFile)
#include "tst_jsonfile.moc"
