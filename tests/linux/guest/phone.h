#pragma once

#include <QString>

// The virtual phone at the guest. What cannot be done throws NotAsExpected.

inline constexpr char phoneTranscript[] = "/share/phone.txt";

/// Sends the phone a command of its control; returns its answer.
QString phone(const QString &command);
/// Plugs the phone in, so that the program finds it, or unplugs it.
void plugPhone(bool plugged);
/// Waits until the phone has ended its call and the next one can begin.
void letLineSettle();
