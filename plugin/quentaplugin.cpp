#include "quentaplugin.h"

#include "demojoystickbackend.h"
#include "deviceitemdelegate.h"
#include "gamepadmanager.h"
#include "linkerdevicemodel.h"
#include "manetteconfigurationwidget.h"
#include "resourcepaths.h"

#include <QElapsedTimer>
#include <QMainWindow>
#include <QMetaObject>
#include <QMutex>
#include <QMutexLocker>
#include <QTimer>

QObject *quentaPluginInstance()
{
    static QMutex lock;
    static QPointer<QObject> instance;
    QMutexLocker locker(&lock);
    if (!instance)
        instance = new QuentaPlugin;
    return instance;
}

QuentaPlugin::QuentaPlugin(QObject *parent) : IComInterfaceModelProvider(parent)
{
}

// The window belongs to the host's widget tree; only the references go.
QuentaPlugin::~QuentaPlugin() = default;

QString QuentaPlugin::vendor()
{
    return QStringLiteral("zelto");
}

QString QuentaPlugin::name()
{
    return QStringLiteral("Gamepad");
}

QIcon QuentaPlugin::icon()
{
    return QIcon(ResourcePaths::kConsoleIcon);
}

QAbstractItemModel *QuentaPlugin::model(QString context, QObject *parent)
{
    if (!m_model) {
        m_model = new LinkerDeviceModel(context, parent ? parent : this);
        connect(m_model, &LinkerDeviceModel::selectedInterfacesChanged, this,
                &IComInterfaceModelProvider::selectedInterfacesChanged);
        connect(m_model, &LinkerDeviceModel::providerEventOccurred, this,
                [this](const ComProviderEvent &event) { emit eventPosted(event); });
    }
    wire();
    return m_model;
}

QAbstractItemDelegate *QuentaPlugin::itemDelegate(QObject *parent)
{
    if (!m_delegate)
        m_delegate = new DeviceItemDelegate(parent ? parent : this);
    wire();
    return m_delegate;
}

void QuentaPlugin::selectedInterfaces(QList<IComInterface *> &out, QJsonArray &infos)
{
    if (!m_model) {
        out.clear();
        infos = QJsonArray();
        return;
    }
    m_model->selectedInterfaces(out, infos);
}

QWidget *QuentaPlugin::configurationWindow(QWidget *parent)
{
    if (!m_window) {
        m_window = new QMainWindow(parent);
        m_window->setWindowTitle(QStringLiteral("Gamepad"));
        // Closing destroys the window, and with it the editor, which saves what is pending.
        m_window->setAttribute(Qt::WA_DeleteOnClose);
        m_window->resize(kWindowWidth, kWindowHeight);
    }
    if (m_configWidget) {
        wire();
        return m_window;
    }
    auto *widget = new ManetteConfigurationWidget(m_window);
    m_configWidget = widget;
    m_window->setCentralWidget(widget);
    widget->setExternalServices(m_services);
    // The stored object, not the signal's argument: setServices is the one source of truth.
    connect(this, &IComInterfaceModelProvider::servicesChanged, widget, [this] {
        if (m_configWidget)
            m_configWidget->setExternalServices(m_services);
    });
    wire();
    return m_window;
}

void *QuentaPlugin::reservedA()
{
    return nullptr;
}

void *QuentaPlugin::reservedB()
{
    return nullptr;
}

QJsonObject QuentaPlugin::services()
{
    return QJsonObject();
}

void QuentaPlugin::setServices(QJsonObject services)
{
    m_services = services;
    if (m_configWidget)
        m_configWidget->setExternalServices(m_services);
}

void QuentaPlugin::wire()
{
    if (m_delegate && m_model) {
        connect(m_delegate, &DeviceItemDelegate::toggledSelect, m_model,
                &LinkerDeviceModel::setSelected, Qt::UniqueConnection);
        connect(m_delegate, &DeviceItemDelegate::requestDelete, m_model,
                &LinkerDeviceModel::deleteDevice, Qt::UniqueConnection);
        connect(m_delegate, &DeviceItemDelegate::cycleProfile, m_model,
                &LinkerDeviceModel::cycleProfile, Qt::UniqueConnection);
    }
    if (m_configWidget && m_model) {
        connect(m_configWidget, &ManetteConfigurationWidget::profilesCatalogChanged, m_model,
                &LinkerDeviceModel::refreshProfilesCatalog, Qt::UniqueConnection);
    }
}

void QuentaPlugin::addSimulatedController(int frozenAtMs)
{
    // Process-wide like the backend it replaces: devices read it on every poll.
    static DemoJoystickBackend demo(joystickBackend());
    static QElapsedTimer clock;
    static QPointer<QTimer> animation;
    if (&joystickBackend() != &demo) {
        setJoystickBackend(&demo);
        clock.start();
    }
    if (animation)
        animation->stop();
    demo.animate(frozenAtMs >= 0 ? frozenAtMs : 0);
    if (frozenAtMs < 0) {
        if (!animation) {
            animation = new QTimer(GamepadManager::instance());
            connect(animation, &QTimer::timeout, [] { demo.animate(clock.elapsed()); });
        }
        animation->start(10);
    }
    // A manager that already looked for controllers looks again.
    QMetaObject::invokeMethod(GamepadManager::instance(), "discoverDevices", Qt::QueuedConnection);
}
