#include "documentsession.h"

#include "dialogseam.h"
#include "uilog.h"

#include <QDir>
#include <QScopedValueRollback>
#include <QWidget>

#include <algorithm>
#include <vector>

namespace {

enum LeaveChoice { Retry, Discard, Stay };
enum ConflictChoice { Overwrite, Reload, Cancel };

// Every live session, so that a save can tell the others that track the same file.
std::vector<DocumentSession *> &liveSessions()
{
    static std::vector<DocumentSession *> sessions;
    return sessions;
}

QString shown(const QString &path)
{
    return QDir::toNativeSeparators(path);
}

// "de « Pad »", "de la calibration…", but "du mapping…" and "des…": French contracts the article.
QString ofSubject(const QString &subject)
{
    if (subject.startsWith(QLatin1String("le ")))
        return QStringLiteral("du ") + subject.mid(3);
    if (subject.startsWith(QLatin1String("les ")))
        return QStringLiteral("des ") + subject.mid(4);
    return QStringLiteral("de ") + subject;
}

QString heldMessage(const QString &path)
{
    return QStringLiteral("%1 a été modifié ailleurs : vos modifications ne sont pas "
                          "enregistrées.")
        .arg(shown(path));
}

} // namespace

DocumentSession::DocumentSession(int delayMs, EditSession::Coalescing coalescing,
                                 QObject *parent)
    : QObject(parent), m_session(delayMs, coalescing), m_subject(QStringLiteral("le document"))
{
    m_clock.start();
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer); // a coarse timer may fire 5 % early
    connect(&m_timer, &QTimer::timeout, this, &DocumentSession::onTimeout);
    liveSessions().push_back(this);
}

DocumentSession::~DocumentSession()
{
    auto &sessions = liveSessions();
    sessions.erase(std::remove(sessions.begin(), sessions.end(), this), sessions.end());
}

void DocumentSession::setDialogParent(QWidget *parent)
{
    m_dialogParent = parent;
}

QString DocumentSession::leaveTitle()
{
    return QStringLiteral("Modifications non enregistrées");
}

QStringList DocumentSession::leaveChoices()
{
    return {QStringLiteral("Réessayer"), QStringLiteral("Abandonner les modifications"),
            QStringLiteral("Rester")};
}

QString DocumentSession::conflictTitle()
{
    return QStringLiteral("Fichier modifié ailleurs");
}

QStringList DocumentSession::conflictChoices()
{
    return {QStringLiteral("Écraser"), QStringLiteral("Recharger"), QStringLiteral("Annuler")};
}

QString DocumentSession::startEmptyTitle()
{
    return QStringLiteral("Recommencer à vide");
}

QString DocumentSession::saveAsNewChoice()
{
    return QStringLiteral("Enregistrer comme nouveau profil");
}

QString DocumentSession::stateMessage() const
{
    switch (m_session.state()) {
    case EditSession::State::Clean:
    case EditSession::State::Dirty:
        return QString();
    case EditSession::State::SaveFailed:
        return m_session.isHeld() ? heldMessage(m_session.failedPath())
                                  : m_session.failureReason();
    case EditSession::State::LoadFailed:
    case EditSession::State::Gone:
        return m_session.failureReason();
    }
    return QString();
}

void DocumentSession::loaded(const QString &folder, const QStringList &paths)
{
    m_timer.stop();
    m_session.loaded(DocumentSet::take(folder, paths));
    Q_EMIT stateChanged();
}

void DocumentSession::loadFailed(const QString &folder, const QStringList &paths,
                                 const QString &path, const QString &message)
{
    m_timer.stop();
    m_session.loadFailed(DocumentSet::take(folder, paths), path, message);
    qCWarning(lcGamepadUi).noquote() << QStringLiteral("Gamepad document load failed error=%1").arg(message);
    Q_EMIT stateChanged();
}

void DocumentSession::close()
{
    m_timer.stop();
    m_session.reset();
    Q_EMIT stateChanged();
}

void DocumentSession::retarget(const QString &folder, const QStringList &paths)
{
    DocumentSet documents = m_session.documents();
    documents.folder = folder.isEmpty() ? QString() : QDir::cleanPath(folder);
    documents.folderStamp = stampFolder(documents.folder);
    QList<FileStamp> stamps;
    QList<QString> cleaned;
    for (const QString &path : paths) {
        const QString clean = QDir::cleanPath(path);
        const qsizetype known = documents.paths.indexOf(clean);
        cleaned << clean;
        stamps << (known >= 0 ? documents.stamps.at(known) : stampFile(clean));
    }
    documents.paths = cleaned;
    documents.stamps = stamps;
    m_session.setDocuments(documents);
}

