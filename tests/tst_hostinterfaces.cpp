#include "comproviderevent.h"
#include "icominterface.h"
#include "icominterfacemodelprovider.h"

#include <QMetaEnum>
#include <QSignalSpy>
#include <QtTest>

#include <cstring>

namespace {

QStringList ownSignals(const QMetaObject &meta)
{
    QStringList result;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        if (method.methodType() == QMetaMethod::Signal)
            result << QString::fromLatin1(method.methodSignature());
    }
    return result;
}

QStringList enumKeys(const QMetaEnum &e)
{
    QStringList keys;
    for (int i = 0; i < e.keyCount(); ++i)
        keys << QStringLiteral("%1=%2").arg(QLatin1String(e.key(i))).arg(e.value(i));
    return keys;
}

// Itanium C++ ABI: a pointer to a virtual member function holds 1 + the byte offset of its
// entry in the virtual table. The host calls our objects through those entries.
template <typename F> qptrdiff vtableOffset(F member)
{
    static_assert(sizeof(F) == 2 * sizeof(qptrdiff));
    qptrdiff words[2];
    std::memcpy(words, &member, sizeof words);
    return words[0] - 1;
}

struct QObjectProbe : QObject
{
    static qptrdiff lastVirtual() { return vtableOffset(&QObjectProbe::disconnectNotify); }
};

// The plug-in object declares the interface the same way, so the host's qobject_cast finds it.
class FakeProvider : public IComInterfaceModelProvider
{
    Q_OBJECT
    Q_INTERFACES(IComInterfaceModelProvider)
public:
    QString vendor() override { return {}; }
    QString name() override { return {}; }
    QAbstractItemModel *model(QString, QObject *) override { return nullptr; }
    QAbstractItemDelegate *itemDelegate(QObject *) override { return nullptr; }
    void selectedInterfaces(QList<IComInterface *> &, QJsonArray &) override {}
    QWidget *configurationWindow(QWidget *) override { return nullptr; }
    QJsonObject services() override { return {}; }
    void setServices(QJsonObject) override {}
    QIcon icon() override { return {}; }
};

} // namespace

class tst_HostInterfaces : public QObject
{
    Q_OBJECT
private slots:
    void deviceSignalsInHostOrder();
    void deviceEnumerations();
    void deviceVirtualSlotOrder();
    void providerSignalsInHostOrder();
    void providerVirtualSlotOrder();
    void providerInterfaceIdentifier();
    void providerEventFillsSourceAndCrossesQueuedSignals();
};

void tst_HostInterfaces::deviceSignalsInHostOrder()
{
    const QStringList expected{
        "finished()",
        "statusChanged(ComStatus)",
        "noCodeAppChanged(QStringList)",
        "fonctionsChanged(QJsonArray)",
        "dataChanged(int,int,QStringList,QVariantList)",
        "dataChanged(QString,QString,QStringList,QVariantList)",
    };
    QCOMPARE(ownSignals(IComInterface::staticMetaObject), expected);
}

void tst_HostInterfaces::deviceEnumerations()
{
    const QMetaObject &meta = IComInterface::staticMetaObject;
    const QMetaEnum deviceType = meta.enumerator(meta.indexOfEnumerator("DeviceType"));
    QVERIFY(deviceType.isValid());
    QVERIFY(!deviceType.isFlag());
    QCOMPARE(enumKeys(deviceType),
             QStringList({"gimbal=0", "videoprocessing=1", "gps=2", "controler=3", "gamepade=4",
                          "motor=5", "userType=6", "mavlink=7"}));
    const QMetaEnum status = meta.enumerator(meta.indexOfEnumerator("ComStatus"));
    QVERIFY(status.isValid());
    QCOMPARE(enumKeys(status),
             QStringList({"noCom=0", "waitingForEngagment=1", "degraded=2", "connected=3"}));
}

