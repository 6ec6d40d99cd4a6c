#pragma once

#include <QString>

// Where the icons and controller pictures live in the compiled resources. The artwork generator
// writes every file under its path here, and the code that shows one addresses it by the same
// path.
namespace ResourcePaths {

// Icons of the device cards.
inline const QString kAxisIcon = QStringLiteral(":/icones/ressources/gp_axis.png");
inline const QString kButtonIcon = QStringLiteral(":/icones/ressources/gp_button.png");
inline const QString kConnectedIcon = QStringLiteral(":/icones/ressources/gimbalConnected.png");
inline const QString kBusyIcon = QStringLiteral(":/icones/ressources/gimbalBusy.png");
inline const QString kDisconnectedIcon =
    QStringLiteral(":/icones/ressources/gimbalDisconnected.png");
inline const QString kWarningIcon = QStringLiteral(":/new_icons/Ressources/new_icons/warning.png");
inline const QString kCloseIcon = QStringLiteral(":/new_icons/Ressources/new_icons/close.png");
// The icon of the device family.
inline const QString kConsoleIcon = QStringLiteral(":/icon/ressources/console-video.png");

// The picture shown for a controller without a picture of its own.
inline const QString kGenericControllerPicture =
    QStringLiteral(":/new/prefix1/ressources/menette_generic.png");

// The default picture of a controller model, by its USB product id in decimal.
inline QString controllerPicturePath(quint32 productId)
{
    return QStringLiteral(":/new/prefix1/ressources/menette_id_%1.png").arg(productId);
}

} // namespace ResourcePaths
