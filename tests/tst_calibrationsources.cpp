#include "calibrationsources.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

namespace {

const GamepadDeviceIdentity kPad{QStringLiteral("Pad"), 1, 2};
const QString kPadFile = QStringLiteral("0001_0002_pad.json");

void setHost(const QString &login, bool sharedRight)
{
    qApp->setProperty("kx.currentLogin", login);
    qApp->setProperty("kx.canEditSharedGamepads", sharedRight);
}

// The roots as the host lays them out, built here independently of the store.
QString root(const QString &name)
{
    const QString config = configurationRoot();
    if (name == "user")
        return config + "/alice/GamepadProfiles";
    if (name == "shared")
        return config + "/GamepadProfiles";
    if (name == "legacyUser")
        return config + "/alice/Gamepads";
    return config + "/Gamepads";
}

QString baseFileIn(const QString &rootName, const QString &fileName = kPadFile)
{
    return root(rootName) + "/_deviceCalibration/" + fileName;
}

bool writeBytes(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
           file.write(bytes) == bytes.size();
}

// A calibration file of the given kind: valid, invalid (broken JSON), wrongType or array.
QByteArray calibrationBytes(double restRaw, int debounceMs, const QString &kind = "valid")
{
    const QJsonObject doc = {
        {"type", kind == "wrongType" ? "GamepadDefinderMeta" : "GamepadCalibration"},
        {"axes", QJsonArray{QJsonObject{{"restRaw", restRaw}}}},
        {"buttons", QJsonArray{QJsonObject{{"debounceMs", debounceMs}}}}};
    if (kind == "invalid")
        return "{ \"type\": \"GamepadCalibration\", ";
    if (kind == "array")
        return QJsonDocument(QJsonArray{doc}).toJson();
    return QJsonDocument(doc).toJson();
}

GamepadProfileInfo profileIn(const QString &folder, const QString &mode = "inherit",
                             const QString &overrideFile = {})
{
    GamepadProfileInfo profile;
    profile.id = QUuid::createUuid();
    profile.folder = folder;
    profile.calibrationMode = mode;
    profile.calibrationOverrideFile = overrideFile;
    return profile;
}

} // namespace

