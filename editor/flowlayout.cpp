#include "flowlayout.h"

#include <QWidget>

#include <algorithm>

namespace {

bool widensToLine(QSizePolicy::Policy policy)
{
    return policy == QSizePolicy::Expanding || policy == QSizePolicy::MinimumExpanding ||
           policy == QSizePolicy::Ignored;
}

// The layout item interface has no size policy of its own; widgets and spacers carry one.
QSizePolicy::Policy horizontalPolicy(QLayoutItem *item)
{
    if (const QWidget *widget = item->widget())
        return widget->sizePolicy().horizontalPolicy();
    if (QSpacerItem *spacer = item->spacerItem())
        return spacer->sizePolicy().horizontalPolicy();
    return (item->expandingDirections() & Qt::Horizontal) ? QSizePolicy::Expanding
                                                          : QSizePolicy::Preferred;
}

} // namespace

int flowGeometry(const QRect &area, const QList<FlowCell> &cells, int horizontalSpacing,
                 int verticalSpacing, QList<QRect> *geometries)
{
    const int spaceX = std::max(0, horizontalSpacing);
    const int spaceY = std::max(0, verticalSpacing);
    const int left = area.x();
    const int right = area.x() + area.width(); // one past the last column
    int x = left;
    int y = area.y();
    int lineHeight = 0;
    bool firstOnLine = true;
    if (geometries)
        geometries->clear();
    for (const FlowCell &cell : cells) {
        if (!firstOnLine && x + cell.hint.width() > right) {
            x = left;
            y += lineHeight + spaceY;
            lineHeight = 0;
        }
        const int width =
            cell.expanding ? std::max(cell.hint.width(), right - x) : cell.hint.width();
        if (geometries)
            geometries->append(QRect(x, y, width, cell.hint.height()));
        x += width + spaceX;
        lineHeight = std::max(lineHeight, cell.hint.height());
        firstOnLine = false;
    }
    return cells.isEmpty() ? 0 : y + lineHeight - area.y();
}

FlowLayout::FlowLayout(QWidget *parent, int margin, int horizontalSpacing, int verticalSpacing)
    : QLayout(parent), m_horizontalSpacing(horizontalSpacing), m_verticalSpacing(verticalSpacing)
{
    if (margin >= 0)
        setContentsMargins(margin, margin, margin, margin);
}

FlowLayout::~FlowLayout()
{
    qDeleteAll(m_items);
}

void FlowLayout::addItem(QLayoutItem *item)
{
    m_items.append(item);
}

int FlowLayout::count() const
{
    return int(m_items.size());
}

QLayoutItem *FlowLayout::itemAt(int index) const
{
    return m_items.value(index);
}

QLayoutItem *FlowLayout::takeAt(int index)
{
    return index >= 0 && index < m_items.size() ? m_items.takeAt(index) : nullptr;
}

Qt::Orientations FlowLayout::expandingDirections() const
{
    return {};
}

bool FlowLayout::hasHeightForWidth() const
{
    return true;
}

int FlowLayout::heightForWidth(int width) const
{
    return doLayout(QRect(0, 0, width, 0), true);
}

QSize FlowLayout::minimumSize() const
{
    QSize size;
    for (const QLayoutItem *item : m_items)
        size = size.expandedTo(item->minimumSize());
    const QMargins margins = contentsMargins();
    return size + QSize(margins.left() + margins.right(), margins.top() + margins.bottom());
}

QSize FlowLayout::sizeHint() const
{
    return minimumSize();
}

void FlowLayout::setGeometry(const QRect &rect)
{
    QLayout::setGeometry(rect);
    doLayout(rect, false);
}

int FlowLayout::horizontalSpacing() const
{
    return m_horizontalSpacing >= 0 ? m_horizontalSpacing
                                    : smartSpacing(QStyle::PM_LayoutHorizontalSpacing);
}

int FlowLayout::verticalSpacing() const
{
    return m_verticalSpacing >= 0 ? m_verticalSpacing
                                  : smartSpacing(QStyle::PM_LayoutVerticalSpacing);
}

int FlowLayout::doLayout(const QRect &rect, bool testOnly) const
{
    const QMargins margins = contentsMargins();
    const QRect area = rect.marginsRemoved(margins);
    QList<FlowCell> cells;
    cells.reserve(m_items.size());
    for (QLayoutItem *item : m_items)
        cells.append({item->sizeHint(), widensToLine(horizontalPolicy(item))});
    QList<QRect> geometries;
    const int height = flowGeometry(area, cells, horizontalSpacing(), verticalSpacing(),
                                    testOnly ? nullptr : &geometries);
    for (int i = 0; i < geometries.size(); ++i)
        m_items[i]->setGeometry(geometries[i]);
    return margins.top() + height + margins.bottom();
}

// A top-level flow follows its widget's style; a nested one follows the enclosing layout.
int FlowLayout::smartSpacing(QStyle::PixelMetric metric) const
{
    QObject *owner = parent();
    if (!owner)
        return -1;
    if (owner->isWidgetType()) {
        auto *widget = static_cast<QWidget *>(owner);
        return widget->style()->pixelMetric(metric, nullptr, widget);
    }
    return static_cast<QLayout *>(owner)->spacing();
}
