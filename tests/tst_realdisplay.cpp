// The reference host and the plug-in's configuration window on a real X server: window sizes,
// focus, activation and the association bar's popup, which an offscreen run never shows. Driven
// with clicks and keys on the X server scripts/test.sh starts and names in GAMEPAD_TEST_DISPLAY.

#include "hostoptions.h"
#include "hostprocess.h"
#include "hostwindow.h"
#include "screenshots.h"

#include <QtTest>
#include <QtWidgets>

#include <memory>

const QString kPadName = QStringLiteral("Virtual Demo Pad"); // the simulated controller

// The pastilles the overlay shows.
static int pastilleCount(QWidget *editor)
{
    const auto children = editor->findChild<QWidget *>("widgetOverlay")->findChildren<QWidget *>();
    return int(std::count_if(children.begin(), children.end(), [](const QWidget *child) {
        return child->inherits("TouchArea") && child->isVisible();
    }));
}

static QStringList chipNames(QWidget *editor)
{
    QStringList names;
    for (const QLabel *label : editor->findChildren<QLabel *>("tagSelectionChipLabel"))
        names << label->text();
    return names;
}

class TestRealDisplay : public QObject
{
    Q_OBJECT

    QPluginLoader m_loader{QStringLiteral(GAMEPAD_PLUGIN_FILE)};
    std::unique_ptr<HostWindow> m_host;
    QPointer<QWidget> m_configuration;
    QTimer m_dialogWatch;
    QStringList m_dialogs; // modal windows that opened: nobody is there to answer them

    QWidget *editor() const { return m_configuration->findChild<QWidget *>("ManageGamepade"); }

    // The host's "Configure…" button, clicked; whether the window it opened is exposed and active.
    bool clickConfigure()
    {
        QTest::mouseClick(m_host->findChild<QPushButton *>("hostConfigure"), Qt::LeftButton);
        auto *central = m_host->findChild<QWidget *>("ManetteConfigurationWidget");
        m_configuration = central ? central->window() : nullptr;
        return m_configuration && QTest::qWaitForWindowExposed(m_configuration) &&
               QTest::qWaitForWindowActive(m_configuration);
    }

private slots:
    void initTestCase()
    {
        connect(&m_dialogWatch, &QTimer::timeout, this, [this] {
            if (QWidget *modal = QApplication::activeModalWidget()) {
                m_dialogs << modal->windowTitle();
                modal->close();
            }
        });
        m_dialogWatch.start(100);
        QString error;
        IComInterfaceModelProvider *provider = loadProvider(m_loader, &error);
        QVERIFY2(provider, qPrintable(error));
        const auto services = readServicesFile(sampleServicesPath(), &error);
        QVERIFY2(services, qPrintable(error));
        provider->setServices(*services);
        QVERIFY(QMetaObject::invokeMethod(provider, "addSimulatedController", Q_ARG(int, -1)));
        m_host = std::make_unique<HostWindow>(provider);
        // Shown, exposed and given the keyboard: the display has no window manager to do it.
        m_host->show(), m_host->activateWindow();
        QVERIFY(QTest::qWaitForWindowExposed(m_host.get()));
        QVERIFY(QTest::qWaitForWindowActive(m_host.get()));
    }

    void cleanup() { QVERIFY2(m_dialogs.isEmpty(), qPrintable(m_dialogs.join(", "))); }

    void cleanupTestCase()
    {
        delete m_configuration;
        m_host.reset();
        delete m_loader.instance();
    }

    void hostProgramOpensTheDisplayAndTheWindowKeepsItsSize()
    {
        QProcess host;
        host.start(QStringLiteral(GAMEPAD_HOST_EXE), {"--check-display"});
        QCOMPARE(host.waitForFinished(60000) ? host.exitCode() : -1, kHostExitSuccess);
        QCOMPARE(host.readAllStandardError(), QByteArray());
        QCOMPARE(m_host->size(), QSize(1000, 640));
        QCOMPARE(m_host->windowHandle()->geometry().size(), QSize(1000, 640));
        QVERIFY(m_host->screen()->geometry().contains(m_host->frameGeometry()));
        QCOMPARE(QApplication::activeWindow(), m_host.get());
    }

