#pragma once

#include "comproviderevent.h"
#include "icominterface.h"

#include <QIcon>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QtPlugin>

class QAbstractItemDelegate;
class QAbstractItemModel;
class QWidget;

#define IComInterfaceModelProvider_iid "com.zelto.kx.IComInterfaceModelProvider/1.1"

// The host's interface of a device-family plug-in. The host binds by virtual slot order.
class IComInterfaceModelProvider : public QObject
{
    Q_OBJECT
public:
    explicit IComInterfaceModelProvider(QObject *parent = nullptr) : QObject(parent)
    {
        registerComProviderEventType(); // before anyone connects to eventPosted
    }
    ~IComInterfaceModelProvider() override = default;

    virtual QString vendor() = 0;
    virtual QString name() = 0;
    virtual QAbstractItemModel *model(QString context, QObject *parent) = 0;
    virtual QAbstractItemDelegate *itemDelegate(QObject *parent) = 0;
    virtual void selectedInterfaces(QList<IComInterface *> &out, QJsonArray &infos) = 0;
    virtual QWidget *configurationWindow(QWidget *parent) = 0;
    virtual void *reservedA() { return nullptr; }
    virtual void *reservedB() { return nullptr; }
    virtual QJsonObject services() = 0;
    virtual void setServices(QJsonObject services) = 0;
    virtual QIcon icon() = 0;

signals:
    void selectedInterfacesChanged(QList<IComInterface *> selectedIfaces, QJsonArray info);
    void servicesChanged(QJsonObject services);
    void eventPosted(ComProviderEvent event);
};

Q_DECLARE_INTERFACE(IComInterfaceModelProvider, IComInterfaceModelProvider_iid)
