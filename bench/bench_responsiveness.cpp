// What the user waits for at ten times the usual sizes: each case is one scripted action, timed by
// its own call, with the longest stall of the window's event loop ("stall_ms", stallprobe.h).

#include "actionlinker.h"
#include "benchpicture.h"
#include "dialogseam.h"
#include "gamepaddefinder.h"
#include "gamepadmanager.h"
#include "overlaybindings.h"
#include "profileexchange.h"
#include "profileoperations.h"
#include "profilestore.h"
#include "stallprobe.h"
#include "virtualjoystickbackend.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QListWidget>
#include <QTemporaryDir>

#include <malloc.h>

#include <benchmark/benchmark.h>

namespace {

// A 1280 x 720 controller picture.
void writePicture(const QString &path)
{
    benchControllerPicture().save(path, "PNG");
}

// `count` pastilles of every kind on a square grid over the picture, each bound to an action.
QVector<OverlayNode> gridOfPastilles(int count)
{
    const int side = int(std::ceil(std::sqrt(double(count))));
    const double cell = 0.96 / side;
    QVector<OverlayNode> nodes;
    for (int i = 0; i < count; ++i) {
        const ElementKind kind = ElementKind(i % 3);
        OverlayNode node = makeOverlayNode(kind, defaultTitle(kind, i + 1));
        node.geometry =
            QRectF(0.02 + cell * (i % side), 0.02 + cell * (i / side), cell * 0.8, cell * 0.8);
        for (OverlaySlot &slot : node.sources) {
            slot.source.stringKey = kind == ElementKind::Button
                                        ? QStringLiteral("but_%1").arg(i % 32)
                                        : QStringLiteral("joy_%1").arg(i % 8);
            slot.binding = quickMappingBinding(QStringLiteral("action_%1").arg(i));
        }
        nodes.append(node);
    }
    return nodes;
}

// A profile of `pastilles` pastilles under the user root, with its picture and mapping document.
GamepadProfileMeta writeProfile(const QString &name, int pastilles)
{
    GamepadProfileMeta meta;
    meta.id = QUuid::createUuid();
    meta.name = name;
    meta.folder = QDir(userProfilesRoot()).filePath(meta.id.toString(QUuid::WithoutBraces));
    QDir().mkpath(meta.folder);
    writePicture(meta.imagePath());
    OverlayDocument overlay;
    overlay.overlaySize = QSize(1280, 720);
    overlay.nodes = gridOfPastilles(pastilles);
    QString error;
    if (!writeProfileMeta(&meta, &error) ||
        !saveProfileFiles(&meta, overlayDocumentToJson(overlay), overlay.nodes, {}, &error))
        qFatal("%s", qPrintable(error));
    return meta;
}

QJsonObject servicesOf(int actions, int groups, const QString &labelSuffix)
{
    QJsonArray catalog;
    for (int i = 0; i < actions; ++i)
        catalog.append(QJsonObject{{"name", QStringLiteral("action_%1").arg(i)},
                                   {"label", QStringLiteral("Action %1%2").arg(i).arg(labelSuffix)},
                                   {"group", QStringLiteral("Groupe %1").arg(i % groups)}});
    return {{"sharedActionCatalog", catalog}};
}

// The mapping panel, shown, takes a new catalog of 10,000 actions in 1,000 groups.
void actionListOf10000ActionsIn1000Groups(benchmark::State &state)
{
    const QJsonObject services[] = {servicesOf(10000, 1000, "a"), servicesOf(10000, 1000, "b")};
    ActionLinker linker;
    linker.resize(1280, 800);
    linker.show();
    int next = 0;
    runWithStallProbe(state, [&] { linker.setExternalServices(services[next++ % 2]); });
}
BENCHMARK(actionListOf10000ActionsIn1000Groups)->UseManualTime()->Unit(benchmark::kMillisecond);

int rowOf(const GamepadDefinder &editor, const GamepadProfileMeta &profile)
{
    for (int row = 0; row < editor.entries().size(); ++row) {
        if (editor.entries().at(row).id == profile.id)
            return row;
    }
    return -1;
}

// The shown editor goes to a profile of 500 pastilles, as a click in its list, from one of 500
// or of 50 pastilles (which has fewer pastilles to hand on).
void switchToA500PastilleProfile(benchmark::State &state)
{
    const GamepadProfileMeta from = writeProfile("Profil A", int(state.range(0)));
    const GamepadProfileMeta to = writeProfile("Profil B", 500);
    GamepadDefinder editor(GamepadManager::instance());
    editor.resize(1600, 900);
    editor.show();
    const auto select = [&](const GamepadProfileMeta &profile) {
        return [&editor, profile] { editor.profileList()->setCurrentRow(rowOf(editor, profile)); };
    };
    StallRecord record;
    for (auto _ : state) {
        measureStall(select(from));
        record.add(state, measureStall(select(to)));
    }
    record.report(state);
}
BENCHMARK(switchToA500PastilleProfile)
    ->ArgName("from")
    ->Arg(500)
    ->Arg(50)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// The file and folder choosers answer with one path each, and the last message is kept; every
// other question is declined.
struct SavePathSeam : DialogSeam
{
    QString path;
    QString folder;
    QString told;
    QString getText(QWidget *, const QString &, const QString &, const QString &, bool *ok) override
    {
        *ok = false;
        return {};
    }
    QString getItem(QWidget *, const QString &, const QString &, const QStringList &, int, bool,
                    bool *ok) override
    {
        *ok = false;
        return {};
    }
    QString getOpenFileName(QWidget *, const QString &, const QString &, const QString &) override
    {
        return {};
    }
    QString getSaveFileName(QWidget *, const QString &, const QString &, const QString &) override
    {
        return path;
    }
    QString getExistingDirectory(QWidget *, const QString &, const QString &) override
    {
        return folder;
    }
    void information(QWidget *, const QString &, const QString &text) override { told = text; }
    void warning(QWidget *, const QString &, const QString &text) override { told = text; }
    void critical(QWidget *, const QString &, const QString &) override {}
    bool question(QWidget *, const QString &, const QString &) override { return false; }
    int choose(QWidget *, const QString &, const QString &, const QStringList &, int d) override
    {
        return d;
    }
};

// The shown editor writes the snapshot of its current profile of 500 pastilles, its file chosen;
// the time runs until the file is there.
void snapshotOf500Pastilles(benchmark::State &state)
{
    const GamepadProfileMeta profile = writeProfile("Snapshot 500", 500);
    GamepadDefinder editor(GamepadManager::instance());
    editor.resize(1600, 900);
    editor.show();
    editor.profileList()->setCurrentRow(rowOf(editor, profile));
    QTemporaryDir out;
    SavePathSeam seam;
    seam.path = QDir(out.path()).filePath("snapshot.png");
    setDialogSeam(&seam);
    runWithStallProbe(
        state,
        [&] {
            QFile::remove(seam.path);
            editor.actionSnapshot();
        },
        [&] { return QFileInfo::exists(seam.path); });
    setDialogSeam(nullptr);
}
BENCHMARK(snapshotOf500Pastilles)->UseManualTime()->Unit(benchmark::kMillisecond);

// The shown editor writes the snapshots of a catalogue of ten profiles of 500 pastilles into a
// chosen folder; the time runs until it tells how many it wrote.
void snapshotsOfTenProfilesOf500Pastilles(benchmark::State &state)
{
    QTemporaryDir roots;
    setProfileRootsOverride(roots.filePath("user"), roots.filePath("shared"));
    for (int i = 0; i < 10; ++i)
        writeProfile(QStringLiteral("Lot %1").arg(i), 500);
    {
        GamepadDefinder editor(GamepadManager::instance());
        editor.resize(1600, 900);
        editor.show();
        SavePathSeam seam;
        seam.folder = roots.filePath("shots");
        setDialogSeam(&seam);
        runWithStallProbe(
            state,
            [&] {
                QDir(seam.folder).removeRecursively();
                seam.told.clear();
                editor.actionSnapshotAll();
            },
            [&] { return !seam.told.isEmpty(); });
        setDialogSeam(nullptr);
        if (seam.told != QStringLiteral("Snapshots générés : 10"))
            state.SkipWithError("the snapshots were not all written");
    }
    setProfileRootsOverride({}, {});
    state.SetItemsProcessed(state.iterations() * 10);
}
BENCHMARK(snapshotsOfTenProfilesOf500Pastilles)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);

