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
//
// Beyond this interface, a host may reach by name (QMetaObject::invokeMethod, the string-based
// connect, roleNames()):
// - on the provider: `addSimulatedController(int frozenAtMs = -1)`, which adds a simulated
//   controller ("Virtual Demo Pad", joystick slot 7, row "gp:7") that moves on its own, or holds
//   the pose it has at `frozenAtMs` milliseconds when that is not negative: demonstrations and
//   screenshots without hardware;
// - on the item delegate, the signals of a card: `requestConfig(QString usn)` when the user
//   chooses "Configurer" (the host opens configurationWindow()); `toggledSelect(QString usn, bool
//   selected)`, `requestDelete(QString usn)` and `cycleProfile(QString usn, int delta)`, which
//   the provider already connects to the model;
// - on the model, the roles by name: "usn" (row identifier, "gp:N" for joystick slot N),
//   "name" (the user's name, else the bound profile's, else the controller's; writable),
//   "ip" ("VID:x PID:y", or "ID:N" when the ids are unknown), "selected" (bool; writable),
//   "isConnected" (bool), "videoInterfaces" (list of "label|axis://N" and "label|btn://N"),
//   "json" (the description object, as in selectedInterfaces()), "product" (writable), "image"
//   (an icon or a picture path; writable), "modelString" ("vendor-product" in hexadecimal),
//   "linkState" (2 linked, 0 not), "activeProfileId", "activeProfileName",
//   "activeProfilePosition" (1-based place in the carousel, 0 when none), "profileCount",
//   "hasProfileCarousel"; and the invokables `indexOfUsn`, `usnForRow`, `isSelected`,
//   `setSelected`, `deleteDevice`, `cycleProfile`, `setActiveProfile` and `interfaceForRow`.
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
    // The selection changed: a card was selected or deselected (also when nothing changed, as a
    // reminder), a selected controller was plugged in or pulled out, a device row was made
    // unique. The arguments are what selectedInterfaces() gives: the devices and their
    // descriptions, paired by index. A selected controller that is away is a stand-in device
    // that reports `noCom` until it returns; the next emission then gives the live device, and
    // the stand-in is deleted later (a host keeps it no longer than until then).
    void selectedInterfacesChanged(QList<IComInterface *> selectedIfaces, QJsonArray info);
    // Emitted by the host when its services changed: the open configuration window is given the
    // object last passed to setServices() again (not this argument).
    void servicesChanged(QJsonObject services);
    // A notice for the host's event centre (source "Gamepad"), posted when a controller is
    // detected (level 0, "Gamepad detected"), pulled out ("Selected gamepad disconnected", level
    // 1, when it was selected; else "Gamepad removed", level 0), linked ("Gamepad connected",
    // level 0) or loses its link ("Gamepad connection lost", level 1).
    void eventPosted(ComProviderEvent event);
};

Q_DECLARE_INTERFACE(IComInterfaceModelProvider, IComInterfaceModelProvider_iid)
