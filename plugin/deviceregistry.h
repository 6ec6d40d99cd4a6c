#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

// The small file in which the device list remembers the controllers it has seen, the user's
// selection and per-device settings between sessions: "gamepads.json" under the application data
// folder, one file per host context.

// One remembered device: its row identifier ("gp:<index>" for a joystick) and its stored values.
struct DeviceRegistryEntry
{
    QString usn;
    QJsonObject kv;

    bool operator==(const DeviceRegistryEntry &o) const { return usn == o.usn && kv == o.kv; }
};

struct DeviceRegistry
{
    int lastCount = 0; // the number of entries when the file was written
    QList<DeviceRegistryEntry> devices;
};

// AppData/<context>/ZeltoCom/gamepads.json. Creates the AppData/<context> folder on the way.
QString deviceRegistryPath(const QString &context);

// A missing, unreadable or malformed file gives an empty registry.
DeviceRegistry readDeviceRegistry(const QString &context);

// Writes the entries (and their count as "lastCount") as compact JSON beside the file, then
// renames the result over it in one step. On failure the previous file stays and false is returned.
bool writeDeviceRegistry(const QString &context, const QList<DeviceRegistryEntry> &devices);
