#include "pastillegeometry.h"

#include <QtTest>

Q_DECLARE_METATYPE(ElementKind)

class TestPastilleGeometry : public QObject
{
    Q_OBJECT

private slots:
    void resize_data()
    {
        QTest::addColumn<ElementKind>("kind");
        QTest::addColumn<bool>("freeAspect");
        QTest::addColumn<QSize>("pressSize");
        QTest::addColumn<QSize>("proposed");
        QTest::addColumn<QSize>("expected");
        const auto cross = ElementKind::DualJoyCross, stick = ElementKind::SingleJoy;
        // clang-format off
        // A cross keeps its press ratio, whatever the drag direction.
        QTest::newRow("wide cross below minimum") << cross << false << QSize(120, 80) << QSize(20, 10) << QSize(135, 90);
        QTest::newRow("tall cross below minimum") << cross << false << QSize(80, 120) << QSize(10, 20) << QSize(90, 135);
        QTest::newRow("square cross ignores free aspect") << cross << true << QSize(100, 100) << QSize(150, 110) << QSize(150, 150);
        QTest::newRow("cross past int range") << cross << false << QSize(INT_MAX, 1) << QSize(9, 9) << QSize(INT_MAX, 90);
        QTest::newRow("button square at minimum") << ElementKind::Button << false << QSize(72, 72) << QSize(10, 10) << QSize(44, 44);
        QTest::newRow("stick free aspect raised") << stick << true << QSize(120, 120) << QSize(30, 70) << QSize(56, 70);
        // clang-format on
    }
    void resize()
    {
        QFETCH(ElementKind, kind);
        QFETCH(bool, freeAspect);
        QFETCH(QSize, pressSize);
        QFETCH(QSize, proposed);
        QTEST(resizedPastilleSize(kind, freeAspect, pressSize, proposed), "expected");
    }

    // The title and subtitle stand one above the other, the pair centred in the pastille.
    void textRects_data()
    {
        QTest::addColumn<qreal>("subtitleHeight"); // inside (4, 4, 92, 52), a title 14 high
        QTest::addColumn<QList<QRectF>>("rects");  // the title's, the subtitle's
        QTest::newRow("title alone") << 0.0 << QList<QRectF>{{4, 23, 92, 14}, {4, 37, 92, 0}};
        QTest::newRow("with subtitle") << 10.0 << QList<QRectF>{{4, 18, 92, 14}, {4, 32, 92, 10}};
    }
    void textRects()
    {
        QFETCH(qreal, subtitleHeight);
        const PastilleTextRects rects = pastilleTextRects(QRectF(4, 4, 92, 52), 14, subtitleHeight);
        QTEST(QList<QRectF>({rects.title, rects.subtitle}), "rects");
    }

    // A copy goes 28 px right when it fits, else left unless that passes the left edge.
    void duplicateOffsets()
    {
        QCOMPARE(QList({duplicateOffset(28, 50, 106), duplicateOffset(28, 50, 100),
                        duplicateOffset(27, 50, 100)}),
                 QList({28, -28, 28}));
    }
};

QTEST_APPLESS_MAIN(TestPastilleGeometry)
#include "tst_pastillegeometry.moc"
