#include "mappingdocument.h"

#include "jsonfile.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>

Q_LOGGING_CATEGORY(lcGamepadUi, "kx.plugin.gamepad.ui", QtInfoMsg)

namespace {

const QString kSrc = QStringLiteral("src");
const QString kRef = QStringLiteral("ref");
const QString kAction = QStringLiteral("action");
const QString kArgs = QStringLiteral("args");
const QString kDst = QStringLiteral("dst");
const QString kStringKey = QStringLiteral("stringKey");
const QString kPublishMode = QStringLiteral("publishMode");
const QString kPlaceholderArg = QStringLiteral("arg_0");
const QString kJoyDefaultPrefix = QStringLiteral("param:joy_");

// Sections of the host's action system: kept as read, created empty when missing.
const char *const kPreservedSections[] = {"signals", "onStartup", "onClose", "timers"};

QJsonObject sourceObject(const OverlaySource &source)
{
    return {{QStringLiteral("deviceType"), source.deviceType},
            {QStringLiteral("deviceId"), source.deviceId},
            {QStringLiteral("packetId"), source.packetId},
            {kStringKey, source.stringKey.trimmed()}};
}

QJsonObject catalogEntry(const QJsonArray &catalog, const QString &name)
{
    for (const QJsonValue &entry : catalog) {
        const QJsonObject o = entry.toObject();
        if (o.value(QLatin1String("name"))
                .toString()
                .trimmed()
                .compare(name, Qt::CaseInsensitive) == 0)
            return o;
    }
    return {};
}

// Axis parameters whose default names a stick ("param:joy_...") take that default in place of
// the generic "arg_0" placeholder, so the host reads the right axis.
QJsonObject completedArgs(const QJsonObject &binding, const QJsonArray &catalog)
{
    QJsonObject args = binding.value(kArgs).toObject();
    const QString name = bindingActionName(binding);
    if (args.isEmpty() || name.isEmpty())
        return args;
    const QJsonArray params = catalogEntry(catalog, name).value(QLatin1String("params")).toArray();
    for (const QJsonValue &p : params) {
        const QJsonObject param = p.toObject();
        const QString fallback = param.value(QLatin1String("default")).toString().trimmed();
        if (!fallback.startsWith(kJoyDefaultPrefix))
            continue;
        const QString paramName = param.value(QLatin1String("name")).toString();
        const QJsonValue current = args.value(paramName);
        if (current.isString() &&
            current.toString().trimmed().compare(kPlaceholderArg, Qt::CaseInsensitive) == 0)
            args.insert(paramName, fallback);
    }
    return args;
}

bool isBridgeable(const QJsonObject &binding)
{
    return !isEmptyBinding(binding) && (binding.contains(kRef) || binding.contains(kAction));
}

// The action part of a bridge: the action by name, or the whole binding when its "action" is
// something other than a name.
void insertTarget(QJsonObject *bridge, const QJsonObject &binding, const QJsonArray &catalog)
{
    const QJsonValue action = binding.value(kAction);
    const bool namedAction = action.isUndefined() || action.isNull() || action.isString();
    const QString name = bindingActionName(binding);
    if (namedAction && !name.isEmpty())
        bridge->insert(kAction, name);
    else
        bridge->insert(kDst, QJsonArray{normalizedBinding(binding)});
    const QJsonObject args = completedArgs(binding, catalog);
    if (!args.isEmpty())
        bridge->insert(kArgs, args);
}

bool hasEmptyKey(const QVector<OverlaySlot> &sources)
{
    for (const OverlaySlot &slot : sources) {
        if (slot.source.stringKey.trimmed().isEmpty())
            return true;
    }
    return false;
}

// An unsplit cross carries one action for both axes: one bridge per axis, sharing the group key
// so the host publishes the pair together.
void appendCrossBridges(const OverlayNode &node, const QJsonArray &catalog, QJsonArray *bridges)
{
    QJsonObject binding;
    for (const OverlaySlot &slot : node.sources) {
        if (!isEmptyBinding(slot.binding)) {
            binding = slot.binding;
            break;
        }
    }
    if (!isBridgeable(binding) || hasEmptyKey(node.sources))
        return;
    const QString groupKey = node.id.isNull() ? QString() : node.id.toString(QUuid::WithoutBraces);
    for (const OverlaySlot &slot : node.sources) {
        QJsonObject bridge{{kSrc, sourceObject(slot.source)},
                           {QStringLiteral("joyXKey"), node.sources[0].source.stringKey.trimmed()},
                           {QStringLiteral("joyYKey"), node.sources[1].source.stringKey.trimmed()},
                           {kPublishMode, publishModeName(node.publishMode)}};
        if (!groupKey.isEmpty())
            bridge.insert(QStringLiteral("publishGroupKey"), groupKey);
        insertTarget(&bridge, binding, catalog);
        bridges->append(bridge);
    }
}

void appendSlotBridges(const OverlayNode &node, const QJsonArray &catalog, QJsonArray *bridges)
{
    for (const OverlaySlot &slot : node.sources) {
        if (slot.source.stringKey.trimmed().isEmpty() || !isBridgeable(slot.binding))
            continue;
        QJsonObject bridge{{kSrc, sourceObject(slot.source)}};
        if (node.kind != ElementKind::Button)
            bridge.insert(kPublishMode, publishModeName(node.publishMode));
        insertTarget(&bridge, slot.binding, catalog);
        bridges->append(bridge);
    }
}

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

bool failedSave(const QString &reason, QString *error)
{
    qCWarning(lcGamepadUi).noquote()
        << QStringLiteral("Gamepad mapping save failed error=%1").arg(reason);
    if (error)
        *error = reason;
    return false;
}

} // namespace

