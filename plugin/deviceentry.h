#pragma once

#include "controlmanette.h"
#include "profilecarousel.h"

#include <QIcon>
#include <QJsonObject>
#include <QPointer>
#include <QStringList>
#include <QVariant>

class JoystickBackend;

// One row of the device list: the values remembered in the registry ("kv"), the live controller
// object while it is plugged in, its link state and its profile carousel. Live values complete
// or override the stored ones; the stored ones stand in while the controller is away.
class DeviceEntry
{
public:
    static constexpr int kLinked = 2;
    static constexpr int kUnlinked = 0;

    DeviceEntry() = default;
    explicit DeviceEntry(const QJsonObject &kv) : m_kv(kv) {}

    // ---- Stored values ----
    const QJsonObject &kv() const { return m_kv; }
    bool isSelected() const;
    void setSelected(bool selected);
    // The name the user gave the device; false when it is already that name.
    bool setNameOverride(const QString &name);
    void setProduct(const QString &product);
    // A text is a picture file kept in the registry; an icon lives only as long as the entry.
    // False for any other value.
    bool setImage(const QVariant &value);
    // When the controller was last seen connected; never (or unreadable) sorts before any time.
    double lastSeen() const;
    void markSeen(qint64 msecsSinceEpoch);
    // "gp:<vendor>-<product>:<name>", which never collides with a slot key "gp:<index>".
    QString identityKey() const;

    // ---- Bound profile ----
    QString activeProfileId() const;
    // Binds the profile (an empty id unbinds) and passes it on to the device; false when the
    // entry already held this id and name.
    bool setActiveProfile(const QString &id, const QString &name);
    // The carousel knows the current name after a rename; otherwise the name stored when bound.
    QString activeProfileName() const;
    const ProfileCarousel &carousel() const { return m_carousel; }
    // Picks the device's candidates again from `catalog` and passes the profile on.
    void refreshCarousel(const QList<CatalogProfile> &catalog);

    // ---- Live device ----
    ControlManette *device() const { return m_device.data(); }
    // A device was attached, even if its object has been deleted since.
    bool isAttached() const { return m_attached; }
    // What the host is given for the row: the live controller, else the stand-in (may be null).
    IComInterface *hostDevice() const;
    ControlManette *standIn() const { return m_standIn.data(); }
    // The stand-in speaks for a selected controller that is away; the entry's owner creates and
    // owns it, the entry lets it go (deleteLater) when it is no longer needed.
    void setStandIn(ControlManette *standIn) { m_standIn = standIn; }
    void releaseStandIn();
    void attach(ControlManette *device);
    void detach();
    // Whether this entry is away and remembers a controller of `device`'s ids and name.
    bool remembers(const ControlManette &device) const;
    // Copies the attached controller's identity and picture into the stored values.
    void refreshLiveValues();
    // Gives the device the bound profile (the picture follows it), then starts it.
    void start();
    void stop();
    int linkState() const { return m_linkState; }
    // False when the state is unchanged.
    bool setLinkState(int state);

    // ---- Row values ----
    // The live controller's name, else the stored one.
    QString deviceName() const;
    // The user's name, else the bound profile's, else the device's.
    QString displayName() const;
    // "VID:<vendor> PID:<product>", or "ID:<index>" when the ids are unknown.
    QString secondLine() const;
    QString product() const;
    QString modelString() const;
    QVariant image() const;
    // What the host is told about the device.
    QJsonObject description() const;
    // "label|address" for each axis and button the plugged controller reports.
    QStringList inputs(const JoystickBackend &joysticks) const;

private:
    void applyProfile();

    QJsonObject m_kv;
    QPointer<ControlManette> m_device;
    QPointer<ControlManette> m_standIn;
    bool m_attached = false;
    int m_linkState = kUnlinked;
    ProfileCarousel m_carousel;
    QIcon m_icon;
};