    void clickingTheCardSelectsTheDevice()
    {
        auto *view = m_host->findChild<QListView *>("hostDevices");
        QAbstractItemModel *model = m_host->deviceModel();
        QTRY_COMPARE_WITH_TIMEOUT(model->rowCount(), 1, 5000);
        const QModelIndex card = model->index(0, 0);
        QCOMPARE(card.data(roleByName(model, "usn")).toString(), kSimulatedDeviceUsn);
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->visualRect(card).center());
        QVERIFY(card.data(roleByName(model, "selected")).toBool());
        QVERIFY(m_host->findChild<QPlainTextEdit *>("hostLog")->toPlainText().contains(
            "selection: 1 device: " + kPadName));
    }

    void configureOpensTheEditorOnTheScreen()
    {
        QVERIFY(clickConfigure() && m_configuration->windowTitle() == "Gamepad");
        QCOMPARE(m_configuration->size(), kConfigurationShotSize);
        QVERIFY(m_configuration->screen()->geometry().contains(m_configuration->frameGeometry()));
        QVERIFY(m_configuration->isAncestorOf(QApplication::focusWidget())); // focus inside
        QVERIFY(!QApplication::activePopupWidget());
    }

    // Ctrl+V in the editor pastes a profile; the modes show their panels; "+ Btn" adds a pastille.
    void pasteSwitchModesAndAddAPastille()
    {
        QFile profile(sampleProfilePath());
        QVERIFY(profile.open(QIODevice::ReadOnly));
        auto *mime = new QMimeData;
        mime->setData(kProfileMimeType, profile.readAll());
        QGuiApplication::clipboard()->setMimeData(mime);
        auto *list = editor()->findChild<QListWidget *>("listWidget");
        QTest::keySequence(QApplication::focusWidget(), QKeySequence::Paste);
        QTRY_COMPARE(list->count(), 1);
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                          list->visualItemRect(list->item(0)).center());
        QCOMPARE(list->currentRow(), 0);
        const int pastilles = pastilleCount(editor());
        QVERIFY(pastilles > 0);

        const auto modes = editor()->findChildren<QPushButton *>("gamepadModeButton");
        QCOMPARE(modes.size(), 3);
        auto *calibration = editor()->findChild<QWidget *>("gamepadConfigRoot");
        QTest::mouseClick(modes[1], Qt::LeftButton);
        QVERIFY(calibration->isVisible());
        QVERIFY(!editor()->findChild<QWidget *>("widgetOverlay")->isVisible());

        QTest::mouseClick(modes[2], Qt::LeftButton);
        QVERIFY(!calibration->isVisible());
        QPushButton *addButton = editor()->findChildren<QPushButton *>("gamepadAddNodeButton")[2];
        QVERIFY(addButton->text() == "+ Btn" && addButton->isVisible() && addButton->isEnabled());
        QTest::mouseClick(addButton, Qt::LeftButton);
        QCOMPARE(pastilleCount(editor()), pastilles + 1);
        QCOMPARE(editor()->findChild<QLabel *>("inspectorType")->text(), QString("Type : Button"));
    }

    // Typed letters narrow the popup to the connected controller; a click on it makes a chip.
    void tagPickedFromThePopup()
    {
        auto *input = editor()->findChild<QLineEdit *>("tagSelectionInput");
        QTest::mouseClick(input, Qt::LeftButton);
        QCOMPARE(QApplication::focusWidget(), input);
        QTest::keyClicks(input, "demo");
        QAbstractItemView *popup = input->completer()->popup();
        QTRY_VERIFY(popup->isVisible());
        // Just under the field, whole on the screen.
        const QRect shown = popup->window()->geometry();
        QVERIFY(qAbs(shown.top() - input->mapToGlobal(QPoint(0, input->height())).y()) <= 4);
        QVERIFY(input->screen()->geometry().contains(shown) && popup->model()->rowCount() == 1);
        const QModelIndex row = popup->model()->index(0, 0);
        QCOMPARE(row.data().toString(), kPadName);
        QTest::mouseClick(popup->viewport(), Qt::LeftButton, {}, popup->visualRect(row).center());
        QTRY_VERIFY(!popup->isVisible());
        QCOMPARE(chipNames(editor()), QStringList{kPadName});
        QVERIFY(editor()->findChild<QWidget *>("tagSelectionChip")->property("connected").toBool());
        QTRY_COMPARE(input->text(), QString());
        QCOMPARE(QApplication::focusWidget(), input);
    }

    // Closing saves the edits; the next window shows them.
    void closedAndReopenedWindowShowsTheEdits()
    {
        const int pastilles = pastilleCount(editor());
        QVERIFY(m_configuration->close());
        QTRY_VERIFY(m_configuration.isNull());
        QVERIFY(clickConfigure());
        QCOMPARE(m_configuration->size(), kConfigurationShotSize);
        auto *list = editor()->findChild<QListWidget *>("listWidget");
        QCOMPARE(list->count(), 1);
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                          list->visualItemRect(list->item(0)).center());
        QCOMPARE(pastilleCount(editor()), pastilles);
        QCOMPARE(chipNames(editor()), QStringList{kPadName});
    }
};

int main(int argc, char *argv[])
{
    const QByteArray display = qgetenv("GAMEPAD_TEST_DISPLAY");
    if (display.isEmpty()) {
        QTextStream(stdout) << "SKIP: GAMEPAD_TEST_DISPLAY names no X display" << Qt::endl;
        return 77; // the test's SKIP_RETURN_CODE in CTest
    }
    qputenv("DISPLAY", display), qputenv("QT_QPA_PLATFORM", "xcb");
    QTemporaryDir home; // The plug-in's profiles and registry land in a home of the test's own.
    for (const char *variable : {"HOME", "XDG_RUNTIME_DIR"})
        qputenv(variable, QFile::encodeName(home.path()));
    for (const char *variable : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME"})
        qputenv(variable, QFile::encodeName(home.filePath(variable)));
    QApplication app(argc, argv);
    QApplication::setOrganizationName(kReferenceHostOrganization);
    QApplication::setApplicationName(kReferenceHostApplication);
    app.setProperty("kx.currentLogin", QStringLiteral("demo"));
    app.setProperty("kx.canEditSharedGamepads", false);
    TestRealDisplay test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_realdisplay.moc"
