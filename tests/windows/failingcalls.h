#pragma once

#include "platform/types.h"

#include <QtGlobal>

#include <functional>
#include <vector>

/// A call of an operation that fails. What it needs before is done by the call,
/// too, and goes well.
struct FailingCall {
    const char *operation = nullptr;
    std::function<quint64()> call; ///< its result as a number
    bool isScripted = false;       ///< fails because its double is told to, with `code`
    quint64 result = 0;            ///< what it has to answer
    platform::DWORD code = 0;      ///< why it fails
    bool setsLastError = false;    ///< the code is left as the last error
};

/// One for every operation that can fail without harm to this process.
std::vector<FailingCall> failingCalls();
