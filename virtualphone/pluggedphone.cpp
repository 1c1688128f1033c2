#include "virtualphone/pluggedphone.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

namespace virtualphone {

namespace {
const char productKey[] = "product";
const char ttyKey[] = "tty";
const char plugIdKey[] = "plugId";
const char carrierKey[] = "carrier";
const char processIdKey[] = "pid";
} // namespace

QByteArray PluggedPhone::toJson() const
{
    const QJsonObject record{{productKey, product},
                             {ttyKey, tty},
                             {plugIdKey, plugId},
                             {carrierKey, carrier},
                             {processIdKey, processId}};
    return QJsonDocument(record).toJson();
}

bool PluggedPhone::fromJson(const QByteArray &json)
{
    const QJsonObject record = QJsonDocument::fromJson(json).object();
    product = record.value(productKey).toString();
    tty = record.value(ttyKey).toString();
    plugId = record.value(plugIdKey).toString();
    carrier = record.value(carrierKey).toBool();
    processId = static_cast<qint64>(record.value(processIdKey).toDouble());
    return !product.isEmpty() && !tty.isEmpty() && !plugId.isEmpty();
}

QString socketFileName(int socket)
{
    return QString("socket%1.json").arg(socket);
}

int socketOfFileName(const QString &fileName)
{
    static const QRegularExpression pattern("^socket([1-9][0-9]{0,3})\\.json$");
    return pattern.match(fileName).captured(1).toInt();
}

} // namespace virtualphone
