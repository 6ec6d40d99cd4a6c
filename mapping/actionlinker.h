#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QMetaObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QUuid>
#include <QWidget>

class ControlManette;
class InteractiveOverlay;
class QLabel;
class QListWidget;
class QListWidgetItem;

// The mapping panel shown beside a gamepad's overlay: the user clicks an action of the shared
// catalog, then presses a button, moves an axis or enters a gate on the live controller, and the
// action is bound to every pastille slot of that input. Each change of the overlay is written to
// the profile's mapping document 250 ms after the first change of a burst.
class ActionLinker : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(QJsonObject externalServices READ externalServices WRITE setExternalServices NOTIFY
                   externalServicesChanged)

public:
    static constexpr int kSaveDelayMs = 250;
    // The smallest axis deflection that binds; smaller moves are noise or a resting stick.
    static constexpr double kAxisBindThreshold = 40.0;

    explicit ActionLinker(QWidget *parent = nullptr);
    // Writes a save still waiting on the timer.
    ~ActionLinker() override;

    QJsonObject externalServices() const { return m_externalServices; }
    void setExternalServices(const QJsonObject &services);
    QJsonArray catalog() const { return m_catalog; }

    InteractiveOverlay *overlay() const { return m_overlay; }
    // The action waiting for an input; empty when none.
    QString pendingAction() const { return m_pending; }
    QUuid profileId() const { return m_profileId; }
    QString profileFolder() const { return m_profileFolder; }
    bool isSavePending() const { return m_saveTimer.isActive(); }

    // The controllers the panel may listen to; only those linked to the profile are heard (all of
    // them when the profile links none). A controller may be deleted at any time.
    void setInputDevices(const QList<QPointer<ControlManette>> &devices);

public slots:
    // Shows a profile: its overlay document and picture, then the bridges of its mapping
    // document. `profileFolder` holds the mapping document; when empty it is looked up in the
    // profile store by `id`. A null `id` means no profile: nothing is saved.
    void loadGamepadSnapshot(const QUuid &id, const QString &name, const QStringList &deviceNames,
                             const QJsonObject &overlay, const QString &imagePath,
                             const QString &profileFolder = QString());
    // The controller names linked to the current profile changed.
    void onDeviceSelectionChanged(const QStringList &deviceNames);
    void onInputButtonChanged(int button, bool pressed);
    void onInputAxisChanged(int axis, double value);
    void onInputGateChanged(const QString &key, bool inside);
    // Saves now when a save is waiting; the editor calls it before switching profiles.
    void flushSave();
    // Before the panel leaves its profile: true when it may (edits saved or discarded).
    bool requestLeave();

signals:
    void externalServicesChanged();
    // The mapping document was written.
    void mappingSaved();

private:
    void rebuildActionList();
    void onItemClicked(QListWidgetItem *item);
    void cancelPending();
    void bindPendingAction(const QString &inputKey);
    void scheduleSave();
    void save();
    void rewireDevices();
    void disconnectDevices();

    QJsonObject m_externalServices;
    QJsonArray m_catalog;

    QUuid m_profileId;
    QStringList m_deviceNames;
    QString m_profileFolder;
    bool m_overlayLoaded = false;
    bool m_loading = false;
    QString m_pending;

    QList<QPointer<ControlManette>> m_devices;
    QList<QMetaObject::Connection> m_deviceConnections;

    QTimer m_saveTimer;
    InteractiveOverlay *m_overlay = nullptr;
    QListWidget *m_list = nullptr;
    QLabel *m_hint = nullptr;
};
