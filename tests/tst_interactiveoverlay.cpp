#include "interactiveoverlay.h"
#include "toucharea.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QSignalSpy>
#include <QTest>

Q_DECLARE_METATYPE(ElementKind)

namespace {

QStringList menuTexts(QMenu *menu)
{
    QStringList texts;
    for (QAction *action : menu->actions())
        texts << (action->isSeparator() ? QStringLiteral("-") : action->text());
    return texts;
}

void dragBy(QWidget *widget, const QPoint &from, const QPoint &delta)
{
    QTest::mousePress(widget, Qt::LeftButton, Qt::NoModifier, from);
    const QPoint to = from + delta;
    QMouseEvent move(QEvent::MouseMove, QPointF(to), QPointF(widget->mapToGlobal(to)), Qt::NoButton,
                     Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(widget, &move);
    QTest::mouseRelease(widget, Qt::LeftButton, Qt::NoModifier, to);
}

} // namespace

class TestInteractiveOverlay : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_overlay = new InteractiveOverlay;
        m_overlay->resize(800, 600);
        m_overlay->show();
    }
    void cleanup() { delete m_overlay; }

    void createNodeBySize_data()
    {
        QTest::addColumn<ElementKind>("kind");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QString>("title");
        QTest::addColumn<bool>("freeAspect");
        QTest::newRow("stick") << ElementKind::SingleJoy << QSize(122, 122) << "Joy 1" << true;
        QTest::newRow("cross") << ElementKind::DualJoyCross << QSize(180, 180) << "Double Joy 1"
                               << true;
        QTest::newRow("button") << ElementKind::Button << QSize(72, 72) << "Bouton 1" << false;
    }
    void createNodeBySize()
    {
        QFETCH(ElementKind, kind);
        QFETCH(QSize, size);
        QFETCH(QString, title);
        QFETCH(bool, freeAspect);
        const int index = m_overlay->createNode(kind, QString(), QPoint(400, 300));
        const TouchArea *p = m_overlay->pastille(index);
        QCOMPARE(p->size(), size);
        QCOMPARE(p->geometry().center(), QPoint(400, 300));
        QCOMPARE(m_overlay->node(index).title, title);
        QCOMPARE(p->freeAspect(), freeAspect);
        QCOMPARE(m_overlay->createNode(kind, QString(), QPoint(400, 300)), 1);
        QVERIFY(m_overlay->node(1).title.endsWith(QLatin1String(" 2")));
    }

    // Removing a node keeps the selection and the listener on the same nodes.
    void removeShiftsIndexes_data()
    {
        QTest::addColumn<int>("selected");
        QTest::addColumn<int>("listening");
        QTest::addColumn<int>("removed");
        QTest::addColumn<int>("selectedAfter");
        QTest::addColumn<int>("listeningAfter");
        QTest::newRow("below both") << 3 << 2 << 0 << 2 << 1;
        QTest::newRow("the listener") << 3 << 2 << 2 << 2 << -1;
        QTest::newRow("the selection") << 3 << 2 << 3 << -1 << 2;
        QTest::newRow("above both") << 1 << 2 << 3 << 1 << 2;
    }
    void removeShiftsIndexes()
    {
        QFETCH(int, selected);
        QFETCH(int, listening);
        QFETCH(int, removed);
        for (int i = 0; i < 4; ++i)
            m_overlay->createNode(ElementKind::Button, QString(), QPoint(50 + 100 * i, 100));
        QVERIFY(m_overlay->startListening(listening, QStringLiteral("Bouton")));
        m_overlay->setSelectedNode(selected);
        m_overlay->removeNode(removed);
        QCOMPARE(m_overlay->nodeCount(), 3);
        QFETCH(int, selectedAfter);
        QFETCH(int, listeningAfter);
        QCOMPARE(m_overlay->selectedNode(), selectedAfter);
        QCOMPARE(m_overlay->listeningNode(), listeningAfter);
        if (m_overlay->listeningNode() >= 0)
            QCOMPARE(m_overlay->pastille(m_overlay->listeningNode())->state(),
                     TouchArea::Listening);
    }

    void removingTheLastNodeClearsTheSelection()
    {
        m_overlay->createNode(ElementKind::SingleJoy, QString(), QPoint(100, 100));
        m_overlay->setSelectedNode(0);
        QSignalSpy selection(m_overlay, &InteractiveOverlay::selectedNodeChanged);
        m_overlay->removeNode(0);
        QCOMPARE(selection.size(), 1);
        QCOMPARE(selection[0][0].toInt(), -1);
    }

    void duplicateCopiesTheNodeBesideIt()
    {
        const int index = m_overlay->createNode(ElementKind::DualJoyCross, QStringLiteral("Joy 3"),
                                                QPoint(300, 300));
        OverlaySource x = m_overlay->sourceOf(index, QStringLiteral("Axe X"));
        x.stringKey = QStringLiteral("joy_2");
        m_overlay->setNodeSource(index, QStringLiteral("Axe X"), x);
        m_overlay->setNodeBinding(index, QStringLiteral("Axe Y"), {{"ref", "pan"}});
        m_overlay->setNodeSplit(index, true);
        m_overlay->setNodePublishMode(index, PublishMode::Always);
        QCOMPARE(m_overlay->duplicateSelectedNode(), -1);
        m_overlay->setSelectedNode(index);

        const int copy = m_overlay->duplicateSelectedNode();
        QCOMPARE(copy, 1);
        QCOMPARE(m_overlay->node(copy).title, QStringLiteral("Joy 3 copie"));
        QCOMPARE(m_overlay->pastille(copy)->geometry().center(),
                 m_overlay->pastille(index)->geometry().center() + QPoint(28, 28));
        QCOMPARE(m_overlay->node(copy).sources, m_overlay->node(index).sources);
        QVERIFY(m_overlay->node(copy).split);
        QCOMPARE(m_overlay->node(copy).publishMode, PublishMode::Always);
        QVERIFY(m_overlay->node(copy).id != m_overlay->node(index).id);
        QCOMPARE(m_overlay->selectedNode(), copy);
    }

    void contextMenuFollowsLockAndSelection()
    {
        m_overlay->createNode(ElementKind::Button, QString(), QPoint(100, 100));
        std::unique_ptr<QMenu> empty(m_overlay->createContextMenu(QPoint(600, 500), nullptr));
        const QStringList adds{"Ajouter un joy", "Ajouter un double joy X/Y", "Ajouter un bouton"};
        QCOMPARE(menuTexts(empty.get()), adds);

        std::unique_ptr<QMenu> onPastille(m_overlay->createContextMenu(QPoint(100, 100), nullptr));
        QCOMPARE(m_overlay->selectedNode(), 0);
        const QStringList withSelection =
            adds + QStringList{"-", "Renommer...", "Dupliquer", "Supprimer"};
        QCOMPARE(menuTexts(onPastille.get()), withSelection);

        QSignalSpy dirty(m_overlay, &InteractiveOverlay::dirty);
        empty->actions().at(2)->trigger();
        QCOMPARE(m_overlay->nodeCount(), 2);
        QCOMPARE(m_overlay->node(1).kind, ElementKind::Button);
        QCOMPARE(m_overlay->pastille(1)->geometry().center(), QPoint(600, 500));
        onPastille->actions().last()->trigger();
        QCOMPARE(m_overlay->nodeCount(), 1);
        QCOMPARE(dirty.size(), 2);

        m_overlay->setLocked(true);
        QVERIFY(!m_overlay->createContextMenu(QPoint(100, 100), nullptr));
        QVERIFY(!m_overlay->pastille(0)->isEditable());
        QContextMenuEvent event(QContextMenuEvent::Mouse, QPoint(10, 10), QPoint(10, 10));
        QApplication::sendEvent(m_overlay, &event);
        QVERIFY(!event.isAccepted());
        QCOMPARE(m_overlay->nodeCount(), 1);
    }

    void listeningBindsTheInputKey()
    {
        const int index =
            m_overlay->createNode(ElementKind::DualJoyCross, QString(), QPoint(300, 300));
        QVERIFY(!m_overlay->startListening(index, QStringLiteral("Bouton")));
        QVERIFY(!m_overlay->startListening(5, QStringLiteral("Axe X")));
        QSignalSpy dirty(m_overlay, &InteractiveOverlay::dirty);
        QVERIFY(m_overlay->startListening(index, QStringLiteral("Axe X")));
        QCOMPARE(dirty.size(), 1);
        QCOMPARE(m_overlay->selectedNode(), index);
        QVERIFY(m_overlay->completeListening(QStringLiteral("joy_3")));
        QCOMPARE(m_overlay->listeningNode(), -1);
        QVERIFY(m_overlay->startListening(index, QStringLiteral("Axe Y")));
        QVERIFY(m_overlay->completeListening(QStringLiteral("joy_4")));
        QCOMPARE(m_overlay->node(index).title, QStringLiteral("Joy 3/4"));
        QVERIFY(m_overlay->sourceOf(index, QStringLiteral("Axe Y")).isJoy);
        QVERIFY(!m_overlay->completeListening(QStringLiteral("joy_5")));
    }

    void quickMappingBindsEverySlotOfTheKey()
    {
        m_overlay->createNode(ElementKind::Button, QString(), QPoint(100, 100));
        m_overlay->createNode(ElementKind::Button, QString(), QPoint(300, 100));
        OverlaySource source = m_overlay->sourceOf(0, QStringLiteral("Bouton"));
        source.stringKey = QStringLiteral("BUT_1");
        m_overlay->setNodeSource(0, QStringLiteral("Bouton"), source);
        m_overlay->setNodeSource(1, QStringLiteral("Bouton"), source);
        QCOMPARE(m_overlay->bindActionToInput(QStringLiteral(" zoom "), QStringLiteral("but_1")),
                 2);
        const QJsonObject expected{{"ref", "zoom"}, {"action", "zoom"}};
        QCOMPARE(m_overlay->node(1).sources[0].binding, expected);
        QCOMPARE(m_overlay->bindActionToInput(QString(), QStringLiteral("but_1")), 0);
    }

    void draggingAPastilleMovesItsNode()
    {
        const int index = m_overlay->createNode(ElementKind::Button, QString(), QPoint(100, 100));
        const QPoint start = m_overlay->pastille(index)->pos();
        QSignalSpy dirty(m_overlay, &InteractiveOverlay::dirty);
        dragBy(m_overlay->pastille(index), QPoint(20, 20), QPoint(100, 50));
        const QPoint end = start + QPoint(100, 50);
        QCOMPARE(m_overlay->pastille(index)->pos(), end);
        QCOMPARE(m_overlay->node(index).geometry.topLeft(),
                 QPointF(end.x() / 800.0, end.y() / 600.0));
        QVERIFY(dirty.size() >= 1);
        QCOMPARE(m_overlay->selectedNode(), index);
    }

    void layoutRoundTrips()
    {
        m_overlay->createNode(ElementKind::SingleJoy, QStringLiteral("Gauche"), QPoint(150, 150));
        const int cross =
            m_overlay->createNode(ElementKind::DualJoyCross, QString(), QPoint(400, 300));
        m_overlay->createNode(ElementKind::Button, QStringLiteral("A"), QPoint(700, 500));
        m_overlay->setNodeSplit(cross, true);
        m_overlay->setNodePublishMode(cross, PublishMode::ActiveOnly);
        OverlaySource y = m_overlay->sourceOf(cross, QStringLiteral("Axe Y"));
        y.stringKey = QStringLiteral("joy_1");
        y.deviceId = 3;
        m_overlay->setNodeSource(cross, QStringLiteral("Axe Y"), y);

        InteractiveOverlay other;
        other.resize(m_overlay->size());
        QVERIFY(other.load(m_overlay->serialize()));
        QCOMPARE(other.nodes(), m_overlay->nodes());
        for (int i = 0; i < other.nodeCount(); ++i)
            QCOMPARE(other.pastille(i)->geometry(), m_overlay->pastille(i)->geometry());
    }

    void refusedDocumentKeepsTheLayout()
    {
        m_overlay->createNode(ElementKind::Button, QString(), QPoint(100, 100));
        QJsonObject document = m_overlay->serialize();
        document.insert(QStringLiteral("type"), QStringLiteral("GamepadCalibration"));
        QVERIFY(!m_overlay->load(document));
        QCOMPARE(m_overlay->nodeCount(), 1);
    }

    void placesPastillesOverThePicture()
    {
        QPixmap picture(400, 200); // contained in 800 x 600: (0, 100, 800, 400)
        picture.fill(Qt::darkGray);
        m_overlay->setBackgroundPixmap(picture);
        const QJsonObject node{
            {"kind", "button"},
            {"geometry", QJsonObject{{"x", 0.5}, {"y", 0.25}, {"w", 0.1}, {"h", 0.0001}}}};
        QVERIFY(m_overlay->load(
            {{"type", "InteractiveOverlay"}, {"version", 4}, {"nodes", QJsonArray{node}}}));
        QCOMPARE(m_overlay->pastille(0)->geometry(), QRect(400, 200, 80, 1));
        m_overlay->resize(400, 600); // the picture is now (0, 200, 400, 200)
        QCOMPARE(m_overlay->pastille(0)->geometry(), QRect(200, 250, 40, 1));
    }

    void loadsThousandsOfNodes()
    {
        QJsonArray nodes;
        for (int i = 0; i < 3000; ++i)
            nodes.append(QJsonObject{{"kind", i % 2 ? "button" : "dualJoyCross"}});
        QVERIFY(m_overlay->load({{"type", "InteractiveOverlay"}, {"nodes", nodes}}));
        QCOMPARE(m_overlay->nodeCount(), 3000);
        QCOMPARE(m_overlay->node(2999).title, QStringLiteral("Bouton 3000"));
    }

private:
    InteractiveOverlay *m_overlay = nullptr;
};

QTEST_MAIN(TestInteractiveOverlay)
#include "tst_interactiveoverlay.moc"
