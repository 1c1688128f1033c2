#pragma once

#include "platform/simulated/machinesession.h"
#include "platform/simulated/simulatedpc.h"
#include "platform/text.h"
#include "tests/platform/posix_pty.h"
#include "virtualphone/pluggedphone.h"

#include <QDir>
#include <QFile>
#include <QMap>
#include <QSaveFile>
#include <QStringList>
#include <QTemporaryDir>
#include <QUuid>

#include <atomic>
#include <functional>
#include <mutex>
#include <sys/eventfd.h>
#include <thread>

/// A machine in a directory of its own that loses no time.
class TestMachine
{
public:
    TestMachine()
    {
        change([](platform::simulated::MachineState &state) {
            state.installerDurationMs = 0;
            state.rescanDurationMs = 0;
            state.answerTimeoutMs = 2000;
            state.hangUpGuardMs = 30; // longer than the phones', as on a real PC
        });
    }

    QString directory() const { return m_directory.path(); }
    QString path(const QString &name) const { return m_directory.filePath(name); }

    platform::simulated::MachineState state() const
    {
        return platform::simulated::MachineSession(m_directory.path()).state;
    }
    void change(const std::function<void(platform::simulated::MachineState &)> &edit)
    {
        platform::simulated::MachineSession session(m_directory.path());
        edit(session.state);
        if (!session.save())
            qFatal("the test's machine cannot be written");
    }
    void setAdministrator(bool on)
    {
        change([on](platform::simulated::MachineState &state) { state.administrator = on; });
    }

    /// A file beside the state; its path as the program would write it.
    QString write(const QString &name, const QByteArray &content)
    {
        QFile file(path(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
            qFatal("the test's file cannot be written");
        return path(name).replace('/', '\\');
    }

private:
    QTemporaryDir m_directory;
};

inline QByteArray modemInf(const char *id = "mtkgprsmodem")
{
    return QByteArray("[Version]\nSignature=\"$Windows NT$\"\nClass=Modem\n"
                      "ClassGuid={4D36E96D-E325-11CE-BFC1-08002BE10318}\n"
                      "[Manufacturer]\nMaker=Models,NTamd64\n"
                      "[Models]\n\"MTK GPRS Modem\"=Install,") +
           id + "\n[Models.NTamd64]\n\"MTK GPRS Modem\"=Install," + id + "\n";
}

/// A phone in a USB socket whose answers the test writes. It answers from a
/// thread of its own, so that the test may block.
class ScriptedPhone
{
public:
    explicit ScriptedPhone(const QString &machine, int socketNumber = 1,
                           const QString &product = "USB Modem Driver")
        : m_bus(machine + "/usb"),
          m_socket(socketNumber),
          m_product(product),
          m_stop(::eventfd(0, EFD_CLOEXEC))
    {
        m_answers = {{"ATZ", "\r\nOK\r\n"},
                     {"ATD*99#", "\r\nCONNECT 115200\r\n"},
                     {"ATH", "\r\nOK\r\n"},
                     {"+++", "\r\nOK\r\n"}};
        plugIn();
        m_thread = std::thread([this] { run(); });
    }
    ~ScriptedPhone()
    {
        stopThread();
        ::close(m_stop);
        QFile::remove(fileName());
    }

    void unplug()
    {
        stopThread();
        QFile::remove(fileName());
        m_pty.hangUp();
    }

    /// The same socket again: another plug-in.
    void plugIn()
    {
        m_plugId = QUuid::createUuid().toString();
        publish(false);
    }

    bool isPluggedIn() const { return QFile::exists(fileName()); }

    void publish(bool carrier, qint64 pid = ::getpid())
    {
        QDir().mkpath(m_bus);
        const virtualphone::PluggedPhone phone{m_product, m_pty.node(), m_plugId, carrier, pid};
        QSaveFile file(fileName());
        if (!file.open(QIODevice::WriteOnly) || file.write(phone.toJson()) < 0 || !file.commit())
            qFatal("the test's phone cannot be plugged in");
    }

    QString fileName() const { return m_bus + '/' + virtualphone::socketFileName(m_socket); }
    QString plugId() const { return m_plugId; }
    QString node() const { return m_pty.node(); }

    QStringList commands() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_commands;
    }

    /// What is said to a command from now on.
    void setAnswer(const QString &command, const QByteArray &text)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_answers[command] = text;
    }

    /// Whether CONNECT raises the carrier at all.
    std::atomic<bool> raisesCarrier{true};

    /// The phone is pulled instead of answering this command, counted from 1.
    std::atomic<int> pulledAt{0};

    /// What else goes with it then, in the phone's thread. Set it before `pulledAt`.
    std::function<void()> whenPulled;

private:
    void run()
    {
        QByteArray received;
        for (;;) {
            pollfd states[2] = {{m_stop, POLLIN, 0}, {m_pty.master(), POLLIN, 0}};
            ::poll(states, 2, -1);
            if (states[0].revents)
                return;
            char buffer[256];
            const ssize_t count = ::read(m_pty.master(), buffer, sizeof buffer);
            if (count <= 0)
                return;
            received.append(buffer, static_cast<int>(count));
            int end = 0;
            while ((end = static_cast<int>(received.indexOf('\r'))) >= 0 || received == "+++") {
                const QString command = received == "+++" ? QString("+++") : received.left(end);
                received = received == "+++" ? QByteArray() : received.mid(end + 1);
                if (!answer(command))
                    return;
            }
        }
    }

    /// False when the phone has been pulled.
    bool answer(const QString &command)
    {
        QByteArray text;
        int count = 0;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_commands += command;
            count = static_cast<int>(m_commands.size());
            text = m_answers.value(command);
        }
        if (count == pulledAt) {
            if (whenPulled)
                whenPulled();
            QFile::remove(fileName());
            m_pty.hangUp();
            return false;
        }
        if (command == "ATH")
            publish(false);
        if (!text.isEmpty())
            m_pty.send(text);
        // After the word, so that nobody may rely on the order.
        if (text.contains("CONNECT") && raisesCarrier)
            publish(true);
        return true;
    }

    void stopThread()
    {
        const std::uint64_t one = 1;
        if (m_thread.joinable() && ::write(m_stop, &one, sizeof one) == sizeof one)
            m_thread.join();
    }

    Pty m_pty;
    const QString m_bus;
    const int m_socket;
    const QString m_product;
    QString m_plugId;
    const int m_stop;
    std::thread m_thread;
    mutable std::mutex m_mutex;
    QStringList m_commands;
    QMap<QString, QByteArray> m_answers; // silence to what is not there
};
