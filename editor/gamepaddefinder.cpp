#include "gamepaddefinder.h"

#include "actionlinker.h"
#include "documentsession.h"
#include "gamepadconfigwidget.h"
#include "inspectorpanel.h"
#include "interactiveoverlay.h"
#include "overlaybindings.h"
#include "profilefolderwatcher.h"
#include "profilestore.h"
#include "profiletiles.h"
#include "quickactionspanel.h"
#include "quickmapping.h"
#include "tagselectionbar.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QDir>
#include <QEvent>
#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QShortcut>
#include <QVBoxLayout>

#include <memory>

namespace {

constexpr int kListWidth = 346; // two columns of tiles and the scroll bar
constexpr int kSideWidth = 264; // inspector and quick actions
constexpr int kListLayoutBatch = 100;

const char *const kStyle = R"(
GamepadDefinder { background-color: #141E26; }
QFrame#gamepadTopBar { background: #1B2833; border: 1px solid #2A3C4A; border-radius: 8px; }
QFrame#gamepadTopBar QPushButton { background: #22313D; color: #C9D7E0; border: 1px solid #33495A;
                                   border-radius: 6px; padding: 5px 12px; }
QFrame#gamepadTopBar QPushButton:hover { border-color: #3FC8DC; }
QFrame#gamepadTopBar QPushButton:checked { background: rgba(63, 200, 220, 55);
                                           border-color: #3FC8DC; color: #FFFFFF; }
QFrame#gamepadTopBar QPushButton:disabled { color: #5E7283; border-color: #2A3A47; }
QListWidget#listWidget { background: transparent; border: none; color: #A8BCC8; outline: 0; }
QListWidget#listWidget::item { background: rgba(255, 255, 255, 6); color: #A8BCC8;
                               border-radius: 6px; }
QListWidget#listWidget::item:hover { background: rgba(63, 200, 220, 22); }
QListWidget#listWidget::item:selected { background: rgba(63, 200, 220, 48); color: #E8F4F8;
                                        border: 1px solid rgba(63, 200, 220, 150); }
QPushButton#pushButtonAdd { background: #1F3442; color: #BFEFF6; border: 1px dashed #3FC8DC;
                            border-radius: 6px; padding: 6px; }
QPushButton#pushButtonAdd:hover { background: #26424F; }
QFrame#gamepadInspectorPanel, QFrame#gamepadQuickActionsPanel {
    background: #1A2630; border: 1px solid #2A3C4A; border-radius: 8px; }
QFrame#gamepadInspectorPanel QLabel, QFrame#gamepadQuickActionsPanel QLabel { color: #C9D7E0; }
)";


} // namespace

GamepadDefinder::GamepadDefinder(GamepadManager *manager, QWidget *parent)
    : QWidget(parent), m_manager(manager ? manager : GamepadManager::instance())
{
    buildSession();
    buildForm();
    m_tiles = new ProfileTiles(m_list, this);
    // The panels this window drives share the overlay's cell; the mode decides which one shows.
    m_calibration = new GamepadConfigWidget(this, GamepadConfigWidget::Cards::WhenShown);
    m_calibration->hide();
    m_linker = new ActionLinker(this);
    m_linker->hide(); // quick mapping stands in for its list; it follows the current profile
    m_grid->addWidget(m_calibration, 2, 1, 3, 1);
    m_grid->addWidget(m_linker, 2, 1, 3, 1);
    buildChrome();
    configureList();
    installShortcuts();
    m_overlay->setMode(InteractiveOverlay::Mapping);
    m_overlay->setLocked(true);
    connectSignals();

    if (m_manager) {
        setRealGamepads(m_manager->gamepads());
        connect(m_manager, &GamepadManager::gamepadsChanged, this, [this] {
            if (m_manager)
                setRealGamepads(m_manager->gamepads());
        });
    }

    const QString sharedRoot = sharedProfilesRoot();
    if (!sharedRoot.isEmpty())
        QDir().mkpath(sharedRoot);
    m_watcher = new ProfileFolderWatcher(this);
    connect(m_watcher, &ProfileFolderWatcher::rootsChanged, this,
            &GamepadDefinder::onProfileRootsChanged);
    connect(m_watcher, &ProfileFolderWatcher::foldersChanged, this,
            &GamepadDefinder::onProfileFoldersChanged);
    refillList();
    showNoProfile();
    m_overlay->installEventFilter(this);
    setMode(MappingMode);
}

