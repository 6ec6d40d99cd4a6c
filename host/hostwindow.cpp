#include "hostwindow.h"

#include <QAbstractItemDelegate>
#include <QAbstractItemModel>
#include <QDateTime>
#include <QHBoxLayout>
#include <QJsonArray>
#include <QJsonObject>
#include <QLabel>
#include <QListView>
#include <QPlainTextEdit>
#include <QPluginLoader>
#include <QPushButton>
#include <QSplitter>
#include <QStatusBar>
#include <QTextStream>
#include <QVBoxLayout>

#include <cmath>

namespace {

// Object-name selectors only: the plug-in's configuration window is a child of this window and
// must keep its own look.
const char *const kStyle = R"(
QMainWindow#hostWindow, QWidget#hostCentral { background: #0F171E; }
QLabel#hostHeading { color: #DCE8EF; font-size: 15px; font-weight: 600; }
QLabel#hostSubheading { color: #7F97A6; }
QListView#hostDevices { background: #131D25; border: 1px solid #24323E; border-radius: 8px; }
QPlainTextEdit#hostLog { background: #0B1218; color: #9FB3C1; border: 1px solid #24323E;
                         border-radius: 8px; font-family: "DejaVu Sans Mono", monospace; }
QPushButton#hostConfigure { background: #1F3442; color: #BFEFF6; border: 1px solid #3FC8DC;
                            border-radius: 6px; padding: 6px 16px; }
QPushButton#hostConfigure:hover { background: #26424F; }
QStatusBar#hostStatus { background: #131D25; color: #A8BCC8; }
)";

constexpr int kMaxLogLines = 2000;

QString levelName(qint32 level)
{
    switch (level) {
    case ComProviderEvent::Information:
        return QStringLiteral("info");
    case ComProviderEvent::Warning:
        return QStringLiteral("warning");
    default:
        return QStringLiteral("level %1").arg(level);
    }
}

QString valueText(const QVariant &value)
{
    if (value.typeId() == QMetaType::Bool)
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    bool ok = false;
    const double number = value.toDouble(&ok);
    if (!ok)
        return value.toString();
    // Adding 0.0 turns a rounded -0 into 0.
    return QString::number(std::round(number * 100.0) / 100.0 + 0.0);
}

// "gp:%1" with the SFML index the device reports, the name the device list gives its row.
QString deviceLabel(IComInterface *device)
{
    return QStringLiteral("gp:%1").arg(
        device->info().value(QLatin1String("deviceId")).toVariant().toString());
}

} // namespace

IComInterfaceModelProvider *loadProvider(QPluginLoader &loader, QString *error)
{
    const QJsonObject meta = loader.metaData();
    if (meta.isEmpty()) {
        *error = loader.errorString();
        return nullptr;
    }
    const QString iid = meta.value(QLatin1String("IID")).toString();
    const QString className = meta.value(QLatin1String("className")).toString();
    if (iid != QLatin1String(IComInterfaceModelProvider_iid) ||
        className != QLatin1String("QuentaPlugin")) {
        *error = QStringLiteral("not the gamepad plug-in (interface \"%1\", class \"%2\")")
                     .arg(iid, className);
        return nullptr;
    }
    QObject *instance = loader.instance();
    if (!instance) {
        *error = loader.errorString();
        return nullptr;
    }
    auto *provider = qobject_cast<IComInterfaceModelProvider *>(instance);
    if (!provider)
        *error = QStringLiteral("the plug-in object does not implement %1")
                     .arg(QLatin1String(IComInterfaceModelProvider_iid));
    return provider;
}

int roleByName(const QAbstractItemModel *model, const QByteArray &name)
{
    if (!model)
        return -1;
    const QHash<int, QByteArray> roles = model->roleNames();
    for (auto it = roles.cbegin(); it != roles.cend(); ++it) {
        if (it.value() == name)
            return it.key();
    }
    return -1;
}

QString batchText(const QString &device, const QStringList &keys, const QVariantList &values)
{
    QString line = device;
    for (qsizetype i = 0; i < keys.size(); ++i)
        line += QStringLiteral(" %1=%2").arg(keys.at(i), valueText(values.value(i)));
    return line;
}

