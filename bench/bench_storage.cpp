#include "deviceregistry.h"
#include "gamepadcalibration.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <benchmark/benchmark.h>

// Hostile but well-formed files: a calibration whose gates all share one key, and a registry
// that grew far beyond what the device list keeps.

namespace {

QByteArray calibrationWithEqualGateKeys(int gates)
{
    QJsonArray list;
    for (int i = 0; i < gates; ++i)
        list.append(QJsonObject{{"key", "k"}});
    return QJsonDocument(QJsonObject{{"type", "GamepadCalibration"}, {"gates", list}}).toJson();
}

QByteArray registryBytes(int entries)
{
    QJsonObject devices;
    for (int i = 0; i < entries; ++i) {
        const QJsonObject kv{{"name", "Pad"}, {"lastSeen", double(i)}, {"selected", i % 2 == 0}};
        devices.insert(QStringLiteral("gp:%1").arg(i), QJsonObject{{"kv", kv}});
    }
    return QJsonDocument(QJsonObject{{"lastCount", entries}, {"devices", devices}}).toJson();
}

void parseCalibrationWithEqualGateKeys(benchmark::State &state)
{
    const QByteArray bytes = calibrationWithEqualGateKeys(int(state.range(0)));
    for (auto _ : state) {
        bool ok = false;
        const GamepadCalibration calibration =
            parseCalibration(QJsonDocument::fromJson(bytes).object(), &ok, nullptr,
                             kGamepadAxisCount, kGamepadButtonCount);
        benchmark::DoNotOptimize(calibration.gates.size());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void parseLargeRegistry(benchmark::State &state)
{
    const QByteArray bytes = registryBytes(int(state.range(0)));
    for (auto _ : state) {
        const DeviceRegistry registry = parseDeviceRegistry(bytes);
        benchmark::DoNotOptimize(registry.devices.size());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

} // namespace

BENCHMARK(parseCalibrationWithEqualGateKeys)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(parseLargeRegistry)->Arg(100000)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
