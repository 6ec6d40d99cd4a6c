#include "editsession.h"

#include <QtTest>

// The session alone: every state and transition, with the time passed in.
class TestEditSession : public QObject
{
    Q_OBJECT

    using State = EditSession::State;

    // Plays steps: "edit@T" (at T ms), "touch", "due@T", "ok" (into /saved), "fail:R" (f.json, for
    // R), "held" (g.json kept by the user), "loadfail" (of /loaded), "empty", "gone", "reset";
    // "why" names the failed file, reason and hold, "docs" the folder a save compares with.
    static QString play(EditSession &session, const QString &script)
    {
        const auto yes = [](bool b) { return b ? "y" : "n"; };
        QStringList answers;
        for (const QString &step : script.split(' ', Qt::SkipEmptyParts)) {
            const qint64 at = step.section('@', 1).toLongLong();
            if (step == "touch")
                answers << yes(session.touch());
            else if (step.startsWith("edit@"))
                answers << yes(session.edit(at));
            else if (step.startsWith("due@"))
                answers << yes(session.isSaveDue(at));
            else if (step == "ok")
                session.saveSucceeded(DocumentSet::take("/saved", {})), answers << "-";
            else if (step.startsWith("fail:"))
                answers << (session.saveFailed("f.json", step.mid(5)) ? "news" : "quiet");
            else if (step == "held")
                session.saveHeld("g.json", "changed"), answers << "-";
            else if (step == "loadfail")
                session.loadFailed(DocumentSet::take("/loaded", {}), "f.json", "damaged"),
                    answers << "-";
            else if (step == "empty")
                answers << yes(session.startEmpty());
            else if (step == "gone")
                answers << (session.markGone("folder", "vanished") ? "news" : "quiet");
            else if (step == "reset")
                session.reset(), answers << "-";
            else if (step == "why")
                answers << (session.isHeld() ? "held:" : "") + session.failedPath() + ":" +
                               session.failureReason();
            else if (step == "docs")
                answers << (session.documents().isEmpty() ? "none" : session.documents().folder);
        }
        return answers.join(' ');
    }

private slots:
    void transitions_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QString>("answers");
        QTest::addColumn<int>("state");
        QTest::addColumn<bool>("unsaved");
        QTest::addColumn<qint64>("deadline"); // -1: none

        const auto row = [](const char *name, const char *script, const char *answers, State state,
                            bool unsaved, qint64 deadline) {
            QTest::newRow(name) << QString(script) << QString(answers) << int(state) << unsaved
                                << deadline;
        };
        row("due at the deadline, not a millisecond before",
            "due@1000000 edit@1000 due@1249 due@1250 ok due@5000", "n y n y - n", State::Clean,
            false, -1);
        row("restart on each edit", "edit@0 edit@100", "y y", State::Dirty, true, 350);
        row("keep the first deadline", "keep-first edit@0 edit@100 touch", "y y y", State::Dirty,
            true, 250);
        row("next burst after a save", "keep-first edit@0 ok edit@400", "y - y", State::Dirty, true,
            650);
        row("same failure twice is told once, another reason is news",
            "edit@0 fail:full edit@300 fail:full edit@400 fail:denied", "y news y quiet y news",
            State::SaveFailed, true, -1);
        row("failure after a success is news", "edit@0 fail:full ok edit@9 fail:full",
            "y news - y news", State::SaveFailed, true, -1);
        row("an edit retries a failed save", "edit@0 fail:full edit@300", "y news y",
            State::SaveFailed, true, 550);
        row("held waits for an explicit save", "edit@0 held edit@300", "y - y", State::SaveFailed,
            true, -1);
        row("a failure keeps its file and reason until a save",
            "edit@0 fail:full why held why ok why",
            "y news f.json:full - held:g.json:changed - :", State::Clean, false, -1);
        row("load failed refuses edits and writes nothing", "loadfail edit@0 touch fail:x",
            "- n n quiet", State::LoadFailed, false, -1);
        row("start again empty", "loadfail why empty why edit@5", "- f.json:damaged y : y",
            State::Dirty, true, 255);
        row("start empty needs a failed load", "edit@0 empty", "y n", State::Dirty, true, 250);
        // What a later save compares the disk with.
        row("documents follow loads and saves",
            "loadfail docs empty docs edit@0 ok docs reset docs",
            "- /loaded y /loaded y - /saved - none", State::Clean, false, -1);
        row("gone with edits keeps them, even past a save", "edit@0 gone edit@10 ok", "y news n -",
            State::Gone, true, -1);
        row("gone without edits is news once", "gone gone why", "news quiet folder:vanished",
            State::Gone, false, -1);
        row("a negative delay is none", "delay:-5 edit@42", "y", State::Dirty, true, 42);
        row("a touch schedules nothing", "touch", "y", State::Dirty, true, -1);
        row("reset forgets everything", "edit@0 fail:full reset why", "y news - :", State::Clean,
            false, -1);
    }

    void transitions()
    {
        QFETCH(QString, script);
        // The first step may set the delay ("delay:N") or keep the first deadline ("keep-first").
        const int delay =
            script.startsWith("delay:") ? script.section(' ', 0, 0).mid(6).toInt() : 250;
        EditSession session(delay, script.startsWith("keep-first")
                                       ? EditSession::Coalescing::KeepFirstDeadline
                                       : EditSession::Coalescing::RestartOnEdit);
        QTEST(play(session, script), "answers");
        QTEST(int(session.state()), "state");
        QTEST(session.hasUnsavedEdits(), "unsaved");
        QTEST(session.deadline().value_or(-1), "deadline");
    }
};

QTEST_APPLESS_MAIN(TestEditSession)
#include "tst_editsession.moc"
