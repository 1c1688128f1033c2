#include "platform/posix/storedfiles.h"
#include "platform/simulated/families.h"
#include "platform/simulated/machinesession.h"
#include "platform/simulated/usbbus.h"
#include "platform/standin/deviceinstallation.h"

namespace platform::simulated {

namespace {

/// The state directory as device installation sees it; every call looks at it
/// afresh.
class SimulatedMachine : public Machine
{
public:
    explicit SimulatedMachine(const QString &directory) : m_directory(directory) {}

    DWORD presentPorts(QList<PortDevice> *ports) override
    {
        // The on-board port comes first: it was enumerated when the machine started.
        *ports += PortDevice{OnBoardPort, "Communications Port (COM1)", "ACPI\\PNP0501\\1",
                             QStringList("ACPI\\PNP0501")};
        MachineSession session(m_directory);
        const auto phonePorts = simulated::presentPorts(&session);
        if (!phonePorts)
            return ErrorGenFailure;
        for (const PresentPort &port : *phonePorts) {
            const QString id = QString("USB\\PHONE\\SOCKET%1").arg(port.phone.socket);
            *ports += PortDevice{port.number, port.friendlyName(), id, QStringList("USB\\PHONE")};
        }
        return Success;
    }

    DWORD readDevices(DeviceList *list) override
    {
        const MachineSession session(m_directory);
        *list = {session.state.devices, session.state.nextDevInst};
        return Success;
    }

    DWORD changeDevices(const std::function<DWORD(DeviceList *)> &change) override
    {
        MachineSession session(m_directory);
        if (!session.state.administrator)
            return ErrorAccessDenied;
        const DeviceList before = {session.state.devices, session.state.nextDevInst};
        DeviceList list = before;
        const DWORD code = change(&list);
        if (code != Success || list == before)
            return code;
        session.state.devices = list.devices;
        session.state.nextDevInst = list.nextDevInst;
        return session.save() ? Success : ErrorGenFailure;
    }

    QString infFolder() const override { return m_directory + "/inf"; }

    DWORD writeInf(const QString &fileName, const QByteArray &content) override
    {
        const DWORD code = makeFolder(infFolder());
        return code == Success ? replaceFile(infFolder() + '/' + fileName, content, 0644) : code;
    }

    /// As on 64-bit Windows, which takes no sections without a decoration.
    QStringList modelDecorations() override
    {
        switch (MachineSession(m_directory).state.windows.processor) {
        case Processor::Itanium:
            return {"NTia64"};
        case Processor::X86:
            return {"NTx86", QString()};
        case Processor::X64:
            break;
        }
        return {"NTamd64"};
    }

private:
    const QString m_directory;
};

} // namespace

void provideDeviceInstallation(Platform *platform, const QString &directory)
{
    platform::provideDeviceInstallation(platform, std::make_shared<SimulatedMachine>(directory));
}

} // namespace platform::simulated