void DocumentSession::noteOwnWrite()
{
    const DocumentSet &known = m_session.documents();
    m_session.setDocuments(DocumentSet::take(known.folder, known.paths));
    tellSiblings();
}

void DocumentSession::edited()
{
    const bool wasDirty = m_session.state() == EditSession::State::Dirty;
    if (!m_session.edit(now()))
        return;
    if (const std::optional<qint64> due = m_session.deadline())
        m_timer.start(int(qBound(qint64(0), *due - now(), qint64(m_session.delayMs()))));
    if (!wasDirty && m_session.state() == EditSession::State::Dirty)
        Q_EMIT stateChanged();
}

void DocumentSession::noteOwnWrite(const QString &path)
{
    DocumentSet documents = m_session.documents();
    const qsizetype index = documents.paths.indexOf(QDir::cleanPath(path));
    if (index < 0)
        return;
    documents.stamps[index] = stampFile(documents.paths.at(index));
    m_session.setDocuments(documents);
    tellSiblings();
}

void DocumentSession::discard()
{
    if (m_session.state() != EditSession::State::Gone) {
        reload();
        return;
    }
    m_timer.stop();
    m_session.reset();
    Q_EMIT stateChanged();
}

bool DocumentSession::touched()
{
    const bool wasDirty = m_session.state() == EditSession::State::Dirty;
    if (!m_session.touch())
        return false;
    if (!wasDirty && m_session.state() == EditSession::State::Dirty)
        Q_EMIT stateChanged();
    return true;
}

void DocumentSession::onTimeout()
{
    const std::optional<qint64> due = m_session.deadline();
    if (!due)
        return;
    if (now() < *due) {
        m_timer.start(int(*due - now()));
        return;
    }
    save(Attempt::Automatic);
}

bool DocumentSession::flush()
{
    if (!m_session.hasUnsavedEdits())
        return true;
    if (m_session.isReadOnly() || m_session.isHeld())
        return false;
    return save(Attempt::Automatic);
}

bool DocumentSession::saveNow()
{
    return save(Attempt::Explicit);
}

void DocumentSession::goneNow(const QString &path, bool announce)
{
    const QString message =
        path == m_session.documents().folder
            ? QStringLiteral("Le dossier %1 a disparu ou a été remplacé : les modifications ne "
                             "peuvent plus y être enregistrées.")
                  .arg(shown(path))
            : QStringLiteral("%1 a été remplacé par autre chose qu’un fichier : les "
                             "modifications ne peuvent plus y être enregistrées.")
                  .arg(shown(path));
    const bool news = m_session.markGone(path, message);
    m_timer.stop();
    Q_EMIT stateChanged();
    if (news)
        qCWarning(lcGamepadUi).noquote()
            << QStringLiteral("Gamepad documents gone error=%1").arg(message);
    // Without edits nothing is lost: the editor shows the state, no one needs telling.
    if (news && announce && m_session.hasUnsavedEdits())
        Q_EMIT failureAnnounced(message);
}

bool DocumentSession::save(Attempt attempt)
{
    if (!m_session.hasUnsavedEdits())
        return true;
    if (m_session.isReadOnly() || m_busy)
        return false;
    const QScopedValueRollback<bool> busy(m_busy, true);
    m_timer.stop();
    const DiskCheck check = checkDocuments(m_session.documents());
    if (check.kind == DiskCheck::Gone) {
        goneNow(check.path, attempt != Attempt::Leaving);
        return false;
    }
    if (check.kind == DiskCheck::Changed) {
        const QString text =
            QStringLiteral("%1 a été modifié sur le disque depuis son chargement (autre "
                           "fenêtre, import, autre poste).\nÉcraser avec vos modifications, "
                           "recharger la version du disque (vos modifications seront perdues) "
                           "ou annuler ?")
                .arg(shown(check.path));
        switch (dialogSeam().choose(m_dialogParent, conflictTitle(), text, conflictChoices(),
                                    Cancel)) {
        case Overwrite:
            break;
        case Reload:
            reload();
            return true;
        default:
            m_session.saveHeld(check.path, heldMessage(check.path));
            Q_EMIT stateChanged();
            return false;
        }
    }
    const SaveResult result = m_saver ? m_saver() : SaveResult();
    if (result.ok) {
        const DocumentSet &written = m_session.documents();
        m_session.saveSucceeded(DocumentSet::take(written.folder, written.paths));
        tellSiblings();
        Q_EMIT saved();
        Q_EMIT stateChanged();
        return true;
    }
    const bool news = m_session.saveFailed(result.path, result.message);
    qCWarning(lcGamepadUi).noquote()
        << QStringLiteral("Gamepad document save failed error=%1").arg(result.message);
    Q_EMIT stateChanged();
    if (news && attempt != Attempt::Leaving)
        Q_EMIT failureAnnounced(result.message);
    return false;
}

