#include "inputprocessing.h"

#include "logging.h"

#include <algorithm>
#include <cmath>

using AxisSettings = GamepadCalibration::AxisSettings;
using ButtonSettings = GamepadCalibration::ButtonSettings;
using GateSettings = GamepadCalibration::GateSettings;
using CurvePreset = GamepadCalibration::CurvePreset;
using AxisMode = GamepadCalibration::AxisMode;
using AxisPublishMode = GamepadCalibration::AxisPublishMode;

namespace {

constexpr double kRawLimit = 100.0;
constexpr double kMinSpan = 0.001;
constexpr double kRawMoveThreshold = 0.1;
constexpr qint64 kMinRepeatIntervalMs = 10;

// Settings used when the calibration has fewer entries than the joystick layer reports.
const AxisSettings kDefaultAxis{};
const ButtonSettings kDefaultButton{};

// NaN maps to the lower bound so a broken value never propagates into the output.
double boundedOrLow(double value, double low, double high)
{
    return value > low ? (value < high ? value : high) : low;
}

double curveExponent(CurvePreset preset, double gamma)
{
    switch (preset) {
    case CurvePreset::Soft:
        return 1.6;
    case CurvePreset::Aggressive:
        return 2.6;
    case CurvePreset::Custom:
        return gamma > 0.05 ? gamma : 0.05;
    case CurvePreset::Linear:
        break;
    }
    return 1.0;
}

// The at-rest result of a stick or trigger: the offset, nothing normalised.
AxisSample restingSample(AxisSample sample, const AxisSettings &settings)
{
    sample.atRest = true;
    sample.normalized = 0.0;
    sample.value = settings.outputOffset;
    return sample;
}

AxisSample evaluateStick(AxisSample sample, const AxisSettings &s)
{
    const double x = sample.clamped;
    const double d = x - s.restRaw;
    if (std::fabs(d) <= s.deadzoneRadius)
        return restingSample(sample, s);

    double t = 0.0;
    if (d > 0) {
        const double start = s.restRaw + s.deadzoneRadius;
        const double span = s.positiveRaw - start;
        if (span <= kMinSpan)
            return restingSample(sample, s);
        t = boundedOrLow((x - start) / span, 0.0, 1.0);
    } else {
        const double start = s.restRaw - s.deadzoneRadius;
        const double span = start - s.negativeRaw;
        if (span <= kMinSpan)
            return restingSample(sample, s);
        t = -boundedOrLow((start - x) / span, 0.0, 1.0);
    }
    if (s.invert)
        t = -t;

    const double shaped = applyCurve(s.curvePreset, s.gamma, std::fabs(t));
    const double sign = t < 0 ? -100.0 : 100.0;
    sample.atRest = false;
    sample.normalized = t;
    sample.value = sign * shaped * s.outputScale + s.outputOffset;
    return sample;
}

// One-sided travel from restRaw towards activeRaw, in either direction; never negative.
AxisSample evaluateTrigger(AxisSample sample, const AxisSettings &s)
{
    const double dir = s.activeRaw >= s.restRaw ? 1.0 : -1.0;
    const double start = s.restRaw + dir * s.deadzoneRadius;
    const double span = (s.activeRaw - start) * dir;
    const double dist = (sample.clamped - start) * dir;
    if (!(dist > 0 && span > kMinSpan))
        return restingSample(sample, s);

    const double t = boundedOrLow(dist / span, 0.0, 1.0);
    sample.atRest = false;
    sample.normalized = t;
    sample.value = applyCurve(s.curvePreset, s.gamma, t) * 100.0 * s.outputScale + s.outputOffset;
    return sample;
}

bool isAxisIndex(qint32 index, int axisCount)
{
    return index >= 0 && index < axisCount;
}

qint64 repeatStepMs(const ButtonSettings &settings)
{
    return std::max<qint64>(settings.repeatIntervalMs, kMinRepeatIntervalMs);
}

bool emitsEdge(const ButtonSettings &s, bool pressed)
{
    return s.enabled && (pressed ? s.emitOnPress : s.emitOnRelease);
}

bool repeatsEdge(const ButtonSettings &s, bool pressed)
{
    return pressed ? s.repeatOnPress : s.repeatOnRelease;
}

bool debounceAllows(const ButtonState &state, const ButtonSettings &s, qint64 nowMs)
{
    return s.debounceMs <= 0 || state.lastEdgeMs < 0 || nowMs - state.lastEdgeMs >= s.debounceMs;
}

ButtonStep stepEdge(ButtonState &state, bool pressed, const ButtonSettings &s, qint64 nowMs)
{
    ButtonStep step;
    step.edge = true;
    state.down = pressed;
    state.repeatArmed = false;
    // A suppressed edge is dropped for good and does not restart the debounce window.
    if (!emitsEdge(s, pressed) || !debounceAllows(state, s, nowMs))
        return step;

    step.emit = true;
    state.lastEdgeMs = nowMs;
    if (repeatsEdge(s, pressed)) {
        state.repeatArmed = true;
        state.repeatState = pressed;
        const qint64 delay = s.repeatDelayMs >= 1 ? qint64(s.repeatDelayMs) : repeatStepMs(s);
        state.nextRepeatMs = nowMs + delay;
    }
    return step;
}

ButtonStep stepRepeat(ButtonState &state, bool pressed, const ButtonSettings &s, qint64 nowMs)
{
    ButtonStep step;
    if (!state.repeatArmed)
        return step;
    // The settings may have changed since the repeat was armed (calibration reload).
    if (!emitsEdge(s, pressed) || !repeatsEdge(s, pressed) || state.repeatState != pressed) {
        state.repeatArmed = false;
        return step;
    }
    if (nowMs < state.nextRepeatMs)
        return step;

    step.emit = true;
    step.repeat = true;
    // Skip the repeats a late poll missed: one event, then the first slot after now.
    const qint64 interval = repeatStepMs(s);
    state.nextRepeatMs += ((nowMs - state.nextRepeatMs) / interval + 1) * interval;
    return step;
}

} // namespace

