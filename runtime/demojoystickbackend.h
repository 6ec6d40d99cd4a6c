#pragma once

#include "joystickbackend.h"
#include "virtualjoystickbackend.h"

// Real joysticks with one simulated controller in the last slot, for demonstrations without
// hardware.
class DemoJoystickBackend : public JoystickBackend
{
public:
    static constexpr int kDemoSlot = kMaxJoysticks - 1;

    explicit DemoJoystickBackend(JoystickBackend &real);
    // Moves the demo controller's sticks and buttons to where they are at `timeMs`.
    void animate(qint64 timeMs);

    void update() override;
    bool isConnected(int index) const override;
    JoystickIdentification identification(int index) const override;
    int buttonCount(int index) const override;
    bool hasAxis(int index, int axis) const override;
    double axisPosition(int index, int axis) const override;
    bool isButtonPressed(int index, int button) const override;
    void openPump() override;
    bool pumpConnectionEvents() override;
    void closePump() override;

private:
    const JoystickBackend &source(int index) const;

    JoystickBackend &m_real;
    VirtualJoystickBackend m_demo;
};
