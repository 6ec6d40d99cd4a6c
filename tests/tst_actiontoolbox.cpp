#include "actiontoolbox.h"
#include "filetestsupport.h"

#include <QtTest>
#include <QtWidgets>

static QJsonArray catalog()
{
    return QJsonDocument::fromJson(R"([
        {"name": "zoom", "label": "Zoom", "group": "Caméra", "params": [
            {"name": "speed", "preferredType": "integer"}, {"name": "gain", "preferedType": "Number"},
            {"name": "mode", "default": "lent"}, {"name": "on", "preferredType": "bool"}]},
        {"name": "snap", "group": "Caméra"}, {"name": "secret", "hidden": true}, {"name": "rec"}])")
        .array();
}

class TestActionToolBox : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_parent = new QWidget, m_parent->resize(600, 500);
        m_box = new ActionToolBox(m_parent);
        m_box->setCatalog(catalog()), m_parent->show();
    }
    void cleanup() { delete m_parent; }

    void choosingActions()
    {
        QComboBox *actions = combo("actionToolBoxActions");
        QCOMPARE(actions->count(), 6); // none, Caméra, Zoom, snap, Sans groupe, rec
        QVERIFY(actions->itemData(1, Qt::FontRole).value<QFont>().bold()); // a group's title
        QSignalSpy durty(m_box, &ActionToolBox::durty);
        QTest::keyClick(actions, Qt::Key_Down); // the group title cannot be chosen
        QCOMPARE(m_box->binding(), jsonOf(R"({"ref": "zoom", "action": "zoom"})"));
        auto *edit = m_box->findChild<QPushButton *>("actionToolBoxEdit");
        QVERIFY(edit->isEnabled()); // zoom has parameters to edit
        auto *line = m_box->findChild<QLabel *>("actionToolBoxSignature"); // under, to copy
        QCOMPARE(line->text(), "zoom(int speed, double gain, string mode, bool on)");
        QVERIFY(line->textInteractionFlags() == Qt::TextSelectableByMouse &&
                line->y() > actions->y());
        QWidget *speed = param("speed");
        QVERIFY(!speed->isVisible());
        edit->click(); // they open under the list
        QVERIFY(speed->isVisible() && speed->mapTo(m_box, QPoint()).y() > edit->y());
        const QString tips = combo("actionToolBoxParam_mode")->toolTip() + '|' +
                             combo("actionToolBoxParam_speed")->toolTip(); // a default is told
        QCOMPARE(tips, "<par défaut> : lent|");
        QTest::keyClick(actions, Qt::Key_Home);
        QVERIFY(m_box->binding().isEmpty());
        QVERIFY(!edit->isEnabled() && !edit->isChecked() && line->isHidden()); // none shown
        QCOMPARE(durty.count(), 2);

        m_box->setBinding(jsonOf(R"({"ref": "ghost"})")); // unknown to the catalog: shown by name
        QCOMPARE(actions->currentText(), "ghost");
        QCOMPARE(durty.count(), 2); // a binding given is no edit
        const int narrow = actions->sizeHint().width();
        m_box->setCatalog({QJsonObject{{"name", "pan"}, {"label", "Panoramique lent"}}});
        QVERIFY(actions->sizeHint().width() > narrow); // the list widens to a longer name
    }

    // Typed text takes its type, a repeat is no edit; default or empty drops it, and empty "args".
    void editsStoreTypedArguments()
    {
        m_box->setBinding(jsonOf(R"({"ref": "zoom", "args": {"speed": 3, "gain": 0.25}})"));
        QSignalSpy durty(m_box, &ActionToolBox::durty);
        QTest::keyClick(combo("actionToolBoxParam_on"), Qt::Key_Down); // "true"
        QTest::keyClick(combo("actionToolBoxParam_on"), Qt::Key_Up);   // "<par défaut>"
        QVERIFY(!m_box->binding().value("args").toObject().contains("on"));
        param("on")->clear();
        QApplication::setActiveWindow(m_parent); // a focused field, where completion would be
        param("on")->setFocus(), QTest::keyClicks(param("on"), "T");
        QCOMPARE(param("on")->text(), "T");                   // never completed to a choice
        QTest::keyClicks(param("on"), "RUE\r\r");             // Return twice
        QCOMPARE(combo("actionToolBoxParam_on")->count(), 3); // typed text adds no choice
        QCOMPARE(m_box->binding().value("args").toObject(),
                 jsonOf(R"({"speed": 3, "gain": 0.25, "on": true})"));
        for (const char *name : {"speed", "gain", "on"}) {
            param(name)->selectAll();
            QTest::keyClick(param(name), Qt::Key_Backspace);
            QTest::keyClick(param(name), Qt::Key_Return);
        }
        QVERIFY(durty.count() == 6 && m_box->binding() == jsonOf(R"({"ref": "zoom"})"));
    }

    // Focus passing through the fields is no edit: stored values keep their type and every digit.
    void leavingFieldsChangesNothing_data()
    {
        QTest::addColumn<QString>("args");
        QTest::newRow("fraction in an int") << R"({"speed": 2.5})";
        QTest::newRow("seven digits") << R"({"gain": 1234567, "speed": 1234567})";
        QTest::newRow("texts") << R"j({"mode": "42", "on": "state(x)", "speed": "arg_0"})j";
    }
    void leavingFieldsChangesNothing()
    {
        QFETCH(QString, args);
        const QJsonObject binding{{"ref", "zoom"}, {"args", jsonOf(args.toUtf8())}};
        m_box->setBinding(binding);
        QApplication::setActiveWindow(m_parent); // shown by init()
        QVERIFY(QTest::qWaitForWindowActive(m_parent));
        QSignalSpy durty(m_box, &ActionToolBox::durty);
        for (const char *name : {"speed", "gain", "mode", "on"}) {
            combo(QStringLiteral("actionToolBoxParam_") + name)->setFocus();
            QVERIFY(param(name)->hasFocus());
        }
        combo("actionToolBoxActions")->setFocus();
        QVERIFY(m_box->binding() == binding && durty.isEmpty());
    }

    // Dragged by its header with the left button, kept inside its parent; other presses go beneath.
    void dragsByItsHeader_data()
    {
        QTest::addColumn<Qt::MouseButton>("button");
        QTest::addColumn<bool>("onHeader");
        QTest::addColumn<QPoint>("delta");
        QTest::addColumn<QPoint>("expected");
        const QPoint delta(50, 30), start(10, 20), far(-900, 2000);
        QTest::newRow("header") << Qt::LeftButton << true << delta << QPoint(60, 50);
        QTest::newRow("kept inside") << Qt::LeftButton << true << far << QPoint(0, 2000);
        QTest::newRow("right button") << Qt::RightButton << true << delta << start;
        QTest::newRow("below the header") << Qt::LeftButton << false << delta << start;
        QTest::newRow("parent too short") << Qt::LeftButton << true << delta << QPoint(60, 0);
    }
    void dragsByItsHeader()
    {
        QFETCH(Qt::MouseButton, button);
        QFETCH(bool, onHeader);
        QFETCH(QPoint, delta);
        QFETCH(QPoint, expected);
        if (QByteArray(QTest::currentDataTag()) == "parent too short") // it keeps to the top
            m_parent->resize(600, m_box->height());
        expected.ry() = qMin(expected.y(), m_parent->height() - m_box->height()); // or the bottom
        m_box->move(10, 20);
        QSignalSpy moved(m_box, &ActionToolBox::moved);
        const QLabel *header = m_box->findChild<QLabel *>();
        QVERIFY(header->geometry().bottom() < combo("actionToolBoxActions")->y()); // above the list
        const QPoint at = onHeader ? header->geometry().center() : QPoint(5, m_box->height() - 5);
        const QPoint global = m_box->mapToGlobal(at);
        const auto send = [&](QEvent::Type type, const QPoint &to, Qt::MouseButtons held) {
            QMouseEvent event(type, m_box->mapFromGlobal(to), to, button, held, Qt::NoModifier);
            QApplication::sendEvent(m_box, &event);
            return event.isAccepted();
        };
        QCOMPARE(send(QEvent::MouseButtonPress, global, button),
                 onHeader && button == Qt::LeftButton);
        send(QEvent::MouseMove, global + delta, button);
        send(QEvent::MouseButtonRelease, global + delta, Qt::NoButton);
        send(QEvent::MouseMove, global + 2 * delta, Qt::LeftButton); // released: no longer dragged
        QCOMPARE(m_box->pos(), expected);
        QCOMPARE(moved.count(), m_box->pos() == QPoint(10, 20) ? 0 : 1);
    }

    // A field with focus reports editingFinished as its window goes away, after the box is gone.
    void deletedWhileAFieldHasFocus()
    {
        auto *box = new ActionToolBox;
        box->setCatalog(catalog()), box->setBinding(jsonOf(R"({"ref": "zoom"})")), box->show();
        QApplication::setActiveWindow(box);
        QVERIFY(QTest::qWaitForWindowActive(box));
        QLineEdit *speed = box->findChild<QComboBox *>("actionToolBoxParam_speed")->lineEdit();
        speed->setFocus(), QTest::keyClicks(speed, "7");
        QSignalSpy durty(box, &ActionToolBox::durty);
        delete box;
        QCOMPARE(durty.count(), 0);
    }

private:
    QComboBox *combo(const QString &name) const { return m_box->findChild<QComboBox *>(name); }
    QLineEdit *param(QString n) const { return combo("actionToolBoxParam_" + n)->lineEdit(); }

    QWidget *m_parent = nullptr;
    ActionToolBox *m_box = nullptr;
};

QTEST_MAIN(TestActionToolBox)
#include "tst_actiontoolbox.moc"
