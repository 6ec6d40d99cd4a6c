#include "deviceregistry.h"

#include "jsonfile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QStandardPaths>

#include <cstdio>

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

bool writeWhole(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    const bool written = file.write(bytes) == bytes.size() && file.flush();
    file.close();
    return written && file.error() == QFileDevice::NoError;
}

// rename(2) replaces the target atomically: at every instant a complete "gamepads.json" exists.
bool replaceFile(const QString &from, const QString &to)
{
    return std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0;
}

} // namespace

QString deviceRegistryPath(const QString &context)
{
    const QString base = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) +
                         QLatin1Char('/') + context;
    QDir().mkpath(base);
    return base + QStringLiteral("/ZeltoCom/gamepads.json");
}

DeviceRegistry readDeviceRegistry(const QString &context)
{
    DeviceRegistry registry;
    QJsonObject root;
    if (!readJsonObjectFile(deviceRegistryPath(context), &root, nullptr))
        return registry;
    registry.lastCount = root.value(kLastCount).toInt();
    const QJsonObject members = root.value(kDevices).toObject();
    for (auto it = members.constBegin(); it != members.constEnd(); ++it)
        registry.devices.append({it.key(), it.value().toObject().value(kKv).toObject()});
    return registry;
}

bool writeDeviceRegistry(const QString &context, const QList<DeviceRegistryEntry> &devices)
{
    const QString path = deviceRegistryPath(context);
    const QString temporary = path + QStringLiteral(".tmp");
    if (!QDir().mkpath(QFileInfo(path).absolutePath()))
        return false;
    const QByteArray bytes =
        QJsonDocument(registryDocument(devices)).toJson(QJsonDocument::Compact);
    if (writeWhole(temporary, bytes) && replaceFile(temporary, path))
        return true;
    QFile::remove(temporary);
    return false;
}
