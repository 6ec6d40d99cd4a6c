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
    void finished();
    void statusChanged(ComStatus status);
    void noCodeAppChanged(QStringList);
    void fonctionsChanged(QJsonArray);
    void dataChanged(int deviceId, int catId, QStringList propertyName, QVariantList values);
    void dataChanged(QString deviceName, QString catName, QStringList propertyName,
                     QVariantList values);
};
