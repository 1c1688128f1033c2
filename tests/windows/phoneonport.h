#pragma once

#include <QStringList>
#include <QTemporaryDir>

#include <memory>

class WineMachine;
namespace virtualphone {
class VirtualPhoneThread;
}

/// The virtual phone, plugged in on COM7 of a machine under Wine for as long as
/// it lives.
class PhoneOnPort
{
public:
    explicit PhoneOnPort(WineMachine &machine);
    ~PhoneOnPort();

    /// Plugs it in and gives it commands of its control, for example "set delay
    /// 300". Its echo is off unless one of them says otherwise. Throws
    /// NotAsExpected when it cannot be done.
    void plugIn(const QStringList &commands = {});
    void unplug();

    /// What the program has sent, a chunk an entry, escaped as in the phone's
    /// transcript.
    QStringList bytesFromPc() const;

private:
    WineMachine &m_machine;
    std::unique_ptr<QTemporaryDir> m_files;
    std::unique_ptr<virtualphone::VirtualPhoneThread> m_phone;
};
