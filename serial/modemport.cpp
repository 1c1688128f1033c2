#include "serial/modemport.h"

#include "app/diagnostics.h"
#include "platform/platform.h"
#include "platform/text.h"

#include <QByteArray>

#include <algorithm>
#include <cstring>
#include <iterator>

using namespace platform;

namespace {

constexpr int PortPathSize = 100;   // UTF-16 units
constexpr DWORD ResponseSize = 100; // bytes

/// What the system uses for one write.
struct WriteRequest {
    Overlapped overlapped;
    QByteArray command;
    DWORD written;
};

/// What the system uses for one wait and the reads that follow it.
struct WaitRequest {
    Overlapped overlapped;
    DWORD events;
    char response[ResponseSize];
    DWORD read;
};

/// A cleared request with a new manual-reset event, null when none could be
/// made. The event is never closed, on purpose; the system frees it when the
/// process ends. The request outlives its caller: one whose end could not be
/// waited for is still pending, and the system uses its memory until the port is
/// closed. There are two of each kind, because a port has two writes and two
/// waits before it is closed.
template<typename Request> Request *newRequest()
{
    static Request requests[2];
    static int latest = 0;
    latest = 1 - latest;
    Request &request = requests[latest];
    request = {};
    request.overlapped.hEvent = current().CreateEventW(nullptr, true, false, nullptr);
    return &request;
}

/// Reads what has been received into the cleared response; the number of bytes.
DWORD readResponse(HANDLE port, WaitRequest *request)
{
    std::fill(std::begin(request->response), std::end(request->response), '\0');
    request->read = 0;
    if (current().ReadFile(port, request->response, ResponseSize, &request->read,
                           &request->overlapped))
        return request->read;
    // Some drivers let even a read pend that they finish on the spot. Its count
    // is not known before it is asked for.
    if (current().GetLastError() == ErrorIoPending &&
        !current().GetOverlappedResult(port, &request->overlapped, &request->read, true))
        return 0;
    return request->read;
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
    WriteRequest *request = newRequest<WriteRequest>();
    if (!request->overlapped.hEvent)
        return false;

    request->command = command;
    if (current().WriteFile(port, request->command.constData(),
                            static_cast<DWORD>(request->command.size()), &request->written,
                            &request->overlapped)) {
        printDiagnostic("\nWriteFile completed immediately.\n");
        return true;
    }
    const DWORD error = current().GetLastError();
    if (error != ErrorIoPending) {
        printDiagnostic("\nWriteFile failed with error %d.\n", static_cast<int>(error));
        return false;
    }
    if (!current().GetOverlappedResult(port, &request->overlapped, &request->written, true))
        return false;
    printDiagnostic("\nWrite operation completed successfully.\n");
    return true;
}

int waitForResponse(HANDLE port)
{
    static const char okAnswer[] = "\r\nOK\r\n";
    static const char errorAnswer[] = "\r\nERROR\r\n";

    WaitRequest *request = newRequest<WaitRequest>();
    Overlapped *overlapped = &request->overlapped;
    if (!overlapped->hEvent)
        return ResponseNoEvent;

    for (;;) {
        request->events = 0;
        current().WaitCommEvent(port, &request->events, overlapped);
        if (current().WaitForSingleObject(overlapped->hEvent, WaitInfinite) != WaitObject0)
            break;
        while (readResponse(port, request) != 0) {
            const char *response = request->response;
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
