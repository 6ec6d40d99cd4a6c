#include "actionparameters.h"

#include <cmath>

QString normalizedParameterKind(const QString &declaredType)
{
    const QString type = declaredType.trimmed().toLower();
    if (type == QLatin1String("integer") || type == QLatin1String("int32") ||
        type == QLatin1String("int64"))
        return QStringLiteral("int");
    if (type == QLatin1String("double") || type == QLatin1String("float") ||
        type == QLatin1String("number"))
        return QStringLiteral("double");
    if (type == QLatin1String("boolean") || type == QLatin1String("bool"))
        return QStringLiteral("bool");
    if (type.isEmpty())
        return QStringLiteral("string");
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
            action.group = QStringLiteral("Sans groupe");
        action.deviceType = entry.value(QLatin1String("deviceType")).toString();
        for (const QJsonValue &p : entry.value(QLatin1String("params")).toArray()) {
            const QJsonObject param = p.toObject();
            // Both spellings exist in the catalogs in use; the correct one wins.
            const QJsonValue type = param.contains(QLatin1String("preferredType"))
                                        ? param.value(QLatin1String("preferredType"))
                                        : param.value(QLatin1String("preferedType"));
            action.params.append({param.value(QLatin1String("name")).toString(), type.toString(),
                                  param.value(QLatin1String("default"))});
        }
        actions.append(action);
    }
    return actions;
}

const ActionDescription *findAction(const QVector<ActionDescription> &actions, const QString &name)
{
    for (const ActionDescription &action : actions) {
        if (action.name.compare(name.trimmed(), Qt::CaseInsensitive) == 0)
            return &action;
    }
    return nullptr;
}

QJsonValue argumentFromText(const QString &text, const QString &kind)
{
    const QString t = text.trimmed();
    if (t == QLatin1String("arg_0") || t.startsWith(QLatin1String("transform(")) ||
        t.startsWith(QLatin1String("state(")))
        return t;
    bool ok = false;
    if (kind == QLatin1String("bool")) {
        if (t.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0)
            return true;
        if (t.compare(QLatin1String("false"), Qt::CaseInsensitive) == 0)
            return false;
    } else if (kind == QLatin1String("int")) {
        const qlonglong number = t.toLongLong(&ok);
        if (ok)
            return double(number);
    } else if (kind == QLatin1String("double")) {
        const double number = t.toDouble(&ok);
        if (ok && std::isfinite(number))
            return number;
    }
    return t;
}

QString argumentToText(const QJsonValue &value, const QString &kind)
{
    if (value.isBool())
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    if (value.isDouble()) {
        if (kind == QLatin1String("int"))
            return QString::number(qlonglong(std::llround(value.toDouble())));
        return QString::number(value.toDouble(), 'g', 6);
    }
    if (value.isString())
        return value.toString();
    if (value.isUndefined() || value.isNull())
        return kind == QLatin1String("double") ? QStringLiteral("0.0") : QString();
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
        if (kind == QLatin1String("string") && !text.isEmpty())
            text = QLatin1Char('"') + text + QLatin1Char('"');
        parts << QStringLiteral("%1 %2 = %3").arg(kind, param.name, text);
    }
    return QStringLiteral("%1(%2)").arg(action.name, parts.join(QStringLiteral(", ")));
}
