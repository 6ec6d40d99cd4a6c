#pragma once

#include "inputprocessing.h"

#include <array>
#include <deque>
#include <optional>

// Signs of a worn controller, read from the raw readings of its polls. Pure: the caller passes
// the time in milliseconds.
namespace wear {
// A release followed by a new press closer than this is contact bounce.
constexpr qint64 kBounceGapMs = 40;
// Presses this far apart or more are a player's, however fast: never bounces.
constexpr qint64 kDeliberateSpacingMs = 80;
// Bounces are counted over this window, and this many make a report.
constexpr qint64 kBounceMemoryMs = 60000;
constexpr int kBouncesReported = 3;
// Added to the longest bounce seen when suggesting a debounce.
constexpr qint64 kDebounceMarginMs = 5;
// Kept per button: enough for a minute of bad chatter, bounded whatever the controller sends.
constexpr std::size_t kBouncesKept = 512;
// An axis that stays within this many raw units (of -100..100) is steady; moving further is input.
constexpr double kSteadyNoiseRaw = 2.0;
// A steady axis outside its dead zone this long, with nothing else moving, has drifted.
constexpr qint64 kDriftHoldMs = 5000;
} // namespace wear

// Contact bounce per button: a press that follows a release within wear::kBounceGapMs and the
// previous press within wear::kDeliberateSpacingMs.
class ChatterDetector
{
public:
    void feed(const std::array<bool, kGamepadButtonCount> &buttons, qint64 nowMs);
    void feed(int button, bool pressed, qint64 nowMs);
    void clear(int button);

    // Bounces of the last minute that a debounce of `debounceMs` lets through.
    int bouncesPassing(int button, qint32 debounceMs, qint64 nowMs) const;
    // What to tell the user: those bounces when they are several, else 0.
    int reportedBounces(int button, qint32 debounceMs, qint64 nowMs) const;
    // The smallest debounce that removes every bounce of the last minute, with a margin; 0 when
    // there is none. A debounce suppresses a press that follows the last published edge too
    // closely, so it must exceed the spacing between the press and the bounce.
    qint32 suggestedDebounceMs(int button, qint64 nowMs) const;

private:
    struct Bounce
    {
        qint64 atMs;
        qint64 spacingMs; // from the press before
    };
    struct ButtonTrace
    {
        bool down = false;
        qint64 lastPressMs = -1;
        qint64 lastReleaseMs = -1;
        std::deque<Bounce> bounces;
    };
    std::array<ButtonTrace, kGamepadButtonCount> m_buttons{};
};

// Stick drift per axis: a stick axis that holds steady outside its dead zone for
// wear::kDriftHoldMs while no other axis moves and no button is touched.
class DriftDetector
{
public:
    // `calibration` is the normalised calibration in force (its rest points and dead zones).
    void feed(const JoystickReadings &readings, const GamepadCalibration &calibration,
              qint64 nowMs);
    void clear(int axis);

    // Where the drifting axis rests (mean raw position while steady), when it drifts.
    std::optional<double> driftRest(int axis, qint64 nowMs) const;

private:
    struct AxisTrace
    {
        bool tracked = false; // present, a stick, outside its dead zone
        double anchor = 0.0;  // where the axis was when it last moved
        qint64 sinceMs = 0;
        double sum = 0.0;
        int samples = 0;
    };
    void restart(AxisTrace &trace, qint64 nowMs);

    std::array<AxisTrace, kGamepadAxisCount> m_axes{};
    std::array<bool, kGamepadButtonCount> m_lastButtons{};
};
