#include "controlmanette.h"
#include "gamepadconfigwidget.h"
#include "virtualjoystickbackend.h"

#include <QApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <memory>

namespace {

// The calibration panel on a full controller (8 axes, 32 buttons) with four gates: the cost of
// one 30 ms live tick, which must stay far below the tick itself.
struct PanelRig
{
    PanelRig()
    {
        setJoystickBackend(&pads);
        pads.connectController(0, {QStringLiteral("Bench Pad"), 0x45e, 0x28e});
        device = std::make_unique<ControlManette>(0);
        device->poll();
        panel = std::make_unique<GamepadConfigWidget>();
        panel->setDevice(device.get());
        for (int i = 0; i < 4; ++i)
            panel->addGate();
        panel->updateLiveValues();
    }
    ~PanelRig()
    {
        panel.reset();
        device.reset();
        setJoystickBackend(nullptr);
    }

    VirtualJoystickBackend pads;
    std::unique_ptr<ControlManette> device;
    std::unique_ptr<GamepadConfigWidget> panel;
};

void liveTickAtRest(benchmark::State &state)
{
    PanelRig rig;
    for (auto _ : state)
        rig.panel->updateLiveValues();
    state.SetItemsProcessed(state.iterations());
}

void liveTickMoving(benchmark::State &state)
{
    PanelRig rig;
    int tick = 0;
    for (auto _ : state) {
        for (int axis = 0; axis < 8; ++axis)
            rig.pads.setAxis(0, axis, (tick % 2 ? 70.0 : 30.0) * (axis % 2 ? -1 : 1));
        rig.pads.setButton(0, tick % 32, tick % 2);
        rig.device->poll();
        rig.panel->updateLiveValues();
        ++tick;
    }
    state.SetItemsProcessed(state.iterations());
}

} // namespace

BENCHMARK(liveTickAtRest);
BENCHMARK(liveTickMoving);

int main(int argc, char **argv)
{
    QTemporaryDir home;
    qputenv("HOME", home.path().toLocal8Bit());
    qputenv("XDG_DATA_HOME", home.path().toLocal8Bit());
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