double applyCurve(CurvePreset preset, double gamma, double u)
{
    u = boundedOrLow(u, 0.0, 1.0);
    const double e = curveExponent(preset, gamma);
    if (std::fabs(e - 1.0) * 1e12 <= std::min(std::fabs(e), 1.0))
        return u;
    return std::pow(u, e);
}

AxisSample evaluateAxis(double raw, const AxisSettings &settings)
{
    AxisSample sample;
    const double x = std::isnan(raw) ? 0.0 : std::clamp(raw, -kRawLimit, kRawLimit);
    sample.raw = x;
    sample.clamped = x;
    if (!settings.enabled)
        return sample; // value 0, not the offset
    if (settings.mode == AxisMode::Trigger)
        return evaluateTrigger(sample, settings);
    return evaluateStick(sample, settings);
}

bool shouldPublishAxis(double value, bool atRest, double previous, bool wasAtRest,
                       AxisPublishMode mode, double threshold)
{
    if (mode == AxisPublishMode::Always || atRest != wasAtRest)
        return true;
    if (mode == AxisPublishMode::ActiveOnly && !atRest)
        return true;
    return std::fabs(value - previous) > threshold;
}

GateSample evaluateGate(const GateSettings &gate, const double *axisValues, int axisCount,
                        bool wasInside)
{
    GateSample sample;
    sample.key = gate.key.trimmed();
    if (sample.key.isEmpty() || !axisValues || !isAxisIndex(gate.xAxis, axisCount) ||
        !isAxisIndex(gate.yAxis, axisCount))
        return sample;

    const double dx = axisValues[gate.xAxis] - gate.centerX;
    const double dy = axisValues[gate.yAxis] - gate.centerY;
    sample.distance = std::sqrt(dx * dx + dy * dy);
    sample.valid = true;

    // Enter at the radius, leave only beyond radius + hysteresis.
    const double radius = std::max(gate.radius, 0.0);
    const double hysteresis = std::max(gate.hysteresis, 0.0);
    sample.inside = sample.distance <= (wasInside ? radius + hysteresis : radius);
    sample.value = gate.invertOutput ? !sample.inside : sample.inside;
    sample.changed = sample.inside != wasInside;
    sample.emit = sample.changed && (sample.inside ? gate.emitOnEnter : gate.emitOnExit);
    return sample;
}

ButtonStep stepButton(ButtonState &state, bool pressed, const ButtonSettings &settings,
                      qint64 nowMs)
{
    if (pressed != state.down)
        return stepEdge(state, pressed, settings, nowMs);
    return stepRepeat(state, pressed, settings, nowMs);
}

void PollResult::clear()
{
    keys.clear();
    values.clear();
    axisEvents.clear();
    gateEvents.clear();
    buttonEvents.clear();
    axisPublished = false;
    rawAxesMoved = false;
    buttonsChanged = false;
}

InputProcessor::InputProcessor()
{
    reset();
}

void InputProcessor::reset()
{
    m_axes.fill(0.0);
    m_rawAxes.fill(0.0);
    m_axisPresent.fill(false);
    m_axisAtRest.fill(true);
    m_buttons.fill(ButtonState{});
    clearGates();
}

void InputProcessor::settle(const GamepadCalibration &calibration)
{
    for (int i = 0; i < kAxisCount; ++i) {
        const AxisSettings &settings =
            i < calibration.axes.size() ? calibration.axes.at(i) : kDefaultAxis;
        const AxisSample sample = evaluateAxis(settings.restRaw, settings);
        m_rawAxes[i] = sample.raw;
        m_axes[i] = sample.value;
        m_axisAtRest[i] = true;
    }
}

void InputProcessor::clearGates()
{
    m_gateInside.clear();
    m_gateSlots.clear();
}

bool InputProcessor::gateWasInside(int index, const QString &key)
{
    if (index < int(m_gateSlots.size()) && m_gateSlots[index].key == key)
        return m_gateSlots[index].inside;
    const bool inside = m_gateInside.value(key, false);
    if (index >= int(m_gateSlots.size()))
        m_gateSlots.resize(index + 1);
    m_gateSlots[index] = {key, inside};
    return inside;
}

