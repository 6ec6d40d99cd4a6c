#pragma once

#include <QString>

// What the programs of this folder share about the process they run in and the host they stand
// for.

// The reference host's names, as it gives them to QCoreApplication. A host's data location, and
// with it the plug-in's configuration root, is QStandardPaths' AppDataLocation for its names:
// "~/.local/share/gamepad-host" for this one, which names no organisation.
inline const QString kReferenceHostOrganization = QString();
inline const QString kReferenceHostApplication = QStringLiteral("gamepad-host");

// The account running the program, as a host tells its plug-ins who is logged in: $USER, else
// $LOGNAME (services and containers often set neither), else the name the password database
// gives the effective user. Empty when none is known.
QString accountLogin();

// A write beyond the file size limit (ulimit -f) then fails with "File too large", which the
// writer reports, instead of ending the process with SIGXFSZ.
void ignoreFileSizeSignal();
