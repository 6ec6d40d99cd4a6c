#include "interactiveoverlay.h"
#include "overlayrender.h"

#include <QtTest>

// What the snapshot stands for: the locked overlay widget at the stored size, pastilles as widgets.
static QImage widgetRendering(const QJsonObject &document, const QString &imagePath)
{
    InteractiveOverlay overlay;
    overlay.setAttribute(Qt::WA_DontShowOnScreen), overlay.resize(800, 450);
    overlay.setLocked(true), overlay.setBackgroundPixmap(QPixmap(imagePath));
    overlay.load(document), overlay.show();
    QImage image(overlay.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent), overlay.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    return image;
}

class TestOverlayRender : public QObject
{
    Q_OBJECT

private slots:
    void refusedDocuments()
    {
        QString empty, other;
        QVERIFY(renderOverlayImage({}, {}, {}, &empty).isNull());
        QVERIFY(renderOverlayImage({{"type", "GamepadCalibration"}}, {}, {}, &other).isNull());
        QCOMPARE(empty + " | " + other, "Overlay vide. | Format de configuration non reconnu.");
        QVERIFY(renderOverlayImage({}, {}, {}, nullptr).isNull()); // the reason not wanted
    }

    // A stored size beyond 8192 pixels a side or 16 megapixels is scaled down, with a warning.
    void sizeComesFromTheDocument_data()
    {
        QTest::addColumn<QJsonObject>("overlaySize");
        QTest::addColumn<QSize>("requested");
        QTest::addColumn<QSize>("expected");
        QTest::addColumn<QString>("warning");
        const QString capped = "Gamepad snapshot size capped from ";
        // clang-format off
        QTest::newRow("stored") << QJsonObject{{"w", 320}, {"h", 200}} << QSize(10, 10) << QSize(320, 200) << "";
        QTest::newRow("nothing usable") << QJsonObject() << QSize(500, 0) << QSize(800, 600) << "";
        QTest::newRow("smallest asked") << QJsonObject() << QSize(1, 1) << QSize(1, 1) << "";
        QTest::newRow("at both caps") << QJsonObject{{"w", 8192}, {"h", 2048}} << QSize() << QSize(8192, 2048) << "";
        QTest::newRow("longest side") << QJsonObject{{"w", 20000}, {"h", 100}} << QSize() << QSize(8192, 40) << capped + "20000x100 to 8192x40";
        QTest::newRow("pixel budget") << QJsonObject{{"w", 46341}, {"h", 46341}} << QSize() << QSize(4096, 4096) << capped + "46341x46341 to 4096x4096";
        QTest::newRow("int max") << QJsonObject{{"w", INT_MAX}, {"h", 1}} << QSize() << QSize(8192, 1) << capped + "2147483647x1 to 8192x1";
        // clang-format on
    }
    void sizeComesFromTheDocument()
    {
        QFETCH(QJsonObject, overlaySize);
        QFETCH(QSize, requested);
        QFETCH(QString, warning);
        if (!warning.isEmpty())
            QTest::ignoreMessage(QtWarningMsg, qPrintable(warning));
        QTest::failOnWarning(QRegularExpression(".*"));
        const QJsonObject document{{"type", "InteractiveOverlay"}, {"overlaySize", overlaySize}};
        QTEST(renderOverlayImage(document, QString(), requested).size(), "expected");
    }

    // Drawn without widgets, pixel for pixel as the widget draws: sources, a long title, overlaps,
    // a pastille past the edge, one too small for its texts. The picture (640 x 400) is contained
    // at (40, 0, 720, 450), its body colour under the button at (0.8, 0.25); saved for the eye.
    void rendersPictureAndPastilles()
    {
        const auto node = [](const char *kind, double x, double y, double side = 0.08) {
            return QJsonObject{
                {"kind", kind},
                {"geometry", QJsonObject{{"x", x}, {"y", y}, {"w", side}, {"h", side}}},
                {"title", "Un titre bien trop long"},
                {"sources", QJsonObject{{"Axe Y", QJsonObject{{"stringKey", "joy_3"}}},
                                        {"Bouton", QJsonObject{{"stringKey", "b"}}}}}};
        };
        const QJsonArray nodes{node("singleJoy", 0.18, 0.45),  node("dualJoyCross", 0.55, 0.5, 0.2),
                               node("button", 0.8, 0.25),      node("button", 0.6, 0.6),
                               node("button", 0.95, 0.9, 0.2), node("button", 0.1, 0.1, 0.005)};
        QJsonObject document{{"type", "InteractiveOverlay"}, {"version", 4}, {"nodes", nodes}};
        document["overlaySize"] = QJsonObject{{"w", 800}, {"h", 450}};
        const QString picture = ":/new/prefix1/ressources/menette_id_654.png";
        QCOMPARE(renderOverlayImage(document, QString()), widgetRendering(document, QString()));
        const QImage image = renderOverlayImage(document, picture);
        QCOMPARE(image, widgetRendering(document, picture));
        QCOMPARE(image.pixelColor(20, 225).alpha(), 0); // left of the contained picture
        QCOMPARE(image.pixelColor(400, 225), QColor(52, 66, 80));
        QVERIFY(image.pixelColor(645, 137) != QColor(52, 66, 80));
        QCOMPARE(image.pixelColor(500, 270), QColor(154, 150, 167)); // the cross's left arm
        QVERIFY(image.save(QStringLiteral(GAMEPAD_TEST_OUTPUT "/overlay_sample.png")));
    }
};

QTEST_MAIN(TestOverlayRender)
#include "tst_overlayrender.moc"
