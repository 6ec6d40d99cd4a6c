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

JoystickBackend &joystickBackend()
{
    return installedBackend ? *installedBackend : sfmlBackend();
}

void setJoystickBackend(JoystickBackend *backend)
{
    installedBackend = backend;
}
