// gamepad-profiles: lists, exports, imports and renders gamepad profiles from the command line,
// through the same functions as the profile editor.

#include "hostprocess.h"
#include "profilescli.h"

#include <QApplication>

#include <cstdio>

int main(int argc, char *argv[])
{
    ignoreFileSizeSignal();
    // Snapshots draw widgets off screen and nothing is ever shown: no display is needed, and one
    // that does not answer must not stop the tool.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    // The store finds the user's root through the host's login property; here the login is the
    // account running the tool. The host's names, which place its data, come with each command.
    app.setProperty("kx.currentLogin", accountLogin());

    QTextStream out(stdout);
    QTextStream err(stderr);
    return runProfilesCommand(QApplication::arguments().mid(1), out, err);
}
