#pragma once

#include <QString>
#include <QVariant>

class QSettings;

// Every key of the settings store. Readers and writers open a short-lived,
// default-constructed QSettings each time; nothing keeps one open. Any thread.
namespace settingskeys {

/// int, absent = 0: how many phone-book entries were created so far.
inline constexpr char NoOfDialups[] = "NoOfDialups";
/// bool, absent = false: the driver packages are installed.
inline constexpr char isINFSetupDone[] = "isINFSetupDone";
/// int, absent = 0: the modem's COM port when it was last looked for; 0 = none.
inline constexpr char CurrentPort[] = "CurrentPort";
/// string, absent = "": the operator chosen last.
inline constexpr char CurrentMobileOperator[] = "CurrentMobileOperator";
/// map of strings, absent = the built-in table: operator name to APN.
inline constexpr char MobileOperators[] = "MobileOperators";

/// string, absent = "": the phone-book entry name for a COM port. The key is
/// "ports/" and the port number in decimal.
QString port(int portNumber);

} // namespace settingskeys

/// Stores a value that is written as one text. What the user's file holds already is
/// not written again: a write replaces the file and waits for the disk, and the
/// window looks for the port every five seconds. Any thread.
void storeSetting(const QString &key, const QVariant &value);

/// Whether a phone-book entry was ever created: "NoOfDialups" is not 0. A
/// count that cannot be read is a "yes", so that a machine that is set up is
/// not taken for a new one.
bool hasDialupEntry();

/// Whether the file of these settings can be written. Creates its folder when it
/// is missing.
bool canBeWritten(const QSettings &settings);

/// Warns on the debug stream when the user's settings cannot be written, file
/// or folder: a set-up then succeeds, but nothing of it is kept, and the program
/// ends after Finish as if no entry had been made. Creates the file's folder
/// when it is missing.
void reportUnwritableSettings();
