// The two scopes of the calibration panel, Base and Profil: each keeps its file through its own
// session, which saves it shortly after an edit, checks the disk before writing and asks before
// anything is overwritten or dropped.

#include "gamepadconfigwidget.h"

#include "controlmanette.h"
#include "gamepadconfiginternal.h"

#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace calibrationpanel;

namespace {

QString shownPath(const QString &path)
{
    return QDir::toNativeSeparators(path);
}

// Anything standing at the path, a folder or a dangling link included: only where nothing stands
// may a new override be prepared.
bool somethingAt(const QString &path)
{
    return !path.isEmpty() && (QFileInfo::exists(path) || QFileInfo(path).isSymLink());
}

QString unreadableMessage(const QString &path, const QString &reason)
{
    return QStringLiteral("Calibration illisible dans %1 (%2)")
        .arg(shownPath(path),
             reason.isEmpty() ? QStringLiteral("pas un fichier lisible") : reason);
}

QString saveFailedMessage(const QString &path, const QString &reason)
{
    return QStringLiteral("Impossible d'enregistrer %1 (%2)").arg(shownPath(path), reason);
}

QString folderOf(const QString &path)
{
    return path.isEmpty() ? QString() : QFileInfo(path).absolutePath();
}

QStringList documentsAt(const QString &path)
{
    return path.isEmpty() ? QStringList() : QStringList{path};
}

} // namespace

void GamepadConfigWidget::createSessions()
{
    for (int scope : {BaseScope, ProfileScope}) {
        auto *session =
            new DocumentSession(kSaveDelayMs, EditSession::Coalescing::RestartOnEdit, this);
        session->setDialogParent(this);
        session->setSaver([this, scope] { return saveScope(scope); });
        session->setReloader([this, scope] { reloadScope(scope); });
        connect(session, &DocumentSession::saved, this, [this, scope] { afterSave(scope); });
        connect(session, &DocumentSession::changedElsewhere, this,
                [this, scope] { reloadScope(scope); });
        connect(session, &DocumentSession::failureAnnounced, this,
                &GamepadConfigWidget::setStatus);
        connect(session, &DocumentSession::stateChanged, this,
                &GamepadConfigWidget::refreshHeader);
        m_sessions[size_t(scope)] = session;
    }
}

const GamepadCalibration &GamepadConfigWidget::editedCalibration() const
{
    return m_buffers[size_t(m_scope)];
}

GamepadCalibration &GamepadConfigWidget::buffer()
{
    return m_buffers[size_t(m_scope)];
}

bool GamepadConfigWidget::isSavePending() const
{
    return m_sessions[BaseScope]->isSavePending() || m_sessions[ProfileScope]->isSavePending();
}

bool GamepadConfigWidget::hasUnsavedEdits() const
{
    return m_sessions[BaseScope]->hasUnsavedEdits() ||
           m_sessions[ProfileScope]->hasUnsavedEdits();
}

QString GamepadConfigWidget::targetPath(int scope) const
{
    if (scope == ProfileScope)
        return profileOverrideWritePath(m_profile);
    return baseCalibrationWritePath(m_identity);
}

// The file a save of the scope is meant for, written or not: an override named outside its
// profile folder is one, which saves refuse.
QString GamepadConfigWidget::intendedPath(int scope) const
{
    return scope == ProfileScope ? profileOverridePath(m_profile) : targetPath(scope);
}

QString GamepadConfigWidget::overrideFileName() const
{
    const QString name = m_profile.calibrationOverrideFile.trimmed();
    return name.isEmpty() ? kDefaultOverrideFile : name;
}

void GamepadConfigWidget::nameSessions()
{
    m_sessions[BaseScope]->setSubject(
        QStringLiteral("la calibration Base de « %1 »").arg(m_identity.name));
    const QString name = m_profile.name.trimmed();
    m_sessions[ProfileScope]->setSubject(
        QStringLiteral("la calibration du profil « %1 »")
            .arg(name.isEmpty() ? QStringLiteral("Profil sans nom") : name));
}

// The base buffer: the base file found for the controller, or the defaults without one. A file
// that is there but cannot be read leaves the scope read-only: it is never replaced unseen.
void GamepadConfigWidget::loadBaseScope()
{
    DocumentSession *session = m_sessions[BaseScope];
    const QString target = targetPath(BaseScope);
    const QString source = findBaseCalibrationFile(m_identity);
    QString error;
    if (!source.isEmpty() && !loadCalibrationFile(source, &m_buffers[BaseScope], &error,
                                                  kGamepadAxisCount, kGamepadButtonCount)) {
        session->loadFailed(folderOf(target), documentsAt(target), source,
                            unreadableMessage(source, error));
        return;
    }
    if (source.isEmpty())
        m_buffers[BaseScope] = defaultFullCalibration();
    session->loaded(folderOf(target), documentsAt(target));
}

