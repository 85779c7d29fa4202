// vxutil: the vxUtils library on the command line, one subcommand per group of operations.
//
// Exit status: 0 done, 1 a negative answer (a text that does not match, nothing to split),
// 2 bad usage, reported on one line on standard error, 3 the output could not be written.
#include "command.h"

#include <vxEnvironment.h>

#include <clocale>
#include <cstdlib>
#include <cstdio>
#include <string>

#ifdef _WIN32
#  include <fcntl.h>
#  include <io.h>
#endif

namespace {

using vxutil::command;

int usageFailure(std::string what, const std::string& helpCommand) {
    for (char& c : what)
        if (c == '\n' || c == '\r')
            c = ' ';
    const std::string help = helpCommand.empty() ? "vxutil --help" : "vxutil " + helpCommand + " --help";
    std::fprintf(stderr, "vxutil: %s (try '%s')\n", what.c_str(), help.c_str());
    return 2;
}

void printToolHelp() {
    std::printf("vxutil %s: the vxUtils library at the command line.\n\n"
                "usage: vxutil COMMAND ARGUMENT...\n"
                "       vxutil help COMMAND      (or: vxutil COMMAND --help)\n"
                "       vxutil --version\n\n"
                "commands:\n",
                VXUTIL_VERSION);
    for (const command& c : vxutil::allCommands())
        std::printf("  %-9s %s\n", c.name, c.summary);
    std::printf("\nArguments such as \"--first\" are options; a lone \"--\" ends the options.\n"
                "Exit status: 0 done, 1 a negative answer, 2 bad usage, 3 the output could not be written.\n");
}

void printCommandHelp(const command& c) {
    std::printf("usage: vxutil %s %s\n", c.name, c.usage);
}

bool asksForHelp(const vxutil::arguments& args) {
    for (const vx::string& a : args) {
        if (a == L"--")
            return false;
        if (a == L"--help" || a == L"-h")
            return true;
    }
    return false;
}

int run(vxutil::arguments all) {
    if (all.empty())
        return usageFailure("no command given", "");
    const std::string name = all[0].getMBCS();
    if (name == "--help" || name == "-h") {
        printToolHelp();
        return 0;
    }
    if (name == "--version") {
        std::printf("vxutil %s\n", VXUTIL_VERSION);
        return 0;
    }
    if (name == "help") {
        if (all.size() == 1) {
            printToolHelp();
            return 0;
        }
        const std::string asked = all.size() == 2 ? all[1].getMBCS() : std::string();
        const command* c = all.size() == 2 ? vxutil::findCommand(asked) : nullptr;
        if (!c)
            return usageFailure(all.size() == 2 ? "unknown command '" + asked + "'"
                                          : "help takes one command",
                                "");
        printCommandHelp(*c);
        return 0;
    }
    const command* c = vxutil::findCommand(name);
    if (!c)
        return usageFailure((name.compare(0, 1, "-") == 0 ? "unknown option '" : "unknown command '") +
                                name + "'",
                            "");

    vxutil::arguments args(all.begin() + 1, all.end());
    if (asksForHelp(args)) {
        printCommandHelp(*c);
        return 0;
    }
    try {
        return c->run(std::move(args));
    } catch (const vxutil::usageError& e) {
        return usageFailure(e.what(), name);
    }
}

} // namespace

int main(int argc, char** argv) {
#ifdef _WIN32
    // The same bytes on every system: no CR before each LF, binary output (decoded base64, gzip
    // data) as it is.
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stderr), _O_BINARY);
#endif
    std::setlocale(LC_ALL, "");
    // Case and classes of characters follow a Unicode locale even where the environment names a
    // single-byte one (the "C" locale of a bare shell).
    if (MB_CUR_MAX == 1)
        std::setlocale(LC_CTYPE, "C.UTF-8");
    const int status = run(vx::programArguments(argc, argv));
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        std::fprintf(stderr, "vxutil: cannot write the output\n");
        return 3;
    }
    return status;
}