GamepadDefinder::~GamepadDefinder()
{
    // Edits of the last moments: the window is going away, so no question, only the log; a file
    // changed elsewhere or a folder gone is left as it is. Closing the window asked already. The
    // panels save theirs the same way as they go.
    m_session->flushQuietly();
    finishSnapshot(false);
    finishSnapshotBatch(false);
    // The children outlive this object's members: nothing they emit may reach it any more.
    const QList<QObject *> children = findChildren<QObject *>();
    for (QObject *child : children)
        child->disconnect(this);
    for (const QMetaObject::Connection &c : std::as_const(m_liveInput))
        disconnect(c);
    for (const QMetaObject::Connection &c : std::as_const(m_gamepadWatch))
        disconnect(c);
}

void GamepadDefinder::buildForm()
{
    setObjectName(QStringLiteral("GamepadDefinder"));
    setAttribute(Qt::WA_StyledBackground);
    // Before any child exists: each child is then styled once, as it is created.
    setStyleSheet(QString::fromLatin1(kStyle));
    m_grid = new QGridLayout(this);
    m_grid->setObjectName(QStringLiteral("gridLayout"));
    m_grid->setContentsMargins(8, 8, 8, 8);
    m_grid->setSpacing(8);

    m_overlay = new InteractiveOverlay(this);
    m_overlay->setObjectName(QStringLiteral("widgetOverlay"));
    m_overlay->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    m_list = new QListWidget(this);
    m_list->setObjectName(QStringLiteral("listWidget"));
    m_addButton = new QPushButton(QStringLiteral("+ Nouveau profil"), this);
    m_addButton->setObjectName(QStringLiteral("pushButtonAdd"));
    m_vendorCombo = new QComboBox(this);
    m_vendorCombo->setObjectName(QStringLiteral("comboBoxVendorId"));
    m_vendorCombo->hide(); // kept for the form's layout; profiles carry their ids in meta.json

    m_grid->addWidget(m_list, 2, 0);
    m_grid->addWidget(m_addButton, 3, 0);
    m_grid->addWidget(m_vendorCombo, 4, 0);
    m_grid->addWidget(m_overlay, 2, 1, 3, 1);
    m_grid->setColumnStretch(1, 1);
    m_grid->setRowStretch(2, 1);
    buildBanner();
}

