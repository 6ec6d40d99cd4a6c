#include "controlmanette.h"
#include "filetestsupport.h"
#include "profilestore.h"
#include "runtimetestsupport.h"
#include "scratchtree.h"

#include <QtTest>

class TestControlManette : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        useThrowAwayHome(m_home), qApp->setProperty("kx.currentLogin", "tester");
    }

    void init()
    {
        removeScratchTree(configurationRoot());
        m_pad.reset(); // the last test's, before its controllers
        m_joysticks.reset();
        m_joysticks = std::make_unique<VirtualJoysticks>();
    }

    // A stop clears every output and raw value to 0, an axis's offset included, announced once.
    void hostControlSlots()
    {
        ControlManette pad(1); // made before its controller is plugged: start() looks again
        m_joysticks->backend.connectController(1, padIdentity());
        QStringList log;
        connect(&pad, &IComInterface::statusChanged, this,
                [&](IComInterface::ComStatus s) { log << QStringLiteral("status:%1").arg(s); });
        connect(&pad, &ControlManette::connectedChanged, this, [&] { log << "connected"; });
        connect(&pad, &IComInterface::finished, this, [&] { log << "finished"; }), pad.start();
        pad.start(); // already connected: no second status change
        QCOMPARE(log, QStringList({"connected", "status:3"}));
        GamepadCalibration calibration = defaultCalibration(8, 32);
        calibration.axes[2].outputOffset = 20;
        pad.setCalibration(calibration), m_joysticks->backend.setAxis(1, 0, 90);
        m_joysticks->backend.setButton(1, 3, true), pad.poll();
        QSignalSpy axes(&pad, &ControlManette::axesChanged);
        pad.close();
        pad.stop(); // no longer connected: nothing more
        QCOMPARE(log, QStringList({"connected", "status:3", "connected", "status:0", "finished"}));
        QCOMPARE(axes.count(), 1);
        const QVariantList zeros(8, 0.0);
        QVERIFY(pad.axes() == zeros && pad.rawAxes() == zeros && !pad.buttons().contains(true));
    }

    void pollingInterval_data()
    {
        QTest::addColumn<int>("deviceId");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<int>("interval");
        QTest::newRow("text") << 0 << QVariant("25") << 25;
        QTest::newRow("a minute") << 0 << QVariant(60000) << 60000;
        QTest::newRow("another device's") << 2 << QVariant(25) << 10;
        for (const QVariant &bad :
             {QVariant("fast"), QVariant(0), QVariant(60001), QVariant(1e300), QVariant(qQNaN())})
            QTest::newRow(qPrintable("bad " + bad.toString())) << 0 << bad << 10;
    }

    void pollingInterval() // The host's interval survives a stop and a start.
    {
        QFETCH(int, deviceId);
        QFETCH(QVariant, value);
        ControlManette *pad = startedPad();
        pad->setParameter(deviceId, 0, "pollingInterval", value), pad->stop(), pad->start();
        QTEST(pad->pollInterval(), "interval");
    }

    void publishesChangesOnlyWhileConnected()
    {
        ControlManette *pad = startedPad(4); // another index: batches still say device 0
        QSignalSpy numbered(pad, SIGNAL(dataChanged(int, int, QStringList, QVariantList)));
        QSignalSpy named(pad, SIGNAL(dataChanged(QString, QString, QStringList, QVariantList)));
        m_joysticks->backend.setAxis(4, 3, 100), m_joysticks->backend.setAxis(4, 0, -100);
        m_joysticks->backend.setButton(4, 7, true);
        QSignalSpy axes(pad, &ControlManette::axisChanged);
        pad->poll(); // one batch, keys in order, to both signals; each axis on its own too
        QCOMPARE(QList<QVariantList>(axes), QList<QVariantList>({{0, -100.0}, {3, 100.0}}));
        const QStringList keys{"joy_0", "joy_3", "but_7"};
        const QVariantList values{-100.0, 100.0, true};
        QCOMPARE(QList<QVariantList>(numbered), QList<QVariantList>({{0, 1, keys, values}}));
        QCOMPARE(QList<QVariantList>(named),
                 QList<QVariantList>({{"gamepad", "gamepad", keys, values}}));

        m_joysticks->backend.disconnectController(4), pad->poll();
        QVERIFY(numbered.count() == 1 && pad->axes().value(0) == -100.0); // the last values kept
        m_joysticks->backend.connectController(4, padIdentity()); // replugged, the button held
        m_joysticks->backend.setButton(4, 7, true);
        pad->start(), pad->poll(); // a restart announces what is held again, and only that
        QCOMPARE(numbered.last().at(2).toStringList(), QStringList{"but_7"});
    }

    void calibrationFollowsIdentity()
    {
        ControlManette *pad = startedPad();
        GamepadCalibration marked = defaultCalibration(8, 32); // recognisable by its dead zone
        marked.axes[0].deadzoneRadius = 30;
        const GamepadDeviceIdentity renamed{"Renamed Pad", 0x45e, 0x28e};
        const QString base = baseCalibrationWritePath(renamed);
        QVERIFY(saveCalibrationFile(base, marked, renamed, {}, nullptr));
        m_joysticks->backend.setIdentification(0, padIdentity("Renamed Pad"));
        pad->poll(); // the new identity is seen and its calibration loaded within this poll
        QCOMPARE(pad->calibration().axes.at(0).deadzoneRadius, 30.0);
        m_joysticks->backend.setIdentification(0, {"Renamed Pad", 0x45e, 0x28f}), pad->poll();
        QCOMPARE(pad->calibration().axes.at(0).deadzoneRadius, 8.0); // another model: the defaults

        QCOMPARE(pad->info().value("vendorId").toString(), QStringLiteral("0x45e")); // not padded

        // Binding a profile in "override" mode (its id in any case) loads the profile's file.
        const QString id = QUuid::createUuid().toString(QUuid::WithoutBraces);
        const QJsonObject meta{
            {"type", "GamepadDefinderMeta"}, {"calibrationMode", "override"}, {"id", id}};
        QVERIFY(
            writeBytes(userProfilesRoot() + '/' + id + "/meta.json", QJsonDocument(meta).toJson()));
        const QString overridePath = profileOverridePath(findProfileById(id));
        marked.axes[0].deadzoneRadius = 42;
        QVERIFY(saveCalibrationFile(overridePath, marked, {}, id, nullptr));
        pad->setActiveProfileId(id.toUpper()), pad->poll();
        QCOMPARE(pad->calibration().axes.at(0).deadzoneRadius, 42.0);
        marked.axes[0].deadzoneRadius = 43; // the host's "reloadCalibration" reads it at once
        QVERIFY(saveCalibrationFile(overridePath, marked, {}, id, nullptr));
        pad->setParameter(0, 0, "reloadCalibration", {});
        QCOMPARE(pad->calibration().axes.at(0).deadzoneRadius, 43.0);
        marked.axes[0].deadzoneRadius = 44; // and a start, after a stop
        QVERIFY(saveCalibrationFile(overridePath, marked, {}, id, nullptr));
        pad->stop(), pad->start();
        QCOMPARE(pad->calibration().axes.at(0).deadzoneRadius, 44.0);
        pad->resetAllBias(), pad->poll(); // the defaults, from no file, until the next reload
        QCOMPARE(pad->info()["calibrationSource"].toString() + pad->calibrationPath(), "Defaults");
        // The host's mapping document: the bound profile's, else one made for this controller.
        QCOMPARE(pad->noCodeApp(), QStringList()); // none written yet
        const QString bound = userProfilesRoot() + '/' + id + "/configActionGamepad.json";
        QVERIFY(writeBytes(bound, "{}") && pad->noCodeApp() == QStringList{bound});
        pad->setActiveProfileId({});
        const QString made = userProfilesRoot() + "/made/", madeId = QUuid::createUuid().toString();
        QVERIFY(writeBytes(made + "meta.json", R"({"type": "GamepadDefinderMeta", "id": ")" +
                                                   madeId.toUtf8() +
                                                   R"(", "deviceNames": ["renamed pad"]})"));
        QCOMPARE(pad->noCodeApp(), QStringList()); // made for it, but with no mapping document
        QVERIFY(writeBytes(made + "configActionGamepad.json", "{}"));
        QCOMPARE(pad->noCodeApp(), QStringList{made + "configActionGamepad.json"});

        m_joysticks->backend.setAxis(0, 0, 90), pad->poll();
        pad->setParameter(0, 0, "resetBias", {});
        QCOMPARE(pad->axes().value(0).toDouble(), 0.0);
        pad->poll(); // same identity and profile: the defaults stay
        QCOMPARE(pad->calibration(), defaultCalibration(8, 32));
    }

private:
    ControlManette *startedPad(int index = 0)
    {
        m_joysticks->backend.connectController(index, padIdentity());
        m_pad = std::make_unique<ControlManette>(index), m_pad->start();
        return m_pad.get();
    }

    QTemporaryDir m_home;
    std::unique_ptr<VirtualJoysticks> m_joysticks;
    std::unique_ptr<ControlManette> m_pad;
};

QTEST_GUILESS_MAIN(TestControlManette)
#include "tst_controlmanette.moc"
