#pragma once

#include "actionparameters.h"

#include <QFrame>
#include <QJsonArray>
#include <QJsonObject>
#include <QPoint>

class QComboBox;
class QFormLayout;
class QLabel;
class QPushButton;

// The small floating editor of one pastille slot's binding: which catalog action it runs and with
// which arguments. It is dragged by its header inside its parent; every change of the binding
// made through the box emits `durty` once.
class ActionToolBox : public QFrame
{
    Q_OBJECT

public:
    explicit ActionToolBox(QWidget *parent = nullptr);
    ~ActionToolBox() override;

    void setCatalog(const QJsonArray &catalog);
    // Shows a binding without reporting it as a change.
    void setBinding(const QJsonObject &binding);
    QJsonObject binding() const { return m_binding; }
    // The current action's signature line; empty when no catalog action is bound.
    QString signature() const;
    bool parametersShown() const;

signals:
    void moved();
    void durty();

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    void rebuildActionList();
    void rebuildParameters();
    void disconnectParameterFields();
    QComboBox *parameterField(const ActionParameter &param, const QJsonObject &args);
    void chooseAction(int index);
    void editParameter(const QString &name, const QString &kind, const QString &text);
    void changeBinding(const QJsonObject &binding);
    const ActionDescription *currentAction() const;

    QVector<ActionDescription> m_actions;
    QJsonObject m_binding;
    QLabel *m_header = nullptr;
    QComboBox *m_actionCombo = nullptr;
    QLabel *m_signature = nullptr;
    QPushButton *m_editButton = nullptr;
    QWidget *m_parameterPanel = nullptr;
    QFormLayout *m_parameterRows = nullptr;
    bool m_dragging = false;
    QPoint m_pressGlobalPos;
    QPoint m_pressPos;
};
