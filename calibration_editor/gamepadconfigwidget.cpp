#include "gamepadconfigwidget.h"

#include "calibrationeditorstyle.h"
#include "calibrationmeasuredialog.h"
#include "controlmanette.h"
#include "gamepadbuttoncalibrationwidget.h"
#include "inputprocessing.h"

#include <QComboBox>
#include <QFile>
#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QSet>
#include <QStyle>
#include <QVBoxLayout>

namespace {

const QString kModeOverride = QStringLiteral("override");
const QString kModeInherit = QStringLiteral("inherit");
const QString kNoTarget = QStringLiteral("Aucun fichier de calibration cible.");
const QString kNoProfile = QStringLiteral("Aucun profil selectionne pour creer un override.");
constexpr int kButtonColumns = 2;
const QString kCapturesOff = QStringLiteral("Deconnectee: captures off");

GamepadCalibration fullCalibration(const GamepadCalibration &calibration)
{
    return normalizeCalibration(calibration, kGamepadAxisCount, kGamepadButtonCount);
}

QString hexId(quint32 id)
{
    return QString::number(id, 16).rightJustified(4, QLatin1Char('0'));
}

QLabel *styledLabel(const QString &text, const QString &objectName, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setObjectName(objectName);
    label->setWordWrap(true);
    return label;
}

QPushButton *actionButton(const QString &text, const QString &tooltip, QWidget *parent)
{
    auto *button = new QPushButton(text, parent);
    button->setToolTip(tooltip);
    return button;
}

// A section of cards: a title, a hint and the layout the cards go into.
QVBoxLayout *addSection(QVBoxLayout *parentLayout, const QString &title, const QString &hint,
                        QWidget *trailing = nullptr)
{
    auto *row = new QHBoxLayout;
    auto *titleLabel = styledLabel(title, QStringLiteral("sectionTitle"), nullptr);
    titleLabel->setProperty("class", QStringLiteral("sectionTitle"));
    row->addWidget(titleLabel, 1);
    if (trailing)
        row->addWidget(trailing);
    parentLayout->addLayout(row);
    auto *hintLabel = styledLabel(hint, QStringLiteral("hintLabel"), nullptr);
    hintLabel->setProperty("class", QStringLiteral("sectionHint"));
    parentLayout->addWidget(hintLabel);
    auto *cards = new QVBoxLayout;
    cards->setSpacing(6);
    parentLayout->addLayout(cards);
    return cards;
}

} // namespace

GamepadConfigWidget::GamepadConfigWidget(QWidget *parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("gamepadConfigRoot"));
    setAttribute(Qt::WA_StyledBackground);
    setStyleSheet(calibrationEditorStyleSheet());
    m_baseBuffer = defaultCalibration(kGamepadAxisCount, kGamepadButtonCount);
    m_overrideBuffer = m_baseBuffer;
    buildUi();

    m_saveTimer.setSingleShot(true);
    m_saveTimer.setInterval(kSaveDelayMs);
    connect(&m_saveTimer, &QTimer::timeout, this, &GamepadConfigWidget::flushSave);
    m_liveTimer.setInterval(kLiveIntervalMs);
    connect(&m_liveTimer, &QTimer::timeout, this, &GamepadConfigWidget::updateLiveValues);
    m_liveTimer.start();
    m_clock.start();
    reload();
}

// Closing the panel never drops an edit that is waiting for its save.
GamepadConfigWidget::~GamepadConfigWidget()
{
    flushSave();
}

