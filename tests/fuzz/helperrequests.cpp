// What the helper is asked for, by somebody who writes its lines by hand. Everything
// it may change lies in a folder of the target's own, and it has no other rights.

#include "app/identity.h"
#include "platform/linux/helper/service.h"
#include "tests/fuzz/fuzz.h"
#include "tests/support/ordinaryuser.h"

#include <fcntl.h>
#include <unistd.h>

using namespace platform::linuxsystem;

namespace {

constexpr auto everything = QFile::Permissions(0x7777); // for everybody

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    beSilent();
    static Scratch scratch;
    Input input(data, size);
    const Role roles[] = {Role::SetUp, Role::Connect, Role::EndOthers};
    const Role role = roles[input.number<std::uint8_t>() % 3];
    scratch.empty();
    QFile::setPermissions(scratch.path(), everything);
    for (const char *folder : {"inside/peers", "inside/run", "inside/locks", "inside/drivers"})
        QDir().mkpath(scratch.path(folder));
    for (const char *folder : {"inside", "inside/peers"})
        QFile::setPermissions(scratch.path(folder), everything);
    scratch.write("requests", input.rest());
    SystemPaths paths;
    paths.state = scratch.path("inside/state");
    paths.peers = scratch.path("inside/peers");
    paths.run = scratch.path("inside/run");
    paths.locks = scratch.path("inside/locks");
    paths.pppd = "/bin/false";
    paths.drivers = scratch.path("inside/drivers");
    paths.user = 1000;
    const int requests = ::open(QFile::encodeName(scratch.path("requests")).constData(), O_RDONLY);
    const int replies =
        ::open(QFile::encodeName(scratch.path("replies")).constData(), O_WRONLY | O_CREAT, 0600);
    {
        const OrdinaryUser user;
        serve(paths, programIdentity(), role, requests, replies, 100);
    }
    ::close(requests);
    ::close(replies);
    for (const QByteArray &line : scratch.read("replies").split('\n'))
        require(line.isEmpty() || fromLine(line).has_value(), "a reply is a line of JSON");
    require(QDir(scratch.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot) ==
                QStringList({"inside", "replies", "requests"}),
            "nothing is written elsewhere");
    return 0;
}
