#include <QtTest>

// scripts/run.sh with stub tools and programs; a program prints its name, folder and arguments.

static bool writeScript(const QString &path, const QByteArray &body)
{
    QFile file(path);
    return QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly) &&
           file.write("#!/bin/sh\n" + body) > 0 &&
           file.setPermissions(file.permissions() | QFileDevice::ExeOwner);
}

class TestRunScript : public QObject
{
    Q_OBJECT
private slots:
    void run_data() // DISPLAY names a display the stub host cannot open.
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("ran"); // %1: the folder the user runs the script in
        QTest::newRow("host") << QStringList{"--window", "--plugin", "p.so"}
                              << "gamepad-host %1 --plugin p.so";
        QTest::newRow("monitor") << QStringList{"--monitor", "--replay", "r.jsonl"}
                                 << "gamepad-monitor %1 --replay r.jsonl";
        QTest::newRow("display not answering") << QStringList{} << "gamepad-monitor %1 --virtual";
    }
    void run()
    {
        QFETCH(QStringList, arguments);
        QTemporaryDir dir;
        const QString repo = dir.filePath("repo"), bin = dir.filePath("bin");
        const QString work = dir.filePath("work"), build = repo + "/build-run/host/";
        QVERIFY(QDir().mkpath(repo + "/scripts") && QDir().mkpath(work));
        for (const QString script : {"/scripts/run.sh", "/scripts/packages.sh"})
            QVERIFY(QFile::copy(GAMEPAD_SOURCE_DIR + script, repo + script));
        const QByteArray program = "echo \"$(basename \"$0\") $PWD $*\"\n";
        QVERIFY(writeScript(bin + "/cmake", "") &&
                writeScript(bin + "/dpkg-query", "echo 'install ok installed'\n") &&
                writeScript(build + "gamepad-monitor", program) &&
                writeScript(build + "gamepad-host",
                            "[ \"$1\" = --check-display ] && exit 1\n" + program));
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("PATH", bin + ':' + env.value("PATH")), env.remove("WAYLAND_DISPLAY");
        env.insert("DISPLAY", ":65000");
        QProcess script;
        script.setProcessEnvironment(env), script.setWorkingDirectory(work);
        script.start("bash", QStringList{repo + "/scripts/run.sh"} + arguments);
        QVERIFY(script.waitForFinished(60000));
        QTEST(QString(script.readAllStandardOutput()).trimmed().replace(work, "%1"), "ran");
    }
};

QTEST_GUILESS_MAIN(TestRunScript)
#include "tst_runscript.moc"
