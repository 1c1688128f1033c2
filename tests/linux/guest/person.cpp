#include "tests/linux/guest/person.h"

#include "tests/desktop/waiting.h"
#include "tests/linux/guest/guestsystem.h"
#include "tests/linux/guest/phone.h"

#include <cstdio>
#include <utility>

namespace {

const QRect mainButton(250, 101, 91, 81);

} // namespace

Person::Person(const QString &pictures) : desktop(pictures), m_log(pictures + "/program.log") {}

Person::Person(const QString &pictures, const QString &log, const Desktop::Display &display)
    : desktop(pictures, display), m_log(log)
{
}

void Person::startProgram(const QStringList &command)
{
    m_program = std::make_unique<ChildProcess>();
    QProcessEnvironment environment = desktop.environment();
    environment.insert("HOME", "/root");
    environment.insert("QT_FORCE_STDERR_LOGGING", "1");
    m_program->setProcessEnvironment(environment);
    m_program->setProcessChannelMode(QProcess::MergedChannels);
    m_program->setStandardOutputFile(m_log, QIODevice::Append);
    m_logStart = contentOf(m_log).size();
    m_program->start(command.first(), command.mid(1));
    expect(m_program->waitForStarted(), "The program does not start");
}

void Person::endProgram()
{
    if (m_program)
        m_program->end();
}

void Person::setUp()
{
    startProgram();
    waitForWindow(wizardTitle);
    desktop.keepPicture("wizard");
    desktop.press("Return"); // Next
    waitFor("The set-up", [] { return setting("NoOfDialups").toInt() == 1; });
    desktop.keepPicture("set-up-done");
    desktop.press("Return"); // Finish
    desktop.waitForNoWindow(wizardTitle);
    waitForWindow(mainTitle);
    desktop.keepPicture("main-window");
    endProgram();
}

void Person::waitForProgramEnd() const
{
    waitFor("The program's end", [this] { return m_program->state() == QProcess::NotRunning; });
}

QByteArray Person::log() const
{
    return contentOf(m_log).mid(int(m_logStart));
}

void Person::waitForLog(const QByteArray &text, qsizetype from) const
{
    waitFor("In the log: " + QString::fromUtf8(text),
            [&] { return log().indexOf(text, int(from)) >= 0; });
}

WindowId Person::waitForWindow(const char *title) const
{
    WindowId window;
    waitFor(QString("The window \"%1\"").arg(title), [&] {
        window = desktop.window(title);
        return !window.isEmpty();
    });
    desktop.waitForFocus(window);
    return window;
}

void Person::pressMainButton() const
{
    desktop.click(waitForWindow(mainTitle), mainButton.center());
}

QImage Person::face() const
{
    return desktop.picture(desktop.waitForWindow(mainTitle), mainButton.adjusted(10, 10, -10, -10));
}

void Person::waitForOtherFace(const QImage &before, const QString &what) const
{
    desktop.moveMouseAway();
    waitFor(what, [&] { return face() != before; });
}

void Person::dial()
{
    // On a busy system it may have come and gone between two looks.
    waitFor("The dial dialog",
            [this] { return isLinkUp() || !desktop.window(dialTitle).isEmpty(); });
    // A picture takes seconds on an emulated processor, and shows the same each time.
    if (!std::exchange(m_hasDialled, true))
        desktop.keepPicture("dial-dialog");
    waitFor("The dialog's end", [this] { return desktop.window(dialTitle).isEmpty(); });
    expect(isLinkUp(), "The dialog has gone without a link");
}

QString Person::dialogText() const
{
    const WindowId window = desktop.waitForWindow(dialTitle);
    desktop.click(window, QRect(QPoint(), desktop.size(window)).center());
    desktop.press({"ctrl+a", "ctrl+c"});
    QProcess clipboard;
    clipboard.setProcessEnvironment(desktop.environment());
    clipboard.start(QCoreApplication::applicationFilePath(), {"--clipboard"});
    expect(clipboard.waitForFinished(patience), "Nobody tells the clipboard");
    return QString::fromUtf8(clipboard.readAllStandardOutput());
}

void Person::dialInVain(const QString &picture, const QString &words, int error)
{
    waitForWindow(dialTitle);
    waitFor("The reason in the dialog", [&] {
        const QString text = dialogText();
        return text.startsWith(QString("Error %1: ").arg(error)) && text.contains(words);
    });
    desktop.keepPicture(picture);
    expect(processOf("/usr/sbin/pppd") == 0, "pppd dials on");
    expect(!isLinkUp(), "There is a link");
    desktop.press("Escape");
    desktop.waitForNoWindow(dialTitle);
}

void Person::recordFailure()
{
    desktop.keepPicture("failure");
    std::fputs(qPrintable(runInGuest("ps", {"axfww", "-o", "pid,user,stat,wchan:24,etime,args"})),
               stderr);
}
