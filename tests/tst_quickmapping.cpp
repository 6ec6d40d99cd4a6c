#include "inspectorpanel.h"
#include "interactiveoverlay.h"
#include "quickactionspanel.h"
#include "quickmapping.h"
#include "toucharea.h"
#include "widgettestsupport.h"

#include <QtTest>

const QString kAccented = QStringLiteral("Aucune pastille n'est liée à \"%1\" pour \"%2\".");
const QString kUnaccented = QStringLiteral("Aucune pastille n'est liee a \"%1\" pour \"%2\".");

struct Editor // The editor's side panels over one overlay; the inspector goes first.
{
    InteractiveOverlay overlay;
    QuickActionsPanel panel;
    QuickMapping mapping{&overlay, &panel};
    InspectorPanel inspector{&overlay};

    int addNode(ElementKind kind, const QString &keys) // Slot keys in slot order, comma-separated.
    {
        const int index = overlay.createNode(kind, QString(), QPoint(100, 100));
        const QStringList labels = slotLabels(kind), split = keys.split(',');
        for (int i = 0; i < split.size(); ++i) {
            OverlaySource source = overlay.sourceOf(index, labels[i]);
            source.stringKey = split[i];
            overlay.setNodeSource(index, labels[i], source);
        }
        return index;
    }
    // "joy_N" moves axis N, "but_N" presses or releases button N, other keys enter or leave a gate.
    void feed(const QString &key, double value)
    {
        const int number = key.section('_', 1).toInt();
        if (key.startsWith("joy_"))
            mapping.onAxisChanged(number, value);
        else if (key.startsWith("but_"))
            mapping.onButtonChanged(number, value != 0);
        else
            mapping.onGateChanged(key, value != 0);
    }
    QPushButton *button(const QString &text) const
    {
        for (QPushButton *b : inspector.findChildren<QPushButton *>())
            if (b->text() == text)
                return b;
        return nullptr;
    }
    // The slot editor's split box, publish mode, then per slot source, learn ("*": armed), clear.
    QString slotTexts() const
    {
        QStringList texts;
        for (QWidget *w : inspector.findChildren<QWidget *>()) {
            if (auto *b = qobject_cast<QAbstractButton *>(w); b && w->parentWidget() != &inspector)
                texts << b->text() + (b->property("armed").toBool() ? "*" : "");
            else if (auto *combo = qobject_cast<QComboBox *>(w))
                texts << combo->currentText();
            else if (w->objectName() == "slotSourceLabel")
                texts << static_cast<QLabel *>(w)->text();
        }
        return texts.join(',');
    }
};

class TestQuickMapping : public QObject
{
    Q_OBJECT

    std::unique_ptr<Editor> e;

private slots:
    void init()
    {
        e = std::make_unique<Editor>();
        e->panel.setCatalog(QJsonArray{QJsonObject{{"name", "pan"}}});
    }

    void hintFollowsState_data()
    {
        QTest::addColumn<bool>("locked");
        QTest::addColumn<bool>("attached");
        QTest::addColumn<QString>("pending");
        QTest::addColumn<QString>("hint");
        // clang-format off
        QTest::newRow("unlocked") << false << true << "pan" << "Passez en mode Mapping pour affecter rapidement une action.";
        QTest::newRow("no controller") << true << false << "pan" << "Connectez la manette pour utiliser le mapping rapide.";
        QTest::newRow("nothing pending") << true << true << "" << "Cliquez une action puis appuyez sur un bouton ou bougez un axe.";
        QTest::newRow("pending") << true << true << "pan" << "Appuyez sur un bouton ou bougez un axe pour mapper \"pan\".";
        // clang-format on
    }
    void hintFollowsState()
    {
        QFETCH(bool, locked);
        QFETCH(bool, attached);
        QFETCH(QString, pending);
        e->panel.setState(locked, attached);
        QSignalSpy told(&e->panel, &QuickActionsPanel::pendingActionChanged);
        e->panel.setPendingAction(pending);
        e->panel.setCatalog({QJsonObject{{"name", "pan"}}, QJsonObject{{"name", "tilt"}}});
        QTEST(e->panel.hintText(), "hint"); // still offered: still pending, still selected
        QCOMPARE(e->panel.list()->selectedItems().size(), int(!pending.isEmpty()));
        QCOMPARE(e->panel.list()->isEnabled(), locked && attached);
        e->panel.setCatalog({});                        // no longer offered: no longer pending
        const QList<QVariantList> heard{{"pan"}, {""}}; // named, then cleared
        QCOMPARE(told, pending.isEmpty() ? QList<QVariantList>() : heard);
        QVERIFY(!e->panel.list()->isEnabled()); // nothing left to pick
    }

