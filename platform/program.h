#pragma once

#include <QString>

namespace platform {

/// What a backend has to know of the program that it serves. A value object.
struct Program {
    /// As users know it; stands in the files that are written for it.
    QString name;
    /// Its folder below the folder in which the system keeps programs' state.
    QString stateFolder;
    /// Begins the names of its files in folders that it shares with others.
    QString filePrefix;
    /// The program beside it that does what needs administrator rights.
    QString helper;
    /// The mark that its driver package sets to "1" on a phone's modem port.
    QString modemPortMark;
    /// What a port with that mark is called.
    QString modemPortName;
    /// The words by which the program knows a phone's port. No other port may
    /// be called so, whatever its device calls itself.
    QString modemPortWords;
};

} // namespace platform
