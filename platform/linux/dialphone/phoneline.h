#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace dialphone {

// Why a dial ended without an answer of the phone.
inline constexpr char PhoneNotReady[] = "NOT READY"; ///< the phone does not answer AT
inline constexpr char NetworkTimedOut[] = "TIMEOUT"; ///< nothing came back from the network
inline constexpr char LineHungUp[] = "HANGUP";       ///< the line is gone

// What the phone's numbers mean (3GPP TS 27.007, 9.2.1).
inline constexpr char ErrorNumber[] = "+CME ERROR: "; ///< and one of these
inline constexpr int CardMissing = 10;
inline constexpr int CardNeedsPin = 11;
inline constexpr int CardNeedsPuk = 12;
inline constexpr int CardFailure = 13;
inline constexpr int CardWrong = 15;
inline constexpr int NoNetwork = 30;

/// The number of such an answer; 0 for any other.
int errorNumber(const std::string &answer);

/// The phone's AT command line on a descriptor that pppd has opened and set
/// up. Reads no byte beyond the line it waits for: what follows CONNECT
/// belongs to PPP.
class PhoneLine
{
public:
    static constexpr std::size_t LongestLine = 500; ///< bytes

    /// Gets each command, and each line of the phone's that is not empty.
    using Listener = std::function<void(const std::string &line)>;

    PhoneLine(int input, int output, Listener listener = {});

    /// Dials a data call. Returns the phone's own answer, "CONNECT 115200" or
    /// "NO CARRIER" for example (see atline::resultCode), or one of the words
    /// above when there is none. Waits at most answerSeconds for the phone, which
    /// is spoken to each second, and connectSeconds for the network. If the phone
    /// refuses without a number it is asked for its card and its network, and the
    /// number for that is returned: "+CME ERROR: 11".
    std::string dial(const std::string &number, int answerSeconds, int connectSeconds);

private:
    enum class Reading { Line, Late, Gone };
    /// An answer, and the last text before it that tells something: "+CPIN: READY".
    struct Answer {
        std::string result;
        std::string text;
    };

    bool send(const std::string &command);
    /// Speaks to the phone until it answers: OK, or why it does not.
    std::string wake(int seconds);
    /// Lets pass what comes until the phone says nothing more.
    void skipLateAnswers();
    /// Why the phone refused, if it can tell; otherwise the result itself.
    std::string reasonOf(const std::string &result);
    Answer ask(const std::string &command);
    /// Reads one line, without its end characters and without what it has beyond
    /// LongestLine. Late after the deadline, Gone when the other side hung up.
    Reading readLine(long long deadline, std::string *line);
    Answer waitForAnswer(long long milliseconds, const char *whenLate);

    int m_input;
    int m_output;
    Listener m_listener;
};

/// Whether a number may be sent to a phone: digits, * # + , and the letters A
/// to D, P, T, W in either case; at most 80 characters.
bool isDialableNumber(const std::string &number);

} // namespace dialphone