// The override buffer: the profile's override file, or a copy of the base buffer while there is
// none. Its session watches the profile folder, which no save may bring back.
void GamepadConfigWidget::loadProfileScope()
{
    DocumentSession *session = m_sessions[ProfileScope];
    m_buffers[ProfileScope] = m_buffers[BaseScope];
    if (!profileCanCarryOverride(m_profile)) {
        session->close();
        return;
    }
    const QString folder = QDir::cleanPath(m_profile.folder.trimmed());
    const QString target = targetPath(ProfileScope);
    const QString source = profileOverridePath(m_profile);
    if (somethingAt(source)) {
        QString error;
        GamepadCalibration loaded;
        if (!loadCalibrationFile(source, &loaded, &error, kGamepadAxisCount,
                                 kGamepadButtonCount)) {
            session->loadFailed(folder, documentsAt(target), source,
                                unreadableMessage(source, error));
            return;
        }
        m_buffers[ProfileScope] = loaded;
    }
    session->loaded(folder, documentsAt(target));
}

void GamepadConfigWidget::resolveAgain()
{
    m_resolved = resolveCalibration(m_identity, m_profile, kGamepadAxisCount, kGamepadButtonCount);
}

// Everything the panel shows comes again from the files: after a change of device or profile.
void GamepadConfigWidget::reload()
{
    m_error.clear();
    nameSessions();
    loadBaseScope();
    loadProfileScope();
    resolveAgain();
    const bool overrideMode =
        m_profile.calibrationMode.compare(kModeOverride, Qt::CaseInsensitive) == 0;
    m_scope = profileCanCarryOverride(m_profile) && overrideMode ? ProfileScope : BaseScope;
    setScopeCombo(m_scope);
    rebuildAxisCards();
    refreshHeader();
}

// One scope again from its file: its edits were discarded, or its file changed elsewhere.
void GamepadConfigWidget::reloadScope(int scope)
{
    m_error.clear();
    if (scope == ProfileScope)
        loadProfileScope();
    else
        loadBaseScope();
    resolveAgain();
    if (scope == m_scope)
        rebuildAxisCards();
    refreshHeader();
}

void GamepadConfigWidget::checkDisk()
{
    for (DocumentSession *session : m_sessions)
        session->checkDisk();
}

void GamepadConfigWidget::setScopeCombo(int scope)
{
    const QSignalBlocker blocker(m_scopeCombo);
    m_scopeCombo->setCurrentIndex(scope);
}

void GamepadConfigWidget::onScopeComboChanged(int index)
{
    if (index == m_scope)
        return;
    if (!profileCanCarryOverride(m_profile)) {
        setScopeCombo(m_scope);
        return;
    }
    // The edits of the scope being left are saved first, or the user stays with them.
    if (!currentSession()->requestLeave()) {
        setScopeCombo(m_scope);
        return;
    }
    const int target = index == ProfileScope ? ProfileScope : BaseScope;
    QString error;
    if (target == ProfileScope && !enterProfileScope(&error)) {
        setScopeCombo(m_scope);
        setStatus(error);
        return;
    }
    if (target == BaseScope)
        m_sessions[BaseScope]->checkDisk();
    m_scope = target; // the combo shows it already
    m_profile.calibrationMode = m_scope == ProfileScope ? kModeOverride : kModeInherit;
    if (m_scope == ProfileScope)
        m_profile.calibrationOverrideFile = overrideFileName();
    emitMetadata(overrideFileName());
    resolveAgain();
    rebuildAxisCards();
    refreshHeader();
}

// An override that is there is the user's work, readable or not: it is shown as it is (read-only
// when it cannot be read), never replaced by the base. Only a profile without any override gets
// one prepared from the base.
bool GamepadConfigWidget::enterProfileScope(QString *error)
{
    DocumentSession *session = m_sessions[ProfileScope];
    session->checkDisk();
    if (session->isReadOnly() || somethingAt(profileOverridePath(m_profile)))
        return true;
    return prepareOverrideFromBase(error);
}

// The base as it is on disk; without a readable one, the calibration in force.
GamepadCalibration GamepadConfigWidget::baseForOverride() const
{
    GamepadCalibration base = m_resolved.calibration;
    const QString basePath = findBaseCalibrationFile(m_identity);
    GamepadCalibration loaded;
    if (!basePath.isEmpty() &&
        loadCalibrationFile(basePath, &loaded, nullptr, kGamepadAxisCount, kGamepadButtonCount))
        base = loaded;
    return fullCalibration(base);
}

