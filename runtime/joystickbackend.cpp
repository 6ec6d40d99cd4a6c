#include "joystickbackend.h"

#include "sfmljoystickbackend.h"

namespace {

JoystickBackend *installedBackend = nullptr;

SfmlJoystickBackend &sfmlBackend()
{
    static SfmlJoystickBackend backend;
    return backend;
}

} // namespace

void JoystickBackend::readInputs(int index, std::array<bool, kMaxAxes> &axisPresent,
                                 std::array<double, kMaxAxes> &axes,
                                 std::array<bool, kMaxButtons> &buttons) const
{
    for (int axis = 0; axis < kMaxAxes; ++axis) {
        axisPresent[axis] = hasAxis(index, axis);
        if (axisPresent[axis])
            axes[axis] = axisPosition(index, axis);
    }
    for (int button = 0; button < kMaxButtons; ++button)
        buttons[button] = isButtonPressed(index, button);
}

JoystickBackend &joystickBackend()
{
    return installedBackend ? *installedBackend : sfmlBackend();
}

void setJoystickBackend(JoystickBackend *backend)
{
    installedBackend = backend;
}
