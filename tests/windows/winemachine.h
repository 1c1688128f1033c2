#pragma once

#include <QByteArray>
#include <QMap>
#include <QProcess>
#include <QSize>
#include <QString>
#include <QStringList>

#include <functional>

/// A Windows machine under Wine with a simulated taskbar, the packaged program
/// and the double libraries beside it. The prefix and the display are those of the
/// environment (packaging/windows/with-wine makes both); the machine's state
/// is put back by reset().
class WineMachine
{
public:
    /// Unpacks the archive into the prefix and puts the doubles beside the
    /// program. Ends the test run when something is missing.
    WineMachine();
    ~WineMachine();

    /// As delivered: no settings, no calls recorded, nothing plugged in.
    void reset();

    /// The content of machine.txt (see doubles/recorder.h); may be changed
    /// while the program runs.
    void setMachine(const QStringList &lines);
    /// Connections that are active before the program dials.
    void setConnections(const QStringList &names);
    QStringList connections() const;
    /// Writes the settings file, keys as they stand in it.
    void setSettings(const QMap<QString, QString> &values);
    /// The settings file, as this test sees it.
    QString settingsFile() const;
    /// Its content as it stands, read as text.
    QString settingsText() const;
    /// The value of a key in that file, "" when it is not there.
    QString setting(const QString &key) const;
    /// Makes COMn a pseudo-terminal or any other file; "" removes it.
    void setPort(int number, const QString &target);
    /// winxp64, win7, win10 ... as Wine names them; "" is Wine's default.
    void setWindowsVersion(const QString &version);
    /// Whether windows have a theme or the classic look, for the next start.
    void setThemed(bool themed);
    /// The display's scaling for the next start.
    void setScaling(int percent);
    /// Libraries that do not exist on this machine, for the next start.
    void setMissingLibraries(const QStringList &names);

    /// Starts the program, the unpacked one unless another path is given;
    /// false when it does not start.
    bool start(const QString &program = {});
    /// Starts it and waits up to a minute for its window with this title; the
    /// window's id, "" when it does not start or the window does not come.
    QString startUntil(const QString &title, const QString &program = {});
    /// Runs another program of this machine to its end; its exit code, -1
    /// when it did not end in time.
    int run(const QString &program, const QStringList &arguments, int milliseconds = 60000);
    /// Looks anew: true once the program is gone.
    bool hasEnded();
    /// The exit code, -1 when the program does not end in time.
    int waitForExit(int milliseconds = 10000);
    /// Ends a program that is still running, by its process.
    void stop();

    /// The recorded calls so far, one line each.
    QStringList calls() const;
    /// True when a recorded call matches before the time is over.
    bool waitForCall(const QString &pattern, int milliseconds = 20000);
    /// The debug stream so far, with \n as the line end.
    QString debug();
    bool waitForDebug(const QString &text, int milliseconds = 20000);
    /// What was printed to standard output so far, with \n as the line end.
    QString printed();

    /// The program's folder as the program sees it.
    QString folder() const;
    /// The same folder as this test sees it.
    QString hostFolder() const;
    QString driveC() const;

    /// The id of a visible window with exactly this title, "" when there is
    /// none in time.
    QString waitForWindow(const QString &title, int milliseconds = 20000);
    bool waitForNoWindow(const QString &title, int milliseconds = 10000);
    /// Size on the screen in pixels, the frame that Wine draws included.
    QSize sizeOf(const QString &window) const;
    /// Presses a key in the window, in xdotool's notation.
    void press(const QString &window, const QString &key);
    /// Presses it again every few seconds until `done`, as a person does whose
    /// key came before the window was ready. Only where a second press does no
    /// harm. False when it never is.
    bool pressUntil(const QString &window, const QString &key, const std::function<bool()> &done);
    /// Opens a menu by its key as pressUntil() does; false when no menu comes up.
    bool openMenu(const QString &window, const QString &key);
    /// Clicks at a place inside the window's client area.
    void click(const QString &window, int x, int y);
    enum Picture { StandingStill, Moving };
    /// A picture of the whole screen among the artefacts; of a screen that
    /// moves as it is after a moment, else once it stands still.
    void screenshot(const QString &name, Picture picture = StandingStill);
    /// Keeps calls, debug stream and settings of the test that ends.
    void keepLogs(const QString &name);

private:
    /// Environment and working directory of a process of this machine.
    void prepare(QProcess &process, bool onDoubles) const;
    void readOutput();
    QString doublesFolder() const;

    QString m_prefix;
    QString m_wine;
    QString m_roaming;
    QStringList m_missing;
    QProcess m_taskbar;
    QProcess m_program;
    QByteArray m_debug;
    QByteArray m_printed;
};

/// Runs a command of this host; its standard output, trimmed.
QString runOnHost(const QString &program, const QStringList &arguments);
