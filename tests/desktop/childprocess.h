#pragma once

#include <QProcess>

/// A process that ends when the one that started it does, however that ended:
/// an aborted run leaves no display, phone or program behind. Start it from
/// the thread that lives longest; the system ties it to that thread.
class ChildProcess : public QProcess
{
public:
    ChildProcess();
    /// Ends the process and waits for it.
    ~ChildProcess() override;

    /// Asks the process to end, makes it end when it does not, and waits.
    void end();

#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
protected:
    void setupChildProcess() override;
#endif
};
