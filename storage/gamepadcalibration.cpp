#include "gamepadcalibration.h"

#include "jsonfile.h"
#include "uilog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QSet>

#include <cmath>
#include <tuple>

namespace {

const QString kCalibrationType = QStringLiteral("GamepadCalibration");
constexpr int kCalibrationVersion = 3;

// NaN can only come from code, never from a JSON file; it falls back to the field's default.
double clampOr(double value, double low, double high, double fallback)
{
    return std::isnan(value) ? fallback : qBound(low, value, high);
}

double clampAbsOr(double value, double low, double high, double fallback)
{
    return clampOr(std::fabs(value), low, high, fallback);
}

double readDouble(const QJsonObject &object, const QString &key, double fallback)
{
    const QJsonValue value = object.value(key);
    if (!value.isDouble())
        return fallback;
    const double number = value.toDouble();
    return std::isfinite(number) ? number : fallback;
}

// Only a whole number that fits the field is one: a fraction or a number beyond 32 bits is
// ill-typed and keeps the default.
qint32 readInt(const QJsonObject &object, const QString &key, qint32 fallback)
{
    return object.value(key).toInt(fallback);
}

bool readBool(const QJsonObject &object, const QString &key, bool fallback)
{
    return object.value(key).toBool(fallback);
}

QString readString(const QJsonObject &object, const QString &key, const QString &fallback)
{
    return object.value(key).toString(fallback);
}

GamepadCalibration::AxisSettings axisFromJson(const QJsonObject &o)
{
    GamepadCalibration::AxisSettings a;
    a.enabled = readBool(o, QStringLiteral("enabled"), a.enabled);
    a.mode = axisModeFromString(readString(o, QStringLiteral("mode"), axisModeToString(a.mode)));
    a.restRaw = readDouble(o, QStringLiteral("restRaw"), a.restRaw);
    a.deadzoneRadius = readDouble(o, QStringLiteral("deadzoneRadius"), a.deadzoneRadius);
    a.invert = readBool(o, QStringLiteral("invert"), a.invert);
    a.curvePreset = curvePresetFromString(
        readString(o, QStringLiteral("curvePreset"), curvePresetToString(a.curvePreset)));
    a.gamma = readDouble(o, QStringLiteral("gamma"), a.gamma);
    a.outputScale = readDouble(o, QStringLiteral("outputScale"), a.outputScale);
    a.outputOffset = readDouble(o, QStringLiteral("outputOffset"), a.outputOffset);
    a.negativeRaw = readDouble(o, QStringLiteral("negativeRaw"), a.negativeRaw);
    a.positiveRaw = readDouble(o, QStringLiteral("positiveRaw"), a.positiveRaw);
    a.activeRaw = readDouble(o, QStringLiteral("activeRaw"), a.activeRaw);
    a.publishMode = axisPublishModeFromString(
        readString(o, QStringLiteral("publishMode"), axisPublishModeToString(a.publishMode)));
    return a;
}

QJsonObject axisToJson(const GamepadCalibration::AxisSettings &a)
{
    return {{QStringLiteral("enabled"), a.enabled},
            {QStringLiteral("mode"), axisModeToString(a.mode)},
            {QStringLiteral("restRaw"), a.restRaw},
            {QStringLiteral("deadzoneRadius"), a.deadzoneRadius},
            {QStringLiteral("invert"), a.invert},
            {QStringLiteral("curvePreset"), curvePresetToString(a.curvePreset)},
            {QStringLiteral("gamma"), a.gamma},
            {QStringLiteral("outputScale"), a.outputScale},
            {QStringLiteral("outputOffset"), a.outputOffset},
            {QStringLiteral("negativeRaw"), a.negativeRaw},
            {QStringLiteral("positiveRaw"), a.positiveRaw},
            {QStringLiteral("activeRaw"), a.activeRaw},
            {QStringLiteral("publishMode"), axisPublishModeToString(a.publishMode)}};
}

GamepadCalibration::ButtonSettings buttonFromJson(const QJsonObject &o)
{
    GamepadCalibration::ButtonSettings b;
    b.enabled = readBool(o, QStringLiteral("enabled"), b.enabled);
    b.emitOnPress = readBool(o, QStringLiteral("emitOnPress"), b.emitOnPress);
    b.emitOnRelease = readBool(o, QStringLiteral("emitOnRelease"), b.emitOnRelease);
    b.debounceMs = readInt(o, QStringLiteral("debounceMs"), b.debounceMs);
    b.repeatOnPress = readBool(o, QStringLiteral("repeatOnPress"), b.repeatOnPress);
    b.repeatOnRelease = readBool(o, QStringLiteral("repeatOnRelease"), b.repeatOnRelease);
    b.repeatDelayMs = readInt(o, QStringLiteral("repeatDelayMs"), b.repeatDelayMs);
    b.repeatIntervalMs = readInt(o, QStringLiteral("repeatIntervalMs"), b.repeatIntervalMs);
    return b;
}

QJsonObject buttonToJson(const GamepadCalibration::ButtonSettings &b)
{
    return {{QStringLiteral("enabled"), b.enabled},
            {QStringLiteral("emitOnPress"), b.emitOnPress},
            {QStringLiteral("emitOnRelease"), b.emitOnRelease},
            {QStringLiteral("debounceMs"), b.debounceMs},
            {QStringLiteral("repeatOnPress"), b.repeatOnPress},
            {QStringLiteral("repeatOnRelease"), b.repeatOnRelease},
            {QStringLiteral("repeatDelayMs"), b.repeatDelayMs},
            {QStringLiteral("repeatIntervalMs"), b.repeatIntervalMs}};
}

// The keys the runtime publishes axes and buttons under: "joy_0".."joy_7", "but_0".."but_31".
bool isInputKey(const QString &key)
{
    const auto numbered = [&key](QLatin1String prefix, int count) {
        if (!key.startsWith(prefix))
            return false;
        const QStringView digits = QStringView(key).mid(prefix.size());
        bool ok = false;
        const int number = digits.toInt(&ok);
        return ok && number >= 0 && number < count && digits == QString::number(number);
    };
    return numbered(QLatin1String("joy_"), kGamepadAxisCount) ||
           numbered(QLatin1String("but_"), kGamepadButtonCount);
}

GamepadCalibration::GateSettings gateFromJson(const QJsonObject &o, int index)
{
    GamepadCalibration::GateSettings g = defaultGateSettings(index);
    g.enabled = readBool(o, QStringLiteral("enabled"), g.enabled);
    g.key = readString(o, QStringLiteral("key"), g.key);
    if (isInputKey(g.key.trimmed())) // normalisation gives it a free gate key
        qCWarning(lcGamepadUi).noquote()
            << QStringLiteral("Gamepad calibration gate key refused key=%1: an input's key")
                   .arg(g.key.trimmed());
    g.source2dKey = readString(o, QStringLiteral("source2dKey"), g.source2dKey);
    g.xAxis = readInt(o, QStringLiteral("xAxis"), g.xAxis);
    g.yAxis = readInt(o, QStringLiteral("yAxis"), g.yAxis);
    g.centerX = readDouble(o, QStringLiteral("centerX"), g.centerX);
    g.centerY = readDouble(o, QStringLiteral("centerY"), g.centerY);
    g.radius = readDouble(o, QStringLiteral("radius"), g.radius);
    g.hysteresis = readDouble(o, QStringLiteral("hysteresis"), g.hysteresis);
    g.emitOnEnter = readBool(o, QStringLiteral("emitOnEnter"), g.emitOnEnter);
    g.emitOnExit = readBool(o, QStringLiteral("emitOnExit"), g.emitOnExit);
    g.invertOutput = readBool(o, QStringLiteral("invertOutput"), g.invertOutput);
    return g;
}

QJsonObject gateToJson(const GamepadCalibration::GateSettings &g)
{
    return {{QStringLiteral("enabled"), g.enabled},
            {QStringLiteral("key"), g.key},
            {QStringLiteral("source2dKey"), g.source2dKey},
            {QStringLiteral("xAxis"), g.xAxis},
            {QStringLiteral("yAxis"), g.yAxis},
            {QStringLiteral("centerX"), g.centerX},
            {QStringLiteral("centerY"), g.centerY},
            {QStringLiteral("radius"), g.radius},
            {QStringLiteral("hysteresis"), g.hysteresis},
            {QStringLiteral("emitOnEnter"), g.emitOnEnter},
            {QStringLiteral("emitOnExit"), g.emitOnExit},
            {QStringLiteral("invertOutput"), g.invertOutput}};
}

GamepadCalibration::AxisSettings normalizedAxis(const GamepadCalibration::AxisSettings &in)
{
    const GamepadCalibration::AxisSettings d;
    GamepadCalibration::AxisSettings a = in;
    a.restRaw = clampOr(in.restRaw, -100.0, 100.0, d.restRaw);
    a.deadzoneRadius = clampAbsOr(in.deadzoneRadius, 0.0, 99.0, d.deadzoneRadius);
    a.gamma = std::isnan(in.gamma) ? d.gamma : qMax(0.05, in.gamma);
    a.outputScale = clampAbsOr(in.outputScale, 0.001, 1000.0, d.outputScale);
    a.outputOffset = clampOr(in.outputOffset, -1000.0, 1000.0, d.outputOffset);
    a.negativeRaw = clampOr(in.negativeRaw, -100.0, 100.0, d.negativeRaw);
    a.positiveRaw = clampOr(in.positiveRaw, -100.0, 100.0, d.positiveRaw);
    a.activeRaw = clampOr(in.activeRaw, -100.0, 100.0, d.activeRaw);
    return a;
}

GamepadCalibration::ButtonSettings normalizedButton(const GamepadCalibration::ButtonSettings &in)
{
    GamepadCalibration::ButtonSettings b = in;
    b.debounceMs = qBound(0, in.debounceMs, 5000);
    b.repeatDelayMs = qBound(0, in.repeatDelayMs, 60000);
    b.repeatIntervalMs = qBound(10, in.repeatIntervalMs, 60000);
    return b;
}

// Hands out the smallest "gate_%1" not yet used. Keys are only ever added, so that smallest free
// counter never goes down and the search resumes where it stopped: linear over a whole list.
class GateKeys
{
public:
    bool contains(const QString &key) const { return m_used.contains(key); }
    void insert(const QString &key) { m_used.insert(key); }
    QString firstFree()
    {
        while (m_used.contains(defaultGateKey(m_nextFree)))
            ++m_nextFree;
        return defaultGateKey(m_nextFree);
    }

private:
    QSet<QString> m_used;
    int m_nextFree = 0;
};

GamepadCalibration::GateSettings normalizedGate(const GamepadCalibration::GateSettings &in,
                                                int index, int axisCount, GateKeys &usedKeys)
{
    const GamepadCalibration::GateSettings d;
    GamepadCalibration::GateSettings g = in;
    g.key = in.key.trimmed();
    if (g.key.isEmpty())
        g.key = defaultGateKey(index);
    // A gate publishing under an input's key would put that key twice in one batch.
    if (usedKeys.contains(g.key) || isInputKey(g.key))
        g.key = usedKeys.firstFree();
    g.source2dKey = in.source2dKey.trimmed();
    const int lastAxis = qMax(0, axisCount - 1);
    g.xAxis = qBound(0, in.xAxis, lastAxis);
    g.yAxis = qBound(0, in.yAxis, lastAxis);
    g.centerX = clampOr(in.centerX, -100000.0, 100000.0, d.centerX);
    g.centerY = clampOr(in.centerY, -100000.0, 100000.0, d.centerY);
    g.radius = clampAbsOr(in.radius, 0.0, 200000.0, d.radius);
    g.hysteresis = clampAbsOr(in.hysteresis, 0.0, 100000.0, d.hysteresis);
    if (!g.emitOnEnter && !g.emitOnExit)
        g.emitOnEnter = true; // a gate always reports at least one edge
    return g;
}

QJsonObject objectAt(const QJsonArray &array, int i)
{
    return array.at(i).toObject(); // a non-object element reads as an empty object
}

} // namespace

