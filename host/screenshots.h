#pragma once

#include <QSize>
#include <QString>
#include <QStringList>

class HostWindow;

// The sizes of the pictures: the host window, and the configuration window at the size the
// plug-in opens it with.
constexpr QSize kDevicesShotSize{820, 560};
constexpr QSize kConfigurationShotSize{1360, 860};

// The exchange document's clipboard type, as the plug-in's editor pastes it.
inline const QString kProfileMimeType = QStringLiteral("application/x-zelto-gamepad");
// The device list names the simulated controller after the last joystick slot.
inline const QString kSimulatedDeviceUsn = QStringLiteral("gp:7");

// The file names written, in order.
QStringList screenshotFileNames();

// Drives `window` through its device list and the plug-in's configuration window, seeded with the
// exchange document `profilePath`, and writes screenshotFileNames() into `dir` (created when
// missing). `written` receives each path as it is written. Any dialog the plug-in opens meanwhile
// is dismissed and reported as a failure, so that nothing ever waits for a user. Returns false
// with the reason in `error`.
bool writeScreenshots(HostWindow &window, const QString &dir, const QString &profilePath,
                      QStringList *written, QString *error);
