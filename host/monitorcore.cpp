#include "monitorcore.h"

#include "controlmanette.h"
#include "profilemeta.h"

#include <QCommandLineParser>
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

// One replay line: its time and, when given, the controller's whole input state.
struct ReplayLine
{
    qint64 t = 0;
    QJsonObject object;
    bool hasAxes = false;
    bool hasButtons = false;
    JoystickReadings readings;
};

bool readTime(const QJsonValue &value, qint64 previous, qint64 *t, QString *error)
{
    const double ms = value.toDouble(-1.0);
    if (!value.isDouble() || !(ms >= 0.0 && ms <= kMaxReplayTimeMs) || ms != std::floor(ms)) {
        *error = QStringLiteral("\"t\" must be a whole number of milliseconds from 0 to 1e15");
        return false;
    }
    *t = qint64(ms);
    if (*t < previous) {
        *error = QStringLiteral("\"t\" goes back from %1 to %2").arg(previous).arg(*t);
        return false;
    }
    return true;
}

bool readAxes(const QJsonValue &value, JoystickReadings *readings, QString *error)
{
    const QJsonArray axes = value.toArray();
    if (!value.isArray() || axes.size() > JoystickBackend::kMaxAxes) {
        *error = QStringLiteral("\"axes\" must be an array of at most 8 entries");
        return false;
    }
    for (int axis = 0; axis < axes.size(); ++axis) {
        const QJsonValue entry = axes.at(axis);
        if (entry.isNull())
            continue; // the axis is absent
        const double position = entry.toDouble(NAN);
        if (!entry.isDouble() || !(std::fabs(position) <= 100.0)) {
            *error = QStringLiteral("\"axes\" entry %1 must be null or a number from -100 to 100")
                         .arg(axis);
            return false;
        }
        readings->axisPresent[axis] = true;
        readings->axes[axis] = position;
    }
    return true;
}

bool readButtons(const QJsonValue &value, JoystickReadings *readings, QString *error)
{
    if (!value.isArray()) {
        *error = QStringLiteral("\"buttons\" must be an array of button indices");
        return false;
    }
    const QJsonArray buttons = value.toArray();
    for (int entry = 0; entry < buttons.size(); ++entry) {
        const double index = buttons.at(entry).toDouble(-1.0);
        if (!(index >= 0.0 && index < JoystickBackend::kMaxButtons) || index != std::floor(index)) {
            *error = QStringLiteral("\"buttons\" entry %1 must be a button index from 0 to 31")
                         .arg(entry);
            return false;
        }
        readings->buttons[int(index)] = true;
    }
    return true;
}

bool parseLine(const QByteArray &text, qint64 previousT, ReplayLine *line, QString *error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(text, &parseError);
    if (!document.isObject()) {
        *error = parseError.error == QJsonParseError::NoError
                     ? QStringLiteral("not a JSON object")
                     : QStringLiteral("not JSON (%1)").arg(parseError.errorString());
        return false;
    }
    line->object = document.object();
    const QJsonValue axes = line->object.value(QStringLiteral("axes"));
    const QJsonValue buttons = line->object.value(QStringLiteral("buttons"));
    line->hasAxes = !axes.isUndefined();
    line->hasButtons = !buttons.isUndefined();
    return readTime(line->object.value(QStringLiteral("t")), previousT, &line->t, error) &&
           (!line->hasAxes || readAxes(axes, &line->readings, error)) &&
           (!line->hasButtons || readButtons(buttons, &line->readings, error));
}

JoystickIdentification identityOf(const QJsonObject &first)
{
    return {first.value(QStringLiteral("name")).toString(QStringLiteral("Replay Pad")),
            readHexId(first.value(QStringLiteral("vendorId"))),
            readHexId(first.value(QStringLiteral("productId")))};
}

// A line without "axes" or "buttons" keeps what the previous one set.
void applyInputs(VirtualJoystickBackend &pads, const ReplayLine &line)
{
    for (int axis = 0; line.hasAxes && axis < JoystickBackend::kMaxAxes; ++axis) {
        pads.setAxisPresent(0, axis, line.readings.axisPresent[axis]);
        pads.setAxis(0, axis, line.readings.axes[axis]);
    }
    for (int button = 0; line.hasButtons && button < JoystickBackend::kMaxButtons; ++button)
        pads.setButton(0, button, line.readings.buttons[button]);
}

QList<QCommandLineOption> monitorOptions()
{
    return {{QStringLiteral("virtual"),
             QStringLiteral("Add a simulated controller that moves by itself.")},
            {QStringLiteral("duration"),
             QStringLiteral("Stop after this many seconds (up to %1).").arg(kMaxDurationSeconds),
             QStringLiteral("seconds")},
            {QStringLiteral("calibration"), QStringLiteral("Apply this calibration file."),
             QStringLiteral("file")},
            {QStringLiteral("replay"),
             QStringLiteral(
                 "Drive one virtual controller from a recorded file (- for standard input)."),
             QStringLiteral("file")},
            {QStringLiteral("record"),
             QStringLiteral("Record what the controller sends into this file, for --replay."),
             QStringLiteral("file")},
            {QStringLiteral("slot"),
             QStringLiteral("The controller to record, 0 to %1 (default: the first connected).")
                 .arg(JoystickBackend::kMaxJoysticks - 1),
             QStringLiteral("index")}};
}

void describeOptions(QCommandLineParser &parser)
{
    parser.setApplicationDescription(QStringLiteral(
        "Prints the gamepad runtime's published batches as JSON lines on standard output."));
    parser.addHelpOption();
    parser.addOptions(monitorOptions());
}

