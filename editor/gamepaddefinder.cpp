#include "gamepaddefinder.h"

#include "actionlinker.h"
#include "associationdialog.h"
#include "controlmanette.h"
#include "dialogseam.h"
#include "gamepadconfigwidget.h"
#include "inspectorpanel.h"
#include "interactiveoverlay.h"
#include "jsonfile.h"
#include "mappingdocument.h"
#include "overlaybindings.h"
#include "overlayrender.h"
#include "profileoperations.h"
#include "profilestore.h"
#include "quickactionspanel.h"
#include "quickmapping.h"
#include "tagselectionbar.h"

#include <QButtonGroup>
#include <QClipboard>
#include <QComboBox>
#include <QDir>
#include <QElapsedTimer>
#include <QEvent>
#include <QFileInfo>
#include <QFrame>
#include <QGridLayout>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QImageReader>
#include <QJsonDocument>
#include <QListWidget>
#include <QMenu>
#include <QMetaMethod>
#include <QMimeData>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QShortcut>
#include <QSignalBlocker>
#include <QUuid>
#include <QVBoxLayout>

#include <memory>

namespace {

const QString kSaveTitle = QStringLiteral("Sauvegarde");
const QString kLoadTitle = QStringLiteral("Chargement");
const QString kLocalCopyFailed =
    QStringLiteral("Impossible de preparer une configuration locale : %1");
const QString kMetaSaveFailed = QStringLiteral("Échec sauvegarde meta : %1");

constexpr int kImagePathRole = Qt::UserRole + 1;
constexpr int kListWidth = 346; // two columns of tiles and the scroll bar
constexpr int kSideWidth = 264; // inspector and quick actions
constexpr int kThumbnailBatch = 8;
constexpr int kThumbnailBudgetMs = 12; // one batch never holds the event loop longer

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

QString idText(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces);
}

bool sameName(const QString &a, const QString &b)
{
    return a.trimmed().compare(b.trimmed(), Qt::CaseInsensitive) == 0;
}

// What the overlay shows when no profile is current.
QJsonObject emptyOverlayDocument()
{
    return {{QStringLiteral("type"), kOverlayType},
            {QStringLiteral("version"), 3},
            {QStringLiteral("nodes"), QJsonArray()}};
}

// The axis number of a "joy_%1" key, -1 for any other key.
int axisOfKey(const QString &key)
{
    if (!key.startsWith(QLatin1String("joy_")))
        return -1;
    bool ok = false;
    const int axis = key.mid(4).toInt(&ok);
    return ok ? axis : -1;
}

QList<GateSourceOption> twoAxisSources(const InteractiveOverlay &overlay)
{
    const QStringList labels = slotLabels(ElementKind::DualJoyCross);
    QList<GateSourceOption> sources;
    for (const OverlayNode &node : overlay.nodes()) {
        if (node.kind != ElementKind::DualJoyCross)
            continue;
        GateSourceOption option;
        option.key = idText(node.id);
        const int x = axisOfKey(sourceOf(node, labels.value(0)).stringKey);
        const int y = axisOfKey(sourceOf(node, labels.value(1)).stringKey);
        if (x >= 0)
            option.xAxis = x;
        if (y >= 0)
            option.yAxis = y;
        sources << option;
    }
    return sources;
}

QString sourcesSignature(const QList<GateSourceOption> &sources)
{
    QStringList parts;
    for (const GateSourceOption &s : sources)
        parts << QStringLiteral("%1:%2:%3").arg(s.key).arg(s.xAxis).arg(s.yAxis);
    return parts.join(QLatin1Char(';'));
}

bool sameProfile(const GamepadProfileInfo &a, const GamepadProfileInfo &b)
{
    return a.id == b.id && a.name == b.name && a.folder == b.folder && a.kind == b.kind &&
           a.deviceNames == b.deviceNames && a.configPath == b.configPath &&
           a.imagePath == b.imagePath && a.calibrationMode == b.calibrationMode &&
           a.calibrationOverrideFile == b.calibrationOverrideFile;
}

// A tile's picture, decoded at tile size: large pictures are never decoded whole when the format
// can scale while decoding.
QImage thumbnailImage(const QString &path)
{
    QImageReader reader(path);
    const QSize full = reader.size();
    const QSize tile = GamepadDefinder::kTileIconSize;
    if (full.isValid() && (full.width() > tile.width() || full.height() > tile.height()))
        reader.setScaledSize(full.scaled(tile, Qt::KeepAspectRatio).expandedTo({1, 1}));
    QImage image = reader.read();
    if (!image.isNull() && (image.width() > tile.width() || image.height() > tile.height()))
        image = image.scaled(tile, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    return image;
}

// The tile shown until the profile's picture is decoded: a controller outline.
QPixmap placeholderTile()
{
    const QSize size = GamepadDefinder::kTileIconSize;
    QPixmap pixmap(size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(63, 200, 220, 90), 1));
    painter.setBrush(QColor(0x22, 0x32, 0x3F));
    painter.drawRoundedRect(QRectF(0.5, 0.5, size.width() - 1, size.height() - 1), 8, 8);
    const QRectF body(size.width() / 2.0 - 34, size.height() / 2.0 - 16, 68, 32);
    QPainterPath outline;
    outline.addRoundedRect(body, 16, 16);
    painter.setPen(QPen(QColor(63, 200, 220, 150), 2));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(outline);
    painter.drawEllipse(QPointF(body.left() + 17, body.center().y()), 5, 5);
    painter.drawEllipse(QPointF(body.right() - 17, body.center().y()), 5, 5);
    return pixmap;
}

} // namespace

