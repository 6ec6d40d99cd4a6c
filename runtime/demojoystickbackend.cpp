#include "demojoystickbackend.h"

#include <cmath>

DemoJoystickBackend::DemoJoystickBackend(JoystickBackend &real) : m_real(real)
{
    m_demo.connectController(kDemoSlot, {QStringLiteral("Virtual Demo Pad"), 0x045e, 0x028e});
    m_demo.update();
}

void DemoJoystickBackend::animate(qint64 timeMs)
{
    // The left stick circles every four seconds, the right stick sweeps, the triggers breathe and
    // buttons 0 to 3 are pressed in turn, a quarter of a second each.
    const double phase = 2.0 * M_PI * double(timeMs % 4000) / 4000.0;
    m_demo.setAxis(kDemoSlot, 0, 100.0 * std::cos(phase));
    m_demo.setAxis(kDemoSlot, 1, 100.0 * std::sin(phase));
    m_demo.setAxis(kDemoSlot, 2, 100.0 * std::sin(phase / 2.0) * std::sin(phase / 2.0));
    m_demo.setAxis(kDemoSlot, 3, timeMs % 2000 < 1000 ? 60.0 : -60.0);
    m_demo.setAxis(kDemoSlot, 4, 0.0);
    m_demo.setAxis(kDemoSlot, 5, 0.0);
    const int pressed = int(timeMs / 1000 % 4);
    for (int button = 0; button < 4; ++button)
        m_demo.setButton(kDemoSlot, button, button == pressed && timeMs % 1000 < 250);
}

const JoystickBackend &DemoJoystickBackend::source(int index) const
{
    return index == kDemoSlot ? static_cast<const JoystickBackend &>(m_demo) : m_real;
}

void DemoJoystickBackend::update()
{
    m_real.update();
    m_demo.update();
}

bool DemoJoystickBackend::isConnected(int index) const
{
    return source(index).isConnected(index);
}

JoystickIdentification DemoJoystickBackend::identification(int index) const
{
    return source(index).identification(index);
}

int DemoJoystickBackend::buttonCount(int index) const
{
    return source(index).buttonCount(index);
}

bool DemoJoystickBackend::hasAxis(int index, int axis) const
{
    return source(index).hasAxis(index, axis);
}

double DemoJoystickBackend::axisPosition(int index, int axis) const
{
    return source(index).axisPosition(index, axis);
}

bool DemoJoystickBackend::isButtonPressed(int index, int button) const
{
    return source(index).isButtonPressed(index, button);
}

void DemoJoystickBackend::openPump()
{
    m_real.openPump();
}

bool DemoJoystickBackend::pumpConnectionEvents()
{
    const bool real = m_real.pumpConnectionEvents();
    return m_demo.pumpConnectionEvents() || real;
}

void DemoJoystickBackend::closePump()
{
    m_real.closePump();
}
