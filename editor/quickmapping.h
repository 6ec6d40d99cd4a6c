#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>

class InteractiveOverlay;
class QuickActionsPanel;

// Binds live controller input in the profile editor: with an action pending in the quick-actions
// panel, the input's pastille gets that action; with a pastille selected and nothing pending, the
// input is learned as the pastille's source 200 ms after the first input (the last one of that
// window); with a slot armed by a learn button, the
// input becomes that slot's source at once.
class QuickMapping : public QObject
{
    Q_OBJECT

public:
    static constexpr double kAxisThreshold = 40.0;
    static constexpr int kLearnDelayMs = 200;

    QuickMapping(InteractiveOverlay *overlay, QuickActionsPanel *panel, QObject *parent = nullptr);

    int learnedAxis() const { return m_learnedAxis; }
    int learnedButton() const { return m_learnedButton; }
    bool isLearning() const { return m_learnTimer.isActive(); }
    // Milliseconds left before what was learned is bound; -1 when not learning.
    int learnRemainingMs() const { return m_learnTimer.remainingTime(); }

public slots:
    void onAxisChanged(int axis, double value);
    void onButtonChanged(int button, bool pressed);
    void onGateChanged(const QString &key, bool inside);
    // Binds what was learned to the selected pastille (the learning timer's end).
    void finishLearning();

signals:
    // A pastille's sources or bindings changed: the inspector and the panels refresh.
    void overlayChanged();

private:
    void handleInput(const QString &key, bool isGate, int axis, int button);

    QPointer<InteractiveOverlay> m_overlay;
    QPointer<QuickActionsPanel> m_panel;
    QTimer m_learnTimer;
    int m_learnedAxis = -1;
    int m_learnedButton = -1;
};
