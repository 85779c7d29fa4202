// Processes: whether a program of a given name runs, and its id.
#include "command.h"

#include <vxProcess.h>

namespace {

using vxutil::arguments;

int runPs(arguments args) {
    const vxutil::options given = vxutil::takeOptions(args, {"--elsewhere"});
    vxutil::expectCount(args, 1, 1);
    const unsigned long id =
        given.has("--elsewhere") ? vx::processIsRunningElsewhere(args[0]) : vx::processIsRunning(args[0]);
    if (id == 0)
        return vxutil::failure(args[0], "no such process is running");
    vxutil::printLine(vx::string::sformat(L"%lu", id));
    return 0;
}

const vxutil::registration registered{
    {"ps", "whether a program of that name runs, with its id",
     "[--elsewhere] NAME\n\n"
     "Prints the id of a running process whose program file is named NAME (no folder; case is\n"
     "ignored; on Windows with its \".exe\"), or fails with status 1 when none runs.\n"
     "--elsewhere  leaves this vxutil itself out.",
     runPs},
};

} // namespace
