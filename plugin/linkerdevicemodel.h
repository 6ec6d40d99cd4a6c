#pragma once

#include "comproviderevent.h"
#include "controlmanette.h"
#include "deviceregistry.h"
#include "profilestore.h"

#include <QAbstractListModel>
#include <QHash>
#include <QIcon>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QPointer>
#include <QStringList>

// The host's list of gamepad devices. One row per remembered or connected controller: the live
// device objects of GamepadManager merged with the registry file of the host context. The model
// keeps the user's selection, the profile bound to each device and its profile carousel, tells the
// host which devices are selected and posts connection events.
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
    enum Roles {
        UsnRole = Qt::UserRole + 1,
        NameRole,
        IpRole,
        SelectedRole,
        ConnectedRole,
        VideoInterfacesRole,
        JsonRole,
        ProductRole,
        ImageRole,
        ModelRole,
        LinkStateRole,
        ActiveProfileIdRole,
        ActiveProfileNameRole,
        ActiveProfilePositionRole,
        ProfileCountRole,
        HasProfileCarouselRole
    };
    Q_ENUM(Roles)

    static constexpr int kLinked = 2;
    static constexpr int kUnlinked = 0;

    explicit LinkerDeviceModel(const QString &context, QObject *parent = nullptr);

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
    int count() const { return int(m_usns.size()); }

    // For each selected row, in row order, its description in `infos` (an unplugged controller's
    // says "connected": false); `out` holds the devices of those rows whose controller is plugged
    // in, never a null pointer.
    void selectedInterfaces(QList<IComInterface *> &out, QJsonArray &infos) const;

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
    struct Entry
    {
        QPointer<ControlManette> device;
        bool attached = false; // a device was attached, even if its object is already gone
        QJsonObject kv;
        int linkState = kUnlinked;
        QList<GamepadProfileInfo> profiles; // the carousel: profiles made for this controller
        QIcon icon;
    };

    // A catalog entry with the controller model its metadata names.
    struct CatalogProfile
    {
        GamepadProfileInfo info;
        quint32 vendorId = 0;
        quint32 productId = 0;
    };

    // Rows and registry.
    void loadRegistry();
    void saveRegistry();
    void appendEntry(const QString &usn);
    void removeEntryRow(int row);
    void makeRoomForOneRow();
    Entry &entryAt(int row) { return m_entries[m_usns.at(row)]; }
    const Entry &entryAt(int row) const { return *m_entries.constFind(m_usns.at(row)); }
    bool validRow(int row) const { return row >= 0 && row < count(); }
    void emitRowChanged(int row, const QList<int> &roles);

    // Live devices.
    void resynchronise();
    void detachVanishedDevices(const QList<ControlManette *> &live);
    bool attachLiveDevices(const QList<ControlManette *> &live);
    int rememberedRow(const ControlManette *device) const;
    QString freeIdentityKey(const QJsonObject &kv) const;
    void renameRow(int row, const QString &usn);
    void setActiveProfileEntry(int row, const QString &id, const QString &name);
    void attachDevice(int row, ControlManette *device, const QList<CatalogProfile> &catalog);
    void detachDevice(int row);
    void refreshLiveValues(Entry &entry) const;
    void activateDevice(Entry &entry);
    void stopDevice(int row);
    void updateLinkState(const ControlManette *device);
    void setLinkState(int row, int state);

    // Roles.
    QString deviceName(const Entry &entry) const;
    QString displayName(const Entry &entry) const;
    QString secondLine(const Entry &entry) const;
    QJsonObject description(int row) const;
    QStringList liveInputs(const Entry &entry) const;
    QVariant image(const Entry &entry) const;
    int activePosition(const Entry &entry) const;
    QString activeProfileName(const Entry &entry) const;

    // Writable roles.
    bool setName(int row, const QString &name);
    bool setSelectedRow(int row, bool selected);
    bool deselectOthers(int row);
    void keepOneSelected();
    bool setProduct(int row, const QString &product);
    bool setImage(int row, const QVariant &value);
    void notifySelectedInterfaces();

    // Profiles.
    static QList<CatalogProfile> readCatalog();
    void refreshCandidates(Entry &entry, const QList<CatalogProfile> &catalog) const;
    void applyProfileToDevice(Entry &entry);

    void post(int level, const QString &title, const QString &message, const QString &usn);

    bool m_uniqSelection = true;
    bool m_autoDetect = true;
    QString m_context;
    QStringList m_usns;
    QHash<QString, Entry> m_entries;
    int m_previousCount = 0;
};
