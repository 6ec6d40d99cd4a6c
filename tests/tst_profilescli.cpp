#include "filetestsupport.h"
#include "profileexchange.h"
#include "profileoperations.h"
#include "profilescli.h"

#include <QtTest>

#include <pwd.h>

struct Run
{
    int code;
    QString out, err;
};

static Run run(const QStringList &arguments)
{
    QString out, err;
    QTextStream outStream(&out), errStream(&err);
    const int code = runProfilesCommand(arguments, outStream, errStream);
    return {code, out, err};
}

static QJsonObject overlayDocument()
{
    return jsonOf(readBytes(GAMEPAD_TEST_DATA "/overlay_v4.json"));
}

// A profile made by the editor's own operation under `userRoot`; its id without braces.
static QString makeProfile(const QString &userRoot, const QString &name,
                           const QString &linkedName = {})
{
    const QString picture = userRoot + "/../" + name + ".png";
    GamepadProfileMeta created;
    setProfileRootsOverride(userRoot, QString());
    const bool made = QDir().mkpath(userRoot) && writeBytes(picture, encoded("png")) &&
                      createProfile({name, picture, linkedName, 0, 0, overlayDocument()}, &created,
                                    nullptr, nullptr);
    setProfileRootsOverride(QString(), QString());
    return made ? created.id.toString(QUuid::WithoutBraces) : QString();
}