void GamepadDefinder::buildChrome()
{
    auto *grid = findChild<QGridLayout *>(QStringLiteral("gridLayout"));
    auto *overlay = findChild<InteractiveOverlay *>(QStringLiteral("widgetOverlay"));
    auto *list = findChild<QListWidget *>(QStringLiteral("listWidget"));
    auto *add = findChild<QPushButton *>(QStringLiteral("pushButtonAdd"));
    if (!grid || !overlay || !list || !add) {
        qCWarning(lcGamepadUi) << "Gamepad editor chrome cannot be built: missing base widgets";
        return;
    }
    m_topBar = new QFrame(this);
    m_topBar->setObjectName(QStringLiteral("gamepadTopBar"));
    auto *bar = new QHBoxLayout(m_topBar);
    bar->setContentsMargins(8, 6, 8, 6);
    bar->setSpacing(6);
    m_modeButtons = new QButtonGroup(this);
    m_modeButtons->setExclusive(true);
    const QStringList modes = {QStringLiteral("Mapping"), QStringLiteral("Calibration"),
                               QStringLiteral("Edit")};
    for (int i = 0; i < modes.size(); ++i) {
        auto *button = new QPushButton(modes.at(i), m_topBar);
        button->setObjectName(QStringLiteral("gamepadModeButton"));
        button->setCheckable(true);
        m_modeButtons->addButton(button, i);
        bar->addWidget(button);
    }
    connect(m_modeButtons, &QButtonGroup::idClicked, this, &GamepadDefinder::setMode);
    bar->addSpacing(16);
    const QList<QPair<QString, ElementKind>> adds = {
        {QStringLiteral("+ Joy"), ElementKind::SingleJoy},
        {QStringLiteral("+ Dual XY"), ElementKind::DualJoyCross},
        {QStringLiteral("+ Btn"), ElementKind::Button}};
    for (const auto &[text, kind] : adds) {
        auto *button = new QPushButton(text, m_topBar);
        button->setObjectName(QStringLiteral("gamepadAddNodeButton"));
        connect(button, &QPushButton::clicked, this, [this, k = kind] { addNodeFromBar(int(k)); });
        m_addNodeButtons << button;
        bar->addWidget(button);
    }
    bar->addSpacing(16);
    m_tagBar = new TagSelectionBar(m_topBar);
    m_tagBar->setToolTip(QStringLiteral("Manettes liees au profil courant"));
    bar->addWidget(m_tagBar, 1);
    grid->addWidget(m_topBar, 0, 0, 1, 3);

    m_sideColumn = new QWidget(this);
    m_sideColumn->setObjectName(QStringLiteral("gamepadSideColumn"));
    m_sideColumn->setFixedWidth(kSideWidth);
    auto *side = new QVBoxLayout(m_sideColumn);
    side->setContentsMargins(0, 0, 0, 0);
    side->setSpacing(8);
    m_inspector = new InspectorPanel(overlay, m_sideColumn);
    m_inspector->setObjectName(QStringLiteral("gamepadInspectorPanel"));
    m_quickActions = new QuickActionsPanel(m_sideColumn);
    side->addWidget(m_inspector, 3);
    side->addWidget(m_quickActions, 2);
    grid->addWidget(m_sideColumn, 2, 2, 3, 1);
    m_quickMapping = new QuickMapping(overlay, m_quickActions, this);
}

void GamepadDefinder::configureList()
{
    m_list->setViewMode(QListView::IconMode);
    m_list->setIconSize(ProfileTiles::kIconSize);
    m_list->setGridSize(ProfileTiles::kGridSize);
    m_list->setResizeMode(QListView::Adjust);
    m_list->setMovement(QListView::Static);
    m_list->setWrapping(true);
    m_list->setUniformItemSizes(true);
    // A thousand tiles are laid out a batch per turn of the event loop, the first ones at once.
    m_list->setLayoutMode(QListView::Batched);
    m_list->setBatchSize(kListLayoutBatch);
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->setSpacing(2);
    m_list->setFrameShape(QFrame::NoFrame);
    m_list->setWordWrap(true);
    m_list->setTextElideMode(Qt::ElideNone);
    m_list->setContextMenuPolicy(Qt::CustomContextMenu);
    m_list->setFixedWidth(kListWidth);
}

void GamepadDefinder::installShortcuts()
{
    const auto add = [this](const QKeySequence &keys, void (GamepadDefinder::*slot)()) {
        auto *shortcut = new QShortcut(keys, this);
        shortcut->setContext(Qt::WidgetWithChildrenShortcut);
        connect(shortcut, &QShortcut::activated, this, slot);
    };
    add(QKeySequence::New, &GamepadDefinder::actionNew);
    add(QKeySequence::Save, &GamepadDefinder::actionSave);
    add(QKeySequence(Qt::CTRL | Qt::Key_D), &GamepadDefinder::actionDuplicate);
    add(QKeySequence::Delete, &GamepadDefinder::actionDelete);
    add(QKeySequence(Qt::Key_F2), &GamepadDefinder::actionRename);
    add(QKeySequence::Copy, &GamepadDefinder::actionCopy);
    add(QKeySequence::Paste, &GamepadDefinder::actionPaste);
    add(QKeySequence(Qt::CTRL | Qt::Key_E), &GamepadDefinder::actionExport);
}

