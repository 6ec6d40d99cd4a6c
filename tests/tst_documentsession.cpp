#include "documentsession.h"
#include "scripteddialogseam.h"

#include <QtTest>

#include <unistd.h>

namespace {

bool writeBytes(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray readBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

// The bumps a file's modification time the way a rewrite a moment later would.
void touchLater(const QString &path)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.setFileTime(file.fileTime(QFileDevice::FileModificationTime).addSecs(5),
                             QFileDevice::FileModificationTime));
}

} // namespace

// A session over a folder with one document, whose saver writes what the "editor" holds.
struct Editor
{
    explicit Editor(const QString &folder, int delayMs = 250)
        : folder(folder), path(folder + "/doc.json"), session(delayMs, EditSession::Coalescing::RestartOnEdit)
    {
        session.setSubject("« Doc »");
        session.setSaver([this] {
            ++saves;
            if (!failWith.isEmpty())
                return DocumentSession::SaveResult{false, path, failWith};
            writeBytes(path, memory);
            return DocumentSession::SaveResult();
        });
        session.setReloader([this] {
            ++reloads;
            memory = readBytes(this->path);
            this->session.loaded(this->folder, {this->path});
        });
        QObject::connect(&session, &DocumentSession::failureAnnounced,
                         [this](const QString &m) { announced << m; });
    }
    void load() { memory = readBytes(path), session.loaded(folder, {path}); }
    void edit(const QByteArray &bytes) { memory = bytes, session.edited(); }

    QString folder;
    QString path;
    DocumentSession session;
    QByteArray memory;
    QString failWith;
    int saves = 0;
    int reloads = 0;
    QStringList announced;
};

class TestDocumentSession : public QObject
{
    Q_OBJECT

    QTemporaryDir m_root;
    QString m_folder;

    QStringList choiceTitles(const ScriptedDialogSeam &dialogs)
    {
        QStringList titles;
        for (const auto &prompt : dialogs.prompts())
            titles << prompt.title;
        return titles;
    }

private slots:
    void init()
    {
        m_folder = m_root.filePath("profile");
        QDir(m_folder).removeRecursively();
        QFile::remove(m_folder);
        QVERIFY(QDir().mkpath(m_folder));
        QVERIFY(writeBytes(m_folder + "/doc.json", "{\"v\": 1}"));
    }

    // --- stamps

    void fileChanges_data()
    {
        QTest::addColumn<QString>("change");
        QTest::addColumn<int>("expected");
        QTest::newRow("untouched") << "none" << int(FileChange::Same);
        QTest::newRow("touched, same bytes") << "touch" << int(FileChange::Same);
        QTest::newRow("same size, other bytes") << "rewrite" << int(FileChange::Changed);
        QTest::newRow("longer") << "append" << int(FileChange::Changed);
        QTest::newRow("deleted") << "delete" << int(FileChange::Changed);
        QTest::newRow("replaced by a folder") << "folder" << int(FileChange::Replaced);
        QTest::newRow("replaced by a link") << "link" << int(FileChange::Replaced);
    }

    void fileChanges()
    {
        QFETCH(QString, change);
        const QString path = m_folder + "/doc.json";
        const FileStamp known = stampFile(path);
        QVERIFY(known.exists && known.regular && known.digest.size() == 32);
        if (change == "touch") {
            touchLater(path);
        } else if (change == "rewrite") {
            QVERIFY(writeBytes(path, "{\"v\": 2}"));
            touchLater(path);
        } else if (change == "append")
            QVERIFY(writeBytes(path, "{\"v\": 1} "));
        else if (change == "delete")
            QVERIFY(QFile::remove(path));
        else if (change == "folder")
            QVERIFY(QFile::remove(path) && QDir().mkdir(path));
        else if (change == "link")
            QVERIFY(QFile::remove(path) && QFile::link(m_root.filePath("elsewhere"), path));
        if (QTest::currentTestFailed())
            return;
        QTEST(int(compareWithDisk(known, path)), "expected");
    }

    void fileThatAppears()
    {
        const QString path = m_folder + "/new.json";
        const FileStamp missing = stampFile(path);
        QVERIFY(!missing.exists);
        QCOMPARE(compareWithDisk(missing, path), FileChange::Same);
        QVERIFY(writeBytes(path, "{}"));
        QCOMPARE(compareWithDisk(missing, path), FileChange::Changed);
    }

    void folderIdentity_data()
    {
        QTest::addColumn<QString>("change");
        QTest::addColumn<bool>("stillThere");
        QTest::newRow("kept") << "none" << true;
        QTest::newRow("a file added inside") << "add" << true;
        QTest::newRow("deleted") << "delete" << false;
        QTest::newRow("deleted and made again") << "remake" << false;
        QTest::newRow("replaced by a file") << "file" << false;
    }

