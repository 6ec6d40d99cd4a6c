#include "comproviderevent.h"
#include "icominterface.h"
#include "icominterfacemodelprovider.h"

#include <QtTest>

#include <cstring>

namespace {

QStringList ownSignals(const QMetaObject &meta)
{
    QStringList result;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        if (meta.method(i).methodType() == QMetaMethod::Signal)
            result << QString::fromLatin1(meta.method(i).methodSignature());
    }
    return result;
}

QStringList enumKeys(const QMetaObject &meta, const char *name)
{
    const QMetaEnum e = meta.enumerator(meta.indexOfEnumerator(name));
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
    using QObject::disconnectNotify; // QObject's last virtual function
};

// Our entries must follow QObject's own ones, one after the other, in the listed order.
void verifyFollowQObjectInOrder(QList<qptrdiff> offsets)
{
    offsets.prepend(vtableOffset(&QObjectProbe::disconnectNotify));
    for (int i = 1; i < offsets.size(); ++i)
        QCOMPARE(offsets.at(i) - offsets.at(i - 1), qptrdiff(sizeof(void *)));
}

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
    void signalsAndEnumerations()
    {
        QCOMPARE(ownSignals(IComInterface::staticMetaObject),
                 QStringList({"finished()", "statusChanged(ComStatus)",
                              "noCodeAppChanged(QStringList)", "fonctionsChanged(QJsonArray)",
                              "dataChanged(int,int,QStringList,QVariantList)",
                              "dataChanged(QString,QString,QStringList,QVariantList)"}));
        QCOMPARE(ownSignals(IComInterfaceModelProvider::staticMetaObject),
                 QStringList({"selectedInterfacesChanged(QList<IComInterface*>,QJsonArray)",
                              "servicesChanged(QJsonObject)", "eventPosted(ComProviderEvent)"}));
        const QMetaObject &meta = IComInterface::staticMetaObject;
        QCOMPARE(enumKeys(meta, "DeviceType"),
                 QStringList({"gimbal=0", "videoprocessing=1", "gps=2", "controler=3", "gamepade=4",
                              "motor=5", "userType=6", "mavlink=7"}));
        QCOMPARE(enumKeys(meta, "ComStatus"),
                 QStringList({"noCom=0", "waitingForEngagment=1", "degraded=2", "connected=3"}));
    }

    void virtualSlotOrder()
    {
        using D = IComInterface;
        verifyFollowQObjectInOrder({vtableOffset(&D::start), vtableOffset(&D::stop),
                                    vtableOffset(&D::close), vtableOffset(&D::reservedSlot4),
                                    vtableOffset(&D::info), vtableOffset(&D::reservedSlot6),
                                    vtableOffset(&D::setParameter), vtableOffset(&D::deviceType),
                                    vtableOffset(&D::noCodeApp), vtableOffset(&D::value),
                                    vtableOffset(&D::status), vtableOffset(&D::functions)});
        using P = IComInterfaceModelProvider;
        verifyFollowQObjectInOrder(
            {vtableOffset(&P::vendor), vtableOffset(&P::name), vtableOffset(&P::model),
             vtableOffset(&P::itemDelegate), vtableOffset(&P::selectedInterfaces),
             vtableOffset(&P::configurationWindow), vtableOffset(&P::reservedA),
             vtableOffset(&P::reservedB), vtableOffset(&P::services), vtableOffset(&P::setServices),
             vtableOffset(&P::icon)});
    }

    void providerInterfaceIdentifier()
    {
        const QString iid =
            QString::fromLatin1(qobject_interface_iid<IComInterfaceModelProvider *>());
        QVERIFY2(iid.endsWith(".IComInterfaceModelProvider/1.1"), qPrintable(iid));
        QVERIFY(!iid.startsWith('.'));
        FakeProvider provider;
        QCOMPARE(qobject_cast<IComInterfaceModelProvider *>(&provider), &provider);
    }

    void providerEventCrossesQueuedSignals()
    {
        FakeProvider provider; // its constructor registers the type before any connection
        QVERIFY(QMetaType::fromName("ComProviderEvent").isValid());
        QList<ComProviderEvent> received;
        QObject receiver;
        connect(
            &provider, &IComInterfaceModelProvider::eventPosted, &receiver,
            [&](const ComProviderEvent &e) { received << e; }, Qt::QueuedConnection);
        Q_EMIT provider.eventPosted(
            {ComProviderEvent::Warning, "Gamepad disconnected", "Pad (gp:0) was disconnected."});
        QVERIFY(received.isEmpty()); // queued: nothing until the event loop runs
        QTRY_COMPARE(received.size(), 1);
        const ComProviderEvent &e = received.first();
        QVERIFY(e.level == 1 && e.title == "Gamepad disconnected");
        QCOMPARE(e.message, "Pad (gp:0) was disconnected.");
        QCOMPARE(e.source, "Gamepad"); // filled in by the event
    }
};

QTEST_GUILESS_MAIN(tst_HostInterfaces)
#include "tst_hostinterfaces.moc"