// Every slot holding the key follows, in case two gates share a key.
void InputProcessor::storeGateInside(const QString &key, bool inside)
{
    m_gateInside.insert(key, inside);
    for (GateSlot &slot : m_gateSlots) {
        if (slot.key == key)
            slot.inside = inside;
    }
}

namespace {

// "prefix0", "prefix1", ... built once, so that a poll never formats a key.
template <std::size_t N> std::array<QString, N> numberedKeys(const char *prefix)
{
    std::array<QString, N> keys;
    for (std::size_t i = 0; i < N; ++i)
        keys[i] = QLatin1String(prefix) + QString::number(i);
    return keys;
}

template <std::size_t N> const QString &keyAt(const std::array<QString, N> &keys, int index)
{
    static const QString none;
    return index >= 0 && std::size_t(index) < N ? keys[std::size_t(index)] : none;
}

} // namespace

const QString &InputProcessor::axisKey(int axis)
{
    static const auto keys = numberedKeys<kAxisCount>("joy_");
    return keyAt(keys, axis);
}

const QString &InputProcessor::buttonKey(int button)
{
    static const auto keys = numberedKeys<kButtonCount>("but_");
    return keyAt(keys, button);
}

// Fills out (cleared first) with what this poll publishes: axes, then gates, then buttons.
void InputProcessor::process(const JoystickReadings &readings,
                             const GamepadCalibration &calibration, qint64 nowMs, PollResult &out)
{
    out.clear();
    processAxes(readings, calibration, out);
    processGates(calibration, out);
    processButtons(readings, calibration, nowMs, out);
}

void InputProcessor::processAxes(const JoystickReadings &readings,
                                 const GamepadCalibration &calibration, PollResult &out)
{
    for (int i = 0; i < kAxisCount; ++i) {
        m_axisPresent[i] = readings.axisPresent[i];
        if (!m_axisPresent[i])
            continue; // an absent axis keeps its last values

        const double raw = readings.axes[i];
        if (std::fabs(raw - m_rawAxes[i]) > kRawMoveThreshold)
            out.rawAxesMoved = true;
        m_rawAxes[i] = raw;

        const AxisSettings &settings =
            i < calibration.axes.size() ? calibration.axes.at(i) : kDefaultAxis;
        const AxisSample sample = evaluateAxis(raw, settings);
        // Compared with the previous poll, not with the last published value.
        const bool publish = shouldPublishAxis(sample.value, sample.atRest, m_axes[i],
                                               m_axisAtRest[i], settings.publishMode);
        m_axes[i] = sample.value;
        m_axisAtRest[i] = sample.atRest;
        if (!publish)
            continue;

        out.keys.append(axisKey(i));
        out.values.append(sample.value);
        out.axisEvents.append({i, sample.value});
        out.axisPublished = true;
        qCDebug(lcGamepadInputAxis).noquote()
            << "Gamepad axis updated key=" << axisKey(i) << "raw=" << raw
            << "value=" << sample.value << "rest=" << sample.atRest;
    }
}

void InputProcessor::processGates(const GamepadCalibration &calibration, PollResult &out)
{
    for (int index = 0; index < calibration.gates.size(); ++index) {
        const GateSettings &gate = calibration.gates.at(index);
        if (!isAxisIndex(gate.xAxis, kAxisCount) || !isAxisIndex(gate.yAxis, kAxisCount) ||
            !m_axisPresent[gate.xAxis] || !m_axisPresent[gate.yAxis])
            continue;

        const bool wasInside = gateWasInside(index, gate.key.trimmed());
        const GateSample sample = evaluateGate(gate, m_axes.data(), kAxisCount, wasInside);
        if (!sample.valid)
            continue;
        if (sample.changed)
            storeGateInside(sample.key, sample.inside);
        if (!sample.emit)
            continue;

        out.keys.append(sample.key);
        out.values.append(sample.value);
        out.gateEvents.append({sample.key, sample.value});
        qCDebug(lcGamepadInputAxis).noquote()
            << "Gamepad gate updated key=" << sample.key << "inside=" << sample.inside
            << "value=" << sample.value << "distance=" << sample.distance;
    }
}

void InputProcessor::processButtons(const JoystickReadings &readings,
                                    const GamepadCalibration &calibration, qint64 nowMs,
                                    PollResult &out)
{
    for (int b = 0; b < kButtonCount; ++b) {
        const ButtonSettings &settings =
            b < calibration.buttons.size() ? calibration.buttons.at(b) : kDefaultButton;
        const bool pressed = readings.buttons[b];
        const ButtonStep step = stepButton(m_buttons[b], pressed, settings, nowMs);
        if (step.edge)
            out.buttonsChanged = true;
        if (!step.emit)
            continue;

        out.keys.append(buttonKey(b));
        out.values.append(pressed);
        out.buttonEvents.append({b, pressed});
        out.buttonsChanged = true;
        qCDebug(lcGamepadInputAxis).noquote() << "Gamepad button updated key=" << buttonKey(b)
                                              << "pressed=" << pressed << "repeat=" << step.repeat;
    }
}
