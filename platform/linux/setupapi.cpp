#include "platform/linux/setupapi.h"

#include "platform/linux/families.h"
#include "platform/linux/helper/client.h"
#include "platform/linux/helper/requests.h"
#include "platform/linux/notices.h"
#include "platform/linux/portlist.h"
#include "platform/linux/statestore.h"
#include "platform/posix/storedfiles.h"
#include "platform/standin/deviceinstallation.h"
#include "platform/standin/jsonreader.h"

#include <limits>

namespace platform::linuxsystem {

namespace {

/// The ports are those that udev knows; INF store and root-enumerated devices
/// are kept in the state store, which needs administrator rights to change: the
/// helper has them where this process has not.
class LinuxMachine : public Machine
{
public:
    LinuxMachine(Program program, const std::shared_ptr<StateStore> &store,
                 const std::shared_ptr<HelperClient> &helper,
                 const std::shared_ptr<Notices> &notices)
        : m_program(std::move(program)), m_store(store), m_helper(helper), m_notices(notices)
    {
    }

    DWORD presentPorts(QList<PortDevice> *ports) override
    {
        QList<SerialPortDevice> lines;
        const DWORD code = presentSerialPorts(m_program, m_store.get(), &lines);
        for (const SerialPortDevice &line : std::as_const(lines)) {
            PortDevice port;
            port.number = line.number;
            port.friendlyName = friendlyName(line, m_program);
            port.instanceId = QString(line.identity).replace(':', '\\').toUpper();
            *ports += port;
        }
        tellIfUnreadable(code);
        return code;
    }

    DWORD readDevices(DeviceList *list) override
    {
        const DWORD code = linuxsystem::readDevices(*m_store, list);
        tellIfUnreadable(code);
        return code;
    }

    DWORD changeDevices(const std::function<DWORD(DeviceList *)> &change) override
    {
        if (m_helper->isNeeded())
            return changeByHelper(change);
        DWORD outcome = Success;
        const DWORD code = m_store->change([&](QJsonObject *state) {
            DeviceList list;
            outcome = linuxsystem::readDevices(*state, &list);
            const DeviceList before = list;
            if (outcome == Success)
                outcome = change(&list);
            if (outcome != Success || list == before)
                return false;
            writeDevices(state, list);
            return true;
        });
        return code == Success ? outcome : code;
    }

    QString infFolder() const override { return infFolderOf(*m_store); }

    DWORD writeInf(const QString &fileName, const QByteArray &content) override
    {
        if (m_helper->isNeeded())
            return m_helper->ask(Role::SetUp, storeInfRequest(fileName, content));
        return linuxsystem::writeInf(*m_store, fileName, content);
    }

    QString newDeviceName(const QList<RootDevice> &devices,
                          const QString &description) const override
    {
        return newestName(devices, description);
    }

    /// The driver packages for Linux serve every processor alike.
    QStringList modelDecorations() override { return {QString()}; }

private:
    /// No other window says why there is no port.
    void tellIfUnreadable(DWORD code) const
    {
        if (code == ErrorAccessDenied)
            m_notices->stateForbidden(m_store->file());
        if (code != ErrorInvalidData)
            return;
        m_notices->stateDamaged(m_store->file(), [store = m_store, helper = m_helper] {
            return Success == (helper->isNeeded() ? helper->ask(Role::SetUp, putStateAsideRequest())
                                                  : putDamagedStateAside(store.get()));
        });
    }

    /// The change is worked out here, on what everybody may read, and made by the
    /// helper if nobody else came in between.
    DWORD changeByHelper(const std::function<DWORD(DeviceList *)> &change)
    {
        DWORD code = m_helper->openSetUp();
        for (int attempt = 0; code == Success && attempt < MostAttempts; ++attempt) {
            DeviceList seen;
            code = readDevices(&seen);
            DeviceList wanted = seen;
            if (code == Success)
                code = change(&wanted);
            if (code != Success || wanted == seen)
                return code;
            code = m_helper->ask(Role::SetUp, changeDevicesRequest(seen, wanted));
            if (code != ErrorRetry)
                return code;
            code = Success;
        }
        return code == Success ? DWORD(ErrorGenFailure) : code;
    }

    /// Another program that changes the list as fast may win ten times in a row.
    static constexpr int MostAttempts = 100;

    const Program m_program;
    const std::shared_ptr<StateStore> m_store;
    const std::shared_ptr<HelperClient> m_helper;
    const std::shared_ptr<Notices> m_notices;
};

} // namespace

void provideDeviceInstallation(Platform *platform, const Program &program,
                               const std::shared_ptr<StateStore> &store,
                               const std::shared_ptr<HelperClient> &helper,
                               const std::shared_ptr<Notices> &notices)
{
    platform::provideDeviceInstallation(
        platform, std::make_shared<LinuxMachine>(program, store, helper, notices));
}

QString newestName(const QList<RootDevice> &devices, const QString &description)
{
    static const QString digits = "23456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    constexpr int MostNumbers = 2000; // more than a list may have devices
    QStringList present;
    for (const RootDevice &device : devices)
        present += device.friendlyName;
    const auto name = [&description](int index) {
        const int round = index / int(digits.size());
        return description + " #" + QString(round, digits.back()) +
               digits.at(index % digits.size());
    };
    QString newest = present.contains(description) ? name(0) : description;
    for (int index = 0; index < MostNumbers; ++index) {
        if (present.contains(name(index)))
            newest = name(index + 1);
    }
    return newest;
}

DWORD putDamagedStateAside(StateStore *store)
{
    DeviceList list;
    return readDevices(*store, &list) == ErrorInvalidData ? store->putAside() : DWORD(Success);
}

QString infFolderOf(const StateStore &store)
{
    return store.folder() + "/inf";
}

DWORD writeInf(const StateStore &store, const QString &fileName, const QByteArray &content)
{
    const QString folder = infFolderOf(store);
    const DWORD code = makeFolder(folder);
    return code == Success ? replaceFile(folder + '/' + fileName, content, 0644) : code;
}

DWORD readDevices(const StateStore &store, DeviceList *list)
{
    QJsonObject state;
    const DWORD code = store.read(&state);
    return code == Success ? readDevices(state, list) : code;
}

DWORD readDevices(const QJsonObject &state, DeviceList *list)
{
    QString error;
    JsonReader reader(state, QString(), &error);
    double next = list->nextDevInst;
    reader.number("nextDevInst", &next, next, std::numeric_limits<int>::max());
    list->nextDevInst = static_cast<DEVINST>(next);
    for (const QJsonObject &object : reader.objects("devices"))
        list->devices += deviceFromJson(object, &error);
    // Earlier versions gave no numbers to their devices.
    for (RootDevice &device : list->devices) {
        if (device.devInst == 0)
            device.devInst = list->nextDevInst++;
    }
    return error.isEmpty() ? Success : ErrorInvalidData;
}

void writeDevices(QJsonObject *state, const DeviceList &list)
{
    QJsonArray devices;
    for (const RootDevice &device : list.devices)
        devices.append(toJson(device));
    state->insert("devices", devices);
    state->insert("nextDevInst", static_cast<double>(list.nextDevInst));
}

} // namespace platform::linuxsystem
