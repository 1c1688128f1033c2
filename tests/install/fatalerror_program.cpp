// Runs into a fatal error in the way its first argument names, and tells on
// standard output what box it showed. Standard output and exit code are the
// test's to judge.
#include "app/identity.h"
#include "app/messagelog.h"
#include "dialup/phonebookentry.h"
#include "install/fatalerror.h"
#include "install/installationsteps.h"
#include "platform/faultinjection/faultinjectingplatform.h"
#include "tests/support/markingtranslator.h"
#include "tests/support/scriptedmachine.h"

#include <QAbstractButton>
#include <QApplication>
#include <QEvent>
#include <QEventLoop>
#include <QMessageBox>
#include <QSemaphore>
#include <QSettings>
#include <QtConcurrent>
#include <QThread>
#include <QThreadPool>
#include <QTimer>

#include <cstdio>
#include <ctime>
#include <functional>

namespace {

void say(const QString &line)
{
    std::printf("%s\n", line.toUtf8().constData());
    std::fflush(stdout);
}

/// Describes each message box when it shows, and what the test wants to know
/// besides, then presses its button.
class BoxWatcher : public QObject
{
public:
    std::function<void()> describeMore = [] {};

    bool eventFilter(QObject *object, QEvent *event) override
    {
        auto *box = qobject_cast<QMessageBox *>(object);
        if (box && event->type() == QEvent::Show)
            QTimer::singleShot(0, box, [this, box] { describeAndPress(box); });
        return false;
    }

private:
    void describeAndPress(QMessageBox *box)
    {
        say("title " + box->windowTitle());
        say("text " + box->text());
        say(QString("icon %1").arg(box->icon() == QMessageBox::Warning ? "warning" : "other"));
        say(QString("modal %1, visible %2, parent %3, on the GUI thread %4")
                .arg(box->isModal())
                .arg(box->isVisible())
                .arg(box->parent() != nullptr)
                .arg(QThread::currentThread() == qApp->thread()));
        for (const QAbstractButton *button : box->buttons())
            say(QString("button %1")
                    .arg(box->standardButton(const_cast<QAbstractButton *>(button)) ==
                                 QMessageBox::Ok
                             ? "Ok"
                             : "other"));
        describeMore();
        say("pressing");
        box->button(QMessageBox::Ok)->click();
    }
};

/// Tells when a second event was posted for the application object.
class Application : public QApplication
{
public:
    using QApplication::QApplication;
    QSemaphore posted;

protected:
    bool compressEvent(QEvent *event, QObject *receiver, QPostEventList *events) override
    {
        if (receiver != this || event->type() != QEvent::MetaCall)
            return QApplication::compressEvent(event, receiver, events);
        // From here on the object may be in its destructor.
        posted.release();
        return false;
    }
};

/// Runs a step on the pool, as the set-up does.
void runOnPool(const std::function<void()> &step)
{
    static QFuture<void> future;
    future = QtConcurrent::run([step] {
        step();
        say("the step returned");
    });
}

/// A step that goes on much longer than anybody waits.
void occupyPool()
{
    static QSemaphore never;
    QSemaphore started;
    QThreadPool::globalInstance()->setMaxThreadCount(4);
    runOnPool([&started] {
        started.release();
        never.acquire();
    });
    started.acquire();
}

void fatal()
{
    ShowFatalError("Subject", "What went wrong.");
}

/// Lets the user read for a while, and tells whether the process works meanwhile.
void readBox()
{
    constexpr int Milliseconds = 300;
    const std::clock_t before = std::clock();
    QEventLoop loop;
    QTimer::singleShot(Milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
    const double used = 1000.0 * double(std::clock() - before) / CLOCKS_PER_SEC;
    say(QString("at rest %1").arg(used < 0.5 * Milliseconds));
}

} // namespace

int main(int argc, char *argv[])
{
    const QString way = argc > 1 ? argv[1] : "";
    ScriptedMachine machine;
    platform::FaultInjectingPlatform injector(machine);
    platform::setCurrent(&injector);

    if (way == "no application") {
        startMessageLog(QString::fromLocal8Bit(argv[2]));
        qDebug("the last line");
        std::printf("still in the buffer\n");
        fatal();
    }

    QSemaphore loopEnded;
    {
        Application application(argc, argv);
        setApplicationIdentity();
        if (argc > 2)
            QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, argv[2]);
        BoxWatcher watcher;
        application.installEventFilter(&watcher);
        QApplication::setQuitOnLastWindowClosed(false);
        machine.rasDevices = {{"modem", "MTK GPRS Modem"}};

        const auto inLoop = [&](const std::function<void()> &function) {
            QTimer::singleShot(0, &application, function);
        };
        bool loop = true;
        if (way == "gui") {
            inLoop(fatal);
        } else if (way == "gui, pool busy") {
            occupyPool();
            inLoop(fatal);
        } else if (way == "gui, translated") {
            static MarkingTranslator translator;
            QCoreApplication::installTranslator(&translator);
            inLoop(fatal);
        } else if (way == "gui, before the loop") {
            fatal();
        } else if (way == "pool") {
            inLoop([] { runOnPool(fatal); });
        } else if (way == "pool, box is read") {
            watcher.describeMore = readBox;
            inLoop([] { runOnPool(fatal); });
        } else if (way == "pool, another thread busy") {
            occupyPool();
            inLoop([] { runOnPool(fatal); });
        } else if (way == "pool, before the loop") {
            runOnPool(fatal);
        } else if (way == "pool, loop ended") {
            // The box can no longer be shown when it is asked for.
            runOnPool([&] {
                loopEnded.acquire();
                fatal();
            });
            loop = false;
        } else if (way == "pool, application closing") {
            runOnPool([] {
                while (!QCoreApplication::closingDown())
                    QThread::yieldCurrentThread();
                fatal();
            });
            loop = false;
        } else if (way == "devices 1" || way == "devices 2" || way == "devices 3") {
            watcher.describeMore = [&injector] {
                say("operations " + injector.operations().join(' '));
                say("settings " + QSettings().allKeys().join(' '));
            };
            if (way == "devices 1")
                injector.inject({"RasEnumDevicesW", 1, 632, false});
            if (way == "devices 2")
                injector.inject({"HeapAlloc", 2, 8, false});
            if (way == "devices 3")
                injector.inject({"RasEnumDevicesW", 2, 603, false});
            inLoop([] { runOnPool([] { createDialupConnection(); }); });
        } else if (way == "newdev.dll") {
            machine.missingLibraries = {"newdev.dll"};
            inLoop([] { runOnPool([] { InstallModem(); }); });
        } else if (way == "unbound rescan") {
            injector.inject({"GetProcAddress", 1, 127, false});
            ReScanDriver();
        } else if (way == "unbound update") {
            injector.inject({"GetProcAddress", 2, 127, false});
            InstallModem();
        } else {
            return 3;
        }
        if (loop)
            QApplication::exec();
        if (way == "pool, loop ended") {
            // Events are compared with those that wait already, so one has to.
            QCoreApplication::postEvent(&application, new QEvent(QEvent::User));
            loopEnded.release();
            // The box has been asked for before the application is destroyed.
            application.posted.acquire();
        }
    }
    say("main returned");
    return 7;
}
