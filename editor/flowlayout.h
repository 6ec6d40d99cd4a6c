#pragma once

#include <QLayout>
#include <QList>
#include <QStyle>

// One item as the flow sees it: its size hint, and whether it takes the rest of its line.
struct FlowCell
{
    QSize hint;
    bool expanding = false;
};

// Places `cells` left to right inside `area`, starting a new line when a cell would end past the
// right edge (a cell alone on its line stays there, however wide). An expanding cell is widened to
// the rest of its line. Fills `geometries` when given; returns the height used from the top of
// `area`, 0 without cells. Negative spacings count as 0.
int flowGeometry(const QRect &area, const QList<FlowCell> &cells, int horizontalSpacing,
                 int verticalSpacing, QList<QRect> *geometries = nullptr);

// A layout that wraps its items like words: chips of the association bar, for instance.
class FlowLayout : public QLayout
{
    Q_OBJECT

public:
    // A negative spacing takes the style's layout spacing of the parent widget.
    explicit FlowLayout(QWidget *parent = nullptr, int margin = -1, int horizontalSpacing = -1,
                        int verticalSpacing = -1);
    ~FlowLayout() override;

    void addItem(QLayoutItem *item) override;
    int count() const override;
    QLayoutItem *itemAt(int index) const override;
    QLayoutItem *takeAt(int index) override;
    Qt::Orientations expandingDirections() const override;
    bool hasHeightForWidth() const override;
    int heightForWidth(int width) const override;
    QSize minimumSize() const override;
    QSize sizeHint() const override;
    void setGeometry(const QRect &rect) override;

    // The spacing in force: the layout's own, or the parent's default when it is negative; -1
    // when there is neither.
    int horizontalSpacing() const;
    int verticalSpacing() const;

private:
    int doLayout(const QRect &rect, bool testOnly) const;
    int smartSpacing(QStyle::PixelMetric metric) const;

    QList<QLayoutItem *> m_items;
    int m_horizontalSpacing;
    int m_verticalSpacing;
};