QString mappingDocumentPath(const QString &profileFolder)
{
    if (profileFolder.isEmpty())
        return {};
    return QDir(profileFolder).filePath(kMappingFileName);
}

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

QJsonObject materializeMapping(const QVector<OverlayNode> &nodes,
                               const QVector<LearnedKey> &learnedKeys, const QJsonArray &catalog)
{
    QJsonArray bridges;
    for (const OverlayNode &node : nodes) {
        if (node.kind == ElementKind::DualJoyCross && !node.split) {
            if (node.sources.size() >= 2)
                appendCrossBridges(node, catalog, &bridges);
            continue;
        }
        appendSlotBridges(node, catalog, &bridges);
    }
    for (const LearnedKey &learned : learnedKeys) {
        const QString key = learned.key.trimmed();
        if (key.isEmpty() || !isBridgeable(learned.binding))
            continue;
        OverlaySource source;
        source.deviceType = kGamepadDeviceType;
        source.stringKey = key;
        QJsonObject bridge{{kSrc, sourceObject(source)}};
        insertTarget(&bridge, learned.binding, catalog);
        bridges.append(bridge);
    }
    return {{QStringLiteral("bridges"), bridges}};
}

QJsonObject mappingDocumentForSave(QJsonObject existing, const QJsonArray &bridges)
{
    for (const char *section : kPreservedSections) {
        const QString key = QString::fromLatin1(section);
        if (!existing.contains(key))
            existing.insert(key, QJsonArray());
    }
    // Readers of older documents look for "refs"; the current writer drops it and leaves an
    // empty "ref".
    existing.insert(kRef, QJsonArray());
    existing.remove(QStringLiteral("refs"));
    existing.insert(QStringLiteral("bridges"), bridges);
    return existing;
}

bool saveMappingDocument(const QString &profileFolder, const QVector<OverlayNode> &nodes,
                         const QVector<LearnedKey> &learnedKeys, const QJsonArray &catalog,
                         QString *error)
{
    const QString path = containedFilePath(profileFolder, kMappingFileName);
    if (path.isEmpty())
        return failedSave(outsideProfileFolderError(profileFolder, kMappingFileName), error);
    // A corrupt document must not block saving: it is replaced by a fresh one.
    QJsonObject existing;
    if (QFileInfo::exists(path) && !readJsonObjectFile(path, &existing, nullptr))
        existing = QJsonObject();
    const QJsonArray bridges =
        materializeMapping(nodes, learnedKeys, catalog).value(QLatin1String("bridges")).toArray();
    const QJsonObject document = mappingDocumentForSave(existing, bridges);
    // A folder that cannot be made shows up as a write failure just below.
    QDir(profileFolder).mkpath(QStringLiteral("."));
    QString writeError;
    return writeJsonFileAtomic(path, document, &writeError, true) || failedSave(writeError, error);
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

bool loadMappingDocument(const QString &profileFolder, QVector<OverlayNode> *nodes, QString *error)
{
    const QString path = mappingDocumentPath(profileFolder);
    if (path.isEmpty() || !nodes)
        return false;
    if (!QFileInfo::exists(path))
        return true;
    QJsonObject document;
    QString readError;
    if (!readJsonObjectFile(path, &document, &readError)) {
        qCWarning(lcGamepadUi).noquote()
            << QStringLiteral("Gamepad mapping load failed error=%1").arg(readError);
        if (error)
            *error = readError;
        return false;
    }
    return applyMappingBridges(document.value(QLatin1String("bridges")).toArray(), nodes);
}
