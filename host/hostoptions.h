#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <optional>

// Exit codes of gamepad-host.
constexpr int kHostExitSuccess = 0;
constexpr int kHostExitFailed = 1;   // the plug-in could not be loaded, a screenshot not written,
                                     // or the display cannot be opened
constexpr int kHostExitBadInput = 2; // arguments or the services file rejected

// A services object is a few kilobytes of action catalogue; anything far larger is a mistake.
constexpr qint64 kMaxServicesFileBytes = qint64(4) << 20;

// The pose the simulated controller holds in screenshots: both left-stick axes deflected, a
// trigger half pressed and button 1 down, so every kind of live value shows.
constexpr int kScreenshotPoseMs = 1200;

struct HostOptions
{
    bool help = false;
    bool verbose = false;
    bool addVirtual = false;
    bool checkDisplay = false; // only tell whether the display opens
    QString pluginPath;    // the module built beside this host unless --plugin names another
    QString servicesPath;  // empty: no services; the sample catalogue for screenshots
    QString screenshotDir; // not empty: write the screenshots there and quit

    bool screenshots() const { return !screenshotDir.isEmpty(); }
    // The argument of the plug-in's addSimulatedController: a frozen pose for screenshots, an
    // animated controller (-1) otherwise.
    int simulatedPoseMs() const { return screenshots() ? kScreenshotPoseMs : -1; }
};

// The module built with this host, and the sample files shipped beside its sources.
QString defaultPluginPath();
QString sampleServicesPath();
QString sampleProfilePath();

// Reads the host's command line (program name first). Returns nothing when it cannot be used,
// with `error` naming the option at fault.
std::optional<HostOptions> parseHostArguments(const QStringList &arguments, QString *error);
QString hostHelpText();

// A services file: one JSON object of at most kMaxServicesFileBytes. Returns nothing, with the
// reason in `error`, for a file that cannot be read, is too large, or holds anything else.
std::optional<QJsonObject> readServicesFile(const QString &path, QString *error);
