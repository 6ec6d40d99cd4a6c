#include "overlayrender.h"

#include <QDir>
#include <QJsonArray>
#include <QPainter>
#include <QTemporaryDir>
#include <QTest>

namespace {

QJsonObject pastilleNode(const QString &kind, const QString &title, double x, double y, double w)
{
    return {{"kind", kind},
            {"title", title},
            {"geometry", QJsonObject{{"x", x}, {"y", y}, {"w", w}, {"h", w * 4 / 3}}}};
}

// A plain controller silhouette, drawn here so that the sample needs no artwork.
QString writeControllerPicture(const QString &folder)
{
    QImage picture(640, 360, QImage::Format_ARGB32_Premultiplied);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(QColor(48, 62, 76));
    painter.setPen(QPen(QColor(0, 200, 230), 4));
    painter.drawRoundedRect(QRectF(40, 60, 560, 240), 110, 110);
    painter.end();
    const QString path = QDir(folder).filePath(QStringLiteral("pad.png"));
    picture.save(path);
    return path;
}

} // namespace

class TestOverlayRender : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void refusedDocuments_data()
    {
        QTest::addColumn<QJsonObject>("document");
        QTest::addColumn<QString>("error");
        QTest::newRow("empty") << QJsonObject() << "Overlay vide.";
        QTest::newRow("other type") << QJsonObject{{"type", "GamepadCalibration"}}
                                    << "Format de configuration non reconnu.";
    }
    void refusedDocuments()
    {
        QFETCH(QJsonObject, document);
        QFETCH(QString, error);
        QString text;
        QVERIFY(renderOverlayImage(document, QString(), QSize(), &text).isNull());
        QCOMPARE(text, error);
    }

    void sizeComesFromTheDocument_data()
    {
        QTest::addColumn<QJsonObject>("overlaySize");
        QTest::addColumn<QSize>("requested");
        QTest::addColumn<QSize>("expected");
        QTest::newRow("stored") << QJsonObject{{"w", 320}, {"h", 200}} << QSize(10, 10)
                                << QSize(320, 200);
        QTest::newRow("stored below 1")
            << QJsonObject{{"w", 0}, {"h", 200}} << QSize(50, 60) << QSize(50, 200);
        QTest::newRow("nothing usable") << QJsonObject() << QSize(0, 0) << QSize(800, 600);
    }
    void sizeComesFromTheDocument()
    {
        QFETCH(QJsonObject, overlaySize);
        QFETCH(QSize, requested);
        QFETCH(QSize, expected);
        const QJsonObject document{{"type", "InteractiveOverlay"}, {"overlaySize", overlaySize}};
        QCOMPARE(renderOverlayImage(document, QString(), requested).size(), expected);
    }

    // Renders the picture with one pastille of each kind; the result is kept in the build folder
    // as "overlay_sample.png" for a look by eye.
    void rendersPictureAndPastilles()
    {
        QTemporaryDir folder;
        const QString picture = writeControllerPicture(folder.path());
        const QJsonObject document{
            {"type", "InteractiveOverlay"},
            {"version", 4},
            {"overlaySize", QJsonObject{{"w", 800}, {"h", 450}}},
            {"bgMode", "Contain"},
            {"nodes", QJsonArray{pastilleNode("singleJoy", "Joy 1", 0.18, 0.45, 0.16),
                                 pastilleNode("dualJoyCross", "Joy 2/3", 0.55, 0.5, 0.2),
                                 pastilleNode("button", "A", 0.8, 0.25, 0.08)}}};
        QString error;
        const QImage image = renderOverlayImage(document, picture, QSize(), &error);
        QVERIFY2(!image.isNull(), qPrintable(error));
        QCOMPARE(image.size(), QSize(800, 450));
        QCOMPARE(image.pixelColor(2, 2).alpha(), 0); // outside the picture
        const QColor pictureBody = image.pixelColor(400, 120);
        QCOMPARE(pictureBody, QColor(48, 62, 76));
        // The button pastille sits at (0.8, 0.25) of the picture, which fills the whole image.
        QVERIFY(image.pixelColor(672, 136) != pictureBody);
        QVERIFY(image.save(QStringLiteral(GAMEPAD_TEST_OUTPUT "/overlay_sample.png")));
    }
};

QTEST_MAIN(TestOverlayRender)
#include "tst_overlayrender.moc"
