// What a PC sends to the virtual phone: command lines, and data with an escape
// sequence.

#include "tests/fuzz/fuzz.h"
#include "virtualphone/atcommands.h"
#include "virtualphone/commandlinereader.h"
#include "virtualphone/commandparser.h"
#include "virtualphone/escapedetector.h"
#include "virtualphone/phonenetwork.h"

using namespace virtualphone;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    beSilent();
    const QByteArray sent(reinterpret_cast<const char *>(data), static_cast<int>(size));
    PhoneNetwork network;
    ModemState modem;
    CommandLineReader reader;
    QByteArray echoed;
    for (QByteArray left = sent; !left.isEmpty();) {
        const auto before = left.size();
        const CommandLineReader::Taken taken = reader.take(&left, {});
        require(left.size() < before, "a reader goes on");
        echoed += taken.bytes;
        require(taken.line.size() <= MaximumLineLength, "no line is longer than told");
        if (!taken.isComplete || taken.line.isEmpty())
            continue;
        const CommandAnswer answer = executeCommandLine(taken.line, network, &modem);
        formatResult(answer.result, modem.settings);
    }
    require(echoed == sent, "what is echoed is what was sent");
    splitParameters(sent);
    wholeNumber(sent);
    EscapeDetector escape(1000);
    escape.start(0);
    qint64 now = 0;
    for (const char character : sent) {
        now += static_cast<unsigned char>(character) * 20;
        escape.feed(QByteArray(1, character), now);
        require(!escape.isArmed() || escape.remainingMs(now) >= 0, "a pause is not over before");
    }
    return 0;
}
