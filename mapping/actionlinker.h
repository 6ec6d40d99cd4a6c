#pragma once

#include "documentsession.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QMetaObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QUuid>
#include <QWidget>

#include <optional>

class ControlManette;
class InteractiveOverlay;
class QLabel;
class QListWidget;
class QListWidgetItem;

// The mapping panel shown beside a gamepad's overlay: the user clicks an action of the shared
// catalog, then presses a button, moves an axis or enters a gate on the live controller, and the
// action is bound to every pastille slot of that input. Each change of the overlay is written to
// the profile's mapping document 250 ms after the first change of a burst, through a document
// session: a document that could not be read is never written unless the user starts it again
// empty, a vanished profile folder is never made again, and a file changed by someone else is
// not overwritten without asking.
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
    // Writes a save still waiting, without a question: never over a file changed elsewhere nor
    // into a folder that is gone.
    ~ActionLinker() override;

    QJsonObject externalServices() const { return m_externalServices; }
    void setExternalServices(const QJsonObject &services);
    QJsonArray catalog() const { return m_catalog; }

    // The overlay of the current profile, built first when the panel was given it while hidden.
    InteractiveOverlay *overlay();
    // The action waiting for an input; empty when none.
    QString pendingAction() const { return m_pending; }
    QUuid profileId() const { return m_profileId; }
    QString profileFolder() const { return m_profileFolder; }
    bool isSavePending() const;
    // The session that keeps the mapping document: its state, its failure, its pending save.
    DocumentSession *session();

    // The controllers the panel may listen to; only those linked to the profile are heard (all of
    // them when the profile links none). A controller may be deleted at any time.
    void setInputDevices(const QList<QPointer<ControlManette>> &devices);

public slots:
    // Shows a profile: its overlay document and picture, then the bridges of its mapping
    // document. `profileFolder` holds the mapping document; when empty it is looked up in the
    // profile store by `id`. A null `id` means no profile: nothing is saved. The current profile
    // is left first (requestLeave()); when the user stays, nothing changes.
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

protected:
    void showEvent(QShowEvent *event) override;

private:
    DocumentSession::SaveResult saveMapping();
    void rebuildActionList();
    void onItemClicked(QListWidgetItem *item);
    void cancelPending();
    void refreshHint();
    void bindPendingAction(const QString &inputKey);
    bool mayBind();
    bool startEmpty();
    void onOverlayChanged();
    void showSnapshot(const QJsonObject &overlay, const QString &imagePath);
    void buildUnbuiltSnapshot();
    void loadMapping();
    void reloadIfStale();
    void reloadFromDisk();
    void rewireDevices();
    void disconnectDevices();

    QJsonObject m_externalServices;
    QJsonArray m_catalog;

    QUuid m_profileId;
    QString m_profileName;
    QStringList m_deviceNames;
    QString m_profileFolder;
    QString m_imagePath;
    QJsonObject m_loadedOverlay; // the overlay document as shown, before the bridges
    bool m_overlayLoaded = false;
    bool m_loading = false;
    bool m_stale = false; // the documents changed on disk: reloaded before the next binding
    // A snapshot given while the panel was hidden: its pastilles are built when it is shown or
    // first looked at, so that a hidden panel costs a profile switch nothing.
    struct Snapshot
    {
        QJsonObject overlay;
        QString imagePath;
    };
    std::optional<Snapshot> m_unbuilt;
    QString m_pending;

    QList<QPointer<ControlManette>> m_devices;
    QList<QMetaObject::Connection> m_deviceConnections;

    DocumentSession *m_session = nullptr;
    InteractiveOverlay *m_overlay = nullptr;
    QListWidget *m_list = nullptr;
    QLabel *m_hint = nullptr;
};
