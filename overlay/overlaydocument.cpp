#include "overlaydocument.h"

#include "jsonfile.h"

#include <QJsonArray>
#include <QRegularExpression>

#include <algorithm>
#include <climits>
#include <cmath>
#include <tuple>

namespace {

// No widget is larger than QWIDGETSIZE_MAX; keeping every coordinate and side within 2^24 keeps
// QRect's own int arithmetic (right = left + width - 1) clear of overflow.
constexpr double kMaxCoordinate = 1 << 24;

int boundedPixels(double value)
{
    return std::isnan(value) ? 0
                             : roundHalfAway(std::clamp(value, -kMaxCoordinate, kMaxCoordinate));
}

QRect boundedRect(double x, double y, double width, double height)
{
    return QRect(boundedPixels(x), boundedPixels(y), boundedPixels(width), boundedPixels(height));
}

template <typename Enum> struct Named
{
    Enum value;
    const char *name;
};

// The first row of a value gives its written name; later rows are accepted spellings.
const Named<PublishMode> kPublishModes[] = {{PublishMode::OnChange, "onChange"},
                                            {PublishMode::ActiveOnly, "activeOnly"},
                                            {PublishMode::ActiveOnly, "active_only"},
                                            {PublishMode::Always, "always"}};

const Named<BackgroundScaleMode> kScaleModes[] = {{BackgroundScaleMode::Stretch, "Stretch"},
                                                  {BackgroundScaleMode::Contain, "Contain"},
                                                  {BackgroundScaleMode::Cover, "Cover"},
                                                  {BackgroundScaleMode::Center, "Center"}};

const Named<ElementKind> kKindNames[] = {{ElementKind::SingleJoy, "singleJoy"},
                                         {ElementKind::DualJoyCross, "dualJoyCross"},
                                         {ElementKind::Button, "button"}};

template <typename Enum, size_t N> QString nameIn(const Named<Enum> (&table)[N], Enum value)
{
    for (const Named<Enum> &row : table) {
        if (row.value == value)
            return QLatin1String(row.name);
    }
    return QLatin1String(table[0].name);
}

// Matches the trimmed text with case ignored.
template <typename Enum, size_t N>
Enum valueIn(const Named<Enum> (&table)[N], const QString &text, Enum fallback)
{
    const QString wanted = text.trimmed();
    for (const Named<Enum> &row : table) {
        if (wanted.compare(QLatin1String(row.name), Qt::CaseInsensitive) == 0)
            return row.value;
    }
    return fallback;
}

struct KindSlots
{
    ElementKind kind;
    const char *titleFormat;
    QStringList labels;
    bool isJoy; // what a new slot listens to: an axis or a button
};

const KindSlots &kindSlots(ElementKind kind)
{
    static const KindSlots table[] = {
        {ElementKind::SingleJoy, "Joy %1", {QStringLiteral("Joystick")}, true},
        {ElementKind::DualJoyCross,
         "Double Joy %1",
         {QStringLiteral("Axe X"), QStringLiteral("Axe Y")},
         true},
        {ElementKind::Button, "Bouton %1", {QStringLiteral("Bouton")}, false}};
    for (const KindSlots &row : table) {
        if (row.kind == kind)
            return row;
    }
    return table[0];
}

// A key's prefix says what it is; a key without one follows "isJoy" when that is a boolean.
bool isAxisKey(const QString &key, const QJsonValue &isJoy, bool fallback)
{
    if (key.startsWith(QLatin1String("joy_")))
        return true;
    if (key.startsWith(QLatin1String("but_")) || key.startsWith(QLatin1String("gate_")))
        return false;
    return isJoy.toBool(fallback);
}

// Overwrites the members that `o` holds with the right type.
void readSourceInto(const QJsonObject &o, OverlaySource *s)
{
    s->deviceType = o.value(QLatin1String("deviceType")).toString(s->deviceType);
    s->deviceId = o.value(QLatin1String("deviceId")).toInt(s->deviceId);
    s->packetId = o.value(QLatin1String("packetId")).toInt(s->packetId);
    s->stringKey = o.value(QLatin1String("stringKey")).toString(s->stringKey);
    s->isJoy = isAxisKey(s->stringKey, o.value(QLatin1String("isJoy")), s->isJoy);
}

// Old nodes carry one source as loose keys, on the node itself or in its "src" object.
void readLegacySourceInto(const QJsonObject &node, OverlaySource *s)
{
    readSourceInto(node.value(QLatin1String("src")).toObject(), s);
    readSourceInto(node, s);
}

ElementKind kindOf(const QJsonObject &node)
{
    OverlaySource probe; // an axis unless the legacy keys say otherwise
    readLegacySourceInto(node, &probe);
    const ElementKind legacy = probe.isJoy ? ElementKind::SingleJoy : ElementKind::Button;
    return elementKindFromName(node.value(QLatin1String("kind")).toString(), legacy);
}

double clampedFraction(double value, double fallback)
{
    return std::isfinite(value) ? std::clamp(value, -kMaxStoredFraction, kMaxStoredFraction)
                                : fallback;
}

// Every geometry a document yields, stored or converted from an old layout, is bounded the same
// way, so what is written reads back unchanged. A pastille without area cannot be shown or
// written back: it gets the default place.
QRectF clampedGeometry(const QRectF &g)
{
    const QRectF d = OverlayNode().geometry;
    const QRectF bounded(clampedFraction(g.x(), d.x()), clampedFraction(g.y(), d.y()),
                         clampedFraction(g.width(), d.width()),
                         clampedFraction(g.height(), d.height()));
    return bounded.isValid() ? bounded : d;
}

QRectF geometryOf(const QJsonObject &node)
{
    const QJsonValue geometry = node.value(QLatin1String("geometry"));
    const QJsonObject o =
        (geometry.isObject() ? geometry : node.value(QLatin1String("pastille"))).toObject();
    const QRectF d = OverlayNode().geometry;
    auto read = [&o](const char *key, double fallback) {
        return o.value(QLatin1String(key)).toDouble(fallback);
    };
    return clampedGeometry(
        QRectF(read("x", d.x()), read("y", d.y()), read("w", d.width()), read("h", d.height())));
}

int storedSide(const QJsonObject &size, const char *key, int fallback)
{
    return std::clamp(size.value(QLatin1String(key)).toInt(fallback), 1, kMaxStoredOverlaySide);
}

void readSources(const QJsonObject &o, int version, OverlayNode *node)
{
    const QJsonValue sources = o.value(QLatin1String("sources"));
    if (version < 3 && !sources.isObject() && !node->sources.isEmpty())
        readLegacySourceInto(o, &node->sources.first().source);
    const QJsonObject byLabel = sources.toObject();
    for (OverlaySlot &slot : node->sources) {
        const QJsonValue source = byLabel.value(slot.label);
        if (source.isObject())
            readSourceInto(source.toObject(), &slot.source);
        // Only once every key is read: "isJoy" may sit beside the key or on the node.
        slot.source.stringKey = prefixedInputKey(slot.source.stringKey, slot.source.isJoy);
    }
}

OverlayNode nodeFromJson(const QJsonObject &o, int version, int number)
{
    const ElementKind kind = kindOf(o);
    QString title = o.value(QLatin1String("title")).toString();
    if (title.trimmed().isEmpty())
        title = defaultTitle(kind, number);
    OverlayNode node = makeOverlayNode(kind, title);
    node.split = kind == ElementKind::DualJoyCross && o.value(QLatin1String("split")).toBool();
    node.publishMode = publishModeFromName(o.value(QLatin1String("publishMode")).toString());
    const QUuid id = QUuid::fromString(o.value(QLatin1String("id")).toString());
    if (!id.isNull())
        node.id = id;
    node.geometry = geometryOf(o);
    node.freeAspect = o.value(QLatin1String("freeAspect")).toBool();
    readSources(o, version, &node);
    return node;
}

QRect centred(const QSize &widget, qint64 width, qint64 height)
{
    return boundedRect(double((widget.width() - width) / 2), double((widget.height() - height) / 2),
                       double(width), double(height));
}

// Layouts of the first version stored fractions of the whole overlay; they are turned into
// pixels of the stored overlay, then into fractions of the picture as it was shown then.
QRectF fromOverlayFractions(const QRectF &f, const QSize &overlay, const QRect &background)
{
    if (background.isEmpty())
        return f;
    const QRect pixels = boundedRect(f.x() * overlay.width(), f.y() * overlay.height(),
                                     qMax(1.0, f.width() * overlay.width()),
                                     qMax(1.0, f.height() * overlay.height()));
    return fractionsOf(pixels, background);
}

// QSize::scaled narrows an extreme aspect ratio to int; this keeps the full width.
QRect scaledAndCentred(const QSize &widget, const QSize &picture, bool expanding)
{
    const qint64 widthAtFullHeight = qint64(widget.height()) * picture.width() / picture.height();
    const bool useHeight =
        expanding ? widthAtFullHeight >= widget.width() : widthAtFullHeight <= widget.width();
    if (useHeight)
        return centred(widget, widthAtFullHeight, widget.height());
    return centred(widget, widget.width(),
                   qint64(widget.width()) * picture.height() / picture.width());
}

QJsonObject sourceToJson(const OverlaySource &s)
{
    return {{QLatin1String("deviceType"), s.deviceType},
            {QLatin1String("deviceId"), s.deviceId},
            {QLatin1String("packetId"), s.packetId},
            {QLatin1String("stringKey"), s.stringKey}};
}

QJsonObject nodeToJson(const OverlayNode &node)
{
    QJsonObject o;
    o.insert(QLatin1String("id"), node.id.toString(QUuid::WithoutBraces));
    o.insert(QLatin1String("kind"), elementKindName(node.kind));
    o.insert(QLatin1String("title"), node.title);
    o.insert(QLatin1String("state"), QLatin1String("Normal"));
    if (node.geometry.isValid()) {
        const QRectF &g = node.geometry;
        o.insert(QLatin1String("geometry"), QJsonObject{{QLatin1String("x"), g.x()},
                                                        {QLatin1String("y"), g.y()},
                                                        {QLatin1String("w"), g.width()},
                                                        {QLatin1String("h"), g.height()}});
    }
    QJsonObject sources;
    for (const OverlaySlot &slot : node.sources)
        sources.insert(slot.label, sourceToJson(slot.source));
    o.insert(QLatin1String("sources"), sources);
    o.insert(QLatin1String("publishMode"), publishModeName(node.publishMode));
    if (node.kind == ElementKind::DualJoyCross)
        o.insert(QLatin1String("split"), node.split);
    o.insert(QLatin1String("freeAspect"), node.freeAspect);
    return o;
}

} // namespace

