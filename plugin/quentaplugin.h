#pragma once

#include "icominterfacemodelprovider.h"

#include <QJsonObject>
#include <QPointer>

class DeviceItemDelegate;
class LinkerDeviceModel;
class ManetteConfigurationWidget;
class QMainWindow;

// The one object the host obtains from the library. It builds the device list model, the card
// delegate and the configuration window on request, wires them together and hands the host's
// services object on to the editors.
class QuentaPlugin : public IComInterfaceModelProvider
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID IComInterfaceModelProvider_iid)
    Q_INTERFACES(IComInterfaceModelProvider)

public:
    static constexpr int kWindowWidth = 1360;
    static constexpr int kWindowHeight = 860;

    explicit QuentaPlugin(QObject *parent = nullptr);
    ~QuentaPlugin() override;

    QString vendor() override;
    QString name() override;
    QAbstractItemModel *model(QString context, QObject *parent) override;
    QAbstractItemDelegate *itemDelegate(QObject *parent) override;
    void selectedInterfaces(QList<IComInterface *> &out, QJsonArray &infos) override;
    QWidget *configurationWindow(QWidget *parent) override;
    void *reservedA() override;
    void *reservedB() override;
    QJsonObject services() override;
    void setServices(QJsonObject services) override;
    QIcon icon() override;

    // Adds a simulated controller in the last joystick slot, for demonstrations and screenshots
    // without hardware. It moves on its own, or holds the pose it has at `frozenAtMs` when that is
    // not negative. Hosts reach it by name: it is not part of the provider interface.
    Q_INVOKABLE void addSimulatedController(int frozenAtMs = -1);

private:
    void wire();

    // Owned through their Qt parents: the host's, or this object when the host gives none.
    QPointer<LinkerDeviceModel> m_model;
    QPointer<DeviceItemDelegate> m_delegate;
    // The user may close the window at any time; the next request builds a new one.
    QPointer<QMainWindow> m_window;
    QPointer<ManetteConfigurationWidget> m_configWidget;
    QJsonObject m_services;
};

// The library's entry point: the one plug-in object, created under a lock on first use and again
// after the previous one was destroyed.
QObject *quentaPluginInstance();

// The entry point Qt generates for the class above calls the locked one instead of creating the
// object itself, so that two threads asking at once still get one object.
#undef Q_PLUGIN_INSTANCE
#define Q_PLUGIN_INSTANCE(IMPLEMENTATION)                                                          \
    {                                                                                              \
        return quentaPluginInstance();                                                             \
    }
