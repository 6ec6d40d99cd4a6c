#include "actionparameters.h"

#include <QtTest>

static QJsonArray jsonArray(const QString &text)
{
    return QJsonDocument::fromJson(text.toUtf8()).array(); // .at(0) is undefined for "[]"
}

template <typename... Texts> static void row(const char *name, const Texts &...texts)
{
    (QTest::newRow(name) << ... << QString(texts));
}

class TestActionParameters : public QObject
{
    Q_OBJECT

private slots:
    void conversions_data()
    {
        QTest::addColumn<QString>("way"); // read, shown or both (shown text reads back as stored)
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("stored"); // a one-element JSON array: 5 and "5" differ; [] none
        row("placeholder in int", "read", "arg_0", "int", R"(["arg_0"])");
        row("TRUE in bool", "read", "TRUE", "bool", "[true]");
        row("False in bool", "read", " False ", "bool", "[false]");
        row("int", "read", " -42 ", "int", "[-42]");
        row("fraction in int", "read", "4.5", "int", R"(["4.5"])");
        row("double", "read", "2.5e1", "double", "[25]");
        row("infinity has no JSON", "read", "inf", "double", R"(["inf"])");
        row("every digit", "both", "3.14159265358979", "double", "[3.14159265358979]");
        row("seven digits", "both", "1234567", "double", "[1234567]");
        row("fraction in int shown", "shown", "2.5", "int", "[2.5]");
        row("missing double", "shown", "0.0", "double", "[]");
    }
    void conversions()
    {
        QFETCH(QString, way);
        QFETCH(QString, text);
        QFETCH(QString, kind);
        QFETCH(QString, stored);
        if (way != "read")
            QCOMPARE(argumentToText(jsonArray(stored).at(0), kind), text);
        if (way != "shown")
            QCOMPARE(argumentFromText(text, kind), jsonArray(stored).at(0));
    }

    // Types are normalised; "preferredType" wins over "preferedType"; a non-object is left out.
    void signature_data()
    {
        QTest::addColumn<QString>("args");
        QTest::addColumn<QString>("line");
        row("no values", "{}", "zoom(int speed, double gain, string label, bool on)");
        row("all values", R"({"speed": 3, "gain": 0.5, "label": "hi", "on": true})",
            R"(zoom(int speed = 3, double gain = 0.5, string label = "hi", bool on = true))");
        row("empty string, expression", R"j({"speed": "state(x)", "label": ""})j",
            "zoom(int speed = state(x), double gain, string label = , bool on)");
    }
    void signature()
    {
        QFETCH(QString, args);
        const auto actions = readActionCatalog(jsonArray(R"([{"name": "zoom", "params": [
            {"name": "speed", "preferredType": " INT64 ", "preferedType": "bool"},
            {"name": "gain", "preferedType": "Number"}, {"name": "label"}, 5,
            {"name": "on", "preferredType": "boolean"}]}])"));
        QTEST(actionSignature(actions.value(0), jsonArray('[' + args + ']')[0].toObject()), "line");
    }

    void hiddenAndGroups()
    {
        const auto actions = readActionCatalog(jsonArray(R"([
        {"name": "a", "label": "Alpha", "group": "Caméra"}, {"name": "h", "hidden": true}, 7,
        {"name": "b", "hidden": false, "group": ""}, {"name": "c", "group": "  "}])"));
        QStringList seen;
        for (const ActionDescription &action : actions)
            seen << action.name + '/' + action.group;
        QCOMPARE(seen, QStringList({"a/Caméra", "b/Sans groupe", "c/Sans groupe"}));
        QCOMPARE(findAction(actions, QStringLiteral(" B ")), &actions[1]);
    }
};

QTEST_APPLESS_MAIN(TestActionParameters)
#include "tst_actionparameters.moc"
