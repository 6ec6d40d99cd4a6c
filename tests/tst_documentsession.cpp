#include "documentsession.h"
#include "filetestsupport.h"
#include "scratchtree.h"
#include "scripteddialogseam.h"

#include <QtTest>

// Bumps a file's modification time the way a rewrite a moment later would.
static bool touchLater(const QString &path)
{
    static int later = 5; // seconds, one more each time: two writes may share a millisecond
    QFile f(path);
    const auto mtime = QFileDevice::FileModificationTime;
    return f.open(QFile::ReadWrite) && f.setFileTime(f.fileTime(mtime).addSecs(++later), mtime);
}

// A session over a folder with one document, loaded, whose saver writes what the "editor" holds.
struct Editor
{
    explicit Editor(const QString &folder, int delayMs = 250,
                    EditSession::Coalescing coalescing = EditSession::Coalescing::RestartOnEdit)
        : path(folder + "/doc.json"), memory(readBytes(path)), session(delayMs, coalescing)
    {
        session.setSubject("« Doc »");
        session.setSaver([this] {
            ++saves;
            if (failWith.isEmpty())
                writeInPlace(path, memory);
            return DocumentSession::SaveResult{failWith.isEmpty(), path, failWith};
        });
        session.loaded(folder, {path});
    }
    void edit(const QByteArray &bytes) { memory = bytes, session.edited(); }

    QString path;
    QByteArray memory;
    DocumentSession session;
    QString failWith;
    int saves = 0;
    QSignalSpy announced{&session, &DocumentSession::failureAnnounced};
    QSignalSpy elsewhere{&session, &DocumentSession::changedElsewhere};
};

class TestDocumentSession : public QObject
{
    Q_OBJECT

    QTemporaryDir m_root;
    QString m_folder;

private slots:
    void init()
    {
        m_folder = m_root.filePath("profile"), removeScratchTree(m_folder);
        QVERIFY(QDir().mkpath(m_folder) && writeInPlace(m_folder + "/doc.json", "{\"v\": 1}"));
    }

    // What a save finds on disk over doc.json and new.json (not there yet), and what it names.
    void diskCheck_data()
    {
        QTest::addColumn<QString>("change");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("culprit"); // in the folder; "." is the folder itself
        const auto row = [](const char *name, const char *change, int kind, const char *culprit) {
            QTest::newRow(name) << QString(change) << kind << QString(culprit);
        };
        row("touched, same bytes", "touch", DiskCheck::Unchanged, "");
        row("same size, other bytes", "rewrite", DiskCheck::Changed, "doc.json");
        // Kept elsewhere through a link (a dotfile manager's): the file it leads to counts.
        row("linked, other bytes there", "link rewrite", DiskCheck::Changed, "doc.json");
        row("deleted", "delete", DiskCheck::Changed, "doc.json");
        row("a document appears", "create", DiskCheck::Changed, "new.json");
        row("another file appears", "add", DiskCheck::Unchanged, "");
        row("replaced by a folder", "mkdir", DiskCheck::Gone, "doc.json");
        row("folder deleted and made again", "remake", DiskCheck::Gone, ".");
    }

    void diskCheck()
    {
        QFETCH(QString, change);
        const QString doc = m_folder + "/doc.json", kept = m_root.filePath(QTest::currentDataTag());
        QVERIFY(!change.startsWith("link") || (QFile::rename(doc, kept) && QFile::link(kept, doc)));
        const DocumentSet set = DocumentSet::take(m_folder, {doc, m_folder + "/new.json"});
        if (change == "touch" || change.endsWith("rewrite"))
            QVERIFY((change == "touch" || writeInPlace(doc, "{\"v\": 2}")) && touchLater(doc));
        if (change == "delete" || change == "mkdir")
            QVERIFY(QFile::remove(doc) && (change == "delete" || QDir().mkdir(doc)));
        if (change == "create" || change == "add")
            QVERIFY(writeInPlace(m_folder + (change == "add" ? "/other" : "/new.json"), "{}"));
        if (change == "remake") // a pause: another creation time, whatever inode comes back
            QVERIFY(removeScratchTree(m_folder) && usleep(20000) == 0 && QDir().mkdir(m_folder));
        const DiskCheck check = checkDocuments(set);
        QTEST(int(check.kind), "kind");
        QTEST(QDir(m_folder).relativeFilePath(check.path), "culprit");
        // A folder that did not exist when the documents were loaded is not watched.
        QCOMPARE(checkDocuments(DocumentSet::take(m_root.filePath("never"), {})).kind,
                 DiskCheck::Unchanged);
    }

