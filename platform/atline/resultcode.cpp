#include "platform/atline/resultcode.h"

namespace atline {

namespace {

struct Words {
    std::string_view text;
    bool mayGoOn; ///< a number or a speed may follow
    ResultCode code;
};

constexpr Words allWords[] = {
    {"OK", false, ResultCode::Ok},
    {"CONNECT", true, ResultCode::Connect},
    {"NO CARRIER", false, ResultCode::NoCarrier},
    {"BUSY", false, ResultCode::Busy},
    {"NO ANSWER", false, ResultCode::NoAnswer},
    {"NO DIALTONE", false, ResultCode::NoDialtone},
    {"NO DIAL TONE", false, ResultCode::NoDialtone},
    {"ERROR", false, ResultCode::Error},
    {"+CME ERROR", true, ResultCode::Error},
    {"+CMS ERROR", true, ResultCode::Error},
};

} // namespace

ResultCode resultCode(std::string_view line)
{
    for (const Words &words : allWords) {
        if (words.mayGoOn ? line.substr(0, words.text.size()) == words.text : line == words.text)
            return words.code;
    }
    return ResultCode::None;
}

bool isFailure(ResultCode code)
{
    return code != ResultCode::None && code != ResultCode::Ok && code != ResultCode::Connect;
}

} // namespace atline
