#include "gamepadmanager.h"
#include "linkerdevicemodel.h"
#include "profilemeta.h"
#include "runtimetestsupport.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QtTest>

#include <memory>

using Model = LinkerDeviceModel;

static void flushDeletes()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

class tst_LinkerDeviceModel : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        useThrowAwayHome(m_home);
        // Three profiles made for "Test Pad" (two by name, one by its USB ids) and one for another.
        m_profiles << writeProfile("a", "Alpha", {"Test Pad"})
                   << writeProfile("b", "Bravo", {"TEST PAD"})
                   << writeProfile("c", "Charlie", {}, 0x45e, 0x28e);
        writeProfile("d", "Delta", {"Other Pad"});
    }

    void init()
    {
        m_joysticks = std::make_unique<VirtualJoysticks>();
        m_manager = GamepadManager::instance();
        m_context = QStringLiteral("host%1").arg(++m_contextCount);
    }

    void cleanup()
    {
        m_models.clear();
        delete GamepadManager::instance();
        flushDeletes();
        m_joysticks.reset();
    }

    void roleNamesTable()
    {
        const QByteArrayList names = {"usn",
                                      "name",
                                      "ip",
                                      "selected",
                                      "isConnected",
                                      "videoInterfaces",
                                      "json",
                                      "product",
                                      "image",
                                      "modelString",
                                      "linkState",
                                      "activeProfileId",
                                      "activeProfileName",
                                      "activeProfilePosition",
                                      "profileCount",
                                      "hasProfileCarousel"};
        QHash<int, QByteArray> expected;
        for (int i = 0; i < names.size(); ++i)
            expected.insert(257 + i, names.at(i));
        QCOMPARE(makeModel()->roleNames(), expected);
        QCOMPARE(int(Model::UsnRole), 257);
        QCOMPARE(int(Model::HasProfileCarouselRole), 272);
        const QMetaEnum roles = QMetaEnum::fromType<Model::Roles>();
        QCOMPARE(roles.keyToValue("ActiveProfilePositionRole"), 270);
    }

    void staysConsistentWhilePlugging()
    {
        Model *model = makeModel();
        QAbstractItemModelTester tester(model);
        QSignalSpy counts(model, &Model::countChanged);
        m_joysticks->backend.connectController(3, padIdentity("Pad three"), 2, 0x03);
        plug(0);
        QCOMPARE(model->count(), 2);
        QCOMPARE(model->usnForRow(0), QStringLiteral("gp:0")); // order of discovery
        QCOMPARE(model->usnForRow(1), QStringLiteral("gp:3"));
        QCOMPARE(value(model, "gp:3", Model::IpRole), QVariant("VID:45e PID:28e"));
        QCOMPARE(value(model, "gp:3", Model::ModelRole), QVariant("45e-28e"));
        QCOMPARE(value(model, "gp:3", Model::VideoInterfacesRole).toStringList(),
                 QStringList(
                     {"Axe 0|axis://0", "Axe 1|axis://1", "Bouton 0|btn://0", "Bouton 1|btn://1"}));
        // Only "Charlie" is made for this model (by its ids): one profile is no carousel.
        QCOMPARE(value(model, "gp:3", Model::ProfileCountRole), QVariant(1));
        QCOMPARE(value(model, "gp:3", Model::HasProfileCarouselRole), QVariant(false));

        unplug(0);
        QCOMPARE(model->count(), 2); // the row stays, without its device
        QCOMPARE(value(model, "gp:0", Model::ConnectedRole), QVariant(false));
        QCOMPARE(value(model, "gp:0", Model::NameRole), QVariant("Test Pad"));
        QCOMPARE(value(model, "gp:0", Model::VideoInterfacesRole).toStringList(), QStringList());
        QCOMPARE(model->interfaceForRow(0), nullptr);
        plug(0);
        QCOMPARE(model->count(), 2); // the same row again
        QCOMPARE(value(model, "gp:0", Model::ConnectedRole), QVariant(true));
        QCOMPARE(model->interfaceForRow(0), deviceAt(0));
        QCOMPARE(counts.count(), 2);
    }

    void cycleProfile_data()
    {
        QTest::addColumn<QString>("usn");
        QTest::addColumn<int>("start"); // 1-based position of the bound profile, 0 = none
        QTest::addColumn<int>("delta");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<int>("position");
        QTest::newRow("+1") << "gp:0" << 2 << 1 << true << 3;
        QTest::newRow("-1") << "gp:0" << 2 << -1 << true << 1;
        QTest::newRow("+4") << "gp:0" << 2 << 4 << true << 3;
        QTest::newRow("-4") << "gp:0" << 2 << -4 << true << 1;
        QTest::newRow("wraps forward") << "gp:0" << 3 << 1 << true << 1;
        QTest::newRow("0") << "gp:0" << 2 << 0 << false << 2;
        QTest::newRow("none bound") << "gp:0" << 0 << 1 << false << 0;
        QTest::newRow("unknown usn") << "gp:7" << 2 << 1 << false << 2;
    }

    void cycleProfile()
    {
        QFETCH(QString, usn);
        QFETCH(int, start);
        QFETCH(int, delta);
        QFETCH(bool, ok);
        QFETCH(int, position);
        Model *model = makeModel();
        plug(0);
        QCOMPARE(value(model, "gp:0", Model::ProfileCountRole), QVariant(3));
        QCOMPARE(value(model, "gp:0", Model::HasProfileCarouselRole), QVariant(true));
        if (start > 0)
            QVERIFY(model->setActiveProfile("gp:0", m_profiles.at(start - 1).toString()));
        QCOMPARE(model->cycleProfile(usn, delta), ok);
        QCOMPARE(value(model, "gp:0", Model::ActiveProfilePositionRole), QVariant(position));
        if (position == 0)
            return;
        const QString id = m_profiles.at(position - 1).toString(QUuid::WithoutBraces);
        const QString name = QStringList{"Alpha", "Bravo", "Charlie"}.at(position - 1);
        QCOMPARE(value(model, "gp:0", Model::ActiveProfileIdRole), QVariant(id));
        QCOMPARE(value(model, "gp:0", Model::NameRole), QVariant(name));
        QCOMPARE(deviceAt(0)->activeProfileId(), id);
        QCOMPARE(deviceAt(0)->profileName(), name);
        QCOMPARE(storedKv("gp:0").value("activeProfileId").toString(), id);
    }

    void uniqueSelectionStopsTheOtherDevice()
    {
        Model *model = makeModel();
        plug(0);
        plug(1);
        QSignalSpy selection(model, &Model::selectedInterfacesChanged);
        model->setSelected("gp:0", true);
        QVERIFY(deviceAt(0)->isPolling());
        model->setSelected("gp:1", true);
        QVERIFY(!model->isSelected("gp:0"));
        QVERIFY(!deviceAt(0)->isConnected());
        QCOMPARE(value(model, "gp:0", Model::LinkStateRole), QVariant(0));
        QCOMPARE(value(model, "gp:1", Model::LinkStateRole), QVariant(2));
        const QList<IComInterface *> last = selection.last().at(0).value<QList<IComInterface *>>();
        QCOMPARE(last, QList<IComInterface *>{deviceAt(1)});
        QCOMPARE(selection.last().at(1).toJsonArray().at(0).toObject().value("deviceId"),
                 QJsonValue("1"));
        QCOMPARE(storedKv("gp:0").value("selected"), QJsonValue(false));
        QCOMPARE(storedKv("gp:1").value("selected"), QJsonValue(true));

        model->setUniqSelection(false);
        model->setSelected("gp:0", true);
        QVERIFY(model->isSelected("gp:0") && model->isSelected("gp:1"));

        QSignalSpy anything(model, &Model::dataChanged);
        selection.clear();
        model->setSelected("gp:5", true);
        QCOMPARE(anything.count() + selection.count(), 0);
    }

    void setDataRefusesOtherRoles()
    {
        Model *model = makeModel();
        plug(0);
        const QModelIndex row = model->index(0);
        QVERIFY(!model->setData(row, "x", Model::UsnRole));
        QVERIFY(!model->setData(model->index(1), "x", Model::NameRole));
        QVERIFY(!model->setData(row, 42, Model::ImageRole));
        QVERIFY(model->setData(row, "/pictures/pad.png", Model::ImageRole));
        QVERIFY(model->setData(row, "Manette", Model::ProductRole));
        QVERIFY(model->setData(row, "Ma manette", Model::NameRole));
        QCOMPARE(storedKv("gp:0").value("imagePath"), QJsonValue("/pictures/pad.png"));
        QCOMPARE(storedKv("gp:0").value("product"), QJsonValue("Manette"));
        QCOMPARE(value(model, "gp:0", Model::NameRole), QVariant("Ma manette"));
    }

    void connectionEvents_data()
    {
        QTest::addColumn<bool>("selected");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("selected") << true
                                  << QStringList({"0 Gamepad detected", "0 Gamepad connected",
                                                  "1 Gamepad connection lost",
                                                  "1 Selected gamepad disconnected"});
        QTest::newRow("not selected")
            << false << QStringList({"0 Gamepad detected", "0 Gamepad removed"});
    }

    void connectionEvents()
    {
        QFETCH(bool, selected);
        QFETCH(QStringList, expected);
        Model *model = makeModel();
        QSignalSpy events(model, &Model::providerEventOccurred);
        QSignalSpy changes(model, &Model::dataChanged);
        plug(2);
        model->setSelected("gp:2", selected);
        unplug(2);
        QCOMPARE(titles(events), expected);
        const auto detected = events.first().at(0).value<ComProviderEvent>();
        QCOMPARE(detected.message, QStringLiteral("Test Pad (gp:2) is now available."));
        QCOMPARE(detected.source, QStringLiteral("Gamepad"));
        QCOMPARE(events.last().at(0).value<ComProviderEvent>().message,
                 QStringLiteral("Test Pad (gp:2) is no longer available."));
        const QList<int> linkOnly{Model::LinkStateRole};
        const auto linkChanges = std::count_if(changes.begin(), changes.end(), [&](const auto &c) {
            return c.at(2).template value<QList<int>>() == linkOnly;
        });
        QCOMPARE(linkChanges, selected ? 2 : 0); // up, then down
    }

    void survivesRestart()
    {
        Model *first = makeModel();
        plug(0, "Pad zero");
        plug(2);
        first->setSelected("gp:2", true);
        QVERIFY(first->setData(first->index(0), "Renamed", Model::NameRole));
        QVERIFY(first->setActiveProfile("gp:2", m_profiles.at(1).toString()));
        m_models.clear();
        unplug(0);
        deviceAt(2)->stop();

        Model *second = makeModel();
        QCOMPARE(second->previousCount(), 2);
        QCOMPARE(second->count(), 2);
        QVERIFY(second->isSelected("gp:2") && !second->isSelected("gp:0"));
        QCOMPARE(value(second, "gp:0", Model::NameRole), QVariant("Renamed"));
        QCOMPARE(value(second, "gp:0", Model::ConnectedRole), QVariant(false));
        QCOMPARE(value(second, "gp:2", Model::ActiveProfileNameRole), QVariant("Bravo"));
        QCOMPARE(value(second, "gp:2", Model::LinkStateRole), QVariant(2)); // started again
        QList<IComInterface *> selected;
        QJsonArray infos;
        second->selectedInterfaces(selected, infos);
        QCOMPARE(selected, QList<IComInterface *>{deviceAt(2)});

        QVERIFY(!second->deleteDevice("gp:2")); // still plugged in
        QVERIFY(second->deleteDevice("gp:0"));
        QVERIFY(!second->deleteDevice("gp:0"));
        QCOMPARE(readDeviceRegistry(m_context).devices.size(), 1);
        QVERIFY(!QFileInfo::exists(deviceRegistryPath(m_context) + ".tmp"));
    }

