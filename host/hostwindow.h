#pragma once

#include "icominterfacemodelprovider.h"

#include <QList>
#include <QMainWindow>
#include <QMetaObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QVariantList>

class QAbstractItemDelegate;
class QAbstractItemModel;
class QListView;
class QPlainTextEdit;
class QPluginLoader;

// The context under which the plug-in keeps this host's device registry.
inline const QString kHostContext = QStringLiteral("gamepad-host");

// Loads the provider from `loader`'s file: the metadata must name the provider interface and the
// plug-in class before any code of the module runs. Returns null with the reason in `error`.
IComInterfaceModelProvider *loadProvider(QPluginLoader &loader, QString *error);

// The role a model publishes under `name` in roleNames(), -1 when it has none. The host knows the
// device list's roles by name only.
int roleByName(const QAbstractItemModel *model, const QByteArray &name);

// One published batch as a line: "gp:7 joy_0=12.5 but_1=true". Numbers are rounded to two
// decimals.
QString batchText(const QString &device, const QStringList &keys, const QVariantList &values);

// A host application's window around a gamepad provider: the provider's device cards in a grid,
// a button opening its configuration window, its events in the status bar and the log. The
// plug-in is reached only through the provider interface, object names and method names.
class HostWindow : public QMainWindow
{
    Q_OBJECT

public:
    // `verbose`: every batch the selected devices publish goes to stderr.
    explicit HostWindow(IComInterfaceModelProvider *provider, bool verbose = false,
                        QWidget *parent = nullptr);

    QAbstractItemModel *deviceModel() const { return m_model; }
    // The plug-in's configuration window, shown and raised; null if the plug-in gave none.
    QWidget *openConfiguration();

private slots:
    // The card's "Configurer" entry; the configuration window serves every device.
    void onConfigurationRequested(const QString &usn);

private:
    void onEvent(const ComProviderEvent &event);
    void onSelectionChanged(const QList<IComInterface *> &devices, const QJsonArray &infos);
    void watchDevices(const QList<IComInterface *> &devices);
    void appendLog(const QString &text);

    QPointer<IComInterfaceModelProvider> m_provider;
    bool m_verbose = false;
    QAbstractItemModel *m_model = nullptr;
    QAbstractItemDelegate *m_delegate = nullptr;
    QListView *m_view = nullptr;
    QPlainTextEdit *m_log = nullptr;
    QPointer<QWidget> m_configuration;
    QList<QMetaObject::Connection> m_batchConnections;
};
