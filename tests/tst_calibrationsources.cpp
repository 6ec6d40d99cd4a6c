#include "calibrationsources.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtTest>

namespace {

const GamepadDeviceIdentity kPad{"Pad", 1, 2};

void setHost(const QString &login, bool sharedRight)
{
    qApp->setProperty("kx.currentLogin", login);
    qApp->setProperty("kx.canEditSharedGamepads", sharedRight);
}

QString padBaseFileIn(const QString &kind)
{
    return configurationRoot() + (kind == "user" ? "/alice" : "") +
           "/GamepadProfiles/_deviceCalibration/0001_0002_pad.json";
}

bool writeBytes(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

} // namespace

class TestCalibrationSources : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void init()
    {
        setHost("alice", false);
        QVERIFY(configurationRoot().contains("/.qttest/"));
        QVERIFY(QDir(configurationRoot()).removeRecursively());
    }

    void baseFileName_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<quint32>("vendor");
        QTest::addColumn<quint32>("product");
        QTest::addColumn<QString>("expected");
        QTest::newRow("example") << "Wireless Pad (Model 2)" << 0x045Eu << 0x028Eu
                                 << "045e_028e_wireless_pad_model_2_.json";
        QTest::newRow("punctuation only") << "!!!" << 1u << 2u << "0001_0002__.json";
        QTest::newRow("blank name") << "   " << 1u << 0u << "0001_0000_unknown.json";
        QTest::newRow("cut at 64")
            << QString(40, 'a') + " -- " + QString(40, 'B') << 1u << 1u
            << "0001_0001_" + QString(40, 'a') + "_" + QString(23, 'b') + ".json";
        QTest::newRow("no identity") << " \t " << 0u << 0u << "";
    }

    void baseFileName()
    {
        QFETCH(QString, name);
        QFETCH(quint32, vendor);
        QFETCH(quint32, product);
        QFETCH(QString, expected);
        QCOMPARE(baseCalibrationFileName({name, vendor, product}), expected);
    }

    void baseFileLocations()
    {
        QVERIFY(writeBytes(padBaseFileIn("shared"), "{}"));
        QCOMPARE(findBaseCalibrationFile(kPad), padBaseFileIn("shared"));
        QVERIFY(writeBytes(padBaseFileIn("user"), "{}"));
        QCOMPARE(findBaseCalibrationFile(kPad), padBaseFileIn("user"));
        QVERIFY(findBaseCalibrationFile({}).isEmpty());

        QCOMPARE(baseCalibrationWritePath(kPad), padBaseFileIn("user"));
        setHost("alice", true);
        QCOMPARE(baseCalibrationWritePath(kPad), padBaseFileIn("shared"));
        setHost("", true);
        QCOMPARE(baseCalibrationWritePath(kPad), padBaseFileIn("shared"));
        setHost("", false);
        QVERIFY(baseCalibrationWritePath(kPad).isEmpty());
    }

    void overridePath_data()
    {
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("expected");
        const QString fallback = "/p/calibration.override.json";
        for (const QStringList &row : {QStringList{"  ", "x.json", ""},
                                       {"/p", "  ", fallback},
                                       {"/p/", " sub/c.json ", "/p/sub/c.json"},
                                       {"/p", "/else/c.json", "/else/c.json"},
                                       {"/p", "../q/c.json", fallback}})
            QTest::addRow("%s|%s", qPrintable(row[0]), qPrintable(row[1]))
                << row[0] << row[1] << row[2];
    }

    void overridePath()
    {
        QFETCH(QString, folder);
        QFETCH(QString, file);
        QFETCH(QString, expected);
        GamepadProfileInfo profile;
        profile.id = QUuid::createUuid();
        profile.folder = folder;
        profile.calibrationOverrideFile = file;
        QCOMPARE(profileOverridePath(profile), expected);
    }

    void resolve_data()
    {
        QTest::addColumn<QByteArray>("base"); // null: no file
        QTest::addColumn<QByteArray>("overrideFile");
        QTest::addColumn<QString>("mode");
        QTest::addColumn<bool>("nullId");
        QTest::addColumn<int>("source");
        const QByteArray none, broken = "{\"type\":";
        const QByteArray base = R"({"type":"GamepadCalibration","axes":[{"restRaw":11}],
                                    "buttons":[{"debounceMs":100}]})";
        const QByteArray mine = R"({"type":"GamepadCalibration","axes":[{"restRaw":22}]})";
        QTest::newRow("base") << base << none << "inherit" << false << 1;
        QTest::newRow("OVERRIDE wins") << base << mine << "OVERRIDE" << false << 2;
        QTest::newRow("inherit ignores override") << base << mine << "inherit" << false << 1;
        QTest::newRow("broken override") << base << broken << "override" << false << 1;
        QTest::newRow("broken base") << broken << none << "inherit" << false << 0;
        QTest::newRow("null id") << base << mine << "override" << true << 1;
    }

    void resolve()
    {
        QFETCH(QByteArray, base);
        QFETCH(QByteArray, overrideFile);
        QFETCH(QString, mode);
        QFETCH(bool, nullId);
        QFETCH(int, source);
        const QString basePath = padBaseFileIn("user");
        const QString overridePath = configurationRoot() + "/p1/calibration.override.json";
        QVERIFY(base.isNull() || writeBytes(basePath, base));
        QVERIFY(overrideFile.isNull() || writeBytes(overridePath, overrideFile));
        GamepadProfileInfo profile;
        profile.id = nullId ? QUuid() : QUuid::createUuid();
        profile.folder = configurationRoot() + "/p1";
        profile.calibrationMode = mode;

        const ResolvedCalibration result = resolveCalibration(kPad, profile, 2, 3);
        QCOMPARE(int(result.source), source);
        QCOMPARE(result.basePath, base.isNull() ? "" : basePath);
        QCOMPARE(result.overridePath, nullId ? "" : overridePath);
        QCOMPARE(result.sourcePath, (QStringList{"", basePath, overridePath}.at(source)));
        QCOMPARE(result.calibration.axes.at(0).restRaw, (QList<double>{0, 11, 22}.at(source)));
        QCOMPARE(result.calibration.buttons.at(0).debounceMs, source == 1 ? 100 : 0);
        QVERIFY(result.calibration.axes.size() == 2 && result.calibration.buttons.size() == 3);
    }
};

QTEST_GUILESS_MAIN(TestCalibrationSources)
#include "tst_calibrationsources.moc"
