#include "deviceregistry.h"
#include "filetestsupport.h"

#include <QtTest>

// Entries "gp:<i>" seen at the given times; a negative time leaves "lastSeen" out.
static QList<DeviceRegistryEntry> seenAt(const QList<double> &times, bool selected = false)
{
    QList<DeviceRegistryEntry> entries;
    for (int i = 0; i < times.size(); ++i) {
        QJsonObject kv{{"selected", selected}};
        if (times.at(i) >= 0)
            kv.insert("lastSeen", times.at(i));
        entries.append({QStringLiteral("gp:%1").arg(i), kv});
    }
    return entries;
}

class TestDeviceRegistry : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { QVERIFY(useTestHome(m_home)); }

    void unreadableFileIsEmpty_data()
    {
        QTest::addColumn<QByteArray>("content"); // null: no file
        QTest::addColumn<int>("devices");
        QTest::newRow("first run") << QByteArray() << 0;
        QTest::newRow("array") << QByteArray(R"([{"lastCount":3}])") << 0;
        QTest::newRow("member without kv") << QByteArray(R"({"devices":{"a":{},"b":7}})") << 2;
        const QByteArray padding(kMaxRegistryFileBytes, ' ');
        QTest::newRow("oversized") << R"({"lastCount":1,"devices":{"a":{}}})" + padding << 0;
    }

    void unreadableFileIsEmpty()
    {
        QFETCH(QByteArray, content);
        QFETCH(int, devices);
        const QString path = deviceRegistryPath(QTest::currentDataTag());
        QVERIFY(content.isNull() || writeBytes(path, content));
        const DeviceRegistry registry = readDeviceRegistry(QTest::currentDataTag());
        QVERIFY(registry.lastCount == 0 && registry.devices.size() == devices);
        for (const DeviceRegistryEntry &entry : registry.devices)
            QVERIFY(entry.kv.isEmpty());
    }

    void roundTripKeepsEveryEntry()
    {
        const QList<DeviceRegistryEntry> first = {
            {"gp:0", {{"name", "Pad"}, {"selected", true}, {"vendorIdHex", "45e"}}},
            {"gp:3", {{"name", "Absent pad"}, {"activeProfileId", "abc"}, {"custom", 12}}}};
        QVERIFY(writeDeviceRegistry("hostA", first) && writeDeviceRegistry("hostB", {}));
        QCOMPARE(readDeviceRegistry("hostA").devices, first);
        QVERIFY(writeDeviceRegistry("hostA", first.mid(1)));
        QCOMPARE(readDeviceRegistry("hostA").lastCount, 1);
        QCOMPARE(readDeviceRegistry("hostB").devices.size(), 0);
        const QString path = deviceRegistryPath("hostA");
        QVERIFY(path.startsWith(m_home.path()) && path.endsWith("/hostA/ZeltoCom/gamepads.json"));
        QVERIFY(!readBytes(path).contains('\n')); // compact
        // Kept elsewhere by the user (a dotfile manager's link): read through, as it is written.
        const QString kept = m_home.filePath("kept.json");
        QVERIFY(QFile::rename(path, kept) && QFile::link(kept, path));
        QCOMPARE(readDeviceRegistry("hostA").devices, first.mid(1));
    }

    // Newest stay, in order (unstamped oldest, ties: the earlier); one selection or all allowed.
    void capsAndSingleSelection()
    {
        const auto four = seenAt({1, 5, -1, 3}), ties = seenAt({-1, 2, -1, -1});
        QCOMPARE(newestRegistryEntries(four, 2), (QList{four[1], four[3]}));
        QCOMPARE(newestRegistryEntries(ties, 3), ties.mid(0, 3));
        QVERIFY(newestRegistryEntries(seenAt({1, 2}), 0).isEmpty());
        QList<double> times;
        for (int i = 0; i < 100; ++i)
            times << 1099 - (i * 37) % 100; // distinct, out of order, the first the newest
        QVERIFY(writeDeviceRegistry("capped", seenAt(times, true)));
        const DeviceRegistry registry = readDeviceRegistry("capped");
        QVERIFY(registry.lastCount == 64 && registry.devices.size() == kMaxRegistryEntries);
        QStringList selected;
        for (const DeviceRegistryEntry &entry : registry.devices) {
            QVERIFY(entry.kv.value("lastSeen").toDouble() >= 1036);
            if (entry.kv.value("selected").toBool())
                selected << entry.kv.value("lastSeen").toVariant().toString();
        }
        QCOMPARE(selected, QStringList{"1099"});
        int kept = 0;
        for (const DeviceRegistryEntry &entry : readDeviceRegistry("capped", false).devices)
            kept += entry.kv.value("selected").toBool() ? 1 : 0;
        QCOMPARE(kept, kMaxRegistryEntries);
    }

private:
    QTemporaryDir m_home;
};

QTEST_GUILESS_MAIN(TestDeviceRegistry)
#include "tst_deviceregistry.moc"
