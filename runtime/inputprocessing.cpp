#include "inputprocessing.h"

#include "logging.h"

#include <QMutex>
#include <QSet>
#include <QtAlgorithms>

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

// Exponents within 1e-12 (relative) of 1 leave the input as it is.
bool isIdentityExponent(double e)
{
    return std::fabs(e - 1.0) * 1e12 <= std::min(std::fabs(e), 1.0);
}

double shape(const AxisPlan &plan, double u)
{
    u = boundedOrLow(u, 0.0, 1.0);
    return plan.identityCurve ? u : std::pow(u, plan.exponent);
}

// The at-rest result of a stick or trigger: the offset, nothing normalised.
AxisSample restingSample(AxisSample sample, const AxisPlan &plan)
{
    sample.atRest = true;
    sample.normalized = 0.0;
    sample.value = plan.outputOffset;
    return sample;
}

AxisSample evaluateStick(AxisSample sample, const AxisPlan &p)
{
    const double x = sample.clamped;
    const double d = x - p.restRaw;
    if (std::fabs(d) <= p.deadzoneRadius)
        return restingSample(sample, p);

    double t = 0.0;
    if (d > 0) {
        if (p.upperSpan <= kMinSpan)
            return restingSample(sample, p);
        t = boundedOrLow((x - p.upperStart) / p.upperSpan, 0.0, 1.0);
    } else {
        if (p.lowerSpan <= kMinSpan)
            return restingSample(sample, p);
        t = -boundedOrLow((p.lowerStart - x) / p.lowerSpan, 0.0, 1.0);
    }
    if (p.invert)
        t = -t;

    const double shaped = shape(p, std::fabs(t));
    const double sign = t < 0 ? -100.0 : 100.0;
    sample.atRest = false;
    sample.normalized = t;
    sample.value = sign * shaped * p.outputScale + p.outputOffset;
    return sample;
}

// One-sided travel from restRaw towards activeRaw, in either direction; never negative.
AxisSample evaluateTrigger(AxisSample sample, const AxisPlan &p)
{
    const double dist = (sample.clamped - p.triggerStart) * p.direction;
    if (!(dist > 0 && p.triggerSpan > kMinSpan))
        return restingSample(sample, p);

    const double t = boundedOrLow(dist / p.triggerSpan, 0.0, 1.0);
    sample.atRest = false;
    sample.normalized = t;
    sample.value = shape(p, t) * 100.0 * p.outputScale + p.outputOffset;
    return sample;
}

AxisSample evaluatePlanned(double raw, const AxisPlan &plan)
{
    AxisSample sample;
    const double x = std::isnan(raw) ? 0.0 : std::clamp(raw, -kRawLimit, kRawLimit);
    sample.raw = x;
    sample.clamped = x;
    if (!plan.enabled)
        return sample; // value 0, not the offset
    if (plan.trigger)
        return evaluateTrigger(sample, plan);
    return evaluateStick(sample, plan);
}

// shouldPublishAxis, seen by the poll's loop.
inline bool publishesAxis(double value, bool atRest, double previous, bool wasAtRest,
                          AxisPublishMode mode, double threshold = 0.5)
{
    if (mode == AxisPublishMode::Always || atRest != wasAtRest)
        return true;
    if (mode == AxisPublishMode::ActiveOnly && !atRest)
        return true;
    return std::fabs(value - previous) > threshold;
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

    step.publish = true;
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

    step.publish = true;
    step.repeat = true;
    // Skip the repeats a late poll missed: one event, then the first slot after now.
    const qint64 interval = repeatStepMs(s);
    state.nextRepeatMs += ((nowMs - state.nextRepeatMs) / interval + 1) * interval;
    return step;
}

