#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QObject>
#include <QStringList>
#include <QVariant>
#include <QVariantList>

// The host's device interface. The host binds to it by virtual slot order, so the order of the
// signals, enumerations and virtual operations below must never change.
class IComInterface : public QObject
{
    Q_OBJECT
public:
    enum DeviceType {
        gimbal = 0,
        videoprocessing = 1,
        gps = 2,
        controler = 3,
        gamepade = 4,
        motor = 5,
        userType = 6,
        mavlink = 7
    };
    Q_ENUM(DeviceType)

    enum ComStatus { noCom = 0, waitingForEngagment = 1, degraded = 2, connected = 3 };
    Q_ENUM(ComStatus)

    using QObject::QObject;
    ~IComInterface() override = default;

    virtual void start() = 0;
    virtual void stop() = 0;
    virtual void close() = 0;
    virtual void *reservedSlot4() { return nullptr; }
    virtual QJsonObject info() = 0;
    virtual void reservedSlot6() {}
    virtual void setParameter(int deviceId, int catId, QString name, QVariant value) = 0;
    virtual DeviceType deviceType() = 0;
    virtual QStringList noCodeApp() = 0;
    virtual QVariant value() = 0;
    virtual ComStatus status() = 0;
    virtual QJsonArray functions() = 0;

signals:
    // The device is done with: close() stopped it. The host lets go of it.
    void finished();
    // The link to the controller: `connected` when start() finds it plugged in and it was not
    // linked before, `noCom` when stop() ends a running link. A controller pulled out while it
    // runs says nothing here; the provider posts "Gamepad connection lost" and a new selection.
    void statusChanged(ComStatus status);
    // Part of the host's contract for other device families; a gamepad never emits them.
    void noCodeAppChanged(QStringList);
    void fonctionsChanged(QJsonArray);
    // One batch per poll (every 10 ms by default, host parameter "pollingInterval") in which an
    // input changed, while the device runs: `propertyName` holds the input keys, "joy_N" for axis
    // N (a double), then the gate keys ("gate_N" unless named otherwise; a bool), then "but_N" for
    // button N (a bool); `values` the values, index for index. A gamepad sends deviceId 0 and
    // catId 1, and the same batch once more through the overload below.
    void dataChanged(int deviceId, int catId, QStringList propertyName, QVariantList values);
    // The batch above, named: a gamepad sends "gamepad" as both deviceName and catName.
    void dataChanged(QString deviceName, QString catName, QStringList propertyName,
                     QVariantList values);
};
