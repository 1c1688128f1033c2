#pragma once

#include "tests/faults/story.h"

namespace faults {

/// What a machine says of itself in the log.
struct Facts {
    QString installer;   ///< path of the driver installer, as the log has it
    QString inf;         ///< of the modem INF
    QString fallbackInf; ///< when only the processor that this process sees can be asked for
    QString inf32;       ///< on a release that the program does not know
    QStringList devices; ///< friendly names of the ports, in order; the phone's is the last
    int port = 0;        ///< number of the phone's port
    /// Whether it does more than it is asked to, as real machines do: drivers look
    /// at settings, the dial needs the port, a phone is seen after a rescan only.
    bool isReal = false;
};

/// One call, and how it goes wrong.
struct Fault {
    QString part;      ///< a phase, or a step of the set-up
    QString operation; ///< the system's name
    int call = 0;      ///< which of the operation's calls in that part, from 1
    QString how;       ///< a failure code in decimal, or the name of an unusual answer
};

/// What a person who meets this fault sees, by the table in expectations.cpp.
/// Without an operation: what a person sees on a machine on which everything
/// works.
Story expectedStory(const Facts &facts, const Fault &fault);

/// Why the table does not tell what a person sees who meets this fault on such a
/// machine; null when it does.
const char *untold(const Facts &facts, const Fault &fault);

/// The steps of the set-up in order.
inline const char *const setUpSteps[] = {driversStep, rescanStep, portStep, modemStep, entryStep};

} // namespace faults
