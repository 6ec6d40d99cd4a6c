#pragma once

#include <QFrame>
#include <QPointer>
#include <QUuid>

class InteractiveOverlay;
class QLabel;
class QLineEdit;
class QPushButton;
class QVBoxLayout;

// "gamepadInspectorPanel": the selected pastille's name and type, its duplicate and delete
// buttons, and the slot editor ("slotEditorPanel"): split, publish mode, and each slot's source
// with its learn and clear buttons. It edits the overlay directly.
class InspectorPanel : public QFrame
{
    Q_OBJECT

public:
    explicit InspectorPanel(InteractiveOverlay *overlay, QWidget *parent = nullptr);
    ~InspectorPanel() override;

    // Shows the overlay's selected pastille again (after a selection, a mode change or an edit).
    void refresh();

signals:
    // A change that the editor saves like any overlay change.
    void nodeEdited();

private:
    void rebuildSlotEditor(int node);
    // Renames the shown pastille after the name typed for it, if any; true when it changed.
    bool commitName();
    // The current index of the pastille with that id, -1 when it is gone.
    int indexOf(const QUuid &id) const;
    void clearSlots(const QUuid &id, const QStringList &slotLabels);
    void toggleListening(const QUuid &id, const QString &slotLabel);

    QPointer<InteractiveOverlay> m_overlay;
    QLabel *m_prompt = nullptr;
    QLineEdit *m_name = nullptr;
    QLabel *m_type = nullptr;
    QPushButton *m_duplicate = nullptr;
    QPushButton *m_delete = nullptr;
    QWidget *m_slotEditor = nullptr;
    QVBoxLayout *m_slotLayout = nullptr;
    QWidget *m_slotContent = nullptr; // rebuilt when what it shows changes
    QString m_slotSignature;          // what m_slotContent shows
    QUuid m_shownId;                  // the pastille whose name the field shows
};
