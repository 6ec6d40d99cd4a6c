#include "actionparameters.h"

#include <QtTest>

static QJsonValue parse(const QString &text)
{
    return QJsonDocument::fromJson(text.toUtf8()).array().at(0); // Undefined for "[]"
}

static QVector<ActionDescription> catalog(const QByteArray &json)
{
    return readActionCatalog(QJsonDocument::fromJson(json).array());
}

static void row(const char *name, const char *first, const char *second, const char *third)
{
    QTest::newRow(name) << QString(first) << QString(second) << QString(third);
}

class TestActionParameters : public QObject
{
    Q_OBJECT

private slots:
    void textToValue_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("stored");
        row("placeholder in int", "arg_0", "int", R"(["arg_0"])");
        row("TRUE in bool", "TRUE", "bool", "[true]");
        row("int", " -42 ", "int", "[-42]");
        row("fraction in int", "4.5", "int", R"(["4.5"])");
        row("double", "2.5e1", "double", "[25]");
        row("infinity has no JSON", "inf", "double", R"(["inf"])");
    }
    void textToValue()
    {
        QFETCH(QString, text);
        QFETCH(QString, kind);
        QFETCH(QString, stored); // a one-element JSON array: 5 and "5" differ
        QCOMPARE(argumentFromText(text, kind), parse(stored));
    }

    void valueToText_data()
    {
        QTest::addColumn<QString>("value"); // a one-element JSON array; "[]" for a missing value
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("text");
        row("every digit", "[3.14159265358979]", "double", "3.14159265358979");
        row("seven digits", "[1234567]", "double", "1234567");
        row("fraction in int", "[2.5]", "int", "2.5");
        row("missing double", "[]", "double", "0.0");
    }
    void valueToText()
    {
        QFETCH(QString, value);
        QFETCH(QString, kind);
        QFETCH(QString, text);
        QCOMPARE(argumentToText(parse(value), kind), text);
        if (kind == "double" && value != "[]") // what is shown reads back as what is stored
            QCOMPARE(argumentFromText(text, kind), parse(value));
    }

    // Types are normalised; "preferredType" wins over "preferedType"; a non-object is left out.
    void signature_data()
    {
        QTest::addColumn<QString>("args");
        QTest::addColumn<QString>("line");
        QTest::newRow("no values") << "{}"
                                   << "zoom(int speed, double gain, string label, bool on)";
        QTest::newRow("all values")
            << R"({"speed": 3, "gain": 0.5, "label": "hi", "on": true})"
            << R"(zoom(int speed = 3, double gain = 0.5, string label = "hi", bool on = true))";
        QTest::newRow("empty string, expression")
            << R"j({"speed": "state(x)", "label": ""})j"
            << "zoom(int speed = state(x), double gain, string label = , bool on)";
    }
    void signature()
    {
        QFETCH(QString, args);
        const auto actions = catalog(R"([{"name": "zoom", "params": [
            {"name": "speed", "preferredType": " INT64 ", "preferedType": "bool"},
            {"name": "gain", "preferedType": "Number"}, {"name": "label"}, 5,
            {"name": "on", "preferredType": "boolean"}]}])");
        QTEST(actionSignature(actions.value(0), QJsonDocument::fromJson(args.toUtf8()).object()),
              "line");
    }

    void hiddenAndGroups()
    {
        const auto actions = catalog(R"([
        {"name": "a", "label": "Alpha", "group": "Caméra"}, {"name": "h", "hidden": true}, 7,
        {"name": "b", "hidden": false, "group": ""}, {"name": "c", "group": "  "}])");
        QStringList seen;
        for (const ActionDescription &action : actions)
            seen << action.name + '/' + action.group;
        QCOMPARE(seen, QStringList({"a/Caméra", "b/Sans groupe", "c/Sans groupe"}));
        QCOMPARE(findAction(actions, QStringLiteral(" B ")), &actions[1]);
    }
};

QTEST_APPLESS_MAIN(TestActionParameters)
#include "tst_actionparameters.moc"