bool GamepadCalibration::AxisSettings::operator==(const AxisSettings &o) const
{
    return std::tie(enabled, mode, restRaw, deadzoneRadius, invert, curvePreset, gamma, outputScale,
                    outputOffset, negativeRaw, positiveRaw, activeRaw, publishMode) ==
           std::tie(o.enabled, o.mode, o.restRaw, o.deadzoneRadius, o.invert, o.curvePreset,
                    o.gamma, o.outputScale, o.outputOffset, o.negativeRaw, o.positiveRaw,
                    o.activeRaw, o.publishMode);
}

bool GamepadCalibration::ButtonSettings::operator==(const ButtonSettings &o) const
{
    return std::tie(enabled, emitOnPress, emitOnRelease, debounceMs, repeatOnPress, repeatOnRelease,
                    repeatDelayMs, repeatIntervalMs) ==
           std::tie(o.enabled, o.emitOnPress, o.emitOnRelease, o.debounceMs, o.repeatOnPress,
                    o.repeatOnRelease, o.repeatDelayMs, o.repeatIntervalMs);
}

bool GamepadCalibration::GateSettings::operator==(const GateSettings &o) const
{
    return std::tie(enabled, key, source2dKey, xAxis, yAxis, centerX, centerY, radius, hysteresis,
                    emitOnEnter, emitOnExit, invertOutput) ==
           std::tie(o.enabled, o.key, o.source2dKey, o.xAxis, o.yAxis, o.centerX, o.centerY,
                    o.radius, o.hysteresis, o.emitOnEnter, o.emitOnExit, o.invertOutput);
}

