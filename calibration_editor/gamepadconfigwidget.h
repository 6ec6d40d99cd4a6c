#pragma once

#include "calibrationsources.h"
#include "documentsession.h"
#include "gamepadaxiscalibrationwidget.h"
#include "gamepadgatecalibrationwidget.h"
#include "profilestore.h"
#include "weardetection.h"

#include <QList>
#include <QPointer>
#include <QSet>
#include <QTimer>
#include <QWidget>

#include <array>

class CalibrationMeasureDialog;
class ControlManette;
class GamepadButtonCalibrationWidget;
class InputRecorder;
class QComboBox;
class QGridLayout;
class QLabel;
class QPushButton;
class QVBoxLayout;

// The calibration panel: edits the base calibration of the bound controller's model or the
// override of the selected profile, with live values, captures and a coalesced save. Each scope
// keeps its file through its own editing session: a file that could not be read is never
// written, a failed save keeps the edits, and leaving them asks first.
class GamepadConfigWidget : public QWidget
{
    Q_OBJECT

public:
    enum Scope { BaseScope = 0, ProfileScope = 1 };

    static constexpr int kLiveIntervalMs = 30;
    static constexpr int kSaveDelayMs = 220;

    // When the cards are first built: at once, or, for a panel that a window keeps hidden until
    // the user asks for it, when it is first shown (some thousand widgets not made for nothing).
    enum class Cards { Now, WhenShown };

    explicit GamepadConfigWidget(QWidget *parent = nullptr, Cards cards = Cards::Now);
    ~GamepadConfigWidget() override;

    // Both ask requestLeave() first and change nothing when the user stays.
    void setDevice(ControlManette *device);
    ControlManette *device() const;
    void setProfile(const GamepadProfileInfo &profile);
    const GamepadProfileInfo &profile() const { return m_profile; }
    // The overlay's two-axis pastilles offered to gates.
    void setTwoAxisSources(const QList<GateSourceOption> &sources);

    int scope() const { return m_scope; }
    // The buffer the cards show and edit.
    const GamepadCalibration &editedCalibration() const;
    const ResolvedCalibration &resolvedCalibration() const { return m_resolved; }
    bool isSavePending() const;
    bool isRecording() const;
    // Edits of either scope that are not on disk (waiting for their save, or after a failure).
    bool hasUnsavedEdits() const;
    QString statusText() const;

    // The measurement dialog while it is open, for the live timer and for tests.
    CalibrationMeasureDialog *measureDialog() const;

    void rebuildAxisCards();
    // Both scopes again from the files, dropping edits: callers ask requestLeave() first.
    void reload();
    // Before the panel leaves its controller, its profile or the window: true when it may, the
    // edits of both scopes being saved or discarded; false when the user chose to stay.
    bool requestLeave();
    // Something may have changed on disk (a folder watcher): a scope without edits whose file
    // changed is read again; one whose folder disappeared stops saving.
    void checkDisk();

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
    // "Recommencer à vide" for the shown scope after its file could not be read.
    void offerStartEmpty();
    // "Enregistrer…": records what the controller sends into a file asked for, until pressed
    // again, for a bug report (replayed by gamepad-monitor --replay).
    void toggleRecording();

protected:
    bool event(QEvent *event) override;

signals:
    void calibrationSaved();
    void profileCalibrationMetadataChanged(const QString &mode, const QString &overrideFile,
                                           quint32 vendorId, quint32 productId);

private:
    // The panel and its header (gamepadconfigwidget.cpp).
    void buildUi();
    void buildActions(QVBoxLayout *root);
    void buildCardSections(QVBoxLayout *root);
    void setStatus(const QString &text);
    void refreshHeader();
    void refreshEditability();
    void watchDevice(ControlManette *device);
    GamepadDeviceIdentity currentIdentity() const;
    bool deviceConnected() const;
    QString profileIdText() const;
    void onIdentityChanged();
    void checkIdentity();
    void onDeviceGone();
    void onConnectedChanged();

