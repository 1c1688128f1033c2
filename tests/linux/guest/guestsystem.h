#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <sys/types.h>

// The guest system in which the scenarios run as root: what it is asked and
// what is done to it. What cannot be done throws NotAsExpected.

/// What pppd leaves of the program's link while it is up.
inline constexpr char linkFile[] = "/run/ppp-tolvane-TolvaneModem_1.pid";

/// Empty when there is no such file.
QByteArray contentOf(const QString &path);
/// Runs a command to its end and returns what it printed.
QString runInGuest(const QString &program, const QStringList &arguments, int *status = nullptr);

bool isLinkUp();
/// The process whose command line begins like this; 0 when there is none.
pid_t processOf(const QByteArray &commandLine);
/// The program's side of the link, and the network's.
pid_t linkProcess();
pid_t networkProcess();
/// Fetches a page through the link.
void fetchPage();
/// The routes and the name servers.
QString networkState();

/// The settings below that folder, which stands for a user's ~/.config.
QString settingsFile(const QString &folder);
QVariant setting(const QString &key, const QString &folder = "/root/.config");
/// Every file that was written or made in the guest, except below the folders
/// that are not the package's.
QStringList changedFiles();
