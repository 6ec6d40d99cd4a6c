#include "actionlist.h"
#include "mappingdocument.h"
#include "overlaydocument.h"

#include <QApplication>
#include <QListWidget>

#include <benchmark/benchmark.h>

namespace {

// One button pastille per key "but_<i>", each with a bridge of its own (keys written in upper case
// so that matching has to ignore case), in reverse order so that no bridge is found first.
void applyBridges(benchmark::State &state)
{
    const int count = int(state.range(0));
    QVector<OverlayNode> nodes;
    QJsonArray bridges;
    for (int i = 0; i < count; ++i) {
        OverlayNode node = makeOverlayNode(ElementKind::Button, QString());
        node.sources[0].source.stringKey = QStringLiteral("but_%1").arg(i);
        nodes.append(node);
        const QJsonObject src{{"stringKey", QStringLiteral("BUT_%1").arg(count - 1 - i)}};
        bridges.append(QJsonObject{{"src", src}, {"action", "record"}});
    }
    for (auto _ : state) {
        QVector<OverlayNode> applied = nodes;
        benchmark::DoNotOptimize(applyMappingBridges(bridges, &applied));
        benchmark::DoNotOptimize(applied.data());
    }
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(applyBridges)->Arg(100000)->Unit(benchmark::kMillisecond);

void readOverlayDocument(benchmark::State &state)
{
    const int count = int(state.range(0));
    QJsonArray nodes;
    for (int i = 0; i < count; ++i) {
        const QJsonObject geometry{{"x", (i % 100) / 100.0}, {"y", 0.5}, {"w", 0.1}, {"h", 0.1}};
        const QJsonObject source{{"stringKey", QStringLiteral("joy_%1").arg(i % 8)}};
        nodes.append(QJsonObject{{"kind", "singleJoy"},
                                 {"geometry", geometry},
                                 {"sources", QJsonObject{{"Joystick", source}}}});
    }
    const QJsonObject document{
        {"type", kOverlayType}, {"version", kOverlayVersion}, {"nodes", nodes}};
    for (auto _ : state) {
        OverlayDocument read;
        benchmark::DoNotOptimize(overlayDocumentFromJson(document, {}, &read));
        benchmark::DoNotOptimize(read.nodes.data());
    }
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(readOverlayDocument)->Arg(100000)->Unit(benchmark::kMillisecond);

// The linker's action list over a host catalog of one action per group: every group is new.
void fillActionListOfDistinctGroups(benchmark::State &state)
{
    const int count = int(state.range(0));
    QJsonArray catalog;
    for (int i = 0; i < count; ++i)
        catalog.append(QJsonObject{{"name", QStringLiteral("action_%1").arg(i)},
                                   {"group", QStringLiteral("Groupe %1").arg(i)}});
    QListWidget list;
    for (auto _ : state)
        benchmark::DoNotOptimize(fillActionList(&list, catalog));
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(fillActionListOfDistinctGroups)->Arg(10000)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
