#include "tests/desktop/childprocess.h"

#include <csignal>

#include <sys/prctl.h>

namespace {

constexpr int EndPatience = 5000; // milliseconds

void endWithParent()
{
    prctl(PR_SET_PDEATHSIG, SIGTERM);
}

} // namespace

ChildProcess::ChildProcess()
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    setChildProcessModifier(endWithParent);
#endif
}

ChildProcess::~ChildProcess()
{
    end();
}

void ChildProcess::end()
{
    if (state() == NotRunning)
        return;
    terminate();
    if (!waitForFinished(EndPatience)) {
        kill();
        waitForFinished(EndPatience);
    }
}

#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
void ChildProcess::setupChildProcess()
{
    endWithParent();
}
#endif
