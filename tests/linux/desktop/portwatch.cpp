#include "tests/linux/desktop/portwatch.h"

#include "tests/desktop/waiting.h"
#include "tests/linux/guest/guestsystem.h"

#include <QDir>
#include <QFile>

#include <unistd.h>

PortWatch::PortWatch(const QString &device) : m_device(device)
{
    m_since.start();
}

QStringList PortWatch::holders() const
{
    QStringList found;
    const QByteArray device = m_device.toLocal8Bit();
    for (const QString &process : QDir("/proc").entryList({"[0-9]*"}, QDir::Dirs)) {
        const QString folder = "/proc/" + process + "/fd/";
        for (const QString &descriptor : QDir(folder).entryList(QDir::System | QDir::Files)) {
            char target[64] = {};
            ::readlink(QFile::encodeName(folder + descriptor).constData(), target,
                       sizeof target - 1);
            if (device != target)
                continue;
            found += QString::fromUtf8(contentOf("/proc/" + process + "/comm").trimmed());
            break;
        }
    }
    found.sort();
    return found;
}

bool PortWatch::watch(int milliseconds, const std::function<bool()> &done)
{
    return comesTrue(
        [&] {
            const QString who = holders().join(", ");
            const QString now = !QFile::exists(m_device) ? QString("no port")
                                : who.isEmpty()          ? QString("nobody")
                                                         : who;
            if (now != m_last)
                m_notes += QString("%1 s: %2").arg(seconds(), 0, 'f', 1).arg(now);
            m_last = now;
            return done();
        },
        milliseconds);
}
