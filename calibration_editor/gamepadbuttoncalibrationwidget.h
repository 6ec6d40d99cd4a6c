#pragma once

#include "calibrationcardframe.h"
#include "gamepadcalibration.h"

#include <QWidget>

class QCheckBox;
class QFrame;
class QLabel;
class QSpinBox;
class QToolButton;

// "press + release", "inactif", with "debounce %1 ms" and "repeat %1 / %2 ms" when in use.
QString buttonSummaryText(const GamepadCalibration::ButtonSettings &settings);

// The card of one button: its live state and its signal, debounce and repeat settings.
class GamepadButtonCalibrationWidget : public QWidget
{
    Q_OBJECT

public:
    GamepadButtonCalibrationWidget(int buttonIndex,
                                   const GamepadCalibration::ButtonSettings &settings,
                                   QWidget *parent = nullptr);

    int buttonIndex() const { return m_buttonIndex; }
    const GamepadCalibration::ButtonSettings &settings() const { return m_settings; }
    // Shows other settings without emitting settingsChanged.
    void setSettings(const GamepadCalibration::ButtonSettings &settings);
    // "appuye" or "repos"; touches the label only when the state changes.
    void setPressed(bool pressed);
    bool isPressed() const { return m_pressed; }

    // "Rebonds détectés : N" with "Corriger", which sets `suggestedDebounceMs`; nothing for 0.
    void setBounceReport(int bounces, qint32 suggestedDebounceMs);
    const WearNotice &bounceNotice() const { return m_bounceNotice; }

    bool isExpanded() const;
    void setExpanded(bool expanded);

signals:
    void settingsChanged(const GamepadCalibration::ButtonSettings &settings);

private:
    void buildUi();
    void showSettings();
    void edited();

    int m_buttonIndex = 0;
    GamepadCalibration::ButtonSettings m_settings;
    bool m_pressed = false;
    qint32 m_suggestedDebounceMs = 0;
    WearNotice m_bounceNotice;

    QToolButton *m_expandButton = nullptr;
    QLabel *m_stateLabel = nullptr;
    QLabel *m_summaryLabel = nullptr;
    QFrame *m_details = nullptr;
    QCheckBox *m_enabled = nullptr;
    QCheckBox *m_press = nullptr;
    QCheckBox *m_release = nullptr;
    QSpinBox *m_debounce = nullptr;
    QCheckBox *m_repeatOnPress = nullptr;
    QCheckBox *m_repeatOnRelease = nullptr;
    QSpinBox *m_repeatDelay = nullptr;
    QSpinBox *m_repeatInterval = nullptr;
};
