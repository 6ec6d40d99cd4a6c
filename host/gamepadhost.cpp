// gamepad-host: the reference host of the gamepad plug-in. It loads the module as a host
// application does, shows the provider's device cards, events and configuration window, and can
// write screenshots of them without a display.

#include "consolestreams.h"
#include "hostoptions.h"
#include "hostprocess.h"
#include "hostwindow.h"
#include "screenshots.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QPluginLoader>
#include <QTemporaryDir>
#include <QTextStream>

#include <optional>

#include <cerrno>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Every per-user location Qt computes lands in `home`: the plug-in's profiles, calibrations and
// device registry of a screenshot run never touch the user's own.
void isolateUserData(const QString &home)
{
    const QDir dir(home);
    qputenv("HOME", QFile::encodeName(home));
    qputenv("XDG_DATA_HOME", QFile::encodeName(dir.filePath(QStringLiteral(".local/share"))));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(dir.filePath(QStringLiteral(".config"))));
    qputenv("XDG_CACHE_HOME", QFile::encodeName(dir.filePath(QStringLiteral(".cache"))));
}

// Qt aborts the process when its platform cannot start: no display named, or one that does not
// answer. A child process makes the attempt first, so that this one can say why and exit.
bool displayOpens(int argc, char *argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY") &&
        qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        return false;
    const pid_t child = ::fork();
    if (child < 0)
        return true; // cannot tell: Qt will say
    if (child == 0) {
        const int null = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (null >= 0)
            ::dup2(null, STDERR_FILENO); // Qt's own complaint is replaced by ours
        QGuiApplication probe(argc, argv);
        ::_exit(0);
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR)
            return true;
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

int reportNoDisplay()
{
    const QString display =
        qEnvironmentVariable("WAYLAND_DISPLAY", qEnvironmentVariable("DISPLAY"));
    err() << "gamepad-host: "
          << (display.isEmpty()
                  ? QStringLiteral("no display")
                  : QStringLiteral("the display \"%1\" cannot be opened").arg(display))
          << "; set DISPLAY or QT_QPA_PLATFORM=offscreen, or use --screenshot DIR" << Qt::endl;
    return kHostExitFailed;
}

int writeScreenshotsAndQuit(HostWindow &window, const HostOptions &options)
{
    QStringList written;
    QString error;
    const bool done =
        writeScreenshots(window, options.screenshotDir, sampleProfilePath(), &written, &error);
    for (const QString &path : std::as_const(written))
        out() << QDir::toNativeSeparators(path) << Qt::endl;
    if (!done) {
        err() << "gamepad-host: screenshots: " << error << Qt::endl;
        return kHostExitFailed;
    }
    return kHostExitSuccess;
}

} // namespace

int main(int argc, char *argv[])
{
    ignoreFileSizeSignal();
    // Read before QApplication exists: the screenshot mode changes the platform and the home.
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    QString error;
    const std::optional<HostOptions> options = parseHostArguments(arguments, &error);
    if (!options) {
        err() << "gamepad-host: " << error << " (see --help)" << Qt::endl;
        return kHostExitBadInput;
    }
    if (options->help) {
        out() << hostHelpText() << Qt::flush;
        return kHostExitSuccess;
    }
    if (options->checkDisplay)
        return displayOpens(argc, argv) ? kHostExitSuccess : reportNoDisplay();

    std::optional<QTemporaryDir> home; // outlives the application: the plug-in saves on exit
    if (options->screenshots()) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        home.emplace();
        if (!home->isValid()) {
            err() << "gamepad-host: cannot create a temporary home: " << home->errorString()
                  << Qt::endl;
            return kHostExitFailed;
        }
        isolateUserData(home->path());
    } else if (!displayOpens(argc, argv)) {
        return reportNoDisplay();
    }

    QApplication app(argc, argv);
    // The names place the host's data, and with it the plug-in's profiles and registry.
    QApplication::setOrganizationName(kReferenceHostOrganization);
    QApplication::setApplicationName(kReferenceHostApplication);
    // What a host tells its plug-ins about the user: who is logged in, and that shared profiles
    // are not theirs to change.
    app.setProperty("kx.currentLogin",
                    options->screenshots() ? QStringLiteral("demo") : accountLogin());
    app.setProperty("kx.canEditSharedGamepads", false);

    std::optional<QJsonObject> services;
    if (!options->servicesPath.isEmpty()) {
        services = readServicesFile(options->servicesPath, &error);
        if (!services) {
            err() << "gamepad-host: --services: " << error << Qt::endl;
            return kHostExitBadInput;
        }
    }

    QPluginLoader loader(options->pluginPath);
    IComInterfaceModelProvider *provider = loadProvider(loader, &error);
    if (!provider) {
        err() << "gamepad-host: cannot load the plug-in " << options->pluginPath << ": " << error
              << Qt::endl;
        return kHostExitFailed;
    }
    if (services)
        provider->setServices(*services);
    // Not part of the provider interface: reached by name, before the model looks for devices.
    if (options->addVirtual && !QMetaObject::invokeMethod(provider, "addSimulatedController",
                                                          Q_ARG(int, options->simulatedPoseMs()))) {
        err() << "gamepad-host: warning: the plug-in offers no addSimulatedController(int)"
              << Qt::endl;
    }

    HostWindow window(provider, options->verbose);
    if (options->screenshots())
        return writeScreenshotsAndQuit(window, *options);
    window.show();
    return app.exec();
}
