#include "gamepadaxiscalibrationwidget.h"

#include "calibrationcardframe.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QFrame>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPixmap>
#include <QPushButton>
#include <QSignalBlocker>
#include <QToolButton>
#include <QVBoxLayout>

#include <utility>

namespace {

using AxisMode = GamepadCalibration::AxisMode;
using CaptureTarget = GamepadAxisCalibrationWidget::CaptureTarget;

const QColor kTrack(0x2b, 0x36, 0x44);
const QColor kBand(34, 211, 238, 60);
const QColor kTravel(34, 211, 238, 40);
const QColor kMarker(0x22, 0xd3, 0xee);
const QColor kRestTick(0xe2, 0xe8, 0xf0);

QDoubleSpinBox *makeSpin(QWidget *parent, const char *name, double minimum, double maximum,
                         int decimals, double step, const QString &toolTip)
{
    auto *spin = new QDoubleSpinBox(parent);
    spin->setObjectName(QLatin1String(name));
    spin->setDecimals(decimals); // before the range, which is rounded to it
    spin->setRange(minimum, maximum);
    spin->setSingleStep(step);
    spin->setCorrectionMode(QAbstractSpinBox::CorrectToNearestValue);
    spin->setToolTip(toolTip);
    return spin;
}

QComboBox *makeCombo(QWidget *parent, const char *name, const QStringList &items,
                     const QString &toolTip)
{
    auto *combo = new QComboBox(parent);
    combo->setObjectName(QLatin1String(name));
    combo->addItems(items);
    combo->setToolTip(toolTip);
    return combo;
}

// A small cyan target: the capture buttons carry no text.
QIcon captureIcon()
{
    QPixmap pixmap(16, 16);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(kMarker, 1.5));
    painter.drawEllipse(QPointF(8, 8), 5.5, 5.5);
    painter.setPen(Qt::NoPen);
    painter.setBrush(kMarker);
    painter.drawEllipse(QPointF(8, 8), 2, 2);
    return QIcon(pixmap);
}

QString liveText(const char *prefix, double value)
{
    return QLatin1String(prefix) + QString::number(value, 'f', 1);
}

} // namespace

AxisCalibrationPreviewWidget::AxisCalibrationPreviewWidget(QWidget *parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void AxisCalibrationPreviewWidget::setSettings(const GamepadCalibration::AxisSettings &settings)
{
    m_settings = settings;
    update();
}

void AxisCalibrationPreviewWidget::setLiveRaw(double raw)
{
    if (raw == m_raw)
        return;
    m_raw = raw;
    update();
}

QSize AxisCalibrationPreviewWidget::sizeHint() const
{
    return QSize(160, 18);
}

QSize AxisCalibrationPreviewWidget::minimumSizeHint() const
{
    return QSize(60, 18);
}

void AxisCalibrationPreviewWidget::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    // Inset by the marker's radius so that a marker at either end stays whole.
    const QRectF area = QRectF(rect()).adjusted(5, 1, -5, -1);
    const double middle = area.center().y();
    const auto xOf = [&area](double raw) {
        return area.left() + (qBound(-100.0, raw, 100.0) + 100.0) / 200.0 * area.width();
    };
    const auto band = [&](double from, double to, const QColor &color) {
        const double left = xOf(qMin(from, to));
        const double right = xOf(qMax(from, to));
        painter.fillRect(QRectF(left, middle - 5, right - left, 10), color);
    };

    painter.setPen(Qt::NoPen);
    painter.setBrush(kTrack);
    painter.drawRoundedRect(QRectF(area.left(), middle - 3, area.width(), 6), 3, 3);

    const double rest = m_settings.restRaw;
    const double deadzone = qAbs(m_settings.deadzoneRadius);
    if (m_settings.mode == AxisMode::Trigger) {
        // A trigger travels one way only: its dead zone lies on the side of its travel.
        const double towards = m_settings.activeRaw >= rest ? 1.0 : -1.0;
        band(rest, m_settings.activeRaw, kTravel);
        band(rest, rest + towards * deadzone, kBand);
    } else {
        band(rest - deadzone, rest + deadzone, kBand);
    }

    painter.setPen(QPen(kRestTick, 1.5));
    painter.drawLine(QPointF(xOf(rest), area.top()), QPointF(xOf(rest), area.bottom()));

    painter.setPen(Qt::NoPen);
    painter.setBrush(kMarker);
    painter.drawEllipse(QPointF(xOf(m_raw), middle), 4, 4);
}

