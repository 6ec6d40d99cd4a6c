#include "calibrationsources.h"
#include "controlmanette.h"
#include "profilemeta.h"
#include "runtimetestsupport.h"

#include <QSignalSpy>
#include <QtTest>

#include <memory>

namespace {

using Batch = QPair<QStringList, QVariantList>;

QString makeProfile(const QString &mode, quint32 vendor = 0, quint32 product = 0)
{
    GamepadProfileMeta meta;
    meta.id = QUuid::createUuid();
    meta.folder = QDir(userProfilesRoot()).filePath(meta.id.toString(QUuid::WithoutBraces));
    meta.calibrationMode = mode;
    meta.vendorId = vendor;
    meta.productId = product;
    QDir().mkpath(meta.folder);
    QString error;
    if (!writeProfileMeta(&meta, &error))
        qWarning() << error;
    return meta.id.toString(QUuid::WithoutBraces);
}

GamepadCalibration calibrationWithDeadzone(double deadzone)
{
    GamepadCalibration calibration = defaultCalibration(8, 32);
    calibration.axes[0].deadzoneRadius = deadzone;
    return calibration;
}

} // namespace

class tst_ControlManette : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void readsIdentityAtConstruction();
    void placeholderIsNeverBound();
    void startStopCloseSignalSequence();
    void setParameterActsOnlyForThisDevice();
    void infoDescribesTheDevice();
    void batchGoesToBothSignalsInOrder();
    void restingControllerPublishesNothing();
    void disconnectStopsPublishing();
    void identityChangeReloadsWithinOnePoll();
    void activeProfileOverrideIsApplied();
    void resetAllBiasReturnsToDefaults();
    void repeatFollowsTheDeviceClock();
    void mappingDocumentAndImageLookup();

private:
    ControlManette *startedPad(int index = 0);

    QTemporaryDir m_home;
    std::unique_ptr<VirtualJoysticks> m_joysticks;
    std::unique_ptr<ControlManette> m_pad;
    qint64 m_now = 0;
};

void tst_ControlManette::initTestCase()
{
    useThrowAwayHome(m_home);
    qApp->setProperty("kx.currentLogin", "tester");
}

void tst_ControlManette::init()
{
    QDir(configurationRoot()).removeRecursively();
    m_joysticks = std::make_unique<VirtualJoysticks>();
    m_now = 0;
}

void tst_ControlManette::cleanup()
{
    m_pad.reset();
    m_joysticks.reset();
}

ControlManette *tst_ControlManette::startedPad(int index)
{
    m_joysticks->backend.connectController(index, padIdentity());
    m_pad = std::make_unique<ControlManette>(index);
    m_pad->setClockSource([this] { return m_now; });
    m_pad->start();
    return m_pad.get();
}

void tst_ControlManette::readsIdentityAtConstruction()
{
    m_joysticks->backend.connectController(3, padIdentity("Wireless Pad", 0x45e, 0x2ea));
    ControlManette pad(3);
    QCOMPARE(pad.deviceId(), 3);
    QCOMPARE(pad.name(), QStringLiteral("Wireless Pad"));
    QCOMPARE(pad.vendorId(), 0x45eu);
    QCOMPARE(pad.productId(), 0x2eau);
    QVERIFY(!pad.isConnected()); // only start() and the poll track the connection
    QCOMPARE(pad.deviceType(), IComInterface::gamepade);
    QCOMPARE(pad.status(), IComInterface::noCom);
    QCOMPARE(pad.calibration(), defaultCalibration(8, 32));
}

void tst_ControlManette::placeholderIsNeverBound()
{
    m_joysticks->backend.connectController(0, padIdentity());
    const int updatesBefore = m_joysticks->backend.updateCount();
    ControlManette placeholder(-1);
    QCOMPARE(placeholder.deviceId(), -1);
    QVERIFY(placeholder.name().isEmpty());
    QCOMPARE(m_joysticks->backend.updateCount(), updatesBefore);
}

