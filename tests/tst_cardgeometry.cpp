#include "cardgeometry.h"

#include <QtTest>

class TestCardGeometry : public QObject
{
    Q_OBJECT

private slots:
    // A 60 px strip holds (60 + 8) / 28 = 2 chips of 20 x 20, centred; a "+N" chip for the rest
    // is centred with them and stays inside the card (12 px margins), else one fewer shows.
    void chipLayout_data()
    {
        QTest::addColumn<QRect>("strip");
        QTest::addColumn<int>("entries");
        QTest::addColumn<QList<int>>("xs");
        QTest::addColumn<QString>("last");
        const QRect strip60(0, 0, 60, 28);
        QTest::newRow("60 px") << strip60 << 5 << QList<int>{-9, 19, 47} << "+3";
        QTest::newRow("60 px, all fit") << strip60 << 2 << QList<int>{5, 33} << "e1";
        QTest::newRow("57 px, on the margins")
            << QRect(0, 0, 57, 28) << 5 << QList<int>{-10, 18, 46} << "+3";
        QTest::newRow("56 px, past them") << QRect(0, 0, 56, 28) << 5 << QList<int>{3, 31} << "+4";
        QTest::newRow("20 px") << QRect(0, 0, 20, 28) << 5 << QList<int>{} << "";
        QTest::newRow("20 px, one entry") << QRect(0, 0, 20, 28) << 1 << QList<int>{-1} << "e0";
        QTest::newRow("19 px") << QRect(0, 0, 19, 28) << 5 << QList<int>{} << "";
        QTest::newRow("19 px, one entry") << QRect(0, 0, 19, 28) << 1 << QList<int>{} << "";
        QTest::newRow("card") << cardControlsStrip(QRect(0, 0, 300, 240)) << 12
                              << QList<int>{13, 41, 69, 97, 125, 153, 181, 209, 237, 265} << "+3";
    }
    void chipLayout()
    {
        QFETCH(QRect, strip);
        QFETCH(int, entries);
        QFETCH(QList<int>, xs);
        QStringList texts;
        for (int i = 0; i < entries; ++i)
            texts << QString("e%1").arg(i);
        const QList<ControlChip> chips = layoutControlChips(strip, texts);
        QList<QRect> expected, actual;
        for (int x : xs)
            expected << QRect(x, strip.center().y() - 10, 20, 20);
        for (const ControlChip &chip : chips)
            actual << chip.rect;
        QCOMPARE(actual, expected);
        QTEST(chips.isEmpty() ? QString() : chips.last().text, "last");
    }

    // Name, product and model under the picture of a 300 x 240 card, inside its 12 px margins;
    // the close button in the top-left corner, the warning of a controller away in the top-right.
    void textRows()
    {
        QCOMPARE(cardCloseRect(QRect(0, 0, 300, 240)), QRect(12, 12, 24, 24));
        QCOMPARE(cardTextRows(QRect(0, 0, 300, 240)),
                 (QList<QRect>{QRect(18, 123, 264, 21), QRect(18, 144, 264, 17),
                               QRect(18, 161, 264, 17)}));
        QCOMPARE(cardWarningRect(QRect(0, 0, 300, 240)), QRect(264, 12, 24, 24));
        QCOMPARE(cardSecondLine("Pad", "Pad X", "ip") + cardSecondLine("Pad", "", "ip") +
                     cardSecondLine("Pad", "Pad", "ip"),
                 "Pad Xipip");
    }

    // A picture file's key carries its modification time, so an edited file is loaded again.
    void cacheKeys()
    {
        QCOMPARE(imageCacheKey("/no/such/pad.png", QSize(96, 96)), "img:/no/such/pad.png:96x96:0");
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