GamepadAxisCalibrationWidget::GamepadAxisCalibrationWidget(
    int axisIndex, const GamepadCalibration::AxisSettings &settings, const QString &displayName,
    QWidget *parent)
    : QWidget(parent), m_axisIndex(axisIndex), m_settings(settings)
{
    buildUi(displayName);
    showSettings();
}

void GamepadAxisCalibrationWidget::buildUi(const QString &displayName)
{
    const CalibrationCardFrame frame =
        buildCalibrationCardFrame(this, QStringLiteral("axisCard"), QStringLiteral("titleLayout"),
                                  QStringLiteral("Afficher ou masquer les reglages de cet axe."));
    QWidget *header = frame.header;
    QHBoxLayout *titleLayout = frame.headerLayout;
    m_expandButton = frame.expandButton;
    m_details = frame.details;
    QVBoxLayout *detailsLayout = frame.detailsLayout;

    m_driftNotice =
        addWearNotice(frame, QStringLiteral("Recentrer"),
                      QStringLiteral("Capturer la position actuelle comme repos de l'axe."));
    connect(m_driftNotice.action, &QPushButton::clicked, this,
            [this] { Q_EMIT captureRequested(CaptureTarget::Rest); });

    const QString title = displayName.isEmpty()
                              ? QStringLiteral("joy_%1").arg(m_axisIndex)
                              : QStringLiteral("joy_%1 (%2)").arg(m_axisIndex).arg(displayName);
    auto *titleLabel = new QLabel(title, header);
    titleLabel->setObjectName(QStringLiteral("axisTitleLabel"));
    titleLabel->setProperty("class", QStringLiteral("axisTitle"));
    titleLayout->addWidget(titleLabel);

    auto *previewHost = new QWidget(header);
    previewHost->setObjectName(QStringLiteral("previewHost"));
    auto *previewLayout = new QHBoxLayout(previewHost);
    previewLayout->setContentsMargins(0, 0, 0, 0);
    m_preview = new AxisCalibrationPreviewWidget(previewHost);
    m_preview->setToolTip(
        QStringLiteral("Apercu live de l'entree brute, du repos et de la zone morte."));
    previewLayout->addWidget(m_preview);
    titleLayout->addWidget(previewHost, 1);

    // Wide enough for the longest value, so that the header does not reflow every 30 ms.
    const auto metricLabel = [header](const char *name, const char *prefix) {
        auto *label = new QLabel(liveText(prefix, 0.0), header);
        label->setObjectName(QLatin1String(name));
        label->setProperty("class", QStringLiteral("metricLabel"));
        label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        label->setMinimumWidth(label->fontMetrics().horizontalAdvance(liveText(prefix, -2000.0)));
        return label;
    };
    m_rawLabel = metricLabel("rawLabel", "raw: ");
    m_outputLabel = metricLabel("outputLabel", "out: ");
    titleLayout->addWidget(m_rawLabel);
    titleLayout->addWidget(m_outputLabel);

    auto *processing = new QGroupBox(QStringLiteral("Traitement"), m_details);
    processing->setObjectName(QStringLiteral("processingGroup"));
    auto *processingForm = new QFormLayout(processing);
    m_mode =
        makeCombo(processing, "modeCombo", {QStringLiteral("Stick"), QStringLiteral("Trigger")},
                  QStringLiteral("Stick: axe centre avec une valeur negative et positive.\n"
                                 "Trigger: axe a un seul sens depuis le repos."));
    m_curve = makeCombo(processing, "curveCombo",
                        {QStringLiteral("Lineaire"), QStringLiteral("Soft"),
                         QStringLiteral("Agressive"), QStringLiteral("Gamma")},
                        QStringLiteral("Courbe appliquee apres normalisation."));
    m_deadzone = makeSpin(processing, "deadzoneSpin", 0.0, 50.0, 1, 0.5,
                          QStringLiteral("Zone ignoree autour du repos pour eviter le bruit."));
    m_gamma = makeSpin(processing, "gammaSpin", 0.05, 6.0, 2, 0.05,
                       QStringLiteral("Puissance de la courbe custom."));
    processingForm->addRow(QStringLiteral("Mode"), m_mode);
    processingForm->addRow(QStringLiteral("Courbe"), m_curve);
    processingForm->addRow(QStringLiteral("Deadzone"), m_deadzone);
    processingForm->addRow(QStringLiteral("Gamma"), m_gamma);
    detailsLayout->addWidget(processing);

    auto *rawPoints = new QGroupBox(QStringLiteral("Points bruts"), m_details);
    auto *rawForm = new QFormLayout(rawPoints);
    const auto rawRow = [this, rawPoints, rawForm](const char *label, const char *name,
                                                   const QString &toolTip, CaptureTarget target,
                                                   const QString &captureToolTip) {
        auto *row = new QWidget(rawPoints);
        auto *rowLayout = new QHBoxLayout(row);
        rowLayout->setContentsMargins(0, 0, 0, 0);
        QDoubleSpinBox *spin = makeSpin(row, name, -100.0, 100.0, 1, 1.0, toolTip);
        auto *capture = new QToolButton(row);
        capture->setObjectName(QLatin1String(name).chopped(4) + QLatin1String("Capture"));
        capture->setIcon(captureIcon());
        capture->setToolTip(captureToolTip);
        connect(capture, &QToolButton::clicked, this,
                [this, target] { Q_EMIT captureRequested(target); });
        rowLayout->addWidget(spin, 1);
        rowLayout->addWidget(capture);
        rawForm->addRow(QLatin1String(label), row);
        return spin;
    };
    m_rest = rawRow("Repos", "restSpin", QStringLiteral("Valeur brute quand l'axe est au neutre."),
                    CaptureTarget::Rest,
                    QStringLiteral("Capturer la valeur courante comme repos de l'axe."));
    m_negative =
        rawRow("Min", "negativeSpin", QStringLiteral("Valeur brute atteinte en butee negative."),
               CaptureTarget::Negative,
               QStringLiteral("Capturer la valeur courante comme minimum de l'axe."));
    m_positive =
        rawRow("Max", "positiveSpin", QStringLiteral("Valeur brute atteinte en butee positive."),
               CaptureTarget::Positive,
               QStringLiteral("Capturer la valeur courante comme maximum de l'axe."));
    m_active =
        rawRow("Fin", "activeSpin",
               QStringLiteral("Valeur brute atteinte quand la gachette est totalement active."),
               CaptureTarget::Active,
               QStringLiteral("Capturer la valeur courante comme fin de course de la gachette."));
    detailsLayout->addWidget(rawPoints);

    auto *output = new QGroupBox(QStringLiteral("Sortie"), m_details);
    auto *outputForm = new QFormLayout(output);
    m_scale = makeSpin(output, "gainSpin", 0.001, 1000.0, 3, 0.1,
                       QStringLiteral("Multiplie la valeur de sortie."));
    m_offset = makeSpin(output, "offsetSpin", -1000.0, 1000.0, 3, 0.1,
                        QStringLiteral("Decale la valeur de sortie."));
    outputForm->addRow(QStringLiteral("Gain"), m_scale);
    outputForm->addRow(QStringLiteral("Offset"), m_offset);
    detailsLayout->addWidget(output);

    auto *publishForm = new QFormLayout;
    m_publish = makeCombo(
        m_details, "publishCombo",
        {QStringLiteral("Sur changement"), QStringLiteral("En continu hors repos"),
         QStringLiteral("Toujours")},
        QStringLiteral("Sur changement: emet seulement quand la valeur change.\n"
                       "En continu hors repos: reemet a chaque poll tant que l'axe est actif, puis "
                       "emet le retour au repos une fois.\n"
                       "Toujours: emet a chaque poll, meme au repos."));
    publishForm->addRow(QStringLiteral("Envoi"), m_publish);
    detailsLayout->addLayout(publishForm);
    m_invert = new QCheckBox(QStringLiteral("Inverser"), m_details);
    m_invert->setObjectName(QStringLiteral("invertCheck"));
    m_invert->setToolTip(QStringLiteral("Inverse le sens de sortie pour les axes de type stick."));
    detailsLayout->addWidget(m_invert);

    // Each control writes its own field only: a value shown clamped (a dead zone of 80 shows
    // 50) or rounded (a captured rest of 54.37) stays as it is until that control is edited.
    using Axis = GamepadCalibration::AxisSettings;
    const std::pair<QDoubleSpinBox *, double Axis::*> numbers[] = {
        {m_deadzone, &Axis::deadzoneRadius},
        {m_gamma, &Axis::gamma},
        {m_rest, &Axis::restRaw},
        {m_negative, &Axis::negativeRaw},
        {m_positive, &Axis::positiveRaw},
        {m_active, &Axis::activeRaw},
        {m_scale, &Axis::outputScale},
        {m_offset, &Axis::outputOffset}};
    for (const auto &[spin, field] : numbers) {
        connect(spin, &QDoubleSpinBox::valueChanged, this, [this, field = field](double value) {
            m_settings.*field = value;
            edited();
        });
    }
    connect(m_mode, &QComboBox::currentIndexChanged, this, [this](int index) {
        m_settings.mode = GamepadCalibration::AxisMode(index);
        edited();
    });
    connect(m_curve, &QComboBox::currentIndexChanged, this, [this](int index) {
        m_settings.curvePreset = GamepadCalibration::CurvePreset(index);
        edited();
    });
    connect(m_publish, &QComboBox::currentIndexChanged, this, [this](int index) {
        m_settings.publishMode = GamepadCalibration::AxisPublishMode(index);
        edited();
    });
    connect(m_invert, &QCheckBox::toggled, this, [this](bool on) {
        m_settings.invert = on;
        edited();
    });
}

