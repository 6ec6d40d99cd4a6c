#include "actionparameters.h"

#include <QLocale>

#include <cmath>

namespace {

const QString kIntKind = QStringLiteral("int");
const QString kDoubleKind = QStringLiteral("double");
const QString kBoolKind = QStringLiteral("bool");
const QString kStringKind = QStringLiteral("string");

bool isOneOf(const QString &text, std::initializer_list<const char *> choices)
{
    for (const char *choice : choices) {
        if (text == QLatin1String(choice))
            return true;
    }
    return false;
}

// Both spellings of the type key exist in the catalogs in use; the correct one wins.
QString declaredType(const QJsonObject &param)
{
    const QJsonValue preferred = param.value(QLatin1String("preferredType"));
    if (preferred.isString())
        return preferred.toString();
    return param.value(QLatin1String("preferedType")).toString();
}

QVector<ActionParameter> readParameters(const QJsonArray &params)
{
    QVector<ActionParameter> result;
    for (const QJsonValue &value : params) {
        if (!value.isObject())
            continue;
        const QJsonObject param = value.toObject();
        result.append({param.value(QLatin1String("name")).toString(), declaredType(param),
                       param.value(QLatin1String("default"))});
    }
    return result;
}

bool isWholeNumber(double number)
{
    return std::isfinite(number) && number == std::trunc(number) && std::fabs(number) < 9.0e18;
}

} // namespace

QString normalizedParameterKind(const QString &declaredType)
{
    const QString type = declaredType.trimmed().toLower();
    if (isOneOf(type, {"integer", "int32", "int64"}))
        return kIntKind;
    if (isOneOf(type, {"double", "float", "number"}))
        return kDoubleKind;
    if (isOneOf(type, {"boolean", "bool"}))
        return kBoolKind;
    if (type.isEmpty())
        return kStringKind;
    return declaredType.trimmed();
}

QVector<ActionDescription> readActionCatalog(const QJsonArray &catalog)
{
    QVector<ActionDescription> actions;
    for (const QJsonValue &value : catalog) {
        const QJsonObject entry = value.toObject();
        if (!value.isObject() || entry.value(QLatin1String("hidden")).toBool())
            continue;
        ActionDescription action;
        action.name = entry.value(QLatin1String("name")).toString();
        action.label = entry.value(QLatin1String("label")).toString();
        action.group = entry.value(QLatin1String("group")).toString().trimmed();
        if (action.group.isEmpty())
            action.group = kUngroupedActions;
        action.deviceType = entry.value(QLatin1String("deviceType")).toString();
        action.params = readParameters(entry.value(QLatin1String("params")).toArray());
        actions.append(action);
    }
    return actions;
}

const ActionDescription *findAction(const QVector<ActionDescription> &actions, const QString &name)
{
    const QString wanted = name.trimmed();
    if (wanted.isEmpty())
        return nullptr;
    for (const ActionDescription &action : actions) {
        if (action.name.trimmed().compare(wanted, Qt::CaseInsensitive) == 0)
            return &action;
    }
    return nullptr;
}

QJsonValue argumentFromText(const QString &text, const QString &kind)
{
    // What does not read as the kind stays text: the host's placeholders ("arg_0",
    // "transform(...)", "state(...)"), evaluated by its action system when the action runs, too.
    const QString t = text.trimmed();
    bool ok = false;
    if (kind == kBoolKind) {
        if (t.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0)
            return true;
        if (t.compare(QLatin1String("false"), Qt::CaseInsensitive) == 0)
            return false;
    } else if (kind == kIntKind) {
        const qint64 number = t.toLongLong(&ok);
        if (ok)
            return number;
    } else if (kind == kDoubleKind) {
        const double number = t.toDouble(&ok);
        if (ok && std::isfinite(number)) // JSON has no infinity nor NaN
            return number;
    }
    return t;
}

QString argumentToText(const QJsonValue &value, const QString &kind)
{
    if (value.isBool())
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    if (value.isDouble()) {
        const double number = value.toDouble();
        if (kind == kIntKind && isWholeNumber(number))
            return QString::number(value.toInteger(qint64(number)));
        // Shortest text that reads back as the same number: what is shown is what is stored.
        return QString::number(number, 'g', QLocale::FloatingPointShortest);
    }
    if (value.isString())
        return value.toString();
    if (value.isUndefined() || value.isNull())
        return kind == kDoubleKind ? QStringLiteral("0.0") : QString();
    return QString();
}

QString actionSignature(const ActionDescription &action, const QJsonObject &args)
{
    QStringList parts;
    for (const ActionParameter &param : action.params) {
        const QString kind = normalizedParameterKind(param.type);
        const QJsonValue value = args.value(param.name);
        if (value.isUndefined() || value.isNull()) {
            parts << QStringLiteral("%1 %2").arg(kind, param.name);
            continue;
        }
        QString text = argumentToText(value, kind);
        if (kind == kStringKind && !text.isEmpty())
            text = QLatin1Char('"') + text + QLatin1Char('"');
        parts << QStringLiteral("%1 %2 = %3").arg(kind, param.name, text);
    }
    return QStringLiteral("%1(%2)").arg(action.name, parts.join(QStringLiteral(", ")));
}