void DocumentSession::reload()
{
    m_timer.stop();
    if (m_reloader) {
        m_reloader();
        return;
    }
    const DocumentSet &known = m_session.documents();
    m_session.loaded(DocumentSet::take(known.folder, known.paths));
    Q_EMIT stateChanged();
}

bool DocumentSession::requestLeave()
{
    if (!m_session.hasUnsavedEdits())
        return true;
    if (m_session.state() == EditSession::State::Dirty && save(Attempt::Leaving))
        return true;
    while (m_session.hasUnsavedEdits()) {
        if (m_session.state() == EditSession::State::Gone)
            return leaveGone();
        const QString text = QStringLiteral("Les modifications %1 ne sont pas enregistrées :\n%2")
                                 .arg(ofSubject(m_subject), stateMessage());
        switch (dialogSeam().choose(m_dialogParent, leaveTitle(), text, leaveChoices(), Stay)) {
        case Retry:
            if (save(Attempt::Leaving))
                return true;
            break;
        case Discard:
            reload();
            return true;
        default:
            return false;
        }
    }
    return true;
}

bool DocumentSession::leaveGone()
{
    QStringList choices = leaveChoices().mid(1); // discard, stay
    if (m_saveAsNew)
        choices.prepend(saveAsNewChoice());
    const QString text =
        QStringLiteral("%1\nLes modifications %2 ne sont enregistrées nulle part.")
            .arg(stateMessage(), ofSubject(m_subject));
    const int stay = int(choices.size()) - 1;
    const int choice = dialogSeam().choose(m_dialogParent, leaveTitle(), text, choices, stay);
    if (choice == stay)
        return false;
    if (m_saveAsNew && choice == 0 && !m_saveAsNew())
        return false;
    m_timer.stop();
    m_session.reset();
    Q_EMIT stateChanged();
    return true;
}

bool DocumentSession::offerStartEmpty()
{
    if (m_session.state() != EditSession::State::LoadFailed)
        return false;
    const QString text =
        QStringLiteral("%1\n\nRecommencer %2 à vide ? Le fichier sera remplacé à la première "
                       "modification.")
            .arg(m_session.failureReason(), m_subject);
    if (!dialogSeam().question(m_dialogParent, startEmptyTitle(), text))
        return false;
    m_session.startEmpty();
    Q_EMIT stateChanged();
    return true;
}

// The editor is going away, and its pending save with it.
bool DocumentSession::flushQuietly()
{
    if (!m_session.hasUnsavedEdits())
        return true;
    if (m_session.isReadOnly())
        return false;
    const DiskCheck check = checkDocuments(m_session.documents());
    if (check.kind != DiskCheck::Unchanged) {
        qCWarning(lcGamepadUi).noquote()
            << QStringLiteral("Gamepad edits not saved: changed or gone elsewhere path=%1")
                   .arg(check.path);
        return false;
    }
    const SaveResult result = m_saver ? m_saver() : SaveResult();
    if (!result.ok) {
        qCWarning(lcGamepadUi).noquote()
        << QStringLiteral("Gamepad document save failed error=%1").arg(result.message);
        return false;
    }
    const DocumentSet &written = m_session.documents();
    m_session.saveSucceeded(DocumentSet::take(written.folder, written.paths));
    tellSiblings();
    return true;
}

void DocumentSession::checkDisk()
{
    if (m_busy || m_session.documents().isEmpty() ||
        m_session.state() == EditSession::State::Gone)
        return;
    const DiskCheck check = checkDocuments(m_session.documents());
    if (check.kind == DiskCheck::Gone)
        goneNow(check.path, true);
    else if (check.kind == DiskCheck::Changed && !m_session.hasUnsavedEdits())
        Q_EMIT changedElsewhere();
}

// The others learn of the change once this save is over, never from inside it.
void DocumentSession::tellSiblings()
{
    const QList<QString> &written = m_session.documents().paths;
    for (DocumentSession *other : liveSessions()) {
        if (other == this)
            continue;
        const bool shares = std::any_of(written.begin(), written.end(), [other](const QString &p) {
            return other->m_session.documents().tracks(p);
        });
        if (shares)
            QMetaObject::invokeMethod(other, &DocumentSession::checkDisk, Qt::QueuedConnection);
    }
}
