#include "install/fatalerror.h"

#include "app/messagelog.h"

#include <QCoreApplication>
#include <QMessageBox>
#include <QThread>

#include <cstdio>
#include <cstdlib>

namespace {

void showBox(const char *function, const char *message)
{
    QMessageBox::warning(nullptr, QObject::tr("Error in Function %1").arg(QObject::tr(function)),
                         QObject::tr(message), QMessageBox::Ok, QMessageBox::NoButton);
}

/// Ends the process as exit(0) does, but without running destructors: that of
/// the global thread pool would wait for a step that may take minutes, or for
/// the very thread that is ending the process.
[[noreturn]] void endProcess()
{
    finishMessageLog();
    std::fflush(nullptr);
    std::_Exit(EXIT_SUCCESS);
}

/// Lets the GUI thread show the box and end the process: one that another thread ends while
/// the GUI thread is at work may crash. Returns when the program is ending and the GUI
/// thread cannot show it any more.
void endOnGuiThread(QCoreApplication *application, const char *function, const char *message)
{
    QMetaObject::invokeMethod(
        application,
        [=] {
            showBox(function, message);
            endProcess();
        },
        Qt::QueuedConnection);
    // The destructor of the application object waits for the pool's threads.
    // This thread must not wait for the application at the same time.
    while (!QCoreApplication::closingDown())
        QThread::msleep(100);
}

} // namespace

void ShowFatalError(const char *function, const char *message)
{
    QCoreApplication *application = QCoreApplication::instance();
    // Do not touch an application object that is being destroyed.
    if (application && !QCoreApplication::closingDown()) {
        if (QThread::currentThread() == application->thread())
            showBox(function, message);
        else
            endOnGuiThread(application, function, message);
    }
    endProcess();
}