// Writes the base into the override through the override's session, so that a profile folder
// gone or a file changed elsewhere is noticed as for any save.
bool GamepadConfigWidget::prepareOverrideFromBase(QString *error)
{
    if (!profileCanCarryOverride(m_profile)) {
        *error = kNoProfile;
        return false;
    }
    if (intendedPath(ProfileScope).isEmpty()) {
        *error = QStringLiteral("Chemin d'override invalide.");
        return false;
    }
    DocumentSession *session = m_sessions[ProfileScope];
    if (session->isReadOnly()) {
        *error = session->stateMessage();
        return false;
    }
    m_buffers[ProfileScope] = baseForOverride();
    session->edited();
    if (session->flush())
        return true;
    *error = session->stateMessage();
    // Only a copy of the base is dropped: the next attempt prepares it again.
    if (!session->isReadOnly())
        reloadScope(ProfileScope);
    return false;
}

void GamepadConfigWidget::emitMetadata(const QString &overrideFile)
{
    Q_EMIT profileCalibrationMetadataChanged(m_profile.calibrationMode, overrideFile,
                                             m_identity.vendorId, m_identity.productId);
}

void GamepadConfigWidget::copyBaseToProfile()
{
    if (!profileCanCarryOverride(m_profile)) {
        setStatus(kNoProfile);
        return;
    }
    if (!currentSession()->requestLeave())
        return;
    m_sessions[ProfileScope]->checkDisk();
    const GamepadProfileInfo previous = m_profile;
    m_profile.calibrationMode = kModeOverride;
    m_profile.calibrationOverrideFile = overrideFileName();
    QString error;
    if (!prepareOverrideFromBase(&error)) {
        m_profile = previous;
        setStatus(error);
        return;
    }
    m_scope = ProfileScope;
    setScopeCombo(m_scope);
    emitMetadata(overrideFileName());
    resolveAgain();
    rebuildAxisCards();
    refreshHeader();
}

void GamepadConfigWidget::deleteOverride()
{
    if (!profileCanCarryOverride(m_profile)) {
        setStatus(kNoProfile);
        return;
    }
    // Edits of the override go with it; those of the base are saved.
    m_sessions[BaseScope]->flush();
    const QString path = targetPath(ProfileScope);
    if (!path.isEmpty() && QFileInfo::exists(path) && !QFile::remove(path)) {
        setStatus(QStringLiteral("Impossible de supprimer %1").arg(path));
        return;
    }
    m_profile.calibrationMode = kModeInherit;
    m_profile.calibrationOverrideFile.clear();
    m_scope = BaseScope;
    setScopeCombo(m_scope);
    emitMetadata(QString());
    reloadScope(ProfileScope);
    rebuildAxisCards();
    Q_EMIT calibrationSaved();
    if (m_device)
        m_device->reloadCalibration();
}

void GamepadConfigWidget::offerStartEmpty()
{
    if (!currentSession()->offerStartEmpty())
        return;
    buffer() = m_scope == ProfileScope ? m_buffers[BaseScope] : defaultFullCalibration();
    m_error.clear();
    rebuildAxisCards();
    refreshHeader();
}

DocumentSession::SaveResult GamepadConfigWidget::saveScope(int scope) const
{
    const QString path = targetPath(scope);
    if (path.isEmpty()) {
        const QString intended = intendedPath(scope);
        if (intended.isEmpty())
            return {false, QString(), kNoTarget};
        return {false, intended,
                saveFailedMessage(intended, QStringLiteral("hors du dossier du profil"))};
    }
    // Profile folders are made by the profile editor only: an override never brings one back.
    const QString profileFolder = QDir::cleanPath(m_profile.folder.trimmed());
    if (scope == ProfileScope && !QFileInfo(profileFolder).isDir())
        return {false, path,
                QStringLiteral("Le dossier du profil %1 n'existe plus : la calibration n'y est "
                               "pas enregistrée.")
                    .arg(shownPath(profileFolder))};
    QString error;
    if (!saveCalibrationFile(path, fullCalibration(m_buffers[size_t(scope)]), m_identity,
                             profileIdText(), &error))
        return {false, path, saveFailedMessage(path, error)};
    return {};
}

void GamepadConfigWidget::afterSave(int scope)
{
    m_error.clear();
    if (scope == ProfileScope && m_scope == ProfileScope)
        emitMetadata(overrideFileName());
    Q_EMIT calibrationSaved();
    resolveAgain();
    refreshHeader();
    // The runtime picks the new file up on its next poll.
    if (m_device)
        m_device->reloadCalibration();
    // A controller that changed while the user kept unsaved edits is followed now.
    onIdentityChanged();
}

void GamepadConfigWidget::flushSave()
{
    for (DocumentSession *session : m_sessions)
        session->flush();
}

bool GamepadConfigWidget::requestLeave()
{
    const int other = m_scope == ProfileScope ? BaseScope : ProfileScope;
    return m_sessions[size_t(m_scope)]->requestLeave() &&
           m_sessions[size_t(other)]->requestLeave();
}