void GamepadConfigWidget::buildUi()
{
    auto *root = new QVBoxLayout(this);
    root->setContentsMargins(10, 10, 10, 10);
    root->setSpacing(8);

    auto *header = new QFrame(this);
    header->setObjectName(QStringLiteral("calibrationHeader"));
    auto *headerLayout = new QVBoxLayout(header);
    auto *title = new QLabel(QStringLiteral("Calibration entrees"), header);
    title->setProperty("class", QStringLiteral("headerTitle"));
    headerLayout->addWidget(title);
    headerLayout->addWidget(styledLabel(
        QStringLiteral(
            "Transforme les axes et filtre les evenements boutons avant l'envoi aux actions."),
        QStringLiteral("hintLabel"), header));
    m_deviceLabel = styledLabel(QString(), QStringLiteral("metaLabel"), header);
    m_deviceLabel->setToolTip(
        QStringLiteral("Identite utilisee pour retrouver la calibration de base.\nLa base est "
                       "indexee par VID, PID et nom de manette."));
    m_profileLabel = styledLabel(QString(), QStringLiteral("metaLabel"), header);
    m_profileLabel->setToolTip(QStringLiteral("Profil gamepad selectionne.\nUn override profil "
                                              "est sauvegarde dans le dossier de ce profil."));
    m_sourceLabel = styledLabel(QString(), QStringLiteral("sourceLabel"), header);
    m_sourceLabel->setToolTip(QStringLiteral(
        "Source actuellement chargee par le runtime:\nDefaut: aucune calibration trouvee.\nBase: "
        "calibration globale de la manette.\nProfil: override du profil courant."));
    m_statusLabel = styledLabel(QString(), QStringLiteral("hintLabel"), header);
    m_statusLabel->setToolTip(QStringLiteral(
        "La calibration est appliquee avant l'envoi des valeurs vers ActionManager.\nQuand la "
        "manette est deconnectee, les valeurs restent visibles mais les captures live sont "
        "bloquees."));
    for (QLabel *label : {m_deviceLabel, m_profileLabel, m_sourceLabel, m_statusLabel})
        headerLayout->addWidget(label);
    root->addWidget(header);

    auto *actions = new QHBoxLayout;
    m_scopeCombo = new QComboBox(this);
    m_scopeCombo->setObjectName(QStringLiteral("scopeCombo"));
    m_scopeCombo->addItem(QStringLiteral("Base"));
    m_scopeCombo->addItem(QStringLiteral("Profil"));
    m_scopeCombo->setItemData(
        BaseScope,
        QStringLiteral("Base globale partagee par les profils qui utilisent cette manette."),
        Qt::ToolTipRole);
    m_scopeCombo->setItemData(ProfileScope,
                              QStringLiteral("Override stocke dans le dossier du profil courant."),
                              Qt::ToolTipRole);
    m_scopeCombo->setToolTip(QStringLiteral(
        "Cible editee:\nBase: calibration globale de cette manette.\nProfil: override uniquement "
        "pour le profil selectionne."));
    connect(m_scopeCombo, &QComboBox::currentIndexChanged, this,
            &GamepadConfigWidget::onScopeComboChanged);
    actions->addWidget(m_scopeCombo);

    m_captureRestButton = actionButton(
        QStringLiteral("Capturer repos"),
        QStringLiteral(
            "Capturer le repos de tous les axes.\nUtilise la position actuelle comme neutre."),
        this);
    m_measureButton = actionButton(QStringLiteral("Mesurer…"),
                                   QStringLiteral("Mesurer le repos, le bruit et les butees de "
                                                  "chaque axe, puis proposer une calibration."),
                                   this);
    m_copyBaseButton =
        actionButton(QStringLiteral("Copier base vers profil"),
                     QStringLiteral("Copier la base manette vers un override du profil."), this);
    m_deleteOverrideButton = actionButton(
        QStringLiteral("Supprimer override"),
        QStringLiteral("Supprimer l'override du profil et revenir a la base manette."), this);
    auto *resetButton =
        actionButton(QStringLiteral("Reinitialiser"),
                     QStringLiteral("Reinitialiser la calibration affichee."), this);
    connect(m_captureRestButton, &QPushButton::clicked, this,
            &GamepadConfigWidget::captureRestForAll);
    connect(m_measureButton, &QPushButton::clicked, this, &GamepadConfigWidget::openMeasurement);
    connect(m_copyBaseButton, &QPushButton::clicked, this, &GamepadConfigWidget::copyBaseToProfile);
    connect(m_deleteOverrideButton, &QPushButton::clicked, this,
            &GamepadConfigWidget::deleteOverride);
    connect(resetButton, &QPushButton::clicked, this,
            &GamepadConfigWidget::resetCurrentCalibration);
    for (QPushButton *button : {m_captureRestButton, m_measureButton, m_copyBaseButton,
                                m_deleteOverrideButton, resetButton})
        actions->addWidget(button);
    actions->addStretch(1);
    root->addLayout(actions);

    auto *scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto *cards = new QWidget(scroll);
    cards->setObjectName(QStringLiteral("calibrationCards"));
    auto *cardsLayout = new QVBoxLayout(cards);
    m_axisLayout = addSection(cardsLayout, QStringLiteral("Axes"),
                              QStringLiteral("Repos, zone morte, courbe et sortie de chaque axe."));
    QVBoxLayout *buttonSection = addSection(
        cardsLayout, QStringLiteral("Boutons"),
        QStringLiteral("Regle quels evenements bouton sont envoyes, avec debounce et repeat."));
    // Button cards are short: two columns keep the gates within reach.
    m_buttonGrid = new QGridLayout;
    m_buttonGrid->setSpacing(6);
    buttonSection->addLayout(m_buttonGrid);
    auto *addGateButton = actionButton(
        QStringLiteral("Ajouter une gate"),
        QStringLiteral("Ajouter une gate circulaire sur une pastille Dual XY."), cards);
    addGateButton->setObjectName(QStringLiteral("addGateButton"));
    connect(addGateButton, &QPushButton::clicked, this, &GamepadConfigWidget::addGate);
    m_gateLayout = addSection(
        cardsLayout, QStringLiteral("Gates"),
        QStringLiteral("Declenche des signaux booleens quand un stick entre ou sort d'un cercle."),
        addGateButton);
    cardsLayout->addStretch(1);
    scroll->setWidget(cards);
    root->addWidget(scroll, 1);
}

