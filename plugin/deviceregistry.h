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

// The registry keeps this many devices at most; the ones seen longest ago go first.
// The stored values the registry itself reads: the user's selection and when the controller was
// last seen connected (milliseconds since the epoch).
inline const QString kRegistrySelected = QStringLiteral("selected");
inline const QString kRegistryLastSeen = QStringLiteral("lastSeen");

constexpr int kMaxRegistryEntries = 64;
// A registry file larger than this reads as an empty registry.
constexpr qint64 kMaxRegistryFileBytes = qint64(1) << 20;

// keeps the `max` entries with the newest kv "lastSeen" (milliseconds since the epoch, a JSON
// number; missing = oldest), in their original order
QList<DeviceRegistryEntry> newestRegistryEntries(QList<DeviceRegistryEntry> entries,
                                                 int max = kMaxRegistryEntries);

// The registry held by a file's bytes: the newest kMaxRegistryEntries devices. With
// `singleSelection` at most one of them stays selected (the one seen last; the first in order
// among equals), otherwise every stored selection is kept. Anything that is not a JSON object
// gives an empty registry.
DeviceRegistry parseDeviceRegistry(const QByteArray &bytes, bool singleSelection = true);

// AppData/<context>/ZeltoCom/gamepads.json. Creates the AppData/<context> folder on the way.
QString deviceRegistryPath(const QString &context);

// A missing, unreadable, oversized or malformed file gives an empty registry.
DeviceRegistry readDeviceRegistry(const QString &context, bool singleSelection = true);

// Writes the newest kMaxRegistryEntries entries (and their count as "lastCount") as compact JSON
// through the atomic writer. On failure the previous file stays and false is returned.
bool writeDeviceRegistry(const QString &context, const QList<DeviceRegistryEntry> &devices);
