#include "scripteddialogseam.h"

using Kind = ScriptedDialogSeam::Kind;
using Prompt = ScriptedDialogSeam::Prompt;

namespace {

Prompt makePrompt(Kind kind, const QString &title, const QString &text = {})
{
    Prompt prompt;
    prompt.kind = kind;
    prompt.title = title;
    prompt.text = text;
    return prompt;
}

Prompt filePrompt(Kind kind, const QString &title, const QString &dir, const QString &filter = {})
{
    Prompt prompt = makePrompt(kind, title);
    prompt.value = dir;
    prompt.filter = filter;
    return prompt;
}

} // namespace

void ScriptedDialogSeam::clear()
{
    m_prompts.clear();
    m_answers.clear();
}

ScriptedDialogSeam::Answer ScriptedDialogSeam::ask(const Prompt &prompt)
{
    m_prompts.append(prompt);
    return m_answers.isEmpty() ? Answer() : m_answers.takeFirst();
}

QString ScriptedDialogSeam::getText(QWidget *, const QString &title, const QString &label,
                                    const QString &text, bool *ok)
{
    Prompt prompt = makePrompt(Kind::Text, title, label);
    prompt.value = text;
    const Answer answer = ask(prompt);
    if (ok)
        *ok = answer.accepted;
    return answer.accepted ? answer.value : QString();
}

QString ScriptedDialogSeam::getItem(QWidget *, const QString &title, const QString &label,
                                    const QStringList &items, int current, bool editable, bool *ok)
{
    Prompt prompt = makePrompt(Kind::Item, title, label);
    prompt.items = items;
    prompt.current = current;
    prompt.editable = editable;
    const Answer answer = ask(prompt);
    if (ok)
        *ok = answer.accepted;
    return answer.accepted ? answer.value : QString();
}

QString ScriptedDialogSeam::getOpenFileName(QWidget *, const QString &title, const QString &dir,
                                            const QString &filter)
{
    const Answer answer = ask(filePrompt(Kind::OpenFile, title, dir, filter));
    return answer.accepted ? answer.value : QString();
}

QString ScriptedDialogSeam::getSaveFileName(QWidget *, const QString &title, const QString &dir,
                                            const QString &filter)
{
    const Answer answer = ask(filePrompt(Kind::SaveFile, title, dir, filter));
    return answer.accepted ? answer.value : QString();
}

QString ScriptedDialogSeam::getExistingDirectory(QWidget *, const QString &title,
                                                 const QString &dir)
{
    const Answer answer = ask(filePrompt(Kind::Folder, title, dir));
    return answer.accepted ? answer.value : QString();
}

void ScriptedDialogSeam::information(QWidget *, const QString &title, const QString &text)
{
    m_prompts.append(makePrompt(Kind::Information, title, text));
}

void ScriptedDialogSeam::warning(QWidget *, const QString &title, const QString &text)
{
    m_prompts.append(makePrompt(Kind::Warning, title, text));
}

void ScriptedDialogSeam::critical(QWidget *, const QString &title, const QString &text)
{
    m_prompts.append(makePrompt(Kind::Critical, title, text));
}

bool ScriptedDialogSeam::question(QWidget *, const QString &title, const QString &text)
{
    return ask(makePrompt(Kind::Question, title, text)).accepted;
}

int ScriptedDialogSeam::choose(QWidget *, const QString &title, const QString &text,
                               const QStringList &choices, int defaultChoice)
{
    Prompt prompt = makePrompt(Kind::Choice, title, text);
    prompt.items = choices;
    prompt.current = defaultChoice;
    const Answer answer = ask(prompt);
    const qsizetype chosen = answer.accepted ? choices.indexOf(answer.value) : -1;
    return chosen >= 0 ? int(chosen) : defaultChoice;
}