void GamepadConfigWidget::setDevice(ControlManette *device)
{
    if (m_device == device && device)
        return;
    flushSave();
    if (m_device)
        disconnect(m_device, nullptr, this, nullptr);
    m_device = device;
    if (device) {
        for (auto signal : {&ControlManette::nameChanged, &ControlManette::vendorIdChanged,
                            &ControlManette::productIdChanged})
            connect(device, signal, this, &GamepadConfigWidget::onIdentityChanged);
        connect(device, &ControlManette::connectedChanged, this,
                &GamepadConfigWidget::refreshHeader);
        connect(device, &QObject::destroyed, this, &GamepadConfigWidget::onDeviceGone);
    }
    m_identity = currentIdentity();
    reload();
}

ControlManette *GamepadConfigWidget::device() const
{
    return m_device;
}

CalibrationMeasureDialog *GamepadConfigWidget::measureDialog() const
{
    return m_measureDialog;
}

void GamepadConfigWidget::setProfile(const GamepadProfileInfo &profile)
{
    flushSave();
    m_profile = profile;
    reload();
}

void GamepadConfigWidget::setTwoAxisSources(const QList<GateSourceOption> &sources)
{
    m_sources = sources;
    rebuildAxisCards();
}

void GamepadConfigWidget::setAxisNames(const QStringList &names)
{
    m_axisNames = names;
    rebuildAxisCards();
}

const GamepadCalibration &GamepadConfigWidget::editedCalibration() const
{
    return m_scope == ProfileScope ? m_overrideBuffer : m_baseBuffer;
}

GamepadCalibration &GamepadConfigWidget::buffer()
{
    return m_scope == ProfileScope ? m_overrideBuffer : m_baseBuffer;
}

GamepadDeviceIdentity GamepadConfigWidget::currentIdentity() const
{
    if (!m_device)
        return m_identity;
    return {m_device->name(), m_device->vendorId(), m_device->productId()};
}

bool GamepadConfigWidget::deviceConnected() const
{
    return m_device && m_device->isConnected();
}

QString GamepadConfigWidget::profileIdText() const
{
    return m_profile.isNull() ? QString() : m_profile.id.toString(QUuid::WithoutBraces);
}

