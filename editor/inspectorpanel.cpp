#include "inspectorpanel.h"

#include "interactiveoverlay.h"

#include <QCheckBox>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QVBoxLayout>

namespace {

constexpr int kPanelWidth = 264;

const QString kAxisXSlot = QStringLiteral("Axe X");
const QString kAxisYSlot = QStringLiteral("Axe Y");

const char *const kPanelStyle = R"(
QFrame#gamepadInspectorPanel { background: #1F2F3C; border: 1px solid #34495A; border-radius: 8px; }
QFrame#gamepadInspectorPanel QLabel { color: #E8F0F5; background: transparent; }
QLabel#inspectorTitle { color: #00C8E6; font-weight: 600; }
QLabel#inspectorPrompt, QLabel#inspectorType { color: rgba(232, 240, 245, 170); }
QLineEdit#inspectorName { background: #1C2D3A; color: #E8F0F5; border: 1px solid #34495A;
                          border-radius: 4px; padding: 3px 4px; selection-background-color: #2F6F80; }
QLineEdit#inspectorName:focus { border-color: #00C8E6; }
QLineEdit#inspectorName[readOnly="true"] { color: rgba(232, 240, 245, 140); }
QFrame#slotEditorPanel { background: rgba(15, 26, 36, 150); border: 1px solid #2B3F4F; border-radius: 6px; }
QLabel#slotSourceLabel { color: #00C8E6; font-weight: 600; }
QPushButton { background: #24384A; color: #E8F0F5; border: 1px solid #34495A; border-radius: 4px;
              padding: 3px 8px; }
QPushButton:hover { border-color: #00C8E6; }
QPushButton:disabled { color: rgba(232, 240, 245, 90); border-color: #2B3F4F; }
QPushButton[armed="true"] { background: rgba(0, 200, 230, 70); border-color: #00C8E6; }
QComboBox { background: #1C2D3A; color: #E8F0F5; border: 1px solid #34495A; border-radius: 4px;
            padding: 2px 6px; }
QCheckBox { color: #E8F0F5; }
)";

QString typeText(ElementKind kind)
{
    switch (kind) {
    case ElementKind::DualJoyCross:
        return QStringLiteral("Type : Double Joy X/Y");
    case ElementKind::Button:
        return QStringLiteral("Type : Button");
    case ElementKind::SingleJoy:
        break;
    }
    return QStringLiteral("Type : Joy");
}

// Axis and button keys read as they are published; any other key is a gate's.
QString sourceText(const QString &key)
{
    const QString k = key.trimmed();
    if (k.isEmpty())
        return QStringLiteral("Aucune source");
    if (k.startsWith(QLatin1String("joy_")) || k.startsWith(QLatin1String("but_")))
        return k;
    return QStringLiteral("Gate %1").arg(k);
}

// A cross bound as a whole: "Joy 0/1" for two axes, each key otherwise ("-" for a missing one).
QString crossSourceText(const QString &xKey, const QString &yKey)
{
    static const QRegularExpression axisKey(QStringLiteral("^joy_(\\d+)$"));
    const QString x = xKey.trimmed();
    const QString y = yKey.trimmed();
    if (x.isEmpty() && y.isEmpty())
        return QStringLiteral("Aucune source");
    const auto xAxis = axisKey.match(x);
    const auto yAxis = axisKey.match(y);
    if (xAxis.hasMatch() && yAxis.hasMatch())
        return QStringLiteral("Joy %1/%2").arg(xAxis.captured(1), yAxis.captured(1));
    const auto part = [](const QString &k) {
        return k.isEmpty() ? QStringLiteral("-") : sourceText(k);
    };
    return QStringLiteral("%1 / %2").arg(part(x), part(y));
}

QString slotSignature(const InteractiveOverlay &overlay, int index)
{
    if (index < 0)
        return {};
    const OverlayNode node = overlay.node(index);
    QStringList parts{node.id.toString(), QString::number(index), QString::number(int(node.kind)),
                      QString::number(int(node.split)), QString::number(int(node.publishMode))};
    for (const OverlaySlot &slot : node.sources)
        parts << slot.source.stringKey;
    if (overlay.listeningNode() == index)
        parts << overlay.listeningSlot();
    return parts.join(QLatin1Char('\n'));
}

} // namespace

InspectorPanel::InspectorPanel(InteractiveOverlay *overlay, QWidget *parent)
    : QFrame(parent), m_overlay(overlay)
{
    setObjectName(QStringLiteral("gamepadInspectorPanel"));
    setFixedWidth(kPanelWidth);
    setStyleSheet(QString::fromLatin1(kPanelStyle));

    auto *title = new QLabel(QStringLiteral("Inspecteur"), this);
    title->setObjectName(QStringLiteral("inspectorTitle"));
    m_prompt = new QLabel(QStringLiteral("Selectionnez un element sur l'image."), this);
    m_prompt->setObjectName(QStringLiteral("inspectorPrompt"));
    m_prompt->setWordWrap(true);
    auto *nameLabel = new QLabel(QStringLiteral("Nom"), this);
    m_name = new QLineEdit(this);
    m_name->setObjectName(QStringLiteral("inspectorName"));
    m_type = new QLabel(this);
    m_type->setObjectName(QStringLiteral("inspectorType"));
    m_duplicate = new QPushButton(QStringLiteral("Dupliquer"), this);
    m_delete = new QPushButton(QStringLiteral("Supprimer"), this);
    m_slotEditor = new QFrame(this);
    m_slotEditor->setObjectName(QStringLiteral("slotEditorPanel"));
    m_slotLayout = new QVBoxLayout(m_slotEditor);
    m_slotLayout->setContentsMargins(8, 8, 8, 8);

    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_duplicate);
    buttons->addWidget(m_delete);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(10, 10, 10, 10);
    layout->setSpacing(6);
    layout->addWidget(title);
    layout->addWidget(m_prompt);
    layout->addWidget(nameLabel);
    layout->addWidget(m_name);
    layout->addWidget(m_type);
    layout->addLayout(buttons);
    layout->addWidget(m_slotEditor);
    layout->addStretch(1);

    connect(m_name, &QLineEdit::editingFinished, this, [this] {
        commitName();
        refresh();
    });
    connect(m_duplicate, &QPushButton::clicked, this, [this] {
        if (m_overlay && !m_overlay->isLocked() && m_overlay->duplicateSelectedNode() >= 0)
            Q_EMIT nodeEdited();
        refresh();
    });
    connect(m_delete, &QPushButton::clicked, this, [this] {
        if (!m_overlay || m_overlay->isLocked() || m_overlay->selectedNode() < 0)
            return;
        m_overlay->removeNode(m_overlay->selectedNode());
        Q_EMIT nodeEdited();
        refresh();
    });
    if (m_overlay) {
        connect(m_overlay, &InteractiveOverlay::selectedNodeChanged, this,
                &InspectorPanel::refresh);
        connect(m_overlay, &InteractiveOverlay::dirty, this, &InspectorPanel::refresh);
    }
    refresh();
}

// Closing the window takes the focus from the name field, whose editingFinished must not reach a
// panel that is half destroyed.
InspectorPanel::~InspectorPanel()
{
    m_name->disconnect(this);
}

void InspectorPanel::refresh()
{
    const int index = m_overlay ? m_overlay->selectedNode() : -1;
    const bool selected = index >= 0;
    const bool editable = selected && !m_overlay->isLocked();
    const OverlayNode node = selected ? m_overlay->node(index) : OverlayNode();

    // A name typed for the pastille shown until now belongs to it, not to the next one.
    const QUuid id = selected ? node.id : QUuid();
    if (id != m_shownId) {
        commitName();
        m_shownId = id;
        m_name->setText(selected ? node.title : QString());
    } else if (!m_name->isModified()) {
        m_name->setText(selected ? node.title : QString());
    }
    m_name->setReadOnly(!editable);
    // The style sheet follows the read-only state through the property.
    m_name->style()->unpolish(m_name);
    m_name->style()->polish(m_name);

    m_prompt->setVisible(!selected);
    m_type->setVisible(selected);
    m_type->setText(selected ? typeText(node.kind) : QString());
    m_duplicate->setEnabled(editable);
    m_delete->setEnabled(editable);

    const QString signature = m_overlay ? slotSignature(*m_overlay, index) : QString();
    if (signature != m_slotSignature || (selected && !m_slotContent)) {
        m_slotSignature = signature;
        rebuildSlotEditor(index);
    }
    m_slotEditor->setVisible(selected);
}

bool InspectorPanel::commitName()
{
    if (!m_name->isModified())
        return false;
    m_name->setModified(false);
    const int index = indexOf(m_shownId);
    if (m_name->isReadOnly() || index < 0 || !m_overlay->renameNode(index, m_name->text()))
        return false;
    Q_EMIT nodeEdited();
    return true;
}

int InspectorPanel::indexOf(const QUuid &id) const
{
    if (!m_overlay || id.isNull())
        return -1;
    for (int i = 0; i < m_overlay->nodeCount(); ++i) {
        if (m_overlay->node(i).id == id)
            return i;
    }
    return -1;
}

void InspectorPanel::rebuildSlotEditor(int index)
{
    // The content may be rebuilt from one of its own widgets' signals: the old one goes later.
    if (m_slotContent) {
        m_slotLayout->removeWidget(m_slotContent);
        m_slotContent->hide();
        m_slotContent->setParent(nullptr);
        m_slotContent->deleteLater();
        m_slotContent = nullptr;
    }
    if (!m_overlay || index < 0)
        return;

    const OverlayNode node = m_overlay->node(index);
    const QUuid id = node.id;
    m_slotContent = new QWidget(m_slotEditor);
    auto *layout = new QVBoxLayout(m_slotContent);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    auto *title = new QLabel(QStringLiteral("Sources"), m_slotContent);
    title->setObjectName(QStringLiteral("inspectorTitle"));
    layout->addWidget(title);

    const bool cross = node.kind == ElementKind::DualJoyCross;
    if (cross) {
        auto *split = new QCheckBox(QStringLiteral("Split X / Y"), m_slotContent);
        split->setChecked(node.split);
        connect(split, &QCheckBox::toggled, this, [this, id](bool on) {
            m_overlay->setNodeSplit(indexOf(id), on);
            Q_EMIT nodeEdited();
            refresh();
        });
        layout->addWidget(split);
    }

    if (node.kind != ElementKind::Button) {
        auto *row = new QHBoxLayout;
        row->addWidget(new QLabel(QStringLiteral("Envoi"), m_slotContent));
        auto *mode = new QComboBox(m_slotContent);
        mode->setObjectName(QStringLiteral("publishModeCombo"));
        mode->addItem(QStringLiteral("Sur changement"), int(PublishMode::OnChange));
        mode->addItem(QStringLiteral("En continu hors repos"), int(PublishMode::ActiveOnly));
        mode->addItem(QStringLiteral("Toujours"), int(PublishMode::Always));
        mode->setCurrentIndex(mode->findData(int(node.publishMode)));
        connect(mode, &QComboBox::currentIndexChanged, this, [this, id, mode] {
            m_overlay->setNodePublishMode(indexOf(id), PublishMode(mode->currentData().toInt()));
            Q_EMIT nodeEdited();
        });
        row->addWidget(mode, 1);
        layout->addLayout(row);
        auto *note = new QLabel(QStringLiteral("Hors repos: reemet tant que le joystick n'est pas "
                                               "revenu a 0 / 0,0. Le retour a zero est emis une "
                                               "fois."),
                                m_slotContent);
        note->setWordWrap(true);
        note->setStyleSheet(QStringLiteral("color: rgba(210, 225, 236, 170);"));
        layout->addWidget(note);
    }

    // One row per slot; a cross bound as a whole has one row for its two axes, learned X then Y.
    struct Row
    {
        QString caption;
        QString source;
        QStringList slotLabels;
        QString learnText;
    };
    QVector<Row> rows;
    if (cross && !node.split) {
        rows.append({QStringLiteral("Axes X / Y"),
                     crossSourceText(m_overlay->sourceOf(index, kAxisXSlot).stringKey,
                                     m_overlay->sourceOf(index, kAxisYSlot).stringKey),
                     {kAxisXSlot, kAxisYSlot},
                     QStringLiteral("Learn")});
    } else {
        for (const OverlaySlot &slot : node.sources) {
            const QString learn = !cross                     ? QStringLiteral("Learn")
                                  : slot.label == kAxisXSlot ? QStringLiteral("Learn X")
                                                             : QStringLiteral("Learn Y");
            rows.append({slot.label, sourceText(slot.source.stringKey), {slot.label}, learn});
        }
    }

    const bool listening = m_overlay->listeningNode() == index;
    for (const Row &row : std::as_const(rows)) {
        auto *caption = new QLabel(row.caption, m_slotContent);
        auto *source = new QLabel(row.source, m_slotContent);
        source->setObjectName(QStringLiteral("slotSourceLabel"));
        auto *learn = new QPushButton(row.learnText, m_slotContent);
        learn->setProperty("armed",
                           listening && row.slotLabels.contains(m_overlay->listeningSlot()));
        learn->setToolTip(QStringLiteral("Bougez un axe ou appuyez sur un bouton de la manette"));
        auto *clear = new QPushButton(QStringLiteral("Clear"), m_slotContent);
        const QStringList labels = row.slotLabels;
        connect(learn, &QPushButton::clicked, this,
                [this, id, labels] { toggleListening(id, labels.first()); });
        connect(clear, &QPushButton::clicked, this, [this, id, labels] { clearSlots(id, labels); });

        auto *line = new QHBoxLayout;
        line->addWidget(caption);
        line->addWidget(source, 1);
        layout->addLayout(line);
        auto *actions = new QHBoxLayout;
        actions->addStretch(1);
        actions->addWidget(learn);
        actions->addWidget(clear);
        layout->addLayout(actions);
    }
    m_slotLayout->addWidget(m_slotContent);
}

// A learn button arms its slot; pressed again while armed it disarms.
void InspectorPanel::toggleListening(const QUuid &id, const QString &slotLabel)
{
    const int index = indexOf(id);
    if (index < 0)
        return;
    if (m_overlay->listeningNode() == index) {
        const bool sameRow = m_overlay->listeningSlot() == slotLabel ||
                             (!m_overlay->node(index).split &&
                              m_overlay->node(index).kind == ElementKind::DualJoyCross);
        m_overlay->stopListening();
        if (sameRow) {
            refresh();
            return;
        }
    }
    m_overlay->startListening(index, slotLabel);
    refresh();
}

void InspectorPanel::clearSlots(const QUuid &id, const QStringList &slotLabels)
{
    const int index = indexOf(id);
    if (index < 0)
        return;
    if (m_overlay->listeningNode() == index)
        m_overlay->stopListening();
    for (const QString &label : slotLabels) {
        OverlaySource source = m_overlay->sourceOf(index, label);
        source.stringKey.clear();
        m_overlay->setNodeSource(index, label, source);
    }
    Q_EMIT nodeEdited();
    refresh();
}
