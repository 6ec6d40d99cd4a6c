#include "overlaylines.h"
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

private Q_SLOTS:
    void init();
    void cleanup() { delete m_parent; }
    void drags_data();
    void drags();
    void lockedGripActivates();
    void elementKindEnlarges();
    void stateAndAspectSignals();
    void editedTitle_data();
    void editedTitle();
    void contextMenu();
    void overlayLines();

private:
    QWidget *m_parent = nullptr;
    TouchArea *m_pastille = nullptr;
};

void TestTouchArea::init()
{
    m_parent = new QWidget;
    m_parent->resize(400, 300);
    m_pastille = new TouchArea(m_parent);
    m_pastille->move(50, 50);
    m_parent->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_parent));
}

void TestTouchArea::drags_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<bool>("freeAspect");
    QTest::addColumn<QPoint>("from");
    QTest::addColumn<QPoint>("delta");
    QTest::addColumn<QRect>("expected");
    const int stick = TouchArea::SingleJoy;
    QTest::newRow("move") << stick << false << QPoint(40, 40) << QPoint(30, -20)
                          << QRect(80, 30, 120, 120);
    QTest::newRow("move clamped bottom right")
        << stick << false << QPoint(40, 40) << QPoint(500, 500) << QRect(280, 180, 120, 120);
    QTest::newRow("resize square")
        << stick << false << QPoint(110, 110) << QPoint(40, 10) << QRect(50, 50, 160, 160);
    QTest::newRow("resize free") << stick << true << QPoint(110, 110) << QPoint(40, -30)
                                 << QRect(50, 50, 160, 90);
    QTest::newRow("resize button to minimum") << int(TouchArea::Button) << false << QPoint(110, 110)
                                              << QPoint(-200, -200) << QRect(50, 50, 44, 44);
    // Taller than the parent once grown: aligned to its top.
    QTest::newRow("resize kept inside")
        << stick << false << QPoint(110, 110) << QPoint(200, 0) << QRect(50, 0, 320, 320);
}

void TestTouchArea::drags()
{
    QFETCH(int, kind);
    QFETCH(bool, freeAspect);
    QFETCH(QPoint, from);
    QFETCH(QPoint, delta);
    QFETCH(QRect, expected);
    m_pastille->setElementKind(static_cast<TouchArea::ElementKind>(kind));
    m_pastille->setFreeAspect(freeAspect);
    const bool resizing = m_pastille->resizeGripRect().contains(from);
    QSignalSpy moved(m_pastille, &TouchArea::moved);
    QSignalSpy resized(m_pastille, &TouchArea::resized);
    drag(m_pastille, from, delta, false);
    QCOMPARE(m_pastille->isResizing(), resizing);
    QCOMPARE(m_pastille->isMoving(), !resizing);
    QCOMPARE(m_pastille->cursor().shape(), resizing ? Qt::SizeFDiagCursor : Qt::ClosedHandCursor);
    QCOMPARE(m_pastille->geometry(), expected);
    QCOMPARE(moved.count(), resizing ? 0 : 1);
    QCOMPARE(resized.count(), resizing ? 1 : 0);

    QTest::mouseRelease(m_pastille, Qt::LeftButton);
    QVERIFY(!m_pastille->isMoving() && !m_pastille->isResizing());
    QCOMPARE(m_pastille->cursor().shape(), Qt::OpenHandCursor);
}

void TestTouchArea::lockedGripActivates()
{
    m_pastille->setEditable(false);
    QVERIFY(m_pastille->resizeGripRect().isEmpty());
    QStringList order;
    connect(m_pastille, &TouchArea::clicked, this,
            [&](TouchArea *p) { order << (p == m_pastille ? "clicked" : "clicked by other"); });
    connect(m_pastille, &TouchArea::activated, this, [&](const QUuid &id, const QString &title) {
        order << (id == m_pastille->id() ? "activated " + title : "activated by other");
    });
    QSignalSpy resized(m_pastille, &TouchArea::resized);
    drag(m_pastille, QPoint(110, 110), QPoint(40, 40));
    QCOMPARE(order, QStringList({"clicked", "activated Element"}));
    QCOMPARE(m_pastille->geometry(), QRect(50, 50, 120, 120));
    QCOMPARE(resized.count(), 0);

    // An editable pastille reports the click but is not activated.
    m_pastille->setEditable(true);
    order.clear();
    drag(m_pastille, QPoint(10, 10), QPoint(5, 5));
    QCOMPARE(order, QStringList({"clicked"}));
}

void TestTouchArea::elementKindEnlarges()
{
    m_pastille->setFixedSize(50, 50);
    QSignalSpy kindSpy(m_pastille, &TouchArea::elementKindChanged);
    m_pastille->setElementKind(TouchArea::Button);
    QCOMPARE(m_pastille->size(), QSize(50, 50));
    QVERIFY(!m_pastille->joystickLook());
    m_pastille->setElementKind(TouchArea::DualJoyCross);
    m_pastille->setElementKind(TouchArea::DualJoyCross); // no change, no signal
    QCOMPARE(m_pastille->size(), QSize(90, 90));
    QVERIFY(m_pastille->joystickLook());
    QCOMPARE(kindSpy.count(), 2);
    QCOMPARE(kindSpy.at(1).at(0).value<TouchArea::ElementKind>(), TouchArea::DualJoyCross);

    m_pastille->setElementKind(TouchArea::Button);
    m_pastille->setFixedSize(200, 40); // too small in one direction only
    m_pastille->setElementKind(TouchArea::SingleJoy);
    QCOMPARE(m_pastille->size(), QSize(200, 56));
}