QString GamepadConfigWidget::overrideFileName() const
{
    const QString name = m_profile.calibrationOverrideFile.trimmed();
    return name.isEmpty() ? kDefaultOverrideFile : name;
}

QString GamepadConfigWidget::currentTargetPath() const
{
    if (m_scope == ProfileScope)
        return profileOverrideWritePath(m_profile);
    return baseCalibrationWritePath(m_identity);
}

QString GamepadConfigWidget::statusText() const
{
    if (!m_error.isEmpty())
        return m_error;
    if (!profileCanCarryOverride(m_profile))
        return QStringLiteral("Profil requis pour override");
    return deviceConnected() ? QStringLiteral("Pret") : kCapturesOff;
}

// Everything the panel shows comes again from the files: after a change of device or profile,
// and after the override was deleted.
void GamepadConfigWidget::reload()
{
    m_saveTimer.stop();
    m_savePending = false;
    m_error.clear();
    m_resolved = resolveCalibration(m_identity, m_profile, kGamepadAxisCount, kGamepadButtonCount);

    GamepadCalibration loaded;
    const QString basePath = findBaseCalibrationFile(m_identity);
    if (basePath.isEmpty() ||
        !loadCalibrationFile(basePath, &loaded, nullptr, kGamepadAxisCount, kGamepadButtonCount))
        loaded = defaultCalibration(kGamepadAxisCount, kGamepadButtonCount);
    m_baseBuffer = loaded;
    m_overrideBuffer = m_baseBuffer;
    const QString overridePath = profileOverridePath(m_profile);
    if (!overridePath.isEmpty() && QFile::exists(overridePath) &&
        loadCalibrationFile(overridePath, &loaded, nullptr, kGamepadAxisCount, kGamepadButtonCount))
        m_overrideBuffer = loaded;

    const bool overrideMode =
        m_profile.calibrationMode.compare(kModeOverride, Qt::CaseInsensitive) == 0;
    m_scope = profileCanCarryOverride(m_profile) && overrideMode ? ProfileScope : BaseScope;
    setScopeCombo(m_scope);
    rebuildAxisCards();
    refreshHeader();
}

void GamepadConfigWidget::setScopeCombo(int scope)
{
    const QSignalBlocker blocker(m_scopeCombo);
    m_scopeCombo->setCurrentIndex(scope);
}

void GamepadConfigWidget::onScopeComboChanged(int index)
{
    if (index == m_scope)
        return;
    if (!profileCanCarryOverride(m_profile)) {
        setScopeCombo(m_scope);
        return;
    }
    flushSave(); // pending edits belong to the scope being left
    if (index == ProfileScope && !overrideFileLoads()) {
        QString error;
        if (!prepareOverrideFromBase(&error)) {
            setScopeCombo(m_scope);
            setStatus(error);
            return;
        }
    }
    m_scope = index == ProfileScope ? ProfileScope : BaseScope;
    m_profile.calibrationMode = m_scope == ProfileScope ? kModeOverride : kModeInherit;
    if (m_scope == ProfileScope)
        m_profile.calibrationOverrideFile = overrideFileName();
    emitMetadata(overrideFileName());
    m_resolved = resolveCalibration(m_identity, m_profile, kGamepadAxisCount, kGamepadButtonCount);
    rebuildAxisCards();
    refreshHeader();
}

// An override that already exists in the profile folder is the user's work: going back to the
// profile scope picks it up rather than overwriting it with the base.
bool GamepadConfigWidget::overrideFileLoads() const
{
    const QString path = profileOverridePath(m_profile);
    GamepadCalibration loaded;
    return !path.isEmpty() && QFile::exists(path) &&
           loadCalibrationFile(path, &loaded, nullptr, kGamepadAxisCount, kGamepadButtonCount);
}

