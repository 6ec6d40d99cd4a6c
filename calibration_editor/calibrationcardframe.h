#pragma once

#include <QString>

class QFrame;
class QHBoxLayout;
class QToolButton;
class QVBoxLayout;
class QWidget;

// The frame the axis and button cards share: a card with a header row that starts with the
// expand button, and a details frame, hidden until the button opens it. The cards fill the
// header and the details.
struct CalibrationCardFrame
{
    QFrame *card = nullptr;
    QWidget *header = nullptr;
    QHBoxLayout *headerLayout = nullptr;
    QToolButton *expandButton = nullptr;
    QFrame *details = nullptr;
    QVBoxLayout *detailsLayout = nullptr;
};

CalibrationCardFrame buildCalibrationCardFrame(QWidget *owner, const QString &cardName,
                                               const QString &headerLayoutName,
                                               const QString &expandTooltip);
