#include "profilescli.h"

#include "jsonfile.h"
#include "profileexchange.h"
#include "profileoperations.h"
#include "profilestore.h"

#include <QFileInfo>
#include <QHash>
#include <QJsonArray>
#include <QUuid>

#include <optional>

namespace {

const QString kAll = QStringLiteral("--all");

struct ProfilesCommand
{
    bool help = false;
    QString userRoot;
    QString sharedRoot;
    QStringList words; // the command, then its arguments
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
            QString *root = name == QLatin1String("--user-root")     ? &command.userRoot
                            : name == QLatin1String("--shared-root") ? &command.sharedRoot
                                                                     : nullptr;
            if (!root) {
                *error = QStringLiteral("unknown option %1").arg(word);
                return std::nullopt;
            }
            const bool joined = word.contains(QLatin1Char('='));
            if (!joined && i + 1 >= arguments.size()) {
                *error = QStringLiteral("%1 needs a folder").arg(name);
                return std::nullopt;
            }
            *root = joined ? word.section(QLatin1Char('='), 1) : arguments.at(++i);
            if (root->trimmed().isEmpty()) {
                *error = QStringLiteral("%1 needs a folder").arg(name);
                return std::nullopt;
            }
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

// The root options hold for one command, so that the store is back to its own roots afterwards.
class RootsOverride
{
public:
    RootsOverride(const QString &userRoot, const QString &sharedRoot)
        : m_active(!userRoot.isEmpty() || !sharedRoot.isEmpty())
    {
        if (m_active)
            setProfileRootsOverride(userRoot, sharedRoot);
    }
    ~RootsOverride()
    {
        if (m_active)
            setProfileRootsOverride(QString(), QString());
    }
    RootsOverride(const RootsOverride &) = delete;
    RootsOverride &operator=(const RootsOverride &) = delete;

private:
    bool m_active;
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
        if (!readJsonObjectFile(profile.overlayPath(), &overlay, &error))
            return fail(error);
        const QString target =
            QFileInfo(file).isDir()
                ? file + QLatin1Char('/') + safeProfileFileName(profile.name) + kExchangeFileSuffix
                : file;
        if (!writeJsonFileAtomic(target, buildExchangeDocument(profile, overlay), &error))
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
    return QStringLiteral(
        "Usage: gamepad-profiles [--user-root DIR] [--shared-root DIR] COMMAND ...\n"
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
        "  --user-root DIR        the folder holding the user's profile folders\n"
        "  --shared-root DIR      the folder holding the shared profile folders\n"
        "  --help                 this text\n"
        "Without them the roots are the store's own, for the login $USER. With either, only\n"
        "the roots named (and the computed one of the other kind) are read, not the legacy\n"
        "\"Gamepads\" folders.\n"
        "\n"
        "Exit codes: 0 success; 1 an operation refused or failed (messages on standard\n"
        "error); 2 bad arguments.\n");
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
    const RootsOverride roots(command->userRoot, command->sharedRoot);
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
