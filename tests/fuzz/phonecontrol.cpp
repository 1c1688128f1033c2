// The virtual phone's control line, its misbehaviours and escapes.

#include "virtualphone/phonecontrol.h"
#include "tests/fuzz/fuzz.h"
#include "virtualphone/byteescapes.h"
#include "virtualphone/misbehaviour.h"
#include "virtualphone/registration.h"
#include "virtualphone/simcard.h"

using namespace virtualphone;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    beSilent();
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<int>(size));
    QByteArray back;
    require(unescapeBytes(escapeBytes(bytes), &back) && back == bytes,
            "what was escaped can be read back");
    unescapeBytes(bytes, &back);

    const QString text = QString::fromUtf8(bytes);
    Misbehaviour misbehaviour;
    QString error;
    const int blank = static_cast<int>(text.indexOf(' '));
    const bool isSet = misbehaviour.set(text.left(blank), text.mid(blank + 1), &error);
    require(isSet == error.isEmpty(), "a setting is taken, or it is said why not");
    hasCommandPrefix(bytes, misbehaviour.errorPrefix);
    int socket = 1;
    readSocketNumber(text, &socket);
    require(socket >= 1 && socket <= 99, "a socket has a number from 1 to 99");
    SimCard::State card = SimCard::State::Ready;
    readCardState(text, &card);
    return 0;
}
