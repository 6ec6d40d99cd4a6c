#pragma once

// Small helpers shared by the files of the profile editor (GamepadDefinder), not by anyone else.

#include <QString>
#include <QUuid>

namespace definder {

inline const QString kSaveTitle = QStringLiteral("Sauvegarde");
inline const QString kLoadTitle = QStringLiteral("Chargement");

inline QString idText(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces);
}

// Controller names as the user typed them and as the controller reports them.
inline bool sameName(const QString &a, const QString &b)
{
    return a.trimmed().compare(b.trimmed(), Qt::CaseInsensitive) == 0;
}

} // namespace definder
