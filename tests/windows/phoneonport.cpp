#include "tests/windows/phoneonport.h"

#include "tests/windows/winemachine.h"
#include "virtualphone/virtualphonethread.h"

#include <QFile>

namespace {

constexpr int Port = 7;

} // namespace

PhoneOnPort::PhoneOnPort(WineMachine &machine) : m_machine(machine) {}

PhoneOnPort::~PhoneOnPort()
{
    unplug();
}

void PhoneOnPort::plugIn(const QStringList &commands)
{
    m_files = std::make_unique<QTemporaryDir>();
    virtualphone::PhoneOptions options;
    options.transcriptFile = m_files->filePath("transcript.txt");
    m_phone = std::make_unique<virtualphone::VirtualPhoneThread>(options);
    QString error;
    const QString device = m_phone->start(&error);
    expect(!device.isEmpty(), error);
    for (const QString &command : QStringList{"set echo off"} + commands) {
        const QString answer = m_phone->control(command);
        expect(answer.startsWith("ok"), command + ": " + answer);
    }
    m_machine.setPort(Port, device);
}

void PhoneOnPort::unplug()
{
    m_machine.setPort(Port, {});
    m_phone.reset();
}

QStringList PhoneOnPort::bytesFromPc() const
{
    QFile file(m_files->filePath("transcript.txt"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QStringList chunks;
    for (const QString &line : QString::fromUtf8(file.readAll()).split('\n')) {
        if (line.contains(" pc->phone "))
            chunks.append(line.section('"', 1, -2));
    }
    return chunks;
}