    void folderIdentity()
    {
        QFETCH(QString, change);
        const FolderStamp known = stampFolder(m_folder);
        QVERIFY(known.exists);
        if (change == "add")
            QVERIFY(writeBytes(m_folder + "/other", "x"));
        if (change != "none" && change != "add")
            QVERIFY(QDir(m_folder).removeRecursively());
        if (change == "remake") {
            usleep(20000); // another creation time, whatever inode number comes back
            QVERIFY(QDir().mkdir(m_folder));
        }
        if (change == "file")
            QVERIFY(writeBytes(m_folder, "x"));
        QTEST(folderStillThere(known, m_folder), "stillThere");
        // A folder that did not exist when the documents were loaded is not watched.
        QVERIFY(folderStillThere(stampFolder(m_root.filePath("never")), m_root.filePath("never")));
    }

    void diskCheckNamesTheCulprit()
    {
        const QString doc = m_folder + "/doc.json";
        const QString other = m_folder + "/other.json";
        QVERIFY(writeBytes(other, "[]"));
        const DocumentSet set = DocumentSet::take(m_folder, {doc, other});
        QCOMPARE(checkDocuments(set).kind, DiskCheck::Unchanged);
        QVERIFY(writeBytes(other, "[1]"));
        QCOMPARE(checkDocuments(set).kind, DiskCheck::Changed);
        QCOMPARE(checkDocuments(set).path, other);
        QVERIFY(QFile::remove(doc) && QDir().mkdir(doc));
        QCOMPARE(checkDocuments(set).kind, DiskCheck::Gone);
        QCOMPARE(checkDocuments(set).path, doc);
        QVERIFY(QDir(m_folder).removeRecursively());
        QCOMPARE(checkDocuments(set).path, m_folder);
    }

    // --- the session with its questions

    void coalescedSaveWritesOnce()
    {
        Editor editor(m_folder, 40);
        editor.load();
        QSignalSpy saved(&editor.session, &DocumentSession::saved);
        editor.edit("{\"v\": 2}");
        editor.edit("{\"v\": 3}");
        QVERIFY(editor.session.isSavePending());
        QCOMPARE(editor.session.state(), EditSession::State::Dirty);
        QTRY_COMPARE(saved.count(), 1);
        QCOMPARE(editor.saves, 1);
        QCOMPARE(readBytes(editor.path), QByteArray("{\"v\": 3}"));
        QCOMPARE(editor.session.state(), EditSession::State::Clean);
        // Its own write is not a change made elsewhere.
        editor.edit("{\"v\": 4}");
        ScriptedDialogs dialogs;
        QVERIFY(editor.session.flush());
        QVERIFY(dialogs.prompts().isEmpty());
    }

    // Declining to overwrite a file changed elsewhere holds the save: later edits wait for an
    // explicit one, which asks again.
    void heldSaveWaitsForAnExplicitOne()
    {
        Editor editor(m_folder);
        editor.load();
        editor.edit("mine");
        QVERIFY(writeBytes(editor.path, "theirs"));
        ScriptedDialogs dialogs;
        dialogs.answerChoice("Annuler");
        QVERIFY(!editor.session.flush());
        QCOMPARE(dialogs.prompts().value(0).items,
                 QStringList({"Écraser", "Recharger", "Annuler"}));
        QVERIFY(editor.session.stateMessage().endsWith(
            " a été modifié ailleurs : vos modifications ne sont pas enregistrées."));
        editor.edit("mine 2");
        QVERIFY(!editor.session.isSavePending());
        QVERIFY(!editor.session.flush());
        QCOMPARE(dialogs.prompts().size(), 1);
        dialogs.answerChoice("Écraser");
        QVERIFY(editor.session.saveNow());
        QCOMPARE(readBytes(editor.path), QByteArray("mine 2"));
        QVERIFY(editor.announced.isEmpty()); // the user answered: nothing more to tell
    }

    void failedSaveIsToldOnce()
    {
        Editor editor(m_folder, 10);
        editor.load();
        editor.failWith = "Échec sauvegarde config : No space left on device";
        editor.edit("a");
        QVERIFY(!editor.session.flush());
        editor.edit("b");
        QTRY_COMPARE(editor.saves, 2); // a later edit retries
        QCOMPARE(editor.announced, QStringList({editor.failWith}));
        QCOMPARE(editor.session.stateMessage(), editor.failWith);
        QCOMPARE(readBytes(editor.path), QByteArray("{\"v\": 1}"));
        editor.failWith.clear();
        editor.edit("c");
        QVERIFY(editor.session.flush());
        QCOMPARE(readBytes(editor.path), QByteArray("c"));
        QCOMPARE(editor.session.stateMessage(), QString());
    }

    // "de" before the subject's article contracts as French does.
    void leaveTextNamesTheSubject_data()
    {
        QTest::addColumn<QString>("subject");
        QTest::addColumn<QString>("named");
        QTest::newRow("a name") << "« Doc »" << "Les modifications de « Doc » ne";
        QTest::newRow("feminine") << "la calibration Base" << "Les modifications de la calibration";
        QTest::newRow("masculine") << "le mapping de « P »" << "Les modifications du mapping de";
        QTest::newRow("plural") << "les réglages" << "Les modifications des réglages ne";
    }

