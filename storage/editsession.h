#pragma once

#include "filestamp.h"

#include <QString>

#include <optional>

// Everything between documents on disk and the user's edits of them, for one editor: whether
// there is anything to save, when the coalesced save is due, and what went wrong. A value type
// without clock or file access: times are passed in (milliseconds of any monotonic clock) and the
// stamps of the documents come from the caller, so every transition is tested without waiting.
//
//   Clean ──edit──▶ Dirty ──save ok──▶ Clean
//                     │ save fails, or the user declines to overwrite a file changed elsewhere
//                     ▼
//                 SaveFailed ──save ok──▶ Clean      (edits kept; a later edit retries)
//   loadFailed ──▶ LoadFailed ──startEmpty──▶ Clean  (read-only until the user starts again)
//   any ──markGone──▶ Gone                          (read-only; the edits stay in memory)
class EditSession
{
public:
    enum class State { Clean, Dirty, SaveFailed, LoadFailed, Gone };
    // How a burst of edits becomes one save.
    enum class Coalescing {
        RestartOnEdit,     // due the delay after the last edit
        KeepFirstDeadline, // due the delay after the first edit; later ones ride along
    };

    explicit EditSession(int delayMs = 250, Coalescing coalescing = Coalescing::RestartOnEdit);

    State state() const { return m_state; }
    int delayMs() const { return m_delayMs; }
    Coalescing coalescing() const { return m_coalescing; }
    // A document that failed to load, or whose folder is gone, is never written.
    bool isReadOnly() const { return m_state == State::LoadFailed || m_state == State::Gone; }
    // Edits in memory that are not on disk; a gone session keeps the ones it had.
    bool hasUnsavedEdits() const { return m_unsaved; }
    // A failed save the user chose not to retry automatically (a file changed elsewhere that
    // they did not want to overwrite): edits wait for an explicit save.
    bool isHeld() const { return m_held; }
    // The file and the reason of the last failure (load, save, gone); empty otherwise.
    const QString &failedPath() const { return m_failedPath; }
    const QString &failureReason() const { return m_reason; }

    // The documents as loaded or last saved: what a save compares the disk with.
    const DocumentSet &documents() const { return m_documents; }
    // After a write of the editor's own outside a save (a rename, say): the new stamps.
    void setDocuments(const DocumentSet &documents) { m_documents = documents; }

    // The documents now show what is on disk.
    void loaded(const DocumentSet &documents);
    // Nothing could be shown; nothing will be written until startEmpty().
    void loadFailed(const DocumentSet &documents, const QString &path, const QString &reason);
    // The user chose to start the failed document again empty: editable, nothing written until
    // the first edit. False unless the load had failed.
    bool startEmpty();

    // An edit at `nowMs`; false (and nothing changes) while read-only.
    bool edit(qint64 nowMs);
    // Marks the documents edited without scheduling a save (a gesture whose effect the editor
    // cannot see): they are written when the editor leaves them or by the next save. False while
    // read-only.
    bool touch();
    // When the coalesced save is due; none when nothing is waiting or the save is held.
    std::optional<qint64> deadline() const { return m_deadline; }
    bool isSaveDue(qint64 nowMs) const { return m_deadline && nowMs >= *m_deadline; }

    void saveSucceeded(const DocumentSet &documents);
    // The save failed; the edits stay. True when the user has not been told yet: the first
    // failure since the last success, or one of another file or reason.
    bool saveFailed(const QString &path, const QString &reason);
    // The user declined to overwrite a file changed elsewhere: like a failure, but no later edit
    // retries on its own.
    void saveHeld(const QString &path, const QString &reason);
    // The folder of the documents disappeared or was replaced (or a file by a non-file). True
    // when this is news.
    bool markGone(const QString &path, const QString &reason);
    // Back to no documents at all: nothing to save, nothing tracked.
    void reset();

private:
    void clearFailure();

    int m_delayMs;
    Coalescing m_coalescing;
    State m_state = State::Clean;
    bool m_unsaved = false;
    bool m_held = false;
    std::optional<qint64> m_deadline;
    QString m_failedPath;
    QString m_reason;
    DocumentSet m_documents;
};
