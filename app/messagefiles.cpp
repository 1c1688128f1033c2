#include "app/messagefiles.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QSysInfo>

namespace {

/// What the reader of the file has to know first.
QByteArray heading()
{
    return QString("%1 " TMC_VERSION ", %2 (%3), process %4\n")
        .arg(QCoreApplication::applicationName(), QSysInfo::prettyProductName(),
             QSysInfo::currentCpuArchitecture())
        .arg(QCoreApplication::applicationPid())
        .toUtf8();
}

} // namespace

void MessageFiles::write(const QByteArray &lines)
{
    if (m_file.isOpen() && m_file.size() + lines.size() > LargestFile)
        m_file.close();
    if (m_file.isOpen() || openNext())
        m_file.write(lines);
}

bool MessageFiles::openNext()
{
    QDir().mkpath(m_folder);
    const QString name =
        m_folder + "/messages-" + QDateTime::currentDateTime().toString("yyyy-MM-dd-hh-mm-ss");
    // Several files of one second, of this process or another one.
    constexpr int MostTries = 100;
    for (int number = 1; number <= MostTries; ++number) {
        m_file.setFileName(name + (number == 1 ? "" : QString("-%1").arg(number)) + ".log");
        // A new file only: nobody else's, and no pipe or link that stands there.
        if (m_file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered)) {
            removeOldest();
            m_file.write(heading());
            return true;
        }
        if (!m_file.exists())
            break;
    }
    return false;
}

void MessageFiles::removeOldest() const
{
    const QFileInfoList files =
        QDir(m_folder).entryInfoList({"messages-*.log"}, QDir::Files, QDir::Time);
    for (int i = KeptFiles; i < files.size(); ++i)
        QFile::remove(files.at(i).filePath());
}
