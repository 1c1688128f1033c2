#pragma once

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QString>
#include <QThread>

#include <stdexcept>

/// What a test in a real window throws when the program did not do what it
/// should. The text is for a person.
class NotAsExpected : public std::runtime_error
{
public:
    explicit NotAsExpected(const QString &text) : std::runtime_error(text.toStdString()) {}
};

/// Throws `text` when the condition does not hold.
inline void expect(bool condition, const QString &text)
{
    if (!condition)
        throw NotAsExpected(text);
}

/// How long anything may take that is not bound to a timer of the program, in
/// milliseconds: generous, because the machine may be busy with other tests.
/// Set before anything is waited for where every system is slower than that.
inline int patience = 20000;

/// How long to pause between two looks, in milliseconds. More where a look
/// takes noticeable time from what is waited for.
inline int pauseBetweenLooks = 10;

/// Looks at the condition until it holds; false when it still does not after
/// `timeout` milliseconds. What is watched lives in other processes and tells
/// nobody, hence the looking again.
template<typename Condition> bool comesTrue(Condition condition, int timeout = patience)
{
    QElapsedTimer timer;
    timer.start();
    for (;;) {
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        if (condition())
            return true;
        if (timer.elapsed() >= timeout)
            return false;
        QThread::msleep(static_cast<unsigned long>(pauseBetweenLooks));
    }
}

/// Waits until the condition holds; throws, naming `what`, when it does not
/// come true in time.
template<typename Condition>
void waitFor(const QString &what, Condition condition, int timeout = patience)
{
    expect(comesTrue(condition, timeout), QString("%1: not within %2 ms").arg(what).arg(timeout));
}
