#include "inputprocessing.h"

#include <benchmark/benchmark.h>

namespace {

// A full controller: 8 axes and 32 buttons streaming in ActiveOnly mode, one gate per stick pair.
GamepadCalibration fullCalibration()
{
    GamepadCalibration calibration = defaultCalibration(8, 32);
    for (int i = 0; i < 4; ++i) {
        GamepadCalibration::GateSettings gate = defaultGateSettings(i);
        gate.xAxis = 2 * i;
        gate.yAxis = 2 * i + 1;
        calibration.gates.append(gate);
    }
    return normalizeCalibration(calibration, 8, 32);
}

JoystickReadings restingReadings()
{
    JoystickReadings readings;
    readings.axisPresent.fill(true);
    return readings;
}

// The steady state of an idle controller: nothing is published.
void processAtRest(benchmark::State &state)
{
    const GamepadCalibration calibration = fullCalibration();
    const JoystickReadings readings = restingReadings();
    InputProcessor processor;
    PollResult result;
    qint64 nowMs = 0;
    for (auto _ : state) {
        processor.process(readings, calibration, nowMs, result);
        nowMs += 10;
        benchmark::DoNotOptimize(result);
    }
}

// Every axis moves on every poll, and the gates flip in and out each time.
void processAllAxesMoving(benchmark::State &state)
{
    const GamepadCalibration calibration = fullCalibration();
    JoystickReadings readings = restingReadings();
    InputProcessor processor;
    PollResult result;
    qint64 nowMs = 0;
    for (auto _ : state) {
        const double deflection = (nowMs / 10) % 2 ? 70.0 : 40.0;
        for (int i = 0; i < InputProcessor::kAxisCount; ++i)
            readings.axes[i] = i % 2 ? -deflection : deflection;
        processor.process(readings, calibration, nowMs, result);
        nowMs += 10;
        benchmark::DoNotOptimize(result);
    }
}

} // namespace

BENCHMARK(processAtRest);
BENCHMARK(processAllAxesMoving);

BENCHMARK_MAIN();
