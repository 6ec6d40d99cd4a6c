#include "hostoptions.h"
#include "hostwindow.h"
#include "screenshots.h"

#include <QImage>
#include <QtTest>

#include <sys/resource.h>
#include <sys/stat.h>

// gamepad-host as a user starts it, with a home of its own: its exit code, -1 on a crash.
static int runHost(QProcess &host, const QStringList &arguments, const QString &home,
                   const QString &display = {}, rlim_t fileSizeLimit = 0)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove("QT_QPA_PLATFORM");
    display.isEmpty() ? env.insert("QT_QPA_PLATFORM", "offscreen") : env.insert("DISPLAY", display);
    env.insert("HOME", home), env.insert("XDG_DATA_HOME", home + "/data");
    host.setProcessEnvironment(env);
    const rlimit limit{fileSizeLimit, fileSizeLimit};
    if (fileSizeLimit > 0)
        host.setChildProcessModifier([limit] { setrlimit(RLIMIT_FSIZE, &limit); });
    host.start(QStringLiteral(GAMEPAD_HOST_EXE), arguments);
    const bool ended = host.waitForFinished(180000) && host.exitStatus() == QProcess::NormalExit;
    return ended ? host.exitCode() : -1;
}

// What a parse gave, in the words of the options table.
static QString summary(const HostOptions &o)
{
    const QString services = o.servicesPath == sampleServicesPath() ? "sample" : o.servicesPath;
    QStringList parts;
    parts << (o.addVirtual ? "virtual" : "") << (o.verbose ? "verbose" : "")
          << (o.pluginPath != defaultPluginPath() ? "plugin=" + o.pluginPath : "")
          << (services.isEmpty() ? "" : "services=" + services)
          << (o.screenshots() ? "shots=" + o.screenshotDir : "")
          << (o.simulatedPoseMs() == kScreenshotPoseMs ? "pose" : "");
    parts.removeAll(QString());
    return parts.join(' ');
}

class TestGamepadHost : public QObject
{
    Q_OBJECT
private slots:
    void options_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("parsed"); // summary(), or "error: " and the message
        const auto row = [](const char *name, const QStringList &arguments, const char *parsed) {
            QTest::newRow(name) << arguments << QString(parsed);
        };
        row("defaults", {}, "");
        row("flags", {"--virtual", "--verbose"}, "virtual verbose");
        row("files", {"--plugin", "p.so", "--services=s.json"}, "plugin=p.so services=s.json");
        row("screenshots imply the demo", {"--screenshot", "out"},
            "virtual services=sample shots=out pose");
        row("own services", {"--screenshot", "o", "--services", "s"},
            "virtual services=s shots=o pose");
        row("unknown", {"--bogus"}, "error: Unknown option 'bogus'.");
        row("no value", {"--plugin"}, "error: Missing value after '--plugin'.");
        row("empty value", {"--screenshot="}, "error: --screenshot needs a DIR");
        row("positional", {"extra"}, "error: unexpected argument \"extra\"");
    }
    void options()
    {
        QFETCH(QStringList, arguments);
        QString error;
        const auto options = parseHostArguments(QStringList{"gamepad-host"} + arguments, &error);
        QTEST(options ? summary(*options) : "error: " + error, "parsed");
    }

    void runs_data() // What gamepad-host exits with and says; the screenshots it writes.
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("error");   // a part of stderr
        QTest::addColumn<QString>("display"); // empty: offscreen
        QTest::addColumn<int>("fileSizeLimit");
        const auto file = [this](const char *name, const QByteArray &bytes) {
            QFile out(m_home.filePath(name));
            const bool written = out.open(QIODevice::WriteOnly) && out.write(bytes) == bytes.size();
            return written ? out.fileName() : QString();
        };
        const auto row = [](const char *name, const QStringList &arguments, int code,
                            const char *error, const char *display = "", int limit = 0) {
            QTest::newRow(name) << arguments << code << QString(error) << QString(display) << limit;
        };
        const int bad = kHostExitBadInput;
        const QString array = file("array.json", "[]");
        row("services not an object", {"--services", array}, bad, "does not hold a JSON object");
        row("services not JSON", {"--services", file("broken.json", "{")}, bad, "invalid JSON");
        row("services too large",
            {"--services", file("large.json", QByteArray(kMaxServicesFileBytes + 1, ' '))}, bad,
            "larger than 4194304 bytes");
        row("not a plug-in", {"--plugin", array}, kHostExitFailed, "cannot load the plug-in");
        const char *unanswered = "the display \":65000\" cannot be opened";
        row("display that does not answer", {}, kHostExitFailed, unanswered, ":65000");
        row("check, no display", {"--check-display"}, kHostExitFailed, unanswered, ":65000");
        row("check, offscreen", {"--check-display"}, kHostExitSuccess, "");
        const QString piped = m_home.filePath("piped");
        QVERIFY(QDir().mkpath(piped) && mkfifo(qPrintable(piped + "/devices.png"), 0644) == 0);
        row("a pipe in the way", {"--screenshot", piped}, kHostExitFailed,
            "devices.png (not a regular file)");
        // Beyond the limit a write fails and the host says so, instead of dying of SIGXFSZ.
        row("file size limit", {"--screenshot", m_home.filePath("limited")}, kHostExitFailed,
            "gamepad-host: screenshots: ", "", 16384);
        row("screenshots", {"--screenshot", m_home.filePath("shots/nested")}, kHostExitSuccess, "");
    }
    void runs()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, error);
        QFETCH(QString, display);
        QFETCH(int, fileSizeLimit);
        QProcess host;
        QTEST(runHost(host, arguments, m_home.filePath("home"), display, fileSizeLimit), "code");
        const QString err = host.readAllStandardError();
        QVERIFY2(err.contains(error) && !err.contains("qt.qpa"), qPrintable(err));
        // Nothing of the plug-in landed in the home it was given: the run used one of its own.
        QVERIFY(!QFileInfo::exists(m_home.filePath("home/data")));
        if (QTest::currentDataTag() != QLatin1String("screenshots"))
            return;
        QStringList expected;
        for (const QString &name : screenshotFileNames())
            expected << QDir(arguments.last()).filePath(name);
        QCOMPARE(QString(host.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts), expected);
        for (const QString &path : expected) {
            const QImage image(path);
            QCOMPARE(image.size(),
                     path.endsWith("devices.png") ? kDevicesShotSize : kConfigurationShotSize);
            QVERIFY(image.pixel(image.width() / 4, image.height() / 4) !=
                    image.pixel(image.width() / 2, image.height() / 2));
        }
    }

private:
    QTemporaryDir m_home;
};

QTEST_MAIN(TestGamepadHost)
#include "tst_gamepadhost.moc"
