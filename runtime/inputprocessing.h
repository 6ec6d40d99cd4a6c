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

struct GateSample
{
    QString key;
    bool valid = false;
    bool inside = false;
    bool value = false;
    bool changed = false;
    bool emit = false;
    double distance = 0.0;
};

double applyCurve(GamepadCalibration::CurvePreset preset, double gamma, double u);
AxisSample evaluateAxis(double raw, const GamepadCalibration::AxisSettings &settings);
bool shouldPublishAxis(double value, bool atRest, double previous, bool wasAtRest,
                       GamepadCalibration::AxisPublishMode mode, double threshold = 0.5);
GateSample evaluateGate(const GamepadCalibration::GateSettings &gate, const double *axisValues,
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
    bool edge = false; // the sampled state changed
    bool emit = false; // an event (edge or repeat) is published
    bool repeat = false;
};

ButtonStep stepButton(ButtonState &state, bool pressed,
                      const GamepadCalibration::ButtonSettings &settings, qint64 nowMs);

// Raw readings of one poll of one controller.
struct JoystickReadings
{
    std::array<bool, 8> axisPresent{};
    std::array<double, 8> axes{}; // SFML's raw positions, -100..100
    std::array<bool, 32> buttons{};
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
    bool isEmpty() const { return keys.isEmpty(); }
};

// The runtime state of one controller between polls and the poll's evaluation order: axes, then
// gates on the axes' output values, then buttons. The calibration given to process() must be
// normalised; it is read, never stored.
class InputProcessor
{
public:
    static constexpr int kAxisCount = 8;
    static constexpr int kButtonCount = 32;

    InputProcessor();

    void reset(); // every value, flag and timer back to its initial state
    // Every axis at the raw and output values of its rest position.
    void settle(const GamepadCalibration &calibration);
    void clearGates();

    void process(const JoystickReadings &readings, const GamepadCalibration &calibration,
                 qint64 nowMs, PollResult &out);

    const std::array<double, kAxisCount> &axes() const { return m_axes; }
    const std::array<double, kAxisCount> &rawAxes() const { return m_rawAxes; }
    const std::array<bool, kAxisCount> &axisPresent() const { return m_axisPresent; }
    const std::array<bool, kAxisCount> &axisAtRest() const { return m_axisAtRest; }
    const std::array<ButtonState, kButtonCount> &buttons() const { return m_buttons; }
    const QHash<QString, bool> &gateInside() const { return m_gateInside; }

    // Published keys, built once: "joy_%1" and "but_%1".
    static const QString &axisKey(int axis);
    static const QString &buttonKey(int button);

private:
    void processAxes(const JoystickReadings &readings, const GamepadCalibration &calibration,
                     PollResult &out);
    void processGates(const GamepadCalibration &calibration, PollResult &out);
    void processButtons(const JoystickReadings &readings, const GamepadCalibration &calibration,
                        qint64 nowMs, PollResult &out);
    bool gateWasInside(int index, const QString &key);
    void storeGateInside(const QString &key, bool inside);

    std::array<double, kAxisCount> m_axes{};
    std::array<double, kAxisCount> m_rawAxes{};
    std::array<bool, kAxisCount> m_axisPresent{};
    std::array<bool, kAxisCount> m_axisAtRest{};
    std::array<ButtonState, kButtonCount> m_buttons{};
    QHash<QString, bool> m_gateInside; // absent key: not inside

    // The state of each gate position as last looked up, mirroring m_gateInside, so that a
    // steady poll compares keys instead of hashing them (the seeded string hash is costly).
    struct GateSlot
    {
        QString key;
        bool inside = false;
    };
    std::vector<GateSlot> m_gateSlots;
};
