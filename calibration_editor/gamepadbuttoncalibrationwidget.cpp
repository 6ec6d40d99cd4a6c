#include "gamepadbuttoncalibrationwidget.h"

#include "calibrationcardframe.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QStringList>
#include <QStyle>
#include <QToolButton>
#include <QVBoxLayout>

#include <utility>

namespace {

QSpinBox *makeSpin(QWidget *parent, const char *name, int minimum, int maximum, int step,
                   const QString &toolTip)
{
    auto *spin = new QSpinBox(parent);
    spin->setObjectName(QLatin1String(name));
    spin->setRange(minimum, maximum);
    spin->setSingleStep(step);
    spin->setSuffix(QStringLiteral(" ms"));
    // A typed value out of range (an interval of 5) becomes the nearest limit, not the old value.
    spin->setCorrectionMode(QAbstractSpinBox::CorrectToNearestValue);
    spin->setToolTip(toolTip);
    return spin;
}

QCheckBox *makeCheck(QWidget *parent, const char *name, const QString &text, const QString &toolTip)
{
    auto *check = new QCheckBox(text, parent);
    check->setObjectName(QLatin1String(name));
    check->setToolTip(toolTip);
    return check;
}

// One titled column of the details: the title spans the form, the fields follow.
QFormLayout *addGroup(QWidget *parent, QHBoxLayout *into, const QString &title)
{
    auto *form = new QFormLayout;
    auto *label = new QLabel(title, parent);
    label->setProperty("class", QStringLiteral("buttonGroupTitleLabel"));
    form->addRow(label);
    into->addLayout(form);
    return form;
}

} // namespace

QString buttonSummaryText(const GamepadCalibration::ButtonSettings &settings)
{
    if (!settings.enabled)
        return QStringLiteral("inactif");
    QStringList edges;
    if (settings.emitOnPress)
        edges << QStringLiteral("press");
    if (settings.emitOnRelease)
        edges << QStringLiteral("release");
    QStringList parts{edges.isEmpty() ? QStringLiteral("aucun signal")
                                      : edges.join(QStringLiteral(" + "))};
    if (settings.debounceMs > 0)
        parts << QStringLiteral("debounce %1 ms").arg(settings.debounceMs);
    if (settings.repeatOnPress || settings.repeatOnRelease)
        parts << QStringLiteral("repeat %1 / %2 ms")
                     .arg(settings.repeatDelayMs)
                     .arg(settings.repeatIntervalMs);
    return parts.join(QStringLiteral(" | "));
}

GamepadButtonCalibrationWidget::GamepadButtonCalibrationWidget(
    int buttonIndex, const GamepadCalibration::ButtonSettings &settings, QWidget *parent)
    : QWidget(parent), m_buttonIndex(buttonIndex), m_settings(settings)
{
    buildUi();
    showSettings();
}

