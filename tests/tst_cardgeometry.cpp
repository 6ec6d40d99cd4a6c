#include "cardgeometry.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

class TestCardGeometry : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Every rectangle of a card placed at (10, 20), worked out by hand.
    void cardRectangles_data()
    {
        QTest::addColumn<QRect>("actual");
        QTest::addColumn<QRect>("expected");
        const QRect item(10, 20, 300, 240);
        QTest::newRow("card") << cardRect(item) << QRect(16, 26, 288, 228);
        QTest::newRow("close box") << cardCloseRect(item) << QRect(22, 32, 24, 24);
        QTest::newRow("image") << cardImageRect(item) << QRect(111, 42, 96, 96);
        QTest::newRow("left arrow") << cardLeftArrowRect(item) << QRect(83, 73, 18, 32);
        QTest::newRow("right arrow") << cardRightArrowRect(item) << QRect(216, 73, 18, 32);
        QTest::newRow("badge") << cardBadgeRect(item) << QRect(137, 113, 42, 20);
        QTest::newRow("link state") << cardLinkStateRect(item) << QRect(178, 40, 30, 30);
        QTest::newRow("controls strip") << cardControlsStrip(item) << QRect(28, 213, 264, 28);
        QTest::newRow("size hint") << QRect(QPoint(), cardSizeHint()) << QRect(0, 0, 300, 240);
    }
    void cardRectangles()
    {
        QFETCH(QRect, actual);
        QFETCH(QRect, expected);
        QCOMPARE(actual, expected);
    }

    // Chips are 20 x 20 at the listed x; the last one is the overflow chip when `overflow` is set.
    void chipLayout_data()
    {
        QTest::addColumn<QRect>("strip");
        QTest::addColumn<int>("entries");
        QTest::addColumn<QList<int>>("xs");
        QTest::addColumn<int>("y");
        QTest::addColumn<QString>("overflow");
        QTest::newRow("60 px, 5 entries")
            << QRect(0, 0, 60, 28) << 5 << QList<int>{5, 33, 61} << 3 << "+3";
        QTest::newRow("width 0") << QRect(0, 0, 0, 28) << 5 << QList<int>{} << 0 << "";
        QTest::newRow("negative width") << QRect(0, 0, -4, 28) << 5 << QList<int>{} << 0 << "";
        QTest::newRow("too narrow") << QRect(0, 0, 19, 28) << 5 << QList<int>{} << 0 << "";
        QTest::newRow("one chip") << QRect(100, 50, 20, 28) << 2 << QList<int>{99, 127} << 53
                                  << "+1";
        QTest::newRow("room to spare")
            << QRect(28, 213, 264, 28) << 2 << QList<int>{135, 163} << 216 << "";
        QTest::newRow("no entries") << QRect(28, 213, 264, 28) << 0 << QList<int>{} << 0 << "";
    }
    void chipLayout()
    {
        QFETCH(QRect, strip);
        QFETCH(int, entries);
        QFETCH(QList<int>, xs);
        QFETCH(int, y);
        QFETCH(QString, overflow);
        QStringList list;
        for (int i = 0; i < entries; ++i)
            list << QString("L%1|btn://%1").arg(i);
        const QList<ControlChip> chips = layoutControlChips(strip, list);
        QCOMPARE(chips.size(), xs.size());
        for (int i = 0; i < chips.size(); ++i)
            QCOMPARE(chips[i].rect, QRect(xs[i], y, 20, 20));
        if (!overflow.isEmpty()) {
            QCOMPARE(chips.last().text, overflow);
            QCOMPARE(chips.last().kind, int(ControlChip::Other));
            QCOMPARE(chips.first().label, QString("L0"));
        }
    }

    void entrySplit_data()
    {
        QTest::addColumn<QString>("entry");
        QTest::addColumn<QString>("label");
        QTest::addColumn<QString>("target");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("value");
        QTest::newRow("axis") << "Axe X|axis://0"
                              << "Axe X"
                              << "axis://0" << 0 << "0";
        QTest::newRow("one-letter label") << "A|btn://12"
                                          << "A"
                                          << "btn://12" << 1 << "12";
        QTest::newRow("leading bar") << "|btn://1"
                                     << ""
                                     << "|btn://1" << 2 << "1";
        QTest::newRow("first bar only") << "Z|cmd://z|f"
                                        << "Z"
                                        << "cmd://z|f" << 2 << "z|f";
        QTest::newRow("no bar, no value") << "axis://"
                                          << ""
                                          << "axis://" << 0 << "axis://";
        QTest::newRow("case sensitive") << "X|Axis://0"
                                        << "X"
                                        << "Axis://0" << 2 << "0";
        QTest::newRow("empty") << ""
                               << ""
                               << "" << 2 << "";
    }
    void entrySplit()
    {
        QFETCH(QString, entry);
        QFETCH(QString, label);
        QFETCH(QString, target);
        QFETCH(int, kind);
        QFETCH(QString, value);
        const QList<ControlChip> chips = layoutControlChips(QRect(0, 0, 100, 28), {entry});
        QCOMPARE(chips.size(), 1);
        QCOMPARE(chips[0].label, label);
        QCOMPARE(chips[0].target, target);
        QCOMPARE(chips[0].kind, kind);
        QCOMPARE(controlChipValue(target), value);
    }

    void cacheKeys()
    {
        QCOMPARE(resourceCacheKey(":/icones/ressources/gp_axis.png", QSize(16, 20)),
                 QString("res::/icones/ressources/gp_axis.png:16x20"));
        QCOMPARE(imageCacheKey("/no/such/pad.png", QSize(96, 96)),
                 QString("img:/no/such/pad.png:96x96:0"));

        QTemporaryDir dir;
        const QString path = dir.filePath("pad%2.png"); // a "%" must survive as is
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(file.write("x") == 1 && file.flush());
        const QDateTime stamp = QDateTime::fromMSecsSinceEpoch(1700000000123);
        QVERIFY(file.setFileTime(stamp, QFileDevice::FileModificationTime));
        QCOMPARE(imageCacheKey(path, QSize(96, 80)), "img:" + path + ":96x80:1700000000123");
        QVERIFY(file.setFileTime(stamp.addSecs(5), QFileDevice::FileModificationTime));
        QCOMPARE(imageCacheKey(path, QSize(96, 80)), "img:" + path + ":96x80:1700000005123");
    }
};

QTEST_APPLESS_MAIN(TestCardGeometry)
#include "tst_cardgeometry.moc"
