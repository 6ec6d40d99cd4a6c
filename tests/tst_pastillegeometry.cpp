#include "pastillegeometry.h"

#include <QtTest>

Q_DECLARE_METATYPE(ElementKind)

class TestPastilleGeometry : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void minimumSide_data();
    void minimumSide();
    void resize_data();
    void resize();
    void keepInside_data();
    void keepInside();
    void gripRect();
};

void TestPastilleGeometry::minimumSide_data()
{
    QTest::addColumn<ElementKind>("kind");
    QTest::addColumn<int>("side");
    QTest::newRow("stick") << ElementKind::SingleJoy << 56;
    QTest::newRow("cross") << ElementKind::DualJoyCross << 90;
    QTest::newRow("button") << ElementKind::Button << 44;
    QTest::newRow("out of range") << static_cast<ElementKind>(7) << 56;
}

void TestPastilleGeometry::minimumSide()
{
    QFETCH(ElementKind, kind);
    QFETCH(int, side);
    QCOMPARE(pastilleMinimumSide(kind), side);
}

void TestPastilleGeometry::resize_data()
{
    QTest::addColumn<ElementKind>("kind");
    QTest::addColumn<bool>("freeAspect");
    QTest::addColumn<QSize>("pressSize");
    QTest::addColumn<QSize>("proposed");
    QTest::addColumn<QSize>("expected");
    const auto cross = ElementKind::DualJoyCross;
    const auto stick = ElementKind::SingleJoy;
    const auto button = ElementKind::Button;
    // A cross keeps its press ratio, whatever the drag direction.
    QTest::newRow("wide cross below minimum")
        << cross << false << QSize(120, 80) << QSize(20, 10) << QSize(135, 90);
    QTest::newRow("tall cross below minimum")
        << cross << false << QSize(80, 120) << QSize(10, 20) << QSize(90, 135);
    QTest::newRow("square cross ignores free aspect")
        << cross << true << QSize(100, 100) << QSize(150, 110) << QSize(150, 150);
    QTest::newRow("cross with zero height")
        << cross << false << QSize(100, 0) << QSize(95, 10) << QSize(95, 95);
    QTest::newRow("very tall cross capped by 0.1")
        << cross << false << QSize(5, 500) << QSize(5, 20) << QSize(90, 900);
    QTest::newRow("stick square of larger side")
        << stick << false << QSize(120, 120) << QSize(150, 130) << QSize(150, 150);
    QTest::newRow("button square at minimum")
        << button << false << QSize(72, 72) << QSize(10, 10) << QSize(44, 44);
    QTest::newRow("stick free aspect as is")
        << stick << true << QSize(120, 120) << QSize(200, 70) << QSize(200, 70);
    QTest::newRow("stick free aspect raised")
        << stick << true << QSize(120, 120) << QSize(30, 70) << QSize(56, 70);
}

void TestPastilleGeometry::resize()
{
    QFETCH(ElementKind, kind);
    QFETCH(bool, freeAspect);
    QFETCH(QSize, pressSize);
    QFETCH(QSize, proposed);
    QFETCH(QSize, expected);
    QCOMPARE(resizedPastilleSize(kind, freeAspect, pressSize, proposed), expected);
}

void TestPastilleGeometry::keepInside_data()
{
    QTest::addColumn<QRect>("geometry");
    QTest::addColumn<QPoint>("expected");
    // The parent is 400 x 300.
    QTest::newRow("inside untouched") << QRect(10, 20, 100, 100) << QPoint(10, 20);
    QTest::newRow("past right") << QRect(350, 20, 100, 100) << QPoint(300, 20);
    QTest::newRow("past left and top") << QRect(-30, -1, 100, 100) << QPoint(0, 0);

    QTest::newRow("larger than parent") << QRect(50, 50, 500, 400) << QPoint(0, 0);
    QTest::newRow("wider only, far left") << QRect(-200, 10, 450, 50) << QPoint(0, 10);
}

void TestPastilleGeometry::keepInside()
{
    QFETCH(QRect, geometry);
    QFETCH(QPoint, expected);
    const QRect kept = keptInsideParent(geometry, QSize(400, 300));
    QCOMPARE(kept.topLeft(), expected);
    QCOMPARE(kept.size(), geometry.size());
}

void TestPastilleGeometry::gripRect()
{
    QCOMPARE(pastilleGripRect(QSize(120, 120)), QRect(105, 105, 12, 12));
    QCOMPARE(pastilleGripRect(QSize(200, 80)), QRect(185, 65, 12, 12));
    // The grip ends 3 pixels short of the bottom-right corner.
    QVERIFY(!pastilleGripRect(QSize(120, 120)).contains(QPoint(117, 117)));
    QVERIFY(pastilleGripRect(QSize(120, 120)).contains(QPoint(116, 116)));
}

QTEST_APPLESS_MAIN(TestPastilleGeometry)
#include "tst_pastillegeometry.moc"
