#include "scripteddialogseam.h"

#include <QtTest/qtestcase.h>

#include <utility>

using Kind = ScriptedDialogSeam::Kind;
using Prompt = ScriptedDialogSeam::Prompt;

namespace {

Prompt makePrompt(const QWidget *parent, Kind kind, const QString &title, const QString &text = {})
{
    Prompt prompt;
    prompt.parent = parent;
    prompt.kind = kind;
    prompt.title = title;
    prompt.text = text;
    return prompt;
}

Prompt filePrompt(const QWidget *parent, Kind kind, const QString &title, const QString &dir,
                  const QString &filter = {})
{
    Prompt prompt = makePrompt(parent, kind, title);
    prompt.value = dir;
    prompt.filter = filter;
    return prompt;
}

const char *kindName(Kind kind)
{
    static const char *const names[] = {"text",     "item",        "open file", "save file",
                                        "folder",   "information", "warning",   "critical",
                                        "question", "choice"};
    return names[int(kind)];
}

} // namespace

ScriptedDialogSeam::~ScriptedDialogSeam()
{
    verifyAllUsed();
}

void ScriptedDialogSeam::verifyAllUsed()
{
    if (m_answers.isEmpty())
        return;
    QStringList left;
    for (const Answer &answer : std::as_const(m_answers))
        left << (answer.fits.isEmpty() ? QStringLiteral("cancel")
                                       : QLatin1String(kindName(answer.fits.first())) +
                                             QStringLiteral(" \"%1\"").arg(answer.value));
    m_answers.clear();
    misused(QStringLiteral("scripted answers never used: %1").arg(left.join(QStringLiteral(", "))));
}

void ScriptedDialogSeam::misused(const QString &what)
{
    // A test that already failed has said what went wrong first.
    if (!QTest::currentTestFailed())
        QTest::qFail(qPrintable(what), __FILE__, __LINE__);
}

// The next answer, when it is one for this kind of question; a misfit is reported and the
// question cancelled.
ScriptedDialogSeam::Answer ScriptedDialogSeam::ask(const Prompt &prompt)
{
    if (const std::function<void()> once = std::exchange(whileAsking, nullptr))
        once();
    m_prompts.append(prompt);
    if (m_answers.isEmpty())
        return {};
    const Answer answer = m_answers.takeFirst();
    if (answer.fits.isEmpty() || answer.fits.contains(prompt.kind))
        return answer;
    misused(QStringLiteral("a scripted %1 answer \"%2\" met the %3 question \"%4\"")
                .arg(QLatin1String(kindName(answer.fits.first())), answer.value,
                     QLatin1String(kindName(prompt.kind)), prompt.title));
    return {};
}

QString ScriptedDialogSeam::getText(QWidget *parent, const QString &title, const QString &label,
                                    const QString &text, bool *ok)
{
    Prompt prompt = makePrompt(parent, Kind::Text, title, label);
    prompt.value = text;
    const Answer answer = ask(prompt);
    if (ok)
        *ok = answer.accepted;
    return answer.accepted ? answer.value : QString();
}

QString ScriptedDialogSeam::getItem(QWidget *parent, const QString &title, const QString &label,
                                    const QStringList &items, int current, bool editable, bool *ok)
{
    Prompt prompt = makePrompt(parent, Kind::Item, title, label);
    prompt.items = items;
    prompt.current = current;
    prompt.editable = editable;
    Answer answer = ask(prompt);
    if (answer.accepted && !editable && !items.contains(answer.value)) {
        misused(QStringLiteral("the scripted item \"%1\" was not offered by \"%2\" (%3)")
                    .arg(answer.value, title, items.join(QStringLiteral(", "))));
        answer = {};
    }
    if (ok)
        *ok = answer.accepted;
    return answer.accepted ? answer.value : QString();
}

QString ScriptedDialogSeam::getOpenFileName(QWidget *parent, const QString &title,
                                            const QString &dir, const QString &filter)
{
    const Answer answer = ask(filePrompt(parent, Kind::OpenFile, title, dir, filter));
    return answer.accepted ? answer.value : QString();
}

QString ScriptedDialogSeam::getSaveFileName(QWidget *parent, const QString &title,
                                            const QString &dir, const QString &filter)
{
    const Answer answer = ask(filePrompt(parent, Kind::SaveFile, title, dir, filter));
    return answer.accepted ? answer.value : QString();
}

QString ScriptedDialogSeam::getExistingDirectory(QWidget *parent, const QString &title,
                                                 const QString &dir)
{
    const Answer answer = ask(filePrompt(parent, Kind::Folder, title, dir));
    return answer.accepted ? answer.value : QString();
}

void ScriptedDialogSeam::information(QWidget *parent, const QString &title, const QString &text)
{
    m_prompts.append(makePrompt(parent, Kind::Information, title, text));
}

void ScriptedDialogSeam::warning(QWidget *parent, const QString &title, const QString &text)
{
    m_prompts.append(makePrompt(parent, Kind::Warning, title, text));
}

void ScriptedDialogSeam::critical(QWidget *parent, const QString &title, const QString &text)
{
    m_prompts.append(makePrompt(parent, Kind::Critical, title, text));
}

bool ScriptedDialogSeam::question(QWidget *parent, const QString &title, const QString &text)
{
    return ask(makePrompt(parent, Kind::Question, title, text)).accepted;
}

int ScriptedDialogSeam::choose(QWidget *parent, const QString &title, const QString &text,
                               const QStringList &choices, int defaultChoice)
{
    Prompt prompt = makePrompt(parent, Kind::Choice, title, text);
    prompt.items = choices;
    prompt.current = defaultChoice;
    const Answer answer = ask(prompt);
    const qsizetype chosen = answer.accepted ? choices.indexOf(answer.value) : -1;
    if (answer.accepted && chosen < 0)
        misused(QStringLiteral("the scripted button \"%1\" was not offered by \"%2\" (%3)")
                    .arg(answer.value, title, choices.join(QStringLiteral(", "))));
    return chosen >= 0 ? int(chosen) : defaultChoice;
}
