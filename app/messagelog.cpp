#include "app/messagelog.h"

#include "app/messagefiles.h"

#include <QDateTime>
#include <QThread>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace {

constexpr qint64 MostWaiting = 1000000; // bytes
constexpr int LargestBlock = 50000;     // bytes; a message more is written at once
constexpr std::chrono::milliseconds LongestFinish(250);

struct Message {
    qint64 time; // milliseconds since 1970
    QByteArray text;
};

/// Every line of the message with the time before it. A modem's answer may hold
/// anything; what is no text becomes a question mark.
QByteArray lines(const Message &message)
{
    const QByteArray time =
        QDateTime::fromMSecsSinceEpoch(message.time).toString("yyyy-MM-dd hh:mm:ss.zzz ").toUtf8();
    QByteArray result;
    QByteArray line;
    const auto endLine = [&] {
        while (line.endsWith(' '))
            line.chop(1);
        if (!line.isEmpty())
            result += time + line + '\n';
        line.clear();
    };
    for (const char c : message.text) {
        const auto code = static_cast<unsigned char>(c);
        if (c == '\n' || c == '\r')
            endLine();
        else
            line += (code < 0x20 && c != '\t') || code == 0x7F ? '?' : c;
    }
    endLine();
    return result;
}

/// Never destroyed: its thread may hang in a folder that does not answer, and
/// other threads may log to the very end.
class MessageLog
{
public:
    explicit MessageLog(const QString &folder) : m_files(folder) {}

    void add(const QByteArray &text)
    {
        // The toolkit says here that there is no thread to be had.
        if (m_starter == QThread::currentThreadId())
            return;
        const qint64 now = QDateTime::currentMSecsSinceEpoch();
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_starter = QThread::currentThreadId();
        const bool runs = !m_finishing && startThread();
        m_starter = nullptr;
        if (!runs)
            return;
        if (m_waitingBytes + text.size() > MostWaiting) {
            ++m_lost;
            return;
        }
        m_waitingBytes += text.size();
        m_waiting.push_back({now, text});
        m_changed.notify_all();
    }

    void finish()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_finishing = true;
        m_changed.notify_all();
        if (!m_changed.wait_for(lock, LongestFinish, [this] { return !m_runs; }))
            return;
        const std::unique_ptr<QThread> thread = std::move(m_thread);
        lock.unlock();
        if (thread)
            thread->wait(); // it has nothing left to do
    }

private:
    /// One of the toolkit's: on Windows it watches every other thread that uses
    /// it, and crashes when the process ends meanwhile.
    class Thread : public QThread
    {
    public:
        explicit Thread(MessageLog *log) : m_log(log) {}

    protected:
        void run() override { m_log->write(); }

    private:
        MessageLog *const m_log;
    };

    bool startThread()
    {
        if (m_runs)
            return true;
        auto thread = std::make_unique<Thread>(this);
        thread->start();
        m_runs = thread->isRunning();
        if (m_runs)
            m_thread = std::move(thread);
        return m_runs;
    }

    void write()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        while (!m_finishing || !m_waiting.empty()) {
            m_changed.wait(lock, [this] { return m_finishing || !m_waiting.empty(); });
            const std::vector<Message> messages = std::exchange(m_waiting, {});
            const int lost = std::exchange(m_lost, 0);
            m_waitingBytes = 0;
            lock.unlock();
            QByteArray block;
            for (const Message &message : messages) {
                block += lines(message);
                if (block.size() > LargestBlock)
                    m_files.write(std::exchange(block, {}));
            }
            if (lost > 0)
                block += QByteArray::number(lost) + " messages are missing here\n";
            if (!block.isEmpty())
                m_files.write(block);
            lock.lock();
        }
        m_runs = false;
        m_changed.notify_all();
    }

    MessageFiles m_files; // the thread's alone
    std::unique_ptr<QThread> m_thread;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Message> m_waiting;
    qint64 m_waitingBytes = 0;
    int m_lost = 0;
    bool m_finishing = false;
    std::atomic<Qt::HANDLE> m_starter{nullptr}; ///< the thread that starts the writer now
    bool m_runs = false;
};

MessageLog *messageLog = nullptr;
QtMessageHandler debugStream = nullptr;

void handleMessage(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    debugStream(type, context, text);
    messageLog->add(text.toUtf8());
    if (type == QtFatalMsg)
        messageLog->finish(); // the process ends when this returns
}

} // namespace

void startMessageLog(const QString &folder)
{
    messageLog = new MessageLog(folder);
    debugStream = qInstallMessageHandler(handleMessage);
}

void addToMessageLog(const QByteArray &text)
{
    if (messageLog)
        messageLog->add(text);
}

void finishMessageLog()
{
    if (messageLog)
        messageLog->finish();
}
