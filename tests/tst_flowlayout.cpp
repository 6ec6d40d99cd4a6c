#include "flowlayout.h"

#include <QtTest>
#include <QtWidgets>

// Layout spacings no stock style uses, so that taking them from the style shows.
class SpacingStyle : public QProxyStyle
{
public:
    int pixelMetric(PixelMetric metric, const QStyleOption *option,
                    const QWidget *widget) const override
    {
        if (metric == PM_LayoutHorizontalSpacing || metric == PM_LayoutVerticalSpacing)
            return metric == PM_LayoutHorizontalSpacing ? 11 : 7;
        return QProxyStyle::pixelMetric(metric, option, widget);
    }
};

class TestFlowLayout : public QObject
{
    Q_OBJECT

private slots:
    void geometry_data() // Margins 5, 4, 5, 4 in a 100 px wide rectangle: items may use x 5 to 94.
    {
        QTest::addColumn<QList<QSize>>("hints");
        QTest::addColumn<int>("expanding"); // index of the expanding item, -1 for none
        QTest::addColumn<int>("spacing");   // -1: the style's 11 and 7
        QTest::addColumn<QList<QRect>>("expected");
        QTest::addColumn<int>("height");
        const QSize a(40, 20), b(30, 24), c(50, 20);
        // clang-format off
        QTest::newRow("empty") << QList<QSize>{} << -1 << 6 << QList<QRect>{} << 8;
        QTest::newRow("one line") << QList<QSize>{a, b} << -1 << 6 << QList<QRect>{{5, 4, 40, 20}, {51, 4, 30, 24}} << 32;
        QTest::newRow("wraps on the tallest") << QList<QSize>{a, b, c} << -1 << 6 << QList<QRect>{{5, 4, 40, 20}, {51, 4, 30, 24}, {5, 34, 50, 20}} << 58;
        QTest::newRow("expanding fills its line") << QList<QSize>{a, b} << 1 << 6 << QList<QRect>{{5, 4, 40, 20}, {51, 4, 44, 24}} << 32;
        QTest::newRow("expanding wraps at its hint") << QList<QSize>{a, QSize(60, 20)} << 1 << 6 << QList<QRect>{{5, 4, 40, 20}, {5, 30, 90, 20}} << 54;
        QTest::newRow("too wide alone stays") << QList<QSize>{QSize(120, 20), a} << -1 << 6 << QList<QRect>{{5, 4, 120, 20}, {5, 30, 40, 20}} << 54;
        QTest::newRow("style spacing") << QList<QSize>{a, b, c} << -1 << -1 << QList<QRect>{{5, 4, 40, 20}, {56, 4, 30, 24}, {5, 35, 50, 20}} << 59;
        // clang-format on
    }
    void geometry()
    {
        QFETCH(QList<QSize>, hints);
        QFETCH(int, expanding);
        QFETCH(int, spacing);
        SpacingStyle style;
        QWidget parent;
        parent.setStyle(&style);
        FlowLayout layout(&parent, -1, spacing, spacing);
        layout.setContentsMargins(5, 4, 5, 4);
        QSize smallest; // the largest item's minimum, an expanding one as narrow as it likes
        for (int i = 0; i < hints.size(); ++i) {
            const auto policy = i == expanding ? QSizePolicy::Expanding : QSizePolicy::Fixed;
            layout.addItem(new QSpacerItem(hints[i].width(), hints[i].height(), policy));
            smallest = smallest.expandedTo(i == expanding ? QSize(0, hints[i].height()) : hints[i]);
        }
        QCOMPARE(layout.minimumSize(), smallest + QSize(10, 8));
        QTEST(layout.hasHeightForWidth() ? layout.heightForWidth(100) : -1, "height");
        layout.setGeometry(QRect(0, 0, 100, 200));
        QList<QRect> placed;
        for (int i = 0; i < layout.count(); ++i)
            placed << layout.itemAt(i)->geometry();
        QTEST(placed, "expected");
    }

    // Nested in another layout, the flow takes that layout's spacing; alone, it has none.
    void spacingOutsideAWidget()
    {
        QWidget parent; // a margin of 0 is the flow's own, not the style's
        QCOMPARE(FlowLayout(&parent, 0).contentsMargins(), QMargins());
        QCOMPARE(FlowLayout().horizontalSpacing(), -1);
        QVBoxLayout outer;
        outer.setSpacing(9);
        auto *nested = new FlowLayout;
        outer.addLayout(nested);
        QCOMPARE(nested->verticalSpacing(), 9);
    }
};

QTEST_MAIN(TestFlowLayout)
#include "tst_flowlayout.moc"
