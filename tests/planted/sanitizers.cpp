// Defects on purpose, one for each sanitizer, to see that it is at work:
//
//   sanitizer_defects address|leak|undefined|thread

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace {

volatile int number = 4; // which the compiler does not know

int readBehindABlock()
{
    const auto size = static_cast<std::size_t>(number);
    char *block = static_cast<char *>(std::malloc(size));
    if (!block)
        return 0;
    std::memset(block, 1, size);
    const int behind = block[number];
    std::free(block);
    return behind;
}

void *volatile kept = nullptr;

/// In a frame of its own, so that no register keeps it.
[[gnu::noinline]] void loseABlock()
{
    kept = std::malloc(static_cast<std::size_t>(number));
    kept = nullptr;
}

int addTooMuch()
{
    number = INT_MAX;
    return number + 1;
}

int counted = 0;

int countTwice()
{
    const auto count = [] {
        for (int i = 0; i < 1000; ++i)
            ++counted;
    };
    std::thread other(count);
    count();
    other.join();
    return counted;
}

} // namespace

int main(int argc, char *argv[])
{
    const char *which = argc == 2 ? argv[1] : "";
    int result = 0;
    if (std::strcmp(which, "address") == 0)
        result = readBehindABlock();
    else if (std::strcmp(which, "leak") == 0)
        loseABlock();
    else if (std::strcmp(which, "undefined") == 0)
        result = addTooMuch();
    else if (std::strcmp(which, "thread") == 0)
        result = countTwice();
    else
        return 2;
    std::printf("Nobody has reported the defect (%d)\n", result);
    return 0;
}
