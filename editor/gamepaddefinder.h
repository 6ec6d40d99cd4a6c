#pragma once

#include "gamepadmanager.h"
#include "profileexchange.h"
#include "profilemeta.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QMetaObject>
#include <QPixmap>
#include <QPointer>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QWidget>

#include <functional>
#include <memory>

class ActionLinker;
class CatalogueReader;
class ControlManette;
class DocumentSession;
class GamepadConfigWidget;
class InspectorPanel;
class InteractiveOverlay;
class OverlaySnapshot;
class QButtonGroup;
class QComboBox;
class QFrame;
class QLabel;
class QGridLayout;
class QListWidget;
class QListWidgetItem;
class QMenu;
class QPushButton;
class QuickActionsPanel;
class ProfileFolderWatcher;
class ProfileTiles;
class QuickMapping;
class TagSelectionBar;
struct GamepadProfileInfo;

// The profile editor: the catalogue of gamepad profiles as image tiles, the selected profile on
// an interactive overlay, its calibration panel and mapping panel, and the profile operations
// (new, rename, duplicate, change image, delete). The profile's documents are kept through an
// editing session: overlay edits are saved 250 ms after the last change, a profile that failed to
// load is never written, and a profile with edits that could not be saved is only left when the
// user says so. The catalogue follows the profile folders on disk.
//
// The class is spread over files by job: gamepaddefinder.cpp (construction, chrome, modes),
// definderselection.cpp (selection, loading, the session and saving), definderoperations.cpp
// (new, duplicate, delete, rename, image, metadata), definderexchange.cpp (export, import,
// clipboard, snapshots), definderdevices.cpp (controllers and the calibration panel), and
// definderfolders.cpp (the catalogue following the folders on disk).
class GamepadDefinder : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(QList<QPointer<ControlManette>> realGamepads READ realGamepads WRITE setRealGamepads
                   NOTIFY realGamepadsChanged)
    Q_PROPERTY(QJsonObject externalServices READ externalServices WRITE setExternalServices)

public:
    enum Mode { MappingMode = 0, CalibrationMode = 1, EditMode = 2 };

    static constexpr int kAutosaveDelayMs = 250;

    // `manager` supplies the connected controllers; null means the process-wide one.
    explicit GamepadDefinder(GamepadManager *manager = nullptr, QWidget *parent = nullptr);
    ~GamepadDefinder() override;

    QList<QPointer<ControlManette>> realGamepads() const { return m_realGamepads; }
    void setRealGamepads(const QList<QPointer<ControlManette>> &gamepads);

    // The host's services object; its shared action catalogue feeds the overlay and the panels.
    QJsonObject externalServices() const { return m_externalServices; }
    void setExternalServices(const QJsonObject &services);

    InteractiveOverlay *overlay() const { return m_overlay; }
    GamepadConfigWidget *calibrationPanel() const { return m_calibration; }
    ActionLinker *mappingPanel() const { return m_linker; }
    TagSelectionBar *associationBar() const { return m_tagBar; }
    InspectorPanel *inspector() const { return m_inspector; }
    QuickActionsPanel *quickActions() const { return m_quickActions; }
    QuickMapping *quickMapping() const { return m_quickMapping; }
    QListWidget *profileList() const { return m_list; }
    // The controller whose live input reaches quick mapping and the calibration panel.
    ControlManette *attachedController() const { return m_attached; }

    int currentRow() const { return m_currentRow; }
    // Edits of the current profile that are not on disk yet.
    bool isDirty() const;
    int mode() const { return m_mode; }
    const QList<GamepadProfileMeta> &entries() const { return m_entries; }
    // Tiles still showing the placeholder while their pictures are decoded in the background.
    bool thumbnailsPending() const;
    // The current profile's documents: their state, and the questions before they are left.
    DocumentSession *session() const { return m_session; }
    // The banner above the overlay that says what the session cannot do (empty when hidden).
    QString bannerText() const;
    // Before the window closes: true when it may, every edit being saved or discarded.
    bool requestClose();

    // The outcome of the last batch of snapshots (exportSnapshotsToDir, or actionSnapshotAll once
    // its steps are done): the files written and the error lines, and on failure the reason.
    const SnapshotReport &lastSnapshotReport() const { return m_snapshotReport; }
    bool lastSnapshotSucceeded() const { return m_snapshotSucceeded; }
    QString lastSnapshotError() const { return m_snapshotError; }

    // The list's context menu for a click at `pos` (of the list's viewport), not yet shown.
    QMenu *createListContextMenu(const QPoint &pos);

public slots:
    // MappingMode, CalibrationMode or EditMode; hosts may switch it by name.
    void setMode(int mode);
    void on_pushButtonAdd_clicked();
    void onListSelectionChanged(int row);
    void showListContextMenu(const QPoint &pos);
    void actionNew();
    void actionSave();
    void actionDuplicate();
    void actionDelete();
    void actionRename();
    void actionChangeImage();
    void actionExport();
    void actionImport();
    void actionCopy();
    void actionPaste();
    void actionSnapshot();
    void actionSnapshotAll();
    void onOverlayDirty();
    void onOverlaySelectionChanged(int nodeIndex);
    void onCalibrationProfileMetadataChanged(const QString &mode, const QString &overrideFile,
                                             uint vendorId, uint productId);
    void onDeviceSelectionTagsChanged();
    void onAxisChanged(int axis, double value);
    void onButtonChanged(int button, bool pressed);
    void onGateChanged(const QString &key, bool inside);
    void emitCurrentSelection();
    void exportSnapshotsToDir(const QString &outDir);