bool GamepadConfigWidget::prepareOverrideFromBase(QString *error)
{
    if (!profileCanCarryOverride(m_profile)) {
        *error = kNoProfile;
        return false;
    }
    GamepadProfileInfo target = m_profile;
    target.calibrationMode = kModeOverride;
    const QString path = profileOverrideWritePath(target);
    if (path.isEmpty()) {
        *error = QStringLiteral("Chemin d'override invalide.");
        return false;
    }
    GamepadCalibration base = m_resolved.calibration;
    const QString basePath = findBaseCalibrationFile(m_identity);
    GamepadCalibration loaded;
    if (!basePath.isEmpty() &&
        loadCalibrationFile(basePath, &loaded, nullptr, kGamepadAxisCount, kGamepadButtonCount))
        base = loaded;
    base = fullCalibration(base);
    if (!saveCalibrationFile(path, base, m_identity, profileIdText(), error))
        return false;
    m_overrideBuffer = base;
    return true;
}

void GamepadConfigWidget::emitMetadata(const QString &overrideFile)
{
    Q_EMIT profileCalibrationMetadataChanged(m_profile.calibrationMode, overrideFile,
                                             m_identity.vendorId, m_identity.productId);
}

void GamepadConfigWidget::copyBaseToProfile()
{
    if (!profileCanCarryOverride(m_profile)) {
        setStatus(kNoProfile);
        return;
    }
    flushSave();
    const GamepadProfileInfo previous = m_profile;
    m_profile.calibrationMode = kModeOverride;
    m_profile.calibrationOverrideFile = overrideFileName();
    QString error;
    if (!prepareOverrideFromBase(&error)) {
        m_profile = previous;
        setStatus(error);
        return;
    }
    m_scope = ProfileScope;
    setScopeCombo(m_scope);
    emitMetadata(overrideFileName());
    m_savePending = true;
    flushSave();
    rebuildAxisCards();
}

void GamepadConfigWidget::deleteOverride()
{
    if (!profileCanCarryOverride(m_profile)) {
        setStatus(kNoProfile);
        return;
    }
    // Pending edits of the override go with it; those of the base are kept.
    if (m_scope == ProfileScope) {
        m_saveTimer.stop();
        m_savePending = false;
    } else {
        flushSave();
    }
    const QString path = profileOverrideWritePath(m_profile);
    if (!path.isEmpty() && QFile::exists(path) && !QFile::remove(path)) {
        setStatus(QStringLiteral("Impossible de supprimer %1").arg(path));
        return;
    }
    m_profile.calibrationMode = kModeInherit;
    m_profile.calibrationOverrideFile.clear();
    m_scope = BaseScope;
    setScopeCombo(m_scope);
    emitMetadata(QString());
    reload();
    Q_EMIT calibrationSaved();
    if (m_device)
        m_device->reloadCalibration();
}

void GamepadConfigWidget::resetCurrentCalibration()
{
    replaceBuffer(defaultCalibration(kGamepadAxisCount, kGamepadButtonCount));
}

void GamepadConfigWidget::replaceBuffer(const GamepadCalibration &calibration)
{
    buffer() = fullCalibration(calibration);
    rebuildAxisCards();
    scheduleSave();
}

void GamepadConfigWidget::captureRestForAll()
{
    if (!deviceConnected()) {
        setStatus(kCapturesOff);
        return;
    }
    const InputProcessor &state = m_device->inputState();
    GamepadCalibration calibration = buffer();
    for (int axis = 0; axis < kGamepadAxisCount; ++axis) {
        if (state.axisPresent()[size_t(axis)])
            calibration.axes[axis].restRaw = state.rawAxes()[size_t(axis)];
    }
    replaceBuffer(calibration);
}

void GamepadConfigWidget::captureAxis(int axis, GamepadAxisCalibrationWidget::CaptureTarget target)
{
    if (!deviceConnected()) {
        setStatus(kCapturesOff);
        return;
    }
    using Target = GamepadAxisCalibrationWidget::CaptureTarget;
    const double raw = m_device->inputState().rawAxes()[size_t(axis)];
    GamepadCalibration::AxisSettings &settings = buffer().axes[axis];
    switch (target) {
    case Target::Rest:
        settings.restRaw = raw;
        break;
    case Target::Negative:
        settings.negativeRaw = raw;
        break;
    case Target::Positive:
        settings.positiveRaw = raw;
        break;
    case Target::Active:
        settings.activeRaw = raw;
        break;
    }
    for (GamepadAxisCalibrationWidget *card : std::as_const(m_axisCards)) {
        if (card->axisIndex() == axis)
            card->setSettings(settings);
    }
    scheduleSave();
}

