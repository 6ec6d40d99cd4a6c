// The plug-in as the host sees it: loaded from the built module file, never linked.

#include "icominterface.h"
#include "icominterfacemodelprovider.h"
#include "profilemeta.h"
#include "profilestore.h"

#include <QAbstractItemDelegate>
#include <QtTest>

class TestQuentaPlugin : public QObject
{
    Q_OBJECT

    QTemporaryDir m_home;
    QPluginLoader m_loader{QStringLiteral(GAMEPAD_PLUGIN_FILE)};

    // Destroys the plug-in object: the library's entry point must build a new one.
    IComInterfaceModelProvider *freshProvider()
    {
        delete m_loader.instance();
        return qobject_cast<IComInterfaceModelProvider *>(m_loader.instance());
    }

    // Two remembered controllers give the model rows without any hardware.
    void rememberTwoDevices(const QString &context)
    {
        const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) +
                               '/' + context + "/ZeltoCom";
        QFile file(folder + "/gamepads.json");
        QVERIFY(QDir().mkpath(folder) && file.open(QIODevice::WriteOnly));
        file.write(R"({"devices": {"gp:0": {"kv": {"name": "Pad 0"}}, "gp:1": {"kv": {}}}})");
    }

    // A shared profile made for controllers named `device`; its id without braces.
    static QString makeProfileFor(const QString &device, const QString &name)
    {
        GamepadProfileMeta meta;
        meta.id = QUuid::createUuid(), meta.name = name;
        meta.folder = sharedProfilesRoot() + '/' + name, meta.deviceNames = QStringList{device};
        const bool made = QDir().mkpath(meta.folder) && writeProfileMeta(&meta, nullptr);
        return made ? meta.id.toString(QUuid::WithoutBraces) : QString();
    }

    // What the card of `usn` shows under the role named `role`.
    static QVariant cardValue(QAbstractItemModel *model, const QString &usn, const QByteArray &role)
    {
        int row = -1;
        QMetaObject::invokeMethod(model, "indexOfUsn", Q_RETURN_ARG(int, row), Q_ARG(QString, usn));
        return model->index(row, 0).data(model->roleNames().key(role));
    }

    static QJsonObject editorServices(QWidget *window)
    {
        QWidget *editor = window ? window->findChild<QWidget *>("ManageGamepade") : nullptr;
        return editor ? editor->property("externalServices").toJsonObject() : QJsonObject();
    }

