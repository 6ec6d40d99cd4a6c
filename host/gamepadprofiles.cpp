// gamepad-profiles: lists, exports, imports and renders gamepad profiles from the command line,
// through the same functions as the profile editor.

#include "profilescli.h"

#include <QApplication>

#include <cstdio>

int main(int argc, char *argv[])
{
    // Snapshots draw widgets off screen: a shell without a display must still work.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY") &&
        qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("gamepad-profiles"));
    // The store finds the user's root through the host's login property; here the login is the
    // account running the tool.
    app.setProperty("kx.currentLogin", qEnvironmentVariable("USER"));

    QTextStream out(stdout);
    QTextStream err(stderr);
    return runProfilesCommand(QApplication::arguments().mid(1), out, err);
}