void GamepadConfigWidget::liveOutputs(std::array<double, kGamepadAxisCount> &outputs) const
{
    outputs.fill(0.0);
    if (!m_device)
        return;
    const InputProcessor &state = m_device->inputState();
    const GamepadCalibration &calibration = editedCalibration();
    for (int axis = 0; axis < kGamepadAxisCount; ++axis)
        outputs[size_t(axis)] =
            evaluateAxis(state.rawAxes()[size_t(axis)], calibration.axes[axis]).value;
}

void GamepadConfigWidget::captureGateCenter(int gate)
{
    if (!deviceConnected()) {
        setStatus(kCapturesOff);
        return;
    }
    if (gate < 0 || gate >= buffer().gates.size())
        return;
    std::array<double, kGamepadAxisCount> outputs{};
    liveOutputs(outputs);
    GamepadCalibration::GateSettings &settings = buffer().gates[gate];
    settings.centerX = outputs[size_t(settings.xAxis)];
    settings.centerY = outputs[size_t(settings.yAxis)];
    m_gateCards[gate]->setSettings(settings);
    scheduleSave();
}

void GamepadConfigWidget::addGate()
{
    GamepadCalibration calibration = buffer();
    GamepadCalibration::GateSettings gate = defaultGateSettings(int(calibration.gates.size()));
    gate.key = nextGateKey(calibration.gates);
    calibration.gates.append(gate);
    replaceBuffer(calibration);
}

void GamepadConfigWidget::removeGate(const QString &key)
{
    GamepadCalibration calibration = buffer();
    const auto gone = [&key](const GamepadCalibration::GateSettings &g) { return g.key == key; };
    if (calibration.gates.removeIf(gone) > 0)
        replaceBuffer(calibration);
}

void GamepadConfigWidget::scheduleSave()
{
    if (currentTargetPath().isEmpty()) {
        setStatus(kNoTarget);
        return;
    }
    m_savePending = true;
    m_saveTimer.start();
}

void GamepadConfigWidget::flushSave()
{
    if (!m_savePending)
        return;
    m_saveTimer.stop();
    m_savePending = false;
    const QString path = currentTargetPath();
    if (path.isEmpty()) {
        setStatus(kNoTarget);
        return;
    }
    QString error;
    if (!saveCalibrationFile(path, fullCalibration(buffer()), m_identity, profileIdText(),
                             &error)) {
        setStatus(error.isEmpty() ? kNoTarget : error);
        return;
    }
    m_error.clear();
    if (m_scope == ProfileScope)
        emitMetadata(overrideFileName());
    Q_EMIT calibrationSaved();
    m_resolved = resolveCalibration(m_identity, m_profile, kGamepadAxisCount, kGamepadButtonCount);
    refreshHeader();
    // The runtime picks the new file up on its next poll.
    if (m_device)
        m_device->reloadCalibration();
}

bool GamepadConfigWidget::requestLeave()
{
    flushSave();
    return true;
}

void GamepadConfigWidget::setStatus(const QString &text)
{
    m_error = text;
    refreshHeader();
}

