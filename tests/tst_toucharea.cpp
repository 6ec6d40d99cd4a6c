#include "scripteddialogseam.h"
#include "toucharea.h"

#include <QApplication>
#include <QMenu>
#include <QSignalSpy>
#include <QtTest>

// Qt Test's mouseMove carries no buttons, so a drag is sent as plain events: press at `from`
// (pastille coordinates), move the mouse by `delta` in global coordinates, release.
static void drag(TouchArea *p, const QPoint &from, const QPoint &delta, bool release = true)
{
    const QPoint globalFrom = p->mapToGlobal(from);
    auto send = [p](QEvent::Type type, const QPoint &global, Qt::MouseButtons buttons) {
        QMouseEvent e(type, p->mapFromGlobal(QPointF(global)), QPointF(global), Qt::LeftButton,
                      buttons, Qt::NoModifier);
        QApplication::sendEvent(p, &e);
    };
    send(QEvent::MouseButtonPress, globalFrom, Qt::LeftButton);
    send(QEvent::MouseMove, globalFrom + delta, Qt::LeftButton);
    if (release)
        send(QEvent::MouseButtonRelease, globalFrom + delta, Qt::NoButton);
}

class TestTouchArea : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_parent = new QWidget;
        m_parent->resize(400, 300);
        m_pastille = new TouchArea(m_parent);
        m_pastille->move(50, 50);
        m_parent->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_parent));
    }
    void cleanup() { delete m_parent; }

    void drags_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<bool>("freeAspect");
        QTest::addColumn<QPoint>("from");
        QTest::addColumn<QPoint>("delta");
        QTest::addColumn<QRect>("expected");
        const int stick = TouchArea::SingleJoy;
        // clang-format off
        QTest::newRow("move") << stick << false << QPoint(40, 40) << QPoint(30, -20) << QRect(80, 30, 120, 120);
        QTest::newRow("move clamped bottom right") << stick << false << QPoint(40, 40) << QPoint(500, 500) << QRect(280, 180, 120, 120);
        QTest::newRow("resize free") << stick << true << QPoint(110, 110) << QPoint(40, -30) << QRect(50, 50, 160, 90);
        // Taller than the parent once grown: aligned to its top.
        QTest::newRow("resize kept inside") << stick << false << QPoint(110, 110) << QPoint(200, 0) << QRect(50, 0, 320, 320);
        // clang-format on
    }
    void drags()
    {
        QFETCH(int, kind);
        QFETCH(bool, freeAspect);
        QFETCH(QPoint, from);
        QFETCH(QPoint, delta);
        m_pastille->setElementKind(static_cast<TouchArea::ElementKind>(kind));
        m_pastille->setFreeAspect(freeAspect);
        const bool resizing = m_pastille->resizeGripRect().contains(from);
        QSignalSpy moved(m_pastille, &TouchArea::moved);
        QSignalSpy resized(m_pastille, &TouchArea::resized);
        drag(m_pastille, from, delta, false);
        QCOMPARE(m_pastille->isResizing(), resizing);
        QCOMPARE(m_pastille->cursor().shape(),
                 resizing ? Qt::SizeFDiagCursor : Qt::ClosedHandCursor);
        QTEST(m_pastille->geometry(), "expected");
        QCOMPARE(moved.count(), resizing ? 0 : 1);
        QCOMPARE(resized.count(), resizing ? 1 : 0);
    }

    // A press inside the grip of a locked pastille activates it and resizes nothing.
    void lockedGripActivates()
    {
        m_pastille->setEditable(false);
        QSignalSpy clicked(m_pastille, &TouchArea::clicked);
        QSignalSpy activated(m_pastille, &TouchArea::activated);
        drag(m_pastille, QPoint(110, 110), QPoint(40, 40));
        QVERIFY(clicked.count() == 1 && activated.count() == 1);
        QCOMPARE(activated[0][1].toString(), "Element");
        QCOMPARE(m_pastille->geometry(), QRect(50, 50, 120, 120));
    }

    // "Renommer..." asks through the dialog seam, offering the title; a cancel keeps it.
    void renameAsksTheSeam()
    {
        ScriptedDialogs dialogs;
        dialogs.answerText(QStringLiteral(" Gachette "));
        QScopedPointer<QMenu> menu(m_pastille->createContextMenu(m_parent));
        menu->actions().first()->trigger();
        menu->actions().first()->trigger();
        QCOMPARE(m_pastille->title(), "Gachette");
        QCOMPARE(dialogs.prompts().size(), 2);
        QCOMPARE(dialogs.prompts()[0].text, "Nom :");
        QCOMPARE(dialogs.prompts()[1].value, "Gachette");
    }

private:
    QWidget *m_parent = nullptr;
    TouchArea *m_pastille = nullptr;
};

QTEST_MAIN(TestTouchArea)
#include "tst_toucharea.moc"
