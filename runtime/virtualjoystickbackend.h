#pragma once

#include "joystickbackend.h"

#include <array>

// Up to eight scripted controllers. Like SFML, what the script sets becomes visible to readers
// only after the next update().
class VirtualJoystickBackend : public JoystickBackend
{
public:
    struct Controller
    {
        bool connected = false;
        JoystickIdentification identification;
        int buttonCount = 0;
        std::array<bool, kMaxAxes> axisPresent{};
        std::array<double, kMaxAxes> axes{};
        std::array<bool, kMaxButtons> buttons{};
    };

    // Script side.
    void connectController(int index, const JoystickIdentification &identification,
                           int buttonCount = kMaxButtons, quint8 axisMask = 0xff);
    void disconnectController(int index);
    void setAxis(int index, int axis, double position);
    void setAxisPresent(int index, int axis, bool present);
    void setButton(int index, int button, bool pressed);
    void setIdentification(int index, const JoystickIdentification &identification);
    int updateCount() const { return m_updateCount; }

    // Reader side.
    void update() override;
    bool isConnected(int index) const override;
    JoystickIdentification identification(int index) const override;
    int buttonCount(int index) const override;
    bool hasAxis(int index, int axis) const override;
    double axisPosition(int index, int axis) const override;
    bool isButtonPressed(int index, int button) const override;
    void readInputs(int index, std::array<bool, kMaxAxes> &axisPresent,
                    std::array<double, kMaxAxes> &axes,
                    std::array<bool, kMaxButtons> &buttons) const override;

    void openPump() override { m_pumpOpen = true; }
    bool pumpConnectionEvents() override;
    void closePump() override { m_pumpOpen = false; }
    bool isPumpOpen() const { return m_pumpOpen; }

private:
    static bool validIndex(int index) { return index >= 0 && index < kMaxJoysticks; }
    Controller &pending(int index); // marks the controller for the next update()

    std::array<Controller, kMaxJoysticks> m_pending{};
    std::array<Controller, kMaxJoysticks> m_current{};
    std::array<bool, kMaxJoysticks> m_changed{}; // pending differs from current
    std::array<bool, kMaxJoysticks> m_pumpSeen{};
    bool m_pumpOpen = false;
    int m_updateCount = 0;
};
