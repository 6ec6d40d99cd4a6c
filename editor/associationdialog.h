#pragma once

#include <QString>
#include <QStringList>

class QWidget;

// Asks which connected controller a new profile is linked to, through the dialog seam. Blank and
// repeated names (ignoring case) are left out. Returns the chosen name, or an empty one when the
// user cancels or when no controller is connected (after saying so).
QString chooseControllerToLink(QWidget *parent, const QStringList &connectedNames);
