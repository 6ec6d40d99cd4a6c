#pragma once

#include "joystickbackend.h"

#include <array>
#include <memory>

namespace sf {
class Window;
}

// The joystick layer of a workstation, read through SFML. The hidden pump window is created only
// where the platform can host it safely; elsewhere connection changes are found by comparing the
// connection states between two pump calls.
class SfmlJoystickBackend : public JoystickBackend
{
public:
    SfmlJoystickBackend();
    ~SfmlJoystickBackend() override;

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
    bool hasPumpWindow() const { return m_pumpWindow != nullptr; }

private:
    std::array<bool, kMaxJoysticks> connectionSnapshot() const;
    void forgetChangedIdentifications();

    std::unique_ptr<sf::Window> m_pumpWindow;
    std::array<bool, kMaxJoysticks> m_lastConnected{};
    // SFML reads a joystick's identification when it connects; converting its name on every
    // poll would allocate for nothing, so it is kept until the connection state changes.
    struct CachedIdentification
    {
        bool valid = false;
        bool connected = false;
        JoystickIdentification identification;
    };
    mutable std::array<CachedIdentification, kMaxJoysticks> m_identifications{};
};