// Seconds from 0.001 to kMaxDurationSeconds, in whole milliseconds; 0 when out of bounds.
int durationMs(const QString &text)
{
    bool ok = false;
    const double seconds = text.toDouble(&ok);
    if (!ok || !(seconds >= 0.001 && seconds <= kMaxDurationSeconds))
        return 0;
    return int(std::lround(seconds * 1000.0));
}

bool readSlot(const QCommandLineParser &parser, MonitorOptions *options, QString *error)
{
    if (!parser.isSet(QStringLiteral("slot")))
        return true;
    const QString text = parser.value(QStringLiteral("slot"));
    bool ok = false;
    options->slot = text.toInt(&ok);
    if (ok && options->slot >= 0 && options->slot < JoystickBackend::kMaxJoysticks &&
        !options->recordPath.isEmpty())
        return true;
    *error = options->recordPath.isEmpty()
                 ? QStringLiteral("--slot chooses the controller of --record")
                 : QStringLiteral("--slot takes a controller index from 0 to %1, not \"%2\"")
                       .arg(JoystickBackend::kMaxJoysticks - 1)
                       .arg(text);
    return false;
}

// The calibration a recording carries on its first line; false with the reason when broken.
bool embeddedCalibration(const QJsonObject &first, std::optional<GamepadCalibration> *out,
                         QString *error)
{
    const QJsonValue value = first.value(QStringLiteral("calibration"));
    if (value.isUndefined())
        return true;
    bool ok = false;
    QString reason = QStringLiteral("not an object");
    const GamepadCalibration parsed =
        value.isObject()
            ? parseCalibration(value.toObject(), &ok, &reason, InputProcessor::kAxisCount,
                               InputProcessor::kButtonCount)
            : GamepadCalibration();
    if (!ok) {
        *error = QStringLiteral("\"calibration\" is not a calibration (%1)").arg(reason);
        return false;
    }
    *out = normalizeCalibration(parsed, InputProcessor::kAxisCount, InputProcessor::kButtonCount);
    return true;
}

} // namespace

void printBatchesOnDeviceClock(ControlManette *device, QTextStream &out)
{
    QObject::connect(
        device, qOverload<int, int, QStringList, QVariantList>(&IComInterface::dataChanged), device,
        [device, &out](int, int, const QStringList &keys, const QVariantList &values) {
            out << batchLine(device->lastPollMs(), keys, values) << Qt::endl;
        });
}

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
    int result = kExitSuccess;
    while (!input.atEnd()) {
        const QByteArray text = input.readLine().trimmed();
        ++lineNumber;
        if (text.isEmpty())
            continue;
        ReplayLine line;
        QString error;
        if (!parseLine(text, now, &line, &error)) {
            err << "line " << lineNumber << ": " << error << "\n";
            result = kExitBadInput;
            break;
        }
        std::optional<GamepadCalibration> embedded;
        if (!device && !calibration && !embeddedCalibration(line.object, &embedded, &error)) {
            err << "line " << lineNumber << ": " << error << "\n";
            result = kExitBadInput;
            break;
        }
        if (!device) {
            pads.connectController(0, identityOf(line.object));
            device = std::make_unique<ControlManette>(0);
            device->setClockSource([&now] { return now; });
            device->pinCalibration(calibration ? *calibration
                                   : embedded  ? *embedded
                                               : defaultCalibration(InputProcessor::kAxisCount,
                                                                    InputProcessor::kButtonCount));
            device->start();
            QObject::connect(
                device.get(),
                qOverload<int, int, QStringList, QVariantList>(&IComInterface::dataChanged),
                [&](int, int, const QStringList &keys, const QVariantList &values) {
                    out << batchLine(now, keys, values) << "\n";
                });
        }
        now = line.t;
        applyInputs(pads, line);
        device->poll();
    }
    out.flush();
    err.flush();
    device.reset();
    setJoystickBackend(previous);
    return result;
}

std::optional<MonitorOptions> parseMonitorArguments(const QStringList &arguments, QString *error)
{
    QCommandLineParser parser;
    describeOptions(parser);
    if (!parser.parse(arguments)) {
        *error = parser.errorText();
        return std::nullopt;
    }
    if (!parser.positionalArguments().isEmpty()) {
        *error = QStringLiteral("unexpected argument \"%1\"").arg(parser.positionalArguments()[0]);
        return std::nullopt;
    }
    for (const QString &option :
         {QStringLiteral("calibration"), QStringLiteral("replay"), QStringLiteral("record")}) {
        if (parser.isSet(option) && parser.value(option).isEmpty()) {
            *error = QStringLiteral("--%1 needs a file name").arg(option);
            return std::nullopt;
        }
    }
    MonitorOptions options;
    options.help = parser.isSet(QStringLiteral("help"));
    options.addVirtual = parser.isSet(QStringLiteral("virtual"));
    options.calibrationPath = parser.value(QStringLiteral("calibration"));
    options.replayPath = parser.value(QStringLiteral("replay"));
    options.recordPath = parser.value(QStringLiteral("record"));
    if (!readSlot(parser, &options, error))
        return std::nullopt;
    if (!options.recordPath.isEmpty() && !options.replayPath.isEmpty()) {
        *error = QStringLiteral("--record and --replay cannot be used together");
        return std::nullopt;
    }
    if (parser.isSet(QStringLiteral("duration"))) {
        const QString duration = parser.value(QStringLiteral("duration"));
        options.durationMs = durationMs(duration);
        if (options.durationMs == 0) {
            *error = QStringLiteral("--duration takes seconds from 0.001 to %1, not \"%2\"")
                         .arg(kMaxDurationSeconds)
                         .arg(duration);
            return std::nullopt;
        }
    }
    return options;
}

QString monitorHelpText()
{
    QCommandLineParser parser;
    describeOptions(parser);
    return parser.helpText();
}