AxisPlan planAxis(const AxisSettings &s)
{
    AxisPlan p;
    p.enabled = s.enabled;
    p.trigger = s.mode == AxisMode::Trigger;
    p.invert = s.invert;
    p.exponent = curveExponent(s.curvePreset, s.gamma);
    p.identityCurve = isIdentityExponent(p.exponent);
    p.publishMode = s.publishMode;
    p.restRaw = s.restRaw;
    p.deadzoneRadius = s.deadzoneRadius;
    p.outputScale = s.outputScale;
    p.outputOffset = s.outputOffset;
    p.upperStart = s.restRaw + s.deadzoneRadius;
    p.upperSpan = s.positiveRaw - p.upperStart;
    p.lowerStart = s.restRaw - s.deadzoneRadius;
    p.lowerSpan = p.lowerStart - s.negativeRaw;
    p.direction = s.activeRaw >= s.restRaw ? 1.0 : -1.0;
    p.triggerStart = s.restRaw + p.direction * s.deadzoneRadius;
    p.triggerSpan = (s.activeRaw - p.triggerStart) * p.direction;
    return p;
}

GatePlan planGate(const GateSettings &gate, int axisCount)
{
    GatePlan plan;
    plan.key = gate.key.trimmed();
    plan.valid = !plan.key.isEmpty() && isAxisIndex(gate.xAxis, axisCount) &&
                 isAxisIndex(gate.yAxis, axisCount);
    plan.xAxis = gate.xAxis;
    plan.yAxis = gate.yAxis;
    plan.centerX = gate.centerX;
    plan.centerY = gate.centerY;
    plan.enterRadius = std::max(gate.radius, 0.0);
    plan.leaveRadius = plan.enterRadius + std::max(gate.hysteresis, 0.0);
    plan.emitOnEnter = gate.emitOnEnter;
    plan.emitOnExit = gate.emitOnExit;
    plan.invertOutput = gate.invertOutput;
    return plan;
}

// A gate key as the poll publishes it: over text kept for the life of the process, so that putting
// it in every batch costs no atomic operation (like the axis and button keys) and a batch the host
// keeps stays valid whatever the calibration becomes. Calibrations name a handful of gates.
QString publishedGateKey(const QString &key)
{
    static QMutex mutex;
    static QSet<QString> kept;
    const QMutexLocker lock(&mutex);
    auto stored = kept.constFind(key);
    if (stored == kept.cend())
        stored = kept.insert(QString(key.constData(), key.size())); // its own copy of the text
    return QString::fromRawData(stored->constData(), stored->size());
}

// Enter at the radius, leave only beyond radius + hysteresis.
bool insideAfter(const GatePlan &gate, const double *axisValues, bool wasInside, double *distance)
{
    const double dx = axisValues[gate.xAxis] - gate.centerX;
    const double dy = axisValues[gate.yAxis] - gate.centerY;
    *distance = std::sqrt(dx * dx + dy * dy);
    return *distance <= (wasInside ? gate.leaveRadius : gate.enterRadius);
}

} // namespace

double applyCurve(CurvePreset preset, double gamma, double u)
{
    u = boundedOrLow(u, 0.0, 1.0);
    const double e = curveExponent(preset, gamma);
    if (isIdentityExponent(e))
        return u;
    return std::pow(u, e);
}

AxisSample evaluateAxis(double raw, const AxisSettings &settings)
{
    return evaluatePlanned(raw, planAxis(settings));
}

bool shouldPublishAxis(double value, bool atRest, double previous, bool wasAtRest,
                       AxisPublishMode mode, double threshold)
{
    return publishesAxis(value, atRest, previous, wasAtRest, mode, threshold);
}

bool gateInsideAfter(const GateSettings &gate, const double *axisValues, int axisCount,
                     bool wasInside)
{
    const GatePlan plan = planGate(gate, axisCount);
    double distance = 0.0;
    return plan.valid && axisValues && insideAfter(plan, axisValues, wasInside, &distance);
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
    m_downMask = 0;
    m_armedMask = 0;
    clearGates();
}

// The gate plans point into the records: both go, and the next poll plans again.
void InputProcessor::clearGates()
{
    m_gateStates.clear();
    m_gateStateIndex.clear();
    m_gatePlans.clear();
    m_planned = false;
}

QHash<QString, bool> InputProcessor::gateInside() const
{
    QHash<QString, bool> inside;
    for (const GateState &state : m_gateStates) {
        if (state.stored)
            inside.insert(state.key, state.inside);
    }
    return inside;
}