void tst_ControlManette::startStopCloseSignalSequence()
{
    m_joysticks->backend.connectController(1, padIdentity());
    ControlManette pad(1);
    QStringList log;
    connect(&pad, &IComInterface::statusChanged, this,
            [&](IComInterface::ComStatus s) { log << QStringLiteral("status:%1").arg(s); });
    connect(&pad, &ControlManette::connectedChanged, this, [&] { log << "connected"; });
    connect(&pad, &IComInterface::finished, this, [&] { log << "finished"; });

    pad.start();
    QCOMPARE(log, QStringList({"connected", "status:3"}));
    QCOMPARE(pad.status(), IComInterface::connected);
    QVERIFY(pad.isPolling());
    QCOMPARE(pad.pollInterval(), 10);
    pad.start(); // already connected: no second status change
    QCOMPARE(log.size(), 2);

    log.clear();
    pad.close();
    QCOMPARE(log, QStringList({"connected", "status:0", "finished"}));
    QVERIFY(!pad.isPolling());
    log.clear();
    pad.stop(); // not connected: nothing
    QVERIFY(log.isEmpty());
}

void tst_ControlManette::setParameterActsOnlyForThisDevice()
{
    ControlManette *pad = startedPad(2);
    pad->setParameter(1, 0, "pollingInterval", 25);
    QCOMPARE(pad->pollInterval(), 10);
    pad->setParameter(2, 0, "pollingInterval", "fast");
    QCOMPARE(pad->pollInterval(), 10);
    pad->setParameter(2, 0, "pollingInterval", "25");
    QCOMPARE(pad->pollInterval(), 25);
    pad->setParameter(2, 0, "PollingInterval", 40); // names are exact
    QCOMPARE(pad->pollInterval(), 25);
}

void tst_ControlManette::infoDescribesTheDevice()
{
    m_joysticks->backend.connectController(0, padIdentity("Pad", 0x45e, 0x2ea));
    m_joysticks->backend.setAxis(0, 1, -54);
    m_joysticks->backend.setButton(0, 4, true);
    m_pad = std::make_unique<ControlManette>(0);
    m_pad->start();
    m_pad->poll();
    const QJsonObject info = m_pad->info();
    QCOMPARE(info.value("deviceId").toInt(), 0);
    QCOMPARE(info.value("name").toString(), QStringLiteral("Pad"));
    QCOMPARE(info.value("vendorId").toString(), QStringLiteral("0x45e"));
    QCOMPARE(info.value("productId").toString(), QStringLiteral("0x2ea"));
    QCOMPARE(info.value("connected").toBool(), true);
    QCOMPARE(info.value("calibrationSource").toString(), QStringLiteral("Defaults"));
    QCOMPARE(info.value("calibrationPath").toString(), QString());
    QCOMPARE(info.value("rawAxes").toArray().size(), 8);
    QCOMPARE(info.value("rawAxes").toArray().at(1).toDouble(), -54.0);
    QCOMPARE(info.value("axes").toArray().at(1).toDouble(), -50.0);
    QCOMPARE(info.value("buttons").toArray().size(), 32);
    QCOMPARE(info.value("buttons").toArray().at(4).toBool(), true);
    QVERIFY(info.value("gates").isObject());
    QCOMPARE(info.keys().size(), 12);
}

