// Commands over vx::guid: make new identifiers, check and normalise a text, compare two.
#include "command.h"

#include <vxGuid.h>

namespace {

using vxutil::arguments;
using vxutil::expectCount;
using vxutil::printLine;
using vxutil::takeOptions;
using vxutil::usageError;

// A guid text as the library reads it; a text it refuses is a usage error.
vx::guid parseGuid(const vx::string& text) {
    vx::guid g;
    try {
        g.fromString(text);
    } catch (bool) {
        throw usageError("not a guid: " + vxutil::quoted(text));
    }
    return g;
}

int runNew(arguments args) {
    expectCount(args, 0, 1);
    const unsigned long long count = args.empty() ? 1 : vxutil::toUnsigned(args[0], 1000);
    for (unsigned long long i = 0; i < count; ++i)
        printLine(vx::guid().create().toString());
    return 0;
}

int runParse(arguments args) {
    expectCount(args, 1, 1);
    const vx::guid g = parseGuid(args[0]);
    printLine(g.toString());
    printLine(vx::string(g.isInitialized() ? L"initialized" : L"not initialized"));
    return 0;
}

int runCompare(arguments args) {
    expectCount(args, 2, 2);
    const vx::guid a = parseGuid(args[0]);
    const vx::guid b = parseGuid(args[1]);
    printLine(vx::string(a < b ? L"less" : b < a ? L"greater" : L"equal"));
    return 0;
}

int runGuid(arguments args) {
    takeOptions(args);
    if (args.empty())
        throw usageError("missing action: new, parse or compare");
    const vx::string action = args[0];
    args.erase(args.begin());
    if (action == L"new")
        return runNew(args);
    if (action == L"parse")
        return runParse(args);
    if (action == L"compare")
        return runCompare(args);
    throw usageError("unknown action " + vxutil::quoted(action));
}

const vxutil::registration registered{
    {"guid", "make, check and compare guids",
     "new [COUNT] | parse TEXT | compare TEXT1 TEXT2\n\n"
     "new      prints COUNT (default 1, at most 1000) new time-based guids, one per line.\n"
     "parse    reads TEXT (8-4-4-4-12 hex digits in either case, or \"0\" or empty for the\n"
     "         all-zero guid), prints it in lower case and whether it is initialized (its\n"
     "         first three fields all non-zero).\n"
     "compare  prints less, equal or greater: the first three fields as numbers, then the\n"
     "         last eight bytes in order.",
     runGuid},
};

} // namespace
