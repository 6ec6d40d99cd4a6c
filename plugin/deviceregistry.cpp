#include "deviceregistry.h"

#include "jsonfile.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QStandardPaths>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace {

const QString kLastCount = QStringLiteral("lastCount");
const QString kDevices = QStringLiteral("devices");
const QString kKv = QStringLiteral("kv");

QJsonObject registryDocument(const QList<DeviceRegistryEntry> &devices)
{
    QJsonObject members;
    for (const DeviceRegistryEntry &entry : devices)
        members.insert(entry.usn, QJsonObject{{kKv, entry.kv}});
    return QJsonObject{{kDevices, members}, {kLastCount, int(devices.size())}};
}

// A missing or unusable stamp sorts before every real one.
double lastSeen(const DeviceRegistryEntry &entry)
{
    const QJsonValue value = entry.kv.value(kRegistryLastSeen);
    const double stamp = value.isDouble() ? value.toDouble() : -qInf();
    return std::isnan(stamp) ? -qInf() : stamp;
}

// Clears "selected" on every entry but the newest selected one.
void keepSingleSelection(QList<DeviceRegistryEntry> &entries)
{
    int kept = -1;
    for (int i = 0; i < entries.size(); ++i) {
        if (entries.at(i).kv.value(kRegistrySelected).toBool() &&
            (kept < 0 || lastSeen(entries.at(i)) > lastSeen(entries.at(kept))))
            kept = i;
    }
    for (int i = 0; i < entries.size(); ++i) {
        if (i != kept && entries.at(i).kv.value(kRegistrySelected).toBool())
            entries[i].kv.insert(kRegistrySelected, false);
    }
}

} // namespace

QList<DeviceRegistryEntry> newestRegistryEntries(QList<DeviceRegistryEntry> entries, int max)
{
    if (entries.size() <= qMax(0, max))
        return entries;
    QList<double> stamps;
    stamps.reserve(entries.size());
    for (const DeviceRegistryEntry &entry : entries)
        stamps.append(lastSeen(entry));
    // The newest first; among equal stamps the earlier entry wins.
    QList<int> order(entries.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(),
                     [&stamps](int a, int b) { return stamps.at(a) > stamps.at(b); });
    QList<bool> keep(entries.size(), false);
    for (int i = 0; i < qMax(0, max); ++i)
        keep[order.at(i)] = true;
    QList<DeviceRegistryEntry> kept;
    kept.reserve(qMax(0, max));
    for (int i = 0; i < entries.size(); ++i) {
        if (keep.at(i))
            kept.append(std::move(entries[i]));
    }
    return kept;
}

DeviceRegistry parseDeviceRegistry(const QByteArray &bytes, bool singleSelection)
{
    DeviceRegistry registry;
    const QJsonDocument document = QJsonDocument::fromJson(bytes);
    if (!document.isObject())
        return registry;
    const QJsonObject root = document.object();
    registry.lastCount = root.value(kLastCount).toInt();
    const QJsonObject members = root.value(kDevices).toObject();
    QList<DeviceRegistryEntry> devices;
    devices.reserve(members.size());
    for (auto it = members.constBegin(); it != members.constEnd(); ++it)
        devices.append({it.key(), it.value().toObject().value(kKv).toObject()});
    registry.devices = newestRegistryEntries(std::move(devices));
    if (singleSelection)
        keepSingleSelection(registry.devices);
    return registry;
}

// A path only: reading makes no folder, the writer makes the ones it needs.
QString deviceRegistryPath(const QString &context)
{
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + QLatin1Char('/') +
           context + QStringLiteral("/ZeltoCom/gamepads.json");
}

DeviceRegistry readDeviceRegistry(const QString &context, bool singleSelection)
{
    QByteArray bytes;
    if (!readRegularFile(deviceRegistryPath(context), kMaxRegistryFileBytes, &bytes, nullptr))
        return {};
    return parseDeviceRegistry(bytes, singleSelection);
}

bool writeDeviceRegistry(const QString &context, const QList<DeviceRegistryEntry> &devices)
{
    const QString path = deviceRegistryPath(context);
    if (!QDir().mkpath(QFileInfo(path).absolutePath()))
        return false;
    const QByteArray bytes = QJsonDocument(registryDocument(newestRegistryEntries(devices)))
                                 .toJson(QJsonDocument::Compact);
    return writeFileAtomic(path, bytes, nullptr);
}
