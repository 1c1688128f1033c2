// What pppd says, as the helper passes it on and the window understands it; and what
// a helper says that is none. Both are programs that print the input.

#include "platform/linux/helper/pppdrun.h"
#include "platform/linux/helper/protocol.h"
#include "platform/linux/pppddialler.h"
#include "tests/fuzz/fuzz.h"

#include <QCoreApplication>
#include <QEventLoop>

#include <fcntl.h>
#include <unistd.h>

using namespace platform;
using namespace platform::linuxsystem;

namespace {

/// A window that dials with a helper that prints a file; whether it connected.
bool dial(const QString &said)
{
    PppdDialler dialler({"/bin/cat", said}, "*99#", [] {
        return PppdDialler::Target{Success, "peer", "/dev/null"};
    });
    bool isConnected = false;
    QString failure;
    QEventLoop loop;
    QObject::connect(&dialler, &PppdDialler::connected, &loop, [&] {
        isConnected = true;
        loop.quit();
    });
    QObject::connect(&dialler, &PppdDialler::failed, &loop, [&](const DialFailure &why) {
        failure = why.text;
        loop.quit();
    });
    dialler.start();
    if (!isConnected && failure.isEmpty())
        loop.exec();
    require(isConnected || !failure.isEmpty(), "a dial ends, and tells how");
    return isConnected;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    beSilent();
    static int argumentCount = 1;
    static char name[] = "fuzz";
    static char *arguments[] = {name, nullptr};
    static const QCoreApplication application(argumentCount, arguments);
    static Scratch scratch;
    Input input(data, size);
    const bool isHelpers = (input.number<std::uint8_t>() & 1) != 0;
    scratch.empty();
    scratch.write("said", input.rest());
    if (isHelpers) {
        dial(scratch.path("said"));
        return 0;
    }
    scratch.write("pppd",
                  "#!/bin/sh\nexec cat '" + QFile::encodeName(scratch.path("said")) + "'\n");
    QFile::setPermissions(scratch.path("pppd"), QFile::ReadOwner | QFile::ExeOwner);
    const int output = ::open(QFile::encodeName(scratch.path("passed")).constData(),
                              O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    int quiet[2];
    require(::pipe2(quiet, O_CLOEXEC) == 0, "there is a pipe");
    runPppd(scratch.path("pppd"), "peer", "/dev/null", "*99#", quiet[0], output);
    for (const int descriptor : {output, quiet[0], quiet[1]})
        ::close(descriptor);
    const QList<QByteArray> lines = scratch.read("passed").split('\n');
    for (int i = 0; i + 1 < lines.size(); ++i) {
        const auto object = fromLine(lines.at(i));
        require(object.has_value() && lines.at(i).size() <= LongestLine,
                "the helper's lines can be read");
    }
    require(dial(scratch.path("passed")), "a pppd that ends well has connected");
    return 0;
}
