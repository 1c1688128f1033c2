#include "virtualphone/transcript.h"

#include "virtualphone/byteescapes.h"

#include <cstdio>
#include <ctime>

namespace virtualphone {

namespace {

QByteArray microseconds(const timespec &time)
{
    return QByteArray::number(static_cast<qlonglong>(time.tv_nsec / 1000)).rightJustified(6, '0');
}

QByteArray timeStamps()
{
    timespec wall{};
    timespec steady{};
    clock_gettime(CLOCK_REALTIME, &wall);
    clock_gettime(CLOCK_MONOTONIC, &steady);
    tm utc{};
    gmtime_r(&wall.tv_sec, &utc);
    char date[32];
    strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &utc);
    return QByteArray(date) + '.' + microseconds(wall) + "Z " +
           QByteArray::number(static_cast<qlonglong>(steady.tv_sec)) + '.' + microseconds(steady);
}

QByteArray counted(const QByteArray &bytes)
{
    return QByteArray::number(bytes.size()) + " \"" + escapeBytes(bytes) + '"';
}

} // namespace

bool Transcript::open(const QString &fileName, QString *error)
{
    bool isOpen = false;
    if (fileName == "-") {
        isOpen = m_file.open(stdout, QIODevice::WriteOnly);
    } else {
        m_file.setFileName(fileName);
        isOpen = m_file.open(QIODevice::WriteOnly | QIODevice::Append);
    }
    if (!isOpen)
        *error = QString("cannot write the transcript %1: %2").arg(fileName, m_file.errorString());
    return isOpen;
}

void Transcript::fromPc(const QByteArray &bytes)
{
    write("pc->phone " + counted(bytes));
}

void Transcript::toPc(const QByteArray &bytes)
{
    write("phone->pc " + counted(bytes));
}

void Transcript::remark(const QString &text)
{
    write("phone " + text.toUtf8());
}

void Transcript::write(const QByteArray &entry)
{
    if (!m_file.isOpen())
        return;
    m_file.write(timeStamps() + ' ' + entry + '\n');
    m_file.flush();
}

} // namespace virtualphone