    // The editor's own writes outside a save are not changes made elsewhere; a file kept through
    // a move keeps what was known of it, so a change made meanwhile still shows.
    void ownWritesAndMoves()
    {
        Editor editor(m_folder), other(m_folder);
        QVERIFY(writeInPlace(editor.path, "{\"v\": 8}") && touchLater(editor.path));
        editor.session.noteOwnWrite(), editor.session.checkDisk();
        QVERIFY(writeInPlace(editor.path, "{\"v\": 9}") && touchLater(editor.path));
        editor.session.noteOwnWrite(editor.path + "/."); // named as its writer names it
        editor.session.checkDisk();
        QTRY_VERIFY(editor.elsewhere.count() == 0 && other.elsewhere.count() == 2); // it hears
        QVERIFY(writeInPlace(editor.path, "{\"v\": 10}")); // another size: at once, a change
        editor.session.retarget(m_folder, {editor.path}), editor.session.checkDisk();
        QCOMPARE(editor.elsewhere.count(), 1);
        const QString moved = m_root.filePath("moved.json"); // the document now lives there
        QVERIFY(QFile::copy(editor.path, moved) && writeInPlace(editor.path, "{}"));
        editor.session.retarget(m_root.path(), {moved});
        editor.session.checkDisk(); // the old file is no longer watched
        QVERIFY(writeInPlace(moved, "{\"v\": 11}"));
        editor.session.checkDisk();
        QCOMPARE(editor.elsewhere.count(), 2);
    }

    // An answer scripted and never asked for fails the test that scripted it.
    void unusedAnswersFail()
    {
        QEXPECT_FAIL("", "nothing asks the question scripted here", Continue);
        ScriptedDialogs().answerYes(true);
    }

    // A touch makes the documents dirty, heard once; with their folder gone nothing waits to save.
    void touchedThenGone()
    {
        Editor editor(m_folder);
        QSignalSpy changed(&editor.session, &DocumentSession::stateChanged);
        for (const char *touch : {"first", "second"}) // dirty at the first
            QVERIFY2(editor.session.touched() && changed.count() == 1, touch);
        editor.edit("x");
        QVERIFY(editor.session.isSavePending() && removeScratchTree(m_folder));
        editor.session.checkDisk(), editor.session.checkDisk(); // looked at no more once gone
        QVERIFY(editor.session.state() == EditSession::State::Gone && changed.count() == 2);
        QVERIFY(!editor.session.isSavePending() && editor.announced.count() == 1); // edits at risk
        ScriptedDialogs dialogs; // a failed rescue stays; leaving drops the edits
        editor.session.setSaveAsNew([] { return false; });
        dialogs.answerChoice("Enregistrer comme nouveau profil");
        dialogs.answerChoice("Abandonner les modifications");
        QVERIFY(!editor.session.requestLeave() && editor.session.hasUnsavedEdits());
        QVERIFY(editor.session.requestLeave() && !editor.session.hasUnsavedEdits());
    }

    // A later edit keeps the first edit's deadline (the linker's way); a timer waking early waits.
    void saveFallsDueAtTheDeadline()
    {
        qint64 clock = 0;
        Editor editor(m_folder, 20, EditSession::Coalescing::KeepFirstDeadline);
        editor.session.setClock([&clock] { return clock; }), editor.edit("a");
        clock = 15;
        editor.edit("b");
        auto *timer = editor.session.findChild<QTimer *>();
        QCOMPARE(timer->interval(), 5);
        QSignalSpy woke(timer, &QTimer::timeout);
        QTRY_VERIFY(woke.count() > 0); // the clock still says 15
        QVERIFY(editor.session.isSavePending() && editor.saves == 0 && timer->interval() == 5);
        clock = 20;
        QTRY_COMPARE(editor.saves, 1);
        QCOMPARE(readBytes(editor.path), QByteArray("b"));
        editor.failWith = "plein", editor.edit("c");
        QCOMPARE(timer->interval(), 20); // saved: the next edit waits the whole delay
        clock = 40;
        QTRY_COMPARE(editor.saves, 2); // failed: the next edit waits the whole delay again
        editor.edit("d");
        QCOMPARE(timer->interval(), 20);
    }

    // A burst of edits is one save; leaving or closing with edits saves them without a question.
    void coalescedSaveWritesOnce()
    {
        Editor editor(m_folder, 40);
        QSignalSpy states(&editor.session, &DocumentSession::stateChanged);
        editor.edit("{\"v\": 1}"), editor.edit("{\"v\": 2}"), editor.edit("{\"v\": 3}");
        QCOMPARE(states.size(), 1); // the first edit makes it dirty, the next ones change nothing
        QTRY_COMPARE(editor.saves, 1);
        QCOMPARE(readBytes(editor.path), QByteArray("{\"v\": 3}"));
        ScriptedDialogs dialogs;
        for (const bool leave : {true, false}) { // leaving, then a destructor's save
            editor.edit(leave ? "{\"v\": 4}" : "{\"v\": 5}");
            QVERIFY(leave ? editor.session.requestLeave() : editor.session.flushQuietly());
            QCOMPARE(readBytes(editor.path), editor.memory);
        }
        QVERIFY(dialogs.prompts().isEmpty() && !editor.session.hasUnsavedEdits());
    }

