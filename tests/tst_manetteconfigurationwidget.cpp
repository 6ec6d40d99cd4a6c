#include "filetestsupport.h"
#include "gamepaddefinder.h"
#include "interactiveoverlay.h"
#include "manetteconfigurationwidget.h"
#include "profileoperations.h"
#include "runtimetestsupport.h"
#include "scratchtree.h"
#include "scripteddialogseam.h"

#include <QtTest>
#include <QtWidgets>

class TestManetteConfigurationWidget : public QObject
{
    Q_OBJECT

    QTemporaryDir m_home;
    VirtualJoysticks m_joysticks; // outlives the manager, deleted when the tests end

private slots:
    void initTestCase() { useThrowAwayHome(m_home); }
    void cleanupTestCase() { delete GamepadManager::instance(); }

    // Stylesheets and hosts find the parts by name; a glow that is no colour is the default's.
    void formNamesTheParts()
    {
        qApp->setProperty("orqBackdropGlow", "glow"); // not a colour: the default glow
        ManetteConfigurationWidget widget;
        QVERIFY(widget.findChild<QFrame *>()->styleSheet().contains(
            "stop:0 " + ManetteConfigurationWidget::kDefaultBackdropGlow.name()));
        auto *backdrop = qobject_cast<QFrame *>(widget.layout()->itemAt(0)->widget());
        QCOMPARE((QStringList{widget.windowTitle(), widget.objectName(),
                              widget.layout()->objectName(), backdrop->objectName(),
                              backdrop->layout()->objectName(), widget.editor()->objectName()}),
                 (QStringList{"Gamepad", "ManetteConfigurationWidget", "gridLayout", "orqBackdrop",
                              "gridLayoutContent", "ManageGamepade"}));
        for (const char *part :
             {"widgetOverlay", "listWidget", "pushButtonAdd", "comboBoxVendorId", "gamepadTopBar",
              "gamepadInspectorPanel", "gamepadQuickActionsPanel", "slotEditorPanel",
              "tagSelectionBar", "tagSelectionInput", "iteractiveoverlay", "mappingActionsPanel",
              "mappingActionsTitle", "mappingActionsList", "mappingActionsHint",
              "gamepadConfigRoot", "calibrationHeader"})
            QVERIFY2(widget.findChild<QObject *>(part), part);
    }

    // The host's glow lights the top centre and darkens outwards, around the editor's panels.
    void backdropShowsAroundTheEditor()
    {
        qApp->setProperty("orqBackdropGlow", "#2080c0");
        ManetteConfigurationWidget widget;
        qApp->setProperty("orqBackdropGlow", QVariant()), widget.resize(1000, 700);
        const QImage image = widget.grab().toImage();
        const auto part = [&widget](const char *name) { return widget.findChild<QWidget *>(name); };
        // The top bar over every column, the side column beside the overlay's top.
        QCOMPARE(QList({part("gamepadTopBar")->width(), part("gamepadSideColumn")->y()}),
                 QList({984, part("widgetOverlay")->y()}));
        const auto distance = [&image](QPoint at, QColor b) { // of the pixel at `at` from b
            const QColor a = image.pixelColor(at);
            return qAbs(a.red() - b.red()) + qAbs(a.green() - b.green()) +
                   qAbs(a.blue() - b.blue());
        };
        QVERIFY2(distance({500, 2}, 0x2080c0) <= 6, qPrintable(image.pixelColor(500, 2).name()));
        QVERIFY2(distance({2, 697}, 0x0b1117) <= 6, qPrintable(image.pixelColor(2, 697).name()));
    }

    // The services reaching the editor are checked through the plug-in (tst_quentaplugin).
    void catalogueNewsComeBack()
    {
        ManetteConfigurationWidget widget;
        QSignalSpy forwarded(&widget, &ManetteConfigurationWidget::profilesCatalogChanged);
        emit widget.editor()->profilesCatalogChanged();
        QCOMPARE(forwarded.count(), 1);
    }

    // Closing the host's window with edits that cannot be saved asks; only staying keeps it open.
    void closingAsksWhatBecomesOfTheEdits_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::newRow("stay") << "Rester";
        QTest::newRow("discard") << "Abandonner les modifications";
    }

    void closingAsksWhatBecomesOfTheEdits()
    {
        QFETCH(QString, answer);
        qApp->setProperty("kx.currentLogin", "tester"), removeScratchTree(configurationRoot());
        QVERIFY(writeBytes(m_home.filePath("pad.png"), encoded("png", {64, 48}, Qt::darkGray)));
        GamepadProfileMeta meta;
        const QJsonObject overlay{{"type", "InteractiveOverlay"}};
        QVERIFY(createProfile({"Fenetre", m_home.filePath("pad.png"), {}, 0, 0, overlay}, &meta,
                              nullptr, nullptr));
        ScriptedDialogs dialogs;
        dialogs.answerChoice(answer);
        QMainWindow window;
        auto *widget = new ManetteConfigurationWidget(&window);
        window.setCentralWidget(widget), window.show();
        widget->editor()->profileList()->setCurrentRow(0);
        widget->editor()->overlay()->createNode(ElementKind::Button, "Neuf", QPoint(20, 20));
        widget->editor()->onOverlayDirty();
        QVERIFY(QFile::remove(meta.overlayPath()) && QDir().mkdir(meta.overlayPath()));
        window.close();
        QVERIFY(window.isVisible() == (answer == "Rester") && dialogs.prompts().size() == 1);
        QCOMPARE(dialogs.prompts().first().title, QString("Modifications non enregistrées"));
        ManetteConfigurationWidget alone; // its own window, with nothing to ask: it just closes
        QVERIFY(alone.close() && dialogs.prompts().size() == 1);
    }
};

QTEST_MAIN(TestManetteConfigurationWidget)
#include "tst_manetteconfigurationwidget.moc"
