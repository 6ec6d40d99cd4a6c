#include "overlayrender.h"

#include <QJsonArray>
#include <QTest>

namespace {

QJsonObject pastilleNode(const QString &kind, const QString &title, double x, double y, double w)
{
    return {{"kind", kind},
            {"title", title},
            {"geometry", QJsonObject{{"x", x}, {"y", y}, {"w", w}, {"h", w * 4 / 3}}}};
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
        const QString picture = QStringLiteral(":/new/prefix1/ressources/menette_id_654.png");
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
        QCOMPARE(image.pixelColor(20, 225).alpha(), 0); // left of the contained picture
        // The picture (640 x 400) is contained at (40, 0, 720, 450); its body colour shows
        // between the pastilles, and the button pastille sits at (0.8, 0.25) of it.
        const QColor pictureBody = image.pixelColor(400, 225);
        QCOMPARE(pictureBody, QColor(52, 66, 80));
        QVERIFY(image.pixelColor(645, 137) != pictureBody);
        QVERIFY(image.save(QStringLiteral(GAMEPAD_TEST_OUTPUT "/overlay_sample.png")));
    }
};

QTEST_MAIN(TestOverlayRender)
#include "tst_overlayrender.moc"