GamepadDefinder::GamepadDefinder(GamepadManager *manager, QWidget *parent)
    : QWidget(parent), m_manager(manager ? manager : GamepadManager::instance())
{
    m_autosave.setSingleShot(true);
    m_autosave.setInterval(kAutosaveDelayMs);
    m_autosave.setTimerType(Qt::PreciseTimer); // a coarse timer may fire 5 % early
    m_thumbnailTimer.setSingleShot(true);
    m_thumbnailTimer.setInterval(0);
    m_placeholder = QIcon(placeholderTile());

    buildForm();
    // The panels this window drives share the overlay's cell; the mode decides which one shows.
    m_calibration = new GamepadConfigWidget(this);
    m_calibration->hide();
    m_linker = new ActionLinker(this);
    m_linker->hide(); // quick mapping stands in for its list; it follows the current profile
    m_grid->addWidget(m_calibration, 1, 1, 3, 1);
    m_grid->addWidget(m_linker, 1, 1, 3, 1);
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
    refillList();
    showNoProfile();
    m_overlay->installEventFilter(this);
    setMode(MappingMode);
}

GamepadDefinder::~GamepadDefinder()
{
    m_autosave.stop();
    m_thumbnailTimer.stop();
    // Edits of the last moments: the window is going away, so no box, only the log.
    if (m_dirty && validRow(m_currentRow)) {
        GamepadProfileMeta entry = m_entries.at(m_currentRow);
        QString error;
        if (!saveProfileFiles(&entry, m_overlay->serialize(), m_overlay->nodes(),
                              m_overlay->catalog(), &error))
            qCWarning(lcGamepadUi).noquote() << "Gamepad profile save failed error=" << error;
    }
    m_calibration->flushSave();
    m_linker->flushSave();
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

    m_grid->addWidget(m_list, 1, 0);
    m_grid->addWidget(m_addButton, 2, 0);
    m_grid->addWidget(m_vendorCombo, 3, 0);
    m_grid->addWidget(m_overlay, 1, 1, 3, 1);
    m_grid->setColumnStretch(1, 1);
    m_grid->setRowStretch(1, 1);
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
    m_tagBar->setObjectName(QStringLiteral("tagSelectionBar"));
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
    m_quickActions->setObjectName(QStringLiteral("gamepadQuickActionsPanel"));
    side->addWidget(m_inspector, 3);
    side->addWidget(m_quickActions, 2);
    grid->addWidget(m_sideColumn, 1, 2, 3, 1);
    m_quickMapping = new QuickMapping(overlay, m_quickActions, this);
}

