#include "hostprocess.h"

#include <QtGlobal>

#include <csignal>
#include <pwd.h>
#include <unistd.h>

QString accountLogin()
{
    for (const char *variable : {"USER", "LOGNAME"}) {
        const QString login = qEnvironmentVariable(variable).trimmed();
        if (!login.isEmpty())
            return login;
    }
    const passwd *account = ::getpwuid(::geteuid());
    return account && account->pw_name ? QString::fromLocal8Bit(account->pw_name) : QString();
}

void ignoreFileSizeSignal()
{
    std::signal(SIGXFSZ, SIG_IGN);
}
