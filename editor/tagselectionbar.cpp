#include "tagselectionbar.h"

#include "flowlayout.h"

#include <QAbstractItemView>
#include <QCompleter>
#include <QFrame>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPointer>
#include <QSet>
#include <QStringListModel>
#include <QStyledItemDelegate>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <functional>

namespace {

const char *const kBarStyle = R"(
#tagSelectionBar { background: #1F2F3C; border: 1px solid #34495A; border-radius: 8px; }
#tagSelectionArea { background: transparent; }
QLineEdit#tagSelectionInput { background: transparent; border: none; color: #E8F0F5;
                              padding: 3px 2px; selection-background-color: #2F6F80; }
QFrame#tagSelectionChip { border-radius: 11px; }
QFrame#tagSelectionChip[connected="true"] { background: rgba(0, 200, 230, 40);
                                            border: 1px solid #00C8E6; }
QFrame#tagSelectionChip[connected="false"] { background: rgba(150, 140, 120, 36);
                                             border: 1px solid #A08A5C; }
QLabel#tagSelectionChipLabel { background: transparent; color: #E8F0F5; }
QFrame#tagSelectionChip[connected="false"] QLabel#tagSelectionChipLabel { color: #C9BFA8; }
QToolButton#tagSelectionChipRemove { background: transparent; border: none; border-radius: 8px;
                                     color: rgba(232, 240, 245, 170); font-weight: bold; }
QToolButton#tagSelectionChipRemove:hover { background: rgba(0, 200, 230, 80); color: #FFFFFF; }
)";

// The popup is a window of its own, out of reach of the bar's style sheet.
const char *const kPopupStyle = R"(
QAbstractItemView#tagSelectionPopup { background: #1C2D3A; color: #E8F0F5; outline: 0;
                                      border: 1px solid #00C8E6; border-radius: 6px; }
)";

const QString kNotConnected = QStringLiteral("Manette non connectee");
const char *const kChipNameProperty = "tagName";

// Names as compared: ignoring case.
QSet<QString> foldedNames(const QStringList &names)
{
    QSet<QString> folded;
    folded.reserve(names.size());
    for (const QString &name : names)
        folded.insert(name.toCaseFolded());
    return folded;
}

bool sameNames(const QStringList &a, const QStringList &b)
{
    if (a.size() != b.size())
        return false;
    for (int i = 0; i < a.size(); ++i) {
        if (a[i].compare(b[i], Qt::CaseInsensitive) != 0)
            return false;
    }
    return true;
}

// Rows of the completion popup: a rounded highlight for the hovered or current row.
class PopupDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override
    {
        const bool selected = option.state.testFlag(QStyle::State_Selected);
        const bool hovered = option.state.testFlag(QStyle::State_MouseOver);
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        if (selected || hovered) {
            painter->setPen(Qt::NoPen);
            painter->setBrush(QColor(110, 200, 215, selected ? 55 : 28));
            painter->drawRoundedRect(QRectF(option.rect.adjusted(6, 3, -6, -3)), 8, 8);
        }
        QFont font = option.font;
        font.setPixelSize(12);
        painter->setFont(font);
        painter->setPen(selected ? QColor(Qt::white) : QColor(0xE8, 0xF0, 0xF5));
        const QRect textRect = option.rect.adjusted(18, 0, -18, 0);
        const QString text = QFontMetrics(font).elidedText(index.data().toString(), Qt::ElideRight,
                                                           textRect.width());
        painter->drawText(textRect, Qt::AlignVCenter | Qt::AlignLeft, text);
        painter->restore();
    }

    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        return {QStyledItemDelegate::sizeHint(option, index).width(), 34};
    }
};

// The completer forwards the keys its popup receives straight to event(), past any event filter,
// so Enter and Backspace are caught here. Enter commits whether the popup shows or not.
class TagInput : public QLineEdit
{
public:
    using QLineEdit::QLineEdit;

    std::function<void()> onCommit;
    std::function<void()> onBackspaceWhenEmpty;
    std::function<void()> onFocusIn;

protected:
    void keyPressEvent(QKeyEvent *event) override
    {
        if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
            onCommit();
            event->accept();
            return;
        }
        if (event->key() == Qt::Key_Backspace && text().isEmpty()) {
            onBackspaceWhenEmpty();
            event->accept();
            return;
        }
        QLineEdit::keyPressEvent(event);
    }

    void focusInEvent(QFocusEvent *event) override
    {
        QLineEdit::focusInEvent(event);
        // Closing the popup hands the focus back; reopening it then would never let it close.
        if (event->reason() != Qt::PopupFocusReason)
            onFocusIn();
    }
};

} // namespace

