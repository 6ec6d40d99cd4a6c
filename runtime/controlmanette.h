#pragma once

#include "calibrationsources.h"
#include "gamepadcalibration.h"
#include "icominterface.h"
#include "inputprocessing.h"

#include <QElapsedTimer>
#include <QPointer>
#include <QTimer>

#include <functional>
#include <optional>

// One physical controller, as the host sees it (IComInterface) and as the editors see it
// (properties and live values). Created and deleted by GamepadManager, one per joystick index.
class ControlManette : public IComInterface
{
    Q_OBJECT
    Q_PROPERTY(int deviceId READ deviceId NOTIFY deviceIdChanged)
    Q_PROPERTY(QString name READ name NOTIFY nameChanged)
    Q_PROPERTY(QString profileName READ profileName WRITE setProfileName NOTIFY profileNameChanged)
    Q_PROPERTY(QString activeProfileId READ activeProfileId WRITE setActiveProfileId NOTIFY
                   activeProfileIdChanged)
    Q_PROPERTY(uint vendorId READ vendorId NOTIFY vendorIdChanged)
    Q_PROPERTY(uint productId READ productId NOTIFY productIdChanged)
    Q_PROPERTY(bool connected READ isConnected NOTIFY connectedChanged)
    Q_PROPERTY(QVariantList axes READ axes NOTIFY axesChanged)
    Q_PROPERTY(QVariantList rawAxes READ rawAxes NOTIFY rawAxesChanged)
    Q_PROPERTY(QVariantList buttons READ buttons NOTIFY buttonsChanged)

public:
    static constexpr int kDefaultPollMs = 10;

    explicit ControlManette(int index, QObject *parent = nullptr);
    ~ControlManette() override;

    // IComInterface, in the host's slot order.
    void start() override;
    void stop() override;
    void close() override;
    QJsonObject info() override;
    void setParameter(int deviceId, int catId, QString name, QVariant value) override;
    DeviceType deviceType() override { return gamepade; }
    QStringList noCodeApp() override;
    QVariant value() override { return {}; }
    ComStatus status() override { return m_connected ? connected : noCom; }
    QJsonArray functions() override { return {}; }

    int deviceId() const { return m_deviceId; }
    QString name() const { return m_name; }
    QString profileName() const { return m_profileName; }
    void setProfileName(const QString &name);
    QString activeProfileId() const { return m_activeProfileId; }
    void setActiveProfileId(const QString &id);
    uint vendorId() const { return m_vendorId; }
    uint productId() const { return m_productId; }
    bool isConnected() const { return m_connected; }
    QVariantList axes() const;
    QVariantList rawAxes() const;
    QVariantList buttons() const;
    QHash<QString, bool> gateStates() const { return m_processor.gateInside(); }
    // The last poll's raw and output values, read in place by live views.
    const InputProcessor &inputState() const { return m_processor; }
    // The raw readings of the last poll, and the device time it was processed at.
    const JoystickReadings &lastReadings() const { return m_readings; }
    qint64 lastPollMs() const { return m_lastPollMs; }
    // Buttons the controller reports (0 until it has been seen connected).
    int buttonCount() const { return m_buttonCount; }

    const GamepadCalibration &calibration() const { return m_calibration; }
    // Applies a calibration until the next reload (live editing, a calibration given by hand).
    void setCalibration(const GamepadCalibration &calibration);
    // Replaces the calibration files for good, so that a replay gives the same output on every
    // machine: reloads apply this calibration and read no file.
    void pinCalibration(const GamepadCalibration &calibration);
    const GamepadCalibration &loadedCalibration() const { return m_loadedCalibration; }
    CalibrationSource calibrationSource() const { return m_calibrationSource; }
    QString calibrationPath() const { return m_calibrationPath; }
    QString calibrationBasePath() const { return m_calibrationBasePath; }
    QString calibrationOverridePath() const { return m_calibrationOverridePath; }
    QString calibrationSignature() const { return m_calibrationSignature; }
    int pollInterval() const { return m_pollTimer.interval(); }
    bool isPolling() const { return m_pollTimer.isActive(); }

    // The picture of the controller: the bound profile's, else that of a profile made for this
    // model, else the built-in picture of the product id.
    QString imagePath() const;

    // Milliseconds for debounce and repeat; replaces the steady clock (replays and tests).
    void setClockSource(std::function<qint64()> source);
    // One poll step: the device's timer calls it every interval; replays call it directly.
    void poll();

public slots:
    void resetAllBias();
    void reloadCalibration();

signals:
    void axisChanged(int axis, double value);
    void buttonChanged(int button, bool pressed);
    void gateChanged(QString key, bool value);
    // After every poll of a connected controller (lastReadings(), lastPollMs()); `published`
    // tells whether it published a batch.
    void polled(bool published);
    void axesChanged();
    void rawAxesChanged();
    void buttonsChanged();
    void deviceIdChanged();
    void nameChanged();
    void profileNameChanged();
    void activeProfileIdChanged();
    void vendorIdChanged();
    void productIdChanged();
    void connectedChanged();

private:
    void setConnected(bool connected);
    void readIdentification();
    void resetRuntimeState();
    void restartClock();
    qint64 elapsedMs();
    QString currentSignature() const;
    void publish(const PollResult &result);
    ResolvedCalibration resolveCalibrationInForce() const;
    void announceClearedValues();

    int m_deviceId = -1;
    QString m_name;
    QString m_profileName;
    QString m_activeProfileId;
    quint32 m_vendorId = 0;
    quint32 m_productId = 0;
    int m_buttonCount = 0;
    bool m_connected = false;

    InputProcessor m_processor;
    JoystickReadings m_readings;
    PollResult m_result;
    qint64 m_lastPollMs = 0;

    GamepadCalibration m_calibration;
    GamepadCalibration m_loadedCalibration;
    std::optional<GamepadCalibration> m_pinnedCalibration;
    CalibrationSource m_calibrationSource = CalibrationSource::Defaults;
    QString m_calibrationPath;
    QString m_calibrationBasePath;
    QString m_calibrationOverridePath;
    QString m_calibrationSignature;
    bool m_identityChanged = true; // the signature must be rebuilt on the next poll

    QTimer m_pollTimer;
    QElapsedTimer m_clock;
    std::function<qint64()> m_clockSource;
    qint64 m_clockStart = 0;
};
