#pragma once

/// One installation step of the set-up. The texts are plain strings, never
/// translated.
struct SetupStep {
    const char *statusText; ///< shown when the step starts
    bool (*function)();     ///< run on a pool thread; null in the closing row
    const char *errorText;  ///< shown when the function returned false
};

/// How many steps there are. The table has one more row, for the finished
/// set-up.
inline constexpr int SetupStepCount = 5;

/// The device rescan, the only step whose failure does not stop the set-up: a
/// phone that is unplugged and plugged in again is found without it.
inline constexpr int RescanStep = 1;

/// The first step on a machine that already has the drivers.
inline constexpr int PortCheckStep = 2;

/// The steps in their order, and the closing row at SetupStepCount.
extern const SetupStep setupSteps[SetupStepCount + 1];
