#include "editsession.h"

#include <QtTest>

// The session alone: every state and transition, with the time passed in.
class TestEditSession : public QObject
{
    Q_OBJECT

    using State = EditSession::State;

    // Plays a script of steps on a fresh session: "edit@T" (an edit at T ms), "ok" (save
    // succeeded), "fail:R" (save failed with reason R), "held", "loadfail", "empty" (start again
    // empty), "gone", "reset". Returns what each step answered, joined by spaces.
    static QString play(EditSession &session, const QString &script)
    {
        QStringList answers;
        for (const QString &step : script.split(' ', Qt::SkipEmptyParts)) {
            if (step == "touch")
                answers << (session.touch() ? "y" : "n");
            else if (step.startsWith("edit@"))
                answers << (session.edit(step.mid(5).toLongLong()) ? "y" : "n");
            else if (step == "ok")
                session.saveSucceeded(DocumentSet()), answers << "-";
            else if (step.startsWith("fail:"))
                answers << (session.saveFailed("f.json", step.mid(5)) ? "news" : "quiet");
            else if (step == "held")
                session.saveHeld("f.json", "changed"), answers << "-";
            else if (step == "loadfail")
                session.loadFailed(DocumentSet(), "f.json", "damaged"), answers << "-";
            else if (step == "empty")
                answers << (session.startEmpty() ? "y" : "n");
            else if (step == "gone")
                answers << (session.markGone("folder", "vanished") ? "news" : "quiet");
            else if (step == "reset")
                session.reset(), answers << "-";
        }
        return answers.join(' ');
    }

private slots:
    void transitions_data()
    {
        QTest::addColumn<bool>("keepFirst");
        QTest::addColumn<QString>("script");
        QTest::addColumn<QString>("answers");
        QTest::addColumn<int>("state");
        QTest::addColumn<bool>("unsaved");
        QTest::addColumn<qint64>("deadline"); // -1: none

        const auto row = [](const char *name, bool keepFirst, const char *script,
                            const char *answers, State state, bool unsaved, qint64 deadline) {
            QTest::newRow(name) << keepFirst << QString(script) << QString(answers) << int(state)
                                << unsaved << deadline;
        };
        row("fresh", false, "", "", State::Clean, false, -1);
        row("one edit", false, "edit@1000", "y", State::Dirty, true, 1250);
        row("restart on each edit", false, "edit@0 edit@100", "y y", State::Dirty, true, 350);
        row("keep the first deadline", true, "edit@0 edit@100", "y y", State::Dirty, true, 250);
        row("saved", false, "edit@0 ok", "y -", State::Clean, false, -1);
        row("next burst after a save", true, "edit@0 ok edit@400", "y - y", State::Dirty, true,
            650);
        row("save failed", false, "edit@0 fail:full", "y news", State::SaveFailed, true, -1);
        row("same failure twice is told once", false, "edit@0 fail:full edit@300 fail:full",
            "y news y quiet", State::SaveFailed, true, -1);
        row("another reason is news", false, "edit@0 fail:full edit@300 fail:denied",
            "y news y news", State::SaveFailed, true, -1);
        row("failure after a success is news", false, "edit@0 fail:full ok edit@9 fail:full",
            "y news - y news", State::SaveFailed, true, -1);
        row("an edit retries a failed save", false, "edit@0 fail:full edit@300", "y news y",
            State::SaveFailed, true, 550);
        row("retry succeeds", false, "edit@0 fail:full edit@300 ok", "y news y -", State::Clean,
            false, -1);
        row("held waits for an explicit save", false, "edit@0 held edit@300", "y - y",
            State::SaveFailed, true, -1);
        row("load failed refuses edits", false, "loadfail edit@0", "- n", State::LoadFailed,
            false, -1);
        row("load failed writes nothing", false, "loadfail fail:x", "- quiet", State::LoadFailed,
            false, -1);
        row("start again empty", false, "loadfail empty edit@5", "- y y", State::Dirty, true,
            255);
        row("start empty needs a failed load", false, "edit@0 empty", "y n", State::Dirty, true,
            250);
        row("gone with edits keeps them", false, "edit@0 gone edit@10", "y news n", State::Gone,
            true, -1);
        row("gone without edits", false, "gone", "news", State::Gone, false, -1);
        row("gone is news once", false, "gone gone", "news quiet", State::Gone, false, -1);
        row("a save cannot revive a gone session", false, "edit@0 gone ok", "y news -",
            State::Gone, true, -1);
        row("a touch schedules nothing", false, "touch", "y", State::Dirty, true, -1);
        row("a touch keeps the deadline", true, "edit@0 touch", "y y", State::Dirty, true, 250);
        row("a touch while read-only", false, "loadfail touch", "- n", State::LoadFailed, false,
            -1);
        row("reset forgets everything", false, "edit@0 fail:full reset", "y news -",
            State::Clean, false, -1);
    }

    void transitions()
    {
        QFETCH(bool, keepFirst);
        QFETCH(QString, script);
        EditSession session(250, keepFirst ? EditSession::Coalescing::KeepFirstDeadline
                                           : EditSession::Coalescing::RestartOnEdit);
        QTEST(play(session, script), "answers");
        QTEST(int(session.state()), "state");
        QTEST(session.hasUnsavedEdits(), "unsaved");
        QTEST(session.deadline().value_or(-1), "deadline");
        const bool readOnly = session.state() == State::LoadFailed || session.state() == State::Gone;
        QCOMPARE(session.isReadOnly(), readOnly);
    }

    // Due at the deadline, not a millisecond before.
    void saveIsDueAtTheDeadline()
    {
        EditSession session(220);
        QVERIFY(!session.isSaveDue(1'000'000));
        session.edit(1000);
        QVERIFY(!session.isSaveDue(1219));
        QVERIFY(session.isSaveDue(1220));
        session.saveSucceeded(DocumentSet());
        QVERIFY(!session.isSaveDue(5000));
    }

    void failureKeepsFileAndReason()
    {
        EditSession session;
        session.edit(0);
        session.saveFailed("/p/overlay.json", "Échec sauvegarde config : Disk full");
        QCOMPARE(session.failedPath(), QString("/p/overlay.json"));
        QCOMPARE(session.failureReason(), QString("Échec sauvegarde config : Disk full"));
        QVERIFY(!session.isHeld());
        session.saveHeld("/p/meta.json", "changed");
        QVERIFY(session.isHeld());
        QCOMPARE(session.failedPath(), QString("/p/meta.json"));
        session.saveSucceeded(DocumentSet());
        QVERIFY(session.failedPath().isEmpty() && session.failureReason().isEmpty());
        QVERIFY(!session.isHeld());
    }

    // A load, a successful save and a start over keep the documents a later save compares with.
    void documentsFollowLoadsAndSaves()
    {
        DocumentSet loaded;
        loaded.folder = "/a";
        DocumentSet saved;
        saved.folder = "/b";
        EditSession session;
        session.loadFailed(loaded, "/a/x", "bad");
        QCOMPARE(session.documents().folder, QString("/a"));
        session.startEmpty();
        QCOMPARE(session.documents().folder, QString("/a"));
        session.edit(0);
        session.saveSucceeded(saved);
        QCOMPARE(session.documents().folder, QString("/b"));
        session.reset();
        QVERIFY(session.documents().isEmpty());
    }

    void negativeDelayIsNone()
    {
        EditSession session(-5);
        session.edit(42);
        QCOMPARE(session.deadline().value_or(-1), qint64(42));
    }
};

QTEST_APPLESS_MAIN(TestEditSession)
#include "tst_editsession.moc"
