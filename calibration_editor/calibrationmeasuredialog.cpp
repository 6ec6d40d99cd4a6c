#include "calibrationmeasuredialog.h"

#include "calibrationeditorstyle.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

namespace {

enum Column {
    AxisColumn,
    ModeColumn,
    RestColumn,
    MinColumn,
    MaxColumn,
    DeadzoneColumn,
    NoiseColumn
};

QString axisLabel(int axis, const QStringList &axisNames)
{
    const QString name = axis < axisNames.size() ? axisNames.at(axis).trimmed() : QString();
    return name.isEmpty() ? QStringLiteral("joy_%1").arg(axis)
                          : QStringLiteral("joy_%1 (%2)").arg(axis).arg(name);
}

QString number(double value)
{
    return QString::number(value, 'f', 1);
}

} // namespace

CalibrationMeasureDialog::CalibrationMeasureDialog(const GamepadCalibration &current,
                                                   const QStringList &axisNames, QWidget *parent)
    : QDialog(parent), m_current(current), m_axisNames(axisNames)
{
    setObjectName(QStringLiteral("calibrationMeasureDialog"));
    // The panel's dark look, also where the dialog is shown without the panel.
    setStyleSheet(calibrationEditorStyleSheet());
    setWindowTitle(QStringLiteral("Mesurer la calibration"));
    auto *layout = new QVBoxLayout(this);

    m_instructions = new QLabel(this);
    m_instructions->setObjectName(QStringLiteral("measureInstructions"));
    m_instructions->setWordWrap(true);
    layout->addWidget(m_instructions);

    m_progress = new QProgressBar(this);
    m_progress->setObjectName(QStringLiteral("measureProgress"));
    m_progress->setRange(0, int(kRestDurationMs));
    m_progress->setValue(0);
    m_progress->setTextVisible(false);
    layout->addWidget(m_progress);

    m_table = new QTableWidget(0, 7, this);
    m_table->setObjectName(QStringLiteral("measureTable"));
    m_table->setHorizontalHeaderLabels({QStringLiteral("Axe"), QStringLiteral("Mode"),
                                        QStringLiteral("Repos"), QStringLiteral("Min"),
                                        QStringLiteral("Max / Fin"), QStringLiteral("Deadzone"),
                                        QStringLiteral("Bruit")});
    m_table->verticalHeader()->setVisible(false);
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setSelectionMode(QAbstractItemView::NoSelection);
    m_table->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    layout->addWidget(m_table, 1);

    auto *buttons = new QHBoxLayout;
    m_finishButton = new QPushButton(QStringLiteral("Terminer"), this);
    m_finishButton->setObjectName(QStringLiteral("measureFinishButton"));
    m_cancelButton = new QPushButton(QStringLiteral("Annuler"), this);
    m_cancelButton->setObjectName(QStringLiteral("measureCancelButton"));
    m_applyButton = new QPushButton(QStringLiteral("Appliquer"), this);
    m_applyButton->setObjectName(QStringLiteral("measureApplyButton"));
    buttons->addWidget(m_finishButton);
    buttons->addStretch(1);
    buttons->addWidget(m_cancelButton);
    buttons->addWidget(m_applyButton);
    layout->addLayout(buttons);
    // No default button: Return must not apply a proposal nobody has read.
    for (QPushButton *button : {m_finishButton, m_cancelButton, m_applyButton})
        button->setAutoDefault(false);

    connect(m_finishButton, &QPushButton::clicked, this, &CalibrationMeasureDialog::finishMotion);
    connect(m_applyButton, &QPushButton::clicked, this, &QDialog::accept);
    connect(m_cancelButton, &QPushButton::clicked, this, &QDialog::reject);

    resize(560, 380);
    showPhase();
}

