#include "serial/modemport.h"

#include "app/diagnostics.h"
#include "platform/platform.h"
#include "platform/text.h"

#include <cstring>

using namespace platform;

namespace {

constexpr int PortPathSize = 100;   // UTF-16 units
constexpr DWORD ResponseSize = 100; // bytes

/// An overlapped record with a new manual-reset event; hEvent is null when the
/// event could not be created. The event is never closed, on purpose; the system
/// frees it when the process ends.
Overlapped makeOverlapped()
{
    Overlapped overlapped{};
    overlapped.hEvent = current().CreateEventW(nullptr, true, false, nullptr);
    return overlapped;
}

/// What the system writes to during a wait for the port's next event.
struct EventWait {
    DWORD events;
    Overlapped overlapped;
};

/// The record of one wait. It must outlive its caller: after a failed wait the
/// request is still pending, and the system writes to the record when the port
/// is closed. There are two, because a port has two waits before it is closed.
EventWait *newEventWait()
{
    static EventWait waits[2];
    static int latest = 0;
    latest = 1 - latest;
    waits[latest] = {0, makeOverlapped()};
    return &waits[latest];
}

// The handle stays open on these paths, as on every path except a complete
// exchange, on purpose. The port is then in use until the program ends.
ModemPort configurationFailed(const char *text, HANDLE handle, ModemPortState state)
{
    const DWORD error = current().GetLastError();
    qDebug() << text << error;
    return {state, handle};
}

} // namespace

ModemPort openModemPort(int portNumber)
{
    // "COM10" and above are no file names that Windows knows. With the prefix
    // "\\.\" every port opens, COM1 to COM9 too.
    const QString path = QString("\\\\.\\COM%1").arg(portNumber);
    qDebug() << Quoted(path) << Qt::endl;
    WCHAR pathBuffer[PortPathSize] = {};
    copyToBuffer(path, pathBuffer, PortPathSize);

    const HANDLE port = current().CreateFileW(pathBuffer, GenericRead | GenericWrite, 0, nullptr,
                                              OpenExisting, FileFlagOverlapped, nullptr);
    if (port == invalidHandle())
        return configurationFailed("CreateFile failed with error ", port, ModemPortState::Failed);

    DeviceControlBlock settings{};
    if (!current().GetCommState(port, &settings))
        return configurationFailed("GetCommState failed with error", port, ModemPortState::Failed);
    settings.BaudRate = BaudRate9600;
    settings.ByteSize = 8;
    settings.Parity = NoParity;
    settings.StopBits = OneStopBit;
    if (!current().SetCommState(port, &settings))
        return configurationFailed("SetCommState failed with error", port, ModemPortState::Failed);
    qDebug() << "Serial port " << portNumber << " is successfully reconfigured.";

    // A read returns at once with what has been received; writes have no
    // time-out.
    CommTimeouts timeouts{};
    timeouts.ReadIntervalTimeout = MaxDword;
    if (!current().SetCommTimeouts(port, &timeouts))
        return configurationFailed("Error setting time-outs", port, ModemPortState::Failed);

    if (!current().SetCommMask(port, EventReceivedCharacter | EventTransmitEmpty))
        return configurationFailed("SetCommMask failed with error", port,
                                   ModemPortState::NoEventMask);
    return {ModemPortState::Ready, port};
}

bool writeCommand(HANDLE port, const char *command)
{
    Overlapped overlapped = makeOverlapped();
    if (!overlapped.hEvent)
        return false;

    DWORD written = 0;
    if (current().WriteFile(port, command, static_cast<DWORD>(std::strlen(command)), &written,
                            &overlapped)) {
        printDiagnostic("\nWriteFile completed immediately.\n");
        return true;
    }
    const DWORD error = current().GetLastError();
    if (error != ErrorIoPending) {
        printDiagnostic("\nWriteFile failed with error %d.\n", static_cast<int>(error));
        return false;
    }
    if (!current().GetOverlappedResult(port, &overlapped, &written, true))
        return false;
    printDiagnostic("\nWrite operation completed successfully.\n");
    return true;
}

int waitForResponse(HANDLE port)
{
    static const char okAnswer[] = "\r\nOK\r\n";
    static const char errorAnswer[] = "\r\nERROR\r\n";

    EventWait *wait = newEventWait();
    Overlapped *overlapped = &wait->overlapped;
    if (!overlapped->hEvent)
        return ResponseNoEvent;

    for (;;) {
        wait->events = 0;
        current().WaitCommEvent(port, &wait->events, overlapped);
        if (current().WaitForSingleObject(overlapped->hEvent, WaitInfinite) != WaitObject0)
            break;
        for (;;) {
            char response[ResponseSize] = {};
            DWORD read = 0;
            current().ReadFile(port, response, ResponseSize, &read, overlapped);
            if (read == 0)
                break;
            // A full chunk has no terminator, so its size limits the printing.
            printDiagnostic("%.*s\n", static_cast<int>(ResponseSize), response);
            // Each chunk is compared alone, terminator included. So an echo, a
            // line in between or a split answer is not an answer.
            if (std::memcmp(response, okAnswer, sizeof okAnswer) == 0)
                return ResponseOk;
            if (std::memcmp(response, errorAnswer, sizeof errorAnswer) == 0)
                return ResponseError;
        }
    }
    const DWORD error = current().GetLastError();
    printDiagnostic("Waiting for single object failed with error no %d\n", static_cast<int>(error));
    return ResponseWaitFailed;
}
