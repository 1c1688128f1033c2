#include "app/operators.h"
#include "platform/simulated/simulatedpc.h"
#include "platform/simulated/usbbus.h"
#include "tests/faults/machines.h"
#include "tests/platform/dialdialog.h"
#include "tests/platform/simulated_fixture.h"

#include <QElapsedTimer>
#include <QThread>

using namespace platform;
using platform::simulated::MachineSession;

namespace faults {

namespace {

/// The simulated PC as it is, with a phone in a socket and programs that are quick.
class SimulatedWalkedMachine : public WalkedMachine
{
public:
    explicit SimulatedWalkedMachine(const QString &folder)
        : m_folder(folder + "/pc"), m_pc(prepared(m_folder))
    {
        plugPhone();
        // Nobody waits for the installer, so the set-up may be ahead of it. The
        // walk is not: it is the same each time.
        m_pc.CreateProcessW.wrap([this](auto &next, auto... arguments) {
            const BOOL isStarted = next(arguments...);
            QElapsedTimer time;
            time.start();
            while (isStarted && !MachineSession(m_folder).state.portDriverInstalled) {
                if (time.elapsed() > 10000)
                    qFatal("the driver installer does not end");
                QThread::msleep(1);
            }
            return isStarted;
        });
    }

    Platform *platform() override { return &m_pc; }

    Facts facts() const override
    {
        Facts facts = ownFiles();
        facts.devices = QStringList{"Communications Port (COM1)", "USB Modem Driver (COM5)"};
        facts.port = 5;
        facts.isReal = true;
        return facts;
    }

    void setOtherCopy(bool) override {}

    void answerDial() override {}

    void answerDialogs() override
    {
        DialDialog *dialog = openDialDialog();
        if (dialog && status(dialog).startsWith("Error"))
            cancelButton(dialog)->click();
    }

    void pullPhone() override { m_phone.reset(); }

    void plugPhone() override
    {
        if (m_phone && m_phone->isPluggedIn())
            return;
        m_phone.reset();
        m_phone = std::make_unique<ScriptedPhone>(m_folder);
        m_phone->setAnswer("AT", "\r\nOK\r\n");
        for (const QString &name : MobileOperatorNames()) {
            const QString apn = MobileOperatorApn(name);
            m_phone->setAnswer(QString("AT+CGDCONT=1,\"IP\",\"%1\"").arg(apn), "\r\nOK\r\n");
        }
    }

    void pullPhoneAtCommand(int command) override { m_phone->pulledAt = command; }

    int heardCommands() const override
    {
        return m_phone ? static_cast<int>(m_phone->commands().size()) : 0;
    }

    bool isConnected() const override
    {
        MachineSession session(m_folder);
        simulated::dropDeadConnections(&session);
        return !session.state.connections.isEmpty();
    }

    void dropConnection() override { m_phone->publish(false); }

    int misuses() const override { return 0; }

private:
    static QString prepared(const QString &folder)
    {
        QDir().mkpath(folder);
        MachineSession session(folder);
        session.state.installerDurationMs = 0;
        session.state.rescanDurationMs = 0;
        session.state.answerTimeoutMs = 2000;
        session.state.hangUpGuardMs = 30;
        if (!session.save())
            qFatal("the walk's machine cannot be written");
        return folder;
    }

    const QString m_folder;
    simulated::SimulatedPc m_pc;
    std::unique_ptr<ScriptedPhone> m_phone;
};

} // namespace

std::unique_ptr<WalkedMachine> simulatedMachine(const QString &folder)
{
    return std::make_unique<SimulatedWalkedMachine>(folder);
}

} // namespace faults
