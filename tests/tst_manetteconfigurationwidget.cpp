#include "gamepaddefinder.h"
#include "manetteconfigurationwidget.h"
#include "runtimetestsupport.h"

#include <QFrame>
#include <QGridLayout>
#include <QSignalSpy>
#include <QtTest>

class TestManetteConfigurationWidget : public QObject
{
    Q_OBJECT

    QTemporaryDir m_home;
    std::unique_ptr<VirtualJoysticks> m_joysticks;

private slots:
    void initTestCase()
    {
        useThrowAwayHome(m_home);
        m_joysticks = std::make_unique<VirtualJoysticks>();
    }

    void cleanupTestCase()
    {
        delete GamepadManager::instance();
        m_joysticks.reset();
    }

    // Stylesheets and hosts find the parts by these names.
    void formNamesTheParts()
    {
        ManetteConfigurationWidget widget;
        QCOMPARE(widget.objectName(), QString("ManetteConfigurationWidget"));
        QCOMPARE(widget.windowTitle(), QString("Gamepad"));
        auto *grid = qobject_cast<QGridLayout *>(widget.layout());
        QVERIFY(grid);
        QCOMPARE(grid->objectName(), QString("gridLayout"));
        QCOMPARE(grid->contentsMargins(), QMargins());

        auto *backdrop = qobject_cast<QFrame *>(grid->itemAtPosition(0, 0)->widget());
        QVERIFY(backdrop);
        QCOMPARE(backdrop->objectName(), QString("orqBackdrop"));
        QVERIFY(backdrop->styleSheet().contains("qradialgradient"));
        auto *content = qobject_cast<QGridLayout *>(backdrop->layout());
        QVERIFY(content);
        QCOMPARE(content->objectName(), QString("gridLayoutContent"));
        QCOMPARE(content->contentsMargins(), QMargins());
        QCOMPARE(content->itemAtPosition(0, 0)->widget(), widget.editor());
        QCOMPARE(widget.editor()->objectName(), QString("ManageGamepade"));
    }

    void backdropGlowsWithTheThemeColour_data()
    {
        QTest::addColumn<QString>("theme");
        QTest::addColumn<QString>("glow");
        QTest::newRow("no theme") << "" << ManetteConfigurationWidget::kDefaultBackdropGlow.name();
        QTest::newRow("theme colour") << "#336699"
                                      << "#336699";
        QTest::newRow("not a colour")
            << "glow" << ManetteConfigurationWidget::kDefaultBackdropGlow.name();
    }

    void backdropGlowsWithTheThemeColour()
    {
        QFETCH(QString, theme);
        QFETCH(QString, glow);
        qApp->setProperty("orqBackdropGlow", theme.isEmpty() ? QVariant() : QVariant(theme));
        ManetteConfigurationWidget widget;
        const QString sheet = widget.findChild<QFrame *>("orqBackdrop")->styleSheet();
        QVERIFY2(sheet.contains("stop:0 " + glow), qPrintable(sheet));
    }

    void servicesReachTheEditorAndTheCatalogueNewsComeBack()
    {
        ManetteConfigurationWidget widget;
        QVERIFY(widget.editor()->externalServices().isEmpty());
        const QJsonObject services{{"sharedActionCatalog", QJsonArray{QJsonObject{{"id", "a"}}}}};
        widget.setExternalServices(services);
        QCOMPARE(widget.externalServices(), services);
        QCOMPARE(widget.editor()->externalServices(), services);

        QSignalSpy forwarded(&widget, &ManetteConfigurationWidget::profilesCatalogChanged);
        emit widget.editor()->profilesCatalogChanged();
        emit widget.editor()->profilesCatalogChanged();
        QCOMPARE(forwarded.count(), 2);
    }
};

QTEST_MAIN(TestManetteConfigurationWidget)
#include "tst_manetteconfigurationwidget.moc"
