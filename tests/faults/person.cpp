#include "tests/faults/person.h"

#include "mainwindow/mainwindow.h"
#include "tests/faults/story.h"
#include "wizard/settingswizard.h"
#include "wizard/setuppage.h"

#include <QCoreApplication>
#include <QLabel>
#include <QPushButton>
#include <QThreadPool>
#include <QTimer>
#include <QTimerEvent>

namespace faults {

QTimer *timerOf(const MainWindow &window, int interval)
{
    for (QTimer *timer : window.findChildren<QTimer *>(QString(), Qt::FindDirectChildrenOnly)) {
        if (timer->interval() == interval)
            return timer;
    }
    qFatal("the window has no timer of %d ms", interval);
}

void timeOut(QTimer *timer)
{
    if (!timer->isActive())
        return;
    QTimerEvent event(timer->timerId());
    QCoreApplication::sendEvent(timer, &event);
}

bool offers(const MainWindow &window, const char *control)
{
    return !window.findChild<QWidget *>(control)->isHidden();
}

void press(const MainWindow &window, const char *button)
{
    window.findChild<QPushButton *>(button)->click();
}

SettingsWizard *openWizard(const MainWindow &window)
{
    for (SettingsWizard *wizard : window.findChildren<SettingsWizard *>()) {
        if (wizard->isVisible())
            return wizard;
    }
    return nullptr;
}

void settle(const SettingsWizard &wizard)
{
    QThreadPool *pool = QThreadPool::globalInstance();
    const auto *page = wizard.findChild<SetupPage *>(); // also of a wizard that was left
    const auto shown = [page] {
        return page->findChild<QLabel *>()->text() + (page->isComplete() ? "+" : "-");
    };
    QString last;
    // A step's end is an event, and it may start the next step.
    for (int quiet = 0; quiet < 3;) {
        const bool isIdle = pool->waitForDone(5);
        QCoreApplication::processEvents();
        const QString now = shown();
        quiet = isIdle && now == last ? quiet + 1 : 0;
        last = now;
    }
}

bool isSettingUp(const SettingsWizard &wizard)
{
    return qobject_cast<SetupPage *>(wizard.currentPage());
}

QString viewOf(const MainWindow &window)
{
    if (openWizard(window))
        return wizardResult;
    if (offers(window, "portCheckButton"))
        return waitingResult;
    if (offers(window, "disconnectButton"))
        return connectedResult;
    return timerOf(window, CountdownInterval)->isActive() ? countingDownResult : disconnectedResult;
}

} // namespace faults
