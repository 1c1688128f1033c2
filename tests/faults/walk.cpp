#include "tests/faults/walk.h"

#include "app/singleinstance.h"
#include "mainwindow/mainwindow.h"
#include "tests/faults/person.h"
#include "wizard/settingswizard.h"
#include "wizard/setuppage.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QTimer>

namespace faults {

Walk::Walk(WalkedMachine *machine, std::function<void(const Story &)> report)
    : m_machine(machine), m_report(std::move(report))
{
}

Walk::~Walk() = default;

void Walk::firstRun()
{
    watchForBoxes();
    startTwice();
    openWindow();
    if (!setUp())
        return m_report(m_story);

    start(connectPhase);
    connectToNetwork();
    if (!offers(*m_window, "disconnectButton"))
        return m_report(m_story);

    start(pollPhase);
    timeOut(timerOf(*m_window, StatusInterval));
    see(viewOf(*m_window));
    if (!offers(*m_window, "disconnectButton"))
        connectToNetwork();
    end();

    start(disconnectPhase);
    for (int attempt = 0; attempt < 2 && offers(*m_window, "disconnectButton"); ++attempt) {
        press(*m_window, "disconnectButton");
        see(viewOf(*m_window));
    }
    end();

    start(nextStartPhase);
    m_window = std::make_unique<MainWindow>();
    see(viewOf(*m_window));
    if (offers(*m_window, "portCheckButton")) {
        timeOut(timerOf(*m_window, PortInterval));
        see(viewOf(*m_window));
    }
    end();
    m_report(m_story);
}

void Walk::laterRun()
{
    watchForBoxes();
    openWindow();
    if (openWizard(*m_window) && !setUp())
        return m_report(m_story);
    start(connectPhase);
    if (!offers(*m_window, "disconnectButton"))
        connectToNetwork();
    else
        see(viewOf(*m_window));
    end();
    if (!offers(*m_window, "disconnectButton")) {
        // As the window says it: with a new set-up.
        start(setUpPhase);
        m_window->findChild<QAction *>("actionCreate_New_Connection")->trigger();
        if (!setUp())
            return m_report(m_story);
        start(connectPhase);
        connectToNetwork();
    }
    m_report(m_story);
}

void Walk::goOn()
{
    watchForBoxes();
    constexpr int Attempts = 6;
    for (int attempt = 0; attempt < Attempts; ++attempt) {
        start(goOnPhase);
        if (!m_window || !(m_window->isVisible() || openWizard(*m_window)))
            m_window = std::make_unique<MainWindow>();
        const QString view = viewOf(*m_window);
        if (view == QLatin1String(wizardResult)) {
            setUp();
        } else if (view == QLatin1String(waitingResult)) {
            timeOut(timerOf(*m_window, PortInterval));
        } else if (view == QLatin1String(connectedResult)) {
            timeOut(timerOf(*m_window, StatusInterval));
        } else {
            connectToNetwork();
            // What else there is to do, as the window says it.
            if (!offers(*m_window, "disconnectButton"))
                m_window->findChild<QAction *>("actionCreate_New_Connection")->trigger();
        }
        see(viewOf(*m_window));
        end();
        // Whether a connection that is shown is there, the next look says.
        if (view == QLatin1String(connectedResult) && viewOf(*m_window) == view)
            break;
    }
    m_report(m_story);
}

void Walk::startTwice()
{
    const QString settings = QSettings().fileName();
    start(secondStartPhase);
    m_machine->setOtherCopy(true);
    {
        const SingleInstance instance(settings);
        see(instance.isFirst() ? firstResult : otherFoundResult);
    }
    m_machine->setOtherCopy(false);
    end();
    start(firstStartPhase);
    {
        SingleInstance instance(settings);
        instance.watch();
        see(instance.isFirst() ? firstResult : otherFoundResult);
    }
    end();
}

void Walk::openWindow()
{
    start(setUpPhase);
    m_window = std::make_unique<MainWindow>();
}

/// Goes through the wizard; a step that failed is repeated once.
bool Walk::setUp()
{
    SettingsWizard *wizard = openWizard(*m_window);
    wizard->next();
    const auto *page = qobject_cast<SetupPage *>(wizard->currentPage());
    for (int attempt = 0; attempt < 2; ++attempt) {
        settle(*wizard);
        if (page->isComplete()) {
            see(setUpResult);
            wizard->button(QWizard::FinishButton)->click();
            end();
            return true;
        }
        see(page->findChild<QLabel *>()->text());
        if (attempt == 0)
            page->findChild<QPushButton *>()->click();
    }
    wizard->button(QWizard::CancelButton)->click();
    end();
    return false;
}

/// Presses Connect, and once more if that did not help.
void Walk::connectToNetwork()
{
    for (int attempt = 0; attempt < 2; ++attempt) {
        m_machine->answerDial();
        press(*m_window, "connectButton");
        see(viewOf(*m_window));
        if (offers(*m_window, "disconnectButton"))
            break;
    }
    if (m_story.last().name == QLatin1String(connectPhase))
        end();
}

/// A box can come at any time, and blocks what shows it.
void Walk::watchForBoxes()
{
    auto *watch = new QTimer(qApp);
    QObject::connect(watch, &QTimer::timeout, watch, [this] {
        m_machine->answerDialogs();
        auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        if (!box)
            return;
        see(fatalResult + box->text());
        end();
        m_report(m_story);
        box->button(QMessageBox::Ok)->click();
    });
    watch->start(5);
}

void Walk::start(const char *phase)
{
    m_log.clear();
    m_printedBefore = static_cast<int>(m_printed.text().size());
    m_story.append({phase, {}, {}, {}});
    if (phaseBegins)
        phaseBegins(phase);
}

void Walk::see(const QString &result)
{
    m_story.last().results.append(result);
}

void Walk::end()
{
    // The toolkit has its own words for the oddities that it notices.
    for (const QString &line : m_log.lines()) {
        if (!line.startsWith("QThread::") && !line.startsWith("QString::"))
            m_story.last().lines.append(line);
    }
    m_story.last().printed = QString::fromUtf8(m_printed.text().mid(m_printedBefore));
}

} // namespace faults
