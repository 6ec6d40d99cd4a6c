#include "actiontoolbox.h"

#include "mappingdocument.h"

#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPushButton>
#include <QStandardItemModel>
#include <QVBoxLayout>

namespace {

const QString kDefaultChoice = QStringLiteral("<par défaut>");

const char *const kStyle = R"(
ActionToolBox { background: rgba(20, 32, 44, 235); border: 1px solid #00C8E6; border-radius: 8px; }
QLabel { color: #E8F0F5; }
QLabel#actionToolBoxHeader { font-weight: 600; }
QLabel#actionToolBoxSignature { color: rgba(232, 240, 245, 170); font-family: monospace; }
QComboBox, QPushButton { background: #263746; color: #E8F0F5; border: 1px solid #3C5568;
                         border-radius: 4px; padding: 3px 6px; }
QPushButton:checked { border-color: #00C8E6; }
)";

} // namespace

ActionToolBox::ActionToolBox(QWidget *parent) : QFrame(parent)
{
    setObjectName(QStringLiteral("actionToolBox"));
    setStyleSheet(QString::fromLatin1(kStyle));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 6, 8, 8);
    layout->setSpacing(6);

    auto *header = new QLabel(QStringLiteral("Action"), this);
    header->setObjectName(QStringLiteral("actionToolBoxHeader"));
    header->setCursor(Qt::OpenHandCursor);
    layout->addWidget(header);

    m_actionCombo = new QComboBox(this);
    m_actionCombo->setObjectName(QStringLiteral("actionToolBoxActions"));
    layout->addWidget(m_actionCombo);
    connect(m_actionCombo, &QComboBox::activated, this, &ActionToolBox::chooseAction);

    m_signature = new QLabel(this);
    m_signature->setObjectName(QStringLiteral("actionToolBoxSignature"));
    m_signature->setWordWrap(true);
    layout->addWidget(m_signature);

    m_editButton = new QPushButton(QStringLiteral("Editer les parametres"), this);
    m_editButton->setCheckable(true);
    layout->addWidget(m_editButton);

    m_parameterPanel = new QWidget(this);
    m_parameterRows = new QFormLayout(m_parameterPanel);
    m_parameterRows->setContentsMargins(0, 0, 0, 0);
    m_parameterPanel->setVisible(false);
    layout->addWidget(m_parameterPanel);
    connect(m_editButton, &QPushButton::toggled, m_parameterPanel, &QWidget::setVisible);

    rebuildActionList();
}

void ActionToolBox::setCatalog(const QJsonArray &catalog)
{
    m_actions = readActionCatalog(catalog);
    rebuildActionList();
}

void ActionToolBox::setBinding(const QJsonObject &binding)
{
    m_binding = binding;
    rebuildActionList();
}

QString ActionToolBox::signature() const
{
    const ActionDescription *action = currentAction();
    return action ? actionSignature(*action, m_binding.value(QLatin1String("args")).toObject())
                  : QString();
}

bool ActionToolBox::parametersShown() const
{
    return m_editButton->isChecked();
}

const ActionDescription *ActionToolBox::currentAction() const
{
    return isEmptyBinding(m_binding) ? nullptr
                                     : findAction(m_actions, bindingActionName(m_binding));
}

// "none" first, then the actions under their group titles, which cannot be chosen.
void ActionToolBox::rebuildActionList()
{
    m_actionCombo->clear();
    m_actionCombo->addItem(QStringLiteral("none"), QString());
    QStringList groups;
    for (const ActionDescription &action : std::as_const(m_actions)) {
        if (!groups.contains(action.group))
            groups << action.group;
    }
    auto *model = qobject_cast<QStandardItemModel *>(m_actionCombo->model());
    for (const QString &group : std::as_const(groups)) {
        m_actionCombo->addItem(group);
        model->item(m_actionCombo->count() - 1)->setEnabled(false);
        for (const ActionDescription &action : std::as_const(m_actions)) {
            if (action.group == group)
                m_actionCombo->addItem(QStringLiteral("  ") +
                                           (action.label.isEmpty() ? action.name : action.label),
                                       action.name);
        }
    }
    const ActionDescription *current = currentAction();
    const int index = current ? m_actionCombo->findData(current->name) : 0;
    m_actionCombo->setCurrentIndex(qMax(0, index));
    rebuildParameters();
}

void ActionToolBox::rebuildParameters()
{
    while (m_parameterRows->rowCount() > 0)
        m_parameterRows->removeRow(0);
    const ActionDescription *action = currentAction();
    m_signature->setText(signature());
    m_editButton->setEnabled(action && !action->params.isEmpty());
    if (!action)
        return;
    const QJsonObject args = m_binding.value(QLatin1String("args")).toObject();
    for (const ActionParameter &param : action->params) {
        const QString kind = normalizedParameterKind(param.type);
        auto *field = new QComboBox(m_parameterPanel);
        field->setEditable(true);
        field->setInsertPolicy(QComboBox::NoInsert);
        field->setObjectName(param.name);
        field->addItem(kDefaultChoice);
        field->setToolTip(argumentToText(param.defaultValue, kind));
        field->setCurrentText(args.contains(param.name)
                                  ? argumentToText(args.value(param.name), kind)
                                  : kDefaultChoice);
        const QString name = param.name;
        connect(field->lineEdit(), &QLineEdit::editingFinished, this,
                [this, field, name, kind] { editParameter(name, kind, field->currentText()); });
        connect(field, &QComboBox::activated, this,
                [this, field, name, kind] { editParameter(name, kind, field->currentText()); });
        m_parameterRows->addRow(QStringLiteral("%1:").arg(param.name), field);
    }
}

void ActionToolBox::chooseAction(int index)
{
    const QString name = m_actionCombo->itemData(index).toString();
    if (name.isEmpty()) {
        changeBinding({});
        return;
    }
    if (name.compare(bindingActionName(m_binding), Qt::CaseInsensitive) == 0)
        return;
    // Arguments belong to the action they were written for.
    changeBinding(quickMappingBinding(name));
}

void ActionToolBox::editParameter(const QString &name, const QString &kind, const QString &text)
{
    QJsonObject args = m_binding.value(QLatin1String("args")).toObject();
    if (text == kDefaultChoice || text.trimmed().isEmpty())
        args.remove(name);
    else
        args.insert(name, argumentFromText(text, kind));
    QJsonObject binding = m_binding;
    if (args.isEmpty())
        binding.remove(QStringLiteral("args"));
    else
        binding.insert(QStringLiteral("args"), args);
    changeBinding(binding);
}

void ActionToolBox::changeBinding(const QJsonObject &binding)
{
    if (binding == m_binding)
        return;
    const bool actionChanged = bindingActionName(binding) != bindingActionName(m_binding);
    m_binding = binding;
    if (actionChanged)
        rebuildParameters();
    else
        m_signature->setText(signature());
    Q_EMIT durty();
}

void ActionToolBox::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        QFrame::mousePressEvent(event);
        return;
    }
    m_dragging = true;
    m_pressGlobalPos = event->globalPosition().toPoint();
    m_pressPos = pos();
    event->accept();
}

void ActionToolBox::mouseMoveEvent(QMouseEvent *event)
{
    if (!m_dragging || !(event->buttons() & Qt::LeftButton)) {
        QFrame::mouseMoveEvent(event);
        return;
    }
    QPoint target = m_pressPos + event->globalPosition().toPoint() - m_pressGlobalPos;
    if (parentWidget()) {
        const QSize room = parentWidget()->size() - size();
        target.setX(qBound(0, target.x(), qMax(0, room.width())));
        target.setY(qBound(0, target.y(), qMax(0, room.height())));
    }
    if (target == pos())
        return;
    move(target);
    Q_EMIT moved();
}

void ActionToolBox::mouseReleaseEvent(QMouseEvent *event)
{
    m_dragging = false;
    QFrame::mouseReleaseEvent(event);
}
