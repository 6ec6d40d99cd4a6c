#include "inputprocessing.h"

#include "benchcalibration.h"

#include <benchmark/benchmark.h>

namespace {

JoystickReadings restingReadings()
{
    JoystickReadings readings;
    readings.axisPresent.fill(true);
    return readings;
}

// The steady state of an idle controller: nothing is published.
void processAtRest(benchmark::State &state)
{
    const GamepadCalibration calibration = fullBenchCalibration();
    const JoystickReadings readings = restingReadings();
    InputProcessor processor;
    PollResult result;
    qint64 nowMs = 0;
    for (auto _ : state) {
        processor.process(readings, calibration, nowMs, result);
        nowMs += 10;
        benchmark::DoNotOptimize(result);
    }
    state.SetItemsProcessed(state.iterations());
}

// Every axis moves on every poll, and the gates flip in and out each time.
void processAllAxesMoving(benchmark::State &state)
{
    const GamepadCalibration calibration = fullBenchCalibration();
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
    state.SetItemsProcessed(state.iterations());
}

} // namespace

BENCHMARK(processAtRest);
BENCHMARK(processAllAxesMoving);

BENCHMARK_MAIN();