void GamepadButtonCalibrationWidget::buildUi()
{
    const CalibrationCardFrame frame = buildCalibrationCardFrame(
        this, QStringLiteral("buttonCard"), QStringLiteral("headerLayout"),
        QStringLiteral("Afficher ou masquer les reglages de ce bouton."));
    QWidget *header = frame.header;
    QHBoxLayout *headerLayout = frame.headerLayout;
    m_expandButton = frame.expandButton;
    m_details = frame.details;
    QVBoxLayout *detailsLayout = frame.detailsLayout;

    m_bounceNotice =
        addWearNotice(frame, QStringLiteral("Corriger"),
                      QStringLiteral("Regler l'anti-rebond juste au-dessus des rebonds observes."));
    connect(m_bounceNotice.action, &QPushButton::clicked, this, [this] {
        m_settings.debounceMs = m_suggestedDebounceMs;
        showSettings();
        Q_EMIT settingsChanged(m_settings);
    });

    auto *title = new QLabel(QStringLiteral("but_%1").arg(m_buttonIndex), header);
    title->setObjectName(QStringLiteral("buttonTitleLabel"));
    title->setProperty("class", QStringLiteral("buttonTitle"));
    headerLayout->addWidget(title);

    m_stateLabel = new QLabel(QStringLiteral("repos"), header);
    m_stateLabel->setObjectName(QStringLiteral("stateLabel"));
    m_stateLabel->setProperty("class", QStringLiteral("buttonStateLabel"));
    // Wide enough for either state, so that pressing the button does not shift the summary.
    m_stateLabel->setMinimumWidth(
        m_stateLabel->fontMetrics().horizontalAdvance(QStringLiteral("appuye")));
    headerLayout->addWidget(m_stateLabel);

    m_summaryLabel = new QLabel(QStringLiteral("press + release"), header);
    m_summaryLabel->setObjectName(QStringLiteral("summaryLabel"));
    m_summaryLabel->setProperty("class", QStringLiteral("buttonSummaryLabel"));
    headerLayout->addWidget(m_summaryLabel, 1);

    auto *groups = new QWidget(m_details);
    groups->setObjectName(QStringLiteral("buttonSignalGroup"));
    auto *signalLayout = new QHBoxLayout(groups);
    signalLayout->setObjectName(QStringLiteral("signalLayout"));
    signalLayout->setContentsMargins(0, 0, 0, 0);
    signalLayout->setSpacing(16);
    detailsLayout->addWidget(groups);

    QFormLayout *signal = addGroup(groups, signalLayout, QStringLiteral("Signal"));
    m_enabled = makeCheck(groups, "enabledCheck", QStringLiteral("Actif"),
                          QStringLiteral("Active ou bloque tous les signaux de ce bouton."));
    m_press = makeCheck(groups, "pressCheck", QStringLiteral("Press"),
                        QStringLiteral("Envoie un signal true quand le bouton est appuye."));
    m_release = makeCheck(groups, "releaseCheck", QStringLiteral("Release"),
                          QStringLiteral("Envoie un signal false quand le bouton est relache."));
    signal->addRow(m_enabled);
    signal->addRow(m_press);
    signal->addRow(m_release);

    QFormLayout *debounce = addGroup(groups, signalLayout, QStringLiteral("Anti-rebond"));
    m_debounce =
        makeSpin(groups, "debounceSpin", 0, 5000, 10,
                 QStringLiteral("Ignore les changements trop proches pour filtrer les rebonds."));
    debounce->addRow(QStringLiteral("Debounce"), m_debounce);

    QFormLayout *repeat = addGroup(groups, signalLayout, QStringLiteral("Repeat"));
    m_repeatOnPress =
        makeCheck(groups, "repeatOnPressCheck", QStringLiteral("Press"),
                  QStringLiteral("Repete le signal true tant que le bouton reste appuye."));
    m_repeatOnRelease = makeCheck(
        groups, "repeatOnReleaseCheck", QStringLiteral("Release"),
        QStringLiteral("Repete le signal false apres le relachement, jusqu'au prochain appui."));
    m_repeatDelay = makeSpin(groups, "repeatDelaySpin", 0, 60000, 25,
                             QStringLiteral("Temps avant le premier repeat."));
    m_repeatInterval = makeSpin(groups, "repeatIntervalSpin", 10, 60000, 10,
                                QStringLiteral("Temps entre deux repeats."));
    repeat->addRow(m_repeatOnPress);
    repeat->addRow(m_repeatOnRelease);
    repeat->addRow(QStringLiteral("Delai"), m_repeatDelay);
    repeat->addRow(QStringLiteral("Intervalle"), m_repeatInterval);
    signalLayout->addStretch(1);

    // Each control writes its own field only.
    using Button = GamepadCalibration::ButtonSettings;
    const std::pair<QCheckBox *, bool Button::*> flags[] = {
        {m_enabled, &Button::enabled},
        {m_press, &Button::emitOnPress},
        {m_release, &Button::emitOnRelease},
        {m_repeatOnPress, &Button::repeatOnPress},
        {m_repeatOnRelease, &Button::repeatOnRelease}};
    for (const auto &[check, field] : flags) {
        connect(check, &QCheckBox::toggled, this, [this, field = field](bool on) {
            m_settings.*field = on;
            edited();
        });
    }
    const std::pair<QSpinBox *, qint32 Button::*> times[] = {
        {m_debounce, &Button::debounceMs},
        {m_repeatDelay, &Button::repeatDelayMs},
        {m_repeatInterval, &Button::repeatIntervalMs}};
    for (const auto &[spin, field] : times) {
        connect(spin, &QSpinBox::valueChanged, this, [this, field = field](int value) {
            m_settings.*field = value;
            edited();
        });
    }
}

void GamepadButtonCalibrationWidget::setSettings(const GamepadCalibration::ButtonSettings &settings)
{
    m_settings = settings;
    showSettings();
}

void GamepadButtonCalibrationWidget::showSettings()
{
    const QSignalBlocker blockers[] = {
        QSignalBlocker(m_enabled),       QSignalBlocker(m_press),
        QSignalBlocker(m_release),       QSignalBlocker(m_debounce),
        QSignalBlocker(m_repeatOnPress), QSignalBlocker(m_repeatOnRelease),
        QSignalBlocker(m_repeatDelay),   QSignalBlocker(m_repeatInterval)};
    Q_UNUSED(blockers)
    m_enabled->setChecked(m_settings.enabled);
    m_press->setChecked(m_settings.emitOnPress);
    m_release->setChecked(m_settings.emitOnRelease);
    m_debounce->setValue(m_settings.debounceMs);
    m_repeatOnPress->setChecked(m_settings.repeatOnPress);
    m_repeatOnRelease->setChecked(m_settings.repeatOnRelease);
    m_repeatDelay->setValue(m_settings.repeatDelayMs);
    m_repeatInterval->setValue(m_settings.repeatIntervalMs);
    m_summaryLabel->setText(buttonSummaryText(m_settings));
}

void GamepadButtonCalibrationWidget::edited()
{
    m_summaryLabel->setText(buttonSummaryText(m_settings));
    Q_EMIT settingsChanged(m_settings);
}

void GamepadButtonCalibrationWidget::setBounceReport(int bounces, qint32 suggestedDebounceMs)
{
    m_suggestedDebounceMs = suggestedDebounceMs;
    m_bounceNotice.show(bounces > 0 ? QStringLiteral("Rebonds détectés : %1").arg(bounces)
                                    : QString());
}

void GamepadButtonCalibrationWidget::setPressed(bool pressed)
{
    if (pressed == m_pressed)
        return;
    m_pressed = pressed;
    m_stateLabel->setText(pressed ? QStringLiteral("appuye") : QStringLiteral("repos"));
    m_stateLabel->setProperty("pressed", pressed); // the style sheet lights a held button
    m_stateLabel->style()->unpolish(m_stateLabel);
    m_stateLabel->style()->polish(m_stateLabel);
}

bool GamepadButtonCalibrationWidget::isExpanded() const
{
    return m_expandButton->isChecked();
}

void GamepadButtonCalibrationWidget::setExpanded(bool expanded)
{
    m_expandButton->setChecked(expanded);
}
