#pragma once

#include "tests/desktop/desktop.h"

#include <QString>
#include <QStringList>

class WineMachine;

// Titles of the program's windows.
inline constexpr char wizardTitle[] = "Welcome To Tolvane Modem Connector Settings";
inline constexpr char mainTitle[] = "Tolvane Modem Connector";

/// Presses Next in the wizard of a program that was started without an entry
/// and returns the wizard's window once the set-up runs.
WindowId startSetup(WineMachine &machine);

/// The line of calls.log that tells what the program's end finds open.
QString leftOpen(const QString &ports = "none", const QString &events = "none",
                 const QString &blocks = "none");

/// The lines of machine.txt for a phone that is plugged in on COM7 and whose
/// drivers install.
QStringList machineWithPhone();

/// Gives the machine that phone, the settings of a set-up that was done before
/// and a dial dialog that asks.
void setUpBefore(WineMachine &machine);

/// Every call of the five set-up steps on that machine under Windows 7, in
/// order, as the doubles record it; without the started installer's own line,
/// which comes when that process gets to it. `entrySize` is the size of the
/// system's entry record in bytes.
QStringList setupCalls(const WineMachine &machine, int entrySize = 5680);

/// The debug stream of the same steps.
QString setupDebug(const WineMachine &machine);

/// The calls and the debug stream of one search for the port.
QStringList portSearchCalls(int set, int firstBlock);
QString portSearchDebug();
