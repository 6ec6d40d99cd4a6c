#pragma once

// How long a user's click or key would wait while a scripted action runs: a 1 ms timer ticks in
// the GUI thread's event loop, the action runs from one of its ticks, and the longest gap between
// two ticks is the longest stall. The watch goes on after the action until the loop has turned
// freely for a while, so that what the action leaves queued (layouts, paints, deferred deletions,
// zero-delay timers, work cut into batches) is measured too.

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <functional>
#include <vector>

struct StallMeasure
{
    double actionMs = 0;   // the action's own call, or until its work is done
    double stallMs = 0;    // the longest gap between two ticks, from the action's tick on
    double stallCpuMs = 0; // the most processor time the thread spent within one gap
};

// Processor time of the calling thread: what a gap costs on a machine that has nothing else to do.
inline double threadCpuMs()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec * 1e3 + now.tv_nsec / 1e6;
}

// `done`, when given, says at each tick whether an action that goes on in the event loop has
// finished its work; the action's time runs until then. `quietMs`: how long the ticks must keep
// coming on time (within 2 ms of each other) before the loop counts as settled; `limitMs` ends a
// watch that never settles.
inline StallMeasure measureStall(const std::function<void()> &action,
                                 const std::function<bool()> &done = {}, int quietMs = 30,
                                 int limitMs = 20000)
{
    constexpr qint64 kOnTimeNs = 2'000'000;
    StallMeasure measure;
    QEventLoop loop;
    QElapsedTimer clock;
    QTimer ticker;
    ticker.setTimerType(Qt::PreciseTimer);
    ticker.setInterval(1);
    qint64 start = -1;
    qint64 lastTick = -1;
    double lastCpu = 0;
    qint64 quietSince = -1;
    bool finished = false;
    QObject::connect(&ticker, &QTimer::timeout, &loop, [&] {
        const qint64 now = clock.nsecsElapsed();
        const double cpu = threadCpuMs();
        measure.stallCpuMs = std::max(measure.stallCpuMs, cpu - lastCpu);
        lastCpu = cpu;
        if (lastTick < 0) {
            measure.stallCpuMs = 0;
            start = lastTick = now;
            action();
            quietSince = clock.nsecsElapsed();
            measure.actionMs = (quietSince - start) / 1e6;
            finished = !done;
            return;
        }
        const qint64 gap = now - lastTick;
        lastTick = now;
        if (!finished && done()) {
            finished = true;
            measure.actionMs = (now - start) / 1e6;
        }
        measure.stallMs = std::max(measure.stallMs, gap / 1e6);
        if (gap > kOnTimeNs)
            quietSince = now;
        if ((finished && now - quietSince >= qint64(quietMs) * 1'000'000) ||
            now >= qint64(limitMs) * 1'000'000)
            loop.quit();
    });
    clock.start();
    ticker.start();
    loop.exec();
    return measure;
}

// The iterations of a benchmark: each one's time is its action's (register the benchmark with
// UseManualTime()); the counters are "stall_ms", the median of the actions' longest stalls,
// "stall_max_ms", the largest of them, which other programs on a busy machine inflate, and
// "stall_cpu_ms", the median of the most processor time spent within one stall, which they do not.
class StallRecord
{
public:
    void add(benchmark::State &state, const StallMeasure &measure)
    {
        state.SetIterationTime(measure.actionMs / 1000);
        m_stalls.push_back(measure.stallMs);
        m_cpuStalls.push_back(measure.stallCpuMs);
    }
    void report(benchmark::State &state)
    {
        if (m_stalls.empty())
            return;
        std::sort(m_stalls.begin(), m_stalls.end());
        std::sort(m_cpuStalls.begin(), m_cpuStalls.end());
        state.counters["stall_ms"] = m_stalls[m_stalls.size() / 2];
        state.counters["stall_max_ms"] = m_stalls.back();
        state.counters["stall_cpu_ms"] = m_cpuStalls[m_cpuStalls.size() / 2];
    }

private:
    std::vector<double> m_stalls;
    std::vector<double> m_cpuStalls;
};

// One measured action per iteration.
inline void runWithStallProbe(benchmark::State &state, const std::function<void()> &action,
                              const std::function<bool()> &done = {})
{
    StallRecord record;
    for (auto _ : state)
        record.add(state, measureStall(action, done));
    record.report(state);
}