private slots:
    void initTestCase()
    {
        qputenv("HOME", m_home.path().toLocal8Bit());
        qputenv("XDG_DATA_HOME", QDir(m_home.path()).filePath(".local/share").toLocal8Bit());
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY2(m_loader.load(), qPrintable(m_loader.errorString()));
    }

    void cleanupTestCase() { delete m_loader.instance(); }

    void metadataAndFixedAnswers()
    {
        const QJsonObject meta = m_loader.metaData();
        IComInterfaceModelProvider *p = freshProvider();
        QCOMPARE((QStringList{meta.value("IID").toString(), meta.value("className").toString(),
                              p->vendor(), p->name()}),
                 (QStringList{IComInterfaceModelProvider_iid, "QuentaPlugin", "zelto", "Gamepad"}));
        // The family's icon: the console picture of the resources, at its own size.
        const QIcon icon = p->icon();
        QCOMPARE(icon.availableSizes(), QList<QSize>{QSize(64, 64)});
        const auto premultiplied = QImage::Format_ARGB32_Premultiplied; // as pixmaps hold them
        QCOMPARE(icon.pixmap(64, 64).toImage().convertToFormat(premultiplied),
                 QImage(":/icon/ressources/console-video.png").convertToFormat(premultiplied));
        p->setServices(QJsonObject{{"sharedActionCatalog", QJsonArray()}});
        QVERIFY(p->services().isEmpty());

        // Before any model: both outputs emptied, whatever they held.
        QList<IComInterface *> out{nullptr};
        QJsonArray infos{1};
        p->selectedInterfaces(out, infos);
        QVERIFY(out.isEmpty() && infos.isEmpty());
    }

    void wiringIsUniqueInEitherOrder_data()
    {
        QTest::addColumn<bool>("delegateFirst");
        QTest::newRow("model first") << false;
        QTest::newRow("delegate first") << true;
    }

    // One model, built with the first context whatever later calls pass, and one wiring.
    void wiringIsUniqueInEitherOrder()
    {
        QFETCH(bool, delegateFirst);
        QTest::failOnWarning(QRegularExpression("QObject::connect")); // never wired to nothing
        const QString context = delegateFirst ? "delegate-first" : "model-first";
        rememberTwoDevices(context);
        IComInterfaceModelProvider *p = freshProvider();
        QAbstractItemModel *model = nullptr;
        QAbstractItemDelegate *delegate = nullptr;
        for (int round = 0; round < 3; ++round) {
            if (delegateFirst && round == 0) // the model, made later, wires itself to it
                delegate = p->itemDelegate(nullptr);
            model = p->model(round == 0 ? context : "ignored", nullptr);
            if (!delegateFirst && round == 2) // asked last, it wires itself to the model
                delegate = p->itemDelegate(nullptr);
        }
        QTRY_COMPARE(model->rowCount(), 2);

        // Deselecting a row that is not selected only reports it: once, however often wired.
        QSignalSpy reports(p, &IComInterfaceModelProvider::selectedInterfacesChanged);
        QVERIFY(QMetaObject::invokeMethod(delegate, "toggledSelect", Q_ARG(QString, "gp:0"),
                                          Q_ARG(bool, false)));
        QCOMPARE(reports.count(), 1);
        QVERIFY(QMetaObject::invokeMethod(delegate, "toggledSelect", Q_ARG(QString, "gp:1"),
                                          Q_ARG(bool, true)));
        QCOMPARE(reports.count(), 2);
        QList<IComInterface *> out;
        QJsonArray infos;
        p->selectedInterfaces(out, infos);
        // Remembered, not plugged in: described, and a stand-in gamepad device.
        QCOMPARE((QList<qsizetype>{infos.size(), out.size()}), (QList<qsizetype>{1, 1}));
        QCOMPARE(out.first()->deviceType(), IComInterface::gamepade);

        QVERIFY(QMetaObject::invokeMethod(delegate, "requestDelete", Q_ARG(QString, "gp:0")));
        QCOMPARE(model->rowCount(), 1);
    }

    // The editor's news of the profiles on disk refresh the cards' carousels; arrows step them.
    void carouselFollowsTheEditorAndTheArrows()
    {
        rememberTwoDevices("carousel");
        const QString first = makeProfileFor("Pad 0", "Carousel A");
        IComInterfaceModelProvider *p = freshProvider();
        QAbstractItemModel *model = p->model("carousel", nullptr);
        QAbstractItemDelegate *delegate = p->itemDelegate(nullptr);
        QCOMPARE(cardValue(model, "gp:0", "profileCount"), QVariant(1));
        const QString second = makeProfileFor("Pad 0", "Carousel B");
        const std::unique_ptr<QWidget> window(p->configurationWindow(nullptr));
        QCOMPARE(cardValue(model, "gp:0", "profileCount"), QVariant(1));
        QSignalSpy told(model, &QAbstractItemModel::dataChanged); // every card, the first included
        QVERIFY(QMetaObject::invokeMethod(
            window->findChild<QWidget *>("ManetteConfigurationWidget"), "profilesCatalogChanged"));
        QCOMPARE(cardValue(model, "gp:0", "profileCount"), QVariant(2));
        QCOMPARE(told.value(0).mid(0, 2), QVariantList({model->index(0, 0), model->index(1, 0)}));

        QVERIFY(QMetaObject::invokeMethod(model, "setActiveProfile", Q_ARG(QString, "gp:0"),
                                          Q_ARG(QString, first)));
        QVERIFY(QMetaObject::invokeMethod(delegate, "cycleProfile", Q_ARG(QString, "gp:0"),
                                          Q_ARG(int, 1)));
        QCOMPARE(cardValue(model, "gp:0", "activeProfileId").toString(), second);
    }

    // Closing the window destroys it; the next one's editor holds the last services object.
    void windowIsRebuiltWithTheLastServices()
    {
        IComInterfaceModelProvider *p = freshProvider();
        p->model("window", nullptr);
        const QJsonObject first{{"sharedActionCatalog", QJsonArray{"first"}}};
        const QJsonObject last{{"sharedActionCatalog", QJsonArray{"last"}}};
        p->setServices(first);
        QPointer<QWidget> window = p->configurationWindow(nullptr);
        QVERIFY(window->windowTitle() == "Gamepad" && editorServices(window) == first);
        QCOMPARE(p->configurationWindow(nullptr), window.data());

        p->setServices(last);
        QCOMPARE(editorServices(window), last);
        // The notification hands over the stored object, not its own argument.
        emit p->servicesChanged(first);
        QCOMPARE(editorServices(window), last);

        window->show();
        QVERIFY(window->close());
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(window.isNull());
        const std::unique_ptr<QWidget> again(p->configurationWindow(nullptr));
        QCOMPARE(editorServices(again.get()), last);
    }

    // The model's notices reach the host as posted. Last: the simulated controller stays plugged.
    void deviceEventsReachTheHost()
    {
        IComInterfaceModelProvider *p = freshProvider();
        QAbstractItemModel *model = p->model("events", nullptr);
        QSignalSpy events(p, &IComInterfaceModelProvider::eventPosted);
        QVERIFY(QMetaObject::invokeMethod(p, "addSimulatedController", Q_ARG(int, 0)));
        QCoreApplication::sendPostedEvents(); // the manager looks for controllers again
        QCOMPARE(events.count(), 1);
        const auto event = events.first().first().value<ComProviderEvent>();
        QCOMPARE(event.level, 0);
        QCOMPARE(event.title + " | " + event.message + " | " + event.source,
                 "Gamepad detected | Virtual Demo Pad (gp:7) is now available. | Gamepad");
        QObject *demo = nullptr; // its only row, then moving on its own: its left stick turns
        QMetaObject::invokeMethod(model, "interfaceForRow", Q_RETURN_ARG(QObject *, demo),
                                  Q_ARG(int, 0));
        QSignalSpy moved(demo, SIGNAL(dataChanged(int, int, QStringList, QVariantList)));
        QVERIFY(QMetaObject::invokeMethod(p, "addSimulatedController", Q_ARG(int, -1)));
        static_cast<IComInterface *>(demo)->start();
        QTRY_VERIFY(moved.size() > 2 && moved.last().at(2).toStringList().contains("joy_1"));
    }
};

QTEST_MAIN(TestQuentaPlugin)
#include "tst_quentaplugin.moc"