    // A declined overwrite holds the save: later edits wait for an explicit one, which asks again.
    void heldSaveWaitsForAnExplicitOne()
    {
        Editor editor(m_folder);
        editor.edit("mine");
        QVERIFY(writeInPlace(editor.path, "theirs"));
        ScriptedDialogs dialogs;
        QVERIFY(!editor.session.flushQuietly()); // a destructor's save: no question, no overwrite
        QCOMPARE(readBytes(editor.path), QByteArray("theirs"));
        dialogs.answerChoice("Annuler");
        QVERIFY(!editor.session.flush());
        QCOMPARE(editor.session.stateMessage().replace(editor.path, "@"),
                 "@ a été modifié ailleurs : vos modifications ne sont pas enregistrées.");
        editor.edit("mine 2");
        QVERIFY(!editor.session.flush() && dialogs.prompts().size() == 1);
        dialogs.answerChoice("Écraser");
        // A save or a disk check run while the question is open (a modal loop) leaves it alone.
        dialogs.whileAsking = [&] {
            QVERIFY(!editor.session.saveNow() && dialogs.prompts().size() == 1); // asks no more
            removeScratchTree(m_folder), QDir().mkpath(m_folder), editor.session.checkDisk();
        };
        QVERIFY(editor.session.saveNow() && readBytes(editor.path) == QByteArray("mine 2"));
        QVERIFY(editor.announced.isEmpty());            // the user answered: nothing more to tell
        QVERIFY(writeInPlace(editor.path, "theirs 3")); // held again, then another profile shown:
        editor.edit("mine 3"), dialogs.answerChoice("Annuler"), editor.session.flush();
        editor.session.loaded(m_folder, {editor.path}); // its edits save when due
        editor.edit("other");
        QVERIFY(editor.session.isSavePending());
    }

    // A failed save is told once; leaving asks, in French (de, du, des), after each failed retry.
    void leaveAsksUntilTheUserStays_data()
    {
        QTest::addColumn<QString>("subject");
        QTest::addColumn<QString>("named");
        QTest::newRow("a name") << QString("« Doc »") << "de « Doc »";
        QTest::newRow("feminine") << QString("la calibration Base") << "de la calibration Base";
        QTest::newRow("masculine") << QString("le mapping de « P »") << "du mapping de « P »";
        QTest::newRow("plural") << QString("les réglages") << "des réglages";
    }

    void leaveAsksUntilTheUserStays()
    {
        QFETCH(QString, subject);
        QFETCH(QString, named);
        Editor editor(m_folder);
        editor.session.setSubject(subject);
        editor.failWith = "full";
        editor.edit("mine");
        QVERIFY(!editor.session.flush());
        ScriptedDialogs dialogs;
        dialogs.answerChoice("Réessayer"), dialogs.answerChoice("Réessayer");
        QVERIFY(!editor.session.requestLeave());
        QCOMPARE((QList<int>{int(dialogs.prompts().size()), editor.saves}), (QList<int>{3, 3}));
        QCOMPARE(dialogs.prompts().last().text,
                 "Les modifications " + named + " ne sont pas enregistrées :\nfull");
        QCOMPARE(QList<QVariantList>(editor.announced), QList<QVariantList>{{"full"}});
        dialogs.answerChoice("Abandonner les modifications"); // read again as on the disk
        QVERIFY(editor.session.requestLeave() && !editor.session.hasUnsavedEdits());
    }

    // A document that failed to load hears of a repair; starting it again empty is asked once.
    void loadFailed()
    {
        Editor editor(m_folder);
        editor.session.loadFailed(m_folder, {editor.path}, editor.path, "Format non reconnu.");
        QVERIFY(writeInPlace(editor.path, "{\"fixed\": true}"));
        editor.session.checkDisk();
        QCOMPARE(editor.elsewhere.count(), 1);
        ScriptedDialogs dialogs;
        dialogs.answerYes();
        QVERIFY(editor.session.offerStartEmpty() && !editor.session.offerStartEmpty()); // once only
        QCOMPARE(dialogs.prompts().size(), 1);
    }

    // Two sessions on one file: the one without edits hears of the other's save.
    void siblingsHearOfEachOthersSaves()
    {
        Editor a(m_folder), b(m_folder);
        for (const bool quietly : {false, true}) { // a destructor's save is heard too
            a.edit(quietly ? "quietly" : "from a");
            QVERIFY(quietly ? a.session.flushQuietly() : a.session.flush());
            QTRY_COMPARE(b.elsewhere.count(), quietly ? 2 : 1);
        }
        // With edits of its own, the other's save is a conflict its own save asks about.
        b.edit("from b"), a.edit("from a again");
        QVERIFY(a.session.flush());
        QCoreApplication::processEvents(); // b is told but keeps its edits: nothing reloads them
        QCOMPARE(b.elsewhere.count(), 2);
        ScriptedDialogs dialogs;
        QVERIFY(!b.session.flush() && dialogs.prompts().size() == 1);
        QCOMPARE(readBytes(a.path), QByteArray("from a again"));
    }
};

QTEST_MAIN(TestDocumentSession)
#include "tst_documentsession.moc"