bool OverlaySource::operator==(const OverlaySource &o) const
{
    return std::tie(isJoy, deviceType, deviceId, packetId, stringKey) ==
           std::tie(o.isJoy, o.deviceType, o.deviceId, o.packetId, o.stringKey);
}

bool OverlaySlot::operator==(const OverlaySlot &o) const
{
    return std::tie(label, source, binding) == std::tie(o.label, o.source, o.binding);
}

bool OverlayNode::operator==(const OverlayNode &o) const
{
    return std::tie(id, kind, title, geometry, sources, publishMode, split, freeAspect) ==
           std::tie(o.id, o.kind, o.title, o.geometry, o.sources, o.publishMode, o.split,
                    o.freeAspect);
}

QString elementKindName(ElementKind kind)
{
    return nameIn(kKindNames, kind);
}

ElementKind elementKindFromName(const QString &name, ElementKind fallback)
{
    return valueIn(kKindNames, name, fallback);
}

QString publishModeName(PublishMode mode)
{
    return nameIn(kPublishModes, mode);
}

PublishMode publishModeFromName(const QString &name)
{
    return valueIn(kPublishModes, name, PublishMode::OnChange);
}

QString backgroundScaleModeName(BackgroundScaleMode mode)
{
    return nameIn(kScaleModes, mode);
}