QStringList normalizedTagNames(const QStringList &names)
{
    QStringList result;
    for (const QString &name : names) {
        const QString trimmed = name.trimmed();
        if (!trimmed.isEmpty() && !result.contains(trimmed, Qt::CaseInsensitive))
            result.append(trimmed);
    }
    return result;
}

TagSelectionBar::TagSelectionBar(QWidget *parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("tagSelectionBar"));
    setAttribute(Qt::WA_StyledBackground, true);
    setStyleSheet(QString::fromLatin1(kBarStyle));
    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(8, 4, 8, 4);
    outer->setSpacing(0);

    m_area = new QWidget(this);
    m_area->setObjectName(QStringLiteral("tagSelectionArea"));
    outer->addWidget(m_area);
    m_flow = new FlowLayout(m_area, 0, 6, 4);

    auto *input = new TagInput(m_area);
    m_input = input;
    m_input->setObjectName(QStringLiteral("tagSelectionInput"));
    m_input->setFrame(false);
    m_input->setClearButtonEnabled(false);
    m_input->setMinimumWidth(110);
    m_input->setPlaceholderText(QStringLiteral("Ajouter une manette..."));
    m_input->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    m_flow->addWidget(m_input);

    m_completionModel = new QStringListModel(this);
    m_completer = new QCompleter(m_completionModel, this);
    m_completer->setCaseSensitivity(Qt::CaseInsensitive);
    m_completer->setFilterMode(Qt::MatchContains);
    m_completer->setCompletionMode(QCompleter::PopupCompletion);
    QAbstractItemView *popup = m_completer->popup();
    popup->setObjectName(QStringLiteral("tagSelectionPopup"));
    popup->setItemDelegate(new PopupDelegate(popup));
    popup->setStyleSheet(QString::fromLatin1(kPopupStyle));
    popup->setMouseTracking(true);
    popup->viewport()->setAttribute(Qt::WA_Hover);
    m_input->setCompleter(m_completer);
    connect(m_completer, qOverload<const QString &>(&QCompleter::activated), this,
            &TagSelectionBar::commitTag);
    // The field copies the chosen text in after the commit: it connects to the completer at each
    // focus-in, after the line above. Cleared again once it has.
    connect(m_completer, qOverload<const QString &>(&QCompleter::activated), m_input,
            &QLineEdit::clear, Qt::QueuedConnection);

    input->onCommit = [this] { commitTag(m_input->text()); };
    input->onBackspaceWhenEmpty = [this] { removeLastTag(); };
    input->onFocusIn = [this] {
        QTimer::singleShot(0, this, [this, guard = QPointer<QLineEdit>(m_input)] {
            if (guard && guard->hasFocus())
                openCompletion();
        });
    };
    connect(m_input, &QLineEdit::textEdited, this, &TagSelectionBar::openCompletion);
}

void TagSelectionBar::setAvailableTags(const QStringList &tags)
{
    const QStringList names = normalizedTagNames(tags);
    if (sameNames(names, m_available))
        return;
    m_available = names;
    m_connected = foldedNames(names);
    refreshCompleter();
    rebuildChips();
}

void TagSelectionBar::setSelectedTags(const QStringList &tags)
{
    const QStringList names = normalizedTagNames(tags);
    if (sameNames(names, m_selected))
        return;
    m_selected = names;
    rebuildChips();
    refreshCompleter();
    Q_EMIT selectedTagsChanged(m_selected);
}

void TagSelectionBar::addTag(const QString &text)
{
    QString name = text.trimmed();
    for (const QString &available : std::as_const(m_available)) {
        if (available.compare(name, Qt::CaseInsensitive) == 0) {
            name = available;
            break;
        }
    }
    if (name.isEmpty() || m_selected.contains(name, Qt::CaseInsensitive))
        return;
    m_selected.append(name);
    rebuildChips();
    refreshCompleter();
    Q_EMIT selectedTagsChanged(m_selected);
}

