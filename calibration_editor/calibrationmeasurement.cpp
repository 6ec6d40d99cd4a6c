#include "calibrationmeasurement.h"

#include <QtGlobal>

#include <cmath>

namespace {

// Adds one reading to a running minimum and maximum; the first reading sets both.
void widen(int count, double value, double &minimum, double &maximum)
{
    if (count == 0) {
        minimum = maximum = value;
        return;
    }
    minimum = qMin(minimum, value);
    maximum = qMax(maximum, value);
}

// Rounded up to the next half unit. The tolerance keeps 5.0000000001 (the residue of the rest
// being rounded to a tenth) at 5.0.
double ceilToHalf(double value)
{
    return std::ceil(value * 2.0 - 1e-6) / 2.0;
}

} // namespace

// at() on the first read: a slip in the bound fails loudly instead of writing past the recording.
void CalibrationRecording::addRestSample(const Presence &present, const RawAxes &raw)
{
    for (size_t i = 0; i < m_axes.size(); ++i) {
        if (!present.at(i) || !std::isfinite(raw[i]))
            continue;
        const double value = qBound(-100.0, raw[i], 100.0);
        AxisRecording &axis = m_axes[i];
        widen(axis.restCount, value, axis.restMin, axis.restMax);
        axis.restSum += value;
        ++axis.restCount;
    }
    ++m_restSamples;
}

void CalibrationRecording::addMotionSample(const Presence &present, const RawAxes &raw)
{
    for (size_t i = 0; i < m_axes.size(); ++i) {
        if (!present.at(i) || !std::isfinite(raw[i]))
            continue;
        const double value = qBound(-100.0, raw[i], 100.0);
        AxisRecording &axis = m_axes[i];
        widen(axis.motionCount, value, axis.motionMin, axis.motionMax);
        ++axis.motionCount;
    }
    ++m_motionSamples;
}

QList<AxisProposal> proposeAxisCalibration(const CalibrationRecording &recording,
                                           const GamepadCalibration &current)
{
    using AxisMode = GamepadCalibration::AxisMode;
    QList<AxisProposal> proposals;
    const int count = qMin(int(current.axes.size()), kGamepadAxisCount);
    for (int i = 0; i < count; ++i) {
        AxisProposal proposal;
        proposal.axis = i;
        proposal.settings = current.axes.at(i);
        const AxisRecording &axis = recording.axis(i);
        if (axis.restCount == 0 || axis.motionCount == 0) {
            proposals.append(proposal);
            continue;
        }
        const double rest = std::round(axis.restSum / axis.restCount * 10.0) / 10.0;
        proposal.restNoise = qMax(0.0, qMax(axis.restMax - rest, rest - axis.restMin));
        const double low = qMin(axis.motionMin, axis.restMin);
        const double high = qMax(axis.motionMax, axis.restMax);
        // An axis nobody touched keeps its settings rather than getting a range from its noise.
        if (high - low < kMeasuredMinimumTravel) {
            proposals.append(proposal);
            continue;
        }

        GamepadCalibration::AxisSettings &settings = proposal.settings;
        const double deadzone =
            qBound(kMeasuredDeadzoneMinimum,
                   ceilToHalf(proposal.restNoise + kMeasuredDeadzoneMargin), 50.0);
        settings.restRaw = rest;
        settings.deadzoneRadius = deadzone;
        // A trigger rests near one end and only travels towards the other; a stick at rest near
        // an end would also travel beyond it.
        const bool restsHigh = rest >= 90.0 && axis.motionMax <= rest + deadzone;
        const bool restsLow = rest <= -90.0 && axis.motionMin >= rest - deadzone;
        if (settings.mode == AxisMode::Trigger || restsHigh || restsLow) {
            settings.mode = AxisMode::Trigger;
            settings.activeRaw = high - rest >= rest - low ? high : low;
            proposal.trigger = true;
        } else {
            // Each end as measured, even when asymmetric; an end never reached keeps its value.
            proposal.negativeMeasured = axis.motionMin < rest - deadzone;
            proposal.positiveMeasured = axis.motionMax > rest + deadzone;
            if (proposal.negativeMeasured)
                settings.negativeRaw = axis.motionMin;
            if (proposal.positiveMeasured)
                settings.positiveRaw = axis.motionMax;
        }
        proposal.changed = true;
        proposals.append(proposal);
    }
    return proposals;
}

GamepadCalibration::AxisSettings mergeMeasuredFields(const GamepadCalibration::AxisSettings &current,
                                                     const AxisProposal &proposal)
{
    if (!proposal.changed)
        return current;
    const GamepadCalibration::AxisSettings &measured = proposal.settings;
    GamepadCalibration::AxisSettings result = current;
    result.restRaw = measured.restRaw;
    result.deadzoneRadius = measured.deadzoneRadius;
    if (proposal.trigger) {
        result.mode = measured.mode;
        result.activeRaw = measured.activeRaw;
    }
    if (proposal.negativeMeasured)
        result.negativeRaw = measured.negativeRaw;
    if (proposal.positiveMeasured)
        result.positiveRaw = measured.positiveRaw;
    return result;
}

GamepadCalibration applyAxisProposals(const GamepadCalibration &current,
                                      const QList<AxisProposal> &proposals)
{
    GamepadCalibration result = current;
    for (const AxisProposal &proposal : proposals) {
        if (proposal.axis >= 0 && proposal.axis < result.axes.size())
            result.axes[proposal.axis] = mergeMeasuredFields(result.axes[proposal.axis], proposal);
    }
    return result;
}
