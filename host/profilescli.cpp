#include "profilescli.h"

#include "hostprocess.h"
#include "jsonfile.h"
#include "profileexchange.h"
#include "profileoperations.h"
#include "profilestore.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QHash>
#include <QJsonArray>
#include <QUuid>

#include <algorithm>
#include <optional>

namespace {

const QString kAll = QStringLiteral("--all");

struct ProfilesCommand
{
    bool help = false;
    QString userRoot;
    QString sharedRoot;
    QString organization = kReferenceHostOrganization;
    QString application = kReferenceHostApplication;
    QStringList words; // the command, then its arguments
};

// The options that take a value: where it goes, and what it names.
struct ValueOption
{
    QLatin1String name;
    QString ProfilesCommand::*value;
    const char *what;
};
const ValueOption kValueOptions[] = {
    {QLatin1String("--user-root"), &ProfilesCommand::userRoot, "a folder"},
    {QLatin1String("--shared-root"), &ProfilesCommand::sharedRoot, "a folder"},
    {QLatin1String("--organization"), &ProfilesCommand::organization, "a name"},
    {QLatin1String("--application"), &ProfilesCommand::application, "a name"},
};

// Options may come anywhere; "--" ends them, for file names that start with "-".
std::optional<ProfilesCommand> parseArguments(const QStringList &arguments, QString *error)
{
    ProfilesCommand command;
    bool optionsEnded = false;
    for (int i = 0; i < arguments.size(); ++i) {
        const QString &word = arguments.at(i);
        if (optionsEnded || word == kAll || word == QLatin1String("-") ||
            !word.startsWith(QLatin1Char('-'))) {
            command.words << word;
        } else if (word == QLatin1String("--")) {
            optionsEnded = true;
        } else if (word == QLatin1String("--help") || word == QLatin1String("-h")) {
            command.help = true;
        } else {
            const QString name = word.section(QLatin1Char('='), 0, 0);
            const auto option = std::find_if(std::begin(kValueOptions), std::end(kValueOptions),
                                             [&](const ValueOption &o) { return o.name == name; });
            if (option == std::end(kValueOptions)) {
                *error = QStringLiteral("unknown option %1").arg(word);
                return std::nullopt;
            }
            const bool joined = word.contains(QLatin1Char('='));
            const QString value = joined                     ? word.section(QLatin1Char('='), 1)
                                  : i + 1 < arguments.size() ? arguments.at(++i)
                                                             : QString();
            if (value.trimmed().isEmpty()) {
                *error = QStringLiteral("%1 needs %2").arg(name, QLatin1String(option->what));
                return std::nullopt;
            }
            command.*(option->value) = value;
        }
    }
    if (command.help)
        return command;
    static const QHash<QString, int> argumentCounts{{QStringLiteral("list"), 0},
                                                    {QStringLiteral("export"), 2},
                                                    {QStringLiteral("import"), 1},
                                                    {QStringLiteral("snapshot"), 2}};
    if (command.words.isEmpty()) {
        *error = QStringLiteral("no command given (try --help)");
        return std::nullopt;
    }
    const QString verb = command.words.first();
    if (!argumentCounts.contains(verb)) {
        *error = QStringLiteral("unknown command %1 (try --help)").arg(verb);
        return std::nullopt;
    }
    const int all = command.words.indexOf(kAll, 1);
    if (all >= 0 && (verb != QLatin1String("snapshot") || all != 1)) {
        *error = QStringLiteral("%1 only names the profiles of snapshot").arg(kAll);
        return std::nullopt;
    }
    if (command.words.size() - 1 != argumentCounts.value(verb)) {
        *error = QStringLiteral("%1 takes %2 argument(s), see --help")
                     .arg(verb)
                     .arg(argumentCounts.value(verb));
        return std::nullopt;
    }
    return command;
}

// The options hold for one command, so that the store and the application are back to their own
// roots and names afterwards. The roots are computed exactly as the host computes them: from its
// organisation and application names.
class CommandScope
{
public:
    explicit CommandScope(const ProfilesCommand &command)
        : m_organization(QCoreApplication::organizationName()),
          m_application(QCoreApplication::applicationName()),
          m_rootsNamed(!command.userRoot.isEmpty() || !command.sharedRoot.isEmpty())
    {
        QCoreApplication::setOrganizationName(command.organization);
        QCoreApplication::setApplicationName(command.application);
        if (m_rootsNamed)
            setProfileRootsOverride(command.userRoot, command.sharedRoot);
    }
    ~CommandScope()
    {
        if (m_rootsNamed)
            setProfileRootsOverride(QString(), QString());
        QCoreApplication::setOrganizationName(m_organization);
        QCoreApplication::setApplicationName(m_application);
    }
    CommandScope(const CommandScope &) = delete;
    CommandScope &operator=(const CommandScope &) = delete;

private:
    QString m_organization;
    QString m_application;
    bool m_rootsNamed;
};

// The same test as for a document: names trimmed, blanks and duplicates dropped.
bool isLinked(const GamepadProfileMeta &profile)
{
    const QJsonObject names{
        {QStringLiteral("deviceNames"), QJsonArray::fromStringList(profile.deviceNames)}};
    return !exchangeLinkedNames(names).isEmpty();
}

// One field of a tab-separated line: a name holding a tab or a line break would split it.
QString field(const QString &text)
{
    return printableProfileName(text);
}

class Runner
{
public:
    Runner(QTextStream &out, QTextStream &err) : m_out(out), m_err(err) {}

