#include "gamepadgatecalibrationwidget.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

#include <climits>
#include <cmath>

namespace {

const QString kGatePrefix = QStringLiteral("gate_");
// Numbers above this are ignored when choosing a new key, so "highest + 1" always fits an int.
constexpr qint64 kMaxGateNumber = INT_MAX - 1;

// The number of a key "gate_<decimal digits>", or -1. Signs, blanks and numbers beyond
// kMaxGateNumber do not count: such a key can never collide with the "gate_%1" produced here.
qint64 gateNumber(const QString &key)
{
    if (!key.startsWith(kGatePrefix) || key.size() == kGatePrefix.size())
        return -1;
    qint64 number = 0;
    for (qsizetype i = kGatePrefix.size(); i < key.size(); ++i) {
        const QChar c = key.at(i);
        if (c < QLatin1Char('0') || c > QLatin1Char('9'))
            return -1;
        number = number * 10 + (c.unicode() - '0');
        if (number > kMaxGateNumber)
            return -1;
    }
    return number;
}

// The preview's colours.
const QColor kPlaneColor(0x1b, 0x23, 0x2d);
const QColor kFrameColor(0x2f, 0x3c, 0x4b);
const QColor kAxisColor(0x3a, 0x4a, 0x5c);
const QColor kGateColor(0x22, 0xd3, 0xee);
const QColor kPointInsideColor(0xcf, 0xfa, 0xfe);
const QColor kPointOutsideColor(0x64, 0x74, 0x8b);

QDoubleSpinBox *gateSpinBox(double minimum, double maximum, double step, QWidget *parent)
{
    auto *spin = new QDoubleSpinBox(parent);
    spin->setDecimals(1); // before the range, which is rounded to the decimals
    spin->setRange(minimum, maximum);
    spin->setSingleStep(step);
    spin->setKeyboardTracking(false); // a typed number is one edit, not one per keystroke
    return spin;
}

} // namespace

QString gateAxisLabel(int axis, const QStringList &axisNames)
{
    const QString name =
        axis >= 0 && axis < axisNames.size() ? axisNames.at(axis).trimmed() : QString();
    return name.isEmpty() ? QStringLiteral("joy_%1").arg(axis)
                          : QStringLiteral("joy_%1 (%2)").arg(axis).arg(name);
}

QString nextGateKey(const QList<GamepadCalibration::GateSettings> &gates)
{
    qint64 highest = -1;
    for (const GamepadCalibration::GateSettings &gate : gates)
        highest = qMax(highest, gateNumber(gate.key.trimmed()));
    // A key equal to the candidate cannot have been skipped above, but a finite list makes the
    // loop cheap insurance.
    qint64 number = highest + 1;
    const auto taken = [&gates](const QString &key) {
        for (const GamepadCalibration::GateSettings &gate : gates) {
            if (gate.key.trimmed() == key)
                return true;
        }
        return false;
    };
    while (taken(kGatePrefix + QString::number(number)))
        ++number;
    return kGatePrefix + QString::number(number);
}

int gateFrontIndex(const GamepadCalibration::GateSettings &gate)
{
    if (gate.emitOnEnter && gate.emitOnExit)
        return 0;
    if (gate.emitOnExit)
        return 2;
    return 1; // enter only, or neither: normalisation turns the latter into enter only
}

// Anything but 0 and 2 counts as "Front montant", the normalised form of a gate with no edge.
void applyGateFrontIndex(GamepadCalibration::GateSettings &gate, int index)
{
    gate.emitOnEnter = index != 2;
    gate.emitOnExit = index == 0 || index == 2;
}

GatePreviewWidget::GatePreviewWidget(QWidget *parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("gatePreview"));
    setMinimumSize(80, 80);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void GatePreviewWidget::setGate(const GamepadCalibration::GateSettings &gate)
{
    if (gate == m_gate)
        return;
    m_gate = gate;
    update();
}

