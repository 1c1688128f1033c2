// What a phone says to DialPhone.

#include "platform/linux/dialphone/phoneline.h"
#include "platform/atline/resultcode.h"
#include "platform/linux/pppdresult.h"
#include "tests/fuzz/fuzz.h"

#include <sys/socket.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    beSilent();
    constexpr std::size_t Room = 64 * 1024; // a socket takes that without a reader
    size = std::min(size, Room);
    int ends[2];
    require(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "there is a socket");
    require(::write(ends[1], data, size) == static_cast<ssize_t>(size), "the phone can speak");
    ::shutdown(ends[1], SHUT_WR);
    dialphone::PhoneLine line(ends[0], ends[0]);
    const std::string result = line.dial("*99#", 5, 5);
    ::close(ends[0]);
    ::close(ends[1]);
    require(result.size() <= dialphone::PhoneLine::LongestLine, "an answer is one line");
    const auto code = atline::resultCode(result);
    require(code != atline::ResultCode::Ok, "a dial ends in CONNECT or a failure");
    const QString answer = QString::fromStdString(result);
    require(!platform::linuxsystem::modemFailure(answer).text.isEmpty(),
            "the person is told something");
    platform::linuxsystem::pppdFailure(8, answer);
    return 0;
}
