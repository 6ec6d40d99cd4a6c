#include "sfmljoystickbackend.h"

#include <QGuiApplication>

#include <SFML/Config.hpp>
#include <SFML/Window/Event.hpp>
#include <SFML/Window/Joystick.hpp>
#include <SFML/Window/VideoMode.hpp>
#include <SFML/Window/Window.hpp>

#include <algorithm>
#include <optional>

namespace {

bool validIndex(int index)
{
    return index >= 0 && index < JoystickBackend::kMaxJoysticks;
}

bool validAxis(int axis)
{
    return axis >= 0 && axis < JoystickBackend::kMaxAxes;
}

// Both SFML generations number the axes X, Y, Z, R, U, V, PovX, PovY.
sf::Joystick::Axis sfmlAxis(int axis)
{
    return static_cast<sf::Joystick::Axis>(axis);
}

QString toQString(const sf::String &text)
{
    const auto utf8 = text.toUtf8();
    return QString::fromUtf8(reinterpret_cast<const char *>(utf8.c_str()),
                             static_cast<qsizetype>(utf8.size()));
}

bool isNativePlatform()
{
    if (!qobject_cast<QGuiApplication *>(QCoreApplication::instance()))
        return false;
    const QString platform = QGuiApplication::platformName();
    return platform == QLatin1String("xcb") || platform == QLatin1String("windows") ||
           platform == QLatin1String("cocoa");
}

// SFML aborts the whole process when it cannot open an X display, so the window needs a native
// Qt platform and, on X11 systems, a display to talk to.
bool canHostPumpWindow()
{
    if (!isNativePlatform())
        return false;
#if defined(Q_OS_UNIX) && !defined(Q_OS_DARWIN)
#if SFML_VERSION_MAJOR >= 3
    // SFML 3 was seen blocking forever while creating a 1x1 window on X11. Its joysticks do not
    // need a window there (udev reports hot-plugging), so the connection states are compared.
    return false;
#else
    return !qEnvironmentVariableIsEmpty("DISPLAY");
#endif
#else
    return true;
#endif
}

std::unique_ptr<sf::Window> createPumpWindow()
{
#if SFML_VERSION_MAJOR >= 3
    auto window = std::make_unique<sf::Window>(sf::VideoMode({1, 1}, 32), "sfml-joy-pump",
                                               sf::Style::None, sf::State::Windowed);
#else
    auto window =
        std::make_unique<sf::Window>(sf::VideoMode(1, 1, 32), "sfml-joy-pump", sf::Style::None);
#endif
    window->setVisible(false);
    (void)window->setActive(false);
    return window;
}

bool drainConnectionEvents(sf::Window &window)
{
    bool seen = false;
#if SFML_VERSION_MAJOR >= 3
    while (const std::optional event = window.pollEvent()) {
        seen = seen || event->is<sf::Event::JoystickConnected>() ||
               event->is<sf::Event::JoystickDisconnected>();
    }
#else
    sf::Event event;
    while (window.pollEvent(event)) {
        seen = seen || event.type == sf::Event::JoystickConnected ||
               event.type == sf::Event::JoystickDisconnected;
    }
#endif
    return seen;
}

} // namespace

SfmlJoystickBackend::SfmlJoystickBackend() = default;

SfmlJoystickBackend::~SfmlJoystickBackend() = default;

void SfmlJoystickBackend::update()
{
    sf::Joystick::update();
    forgetChangedIdentifications();
}

// Every SFML update (ours, or the window's event processing) may connect or drop a joystick; a
// slot whose state changed is read again.
void SfmlJoystickBackend::forgetChangedIdentifications()
{
    for (int index = 0; index < kMaxJoysticks; ++index) {
        CachedIdentification &cached = m_identifications[index];
        if (cached.valid && cached.connected != isConnected(index))
            cached.valid = false;
    }
}

bool SfmlJoystickBackend::isConnected(int index) const
{
    return validIndex(index) && sf::Joystick::isConnected(unsigned(index));
}

JoystickIdentification SfmlJoystickBackend::identification(int index) const
{
    if (!validIndex(index))
        return {};
    CachedIdentification &cached = m_identifications[index];
    if (!cached.valid) {
        const sf::Joystick::Identification id = sf::Joystick::getIdentification(unsigned(index));
        cached = {true, isConnected(index), {toQString(id.name), id.vendorId, id.productId}};
    }
    return cached.identification;
}

int SfmlJoystickBackend::buttonCount(int index) const
{
    if (!validIndex(index))
        return 0;
    return std::min(int(sf::Joystick::getButtonCount(unsigned(index))), kMaxButtons);
}

bool SfmlJoystickBackend::hasAxis(int index, int axis) const
{
    return validIndex(index) && validAxis(axis) &&
           sf::Joystick::hasAxis(unsigned(index), sfmlAxis(axis));
}

double SfmlJoystickBackend::axisPosition(int index, int axis) const
{
    if (!validIndex(index) || !validAxis(axis))
        return 0.0;
    return std::clamp(double(sf::Joystick::getAxisPosition(unsigned(index), sfmlAxis(axis))),
                      -100.0, 100.0);
}

bool SfmlJoystickBackend::isButtonPressed(int index, int button) const
{
    return validIndex(index) && button >= 0 && button < kMaxButtons &&
           sf::Joystick::isButtonPressed(unsigned(index), unsigned(button));
}

void SfmlJoystickBackend::openPump()
{
    // Like a new window, start from the controllers present now: only later changes count.
    update();
    m_lastConnected = connectionSnapshot();
    if (!m_pumpWindow && canHostPumpWindow())
        m_pumpWindow = createPumpWindow();
}

bool SfmlJoystickBackend::pumpConnectionEvents()
{
    if (m_pumpWindow) {
        const bool seen = drainConnectionEvents(*m_pumpWindow);
        forgetChangedIdentifications();
        return seen;
    }
    update();
    const std::array<bool, kMaxJoysticks> connected = connectionSnapshot();
    const bool changed = connected != m_lastConnected;
    m_lastConnected = connected;
    return changed;
}

void SfmlJoystickBackend::closePump()
{
    m_pumpWindow.reset();
}

std::array<bool, JoystickBackend::kMaxJoysticks> SfmlJoystickBackend::connectionSnapshot() const
{
    std::array<bool, kMaxJoysticks> connected{};
    for (int index = 0; index < kMaxJoysticks; ++index)
        connected[index] = isConnected(index);
    return connected;
}