void GamepadConfigWidget::refreshHeader()
{
    if (m_device) {
        m_deviceLabel->setText(QStringLiteral("%1 | VID 0x%2 PID 0x%3 | %4")
                                   .arg(m_identity.name, hexId(m_identity.vendorId),
                                        hexId(m_identity.productId),
                                        m_device->isConnected() ? QStringLiteral("connectee")
                                                                : QStringLiteral("deconnectee")));
    } else {
        m_deviceLabel->setText(QStringLiteral("Aucune manette liee"));
    }
    if (m_profile.isNull()) {
        m_profileLabel->setText(QStringLiteral("Aucun profil selectionne"));
    } else {
        const QString name = m_profile.name.trimmed();
        m_profileLabel->setText(
            QStringLiteral("Profil: %1")
                .arg(name.isEmpty() ? QStringLiteral("Profil sans nom") : name));
    }
    static const QStringList sourceNames = {QStringLiteral("Defaut"), QStringLiteral("Base"),
                                            QStringLiteral("Profil")};
    m_sourceLabel->setText(
        QStringLiteral("Source: %1").arg(sourceNames.value(int(m_resolved.source))));
    m_statusLabel->setText(statusText());

    const bool connectedNow = deviceConnected();
    const bool canOverride = profileCanCarryOverride(m_profile);
    m_captureRestButton->setEnabled(connectedNow);
    m_measureButton->setEnabled(connectedNow);
    m_copyBaseButton->setEnabled(canOverride);
    m_deleteOverrideButton->setEnabled(canOverride);
    for (GamepadGateCalibrationWidget *card : std::as_const(m_gateCards))
        card->setCaptureEnabled(connectedNow);
}

void GamepadConfigWidget::onIdentityChanged()
{
    const GamepadDeviceIdentity identity = currentIdentity();
    if (identity.name == m_identity.name && identity.vendorId == m_identity.vendorId &&
        identity.productId == m_identity.productId)
        return;
    flushSave();
    m_identity = identity;
    reload();
}

// The controller was deleted under the panel: its edits are saved for the identity it had, and
// the panel goes on without a device.
void GamepadConfigWidget::onDeviceGone()
{
    flushSave();
    if (m_measureDialog)
        m_measureDialog->reject();
    refreshHeader();
}

// Axes the controller reports (all of them until it has been read), and its buttons.
quint32 GamepadConfigWidget::layoutKey() const
{
    quint32 axisMask = 0;
    int buttons = kGamepadButtonCount;
    if (m_device) {
        const InputProcessor &state = m_device->inputState();
        for (int axis = 0; axis < kGamepadAxisCount; ++axis) {
            if (state.axisPresent()[size_t(axis)])
                axisMask |= 1u << axis;
        }
        if (m_device->buttonCount() > 0)
            buttons = qMin(m_device->buttonCount(), kGamepadButtonCount);
    }
    if (axisMask == 0)
        axisMask = (1u << kGamepadAxisCount) - 1;
    return axisMask | quint32(buttons) << kGamepadAxisCount;
}

