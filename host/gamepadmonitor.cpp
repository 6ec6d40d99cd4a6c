// gamepad-monitor: a headless host for the gamepad runtime. It lists the controllers found,
// starts them and prints every published batch as one JSON line on standard output.

#include "gamepadmanager.h"
#include "monitorcore.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTimer>

#include <cstdio>
#include <optional>

namespace {

QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

QTextStream &err()
{
    static QTextStream stream(stderr);
    return stream;
}

int runLive(QCoreApplication &app, bool demo, double durationSeconds,
            const std::optional<GamepadCalibration> &calibration)
{
    std::optional<DemoJoystickBackend> demoBackend;
    if (demo) {
        demoBackend.emplace(joystickBackend());
        setJoystickBackend(&*demoBackend);
    }
    QElapsedTimer clock;
    clock.start();
    QTimer animation;
    if (demoBackend) {
        QObject::connect(&animation, &QTimer::timeout,
                         [&] { demoBackend->animate(clock.elapsed()); });
        animation.start(10);
    }

    GamepadManager *manager = GamepadManager::instance();
    auto attach = [&](ControlManette *device) {
        err() << QStringLiteral("controller %1: \"%2\" vendor 0x%3 product 0x%4\n")
                     .arg(device->deviceId())
                     .arg(device->name())
                     .arg(device->vendorId(), 4, 16, QLatin1Char('0'))
                     .arg(device->productId(), 4, 16, QLatin1Char('0'))
              << Qt::flush;
        QObject::connect(
            device, qOverload<int, int, QStringList, QVariantList>(&IComInterface::dataChanged),
            device,
            [&, id = device->deviceId()](int, int, const QStringList &keys,
                                         const QVariantList &values) {
                out() << batchLine(clock.elapsed(), keys, values, id) << Qt::endl;
            });
        device->start();
        if (calibration)
            device->setCalibration(*calibration);
    };
    QObject::connect(manager, &GamepadManager::gamepadAdded, attach);
    QObject::connect(manager, &GamepadManager::gamepadRemoved, [](int id) {
        err() << "controller " << id << " removed\n" << Qt::flush;
    });
    const GamepadList found = manager->gamepads();
    if (found.isEmpty())
        err() << "no controller found; waiting for one (try --virtual)\n" << Qt::flush;
    for (const auto &device : found) {
        if (device)
            attach(device);
    }
    if (durationSeconds > 0)
        QTimer::singleShot(qint64(durationSeconds * 1000.0), &app, &QCoreApplication::quit);
    const int code = app.exec();
    delete manager;
    setJoystickBackend(nullptr);
    return code;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("gamepad-monitor"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Prints the gamepad runtime's published batches as JSON lines on standard output."));
    parser.addHelpOption();
    const QCommandLineOption virtualOption(
        QStringLiteral("virtual"),
        QStringLiteral("Add a simulated controller that moves by itself."));
    const QCommandLineOption durationOption(QStringLiteral("duration"),
                                            QStringLiteral("Stop after this many seconds."),
                                            QStringLiteral("seconds"));
    const QCommandLineOption calibrationOption(QStringLiteral("calibration"),
                                               QStringLiteral("Apply this calibration file."),
                                               QStringLiteral("file"));
    const QCommandLineOption replayOption(
        QStringLiteral("replay"),
        QStringLiteral("Drive one virtual controller from a recorded file (- for standard input)."),
        QStringLiteral("file"));
    parser.addOptions({virtualOption, durationOption, calibrationOption, replayOption});
    parser.process(app);

    std::optional<GamepadCalibration> calibration;
    if (parser.isSet(calibrationOption)) {
        GamepadCalibration loaded;
        QString error;
        const QString path = parser.value(calibrationOption);
        if (!loadCalibrationFile(path, &loaded, &error, 8, 32)) {
            err() << "cannot use calibration " << path << ": "
                  << (error.isEmpty() ? QStringLiteral("no such file") : error) << "\n";
            return 2;
        }
        calibration = loaded;
    }

    bool durationOk = true;
    const double duration =
        parser.isSet(durationOption) ? parser.value(durationOption).toDouble(&durationOk) : 0.0;
    if (!durationOk || duration < 0) {
        err() << "--duration takes a number of seconds\n";
        return 2;
    }

    if (parser.isSet(replayOption)) {
        const QString path = parser.value(replayOption);
        QFile file;
        const bool opened = path == QLatin1String("-")
                                ? file.open(stdin, QIODevice::ReadOnly)
                                : (file.setFileName(path), file.open(QIODevice::ReadOnly));
        if (!opened) {
            err() << "cannot open " << path << ": " << file.errorString() << "\n";
            return 2;
        }
        return runReplay(file, out(), err(), calibration ? &*calibration : nullptr);
    }
    return runLive(app, parser.isSet(virtualOption), duration, calibration);
}
