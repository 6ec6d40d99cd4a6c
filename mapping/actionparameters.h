#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <QVector>

// The host's action catalog as the parameter editor reads it, and the conversions between what
// the user types and the typed values stored in a binding's "args".

struct ActionParameter
{
    QString name;
    QString type; // as declared: "preferredType", else "preferedType"
    QJsonValue defaultValue;
};

struct ActionDescription
{
    QString name;
    QString label;
    QString group; // "Sans groupe" when the entry has none
    QString deviceType;
    QVector<ActionParameter> params;
};

inline const QString kUngroupedActions = QStringLiteral("Sans groupe");

// "int", "double", "bool" or "string"; any other declared type is kept as written (trimmed).
QString normalizedParameterKind(const QString &declaredType);

// The visible entries of the catalog, in catalog order (entries marked "hidden" and elements that
// are not objects are left out).
QVector<ActionDescription> readActionCatalog(const QJsonArray &catalog);
// The entry of that name (trimmed, case ignored), or null.
const ActionDescription *findAction(const QVector<ActionDescription> &actions, const QString &name);

// What the user typed, as the value stored for a parameter of that kind. Placeholders and
// expressions evaluated by the host ("arg_0", "transform(...", "state(...") stay text.
QJsonValue argumentFromText(const QString &text, const QString &kind);
// A stored value as shown in the editor, numbers at full precision.
QString argumentToText(const QJsonValue &value, const QString &kind);

// "name(type param = value, type param)" for the action with the given arguments.
QString actionSignature(const ActionDescription &action, const QJsonObject &args);