    // Each input goes to learning (a pastille of its kind selected), then to an action pending.
    void inputLearnsOrMaps_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<double>("value");
        QTest::addColumn<bool>("learns");
        QTest::addColumn<bool>("maps");
        QTest::addColumn<QString>("message"); // none: the pending hint stays
        QTest::newRow("axis 39.9") << "joy_1" << 39.9 << false << false << "";
        QTest::newRow("axis 40") << "joy_1" << 40.0 << true << true << "";
        QTest::newRow("axis -40") << "joy_1" << -40.0 << true << true << "";
        QTest::newRow("press") << "but_2" << 1.0 << true << true << "";
        QTest::newRow("release") << "but_2" << 0.0 << false << false << "";
        QTest::newRow("gate enter") << "gate_0" << 1.0 << false << true << "";
        QTest::newRow("gate leave") << "gate_0" << 0.0 << false << false << "";
        QTest::newRow("unbound button") << "but_7" << 1.0 << true << false << kAccented;
        QTest::newRow("unbound first button") << "but_0" << 1.0 << true << false << kAccented;
        QTest::newRow("unbound gate") << "gate_3" << 1.0 << false << false << kUnaccented;
    }
    void inputLearnsOrMaps()
    {
        QFETCH(QString, key);
        QFETCH(double, value);
        QFETCH(bool, maps);
        QFETCH(QString, message);
        e->addNode(ElementKind::SingleJoy, "joy_1"), e->addNode(ElementKind::Button, "but_2");
        e->addNode(ElementKind::Button, "gate_0");
        e->overlay.setSelectedNode(key.startsWith("joy_") ? 0 : 1), e->feed(key, value);
        QTEST(e->mapping.learnRemainingMs() > 150, "learns"); // for 200 ms
        e->overlay.setSelectedNode(-1), e->mapping.finishLearning();

        e->panel.setState(true, true);
        Q_EMIT e->panel.list()->itemClicked(e->panel.list()->item(1)); // "pan", under its group
        e->feed(key, value);
        int bound = 0;
        for (const OverlayNode &node : e->overlay.nodes())
            bound += !node.sources[0].binding.isEmpty();
        QCOMPARE(bound, maps ? 1 : 0);
        const QString hint = quickActionsHint(true, true, maps ? "" : "pan");
        QCOMPARE(e->panel.hintText(), message.isEmpty() ? hint : message.arg(key, "pan"));
        e->panel.setPendingAction("tilt"); // another action chosen: its hint, no older message
        QCOMPARE(e->panel.hintText(), quickActionsHint(true, true, "tilt"));
    }

    void inspectorShowsSelection_data()
    {
        QTest::addColumn<int>("kind"); // -1: a stick, not selected
        QTest::addColumn<bool>("split");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<bool>("locked");
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("slots");
        // clang-format off
        QTest::newRow("nothing") << -1 << false << "" << false << "" << "";
        QTest::newRow("joy") << 0 << false << "" << false << "Type : Joy" << "Sur changement,Aucune source,Learn,Clear";
        QTest::newRow("cross") << 1 << false << "joy_3,joy_4" << true << "Type : Double Joy X/Y" << "Split X / Y,Sur changement,Joy 3/4,Learn,Clear";
        QTest::newRow("split cross") << 1 << true << "joy_3,but_1" << false << "Type : Double Joy X/Y" << "Split X / Y,Sur changement,joy_3,Learn X*,Clear,but_1,Learn Y,Clear";
        QTest::newRow("gate button") << 2 << false << "gate_0" << true << "Type : Button" << "Gate gate_0,Learn,Clear";
        // clang-format on
    }
    void inspectorShowsSelection()
    {
        QFETCH(int, kind);
        QFETCH(bool, split);
        QFETCH(QString, keys);
        QFETCH(bool, locked);
        const int node = e->addNode(ElementKind(qMax(kind, 0)), keys);
        e->overlay.setNodeSplit(node, split), e->overlay.setSelectedNode(kind < 0 ? -1 : node);
        e->overlay.setLocked(locked), e->inspector.refresh();
        if (QPushButton *learnX = e->button("Learn X")) // its first slot listening
            learnX->click();

        const bool editable = kind >= 0 && !locked;
        QVERIFY(e->inspector.width() >= 250 && e->inspector.width() <= 280);
        QCOMPARE(e->inspector.findChild<QLabel *>("inspectorPrompt")->isHidden(), kind >= 0);
        QTEST(e->inspector.findChild<QLabel *>("inspectorType")->text(), "type");
        for (const char *text : {"Dupliquer", "Supprimer"})
            QCOMPARE(e->button(text)->isEnabled(), editable);
        QTest::keyClicks(e->inspector.findChild<QLineEdit *>("inspectorName"), "Z\r"); // entered
        QCOMPARE(e->overlay.node(node).title.endsWith("Z"), editable);
        QTEST(e->slotTexts(), "slots");
        QCOMPARE(unplacedWidgets(&e->inspector), QStringList()); // every field sits in a layout
        if (auto *splitBox = e->inspector.findChild<QCheckBox *>(); splitBox && editable) {
            splitBox->click();
            QCOMPARE(e->overlay.node(node).split, !split);
        }
        QSignalSpy edited(&e->inspector, &InspectorPanel::nodeEdited);
        QString counts; // pastilles after each click, then edits told; as if left enabled
        for (const char *text : {"Dupliquer", "Supprimer", "Supprimer"})
            Q_EMIT e->button(text)->clicked(), counts += QString::number(e->overlay.nodeCount());
        QCOMPARE(counts + QString::number(edited.size()), editable ? "2112" : "1110");
    }

    // The publish mode is stored at once; Learn on a whole cross takes X, then another axis for Y.
    void slotEditorEditsAndPastillesLearn()
    {
        const int cross = e->addNode(ElementKind::DualJoyCross, "joy_1,joy_2");
        e->overlay.setSelectedNode(cross);
        QSignalSpy edited(&e->inspector, &InspectorPanel::nodeEdited);
        QSignalSpy changed(&e->mapping, &QuickMapping::overlayChanged);
        e->inspector.findChild<QComboBox *>()->setCurrentIndex(2);
        QCOMPARE(e->overlay.node(cross).publishMode, PublishMode::Always);
        e->button("Clear")->click();
        QCOMPARE(e->slotTexts(), "Split X / Y,Toujours,Aucune source,Learn,Clear");
        QCOMPARE(edited.size(), 2);

        e->button("Learn")->click();
        for (const char *key : {"but_1", "joy_0", "joy_0", "joy_4"})
            e->feed(key, 80.0);
        QCOMPARE(e->slotTexts(), "Split X / Y,Toujours,Joy 0/4,Learn,Clear");
        QVERIFY(changed.size() == 2 && e->overlay.pastille(cross)->state() == TouchArea::Active);

        // A selected pastille records each input of the wait, then learns the last one, once.
        QTest::keyClicks(e->inspector.findChild<QLineEdit *>("inspectorName"), " 2"); // not entered
        const int pad = e->addNode(ElementKind::Button, "");
        e->overlay.setSelectedNode(pad);
        QVERIFY(e->overlay.node(cross).title.endsWith(" 2")); // yet the cross's name
        e->button("Learn")->click();
        e->button("Learn")->click(); // pressed again: no longer listening
        QCOMPARE(e->overlay.listeningNode(), -1);
        e->mapping.onButtonChanged(4, true), e->mapping.onButtonChanged(6, true);
        QCOMPARE(e->mapping.learnedButton(), 6);
        e->mapping.finishLearning(); // the window's end
        QVERIFY(changed.size() == 3 && e->overlay.sourceOf(pad, "Bouton").stringKey == "but_6");
        e->overlay.setSelectedNode(cross); // a stick heard, a button ignored, then the pad chosen
        e->feed("joy_5", 80.0), e->feed("but_1", 1.0);
        QCOMPARE(e->mapping.learnedAxis(), 5);
        e->overlay.setSelectedNode(pad), e->mapping.finishLearning();
        QCOMPARE(e->overlay.sourceOf(pad, "Bouton").stringKey, "but_6");
        const int stick = e->addNode(ElementKind::SingleJoy, ""); // the first axis learned too
        e->overlay.setSelectedNode(stick), e->feed("joy_0", 80.0), e->mapping.finishLearning();
        QCOMPARE(e->overlay.node(stick).sources[0].source.stringKey, "joy_0");
    }
};

QTEST_MAIN(TestQuickMapping)
#include "tst_quickmapping.moc"
