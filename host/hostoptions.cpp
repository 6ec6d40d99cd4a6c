#include "hostoptions.h"

#include <QCommandLineParser>
#include <QFile>
#include <QJsonDocument>
#include <QJsonParseError>

namespace {

struct OptionText
{
    const char *name;
    char shortName;        // 0: none
    const char *valueName; // nullptr: a flag
    const char *description;
};

// One table for the parser and the help text, so that the two never disagree.
constexpr OptionText kOptions[] = {
    {"plugin", 0, "FILE", "Plug-in module to load (default: the one built with this host)."},
    {"services", 0, "FILE", "JSON object handed to the plug-in as the host's services."},
    {"virtual", 0, nullptr, "Add the plug-in's simulated controller, animated."},
    {"verbose", 0, nullptr, "Print the values published by the selected devices on stderr."},
    {"screenshot", 0, "DIR", "Write screenshots of both windows to DIR, offscreen, then quit."},
    {"check-display", 0, nullptr, "Only check that the display opens: exit 0 if so, else 1."},
    {"help", 'h', nullptr, "Show this help."},
};

QStringList namesOf(const OptionText &o)
{
    QStringList names{QString::fromLatin1(o.name)};
    if (o.shortName)
        names.prepend(QString(QLatin1Char(o.shortName)));
    return names;
}

QCommandLineParser &describe(QCommandLineParser &parser)
{
    for (const OptionText &o : kOptions) {
        const QString description = QString::fromLatin1(o.description);
        parser.addOption(o.valueName ? QCommandLineOption(namesOf(o), description,
                                                          QString::fromLatin1(o.valueName))
                                     : QCommandLineOption(namesOf(o), description));
    }
    return parser;
}

} // namespace

QString defaultPluginPath()
{
    return QStringLiteral(GAMEPAD_HOST_PLUGIN);
}

QString sampleServicesPath()
{
    return QStringLiteral(GAMEPAD_HOST_SAMPLES "/sample-services.json");
}

QString sampleProfilePath()
{
    return QStringLiteral(GAMEPAD_HOST_SAMPLES "/sample-profile.zelto.json");
}

std::optional<HostOptions> parseHostArguments(const QStringList &arguments, QString *error)
{
    QCommandLineParser parser;
    if (!describe(parser).parse(arguments)) {
        *error = parser.errorText();
        return std::nullopt;
    }
    if (!parser.positionalArguments().isEmpty()) {
        *error = QStringLiteral("unexpected argument \"%1\"").arg(parser.positionalArguments()[0]);
        return std::nullopt;
    }
    for (const OptionText &o : kOptions) {
        const QString name = QString::fromLatin1(o.name);
        if (o.valueName && parser.isSet(name) && parser.value(name).trimmed().isEmpty()) {
            *error = QStringLiteral("--%1 needs a %2").arg(name, QString::fromLatin1(o.valueName));
            return std::nullopt;
        }
    }
    HostOptions options;
    options.help = parser.isSet(QStringLiteral("help"));
    options.verbose = parser.isSet(QStringLiteral("verbose"));
    options.checkDisplay = parser.isSet(QStringLiteral("check-display"));
    options.screenshotDir = parser.value(QStringLiteral("screenshot"));
    // Screenshots show a controller whatever is plugged in, and actions to choose from.
    options.addVirtual = parser.isSet(QStringLiteral("virtual")) || options.screenshots();
    options.pluginPath = parser.isSet(QStringLiteral("plugin"))
                             ? parser.value(QStringLiteral("plugin"))
                             : defaultPluginPath();
    options.servicesPath = parser.value(QStringLiteral("services"));
    if (options.servicesPath.isEmpty() && options.screenshots())
        options.servicesPath = sampleServicesPath();
    return options;
}

QString hostHelpText()
{
    QString text = QStringLiteral(
        "Usage: gamepad-host [options]\n"
        "Loads the gamepad plug-in like a host application does and shows its device cards,\n"
        "its events and its configuration window.\n\nOptions:\n");
    for (const OptionText &o : kOptions) {
        QStringList dashed;
        for (const QString &name : namesOf(o))
            dashed << (name.size() == 1 ? QStringLiteral("-") : QStringLiteral("--")) + name;
        QString names = dashed.join(QStringLiteral(", "));
        if (o.valueName)
            names += QLatin1Char(' ') + QString::fromLatin1(o.valueName);
        text +=
            QStringLiteral("  %1  %2\n").arg(names, -20).arg(QString::fromLatin1(o.description));
    }
    text += QStringLiteral(
        "\nExit codes: 0 success, 1 plug-in or screenshot failure or no usable display,\n"
        "2 bad input.\n");
    return text;
}

std::optional<QJsonObject> readServicesFile(const QString &path, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot open %1: %2").arg(path, file.errorString());
        return std::nullopt;
    }
    // One byte beyond the limit tells a file that is too large without reading it whole; the
    // size reported by the file system does not hold for pipes and special files.
    const QByteArray bytes = file.read(kMaxServicesFileBytes + 1);
    if (bytes.size() > kMaxServicesFileBytes) {
        *error = QStringLiteral("%1 is larger than %2 bytes").arg(path).arg(kMaxServicesFileBytes);
        return std::nullopt;
    }
    QJsonParseError parsed;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &parsed);
    if (parsed.error != QJsonParseError::NoError) {
        *error = QStringLiteral("invalid JSON in %1 (%2)").arg(path, parsed.errorString());
        return std::nullopt;
    }
    if (!document.isObject()) {
        *error = QStringLiteral("%1 does not hold a JSON object").arg(path);
        return std::nullopt;
    }
    return document.object();
}