bool GamepadCalibration::operator==(const GamepadCalibration &o) const
{
    return std::tie(axes, buttons, gates) == std::tie(o.axes, o.buttons, o.gates);
}

void registerCalibrationMetaTypes()
{
    qRegisterMetaType<GamepadCalibration::AxisSettings>("GamepadCalibration::AxisSettings");
    qRegisterMetaType<GamepadCalibration::ButtonSettings>("GamepadCalibration::ButtonSettings");
    qRegisterMetaType<GamepadCalibration::GateSettings>("GamepadCalibration::GateSettings");
}

QString defaultGateKey(int index)
{
    return QStringLiteral("gate_%1").arg(qMax(0, index));
}

GamepadCalibration::GateSettings defaultGateSettings(int index)
{
    GamepadCalibration::GateSettings gate;
    gate.key = defaultGateKey(index);
    return gate;
}

QString axisModeToString(GamepadCalibration::AxisMode mode)
{
    return mode == GamepadCalibration::AxisMode::Trigger ? QStringLiteral("trigger")
                                                         : QStringLiteral("bidirectional");
}

GamepadCalibration::AxisMode axisModeFromString(const QString &text)
{
    return text.compare(QLatin1String("trigger"), Qt::CaseInsensitive) == 0
               ? GamepadCalibration::AxisMode::Trigger
               : GamepadCalibration::AxisMode::Bidirectional;
}

