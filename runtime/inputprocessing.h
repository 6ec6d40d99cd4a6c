#pragma once

#include "gamepadcalibration.h"

#include <QHash>
#include <QString>
#include <QStringList>
#include <QVariantList>

#include <array>
#include <vector>

// The rules that turn one poll's raw readings into published values. Pure: no clock, no device,
// no signals; the caller passes the time in milliseconds.

struct AxisSample
{
    double raw = 0.0;
    double clamped = 0.0;
    double normalized = 0.0;
    double value = 0.0;
    bool atRest = true;
};

double applyCurve(GamepadCalibration::CurvePreset preset, double gamma, double u);
AxisSample evaluateAxis(double raw, const GamepadCalibration::AxisSettings &settings);
bool shouldPublishAxis(double value, bool atRest, double previous, bool wasAtRest,
                       GamepadCalibration::AxisPublishMode mode, double threshold = 0.5);
// Whether a gate holds the stick, as the calibration panel shows it live; false for a gate
// whose key or axes are missing.
bool gateInsideAfter(const GamepadCalibration::GateSettings &gate, const double *axisValues,
                     int axisCount, bool wasInside);

// Debounce and repeat state of one button.
struct ButtonState
{
    bool down = false;
    bool repeatArmed = false;
    bool repeatState = false;
    qint64 lastEdgeMs = -1;
    qint64 nextRepeatMs = 0;
};

struct ButtonStep
{
    bool edge = false;    // the sampled state changed
    bool publish = false; // an event (edge or repeat) is published
    bool repeat = false;
};

ButtonStep stepButton(ButtonState &state, bool pressed,
                      const GamepadCalibration::ButtonSettings &settings, qint64 nowMs);

// An axis's settings with what does not depend on the reading worked out once, by the very
// expressions a direct evaluation would use, so the results are the same to the bit.
struct AxisPlan
{
    bool enabled = true;
    bool trigger = false;
    bool invert = false;
    bool identityCurve = true; // exponent 1: no pow()
    GamepadCalibration::AxisPublishMode publishMode =
        GamepadCalibration::AxisPublishMode::ActiveOnly;
    double exponent = 1.0;
    double restRaw = 0.0;
    double deadzoneRadius = 0.0;
    double outputScale = 1.0;
    double outputOffset = 0.0;
    // Stick: where the travel beyond the dead zone starts on each side, and its length.
    double upperStart = 0.0;
    double upperSpan = 0.0;
    double lowerStart = 0.0;
    double lowerSpan = 0.0;
    // Trigger: +1 or -1 towards activeRaw, start and length of the travel.
    double direction = 1.0;
    double triggerStart = 0.0;
    double triggerSpan = 0.0;
};

// A gate's settings as the poll uses them: key trimmed, radius bounds worked out.
struct GatePlan
{
    QString key;
    bool valid = false; // a key and two axis indices in range
    qint32 xAxis = 0;
    qint32 yAxis = 0;
    double centerX = 0.0;
    double centerY = 0.0;
    double enterRadius = 0.0;
    double leaveRadius = 0.0; // radius + hysteresis
    bool emitOnEnter = true;
    bool emitOnExit = true;
    bool invertOutput = false;
    int state = -1; // InputProcessor's record for the key
};

// Raw readings of one poll of one controller.
struct JoystickReadings
{
    std::array<bool, kGamepadAxisCount> axisPresent{};
    std::array<double, kGamepadAxisCount> axes{}; // SFML's raw positions, -100..100
    std::array<bool, kGamepadButtonCount> buttons{};
};

// What one poll publishes, in publication order, and which notifications follow it.
struct PollResult
{
    QStringList keys;
    QVariantList values;
    struct AxisEvent
    {
        int axis;
        double value;
    };
    struct GateEvent
    {
        QString key;
        bool value;
    };
    struct ButtonEvent
    {
        int button;
        bool pressed;
    };
    QList<AxisEvent> axisEvents;
    QList<GateEvent> gateEvents;
    QList<ButtonEvent> buttonEvents;
    bool axisPublished = false;
    bool rawAxesMoved = false;
    bool buttonsChanged = false;

    void clear(); // keeps the capacity of the lists
    bool publishesNothing() const { return keys.isEmpty(); }
};

// The runtime state of one controller between polls and the poll's evaluation order: axes, then
// gates on the axes' output values, then buttons. The calibration given to process() must be
// normalised. It is planned once (see AxisPlan) and a copy is kept, so that another calibration
// is recognised by its lists' shared data alone: any change to the caller's copy detaches it.
class InputProcessor
{
public:
    static constexpr int kAxisCount = kGamepadAxisCount;
    static constexpr int kButtonCount = kGamepadButtonCount;

    InputProcessor();

    void reset(); // every value, flag and timer back to its initial state
    void clearGates();

    void process(const JoystickReadings &readings, const GamepadCalibration &calibration,
                 qint64 nowMs, PollResult &out);

    const std::array<double, kAxisCount> &axes() const { return m_axes; }
    const std::array<double, kAxisCount> &rawAxes() const { return m_rawAxes; }
    const std::array<bool, kAxisCount> &axisPresent() const { return m_axisPresent; }
    const std::array<bool, kAxisCount> &axisAtRest() const { return m_axisAtRest; }
    const std::array<ButtonState, kButtonCount> &buttons() const { return m_buttons; }
    QHash<QString, bool> gateInside() const; // the gates that have a stored state

    // Published keys, built once: "joy_%1" and "but_%1".
    static const QString &axisKey(int axis);
    static const QString &buttonKey(int button);

private:
    void processAxes(const JoystickReadings &readings, PollResult &out);
    void processGates(PollResult &out);
    void processButtons(const JoystickReadings &readings, qint64 nowMs, PollResult &out);
    void plan(const GamepadCalibration &calibration);
    int gateStateIndex(const QString &key);

    std::array<double, kAxisCount> m_axes{};
    std::array<double, kAxisCount> m_rawAxes{};
    std::array<bool, kAxisCount> m_axisPresent{};
    std::array<bool, kAxisCount> m_axisAtRest{};
    std::array<ButtonState, kButtonCount> m_buttons{};
    // Bit b mirrors m_buttons[b].down and .repeatArmed: a poll where no button changed and none
    // repeats leaves every button alone.
    quint32 m_downMask = 0;
    quint32 m_armedMask = 0;

    // One record per gate key (gates may share one); a key without a stored state is not inside.
    struct GateState
    {
        QString key;
        bool stored = false;
        bool inside = false;
    };
    std::vector<GateState> m_gateStates;
    QHash<QString, int> m_gateStateIndex; // consulted when planning, never by a poll

    bool m_traced = false; // this poll's changes are logged ("kx.plugin.gamepad.input.axis")
    bool m_planned = false;
    GamepadCalibration m_plannedCalibration;
    std::array<AxisPlan, kAxisCount> m_axisPlans{};
    std::array<GamepadCalibration::ButtonSettings, kButtonCount> m_buttonPlans{};
    std::vector<GatePlan> m_gatePlans;
};
