#include "weardetection.h"

#include <algorithm>
#include <cmath>

namespace {

bool validButton(int button)
{
    return button >= 0 && button < kGamepadButtonCount;
}

bool recent(qint64 atMs, qint64 nowMs)
{
    return nowMs - atMs < wear::kBounceMemoryMs;
}

} // namespace

void ChatterDetector::feed(const std::array<bool, kGamepadButtonCount> &buttons, qint64 nowMs)
{
    for (int button = 0; button < kGamepadButtonCount; ++button)
        feed(button, buttons[std::size_t(button)], nowMs);
}

void ChatterDetector::feed(int button, bool pressed, qint64 nowMs)
{
    if (!validButton(button))
        return;
    ButtonTrace &trace = m_buttons[std::size_t(button)];
    if (nowMs < trace.lastPressMs || nowMs < trace.lastReleaseMs) // the device's clock restarted
        trace = ButtonTrace{trace.down, -1, -1, {}};
    if (pressed == trace.down)
        return;
    trace.down = pressed;
    if (!pressed) {
        trace.lastReleaseMs = nowMs;
        return;
    }
    const bool bounced = trace.lastReleaseMs >= 0 &&
                         nowMs - trace.lastReleaseMs < wear::kBounceGapMs &&
                         nowMs - trace.lastPressMs < wear::kDeliberateSpacingMs;
    if (bounced)
        trace.bounces.push_back({nowMs, nowMs - trace.lastPressMs});
    while (!trace.bounces.empty() && (!recent(trace.bounces.front().atMs, nowMs) ||
                                      trace.bounces.size() > wear::kBouncesKept))
        trace.bounces.pop_front();
    trace.lastPressMs = nowMs;
}

void ChatterDetector::clear(int button)
{
    if (validButton(button))
        m_buttons[std::size_t(button)].bounces.clear();
}

int ChatterDetector::bouncesPassing(int button, qint32 debounceMs, qint64 nowMs) const
{
    if (!validButton(button))
        return 0;
    const auto &bounces = m_buttons[std::size_t(button)].bounces;
    return int(std::count_if(bounces.cbegin(), bounces.cend(), [&](const Bounce &b) {
        return recent(b.atMs, nowMs) && b.spacingMs >= debounceMs;
    }));
}

int ChatterDetector::reportedBounces(int button, qint32 debounceMs, qint64 nowMs) const
{
    const int passing = bouncesPassing(button, debounceMs, nowMs);
    return passing >= wear::kBouncesReported ? passing : 0;
}

qint32 ChatterDetector::suggestedDebounceMs(int button, qint64 nowMs) const
{
    if (!validButton(button))
        return 0;
    qint64 longest = -1;
    for (const Bounce &b : m_buttons[std::size_t(button)].bounces) {
        if (recent(b.atMs, nowMs))
            longest = std::max(longest, b.spacingMs);
    }
    return longest < 0 ? 0 : qint32(longest + 1 + wear::kDebounceMarginMs);
}

void DriftDetector::restart(AxisTrace &trace, qint64 nowMs)
{
    trace.sinceMs = nowMs;
    trace.sum = 0.0;
    trace.samples = 0;
}

void DriftDetector::feed(const JoystickReadings &readings, const GamepadCalibration &calibration,
                         qint64 nowMs)
{
    // Input elsewhere (a button touched or held, an axis moving) means someone is playing.
    bool buttonsTouched = readings.buttons != m_lastButtons;
    for (bool down : readings.buttons)
        buttonsTouched = buttonsTouched || down;
    m_lastButtons = readings.buttons;

    std::array<bool, kGamepadAxisCount> moved{};
    for (int axis = 0; axis < kGamepadAxisCount; ++axis) {
        const double raw = readings.axes[std::size_t(axis)];
        moved[std::size_t(axis)] =
            readings.axisPresent[std::size_t(axis)] &&
            std::fabs(raw - m_axes[std::size_t(axis)].anchor) > wear::kSteadyNoiseRaw;
    }
    for (int axis = 0; axis < kGamepadAxisCount; ++axis) {
        AxisTrace &trace = m_axes[std::size_t(axis)];
        const double raw = readings.axes[std::size_t(axis)];
        const bool othersMoved =
            buttonsTouched || std::any_of(moved.cbegin(), moved.cend(),
                                          [&, i = 0](bool m) mutable { return i++ != axis && m; });
        const bool stick =
            axis < calibration.axes.size() && calibration.axes[axis].enabled &&
            calibration.axes[axis].mode == GamepadCalibration::AxisMode::Bidirectional;
        trace.tracked =
            stick && readings.axisPresent[std::size_t(axis)] &&
            std::fabs(raw - calibration.axes[axis].restRaw) > calibration.axes[axis].deadzoneRadius;
        if (moved[std::size_t(axis)] || !readings.axisPresent[std::size_t(axis)])
            trace.anchor = raw;
        if (!trace.tracked || moved[std::size_t(axis)] || othersMoved || nowMs < trace.sinceMs)
            restart(trace, nowMs);
        trace.sum += raw;
        ++trace.samples;
    }
}

void DriftDetector::clear(int axis)
{
    if (axis >= 0 && axis < kGamepadAxisCount)
        m_axes[std::size_t(axis)] = AxisTrace();
}

std::optional<double> DriftDetector::driftRest(int axis, qint64 nowMs) const
{
    if (axis < 0 || axis >= kGamepadAxisCount)
        return std::nullopt;
    const AxisTrace &trace = m_axes[std::size_t(axis)];
    if (!trace.tracked || trace.samples == 0 || nowMs - trace.sinceMs < wear::kDriftHoldMs)
        return std::nullopt;
    return trace.sum / trace.samples;
}