    // Scopes, sessions and saving (gamepadconfigscopes.cpp).
    void createSessions();
    GamepadCalibration &buffer();
    DocumentSession *currentSession() const { return m_sessions[size_t(m_scope)]; }
    QString targetPath(int scope) const;
    QString intendedPath(int scope) const;
    void loadBaseScope();
    void loadProfileScope();
    void reloadScope(int scope);
    void resolveAgain();
    void nameSessions();
    bool enterProfileScope(QString *error);
    bool prepareOverrideFromBase(QString *error);
    GamepadCalibration baseForOverride() const;
    QString overrideFileName() const;
    void emitMetadata(const QString &overrideFile);
    DocumentSession::SaveResult saveScope(int scope) const;
    void afterSave(int scope);
    void setScopeCombo(int scope);

    // Cards and live values (gamepadconfigcards.cpp).
    bool mayEdit();
    void editDone();
    void replaceBuffer(const GamepadCalibration &calibration);
    void captureAxis(int axis, GamepadAxisCalibrationWidget::CaptureTarget target);
    void captureGateCenter(int gate);
    void removeGate(const QString &key);
    std::array<double, kGamepadAxisCount> liveOutputs() const;
    void clearCards();
    void addAxisCards(const GamepadCalibration &calibration, const QSet<int> &expanded);
    void addButtonCards(const GamepadCalibration &calibration, const QSet<int> &expanded);
    void addGateCards(const GamepadCalibration &calibration);
    quint32 layoutKey() const;
    void watchWear();
    void showWearReports();

    // The recording (gamepadconfigrecord.cpp).
    void stopRecording();
    void recordingFailed(const QString &reason);

    // The measurement (gamepadconfigmeasure.cpp).
    bool measurementMayApply();
    void applyMeasurement();
    void cancelMeasurement(const QString &reason);

    QPointer<ControlManette> m_device;
    GamepadDeviceIdentity m_identity; // kept when the controller goes, for the pending save
    GamepadProfileInfo m_profile;
    QList<GateSourceOption> m_sources;
    ResolvedCalibration m_resolved;
    int m_scope = BaseScope;
    // Indexed by Scope: what each scope shows and edits, and the session keeping its file.
    std::array<GamepadCalibration, 2> m_buffers;
    std::array<DocumentSession *, 2> m_sessions{};
    QString m_error; // the last refusal or failure of the panel's own, until a reload or a save
    bool m_identityCheckQueued = false;

    QList<GamepadAxisCalibrationWidget *> m_axisCards;
    QList<GamepadButtonCalibrationWidget *> m_buttonCards;
    QList<GamepadGateCalibrationWidget *> m_gateCards;
    QList<bool> m_gateInside;
    // Bounces and drift seen in the controller's polls, shown on the cards.
    ChatterDetector m_chatter;
    DriftDetector m_drift;
    quint32 m_cardLayout = 0;
    bool m_cardsWaitForShow = false; // Cards::WhenShown, until the panel is first shown

    QTimer m_liveTimer;
    // The measurement is bound to the controller, the profile and the scope it was started for:
    // it is cancelled when the first two change and applies to no other scope.
    QPointer<CalibrationMeasureDialog> m_measureDialog;
    InputRecorder *m_recorder = nullptr;
    int m_measureScope = BaseScope;

    QLabel *m_deviceLabel = nullptr;
    QLabel *m_profileLabel = nullptr;
    QLabel *m_sourceLabel = nullptr;
    QLabel *m_statusLabel = nullptr;
    QComboBox *m_scopeCombo = nullptr;
    QPushButton *m_captureRestButton = nullptr;
    QPushButton *m_copyBaseButton = nullptr;
    QPushButton *m_deleteOverrideButton = nullptr;
    QPushButton *m_measureButton = nullptr;
    QPushButton *m_recordButton = nullptr;
    QPushButton *m_resetButton = nullptr;
    QPushButton *m_startEmptyButton = nullptr;
    QPushButton *m_addGateButton = nullptr;
    QVBoxLayout *m_axisLayout = nullptr;
    QGridLayout *m_buttonGrid = nullptr;
    QVBoxLayout *m_gateLayout = nullptr;
};