int InputProcessor::gateStateIndex(const QString &key)
{
    const auto found = m_gateStateIndex.constFind(key);
    if (found != m_gateStateIndex.cend())
        return found.value();
    m_gateStates.push_back({key, false, false});
    const int index = int(m_gateStates.size()) - 1;
    m_gateStateIndex.insert(key, index);
    return index;
}

void InputProcessor::plan(const GamepadCalibration &calibration)
{
    m_plannedCalibration = calibration;
    m_planned = true;
    for (int i = 0; i < kAxisCount; ++i)
        m_axisPlans[i] =
            planAxis(i < calibration.axes.size() ? calibration.axes.at(i) : kDefaultAxis);
    for (int b = 0; b < kButtonCount; ++b)
        m_buttonPlans[b] =
            b < calibration.buttons.size() ? calibration.buttons.at(b) : kDefaultButton;
    m_gatePlans.clear();
    m_gatePlans.reserve(calibration.gates.size());
    for (const GateSettings &gate : calibration.gates) {
        GatePlan plan = planGate(gate, kAxisCount);
        plan.key = publishedGateKey(plan.key);
        if (plan.valid)
            plan.state = gateStateIndex(plan.key);
        m_gatePlans.push_back(std::move(plan));
    }
}

namespace {

// "prefix0", "prefix1", ... as UTF-16 text in static storage (prefixes of four letters).
template <std::size_t N> struct KeyTexts
{
    char16_t text[N][8] = {};
    int size[N] = {};
};

template <std::size_t N> constexpr KeyTexts<N> numberedTexts(const char (&prefix)[5])
{
    KeyTexts<N> texts{};
    for (std::size_t i = 0; i < N; ++i) {
        int n = 0;
        for (; n < 4; ++n)
            texts.text[i][n] = char16_t(prefix[n]);
        if (i >= 10)
            texts.text[i][n++] = char16_t(u'0' + i / 10);
        texts.text[i][n++] = char16_t(u'0' + i % 10);
        texts.size[i] = n;
    }
    return texts;
}

constexpr auto kAxisKeyTexts = numberedTexts<InputProcessor::kAxisCount>("joy_");
constexpr auto kButtonKeyTexts = numberedTexts<InputProcessor::kButtonCount>("but_");

// Over static text a QString has no reference count, so putting a key in every batch costs no
// atomic operation, and a batch kept by the host stays valid.
template <std::size_t N> std::array<QString, N> numberedKeys(const KeyTexts<N> &texts)
{
    std::array<QString, N> keys;
    for (std::size_t i = 0; i < N; ++i)
        keys[i] =
            QString::fromRawData(reinterpret_cast<const QChar *>(texts.text[i]), texts.size[i]);
    return keys;
}

// at() behind the bound check too: a slip in the bound fails loudly, never reads past the table.
template <std::size_t N> const QString &keyAt(const std::array<QString, N> &keys, int index)
{
    static const QString none;
    return index >= 0 && std::size_t(index) < N ? keys.at(std::size_t(index)) : none;
}

const std::array<QString, InputProcessor::kAxisCount> &axisKeys()
{
    static const auto keys = numberedKeys(kAxisKeyTexts);
    return keys;
}

const std::array<QString, InputProcessor::kButtonCount> &buttonKeys()
{
    static const auto keys = numberedKeys(kButtonKeyTexts);
    return keys;
}

quint32 pressedMask(const std::array<bool, InputProcessor::kButtonCount> &buttons)
{
    quint32 mask = 0;
    for (int b = 0; b < InputProcessor::kButtonCount; ++b)
        mask |= quint32(buttons[b]) << b;
    return mask;
}

} // namespace

const QString &InputProcessor::axisKey(int axis)
{
    return keyAt(axisKeys(), axis);
}

const QString &InputProcessor::buttonKey(int button)
{
    return keyAt(buttonKeys(), button);
}

