#pragma once

#include <QObject>
#include <QString>
#include <QThread>

#include <atomic>
#include <memory>

/// Sees to it that a user has the program open once in a session. The first
/// start holds a named event of the system; a later one finds it, signals it and
/// is to end. The system frees the event when its process ends, however it ends.
/// To be made and destroyed on the GUI thread, after platform::setCurrent().
class SingleInstance : public QObject
{
    Q_OBJECT

public:
    /// `settingsFile` tells users apart: programs that use the same file in the
    /// same session meet.
    explicit SingleInstance(const QString &settingsFile);
    /// From now on the next start is a first one.
    ~SingleInstance() override;

    /// False when another one was there and has been told. Also true when the
    /// system does not say, or the other one is of another user: better two
    /// windows than none.
    bool isFirst() const { return m_isFirst; }

    /// Reports later starts from now on, and those since the constructor. Call
    /// once, when startedAgain() is connected.
    void watch();

signals:
    /// The program was started again. Emitted on a thread of this object's own.
    void startedAgain();

private:
    /// What the thread may still look at when this object is gone.
    struct Watch {
        void *event = nullptr; // a HANDLE; null when there is nothing to wait for
        std::atomic<bool> ending{false};
    };

    class Watcher;

    const std::shared_ptr<Watch> m_watch = std::make_shared<Watch>();
    bool m_isFirst = true;
    std::unique_ptr<QThread> m_watcher;
};
