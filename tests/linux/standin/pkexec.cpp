// Stands in for pkexec, by that name, where there is no polkit: does what
// STANDIN_PKEXEC says.
//   (nothing)   gives the rights: runs the command with PKEXEC_UID=STANDIN_UID
//   refuse      the rights are refused, as pkexec does it: status 127
//   dismiss     the question is dismissed: status 126
//   ask         asks for ever, until it is told to end
//   vanish      gives the rights to a helper that ends when it is asked for something
// Each command is added to the file STANDIN_PKEXEC_LOG as a line.

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>
#include <unistd.h>

int main(int argc, char **argv)
{
    if (const char *log = std::getenv("STANDIN_PKEXEC_LOG")) {
        std::string command;
        for (int i = 1; i < argc; ++i)
            command += std::string(i > 1 ? " " : "") + argv[i];
        std::ofstream(log, std::ios::app) << command << '\n';
    }
    const char *plan = std::getenv("STANDIN_PKEXEC");
    const std::string what = plan ? plan : "";
    if (what == "refuse")
        return 127;
    if (what == "dismiss")
        return 126;
    while (what == "ask")
        ::pause();
    if (what == "vanish") {
        std::cout << "{\"ready\":true}" << std::endl;
        std::string request;
        std::getline(std::cin, request);
        return 0;
    }
    if (argc < 2)
        return 127;
    // A test that plays an ordinary user has not given its rights up for good.
    if (::getuid() == 0 && (::seteuid(0) != 0 || ::setegid(0) != 0))
        return 127;
    const char *user = std::getenv("STANDIN_UID");
    ::setenv("PKEXEC_UID", user ? user : "1000", 1);
    ::execv(argv[1], argv + 1);
    return 127;
}