signals:
    void realGamepadsChanged();
    void deviceSelectionChanged(const QStringList &deviceNames);
    void profilesCatalogChanged();
    void currentGamepadChanged(const QString &id, const QString &name, const QJsonObject &overlay,
                               const QString &imagePath);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void buildForm();
    void buildChrome();
    void configureList();
    void installShortcuts();
    void connectSignals();

    bool validRow(int row) const { return row >= 0 && row < m_entries.size(); }
    // Saves the current profile now, asking and telling what fails; `interactive` false leaves
    // the mapping panel to catch up with the saved mapping when it is next needed.
    bool saveProfile(int row, bool interactive = true);
    void refreshMappingPanel();
    bool selectRow(int row);
    bool mayLeaveCurrent();
    void showCurrentRowAfterClick();
    void buildSession();
    void buildBanner();
    void refreshBanner();
    void onSessionStateChanged();
    void startAgainEmpty();
    bool saveAsNewProfile();
    QStringList documentPaths(const GamepadProfileMeta &entry) const;
    bool isReadOnly() const;
    void reloadCurrentProfile();
    void noteMetaWritten();
    int duplicateCurrent();
    bool deleteCurrent();
    void addCreatedProfile(const GamepadProfileMeta &entry);
    void createFromExchange(const QJsonObject &document, const QString &title,
                            const QString &failure);
    void startSnapshotSteps();
    void continueSnapshots();
    void stepSnapshot();
    void finishSnapshot(bool interactive);
    std::unique_ptr<SnapshotBatch> prepareSnapshotBatch(const QString &outDir);
    void finishSnapshotBatch(bool interactive);
    void reportSnapshotBatch();
    void loadCurrentProfile();
    void showNoProfile();
    bool updateEntryMeta(int row, const std::function<void(GamepadProfileMeta &)> &change);
    void adoptEntry(int row, const GamepadProfileMeta &entry);
    void addNodeFromBar(int kind);
    QJsonObject defaultOverlayDocument(const QString &imageSource) const;

    void refillList();
    void updateTile(int row);
    void rearmWatcher();
    void onProfileRootsChanged();
    void onProfileFoldersChanged(const QStringList &paths);
    void mergeCatalogue(QList<GamepadProfileMeta> fresh);

    void refreshDevices();
    void attachController(ControlManette *device);
    ControlManette *chooseController() const;
    QStringList connectedNames() const;
    GamepadProfileInfo currentProfileInfo() const;
    void syncCalibrationPanel();
    void refreshModeWidgets();
    void refreshQuickState();

    QPointer<GamepadManager> m_manager;
    QList<QPointer<ControlManette>> m_realGamepads;
    QList<QMetaObject::Connection> m_gamepadWatch;
    QPointer<ControlManette> m_attached;
    QList<QMetaObject::Connection> m_liveInput;
    QJsonObject m_externalServices;

    QList<GamepadProfileMeta> m_entries;
    int m_currentRow = -1;
    bool m_loading = false;
    bool m_refreshAfterSave = true; // what saveProfile() was told; autosaves refresh
    DocumentSession *m_session = nullptr;
    ProfileTiles *m_tiles = nullptr;
    ProfileFolderWatcher *m_watcher = nullptr;
    CatalogueReader *m_catalogueReader = nullptr;
    int m_mode = MappingMode;
    bool m_overlayLocked = true;
    bool m_calibrationStale = true; // the hidden calibration panel is brought up to date when shown
    QString m_givenSources;         // the two-axis pastilles last handed to the calibration panel
    QString m_failedLoadPath; // the document whose load failed, started again empty on request

    QString m_snapshotFolder; // where both snapshot choosers open
    SnapshotReport m_snapshotReport;
    bool m_snapshotSucceeded = false;
    QString m_snapshotError;
    // The snapshot actionSnapshot is drawing, a step per turn of the event loop, and its file;
    // the batch actionSnapshotAll is making, after it.
    std::shared_ptr<OverlaySnapshot> m_pendingSnapshot;
    PngEncoding m_snapshotPng;
    QString m_pendingSnapshotPath;
    std::unique_ptr<SnapshotBatch> m_pendingBatch;
    QTimer *m_snapshotTimer = nullptr;

    // The form.
    QGridLayout *m_grid = nullptr;
    InteractiveOverlay *m_overlay = nullptr;
    QListWidget *m_list = nullptr;
    QPushButton *m_addButton = nullptr;
    QComboBox *m_vendorCombo = nullptr;
    QFrame *m_banner = nullptr;
    QLabel *m_bannerText = nullptr;
    QPushButton *m_retryButton = nullptr;
    QPushButton *m_discardButton = nullptr;
    QPushButton *m_startEmptyButton = nullptr;
    QPushButton *m_saveAsNewButton = nullptr;

    // The chrome.
    QFrame *m_topBar = nullptr;
    QButtonGroup *m_modeButtons = nullptr;
    QList<QPushButton *> m_addNodeButtons;
    TagSelectionBar *m_tagBar = nullptr;
    QWidget *m_sideColumn = nullptr;
    InspectorPanel *m_inspector = nullptr;
    QuickActionsPanel *m_quickActions = nullptr;
    QuickMapping *m_quickMapping = nullptr;

    // The attached panels.
    GamepadConfigWidget *m_calibration = nullptr;
    ActionLinker *m_linker = nullptr;
};
