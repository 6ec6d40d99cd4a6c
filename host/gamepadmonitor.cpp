// gamepad-monitor: a headless host for the gamepad runtime. It lists the controllers found,
// starts them and prints every published batch as one JSON line on standard output.

#include "consolestreams.h"
#include "gamepadmanager.h"
#include "hostprocess.h"
#include "inputrecorder.h"
#include "monitorcore.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTimer>

#include <cstdio>
#include <optional>

namespace {

void quitWith(QCoreApplication &app, int code)
{
    QMetaObject::invokeMethod(
        &app, [&app, code] { app.exit(code); }, Qt::QueuedConnection);
}

// Records the chosen controller; false when it is not the one to record, or the file fails.
bool startRecording(QCoreApplication &app, InputRecorder &recorder, const MonitorOptions &options,
                    ControlManette *device)
{
    if (recorder.isRecording() || (options.slot >= 0 && device->deviceId() != options.slot))
        return false;
    QString error;
    if (!recorder.start(device, options.recordPath, &error)) {
        err() << "--record: cannot write " << options.recordPath << ": " << error << Qt::endl;
        quitWith(app, kExitWriteFailed);
        return false;
    }
    QObject::connect(&recorder, &InputRecorder::failed, &app, [&app, &options](const QString &why) {
        err() << "--record: " << options.recordPath << ": " << why << "; recording stopped"
              << Qt::endl;
        quitWith(app, kExitWriteFailed);
    });
    printBatchesOnDeviceClock(device, out());
    return true;
}

int runLive(QCoreApplication &app, const MonitorOptions &options,
            const std::optional<GamepadCalibration> &calibration)
{
    const bool demo = options.addVirtual;
    const int durationMs = options.durationMs;
    InputRecorder recorder;
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
        if (!options.recordPath.isEmpty() && !startRecording(app, recorder, options, device))
            return;
        err() << QStringLiteral("controller %1: \"%2\" vendor 0x%3 product 0x%4\n")
                     .arg(device->deviceId())
                     .arg(device->name())
                     .arg(device->vendorId(), 4, 16, QLatin1Char('0'))
                     .arg(device->productId(), 4, 16, QLatin1Char('0'))
              << Qt::flush;
        if (!recorder.isRecording())
            QObject::connect(
                device, qOverload<int, int, QStringList, QVariantList>(&IComInterface::dataChanged),
                device,
                [&, id = device->deviceId()](int, int, const QStringList &keys,
                                             const QVariantList &values) {
                    out() << batchLine(clock.elapsed(), keys, values, id) << Qt::endl;
                });
        if (calibration)
            device->pinCalibration(*calibration);
        device->start();
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
    if (durationMs > 0)
        QTimer::singleShot(durationMs, &app, &QCoreApplication::quit);
    const int code = app.exec();
    recorder.stop();
    delete manager;
    setJoystickBackend(nullptr);
    return code;
}

int replay(const QString &path, const std::optional<GamepadCalibration> &calibration)
{
    QFile file;
    const bool opened = path == QLatin1String("-")
                            ? file.open(stdin, QIODevice::ReadOnly)
                            : (file.setFileName(path), file.open(QIODevice::ReadOnly));
    if (!opened) {
        err() << "--replay: cannot open " << path << ": " << file.errorString() << Qt::endl;
        return kExitBadInput;
    }
    return runReplay(file, out(), err(), calibration ? &*calibration : nullptr);
}

} // namespace

int main(int argc, char *argv[])
{
    ignoreFileSizeSignal();
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("gamepad-monitor"));

    QString error;
    const std::optional<MonitorOptions> options =
        parseMonitorArguments(QCoreApplication::arguments(), &error);
    if (!options) {
        err() << "gamepad-monitor: " << error << Qt::endl;
        return kExitBadInput;
    }
    if (options->help) {
        out() << monitorHelpText() << Qt::flush;
        return kExitSuccess;
    }

    std::optional<GamepadCalibration> calibration;
    if (!options->calibrationPath.isEmpty()) {
        GamepadCalibration loaded;
        if (!loadCalibrationFile(options->calibrationPath, &loaded, &error,
                                 InputProcessor::kAxisCount, InputProcessor::kButtonCount)) {
            err() << "--calibration: cannot use " << options->calibrationPath << ": "
                  << (error.isEmpty() ? QStringLiteral("no such file") : error) << Qt::endl;
            return kExitBadInput;
        }
        calibration = loaded;
    }
    if (!options->replayPath.isEmpty())
        return replay(options->replayPath, calibration);
    return runLive(app, *options, calibration);
}
