// The cards of the calibration panel, their live values, and the edits made through them or
// through the captures.

#include "gamepadconfigwidget.h"

#include "calibrationmeasuredialog.h"
#include "controlmanette.h"
#include "gamepadbuttoncalibrationwidget.h"
#include "gamepadconfiginternal.h"
#include "inputprocessing.h"

#include <QGridLayout>
#include <QVBoxLayout>

using namespace calibrationpanel;

namespace {

constexpr int kButtonColumns = 2;

} // namespace

// A scope whose file could not be read, or whose folder is gone, refuses edits; the status line
// already says why.
bool GamepadConfigWidget::mayEdit()
{
    if (!currentSession()->isReadOnly())
        return true;
    refreshHeader();
    return false;
}

// After an edit of the shown buffer: its session saves it shortly. Without a file meant for it,
// the edit stays in memory only.
void GamepadConfigWidget::editDone()
{
    if (intendedPath(m_scope).isEmpty()) {
        setStatus(kNoTarget);
        return;
    }
    currentSession()->edited();
}

void GamepadConfigWidget::resetCurrentCalibration()
{
    if (mayEdit())
        replaceBuffer(defaultFullCalibration());
}

void GamepadConfigWidget::replaceBuffer(const GamepadCalibration &calibration)
{
    buffer() = fullCalibration(calibration);
    rebuildAxisCards();
    editDone();
}

void GamepadConfigWidget::captureRestForAll()
{
    if (!deviceConnected()) {
        setStatus(kCapturesOff);
        return;
    }
    if (!mayEdit())
        return;
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
    if (!mayEdit())
        return;
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
    if (target == Target::Rest)
        m_drift.clear(axis);
    editDone();
}

// The shown calibration applied to the live raw values: what the cards and gates preview.
std::array<double, kGamepadAxisCount> GamepadConfigWidget::liveOutputs() const
{
    std::array<double, kGamepadAxisCount> outputs{};
    if (!m_device)
        return outputs;
    const InputProcessor &state = m_device->inputState();
    const GamepadCalibration &calibration = editedCalibration();
    for (int axis = 0; axis < kGamepadAxisCount; ++axis)
        outputs[size_t(axis)] =
            evaluateAxis(state.rawAxes()[size_t(axis)], calibration.axes[axis]).value;
    return outputs;
}

void GamepadConfigWidget::captureGateCenter(int gate)
{
    if (!deviceConnected()) {
        setStatus(kCapturesOff);
        return;
    }
    if (!mayEdit() || gate < 0 || gate >= buffer().gates.size())
        return;
    const std::array<double, kGamepadAxisCount> outputs = liveOutputs();
    GamepadCalibration::GateSettings &settings = buffer().gates[gate];
    settings.centerX = outputs[size_t(settings.xAxis)];
    settings.centerY = outputs[size_t(settings.yAxis)];
    m_gateCards[gate]->setSettings(settings);
    editDone();
}

void GamepadConfigWidget::addGate()
{
    if (!mayEdit())
        return;
    GamepadCalibration calibration = buffer();
    GamepadCalibration::GateSettings gate = defaultGateSettings(int(calibration.gates.size()));
    gate.key = nextGateKey(calibration.gates);
    calibration.gates.append(gate);
    replaceBuffer(calibration);
}

