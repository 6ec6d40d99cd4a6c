#include "cardgeometry.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

class TestCardGeometry : public QObject
{
    Q_OBJECT

private slots:
    // A 60 px strip holds (60 + 8) / 28 = 2 chips of 20 x 20, centred, then one for the rest.
    void chipLayout_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<QList<int>>("xs");
        QTest::addColumn<QString>("last");
        QTest::newRow("60 px") << 60 << QList<int>{5, 33, 61} << "+3";
        QTest::newRow("20 px") << 20 << QList<int>{-1, 27} << "+4";
        QTest::newRow("19 px") << 19 << QList<int>{} << "";
    }
    void chipLayout()
    {
        QFETCH(int, width);
        QFETCH(QList<int>, xs);
        QFETCH(QString, last);
        const QList<ControlChip> chips =
            layoutControlChips(QRect(0, 0, width, 28), {"a", "b", "c", "d", "e"});
        QList<QRect> expected, actual;
        for (int x : xs)
            expected << QRect(x, 3, 20, 20);
        for (const ControlChip &chip : chips)
            actual << chip.rect;
        QCOMPARE(actual, expected);
        QCOMPARE(chips.isEmpty() ? QString() : chips.last().text, last);
    }

    // A picture file's key carries its modification time, so an edited file is loaded again.
    void cacheKeys()
    {
        QCOMPARE(imageCacheKey("/no/such/pad.png", QSize(96, 96)),
                 QString("img:/no/such/pad.png:96x96:0"));
        QTemporaryDir dir;
        QFile file(dir.filePath("pad%2.png")); // a "%" must survive as is
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("x") == 1 && file.flush());
        QVERIFY(file.setFileTime(QDateTime::fromMSecsSinceEpoch(1700000000123),
                                 QFileDevice::FileModificationTime));
        QCOMPARE(imageCacheKey(file.fileName(), QSize(96, 80)),
                 "img:" + file.fileName() + ":96x80:1700000000123");
    }
};

QTEST_APPLESS_MAIN(TestCardGeometry)
#include "tst_cardgeometry.moc"