void GamepadDefinder::connectSignals()
{
    connect(m_list, &QListWidget::currentRowChanged, this,
            &GamepadDefinder::onListSelectionChanged);
    connect(m_list, &QWidget::customContextMenuRequested, this,
            &GamepadDefinder::showListContextMenu);
    connect(m_addButton, &QPushButton::clicked, this, &GamepadDefinder::on_pushButtonAdd_clicked);
    connect(m_overlay, &InteractiveOverlay::dirty, this, &GamepadDefinder::onOverlayDirty);
    connect(m_overlay, &InteractiveOverlay::selectedNodeChanged, this,
            &GamepadDefinder::onOverlaySelectionChanged);
    connect(m_calibration, &GamepadConfigWidget::profileCalibrationMetadataChanged, this,
            &GamepadDefinder::onCalibrationProfileMetadataChanged);
    connect(this, &GamepadDefinder::deviceSelectionChanged, m_linker,
            &ActionLinker::onDeviceSelectionChanged);
    if (m_tagBar)
        connect(m_tagBar, &TagSelectionBar::selectedTagsChanged, this,
                &GamepadDefinder::onDeviceSelectionTagsChanged);
    if (m_inspector)
        connect(m_inspector, &InspectorPanel::nodeEdited, this, &GamepadDefinder::onOverlayDirty);
    if (m_quickMapping)
        connect(m_quickMapping, &QuickMapping::overlayChanged, this, [this] {
            if (m_inspector)
                m_inspector->refresh();
            onOverlayDirty();
        });
}


// ---------------------------------------------------------------------------------------------
// Modes

void GamepadDefinder::setMode(int mode)
{
    m_mode = qBound(int(MappingMode), mode, int(EditMode));
    if (m_mode != CalibrationMode) {
        m_overlayLocked = m_mode == MappingMode;
        m_overlay->setMode(m_overlayLocked ? InteractiveOverlay::Mapping
                                           : InteractiveOverlay::Edit);
    }
    if (m_mode == MappingMode || m_mode == CalibrationMode) {
        if (m_quickActions)
            m_quickActions->clearPending();
        m_overlay->setSelectedNode(-1);
    }
    // The panel is brought up to date before it shows: it then builds its cards once.
    syncCalibrationPanel();
    refreshModeWidgets();
}

void GamepadDefinder::refreshModeWidgets()
{
    const bool calibration = m_mode == CalibrationMode;
    // A profile that failed to load, or whose folder is gone, is shown but never edited.
    const bool readOnly = isReadOnly();
    if (!calibration)
        m_overlay->setLocked(m_overlayLocked || readOnly);
    if (m_inspector)
        m_inspector->setEnabled(!readOnly);
    if (m_quickActions)
        m_quickActions->setEnabled(!readOnly);
    QList<QPair<QWidget *, bool>> shown = {{m_overlay, !calibration}, {m_calibration, calibration}};
    if (m_sideColumn) {
        shown.append({m_sideColumn, !calibration});
        shown.append({m_inspector, !calibration});
        shown.append({m_quickActions, m_mode == MappingMode});
    }
    for (QPushButton *button : std::as_const(m_addNodeButtons)) {
        shown.append({button, m_mode == EditMode});
        button->setEnabled(validRow(m_currentRow) && !readOnly);
    }
    // Hide before showing: for a moment both panels would count, and the window would grow to
    // their sum and stay so.
    for (const auto &[widget, visible] : std::as_const(shown)) {
        if (!visible)
            widget->hide();
    }
    for (const auto &[widget, visible] : std::as_const(shown)) {
        if (visible)
            widget->show();
    }
    if (m_modeButtons) {
        if (QAbstractButton *button = m_modeButtons->button(m_mode))
            button->setChecked(true);
    }
    refreshQuickState();
    if (m_inspector)
        m_inspector->refresh();
}