    int list()
    {
        const QList<GamepadProfileMeta> profiles = readProfileEntries();
        for (const GamepadProfileMeta &profile : profiles) {
            m_out << profile.id.toString(QUuid::WithoutBraces) << '\t' << field(profile.name)
                  << '\t' << profileKindName(int(profile.kind)) << '\t'
                  << (isLinked(profile) ? "linked" : "unlinked") << '\n';
        }
        return kProfilesExitSuccess;
    }

    int exportProfile(const QString &id, const QString &file)
    {
        GamepadProfileMeta profile;
        if (!find(id, &profile))
            return kProfilesExitFailed;
        if (isLinked(profile))
            return fail(QStringLiteral("Ce profil est associé à une ou plusieurs manettes. Le "
                                       "copier/coller n’est disponible que pour les profils "
                                       "non liés."));
        // The saved overlay, not an open editor's: this is the profile as it is on disk.
        QJsonObject overlay;
        QString error;
        if (!readSavedOverlay(profile, &overlay, &error))
            return fail(error);
        const QString target =
            QFileInfo(file).isDir()
                ? file + QLatin1Char('/') + safeProfileFileName(profile.name) + kExchangeFileSuffix
                : file;
        const QJsonObject document = buildExchangeDocument(profile, overlay, &error);
        if (document.isEmpty() || !writeJsonFileAtomic(target, document, &error))
            return fail(QStringLiteral("Échec export : %1").arg(error));
        m_out << target << '\n';
        return kProfilesExitSuccess;
    }

    int importProfile(const QString &file)
    {
        QJsonObject document;
        QString error;
        if (!readExchangeFile(file, &document, &error))
            return fail(error);
        if (!exchangeLinkedNames(document).isEmpty())
            return fail(QStringLiteral("Ce fichier est lié à une ou plusieurs manettes. Le "
                                       "coller/importe n’est autorisé que pour des profils non "
                                       "liés."));
        GamepadProfileMeta created;
        if (!createProfileFromExchange(document, &created, &error))
            return fail(error.isEmpty() ? QStringLiteral("Impossible d’importer ce fichier.")
                                        : error);
        m_out << created.id.toString(QUuid::WithoutBraces) << '\t' << created.folder << '\n';
        return kProfilesExitSuccess;
    }

    int snapshot(const QString &id, const QString &outDir)
    {
        QList<GamepadProfileMeta> profiles;
        if (id == kAll) {
            profiles = readProfileEntries();
        } else {
            GamepadProfileMeta profile;
            if (!find(id, &profile))
                return kProfilesExitFailed;
            profiles << profile;
        }
        SnapshotReport report;
        QString error;
        const bool done = exportSnapshots(profiles, outDir, &report, &error);
        for (const QString &path : std::as_const(report.written))
            m_out << path << '\n';
        for (const QString &line : std::as_const(report.errors))
            m_err << "gamepad-profiles: " << line << '\n';
        if (!done)
            return fail(error.isEmpty() ? QStringLiteral("Impossible de générer les snapshots.")
                                        : error);
        return report.errors.isEmpty() ? kProfilesExitSuccess : kProfilesExitFailed;
    }

private:
    int fail(const QString &message)
    {
        m_err << "gamepad-profiles: " << message << '\n';
        return kProfilesExitFailed;
    }

