#include "actionparameters.h"

#include <QJsonDocument>
#include <QtTest>

// Compact JSON of one value, so that 5 and "5", true and "true" compare as different.
static QString json(const QJsonValue &value)
{
    return QString::fromUtf8(QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact));
}

static QJsonValue parse(const QString &text)
{
    return QJsonDocument::fromJson(text.toUtf8()).array().at(0); // Undefined for "[]"
}

class TestActionParameters : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void kindNormalisation_data();
    void kindNormalisation();
    void textToValue_data();
    void textToValue();
    void valueToText_data();
    void valueToText();
    void signature_data();
    void signature();
    void parameterType_data();
    void parameterType();
    void hiddenAndGroups();
};

void TestActionParameters::kindNormalisation_data()
{
    QTest::addColumn<QString>("declared");
    QTest::addColumn<QString>("kind");
    // clang-format off
    QTest::newRow("INT32") << "INT32" << "int";
    QTest::newRow("padded int64") << " int64 " << "int";
    QTest::newRow("Number") << "Number" << "double";
    QTest::newRow("float") << "float" << "double";
    QTest::newRow("Boolean") << "Boolean" << "bool";
    QTest::newRow("blank") << "  " << "string";
    QTest::newRow("other kept as written") << " Vec3 " << "Vec3";
    QTest::newRow("int8 is not an int kind") << "int8" << "int8";
    // clang-format on
}

void TestActionParameters::kindNormalisation()
{
    QFETCH(QString, declared);
    QFETCH(QString, kind);
    QCOMPARE(normalizedParameterKind(declared), kind);
}

void TestActionParameters::textToValue_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("stored");
    // clang-format off
    QTest::newRow("placeholder in int") << "arg_0" << "int" << R"(["arg_0"])";
    QTest::newRow("transform in double") << " transform(x*2) " << "double" << R"j(["transform(x*2)"])j";
    QTest::newRow("state in int") << "state(speed)" << "int" << R"j(["state(speed)"])j";
    QTest::newRow("TRUE in bool") << "TRUE" << "bool" << "[true]";
    QTest::newRow("other word in bool") << "yes" << "bool" << R"(["yes"])";
    QTest::newRow("int") << " -42 " << "int" << "[-42]";
    QTest::newRow("fraction in int") << "4.5" << "int" << R"(["4.5"])";
    QTest::newRow("double") << "2.5e1" << "double" << "[25]";
    QTest::newRow("decimal comma") << "1,5" << "double" << R"(["1,5"])";
    QTest::newRow("infinity has no JSON") << "inf" << "double" << R"(["inf"])";
    QTest::newRow("number in string") << "42" << "string" << R"(["42"])";
    // clang-format on
}

void TestActionParameters::textToValue()
{
    QFETCH(QString, text);
    QFETCH(QString, kind);
    QFETCH(QString, stored);
    QCOMPARE(json(argumentFromText(text, kind)), stored);
}

void TestActionParameters::valueToText_data()
{
    QTest::addColumn<QString>("value"); // a one-element JSON array; "[]" for a missing value
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("text");
    // clang-format off
    QTest::newRow("bool") << "[true]" << "bool" << "true";
    QTest::newRow("six digits") << "[3.14159265]" << "double" << "3.14159";
    QTest::newRow("whole double") << "[1.0]" << "double" << "1";
    QTest::newRow("int") << "[42]" << "int" << "42";
    QTest::newRow("fraction in int") << "[2.5]" << "int" << "2.5";
    QTest::newRow("missing double") << "[]" << "double" << "0.0";
    QTest::newRow("missing int") << "[]" << "int" << "";
    // clang-format on
}

void TestActionParameters::valueToText()
{
    QFETCH(QString, value);
    QFETCH(QString, kind);
    QFETCH(QString, text);
    QCOMPARE(argumentToText(parse(value), kind), text);
}

void TestActionParameters::signature_data()
{
    QTest::addColumn<QString>("args");
    QTest::addColumn<QString>("line");
    // clang-format off
    QTest::newRow("no values") << "{}" << "zoom(int speed, double gain, string label, bool on)";
    QTest::newRow("all values") << R"({"speed": 3, "gain": 0.5, "label": "hi", "on": true})"
        << R"(zoom(int speed = 3, double gain = 0.5, string label = "hi", bool on = true))";
    QTest::newRow("empty string, expression") << R"j({"speed": "state(x)", "label": ""})j"
        << "zoom(int speed = state(x), double gain, string label = , bool on)";
    // clang-format on
}

void TestActionParameters::signature()
{
    QFETCH(QString, args);
    QFETCH(QString, line);
    const auto actions = readActionCatalog(QJsonDocument::fromJson(R"([{"name": "zoom", "params": [
        {"name": "speed", "preferredType": "integer"}, {"name": "gain", "preferedType": "Number"},
        {"name": "label"}, {"name": "on", "preferredType": "boolean"}]}])")
                                               .array());
    QCOMPARE(actions.size(), 1);
    QCOMPARE(actionSignature(actions[0], QJsonDocument::fromJson(args.toUtf8()).object()), line);
}

void TestActionParameters::parameterType_data()
{
    QTest::addColumn<QString>("param");
    QTest::addColumn<QString>("type");
    // clang-format off
    QTest::newRow("preferedType alone") << R"({"preferedType": "int64"})" << "int64";
    QTest::newRow("both: preferredType wins") << R"({"preferedType": "bool", "preferredType": "float"})" << "float";
    QTest::newRow("null preferredType") << R"({"preferredType": null, "preferedType": "bool"})" << "bool";
    QTest::newRow("neither") << R"({"default": 4})" << "";
    // clang-format on
}

void TestActionParameters::parameterType()
{
    QFETCH(QString, param);
    QFETCH(QString, type);
    const auto actions = readActionCatalog(
        QJsonDocument::fromJson(
            QStringLiteral(R"([{"name": "a", "params": [%1, 5]}])").arg(param).toUtf8())
            .array());
    QCOMPARE(actions.size(), 1);
    QCOMPARE(actions[0].params.size(), 1); // the non-object parameter is left out
    QCOMPARE(actions[0].params[0].type, type);
}

void TestActionParameters::hiddenAndGroups()
{
    const auto actions = readActionCatalog(QJsonDocument::fromJson(R"([
        {"name": "a", "label": "Alpha", "group": "Caméra"}, {"name": "h", "hidden": true}, 7,
        {"name": "b", "hidden": false, "group": ""}, {"name": "c", "group": "  "}, {"name": "d"}])")
                                               .array());
    QStringList seen;
    for (const ActionDescription &action : actions)
        seen << action.name + '/' + action.group;
    QCOMPARE(seen, QStringList({"a/Caméra", "b/Sans groupe", "c/Sans groupe", "d/Sans groupe"}));
    QCOMPARE(findAction(actions, QStringLiteral(" B ")), &actions[1]);
    QVERIFY(!findAction(actions, QStringLiteral("h")));
}

QTEST_APPLESS_MAIN(TestActionParameters)
#include "tst_actionparameters.moc"