void GamepadAxisCalibrationWidget::setSettings(const GamepadCalibration::AxisSettings &settings)
{
    m_settings = settings;
    showSettings();
}

// Values beyond a control's range (a hand-edited dead zone of 80) show clamped; the settings keep
// them until the user edits that control.
void GamepadAxisCalibrationWidget::showSettings()
{
    const QSignalBlocker blockers[] = {
        QSignalBlocker(m_mode),     QSignalBlocker(m_curve),    QSignalBlocker(m_publish),
        QSignalBlocker(m_deadzone), QSignalBlocker(m_gamma),    QSignalBlocker(m_rest),
        QSignalBlocker(m_negative), QSignalBlocker(m_positive), QSignalBlocker(m_active),
        QSignalBlocker(m_scale),    QSignalBlocker(m_offset),   QSignalBlocker(m_invert)};
    Q_UNUSED(blockers)
    m_mode->setCurrentIndex(int(m_settings.mode));
    m_curve->setCurrentIndex(int(m_settings.curvePreset));
    m_publish->setCurrentIndex(int(m_settings.publishMode));
    m_deadzone->setValue(m_settings.deadzoneRadius);
    m_gamma->setValue(m_settings.gamma);
    m_rest->setValue(m_settings.restRaw);
    m_negative->setValue(m_settings.negativeRaw);
    m_positive->setValue(m_settings.positiveRaw);
    m_active->setValue(m_settings.activeRaw);
    m_scale->setValue(m_settings.outputScale);
    m_offset->setValue(m_settings.outputOffset);
    m_invert->setChecked(m_settings.invert);
    m_preview->setSettings(m_settings);
}

void GamepadAxisCalibrationWidget::edited()
{
    m_preview->setSettings(m_settings);
    Q_EMIT settingsChanged(m_settings);
}

void GamepadAxisCalibrationWidget::setDriftReport(std::optional<double> rest)
{
    m_driftNotice.show(rest ? QStringLiteral("Dérive : repos à %1").arg(*rest, 0, 'f', 1)
                            : QString());
}

void GamepadAxisCalibrationWidget::setLiveValues(double raw, double output)
{
    if (raw != m_liveRaw) {
        m_liveRaw = raw;
        m_rawLabel->setText(liveText("raw: ", raw));
        m_preview->setLiveRaw(raw);
    }
    if (output != m_liveOutput) {
        m_liveOutput = output;
        m_outputLabel->setText(liveText("out: ", output));
    }
}

bool GamepadAxisCalibrationWidget::isExpanded() const
{
    return m_expandButton->isChecked();
}

void GamepadAxisCalibrationWidget::setExpanded(bool expanded)
{
    m_expandButton->setChecked(expanded);
}
