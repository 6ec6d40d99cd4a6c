#include "controlmanette.h"
#include "profilemeta.h"
#include "runtimetestsupport.h"

#include <QSignalSpy>
#include <QtTest>

#include <memory>

namespace {

// Writes a user profile and returns its id.
QString makeProfile(const QString &mode, quint32 vendor = 0, quint32 product = 0)
{
    GamepadProfileMeta meta;
    meta.id = QUuid::createUuid();
    meta.folder = QDir(userProfilesRoot()).filePath(meta.id.toString(QUuid::WithoutBraces));
    meta.calibrationMode = mode;
    meta.vendorId = vendor;
    meta.productId = product;
    QDir().mkpath(meta.folder);
    writeProfileMeta(&meta, nullptr); // on failure the profile is not found and the test fails
    return meta.id.toString(QUuid::WithoutBraces);
}

} // namespace

class tst_ControlManette : public QObject
{
    Q_OBJECT
private slots:
    void cleanup()
    {
        m_pad.reset();
        m_joysticks.reset();
    }

    void initTestCase()
    {
        useThrowAwayHome(m_home);
        qApp->setProperty("kx.currentLogin", "tester");
    }

    void init()
    {
        QDir(configurationRoot()).removeRecursively();
        m_joysticks = std::make_unique<VirtualJoysticks>();
        m_now = 0;
    }

    void hostControlSlots()
    {
        m_joysticks->backend.connectController(1, padIdentity());
        ControlManette pad(1);
        QStringList log;
        connect(&pad, &IComInterface::statusChanged, this,
                [&](IComInterface::ComStatus s) { log << QStringLiteral("status:%1").arg(s); });
        connect(&pad, &ControlManette::connectedChanged, this, [&] { log << "connected"; });
        connect(&pad, &IComInterface::finished, this, [&] { log << "finished"; });

        pad.start();
        pad.start(); // already connected: no second status change
        QCOMPARE(log, QStringList({"connected", "status:3"}));
        QVERIFY(pad.isPolling());

        QCOMPARE(pad.pollInterval(), 10);
        pad.setParameter(2, 0, "pollingInterval", 25); // another device's
        pad.setParameter(1, 0, "pollingInterval", "fast");
        QCOMPARE(pad.pollInterval(), 10);
        pad.setParameter(1, 0, "pollingInterval", "25");
        QCOMPARE(pad.pollInterval(), 25);

        pad.close();
        pad.stop(); // no longer connected: nothing more
        QCOMPARE(log, QStringList({"connected", "status:3", "connected", "status:0", "finished"}));
        QVERIFY(!pad.isPolling());
    }

    void infoDescribesTheDevice()
    {
        startedPad()->poll();
        const QJsonObject info = m_pad->info();
        QCOMPARE(info.value("vendorId").toString(), QStringLiteral("0x45e")); // not padded
        QCOMPARE(info.value("calibrationSource").toString(), QStringLiteral("Defaults"));
        QCOMPARE(info.value("rawAxes").toArray().size(), 8);
        QCOMPARE(info.value("buttons").toArray().size(), 32);
        QCOMPARE(info.keys().size(), 12);
    }

    void publishesChangesOnlyWhileConnected()
    {
        ControlManette *pad = startedPad(4); // another index: batches still say device 0
        QSignalSpy numbered(
            pad, qOverload<int, int, QStringList, QVariantList>(&IComInterface::dataChanged));
        QSignalSpy named(pad, qOverload<QString, QString, QStringList, QVariantList>(
                                  &IComInterface::dataChanged));
        QSignalSpy raw(pad, &ControlManette::rawAxesChanged);
        m_joysticks->backend.setAxis(4, 0, 5); // inside the dead zone: nothing to publish
        for (int i = 0; i < 20; ++i)
            pad->poll();
        QCOMPARE(numbered.count(), 0);
        QCOMPARE(raw.count(), 1); // the raw value moved once, from 0 to 5

        m_joysticks->backend.setAxis(4, 3, 100);
        m_joysticks->backend.setAxis(4, 0, -100);
        m_joysticks->backend.setButton(4, 7, true);
        pad->poll(); // one batch, keys in order, to both signals
        const QStringList keys{"joy_0", "joy_3", "but_7"};
        const QVariantList values{-100.0, 100.0, true};
        QCOMPARE(QList<QVariantList>(numbered), QList<QVariantList>({{0, 1, keys, values}}));
        QCOMPARE(QList<QVariantList>(named),
                 QList<QVariantList>({{"gamepad", "gamepad", keys, values}}));

        const QVariantList axes = pad->axes();
        QSignalSpy connectedSpy(pad, &ControlManette::connectedChanged);
        m_joysticks->backend.disconnectController(4);
        pad->poll();
        pad->poll();
        QCOMPARE(connectedSpy.count(), 1);
        QVERIFY(!pad->isConnected());
        QCOMPARE(numbered.count(), 1);
        QVERIFY(pad->isPolling());   // keeps polling until the manager removes it
        QCOMPARE(pad->axes(), axes); // the last values are kept
    }