class TestCalibrationSources : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void init()
    {
        setHost({}, false);
        const QString config = configurationRoot();
        // Never clean anything outside the test-mode location.
        QVERIFY2(config.contains("/.qttest/"), qPrintable(config));
        QVERIFY(QDir(config).removeRecursively());
    }

    void labels_data()
    {
        QTest::addColumn<int>("source");
        QTest::addColumn<QString>("label");
        QTest::newRow("defaults") << 0 << "Defaults";
        QTest::newRow("base") << 1 << "Base device";
        QTest::newRow("override") << 2 << "Profile override";
        QTest::newRow("above") << 3 << "Defaults";
        QTest::newRow("negative") << -1 << "Defaults";
        QTest::newRow("far above") << 1000 << "Defaults";
    }

    void labels()
    {
        QFETCH(int, source);
        QFETCH(QString, label);
        QCOMPARE(calibrationSourceLabel(source), label);
        QCOMPARE(calibrationSourceLabel(static_cast<CalibrationSource>(source)), label);
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
        QTest::newRow("blank name") << "   " << 0x45Eu << 0x28Eu << "045e_028e_unknown.json";
        QTest::newRow("empty name, vendor only") << "" << 1u << 0u << "0001_0000_unknown.json";
        QTest::newRow("name, no ids") << " Pad " << 0u << 0u << "0000_0000_pad.json";
        QTest::newRow("no name, no ids") << "" << 0u << 0u << "";
        QTest::newRow("blank name, no ids") << " \t " << 0u << 0u << "";
        QTest::newRow("runs collapse") << "a - - b__c" << 1u << 1u << "0001_0001_a_b_c.json";
        QTest::newRow("edges kept") << "  (Pad)  " << 1u << 1u << "0001_0001__pad_.json";
        QTest::newRow("digits kept") << "X-Box 360" << 1u << 1u << "0001_0001_x_box_360.json";
        QTest::newRow("long ids") << "Pad" << 0x12345u << 0xABCDEFu << "12345_abcdef_pad.json";
        QTest::newRow("cut at 64")
            << QString(70, 'Q') << 1u << 1u << "0001_0001_" + QString(64, 'q') + ".json";
        QTest::newRow("cut after collapse")
            << QString(40, 'a') + " -- " + QString(40, 'b') << 1u << 1u
            << "0001_0001_" + QString(40, 'a') + "_" + QString(23, 'b') + ".json";
    }

    void baseFileName()
    {
        QFETCH(QString, name);
        QFETCH(quint32, vendor);
        QFETCH(quint32, product);
        QFETCH(QString, expected);
        QCOMPARE(baseCalibrationFileName({name, vendor, product}), expected);
    }

    void findBaseFile_data()
    {
        QTest::addColumn<QString>("login");
        QTest::addColumn<QStringList>("filesIn");
        QTest::addColumn<QString>("expectedRoot"); // empty: nothing found
        QTest::newRow("none") << "alice" << QStringList{} << "";
        QTest::newRow("user wins over shared")
            << "alice" << QStringList{"shared", "user"} << "user";
        QTest::newRow("shared") << "alice" << QStringList{"shared", "legacyUser"} << "shared";
        QTest::newRow("legacy user")
            << "alice" << QStringList{"legacyUser", "legacyShared"} << "legacyUser";
        QTest::newRow("legacy shared") << "alice" << QStringList{"legacyShared"} << "legacyShared";
        QTest::newRow("login trimmed and lowered")
            << "  ALICE " << QStringList{"user", "shared"} << "user";
        QTest::newRow("no login ignores user roots")
            << "" << QStringList{"user", "legacyUser", "legacyShared"} << "legacyShared";
        QTest::newRow("other login") << "bob" << QStringList{"user"} << "";
    }

    void findBaseFile()
    {
        QFETCH(QString, login);
        QFETCH(QStringList, filesIn);
        QFETCH(QString, expectedRoot);
        for (const QString &rootName : filesIn)
            QVERIFY(writeBytes(baseFileIn(rootName), calibrationBytes(1, 1)));
        setHost(login, true);
        const QString expected = expectedRoot.isEmpty() ? QString() : baseFileIn(expectedRoot);
        QCOMPARE(QDir::cleanPath(findBaseCalibrationFile(kPad)), expected);
        // An identity without name and ids never has a base file, even if such a name exists.
        QVERIFY(writeBytes(baseFileIn("shared", "0000_0000_unknown.json"), calibrationBytes(1, 1)));
        QVERIFY(findBaseCalibrationFile({}).isEmpty());
    }

    void baseWritePath_data()
    {
        QTest::addColumn<QString>("login");
        QTest::addColumn<bool>("sharedRight");
        QTest::addColumn<QString>("expected"); // a root name, or empty
        QTest::newRow("user") << "alice" << false << "user";
        QTest::newRow("user, trimmed login") << " Alice\t" << false << "user";
        QTest::newRow("shared right") << "alice" << true << "shared";
        QTest::newRow("shared right, no login") << "" << true << "shared";
        QTest::newRow("no login, no right") << "" << false << "";
    }

    void baseWritePath()
    {
        QFETCH(QString, login);
        QFETCH(bool, sharedRight);
        QFETCH(QString, expected);
        setHost(login, sharedRight);
        QCOMPARE(QDir::cleanPath(baseCalibrationWritePath(kPad)),
                 expected.isEmpty() ? QString() : baseFileIn(expected));
        QVERIFY(baseCalibrationWritePath({}).isEmpty());
    }

    void overridePath_data()
    {
        QTest::addColumn<bool>("nullId");
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QString>("overrideFile");
        QTest::addColumn<QString>("expected");
        const QString folder = "/data/profiles/p1";
        const auto row = [&](const char *name, bool nullId, const QString &folder,
                             const char *overrideFile, const QString &expected) {
            QTest::newRow(name) << nullId << folder << QString(overrideFile) << expected;
        };
        row("null id", true, folder, "", {});
        row("null id, named file", true, folder, "x.json", {});
        row("empty folder", false, "", "", {});
        row("blank folder", false, "   ", "x.json", {});
        row("default name", false, folder, "", folder + "/calibration.override.json");
        row("blank name", false, folder, "  ", folder + "/calibration.override.json");
        row("relative name", false, folder, " mine.json ", folder + "/mine.json");
        row("relative sub-folder", false, folder, "sub/c.json", folder + "/sub/c.json");
        row("absolute name", false, folder, "/elsewhere/c.json", "/elsewhere/c.json");
    }

    void overridePath()
    {
        QFETCH(bool, nullId);
        QFETCH(QString, folder);
        QFETCH(QString, overrideFile);
        QFETCH(QString, expected);
        GamepadProfileInfo profile = profileIn(folder, "override", overrideFile);
        if (nullId)
            profile.id = QUuid();
        QCOMPARE(profileCanCarryOverride(profile), !expected.isEmpty());
        const QString path = profileOverridePath(profile);
        QCOMPARE(path.isEmpty() ? path : QDir::cleanPath(path), expected);
    }

    void resolve_data()
    {
        QTest::addColumn<QString>("base");      // none, valid, invalid, wrongType, array
        QTest::addColumn<QString>("overrides"); // none, valid, invalid
        QTest::addColumn<QString>("mode");
        QTest::addColumn<QString>("overrideName");
        QTest::addColumn<bool>("nullId");
        QTest::addColumn<int>("expectedSource"); // 0 defaults, 1 base, 2 override
        const auto row = [](const char *name, const char *base, const char *overrides,
                            const char *mode, int source, const char *overrideName = "",
                            bool nullId = false) {
            QTest::newRow(name) << base << overrides << mode << overrideName << nullId << source;
        };
        row("nothing", "none", "none", "inherit", 0);
        row("base", "valid", "none", "inherit", 1);
        row("OVERRIDE wins", "valid", "valid", "OVERRIDE", 2);
        row("override without base", "none", "valid", "override", 2);
        row("custom override name", "valid", "valid", "Override", 2, "mine.json");
        row("inherit ignores override", "valid", "valid", "inherit", 1);
        row("inherit, no base", "none", "valid", "inherit", 0);
        row("unknown mode", "valid", "valid", "custom", 1);
        row("mode with blanks is not override", "valid", "valid", " override ", 1);
        row("override missing", "valid", "none", "override", 1);
        row("override missing, no base", "none", "none", "override", 0);
        row("override invalid", "valid", "invalid", "override", 1);
        row("base invalid JSON", "invalid", "none", "inherit", 0);
        row("base wrong type", "wrongType", "none", "inherit", 0);
        row("base is an array", "array", "none", "inherit", 0);
        row("base broken, override used", "invalid", "valid", "override", 2);
        row("null id never overrides", "valid", "valid", "override", 1, "", true);
    }

    void resolve()
    {
        QFETCH(QString, base);
        QFETCH(QString, overrides);
        QFETCH(QString, mode);
        QFETCH(QString, overrideName);
        QFETCH(bool, nullId);
        QFETCH(int, expectedSource);
        setHost("alice", false);
        const QString basePath = baseFileIn("user");
        const QString folder = root("user") + "/p1";
        const QString overridePath =
            folder + "/" + (overrideName.isEmpty() ? kDefaultOverrideFile : overrideName);
        // The base sets a button too, so a merged override would show it.
        if (base != "none")
            QVERIFY(writeBytes(basePath, calibrationBytes(11, 100, base)));
        if (overrides != "none")
            QVERIFY(writeBytes(overridePath, calibrationBytes(22, 0, overrides)));
        GamepadProfileInfo profile = profileIn(folder, mode, overrideName);
        if (nullId)
            profile.id = QUuid();

        const ResolvedCalibration result = resolveCalibration(kPad, profile, 4, 2);
        QCOMPARE(int(result.source), expectedSource);
        QCOMPARE(QDir::cleanPath(result.basePath), base == "none" ? QString() : basePath);
        QCOMPARE(QDir::cleanPath(result.overridePath), nullId ? QString() : overridePath);
        const QString sourcePaths[] = {QString(), basePath, overridePath};
        QCOMPARE(QDir::cleanPath(result.sourcePath), sourcePaths[expectedSource]);

        const double restRaw[] = {0, 11, 22};
        QCOMPARE(result.calibration.axes.size(), 4);
        QCOMPARE(result.calibration.buttons.size(), 2);
        QCOMPARE(result.calibration.axes.at(0).restRaw, restRaw[expectedSource]);
        QCOMPARE(result.calibration.buttons.at(0).debounceMs, expectedSource == 1 ? 100 : 0);
    }

    void resolveNormalises_data()
    {
        QTest::addColumn<bool>("fromOverride");
        QTest::addColumn<int>("axisCount");
        QTest::addColumn<int>("buttonCount");
        QTest::newRow("base, 4x6") << false << 4 << 6;
        QTest::newRow("override, 4x6") << true << 4 << 6;
        QTest::newRow("override, 1x0") << true << 1 << 0;
        QTest::newRow("base, no axes") << false << 0 << 3;
        QTest::newRow("base, negative counts") << false << -1 << -5;
    }

    void resolveNormalises()
    {
        QFETCH(bool, fromOverride);
        QFETCH(int, axisCount);
        QFETCH(int, buttonCount);
        setHost("alice", false);
        const QString folder = root("user") + "/p1";
        const QJsonObject raw = {
            {"type", "GamepadCalibration"},
            {"axes", QJsonArray{QJsonObject{{"deadzoneRadius", 150}}, QJsonObject()}},
            {"buttons", QJsonArray{QJsonObject{{"repeatIntervalMs", 0}}}},
            {"gates", QJsonArray{QJsonObject{{"key", " g "}, {"xAxis", 7}, {"yAxis", -2}},
                                 QJsonObject{{"key", "g"}}}}};
        const QString path =
            fromOverride ? folder + "/" + kDefaultOverrideFile : baseFileIn("user");
        QVERIFY(writeBytes(path, QJsonDocument(raw).toJson()));

        const GamepadProfileInfo profile = profileIn(folder, fromOverride ? "override" : "inherit");
        const ResolvedCalibration result =
            resolveCalibration(kPad, profile, axisCount, buttonCount);
        QCOMPARE(int(result.source), int(fromOverride ? CalibrationSource::ProfileOverride
                                                      : CalibrationSource::BaseDevice));
        const GamepadCalibration &cal = result.calibration;
        QCOMPARE(cal.axes.size(), qMax(axisCount, 0));
        QCOMPARE(cal.buttons.size(), qMax(buttonCount, 0));
        if (axisCount > 0)
            QCOMPARE(cal.axes.at(0).deadzoneRadius, 99.0);
        if (buttonCount > 0)
            QCOMPARE(cal.buttons.at(0).repeatIntervalMs, 10);
        QCOMPARE(cal.gates.size(), 2);
        QCOMPARE(cal.gates.at(0).key, QStringLiteral("g"));
        QCOMPARE(cal.gates.at(1).key, QStringLiteral("gate_0"));
        QCOMPARE(cal.gates.at(0).xAxis, qMax(axisCount - 1, 0));
        QCOMPARE(cal.gates.at(0).yAxis, 0);
        QVERIFY(cal == normalizeCalibration(cal, axisCount, buttonCount));
    }
};

QTEST_GUILESS_MAIN(TestCalibrationSources)
#include "tst_calibrationsources.moc"
