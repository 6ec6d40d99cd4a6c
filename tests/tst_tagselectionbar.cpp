#include "associationdialog.h"
#include "scripteddialogseam.h"
#include "tagselectionbar.h"
#include "widgettestsupport.h"

#include <QtTest>

using Kind = ScriptedDialogSeam::Kind;

class TestTagSelectionBar : public QObject
{
    Q_OBJECT

    static QLineEdit *input(const TagSelectionBar &bar)
    {
        return bar.findChild<QLineEdit *>(QStringLiteral("tagSelectionInput"));
    }

    // The flow's content in order: each chip's name, "connected" and tooltip, then the field.
    static QStringList flowContent(const TagSelectionBar &bar)
    {
        QStringList content;
        const QLayout *flow = bar.findChild<QWidget *>("tagSelectionArea")->layout();
        for (int i = 0; i < flow->count(); ++i) {
            const QWidget *part = flow->itemAt(i)->widget();
            const auto *label = part->findChild<QLabel *>("tagSelectionChipLabel");
            content << (label ? label->text() + '/' + part->property("connected").toString() + '/' +
                                    part->toolTip()
                              : part->objectName());
        }
        return content;
    }

private slots:
    // Typed names and Backspace, with "Pad 1" and "Pad 2" connected and "Pad 2" selected.
    void typing_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<int>("key");
        QTest::addColumn<QStringList>("expected");
        QTest::addColumn<QString>("fieldAfter");
        const auto row = [](const char *name, const char *typed, int key,
                            const QStringList &expected, const char *fieldAfter = "") {
            QTest::newRow(name) << QString(typed) << key << expected << QString(fieldAfter);
        };
        const int enter = Qt::Key_Return, back = Qt::Key_Backspace;
        row("connected spelling", " pad 1 ", enter, {"Pad 2", "Pad 1"});
        row("not connected", "Vieux pad", enter, {"Pad 2", "Vieux pad"});
        row("already selected", "PAD 2", enter, {"Pad 2"}), row("blank", "   ", enter, {"Pad 2"});
        row("backspace edits text", "ab", back, {"Pad 2"}, "a");
        row("backspace in empty field", "", back, {});
    }
    void typing()
    {
        QFETCH(QString, typed);
        QFETCH(int, key);
        QFETCH(QStringList, expected);
        TagSelectionBar bar;
        QCOMPARE(flowContent(bar), QStringList{"tagSelectionInput"}); // a new bar: its field
        bar.setAvailableTags({"Pad 1", "Pad 2"}), bar.setSelectedTags({"Pad 2"});
        QSignalSpy changed(&bar, &TagSelectionBar::selectedTagsChanged);
        QTest::keyClicks(input(bar), typed), QTest::keyClick(input(bar), Qt::Key(key));
        QCOMPARE(bar.selectedTags(), expected);
        QTEST(input(bar)->text(), "fieldAfter");
        QCOMPARE(input(bar)->placeholderText(), "Ajouter une manette...");
        QCOMPARE(changed.count(), expected == QStringList{"Pad 2"} ? 0 : 1);
        QCOMPARE(bar.findChildren<QFrame *>("tagSelectionChip").size(), expected.size());
        QStringList chips; // "Pad 1" and "Pad 2" connected
        for (const QString &name : expected)
            chips << name + (name.startsWith("Pad") ? "/true/" : "/false/Manette non connectee");
        QCOMPARE(flowContent(bar), chips << "tagSelectionInput");
    }

    void setSelected_data()
    {
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QStringList>("expected");
        QTest::addColumn<int>("signals");
        QTest::newRow("same in another case")
            << QStringList{"PAD 1", " pad 2 ", "pad 1"} << QStringList{"Pad 1", "Pad 2"} << 0;
        QTest::newRow("normalised")
            << QStringList{" Pad 3 ", "", "pad 3", "Pad 1"} << QStringList{"Pad 3", "Pad 1"} << 1;
    }
    void setSelected()
    {
        TagSelectionBar bar;
        bar.setSelectedTags({"Pad 1", "Pad 2"});
        QSignalSpy changed(&bar, &TagSelectionBar::selectedTagsChanged);
        QFETCH(QStringList, names);
        bar.setSelectedTags(names);
        QTEST(bar.selectedTags(), "expected");
        QTEST(int(changed.count()), "signals");
    }

    // The completer offers connected names not chosen, by substring in any case; a choice adds it.
    void completion()
    {
        TagSelectionBar bar;
        bar.setAvailableTags({"Pad 1", "Stick Pro", "Pad 2"}), bar.setSelectedTags({"pad 2"});
        QCompleter *completer = input(bar)->completer();
        auto *model = qobject_cast<QStringListModel *>(completer->model());
        QCOMPARE(model->stringList(), QStringList({"Pad 1", "Stick Pro"}));
        bar.show(), QTest::mouseClick(input(bar), Qt::LeftButton); // a click in the field: all
        QTRY_VERIFY(completer->popup()->isVisible());
        completer->popup()->setCurrentIndex(completer->completionModel()->index(0, 0));
        const QImage rows = completer->popup()->viewport()->grab().toImage(); // the current one lit
        QVERIFY(rows.pixel(10, 17) != rows.pixel(10, 34 + 17));
        completer->setCompletionPrefix("ICK");
        Q_EMIT completer->activated(completer->currentCompletion());
        QCOMPARE(bar.selectedTags(), QStringList({"pad 2", "Stick Pro"}));
        QCOMPARE(completer->completionCount(), 1); // what is left, offered whole again
        bar.setAvailableTags({"Pad 1", "Pad 3"}); // a controller comes, others go: it is offered
        QCOMPARE(model->stringList(), QStringList({"Pad 1", "Pad 3"}));
    }

    // Chips kept through additions, removals, a new order and a controller coming and going show
    // as a bar built afresh with the final names.
    void chipsKeptMatchAFreshBar()
    {
        TagSelectionBar bar, fresh;
        for (TagSelectionBar *shown : {&bar, &fresh})
            shown->resize(320, 120), shown->show();
        bar.setSelectedTags({"Pad 1", "Pad 2", "Pad 3"}), bar.setAvailableTags({"Pad 2"});
        QTest::keyClicks(input(bar), "Pad 4"), QTest::keyClick(input(bar), Qt::Key_Return);
        QCoreApplication::processEvents(); // the chips show, styled
        bar.setSelectedTags({"Pad 3", "Pad 1", "Pad 4"}), bar.setAvailableTags({"pad 1", "Pad 4"});
        fresh.setAvailableTags({"pad 1", "Pad 4"});
        fresh.setSelectedTags({"Pad 3", "Pad 1", "Pad 4"}), QCoreApplication::processEvents();
        QCOMPARE(flowContent(bar), QStringList({"Pad 3/false/Manette non connectee", "Pad 1/true/",
                                                "Pad 4/true/", "tagSelectionInput"}));
        QCOMPARE(flowContent(bar), flowContent(fresh));
        QCOMPARE(unplacedWidgets(&bar), QStringList()); // each chip's name and × laid out
        const QRect chipRows(0, 0, bar.width(), input(bar)->y()); // above the field's cursor
        QCOMPARE(bar.grab(chipRows).toImage(), fresh.grab(chipRows).toImage());
    }

    void associationDialog_data()
    {
        QTest::addColumn<QStringList>("connected");
        QTest::addColumn<bool>("accept");
        QTest::addColumn<QString>("result");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("items"); // none: a message, not a choice
        const QString none = "Aucune manette connectée n'est disponible.\nVous pouvez créer un "
                             "profil sans liaison et l’associer plus tard.";
        const QString label = "Choisir la manette à lier :";
        const QStringList two{"Pad 1", "Pad 2"}, twice{"Pad 1", "pad 1 ", "Pad 2"}, noItems;
        QTest::newRow("no controller") << QStringList{" ", ""} << true << "" << none << noItems;
        QTest::newRow("chosen") << twice << true << "Pad 2" << label << two;
        QTest::newRow("cancelled") << two << false << "" << label << two;
    }
    void associationDialog()
    {
        QFETCH(QStringList, connected);
        QFETCH(bool, accept);
        QFETCH(QStringList, items);
        ScriptedDialogs dialogs;
        if (!accept)
            dialogs.cancelNext();
        else if (!normalizedTagNames(connected).isEmpty()) // else nothing is asked
            dialogs.answerItem("Pad 2");
        QTEST(chooseControllerToLink(nullptr, connected), "result");
        QCOMPARE(dialogs.prompts().size(), 1);
        const ScriptedDialogSeam::Prompt &asked = dialogs.prompts().first();
        QCOMPARE(int(asked.kind), int(items.isEmpty() ? Kind::Information : Kind::Item));
        QCOMPARE(asked.title, "Association manette");
        QTEST(asked.text, "text");
        QVERIFY(asked.items == items && asked.current == (items.isEmpty() ? -1 : 0));
        QVERIFY(!asked.editable);
    }
};

QTEST_MAIN(TestTagSelectionBar)
#include "tst_tagselectionbar.moc"
