#include "platform/simulated/machinesession.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace simulated {

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

MachineSession::~MachineSession()
{
    if (m_lock >= 0)
        ::close(m_lock); // gives the lock back
}

bool MachineSession::save()
{
    if (!m_usable)
        return false; // what could not be read must not be overwritten
    QSaveFile file(fileName());
    const QByteArray content = state.toJson();
    if (file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.commit())
        return true;
    report(QString("%1 cannot be written: %2").arg(fileName(), file.errorString()));
    return false;
}

bool MachineSession::lock()
{
    if (!QDir().mkpath(m_directory)) {
        report(QString("the directory %1 cannot be made").arg(m_directory));
        return false;
    }
    const QByteArray path = QFile::encodeName(m_directory + "/pc.lock");
    m_lock = ::open(path.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    int result = -1;
    while (m_lock >= 0 && (result = ::flock(m_lock, LOCK_EX)) != 0 && errno == EINTR) {
    }
    if (result == 0)
        return true;
    report(QString("%1: %2").arg(path.constData(), std::strerror(errno)));
    return false;
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

} // namespace simulated
