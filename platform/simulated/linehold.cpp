#include "platform/simulated/linehold.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace platform::simulated {

bool holdLine(const QString &directory, const QString &tty, int handle)
{
    // An opening of its own, without the lock of the one that dialled: the line
    // stays free for what hangs up. The new process inherits it.
    const int line = ::open(QFile::encodeName(tty).constData(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (line < 0) {
        std::fprintf(stderr, "simulated PC: %s cannot be held: %s\n", qPrintable(tty),
                     std::strerror(errno));
        return false;
    }
    QProcess holder;
    holder.setProgram(QCoreApplication::applicationDirPath() + "/simulated-remoteaccess");
    holder.setArguments({directory, QString::number(handle), QString::number(line)});
    holder.setStandardInputFile(QProcess::nullDevice());
    // Whoever reads the output of the program that dialled must see its end.
    holder.setStandardOutputFile(QProcess::nullDevice());
    holder.setStandardErrorFile(QProcess::nullDevice());
    const bool isStarted = holder.startDetached();
    ::close(line);
    if (!isStarted)
        std::fprintf(stderr, "simulated PC: %s cannot be started: %s\n",
                     qPrintable(holder.program()), qPrintable(holder.errorString()));
    return isStarted;
}

} // namespace platform::simulated
