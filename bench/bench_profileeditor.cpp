#include "benchpicture.h"
#include "gamepaddefinder.h"
#include "gamepadmanager.h"
#include "interactiveoverlay.h"
#include "overlaydocument.h"
#include "profilemeta.h"
#include "profiletiles.h"
#include "stallprobe.h"
#include "tagselectionbar.h"
#include "virtualjoystickbackend.h"

#include <QApplication>
#include <QBuffer>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QKeyEvent>
#include <QLineEdit>
#include <QLinearGradient>
#include <QListWidget>
#include <QPainter>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <memory>

namespace {

// A 1280 x 720 controller picture as PNG. A `mark` from 0 adds a small square of its own, so
// that each profile's picture differs from the others.
QByteArray pictureBytes(int mark = -1)
{
    QImage picture = benchControllerPicture();
    if (mark >= 0)
        QPainter(&picture).fillRect(8 * (mark % 150), 8 * (mark / 150), 8, 8, Qt::yellow);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    picture.save(&buffer, "PNG");
    return bytes;
}

OverlayDocument overlayOf(int pastilles)
{
    OverlayDocument document;
    document.overlaySize = QSize(1280, 720);
    for (int i = 0; i < pastilles; ++i) {
        const ElementKind kind = ElementKind(i % 3);
        OverlayNode node = makeOverlayNode(kind, defaultTitle(kind, i + 1));
        node.geometry = QRectF(0.05 + 0.04 * (i % 20), 0.1 + 0.15 * (i / 20), 0.04, 0.06);
        document.nodes.append(node);
    }
    return document;
}

void writeProfile(int index, const QByteArray &picture, const OverlayDocument &overlay)
{
    GamepadProfileMeta meta;
    meta.id = QUuid::createUuid();
    meta.name = QStringLiteral("Profil %1").arg(index, 4, 10, QLatin1Char('0'));
    meta.folder = QDir(userProfilesRoot()).filePath(meta.id.toString(QUuid::WithoutBraces));
    QDir().mkpath(meta.folder);
    QFile image(meta.imagePath());
    if (image.open(QIODevice::WriteOnly))
        image.write(picture);
    writeOverlayFile(meta.folder, kDefaultOverlayFile, overlay, nullptr);
    writeProfileMeta(&meta, nullptr);
}

// Whether the profiles' pictures are copies of one picture (encoded once) or all differ.
enum class Pictures { Copies, Distinct };

struct Catalogue
{
    Catalogue(int profiles, int pastilles, Pictures pictures = Pictures::Copies)
    {
        qputenv("HOME", home.path().toLocal8Bit());
        qputenv("XDG_DATA_HOME", QDir(home.path()).filePath("data").toLocal8Bit());
        qApp->setProperty("kx.currentLogin", "bench");
        const QByteArray picture = pictureBytes();
        const OverlayDocument overlay = overlayOf(pastilles);
        for (int i = 0; i < profiles; ++i)
            writeProfile(i, pictures == Pictures::Copies ? picture : pictureBytes(i), overlay);
    }
    QTemporaryDir home;
};

VirtualJoystickBackend &pads()
{
    static VirtualJoystickBackend backend;
    return backend;
}

// From nothing to a list of 1,000 tiles: the catalogue is read, the tiles are shown with their
// placeholder; the thumbnails arrive afterwards, in batches.
void catalogueOfAThousandProfiles(benchmark::State &state)
{
    Catalogue catalogue(1000, 20);
    for (auto _ : state) {
        GamepadDefinder editor(GamepadManager::instance());
        if (editor.profileList()->count() != 1000)
            state.SkipWithError("the list does not show the catalogue");
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}

// Processor time of all the program's threads: the work a busy machine stretches out.
double processCpuMs()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return now.tv_sec * 1e3 + now.tv_nsec / 1e6;
}

// From nothing to the window shown with a list of 1,000 tiles, every thumbnail in place, and the
// longest time the window did not answer meanwhile, its opening included. "open_ms": the opening
// alone (the window built and shown, the tiles listed); its painting follows in the event loop.
// "cpu_ms": the processor time of all threads until the last thumbnail, the decoders' included.
void measureThumbnails(benchmark::State &state)
{
    StallRecord record;
    double openMs = 0;
    const double cpuBefore = processCpuMs();
    for (auto _ : state) {
        std::unique_ptr<GamepadDefinder> editor;
        const auto open = [&] {
            QElapsedTimer clock;
            clock.start();
            editor = std::make_unique<GamepadDefinder>(GamepadManager::instance());
            editor->resize(1600, 900);
            editor->show();
            openMs = std::max(openMs, clock.nsecsElapsed() / 1e6);
        };
        record.add(state, measureStall(open, [&] { return !editor->thumbnailsPending(); }));
    }
    record.report(state);
    state.counters["open_ms"] = openMs;
    state.counters["cpu_ms"] = (processCpuMs() - cpuBefore) / double(state.iterations());
    state.SetItemsProcessed(state.iterations() * 1000);
}

// Profiles made by duplicating one: their pictures are copies of one picture.
void thumbnailsOfAThousandProfiles(benchmark::State &state)
{
    Catalogue catalogue(1000, 20);
    measureThumbnails(state);
}

// Profiles whose pictures all differ, at the same size: each is decoded.
void thumbnailsOfAThousandDistinctPictures(benchmark::State &state)
{
    Catalogue catalogue(1000, 20, Pictures::Distinct);
    measureThumbnails(state);
}

// A profile deleted elsewhere (the folder removed from the window's thread, as another program
// would): the catalogue is listed again, and the other thumbnails are shown again complete.
// "decodes": the pictures decoded again over all iterations.
void refillAfterOneDelete(benchmark::State &state)
{
    Catalogue catalogue(1001, 20);
    GamepadDefinder editor(GamepadManager::instance());
    editor.findChild<ProfileTiles *>()->waitForThumbnails();
    const auto *tiles = editor.findChild<ProfileTiles *>();
    const int decodedBefore = tiles->decodeCount();
    int deleted = 0;
    StallRecord record;
    for (auto _ : state) {
        const auto removeOne = [&] {
            QDir(editor.entries().at(0).folder).removeRecursively();
            ++deleted;
        };
        record.add(state, measureStall(removeOne, [&] {
                       return editor.profileList()->count() == 1001 - deleted &&
                              !editor.thumbnailsPending();
                   }));
    }
    record.report(state);
    state.counters["decodes"] = tiles->decodeCount() - decodedBefore;
    state.SetItemsProcessed(state.iterations() * 1000);
}

// One more chip in a bar that links 1,000 controller names.
void associationBarAddOneOfAThousand(benchmark::State &state)
{
    QStringList names;
    for (int i = 0; i < 1000; ++i)
        names << QStringLiteral("Manette %1").arg(i);
    TagSelectionBar bar;
    bar.resize(1200, 80);
    bar.show();
    auto *input = bar.findChild<QLineEdit *>(QStringLiteral("tagSelectionInput"));
    int extra = 0;
    StallRecord record;
    for (auto _ : state) {
        bar.setSelectedTags(names);
        for (int turn = 0; turn < 3; ++turn) // shown and painted before the name comes
            QCoreApplication::processEvents();
        input->setText(QStringLiteral("Nouvelle %1").arg(++extra));
        record.add(state, measureStall([&] {
                       QKeyEvent enter(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
                       QCoreApplication::sendEvent(input, &enter);
                       QCoreApplication::processEvents();
                   }));
    }
    record.report(state);
    if (bar.selectedTags().size() != 1001)
        state.SkipWithError("the name was not added");
    state.SetItemsProcessed(state.iterations());
}

// A 20-megapixel controller picture on the overlay, from the call to the picture shown. Two such
// pictures take turns, so that each is decoded again.
void showTwentyMegapixelPicture(benchmark::State &state)
{
    QTemporaryDir folder;
    QStringList paths;
    for (int i = 0; i < 2; ++i) {
        QImage image(5472, 3648, QImage::Format_RGB32);
        QLinearGradient gradient(0, 0, image.width(), image.height());
        gradient.setColorAt(0, QColor(0x22, 0x2b, 0x36 + 40 * i));
        gradient.setColorAt(1, QColor(0x22, 0xd3, 0xee));
        QPainter(&image).fillRect(image.rect(), gradient);
        paths << folder.filePath(QStringLiteral("picture%1.png").arg(i));
        image.save(paths.last());
    }
    InteractiveOverlay overlay;
    overlay.resize(1280, 720);
    overlay.show();
    int turn = 0;
    runWithStallProbe(
        state, [&] { overlay.setBackgroundPicture(paths.at(turn++ % 2)); },
        [&] { return !overlay.backgroundPixmap().isNull(); });
    state.SetItemsProcessed(state.iterations());
}

// One selection change between two profiles of 50 pastilles: the previous one is clean, so the
// cost is loading the overlay, the mapping document and the picture of the next.
void switchBetweenTwoProfiles(benchmark::State &state)
{
    Catalogue catalogue(2, 50);
    GamepadDefinder editor(GamepadManager::instance());
    editor.resize(1280, 800);
    int row = 0;
    for (auto _ : state) {
        editor.onListSelectionChanged(row);
        row = 1 - row;
    }
    state.SetItemsProcessed(state.iterations());
}

} // namespace

BENCHMARK(catalogueOfAThousandProfiles)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(thumbnailsOfAThousandProfiles)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);
BENCHMARK(thumbnailsOfAThousandDistinctPictures)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);
BENCHMARK(refillAfterOneDelete)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(associationBarAddOneOfAThousand)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);
BENCHMARK(showTwentyMegapixelPicture)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(4);
BENCHMARK(switchBetweenTwoProfiles)->Unit(benchmark::kMillisecond);

int main(int argc, char **argv)
{
    QTemporaryDir home;
    qputenv("HOME", home.path().toLocal8Bit());
    qputenv("QT_QPA_PLATFORM", "offscreen");
    setJoystickBackend(&pads());
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    setJoystickBackend(nullptr);
    return 0;
}
