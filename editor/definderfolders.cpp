// The profile editor's catalogue follows the folders on disk: a profile imported by the command
// line or copied into a root appears, one deleted elsewhere disappears (its unsaved edits stay
// open, see the session), and a document of the open profile rewritten elsewhere is noticed.

#include "gamepaddefinder.h"

#include "cataloguereader.h"
#include "documentsession.h"
#include "profilefolderwatcher.h"
#include "profileoperations.h"
#include "profilestore.h"
#include "profiletiles.h"

#include <QDir>
#include <QListWidget>
#include <QSignalBlocker>

namespace {

// Folders under the roots that hold no readable profile yet: a copy under way, watched until it
// is complete.
QStringList incompleteFolders(const QStringList &roots, const QList<GamepadProfileMeta> &entries)
{
    QSet<QString> known;
    for (const GamepadProfileMeta &entry : entries)
        known.insert(QDir::cleanPath(entry.folder));
    QStringList folders;
    for (const QString &root : roots) {
        const QDir dir(root);
        for (const QString &name : dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            const QString folder = QDir::cleanPath(dir.filePath(name));
            if (!known.contains(folder))
                folders << folder;
        }
    }
    return folders;
}

bool sameTile(const GamepadProfileMeta &a, const GamepadProfileMeta &b)
{
    return a.name == b.name && a.imagePath() == b.imagePath();
}

} // namespace

bool GamepadDefinder::thumbnailsPending() const
{
    return m_tiles->thumbnailsPending();
}

// The catalogue as the window opens; showing no profile then arms the watcher.
void GamepadDefinder::refillList()
{
    m_entries = readProfileEntries();
    m_tiles->fill(m_entries);
}

void GamepadDefinder::updateTile(int row)
{
    if (!validRow(row))
        return;
    const bool lost = row == m_currentRow && m_session->state() == EditSession::State::Gone;
    m_tiles->update(row, m_entries.at(row), lost ? QStringLiteral("(supprimé)") : QString());
}

void GamepadDefinder::rearmWatcher()
{
    if (!m_watcher)
        return;
    const QStringList roots = candidateProfileRoots();
    QStringList folders = incompleteFolders(roots, m_entries);
    QStringList files;
    if (validRow(m_currentRow)) {
        folders << m_entries.at(m_currentRow).folder;
        files = documentPaths(m_entries.at(m_currentRow));
    }
    m_watcher->watch(roots, folders, files);
}

// The folders are read by a worker. When this window changed the catalogue meanwhile (a profile
// made, deleted, renamed), the reading may predate it: the folders are read again. Any change
// gives this window's list data of its own, so sharing the data handed over means none.
void GamepadDefinder::onProfileRootsChanged()
{
    if (!m_catalogueReader) {
        m_catalogueReader = new CatalogueReader(
            [this](const QList<GamepadProfileMeta> &known, const QList<GamepadProfileMeta> &fresh) {
                if (known.isSharedWith(m_entries) || (known.isEmpty() && m_entries.isEmpty()))
                    mergeCatalogue(fresh);
                else
                    onProfileRootsChanged();
            },
            this);
    }
    m_catalogueReader->read(m_entries);
}

// A document of the open profile changed (its own saves included: the check is cheap when the
// files are as saved), or a copy under way in a root went on, which may complete a profile.
void GamepadDefinder::onProfileFoldersChanged(const QStringList &paths)
{
    QStringList open;
    if (validRow(m_currentRow)) {
        m_session->checkDisk();
        open = documentPaths(m_entries.at(m_currentRow));
        open << QDir::cleanPath(m_entries.at(m_currentRow).folder);
    }
    for (const QString &path : paths) {
        if (!open.contains(path)) {
            onProfileRootsChanged();
            return;
        }
    }
}

// The catalogue as read from the folders, with the open profile kept where it is: by its folder,
// or, when it was deleted elsewhere with edits still open, as it was.
void GamepadDefinder::mergeCatalogue(QList<GamepadProfileMeta> fresh)
{
    QString currentFolder;
    if (validRow(m_currentRow)) {
        currentFolder = m_entries.at(m_currentRow).folder;
        m_session->checkDisk();
    }
    int current = -1;
    for (int i = 0; i < fresh.size() && current < 0; ++i) {
        if (fresh.at(i).folder == currentFolder)
            current = i;
    }
    const bool keepLost = !currentFolder.isEmpty() && current < 0 && m_session->hasUnsavedEdits();
    if (keepLost) {
        current = qMin(m_currentRow, int(fresh.size()));
        fresh.insert(current, m_entries.at(m_currentRow));
    }
    bool sameFolders = fresh.size() == m_entries.size();
    for (int i = 0; sameFolders && i < fresh.size(); ++i)
        sameFolders = fresh.at(i).folder == m_entries.at(i).folder;
    if (sameFolders) {
        for (int i = 0; i < fresh.size(); ++i) {
            const bool tileChanged = !sameTile(fresh.at(i), m_entries.at(i));
            if (i != m_currentRow)
                m_entries[i] = fresh.at(i);
            if (tileChanged || (i == m_currentRow && keepLost))
                updateTile(i);
        }
        rearmWatcher();
        return;
    }
    const GamepadProfileMeta open = validRow(m_currentRow) ? m_entries.at(m_currentRow)
                                                            : GamepadProfileMeta();
    m_entries = fresh;
    if (current >= 0)
        m_entries[current] = open; // the open profile keeps what this window knows of it
    m_tiles->fill(m_entries);
    const int previous = m_currentRow;
    m_currentRow = current;
    {
        const QSignalBlocker blocker(m_list);
        m_list->setCurrentRow(current);
    }
    if (current >= 0)
        updateTile(current);
    if (previous >= 0 && current < 0)
        showNoProfile(); // deleted elsewhere, nothing of it left unsaved
    else
        rearmWatcher();
    Q_EMIT profilesCatalogChanged();
}
