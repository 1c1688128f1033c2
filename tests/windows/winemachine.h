#pragma once

#include "tests/desktop/desktop.h"
#include "tests/desktop/waiting.h"

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

/// A Windows machine under Wine with a simulated taskbar, the packaged program
/// and the double libraries beside it. The prefix and the display are those of the
/// environment (packaging/windows/with-wine makes both); the machine's state
/// is put back by reset(). Everything throws NotAsExpected when it cannot be
/// done.
class WineMachine
{
public:
    /// Unpacks the archive into the prefix and puts the doubles beside the
    /// program. Pictures and logs go to the folder of that name among the
    /// artefacts.
    explicit WineMachine(const QString &artefacts);
    ~WineMachine();

    Desktop desktop;

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
    /// Whether a read of a port that finds nothing pends until something comes, as
    /// Wine does it by itself, or ends at once; for the next start.
    void setReadsPend(bool pend);
    /// Libraries that do not exist on this machine, for the next start.
    void setMissingLibraries(const QStringList &names);

    /// Starts the program, the unpacked one unless another path is given.
    void start(const QString &program = {});
    /// Starts it and waits for its window with this title.
    WindowId startUntil(const QString &title, const QString &program = {});
    /// Starts it once more beside the one that runs; it runs until stop().
    void startBeside();
    /// How long a program may take to come up here, in milliseconds.
    static constexpr int StartPatience = 60000;
    /// Runs another program of this machine to its end and returns its exit
    /// code. `output` receives what it printed.
    int run(const QString &program, const QStringList &arguments, QString *output = nullptr);
    /// Looks anew: true once the program is gone.
    bool hasEnded();
    /// How the program ended, or the processes that there are: for the text of a failure.
    QString fate();
    /// Waits for the program's end; returns its exit code.
    int waitForExit();
    /// Ends the programs that are still running, by their processes.
    void stop();

    /// The recorded calls so far, one line each, without those by which a start
    /// looks for another one of the program.
    QStringList calls() const;
    /// With those.
    QStringList allCalls() const;
    /// Waits for a recorded call that matches the regular expression.
    void waitForCall(const QString &pattern, int timeout = patience) const;
    /// What is in the files of the message log, the oldest first, with \n as the
    /// line end.
    QStringList messageFiles() const;
    /// Where they lie, as this test sees it.
    QString messagesFolder() const;
    /// The debug stream so far, with \n as the line end.
    QString debug();
    void waitForDebug(const QString &text, int timeout = patience);
    /// What was printed to standard output so far, with \n as the line end.
    QString printed();

    /// The program's folder as the program sees it.
    QString folder() const;
    /// The same folder as this test sees it.
    QString hostFolder() const;
    QString driveC() const;

    /// Opens a menu by its key.
    void openMenu(const WindowId &window, const QString &key);
    /// Keeps calls, debug stream, output and settings of the case that ends.
    void keepLogs(const QString &name);

private:
    /// Environment and working directory of a process of this machine.
    void prepare(QProcess &process, bool onDoubles) const;
    void readOutput();
    QString doublesFolder() const;

    QString m_artefacts;
    QString m_prefix;
    QString m_wine;
    QString m_roaming;
    QStringList m_missing;
    bool m_readsPend = false;
    ChildProcess m_taskbar;
    ChildProcess m_program;
    ChildProcess m_programBeside;
    QByteArray m_debug;
    QByteArray m_printed;
};

/// Runs a command of this host; its standard output, trimmed.
QString runOnHost(const QString &program, const QStringList &arguments);
