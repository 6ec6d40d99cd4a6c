#pragma once

#include "gamepadcalibration.h"
#include "profilestore.h"

#include <QString>

// Which file supplies the calibration in force: built-in defaults, the base file of the
// controller model shared by every profile, or the profile's own override.
enum class CalibrationSource { Defaults = 0, BaseDevice = 1, ProfileOverride = 2 };

QString calibrationSourceLabel(CalibrationSource source);
QString calibrationSourceLabel(int source);

struct ResolvedCalibration
{
    GamepadCalibration calibration;
    CalibrationSource source = CalibrationSource::Defaults;
    QString sourcePath;
    QString basePath;
    QString overridePath;
};

inline const QString kBaseCalibrationFolder = QStringLiteral("_deviceCalibration");

// Lower-cased device name reduced to letters, digits and single underscores, at most 64 characters
// (code points).
QString sanitizedDeviceName(const QString &name);
// "%vendor_%product_%name.json"; empty for an identity without name and ids.
QString baseCalibrationFileName(const GamepadDeviceIdentity &identity);
QString findBaseCalibrationFile(const GamepadDeviceIdentity &identity);
QString baseCalibrationWritePath(const GamepadDeviceIdentity &identity);

bool profileCanCarryOverride(const GamepadProfileInfo &profile);
// Where the override is read from: a relative name inside the profile folder, an absolute one as
// it stands.
QString profileOverridePath(const GamepadProfileInfo &profile);
// Where the override may be written: empty when it would lie outside the profile folder (an
// absolute name, "..", or a symbolic link on the way).
QString profileOverrideWritePath(const GamepadProfileInfo &profile);

ResolvedCalibration resolveCalibration(const GamepadDeviceIdentity &identity,
                                       const GamepadProfileInfo &profile, int axisCount,
                                       int buttonCount);
