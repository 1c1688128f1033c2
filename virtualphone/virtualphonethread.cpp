#include "virtualphone/virtualphonethread.h"

#include "virtualphone/phonecontrol.h"

#include <QSocketNotifier>
#include <QThread>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <sys/eventfd.h>
#include <unistd.h>

namespace virtualphone {

// Tasks are handed over with the standard library's lock rather than queued
// calls: the thread sanitizer sees it, while the toolkit's is invisible to it.
class VirtualPhoneThread::Worker : public QThread
{
public:
    using Task = std::function<void(VirtualPhone &, PhoneControl &)>;

    explicit Worker(const PhoneOptions &options)
        : m_options(options), m_wakeUp(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    {
    }

    ~Worker() override
    {
        if (isRunning())
            carryOut([](VirtualPhone &, PhoneControl &) { QThread::currentThread()->exit(); });
        wait();
        ::close(m_wakeUp);
    }

    void carryOut(const Task &task)
    {
        const std::lock_guard<std::mutex> turn(m_turn);
        std::unique_lock<std::mutex> lock(m_mutex);
        m_task = &task;
        const uint64_t one = 1;
        if (::write(m_wakeUp, &one, sizeof one) != sizeof one)
            qFatal("virtual phone: cannot wake its thread");
        m_done.wait(lock, [this] { return !m_task; });
    }

protected:
    void run() override
    {
        VirtualPhone phone(m_options);
        PhoneControl control(&phone);
        QSocketNotifier notifier(m_wakeUp, QSocketNotifier::Read);
        QObject::connect(&notifier, &QSocketNotifier::activated, &phone, [&] {
            uint64_t count = 0;
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (::read(m_wakeUp, &count, sizeof count) != sizeof count || !m_task)
                return;
            (*m_task)(phone, control);
            m_task = nullptr;
            m_done.notify_one();
        });
        exec();
    }

private:
    const PhoneOptions m_options;
    const int m_wakeUp;
    std::mutex m_turn; // one caller at a time
    std::mutex m_mutex;
    std::condition_variable m_done;
    const Task *m_task = nullptr;
};

VirtualPhoneThread::VirtualPhoneThread(const PhoneOptions &options)
    : m_worker(std::make_unique<Worker>(options))
{
}

VirtualPhoneThread::~VirtualPhoneThread() = default;

QString VirtualPhoneThread::start(QString *error)
{
    m_worker->start();
    QString tty;
    QString message;
    m_worker->carryOut([&](VirtualPhone &phone, PhoneControl &) {
        if (phone.openTranscript(&message) && phone.plug(phone.socket(), &message))
            tty = phone.ttyName();
    });
    if (error)
        *error = message;
    return tty;
}

QString VirtualPhoneThread::control(const QString &command)
{
    QString answer;
    m_worker->carryOut([&](VirtualPhone &, PhoneControl &phoneControl) {
        answer = phoneControl.execute(command);
    });
    return answer;
}

QString VirtualPhoneThread::ttyName()
{
    QString tty;
    m_worker->carryOut([&](VirtualPhone &phone, PhoneControl &) { tty = phone.ttyName(); });
    return tty;
}

} // namespace virtualphone
