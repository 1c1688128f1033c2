// What machines keep on disk: the Linux backend's state store and phone book, the
// simulated PC's state, a phone's plug, and names of entries and links.

#include "app/identity.h"
#include "platform/linux/phonebook.h"
#include "platform/linux/portlist.h"
#include "platform/linux/setupapi.h"
#include "platform/linux/statestore.h"
#include "platform/simulated/machinestate.h"
#include "tests/fuzz/fuzz.h"
#include "virtualphone/pluggedphone.h"

using namespace platform;
using namespace platform::linuxsystem;

namespace {

void readState(const Scratch &scratch, const QByteArray &bytes)
{
    scratch.write("state/state.json", bytes);
    StateStore store(scratch.path("state"));
    QJsonObject state;
    const DWORD code = store.read(&state);
    DeviceList devices;
    readDevices(store, &devices);
    QList<SerialPortDevice> ports{{"ttyACM0", "/dev/ttyACM0", {}, "phone", {}, true, 0}};
    QJsonObject numbers = state.value("ports").toObject();
    assignNumbers(&ports, &numbers);
    require(ports.first().number > 0, "every port has a number");
    const DWORD changed = store.change([](QJsonObject *content) {
        (*content)["changed"] = true;
        return true;
    });
    require((code == Success) == (changed == Success), "only a sound store is changed");
    require(code == Success || scratch.read("state/state.json") == bytes,
            "a damaged store is left as it is");
}

void readRecord(const Scratch &scratch, const QByteArray &bytes)
{
    SystemPaths paths;
    paths.state = scratch.path("state");
    paths.peers = scratch.path("peers");
    const PhoneBook book(programIdentity(), paths);
    const QString name = "TolvaneModem 1";
    scratch.write("state/entries/" + book.fileName(name), bytes);
    RasEntry entry = {};
    book.read(name, &entry);
}

void readNames(const QByteArray &bytes)
{
    const PhoneBook book(programIdentity(), SystemPaths());
    const QString text = QString::fromUtf8(bytes);
    const QString file = book.fileName(text);
    require(!file.contains('/'), "no entry's file lies elsewhere");
    if (!file.isEmpty())
        require(book.entryName(file) && book.entryName(file)->name == text,
                "an entry is found by its file's name");
    const auto entry = book.entryName(text);
    require(!entry || entry->owner != 0 || book.fileName(entry->name) == text,
            "a file's name is that of one entry only");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    beSilent();
    static Scratch scratch;
    Input input(data, size);
    const int what = input.number<std::uint8_t>() % 5;
    const QByteArray bytes = input.rest();
    scratch.empty();
    QString error;
    if (what == 0) {
        readState(scratch, bytes);
    } else if (what == 1) {
        readRecord(scratch, bytes);
    } else if (what == 2) {
        readNames(bytes);
    } else if (what == 3) {
        simulated::MachineState state;
        if (state.fromJson(bytes, &error))
            require(simulated::MachineState().fromJson(state.toJson(), &error),
                    "a state that was read can be read again");
    } else {
        virtualphone::PluggedPhone phone;
        phone.fromJson(bytes);
        virtualphone::socketOfFileName(QString::fromUtf8(bytes));
    }
    return 0;
}
