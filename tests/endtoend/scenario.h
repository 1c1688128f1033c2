#pragma once

#include "tests/endtoend/firstrun.h"
#include "tests/endtoend/session.h"

#include <functional>
#include <memory>

/// What the first run leaves behind, for the scenarios that come later in a
/// PC's life.
struct FirstRun {
    std::unique_ptr<Machine> machine; ///< set up, nothing plugged in
    Faces faces;
    SeenOfFirstRun seen;
};

/// The first run, made when it is first asked for.
const FirstRun &firstRunDone();

using Scenario = std::function<void(Session &)>;

/// Runs a scenario on a new PC. What throws fails the test and leaves a picture.
void onNewPc(const QString &name, const Scenario &scenario);

/// Runs a scenario on a PC on which everything was set up in a first run; the
/// phone is not plugged in.
void onPreparedPc(const QString &name, const Scenario &scenario);

/// What the phone hears when an operator's APN is set and the number dialled.
QByteArray heardWhenDialling(const QByteArray &apn);

/// How often the program is woken up within six seconds in which nothing
/// happens. A timer of 100 ms that was left running would do it sixty times,
/// and none of the slow polls comes more than twice.
int wakeUpsWhenIdle(const Session &session, const char *state);
inline constexpr int FewWakeUps = 25;
