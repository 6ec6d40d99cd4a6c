#pragma once

#include "calibrationcardframe.h"
#include "gamepadcalibration.h"

#include <QWidget>

#include <optional>

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QFrame;
class QLabel;
class QToolButton;

// A small gauge of the raw range -100..100: the live raw input, the rest point and the dead zone
// around it (for a trigger, the travel from rest to its end).
class AxisCalibrationPreviewWidget : public QWidget
{
    Q_OBJECT

public:
    explicit AxisCalibrationPreviewWidget(QWidget *parent = nullptr);

    void setSettings(const GamepadCalibration::AxisSettings &settings);
    // Repaints only when the value moved.
    void setLiveRaw(double raw);
    double liveRaw() const { return m_raw; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    GamepadCalibration::AxisSettings m_settings;
    double m_raw = 0.0;
};

// The card of one axis: its live raw and output values, and every setting of the axis. The card
// edits a copy; the calibration panel owns the calibration and stores what the card reports.
class GamepadAxisCalibrationWidget : public QWidget
{
    Q_OBJECT

public:
    enum class CaptureTarget { Rest, Negative, Positive, Active };
    Q_ENUM(CaptureTarget)

    GamepadAxisCalibrationWidget(int axisIndex, const GamepadCalibration::AxisSettings &settings,
                                 const QString &displayName = QString(), QWidget *parent = nullptr);

    int axisIndex() const { return m_axisIndex; }
    const GamepadCalibration::AxisSettings &settings() const { return m_settings; }
    // Shows other settings (after a capture or a reload) without emitting settingsChanged.
    void setSettings(const GamepadCalibration::AxisSettings &settings);
    // The live timer's entry: labels and preview change only when the values do.
    void setLiveValues(double raw, double output);
    // "Dérive : repos à X" with "Recentrer", which asks for the rest capture; nothing without.
    void setDriftReport(std::optional<double> rest);
    const WearNotice &driftNotice() const { return m_driftNotice; }

    bool isExpanded() const;
    void setExpanded(bool expanded);

signals:
    void settingsChanged(const GamepadCalibration::AxisSettings &settings);
    void captureRequested(GamepadAxisCalibrationWidget::CaptureTarget target);

private:
    void buildUi(const QString &displayName);
    void showSettings(); // controls <- m_settings, signals blocked
    void edited();       // m_settings <- controls, then settingsChanged

    int m_axisIndex = 0;
    GamepadCalibration::AxisSettings m_settings;
    double m_liveRaw = 0.0;
    double m_liveOutput = 0.0;
    WearNotice m_driftNotice;

    QToolButton *m_expandButton = nullptr;
    QLabel *m_rawLabel = nullptr;
    QLabel *m_outputLabel = nullptr;
    AxisCalibrationPreviewWidget *m_preview = nullptr;
    QFrame *m_details = nullptr;
    QComboBox *m_mode = nullptr;
    QComboBox *m_curve = nullptr;
    QComboBox *m_publish = nullptr;
    QDoubleSpinBox *m_deadzone = nullptr;
    QDoubleSpinBox *m_gamma = nullptr;
    QDoubleSpinBox *m_rest = nullptr;
    QDoubleSpinBox *m_negative = nullptr;
    QDoubleSpinBox *m_positive = nullptr;
    QDoubleSpinBox *m_active = nullptr;
    QDoubleSpinBox *m_scale = nullptr;
    QDoubleSpinBox *m_offset = nullptr;
    QCheckBox *m_invert = nullptr;
};
