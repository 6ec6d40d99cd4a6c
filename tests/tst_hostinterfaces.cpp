#include "icominterface.h"
#include "icominterfacemodelprovider.h"

#include <QtTest>

#include <cstring>

// Itanium ABI: a virtual member pointer holds 1 + the offset of the table entry the host calls.
template <typename F> static qptrdiff vtableOffset(F member)
{
    static_assert(sizeof(F) == 2 * sizeof(qptrdiff));
    qptrdiff words[2];
    std::memcpy(words, &member, sizeof words);
    return words[0] - 1;
}

class TestHostInterfaces : public QObject
{
    Q_OBJECT

    // Our entries must follow QObject's last one, disconnectNotify, one after another, in order.
    template <typename... F> static void verifyFollowQObjectInOrder(F... members)
    {
        const QList<qptrdiff> offsets{vtableOffset(&TestHostInterfaces::disconnectNotify),
                                      vtableOffset(members)...};
        for (int i = 1; i < offsets.size(); ++i)
            QCOMPARE(offsets.at(i) - offsets.at(i - 1), qptrdiff(sizeof(void *)));
    }

private slots:
    void virtualSlotOrder()
    {
        using D = IComInterface;
        verifyFollowQObjectInOrder(&D::start, &D::stop, &D::close, &D::reservedSlot4, &D::info,
                                   &D::reservedSlot6, &D::setParameter, &D::deviceType,
                                   &D::noCodeApp, &D::value, &D::status, &D::functions);
        using P = IComInterfaceModelProvider;
        verifyFollowQObjectInOrder(&P::vendor, &P::name, &P::model, &P::itemDelegate,
                                   &P::selectedInterfaces, &P::configurationWindow, &P::reservedA,
                                   &P::reservedB, &P::services, &P::setServices, &P::icon);
    }
};

QTEST_GUILESS_MAIN(TestHostInterfaces)
#include "tst_hostinterfaces.moc"
