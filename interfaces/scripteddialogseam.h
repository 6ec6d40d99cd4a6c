#pragma once

#include "dialogseam.h"

#include <QList>

// A seam for tests: it opens no window, records every question and hands back the answers queued
// beforehand, in order. A question with no answer left is cancelled (empty text, false). The
// message boxes only have OK, so they are recorded but take no answer from the queue. A choice
// with no answer left takes its default button.
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
    };

    struct Answer
    {
        bool accepted = false;
        QString value;
    };

    void queue(const Answer &answer) { m_answers.append(answer); }
    void answerText(const QString &text) { queue({true, text}); }
    void answerItem(const QString &item) { queue({true, item}); }
    void answerPath(const QString &path) { queue({true, path}); }
    void answerYes(bool yes = true) { queue({yes, {}}); }
    void cancelNext() { queue({}); }
    // The button of that text, for the next choice; an unknown text picks the default.
    void answerChoice(const QString &choice) { queue({true, choice}); }

    const QList<Prompt> &prompts() const { return m_prompts; }
    int pendingAnswers() const { return int(m_answers.size()); }
    void clear();

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
    Answer ask(const Prompt &prompt);

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
