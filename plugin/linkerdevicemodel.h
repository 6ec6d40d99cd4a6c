#pragma once

#include "comproviderevent.h"
#include "controlmanette.h"
#include "devicemodelroles.h"
#include "deviceregistry.h"
#include "devicerows.h"
#include "joystickbackend.h"
#include "profilecarousel.h"

#include <QAbstractListModel>
#include <QHash>
#include <QJsonArray>
#include <QList>

// The host's list of gamepad devices. One row per remembered or connected controller: the live
// device objects of GamepadManager merged with the registry file of the host context. The model
// keeps the user's selection, the profile bound to each device and its profile carousel, tells the
// host which devices are selected and posts connection events. A row's values and its carousel
// live in DeviceEntry and ProfileCarousel; the model keeps the rows in order, wires the live
// devices and the registry to them and reports their changes.
class LinkerDeviceModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(
        bool uniqSelection READ uniqSelection WRITE setUniqSelection NOTIFY uniqSelectionChanged)
    Q_PROPERTY(bool autoDetect READ autoDetect WRITE setAutoDetect NOTIFY autoDetectChanged)
    Q_PROPERTY(int previousCount READ previousCount NOTIFY previousCountChanged)
    Q_PROPERTY(QString context READ context WRITE setContext NOTIFY contextChanged)
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    // The shared role values under the model's own names, registered with the meta-object system.
    enum Roles {
        UsnRole = DeviceModelRoles::Usn,
        NameRole = DeviceModelRoles::Name,
        IpRole = DeviceModelRoles::Ip,
        SelectedRole = DeviceModelRoles::Selected,
        ConnectedRole = DeviceModelRoles::IsConnected,
        VideoInterfacesRole = DeviceModelRoles::VideoInterfaces,
        JsonRole = DeviceModelRoles::Json,
        ProductRole = DeviceModelRoles::Product,
        ImageRole = DeviceModelRoles::Image,
        ModelRole = DeviceModelRoles::ModelString,
        LinkStateRole = DeviceModelRoles::LinkState,
        ActiveProfileIdRole = DeviceModelRoles::ActiveProfileId,
        ActiveProfileNameRole = DeviceModelRoles::ActiveProfileName,
        ActiveProfilePositionRole = DeviceModelRoles::ActiveProfilePosition,
        ProfileCountRole = DeviceModelRoles::ProfileCount,
        HasProfileCarouselRole = DeviceModelRoles::HasProfileCarousel
    };
    Q_ENUM(Roles)

    static constexpr int kLinked = DeviceEntry::kLinked;
    static constexpr int kUnlinked = DeviceEntry::kUnlinked;

    // `joysticks` answers which axes and buttons a plugged controller has; it must outlive the
    // model.
    explicit LinkerDeviceModel(const QString &context, QObject *parent = nullptr,
                               JoystickBackend &joysticks = joystickBackend());

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QHash<int, QByteArray> roleNames() const override;

    bool uniqSelection() const { return m_uniqSelection; }
    void setUniqSelection(bool unique);
    bool autoDetect() const { return m_autoDetect; }
    void setAutoDetect(bool enabled);
    int previousCount() const { return m_previousCount; }
    QString context() const { return m_context; }
    void setContext(const QString &context);
    int count() const { return m_rows.count(); }

    // For each selected row, in row order, its device in `out` and its description in `infos`, so
    // the two pair by index. A controller that is away is given as a stand-in device the model
    // owns: it reports not connected (its description says "connected": false) and is let go once
    // the row is deselected, forgotten, or its controller is back.
    void selectedInterfaces(QList<IComInterface *> &out, QJsonArray &infos);

signals:
    void uniqSelectionChanged();
    void autoDetectChanged();
    void previousCountChanged();
    void contextChanged();
    void countChanged();
    void selectedInterfacesChanged(QList<IComInterface *> selectedIfaces, QJsonArray infos);
    void providerEventOccurred(ComProviderEvent event);

public slots:
    void syncSelected();
    void refreshProfilesCatalog();

private slots:
    void onManagerChanged();
    void onGamepadAdded(ControlManette *gp);
    void onGamepadRemoved(int deviceId);

public:
    Q_INVOKABLE int indexOfUsn(QString usn) const;
    Q_INVOKABLE QString usnForRow(int row) const;
    Q_INVOKABLE bool isSelected(QString usn) const;
    Q_INVOKABLE void setSelected(QString usn, bool sel);
    Q_INVOKABLE bool deleteDevice(QString usn);
    Q_INVOKABLE bool cycleProfile(QString usn, int delta);
    Q_INVOKABLE bool setActiveProfile(QString usn, QString profileId);
    Q_INVOKABLE QObject *interfaceForRow(int row) const;

private:
    // Rows and registry.
    void loadRegistry();
    void saveRegistry();
    void appendEntry(const QString &usn);
    void removeEntryRow(int row);
    void makeRoomForOneRow();
    DeviceEntry &entryAt(int row) { return m_rows.entry(row); }
    const DeviceEntry &entryAt(int row) const { return m_rows.entry(row); }
    void emitRowChanged(int row, const QList<int> &roles);

    // Live devices.
    void resynchronise();
    void detachVanishedDevices(const QList<ControlManette *> &live);
    bool attachLiveDevices(const QList<ControlManette *> &live);
    void renameRow(int row, const QString &usn);
    void setActiveProfileEntry(int row, const QString &id, const QString &name);
    void attachDevice(int row, ControlManette *device, const QList<CatalogProfile> &catalog);
    void detachDevice(int row);
    void stopDevice(int row);
    void updateStandIns();
    void updateLinkState(const ControlManette *device);
    void setLinkState(int row, int state);

    // Writable roles.
    bool setName(int row, const QString &name);
    bool setSelectedRow(int row, bool selected);
    bool deselectOthers(int row);
    void keepOneSelected();
    bool setProduct(int row, const QString &product);
    bool setImage(int row, const QVariant &value);
    void notifySelectedInterfaces();

    JoystickBackend &m_joysticks;
    bool m_uniqSelection = true;
    bool m_autoDetect = true;
    QString m_context;
    DeviceRows m_rows;
    int m_previousCount = 0;
};
