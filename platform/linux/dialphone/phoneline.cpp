#include "platform/linux/dialphone/phoneline.h"

#include "platform/atline/resultcode.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <poll.h>
#include <unistd.h>
#include <utility>

using atline::ResultCode;
using atline::resultCode;

namespace dialphone {

namespace {

// Milliseconds.
constexpr long long Second = 1000;
constexpr long long QuietTime = 300;     // after which no answer of before comes any more
constexpr long long QuestionTime = 2000; // what the phone knows itself it tells at once

/// Whether that answer to AT+CREG? says that there is no network: "+CREG: 0,2".
/// 1 is the own network, 5 another one that serves the card, too.
bool isUnregistered(const std::string &text)
{
    const std::size_t comma = text.find(',');
    return text.rfind("+CREG: ", 0) == 0 && comma != std::string::npos &&
           text.substr(comma + 1, 1).find_first_of("0234") == 0;
}

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

int errorNumber(const std::string &answer)
{
    return answer.rfind(ErrorNumber, 0) == 0 ? std::atoi(answer.c_str() + sizeof ErrorNumber - 1)
                                             : 0;
}

PhoneLine::PhoneLine(int input, int output, Listener listener)
    : m_input(input), m_output(output), m_listener(std::move(listener))
{
}

std::string PhoneLine::dial(const std::string &number, int answerSeconds, int connectSeconds)
{
    std::string result = wake(answerSeconds);
    ResultCode code = resultCode(result);
    if (code != ResultCode::Ok)
        return isFailure(code) ? PhoneNotReady : result;
    if (!send("ATD" + number + "\r"))
        return LineHungUp;
    result = waitForAnswer(connectSeconds * Second, NetworkTimedOut).result;
    code = resultCode(result);
    // OK instead of CONNECT means that the phone has ended the call.
    return reasonOf(code == ResultCode::Ok ? "NO CARRIER" : result);
}

// Just before, pppd has let the line down and up again; phones may swallow what
// comes first after that.
std::string PhoneLine::wake(int seconds)
{
    for (int attempt = 1; attempt <= seconds; ++attempt) {
        if (!send("AT\r"))
            return LineHungUp;
        const std::string result = waitForAnswer(Second, PhoneNotReady).result;
        if (result == PhoneNotReady)
            continue;
        // An OK that comes later would be taken for the end of the call.
        if (attempt > 1)
            skipLateAnswers();
        return result;
    }
    return PhoneNotReady;
}

void PhoneLine::skipLateAnswers()
{
    std::string line;
    while (readLine(now() + QuietTime, &line) == Reading::Line) {
    }
}

std::string PhoneLine::reasonOf(const std::string &result)
{
    const ResultCode code = resultCode(result);
    const bool isTold = code != ResultCode::Error && code != ResultCode::NoCarrier &&
                        code != ResultCode::NoDialtone;
    if (isTold || errorNumber(result) != 0)
        return result;
    const auto number = [](int value) { return ErrorNumber + std::to_string(value); };
    std::string reason = result;
    // With numbers for these questions only: whoever uses the phone next expects
    // bare errors, as phones give them unless they are told.
    ask("AT+CMEE=1");
    const Answer card = ask("AT+CPIN?");
    if (errorNumber(card.result) != 0)
        reason = card.result;
    else if (card.text == "+CPIN: SIM PIN")
        reason = number(CardNeedsPin);
    else if (card.text == "+CPIN: SIM PUK")
        reason = number(CardNeedsPuk);
    else if (isUnregistered(ask("AT+CREG?").text))
        reason = number(NoNetwork);
    ask("AT+CMEE=0");
    return reason;
}

PhoneLine::Answer PhoneLine::ask(const std::string &command)
{
    return send(command + "\r") ? waitForAnswer(QuestionTime, PhoneNotReady)
                                : Answer{LineHungUp, {}};
}

bool PhoneLine::send(const std::string &command)
{
    if (m_listener)
        m_listener(command.substr(0, command.find('\r')));
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

PhoneLine::Answer PhoneLine::waitForAnswer(long long milliseconds, const char *whenLate)
{
    const long long deadline = now() + milliseconds;
    Answer answer;
    std::string line;
    for (;;) {
        const Reading reading = readLine(deadline, &line);
        if (reading != Reading::Line) {
            answer.result = reading == Reading::Late ? whenLate : LineHungUp;
            return answer;
        }
        if (m_listener && !line.empty())
            m_listener(line);
        if (resultCode(line) != ResultCode::None) {
            answer.result = line;
            return answer;
        }
        if (!line.empty())
            answer.text = line;
    }
}

} // namespace dialphone