    bool find(const QString &id, GamepadProfileMeta *out)
    {
        const QUuid uuid = QUuid::fromString(id.trimmed());
        if (!uuid.isNull()) {
            const QList<GamepadProfileMeta> profiles = readProfileEntries();
            for (const GamepadProfileMeta &profile : profiles) {
                if (profile.id == uuid) {
                    *out = profile;
                    return true;
                }
            }
        }
        fail(QStringLiteral("no profile with id %1").arg(id));
        return false;
    }

    QTextStream &m_out;
    QTextStream &m_err;
};

} // namespace

QString profilesHelpText()
{
    const QString organization = kReferenceHostOrganization.isEmpty()
                                     ? QStringLiteral("none")
                                     : QStringLiteral("\"%1\"").arg(kReferenceHostOrganization);
    const QString text = QStringLiteral(
        "Usage: gamepad-profiles [options] COMMAND ...\n"
        "\n"
        "Lists, exports, imports and renders gamepad profiles with the profile editor's own\n"
        "functions.\n"
        "\n"
        "Commands:\n"
        "  list                   one line per profile: ID<TAB>NAME<TAB>ROOT<TAB>LINK, where ID\n"
        "                         has no braces, ROOT is \"user\" or \"shared\" and LINK is\n"
        "                         \"linked\" or \"unlinked\"; control characters of NAME are\n"
        "                         printed as spaces\n"
        "  export ID FILE         writes the exchange document of an unlinked profile (its\n"
        "                         saved overlay) to FILE, or to \"<name>.zelto.json\" when FILE\n"
        "                         is a folder; prints the path written\n"
        "  import FILE            creates a profile in the user root from an exchange\n"
        "                         document; prints ID<TAB>FOLDER\n"
        "  snapshot ID|--all DIR  renders one or all profiles as PNG files into DIR, never\n"
        "                         overwriting one; prints each path written\n"
        "\n"
        "Options:\n"
        "  --application NAME     the application name of the host whose profiles these are\n"
        "                         (default: \"%1\", the reference host)\n"
        "  --organization NAME    that host's organisation name (default: %2)\n"
        "  --user-root DIR        the folder holding the user's profile folders\n"
        "  --shared-root DIR      the folder holding the shared profile folders\n"
        "  --help                 this text\n"
        "The roots are the host's: its data location (QStandardPaths' AppDataLocation for its\n"
        "names, such as ~/.local/share/ORGANIZATION/APPLICATION) holds \"GamepadProfiles\" for\n"
        "the shared profiles and LOGIN/\"GamepadProfiles\" for the user's, LOGIN being $USER,\n"
        "else $LOGNAME, else the account's name. --user-root and --shared-root name other\n"
        "folders; with either, only the roots named (and the computed one of the other kind)\n"
        "are read, not the legacy \"Gamepads\" folders.\n"
        "\n"
        "Exit codes: 0 success; 1 an operation refused or failed (messages on standard\n"
        "error); 2 bad arguments.\n");
    return text.arg(kReferenceHostApplication, organization);
}

int runProfilesCommand(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    QString error;
    const std::optional<ProfilesCommand> command = parseArguments(arguments, &error);
    if (!command) {
        err << "gamepad-profiles: " << error << Qt::endl;
        return kProfilesExitUsage;
    }
    if (command->help) {
        out << profilesHelpText() << Qt::flush;
        return kProfilesExitSuccess;
    }
    const CommandScope scope(*command);
    Runner runner(out, err);
    const QStringList &words = command->words;
    const QString &verb = words.first();
    int code = kProfilesExitSuccess;
    if (verb == QLatin1String("list"))
        code = runner.list();
    else if (verb == QLatin1String("export"))
        code = runner.exportProfile(words.at(1), words.at(2));
    else if (verb == QLatin1String("import"))
        code = runner.importProfile(words.at(1));
    else
        code = runner.snapshot(words.at(1), words.at(2));
    out.flush();
    err.flush();
    return code;
}
