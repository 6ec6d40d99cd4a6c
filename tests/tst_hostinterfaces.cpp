#include "icominterface.h"
#include "icominterfacemodelprovider.h"

#include <QtTest>

#include <cstring>

namespace {

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

} // namespace

class TestHostInterfaces : public QObject
{
    Q_OBJECT
private slots:
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
};

QTEST_GUILESS_MAIN(TestHostInterfaces)
#include "tst_hostinterfaces.moc"
