// Commands over search paths: find a file in a list of directories.
#include "command.h"

#include <vxSearchPath.h>

namespace {

using vxutil::arguments;
using vxutil::expectCount;
using vxutil::printLine;
using vxutil::takeOptions;
using vxutil::usageError;

int runWhich(arguments args) {
    const vxutil::options opts = takeOptions(args, {"--recursive", "--semicolons", "--all"});
    expectCount(args, 2, 2);
    const wchar_t separator = opts.has("--semicolons") ? L';' : vx::searchPath::pathSeparator;
    vx::searchPath path;
    vx::searchPath::fromString(args[1], path, separator);
    if (opts.has("--all")) {
        // Every listed directory, in search order: what the list became after dropping the
        // missing and the repeated ones.
        for (const vx::directory& dir : path.directories())
            printLine(dir.fullName());
        return path.empty() ? 1 : 0;
    }
    vx::file found;
    if (!path.findFile(args[0], found, opts.has("--recursive")))
        return 1;
    printLine(found.fullName());
    return 0;
}

const vxutil::registration registered{
    {"which", "find a file in a list of directories",
     "[--recursive] [--semicolons] [--all] NAME PATHLIST\n\n"
     "Prints the file NAME of the first directory of PATHLIST that holds it; exits with 1 when\n"
     "none does. PATHLIST is separated by ':' as PATH is, or by ';' with --semicolons (for\n"
     "Windows-form directories such as C:\\tools). Missing directories and repeated ones (case\n"
     "ignored) are dropped. With --recursive the sub-directories of each directory are searched,\n"
     "depth first, before the next directory. NAME may hold a relative path.\n"
     "--all prints the directories of the list instead, in search order.",
     runWhich},
};

} // namespace
