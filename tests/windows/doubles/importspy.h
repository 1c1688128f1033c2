#pragma once

namespace doubles {

/// Puts a recorder between the program and those functions of the system's
/// core libraries that it calls itself: the serial port, the process start,
/// the registry value, the version, the libraries bound at run time and the
/// heap. Every call still reaches the system, unless machine.txt makes it
/// fail. Only the program's own import table is changed.
void watchImports();

/// Writes a line with what the program has not closed or freed.
void reportOpenHandles();

} // namespace doubles
