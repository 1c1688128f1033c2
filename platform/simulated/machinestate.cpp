#include "platform/simulated/machinestate.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <limits>

namespace platform::simulated {

namespace {

constexpr int FormatVersion = 1;

/// Reads values strictly: what is there must be of the right type and range.
/// Only the first complaint is kept.
class Reader
{
public:
    Reader(const QJsonObject &object, const QString &where, QString *error)
        : m_object(object), m_where(where), m_error(error)
    {
    }

    void boolean(const QString &key, bool *value)
    {
        const QJsonValue found = take(key, QJsonValue::Bool, "true or false");
        if (found.isBool())
            *value = found.toBool();
    }

    void text(const QString &key, QString *value)
    {
        const QJsonValue found = take(key, QJsonValue::String, "a text");
        if (found.isString())
            *value = found.toString();
    }

    void number(const QString &key, double *value, double lowest, double highest)
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

    void number(const QString &key, int *value, int lowest = 0,
                int highest = std::numeric_limits<int>::max())
    {
        double read = *value;
        number(key, &read, lowest, highest);
        *value = static_cast<int>(read);
    }

    void texts(const QString &key, QStringList *value)
    {
        for (const auto &item : array(key)) {
            if (item.isString())
                *value += item.toString();
            else
                complain(key, "must hold texts only");
        }
    }

    QJsonArray array(const QString &key)
    {
        return take(key, QJsonValue::Array, "a list").toArray();
    }

    QJsonObject object(const QString &key)
    {
        return take(key, QJsonValue::Object, "an object").toObject();
    }

    QList<QJsonObject> objects(const QString &key)
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

    void complain(const QString &key, const QString &what)
    {
        if (m_error->isEmpty())
            *m_error = QString("\"%1%2\" %3").arg(m_where, key, what);
    }

private:
    QJsonValue take(const QString &key, QJsonValue::Type type, const QString &typeName)
    {
        const QJsonValue found = m_object.value(key);
        if (!found.isUndefined() && found.type() != type) {
            complain(key, "must be " + typeName);
            return QJsonValue(QJsonValue::Undefined);
        }
        return found;
    }