void CalibrationMeasureDialog::addSample(qint64 nowMs,
                                         const CalibrationRecording::Presence &present,
                                         const CalibrationRecording::RawAxes &raw)
{
    if (m_phase == Phase::Motion) {
        m_recording.addMotionSample(present, raw);
        return;
    }
    if (m_phase != Phase::Rest)
        return;
    if (m_restStartMs < 0)
        m_restStartMs = nowMs;
    m_recording.addRestSample(present, raw);
    // A clock that went backwards counts as no time elapsed.
    const qint64 elapsed = qBound<qint64>(0, nowMs - m_restStartMs, kRestDurationMs);
    m_progress->setValue(int(elapsed));
    if (elapsed >= kRestDurationMs) {
        m_phase = Phase::Motion;
        showPhase();
    }
}

void CalibrationMeasureDialog::finishMotion()
{
    if (m_phase != Phase::Motion)
        return;
    m_proposals = proposeAxisCalibration(m_recording, m_current);
    m_phase = Phase::Review;
    fillReview();
    showPhase();
}

void CalibrationMeasureDialog::accept()
{
    if (m_applyCheck && !m_applyCheck())
        return;
    QDialog::accept();
}

GamepadCalibration CalibrationMeasureDialog::proposedCalibration() const
{
    return applyAxisProposals(m_current, m_proposals);
}

void CalibrationMeasureDialog::showPhase()
{
    switch (m_phase) {
    case Phase::Rest:
        m_instructions->setText(
            QStringLiteral("Ne touchez pas la manette pendant 2 secondes : mesure du repos et du "
                           "bruit de chaque axe."));
        break;
    case Phase::Motion:
        m_instructions->setText(QStringLiteral("Bougez chaque stick et chaque gachette jusqu'en "
                                               "butee, puis cliquez sur Terminer."));
        break;
    case Phase::Review: {
        bool anyChanged = false;
        for (const AxisProposal &proposal : std::as_const(m_proposals))
            anyChanged = anyChanged || proposal.changed;
        m_instructions->setText(
            anyChanged ? QStringLiteral("Verifiez la proposition axe par axe puis cliquez sur "
                                        "Appliquer.")
                       : QStringLiteral("Aucun axe n'a bouge : rien ne change. Recommencez la "
                                        "mesure en bougeant les sticks et les gachettes."));
        break;
    }
    }
    m_progress->setVisible(m_phase == Phase::Rest);
    m_table->setVisible(m_phase == Phase::Review);
    m_finishButton->setEnabled(m_phase == Phase::Motion);
    m_applyButton->setEnabled(m_phase == Phase::Review);
}

// Unchanged axes show their current settings, greyed, with "inchange" as their mode.
void CalibrationMeasureDialog::fillReview()
{
    using AxisMode = GamepadCalibration::AxisMode;
    m_table->setRowCount(int(m_proposals.size()));
    for (int row = 0; row < m_proposals.size(); ++row) {
        const AxisProposal &proposal = m_proposals.at(row);
        const GamepadCalibration::AxisSettings &s = proposal.settings;
        const bool trigger = s.mode == AxisMode::Trigger;
        const QString mode = !proposal.changed ? QStringLiteral("inchange")
                             : trigger         ? QStringLiteral("Trigger")
                                               : QStringLiteral("Stick");
        const QString cells[] = {axisLabel(proposal.axis, m_axisNames),
                                 mode,
                                 number(s.restRaw),
                                 trigger ? QStringLiteral("-") : number(s.negativeRaw),
                                 number(trigger ? s.activeRaw : s.positiveRaw),
                                 number(s.deadzoneRadius),
                                 proposal.changed ? number(proposal.restNoise)
                                                  : QStringLiteral("-")};
        for (int column = AxisColumn; column <= NoiseColumn; ++column) {
            auto *item = new QTableWidgetItem(cells[column]);
            if (!proposal.changed)
                item->setForeground(palette().color(QPalette::Disabled, QPalette::Text));
            m_table->setItem(row, column, item);
        }
    }
}
