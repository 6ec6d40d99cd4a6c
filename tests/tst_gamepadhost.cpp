#include "hostoptions.h"
#include "hostwindow.h"
#include "screenshots.h"

#include <QImage>
#include <QProcess>
#include <QtTest>

namespace {

struct Run
{
    int code = -1;
    QString out, err;
};

// gamepad-host as a user starts it, with a home of its own and no display.
Run runHost(const QStringList &arguments, const QString &home)
{
    QProcess host;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QPA_PLATFORM", "offscreen");
    env.insert("HOME", home);
    env.insert("XDG_DATA_HOME", home + "/data");
    host.setProcessEnvironment(env);
    host.start(QStringLiteral(GAMEPAD_HOST_EXE), arguments);
    const bool ended = host.waitForFinished(180000) && host.exitStatus() == QProcess::NormalExit;
    return {ended ? host.exitCode() : -1, QString::fromLocal8Bit(host.readAllStandardOutput()),
            QString::fromLocal8Bit(host.readAllStandardError())};
}

// What a parse gave, in the words of the options table.
QString summary(const HostOptions &o)
{
    QStringList parts;
    parts << (o.help ? "help" : "") << (o.addVirtual ? "virtual" : "")
          << (o.verbose ? "verbose" : "")
          << (o.pluginPath != defaultPluginPath() ? "plugin=" + o.pluginPath : "")
          << (o.servicesPath.isEmpty()
                  ? ""
                  : "services=" + (o.servicesPath == sampleServicesPath() ? QString("sample")
                                                                          : o.servicesPath))
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
        const Run run = runHost(arguments, m_home.path());
        QCOMPARE(run.code, code);
        QVERIFY2(run.err.contains(error), qPrintable(run.err));
    }

    void screenshots()
    {
        const QString dir = m_home.filePath("shots/nested");
        const Run run = runHost({"--screenshot", dir}, m_home.filePath("home"));
        QVERIFY2(run.code == kHostExitSuccess, qPrintable(run.err));
        QStringList expected;
        for (const QString &name : screenshotFileNames())
            expected << QDir(dir).filePath(name);
        QCOMPARE(run.out.split('\n', Qt::SkipEmptyParts), expected);
        for (const QString &path : expected) {
            const QImage image(path);
            QCOMPARE(image.size(),
                     path.endsWith("devices.png") ? kDevicesShotSize : kConfigurationShotSize);
            // Not an empty window: the cards and panels are drawn.
            QVERIFY(image.pixel(image.width() / 4, image.height() / 4) !=
                    image.pixel(image.width() / 2, image.height() / 2));
        }
        // The run used a home of its own: nothing of the plug-in landed in the one it was given.
        QVERIFY(!QFileInfo::exists(m_home.filePath("home/data")));
    }

private:
    QTemporaryDir m_home;
};

QTEST_MAIN(TestGamepadHost)
#include "tst_gamepadhost.moc"