    const QJsonObject m_object;
    const QString m_where;
    QString *m_error;
};

QJsonObject windowsToJson(const WindowsRelease &windows)
{
    return {{"major", windows.major},
            {"minor", windows.minor},
            {"build", windows.build},
            {"platformId", windows.platformId},
            {"productType", windows.productType},
            {"suiteMask", windows.suiteMask},
            {"serverR2", windows.serverR2},
            {"servicePack", windows.servicePack},
            {"processor", processorName(windows.processor)},
            {"nativeSystemInfo", windows.nativeSystemInfo}};
}

void windowsFromJson(const QJsonObject &object, WindowsRelease *windows, QString *error)
{
    Reader reader(object, "windows.", error);
    reader.number("major", &windows->major);
    reader.number("minor", &windows->minor);
    reader.number("build", &windows->build);
    reader.number("platformId", &windows->platformId);
    reader.number("productType", &windows->productType, 0, 255);
    reader.number("suiteMask", &windows->suiteMask, 0, 0xFFFF);
    reader.number("serverR2", &windows->serverR2);
    reader.number("servicePack", &windows->servicePack, 0, 0xFFFF);
    reader.boolean("nativeSystemInfo", &windows->nativeSystemInfo);
    QString processor = processorName(windows->processor);
    reader.text("processor", &processor);
    if (!processorFromName(processor, &windows->processor))
        reader.complain("processor", "must be x86, x64 or ia64");
}

QJsonObject deviceToJson(const Device &device)
{
    QJsonObject result = {{"devInst", device.devInst},
                          {"instanceId", device.instanceId},
                          {"class", device.className},
                          {"classGuid", device.classGuid},
                          {"hardwareIds", QJsonArray::fromStringList(device.hardwareIds)},
                          {"friendlyName", device.friendlyName},
                          {"driverInf", device.driverInf}};
    if (device.hasDriverKey) {
        QJsonObject key;
        for (auto it = device.driverKey.cbegin(); it != device.driverKey.cend(); ++it)
            key[it.key()] = it.value();
        result["driverKey"] = key;
    }
    return result;
}

Device deviceFromJson(const QJsonObject &object, QString *error)
{
    Device device;
    Reader reader(object, "devices.", error);
    reader.number("devInst", &device.devInst);
    reader.text("instanceId", &device.instanceId);
    reader.text("class", &device.className);
    reader.text("classGuid", &device.classGuid);
    reader.texts("hardwareIds", &device.hardwareIds);
    reader.text("friendlyName", &device.friendlyName);
    reader.text("driverInf", &device.driverInf);
    // A key without values exists all the same: opening it succeeds.
    device.hasDriverKey = object.contains("driverKey");
    const QJsonObject key = reader.object("driverKey");
    for (auto it = key.begin(); it != key.end(); ++it) {
        if (it.value().isString())
            device.driverKey[it.key()] = it.value().toString();
        else
            reader.complain("driverKey", "must hold texts only");
    }
    return device;
}

QJsonObject connectionToJson(const Connection &connection)
{
    return {{"handle", connection.handle}, {"entry", connection.entry},
            {"device", connection.device}, {"plugId", connection.plugId},
            {"port", connection.port},     {"since", connection.since}};
}

Connection connectionFromJson(const QJsonObject &object, QString *error)
{
    Connection connection;
    Reader reader(object, "connections.", error);
    reader.number("handle", &connection.handle, 1);
    reader.text("entry", &connection.entry);
    reader.text("device", &connection.device);
    reader.text("plugId", &connection.plugId);
    reader.number("port", &connection.port, 1, LastPort);
    reader.number("since", &connection.since, 0, 1e15);
    return connection;
}

QJsonObject faultToJson(const InjectedFault &fault)
{
    return {{"operation", fault.operation},
            {"call", fault.call},
            {"code", fault.code},
            {"always", fault.always}};
}

InjectedFault faultFromJson(const QJsonObject &object, QString *error)
{
    InjectedFault fault;
    Reader reader(object, "faults.", error);
    reader.text("operation", &fault.operation);
    reader.number("call", &fault.call, 1);
    reader.number("code", &fault.code, 0, std::numeric_limits<DWORD>::max());
    reader.boolean("always", &fault.always);
    return fault;
}

template<class Item>
QJsonArray listToJson(const QList<Item> &items, QJsonObject (*toJson)(const Item &))
{
    QJsonArray result;
    for (const Item &item : items)
        result += toJson(item);
    return result;
}

} // namespace

QString processorName(Processor processor)
{
    switch (processor) {
    case Processor::X86:
        return "x86";
    case Processor::Itanium:
        return "ia64";
    case Processor::X64:
        break;
    }
    return "x64";
}

bool processorFromName(const QString &name, Processor *processor)
{
    for (const Processor each : {Processor::X86, Processor::X64, Processor::Itanium}) {
        if (processorName(each) == name) {
            *processor = each;
            return true;
        }
    }
    return false;
}

Device *MachineState::findDevice(const QString &instanceId)
{
    for (Device &device : devices) {
        if (device.instanceId == instanceId)
            return &device;
    }
    return nullptr;
}

const Device *MachineState::findDeviceNamed(const QString &friendlyName) const
{
    for (const Device &device : devices) {
        if (device.friendlyName == friendlyName)
            return &device;
    }
    return nullptr;
}

QByteArray MachineState::toJson() const
{
    QJsonObject ports;
    for (auto it = portOfSocket.cbegin(); it != portOfSocket.cend(); ++it)
        ports[QString::number(it.key())] = it.value();
    QJsonObject entries;
    for (auto it = phonebook.cbegin(); it != phonebook.cend(); ++it)
        entries[it.key()] = it.value();

    const QJsonObject root = {
        {"version", FormatVersion},
        {"administrator", administrator},
        {"windows", windowsToJson(windows)},
        {"installerDurationMs", installerDurationMs},
        {"rescanDurationMs", rescanDurationMs},
        {"answerTimeoutMs", answerTimeoutMs},
        {"hangUpGuardMs", hangUpGuardMs},
        {"portDriverInstalled", portDriverInstalled},
        {"unmatchedPlugIds", QJsonArray::fromStringList(unmatchedPlugIds)},
        {"portOfSocket", ports},
        {"nextDevInst", nextDevInst},
        {"devices", listToJson(devices, deviceToJson)},
        {"phonebookDamaged", phonebookDamaged},
        {"phonebook", entries},
        {"nextConnection", nextConnection},
        {"connections", listToJson(connections, connectionToJson)},
        {"faults", listToJson(faults, faultToJson)},
    };
    return QJsonDocument(root).toJson();
}

bool MachineState::fromJson(const QByteArray &content, QString *error)
{
    error->clear();
    QJsonParseError parseError = {};
    const QJsonDocument document = QJsonDocument::fromJson(content, &parseError);
    if (!document.isObject()) {
        // Valid JSON that is no object has no parse error to tell.
        *error =
            parseError.error == QJsonParseError::NoError
                ? QString("it holds no object")
                : QString("%1 at byte %2").arg(parseError.errorString()).arg(parseError.offset);
        return false;
    }

    Reader reader(document.object(), QString(), error);
    // A newer program's file is not for this one to overwrite: it counts as
    // damaged and is kept aside.
    int version = FormatVersion;
    reader.number("version", &version, FormatVersion, FormatVersion);
    reader.boolean("administrator", &administrator);
    windowsFromJson(reader.object("windows"), &windows, error);
    reader.number("installerDurationMs", &installerDurationMs);
    reader.number("rescanDurationMs", &rescanDurationMs);
    reader.number("answerTimeoutMs", &answerTimeoutMs);
    reader.number("hangUpGuardMs", &hangUpGuardMs);
    reader.boolean("portDriverInstalled", &portDriverInstalled);
    reader.texts("unmatchedPlugIds", &unmatchedPlugIds);
    const QJsonObject ports = reader.object("portOfSocket");
    for (const QString &socket : ports.keys())
        Reader(ports, "portOfSocket.", error)
            .number(socket, &portOfSocket[socket.toInt()], 1, LastPort);
    reader.number("nextDevInst", &nextDevInst, 2);
    for (const QJsonObject &device : reader.objects("devices"))
        devices += deviceFromJson(device, error);
    reader.boolean("phonebookDamaged", &phonebookDamaged);
    const QJsonObject entries = reader.object("phonebook");
    for (auto it = entries.begin(); it != entries.end(); ++it) {
        if (it.value().isObject())
            phonebook[it.key()] = it.value().toObject();
        else
            reader.complain("phonebook", "must hold objects only");
    }
    reader.number("nextConnection", &nextConnection, 1);
    for (const QJsonObject &connection : reader.objects("connections"))
        connections += connectionFromJson(connection, error);
    for (const QJsonObject &fault : reader.objects("faults"))
        faults += faultFromJson(fault, error);
    return error->isEmpty();
}

} // namespace platform::simulated
