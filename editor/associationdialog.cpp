#include "associationdialog.h"

#include "dialogseam.h"
#include "tagselectionbar.h"

QString chooseControllerToLink(QWidget *parent, const QStringList &connectedNames)
{
    const QString title = QStringLiteral("Association manette");
    const QStringList names = normalizedTagNames(connectedNames);
    if (names.isEmpty()) {
        dialogSeam().information(
            parent, title,
            QStringLiteral("Aucune manette connectée n'est disponible.\nVous pouvez créer un "
                           "profil sans liaison et l’associer plus tard."));
        return {};
    }
    bool ok = false;
    const QString chosen = dialogSeam().getItem(
        parent, title, QStringLiteral("Choisir la manette à lier :"), names, 0, false, &ok);
    return ok ? chosen : QString();
}
