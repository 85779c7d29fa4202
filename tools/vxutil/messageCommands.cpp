// Commands over localised messages: compose a message text the way the library fills in the
// parameters of a message from a language file.
#include "command.h"

#include <vxLocMessage.h>

#include <cstdio>

namespace {

using vxutil::arguments;
using vxutil::expectCount;
using vxutil::printLine;
using vxutil::takeOptions;

const wchar_t* severityName(vx::eMsgState state) {
    switch (state) {
    case vx::eMsgInfo: return L"info";
    case vx::eMsgWarning: return L"warning";
    case vx::eMsgError: return L"error";
    default: return L"none";
    }
}

int runMsg(arguments args) {
    const vxutil::options opts = takeOptions(args, {"--severity"});
    expectCount(args, 1, SIZE_MAX);
    vx::locMessage message(args[0].c_str());
    bool allPlaced = true;
    for (std::size_t i = 1; i < args.size(); ++i) {
        // name=value fills [name]; a value without a name fills the next $1, $2, ...
        const vx::string::size_type equals = args[i].find(L'=');
        const bool named = equals != vx::string::npos && equals > 0;
        const vx::string name = named ? vx::string(args[i].substr(0, equals)) : vx::string();
        const vx::string value = named ? vx::string(args[i].substr(equals + 1)) : args[i];
        if (!message.insertParameter(value.c_str(), named ? name.c_str() : nullptr)) {
            allPlaced = false;
            std::fprintf(stderr, "vxutil: no placeholder for %s\n",
                         vxutil::quoted(named ? name : value).c_str());
        }
    }
    if (opts.has("--severity"))
        printLine(severityName(message.msgState()));
    printLine(vx::string(static_cast<const wchar_t*>(message)));
    return allPlaced ? 0 : 1;
}

const vxutil::registration registered{
    {"msg", "compose a message text with its parameters",
     "[--severity] TEXT [NAME=VALUE | VALUE]...\n\n"
     "Composes TEXT as a message from a language file is composed, and prints the result.\n"
     "A leading \"E:\", \"W:\" or \"I:\" (any case) marks the severity and is taken off;\n"
     "--severity prints it (error, warning, info or none) on a line before the text.\n"
     "NAME=VALUE fills the placeholder [NAME]; a VALUE without a name fills $1, then $2, ...\n"
     "A placeholder may carry a printf format for its value: [Size%5.2f] with Size=2 gives\n"
     "\" 2.00\". Without any placeholder the first plain printf format of the text is used.\n"
     "Exits with 1 when a value finds no placeholder.",
     runMsg},
};

} // namespace
