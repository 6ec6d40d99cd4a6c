#pragma once

// Words and helpers shared by the source files of the calibration panel; not for other users.

#include "gamepadcalibration.h"

#include <QString>

namespace calibrationpanel {

inline const QString kModeOverride = QStringLiteral("override");
inline const QString kModeInherit = QStringLiteral("inherit");
inline const QString kNoTarget = QStringLiteral("Aucun fichier de calibration cible.");
inline const QString kNoProfile =
    QStringLiteral("Aucun profil selectionne pour creer un override.");
inline const QString kCapturesOff = QStringLiteral("Deconnectee: captures off");
inline const QString kMeasureTitle = QStringLiteral("Mesurer");

inline GamepadCalibration fullCalibration(const GamepadCalibration &calibration)
{
    return normalizeCalibration(calibration, kGamepadAxisCount, kGamepadButtonCount);
}

inline GamepadCalibration defaultFullCalibration()
{
    return defaultCalibration(kGamepadAxisCount, kGamepadButtonCount);
}

inline QString scopeName(int scope)
{
    return scope == 1 ? QStringLiteral("Profil") : QStringLiteral("Base");
}

} // namespace calibrationpanel
