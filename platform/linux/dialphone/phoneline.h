#pragma once

#include <cstddef>
#include <string>

namespace dialphone {

// Why a dial ended without an answer of the phone.
inline constexpr char PhoneNotReady[] = "NOT READY"; ///< the phone does not answer AT
inline constexpr char NetworkTimedOut[] = "TIMEOUT"; ///< nothing came back from the network
inline constexpr char LineHungUp[] = "HANGUP";       ///< the line is gone

/// The phone's AT command line on a descriptor that pppd has opened and set
/// up. Reads no byte beyond the line it waits for: what follows CONNECT
/// belongs to PPP.
class PhoneLine
{
public:
    static constexpr std::size_t LongestLine = 500; ///< bytes

    PhoneLine(int input, int output);

    /// Dials a data call. Returns the phone's own answer, "CONNECT 115200" or
    /// "NO CARRIER" for example (see atline::resultCode), or one of the words
    /// above when there is none. Waits at most answerSeconds for the phone and connectSeconds for
    /// the network.
    std::string dial(const std::string &number, int answerSeconds, int connectSeconds);

private:
    bool send(const std::string &command);
    enum class Reading { Line, Late, Gone };
    /// Reads one line, without its end characters and without what it has beyond
    /// LongestLine. Late after the deadline, Gone when the other side hung up.
    Reading readLine(long long deadline, std::string *line);
    std::string waitForResult(int seconds, const char *whenLate);

    int m_input;
    int m_output;
};

/// Whether a number may be sent to a phone: digits, * # + , and the letters A
/// to D, P, T, W in either case; at most 80 characters.
bool isDialableNumber(const std::string &number);

} // namespace dialphone