void GatePreviewWidget::setLivePoint(const QPointF &point, bool inside)
{
    if (point == m_point && inside == m_inside)
        return;
    m_point = point;
    m_inside = inside;
    update();
}

QSize GatePreviewWidget::sizeHint() const
{
    return QSize(120, 120);
}

// Output units on a square plane wide enough for ±100 and the whole hysteresis ring. Y grows
// downwards like the raw axes of a stick, so the point moves the way the stick does.
void GatePreviewWidget::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal side = qMin(width(), height()) - 2;
    const QRectF plane((width() - side) / 2.0, (height() - side) / 2.0, side, side);
    painter.setPen(kFrameColor);
    painter.setBrush(kPlaneColor);
    painter.drawRoundedRect(plane, 4, 4);
    if (side <= 0)
        return;

    const double radius = qMax(0.0, m_gate.radius);
    const double outer = radius + qMax(0.0, m_gate.hysteresis);
    const double extent =
        qMax(100.0, qMax(std::abs(m_gate.centerX), std::abs(m_gate.centerY)) + outer);
    const double scale = side / (2.0 * extent);
    const QPointF origin = plane.center();
    const auto map = [&](double x, double y) {
        return QPointF(origin.x() + x * scale, origin.y() + y * scale);
    };

    painter.setClipRect(plane);
    painter.setPen(QPen(kAxisColor, 1));
    painter.drawLine(QPointF(plane.left(), origin.y()), QPointF(plane.right(), origin.y()));
    painter.drawLine(QPointF(origin.x(), plane.top()), QPointF(origin.x(), plane.bottom()));

    const QPointF centre = map(m_gate.centerX, m_gate.centerY);
    if (outer > radius) {
        QColor ring = kGateColor;
        ring.setAlpha(120);
        painter.setPen(QPen(ring, 1, Qt::DashLine));
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(centre, outer * scale, outer * scale);
    }
    QColor fill = kGateColor;
    fill.setAlpha(m_inside ? 70 : 35);
    painter.setPen(QPen(kGateColor, 1.5));
    painter.setBrush(fill);
    painter.drawEllipse(centre, radius * scale, radius * scale);

    // A point beyond the plane stays visible on its edge.
    const QPointF point(qBound(-extent, m_point.x(), extent), qBound(-extent, m_point.y(), extent));
    painter.setPen(Qt::NoPen);
    painter.setBrush(m_inside ? kPointInsideColor : kPointOutsideColor);
    painter.drawEllipse(map(point.x(), point.y()), 4.0, 4.0);
}

GamepadGateCalibrationWidget::GamepadGateCalibrationWidget(
    const GamepadCalibration::GateSettings &gate, const QList<GateSourceOption> &sources,
    const QStringList &axisNames, QWidget *parent)
    : QWidget(parent), m_gate(gate), m_sources(sources), m_axisNames(axisNames)
{
    buildUi();
    showSettings();
}