private:
    Model *makeModel()
    {
        m_models.push_back(std::make_unique<Model>(m_context));
        QCoreApplication::processEvents(); // the first resynchronisation is queued
        return m_models.back().get();
    }
    void plug(int index, const QString &name = QStringLiteral("Test Pad"))
    {
        m_joysticks->backend.connectController(index, padIdentity(name));
        discover();
    }
    void unplug(int index)
    {
        m_joysticks->backend.disconnectController(index);
        discover();
        flushDeletes();
    }
    void discover() { QMetaObject::invokeMethod(m_manager, "discoverDevices"); }
    ControlManette *deviceAt(int index) const
    {
        for (const auto &device : m_manager->gamepads())
            if (device && device->deviceId() == index)
                return device;
        return nullptr;
    }
    static QVariant value(const Model *model, const QString &usn, int role)
    {
        return model->data(model->index(model->indexOfUsn(usn)), role);
    }
    QJsonObject storedKv(const QString &usn) const
    {
        for (const DeviceRegistryEntry &entry : readDeviceRegistry(m_context).devices)
            if (entry.usn == usn)
                return entry.kv;
        return {};
    }
    static QStringList titles(const QSignalSpy &spy)
    {
        QStringList list;
        for (const QList<QVariant> &arguments : spy) {
            const auto event = arguments.at(0).value<ComProviderEvent>();
            list << QString::number(event.level) + ' ' + event.title;
        }
        return list;
    }
    static QUuid writeProfile(const QString &folder, const QString &name,
                              const QStringList &devices, quint32 vendor = 0, quint32 product = 0)
    {
        GamepadProfileMeta meta;
        meta.id = QUuid::createUuid();
        meta.name = name;
        meta.folder = sharedProfilesRoot() + '/' + folder;
        meta.deviceNames = devices;
        meta.vendorId = vendor;
        meta.productId = product;
        QDir().mkpath(meta.folder);
        writeProfileMeta(&meta, nullptr);
        return meta.id;
    }

    QTemporaryDir m_home;
    std::unique_ptr<VirtualJoysticks> m_joysticks;
    GamepadManager *m_manager = nullptr;
    std::vector<std::unique_ptr<Model>> m_models;
    QList<QUuid> m_profiles;
    QString m_context;
    int m_contextCount = 0;
};

QTEST_MAIN(tst_LinkerDeviceModel)
#include "tst_linkerdevicemodel.moc"