void TagSelectionBar::removeTag(const QString &name)
{
    const auto found = std::find_if(m_selected.cbegin(), m_selected.cend(), [&](const QString &s) {
        return s.compare(name, Qt::CaseInsensitive) == 0;
    });
    if (found == m_selected.cend())
        return;
    m_selected.erase(found);
    rebuildChips();
    refreshCompleter();
    Q_EMIT selectedTagsChanged(m_selected);
}

void TagSelectionBar::removeLastTag()
{
    if (!m_selected.isEmpty())
        removeTag(m_selected.last());
}

void TagSelectionBar::commitTag(const QString &text)
{
    addTag(text);
    m_input->clear();
    m_completer->setCompletionPrefix(QString());
    m_completer->popup()->hide();
}

void TagSelectionBar::openCompletion()
{
    refreshCompleter();
    m_completer->setCompletionPrefix(m_input->text());
    m_completer->complete();
}

void TagSelectionBar::refreshCompleter()
{
    const QSet<QString> selected = foldedNames(m_selected);
    QStringList names;
    for (const QString &name : std::as_const(m_available)) {
        if (!selected.contains(name.toCaseFolded()))
            names.append(name);
    }
    if (m_completionModel->stringList() != names)
        m_completionModel->setStringList(names);
}

// The chips follow the selected names: a chip whose name stays is kept, so that adding one name
// to a long list builds one chip, not the whole row again.
void TagSelectionBar::rebuildChips()
{
    QHash<QString, QFrame *> kept;
    for (QFrame *chip : std::as_const(m_chips))
        kept.insert(chip->property(kChipNameProperty).toString(), chip);
    QList<QFrame *> chips;
    chips.reserve(m_selected.size());
    for (const QString &name : std::as_const(m_selected)) {
        QFrame *chip = kept.take(name);
        if (chip)
            showConnected(chip);
        chips.append(chip ? chip : createChip(name));
    }
    qDeleteAll(kept); // each leaves the flow as it goes
    // The flow holds the chips still in place first; the rest, then the field, go after them.
    int inPlace = 0;
    while (inPlace < chips.size() && inPlace < m_flow->count() &&
           m_flow->itemAt(inPlace)->widget() == chips.at(inPlace))
        ++inPlace;
    while (m_flow->count() > inPlace)
        delete m_flow->takeAt(m_flow->count() - 1);
    for (int i = inPlace; i < chips.size(); ++i)
        m_flow->addWidget(chips.at(i));
    m_flow->addWidget(m_input);
    m_chips = chips;
}

// The chip's colours and tooltip say whether its controller is connected.
void TagSelectionBar::showConnected(QFrame *chip) const
{
    const bool connected =
        m_connected.contains(chip->property(kChipNameProperty).toString().toCaseFolded());
    const QVariant before = chip->property("connected");
    if (before.isValid() && before.toBool() == connected)
        return;
    chip->setProperty("connected", connected);
    chip->setToolTip(connected ? QString() : kNotConnected);
    if (!before.isValid())
        return; // styled when first shown
    QList<QWidget *> parts = chip->findChildren<QWidget *>();
    parts << chip;
    for (QWidget *part : std::as_const(parts)) {
        part->style()->unpolish(part);
        part->style()->polish(part);
    }
}

QFrame *TagSelectionBar::createChip(const QString &name)
{
    auto *chip = new QFrame(m_area);
    chip->setObjectName(QStringLiteral("tagSelectionChip"));
    chip->setProperty(kChipNameProperty, name);
    showConnected(chip);
    auto *layout = new QHBoxLayout(chip);
    layout->setContentsMargins(10, 2, 4, 2);
    layout->setSpacing(4);

    auto *label = new QLabel(name, chip);
    label->setObjectName(QStringLiteral("tagSelectionChipLabel"));
    label->setTextFormat(Qt::PlainText);
    layout->addWidget(label);

    auto *remove = new QToolButton(chip);
    remove->setObjectName(QStringLiteral("tagSelectionChipRemove"));
    remove->setText(QStringLiteral("×"));
    remove->setFixedSize(18, 18);
    remove->setFocusPolicy(Qt::NoFocus);
    remove->setCursor(Qt::PointingHandCursor);
    layout->addWidget(remove);
    // Queued: the chip, button included, is deleted by the rebuild that follows.
    connect(
        remove, &QToolButton::clicked, this, [this, name] { removeTag(name); },
        Qt::QueuedConnection);
    return chip;
}