HostWindow::HostWindow(IComInterfaceModelProvider *provider, bool verbose, QWidget *parent)
    : QMainWindow(parent), m_provider(provider), m_verbose(verbose)
{
    setObjectName(QStringLiteral("hostWindow"));
    setWindowTitle(QStringLiteral("Gamepad host"));
    setWindowIcon(provider->icon());
    setStyleSheet(QString::fromLatin1(kStyle));

    auto *central = new QWidget(this);
    central->setObjectName(QStringLiteral("hostCentral"));
    auto *column = new QVBoxLayout(central);
    column->setContentsMargins(12, 12, 12, 8);
    column->setSpacing(8);

    auto *header = new QHBoxLayout;
    auto *titles = new QVBoxLayout;
    titles->setSpacing(2);
    auto *heading = new QLabel(QStringLiteral("%1 devices").arg(provider->name()), central);
    heading->setObjectName(QStringLiteral("hostHeading"));
    auto *subheading = new QLabel(
        QStringLiteral("Provided by the \"%1\" plug-in. Click a card to select its device.")
            .arg(provider->vendor()),
        central);
    subheading->setObjectName(QStringLiteral("hostSubheading"));
    titles->addWidget(heading);
    titles->addWidget(subheading);
    header->addLayout(titles, 1);
    auto *configure = new QPushButton(QStringLiteral("Configure…"), central);
    configure->setObjectName(QStringLiteral("hostConfigure"));
    configure->setIcon(provider->icon());
    header->addWidget(configure, 0, Qt::AlignVCenter);
    column->addLayout(header);

    // The provider's cards: one delegate size for all, laid out in rows like a host's device
    // grid. Selection is the model's, not the view's.
    m_view = new QListView(central);
    m_view->setObjectName(QStringLiteral("hostDevices"));
    m_view->setViewMode(QListView::IconMode);
    m_view->setUniformItemSizes(true);
    m_view->setResizeMode(QListView::Adjust);
    m_view->setMovement(QListView::Static);
    m_view->setSpacing(6);
    m_view->setSelectionMode(QAbstractItemView::NoSelection);
    m_view->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_view->setMouseTracking(true);
    m_model = provider->model(kHostContext, this);
    m_delegate = provider->itemDelegate(this);
    m_view->setItemDelegate(m_delegate);
    m_view->setModel(m_model);

    m_log = new QPlainTextEdit(central);
    m_log->setObjectName(QStringLiteral("hostLog"));
    m_log->setReadOnly(true);
    m_log->setMaximumBlockCount(kMaxLogLines);
    m_log->setPlaceholderText(QStringLiteral("Provider events and selection changes appear here."));

    auto *split = new QSplitter(Qt::Vertical, central);
    split->addWidget(m_view);
    split->addWidget(m_log);
    split->setStretchFactor(0, 3);
    split->setStretchFactor(1, 1);
    split->setChildrenCollapsible(false);
    column->addWidget(split, 1);
    setCentralWidget(central);

    statusBar()->setObjectName(QStringLiteral("hostStatus"));
    statusBar()->showMessage(
        QStringLiteral("Loaded %1 by %2").arg(provider->name(), provider->vendor()));

    connect(configure, &QPushButton::clicked, this, [this] { openConfiguration(); });
    connect(provider, &IComInterfaceModelProvider::eventPosted, this, &HostWindow::onEvent);
    connect(provider, &IComInterfaceModelProvider::selectedInterfacesChanged, this,
            &HostWindow::onSelectionChanged);
    // The delegate's class belongs to the plug-in: its signal is reached by name.
    if (m_delegate && m_delegate->metaObject()->indexOfSignal("requestConfig(QString)") >= 0) {
        connect(m_delegate, SIGNAL(requestConfig(QString)), this,
                SLOT(onConfigurationRequested(QString)));
    } else {
        appendLog(QStringLiteral("the item delegate offers no requestConfig(QString) signal"));
    }

    // Devices selected in an earlier session are running already.
    QList<IComInterface *> selected;
    QJsonArray infos;
    provider->selectedInterfaces(selected, infos);
    if (!infos.isEmpty())
        onSelectionChanged(selected, infos);
    resize(1000, 640);
}

QWidget *HostWindow::openConfiguration()
{
    if (!m_provider)
        return nullptr;
    m_configuration = m_provider->configurationWindow(this);
    if (!m_configuration) {
        appendLog(QStringLiteral("the provider gave no configuration window"));
        return nullptr;
    }
    m_configuration->show();
    m_configuration->raise();
    m_configuration->activateWindow();
    return m_configuration;
}

void HostWindow::onConfigurationRequested(const QString &usn)
{
    appendLog(QStringLiteral("configuration requested for %1").arg(usn));
    openConfiguration();
}

void HostWindow::onEvent(const ComProviderEvent &event)
{
    statusBar()->showMessage(
        QStringLiteral("[%1] %2: %3").arg(levelName(event.level), event.title, event.message));
    appendLog(QStringLiteral("%1 %2: %3 (%4)")
                  .arg(levelName(event.level), event.title, event.message, event.source));
}

void HostWindow::onSelectionChanged(const QList<IComInterface *> &devices, const QJsonArray &infos)
{
    QStringList names;
    for (const QJsonValue &info : infos)
        names << info.toObject().value(QLatin1String("name")).toString();
    const QString count = names.size() == 1 ? QStringLiteral("1 device")
                                            : QStringLiteral("%1 devices").arg(names.size());
    appendLog(
        names.isEmpty()
            ? QStringLiteral("selection: none")
            : QStringLiteral("selection: %1: %2").arg(count, names.join(QStringLiteral(", "))));
    if (m_verbose)
        watchDevices(devices);
}

void HostWindow::watchDevices(const QList<IComInterface *> &devices)
{
    for (const QMetaObject::Connection &c : std::as_const(m_batchConnections))
        disconnect(c);
    m_batchConnections.clear();
    for (IComInterface *device : devices) {
        if (!device)
            continue;
        m_batchConnections << connect(
            device, qOverload<int, int, QStringList, QVariantList>(&IComInterface::dataChanged),
            this,
            [label = deviceLabel(device)](int, int, const QStringList &keys,
                                          const QVariantList &values) {
                QTextStream(stderr) << batchText(label, keys, values) << Qt::endl;
            });
    }
}

void HostWindow::appendLog(const QString &text)
{
    m_log->appendPlainText(QStringLiteral("%1  %2").arg(
        QTime::currentTime().toString(QStringLiteral("HH:mm:ss.zzz")), text));
}
