#include "gamepaddefinder.h"
#include "gamepadmanager.h"
#include "overlaydocument.h"
#include "profilemeta.h"
#include "virtualjoystickbackend.h"

#include <QApplication>
#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QListWidget>
#include <QPainter>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <memory>

namespace {

// A 1280 x 720 controller picture, encoded once and written into every profile.
QByteArray pictureBytes()
{
    QImage image(1280, 720, QImage::Format_RGB32);
    image.fill(QColor(0x22, 0x2b, 0x36));
    QPainter painter(&image);
    painter.setBrush(QColor(0x22, 0xd3, 0xee));
    painter.drawEllipse(QRect(340, 160, 600, 400));
    painter.end();
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
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

struct Catalogue
{
    Catalogue(int profiles, int pastilles)
    {
        qputenv("HOME", home.path().toLocal8Bit());
        qputenv("XDG_DATA_HOME", QDir(home.path()).filePath("data").toLocal8Bit());
        qApp->setProperty("kx.currentLogin", "bench");
        const QByteArray picture = pictureBytes();
        const OverlayDocument overlay = overlayOf(pastilles);
        for (int i = 0; i < profiles; ++i)
            writeProfile(i, picture, overlay);
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
