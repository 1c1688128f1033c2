#include "platform/simulated/machinestate.h"

#include "platform/standin/jsonreader.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <limits>

namespace platform::simulated {

namespace {

constexpr int FormatVersion = 1;

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
    JsonReader reader(object, "windows.", error);
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

QJsonObject connectionToJson(const Connection &connection)
{
    return {{"handle", connection.handle}, {"entry", connection.entry},
            {"device", connection.device}, {"plugId", connection.plugId},
            {"port", connection.port},     {"since", connection.since}};
}

Connection connectionFromJson(const QJsonObject &object, QString *error)
{
    Connection connection;
    JsonReader reader(object, "connections.", error);
    reader.number("handle", &connection.handle, 1);
    reader.text("entry", &connection.entry);
    reader.text("device", &connection.device);
    reader.text("plugId", &connection.plugId);
    reader.number("port", &connection.port, 1, LastPort);
    reader.number("since", &connection.since, 0, 1e15);
    for (const char *key : {"handle", "port"}) {
        if (!object.contains(key)) // its default is no value that can be read again
            reader.complain(key, "is missing");
    }
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
    JsonReader reader(object, "faults.", error);
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

const RootDevice *MachineState::findDeviceNamed(const QString &friendlyName) const
{
    for (const RootDevice &device : devices) {
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
        {"nextDevInst", static_cast<double>(nextDevInst)},
        {"devices", listToJson(devices, platform::toJson)},
        {"phonebookDamaged", phonebookDamaged},
        {"phonebookProtected", phonebookProtected},
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

    JsonReader reader(document.object(), QString(), error);
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
        JsonReader(ports, "portOfSocket.", error)
            .number(socket, &portOfSocket[socket.toInt()], 1, LastPort);
    double next = nextDevInst;
    reader.number("nextDevInst", &next, next, std::numeric_limits<int>::max());
    nextDevInst = static_cast<DEVINST>(next);
    for (const QJsonObject &device : reader.objects("devices"))
        devices += deviceFromJson(device, error);
    reader.boolean("phonebookDamaged", &phonebookDamaged);
    reader.boolean("phonebookProtected", &phonebookProtected);
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
