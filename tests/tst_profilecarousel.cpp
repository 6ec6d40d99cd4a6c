#include "profilecarousel.h"

#include <QtTest>

static CatalogProfile profile(const QString &name, const QString &device, quint32 vendor = 0,
                              quint32 product = 0)
{
    CatalogProfile profile{{}, vendor, product};
    profile.info.id = QUuid::createUuid(), profile.info.name = name;
    profile.info.deviceNames = QStringList{device};
    return profile;
}

class TestProfileCarousel : public QObject
{
    Q_OBJECT
    // P1, P2 (by name) and P3 (by USB ids) are made for "Test Pad", P4 and P5 (half ids) are not.
    const QList<CatalogProfile> m_catalog{
        profile("P1", "Test Pad"), profile("P2", "TEST PAD"), profile("P3", "", 0x45e, 0x28e),
        profile("P4", "Other Pad", 0, 0x28e), profile("P5", "Other Pad", 0x45e, 0)};

private slots:
    void candidates_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<uint>("vendor");
        QTest::addColumn<uint>("product");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("name, any case, trimmed")
            << " test pad " << 0u << 0u << QStringList{"P1", "P2"};
        QTest::newRow("model only") << "" << 0x45eu << 0x28eu << QStringList{"P3"};
        QTest::newRow("half a model") << "Pad" << 0x45eu << 0u << QStringList{};
        QTest::newRow("no vendor") << "" << 0u << 0x28eu << QStringList{};
    }

    void candidates()
    {
        QFETCH(QString, name);
        QFETCH(uint, vendor);
        QFETCH(uint, product);
        const ProfileCarousel carousel(m_catalog, name, vendor, product);
        QStringList names;
        for (const GamepadProfileInfo &profile : carousel.profiles())
            names << profile.name;
        QTEST(names, "expected");
        QCOMPARE(carousel.step(QUuid(), 1).isNull(), names.isEmpty());
    }

    void step_data()
    {
        QTest::addColumn<int>("start"); // one-based position bound; 0 none, -1 not a candidate
        QTest::addColumn<int>("delta");
        QTest::addColumn<int>("position"); // of the result; 0 when there is none
        QTest::newRow("+1") << 2 << 1 << 3;
        QTest::newRow("-1") << 2 << -1 << 1;
        QTest::newRow("+4") << 2 << 4 << 3;
        QTest::newRow("-4") << 1 << -4 << 3;
        QTest::newRow("wraps forward") << 3 << 1 << 1;
        QTest::newRow("0") << 2 << 0 << 0;
        QTest::newRow("none bound, forward") << 0 << 1 << 1;
        QTest::newRow("none bound, backward") << 0 << -1 << 3;
        QTest::newRow("not a candidate, forward") << -1 << 1 << 1;
    }

    void step()
    {
        QFETCH(int, start);
        QFETCH(int, delta);
        const ProfileCarousel carousel(m_catalog, "Test Pad", 0x45e, 0x28e);
        const QUuid bound = start == 0 ? QUuid() : m_catalog.at(start < 0 ? 3 : start - 1).info.id;
        QCOMPARE(carousel.position(bound), qMax(start, 0));
        QTEST(carousel.position(carousel.step(bound, delta).id), "position");
        QCOMPARE(carousel.find(m_catalog[0].info.id).name, "P1"); // the first is found too
    }
};

QTEST_APPLESS_MAIN(TestProfileCarousel)
#include "tst_profilecarousel.moc"