void GamepadDefinder::refreshQuickState()
{
    if (m_quickActions)
        m_quickActions->setState(m_overlay->isLocked(), m_attached && m_attached->isConnected());
}

void GamepadDefinder::setExternalServices(const QJsonObject &services)
{
    m_externalServices = services;
    m_overlay->setExternalServices(services);
    m_linker->setExternalServices(services);
    if (m_quickActions) {
        m_quickActions->setCatalog(extractSharedActionCatalog(services));
        refreshQuickState();
    }
    if (m_inspector)
        m_inspector->refresh();
}

QMenu *GamepadDefinder::createListContextMenu(const QPoint &pos)
{
    QListWidgetItem *item = m_list->itemAt(pos);
    const int row = item ? m_list->row(item) : -1;
    auto *menu = new QMenu(this);
    const auto always = [this, menu](const QString &text, void (GamepadDefinder::*slot)()) {
        connect(menu->addAction(text), &QAction::triggered, this, slot);
    };
    // Entries that act on a profile make its tile current first; a refused change stops them.
    const auto onRow = [this, menu, row](const QString &text, void (GamepadDefinder::*slot)()) {
        QAction *action = menu->addAction(text);
        action->setEnabled(row >= 0);
        connect(action, &QAction::triggered, this, [this, row, slot] {
            if (selectRow(row))
                (this->*slot)();
        });
        return action;
    };
    always(QStringLiteral("Nouveau…"), &GamepadDefinder::actionNew);
    always(QStringLiteral("Importer…"), &GamepadDefinder::actionImport);
    menu->addSeparator();
    onRow(QStringLiteral("Copier"), &GamepadDefinder::actionCopy);
    always(QStringLiteral("Coller"), &GamepadDefinder::actionPaste);
    menu->addSeparator();
    onRow(QStringLiteral("Renommer…"), &GamepadDefinder::actionRename);
    onRow(QStringLiteral("Dupliquer"), &GamepadDefinder::actionDuplicate);
    onRow(QStringLiteral("Changer l’image…"), &GamepadDefinder::actionChangeImage);
    onRow(QStringLiteral("Exporter…"), &GamepadDefinder::actionExport);
    onRow(QStringLiteral("Snapshot PNG…"), &GamepadDefinder::actionSnapshot)->setVisible(false);
    QAction *all = menu->addAction(QStringLiteral("Snapshots PNG (tous)"));
    all->setVisible(false);
    all->setEnabled(m_list->count() > 0);
    connect(all, &QAction::triggered, this, &GamepadDefinder::actionSnapshotAll);
    onRow(QStringLiteral("Supprimer"), &GamepadDefinder::actionDelete);
    return menu;
}

void GamepadDefinder::showListContextMenu(const QPoint &pos)
{
    const std::unique_ptr<QMenu> menu(createListContextMenu(pos));
    menu->exec(m_list->viewport()->mapToGlobal(pos));
}

void GamepadDefinder::onOverlaySelectionChanged(int nodeIndex)
{
    Q_UNUSED(nodeIndex)
    if (m_inspector)
        m_inspector->refresh();
}

bool GamepadDefinder::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_overlay && !m_loading && !m_overlay->isLocked()) {
        switch (event->type()) {
        case QEvent::MouseButtonRelease:
        case QEvent::MouseMove:
        case QEvent::KeyPress:
        case QEvent::KeyRelease:
        case QEvent::Wheel:
            m_session->touched();
            break;
        default:
            break;
        }
    }
    return QWidget::eventFilter(watched, event);
}