void GamepadConfigWidget::removeGate(const QString &key)
{
    if (!mayEdit())
        return;
    GamepadCalibration calibration = buffer();
    const auto gone = [&key](const GamepadCalibration::GateSettings &g) { return g.key == key; };
    if (calibration.gates.removeIf(gone) > 0)
        replaceBuffer(calibration);
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

void GamepadConfigWidget::clearCards()
{
    qDeleteAll(m_axisCards);
    qDeleteAll(m_buttonCards);
    qDeleteAll(m_gateCards);
    m_axisCards.clear();
    m_buttonCards.clear();
    m_gateCards.clear();
}

void GamepadConfigWidget::rebuildAxisCards()
{
    if (m_cardsWaitForShow) {
        m_cardLayout = layoutKey();
        refreshEditability();
        return;
    }
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
    clearCards();
    m_cardLayout = layoutKey();
    const GamepadCalibration &calibration = editedCalibration();
    addAxisCards(calibration, expandedAxes);
    addButtonCards(calibration, expandedButtons);
    addGateCards(calibration);
    m_gateInside = QList<bool>(m_gateCards.size(), false);
    refreshEditability();
}

void GamepadConfigWidget::addAxisCards(const GamepadCalibration &calibration,
                                       const QSet<int> &expanded)
{
    for (int axis = 0; axis < kGamepadAxisCount; ++axis) {
        if (!(m_cardLayout & (1u << axis)))
            continue;
        auto *card = new GamepadAxisCalibrationWidget(axis, calibration.axes[axis], {}, this);
        card->setExpanded(expanded.contains(axis));
        connect(card, &GamepadAxisCalibrationWidget::settingsChanged, this,
                [this, axis, card](const GamepadCalibration::AxisSettings &settings) {
                    if (!mayEdit()) {
                        card->setSettings(buffer().axes[axis]);
                        return;
                    }
                    buffer().axes[axis] = settings;
                    editDone();
                });
        connect(card, &GamepadAxisCalibrationWidget::captureRequested, this,
                [this, axis](GamepadAxisCalibrationWidget::CaptureTarget target) {
                    captureAxis(axis, target);
                });
        m_axisLayout->addWidget(card);
        m_axisCards << card;
    }
}

void GamepadConfigWidget::addButtonCards(const GamepadCalibration &calibration,
                                         const QSet<int> &expanded)
{
    const int buttons = int(m_cardLayout >> kGamepadAxisCount);
    for (int button = 0; button < buttons; ++button) {
        auto *card = new GamepadButtonCalibrationWidget(button, calibration.buttons[button], this);
        card->setExpanded(expanded.contains(button));
        connect(card, &GamepadButtonCalibrationWidget::settingsChanged, this,
                [this, button, card](const GamepadCalibration::ButtonSettings &settings) {
                    if (!mayEdit()) {
                        card->setSettings(buffer().buttons[button]);
                        return;
                    }
                    buffer().buttons[button] = settings;
                    editDone();
                });
        m_buttonGrid->addWidget(card, button / kButtonColumns, button % kButtonColumns,
                                Qt::AlignTop);
        m_buttonCards << card;
    }
}

void GamepadConfigWidget::addGateCards(const GamepadCalibration &calibration)
{
    for (int gate = 0; gate < calibration.gates.size(); ++gate) {
        auto *card = new GamepadGateCalibrationWidget(calibration.gates[gate], m_sources, {}, this);
        connect(card, &GamepadGateCalibrationWidget::settingsChanged, this,
                [this, gate, card](const GamepadCalibration::GateSettings &settings) {
                    if (!mayEdit()) {
                        card->setSettings(buffer().gates[gate]);
                        return;
                    }
                    buffer().gates[gate] = settings;
                    editDone();
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
    const std::array<double, kGamepadAxisCount> outputs = liveOutputs();
    for (GamepadAxisCalibrationWidget *card : std::as_const(m_axisCards)) {
        const size_t axis = size_t(card->axisIndex());
        card->setLiveValues(state.rawAxes()[axis], outputs[axis]);
    }
    for (GamepadButtonCalibrationWidget *card : std::as_const(m_buttonCards))
        card->setPressed(state.buttons()[size_t(card->buttonIndex())].down);
    const GamepadCalibration &calibration = editedCalibration();
    for (int gate = 0; gate < m_gateCards.size() && gate < calibration.gates.size(); ++gate) {
        const GamepadCalibration::GateSettings &settings = calibration.gates[gate];
        m_gateInside[gate] =
            gateInsideAfter(settings, outputs.data(), kGamepadAxisCount, m_gateInside[gate]);
        m_gateCards[gate]->setLiveState(
            QPointF(outputs[size_t(settings.xAxis)], outputs[size_t(settings.yAxis)]),
            m_gateInside[gate]);
    }
    showWearReports();
    if (m_measureDialog && m_device->isConnected())
        m_measureDialog->addSample(m_device->lastPollMs(), state.axisPresent(), state.rawAxes());
}

// Every poll of the controller feeds the detectors with its raw readings on the device's clock.
void GamepadConfigWidget::watchWear()
{
    m_chatter = ChatterDetector();
    m_drift = DriftDetector();
    connect(m_device, &ControlManette::polled, this, [this] {
        const JoystickReadings &readings = m_device->lastReadings();
        m_chatter.feed(readings.buttons, m_device->lastPollMs());
        m_drift.feed(readings, editedCalibration(), m_device->lastPollMs());
    });
}

// What the cards say is measured against the shown calibration: a debounce set there already
// covers the bounces it removes.
void GamepadConfigWidget::showWearReports()
{
    const qint64 now = m_device->lastPollMs();
    const GamepadCalibration &calibration = editedCalibration();
    for (GamepadButtonCalibrationWidget *card : std::as_const(m_buttonCards)) {
        const int button = card->buttonIndex();
        card->setBounceReport(
            m_chatter.reportedBounces(button, calibration.buttons[button].debounceMs, now),
            m_chatter.suggestedDebounceMs(button, now));
    }
    for (GamepadAxisCalibrationWidget *card : std::as_const(m_axisCards))
        card->setDriftReport(m_drift.driftRest(card->axisIndex(), now));
}