QString curvePresetToString(GamepadCalibration::CurvePreset preset)
{
    switch (preset) {
    case GamepadCalibration::CurvePreset::Soft:
        return QStringLiteral("soft");
    case GamepadCalibration::CurvePreset::Aggressive:
        return QStringLiteral("aggressive");
    case GamepadCalibration::CurvePreset::Custom:
        return QStringLiteral("custom");
    default:
        return QStringLiteral("linear");
    }
}

GamepadCalibration::CurvePreset curvePresetFromString(const QString &text)
{
    const QString word = text.toLower();
    if (word == QLatin1String("soft"))
        return GamepadCalibration::CurvePreset::Soft;
    if (word == QLatin1String("aggressive"))
        return GamepadCalibration::CurvePreset::Aggressive;
    if (word == QLatin1String("custom"))
        return GamepadCalibration::CurvePreset::Custom;
    return GamepadCalibration::CurvePreset::Linear;
}

QString axisPublishModeToString(GamepadCalibration::AxisPublishMode mode)
{
    switch (mode) {
    case GamepadCalibration::AxisPublishMode::ActiveOnly:
        return QStringLiteral("activeOnly");
    case GamepadCalibration::AxisPublishMode::Always:
        return QStringLiteral("always");
    default:
        return QStringLiteral("onChange");
    }
}

GamepadCalibration::AxisPublishMode axisPublishModeFromString(const QString &text)
{
    const QString word = text.trimmed().toLower();
    if (word == QLatin1String("activeonly") || word == QLatin1String("active_only") ||
        word == QLatin1String("continuousoutsiderest") ||
        word == QLatin1String("continuous_outside_rest"))
        return GamepadCalibration::AxisPublishMode::ActiveOnly;
    if (word == QLatin1String("always"))
        return GamepadCalibration::AxisPublishMode::Always;
    return GamepadCalibration::AxisPublishMode::OnChange;
}

QString paddedHexId(quint32 id)
{
    return QStringLiteral("0x%1").arg(id, 4, 16, QLatin1Char('0'));
}

GamepadCalibration defaultCalibration(int axisCount, int buttonCount)
{
    GamepadCalibration calibration;
    calibration.axes.resize(qMax(0, axisCount));
    calibration.buttons.resize(qMax(0, buttonCount));
    return calibration;
}

