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

    // How the session ends: its state, "+" with unsaved edits, and when a save is due.
    static QString ending(const EditSession &session)
    {
        const char *states[] = {"clean", "dirty", "save failed", "load failed", "gone"};
        const std::optional<qint64> deadline = session.deadline();
        return states[int(session.state())] + QString(session.hasUnsavedEdits() ? "+" : "") +
               (deadline ? QString(" due@%1").arg(*deadline) : QString());
    }

private slots:
    void transitions_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QString>("answers"); // then, after "|", how the session ends
        const auto row = [](const char *name, const char *script, const char *answers) {
            QTest::newRow(name) << QString(script) << QString(answers);
        };
        row("due at the deadline, not a millisecond before",
            "due@1000000 edit@1000 due@1249 due@1250 ok due@5000", "n y n y - n | clean");
        row("restart on each edit; no empty start without a failed load", "edit@0 empty edit@100",
            "y n y | dirty+ due@350");
        row("keep the first deadline", "keep-first edit@0 edit@100 touch",
            "y y y | dirty+ due@250");
        row("next burst after a save", "keep-first edit@0 ok edit@400", "y - y | dirty+ due@650");
        row("an edit retries a failed save; the same failure is told once, another reason is news",
            "edit@0 fail:full edit@300 due@549 due@550 fail:full edit@400 fail:denied",
            "y news y n y quiet y news | save failed+");
        row("failure after a success is news", "edit@0 fail:full ok edit@9 fail:full",
            "y news - y news | save failed+");
        row("held waits for an explicit save", "edit@0 held edit@300", "y - y | save failed+");
        row("a failure keeps its file and reason until a save",
            "edit@0 fail:full why held why ok why",
            "y news f.json:full - held:g.json:changed - : | clean");
        row("load failed refuses edits and writes nothing", "loadfail edit@0 touch fail:x",
            "- n n quiet | load failed");
        row("start again empty", "loadfail why empty why edit@5",
            "- f.json:damaged y : y | dirty+ due@255");
        // What a later save compares the disk with.
        row("documents follow loads and saves; a reset forgets everything",
            "loadfail docs empty docs edit@0 ok docs edit@1 fail:full reset why docs",
            "- /loaded y /loaded y - /saved y news - : none | clean");
        row("gone with edits keeps them, even past a save", "edit@0 gone edit@10 ok",
            "y news n - | gone+");
        row("gone without edits is news once", "gone gone why",
            "news quiet folder:vanished | gone");
        row("a negative delay is none", "delay:-5 edit@42", "y | dirty+ due@42");
        row("a touch schedules nothing", "touch", "y | dirty+");
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
        const QString answers = play(session, script);
        QTEST(answers + " | " + ending(session), "answers");
    }
};

QTEST_APPLESS_MAIN(TestEditSession)
#include "tst_editsession.moc"
