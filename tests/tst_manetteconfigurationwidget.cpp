#include "gamepaddefinder.h"
#include "manetteconfigurationwidget.h"
#include "runtimetestsupport.h"

#include <QFrame>
#include <QGridLayout>
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

    // Stylesheets and hosts find the parts by these names; the backdrop glows in the colour the
    // host's theme names, if it is one.
    void formNamesTheParts()
    {
        qApp->setProperty("orqBackdropGlow", "#336699");
        ManetteConfigurationWidget widget;
        qApp->setProperty("orqBackdropGlow", "glow");
        ManetteConfigurationWidget defaultGlow;
        QVERIFY(defaultGlow.findChild<QFrame *>("orqBackdrop")
                    ->styleSheet()
                    .contains("stop:0 " + ManetteConfigurationWidget::kDefaultBackdropGlow.name()));
        QCOMPARE(widget.windowTitle(), QString("Gamepad"));
        auto *grid = qobject_cast<QGridLayout *>(widget.layout());
        auto *backdrop = qobject_cast<QFrame *>(grid->itemAtPosition(0, 0)->widget());
        auto *content = qobject_cast<QGridLayout *>(backdrop->layout());
        QCOMPARE(content->itemAtPosition(0, 0)->widget(), widget.editor());
        QCOMPARE((QStringList{widget.objectName(), grid->objectName(), backdrop->objectName(),
                              content->objectName(), widget.editor()->objectName()}),
                 (QStringList{"ManetteConfigurationWidget", "gridLayout", "orqBackdrop",
                              "gridLayoutContent", "ManageGamepade"}));
        QVERIFY(grid->contentsMargins().isNull() && content->contentsMargins().isNull());
        QVERIFY(backdrop->styleSheet().contains("qradialgradient(") &&
                backdrop->styleSheet().contains("stop:0 #336699"));
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
