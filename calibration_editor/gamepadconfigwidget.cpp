#include "gamepadconfigwidget.h"

#include "calibrationeditorstyle.h"
#include "calibrationmeasuredialog.h"
#include "controlmanette.h"
#include "gamepadbuttoncalibrationwidget.h"
#include "gamepadconfiginternal.h"

#include <QComboBox>
#include <QEvent>
#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

using namespace calibrationpanel;

namespace {

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

GamepadConfigWidget::GamepadConfigWidget(QWidget *parent, Cards cards)
    : QWidget(parent), m_cardsWaitForShow(cards == Cards::WhenShown)
{
    setObjectName(QStringLiteral("gamepadConfigRoot"));
    setAttribute(Qt::WA_StyledBackground);
    setStyleSheet(calibrationEditorStyleSheet());
    createSessions();
    buildUi();

    m_liveTimer.setInterval(kLiveIntervalMs);
    connect(&m_liveTimer, &QTimer::timeout, this, &GamepadConfigWidget::updateLiveValues);
    m_liveTimer.start();
    reload();
}

// Sent as the panel is shown, whether or not its window is on screen yet.
bool GamepadConfigWidget::event(QEvent *event)
{
    if (event->type() == QEvent::ShowToParent && m_cardsWaitForShow) {
        m_cardsWaitForShow = false;
        rebuildAxisCards();
    }
    return QWidget::event(event);
}

// Closing the panel never drops an edit waiting for its save, and never asks: a file changed
// elsewhere or a folder that disappeared is left alone (the session logs it).
GamepadConfigWidget::~GamepadConfigWidget()
{
    if (m_measureDialog)
        m_measureDialog->disconnect(this);
    bool wrote = false;
    for (DocumentSession *session : m_sessions) {
        session->disconnect(this);
        const bool pending = session->hasUnsavedEdits();
        wrote = (session->flushQuietly() && pending) || wrote;
    }
    if (m_device) {
        disconnect(m_device, nullptr, this, nullptr);
        if (wrote)
            m_device->reloadCalibration();
    }
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
    buildActions(root);
    buildCardSections(root);
}

void GamepadConfigWidget::buildActions(QVBoxLayout *root)
{
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
    m_recordButton = actionButton(
        QStringLiteral("Enregistrer…"),
        QStringLiteral("Enregistrer ce que la manette envoie dans un fichier, jusqu'au prochain "
                       "clic, pour le joindre a un rapport de bug."),
        this);
    m_recordButton->setObjectName(QStringLiteral("recordButton"));
    m_recordButton->setCheckable(true);
    m_copyBaseButton =
        actionButton(QStringLiteral("Copier base vers profil"),
                     QStringLiteral("Copier la base manette vers un override du profil."), this);
    m_deleteOverrideButton = actionButton(
        QStringLiteral("Supprimer override"),
        QStringLiteral("Supprimer l'override du profil et revenir a la base manette."), this);
    m_resetButton = actionButton(QStringLiteral("Reinitialiser"),
                                 QStringLiteral("Reinitialiser la calibration affichee."), this);
    m_startEmptyButton = actionButton(
        QStringLiteral("Recommencer à vide"),
        QStringLiteral("Le fichier de cette cible est illisible : repartir d'une calibration "
                       "neuve, qui le remplacera a la premiere modification."),
        this);
    m_startEmptyButton->setObjectName(QStringLiteral("startEmptyButton"));
    m_startEmptyButton->hide();
    connect(m_captureRestButton, &QPushButton::clicked, this,
            &GamepadConfigWidget::captureRestForAll);
    connect(m_measureButton, &QPushButton::clicked, this, &GamepadConfigWidget::openMeasurement);
    connect(m_recordButton, &QPushButton::clicked, this, &GamepadConfigWidget::toggleRecording);
    connect(m_copyBaseButton, &QPushButton::clicked, this, &GamepadConfigWidget::copyBaseToProfile);
    connect(m_deleteOverrideButton, &QPushButton::clicked, this,
            &GamepadConfigWidget::deleteOverride);
    connect(m_resetButton, &QPushButton::clicked, this,
            &GamepadConfigWidget::resetCurrentCalibration);
    connect(m_startEmptyButton, &QPushButton::clicked, this, &GamepadConfigWidget::offerStartEmpty);
    for (QPushButton *button : {m_captureRestButton, m_measureButton, m_recordButton,
                                m_copyBaseButton,
                                m_deleteOverrideButton, m_resetButton, m_startEmptyButton})
        actions->addWidget(button);
    actions->addStretch(1);
    root->addLayout(actions);
}

void GamepadConfigWidget::buildCardSections(QVBoxLayout *root)
{
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
    m_addGateButton = actionButton(
        QStringLiteral("Ajouter une gate"),
        QStringLiteral("Ajouter une gate circulaire sur une pastille Dual XY."), cards);
    m_addGateButton->setObjectName(QStringLiteral("addGateButton"));
    connect(m_addGateButton, &QPushButton::clicked, this, &GamepadConfigWidget::addGate);
    m_gateLayout = addSection(
        cardsLayout, QStringLiteral("Gates"),
        QStringLiteral("Declenche des signaux booleens quand un stick entre ou sort d'un cercle."),
        m_addGateButton);
    cardsLayout->addStretch(1);
    scroll->setWidget(cards);
    root->addWidget(scroll, 1);
}

void GamepadConfigWidget::setDevice(ControlManette *device)
{
    if (m_device == device && device)
        return;
    if (!requestLeave())
        return;
    if (m_device != device)
        cancelMeasurement(QStringLiteral("La manette a changé : mesure annulée."));
    watchDevice(device);
    m_identity = currentIdentity();
    reload();
}

void GamepadConfigWidget::watchDevice(ControlManette *device)
{
    if (m_device)
        disconnect(m_device, nullptr, this, nullptr);
    stopRecording();
    m_device = device;
    if (!device)
        return;
    for (auto signal : {&ControlManette::nameChanged, &ControlManette::vendorIdChanged,
                        &ControlManette::productIdChanged})
        connect(device, signal, this, &GamepadConfigWidget::onIdentityChanged);
    connect(device, &ControlManette::connectedChanged, this,
            &GamepadConfigWidget::onConnectedChanged);
    connect(device, &QObject::destroyed, this, &GamepadConfigWidget::onDeviceGone);
    watchWear();
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
    if (!requestLeave())
        return;
    if (profile.id != m_profile.id)
        cancelMeasurement(QStringLiteral("Le profil a changé : mesure annulée."));
    m_profile = profile;
    reload();
}

// A pastille on an axis the joystick layer does not have ("joy_9") is not offered: a gate on it
// could never be evaluated.
void GamepadConfigWidget::setTwoAxisSources(const QList<GateSourceOption> &sources)
{
    const auto isAxis = [](int axis) { return axis >= 0 && axis < kGamepadAxisCount; };
    m_sources.clear();
    for (const GateSourceOption &source : sources) {
        if (isAxis(source.xAxis) && isAxis(source.yAxis))
            m_sources << source;
    }
    rebuildAxisCards();
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

// A controller reports a new name and ids one signal at a time: the panel looks once they are
// all in.
void GamepadConfigWidget::onIdentityChanged()
{
    if (m_identityCheckQueued)
        return;
    m_identityCheckQueued = true;
    QMetaObject::invokeMethod(this, &GamepadConfigWidget::checkIdentity, Qt::QueuedConnection);
}

void GamepadConfigWidget::checkIdentity()
{
    m_identityCheckQueued = false;
    const GamepadDeviceIdentity identity = currentIdentity();
    if (identity.name == m_identity.name && identity.vendorId == m_identity.vendorId &&
        identity.productId == m_identity.productId)
        return;
    cancelMeasurement(QStringLiteral("La manette a changé : mesure annulée."));
    // Staying keeps the files of the identity the edits were made for.
    if (!requestLeave())
        return;
    m_identity = identity;
    reload();
}

// The controller was deleted under the panel: its edits are saved for the identity it had, and
// the panel goes on without a device.
void GamepadConfigWidget::onDeviceGone()
{
    for (DocumentSession *session : m_sessions)
        session->flush();
    cancelMeasurement(QStringLiteral("La manette a été débranchée : mesure annulée."));
    stopRecording();
    refreshHeader();
}

void GamepadConfigWidget::onConnectedChanged()
{
    if (!deviceConnected())
        cancelMeasurement(QStringLiteral("La manette a été débranchée : mesure annulée."));
    else if (m_error == kCapturesOff)
        m_error.clear(); // the refused capture no longer stands: captures work again
    refreshHeader();
}

QString GamepadConfigWidget::statusText() const
{
    // What keeps the shown file from being written outranks the panel's passing remarks.
    const QString sessionMessage = currentSession()->stateMessage();
    if (!sessionMessage.isEmpty())
        return sessionMessage;
    if (!m_error.isEmpty())
        return m_error;
    if (!profileCanCarryOverride(m_profile))
        return QStringLiteral("Profil requis pour override");
    return deviceConnected() ? QStringLiteral("Pret") : kCapturesOff;
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
    refreshEditability();
}

// A scope whose file could not be read, or whose folder disappeared, is shown but not edited.
void GamepadConfigWidget::refreshEditability()
{
    const bool editable = !currentSession()->isReadOnly();
    const bool connectedNow = deviceConnected();
    const bool canOverride = profileCanCarryOverride(m_profile);
    m_captureRestButton->setEnabled(connectedNow && editable);
    m_measureButton->setEnabled(connectedNow && editable);
    m_recordButton->setEnabled(connectedNow || isRecording());
    m_resetButton->setEnabled(editable);
    m_addGateButton->setEnabled(editable);
    m_copyBaseButton->setEnabled(canOverride);
    m_deleteOverrideButton->setEnabled(canOverride);
    m_startEmptyButton->setVisible(currentSession()->state() == EditSession::State::LoadFailed);
    for (GamepadAxisCalibrationWidget *card : std::as_const(m_axisCards))
        card->setEnabled(editable);
    for (GamepadButtonCalibrationWidget *card : std::as_const(m_buttonCards))
        card->setEnabled(editable);
    for (GamepadGateCalibrationWidget *card : std::as_const(m_gateCards)) {
        card->setEnabled(editable);
        card->setCaptureEnabled(connectedNow);
    }
}
