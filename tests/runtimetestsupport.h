#pragma once

#include "joystickbackend.h"
#include "virtualjoystickbackend.h"

#include <QtCore>

// Installs scripted controllers for one test and puts every profile folder in a throw-away home.
class VirtualJoysticks
{
public:
    VirtualJoysticks() { setJoystickBackend(&backend); }
    ~VirtualJoysticks() { setJoystickBackend(nullptr); }
    VirtualJoystickBackend backend;
};

inline void useThrowAwayHome(const QTemporaryDir &home)
{
    qputenv("HOME", home.path().toLocal8Bit());
    qputenv("XDG_DATA_HOME", QDir(home.path()).filePath(".local/share").toLocal8Bit());
    QStandardPaths::setTestModeEnabled(true);
}

inline JoystickIdentification padIdentity(const QString &name = QStringLiteral("Test Pad"))
{
    return {name, 0x45e, 0x28e};
}
