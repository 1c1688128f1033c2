// Dials the phone for pppd, which runs this program as its connect command
// with the serial line as standard input and output. The number comes in the
// environment, so that no shell ever reads it.

#include "platform/linux/dialphone/phoneline.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>

using namespace dialphone;

namespace {

constexpr int AnswerSeconds = 5;
constexpr int ConnectSeconds = 60;

const char *numberToDial()
{
    const char *number = std::getenv("DIAL_NUMBER");
    return number ? number : std::getenv("DIAL_ENTRY_NUMBER");
}

} // namespace

int main()
{
    const char *number = numberToDial();
    if (!number || !isDialableNumber(number)) {
        std::fputs("tolvane-dial: there is no number that can be dialled\n", stderr);
        return 1;
    }
    // A line that goes away ends the reading, not the program.
    std::signal(SIGHUP, SIG_IGN);

    std::fprintf(stderr, "tolvane-dial: dialling %s\n", number);
    PhoneLine line(0, 1);
    const std::string result = line.dial(number, AnswerSeconds, ConnectSeconds);
    if (result.rfind("CONNECT", 0) == 0) {
        std::fputs("tolvane-dial: connected\n", stderr);
        return 0;
    }
    std::fprintf(stderr, "tolvane-dial: failed %s\n", result.c_str());
    return 4;
}