GamepadCalibration parseCalibration(const QJsonObject &object, bool *ok, QString *error,
                                    int axisCount, int buttonCount)
{
    if (ok)
        *ok = false;
    if (object.value(QStringLiteral("type")).toString() != kCalibrationType) {
        if (error)
            *error = QStringLiteral("Unsupported calibration type");
        return defaultCalibration(axisCount, buttonCount);
    }

    GamepadCalibration calibration = defaultCalibration(axisCount, buttonCount);
    const QJsonArray axes = object.value(QStringLiteral("axes")).toArray();
    for (int i = 0; i < axes.size() && i < calibration.axes.size(); ++i)
        calibration.axes[i] = axisFromJson(objectAt(axes, i));
    const QJsonArray buttons = object.value(QStringLiteral("buttons")).toArray();
    for (int i = 0; i < buttons.size() && i < calibration.buttons.size(); ++i)
        calibration.buttons[i] = buttonFromJson(objectAt(buttons, i));
    const QJsonArray gates = object.value(QStringLiteral("gates")).toArray();
    for (int i = 0; i < gates.size(); ++i)
        calibration.gates.append(gateFromJson(objectAt(gates, i), i));

    if (ok)
        *ok = true;
    return normalizeCalibration(calibration, axisCount, buttonCount);
}

GamepadCalibration normalizeCalibration(const GamepadCalibration &calibration, int axisCount,
                                        int buttonCount)
{
    GamepadCalibration result = defaultCalibration(axisCount, buttonCount);
    for (int i = 0; i < result.axes.size() && i < calibration.axes.size(); ++i)
        result.axes[i] = normalizedAxis(calibration.axes.at(i));
    for (int i = 0; i < result.buttons.size() && i < calibration.buttons.size(); ++i)
        result.buttons[i] = normalizedButton(calibration.buttons.at(i));

    GateKeys usedKeys;
    result.gates.reserve(calibration.gates.size());
    for (int i = 0; i < calibration.gates.size(); ++i) {
        const auto gate = normalizedGate(calibration.gates.at(i), i, axisCount, usedKeys);
        usedKeys.insert(gate.key);
        result.gates.append(gate);
    }
    return result;
}

QJsonObject calibrationToJson(const GamepadCalibration &calibration,
                              const GamepadDeviceIdentity &identity, const QString &profileId)
{
    const GamepadCalibration c =
        normalizeCalibration(calibration, kGamepadAxisCount, kGamepadButtonCount);
    QJsonArray axes, buttons, gates;
    for (const auto &axis : c.axes)
        axes.append(axisToJson(axis));
    for (const auto &button : c.buttons)
        buttons.append(buttonToJson(button));
    for (const auto &gate : c.gates)
        gates.append(gateToJson(gate));

    QJsonObject document{{QStringLiteral("type"), kCalibrationType},
                         {QStringLiteral("version"), kCalibrationVersion},
                         {QStringLiteral("axes"), axes},
                         {QStringLiteral("buttons"), buttons},
                         {QStringLiteral("gates"), gates}};
    const QString name = identity.name.trimmed();
    if (!name.isEmpty())
        document.insert(QStringLiteral("deviceName"), name);
    if (identity.vendorId != 0)
        document.insert(QStringLiteral("vendorId"), paddedHexId(identity.vendorId));
    if (identity.productId != 0)
        document.insert(QStringLiteral("productId"), paddedHexId(identity.productId));
    const QString profile = profileId.trimmed();
    if (!profile.isEmpty())
        document.insert(QStringLiteral("profileId"), profile);
    return document;
}

bool loadCalibrationFile(const QString &path, GamepadCalibration *out, QString *error,
                         int axisCount, int buttonCount)
{
    if (out)
        *out = defaultCalibration(axisCount, buttonCount);
    if (path.trimmed().isEmpty() || !QFileInfo::exists(path))
        return false;

    QByteArray bytes;
    if (!readRegularFile(path, kMaxJsonFileBytes, &bytes, error))
        return false;
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        if (error)
            *error = parseError.errorString();
        return false;
    }
    // A document that is not an object reads as an object without "type".
    bool ok = false;
    const GamepadCalibration calibration =
        parseCalibration(document.object(), &ok, error, axisCount, buttonCount);
    if (out)
        *out = calibration; // the defaults when the document is refused
    return ok;
}

bool saveCalibrationFile(const QString &path, const GamepadCalibration &calibration,
                         const GamepadDeviceIdentity &identity, const QString &profileId,
                         QString *error)
{
    if (path.trimmed().isEmpty()) {
        if (error)
            *error = QStringLiteral("Empty path");
        return false;
    }
    QDir().mkpath(QFileInfo(path).absolutePath());
    const QByteArray bytes =
        QJsonDocument(calibrationToJson(calibration, identity, profileId)).toJson();
    return writeFileAtomic(path, bytes, error);
}
