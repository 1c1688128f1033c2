// Stands in for pppd, by that name, where there is no PPP in the kernel: does
// what STANDIN_PPPD says, separated by blanks, and writes its arguments to
// STANDIN_ARGUMENTS, the descriptors beyond the first three that it was given to
// STANDIN_DESCRIPTORS, and what it was told of signals to STANDIN_SIGNALS.
//   say:TEXT    prints a line; underscores become blanks
//   wait        waits for a signal; SIGTERM ends it with status 5
//   link:IF     writes the link's process file below STANDIN_RUN, with the
//               interface, in a process of its own that lives on
//   deaf        takes no notice of SIGTERM from then on
//   exit:N      ends with that status
//   die         is killed

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>

namespace {

std::string argumentAfter(int argc, char **argv, const std::string &name)
{
    for (int i = 1; i + 1 < argc; ++i) {
        if (name == argv[i])
            return argv[i + 1];
    }
    return {};
}

std::string linkFile;

extern "C" void end(int)
{
    if (!linkFile.empty())
        ::unlink(linkFile.c_str());
    _exit(5);
}

void makeLink(const std::string &name, const std::string &interface)
{
    int ready[2];
    if (::pipe(ready) != 0 || ::fork() != 0) {
        char character;
        ::close(ready[1]);
        if (::read(ready[0], &character, 1) < 0)
            std::exit(1);
        return;
    }
    linkFile = std::string(std::getenv("STANDIN_RUN")) + "/ppp-" + name + ".pid";
    std::ofstream(linkFile) << ::getpid() << '\n' << interface << '\n';
    for (const int descriptor : {0, 1, 2, ready[0], ready[1]})
        ::close(descriptor); // the parent reads the end of the pipe
    for (;;)
        ::pause();
}

void listDescriptors(const char *path)
{
    std::string open;
    for (int descriptor = 3; descriptor < 1024; ++descriptor) {
        if (::fcntl(descriptor, F_GETFD) >= 0)
            open += std::to_string(descriptor) + '\n';
    }
    std::ofstream(path) << open;
}

void listSignals(const char *path)
{
    std::ifstream status("/proc/self/status");
    std::ofstream list(path);
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("Sig", 0) == 0)
            list << line << '\n';
    }
}

} // namespace

int main(int argc, char **argv)
{
    if (const char *file = std::getenv("STANDIN_SIGNALS"))
        listSignals(file);
    std::signal(SIGTERM, end);
    if (const char *file = std::getenv("STANDIN_DESCRIPTORS"))
        listDescriptors(file);
    if (const char *file = std::getenv("STANDIN_ARGUMENTS")) {
        std::ofstream arguments(file);
        for (int i = 1; i < argc; ++i)
            arguments << argv[i] << '\n';
    }
    const char *plan = std::getenv("STANDIN_PPPD");
    std::istringstream steps(plan ? plan : "");
    std::string step;
    while (steps >> step) {
        const std::string value = step.substr(step.find(':') + 1);
        if (step.rfind("say:", 0) == 0) {
            std::string text = value;
            for (char &character : text)
                character = character == '_' ? ' ' : character;
            std::puts(text.c_str());
            std::fflush(stdout);
        } else if (step == "wait") {
            ::pause();
        } else if (step.rfind("link:", 0) == 0) {
            makeLink(argumentAfter(argc, argv, "call"), value);
        } else if (step.rfind("exit:", 0) == 0) {
            return std::atoi(value.c_str());
        } else if (step == "deaf") {
            std::signal(SIGTERM, SIG_IGN);
        } else if (step == "die") {
            ::kill(::getpid(), SIGKILL);
        }
    }
    return 0;
}