    void calibrationFollowsIdentityAndProfile()
    {
        ControlManette *pad = startedPad();
        GamepadCalibration marked = defaultCalibration(8, 32); // recognisable by its dead zone
        marked.axes[0].deadzoneRadius = 30;
        const GamepadDeviceIdentity renamed{"Renamed Pad", 0x45e, 0x28e};
        const QString base = baseCalibrationWritePath(renamed);
        QVERIFY(saveCalibrationFile(base, marked, renamed, {}, nullptr));
        m_joysticks->backend.setIdentification(0, padIdentity("Renamed Pad"));
        pad->poll(); // the new identity is seen and its calibration loaded within this poll
        QCOMPARE(pad->name(), QStringLiteral("Renamed Pad"));
        QCOMPARE(pad->calibrationSource(), CalibrationSource::BaseDevice);
        QCOMPARE(pad->calibrationPath(), base);
        QCOMPARE(pad->calibration().axes.at(0).deadzoneRadius, 30.0);

        const QString id = makeProfile("override");
        const QString overridePath = profileOverridePath(findProfileById(id));
        marked.axes[0].deadzoneRadius = 42;
        QVERIFY(saveCalibrationFile(overridePath, marked, {}, id, nullptr));
        pad->setActiveProfileId(id.toUpper());
        pad->poll();
        QCOMPARE(pad->calibrationSource(), CalibrationSource::ProfileOverride);
        QCOMPARE(pad->calibrationPath(), overridePath);
        QCOMPARE(pad->calibration().axes.at(0).deadzoneRadius, 42.0);
        QCOMPARE(pad->info().value("calibrationSource").toString(),
                 QStringLiteral("Profile override"));

        m_joysticks->backend.setAxis(0, 0, 90);
        pad->poll();
        pad->setParameter(0, 0, "resetBias", {});
        QCOMPARE(pad->calibrationSource(), CalibrationSource::Defaults);
        QCOMPARE(pad->calibration(), defaultCalibration(8, 32));
        QCOMPARE(pad->axes().value(0).toDouble(), 0.0);
        pad->poll(); // same identity and profile: the defaults stay
        QCOMPARE(pad->calibrationSource(), CalibrationSource::Defaults);
    }

    void repeatFollowsTheDeviceClock()
    {
        ControlManette *pad = startedPad();
        GamepadCalibration calibration = defaultCalibration(8, 32);
        calibration.buttons[0].repeatOnPress = true;
        pad->setCalibration(calibration);
        QList<qint64> times;
        connect(pad, &ControlManette::buttonChanged, this, [&] { times << m_now; });
        m_joysticks->backend.setButton(0, 0, true);
        for (m_now = 0; m_now <= 600; m_now += 10)
            pad->poll();
        QCOMPARE(times, QList<qint64>({0, 350, 470, 590}));
    }

    void mappingDocumentAndImageLookup()
    {
        ControlManette *pad = startedPad();
        QCOMPARE(pad->noCodeApp(), QStringList());
        QCOMPARE(pad->imagePath(), QStringLiteral(":/new/prefix1/ressources/menette_id_654.png"));

        // A profile made for this model supplies both.
        const QString folder = findProfileById(makeProfile("inherit", 0x45e, 0x28e)).folder;
        QFile(folder + "/configActionGamepad.json").open(QIODevice::WriteOnly);
        QFile(folder + "/image.png").open(QIODevice::WriteOnly);
        QCOMPARE(pad->noCodeApp(), QStringList{folder + "/configActionGamepad.json"});
        QCOMPARE(pad->imagePath(), folder + "/image.png");

        // A bound profile without a mapping document gives none, even when another profile has one.
        pad->setActiveProfileId(makeProfile("inherit"));
        QCOMPARE(pad->noCodeApp(), QStringList());
    }

private:
    ControlManette *startedPad(int index = 0)
    {
        m_joysticks->backend.connectController(index, padIdentity());
        m_pad = std::make_unique<ControlManette>(index);
        m_pad->setClockSource([this] { return m_now; });
        m_pad->start();
        return m_pad.get();
    }

    QTemporaryDir m_home;
    std::unique_ptr<VirtualJoysticks> m_joysticks;
    std::unique_ptr<ControlManette> m_pad;
    qint64 m_now = 0;
};

QTEST_GUILESS_MAIN(tst_ControlManette)
#include "tst_controlmanette.moc"
