// Dials the phone for pppd, which runs this program as its connect command
// with the serial line as standard input and output. The number comes in the
// environment, so that no shell ever reads it.

#include "platform/atline/resultcode.h"
#include "platform/linux/dialphone/messages.h"
#include "platform/linux/dialphone/phoneline.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

using namespace dialphone;

namespace {

constexpr int AnswerSeconds = 5;
constexpr int ConnectSeconds = 60;

const char *numberToDial()
{
    const char *number = std::getenv("DIAL_NUMBER");
    return number ? number : std::getenv("DIAL_ENTRY_NUMBER");
}

void tell(const char *message, const char *detail = "")
{
    std::fprintf(stderr, "%s%s%s\n", messagePrefix, message, detail);
}

} // namespace

int main()
{
    const char *number = numberToDial();
    if (!number || !isDialableNumber(number)) {
        tell("there is no number that can be dialled");
        return 1;
    }
    // When the line goes away, reading ends with an error and the reason is
    // reported. SIGHUP would end the program before that.
    std::signal(SIGHUP, SIG_IGN);

    tell(diallingMessage, number);
    PhoneLine line(0, 1, [](const std::string &text) {
        std::string plain = text;
        for (char &character : plain) {
            if (character < ' ' || character > '~')
                character = '?';
        }
        tell(lineMessage, plain.c_str());
    });
    const std::string result = line.dial(number, AnswerSeconds, ConnectSeconds);
    if (atline::resultCode(result) == atline::ResultCode::Connect) {
        tell(connectedMessage);
        return 0;
    }
    tell(failedMessage, result.c_str());
    return 4;
}
