#include "platform/platform.h"
#include "platform/standin/lasterror.h"
#include "platform/standin/memory.h"

#include <QTest>

#include <algorithm>
#include <limits>
#include <thread>

using namespace platform;

class MemoryTest : public QObject
{
    Q_OBJECT

private slots:
    void allocatesFromTheHeap()
    {
        Platform memory;
        provideMemory(&memory);
        const HANDLE heap = memory.GetProcessHeap();
        QVERIFY(heap);
        auto *block = static_cast<char *>(memory.HeapAlloc(heap, HeapZeroMemory, 5616));
        QVERIFY(block);
        QVERIFY(std::all_of(block, block + 5616, [](char c) { return c == 0; }));
        QVERIFY(memory.HeapFree(heap, 0, block));
    }

    void refusesAnotherHeap()
    {
        Platform memory;
        provideMemory(&memory);
        QVERIFY(!memory.HeapAlloc(&memory, 0, 1));
        setLastError(Success);
        QVERIFY(!memory.HeapFree(&memory, 0, nullptr));
        QCOMPARE(lastError(), DWORD(ErrorInvalidHandle));
    }

    void runsOutOfMemory()
    {
        Platform memory;
        provideMemory(&memory);
        if (isSanitized())
            QSKIP("a sanitizer's allocator ends the process instead of giving null");
        volatile SIZE_T tooMuch = std::numeric_limits<SIZE_T>::max() / 4;
        setLastError(Success);
        QVERIFY(!memory.HeapAlloc(memory.GetProcessHeap(), 0, tooMuch));
        QCOMPARE(lastError(), DWORD(Success)); // the heap does not set it
        QVERIFY(!memory.LocalAlloc(LocalZeroInit, tooMuch));
        QCOMPARE(lastError(), DWORD(ErrorNotEnoughMemory));
    }

    void allocatesLocally()
    {
        Platform memory;
        provideMemory(&memory);
        auto *block = static_cast<char *>(memory.LocalAlloc(LocalZeroInit, 100));
        QVERIFY(block);
        QVERIFY(std::all_of(block, block + 100, [](char c) { return c == 0; }));
        QVERIFY(!memory.LocalFree(block));
        QVERIFY(!memory.LocalFree(nullptr));
        void *empty = memory.LocalAlloc(LocalZeroInit, 0);
        QVERIFY(empty);
        memory.LocalFree(empty);
        QVERIFY(!memory.LocalAlloc(2, 100)); // a movable block
        QCOMPARE(lastError(), DWORD(ErrorNotSupported));
    }

    void keepsTheLastErrorPerThread()
    {
        setLastError(ErrorAccessDenied);
        DWORD other = 1;
        std::thread thread([&] { other = lastError(); });
        thread.join();
        QCOMPARE(other, DWORD(Success));
        QCOMPARE(lastError(), DWORD(ErrorAccessDenied));
    }

private:
    static bool isSanitized()
    {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
        return true;
#else
        return false;
#endif
    }
};

QTEST_GUILESS_MAIN(MemoryTest)
#include "memory_test.moc"
