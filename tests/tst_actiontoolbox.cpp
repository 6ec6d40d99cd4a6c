#include "actiontoolbox.h"

#include <QComboBox>
#include <QJsonDocument>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPushButton>
#include <QSignalSpy>
#include <QtTest>

static QJsonObject object(const char *json)
{
    return QJsonDocument::fromJson(json).object();
}

class TestActionToolBox : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { delete m_parent; }
    void choosingActions();
    void typedTextIsStoredTyped_data();
    void typedTextIsStoredTyped();
    void defaultChoiceRemovesArgument();
    void draggingByHeader();

private:
    QComboBox *combo(const QString &name) const { return m_box->findChild<QComboBox *>(name); }
    QLineEdit *param(const QString &name) const
    {
        return combo("actionToolBoxParam_" + name)->lineEdit();
    }

    QWidget *m_parent = nullptr;
    ActionToolBox *m_box = nullptr;
};

void TestActionToolBox::init()
{
    m_parent = new QWidget;
    m_parent->resize(600, 500);
    m_box = new ActionToolBox(m_parent);
    m_box->setCatalog(QJsonDocument::fromJson(R"([
        {"name": "zoom", "label": "Zoom", "group": "Caméra", "params": [
            {"name": "speed", "preferredType": "integer"}, {"name": "gain", "preferedType": "Number"},
            {"name": "mode"}, {"name": "on", "preferredType": "bool"}]},
        {"name": "snap", "group": "Caméra"}, {"name": "secret", "hidden": true}, {"name": "rec"}])")
                          .array());
    m_box->move(10, 10);
    m_parent->show();
}

void TestActionToolBox::choosingActions()
{
    QComboBox *actions = combo("actionToolBoxActions");
    QStringList texts;
    for (int i = 0; i < actions->count(); ++i)
        texts << actions->itemText(i).trimmed();
    QCOMPARE(texts, QStringList({"none", "Caméra", "Zoom", "snap", "Sans groupe", "rec"}));

    QSignalSpy durty(m_box, &ActionToolBox::durty);
    QTest::keyClick(actions, Qt::Key_Down); // the group title cannot be chosen
    QCOMPARE(m_box->binding(), object(R"({"ref": "zoom", "action": "zoom"})"));
    QCOMPARE(m_box->signature(),
             QStringLiteral("zoom(int speed, double gain, string mode, bool on)"));
    QTest::keyClick(actions, Qt::Key_Home);
    QVERIFY(m_box->binding().isEmpty());
    QCOMPARE(durty.count(), 2);

    auto *edit = m_box->findChild<QPushButton *>("actionToolBoxEdit");
    QCOMPARE(edit->text(), QStringLiteral("Editer les parametres"));
    m_box->setBinding(object(R"({"action": "zoom"})"));
    QTest::mouseClick(edit, Qt::LeftButton);
    QVERIFY(m_box->parametersShown() && param("speed")->isVisible());
    QStringList labels;
    for (QLabel *label : m_box->findChildren<QLabel *>())
        if (label->text().endsWith(':'))
            labels << label->text();
    QCOMPARE(labels, QStringList({"speed:", "gain:", "mode:", "on:"}));
    m_box->setBinding(object(R"({"ref": "ghost"})")); // unknown to the catalog: shown by name
    QCOMPARE(actions->currentText(), QStringLiteral("ghost"));
    QVERIFY(!edit->isEnabled() && !m_box->parametersShown());
    QCOMPARE(durty.count(), 2);
}

void TestActionToolBox::typedTextIsStoredTyped_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("args");
    // clang-format off
    QTest::newRow("int") << "speed" << "12" << R"({"speed":12})";
    QTest::newRow("expression in int") << "speed" << "state(x)" << R"j({"speed":"state(x)"})j";
    QTest::newRow("TRUE in bool") << "on" << "TRUE" << R"({"on":true})";
    QTest::newRow("word in bool") << "on" << "maybe" << R"({"on":"maybe"})";
    QTest::newRow("double") << "gain" << "0.5" << R"({"gain":0.5})";
    // clang-format on
}

void TestActionToolBox::typedTextIsStoredTyped()
{
    QFETCH(QString, name);
    QFETCH(QString, typed);
    QFETCH(QString, args);
    m_box->setBinding(object(R"({"ref": "zoom", "action": "zoom"})"));
    QSignalSpy durty(m_box, &ActionToolBox::durty);
    param(name)->clear();
    QTest::keyClicks(param(name), typed);
    QTest::keyClick(param(name), Qt::Key_Return);
    QTest::keyClick(param(name), Qt::Key_Return); // the same value again is no change
    QCOMPARE(
        QJsonDocument(m_box->binding().value("args").toObject()).toJson(QJsonDocument::Compact),
        args.toUtf8());
    QCOMPARE(durty.count(), 1);
}

void TestActionToolBox::defaultChoiceRemovesArgument()
{
    m_box->setBinding(object(R"({"ref": "zoom", "args": {"speed": 3, "gain": 0.25, "on": true}})"));
    QCOMPARE(param("speed")->text(), QStringLiteral("3"));
    QCOMPARE(param("mode")->text(), QStringLiteral("<par défaut>"));
    QSignalSpy durty(m_box, &ActionToolBox::durty);
    param("speed")->setText(QStringLiteral("<par défaut>"));
    QTest::keyClick(param("speed"), Qt::Key_Return);
    QCOMPARE(m_box->signature(),
             QStringLiteral("zoom(int speed, double gain = 0.25, string mode, bool on = true)"));
    QTest::keyClick(combo("actionToolBoxParam_on"), Qt::Key_Down); // "true", already stored
    QTest::keyClick(combo("actionToolBoxParam_on"), Qt::Key_Up);   // "<par défaut>" from the list
    param("gain")->clear();
    QTest::keyClick(param("gain"), Qt::Key_Return);
    QCOMPARE(durty.count(), 3);
    QCOMPARE(m_box->binding(), object(R"({"ref": "zoom"})")); // no empty "args" left behind
}

void TestActionToolBox::draggingByHeader()
{
    QSignalSpy moved(m_box, &ActionToolBox::moved);
    const QPoint grip = m_box->findChild<QLabel *>("actionToolBoxHeader")->geometry().center();
    const auto drag = [this](QPoint from, QPoint by) {
        QTest::mousePress(m_box, Qt::LeftButton, {}, from);
        // A move that carries the held button (QTest::mouseMove may not).
        const QPointF to = from + by;
        QMouseEvent move(QEvent::MouseMove, to, m_box->mapToGlobal(to), Qt::NoButton,
                         Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(m_box, &move);
        QTest::mouseRelease(m_box, Qt::LeftButton, {}, from + by);
    };
    drag(grip, {30, 20});
    QCOMPARE(m_box->pos(), QPoint(40, 30));
    drag(grip, {2000, -2000}); // kept inside the parent
    QCOMPARE(m_box->pos(), QPoint(m_parent->width() - m_box->width(), 0));
    QCOMPARE(moved.count(), 2);
    drag({grip.x(), m_box->height() - 2}, {-50, 50}); // below the header: no drag
    QCOMPARE(moved.count(), 2);
}

QTEST_MAIN(TestActionToolBox)
#include "tst_actiontoolbox.moc"
