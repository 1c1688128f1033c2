#pragma once

#include <QElapsedTimer>
#include <QString>
#include <QStringList>

#include <functional>

/// Who has a device open, and since when. Time runs from the making of this.
class PortWatch
{
public:
    explicit PortWatch(const QString &device);

    /// The names of the processes that have the device open now.
    QStringList holders() const;
    /// Looks until `done` or for that many milliseconds; false when that time is
    /// over. What changes is noted.
    bool watch(
        int milliseconds, const std::function<bool()> &done = [] { return false; });
    /// Since the making of this.
    double seconds() const { return double(m_since.elapsed()) / 1000; }
    /// One line for each change: "3.2 s: ModemManager".
    const QStringList &notes() const { return m_notes; }

private:
    QString m_device;
    QElapsedTimer m_since;
    QString m_last;
    QStringList m_notes;
};
