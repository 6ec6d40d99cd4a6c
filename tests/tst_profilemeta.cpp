#include "jsonfile.h"
#include "profilemeta.h"

#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QDateTime kFirst(QDate(2024, 3, 5), QTime(10, 20, 30), Qt::UTC);

QJsonObject readObject(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object()
                                          : QJsonObject();
}

} // namespace

class TestProfileMeta : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(m_dir.isValid());
    }

    void roundTrip()
    {
        GamepadProfileMeta meta;
        meta.id = QUuid::createUuid();
        meta.name = "Arcade stick";
        meta.folder = m_dir.filePath("round");
        meta.imageFile = "image.jpg";
        meta.overlayFile = "layout.json";
        meta.configFile = "map.json";
        meta.deviceNames = {"Pad A", "Pad B"};
        meta.calibrationMode = "override";
        meta.calibrationOverrideFile = "mine.json";
        meta.vendorId = 0x45e;
        meta.productId = 0xfffff;
        QVERIFY(QDir().mkpath(meta.folder));

        QString error;
        QVERIFY2(writeProfileMeta(&meta, &error, kFirst), qPrintable(error));
        GamepadProfileMeta read;
        QVERIFY2(readProfileMeta(meta.folder, &read, &error), qPrintable(error));
        QCOMPARE(read, meta);

        const QJsonObject json = readObject(meta.folder + "/meta.json");
        QCOMPARE(json.value("type").toString(), QString("GamepadDefinderMeta"));
        QCOMPARE(json.value("version").toInt(), 4);
        QCOMPARE(json.value("id").toString(), meta.id.toString(QUuid::WithoutBraces));
        QCOMPARE(json.value("deviceName").toString(), QString("Pad A"));
        QCOMPARE(json.value("vendorId").toString(), QString("0x045e"));
        QCOMPARE(json.value("productId").toString(), QString("0xfffff"));
    }

    void stamps()
    {
        GamepadProfileMeta meta;
        meta.folder = m_dir.filePath("stamps");
        QVERIFY(QDir().mkpath(meta.folder));
        QVERIFY(writeProfileMeta(&meta, nullptr, kFirst.toOffsetFromUtc(3600)));
        QCOMPARE(meta.createdAt, QString("2024-03-05T10:20:30Z"));
        QCOMPARE(meta.modifiedAt, meta.createdAt);

        QVERIFY(writeProfileMeta(&meta, nullptr, kFirst.addDays(1)));
        const QJsonObject json = readObject(meta.folder + "/meta.json");
        QCOMPARE(json.value("createdAt").toString(), QString("2024-03-05T10:20:30Z"));
        QCOMPARE(json.value("modifiedAt").toString(), QString("2024-03-06T10:20:30Z"));
        QCOMPARE(json.value("name").toString(), QString("Gamepad"));
    }

    void calibrationKeys_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("writtenMode");
        QTest::addColumn<QString>("writtenFile"); // null: no key

        const QString fallback = "calibration.override.json";
        QTest::newRow("inherit") << "inherit"
                                 << "x.json"
                                 << "inherit" << QString();
        QTest::newRow("override, no name") << "override"
                                           << "  "
                                           << "override" << fallback;
        QTest::newRow("upper case") << "OVERRIDE"
                                    << " mine.json "
                                    << "override"
                                    << "mine.json";
        QTest::newRow("blanks") << " Override "
                                << ""
                                << "override" << fallback;
        QTest::newRow("unknown") << "overrides"
                                 << "x.json"
                                 << "inherit" << QString();
    }

    void calibrationKeys()
    {
        QFETCH(QString, mode);
        QFETCH(QString, file);
        QFETCH(QString, writtenMode);
        QFETCH(QString, writtenFile);
        GamepadProfileMeta meta;
        meta.calibrationMode = mode;
        meta.calibrationOverrideFile = file;
        const QJsonObject json = profileMetaToJson(meta);
        QCOMPARE(json.value("calibrationMode").toString(), writtenMode);
        QCOMPARE(json.contains("calibrationOverrideFile"), !writtenFile.isNull());
        QCOMPARE(json.value("calibrationOverrideFile").toString(), writtenFile);
    }

    void readHexId_data()
    {
        QTest::addColumn<QJsonValue>("value");
        QTest::addColumn<quint32>("id");
        QTest::newRow("prefixed") << QJsonValue("0x045e") << 0x45eu;
        QTest::newRow("bare, blanks") << QJsonValue(" 045E ") << 0x45eu;
        QTest::newRow("number") << QJsonValue(1118) << 1118u;
        QTest::newRow("largest") << QJsonValue(4294967295.0) << 0xffffffffu;
        QTest::newRow("negative") << QJsonValue(-1) << 0u;
        QTest::newRow("too large") << QJsonValue(4294967296.0) << 0u;
        QTest::newRow("fraction") << QJsonValue(2.5) << 0u;
        QTest::newRow("text too large") << QJsonValue("0x100000000") << 0u;
        QTest::newRow("negative text") << QJsonValue("-5") << 0u;
        QTest::newRow("garbage") << QJsonValue("0xzz") << 0u;
    }

    void readHexId()
    {
        QFETCH(QJsonValue, value);
        QFETCH(quint32, id);
        QCOMPARE(::readHexId(value), id);
    }

    void readErrors()
    {
        const QString folder = m_dir.filePath("wrong");
        const QString path = folder + "/meta.json";
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(writeJsonFileAtomic(path, QJsonObject{{"type", "GamepadCalibration"}}, nullptr));
        GamepadProfileMeta meta;
        meta.name = "untouched";
        QString error;
        QVERIFY(!readProfileMeta(folder, &meta, &error));
        QCOMPARE(error, QString("Type de profil inconnu dans %1").arg(path));
        QCOMPARE(meta.name, QString("untouched"));
    }

    void failedWrite()
    {
        const QString blocker = m_dir.filePath("plain-file");
        QVERIFY(writeJsonFileAtomic(blocker, QJsonObject(), nullptr));
        GamepadProfileMeta meta;
        meta.folder = blocker + "/profile";
        QString error;
        QVERIFY(!writeProfileMeta(&meta, &error, kFirst));
        QCOMPARE(error, editorJsonMessages().cannotWrite.arg(meta.folder + "/meta.json"));
        QVERIFY(meta.createdAt.isEmpty() && meta.modifiedAt.isEmpty());
        QCOMPARE(QDir(m_dir.path()).entryList({"plain-file*"}, QDir::AllEntries | QDir::Hidden),
                 QStringList{"plain-file"});
    }

    void escapingNames_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("kept");
        QTest::newRow("plain") << " pic.jpg " << true;
        QTest::newRow("dots inside a name") << "..pic.png" << true;
        QTest::newRow("parent") << "../evil.png" << false;
        QTest::newRow("absolute") << "/etc/passwd" << false;
        QTest::newRow("sub-folder") << "sub/pic.png" << false;
        QTest::newRow("backslash") << "..\\pic.png" << false;
    }

    void escapingNames()
    {
        QFETCH(QString, name);
        QFETCH(bool, kept);
        const QJsonObject json{{"image", name},
                               {"overlayFile", name},
                               {"config", name},
                               {"calibrationOverrideFile", "/abs/cal.json"}};
        const GamepadProfileMeta meta = profileMetaFromJson(json, "/p/x/..");
        const QString trimmed = name.trimmed();
        QCOMPARE(meta.imagePath(), "/p/" + (kept ? trimmed : QString("image.png")));
        QCOMPARE(meta.overlayPath(), "/p/" + (kept ? trimmed : QString("overlay.json")));
        QCOMPARE(meta.configPath(), "/p/" + (kept ? trimmed : QString("configActionGamepad.json")));
        QCOMPARE(meta.calibrationOverrideFile, QString("/abs/cal.json"));
        QCOMPARE(profileMetaToJson(meta).value("image").toString(), meta.imageFile);
    }

private:
    QTemporaryDir m_dir;
};

QTEST_GUILESS_MAIN(TestProfileMeta)
#include "tst_profilemeta.moc"
