#pragma once

#include <QObject>
#include <QString>
#include <QThread>

#include <atomic>
#include <memory>

/// Sees to it that a user has the program open once in a session. The first
/// start holds a named event of the system; a later one finds it, signals it and
/// is to end. The system frees the event when its process ends, however it ends.
/// One exception: a start with an administrator's rights takes over from one
/// without, if that one has nothing to lose.
/// To be made and destroyed on the GUI thread, after platform::setCurrent().
class SingleInstance : public QObject
{
    Q_OBJECT

public:
    /// `settingsFile` tells users apart: programs that use the same file in the
    /// same session meet. With an administrator's rights it waits for the answer
    /// of another one that is there, for AnswerTime at most.
    explicit SingleInstance(const QString &settingsFile);
    /// From now on the next start is a first one.
    ~SingleInstance() override;

    /// How long a window that is busy, or a slow computer, may keep a start with
    /// an administrator's rights waiting; milliseconds.
    static constexpr int AnswerTime = 3000;

    /// False when another one was there and has been told. Also true when the
    /// system does not say, or the other one is of another user: better two
    /// windows than none.
    bool isFirst() const { return m_isFirst; }

    /// Reports later starts from now on, and those since the constructor. Call
    /// once, when startedAgain() is connected.
    void watch();

    /// What to do about startedAgain(), on the GUI thread. True when a start with
    /// an administrator's rights, which this program lacks, goes on in its place:
    /// the program is to end. False when it stays, as it does while `isBusy`.
    bool giveWay(bool isBusy);

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

    bool takeName();
    bool takeOver(void *offer);
    bool isOffered() const;
    void refuseOffer() const;
    void letNameGo();

    const QString m_name;  ///< of the event that the first one holds
    const QString m_offer; ///< of the event that one holds which wants to take over
    const bool m_isAdministrator;
    std::shared_ptr<Watch> m_watch = std::make_shared<Watch>();
    bool m_isFirst = true;
    std::unique_ptr<QThread> m_watcher;
};
