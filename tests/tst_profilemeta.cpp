#include "jsonfile.h"
#include "profilemeta.h"

#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

const QDateTime kFirst(QDate(2024, 3, 5), QTime(10, 20, 30), Qt::UTC);

class TestProfileMeta : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    // Every key read into the record and written back as read; "modifiedAt" is stamped. A file
    // of another type is refused.
    void roundTrip()
    {
        // clang-format off
        const QJsonObject hand = {{"type", "GamepadDefinderMeta"}, {"version", 4},
            {"id", "8a1e4c2e-3b7d-4a60-9d5c-0f2b6a7c1d11"}, {"name", "Arcade"}, {"image", "i.jpg"},
            {"overlayFile", "o.json"}, {"config", "c.json"}, {"deviceName", "A"},
            {"deviceNames", QJsonArray{"A", "B"}}, {"createdAt", "2020-01-01T00:00:00Z"},
            {"modifiedAt", "2024-03-05T10:20:30Z"}, {"calibrationMode", "override"},
            {"vendorId", "0x045e"}, {"productId", "0x028e"}, {"calibrationOverrideFile", "m.json"}};
        // clang-format on
        GamepadProfileMeta meta = profileMetaFromJson(hand, m_dir.path());
        QString error;
        QVERIFY2(writeProfileMeta(&meta, &error, kFirst.toOffsetFromUtc(3600)), qPrintable(error));
        QJsonObject json;
        QVERIFY(readJsonObjectFile(m_dir.filePath("meta.json"), &json, &error));
        QCOMPARE(json, hand);
        GamepadProfileMeta read;
        QVERIFY2(readProfileMeta(m_dir.path(), &read, &error), qPrintable(error));
        QCOMPARE(read, meta);

        meta.createdAt.clear();
        QVERIFY(writeProfileMeta(&meta, &error, kFirst));
        QCOMPARE(meta.createdAt, QString("2024-03-05T10:20:30Z"));

        const QString path = m_dir.filePath("meta.json");
        QVERIFY(writeJsonFileAtomic(path, QJsonObject{{"type", "GamepadCalibration"}}, nullptr));
        QVERIFY(!readProfileMeta(m_dir.path(), nullptr, &error));
        QCOMPARE(error, "Type de profil inconnu dans " + path);
    }

    void calibrationKeys()
    {
        GamepadProfileMeta meta;
        meta.calibrationMode = "overrides";
        meta.calibrationOverrideFile = "x.json";
        QCOMPARE(profileMetaToJson(meta).value("calibrationMode"), "inherit");
        QVERIFY(!profileMetaToJson(meta).contains("calibrationOverrideFile"));
        meta.calibrationMode = "OVERRIDE";
        meta.calibrationOverrideFile = "  ";
        QCOMPARE(profileMetaToJson(meta).value("calibrationMode"), "override");
        QCOMPARE(profileMetaToJson(meta).value("calibrationOverrideFile"),
                 "calibration.override.json");
    }

    void readHexId_data()
    {
        QTest::addColumn<QJsonValue>("value");
        QTest::addColumn<quint32>("id");
        QTest::newRow("prefixed") << QJsonValue("0x045e") << 0x45eu;
        QTest::newRow("bare, blanks") << QJsonValue(" 045E ") << 0x45eu;
        QTest::newRow("number") << QJsonValue(1118) << 1118u;
        QTest::newRow("negative") << QJsonValue(-1) << 0u;
        QTest::newRow("fraction") << QJsonValue(2.5) << 0u;
        QTest::newRow("text too large") << QJsonValue("0x100000000") << 0u;
    }

    void readHexId()
    {
        QFETCH(QJsonValue, value);
        QFETCH(quint32, id);
        QCOMPARE(::readHexId(value), id);
    }

    void escapingNamesFallBack()
    {
        for (const char *name : {"../evil.png", "/etc/passwd", "sub/pic.png", "..\\pic.png"}) {
            const QJsonObject json{{"image", name}, {"overlayFile", name}, {"config", name}};
            const GamepadProfileMeta meta = profileMetaFromJson(json, "/p");
            QCOMPARE(meta.imagePath(), QString("/p/image.png"));
            QCOMPARE(meta.overlayPath(), QString("/p/overlay.json"));
            QCOMPARE(meta.configPath(), QString("/p/configActionGamepad.json"));
        }
        QCOMPARE(profileMetaFromJson({{"image", " ..pic.png "}}, "/p").imagePath(),
                 QString("/p/..pic.png"));
    }

private:
    QTemporaryDir m_dir;
};

QTEST_GUILESS_MAIN(TestProfileMeta)
#include "tst_profilemeta.moc"
