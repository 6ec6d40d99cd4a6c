#include "editsession.h"

EditSession::EditSession(int delayMs, Coalescing coalescing)
    : m_delayMs(qMax(0, delayMs)), m_coalescing(coalescing)
{
}

void EditSession::clearFailure()
{
    m_failedPath.clear();
    m_reason.clear();
    m_held = false;
}

void EditSession::loaded(const DocumentSet &documents)
{
    m_documents = documents;
    m_state = State::Clean;
    m_unsaved = false;
    m_deadline.reset();
    clearFailure();
}

void EditSession::loadFailed(const DocumentSet &documents, const QString &path,
                             const QString &reason)
{
    loaded(documents);
    m_state = State::LoadFailed;
    m_failedPath = path;
    m_reason = reason;
}

bool EditSession::startEmpty()
{
    if (m_state != State::LoadFailed)
        return false;
    m_state = State::Clean;
    clearFailure();
    return true;
}

bool EditSession::edit(qint64 nowMs)
{
    if (isReadOnly())
        return false;
    m_unsaved = true;
    if (m_state == State::Clean)
        m_state = State::Dirty;
    if (m_held)
        return true;
    if (m_coalescing == Coalescing::RestartOnEdit || !m_deadline)
        m_deadline = nowMs + m_delayMs;
    return true;
}

bool EditSession::touch()
{
    if (isReadOnly())
        return false;
    m_unsaved = true;
    if (m_state == State::Clean)
        m_state = State::Dirty;
    return true;
}

void EditSession::saveSucceeded(const DocumentSet &documents)
{
    if (isReadOnly())
        return;
    loaded(documents);
}

bool EditSession::saveFailed(const QString &path, const QString &reason)
{
    if (isReadOnly())
        return false;
    const bool news = m_state != State::SaveFailed || m_failedPath != path || m_reason != reason;
    m_state = State::SaveFailed;
    m_deadline.reset();
    m_held = false;
    m_failedPath = path;
    m_reason = reason;
    return news;
}

void EditSession::saveHeld(const QString &path, const QString &reason)
{
    if (isReadOnly())
        return;
    saveFailed(path, reason);
    m_held = true;
}

bool EditSession::markGone(const QString &path, const QString &reason)
{
    const bool news = m_state != State::Gone;
    m_state = State::Gone;
    m_deadline.reset();
    m_held = false;
    m_failedPath = path;
    m_reason = reason;
    return news;
}

void EditSession::reset()
{
    loaded(DocumentSet());
}
