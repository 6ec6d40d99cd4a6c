#include "mappingdocument.h"

#include "jsonfile.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>

using namespace BridgeField;

namespace {

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

QJsonObject mappingDocumentToWrite(const QString &path, const QVector<OverlayNode> &nodes,
                                   const QVector<LearnedKey> &learnedKeys,
                                   const QJsonArray &catalog, const JsonFileMessages &messages)
{
    // A corrupt document must not block saving: it is replaced by a fresh one.
    QJsonObject existing;
    if (QFileInfo::exists(path) && !readJsonObjectFile(path, &existing, nullptr, messages))
        existing = QJsonObject();
    const QJsonArray bridges =
        materializeMapping(nodes, learnedKeys, catalog).value(QLatin1String("bridges")).toArray();
    return mappingDocumentForSave(existing, bridges);
}

bool saveMappingDocument(const QString &profileFolder, const QVector<OverlayNode> &nodes,
                         const QVector<LearnedKey> &learnedKeys, const QJsonArray &catalog,
                         QString *error, const JsonFileMessages &messages)
{
    const QString path = containedFilePath(profileFolder, kMappingFileName);
    if (path.isEmpty())
        return failedSave(outsideProfileFolderError(profileFolder, kMappingFileName), error);
    const QJsonObject document =
        mappingDocumentToWrite(path, nodes, learnedKeys, catalog, messages);
    // The profile folder is never made here: a folder deleted meanwhile must not come back
    // holding only this file. Its absence is a write failure with the system's reason.
    QString writeError;
    return writeJsonFileAtomic(path, QJsonDocument(document).toJson(QJsonDocument::Indented),
                               &writeError, messages) ||
           failedSave(writeError, error);
}

bool readMappingBridges(const QString &profileFolder, QJsonArray *bridges, QString *error,
                        const JsonFileMessages &messages)
{
    const QString path = mappingDocumentPath(profileFolder);
    if (path.isEmpty())
        return false;
    if (!QFileInfo::exists(path)) {
        if (bridges)
            *bridges = QJsonArray();
        return true;
    }
    QJsonObject document;
    QString readError;
    if (!readJsonObjectFile(path, &document, &readError, messages)) {
        qCWarning(lcGamepadUi).noquote()
            << QStringLiteral("Gamepad mapping load failed error=%1").arg(readError);
        if (error)
            *error = readError;
        return false;
    }
    if (bridges)
        *bridges = document.value(QLatin1String("bridges")).toArray();
    return true;
}

bool loadMappingDocument(const QString &profileFolder, QVector<OverlayNode> *nodes, QString *error,
                         const JsonFileMessages &messages)
{
    QJsonArray bridges;
    if (!nodes || !readMappingBridges(profileFolder, &bridges, error, messages))
        return false;
    return applyMappingBridges(bridges, nodes);
}