void TestTouchArea::stateAndAspectSignals()
{
    QSignalSpy stateSpy(m_pastille, &TouchArea::stateChanged);
    m_pastille->setState(TouchArea::Listening);
    m_pastille->setState(TouchArea::Listening);
    m_pastille->setProperty("state", QVariant::fromValue(TouchArea::Active));
    QCOMPARE(stateSpy.count(), 2);
    QCOMPARE(stateSpy.at(1).at(0).value<TouchArea::State>(), TouchArea::Active);
    QCOMPARE(stateSpy.at(1).at(1).value<TouchArea::State>(), TouchArea::Listening);

    QSignalSpy aspectSpy(m_pastille, &TouchArea::freeAspectChanged);
    m_pastille->setFreeAspect(true);
    m_pastille->setFreeAspect(true);
    QCOMPARE(aspectSpy.count(), 1);
    QCOMPARE(aspectSpy.at(0).at(0).toBool(), true);

    QCOMPARE(TouchArea::colorsFor(TouchArea::Normal, true, true).pale, QColor(180, 220, 255, 210));
    QCOMPARE(TouchArea::colorsFor(TouchArea::Normal, false, false).pale,
             QColor(255, 214, 168, 185));
    QCOMPARE(TouchArea::colorsFor(TouchArea::Listening, false, false).strong,
             QColor(75, 200, 120, 240));
    QCOMPARE(TouchArea::colorsFor(TouchArea::Active, false, true).strong,
             QColor(255, 186, 92, 248));
}

void TestTouchArea::editedTitle_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected"); // empty: nothing changes
    QTest::newRow("blanks") << " \t "
                            << "";
    QTest::newRow("same with spaces") << "  Joy 1 "
                                      << "";
    QTest::newRow("new trimmed") << "  Gachette "
                                 << "Gachette";
}

void TestTouchArea::editedTitle()
{
    QFETCH(QString, text);
    QFETCH(QString, expected);
    m_pastille->setTitle("Joy 1");
    QSignalSpy spy(m_pastille, &TouchArea::titleEdited);
    QCOMPARE(m_pastille->applyEditedTitle(text), !expected.isEmpty());
    QCOMPARE(m_pastille->title(), expected.isEmpty() ? QString("Joy 1") : expected);
    QCOMPARE(spy.count(), expected.isEmpty() ? 0 : 1);
}

void TestTouchArea::contextMenu()
{
    std::unique_ptr<QMenu> menu(m_pastille->createContextMenu(nullptr));
    QVERIFY(menu);
    QStringList texts;
    for (QAction *action : menu->actions())
        texts << action->text();
    QCOMPARE(texts, QStringList({"Renommer...", "Dupliquer", "Supprimer"}));
    QSignalSpy duplicate(m_pastille, &TouchArea::requestDuplicate);
    QSignalSpy remove(m_pastille, &TouchArea::requestDelete);
    menu->actions().at(2)->trigger();
    QCOMPARE(duplicate.count(), 0);
    QCOMPARE(remove.count(), 1);
    QCOMPARE(remove.at(0).at(0).value<TouchArea *>(), m_pastille);

    m_pastille->setEditable(false);
    QVERIFY(!m_pastille->createContextMenu(nullptr));
}

void TestTouchArea::overlayLines()
{
    OverlayLines lines;
    lines.resize(800, 600);
    QCOMPARE(lines.backgroundScaleMode(), OverlayLines::Contain);
    QCOMPARE(lines.backgroundRect(), QRect(0, 0, 800, 600)); // no picture

    QSignalSpy pixmapSpy(&lines, &OverlayLines::backgroundPixmapChanged);
    QSignalSpy modeSpy(&lines, &OverlayLines::backgroundScaleModeChanged);
    QPixmap picture(400, 100);
    picture.fill(Qt::red);
    lines.setBackgroundPixmap(picture);
    lines.setBackgroundPixmap(picture);
    QCOMPARE(pixmapSpy.count(), 1);
    QCOMPARE(lines.backgroundRect(), QRect(0, 200, 800, 200));
    lines.setBackgroundScaleMode(OverlayLines::Contain);
    lines.setBackgroundScaleMode(OverlayLines::Center);
    QCOMPARE(modeSpy.count(), 1);
    QCOMPARE(lines.backgroundRect(), QRect(200, 250, 400, 100));

    // The picture is painted into that rectangle and nowhere else.
    const QImage shot = lines.grab().toImage();
    QCOMPARE(QColor(shot.pixel(400, 300)), QColor(Qt::red));
    QVERIFY(QColor(shot.pixel(100, 100)) != QColor(Qt::red));
}

QTEST_MAIN(TestTouchArea)
#include "tst_toucharea.moc"
