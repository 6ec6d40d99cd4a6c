#include "hostoptions.h"
#include "hostwindow.h"
#include "screenshots.h"

#include <QImage>
#include <QProcess>
#include <QtTest>

namespace {

// gamepad-host as a user starts it (a home of its own, no display): its exit code, -1 on a crash.
int runHost(QProcess &host, const QStringList &arguments, const QString &home)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QPA_PLATFORM", "offscreen");
    env.insert("HOME", home);
    env.insert("XDG_DATA_HOME", home + "/data");
    host.setProcessEnvironment(env);
    host.start(QStringLiteral(GAMEPAD_HOST_EXE), arguments);
    const bool ended = host.waitForFinished(180000) && host.exitStatus() == QProcess::NormalExit;
    return ended ? host.exitCode() : -1;
}

// What a parse gave, in the words of the options table.
QString summary(const HostOptions &o)
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

} // namespace

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
        QFETCH(QString, parsed);
        QString error;
        const auto options = parseHostArguments(QStringList{"gamepad-host"} + arguments, &error);
        QCOMPARE(options ? summary(*options) : "error: " + error, parsed);
    }

    void failures_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("error"); // a part of stderr
        const auto file = [this](const char *name, const QByteArray &bytes) {
            QFile file(m_home.filePath(name));
            return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size()
                       ? file.fileName()
                       : QString();
        };
        const auto row = [](const char *name, const QStringList &arguments, int code,
                            const char *error) {
            QTest::newRow(name) << arguments << code << QString(error);
        };
        const int bad = kHostExitBadInput;
        const QString array = file("array.json", "[]");
        row("services not an object", {"--services", array}, bad, "does not hold a JSON object");
        row("services not JSON", {"--services", file("broken.json", "{")}, bad, "invalid JSON");
        row("services too large",
            {"--services", file("large.json", QByteArray(kMaxServicesFileBytes + 1, ' '))}, bad,
            "larger than 4194304 bytes");
        row("not a plug-in", {"--plugin", array}, kHostExitFailed, "cannot load the plug-in");
    }
    void failures()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, code);
        QFETCH(QString, error);
        QProcess host;
        QCOMPARE(runHost(host, arguments, m_home.path()), code);
        const QString err = host.readAllStandardError();
        QVERIFY2(err.contains(error), qPrintable(err));
    }

    void screenshots()
    {
        const QString dir = m_home.filePath("shots/nested");
        QProcess host;
        QVERIFY2(runHost(host, {"--screenshot", dir}, m_home.filePath("home")) == kHostExitSuccess,
                 host.readAllStandardError());
        QStringList expected;
        for (const QString &name : screenshotFileNames())
            expected << QDir(dir).filePath(name);
        QCOMPARE(QString(host.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts), expected);
        for (const QString &path : expected) {
            const QImage image(path);
            QCOMPARE(image.size(),
                     path.endsWith("devices.png") ? kDevicesShotSize : kConfigurationShotSize);
            QVERIFY(image.pixel(image.width() / 4, image.height() / 4) !=
                    image.pixel(image.width() / 2, image.height() / 2));
        }
        // Nothing of the plug-in landed in the home it was given: the run used one of its own.
        QVERIFY(!QFileInfo::exists(m_home.filePath("home/data")));
    }

private:
    QTemporaryDir m_home;
};

QTEST_MAIN(TestGamepadHost)
#include "tst_gamepadhost.moc"
