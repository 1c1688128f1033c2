#include "platform/standin/jsonreader.h"

namespace platform {

JsonReader::JsonReader(const QJsonObject &object, const QString &where, QString *error)
    : m_object(object), m_where(where), m_error(error)
{
}

void JsonReader::boolean(const QString &key, bool *value)
{
    const QJsonValue found = take(key, QJsonValue::Bool, "true or false");
    if (found.isBool())
        *value = found.toBool();
}

void JsonReader::text(const QString &key, QString *value)
{
    const QJsonValue found = take(key, QJsonValue::String, "a text");
    if (found.isString())
        *value = found.toString();
}

void JsonReader::number(const QString &key, double *value, double lowest, double highest)
{
    const QJsonValue found = take(key, QJsonValue::Double, "a number");
    if (!found.isDouble())
        return;
    const double read = found.toDouble();
    if (read < lowest || read > highest)
        complain(key, QString("must be from %1 to %2").arg(lowest).arg(highest, 0, 'f', 0));
    else
        *value = read;
}

void JsonReader::number(const QString &key, int *value, int lowest, int highest)
{
    double read = *value;
    number(key, &read, lowest, highest);
    *value = static_cast<int>(read);
}

void JsonReader::texts(const QString &key, QStringList *value)
{
    for (const auto &item : array(key)) {
        if (item.isString())
            *value += item.toString();
        else
            complain(key, "must hold texts only");
    }
}

QJsonObject JsonReader::object(const QString &key)
{
    return take(key, QJsonValue::Object, "an object").toObject();
}

QList<QJsonObject> JsonReader::objects(const QString &key)
{
    QList<QJsonObject> result;
    for (const auto &item : array(key)) {
        if (item.isObject())
            result += item.toObject();
        else
            complain(key, "must hold objects only");
    }
    return result;
}

void JsonReader::complain(const QString &key, const QString &what)
{
    if (m_error->isEmpty())
        *m_error = QString("\"%1%2\" %3").arg(m_where, key, what);
}

QJsonArray JsonReader::array(const QString &key)
{
    return take(key, QJsonValue::Array, "a list").toArray();
}

QJsonValue JsonReader::take(const QString &key, QJsonValue::Type type, const QString &typeName)
{
    const QJsonValue found = m_object.value(key);
    if (!found.isUndefined() && found.type() != type) {
        complain(key, "must be " + typeName);
        return QJsonValue(QJsonValue::Undefined);
    }
    return found;
}

} // namespace platform
