// The profile editor's operations on profiles: new, save, duplicate, delete, rename, change image,
// pastilles added from the top bar, and the metadata the panels change.

#include "gamepaddefinder.h"

#include "actionlinker.h"
#include "associationdialog.h"
#include "controlmanette.h"
#include "definderinternal.h"
#include "dialogseam.h"
#include "documentsession.h"
#include "gamepadconfigwidget.h"
#include "interactiveoverlay.h"
#include "jsonfile.h"
#include "profileoperations.h"
#include "profiletiles.h"

#include <QSignalBlocker>

#include <utility>

using namespace definder;

namespace {

const QString kLocalCopyFailed =
    QStringLiteral("Impossible de preparer une configuration locale : %1");
const QString kMetaSaveFailed = QStringLiteral("Échec sauvegarde meta : %1");

} // namespace

void GamepadDefinder::on_pushButtonAdd_clicked()
{
    actionNew();
}

QJsonObject GamepadDefinder::defaultOverlayDocument(const QString &imageSource) const
{
    // A scratch overlay of the editor's size over the chosen picture, so that the first pastille
    // keeps its place relative to the picture.
    InteractiveOverlay scratch;
    scratch.resize(m_overlay->size());
    scratch.setBackgroundPicture(imageSource);
    scratch.setLocked(false);
    scratch.createNode(ElementKind::SingleJoy, QStringLiteral("Start"), QPoint(200, 150));
    return scratch.serialize();
}

void GamepadDefinder::actionNew()
{
    bool ok = false;
    QString name =
        dialogSeam().getText(this, QStringLiteral("Nouveau gamepad"),
                             QStringLiteral("Nom du gamepad :"), QStringLiteral("Gamepad"), &ok);
    if (!ok)
        return;
    name = name.trimmed();
    if (name.isEmpty())
        name = QStringLiteral("Gamepad");
    const QString image = dialogSeam().getOpenFileName(
        this, QStringLiteral("Choisir l’image du gamepad"), QString(), profileImageFilter());
    if (image.isEmpty())
        return;

    NewProfileRequest request;
    request.name = name;
    request.imageSource = image;
    request.linkedName = chooseControllerToLink(this, connectedNames());
    for (const QPointer<ControlManette> &pad : std::as_const(m_realGamepads)) {
        if (!request.linkedName.isEmpty() && pad && pad->isConnected() &&
            sameName(pad->name(), request.linkedName)) {
            request.vendorId = pad->vendorId();
            request.productId = pad->productId();
            break;
        }
    }
    request.overlayDocument = defaultOverlayDocument(image);

    GamepadProfileMeta created;
    QString title;
    QString error;
    if (!createProfile(request, &created, &title, &error)) {
        dialogSeam().warning(this, title.isEmpty() ? QStringLiteral("Création") : title, error);
        return;
    }
    addCreatedProfile(created);
}

void GamepadDefinder::addCreatedProfile(const GamepadProfileMeta &entry)
{
    m_entries.append(entry);
    m_tiles->append(entry);
    selectRow(int(m_entries.size()) - 1);
    Q_EMIT profilesCatalogChanged();
}

void GamepadDefinder::actionSave()
{
    // An explicit save writes even what no edit marked, after the same checks of the disk.
    if (validRow(m_currentRow) && m_session->touched())
        saveProfile(m_currentRow);
}

int GamepadDefinder::duplicateCurrent()
{
    if (!validRow(m_currentRow))
        return -1;
    // The copy is made from the files: edits still in memory go there first.
    if (isDirty() && !saveProfile(m_currentRow))
        return -1;
    m_calibration->flushSave();
    GamepadProfileMeta copy;
    QString error;
    if (!duplicateProfile(m_entries.at(m_currentRow), &copy, &error)) {
        dialogSeam().warning(this, QStringLiteral("Dupliquer"), error);
        return -1;
    }
    m_entries.append(copy);
    m_tiles->append(copy);
    Q_EMIT profilesCatalogChanged();
    return int(m_entries.size()) - 1;
}

void GamepadDefinder::actionDuplicate()
{
    const int row = duplicateCurrent();
    if (row >= 0)
        selectRow(row);
}

