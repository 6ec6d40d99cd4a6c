#include "controlmanette.h"
#include "virtualjoystickbackend.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include "benchcalibration.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

namespace {

struct Rig
{
    explicit Rig(int controllers)
    {
        setJoystickBackend(&pads);
        for (int i = 0; i < controllers; ++i) {
            pads.connectController(i, {QStringLiteral("Bench Pad %1").arg(i), 0x45e, 0x28e});
            auto device = std::make_unique<ControlManette>(i);
            device->setClockSource([this] { return nowMs; });
            device->start();
            device->setCalibration(fullBenchCalibration());
            // A host slot on the batch, as the action system connects it.
            QObject::connect(
                device.get(),
                qOverload<int, int, QStringList, QVariantList>(&IComInterface::dataChanged),
                [this](int, int, const QStringList &keys, const QVariantList &) {
                    published += keys.size();
                });
            devices.push_back(std::move(device));
        }
    }
    ~Rig()
    {
        devices.clear();
        setJoystickBackend(nullptr);
    }
    void moveSticks(int controller, double deflection)
    {
        for (int axis = 0; axis < 8; ++axis)
            pads.setAxis(controller, axis, axis % 2 ? -deflection : deflection);
    }

    VirtualJoystickBackend pads;
    std::vector<std::unique_ptr<ControlManette>> devices;
    qint64 nowMs = 0;
    qint64 published = 0;
};

void devicePollAtRest(benchmark::State &state)
{
    Rig rig(1);
    for (auto _ : state) {
        rig.devices[0]->poll();
        rig.nowMs += 10;
    }
    state.SetItemsProcessed(state.iterations());
}

void devicePollMoving(benchmark::State &state)
{
    Rig rig(1);
    for (auto _ : state) {
        rig.moveSticks(0, (rig.nowMs / 10) % 2 ? 70.0 : 40.0);
        rig.devices[0]->poll();
        rig.nowMs += 10;
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["keys/poll"] =
        benchmark::Counter(double(rig.published), benchmark::Counter::kAvgIterations);
}

// Eight moving controllers polled every millisecond for ten simulated seconds: the time of one
// iteration divided by ten is the CPU cost of one second of polling.
void eightControllersAtOneKilohertz(benchmark::State &state)
{
    Rig rig(8);
    for (auto _ : state) {
        for (int ms = 0; ms < 10000; ++ms) {
            rig.nowMs += 1;
            for (int c = 0; c < 8; ++c) {
                rig.moveSticks(c, 40.0 + (ms % 50));
                rig.devices[c]->poll();
            }
        }
    }
    state.SetItemsProcessed(state.iterations() * 80000);
}

} // namespace

BENCHMARK(devicePollAtRest);
BENCHMARK(devicePollMoving);
BENCHMARK(eightControllersAtOneKilohertz)->Unit(benchmark::kMillisecond)->Iterations(3);

int main(int argc, char **argv)
{
    // Keep the benchmark away from the user's profile folders.
    QTemporaryDir home;
    qputenv("HOME", home.path().toLocal8Bit());
    qputenv("XDG_DATA_HOME", home.path().toLocal8Bit());
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
