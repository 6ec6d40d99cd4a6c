#include "deviceentry.h"
#include "runtimetestsupport.h"

#include <QtTest>

class TestDeviceEntry : public QObject
{
    Q_OBJECT
    QTemporaryDir m_home;

private slots:
    void initTestCase() { useThrowAwayHome(m_home); }

    // A plugged controller's identity replaces the stored one and stays; a user's picture is kept.
    void liveValues()
    {
        for (const bool customImage : {false, true}) {
            VirtualJoysticks joysticks;
            joysticks.backend.connectController(3, padIdentity());
            DeviceEntry entry({{"name", "Old"}, {"deviceId", "7"}, {"imagePath", "/old.png"}});
            QCOMPARE(entry.secondLine(), QStringLiteral("ID:7"));
            if (customImage) // a value neither a path nor an icon is refused, changing nothing
                QVERIFY(entry.setImage(QStringLiteral("/mine.png")) && !entry.setImage(42));
            ControlManette device(3);
            entry.attach(&device), entry.detach();
            QCOMPARE(entry.deviceName(), QStringLiteral("Test Pad"));
            QCOMPARE(entry.secondLine(), QStringLiteral("VID:45e PID:28e"));
            QCOMPARE(entry.description()["deviceId"], QJsonValue("3"));
            QCOMPARE(entry.image(), QVariant(customImage ? "/mine.png" : device.imagePath()));
            QVERIFY(entry.inputs(joysticks.backend).isEmpty());
            // The inputs come from the backend given, not from the process-wide one.
            entry.attach(&device);
            VirtualJoystickBackend other;
            other.connectController(3, padIdentity(), 1, 0b101), other.update();
            QCOMPARE(entry.inputs(other),
                     QStringList({"Axe 0|axis://0", "Axe 2|axis://2", "Bouton 0|btn://0"}));
            other.connectController(3, padIdentity(), 0, 0b100); // no button at all
            other.update();
            QCOMPARE(entry.inputs(other), QStringList{"Axe 2|axis://2"});
            // An icon given drops the user's picture: the controller's shows when it comes back.
            entry.detach();
            QVERIFY(entry.setImage(QVariant::fromValue(QIcon())) && entry.image().toString() == "");
            entry.attach(&device);
            QCOMPARE(entry.image(), QVariant(device.imagePath()));
            QVERIFY(entry.setActiveProfile("a", "Alpha")); // the device works with it at once
            QCOMPARE(device.activeProfileId() + device.profileName(), "aAlpha");
        }
    }

    // Binding a profile is a change only when its id or the name the card shows differs.
    void boundProfile()
    {
        DeviceEntry entry({{"name", "Pad"}});
        QVERIFY(entry.setActiveProfile("a", "Alpha") && !entry.setActiveProfile("a", "Alpha"));
        QVERIFY(entry.setActiveProfile("a", "Renamed") && entry.activeProfileName() == "Renamed");
        QVERIFY(entry.setActiveProfile({}, {}) && entry.activeProfileId().isEmpty());
        GamepadProfileInfo first; // a profile of its carousel is named as the catalogue names it
        first.id = QUuid::createUuid(), first.name = "Now";
        first.deviceNames = {"Pad"};
        entry.refreshCarousel({{first, 0, 0}}), entry.setActiveProfile(first.id.toString(), "Then");
        QCOMPARE(entry.activeProfileName(), "Now");
    }
};

QTEST_MAIN(TestDeviceEntry)
#include "tst_deviceentry.moc"
