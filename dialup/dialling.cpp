#include "dialup/dialling.h"

#include "platform/platform.h"
#include "platform/text.h"
#include "serial/apnconfiguration.h"

using namespace platform;

namespace {

constexpr int EntryNameSize = 200; // UTF-16 units

DWORD lastDialError = Success; // GUI thread

} // namespace

bool setApnAndDial(QString entryName, int portNumber, QString apn)
{
    lastDialError = Success;
    return configureModemApn(portNumber, apn) && dialConnection(entryName);
}

bool dialConnection(QString entryName)
{
    RasDialDialog dialog{};
    dialog.dwSize = RasDialDialogSize;
    WCHAR entry[EntryNameSize] = {};
    copyToBuffer(entryName, entry, EntryNameSize);
    // Used instead of the number in the entry.
    WCHAR number[] = {'*', '9', '9', '#', 0};
    const bool connected = current().RasDialDlgW(nullptr, entry, number, &dialog) != 0;
    lastDialError = connected ? DWORD(Success) : dialog.dwError;
    return connected;
}

bool isDialupEntryMissing()
{
    return lastDialError == RasErrorEntryNotFound;
}