class TestProfilesCli : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qputenv("HOME", QFile::encodeName(m_home.path())); // the data locations start empty
        QStandardPaths::setTestModeEnabled(true), qApp->setProperty("kx.currentLogin", QString());
    }

    void exportImportListAndSnapshot()
    {
        QTemporaryDir dir;
        const QString source = dir.filePath("a/roots/source"), target = dir.filePath("target");
        const QString pad = makeProfile(source, "Pad"), linked = makeProfile(source, "L", "Pad X");

        const QString file = dir.filePath("pad.zelto.json"), shots = dir.filePath("shots");
        const Run refused = run({"--user-root", source, "export", linked, file});
        QCOMPARE(refused.code, kProfilesExitFailed);
        QVERIFY(refused.err.contains("associé à une ou plusieurs manettes"));
        QVERIFY(!QFile::exists(file));
        QCOMPARE(run({"--user-root", source, "export", pad, file}).code, kProfilesExitSuccess);

        const Run imported = run({"--user-root", target, "import", file});
        QCOMPARE(imported.code, kProfilesExitSuccess);
        const QStringList fields = imported.out.trimmed().split('\t');
        QCOMPARE(fields.at(1), QDir::cleanPath(target + '/' + fields.at(0)));

        // The source root serves as the shared one: the kind column follows the root options.
        const QStringList roots{"--user-root", target, "--shared-root", source};
        const auto sorted = [](QStringList lines) { return lines.sort(), lines; };
        QCOMPARE(sorted(run(roots + QStringList{"list"}).out.split('\n', Qt::SkipEmptyParts)),
                 sorted({fields.at(0) + "\tPad\tuser\tunlinked", linked + "\tL\tshared\tlinked",
                         pad + "\tPad\tshared\tunlinked"}));
        // The options hold for one command only: the store is back on its own (empty) roots.
        QCOMPARE(run({"list"}).out, QString());
        // Another host's profiles: its data location, from its names, holds the shared root.
        const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
        const QString acme = makeProfile(data + "/Acme/Host/GamepadProfiles", "Acme pad");
        QCOMPARE(run({"--organization=Acme", "--application", "Host", "list"}).out,
                 acme + "\tAcme pad\tshared\tunlinked\n");
        QCOMPARE(run({"--application", "Host", "list"}).out, QString());

        const Run snapshot = run(roots + QStringList{"snapshot", "--all", shots});
        QCOMPARE(snapshot.code, kProfilesExitSuccess);
        // One picture a profile; what they show is the snapshot export's own test.
        QCOMPARE(snapshot.out.count(shots + '/'), 3);
        QCOMPARE(run(roots + QStringList{"snapshot", pad, file}).code, kProfilesExitFailed);
    }

    // A name with control characters prints on one line and names files without them.
    void namesWithControlCharacters()
    {
        QTemporaryDir dir;
        const QString root = dir.filePath("user"), shots = dir.filePath("shots");
        const QString id = QDir().mkpath(root) ? makeProfile(root, "Two\nlines\tand\x01") : "";
        const auto cli = [&](QStringList w) { return run(QStringList{"--user-root", root} + w); };
        QCOMPARE(cli({"list"}).out, id + "\tTwo lines and \tuser\tunlinked\n");
        QCOMPARE(cli({"export", id, dir.path()}).out, dir.path() + "/Two lines and.zelto.json\n");
        QCOMPARE(cli({"snapshot", id, shots}).out, shots + "/Two lines and.png\n");
        QVERIFY(QFile::remove(root + '/' + id + "/overlay.json"));
        const QString err = cli({"snapshot", id, shots}).err;
        QVERIFY2(err.startsWith("gamepad-profiles: Two lines and  : ") && err.count('\n') == 1,
                 qPrintable(err));
    }

    // The program as an administrator runs it: no $USER, no display, under a file size limit.
    void program_data()
    {
        QTest::addColumn<QString>("user"); // empty: unset, as in services and containers
        QTest::addColumn<QString>("logname");
        QTest::addColumn<QString>("login"); // the folder under the host's data location
        QTest::addColumn<bool>("limited");  // under a file size limit (ulimit -f)
        // clang-format off
        QTest::newRow("USER") << "Bob" << "carol" << "bob" << false;
        QTest::newRow("LOGNAME") << "" << "carol" << "carol" << false;
        QTest::newRow("account") << "" << "" << QString::fromLocal8Bit(getpwuid(geteuid())->pw_name) << false;
        QTest::newRow("file size limit") << "Bob" << "" << "bob" << true;
        // clang-format on
    }
    void program()
    {
        QFETCH(QString, user);
        QFETCH(QString, logname);
        QFETCH(QString, login);
        QFETCH(bool, limited);
        QTemporaryDir dir;
        const QString source = dir.filePath("source"), file = dir.filePath("pad.zelto.json");
        QCOMPARE(run({"--user-root", source, "export", makeProfile(source, "Pad"), file}).code,
                 kProfilesExitSuccess);
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("DISPLAY", ":65000"); // no such display
        env.insert("XDG_DATA_HOME", dir.filePath("data"));
        for (const auto &[name, value] :
             {std::pair{"USER", user}, {"LOGNAME", logname}, {"QT_QPA_PLATFORM", QString()}})
            value.isEmpty() ? env.remove(name) : env.insert(name, value);
        QProcess program;
        program.setProcessEnvironment(env);
        const rlimit small{512, 512};
        if (limited)
            program.setChildProcessModifier([small] { setrlimit(RLIMIT_FSIZE, &small); });
        program.start(GAMEPAD_PROFILES_EXE, {"import", file});
        QVERIFY(program.waitForFinished(120000) && program.exitStatus() == QProcess::NormalExit);
        const QString out = program.readAllStandardOutput(), err = program.readAllStandardError();
        QCOMPARE(program.exitCode(), limited ? kProfilesExitFailed : kProfilesExitSuccess);
        const QString root = dir.filePath("data/gamepad-host/" + login + "/GamepadProfiles");
        QVERIFY2(limited ? err.contains("(File too large)") : out.section('\t', 1).startsWith(root),
                 qPrintable(out + err));
        // A refused import leaves nothing, no temporary file either.
        QCOMPARE(QDir(root).isEmpty(), limited);
    }

    void arguments_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("error"); // a part of the message
        QTest::newRow("help") << QStringList{"list", "--help"} << kProfilesExitSuccess << "";
        // No command, unknown command or option, missing or empty value, extra or missing operand.
        for (const QString usage : {"", "remove x", "--root x list", "list --user-root",
                                    "--shared-root= list", "list --application", "snapshot --all"})
            QTest::addRow("'%s'", qPrintable(usage))
                << usage.split(' ', Qt::SkipEmptyParts) << kProfilesExitUsage << "";
        // Files the import refuses itself; the creation's refusals, passed on, are the exchange's.
        const QJsonObject valid{{"type", kExchangeType}, {"version", kExchangeVersion},
                                {"name", "P"},           {"overlay", overlayDocument()},
                                {"imageBase64", "eA=="}, {"imageExt", "png"}};
        QByteArray padded = QJsonDocument(valid).toJson();
        padded.append(kMaxExchangeDocumentBytes + 1 - padded.size(), ' '); // still valid JSON
        const QString import = m_home.filePath("%1.zelto.json");
        QVERIFY(writeBytes(import.arg(1), "{\"type\": ") && writeBytes(import.arg(2), padded));
        const QStringList into{"--user-root", m_home.filePath("root"), "import"};
        QTest::newRow("not JSON") << into + QStringList{import.arg(1)} << kProfilesExitFailed
                                  << "JSON invalide dans";
        QTest::newRow("file too large")
            << into + QStringList{import.arg(2)} << kProfilesExitFailed
            << "Document trop volumineux (67108865 octets, limite 67108864).";
    }

    void arguments()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, code);
        QFETCH(QString, error);
        const QString root = m_home.filePath("root");
        QVERIFY(QDir().mkpath(root));
        const Run result = run(arguments);
        QCOMPARE(result.code, code);
        QVERIFY(code == kProfilesExitSuccess ? result.out.startsWith("Usage: gamepad-profiles")
                                             : result.out.isEmpty());
        QCOMPARE(result.err.isEmpty(), code == kProfilesExitSuccess);
        QVERIFY2(result.err.contains(error), qPrintable(result.err));
        // A refused import leaves nothing, no temporary file either.
        QCOMPARE(QDir(root).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
    }

private:
    QTemporaryDir m_home;
};

QTEST_MAIN(TestProfilesCli)
#include "tst_profilescli.moc"
