#include "platform/simulated/machinesession.h"

#include "platform/posix/storedfiles.h"

#include <QDir>
#include <QFile>

#include <cstdio>
#include <cstring>

namespace platform::simulated {

namespace {

void report(const QString &message)
{
    std::fprintf(stderr, "simulated PC: %s\n", qPrintable(message));
}

} // namespace

QString defaultStateDirectory()
{
    QString directory = qEnvironmentVariable("SIMULATED_PC");
    if (directory.isEmpty()) {
        directory = qEnvironmentVariable("XDG_STATE_HOME");
        if (directory.isEmpty())
            directory = QDir::homePath() + "/.local/state";
        directory += "/tolvane-simulated-pc";
    }
    // The programs of one machine need not run in the same folder.
    return QDir(directory).absolutePath();
}

MachineSession::MachineSession(const QString &directory) : m_directory(directory)
{
    m_usable = lock() && read();
}

bool MachineSession::save()
{
    if (!m_usable)
        return false; // what could not be read must not be overwritten
    const DWORD code = platform::replaceFile(fileName(), state.toJson(), 0644);
    if (code != platform::Success)
        report(QString("%1 cannot be written: error %2").arg(fileName()).arg(code));
    return code == platform::Success;
}

bool MachineSession::lock()
{
    if (!QDir().mkpath(m_directory)) {
        report(QString("the directory %1 cannot be made").arg(m_directory));
        return false;
    }
    const QString path = m_directory + "/pc.lock";
    m_lock = std::make_unique<platform::FileLock>(path, 0644);
    if (m_lock->error() != 0)
        report(QString("%1: %2").arg(path, std::strerror(m_lock->error())));
    return m_lock->error() == 0;
}

bool MachineSession::read()
{
    QFile file(fileName());
    if (!file.exists())
        return true; // a new machine
    if (!file.open(QIODevice::ReadOnly)) {
        report(QString("%1 cannot be read: %2").arg(fileName(), file.errorString()));
        return false;
    }
    QString error;
    if (state.fromJson(file.readAll(), &error))
        return true;
    file.close();
    keepDamagedFile(error);
    state = MachineState();
    // Usable again only when nothing is left that a save would destroy.
    return !QFile::exists(fileName());
}

void MachineSession::keepDamagedFile(const QString &error)
{
    int number = 1;
    QString kept;
    do {
        kept = QString("%1.damaged-%2").arg(fileName()).arg(number++);
    } while (QFile::exists(kept));
    if (QFile::rename(fileName(), kept)) {
        report(QString("%1 is damaged: %2. It is kept as %3; the machine starts anew.")
                   .arg(fileName(), error, kept));
    } else {
        report(QString("%1 is damaged: %2. It cannot be moved aside.").arg(fileName(), error));
    }
}

QString MachineSession::fileName() const
{
    return m_directory + "/pc.json";
}

} // namespace platform::simulated