void tst_ControlManette::batchGoesToBothSignalsInOrder()
{
    ControlManette *pad = startedPad(4); // another index: batches still say device 0
    QList<QVariantList> numbered;
    QList<QVariantList> named;
    connect(pad, qOverload<int, int, QStringList, QVariantList>(&IComInterface::dataChanged), this,
            [&](int d, int c, const QStringList &k, const QVariantList &v) {
                numbered << QVariantList{d, c, k, v};
            });
    connect(
        pad, qOverload<QString, QString, QStringList, QVariantList>(&IComInterface::dataChanged),
        this, [&](const QString &d, const QString &c, const QStringList &k, const QVariantList &v) {
            named << QVariantList{d, c, k, v};
        });
    QSignalSpy axis(pad, &ControlManette::axisChanged);
    QSignalSpy button(pad, &ControlManette::buttonChanged);
    QSignalSpy axes(pad, &ControlManette::axesChanged);
    QSignalSpy raw(pad, &ControlManette::rawAxesChanged);
    QSignalSpy buttons(pad, &ControlManette::buttonsChanged);

    m_joysticks->backend.setAxis(4, 3, 100);
    m_joysticks->backend.setAxis(4, 0, -100);
    m_joysticks->backend.setButton(4, 7, true);
    pad->poll();

    const QStringList keys{"joy_0", "joy_3", "but_7"};
    const QVariantList values{-100.0, 100.0, true};
    QCOMPARE(numbered, QList<QVariantList>({{0, 1, keys, values}}));
    QCOMPARE(named, QList<QVariantList>({{"gamepad", "gamepad", keys, values}}));
    QCOMPARE(axis.count(), 2);
    QCOMPARE(axis.at(0), QVariantList({0, -100.0}));
    QCOMPARE(button.at(0), QVariantList({7, true}));
    QCOMPARE(axes.count(), 1);
    QCOMPARE(raw.count(), 1);
    QCOMPARE(buttons.count(), 1);
    QCOMPARE(pad->axes().value(3).toDouble(), 100.0);
    QCOMPARE(pad->buttons().value(7).toBool(), true);
}

void tst_ControlManette::restingControllerPublishesNothing()
{
    ControlManette *pad = startedPad();
    m_joysticks->backend.setAxis(0, 0, 5); // inside the dead zone
    QSignalSpy batches(pad,
                       qOverload<int, int, QStringList, QVariantList>(&IComInterface::dataChanged));
    QSignalSpy raw(pad, &ControlManette::rawAxesChanged);
    for (int i = 0; i < 20; ++i)
        pad->poll();
    QCOMPARE(batches.count(), 0);
    QCOMPARE(raw.count(), 1); // the raw value moved once, from 0 to 5
}

void tst_ControlManette::disconnectStopsPublishing()
{
    ControlManette *pad = startedPad();
    m_joysticks->backend.setAxis(0, 0, 80);
    pad->poll();
    QSignalSpy connectedSpy(pad, &ControlManette::connectedChanged);
    QSignalSpy batches(pad,
                       qOverload<int, int, QStringList, QVariantList>(&IComInterface::dataChanged));
    m_joysticks->backend.disconnectController(0);
    pad->poll();
    pad->poll();
    QCOMPARE(connectedSpy.count(), 1);
    QVERIFY(!pad->isConnected());
    QCOMPARE(batches.count(), 0);
    QVERIFY(pad->isPolling()); // keeps polling until the manager removes it
    QCOMPARE(pad->axes().value(0).toDouble(), (80.0 - 8.0) / 92.0 * 100.0); // values are kept
}

void tst_ControlManette::identityChangeReloadsWithinOnePoll()
{
    ControlManette *pad = startedPad();
    QCOMPARE(pad->calibrationSource(), CalibrationSource::Defaults);
    const GamepadDeviceIdentity renamed{"Renamed Pad", 0x45e, 0x28e};
    const QString base = baseCalibrationWritePath(renamed);
    QVERIFY(saveCalibrationFile(base, calibrationWithDeadzone(30), renamed, {}, nullptr));

    QSignalSpy nameSpy(pad, &ControlManette::nameChanged);
    m_joysticks->backend.setIdentification(0, padIdentity("Renamed Pad"));
    pad->poll();
    QCOMPARE(nameSpy.count(), 1);
    QCOMPARE(pad->calibrationSource(), CalibrationSource::BaseDevice);
    QCOMPARE(pad->calibrationPath(), base);
    QCOMPARE(pad->calibration().axes.at(0).deadzoneRadius, 30.0);
    QCOMPARE(pad->calibrationSignature(), QStringLiteral("renamed pad|1118|654|"));
}