bool GamepadDefinder::deleteCurrent()
{
    if (!validRow(m_currentRow))
        return false;
    const QString title = QStringLiteral("Supprimer");
    const GamepadProfileMeta entry = m_entries.at(m_currentRow);
    if (!mayDeleteProfile(entry)) {
        dialogSeam().information(this, title,
                                 QStringLiteral("Seul un admin peut supprimer un profil partage."));
        return false;
    }
    if (!dialogSeam().question(this, title, QStringLiteral("Supprimer « %1 » ?").arg(entry.name)))
        return false;
    // Nothing may write into the folder once it is gone, or it would come back.
    m_calibration->flushSave();
    m_linker->flushSave();
    m_session->close();
    QString error;
    const bool removed = deleteProfileFolder(entry, &error);
    const int row = std::exchange(m_currentRow, -1);
    if (removed) {
        m_entries.removeAt(row);
        m_tiles->remove(row);
    }
    onProfileRootsChanged(); // what a failed delete left, and changes made elsewhere, by a worker
    showNoProfile();
    Q_EMIT profilesCatalogChanged();
    if (!removed)
        dialogSeam().warning(this, title, error);
    return removed;
}

void GamepadDefinder::actionDelete()
{
    deleteCurrent();
}

void GamepadDefinder::actionRename()
{
    if (!validRow(m_currentRow))
        return;
    const int row = m_currentRow;
    bool ok = false;
    const QString typed =
        dialogSeam().getText(this, QStringLiteral("Renommer"), QStringLiteral("Nouveau nom :"),
                             m_entries.at(row).name, &ok);
    if (!ok || typed.trimmed().isEmpty() || row != m_currentRow)
        return;
    GamepadProfileMeta entry = m_entries.at(row);
    QString error;
    if (!renameProfile(&entry, typed.trimmed(), &error)) {
        if (!error.isEmpty())
            dialogSeam().warning(this, QStringLiteral("Renommer"), error);
        return;
    }
    adoptEntry(row, entry);
    Q_EMIT profilesCatalogChanged();
    m_session->setSubject(QStringLiteral("« %1 »").arg(entry.name));
    m_linker->loadGamepadSnapshot(entry.id, entry.name, entry.deviceNames, m_overlay->serialize(),
                                  entry.imagePath(), entry.folder);
    m_calibrationStale = true;
    syncCalibrationPanel();
    emitCurrentSelection();
}

void GamepadDefinder::actionChangeImage()
{
    if (!validRow(m_currentRow))
        return;
    const int row = m_currentRow;
    const QString source = dialogSeam().getOpenFileName(
        this, QStringLiteral("Choisir une nouvelle image"), QString(), profileImageFilter());
    if (source.isEmpty() || row != m_currentRow)
        return;
    GamepadProfileMeta entry = m_entries.at(row);
    QString error;
    if (!changeProfileImage(&entry, source, &error)) {
        dialogSeam().warning(this, QStringLiteral("Image"), error);
        return;
    }
    adoptEntry(row, entry);
    {
        const QSignalBlocker blocker(m_overlay);
        m_overlay->setBackgroundPicture(entry.imagePath());
    }
    m_calibrationStale = true;
    syncCalibrationPanel();
    Q_EMIT profilesCatalogChanged();
    emitCurrentSelection();
}

void GamepadDefinder::addNodeFromBar(int kind)
{
    if (!validRow(m_currentRow))
        return;
    QRect area = m_overlay->backgroundRect();
    if (area.isEmpty())
        area = m_overlay->rect();
    // Successive additions fan out instead of stacking on one spot.
    const int shift = (m_overlay->nodeCount() % 6) * 24;
    const int index =
        m_overlay->createNode(ElementKind(kind), QString(), area.center() + QPoint(shift, shift));
    m_overlay->setSelectedNode(index);
    onOverlayDirty();
}

bool GamepadDefinder::updateEntryMeta(int row,
                                      const std::function<void(GamepadProfileMeta &)> &change)
{
    if (!validRow(row))
        return false;
    GamepadProfileMeta entry = m_entries.at(row);
    QString error;
    if (!ensureLocalProfile(&entry, &error)) {
        dialogSeam().critical(this, kSaveTitle, kLocalCopyFailed.arg(error));
        return false;
    }
    change(entry);
    if (!writeProfileMeta(&entry, &error)) {
        dialogSeam().critical(this, kSaveTitle, kMetaSaveFailed.arg(error));
        return false;
    }
    adoptEntry(row, entry);
    return true;
}

// An entry whose "meta.json" this window has just written: the tile shows it, and the session
// knows the new file as its own (in the user's folder, when a shared profile was copied there).
void GamepadDefinder::adoptEntry(int row, const GamepadProfileMeta &entry)
{
    const bool moved = entry.folder != m_entries.at(row).folder;
    m_entries[row] = entry;
    updateTile(row);
    if (row != m_currentRow)
        return;
    if (moved)
        m_session->retarget(entry.folder, documentPaths(entry));
    m_session->noteOwnWrite(containedFilePath(entry.folder, kProfileMetaFileName));
    rearmWatcher();
}
