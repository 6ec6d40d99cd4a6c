#include "gamepaddefinder.h"
#include "interactiveoverlay.h"
#include "manetteconfigurationwidget.h"
#include "profileoperations.h"
#include "runtimetestsupport.h"
#include "scripteddialogseam.h"

#include <QFrame>
#include <QGridLayout>
#include <QListWidget>
#include <QMainWindow>
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
        const QJsonObject services{{"sharedActionCatalog", QJsonArray{QJsonObject{{"id", "a"}}}}};
        widget.setExternalServices(services);
        QCOMPARE(widget.editor()->externalServices(), services);
        QSignalSpy forwarded(&widget, &ManetteConfigurationWidget::profilesCatalogChanged);
        emit widget.editor()->profilesCatalogChanged();
        QCOMPARE(forwarded.count(), 1);
    }

    // Closing the host's window with edits that cannot be saved asks first (the question's default
    // is the profile editor's); staying keeps the window open with the edits, discarding closes.
    void closingAsksWhatBecomesOfTheEdits_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::newRow("stay") << "Rester";
        QTest::newRow("discard") << "Abandonner les modifications";
    }

    void closingAsksWhatBecomesOfTheEdits()
    {
        QFETCH(QString, answer);
        const bool closed = answer != "Rester";
        qApp->setProperty("kx.currentLogin", "tester");
        QDir(configurationRoot()).removeRecursively();
        const QString image = m_home.filePath("pad.png");
        QImage picture(64, 48, QImage::Format_ARGB32);
        picture.fill(Qt::darkGray);
        QVERIFY(picture.save(image));
        GamepadProfileMeta meta;
        QString title, error;
        QVERIFY(createProfile({"Fenetre", image, {}, 0, 0, {{"type", "InteractiveOverlay"}}}, &meta,
                              &title, &error));
        ScriptedDialogs dialogs;
        dialogs.answerChoice(answer);
        QMainWindow window;
        auto *widget = new ManetteConfigurationWidget(&window);
        window.setCentralWidget(widget);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        GamepadDefinder *editor = widget->editor();
        editor->profileList()->setCurrentRow(0);
        editor->overlay()->createNode(ElementKind::Button, "Neuf", QPoint(20, 20));
        editor->onOverlayDirty();
        QVERIFY(QFile::remove(meta.overlayPath()) && QDir().mkdir(meta.overlayPath()));
        QCOMPARE(window.close(), closed);
        QCOMPARE(window.isVisible(), !closed);
        QCOMPARE(dialogs.prompts().size(), 1);
        QCOMPARE(dialogs.prompts().first().title, QString("Modifications non enregistrées"));
        QCOMPARE(editor->isDirty(), !closed);
    }
};

QTEST_MAIN(TestManetteConfigurationWidget)
#include "tst_manetteconfigurationwidget.moc"
