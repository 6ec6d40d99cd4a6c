#pragma once

#include "calibrationsources.h"
#include "gamepadaxiscalibrationwidget.h"
#include "gamepadgatecalibrationwidget.h"
#include "profilestore.h"

#include <QElapsedTimer>
#include <QList>
#include <QPointer>
#include <QTimer>
#include <QWidget>

#include <array>

class CalibrationMeasureDialog;
class ControlManette;
class GamepadButtonCalibrationWidget;
class QComboBox;
class QGridLayout;
class QLabel;
class QPushButton;
class QVBoxLayout;

// The calibration panel: edits the base calibration of the bound controller's model or the
// override of the selected profile, with live values, captures and a coalesced save.
class GamepadConfigWidget : public QWidget
{
    Q_OBJECT

public:
    enum Scope { BaseScope = 0, ProfileScope = 1 };

    static constexpr int kLiveIntervalMs = 30;
    static constexpr int kSaveDelayMs = 220;

    explicit GamepadConfigWidget(QWidget *parent = nullptr);
    ~GamepadConfigWidget() override;

    // Both save pending edits first, then reload.
    void setDevice(ControlManette *device);
    ControlManette *device() const;
    void setProfile(const GamepadProfileInfo &profile);
    const GamepadProfileInfo &profile() const { return m_profile; }
    // The overlay's two-axis pastilles offered to gates, and the names shown beside axis numbers.
    void setTwoAxisSources(const QList<GateSourceOption> &sources);
    void setAxisNames(const QStringList &names);

    int scope() const { return m_scope; }
    // The buffer the cards show and edit.
    const GamepadCalibration &editedCalibration() const;
    const ResolvedCalibration &resolvedCalibration() const { return m_resolved; }
    bool isSavePending() const { return m_savePending; }
    QString statusText() const;
    QString currentTargetPath() const;

    // The measurement dialog while it is open, for the live timer and for tests.
    CalibrationMeasureDialog *measureDialog() const;

    void rebuildAxisCards();
    void reload();
    // Before the panel leaves its controller or profile: true when it may (edits saved or
    // discarded).
    bool requestLeave();

public slots:
    void updateLiveValues();
    void onScopeComboChanged(int index);
    void captureRestForAll();
    void copyBaseToProfile();
    void deleteOverride();
    void resetCurrentCalibration();
    void flushSave();
    void addGate();
    void openMeasurement();

signals:
    void calibrationSaved();
    void profileCalibrationMetadataChanged(const QString &mode, const QString &overrideFile,
                                           quint32 vendorId, quint32 productId);

private:
    void buildUi();
    GamepadCalibration &buffer();
    GamepadDeviceIdentity currentIdentity() const;
    bool deviceConnected() const;
    QString profileIdText() const;
    bool overrideFileLoads() const;
    bool prepareOverrideFromBase(QString *error);
    QString overrideFileName() const;
    void emitMetadata(const QString &overrideFile);
    void scheduleSave();
    void setStatus(const QString &text);
    void refreshHeader();
    void setScopeCombo(int scope);
    void captureAxis(int axis, GamepadAxisCalibrationWidget::CaptureTarget target);
    void captureGateCenter(int gate);
    void removeGate(const QString &key);
    void liveOutputs(std::array<double, kGamepadAxisCount> &outputs) const;
    void onIdentityChanged();
    void onDeviceGone();
    void replaceBuffer(const GamepadCalibration &calibration);
    void applyMeasurement();
    quint32 layoutKey() const;

    QPointer<ControlManette> m_device;
    GamepadDeviceIdentity m_identity; // kept when the controller goes, for the pending save
    GamepadProfileInfo m_profile;
    QList<GateSourceOption> m_sources;
    QStringList m_axisNames;
    ResolvedCalibration m_resolved;
    int m_scope = BaseScope;
    GamepadCalibration m_baseBuffer;
    GamepadCalibration m_overrideBuffer;
    bool m_savePending = false;
    QString m_error; // the last failure, shown until the next success or reload

    QList<GamepadAxisCalibrationWidget *> m_axisCards;
    QList<GamepadButtonCalibrationWidget *> m_buttonCards;
    QList<GamepadGateCalibrationWidget *> m_gateCards;
    QList<bool> m_gateInside;
    quint32 m_cardLayout = 0;

    QTimer m_liveTimer;
    QTimer m_saveTimer;
    QElapsedTimer m_clock;
    QPointer<CalibrationMeasureDialog> m_measureDialog;

    QLabel *m_deviceLabel = nullptr;
    QLabel *m_profileLabel = nullptr;
    QLabel *m_sourceLabel = nullptr;
    QLabel *m_statusLabel = nullptr;
    QComboBox *m_scopeCombo = nullptr;
    QPushButton *m_captureRestButton = nullptr;
    QPushButton *m_copyBaseButton = nullptr;
    QPushButton *m_deleteOverrideButton = nullptr;
    QPushButton *m_measureButton = nullptr;
    QVBoxLayout *m_axisLayout = nullptr;
    QGridLayout *m_buttonGrid = nullptr;
    QVBoxLayout *m_gateLayout = nullptr;
};
