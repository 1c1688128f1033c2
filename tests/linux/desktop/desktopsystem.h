#pragma once

#include <QString>
#include <QStringList>

// The virtual Debian, as the scenarios see and change it. What cannot be done throws
// NotAsExpected.

inline constexpr char pppd[] = "/usr/sbin/pppd";
inline constexpr char port[] = "/dev/ttyACM0";

/// Puts what was measured into the log.
void note(const QString &text);

bool isInstalled();
void installPackage();

/// Runs a command that has to succeed; returns what it printed.
QString must(const QString &program, const QStringList &arguments);

bool isNamedPageFetched();

/// What ModemManager lists.
QString modems();
