#include "monitorcore.h"

#include "controlmanette.h"
#include "profilemeta.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>

#include <cmath>

namespace {

QString jsonString(const QString &text)
{
    const QByteArray array = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(array.mid(1, array.size() - 2));
}

QString jsonValue(const QVariant &value)
{
    if (value.typeId() == QMetaType::Bool)
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    const double rounded = std::round(value.toDouble() * 100.0) / 100.0;
    return QString::number(rounded == 0.0 ? 0.0 : rounded, 'g', 15);
}

struct ReplayLine
{
    qint64 t = 0;
    QJsonObject object;
};

bool parseLine(const QByteArray &text, ReplayLine *line, QString *error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(text, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        *error = parseError.errorString();
        return false;
    }
    line->object = document.object();
    const QJsonValue t = line->object.value(QStringLiteral("t"));
    if (!document.isObject() || !t.isDouble() || !std::isfinite(t.toDouble())) {
        *error = QStringLiteral("expected an object with a number \"t\"");
        return false;
    }
    line->t = qint64(t.toDouble());
    return true;
}

JoystickIdentification identityOf(const QJsonObject &first)
{
    return {first.value(QStringLiteral("name")).toString(QStringLiteral("Replay Pad")),
            readHexId(first.value(QStringLiteral("vendorId"))),
            readHexId(first.value(QStringLiteral("productId")))};
}

void applyInputs(VirtualJoystickBackend &pads, const QJsonObject &line)
{
    const QJsonValue axes = line.value(QStringLiteral("axes"));
    if (axes.isArray()) {
        const QJsonArray values = axes.toArray();
        for (int axis = 0; axis < JoystickBackend::kMaxAxes; ++axis) {
            const QJsonValue value = values.at(axis);
            pads.setAxisPresent(0, axis, value.isDouble());
            pads.setAxis(0, axis, value.toDouble());
        }
    }
    const QJsonValue buttons = line.value(QStringLiteral("buttons"));
    if (buttons.isArray()) {
        for (int button = 0; button < JoystickBackend::kMaxButtons; ++button)
            pads.setButton(0, button, false);
        for (const QJsonValue &index : buttons.toArray())
            pads.setButton(0, index.toInt(-1), true);
    }
}

} // namespace

QString batchLine(qint64 timeMs, const QStringList &keys, const QVariantList &values, int device)
{
    QStringList keyTexts, valueTexts;
    for (const QString &key : keys)
        keyTexts << jsonString(key);
    for (const QVariant &value : values)
        valueTexts << jsonValue(value);
    const QString deviceText =
        device >= 0 ? QStringLiteral("\"device\": %1, ").arg(device) : QString();
    return QStringLiteral("{\"t\": %1, %2\"keys\": [%3], \"values\": [%4]}")
        .arg(QString::number(timeMs), deviceText, keyTexts.join(QLatin1String(", ")),
             valueTexts.join(QLatin1String(", ")));
}

int runReplay(QIODevice &input, QTextStream &out, QTextStream &err,
              const GamepadCalibration *calibration)
{
    VirtualJoystickBackend pads;
    JoystickBackend *previous = &joystickBackend();
    setJoystickBackend(&pads);

    qint64 now = 0;
    std::unique_ptr<ControlManette> device;
    int lineNumber = 0;
    int result = 0;
    while (!input.atEnd()) {
        const QByteArray text = input.readLine().trimmed();
        ++lineNumber;
        if (text.isEmpty())
            continue;
        ReplayLine line;
        QString error;
        if (!parseLine(text, &line, &error)) {
            err << "line " << lineNumber << ": " << error << ", skipped\n";
            result = 1;
            continue;
        }
        if (line.t < now) {
            err << "line " << lineNumber << ": time goes back to " << line.t << ", kept at " << now
                << "\n";
            line.t = now;
        }
        if (!device) {
            pads.connectController(0, identityOf(line.object));
            device = std::make_unique<ControlManette>(0);
            device->setClockSource([&now] { return now; });
            device->start();
            if (calibration)
                device->setCalibration(*calibration);
            QObject::connect(
                device.get(),
                qOverload<int, int, QStringList, QVariantList>(&IComInterface::dataChanged),
                [&](int, int, const QStringList &keys, const QVariantList &values) {
                    out << batchLine(now, keys, values) << "\n";
                });
        }
        now = line.t;
        applyInputs(pads, line.object);
        device->poll();
    }
    out.flush();
    device.reset();
    setJoystickBackend(previous);
    return result;
}

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
