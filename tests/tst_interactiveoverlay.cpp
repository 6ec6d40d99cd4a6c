#include "filetestsupport.h"
#include "interactiveoverlay.h"
#include "toucharea.h"
#include "widgettestsupport.h"

#include <QtTest>

static QString menuTexts(QMenu *menu)
{
    QStringList texts;
    for (QAction *action : menu->actions())
        texts << (action->isSeparator() ? QStringLiteral("-") : action->text());
    return texts.join(',');
}

class TestInteractiveOverlay : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_overlay = new InteractiveOverlay, m_overlay->resize(800, 600), m_overlay->show();
    }
    void cleanup() { delete m_overlay; }

    // Deleting a pastille keeps the selection (on 3) and the listener (on 2) on the same nodes.
    void removeShiftsIndexes_data()
    {
        QTest::addColumn<int>("removed");
        QTest::addColumn<int>("selectedAfter");
        QTest::addColumn<int>("listeningAfter");
        QTest::newRow("below both") << 0 << 2 << 1;
        QTest::newRow("the listener") << 2 << 2 << -1;
        QTest::newRow("the selection") << 3 << -1 << 2;
    }
    void removeShiftsIndexes()
    {
        QFETCH(int, removed);
        for (int i = 0; i < 4; ++i)
            m_overlay->createNode(ElementKind::Button, QString(), QPoint(50 + 100 * i, 100));
        QVERIFY(m_overlay->startListening(1, "Bouton") && m_overlay->startListening(2, "Bouton"));
        QCOMPARE(m_overlay->pastille(1)->state(), TouchArea::Normal); // listening no more
        m_overlay->setSelectedNode(3);
        QSignalSpy told(m_overlay, &InteractiveOverlay::selectedNodeChanged);
        TouchArea *pastille = m_overlay->pastille(removed);
        Q_EMIT pastille->requestDelete(pastille); // as its "Supprimer" does
        QTEST(m_overlay->selectedNode(), "selectedAfter");
        QVERIFY(told.value(0).value(0) == m_overlay->selectedNode() && pastille->isHidden());
        QTEST(m_overlay->listeningNode(), "listeningAfter");
        QCOMPARE(m_overlay->listeningSlot().isEmpty(), m_overlay->listeningNode() < 0);
    }

    void duplicateBesideTheOriginal_data()
    {
        QTest::addColumn<QRect>("original");
        QTest::addColumn<QPoint>("shift");
        QTest::newRow("middle") << QRect(300, 200, 150, 100) << QPoint(28, 28);
        QTest::newRow("bottom right corner") << QRect(650, 500, 150, 100) << QPoint(-28, -28);
        QTest::newRow("right edge") << QRect(640, 0, 150, 100) << QPoint(-28, 28);
        QTest::newRow("as wide as the overlay") << QRect(0, 0, 800, 100) << QPoint(0, 28);
    }
    void duplicateBesideTheOriginal()
    {
        QFETCH(QRect, original);
        QFETCH(QPoint, shift);
        const int index = m_overlay->createNode(ElementKind::DualJoyCross, "Joy 3", {300, 300});
        m_overlay->pastille(index)->setFixedSize(original.size());
        m_overlay->pastille(index)->move(original.topLeft());
        m_overlay->setNodeSource(index, QStringLiteral("Axe Y"), {true, "autre", 3, 2, "joy_1"});
        m_overlay->setNodeSplit(index, true);
        QCOMPARE(m_overlay->duplicateSelectedNode(), -1);
        m_overlay->setSelectedNode(index);

        const int copy = m_overlay->duplicateSelectedNode();
        QCOMPARE(m_overlay->node(copy).title, QStringLiteral("Joy 3 copie"));
        QCOMPARE(m_overlay->pastille(copy)->geometry(), original.translated(shift));
        QCOMPARE(m_overlay->node(copy).sources, m_overlay->node(index).sources);
        QVERIFY(m_overlay->node(copy).split);
        QVERIFY(m_overlay->node(copy).id != m_overlay->node(index).id);
        QCOMPARE(m_overlay->selectedNode(), copy);
    }

    void contextMenuFollowsLockAndSelection()
    {
        m_overlay->createNode(ElementKind::Button, QString(), QPoint(100, 100));
        std::unique_ptr<QMenu> empty(m_overlay->createContextMenu(QPoint(600, 500), nullptr));
        const QString adds = "Ajouter un joy,Ajouter un double joy X/Y,Ajouter un bouton";
        QCOMPARE(menuTexts(empty.get()), adds);
        std::unique_ptr<QMenu> onPastille(m_overlay->createContextMenu(QPoint(100, 100), nullptr));
        QCOMPARE(menuTexts(onPastille.get()), adds + ",-,Renommer...,Dupliquer,Supprimer");
        QSignalSpy dirty(m_overlay, &InteractiveOverlay::dirty);
        QVERIFY(m_overlay->pastille(0)->applyEditedTitle("Tir")); // renamed in place: an edit
        empty->actions().at(2)->trigger();
        QCOMPARE(m_overlay->pastille(1)->geometry().center(), QPoint(600, 500));
        onPastille->actions().at(5)->trigger(); // "Dupliquer", then the pastille's own
        Q_EMIT m_overlay->pastille(0)->requestDuplicate(m_overlay->pastille(0));
        onPastille->actions().last()->trigger();
        QCOMPARE(QList({m_overlay->nodeCount(), int(dirty.size())}), QList({3, 5}));
        m_overlay->setLocked(true);
        QSignalSpy activated(m_overlay, &InteractiveOverlay::pastilleActivated); // a click on it
        QTest::mouseClick(m_overlay->pastille(0), Qt::LeftButton);
        QCOMPARE(activated.value(0).value(1), QVariant(m_overlay->node(0).title));
        QVERIFY(!m_overlay->createContextMenu(QPoint(100, 100), nullptr));
        QContextMenuEvent click(QContextMenuEvent::Mouse, {100, 100}, {100, 100}); // left to others
        QVERIFY(!QApplication::sendEvent(m_overlay, &click) || !click.isAccepted());
    }

    // A saved layout loads back with each pastille at its place, which follows the picture.
    void layoutRoundTripsOverThePicture()
    {
        QPixmap picture(400, 200); // contained in 800 x 600: (0, 100, 800, 400)
        picture.fill(Qt::darkGray), m_overlay->setBackgroundPixmap(picture);
        const int cross = m_overlay->createNode(ElementKind::DualJoyCross, {}, QPoint(400, 300));
        m_overlay->createNode(ElementKind::Button, QStringLiteral("A"), QPoint(701, 501));
        m_overlay->setNodeSplit(cross, true);
        QVERIFY(m_overlay->startListening(cross, "Axe Y") && m_overlay->completeListening("joy_1"));
        QCOMPARE(m_overlay->node(cross).title, "Double Joy 1"); // one axis of two names nothing
        QVERIFY(m_overlay->startListening(cross, "Axe X") && m_overlay->completeListening("joy_0"));
        QCOMPARE(m_overlay->node(cross).title, "Joy 0/1");
        // Past the last pastille: refused, nothing changes.
        QVERIFY(!m_overlay->hasNode(2) && m_overlay->hasNode(1) && !m_overlay->hasNode(-1));
        QVERIFY(!m_overlay->renameNode(2, "Z") && !m_overlay->renameNode(1, " "));
        QVERIFY(!m_overlay->setNodeSource(2, QStringLiteral("Axe Y"), {}));
        QSignalSpy dirty(m_overlay, &InteractiveOverlay::dirty);
        TouchArea *button = m_overlay->pastille(1); // moved, then resized and back: three edits
        const QPoint grip = button->resizeGripRect().center(), by(10, 10);
        dragWidget(button, QPoint(36, 36), QPoint(40, 0)), dragWidget(button, grip, by);
        dragWidget(button, grip + by, -by);
        QCOMPARE(dirty.size(), 3);
        InteractiveOverlay other;
        other.resize(m_overlay->size()), other.setBackgroundPixmap(picture);
        QVERIFY(other.load(m_overlay->serialize()) && other.nodes() == m_overlay->nodes());
        QCOMPARE(other.pastille(1)->geometry(), QRect(706, 466, 72, 72));
        m_overlay->resize(400, 600); // the picture is now (0, 200, 400, 200)
        QCOMPARE(m_overlay->pastille(0)->geometry(), QRect(156, 256, 90, 90));
        QCOMPARE(m_overlay->pastille(1)->geometry(), QRect(353, 383, 36, 36));
        m_overlay->setBackgroundScaleMode(OverlayLines::Stretch); // the picture fills it all
        QCOMPARE(m_overlay->pastille(1)->geometry(), QRect(353, 549, 36, 108));
        m_overlay->setNodeSource(1, QStringLiteral("Bouton"), {false, "gamepade", 0, 1, "but_4"});
        m_overlay->bindActionToInput("zoom", "but_4"); // the pastille names its action
        QCOMPARE(m_overlay->pastille(1)->labels(), QStringList{"zoom"});
        QSignalSpy told(m_overlay, &InteractiveOverlay::externalServicesChanged);
        const QJsonArray zoom{QJsonObject{{"name", "zoom"}}}; // the host's catalogue, told once
        for (int twice = 0; twice < 2; ++twice)
            m_overlay->setExternalServices({{"sharedActionCatalog", zoom}});
        QVERIFY(m_overlay->catalog() == zoom && told.count() == 1);
        // A key without pastille binds nothing, a mode set again changes nothing: nothing to save.
        dirty.clear(), m_overlay->setNodePublishMode(1, m_overlay->node(1).publishMode);
        QVERIFY(m_overlay->bindActionToInput("zoom", "but_9") == 0 && dirty.isEmpty());
    }

    // A picture far larger than a screen is shown, decoded smaller, and pastilles follow it as
    // the whole picture; one that cannot be decoded says so over an empty background.
    void showsLargePicturesAndSaysWhichCannot()
    {
        QTemporaryDir folder;
        const QString large = folder.filePath("large.jpg"), broken = folder.filePath("broken.png");
        const QSize beyond(6000, 6000); // beyond what Qt decodes whole
        QVERIFY(writeInPlace(large, encoded("jpeg", beyond, QColor(200, 40, 40))) &&
                writeInPlace(broken, "PNG?"));

        auto *message = m_overlay->findChild<QLabel *>("overlayPictureMessage");
        QVERIFY(!message->isVisible()); // nothing to say: no empty box either
        m_overlay->setBackgroundPicture(broken);
        QCOMPARE(m_overlay->pictureMessage(), "Impossible d’afficher l’image " + broken);
        const QRect said = message->geometry();
        QVERIFY((said.center() - m_overlay->rect().center()).manhattanLength() <= 1); // centred
        m_overlay->resize(500, 400); // and again once resized
        QVERIFY((message->geometry().center() - QPoint(249, 199)).manhattanLength() <= 1);
        QVERIFY(m_overlay->backgroundPixmap().isNull());
        m_overlay->resize(800, 600), m_overlay->setBackgroundPicture(large);
        // Placed at once, the pixels following from a worker.
        QCOMPARE(m_overlay->pictureSize(), QSize(6000, 6000));
        QCOMPARE(m_overlay->backgroundRect(), QRect(100, 0, 600, 600));
        QVERIFY(m_overlay->backgroundPixmap().isNull());
        m_overlay->waitForPicture();
        QCOMPARE(m_overlay->pictureMessage(), QString());
        QVERIFY(m_overlay->backgroundPixmap().width() <= 800);
        const QImage decoded = m_overlay->backgroundPixmap().toImage();
        m_overlay->setBackgroundPicture(broken);
        m_overlay->setBackgroundPicture(large); // at once: decoded already
        QCOMPARE(m_overlay->backgroundPixmap().toImage(), decoded);
        const QImage shown = m_overlay->grab().toImage();
        const QColor middle = shown.pixelColor(400, 300), outside = shown.pixelColor(50, 300);
        QVERIFY2(qAbs(middle.red() - 200) < 8 && qAbs(middle.green() - 40) < 8,
                 qPrintable(middle.name()));
        QVERIFY(outside != middle);
        m_overlay->setBackgroundPicture(broken);
        m_overlay->setBackgroundPixmap(QPixmap()); // cleared: no picture, and no message left
        QVERIFY(m_overlay->pictureMessage().isEmpty());
        m_overlay->setBackgroundPicture(QString()); // a profile without picture shows none
        QVERIFY(m_overlay->backgroundPixmap().isNull() && m_overlay->pictureSize().isEmpty());
    }

    // A layout loaded over another reuses its pastilles yet shows what a new overlay shows; a large
    // one shows a first batch of pastilles at once and the others over the next turns.
    void loadsOverAnotherLayoutAsANewOverlayWould()
    {
        const auto layout = [](int count) {
            OverlayDocument document;
            document.overlaySize = QSize(800, 600);
            for (int i = 0; i < count; ++i) {
                const auto kind = ElementKind((count + i) % 3);
                document.nodes << makeOverlayNode(kind, defaultTitle(kind, i));
                document.nodes.last().geometry = QRectF(0.1 * (i % 9), 0.1 * (i % 7), 0.15, 0.1);
                document.nodes.last().sources[0].source.stringKey = "but_" + QString::number(i);
                document.nodes.last().freeAspect = (count + i) % 2;
            }
            return overlayDocumentToJson(document);
        };
        QVERIFY(m_overlay->load(layout(4)) && !m_overlay->completeListening("but_1")); // deaf
        QVERIFY(m_overlay->startListening(1, m_overlay->node(1).sources.first().label));
        m_overlay->setSelectedNode(2);
        TouchArea *kept = m_overlay->pastille(0);
        QSignalSpy told(m_overlay, &InteractiveOverlay::selectedNodeChanged); // no selection left
        QVERIFY(m_overlay->load(layout(3)) && told.count() == 1 && told[0][0] == -1);
        InteractiveOverlay fresh;
        fresh.resize(m_overlay->size()), fresh.show();
        QVERIFY(fresh.load(layout(3)) && m_overlay->pastille(0) == kept && !m_overlay->pastille(3));
        QVERIFY(kept->id() == m_overlay->node(0).id && kept->freeAspect()); // as its new node
        QCOMPARE(m_overlay->grab().toImage(), fresh.grab().toImage());

        // Batches keep a large layout's loading and its first paint from being one long wait.
        const int batch = InteractiveOverlay::kPastillesPerPaint;
        QVERIFY(fresh.load(layout(batch)) && !fresh.pastille(batch - 1)->isPaintingHeld());
        const int count = batch * 2 + 1;
        QVERIFY(m_overlay->load(layout(count)) && fresh.load(layout(count)));
        QVERIFY(m_overlay->pastille(0)->isPaintingHeld());
        QCoreApplication::processEvents();
        QVERIFY(!m_overlay->pastille(batch - 1)->isPaintingHeld());
        QVERIFY(m_overlay->pastille(batch)->isPaintingHeld());
        QTRY_VERIFY(!m_overlay->pastille(count - 1)->isPaintingHeld());
        QTRY_VERIFY(!fresh.pastille(count - 1)->isPaintingHeld());
        QCOMPARE(m_overlay->grab().toImage(), fresh.grab().toImage());
        QVERIFY(fresh.load(layout(count)) && fresh.load(layout(count / 2))); // held ones spare
        const TouchArea *created = fresh.pastille(fresh.createNode(ElementKind::Button, {}, {}));
        QVERIFY(!created->isPaintingHeld() && created->pos() == QPoint(0, 0)); // inside, on top
        QCOMPARE(fresh.children().constLast(), created);
        // With no room to place them yet, pastilles stand in the corner at a new pastille's size.
        fresh.resize(0, 0);
        QVERIFY(fresh.load(layout(1)));
        QCOMPARE(fresh.pastille(0)->geometry(),
                 QRect(0, 0, TouchArea::kNewSide, TouchArea::kNewSide));
        const qsizetype made = fresh.findChildren<TouchArea *>().size(); // a removed one is freed
        fresh.removeNode(0), QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(fresh.findChildren<TouchArea *>().size(), made - 1);
    }

private:
    InteractiveOverlay *m_overlay = nullptr;
};

QTEST_MAIN(TestInteractiveOverlay)
#include "tst_interactiveoverlay.moc"
