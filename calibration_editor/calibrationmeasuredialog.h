#pragma once

#include "calibrationmeasurement.h"

#include <QDialog>

#include <functional>

class QLabel;
class QProgressBar;
class QPushButton;
class QTableWidget;

// The guided measurement: about two seconds with the controller untouched, then the sticks and
// triggers driven to their ends until "Terminer", then the proposal axis by axis. The panel feeds
// it the live raw values with the time in milliseconds; nothing here reads a clock.
class CalibrationMeasureDialog : public QDialog
{
    Q_OBJECT

public:
    enum class Phase { Rest, Motion, Review };
    Q_ENUM(Phase)

    static constexpr qint64 kRestDurationMs = 2000;

    CalibrationMeasureDialog(const GamepadCalibration &current, const QStringList &axisNames,
                             QWidget *parent = nullptr);

    Phase phase() const { return m_phase; }
    void addSample(qint64 nowMs, const CalibrationRecording::Presence &present,
                   const CalibrationRecording::RawAxes &raw);
    // Ends the motion phase and shows the proposal ("Terminer").
    void finishMotion();

    const QList<AxisProposal> &proposals() const { return m_proposals; }
    // The calibration given at construction with the accepted proposals applied.
    GamepadCalibration proposedCalibration() const;

    // Asked when the user applies the proposal; false keeps the dialog open.
    void setApplyCheck(const std::function<bool()> &check) { m_applyCheck = check; }
    void accept() override;

private:
    void showPhase();
    void fillReview();

    GamepadCalibration m_current;
    QStringList m_axisNames;
    CalibrationRecording m_recording;
    QList<AxisProposal> m_proposals;
    Phase m_phase = Phase::Rest;
    qint64 m_restStartMs = -1;
    std::function<bool()> m_applyCheck;

    QLabel *m_instructions = nullptr;
    QProgressBar *m_progress = nullptr;
    QTableWidget *m_table = nullptr;
    QPushButton *m_finishButton = nullptr;
    QPushButton *m_applyButton = nullptr;
    QPushButton *m_cancelButton = nullptr;
};
