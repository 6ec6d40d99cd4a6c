#pragma once

#include "editsession.h"

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <functional>

class QWidget;

// The one way the editors (profile editor, calibration panel, action linker) keep documents on
// disk: an EditSession driven by a timer, and the questions the user answers through the dialog
// seam. The editor says how to write and how to reload; the session says when, checks the disk
// before every write, and asks before anything is overwritten or dropped:
// - a document that failed to load is never written until the user starts it again empty;
// - a failed save keeps the edits and is announced once; leaving then asks retry, discard or stay;
// - a file changed elsewhere asks overwrite, reload or cancel;
// - a folder that disappeared is never made again: the session is gone, the edits stay in memory.
// Sessions of one process that track the same file learn of each other's saves.
class DocumentSession : public QObject
{
    Q_OBJECT

public:
    struct SaveResult
    {
        bool ok = true;
        QString path;    // the file that could not be written
        QString message; // the editor's own words for the failure, shown to the user
    };
    using Saver = std::function<SaveResult()>;
    using Action = std::function<void()>;

    DocumentSession(int delayMs, EditSession::Coalescing coalescing, QObject *parent = nullptr);
    ~DocumentSession() override;

    // Writes the edits; may retarget() first (a shared profile copied to the user's folder).
    void setSaver(const Saver &saver) { m_saver = saver; }
    // Reloads the documents from disk, dropping the edits; it reports through loaded() or
    // loadFailed(). Without one, discarding only forgets that there were edits.
    void setReloader(const Action &reloader) { m_reloader = reloader; }
    // Offered when leaving a gone session with edits; true when the edits were kept elsewhere.
    void setSaveAsNew(const std::function<bool()> &saveAsNew) { m_saveAsNew = saveAsNew; }
    // Where the questions are shown, and how they name the documents, e.g. "« Pad X »".
    void setDialogParent(QWidget *parent);
    void setSubject(const QString &subject) { m_subject = subject; }
    // Where the session reads the time, in milliseconds; a monotonic clock unless one is given.
    void setClock(const std::function<qint64()> &clock) { m_now = clock; }
    const QString &subject() const { return m_subject; }

    const EditSession &session() const { return m_session; }
    EditSession::State state() const { return m_session.state(); }
    bool isReadOnly() const { return m_session.isReadOnly(); }
    bool hasUnsavedEdits() const { return m_session.hasUnsavedEdits(); }
    bool isSavePending() const { return m_timer.isActive(); }
    // What an editor shows in its banner or status line; empty while clean or dirty.
    QString stateMessage() const;

    // The editor now shows these documents as they are on disk. An empty folder is not watched
    // for disappearing.
    void loaded(const QString &folder, const QStringList &paths);
    // Nothing could be shown: read-only until offerStartEmpty().
    void loadFailed(const QString &folder, const QStringList &paths, const QString &path,
                    const QString &message);
    // No documents (no profile, no controller): nothing to save or watch.
    void close();
    // The documents move (a shared profile copied to the user's folder); stamped at the next save.
    void retarget(const QString &folder, const QStringList &paths);
    // The editor wrote its files outside a save (metadata of a rename): they are its own. With a
    // path, only that file is stamped again.
    void noteOwnWrite();
    void noteOwnWrite(const QString &path);
    // Drops the edits: reloads from disk, or for a gone session forgets them.
    void discard();

    // An edit now; refused while the session is read-only.
    void edited();
    // Edited without a save of its own (see EditSession::touch); false when read-only.
    bool touched();
    // Saves now what is waiting (not a held save); true when nothing is left unsaved.
    bool flush();
    // An explicit save (the Save shortcut, "Réessayer"): also a held save.
    bool saveNow();
    // Before the editor leaves these documents (another profile, controller or scope, or the
    // window closing): true when it may go, the edits being saved or discarded.
    bool requestLeave();
    // Asks "Recommencer à vide" for a document that failed to load; true when the user agreed
    // and the session is editable.
    bool offerStartEmpty();
    // For destructors: saves without a question, never over a file changed elsewhere nor into a
    // folder that is gone; a failure is only logged.
    bool flushQuietly();
    // Something may have changed on disk (a folder watcher, another session's save).
    void checkDisk();

    // The questions' words, one definition for the three editors.
    static QString leaveTitle();
    static QStringList leaveChoices(); // retry, discard, stay
    static QString conflictTitle();
    static QStringList conflictChoices(); // overwrite, reload, cancel
    static QString startEmptyTitle();
    static QString saveAsNewChoice();

signals:
    void stateChanged();
    void saved();
    // A failure the user has not been told about yet, in the editor's or the session's words.
    void failureAnnounced(const QString &message);
    // A session without edits found its files changed on disk: the editor reloads them.
    void changedElsewhere();

private:
    enum class Attempt { Automatic, Explicit, Leaving };
    bool save(Attempt attempt);
    void onTimeout();
    void goneNow(const QString &path, bool announce);
    void reload();
    bool leaveGone();
    void tellSiblings();
    qint64 now() const { return m_now ? m_now() : m_clock.elapsed(); }

    EditSession m_session;
    QElapsedTimer m_clock;
    std::function<qint64()> m_now;
    QTimer m_timer{this};
    Saver m_saver;
    Action m_reloader;
    std::function<bool()> m_saveAsNew;
    QPointer<QWidget> m_dialogParent;
    QString m_subject;
    bool m_busy = false; // a save or question is under way: nothing re-enters it
};
