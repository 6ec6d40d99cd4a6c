#pragma once

#include "gamepadcalibration.h"

#include <QString>

#include <array>

// Name and USB ids a joystick reports; 0 means unknown.
struct JoystickIdentification
{
    QString name;
    quint32 vendorId = 0;
    quint32 productId = 0;
};

// The joystick layer as the runtime sees it: SFML on a workstation, a scripted virtual set of
// controllers in tests and demos. Indices are SFML's: 8 joysticks, 8 axes (X, Y, Z, R, U, V,
// PovX, PovY) and 32 buttons. Everything is called on the GUI thread.
class JoystickBackend
{
public:
    static constexpr int kMaxJoysticks = 8;
    static constexpr int kMaxAxes = kGamepadAxisCount;
    static constexpr int kMaxButtons = kGamepadButtonCount;

    virtual ~JoystickBackend() = default;

    virtual void update() = 0;
    virtual bool isConnected(int index) const = 0;
    virtual JoystickIdentification identification(int index) const = 0;
    virtual int buttonCount(int index) const = 0;
    virtual bool hasAxis(int index, int axis) const = 0;
    virtual double axisPosition(int index, int axis) const = 0; // -100..100
    virtual bool isButtonPressed(int index, int button) const = 0;
    // Every axis and button of one joystick, as one poll reads them; the position of an absent
    // axis is left as it is. By default asked one by one through the three calls above.
    virtual void readInputs(int index, std::array<bool, kMaxAxes> &axisPresent,
                            std::array<double, kMaxAxes> &axes,
                            std::array<bool, kMaxButtons> &buttons) const;

    // The platform delivers connection changes through a hidden window's event queue. openPump()
    // creates it (only where that is safe), pumpConnectionEvents() drains the queue and tells
    // whether a joystick was connected or disconnected since the last call, closePump() deletes it.
    virtual void openPump() = 0;
    virtual bool pumpConnectionEvents() = 0;
    virtual void closePump() = 0;
};

// The backend the runtime uses: the SFML one unless another was installed.
JoystickBackend &joystickBackend();
// Installs a backend (not owned) for the whole process; nullptr restores the SFML one.
void setJoystickBackend(JoystickBackend *backend);
