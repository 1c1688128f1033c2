#pragma once

/// One installation step of the set-up. The texts are plain strings, never
/// translated.
struct SetupStep {
    const char *statusText; ///< shown when the step starts
    bool (*function)();     ///< run on a pool thread; null in the closing row
    const char *errorText;  ///< shown when the function returned false
};

/// How many steps there are; the table has one row more, which says that all
/// is done.
inline constexpr int SetupStepCount = 5;

/// The rescan of the devices is the one step whose failure does not stop the
/// set-up: a phone that is plugged in again is found without it.
inline constexpr int RescanStep = 1;

/// Where the set-up of a machine begins that has the drivers already.
inline constexpr int PortCheckStep = 2;

/// The steps in their order, and the closing row at SetupStepCount.
extern const SetupStep setupSteps[SetupStepCount + 1];