BackgroundScaleMode backgroundScaleModeFromName(const QString &name)
{
    return valueIn(kScaleModes, name, BackgroundScaleMode::Contain);
}

QStringList slotLabels(ElementKind kind)
{
    return kindSlots(kind).labels;
}

OverlaySource defaultSource(ElementKind kind)
{
    OverlaySource source;
    source.isJoy = kindSlots(kind).isJoy;
    return source;
}

QString defaultTitle(ElementKind kind, int number)
{
    return QString::fromLatin1(kindSlots(kind).titleFormat).arg(number);
}

QString prefixedInputKey(const QString &key, bool isJoy)
{
    static const QRegularExpression bareNumber(QStringLiteral("^\\s*([0-9]+)\\s*$"));
    const QRegularExpressionMatch number = bareNumber.match(key);
    if (!number.hasMatch())
        return key;
    return QLatin1String(isJoy ? "joy_" : "but_") + number.captured(1);
}

OverlayNode makeOverlayNode(ElementKind kind, const QString &title)
{
    OverlayNode node;
    node.id = QUuid::createUuid();
    node.kind = kind;
    node.title = title;
    for (const QString &label : slotLabels(kind))
        node.sources.append({label, defaultSource(kind), {}});
    return node;
}

QString sourceSummary(const OverlayNode &node)
{
    QStringList keys;
    for (const OverlaySlot &slot : node.sources) {
        if (!slot.source.stringKey.trimmed().isEmpty())
            keys << slot.source.stringKey;
    }
    return keys.join(QStringLiteral(" / "));
}

OverlaySource sourceOf(const OverlayNode &node, const QString &label)
{
    for (const OverlaySlot &slot : node.sources) {
        if (slot.label == label)
            return slot.source;
    }
    return defaultSource(node.kind);
}