void GamepadDefinder::configureList()
{
    m_list->setViewMode(QListView::IconMode);
    m_list->setIconSize(kTileIconSize);
    m_list->setGridSize(kTileGridSize);
    m_list->setResizeMode(QListView::Adjust);
    m_list->setMovement(QListView::Static);
    m_list->setWrapping(true);
    m_list->setUniformItemSizes(true);
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
    connect(&m_autosave, &QTimer::timeout, this, [this] {
        if (validRow(m_currentRow))
            saveProfile(m_currentRow);
    });
    connect(&m_thumbnailTimer, &QTimer::timeout, this, &GamepadDefinder::decodeThumbnails);
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
// Controllers

void GamepadDefinder::setRealGamepads(const QList<QPointer<ControlManette>> &gamepads)
{
    bool same = gamepads.size() == m_realGamepads.size();
    for (int i = 0; same && i < gamepads.size(); ++i)
        same = gamepads.at(i).get() == m_realGamepads.at(i).get();
    if (same)
        return;
    m_realGamepads = gamepads;
    for (const QMetaObject::Connection &c : std::as_const(m_gamepadWatch))
        disconnect(c);
    m_gamepadWatch.clear();
    for (const QPointer<ControlManette> &pad : std::as_const(m_realGamepads)) {
        if (!pad)
            continue;
        m_gamepadWatch << connect(pad, &ControlManette::connectedChanged, this,
                                  &GamepadDefinder::refreshDevices)
                       << connect(pad, &ControlManette::nameChanged, this,
                                  &GamepadDefinder::refreshDevices);
    }
    m_linker->setInputDevices(m_realGamepads);
    refreshDevices();
    Q_EMIT realGamepadsChanged();
}

QStringList GamepadDefinder::connectedNames() const
{
    QStringList names;
    for (const QPointer<ControlManette> &pad : m_realGamepads) {
        if (pad && pad->isConnected())
            names << pad->name().trimmed();
    }
    return names;
}

ControlManette *GamepadDefinder::chooseController() const
{
    const QStringList linked =
        validRow(m_currentRow) ? m_entries.at(m_currentRow).deviceNames : QStringList();
    for (const QPointer<ControlManette> &pad : m_realGamepads) {
        if (!pad || !pad->isConnected())
            continue;
        for (const QString &name : linked) {
            if (sameName(name, pad->name()))
                return pad;
        }
    }
    for (const QPointer<ControlManette> &pad : m_realGamepads) {
        if (pad && pad->isConnected())
            return pad;
    }
    return nullptr;
}

void GamepadDefinder::refreshDevices()
{
    if (m_tagBar)
        m_tagBar->setAvailableTags(connectedNames());
    attachController(chooseController());
    refreshQuickState();
}

void GamepadDefinder::attachController(ControlManette *device)
{
    if (m_attached == device && (device || m_liveInput.isEmpty()))
        return;
    for (const QMetaObject::Connection &c : std::as_const(m_liveInput))
        disconnect(c);
    m_liveInput.clear();
    m_attached = device;
    if (device) {
        m_liveInput << connect(device, &ControlManette::axisChanged, this,
                               &GamepadDefinder::onAxisChanged)
                    << connect(device, &ControlManette::buttonChanged, this,
                               &GamepadDefinder::onButtonChanged)
                    << connect(device, &ControlManette::gateChanged, this,
                               &GamepadDefinder::onGateChanged);
    }
    m_calibrationStale = true;
    syncCalibrationPanel();
}

void GamepadDefinder::onAxisChanged(int axis, double value)
{
    if (m_quickMapping)
        m_quickMapping->onAxisChanged(axis, value);
}

void GamepadDefinder::onButtonChanged(int button, bool pressed)
{
    if (m_quickMapping)
        m_quickMapping->onButtonChanged(button, pressed);
}

void GamepadDefinder::onGateChanged(const QString &key, bool inside)
{
    if (m_quickMapping)
        m_quickMapping->onGateChanged(key, inside);
}

GamepadProfileInfo GamepadDefinder::currentProfileInfo() const
{
    GamepadProfileInfo info;
    if (!validRow(m_currentRow))
        return info;
    const GamepadProfileMeta &entry = m_entries.at(m_currentRow);
    info.id = entry.id;
    info.name = entry.name;
    info.deviceNames = entry.deviceNames;
    info.folder = entry.folder;
    info.kind = entry.kind;
    const QString config = entry.configPath();
    if (!config.isEmpty() && QFileInfo::exists(config))
        info.configPath = config;
    const QString image = entry.imagePath();
    if (!image.isEmpty() && QFileInfo::exists(image))
        info.imagePath = image;
    info.calibrationMode = normalizedCalibrationMode(entry.calibrationMode);
    info.calibrationOverrideFile = entry.calibrationOverrideFile;
    return info;
}

// Each of the panel's setters reloads its calibration and rebuilds its cards: it is only brought
// up to date while it is shown, and only in what changed.
void GamepadDefinder::syncCalibrationPanel()
{
    if (!m_calibrationStale || m_mode != CalibrationMode)
        return;
    m_calibrationStale = false;
    if (m_calibration->device() != m_attached)
        m_calibration->setDevice(m_attached);
    const GamepadProfileInfo info = currentProfileInfo();
    if (!sameProfile(info, m_calibration->profile()))
        m_calibration->setProfile(info);
    const QList<GateSourceOption> sources = twoAxisSources(*m_overlay);
    const QString signature = sourcesSignature(sources);
    if (signature != m_givenSources) {
        m_givenSources = signature;
        m_calibration->setTwoAxisSources(sources);
    }
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
        m_overlay->setLocked(m_overlayLocked);
    }
    if (m_mode == MappingMode || m_mode == CalibrationMode) {
        if (m_quickActions)
            m_quickActions->clearPending();
        m_overlay->setSelectedNode(-1);
    }
    refreshModeWidgets();
    syncCalibrationPanel();
}