void GamepadGateCalibrationWidget::buildUi()
{
    setObjectName(QStringLiteral("gateCard"));
    setAttribute(Qt::WA_StyledBackground); // the style sheet paints the card
    auto *cardLayout = new QVBoxLayout(this);
    cardLayout->setContentsMargins(10, 8, 10, 10);
    cardLayout->setSpacing(6);

    auto *header = new QHBoxLayout;
    m_title = new QLabel(this);
    m_title->setObjectName(QStringLiteral("gateTitle"));
    m_stateLabel = new QLabel(QStringLiteral("dehors"), this);
    m_stateLabel->setObjectName(QStringLiteral("gateStateLabel"));
    m_stateLabel->setProperty("inside", false);
    m_capture = new QPushButton(QStringLiteral("Capturer centre"), this);
    m_capture->setObjectName(QStringLiteral("gateCaptureButton"));
    m_capture->setToolTip(QStringLiteral("Capturer le centre depuis la position live du stick."));
    m_delete = new QPushButton(QStringLiteral("Supprimer"), this);
    m_delete->setObjectName(QStringLiteral("gateDeleteButton"));
    m_delete->setToolTip(QStringLiteral("Supprimer cette gate."));
    header->addWidget(m_title);
    header->addWidget(m_stateLabel);
    header->addStretch(1);
    header->addWidget(m_capture);
    header->addWidget(m_delete);
    cardLayout->addLayout(header);

    auto *body = new QHBoxLayout;
    body->setSpacing(10);
    m_preview = new GatePreviewWidget(this);
    body->addWidget(m_preview, 0, Qt::AlignTop);
    auto *fields = new QGridLayout;
    fields->setHorizontalSpacing(8);
    fields->setVerticalSpacing(4);
    body->addLayout(fields, 1);
    cardLayout->addLayout(body);

    m_source = new QComboBox(this);
    m_source->setObjectName(QStringLiteral("gateSource"));
    m_centerX = gateSpinBox(-100000.0, 100000.0, 1.0, this);
    m_centerX->setObjectName(QStringLiteral("gateCenterX"));
    m_centerY = gateSpinBox(-100000.0, 100000.0, 1.0, this);
    m_centerY->setObjectName(QStringLiteral("gateCenterY"));
    m_radius = gateSpinBox(0.0, 200000.0, 1.0, this);
    m_radius->setObjectName(QStringLiteral("gateRadius"));
    m_hysteresis = gateSpinBox(0.0, 100000.0, 0.5, this);
    m_hysteresis->setObjectName(QStringLiteral("gateHysteresis"));
    m_front = new QComboBox(this);
    m_front->setObjectName(QStringLiteral("gateFront"));
    m_front->addItems({QStringLiteral("Les deux"), QStringLiteral("Front montant"),
                       QStringLiteral("Front descendant")});
    m_invert = new QCheckBox(this);
    m_invert->setObjectName(QStringLiteral("gateInvert"));

    const QList<QPair<QString, QWidget *>> rows = {
        {QStringLiteral("Pastille"), m_source},       {QStringLiteral("Centre X"), m_centerX},
        {QStringLiteral("Centre Y"), m_centerY},      {QStringLiteral("Rayon"), m_radius},
        {QStringLiteral("Hysteresis"), m_hysteresis}, {QStringLiteral("Front"), m_front},
        {QStringLiteral("Inverser"), m_invert}};
    for (int row = 0; row < rows.size(); ++row) {
        auto *label = new QLabel(rows.at(row).first, this);
        label->setObjectName(QStringLiteral("gateFieldLabel"));
        label->setBuddy(rows.at(row).second);
        fields->addWidget(label, row, 0);
        fields->addWidget(rows.at(row).second, row, 1);
    }
    fields->setColumnStretch(1, 1);

    connect(m_source, &QComboBox::currentIndexChanged, this,
            &GamepadGateCalibrationWidget::sourceChosen);
    const auto spin = [this](QDoubleSpinBox *box, double GamepadCalibration::GateSettings::*field) {
        connect(box, &QDoubleSpinBox::valueChanged, this, [this, field](double value) {
            m_gate.*field = value;
            edited();
        });
    };
    spin(m_centerX, &GamepadCalibration::GateSettings::centerX);
    spin(m_centerY, &GamepadCalibration::GateSettings::centerY);
    spin(m_radius, &GamepadCalibration::GateSettings::radius);
    spin(m_hysteresis, &GamepadCalibration::GateSettings::hysteresis);
    connect(m_front, &QComboBox::currentIndexChanged, this, [this](int index) {
        applyGateFrontIndex(m_gate, index);
        edited();
    });
    connect(m_invert, &QCheckBox::toggled, this, [this](bool checked) {
        m_gate.invertOutput = checked;
        edited();
    });
    connect(m_capture, &QPushButton::clicked, this,
            &GamepadGateCalibrationWidget::captureCenterRequested);
    connect(m_delete, &QPushButton::clicked, this, &GamepadGateCalibrationWidget::deleteRequested);
}

