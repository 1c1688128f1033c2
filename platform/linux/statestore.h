#pragma once

#include "platform/types.h"

#include <QJsonObject>
#include <QString>

#include <chrono>
#include <functional>

namespace platform::linuxsystem {

/// How long a change waits for another one to end: a process that was stopped in
/// the middle of its own must not stop everybody else for good.
inline constexpr std::chrono::seconds StorePatience(10);

/// What the program keeps on this machine, in one JSON file. A reader sees
/// either the old content or the new one, and two programs that change it at
/// once do so one after the other. Any thread.
class StateStore
{
public:
    /// The folder is made at the first change.
    explicit StateStore(const QString &folder, std::chrono::milliseconds patience = StorePatience);

    /// The content; empty when nothing was ever stored. Success, 5 when it may
    /// not be read, 13 when it is damaged or no file, 31 or 1167 when the disk fails.
    DWORD read(QJsonObject *content) const;

    /// Changes the content: the function gets what is there and answers
    /// whether to store what it left. Success (also when there is nothing to
    /// store), 5 without the rights, 31 for a disk that is full or read-only, and
    /// when another change does not end in time, 13 when the file is damaged: it is
    /// then left as it is.
    DWORD change(const std::function<bool(QJsonObject *content)> &function);

    /// Gives the file another name, "state.json.damaged1" or a higher number, so that
    /// the store is empty. Success, 5 without the rights, 31, also when a change does not
    /// end in time.
    DWORD putAside();

    QString file() const { return m_folder + "/state.json"; }
    QString folder() const;

private:
    QString m_folder;
    std::chrono::milliseconds m_patience;
};

} // namespace platform::linuxsystem