void tst_ControlManette::activeProfileOverrideIsApplied()
{
    ControlManette *pad = startedPad();
    const QString id = makeProfile("override");
    const GamepadProfileInfo profile = findProfileById(id);
    QVERIFY(!profile.isNull());
    const QString overridePath = profileOverridePath(profile);
    QVERIFY(saveCalibrationFile(overridePath, calibrationWithDeadzone(42), {}, id, nullptr));

    pad->setActiveProfileId(id.toUpper());
    pad->poll();
    QCOMPARE(pad->calibrationSource(), CalibrationSource::ProfileOverride);
    QCOMPARE(pad->calibrationPath(), overridePath);
    QCOMPARE(pad->calibration().axes.at(0).deadzoneRadius, 42.0);
    QCOMPARE(pad->info().value("calibrationSource").toString(), QStringLiteral("Profile override"));
}

void tst_ControlManette::resetAllBiasReturnsToDefaults()
{
    ControlManette *pad = startedPad();
    const GamepadDeviceIdentity identity{"Test Pad", 0x45e, 0x28e};
    QVERIFY(saveCalibrationFile(baseCalibrationWritePath(identity), calibrationWithDeadzone(20),
                                identity, {}, nullptr));
    pad->setParameter(0, 0, "reloadCalibration", {});
    QCOMPARE(pad->calibrationSource(), CalibrationSource::BaseDevice);
    m_joysticks->backend.setAxis(0, 0, 90);
    pad->poll();

    pad->setParameter(0, 0, "resetBias", {});
    QCOMPARE(pad->calibrationSource(), CalibrationSource::Defaults);
    QCOMPARE(pad->info().value("calibrationPath").toString(), QString());
    QCOMPARE(pad->calibration(), defaultCalibration(8, 32));
    QCOMPARE(pad->axes().value(0).toDouble(), 0.0);
    pad->poll(); // same signature: the defaults stay until the identity changes
    QCOMPARE(pad->calibrationSource(), CalibrationSource::Defaults);
}

void tst_ControlManette::repeatFollowsTheDeviceClock()
{
    const GamepadDeviceIdentity identity{"Test Pad", 0x45e, 0x28e};
    GamepadCalibration calibration = defaultCalibration(8, 32);
    calibration.buttons[0].repeatOnPress = true;
    QVERIFY(saveCalibrationFile(baseCalibrationWritePath(identity), calibration, identity, {},
                                nullptr));
    ControlManette *pad = startedPad();
    QSignalSpy button(pad, &ControlManette::buttonChanged);
    QList<qint64> times;
    connect(pad, &ControlManette::buttonChanged, this, [&] { times << m_now; });
    m_joysticks->backend.setButton(0, 0, true);
    for (m_now = 0; m_now <= 600; m_now += 10)
        pad->poll();
    QCOMPARE(times, QList<qint64>({0, 350, 470, 590}));
}

void tst_ControlManette::mappingDocumentAndImageLookup()
{
    ControlManette *pad = startedPad();
    QCOMPARE(pad->noCodeApp(), QStringList());
    QCOMPARE(pad->imagePath(), QStringLiteral(":/new/prefix1/ressources/menette_id_654.png"));

    // A profile made for this model supplies both.
    const QString id = makeProfile("inherit", 0x45e, 0x28e);
    const QString folder = findProfileById(id).folder;
    QFile(folder + "/configActionGamepad.json").open(QIODevice::WriteOnly);
    QFile(folder + "/image.png").open(QIODevice::WriteOnly);
    QCOMPARE(pad->noCodeApp(), QStringList{folder + "/configActionGamepad.json"});
    QCOMPARE(pad->imagePath(), folder + "/image.png");

    // A bound profile without a mapping document gives none, even when another profile has one.
    const QString bound = makeProfile("inherit");
    pad->setActiveProfileId(bound);
    QCOMPARE(pad->noCodeApp(), QStringList());
}

QTEST_GUILESS_MAIN(tst_ControlManette)
#include "tst_controlmanette.moc"
