#include "deviceregistry.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

class tst_DeviceRegistry : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        QVERIFY(m_home.isValid());
        qputenv("HOME", m_home.path().toLocal8Bit());
        qputenv("XDG_DATA_HOME", QDir(m_home.path()).filePath("share").toLocal8Bit());
        QStandardPaths::setTestModeEnabled(true);
    }

    void firstRunIsEmpty()
    {
        const QString path = deviceRegistryPath("firstRun");
        QVERIFY(path.startsWith(m_home.path()));
        QVERIFY(path.endsWith("/firstRun/ZeltoCom/gamepads.json"));
        const QString zeltoCom = QFileInfo(path).absolutePath();
        QVERIFY(QFileInfo(QFileInfo(zeltoCom).absolutePath()).isDir()); // the context folder
        QVERIFY(!QFileInfo::exists(zeltoCom)); // made by the first write only
        const DeviceRegistry registry = readDeviceRegistry("firstRun");
        QCOMPARE(registry.lastCount, 0);
        QVERIFY(registry.devices.isEmpty());
    }

    void malformedFileIsIgnored_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<int>("lastCount");
        QTest::addColumn<int>("devices");
        QTest::newRow("array") << QByteArray(R"([{"lastCount":3,"devices":{"gp:0":{}}}])") << 0
                               << 0;
        QTest::newRow("garbage") << QByteArray("{\"lastCount\": 3, \"devi") << 0 << 0;
        QTest::newRow("empty file") << QByteArray() << 0 << 0;
        QTest::newRow("devices not an object")
            << QByteArray(R"({"lastCount":2,"devices":[1]})") << 2 << 0;
        QTest::newRow("member without kv")
            << QByteArray(R"({"devices":{"gp:1":{"x":1},"gp:2":7}})") << 0 << 2;
    }

    void malformedFileIsIgnored()
    {
        QFETCH(QByteArray, content);
        QFETCH(int, lastCount);
        QFETCH(int, devices);
        const QString context = QTest::currentDataTag();
        writeRaw(deviceRegistryPath(context), content);
        const DeviceRegistry registry = readDeviceRegistry(context);
        QCOMPARE(registry.lastCount, lastCount);
        QCOMPARE(int(registry.devices.size()), devices);
        for (const DeviceRegistryEntry &entry : registry.devices)
            QVERIFY(entry.kv.isEmpty());
    }

    void roundTripKeepsEveryEntry()
    {
        const QList<DeviceRegistryEntry> first = {
            {"gp:0", {{"name", "Pad"}, {"selected", true}, {"vendorIdHex", "45e"}}},
            {"gp:3", {{"name", "Absent pad"}, {"activeProfileId", "abc"}, {"custom", 12}}}};
        QVERIFY(writeDeviceRegistry("roundTrip", first));
        DeviceRegistry registry = readDeviceRegistry("roundTrip");
        QCOMPARE(registry.lastCount, 2);
        QCOMPARE(registry.devices, first);

        // Rewriting replaces the file and leaves nothing else beside it.
        const QList<DeviceRegistryEntry> second = {first.at(1)};
        QVERIFY(writeDeviceRegistry("roundTrip", second));
        registry = readDeviceRegistry("roundTrip");
        QCOMPARE(registry.lastCount, 1);
        QCOMPARE(registry.devices, second);
        const QString path = deviceRegistryPath("roundTrip");
        QCOMPARE(QFileInfo(path).dir().entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
                 QStringList{"gamepads.json"});
        QVERIFY(!readRaw(path).contains('\n')); // compact
    }

    void contextsAreIndependent()
    {
        QVERIFY(writeDeviceRegistry("hostA", {{"gp:0", {{"name", "A"}}}}));
        QVERIFY(writeDeviceRegistry("hostB", {{"gp:0", {{"name", "B"}}}, {"gp:1", {}}}));
        QVERIFY(deviceRegistryPath("hostA") != deviceRegistryPath("hostB"));
        QCOMPARE(readDeviceRegistry("hostA").devices.value(0).kv.value("name"), QJsonValue("A"));
        QCOMPARE(readDeviceRegistry("hostB").devices.size(), 2);
    }

    void failedWriteKeepsOldFile_data()
    {
        QTest::addColumn<bool>("tmpIsDirectory");
        QTest::newRow("temporary name taken by a folder") << true;
        QTest::newRow("registry folder is a file") << false;
    }

    void failedWriteKeepsOldFile()
    {
        QFETCH(bool, tmpIsDirectory);
        const QString context = QTest::currentDataTag();
        const QString path = deviceRegistryPath(context);
        const QList<DeviceRegistryEntry> old = {{"gp:0", {{"name", "Old"}}}};
        if (tmpIsDirectory) {
            QVERIFY(writeDeviceRegistry(context, old));
            QVERIFY(QDir().mkpath(path + ".tmp"));
        } else {
            writeRaw(QFileInfo(path).absolutePath(), "not a folder");
        }
        QVERIFY(!writeDeviceRegistry(context, {{"gp:1", {{"name", "New"}}}}));
        const DeviceRegistry registry = readDeviceRegistry(context);
        QCOMPARE(registry.devices, tmpIsDirectory ? old : QList<DeviceRegistryEntry>());
    }

private:
    static void writeRaw(const QString &path, const QByteArray &bytes)
    {
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(bytes);
    }
    static QByteArray readRaw(const QString &path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QTemporaryDir m_home;
};

QTEST_GUILESS_MAIN(tst_DeviceRegistry)
#include "tst_deviceregistry.moc"