// Fills out (cleared first) with what this poll publishes: axes, then gates, then buttons.
void InputProcessor::process(const JoystickReadings &readings,
                             const GamepadCalibration &calibration, qint64 nowMs, PollResult &out)
{
    if (!m_planned || !calibration.axes.isSharedWith(m_plannedCalibration.axes) ||
        !calibration.buttons.isSharedWith(m_plannedCalibration.buttons) ||
        !calibration.gates.isSharedWith(m_plannedCalibration.gates))
        plan(calibration);
    out.clear();
    m_traced = lcGamepadInputAxis().isDebugEnabled();
    processAxes(readings, out);
    processGates(out);
    processButtons(readings, nowMs, out);
}

void InputProcessor::processAxes(const JoystickReadings &readings, PollResult &out)
{
    for (int i = 0; i < kAxisCount; ++i) {
        m_axisPresent[i] = readings.axisPresent[i];
        if (!m_axisPresent[i])
            continue; // an absent axis keeps its last values

        const double raw = readings.axes[i];
        if (std::fabs(raw - m_rawAxes[i]) > kRawMoveThreshold)
            out.rawAxesMoved = true;
        m_rawAxes[i] = raw;

        const AxisPlan &plan = m_axisPlans[i];
        const AxisSample sample = evaluatePlanned(raw, plan);
        // Compared with the previous poll, not with the last published value.
        const bool publish = publishesAxis(sample.value, sample.atRest, m_axes[i], m_axisAtRest[i],
                                           plan.publishMode);
        m_axes[i] = sample.value;
        m_axisAtRest[i] = sample.atRest;
        if (!publish)
            continue;

        out.keys.append(axisKeys()[std::size_t(i)]);
        out.values.emplaceBack(sample.value);
        out.axisEvents.append({i, sample.value});
        out.axisPublished = true;
        if (m_traced)
            qCDebug(lcGamepadInputAxis).noquote()
                << "Gamepad axis updated key=" << axisKey(i) << "raw=" << raw
                << "value=" << sample.value << "rest=" << sample.atRest;
    }
}

void InputProcessor::processGates(PollResult &out)
{
    for (const GatePlan &gate : m_gatePlans) {
        if (!gate.valid || !m_axisPresent[gate.xAxis] || !m_axisPresent[gate.yAxis])
            continue;

        GateState &state = m_gateStates[std::size_t(gate.state)];
        double distance = 0.0;
        const bool inside = insideAfter(gate, &m_axes[0], state.inside, &distance);
        if (inside == state.inside)
            continue; // unchanged: nothing stored, nothing published
        state.inside = inside;
        state.stored = true;
        if (!(inside ? gate.emitOnEnter : gate.emitOnExit))
            continue;

        const bool value = gate.invertOutput ? !inside : inside;
        out.keys.append(gate.key);
        out.values.emplaceBack(value);
        out.gateEvents.append({gate.key, value});
        if (m_traced)
            qCDebug(lcGamepadInputAxis).noquote()
                << "Gamepad gate updated key=" << gate.key << "inside=" << inside
                << "value=" << value << "distance=" << distance;
    }
}

// Only the buttons that changed or have a repeat armed can do anything this poll.
void InputProcessor::processButtons(const JoystickReadings &readings, qint64 nowMs, PollResult &out)
{
    const quint32 pressed = pressedMask(readings.buttons);
    quint32 pending = (pressed ^ m_downMask) | m_armedMask;
    while (pending) {
        const int b = qCountTrailingZeroBits(pending);
        pending &= pending - 1;
        const quint32 bit = quint32(1) << b;
        const bool down = pressed & bit;
        ButtonState &state = m_buttons[b];
        const ButtonStep step = stepButton(state, down, m_buttonPlans[b], nowMs);
        m_downMask = state.down ? m_downMask | bit : m_downMask & ~bit;
        m_armedMask = state.repeatArmed ? m_armedMask | bit : m_armedMask & ~bit;
        if (step.edge)
            out.buttonsChanged = true;
        if (!step.publish)
            continue;

        out.keys.append(buttonKeys()[std::size_t(b)]);
        out.values.emplaceBack(down);
        out.buttonEvents.append({b, down});
        out.buttonsChanged = true;
        if (m_traced)
            qCDebug(lcGamepadInputAxis).noquote() << "Gamepad button updated key=" << buttonKey(b)
                                                  << "pressed=" << down << "repeat=" << step.repeat;
    }
}
