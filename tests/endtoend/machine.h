#pragma once

#include "tests/desktop/childprocess.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariant>

#include <memory>

class Desktop;

/// A simulated PC that nobody else uses, with the phone that is plugged into
/// it, the program that runs on it and that program's settings. Everything
/// throws NotAsExpected when it cannot be done.
class Machine
{
public:
    /// A new PC with nothing installed and no phone. What the processes print
    /// goes to files in the folder `artefacts`, which is made.
    explicit Machine(const QString &artefacts);
    /// Ends what runs and leaves the PC's state and the settings there too.
    ~Machine();

    /// Makes this PC what the other one is now: state, INF store, settings.
    /// No program may run on either.
    void becomeCopyOf(const Machine &other);

    /// Starts the phone, plugged in unless the options say otherwise, and
    /// waits until it is ready.
    void startPhone(const QStringList &options = {});
    /// Sends the running phone a command; returns its answer.
    QString phone(const QString &command) const;
    /// Runs the PC's own tool; returns what it printed.
    QString pc(const QStringList &arguments) const;

    /// Starts the program. `environment` is added to the desktop's. What it
    /// prints is added to the files; log() and printed() begin anew.
    void startProgram(const Desktop &desktop, const QString &workingDirectory = QString(),
                      const QStringList &environment = {});
    /// Starts it once more beside the first one and waits for the second one's
    /// end; returns its exit code.
    int startAgain(const Desktop &desktop) const;
    /// Starts it once more where the first one cannot come to the front; both
    /// run until this machine goes.
    void startBeside(const Desktop &desktop);
    bool isProgramRunning();
    /// Waits for the program's end; returns its exit code.
    int waitForProgramEnd(int timeout);
    /// Ends the program whatever it does.
    void endProgram();
    /// Ends it as a crash does.
    void crashProgram();
    /// Lets the program stand still where it is, as on a PC that is busy with something
    /// else. What is typed and clicked waits for it.
    void pauseProgram() const;
    void resumeProgram() const;
    /// How often the program's threads gave up the processor by themselves,
    /// which is how often they were woken up.
    qint64 programWakeUps() const;
    /// For how many milliseconds the program's first thread could have run but
    /// got no processor.
    qint64 programDelay() const;
    /// Time since startProgram(), in milliseconds.
    qint64 timeSinceStart() const { return m_sinceStart.elapsed(); }

    /// The program's debug stream since its start, or since a place in it.
    QByteArray log(qsizetype from = 0) const;
    /// Waits until the log from that place on holds the text.
    void waitForLog(const QByteArray &text, qsizetype from = 0, int timeout = -1) const;
    /// What the program printed to its standard output since its start.
    QByteArray printed() const;
    /// What is in the files of the message log, the oldest first.
    QStringList messageFiles() const;
    /// What the phone heard and said, all of it.
    QByteArray transcript() const;
    /// The bytes that the phone heard, escaped, one read after the other.
    QByteArray heard() const;
    QJsonObject pcState() const;
    /// How many connections the PC has.
    int connectionCount() const;
    /// A settings key; invalid when it is not there.
    QVariant setting(const QString &key) const;
    void setSetting(const QString &key, const QVariant &value) const;
    QString settingsFile() const;
    /// The settings and the simulated PC, as a directory.
    QString directory() const { return m_folder.path(); }
    static QString programDirectory();

private:
    QProcessEnvironment environment() const;
    QProcessEnvironment programEnvironment(const Desktop &desktop) const;
    QString pcDirectory() const { return m_folder.filePath("pc"); }
    QString artefact(const QString &name) const;
    void saveState() const;

    QString m_artefacts;
    QTemporaryDir m_folder;
    std::unique_ptr<ChildProcess> m_phone;
    std::unique_ptr<ChildProcess> m_program;
    std::unique_ptr<ChildProcess> m_secondProgram;
    QElapsedTimer m_sinceStart;
    qint64 m_logStart = 0;
    qint64 m_outputStart = 0;
};
