#pragma once

#include <QString>

#include <functional>
#include <memory>

class WineMachine;

/// The machine of a test program; pictures and logs go to the folder of that
/// name among the artefacts. Ends the test run when it cannot be made.
std::unique_ptr<WineMachine> newMachine(const QString &artefacts);

/// Fails the test with what the body throws.
void asExpected(const std::function<void()> &body);

/// Runs one case on the machine as delivered. What throws fails the test; a
/// failed one leaves a picture. Afterwards the program is ended, its logs are
/// kept under the case's name and every recorded call is held against its form,
/// whatever the case was about.
void onMachine(WineMachine &machine, const std::function<void(WineMachine &)> &body);