// One item per pastille; a gate that follows none (its pastille was removed, or it predates
// pastilles) gets a leading item for its own axes, so that they stay visible and selectable.
void GamepadGateCalibrationWidget::fillSources()
{
    m_source->clear();
    int current = -1;
    for (int i = 0; i < m_sources.size(); ++i) {
        const GateSourceOption &option = m_sources.at(i);
        m_source->addItem(QStringLiteral("Joy %1/%2").arg(option.xAxis).arg(option.yAxis), i);
        m_source->setItemData(i,
                              QStringLiteral("Source technique : %1\nX : %2\nY : %3")
                                  .arg(option.key, gateAxisLabel(option.xAxis, m_axisNames),
                                       gateAxisLabel(option.yAxis, m_axisNames)),
                              Qt::ToolTipRole);
        if (current < 0 && !m_gate.source2dKey.isEmpty() && option.key == m_gate.source2dKey)
            current = i;
    }
    if (current < 0) {
        m_legacyKey = m_gate.source2dKey;
        m_legacyXAxis = m_gate.xAxis;
        m_legacyYAxis = m_gate.yAxis;
        m_source->insertItem(0, QStringLiteral("Joy %1/%2").arg(m_gate.xAxis).arg(m_gate.yAxis),
                             -1);
        m_source->setItemData(0,
                              QStringLiteral("Source historique sans pastille\nX : %1\nY : %2")
                                  .arg(gateAxisLabel(m_gate.xAxis, m_axisNames),
                                       gateAxisLabel(m_gate.yAxis, m_axisNames)),
                              Qt::ToolTipRole);
        current = 0;
    }
    m_source->setCurrentIndex(current);
}

void GamepadGateCalibrationWidget::showSettings()
{
    const QSignalBlocker blockers[] = {QSignalBlocker(m_source),     QSignalBlocker(m_centerX),
                                       QSignalBlocker(m_centerY),    QSignalBlocker(m_radius),
                                       QSignalBlocker(m_hysteresis), QSignalBlocker(m_front),
                                       QSignalBlocker(m_invert)};
    m_title->setText(m_gate.key);
    fillSources();
    m_centerX->setValue(m_gate.centerX);
    m_centerY->setValue(m_gate.centerY);
    m_radius->setValue(m_gate.radius);
    m_hysteresis->setValue(m_gate.hysteresis);
    m_front->setCurrentIndex(gateFrontIndex(m_gate));
    m_invert->setChecked(m_gate.invertOutput);
    m_preview->setGate(m_gate);
}

void GamepadGateCalibrationWidget::setSettings(const GamepadCalibration::GateSettings &gate)
{
    m_gate = gate;
    showSettings();
}

void GamepadGateCalibrationWidget::edited()
{
    m_preview->setGate(m_gate);
    Q_EMIT settingsChanged(m_gate);
}

void GamepadGateCalibrationWidget::sourceChosen(int index)
{
    const int option = m_source->itemData(index).toInt();
    if (option >= 0 && option < m_sources.size()) {
        m_gate.source2dKey = m_sources.at(option).key;
        m_gate.xAxis = m_sources.at(option).xAxis;
        m_gate.yAxis = m_sources.at(option).yAxis;
    } else {
        m_gate.source2dKey = m_legacyKey;
        m_gate.xAxis = m_legacyXAxis;
        m_gate.yAxis = m_legacyYAxis;
    }
    edited();
}

void GamepadGateCalibrationWidget::setLiveState(const QPointF &point, bool inside)
{
    m_preview->setLivePoint(point, inside);
    if (inside == m_inside)
        return;
    m_inside = inside;
    m_stateLabel->setText(inside ? QStringLiteral("dedans") : QStringLiteral("dehors"));
    m_stateLabel->setProperty("inside", inside);
    // A dynamic property is not watched by the style sheet: re-polish to apply its rule.
    m_stateLabel->style()->unpolish(m_stateLabel);
    m_stateLabel->style()->polish(m_stateLabel);
}

void GamepadGateCalibrationWidget::setCaptureEnabled(bool enabled)
{
    m_capture->setEnabled(enabled);
}
