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
/// Does nothing when some version is installed, unless it is to come over that.
enum class Installation { IfMissing, OverAnother };
void installPackage(Installation how = Installation::IfMissing);

/// Runs a command that has to succeed; returns what it printed.
QString must(const QString &program, const QStringList &arguments);

bool isNamedPageFetched();

/// What the network behind the phone does from its next call on: options of its pppd,
/// and whom it lets in, "NAME * PASSWORD *".
void setNetwork(const QByteArray &options, const QByteArray &users = "* * gprs *\n");
/// As it was at the boot: it asks for nothing, and gives an address and a name server.
void resetNetwork();
inline constexpr char networkAddresses[] = "10.9.0.1:10.9.0.2\n";
inline constexpr char networkNameServer[] = "ms-dns 10.9.0.53\n";

/// What ModemManager lists.
QString modems();
