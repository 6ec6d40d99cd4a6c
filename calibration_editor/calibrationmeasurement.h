#pragma once

#include "gamepadcalibration.h"

#include <QList>

#include <array>

// A guided measurement of a controller's axes: raw values recorded while the controller lies
// untouched, then while the user drives every stick and trigger to its ends. Only running
// figures are kept, so a long recording costs no memory.
struct AxisRecording
{
    int restCount = 0;
    double restSum = 0.0;
    double restMin = 0.0;
    double restMax = 0.0;
    int motionCount = 0;
    double motionMin = 0.0;
    double motionMax = 0.0;
};

class CalibrationRecording
{
public:
    using Presence = std::array<bool, kGamepadAxisCount>;
    using RawAxes = std::array<double, kGamepadAxisCount>;

    // Absent axes are not recorded; raw values are clamped to -100..100.
    void addRestSample(const Presence &present, const RawAxes &raw);
    void addMotionSample(const Presence &present, const RawAxes &raw);

    const AxisRecording &axis(int index) const { return m_axes.at(size_t(index)); }
    int restSampleCount() const { return m_restSamples; }
    int motionSampleCount() const { return m_motionSamples; }

private:
    std::array<AxisRecording, kGamepadAxisCount> m_axes{};
    int m_restSamples = 0;
    int m_motionSamples = 0;
};

// What the measurement proposes for one axis: `settings` are the axis's settings at the start
// with the measured fields in place, and the flags say which fields were measured.
struct AxisProposal
{
    int axis = 0;
    bool changed = false;   // false: the axis keeps its settings (absent, or never moved)
    double restNoise = 0.0; // the largest deviation from the rest point while untouched
    GamepadCalibration::AxisSettings settings;
    bool trigger = false;          // recognised as a trigger: its mode and its end
    bool negativeMeasured = false; // a stick driven beyond its dead zone towards each end
    bool positiveMeasured = false;
};

// Smallest dead zone proposed, margin added to the noise at rest, and the travel below which an
// axis counts as never moved (raw units).
constexpr double kMeasuredDeadzoneMinimum = 2.0;
constexpr double kMeasuredDeadzoneMargin = 2.0;
constexpr double kMeasuredMinimumTravel = 20.0;

// One proposal per axis of `current` (up to kGamepadAxisCount), in axis order.
QList<AxisProposal> proposeAxisCalibration(const CalibrationRecording &recording,
                                           const GamepadCalibration &current);
// `current` with only the fields the proposal measured: rest, dead zone, the ends reached and,
// for a trigger, its mode and end. Everything else of `current` stays (edits made meanwhile).
GamepadCalibration::AxisSettings mergeMeasuredFields(const GamepadCalibration::AxisSettings &current,
                                                     const AxisProposal &proposal);
// `current` with the measured fields of the changed proposals merged in.
GamepadCalibration applyAxisProposals(const GamepadCalibration &current,
                                      const QList<AxisProposal> &proposals);
