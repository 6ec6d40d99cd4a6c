#pragma once

#include <QString>

class QFrame;
class QHBoxLayout;
class QLabel;
class QPushButton;
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

// A line under a card's header telling of wear (bounces, drift) with the button that fixes it;
// hidden until there is something to tell.
struct WearNotice
{
    QWidget *row = nullptr;
    QLabel *label = nullptr;
    QPushButton *action = nullptr;

    // Shows `text`, or hides the line for an empty text; touches nothing when unchanged.
    void show(const QString &text) const;
};

WearNotice addWearNotice(const CalibrationCardFrame &frame, const QString &actionText,
                         const QString &actionToolTip);