void GamepadConfigWidget::rebuildAxisCards()
{
    QSet<int> expandedAxes;
    QSet<int> expandedButtons;
    for (GamepadAxisCalibrationWidget *card : std::as_const(m_axisCards)) {
        if (card->isExpanded())
            expandedAxes.insert(card->axisIndex());
    }
    for (GamepadButtonCalibrationWidget *card : std::as_const(m_buttonCards)) {
        if (card->isExpanded())
            expandedButtons.insert(card->buttonIndex());
    }
    qDeleteAll(m_axisCards);
    qDeleteAll(m_buttonCards);
    qDeleteAll(m_gateCards);
    m_axisCards.clear();
    m_buttonCards.clear();
    m_gateCards.clear();

    m_cardLayout = layoutKey();
    const GamepadCalibration &calibration = editedCalibration();
    for (int axis = 0; axis < kGamepadAxisCount; ++axis) {
        if (!(m_cardLayout & (1u << axis)))
            continue;
        auto *card = new GamepadAxisCalibrationWidget(axis, calibration.axes[axis],
                                                      m_axisNames.value(axis), this);
        card->setExpanded(expandedAxes.contains(axis));
        connect(card, &GamepadAxisCalibrationWidget::settingsChanged, this,
                [this, axis](const GamepadCalibration::AxisSettings &settings) {
                    buffer().axes[axis] = settings;
                    scheduleSave();
                });
        connect(card, &GamepadAxisCalibrationWidget::captureRequested, this,
                [this, axis](GamepadAxisCalibrationWidget::CaptureTarget target) {
                    captureAxis(axis, target);
                });
        m_axisLayout->addWidget(card);
        m_axisCards << card;
    }
    const int buttons = int(m_cardLayout >> kGamepadAxisCount);
    for (int button = 0; button < buttons; ++button) {
        auto *card = new GamepadButtonCalibrationWidget(button, calibration.buttons[button], this);
        card->setExpanded(expandedButtons.contains(button));
        connect(card, &GamepadButtonCalibrationWidget::settingsChanged, this,
                [this, button](const GamepadCalibration::ButtonSettings &settings) {
                    buffer().buttons[button] = settings;
                    scheduleSave();
                });
        m_buttonGrid->addWidget(card, button / kButtonColumns, button % kButtonColumns,
                                Qt::AlignTop);
        m_buttonCards << card;
    }
    const bool connectedNow = deviceConnected();
    for (int gate = 0; gate < calibration.gates.size(); ++gate) {
        auto *card =
            new GamepadGateCalibrationWidget(calibration.gates[gate], m_sources, m_axisNames, this);
        card->setCaptureEnabled(connectedNow);
        connect(card, &GamepadGateCalibrationWidget::settingsChanged, this,
                [this, gate](const GamepadCalibration::GateSettings &settings) {
                    buffer().gates[gate] = settings;
                    scheduleSave();
                });
        connect(card, &GamepadGateCalibrationWidget::captureCenterRequested, this,
                [this, gate] { captureGateCenter(gate); });
        // The card asking for its own removal is deleted by the rebuild: not while it signals.
        connect(
            card, &GamepadGateCalibrationWidget::deleteRequested, this,
            [this, key = calibration.gates[gate].key] { removeGate(key); }, Qt::QueuedConnection);
        m_gateLayout->addWidget(card);
        m_gateCards << card;
    }
    m_gateInside = QList<bool>(m_gateCards.size(), false);
}

// Called every 30 ms: values go into the existing cards; only a change of the controller's
// axes or buttons rebuilds them.
void GamepadConfigWidget::updateLiveValues()
{
    if (!m_device)
        return;
    if (layoutKey() != m_cardLayout)
        rebuildAxisCards();
    const InputProcessor &state = m_device->inputState();
    std::array<double, kGamepadAxisCount> outputs{};
    liveOutputs(outputs);
    for (GamepadAxisCalibrationWidget *card : std::as_const(m_axisCards)) {
        const size_t axis = size_t(card->axisIndex());
        card->setLiveValues(state.rawAxes()[axis], outputs[axis]);
    }
    for (GamepadButtonCalibrationWidget *card : std::as_const(m_buttonCards))
        card->setPressed(state.buttons()[size_t(card->buttonIndex())].down);
    const GamepadCalibration &calibration = editedCalibration();
    for (int gate = 0; gate < m_gateCards.size() && gate < calibration.gates.size(); ++gate) {
        const GamepadCalibration::GateSettings &settings = calibration.gates[gate];
        const GateSample sample =
            evaluateGate(settings, outputs.data(), kGamepadAxisCount, m_gateInside[gate]);
        m_gateInside[gate] = sample.inside;
        m_gateCards[gate]->setLiveState(
            QPointF(outputs[size_t(settings.xAxis)], outputs[size_t(settings.yAxis)]),
            sample.inside);
    }
    if (m_measureDialog && m_device->isConnected())
        m_measureDialog->addSample(m_clock.elapsed(), state.axisPresent(), state.rawAxes());
}

void GamepadConfigWidget::openMeasurement()
{
    if (!deviceConnected()) {
        setStatus(kCapturesOff);
        return;
    }
    if (m_measureDialog) {
        m_measureDialog->raise();
        return;
    }
    m_measureDialog = new CalibrationMeasureDialog(editedCalibration(), m_axisNames, this);
    m_measureDialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(m_measureDialog, &QDialog::accepted, this, &GamepadConfigWidget::applyMeasurement);
    m_measureDialog->show();
}

void GamepadConfigWidget::applyMeasurement()
{
    // Onto the buffer as it is now: edits made while measuring stay.
    if (m_measureDialog)
        replaceBuffer(applyAxisProposals(buffer(), m_measureDialog->proposals()));
}
