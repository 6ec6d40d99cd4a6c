#pragma once

#include "dialogseam.h"

#include <QList>

#include <functional>

// A seam for tests: it opens no window, records every question and hands back the answers queued
// beforehand, in order. Each answer is for one kind of question, and an item or a button must be
// one that was offered; an answer that does not fit fails the test, and so does an answer still
// queued when the seam goes (see verifyAllUsed()). A question with no answer left is cancelled
// (empty text, false); a choice with no answer left takes its default button. The message boxes
// only have OK, so they are recorded but take no answer from the queue.
class ScriptedDialogSeam : public DialogSeam
{
public:
    enum class Kind {
        Text,
        Item,
        OpenFile,
        SaveFile,
        Folder,
        Information,
        Warning,
        Critical,
        Question,
        Choice
    };

    struct Prompt
    {
        Kind kind = Kind::Text;
        QString title;
        QString text;      // the label of an input, the message of a box
        QStringList items; // the choices of an item question or the buttons of a choice
        QString value;     // the initial text, or the starting folder of a file question
        QString filter;    // the name filter of a file question
        int current = -1;  // the preselected choice of an item question, the default button
        bool editable = false;
        const QWidget *parent = nullptr; // the window the question is asked over
    };

    ~ScriptedDialogSeam() override;

    void answerText(const QString &text) { queue({Kind::Text}, true, text); }
    // One of the items offered, unless the question lets the user type.
    void answerItem(const QString &item) { queue({Kind::Item}, true, item); }
    // A file or folder chooser's answer.
    void answerPath(const QString &path)
    {
        queue({Kind::OpenFile, Kind::SaveFile, Kind::Folder}, true, path);
    }
    void answerYes(bool yes = true) { queue({Kind::Question}, yes, {}); }
    // The button of that text, for the next choice.
    void answerChoice(const QString &choice) { queue({Kind::Choice}, true, choice); }
    // Cancels the next question, whatever its kind.
    void cancelNext() { queue({}, false, {}); }

    const QList<Prompt> &prompts() const { return m_prompts; }
    int pendingAnswers() const { return int(m_answers.size()); }
    // Fails the test when answers are left: the script expected questions that never came.
    // Called when the seam goes; call it earlier to check a step.
    void verifyAllUsed();
    // Runs once inside the next question, as a modal box's event loop runs the rest of the program
    // (timers, disk watchers, controller input) while the user reads it.
    std::function<void()> whileAsking;

    QString getText(QWidget *parent, const QString &title, const QString &label,
                    const QString &text, bool *ok) override;
    QString getItem(QWidget *parent, const QString &title, const QString &label,
                    const QStringList &items, int current, bool editable, bool *ok) override;
    QString getOpenFileName(QWidget *parent, const QString &title, const QString &dir,
                            const QString &filter) override;
    QString getSaveFileName(QWidget *parent, const QString &title, const QString &dir,
                            const QString &filter) override;
    QString getExistingDirectory(QWidget *parent, const QString &title,
                                 const QString &dir) override;
    void information(QWidget *parent, const QString &title, const QString &text) override;
    void warning(QWidget *parent, const QString &title, const QString &text) override;
    void critical(QWidget *parent, const QString &title, const QString &text) override;
    bool question(QWidget *parent, const QString &title, const QString &text) override;
    int choose(QWidget *parent, const QString &title, const QString &text,
               const QStringList &choices, int defaultChoice) override;

private:
    struct Answer
    {
        QList<Kind> fits; // the questions it answers; empty for any
        bool accepted = false;
        QString value;
    };

    void queue(const QList<Kind> &fits, bool accepted, const QString &value)
    {
        m_answers.append({fits, accepted, value});
    }
    Answer ask(const Prompt &prompt);
    void misused(const QString &what);

    QList<Prompt> m_prompts;
    QList<Answer> m_answers;
};

// Installs a scripted seam for the lifetime of one test and puts the previous seam back.
class ScriptedDialogs : public ScriptedDialogSeam
{
public:
    ScriptedDialogs() : m_previous(&dialogSeam()) { setDialogSeam(this); }
    ~ScriptedDialogs() override { setDialogSeam(m_previous); }
    ScriptedDialogs(const ScriptedDialogs &) = delete;
    ScriptedDialogs &operator=(const ScriptedDialogs &) = delete;

private:
    DialogSeam *m_previous;
};