    void leaveTextNamesTheSubject()
    {
        QFETCH(QString, subject);
        Editor editor(m_folder);
        editor.session.setSubject(subject);
        editor.load();
        editor.failWith = "full";
        editor.edit("mine");
        editor.session.flush();
        ScriptedDialogs dialogs;
        editor.session.requestLeave();
        QFETCH(QString, named);
        const QString text = dialogs.prompts().value(0).text;
        QVERIFY2(text.startsWith(named), qPrintable(text));
    }

    // A retry that fails again asks again; the loop ends with the user's choice.
    void retryThatFailsAsksAgain()
    {
        Editor editor(m_folder);
        editor.load();
        editor.failWith = "full";
        editor.edit("mine");
        editor.session.flush();
        ScriptedDialogs dialogs;
        dialogs.answerChoice("Réessayer");
        dialogs.answerChoice("Réessayer");
        QVERIFY(!editor.session.requestLeave());
        QCOMPARE(dialogs.prompts().size(), 3);
        QCOMPARE(editor.saves, 3);
        QCOMPARE(editor.announced.size(), 1);
    }

    void leavingDirtySavesWithoutAQuestion()
    {
        Editor editor(m_folder);
        editor.load();
        editor.edit("mine");
        ScriptedDialogs dialogs;
        QVERIFY(editor.session.requestLeave());
        QVERIFY(dialogs.prompts().isEmpty());
        QCOMPARE(readBytes(editor.path), QByteArray("mine"));
    }

    void startEmpty_data()
    {
        QTest::addColumn<bool>("yes");
        QTest::newRow("yes") << true;
        QTest::newRow("no") << false;
    }

    void startEmpty()
    {
        QFETCH(bool, yes);
        Editor editor(m_folder);
        editor.session.loadFailed(m_folder, {editor.path}, editor.path,
                                  "Format de configuration non reconnu.");
        QVERIFY(!editor.session.edited());
        QVERIFY(editor.session.requestLeave()); // nothing to lose
        ScriptedDialogs dialogs;
        dialogs.answerYes(yes);
        QCOMPARE(editor.session.offerStartEmpty(), yes);
        QCOMPARE(dialogs.prompts().size(), 1);
        QCOMPARE(dialogs.prompts().first().title, QString("Recommencer à vide"));
        QCOMPARE(dialogs.prompts().first().text,
                 QString("Format de configuration non reconnu.\n\nRecommencer « Doc » à vide ? "
                         "Le fichier sera remplacé à la première modification."));
        QCOMPARE(editor.session.isReadOnly(), !yes);
        editor.memory = "fresh";
        QCOMPARE(editor.session.edited(), yes);
        editor.session.flush();
        QCOMPARE(readBytes(editor.path), yes ? QByteArray("fresh") : QByteArray("{\"v\": 1}"));
        // Only a failed load can start again.
        QVERIFY(!editor.session.offerStartEmpty());
    }

    // Two sessions on one file: the one without edits hears of the other's save.
    void siblingsHearOfEachOthersSaves()
    {
        Editor a(m_folder);
        Editor b(m_folder);
        a.load();
        b.load();
        QSignalSpy bChanged(&b.session, &DocumentSession::changedElsewhere);
        a.edit("from a");
        QVERIFY(a.session.flush());
        QTRY_COMPARE(bChanged.count(), 1);
        // With edits of its own it hears nothing: its save asks.
        b.edit("from b");
        a.edit("from a again");
        QVERIFY(a.session.flush());
        QTest::qWait(20);
        QCOMPARE(bChanged.count(), 1);
        ScriptedDialogs dialogs;
        QVERIFY(!b.session.flush());
        QCOMPARE(dialogs.prompts().size(), 1);
        QCOMPARE(readBytes(a.path), QByteArray("from a again"));
    }

    void quietFlushNeverOverwrites()
    {
        Editor editor(m_folder);
        editor.load();
        editor.edit("mine");
        QVERIFY(writeBytes(editor.path, "theirs"));
        ScriptedDialogs dialogs;
        QVERIFY(!editor.session.flushQuietly());
        QCOMPARE(readBytes(editor.path), QByteArray("theirs"));
        QVERIFY(dialogs.prompts().isEmpty());
        Editor clean(m_folder);
        clean.load();
        clean.edit("mine");
        QVERIFY(clean.session.flushQuietly());
        QCOMPARE(readBytes(clean.path), QByteArray("mine"));
    }

    // A file fixed elsewhere reaches an editor that could not load it.
    void loadFailedHearsOfARepair()
    {
        Editor editor(m_folder);
        editor.session.loadFailed(m_folder, {editor.path}, editor.path, "bad");
        QSignalSpy changed(&editor.session, &DocumentSession::changedElsewhere);
        editor.session.checkDisk();
        QCOMPARE(changed.count(), 0);
        QVERIFY(writeBytes(editor.path, "{\"fixed\": true}"));
        editor.session.checkDisk();
        QCOMPARE(changed.count(), 1);
    }
};

QTEST_MAIN(TestDocumentSession)
#include "tst_documentsession.moc"
