#pragma once

#include <QJsonObject>
#include <QList>
#include <QMetaType>
#include <QString>

// How the raw axes, buttons and circular gates of one controller are interpreted. A plain value:
// built from defaults, read from and written to a calibration file, and always normalised for the
// controller's axis and button counts before use.
struct GamepadCalibration
{
    enum class AxisMode { Bidirectional = 0, Trigger = 1 };
    enum class CurvePreset { Linear = 0, Soft = 1, Aggressive = 2, Custom = 3 };
    enum class AxisPublishMode { OnChange = 0, ActiveOnly = 1, Always = 2 };

    struct AxisSettings
    {
        bool enabled = true;
        AxisMode mode = AxisMode::Bidirectional;
        double restRaw = 0.0;
        double deadzoneRadius = 8.0;
        bool invert = false;
        CurvePreset curvePreset = CurvePreset::Linear;
        double gamma = 1.0;
        double outputScale = 1.0;
        double outputOffset = 0.0;
        double negativeRaw = -100.0;
        double positiveRaw = 100.0;
        double activeRaw = 100.0;
        AxisPublishMode publishMode = AxisPublishMode::ActiveOnly;

        bool operator==(const AxisSettings &o) const;
        bool operator!=(const AxisSettings &o) const { return !(*this == o); }
    };

    struct ButtonSettings
    {
        bool enabled = true;
        bool emitOnPress = true;
        bool emitOnRelease = false;
        qint32 debounceMs = 0;
        bool repeatOnPress = false;
        bool repeatOnRelease = false;
        qint32 repeatDelayMs = 350;
        qint32 repeatIntervalMs = 120;

        bool operator==(const ButtonSettings &o) const;
        bool operator!=(const ButtonSettings &o) const { return !(*this == o); }
    };

    struct GateSettings
    {
        bool enabled = true;
        QString key = QStringLiteral("gate_0");
        QString source2dKey;
        qint32 xAxis = 0;
        qint32 yAxis = 1;
        double centerX = 0.0;
        double centerY = 0.0;
        double radius = 50.0;
        double hysteresis = 3.0;
        bool emitOnEnter = true;
        bool emitOnExit = true;
        bool invertOutput = false;

        bool operator==(const GateSettings &o) const;
        bool operator!=(const GateSettings &o) const { return !(*this == o); }
    };

    QList<AxisSettings> axes;
    QList<ButtonSettings> buttons;
    QList<GateSettings> gates;

    bool operator==(const GamepadCalibration &o) const;
    bool operator!=(const GamepadCalibration &o) const { return !(*this == o); }
};

Q_DECLARE_METATYPE(GamepadCalibration::AxisSettings)
Q_DECLARE_METATYPE(GamepadCalibration::ButtonSettings)
Q_DECLARE_METATYPE(GamepadCalibration::GateSettings)

// Registers the three settings types under their qualified names, for queued signals.
void registerCalibrationMetaTypes();

// Name, vendor id and product id reported by a controller; 0 means unknown.
struct GamepadDeviceIdentity
{
    QString name;
    quint32 vendorId = 0;
    quint32 productId = 0;
};

// The fixed capacities of the joystick layer (SFML's axes and buttons): a controller is read with
// this many, the runtime processes this many and every calibration file carries this many.
constexpr int kGamepadAxisCount = 8;
constexpr int kGamepadButtonCount = 32;

// The key a gate gets by default at position index ("gate_%1"; a negative index counts as 0).
QString defaultGateKey(int index);
GamepadCalibration::GateSettings defaultGateSettings(int index);

// File words of the enumerations. Writers always produce the first word; readers accept the
// variants a hand-edited file may contain.
QString axisModeToString(GamepadCalibration::AxisMode mode);
GamepadCalibration::AxisMode axisModeFromString(const QString &text);
QString curvePresetToString(GamepadCalibration::CurvePreset preset);
GamepadCalibration::CurvePreset curvePresetFromString(const QString &text);
QString axisPublishModeToString(GamepadCalibration::AxisPublishMode mode);
GamepadCalibration::AxisPublishMode axisPublishModeFromString(const QString &text);

// "0x%1" in lower-case hexadecimal, padded to at least four digits ("0x045e").
QString paddedHexId(quint32 id);

GamepadCalibration defaultCalibration(int axisCount, int buttonCount);
GamepadCalibration parseCalibration(const QJsonObject &object, bool *ok, QString *error,
                                    int axisCount, int buttonCount);
GamepadCalibration normalizeCalibration(const GamepadCalibration &calibration, int axisCount,
                                        int buttonCount);
QJsonObject calibrationToJson(const GamepadCalibration &calibration,
                              const GamepadDeviceIdentity &identity, const QString &profileId);
bool loadCalibrationFile(const QString &path, GamepadCalibration *out, QString *error,
                         int axisCount, int buttonCount);
// Creates missing folders and replaces the file atomically: on failure the previous file stays and
// `error` gets the system's reason.
bool saveCalibrationFile(const QString &path, const GamepadCalibration &calibration,
                         const GamepadDeviceIdentity &identity, const QString &profileId,
                         QString *error);
