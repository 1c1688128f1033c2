#pragma once

#include <QByteArray>
#include <QString>

// The INF store of the simulated PC: the directory inf/ in its state
// directory, with the files oem0.inf, oem1.inf and so on.
namespace platform::simulated {

/// A path as the program writes it, as a path of this system.
QString hostPath(QString path);

/// A path of this system, as the program expects it.
QString windowsPath(QString path);

/// The store's file with this content, such as oem0.inf; empty when there is
/// none.
QString storedInf(const QString &directory, const QByteArray &content);

/// Adds a file with this content or finds the one that has it. Empty when it
/// cannot be written, said on standard error.
QString storeInf(const QString &directory, const QByteArray &content);

/// The full path of a file of the store.
QString storedInfPath(const QString &directory, const QString &name);

} // namespace platform::simulated
