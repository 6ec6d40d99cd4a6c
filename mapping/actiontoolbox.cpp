#include "actiontoolbox.h"

#include "mappingdocument.h"
#include "overlaybindings.h"

#include <QComboBox>
#include <QFont>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPushButton>
#include <QStandardItemModel>
#include <QVBoxLayout>

namespace {

const QString kDefaultChoice = QStringLiteral("<par défaut>");
const QString kNoAction = QStringLiteral("none");
using BridgeField::kArgs;

const char *const kStyle = R"(
ActionToolBox { background: rgba(20, 32, 44, 235); border: 1px solid #00C8E6; border-radius: 8px; }
QLabel { color: #E8F0F5; background: transparent; }
QLabel#actionToolBoxHeader { font-weight: 600; color: #00C8E6; padding-bottom: 2px;
                             border-bottom: 1px solid rgba(0, 200, 230, 90); }
QLabel#actionToolBoxSignature { color: rgba(232, 240, 245, 170); font-family: monospace; }
QComboBox, QPushButton { background: #263746; color: #E8F0F5; border: 1px solid #3C5568;
                         border-radius: 4px; padding: 3px 6px; }
QComboBox:focus, QPushButton:hover { border-color: #00C8E6; }
QComboBox QAbstractItemView { background: #1B2A37; color: #E8F0F5;
                              selection-background-color: #2F4F63; }
QPushButton:checked { background: #2F4F63; border-color: #00C8E6; }
QPushButton:disabled { color: rgba(232, 240, 245, 90); }
)";

// A group title in the action list: shown, never chosen.
void addGroupTitle(QComboBox *combo, const QString &title)
{
    combo->addItem(title);
    QStandardItem *item =
        qobject_cast<QStandardItemModel *>(combo->model())->item(combo->count() - 1);
    item->setFlags(Qt::NoItemFlags);
    QFont font = combo->font();
    font.setBold(true);
    item->setFont(font);
}

} // namespace

ActionToolBox::ActionToolBox(QWidget *parent) : QFrame(parent)
{
    setObjectName(QStringLiteral("actionToolBox"));
    setStyleSheet(QString::fromLatin1(kStyle));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 6, 8, 8);
    layout->setSpacing(6);

    m_header = new QLabel(QStringLiteral("Action"), this);
    m_header->setObjectName(QStringLiteral("actionToolBoxHeader"));
    m_header->setCursor(Qt::SizeAllCursor);
    layout->addWidget(m_header);

    m_actionCombo = new QComboBox(this);
    m_actionCombo->setObjectName(QStringLiteral("actionToolBoxActions"));
    m_actionCombo->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    layout->addWidget(m_actionCombo);
    connect(m_actionCombo, &QComboBox::activated, this, &ActionToolBox::chooseAction);

    m_signature = new QLabel(this);
    m_signature->setObjectName(QStringLiteral("actionToolBoxSignature"));
    m_signature->setWordWrap(true);
    m_signature->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(m_signature);

    m_editButton = new QPushButton(QStringLiteral("Editer les parametres"), this);
    m_editButton->setObjectName(QStringLiteral("actionToolBoxEdit"));
    m_editButton->setCheckable(true);
    layout->addWidget(m_editButton);

    m_parameterPanel = new QWidget(this);
    m_parameterRows = new QFormLayout(m_parameterPanel);
    m_parameterRows->setContentsMargins(0, 0, 0, 0);
    m_parameterPanel->setVisible(false);
    layout->addWidget(m_parameterPanel);
    connect(m_editButton, &QPushButton::toggled, this, [this](bool shown) {
        m_parameterPanel->setVisible(shown);
        adjustSize();
    });

    rebuildActionList();
}

ActionToolBox::~ActionToolBox()
{
    disconnectParameterFields();
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
    return action ? actionSignature(*action, m_binding.value(kArgs).toObject()) : QString();
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

// "none" first, then the actions under their group titles (groups in order of first appearance).
// An action the catalog does not know stays shown under its own name rather than as "none".
void ActionToolBox::rebuildActionList()
{
    m_actionCombo->clear();
    m_actionCombo->addItem(kNoAction, QString());
    const QString boundName = isEmptyBinding(m_binding) ? QString() : bindingActionName(m_binding);
    const ActionDescription *current = currentAction();
    if (!boundName.isEmpty() && !current)
        m_actionCombo->addItem(boundName, boundName);
    QStringList groups;
    for (const ActionDescription &action : std::as_const(m_actions)) {
        if (!action.name.isEmpty() && !groups.contains(action.group))
            groups << action.group;
    }
    for (const QString &group : std::as_const(groups)) {
        addGroupTitle(m_actionCombo, group);
        for (const ActionDescription &action : std::as_const(m_actions)) {
            if (action.group != group || action.name.isEmpty())
                continue;
            m_actionCombo->addItem(QStringLiteral("  ") +
                                       (action.label.isEmpty() ? action.name : action.label),
                                   action.name);
            m_actionCombo->setItemData(m_actionCombo->count() - 1,
                                       QStringLiteral("ID: %1").arg(action.name), Qt::ToolTipRole);
        }
    }
    const QString shownName = current ? current->name : boundName;
    m_actionCombo->setCurrentIndex(
        shownName.isEmpty() ? 0 : qMax(0, m_actionCombo->findData(shownName)));
    rebuildParameters();
}

// A field that has focus reports editingFinished as it goes away (the window closes or the row is
// removed); by then the box or the binding it would edit is gone.
void ActionToolBox::disconnectParameterFields()
{
    const auto fields = m_parameterPanel->findChildren<QComboBox *>();
    for (QComboBox *field : fields) {
        field->disconnect(this);
        field->lineEdit()->disconnect(this);
    }
}

void ActionToolBox::rebuildParameters()
{
    disconnectParameterFields();
    while (m_parameterRows->rowCount() > 0)
        m_parameterRows->removeRow(0);
    const ActionDescription *action = currentAction();
    const bool editable = action && !action->params.isEmpty();
    m_editButton->setEnabled(editable);
    if (!editable)
        m_editButton->setChecked(false);
    m_signature->setText(signature());
    m_signature->setVisible(action != nullptr);
    if (action) {
        const QJsonObject args = m_binding.value(kArgs).toObject();
        for (const ActionParameter &param : action->params)
            m_parameterRows->addRow(QStringLiteral("%1:").arg(param.name),
                                    parameterField(param, args));
    }
    adjustSize();
}

// An editable list whose first choice leaves the argument out, so that the catalog default
// applies; anything typed is stored with the parameter's type.
QComboBox *ActionToolBox::parameterField(const ActionParameter &param, const QJsonObject &args)
{
    const QString kind = normalizedParameterKind(param.type);
    auto *field = new QComboBox(m_parameterPanel);
    field->setObjectName(QStringLiteral("actionToolBoxParam_%1").arg(param.name));
    field->setEditable(true);
    field->setInsertPolicy(QComboBox::NoInsert);
    field->setCompleter(nullptr);
    field->addItem(kDefaultChoice);
    if (kind == QLatin1String("bool"))
        field->addItems({QStringLiteral("true"), QStringLiteral("false")});
    const QString defaultText = argumentToText(param.defaultValue, kind);
    if (!defaultText.isEmpty())
        field->setToolTip(QStringLiteral("%1 : %2").arg(kDefaultChoice, defaultText));
    field->setCurrentText(args.contains(param.name) ? argumentToText(args.value(param.name), kind)
                                                    : kDefaultChoice);
    const QString name = param.name;
    // Leaving a field also reports editingFinished: only typed text is a change.
    connect(field->lineEdit(), &QLineEdit::editingFinished, this, [this, field, name, kind] {
        if (!field->lineEdit()->isModified())
            return;
        field->lineEdit()->setModified(false);
        editParameter(name, kind, field->currentText());
    });
    connect(field, &QComboBox::activated, this, [this, field, name, kind](int index) {
        editParameter(name, kind, field->itemText(index));
    });
    return field;
}

void ActionToolBox::chooseAction(int index)
{
    const QString name = m_actionCombo->itemData(index).toString();
    if (name.isEmpty()) {
        changeBinding(QJsonObject());
        return;
    }
    if (name.compare(bindingActionName(m_binding), Qt::CaseInsensitive) == 0)
        return;
    // Arguments belong to the action they were written for.
    changeBinding(quickMappingBinding(name));
}

void ActionToolBox::editParameter(const QString &name, const QString &kind, const QString &text)
{
    QJsonObject args = m_binding.value(kArgs).toObject();
    if (text == kDefaultChoice || text.trimmed().isEmpty())
        args.remove(name);
    else
        args.insert(name, argumentFromText(text, kind));
    QJsonObject binding = m_binding;
    if (args.isEmpty())
        binding.remove(kArgs);
    else
        binding.insert(kArgs, args);
    changeBinding(binding);
}

void ActionToolBox::changeBinding(const QJsonObject &binding)
{
    if (binding == m_binding)
        return;
    const bool actionChanged =
        bindingActionName(binding).compare(bindingActionName(m_binding), Qt::CaseInsensitive) != 0;
    m_binding = binding;
    // The fields are rebuilt only for another action: an edited field must outlive its signal.
    if (actionChanged)
        rebuildParameters();
    else
        m_signature->setText(signature());
    Q_EMIT durty();
}

void ActionToolBox::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton ||
        !m_header->geometry().contains(event->position().toPoint())) {
        QFrame::mousePressEvent(event);
        return;
    }
    m_dragging = true;
    m_pressGlobalPos = event->globalPosition().toPoint();
    m_pressPos = pos();
    raise();
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
    if (target != pos()) {
        move(target);
        Q_EMIT moved();
    }
    event->accept();
}

void ActionToolBox::mouseReleaseEvent(QMouseEvent *event)
{
    m_dragging = false;
    QFrame::mouseReleaseEvent(event);
}
