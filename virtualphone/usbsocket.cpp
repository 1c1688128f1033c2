#include "virtualphone/usbsocket.h"

#include "virtualphone/processlock.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace virtualphone {

UsbSocket::UsbSocket(const QString &busDirectory, int number)
    : m_directory(busDirectory), m_fileName(busDirectory + '/' + socketFileName(number))
{
}

UsbSocket::~UsbSocket()
{
    release();
}

bool UsbSocket::claim(QString *error)
{
    if (!QDir().mkpath(m_directory)) {
        *error = QString("cannot make the bus directory %1").arg(m_directory);
        return false;
    }
    const QFileInfo file(m_fileName);
    qint64 holder = 0;
    m_lock = takeLock(QString("%1/.%2.lock").arg(m_directory, file.completeBaseName()), &holder);
    if (m_lock)
        return true;
    if (holder == 0)
        *error = QString("cannot write into the bus directory %1").arg(m_directory);
    else
        *error = QString("another phone (process %1) is plugged into %2 of %3")
                     .arg(holder)
                     .arg(file.completeBaseName().insert(6, ' '), m_directory);
    return false;
}

bool UsbSocket::publish(PluggedPhone phone, QString *error)
{
    phone.processId = QCoreApplication::applicationPid();
    // The name does not end in .json, so that it is not taken for a socket.
    QFile temporary(m_fileName + ".new");
    const QByteArray text = phone.toJson();
    if (!temporary.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        temporary.write(text) != text.size() || !temporary.flush()) {
        *error = QString("cannot write %1: %2").arg(temporary.fileName(), temporary.errorString());
        return false;
    }
    temporary.close();
    // QFile does not rename onto an existing file.
    if (std::rename(QFile::encodeName(temporary.fileName()).constData(),
                    QFile::encodeName(m_fileName).constData()) != 0) {
        *error = QString("cannot replace %1: %2")
                     .arg(m_fileName, QString::fromLocal8Bit(strerror(errno)));
        return false;
    }
    return true;
}

void UsbSocket::release()
{
    if (!m_lock)
        return;
    QFile::remove(m_fileName);
    m_lock.reset();
}

} // namespace virtualphone
