#include "install/fatalerror.h"

#include "app/messagelog.h"

#include <QCoreApplication>
#include <QMessageBox>
#include <QSemaphore>
#include <QThread>

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace {

void showBox(const char *function, const char *message)
{
    QMessageBox::warning(nullptr, QObject::tr("Error in Function %1").arg(QObject::tr(function)),
                         QObject::tr(message), QMessageBox::Ok, QMessageBox::NoButton);
}

/// Lets the GUI thread show the box. Returns when the box is closed, or when the
/// program is ending and the GUI thread cannot show it any more.
void showBoxOnGuiThread(QCoreApplication *application, const char *function, const char *message)
{
    const auto closed = std::make_shared<QSemaphore>();
    QMetaObject::invokeMethod(
        application,
        [=] {
            showBox(function, message);
            closed->release();
        },
        Qt::QueuedConnection);
    // The destructor of the application object waits for the pool's threads.
    // This thread must not wait for the application at the same time.
    while (!closed->tryAcquire(1, 100)) {
        if (QCoreApplication::closingDown())
            return;
    }
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

} // namespace

void ShowFatalError(const char *function, const char *message)
{
    QCoreApplication *application = QCoreApplication::instance();
    // Do not touch an application object that is being destroyed.
    if (application && !QCoreApplication::closingDown()) {
        if (QThread::currentThread() == application->thread())
            showBox(function, message);
        else
            showBoxOnGuiThread(application, function, message);
    }
    endProcess();
}
