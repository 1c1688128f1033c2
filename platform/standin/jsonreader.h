#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <limits>

namespace platform {

/// Reads the values of a JSON object strictly: what is there must be of the
/// right type and range; what is missing leaves the value as it was. Only the
/// first complaint is kept, as a sentence for people.
class JsonReader
{
public:
    /// `where` stands before the key in complaints. *error stays the caller's
    /// and must outlive the reader.
    JsonReader(const QJsonObject &object, const QString &where, QString *error);

    void boolean(const QString &key, bool *value);
    void text(const QString &key, QString *value);
    void number(const QString &key, double *value, double lowest, double highest);
    void number(const QString &key, int *value, int lowest = 0,
                int highest = std::numeric_limits<int>::max());
    /// Appends the texts of a list.
    void texts(const QString &key, QStringList *value);

    QJsonObject object(const QString &key);
    QList<QJsonObject> objects(const QString &key);

    void complain(const QString &key, const QString &what);

private:
    QJsonArray array(const QString &key);
    QJsonValue take(const QString &key, QJsonValue::Type type, const QString &typeName);

    const QJsonObject m_object;
    const QString m_where;
    QString *m_error;
};

} // namespace platform
