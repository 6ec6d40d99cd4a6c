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

double readablePosition(double position)
{
    return std::isnan(position) ? 0.0 : std::clamp(position, -100.0, 100.0);
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
    pending(index) = controller;
}

void VirtualJoystickBackend::disconnectController(int index)
{
    // Like SFML, an unplugged joystick forgets its identification and its state.
    if (validIndex(index))
        pending(index) = Controller();
}

void VirtualJoystickBackend::setAxis(int index, int axis, double position)
{
    if (validIndex(index) && validAxis(axis))
        pending(index).axes[axis] = position;
}

void VirtualJoystickBackend::setAxisPresent(int index, int axis, bool present)
{
    if (validIndex(index) && validAxis(axis))
        pending(index).axisPresent[axis] = present;
}

void VirtualJoystickBackend::setButton(int index, int button, bool pressed)
{
    if (validIndex(index) && validButton(button)) // at(): a slip in the bound fails loudly
        pending(index).buttons.at(std::size_t(button)) = pressed;
}

void VirtualJoystickBackend::setIdentification(int index,
                                               const JoystickIdentification &identification)
{
    if (validIndex(index))
        pending(index).identification = identification;
}

VirtualJoystickBackend::Controller &VirtualJoystickBackend::pending(int index)
{
    m_changed[index] = true;
    return m_pending[index];
}

// Only what the script touched is copied: every device poll updates all eight controllers.
void VirtualJoystickBackend::update()
{
    for (int index = 0; index < kMaxJoysticks; ++index) {
        if (m_changed[index])
            m_current[index] = m_pending[index];
        m_changed[index] = false;
    }
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
    return readablePosition(m_current[index].axes[axis]);
}

bool VirtualJoystickBackend::isButtonPressed(int index, int button) const
{
    return isConnected(index) && validButton(button) && m_current[index].buttons[button];
}

void VirtualJoystickBackend::readInputs(int index, std::array<bool, kMaxAxes> &axisPresent,
                                        std::array<double, kMaxAxes> &axes,
                                        std::array<bool, kMaxButtons> &buttons) const
{
    if (!isConnected(index)) {
        axisPresent.fill(false);
        buttons.fill(false);
        return;
    }
    const Controller &controller = m_current[index];
    axisPresent = controller.axisPresent;
    for (int axis = 0; axis < kMaxAxes; ++axis) {
        if (axisPresent[axis])
            axes[axis] = readablePosition(controller.axes[axis]);
    }
    buttons = controller.buttons;
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
