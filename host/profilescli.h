#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>

// Exit codes of gamepad-profiles.
constexpr int kProfilesExitSuccess = 0;
constexpr int kProfilesExitFailed = 1; // an operation was refused or failed
constexpr int kProfilesExitUsage = 2;  // unknown command or option, missing value, argument count

QString profilesHelpText();

// Runs one command line of gamepad-profiles (`arguments` without the program name): results on
// `out`, messages on `err`. Profiles are read and written by the editor's own functions; the root
// options hold for this call only. Needs a QApplication for "snapshot".
int runProfilesCommand(const QStringList &arguments, QTextStream &out, QTextStream &err);