QRect backgroundRect(const QSize &widgetSize, const QSize &pictureSize, BackgroundScaleMode mode)
{
    const QRect whole(QPoint(0, 0), widgetSize);
    if (pictureSize.isEmpty() || widgetSize.isEmpty())
        return whole;
    switch (mode) {
    case BackgroundScaleMode::Contain:
        return scaledAndCentred(widgetSize, pictureSize, false);
    case BackgroundScaleMode::Cover:
        return scaledAndCentred(widgetSize, pictureSize, true);
    case BackgroundScaleMode::Center:
        return centred(widgetSize, pictureSize.width(), pictureSize.height());
    default:
        return whole;
    }
}

QRect placeFractions(const QRectF &fractions, const QRect &background)
{
    if (!fractions.isValid() || background.isEmpty())
        return QRect();
    const double w = qint64(background.right()) - background.left() + 1;
    const double h = qint64(background.bottom()) - background.top() + 1;
    return boundedRect(background.x() + fractions.x() * w, background.y() + fractions.y() * h,
                       qMax(1.0, fractions.width() * w), qMax(1.0, fractions.height() * h));
}

QRectF fractionsOf(const QRectF &pixels, const QRect &background)
{
    if (background.isEmpty())
        return QRectF();
    const double w = qint64(background.right()) - background.left() + 1;
    const double h = qint64(background.bottom()) - background.top() + 1;
    return QRectF((pixels.x() - background.x()) / w, (pixels.y() - background.y()) / h,
                  pixels.width() / w, pixels.height() / h);
}

int roundHalfAway(double value)
{
    if (std::isnan(value))
        return 0;
    return static_cast<int>(qBound(double(INT_MIN), std::round(value), double(INT_MAX)));
}

QJsonObject overlayDocumentToJson(const OverlayDocument &document)
{
    QJsonArray nodes;
    for (const OverlayNode &node : document.nodes)
        nodes.append(nodeToJson(node));
    // Inserted in the documented order; QJsonObject keeps its keys sorted, which readers accept.
    QJsonObject o;
    o.insert(QLatin1String("type"), kOverlayType);
    o.insert(QLatin1String("version"), kOverlayVersion);
    o.insert(QLatin1String("coordSpace"), QLatin1String("background"));
    o.insert(QLatin1String("overlaySize"),
             QJsonObject{{QLatin1String("w"), document.overlaySize.width()},
                         {QLatin1String("h"), document.overlaySize.height()}});
    o.insert(QLatin1String("bgMode"), backgroundScaleModeName(document.bgMode));
    o.insert(QLatin1String("nodes"), nodes);
    return o;
}

bool overlayDocumentFromJson(const QJsonObject &object, const OverlayReadContext &context,
                             OverlayDocument *out)
{
    if (object.value(QLatin1String("type")).toString() != kOverlayType)
        return false;
    const int version = object.value(QLatin1String("version")).toInt(1);
    const QJsonObject size = object.value(QLatin1String("overlaySize")).toObject();
    OverlayDocument document;
    document.overlaySize = QSize(storedSide(size, "w", context.widgetSize.width()),
                                 storedSide(size, "h", context.widgetSize.height()));
    document.bgMode = backgroundScaleModeFromName(object.value(QLatin1String("bgMode")).toString());
    const bool backgroundSpace =
        version >= 2 || object.value(QLatin1String("coordSpace"))
                                .toString()
                                .compare(QLatin1String("background"), Qt::CaseInsensitive) == 0;
    const QRect storedBackground =
        backgroundRect(document.overlaySize, context.pictureSize, document.bgMode);

    const QJsonArray nodes = object.value(QLatin1String("nodes")).toArray();
    document.nodes.reserve(nodes.size());
    for (const QJsonValue &value : nodes) {
        if (!value.isObject())
            continue;
        OverlayNode node = nodeFromJson(value.toObject(), version, document.nodes.size() + 1);
        if (!backgroundSpace)
            node.geometry = clampedGeometry(
                fromOverlayFractions(node.geometry, document.overlaySize, storedBackground));
        document.nodes.append(node);
    }
    if (out)
        *out = std::move(document);
    return true;
}

bool writeOverlayFile(const QString &profileFolder, const QString &fileName,
                      const OverlayDocument &document, QString *error)
{
    const QString path = containedFilePath(profileFolder, fileName);
    if (path.isEmpty()) {
        if (error)
            *error = outsideProfileFolderError(profileFolder, fileName);
        return false;
    }
    return writeJsonFileAtomic(path, overlayDocumentToJson(document), error, true);
}

QString outsideProfileFolderError(const QString &profileFolder, const QString &fileName)
{
    return QStringLiteral("Écriture refusée hors du dossier du profil %1 : %2")
        .arg(profileFolder, fileName);
}
