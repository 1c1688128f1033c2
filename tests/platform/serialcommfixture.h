#pragma once

#include "platform/platform.h"
#include "platform/posix/serialcomm.h"
#include "platform/standin/lasterror.h"
#include "platform/text.h"
#include "tests/platform/posix_pty.h"

#include <QMap>

#include <memory>

/// Ports are what the test plugs in.
struct TestSerial : platform::Platform {
    TestSerial()
    {
        const auto handles = std::make_shared<platform::Handles>();
        platform::provideKernelObjects(this, handles);
        platform::provideSerialComm(this, handles, [this](int number, QString *node) {
            *node = nodes.value(number);
            return node->isEmpty() ? platform::ErrorFileNotFound : platform::Success;
        });
    }

    QMap<int, QString> nodes;
};

inline platform::HANDLE openPath(TestSerial &serial, const QString &path)
{
    return serial.CreateFileW(platform::wide(path), platform::GenericRead | platform::GenericWrite,
                              0, nullptr, platform::OpenExisting, platform::FileFlagOverlapped,
                              nullptr);
}

constexpr platform::CommTimeouts atOnce = {platform::MaxDword, 0, 0, 0, 0};

/// A port opened and set up as the program does it, and its records.
struct OpenPort {
    explicit OpenPort(TestSerial &owner, platform::DWORD mask = platform::EventReceivedCharacter |
                                                                platform::EventTransmitEmpty)
        : serial(owner)
    {
        serial.nodes[5] = pty.node();
        handle = openPath(serial, "\\\\.\\COM5");
        platform::CommTimeouts timeouts = atOnce;
        if (handle == platform::invalidHandle() || !serial.SetCommTimeouts(handle, &timeouts) ||
            !serial.SetCommMask(handle, mask))
            qFatal("the test's port does not open");
        overlapped.hEvent = serial.CreateEventW(nullptr, 1, 0, nullptr);
    }
    ~OpenPort()
    {
        serial.CloseHandle(overlapped.hEvent);
        serial.CloseHandle(handle);
    }

    QByteArray read(int size = 100)
    {
        QByteArray buffer(size, '\0');
        platform::DWORD count = 0;
        readResult = serial.ReadFile(handle, buffer.data(), static_cast<platform::DWORD>(size),
                                     &count, &overlapped);
        readError = readResult ? platform::DWORD(platform::Success) : platform::lastError();
        return buffer.left(static_cast<int>(count));
    }
    platform::DWORD waitForInput()
    {
        serial.WaitCommEvent(handle, &events, &overlapped);
        return serial.WaitForSingleObject(overlapped.hEvent, 5000);
    }

    TestSerial &serial;
    Pty pty;
    platform::HANDLE handle = nullptr;
    platform::Overlapped overlapped = {};
    platform::DWORD events = 0;
    platform::BOOL readResult = 0;
    platform::DWORD readError = 0;
};
