#include "quickmapping.h"

#include "interactiveoverlay.h"
#include "quickactionspanel.h"

#include <cmath>

namespace {

const QString kButtonSlot = QStringLiteral("Bouton");
const QString kAxisXSlot = QStringLiteral("Axe X");
const QString kAxisYSlot = QStringLiteral("Axe Y");

bool anySlotListensTo(const QVector<OverlayNode> &nodes, const QString &key)
{
    for (const OverlayNode &node : nodes) {
        for (const OverlaySlot &slot : node.sources) {
            if (slot.source.stringKey.compare(key, Qt::CaseInsensitive) == 0)
                return true;
        }
    }
    return false;
}

// The slot that learning fills: the first one without a source, so that a cross takes X then Y;
// when all are set, the first one is replaced.
QString learningSlot(const OverlayNode &node)
{
    for (const OverlaySlot &slot : node.sources) {
        if (slot.source.stringKey.trimmed().isEmpty())
            return slot.label;
    }
    return node.sources.isEmpty() ? QString() : node.sources.first().label;
}

} // namespace

QuickMapping::QuickMapping(InteractiveOverlay *overlay, QuickActionsPanel *panel, QObject *parent)
    : QObject(parent), m_overlay(overlay), m_panel(panel)
{
    m_learnTimer.setSingleShot(true);
    m_learnTimer.setInterval(kLearnDelayMs);
    connect(&m_learnTimer, &QTimer::timeout, this, &QuickMapping::finishLearning);
}

void QuickMapping::onAxisChanged(int axis, double value)
{
    if (std::abs(value) >= kAxisThreshold)
        handleInput(QStringLiteral("joy_%1").arg(axis), false, axis, -1);
}

void QuickMapping::onButtonChanged(int button, bool pressed)
{
    if (pressed)
        handleInput(QStringLiteral("but_%1").arg(button), false, -1, button);
}

void QuickMapping::onGateChanged(const QString &key, bool inside)
{
    // Leaving a gate is the stick going back to rest, not a choice of the user.
    if (inside && !key.trimmed().isEmpty())
        handleInput(key.trimmed(), true, -1, -1);
}

void QuickMapping::handleInput(const QString &key, bool isGate, int axis, int button)
{
    if (!m_overlay)
        return;
    InteractiveOverlay &overlay = *m_overlay;

    // A slot armed by a learn button takes the input at once. While armed, inputs serve it alone:
    // an axis slot hears axes only, a button slot buttons and gates only.
    const int listening = overlay.listeningNode();
    if (listening >= 0) {
        const QString slotLabel = overlay.listeningSlot();
        if ((slotLabel == kButtonSlot) == (axis >= 0))
            return;
        const OverlayNode node = overlay.node(listening);
        const bool crossInOneGo = node.kind == ElementKind::DualJoyCross && !node.split;
        // Learning a whole cross: Y waits for an axis other than the one X just took.
        if (crossInOneGo && slotLabel == kAxisYSlot &&
            overlay.sourceOf(listening, kAxisXSlot).stringKey.compare(key, Qt::CaseInsensitive) ==
                0)
            return;
        if (!overlay.completeListening(key))
            return;
        if (crossInOneGo && slotLabel == kAxisXSlot)
            overlay.startListening(listening, kAxisYSlot);
        Q_EMIT overlayChanged();
        return;
    }

    const QString pending = m_panel ? m_panel->pendingAction() : QString();
    if (!pending.isEmpty()) {
        if (!anySlotListensTo(overlay.nodes(), key)) {
            const QString text =
                isGate ? QStringLiteral("Aucune pastille n'est liee a \"%1\" pour \"%2\".")
                       : QStringLiteral("Aucune pastille n'est liée à \"%1\" pour \"%2\".");
            m_panel->showMessage(text.arg(key, pending));
            return;
        }
        overlay.bindActionToInput(pending, key);
        m_panel->clearPending();
        Q_EMIT overlayChanged();
        return;
    }

    const int selected = overlay.selectedNode();
    if (selected < 0 || isGate)
        return;
    const bool buttonPastille = overlay.node(selected).kind == ElementKind::Button;
    if (buttonPastille && button >= 0)
        m_learnedButton = button;
    else if (!buttonPastille && axis >= 0)
        m_learnedAxis = axis;
    else
        return;
    // Each input of the window is recorded, the last one wins; the window itself is not
    // stretched by a stick that keeps moving.
    if (!m_learnTimer.isActive())
        m_learnTimer.start();
}

void QuickMapping::finishLearning()
{
    m_learnTimer.stop();
    const int axis = m_learnedAxis;
    const int button = m_learnedButton;
    m_learnedAxis = -1;
    m_learnedButton = -1;
    if (!m_overlay || m_overlay->selectedNode() < 0)
        return;

    const int selected = m_overlay->selectedNode();
    const OverlayNode node = m_overlay->node(selected);
    const bool buttonPastille = node.kind == ElementKind::Button;
    QString key;
    if (buttonPastille && button >= 0)
        key = QStringLiteral("but_%1").arg(button);
    else if (!buttonPastille && axis >= 0)
        key = QStringLiteral("joy_%1").arg(axis);
    const QString slotLabel = learningSlot(node);
    if (key.isEmpty() || slotLabel.isEmpty())
        return;

    OverlaySource source = m_overlay->sourceOf(selected, slotLabel);
    source.stringKey = key;
    source.isJoy = !buttonPastille;
    if (m_overlay->setNodeSource(selected, slotLabel, source))
        Q_EMIT overlayChanged();
}
