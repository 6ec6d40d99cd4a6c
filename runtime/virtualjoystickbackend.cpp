#include "virtualjoystickbackend.h"

#include <algorithm>
#include <cmath>

namespace {

bool validAxis(int axis)
{
    return axis >= 0 && axis < JoystickBackend::kMaxAxes;
}

bool validButton(int button)
{
    return button >= 0 && button < JoystickBackend::kMaxButtons;
}

} // namespace

void VirtualJoystickBackend::connectController(int index,
                                               const JoystickIdentification &identification,
                                               int buttonCount, quint8 axisMask)
{
    if (!validIndex(index))
        return;
    Controller controller;
    controller.connected = true;
    controller.identification = identification;
    controller.buttonCount = std::clamp(buttonCount, 0, kMaxButtons);
    for (int axis = 0; axis < kMaxAxes; ++axis)
        controller.axisPresent[axis] = (axisMask >> axis) & 1;
    m_pending[index] = controller;
}

void VirtualJoystickBackend::disconnectController(int index)
{
    // Like SFML, an unplugged joystick forgets its identification and its state.
    if (validIndex(index))
        m_pending[index] = Controller();
}

void VirtualJoystickBackend::setAxis(int index, int axis, double position)
{
    if (validIndex(index) && validAxis(axis))
        m_pending[index].axes[axis] = position;
}

void VirtualJoystickBackend::setAxisPresent(int index, int axis, bool present)
{
    if (validIndex(index) && validAxis(axis))
        m_pending[index].axisPresent[axis] = present;
}

void VirtualJoystickBackend::setButton(int index, int button, bool pressed)
{
    if (validIndex(index) && validButton(button))
        m_pending[index].buttons[button] = pressed;
}

void VirtualJoystickBackend::setIdentification(int index,
                                               const JoystickIdentification &identification)
{
    if (validIndex(index))
        m_pending[index].identification = identification;
}

void VirtualJoystickBackend::update()
{
    m_current = m_pending;
    ++m_updateCount;
}

bool VirtualJoystickBackend::isConnected(int index) const
{
    return validIndex(index) && m_current[index].connected;
}

JoystickIdentification VirtualJoystickBackend::identification(int index) const
{
    return validIndex(index) ? m_current[index].identification : JoystickIdentification();
}

int VirtualJoystickBackend::buttonCount(int index) const
{
    return isConnected(index) ? m_current[index].buttonCount : 0;
}

bool VirtualJoystickBackend::hasAxis(int index, int axis) const
{
    return isConnected(index) && validAxis(axis) && m_current[index].axisPresent[axis];
}

double VirtualJoystickBackend::axisPosition(int index, int axis) const
{
    if (!isConnected(index) || !validAxis(axis))
        return 0.0;
    const double position = m_current[index].axes[axis];
    return std::isnan(position) ? 0.0 : std::clamp(position, -100.0, 100.0);
}

bool VirtualJoystickBackend::isButtonPressed(int index, int button) const
{
    return isConnected(index) && validButton(button) && m_current[index].buttons[button];
}

bool VirtualJoystickBackend::pumpConnectionEvents()
{
    // The platform reports plugging at once, before the next update() makes it readable.
    bool changed = false;
    for (int index = 0; index < kMaxJoysticks; ++index) {
        changed = changed || m_pumpSeen[index] != m_pending[index].connected;
        m_pumpSeen[index] = m_pending[index].connected;
    }
    return changed;
}
