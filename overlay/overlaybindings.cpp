#include "overlaybindings.h"

#include <QHash>

using namespace BridgeField;

namespace {

// The binding a bridge carries: its "dst" binding, overridden by its own "ref", "action", "args".
QJsonObject bridgeBinding(const QJsonObject &bridge)
{
    QJsonObject binding = bridge.value(kDst).toArray().at(0).toObject();
    for (const QString &key : {kRef, kAction, kArgs}) {
        if (bridge.contains(key))
            binding.insert(key, bridge.value(key));
    }
    return binding;
}

void applyBridge(const QJsonObject &bridge, const QJsonObject &src, OverlayNode *node,
                 OverlaySource *source, QJsonObject *binding)
{
    source->deviceType = src.value(QLatin1String("deviceType")).toString(source->deviceType);
    source->deviceId = src.value(QLatin1String("deviceId")).toInt(source->deviceId);
    source->packetId = src.value(QLatin1String("packetId")).toInt(source->packetId);
    const QJsonValue isJoy = src.value(QLatin1String("isJoy"));
    if (isJoy.isBool())
        source->isJoy = isJoy.toBool();
    if (bridge.value(kPublishMode).isString())
        node->publishMode = publishModeFromName(bridge.value(kPublishMode).toString());
    *binding = bridgeBinding(bridge);
}

// The input fields of a bridge: its "src" object, or the bridge itself in the older flat form.
QJsonObject bridgeSource(const QJsonObject &bridge)
{
    const QJsonValue src = bridge.value(kSrc);
    return src.isObject() ? src.toObject() : bridge;
}

// The input key of a bridge; a bare number of the older flat records takes the prefix its
// "isJoy" gives.
QString bridgeKey(const QJsonObject &src)
{
    const QString key = src.value(kStringKey).toString().trimmed();
    const QJsonValue isJoy = src.value(QLatin1String("isJoy"));
    return isJoy.isBool() ? prefixedInputKey(key, isJoy.toBool()) : key;
}

} // namespace

QJsonArray extractSharedActionCatalog(const QJsonObject &externalServices)
{
    const QJsonArray shared =
        externalServices.value(QLatin1String("sharedActionCatalog")).toArray();
    if (!shared.isEmpty())
        return shared;
    const QString flag = QStringLiteral("__kxSharedActionCatalog");
    QJsonArray catalog;
    for (const QJsonValue &v : externalServices.value(kRef).toArray()) {
        QJsonObject entry = v.toObject();
        if (!entry.value(flag).toBool())
            continue;
        entry.remove(flag);
        catalog.append(entry);
    }
    return catalog;
}

QString bindingActionName(const QJsonObject &binding)
{
    const QString ref = binding.value(kRef).toString().trimmed();
    return ref.isEmpty() ? binding.value(kAction).toString().trimmed() : ref;
}

bool isEmptyBinding(const QJsonObject &binding)
{
    const QString name = bindingActionName(binding);
    return name.isEmpty() || name.compare(QLatin1String("none"), Qt::CaseInsensitive) == 0;
}

QJsonObject normalizedBinding(const QJsonObject &binding)
{
    QJsonObject out;
    const QString name = bindingActionName(binding);
    if (!name.isEmpty())
        out.insert(kRef, name);
    const QJsonValue action = binding.value(kAction);
    if (!action.isUndefined() && !action.isNull())
        out.insert(kAction, action);
    out.insert(kArgs, binding.value(kArgs).toObject());
    return out;
}

QJsonObject quickMappingBinding(const QString &actionName)
{
    const QString name = actionName.trimmed();
    if (name.isEmpty())
        return {};
    return {{kRef, name}, {kAction, name}};
}

bool applyMappingBridges(const QJsonArray &bridges, QVector<OverlayNode> *nodes)
{
    if (!nodes)
        return false;
    // Each source takes the first bridge, in document order, that names its key. The bridges are
    // indexed once by folded key, so that matching stays linear in bridges plus sources.
    bool understood = true;
    QHash<QString, QJsonObject> firstBridgeOfKey;
    firstBridgeOfKey.reserve(bridges.size());
    for (const QJsonValue &value : bridges) {
        const QJsonObject bridge = value.toObject();
        const QString key = bridgeKey(bridgeSource(bridge));
        if (!value.isObject() || key.isEmpty()) {
            understood = false;
            continue;
        }
        const QString folded = key.toCaseFolded();
        if (!firstBridgeOfKey.contains(folded))
            firstBridgeOfKey.insert(folded, bridge);
    }
    for (OverlayNode &node : *nodes) {
        for (OverlaySlot &slot : node.sources) {
            const auto match =
                firstBridgeOfKey.constFind(slot.source.stringKey.trimmed().toCaseFolded());
            if (match != firstBridgeOfKey.constEnd())
                applyBridge(*match, bridgeSource(*match), &node, &slot.source, &slot.binding);
        }
    }
    return understood;
}
