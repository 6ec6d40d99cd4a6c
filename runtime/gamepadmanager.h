#pragma once

#include "controlmanette.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QTimer>

using GamepadList = QList<QPointer<ControlManette>>;

// The one process-wide object that discovers controllers and keeps one ControlManette per
// connected joystick index. It does not read inputs: each device polls itself.
class GamepadManager : public QObject
{
    Q_OBJECT
    Q_PROPERTY(GamepadList gamepads READ gamepads WRITE setGamepads NOTIFY gamepadsChanged)
    Q_PROPERTY(bool autoDetectGamePad READ autoDetectGamePad WRITE setAutoDetectGamePad NOTIFY
                   autoDetectGamePadChanged)

public:
    static constexpr int kPumpIntervalMs = 50;
    static constexpr int kDiscoveryDelayMs = 250;

    // The manager, created on first use with the application object as parent (or `parent` when
    // there is no application object).
    static GamepadManager *instance(QObject *parent = nullptr);
    ~GamepadManager() override;

    GamepadList gamepads() const { return m_gamepads; }
    bool autoDetectGamePad() const { return m_autoDetectGamePad; }
    void setAutoDetectGamePad(bool enabled);

    bool isPolling() const { return m_pollTimer->isActive(); }
    bool isPumping() const { return m_pumpTimer->isActive(); }

signals:
    void gamepadsChanged();
    void gamepadAdded(ControlManette *gamepad);
    void gamepadRemoved(int deviceId);
    void autoDetectGamePadChanged();

private slots:
    void poll();
    void discoverDevices();

private:
    explicit GamepadManager(QObject *parent);
    void setGamepads(const GamepadList &gamepads);
    void pump();
    void applyAutoDetect();
    void startTimers();

    GamepadList m_gamepads;
    bool m_autoDetectGamePad = true;
    int m_pollIntervalMs = 100;
    QTimer *m_pollTimer = nullptr;
    QTimer *m_pumpTimer = nullptr;
};

Q_DECLARE_METATYPE(QPointer<ControlManette>)
Q_DECLARE_METATYPE(GamepadList)