// One profile's snapshot as the command line and the batch export make it: its overlay read,
// rendered and written as a PNG file.
bool snapshot(const GamepadProfileMeta &profile, const QString &outDir)
{
    SnapshotReport report;
    return exportSnapshots({profile}, outDir, &report, nullptr) && report.errors.isEmpty();
}

// Kilobytes of a "Vm..." line of /proc/self/status.
double statusKb(const char *field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    status.open(QIODevice::ReadOnly);
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(field))
            return line.mid(qstrlen(field)).trimmed().split(' ').value(0).toDouble();
    }
    return 0;
}

// How far the resident size rises above where it stood while `action` runs: free memory goes back
// to the system first, then the kernel's high-water mark starts again from the current size.
double peakRiseMb(const std::function<void()> &action)
{
    malloc_trim(0);
    QFile reset(QStringLiteral("/proc/self/clear_refs"));
    if (!reset.open(QIODevice::WriteOnly) || reset.write("5") != 1)
        return -1;
    reset.close();
    const double before = statusKb("VmRSS:");
    action();
    return (statusKb("VmHWM:") - before) / 1024;
}

// The counter "peak_MB" is the largest rise of the resident size during one snapshot.
void snapshotOf10000Pastilles(benchmark::State &state)
{
    const GamepadProfileMeta profile = writeProfile("Snapshot 10000", 10000);
    QTemporaryDir out;
    double peak = 0;
    for (auto _ : state) {
        peak = std::max(peak, peakRiseMb([&] {
                            if (!snapshot(profile, out.path()))
                                state.SkipWithError("no snapshot");
                        }));
        state.PauseTiming();
        QDir(out.path()).removeRecursively();
        state.ResumeTiming();
    }
    state.counters["peak_MB"] = peak;
}
BENCHMARK(snapshotOf10000Pastilles)->Unit(benchmark::kMillisecond)->Iterations(2);

VirtualJoystickBackend &pads()
{
    static VirtualJoystickBackend backend;
    return backend;
}

} // namespace

int main(int argc, char **argv)
{
    QTemporaryDir home;
    qputenv("HOME", home.path().toLocal8Bit());
    qputenv("XDG_DATA_HOME", QDir(home.path()).filePath("data").toLocal8Bit());
    qputenv("QT_QPA_PLATFORM", "offscreen");
    setJoystickBackend(&pads());
    QApplication app(argc, argv);
    app.setProperty("kx.currentLogin", "bench");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    setJoystickBackend(nullptr);
    return 0;
}
