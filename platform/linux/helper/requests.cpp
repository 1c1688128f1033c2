#include "platform/linux/helper/requests.h"

#include "platform/linux/setupapi.h"

namespace platform::linuxsystem {

namespace {

QString base64(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toBase64());
}

QJsonObject toJson(const DeviceList &list)
{
    QJsonObject object;
    writeDevices(&object, list);
    return object;
}

} // namespace

QJsonObject installDriverRequest()
{
    return {{"do", "install-driver"}};
}

QJsonObject rescanRequest()
{
    return {{"do", "rescan"}};
}

QJsonObject storeInfRequest(const QString &name, const QByteArray &content)
{
    return {{"do", "store-inf"}, {"name", name}, {"content", base64(content)}};
}

QJsonObject changeDevicesRequest(const DeviceList &seen, const DeviceList &wanted)
{
    return {{"do", "change-devices"}, {"seen", toJson(seen)}, {"wanted", toJson(wanted)}};
}

QJsonObject putStateAsideRequest()
{
    return {{"do", "put-state-aside"}};
}

QJsonObject writeEntryRequest(const QString &name, const RasEntry &entry)
{
    const QByteArray record(reinterpret_cast<const char *>(&entry), sizeof entry);
    return {{"do", "write-entry"}, {"name", name}, {"record", base64(record)}};
}

QJsonObject dialRequest(const QString &entry, const QString &device, const QString &number)
{
    return {{"do", "dial"}, {"entry", entry}, {"device", device}, {"number", number}};
}

QJsonObject signInRequest(const QString &name, const QString &password)
{
    return {{"do", "sign-in"}, {"name", name}, {"password", password}};
}

QJsonObject freeLineRequest(const QString &device)
{
    return {{"do", "free-line"}, {"device", device}};
}

QJsonObject hangUpRequest(pid_t process)
{
    return {{"do", "hang-up"}, {"process", process}};
}

} // namespace platform::linuxsystem