void GamepadDefinder::refreshModeWidgets()
{
    const bool calibration = m_mode == CalibrationMode;
    QList<QPair<QWidget *, bool>> shown = {{m_overlay, !calibration}, {m_calibration, calibration}};
    if (m_sideColumn) {
        shown.append({m_sideColumn, !calibration});
        shown.append({m_inspector, !calibration});
        shown.append({m_quickActions, m_mode == MappingMode});
    }
    for (QPushButton *button : std::as_const(m_addNodeButtons)) {
        shown.append({button, m_mode == EditMode});
        button->setEnabled(validRow(m_currentRow));
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

// ---------------------------------------------------------------------------------------------
// The list

void GamepadDefinder::refillList()
{
    m_thumbnailQueue.clear();
    m_entries = readProfileEntries();
    const QSignalBlocker blocker(m_list);
    m_list->setUpdatesEnabled(false);
    m_list->clear();
    for (const GamepadProfileMeta &entry : std::as_const(m_entries))
        appendTile(entry);
    m_list->setUpdatesEnabled(true);
}

QListWidgetItem *GamepadDefinder::appendTile(const GamepadProfileMeta &entry)
{
    auto *item = new QListWidgetItem(m_placeholder, entry.name);
    item->setToolTip(entry.name);
    item->setData(kImagePathRole, entry.imagePath());
    m_list->addItem(item);
    scheduleThumbnail(m_list->count() - 1);
    return item;
}

void GamepadDefinder::updateTile(int row)
{
    QListWidgetItem *item = m_list->item(row);
    if (!item || !validRow(row))
        return;
    const GamepadProfileMeta &entry = m_entries.at(row);
    item->setText(entry.name);
    item->setToolTip(entry.name);
    if (item->data(kImagePathRole).toString() != entry.imagePath()) {
        item->setData(kImagePathRole, entry.imagePath());
        item->setIcon(m_placeholder);
    }
    scheduleThumbnail(row);
}

void GamepadDefinder::scheduleThumbnail(int row)
{
    m_thumbnailQueue << row;
    if (!m_thumbnailTimer.isActive())
        m_thumbnailTimer.start();
}

// A few pictures per turn of the event loop: a catalogue of a thousand profiles shows at once
// with placeholders and fills in without freezing the window.
void GamepadDefinder::decodeThumbnails()
{
    QElapsedTimer clock;
    clock.start();
    int decoded = 0;
    while (!m_thumbnailQueue.isEmpty() && decoded < kThumbnailBatch &&
           clock.elapsed() < kThumbnailBudgetMs) {
        QListWidgetItem *item = m_list->item(m_thumbnailQueue.takeFirst());
        const QString path = item ? item->data(kImagePathRole).toString() : QString();
        if (path.isEmpty())
            continue;
        ++decoded;
        const QImage image = thumbnailImage(path);
        if (!image.isNull())
            item->setIcon(QIcon(QPixmap::fromImage(image)));
    }
    if (!m_thumbnailQueue.isEmpty())
        m_thumbnailTimer.start();
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

// ---------------------------------------------------------------------------------------------
// Selection, loading, saving

bool GamepadDefinder::selectRow(int row)
{
    if (!validRow(row))
        row = -1;
    if (row == m_currentRow)
        return true;
    if (m_list->currentRow() == row)
        onListSelectionChanged(row);
    else
        m_list->setCurrentRow(row);
    return m_currentRow == row;
}

void GamepadDefinder::onListSelectionChanged(int row)
{
    if (!validRow(row))
        row = -1;
    if (row == m_currentRow)
        return;
    const int previous = m_currentRow;
    m_autosave.stop();
    if (validRow(previous) && m_dirty && !saveProfile(previous)) {
        // Edits of a profile whose folder is gone can be kept nowhere: the user has been told,
        // the next change goes through.
        if (!QFileInfo::exists(m_entries.at(previous).folder))
            m_dirty = false;
        const QSignalBlocker blocker(m_list);
        m_list->setCurrentRow(previous);
        // A mouse click finishes its own selection after this handler: put it back afterwards.
        QMetaObject::invokeMethod(
            this,
            [this] {
                const QSignalBlocker again(m_list);
                m_list->setCurrentRow(m_currentRow);
            },
            Qt::QueuedConnection);
        return;
    }
    // Calibration and mapping edits still waiting belong to the profile being left.
    m_calibration->flushSave();
    m_linker->flushSave();
    m_currentRow = row;
    if (m_list->currentRow() != row) {
        const QSignalBlocker blocker(m_list);
        m_list->setCurrentRow(row);
    }
    if (row >= 0)
        loadCurrentProfile();
    else
        showNoProfile();
}

void GamepadDefinder::loadCurrentProfile()
{
    const GamepadProfileMeta entry = m_entries.at(m_currentRow);
    const QString imagePath = entry.imagePath();
    // QPixmap::load goes through the pixmap cache: the mapping panel's load of the same picture
    // below does not decode it again.
    QPixmap picture;
    if (!imagePath.isEmpty())
        picture.load(imagePath);

    QString problem;
    QJsonObject document;
    m_loading = true;
    {
        const QSignalBlocker blocker(m_overlay);
        m_overlay->setBackgroundPixmap(picture);
        QJsonDocument json;
        QString error;
        if (!readJsonFile(entry.overlayPath(), &json, &error))
            problem = QStringLiteral("Impossible de charger la configuration : %1").arg(error);
        else if (!json.isObject() || !m_overlay->load(json.object()))
            problem = QStringLiteral("Format de configuration non reconnu.");
        else
            document = json.object();
        if (!problem.isEmpty()) {
            // Never leave the previous profile's pastilles where this one's would be saved.
            m_overlay->load(emptyOverlayDocument());
        } else {
            QJsonArray bridges;
            if (readMappingBridges(entry.folder, &bridges, &error))
                m_overlay->applyMapping(bridges);
            else
                problem = QStringLiteral("Impossible de charger la configuration : %1").arg(error);
        }
    }
    m_loading = false;
    m_dirty = false;

    if (m_tagBar) {
        const QSignalBlocker blocker(m_tagBar);
        m_tagBar->setSelectedTags(entry.deviceNames);
    }
    m_linker->loadGamepadSnapshot(entry.id, entry.name, entry.deviceNames, document, imagePath,
                                  entry.folder);
    m_calibrationStale = true;
    refreshDevices();
    syncCalibrationPanel();
    refreshModeWidgets();
    emitCurrentSelection();
    Q_EMIT deviceSelectionChanged(entry.deviceNames);
    if (!problem.isEmpty())
        dialogSeam().critical(this, kLoadTitle, problem);
}

void GamepadDefinder::showNoProfile()
{
    m_loading = true;
    {
        const QSignalBlocker blocker(m_overlay);
        m_overlay->setBackgroundPixmap(QPixmap());
        m_overlay->load(emptyOverlayDocument());
    }
    m_loading = false;
    m_dirty = false;
    if (m_list->currentRow() != -1) {
        const QSignalBlocker blocker(m_list);
        m_list->setCurrentRow(-1);
    }
    if (m_tagBar) {
        const QSignalBlocker blocker(m_tagBar);
        m_tagBar->setSelectedTags({});
    }
    m_linker->loadGamepadSnapshot(QUuid(), QString(), {}, {}, QString());
    m_calibrationStale = true;
    refreshDevices();
    syncCalibrationPanel();
    refreshModeWidgets();
    emitCurrentSelection();
    Q_EMIT deviceSelectionChanged({});
}

void GamepadDefinder::emitCurrentSelection()
{
    // The overlay is serialised only for someone who listens.
    static const QMetaMethod signal =
        QMetaMethod::fromSignal(&GamepadDefinder::currentGamepadChanged);
    if (!isSignalConnected(signal))
        return;
    if (!validRow(m_currentRow)) {
        Q_EMIT currentGamepadChanged(QString(), QString(), QJsonObject(), QString());
        return;
    }
    const GamepadProfileMeta &entry = m_entries.at(m_currentRow);
    Q_EMIT currentGamepadChanged(idText(entry.id), entry.name, m_overlay->serialize(),
                                 entry.imagePath());
}

// The overlay holds the current profile only: a row that is not current has nothing to save.
bool GamepadDefinder::saveProfile(int row, bool interactive)
{
    if (!validRow(row) || row != m_currentRow)
        return false;
    GamepadProfileMeta entry = m_entries.at(row);
    QString error;
    if (!saveProfileFiles(&entry, m_overlay->serialize(), m_overlay->nodes(), m_overlay->catalog(),
                          &error)) {
        if (interactive)
            dialogSeam().critical(this, kSaveTitle, error);
        else
            qCWarning(lcGamepadUi).noquote() << "Gamepad profile save failed error=" << error;
        return false;
    }
    m_entries[row] = entry; // a shared profile may now live in the user's folder
    m_dirty = false;
    emitCurrentSelection();
    if (!m_loading)
        Q_EMIT profilesCatalogChanged();
    return true;
}

bool GamepadDefinder::updateEntryMeta(int row,
                                      const std::function<void(GamepadProfileMeta &)> &change)
{
    if (!validRow(row))
        return false;
    GamepadProfileMeta entry = m_entries.at(row);
    QString error;
    if (!ensureLocalProfile(&entry, &error)) {
        dialogSeam().critical(this, kSaveTitle, kLocalCopyFailed.arg(error));
        return false;
    }
    change(entry);
    if (!writeProfileMeta(&entry, &error)) {
        dialogSeam().critical(this, kSaveTitle, kMetaSaveFailed.arg(error));
        return false;
    }
    m_entries[row] = entry;
    return true;
}

void GamepadDefinder::onOverlayDirty()
{
    if (m_loading)
        return;
    m_dirty = true;
    m_calibrationStale = true; // its gates follow the two-axis pastilles
    syncCalibrationPanel();
    if (validRow(m_currentRow))
        m_autosave.start();
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
            m_dirty = true;
            break;
        default:
            break;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void GamepadDefinder::onCalibrationProfileMetadataChanged(const QString &mode,
                                                          const QString &overrideFile,
                                                          uint vendorId, uint productId)
{
    // The panel speaks of the profile it holds, which is the current one unless it was just left.
    int row = m_currentRow;
    const QUuid id = m_calibration->profile().id;
    for (int i = 0; !id.isNull() && i < m_entries.size(); ++i) {
        if (m_entries.at(i).id == id) {
            row = i;
            break;
        }
    }
    const QString folder = validRow(row) ? m_entries.at(row).folder : QString();
    const bool written = updateEntryMeta(row, [&](GamepadProfileMeta &entry) {
        entry.calibrationMode = normalizedCalibrationMode(mode);
        entry.calibrationOverrideFile = overrideFile.trimmed();
        // A panel without a controller knows no ids: the profile keeps its own.
        if (vendorId)
            entry.vendorId = vendorId;
        if (productId)
            entry.productId = productId;
    });
    if (!written)
        return;
    if (m_entries.at(row).folder != folder) {
        // The profile was copied to the user's folder; the panel is told once it is done.
        m_calibrationStale = true;
        QTimer::singleShot(0, this, &GamepadDefinder::syncCalibrationPanel);
    }
    Q_EMIT profilesCatalogChanged();
}

void GamepadDefinder::onDeviceSelectionTagsChanged()
{
    if (!m_tagBar || !validRow(m_currentRow))
        return;
    const QStringList names = m_tagBar->selectedTags();
    if (!updateEntryMeta(m_currentRow,
                         [&names](GamepadProfileMeta &entry) { entry.deviceNames = names; }))
        return;
    Q_EMIT deviceSelectionChanged(names);
    m_calibrationStale = true;
    refreshDevices();
    syncCalibrationPanel();
    Q_EMIT profilesCatalogChanged();
}

// ---------------------------------------------------------------------------------------------
// Operations

void GamepadDefinder::on_pushButtonAdd_clicked()
{
    actionNew();
}

QJsonObject GamepadDefinder::defaultOverlayDocument(const QString &imageSource) const
{
    // A scratch overlay of the editor's size over the chosen picture, so that the first pastille
    // keeps its place relative to the picture.
    InteractiveOverlay scratch;
    scratch.resize(m_overlay->size());
    QImageReader reader(imageSource);
    const QImage picture = reader.read();
    if (!picture.isNull())
        scratch.setBackgroundPixmap(QPixmap::fromImage(picture));
    scratch.setLocked(false);
    scratch.createNode(ElementKind::SingleJoy, QStringLiteral("Start"), QPoint(200, 150));
    return scratch.serialize();
}

void GamepadDefinder::actionNew()
{
    bool ok = false;
    QString name =
        dialogSeam().getText(this, QStringLiteral("Nouveau gamepad"),
                             QStringLiteral("Nom du gamepad :"), QStringLiteral("Gamepad"), &ok);
    if (!ok)
        return;
    name = name.trimmed();
    if (name.isEmpty())
        name = QStringLiteral("Gamepad");
    const QString image = dialogSeam().getOpenFileName(
        this, QStringLiteral("Choisir l’image du gamepad"), QString(), profileImageFilter());
    if (image.isEmpty())
        return;

    NewProfileRequest request;
    request.name = name;
    request.imageSource = image;
    request.linkedName = chooseControllerToLink(this, connectedNames());
    for (const QPointer<ControlManette> &pad : std::as_const(m_realGamepads)) {
        if (!request.linkedName.isEmpty() && pad && pad->isConnected() &&
            sameName(pad->name(), request.linkedName)) {
            request.vendorId = pad->vendorId();
            request.productId = pad->productId();
            break;
        }
    }
    request.overlayDocument = defaultOverlayDocument(image);

    GamepadProfileMeta created;
    QString title;
    QString error;
    if (!createProfile(request, &created, &title, &error)) {
        dialogSeam().warning(this, title.isEmpty() ? QStringLiteral("Création") : title, error);
        return;
    }
    addCreatedProfile(created);
}

void GamepadDefinder::addCreatedProfile(const GamepadProfileMeta &entry)
{
    m_entries.append(entry);
    appendTile(entry);
    selectRow(int(m_entries.size()) - 1);
    Q_EMIT profilesCatalogChanged();
}

void GamepadDefinder::actionSave()
{
    if (validRow(m_currentRow)) {
        m_autosave.stop();
        saveProfile(m_currentRow);
    }
}

int GamepadDefinder::duplicateCurrent()
{
    if (!validRow(m_currentRow))
        return -1;
    // The copy is made from the files: edits still in memory go there first.
    if (m_dirty) {
        m_autosave.stop();
        if (!saveProfile(m_currentRow))
            return -1;
    }
    m_calibration->flushSave();
    GamepadProfileMeta copy;
    QString error;
    if (!duplicateProfile(m_entries.at(m_currentRow), &copy, &error)) {
        dialogSeam().warning(this, QStringLiteral("Dupliquer"), error);
        return -1;
    }
    m_entries.append(copy);
    appendTile(copy);
    Q_EMIT profilesCatalogChanged();
    return int(m_entries.size()) - 1;
}

void GamepadDefinder::actionDuplicate()
{
    const int row = duplicateCurrent();
    if (row >= 0)
        selectRow(row);
}

bool GamepadDefinder::deleteCurrent()
{
    if (!validRow(m_currentRow))
        return false;
    const QString title = QStringLiteral("Supprimer");
    const GamepadProfileMeta entry = m_entries.at(m_currentRow);
    if (!mayDeleteProfile(entry)) {
        dialogSeam().information(this, title,
                                 QStringLiteral("Seul un admin peut supprimer un profil partage."));
        return false;
    }
    if (!dialogSeam().question(this, title, QStringLiteral("Supprimer « %1 » ?").arg(entry.name)))
        return false;
    // Nothing may write into the folder once it is gone, or it would come back.
    m_autosave.stop();
    m_calibration->flushSave();
    m_linker->flushSave();
    QString error;
    const bool removed = deleteProfileFolder(entry, &error);
    m_dirty = false;
    m_currentRow = -1;
    refillList();
    showNoProfile();
    Q_EMIT profilesCatalogChanged();
    if (!removed)
        dialogSeam().warning(this, title, error);
    return removed;
}

void GamepadDefinder::actionDelete()
{
    deleteCurrent();
}

void GamepadDefinder::actionRename()
{
    if (!validRow(m_currentRow))
        return;
    const int row = m_currentRow;
    bool ok = false;
    const QString typed =
        dialogSeam().getText(this, QStringLiteral("Renommer"), QStringLiteral("Nouveau nom :"),
                             m_entries.at(row).name, &ok);
    if (!ok || typed.trimmed().isEmpty() || row != m_currentRow)
        return;
    GamepadProfileMeta entry = m_entries.at(row);
    QString error;
    if (!renameProfile(&entry, typed.trimmed(), &error)) {
        if (!error.isEmpty())
            dialogSeam().warning(this, QStringLiteral("Renommer"), error);
        return;
    }
    m_entries[row] = entry;
    updateTile(row);
    Q_EMIT profilesCatalogChanged();
    m_linker->loadGamepadSnapshot(entry.id, entry.name, entry.deviceNames, m_overlay->serialize(),
                                  entry.imagePath(), entry.folder);
    m_calibrationStale = true;
    syncCalibrationPanel();
    emitCurrentSelection();
}

void GamepadDefinder::actionChangeImage()
{
    if (!validRow(m_currentRow))
        return;
    const int row = m_currentRow;
    const QString source = dialogSeam().getOpenFileName(
        this, QStringLiteral("Choisir une nouvelle image"), QString(), profileImageFilter());
    if (source.isEmpty() || row != m_currentRow)
        return;
    GamepadProfileMeta entry = m_entries.at(row);
    QString error;
    if (!changeProfileImage(&entry, source, &error)) {
        dialogSeam().warning(this, QStringLiteral("Image"), error);
        return;
    }
    m_entries[row] = entry;
    updateTile(row);
    {
        // Read past the pixmap cache: the new file may carry the old one's name.
        QImageReader reader(entry.imagePath());
        const QSignalBlocker blocker(m_overlay);
        m_overlay->setBackgroundPixmap(QPixmap::fromImage(reader.read()));
    }
    m_calibrationStale = true;
    syncCalibrationPanel();
    Q_EMIT profilesCatalogChanged();
    emitCurrentSelection();
}

void GamepadDefinder::addNodeFromBar(int kind)
{
    if (!validRow(m_currentRow))
        return;
    QRect area = m_overlay->backgroundRect();
    if (area.isEmpty())
        area = m_overlay->rect();
    // Successive additions fan out instead of stacking on one spot.
    const int shift = (m_overlay->nodeCount() % 6) * 24;
    const int index =
        m_overlay->createNode(ElementKind(kind), QString(), area.center() + QPoint(shift, shift));
    m_overlay->setSelectedNode(index);
    onOverlayDirty();
}

// ---------------------------------------------------------------------------------------------
// Exchange and snapshots

namespace {

const QString kLinkedExport = QStringLiteral(
    "Ce profil est associé à une ou plusieurs manettes. Le copier/coller n’est disponible que pour "
    "les profils non liés.");
const QString kExchangeFilter = QStringLiteral("Configuration Zelto (*.zelto.json)");
const QString kSnapshotTitle = QStringLiteral("Snapshot PNG");
const QString kSnapshotsTitle = QStringLiteral("Snapshots PNG");

QStringList linkedNamesOf(const GamepadProfileMeta &entry)
{
    return exchangeLinkedNames(
        {{QStringLiteral("deviceNames"), QJsonArray::fromStringList(entry.deviceNames)}});
}

void logSnapshotIssue(const QString &error)
{
    qCWarning(lcGamepadUi).noquote()
        << QStringLiteral("Gamepad snapshot issue error=%1").arg(error);
}

} // namespace

void GamepadDefinder::createFromExchange(const QJsonObject &document, const QString &title,
                                         const QString &failure)
{
    GamepadProfileMeta created;
    QString error;
    if (!createProfileFromExchange(document, &created, &error)) {
        dialogSeam().warning(this, title,
                             error.isEmpty() ? failure : failure + QLatin1Char('\n') + error);
        return;
    }
    addCreatedProfile(created);
}

void GamepadDefinder::actionExport()
{
    if (!validRow(m_currentRow))
        return;
    const int row = m_currentRow;
    const QString title = QStringLiteral("Export");
    const QString path = dialogSeam().getSaveFileName(
        this, QStringLiteral("Exporter le gamepad"),
        safeProfileFileName(m_entries.at(row).name) + kExchangeFileSuffix, kExchangeFilter);
    if (path.isEmpty() || row != m_currentRow)
        return;
    // The overlay as shown: edits the autosave has not written yet belong to the export.
    const QJsonObject document = buildExchangeDocument(m_entries.at(row), m_overlay->serialize());
    if (!exchangeLinkedNames(document).isEmpty()) {
        dialogSeam().information(this, title, kLinkedExport);
        return;
    }
    QString error;
    if (!writeJsonFileAtomic(path, document, &error))
        dialogSeam().warning(this, title, QStringLiteral("Échec export : %1").arg(error));
}

void GamepadDefinder::actionImport()
{
    const QString title = QStringLiteral("Import");
    const QString path =
        dialogSeam().getOpenFileName(this, QStringLiteral("Importer un gamepad"), QString(),
                                     kExchangeFilter + QStringLiteral(";;JSON (*.json)"));
    if (path.isEmpty())
        return;
    QByteArray bytes;
    QString reason;
    if (!readRegularFile(path, kMaxExchangeDocumentBytes, &bytes, &reason)) {
        dialogSeam().warning(this, title, QStringLiteral("Impossible d’ouvrir %1").arg(path));
        return;
    }
    QJsonParseError parse;
    const QJsonDocument json = QJsonDocument::fromJson(bytes, &parse);
    if (parse.error != QJsonParseError::NoError || !json.isObject()) {
        const QString why = parse.error != QJsonParseError::NoError
                                ? parse.errorString()
                                : editorJsonMessages().notAnObject;
        dialogSeam().warning(this, title,
                             QStringLiteral("JSON invalide dans %1 (%2)").arg(path, why));
        return;
    }
    if (!exchangeLinkedNames(json.object()).isEmpty()) {
        dialogSeam().information(
            this, title,
            QStringLiteral("Ce fichier est lié à une ou plusieurs manettes. Le coller/importe "
                           "n’est autorisé que pour des profils non liés."));
        return;
    }
    createFromExchange(json.object(), title, QStringLiteral("Impossible d’importer ce fichier."));
}

void GamepadDefinder::actionCopy()
{
    if (!validRow(m_currentRow))
        return;
    const GamepadProfileMeta &entry = m_entries.at(m_currentRow);
    const QStringList linked = linkedNamesOf(entry);
    if (!linked.isEmpty()) {
        dialogSeam().information(
            this, QStringLiteral("Copier"),
            QStringLiteral("Ce profil est associé à « %1 ». Le copier/coller est réservé aux "
                           "profils non liés.")
                .arg(linked.join(QStringLiteral(", "))));
        return;
    }
    // The saved state: a copy is what another workstation would read from this one's disk.
    QJsonObject overlay;
    QString error;
    if (!readJsonObjectFile(entry.overlayPath(), &overlay, &error))
        overlay = QJsonObject();
    const QByteArray text =
        QJsonDocument(buildExchangeDocument(entry, overlay)).toJson(QJsonDocument::Compact);
    auto *mime = new QMimeData;
    mime->setData(kExchangeMimeType, text);
    mime->setText(QString::fromUtf8(text));
    QGuiApplication::clipboard()->setMimeData(mime);
}

void GamepadDefinder::actionPaste()
{
    const QString title = QStringLiteral("Coller");
    const QMimeData *mime = QGuiApplication::clipboard()->mimeData();
    QJsonObject document;
    QString error;
    if (mime && mime->hasFormat(kExchangeMimeType)) {
        if (!parseExchangeDocument(mime->data(kExchangeMimeType), &document, &error)) {
            dialogSeam().warning(this, title, error);
            return;
        }
    } else {
        const QString text = mime && mime->hasText() ? mime->text() : QString();
        if (text.isEmpty()) {
            dialogSeam().information(
                this, title,
                QStringLiteral("Aucune configuration Zelto trouvée dans le presse‑papier."));
            return;
        }
        if (!parseExchangeDocument(text.toUtf8(), &document, &error)) {
            dialogSeam().warning(
                this, title,
                QStringLiteral("Le presse‑papier ne contient pas de configuration Zelto valide."));
            return;
        }
    }
    if (!exchangeLinkedNames(document).isEmpty()) {
        dialogSeam().information(
            this, title,
            QStringLiteral("Ce profil est lié à une ou plusieurs manettes. Le coller n’est "
                           "autorisé que pour des profils non liés."));
        return;
    }
    createFromExchange(document, title,
                       QStringLiteral("Impossible de créer le gamepad à partir des données."));
}

void GamepadDefinder::actionSnapshot()
{
    if (!validRow(m_currentRow))
        return;
    const int row = m_currentRow;
    const QString name = safeProfileFileName(m_entries.at(row).name) + QStringLiteral(".png");
    const QString path = dialogSeam().getSaveFileName(
        this, QStringLiteral("Exporter snapshot PNG"),
        m_snapshotFolder.isEmpty() ? name : QDir(m_snapshotFolder).filePath(name),
        QStringLiteral("Images PNG (*.png)"));
    if (path.isEmpty() || row != m_currentRow)
        return;
    m_snapshotFolder = QFileInfo(path).absolutePath();
    QString error;
    const QImage image =
        renderOverlayImage(m_overlay->serialize(), m_entries.at(row).imagePath(), QSize(), &error);
    if (image.isNull()) {
        logSnapshotIssue(error);
        dialogSeam().warning(this, kSnapshotTitle,
                             QStringLiteral("Impossible de générer le snapshot : %1").arg(error));
        return;
    }
    if (!image.save(path, "PNG")) {
        const QString failure = QStringLiteral("Échec sauvegarde PNG : %1").arg(path);
        logSnapshotIssue(failure);
        dialogSeam().warning(this, kSnapshotTitle, failure);
    }
}

void GamepadDefinder::actionSnapshotAll()
{
    if (m_entries.isEmpty())
        return;
    const QString folder = dialogSeam().getExistingDirectory(
        this, QStringLiteral("Choisir un dossier pour les snapshots"), m_snapshotFolder);
    if (folder.isEmpty())
        return;
    m_snapshotFolder = folder;
    exportSnapshotsToDir(folder);
    const qsizetype count = m_snapshotReport.written.size();
    if (!m_snapshotSucceeded) {
        dialogSeam().warning(this, kSnapshotsTitle,
                             m_snapshotError.isEmpty()
                                 ? QStringLiteral("Impossible de générer les snapshots.")
                                 : m_snapshotError);
    } else if (m_snapshotReport.errors.isEmpty()) {
        dialogSeam().information(this, kSnapshotsTitle,
                                 QStringLiteral("Snapshots générés : %1").arg(count));
    } else {
        dialogSeam().warning(this, kSnapshotsTitle,
                             QStringLiteral("Snapshots générés : %1\nErreurs :\n%2")
                                 .arg(count)
                                 .arg(m_snapshotReport.errors.join(QLatin1Char('\n'))));
    }
}

void GamepadDefinder::exportSnapshotsToDir(const QString &outDir)
{
    m_snapshotReport = SnapshotReport();
    m_snapshotSucceeded = false;
    m_snapshotError.clear();
    if (outDir.trimmed().isEmpty()) {
        m_snapshotError = QStringLiteral("Dossier de sortie vide.");
        logSnapshotIssue(m_snapshotError);
        return;
    }
    // The other profiles are read from their files: the current one must not lag behind them.
    if (validRow(m_currentRow) && m_dirty) {
        m_autosave.stop();
        if (!saveProfile(m_currentRow, false)) {
            m_snapshotError =
                QStringLiteral("Impossible de sauvegarder la configuration en cours.");
            logSnapshotIssue(m_snapshotError);
            return;
        }
    }
    const bool current = validRow(m_currentRow);
    m_snapshotSucceeded = exportSnapshots(m_entries, outDir, &m_snapshotReport, &m_snapshotError,
                                          current ? m_entries.at(m_currentRow).id : QUuid(),
                                          current ? m_overlay->serialize() : QJsonObject());
}
