#include "inputrecorder.h"

#include "controlmanette.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QLocale>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QByteArray jsonText(const QString &text)
{
    const QByteArray array = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
    return array.mid(1, array.size() - 2);
}

// "axes": [...], "buttons": [...]; positions in the shortest form that reads back exactly.
QByteArray inputsText(const JoystickReadings &readings)
{
    QByteArrayList axes, buttons;
    for (int axis = 0; axis < kGamepadAxisCount; ++axis) {
        axes << (readings.axisPresent[std::size_t(axis)]
                     ? QString::number(readings.axes[std::size_t(axis)], 'g',
                                       QLocale::FloatingPointShortest)
                           .toLatin1()
                     : QByteArray("null"));
    }
    for (int button = 0; button < kGamepadButtonCount; ++button) {
        if (readings.buttons[std::size_t(button)])
            buttons << QByteArray::number(button);
    }
    return "\"axes\": [" + axes.join(", ") + "], \"buttons\": [" + buttons.join(", ") + "]";
}

// The file asked for, opened empty for writing: never through a symbolic link, and never
// anything but a regular file (a pipe or a device there is refused without blocking on it).
int openRegularFileForWriting(const QString &path, int *osError)
{
    const int fd = ::open(QFile::encodeName(path).constData(),
                          O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0644);
    if (fd < 0) {
        *osError = errno;
        return -1;
    }
    struct stat info;
    if (::fstat(fd, &info) != 0)
        *osError = errno;
    else if (!S_ISREG(info.st_mode))
        *osError = EINVAL;
    else if (::ftruncate(fd, 0) != 0 || ::fcntl(fd, F_SETFL, 0) != 0)
        *osError = errno;
    else
        return fd;
    ::close(fd);
    return -1;
}

} // namespace

InputRecorder::InputRecorder(QObject *parent) : QObject(parent)
{
}

InputRecorder::~InputRecorder()
{
    stop();
}

QByteArray InputRecorder::readingsLine(qint64 timeMs, const JoystickReadings &readings)
{
    return "{\"t\": " + QByteArray::number(timeMs) + ", " + inputsText(readings) + "}\n";
}

QByteArray InputRecorder::headerLine(qint64 timeMs, const JoystickReadings &readings,
                                     const ControlManette &device)
{
    const GamepadDeviceIdentity identity{device.name(), device.vendorId(), device.productId()};
    const QByteArray calibration =
        QJsonDocument(calibrationToJson(device.calibration(), identity, device.activeProfileId()))
            .toJson(QJsonDocument::Compact);
    return "{\"t\": " + QByteArray::number(timeMs) + ", \"name\": " + jsonText(device.name()) +
           ", \"vendorId\": \"" + paddedHexId(device.vendorId()).toLatin1() +
           "\", \"productId\": \"" + paddedHexId(device.productId()).toLatin1() + "\", " +
           inputsText(readings) + ", \"calibration\": " + calibration + "}\n";
}

bool InputRecorder::start(ControlManette *device, const QString &path, QString *error)
{
    stop();
    if (!device) {
        if (error)
            *error = tr("no controller");
        return false;
    }
    int osError = 0;
    const int fd = openRegularFileForWriting(path, &osError);
    m_path = path;
    if (fd < 0 || !m_file.open(fd, QIODevice::WriteOnly | QIODevice::Unbuffered,
                               QFileDevice::AutoCloseHandle)) {
        if (error)
            *error = fd < 0 ? qt_error_string(osError) : m_file.errorString();
        if (fd >= 0)
            ::close(fd);
        return false;
    }
    m_device = device;
    m_lastReadings.clear();
    m_size = 0;
    m_lines = 0;
    connect(device, &ControlManette::polled, this, &InputRecorder::record);
    return true;
}

void InputRecorder::stop()
{
    if (m_device)
        disconnect(m_device, nullptr, this, nullptr);
    m_device.clear();
    m_file.close();
}

void InputRecorder::record(bool published)
{
    if (!m_device || !m_file.isOpen())
        return;
    const JoystickReadings &readings = m_device->lastReadings();
    const QByteArray inputs = inputsText(readings);
    if (m_lines > 0 && !published && inputs == m_lastReadings)
        return;
    const qint64 t = m_device->lastPollMs();
    const QByteArray line =
        m_lines == 0 ? headerLine(t, readings, *m_device) : readingsLine(t, readings);
    m_lastReadings = inputs;
    if (!writeLine(line)) {
        const QString reason = m_file.errorString();
        m_file.resize(m_size); // a partial line would stop a replay
        stop();
        Q_EMIT failed(reason);
    }
}

bool InputRecorder::writeLine(const QByteArray &line)
{
    // A write stopped short by a size limit gives its reason on the next attempt.
    for (qint64 written = 0; written < line.size();) {
        const qint64 count = m_file.write(line.constData() + written, line.size() - written);
        if (count <= 0)
            return false;
        written += count;
    }
    m_size += line.size();
    ++m_lines;
    return true;
}
