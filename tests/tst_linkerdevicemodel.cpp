#include "gamepadmanager.h"
#include "linkerdevicemodel.h"
#include "profilemeta.h"
#include "runtimetestsupport.h"

#include <QtTest>

using Model = LinkerDeviceModel;

class TestLinkerDeviceModel : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        useThrowAwayHome(m_home);
        // Alpha, Bravo (by name) and Charlie (by USB ids) are made for "Test Pad", Delta is not.
        const QStringList names{"Alpha", "Bravo", "Charlie", "Delta"};
        const QStringList devices{"Test Pad", "TEST PAD", "", "Other Pad"};
        for (int i = 0; i < names.size(); ++i) {
            GamepadProfileMeta meta;
            meta.id = QUuid::createUuid(), meta.name = names[i];
            meta.folder = sharedProfilesRoot() + '/' + names[i];
            meta.deviceNames = QStringList{devices[i]};
            meta.vendorId = i == 2 ? 0x45e : 0, meta.productId = i == 2 ? 0x28e : 0;
            QVERIFY(QDir().mkpath(meta.folder) && writeProfileMeta(&meta, nullptr));
            m_profiles << meta.id;
        }
    }

    void init()
    {
        m_joysticks = std::make_unique<VirtualJoysticks>(), m_manager = GamepadManager::instance();
        m_context = QTest::currentTestFunction() + QString(QTest::currentDataTag());
    }

    void cleanup()
    {
        m_models.clear();
        delete GamepadManager::instance();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete), m_joysticks.reset();
    }

    void rowsFollowTheController() // A row belongs to a controller (ids and name), not to its slot.
    {
        Model *model = makeModel();
        QAbstractItemModelTester tester(model);
        model->setAutoDetect(false); // unwatched, a controller plugged is listed once watched
        plug(0, "Pad A");
        QCOMPARE(model->count(), 0);
        model->setAutoDetect(true);
        QCOMPARE(model->count(), 1);
        QVERIFY(!(model->flags(model->index(0)) & Qt::ItemIsEditable)); // no in-place editor
        model->setSelected("gp:0", true);
        QSignalSpy changed(model, &Model::dataChanged); // what views hear of the first row
        for (int again = 0; again < 2; ++again)         // the same name again is taken as well
            QVERIFY(model->setData(model->index(0), "Pilote", Model::NameRole));
        QVERIFY(model->setData(model->index(0), "Tourelle", Model::ProductRole));
        QVERIFY(model->setData(model->index(0), "/mine.png", Model::ImageRole));
        QVERIFY(!model->setData(model->index(0), 7, Model::ImageRole) &&
                !model->setData(model->index(0), "gp:9", Model::UsnRole));
        QCOMPARE(changed.last().at(2).value<QList<int>>(), QList<int>{Model::ImageRole});
        QCOMPARE(storedKv("gp:0").value("product"), QJsonValue("Tourelle"));
        // Bound by id, braces or not, also when made for another controller; blank unbinds.
        for (const QString &refused : {QString("{nonsense}"), QUuid::createUuid().toString()})
            QVERIFY(!model->setActiveProfile("gp:0", refused));
        QVERIFY(model->setActiveProfile("gp:0", m_profiles.at(3).toString(QUuid::WithoutBraces)));
        QCOMPARE(storedKv("gp:0").value("activeProfileName"), QJsonValue("Delta"));
        QVERIFY(model->setActiveProfile("gp:0", " ") &&
                !storedKv("gp:0").contains("activeProfileId"));
        QVERIFY(model->setActiveProfile("gp:0", m_profiles.at(2).toString()));
        unplug(0);

        plug(0, "Pad B");
        QCOMPARE(model->usnForRow(0) + ' ' + model->usnForRow(1), "gp:45e-28e:Pad A gp:0");
        QList<int> roles; // its profile, lost link, connection and new key are heard
        for (const QList<QVariant> &args : changed)
            roles += args[0].toModelIndex().row() ? QList<int>() : args[2].value<QList<int>>();
        for (const int role : {Model::ActiveProfileIdRole, Model::LinkStateRole, Model::UsnRole,
                               Model::ConnectedRole})
            QVERIFY(roles.contains(role));
        QVERIFY(!model->cycleProfile("gp:nobody", 1));
        QCOMPARE(value(model, "gp:0", Model::NameRole), QVariant("Pad B"));
        QVERIFY(!model->isSelected("gp:0") && !deviceAt(0)->isPolling());
        // A plugged controller would come straight back, an unknown one is not there: refused.
        QVERIFY(!model->deleteDevice("gp:0") && !model->deleteDevice("gp:nobody"));
        QCOMPARE(storedKv("gp:45e-28e:Pad A").value("nameOverride"), QJsonValue("Pilote"));
        // Selected but away: the host gets its description and a stand-in that reports no link.
        QList<IComInterface *> out;
        QJsonArray infos;
        model->selectedInterfaces(out, infos);
        QJsonArray seen{out.size(), infos.size(), infos.at(0)["name"], infos.at(0)["connected"]};
        QCOMPARE(QJsonDocument(seen).toJson(QJsonDocument::Compact), R"([1,1,"Pad A",false])");
        QPointer<IComInterface> standIn = out.at(0);
        QVERIFY(standIn && standIn != deviceAt(0) && standIn->status() == IComInterface::noCom);
        model->selectedInterfaces(out, infos);
        QCOMPARE(out, QList<IComInterface *>{standIn});

        plug(3, "Pad A");
        QCOMPARE(model->usnForRow(0), QStringLiteral("gp:3"));
        QCOMPARE(value(model, "gp:3", Model::NameRole), QVariant("Pilote"));
        QVERIFY(model->isSelected("gp:3") && deviceAt(3)->isPolling());
        QCOMPARE(deviceAt(3)->activeProfileId(), m_profiles.at(2).toString(QUuid::WithoutBraces));
        // A list made later finds it already linked.
        QCOMPARE(value(makeModel(), "gp:3", Model::LinkStateRole), QVariant(Model::kLinked));
        deviceAt(3)->stop(); // a sync starts it again and tells the host what is selected
        QSignalSpy told(model, &Model::selectedInterfacesChanged);
        model->syncSelected();
        QVERIFY(deviceAt(3)->isPolling() && told.count() == 1);
        model->selectedInterfaces(out, infos);
        QCOMPARE(out, QList<IComInterface *>{deviceAt(3)});
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(standIn.isNull()); // the controller is back: the stand-in is let go
    }

    // The host binds the model's properties: a change is told once, the same value never.
    void propertiesNotifyTheHost()
    {
        Model *model = makeModel();
        QSignalSpy rows(model, &Model::countChanged), previous(model, &Model::previousCountChanged);
        plug(0); // a row, remembered with the count of that context
        const std::pair<const char *, QVariant> changes[]{
            {"uniqSelection", false}, {"autoDetect", false}, {"context", "elsewhere"}};
        for (const auto &[name, value] : changes) {
            const QMetaObject *meta = model->metaObject();
            const QMetaProperty property = meta->property(meta->indexOfProperty(name));
            QSignalSpy told(model, property.notifySignal());
            QVERIFY(property.write(model, value) && property.write(model, value));
            QCOMPARE(told.count(), 1);
        }
        model->setContext(m_context); // back: the row read again, and its count
        QCOMPARE(QList({rows.count(), previous.count(), qsizetype(model->previousCount())}),
                 QList<qsizetype>({3, 1, 1}));
    }

    void connectionEvents_data()
    {
        QTest::addColumn<QStringList>("expected"); // named by what the user does
        const QString found = "0 Gamepad detected", up = "0 Gamepad connected";
        QTest::newRow("unplug selected") << QStringList{found, up, "1 Gamepad connection lost",
                                                        "1 Selected gamepad disconnected"};
        QTest::newRow("unplug") << QStringList{found, "0 Gamepad removed"};
        // Stops the user asked for are no lost connection.
        QTest::newRow("deselect") << QStringList{found, up};
        QTest::newRow("select another") << QStringList{found, up, found, up};
    }

    void connectionEvents()
    {
        const QString action = QTest::currentDataTag();
        Model *model = makeModel();
        QSignalSpy events(model, &Model::providerEventOccurred);
        plug(2), model->setSelected("gp:2", action != "unplug");
        if (action.startsWith("unplug")) {
            unplug(2);
        } else if (action == "deselect") {
            model->setSelected("gp:2", false);
        } else { // the only selection moves: the other device is stopped
            plug(4), model->setSelected("gp:4", true);
            QVERIFY(!model->isSelected("gp:2") && !deviceAt(2)->isConnected());
        }
        QStringList titles;
        for (const QList<QVariant> &arguments : events) {
            const auto event = arguments.at(0).value<ComProviderEvent>();
            titles << QString::number(event.level) + ' ' + event.title;
        }
        QTEST(titles, "expected");
    }

    // Two identical controllers remembered in their slots: each comes back to its own row, and
    // steps aside under its model's key for another controller in its slot.
    void identicalControllersKeepTheirSlots()
    {
        const QJsonObject twin{{"vendorIdHex", "45e"}, {"productIdHex", "28e"}, {"name", "Twin"}};
        QList<DeviceRegistryEntry> rows{{"gp:0", twin}, {"gp:1", twin}, {"", {{"name", "Ghost"}}}};
        rows[0].kv["nameOverride"] = "Left";
        rows[1].kv["nameOverride"] = "Right"; // the file's last entry, without a key, shows no card
        writeDeviceRegistry(m_context, rows);
        Model *model = makeModel();
        model->syncSelected(); // absent, unselected: nothing to start
        QCOMPARE(model->count(), 2);
        plug(2, "Twin"); // in a slot of its own, one takes the first row remembered: "Left"
        QCOMPARE(value(model, "gp:2", Model::NameRole), QVariant("Left"));
        plug(1, "Twin");
        QCOMPARE(value(model, "gp:1", Model::NameRole), QVariant("Right"));
        unplug(1), unplug(2), plug(1, "Pad B"), plug(2, "Pad C"); // each row steps aside, "#2" last
        QCOMPARE(value(model, "gp:45e-28e:Twin#2", Model::NameRole), QVariant("Left"));
    }

    // A full registry: a new controller pushes out the first seen longest ago ("Old 5", then "Old
    // 7", never), and making the selection unique again keeps the row seen last.
    void restoresAFullRegistry()
    {
        QList<DeviceRegistryEntry> full;
        for (int i = 0; i < kMaxRegistryEntries; ++i)
            full.append({QString("gp:old%1").arg(i), // absent "Test Pad" models
                         {{"vendorIdHex", "45e"},
                          {"productIdHex", "28e"},
                          {"name", QString("Old %1").arg(i)},
                          {"lastSeen", i == 5 || i == 7 ? QJsonValue() : 1000 + i}}});
        full[0].kv.insert("selected", true), writeDeviceRegistry(m_context, full);
        const double before = double(QDateTime::currentMSecsSinceEpoch());
        Model *model = makeModel();
        QCOMPARE(model->previousCount(), kMaxRegistryEntries); // as many as the file held
        plug(0);
        QCOMPARE(value(model, "gp:0", Model::ProfileCountRole), QVariant(3));
        QVERIFY(model->count() == kMaxRegistryEntries && model->indexOfUsn("gp:old5") == -1);
        const int row = model->indexOfUsn("gp:old0");
        plug(1, "Old 0");
        QCOMPARE(model->usnForRow(row), QStringLiteral("gp:1"));
        QVERIFY(model->isSelected("gp:1") && deviceAt(1)->isPolling());
        QVERIFY(storedKv("gp:0").value("lastSeen").toDouble() >= before);
        QCOMPARE(readDeviceRegistry(m_context).devices.size(), kMaxRegistryEntries);

        model->setUniqSelection(false), model->setSelected("gp:old4", true);
        model->setSelected("gp:old6", true);
        QSignalSpy heard(model, &Model::selectedInterfacesChanged); // what the host hears
        model->setUniqSelection(true);
        QCOMPARE(heard.value(heard.size() - 1).value(1).toJsonArray().size(), 1); // the last news
        QVERIFY(!model->setData(QModelIndex(), true, Model::SelectedRole)); // no row, no change
        QVERIFY(model->isSelected("gp:1") && !model->isSelected("gp:old4"));
        QCOMPARE(storedKv("gp:old6").value("selected"), QJsonValue(false));
        model->setUniqSelection(false); // several allowed: every stored selection is read back
        model->setSelected("gp:old4", true);
        QSignalSpy reset(model, &Model::modelReset); // views rebuild their rows
        model->setContext("elsewhere"); // that context knows only the controllers plugged in
        QCOMPARE(QList({model->count(), int(reset.count())}), QList({2, 1}));
        model->setContext(m_context);
        QVERIFY(model->isSelected("gp:1") && model->isSelected("gp:old4"));
        QVERIFY(model->deleteDevice("gp:old4")); // forgotten, here and on disk
        QVERIFY(model->indexOfUsn("gp:old4") < 0 && storedKv("gp:old4").isEmpty());
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
        QMetaObject::invokeMethod(m_manager, "discoverDevices");
    }
    void unplug(int index)
    {
        m_joysticks->backend.disconnectController(index);
        QMetaObject::invokeMethod(m_manager, "discoverDevices");
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
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
    QJsonObject storedKv(const QString &usn) const // as written, every selection kept
    {
        for (const DeviceRegistryEntry &entry : readDeviceRegistry(m_context, false).devices)
            if (entry.usn == usn)
                return entry.kv;
        return {};
    }

    QTemporaryDir m_home;
    std::unique_ptr<VirtualJoysticks> m_joysticks;
    GamepadManager *m_manager = nullptr;
    std::vector<std::unique_ptr<Model>> m_models;
    QList<QUuid> m_profiles;
    QString m_context;
};

QTEST_MAIN(TestLinkerDeviceModel)
#include "tst_linkerdevicemodel.moc"
