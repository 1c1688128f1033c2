#include "platform/linux/dialphone/phoneline.h"

#include "platform/atline/resultcode.h"

#include <cerrno>
#include <chrono>
#include <poll.h>
#include <unistd.h>

using atline::ResultCode;
using atline::resultCode;

namespace dialphone {

namespace {

long long now()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

} // namespace

bool isDialableNumber(const std::string &number)
{
    return !number.empty() && number.size() <= 80 &&
           number.find_first_not_of("0123456789*#+,ABCDPTWabcdptw") == std::string::npos;
}

PhoneLine::PhoneLine(int input, int output) : m_input(input), m_output(output) {}

std::string PhoneLine::dial(const std::string &number, int answerSeconds, int connectSeconds)
{
    if (!send("AT\r"))
        return LineHungUp;
    std::string result = waitForResult(answerSeconds, PhoneNotReady);
    ResultCode code = resultCode(result);
    if (code != ResultCode::Ok)
        return isFailure(code) ? PhoneNotReady : result;
    if (!send("ATD" + number + "\r"))
        return LineHungUp;
    result = waitForResult(connectSeconds, NetworkTimedOut);
    code = resultCode(result);
    // OK instead of CONNECT means that the phone has ended the call.
    return code == ResultCode::Ok ? "NO CARRIER" : result;
}

bool PhoneLine::send(const std::string &command)
{
    std::size_t sent = 0;
    while (sent < command.size()) {
        const ssize_t taken = ::write(m_output, command.data() + sent, command.size() - sent);
        if (taken > 0) {
            sent += static_cast<std::size_t>(taken);
            continue;
        }
        if (taken < 0 && errno == EINTR)
            continue;
        pollfd room = {m_output, POLLOUT, 0};
        if (taken < 0 && errno == EAGAIN && ::poll(&room, 1, 5000) > 0)
            continue;
        return false;
    }
    return true;
}

PhoneLine::Reading PhoneLine::readLine(long long deadline, std::string *line)
{
    line->clear();
    for (;;) {
        const long long left = deadline - now();
        if (left <= 0)
            return Reading::Late;
        pollfd waiting = {m_input, POLLIN, 0};
        if (::poll(&waiting, 1, static_cast<int>(left)) <= 0)
            continue;
        char character = 0;
        const ssize_t count = ::read(m_input, &character, 1);
        if (count < 0 && (errno == EINTR || errno == EAGAIN))
            continue;
        if (count <= 0)
            return Reading::Gone;
        if (character == '\n')
            return Reading::Line;
        if (character == '\r') {
            if (line->rfind("AT", 0) == 0)
                line->clear(); // the command's echo
        } else if (line->size() < LongestLine) {
            *line += character;
        }
    }
}

std::string PhoneLine::waitForResult(int seconds, const char *whenLate)
{
    const long long deadline = now() + seconds * 1000LL;
    std::string line;
    for (;;) {
        const Reading reading = readLine(deadline, &line);
        if (reading == Reading::Late)
            return whenLate;
        if (reading == Reading::Gone)
            return LineHungUp;
        if (resultCode(line) != ResultCode::None)
            return line;
    }
}

} // namespace dialphone