void tst_HostInterfaces::deviceVirtualSlotOrder()
{
    const qptrdiff word = sizeof(void *);
    const QList<qptrdiff> offsets{
        vtableOffset(&IComInterface::start),        vtableOffset(&IComInterface::stop),
        vtableOffset(&IComInterface::close),        vtableOffset(&IComInterface::reservedSlot4),
        vtableOffset(&IComInterface::info),         vtableOffset(&IComInterface::reservedSlot6),
        vtableOffset(&IComInterface::setParameter), vtableOffset(&IComInterface::deviceType),
        vtableOffset(&IComInterface::noCodeApp),    vtableOffset(&IComInterface::value),
        vtableOffset(&IComInterface::status),       vtableOffset(&IComInterface::functions),
    };
    QCOMPARE(offsets.first(), QObjectProbe::lastVirtual() + word);
    for (int i = 1; i < offsets.size(); ++i)
        QCOMPARE(offsets.at(i) - offsets.at(i - 1), word);
}

void tst_HostInterfaces::providerSignalsInHostOrder()
{
    const QStringList expected{
        "selectedInterfacesChanged(QList<IComInterface*>,QJsonArray)",
        "servicesChanged(QJsonObject)",
        "eventPosted(ComProviderEvent)",
    };
    QCOMPARE(ownSignals(IComInterfaceModelProvider::staticMetaObject), expected);
}

void tst_HostInterfaces::providerVirtualSlotOrder()
{
    using P = IComInterfaceModelProvider;
    const qptrdiff word = sizeof(void *);
    const QList<qptrdiff> offsets{
        vtableOffset(&P::vendor),
        vtableOffset(&P::name),
        vtableOffset(&P::model),
        vtableOffset(&P::itemDelegate),
        vtableOffset(&P::selectedInterfaces),
        vtableOffset(&P::configurationWindow),
        vtableOffset(&P::reservedA),
        vtableOffset(&P::reservedB),
        vtableOffset(&P::services),
        vtableOffset(&P::setServices),
        vtableOffset(&P::icon),
    };
    QCOMPARE(offsets.first(), QObjectProbe::lastVirtual() + word);
    for (int i = 1; i < offsets.size(); ++i)
        QCOMPARE(offsets.at(i) - offsets.at(i - 1), word);

    FakeProvider provider;
    QCOMPARE(provider.reservedA(), nullptr);
    QCOMPARE(provider.reservedB(), nullptr);
}

void tst_HostInterfaces::providerInterfaceIdentifier()
{
    const QString iid = QString::fromLatin1(qobject_interface_iid<IComInterfaceModelProvider *>());
    QVERIFY2(iid.endsWith(".IComInterfaceModelProvider/1.1"), qPrintable(iid));
    QVERIFY(!iid.startsWith('.'));
    FakeProvider provider;
    QCOMPARE(qobject_cast<IComInterfaceModelProvider *>(&provider), &provider);
}

void tst_HostInterfaces::providerEventFillsSourceAndCrossesQueuedSignals()
{
    const ComProviderEvent warning(ComProviderEvent::Warning, "Gamepad disconnected",
                                   "Pad (gp:0) was disconnected.");
    QCOMPARE(warning.source, QStringLiteral("Gamepad"));
    QCOMPARE(ComProviderEvent().source, QStringLiteral("Gamepad"));

    FakeProvider provider; // its constructor registers the type before any connection
    QVERIFY(QMetaType::fromName("ComProviderEvent").isValid());

    QList<ComProviderEvent> received;
    QObject receiver;
    connect(
        &provider, &IComInterfaceModelProvider::eventPosted, &receiver,
        [&](const ComProviderEvent &e) { received << e; }, Qt::QueuedConnection);
    QSignalSpy spy(&provider, &IComInterfaceModelProvider::eventPosted);
    Q_EMIT provider.eventPosted(warning);
    QCOMPARE(spy.count(), 1);
    QVERIFY(received.isEmpty()); // queued: nothing until the event loop runs
    QTRY_COMPARE(received.size(), 1);
    QCOMPARE(received.first().level, 1);
    QCOMPARE(received.first().title, QStringLiteral("Gamepad disconnected"));
    QCOMPARE(received.first().message, QStringLiteral("Pad (gp:0) was disconnected."));
    QCOMPARE(received.first().source, QStringLiteral("Gamepad"));
}

QTEST_GUILESS_MAIN(tst_HostInterfaces)
#include "tst_hostinterfaces.moc"
