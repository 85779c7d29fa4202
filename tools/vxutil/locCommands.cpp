// Commands over language files and the localisation manager: resolve a message as an
// application would, list what a language file holds, and show a failure's message in a
// language.
#include "command.h"

#include <vxDirectory.h>
#include <vxException.h>
#include <vxFile.h>
#include <vxLocFile.h>
#include <vxLocManager.h>
#include <vxLocMessage.h>
#include <vxLocString.h>
#include <vxLogManager.h>
#include <vxSearchPath.h>

#include <map>
#include <string>
#include <vector>

namespace {

using vxutil::arguments;
using vxutil::expectCount;
using vxutil::printLine;
using vxutil::usageError;

// Options that take a value; the same option may be given more than once.
struct valueOptions {
    std::map<std::string, std::vector<vx::string>> values;

    bool has(const std::string& name) const { return values.count(name) != 0; }
    const vx::string& last(const std::string& name) const { return values.at(name).back(); }
    const std::vector<vx::string>& all(const std::string& name) const {
        static const std::vector<vx::string> none;
        const auto found = values.find(name);
        return found == values.end() ? none : found->second;
    }
};

// Takes "--name VALUE" pairs of the known names out of args. A lone "--" ends the options; any
// other argument that starts with "--" is a usage error.
valueOptions takeValueOptions(arguments& args, std::initializer_list<std::string> known) {
    valueOptions result;
    for (std::size_t i = 0; i < args.size();) {
        if (args[i] == L"--") {
            args.erase(args.begin() + static_cast<std::ptrdiff_t>(i));
            break;
        }
        if (args[i].compare(0, 2, L"--") != 0) {
            ++i;
            continue;
        }
        const std::string name = args[i].getMBCS();
        bool isKnown = false;
        for (const std::string& k : known)
            isKnown = isKnown || k == name;
        if (!isKnown)
            throw usageError("unknown option " + vxutil::quoted(args[i]));
        if (i + 1 >= args.size())
            throw usageError("missing value of " + name);
        result.values[name].push_back(args[i + 1]);
        args.erase(args.begin() + static_cast<std::ptrdiff_t>(i), args.begin() + static_cast<std::ptrdiff_t>(i) + 2);
    }
    return result;
}

// The manager's settings that every action accepts.
void configureManager(const valueOptions& opts) {
    vx::locManager& manager = *vx::locManager::instance();
    if (opts.has("--path")) {
        vx::searchPath path;
        for (const vx::string& folder : opts.all("--path"))
            path.appendDirectory(vx::directory(folder));
        manager.setDefaultSearchPath(path);
    }
    manager.setDefaultLocFile(opts.has("--default-file") ? opts.last("--default-file").c_str() : L"vxUtils.loc");
    if (opts.has("--default-lang"))
        manager.setDefaultLanguage(opts.last("--default-lang").c_str());
    if (opts.has("--overlay"))
        manager.setOverlayId(opts.last("--overlay").c_str());
}

const wchar_t* languageAsked(const valueOptions& opts) {
    return opts.has("--lang") ? opts.last("--lang").c_str() : nullptr;
}

// A text on one line: line feeds are written as the two characters of their escape.
vx::string oneLine(const vx::string& text) {
    vx::string line(text);
    line.replace(L"\n", L"\\n");
    return line;
}

const wchar_t* severityPrefix(vx::eMsgState state) {
    switch (state) {
    case vx::eMsgError: return L"E: ";
    case vx::eMsgWarning: return L"W: ";
    case vx::eMsgInfo: return L"I: ";
    default: return L"";
    }
}

int runGet(arguments args) {
    const valueOptions opts = takeValueOptions(
        args, {"--lang", "--default-lang", "--path", "--file", "--default-file", "--overlay", "--text"});
    expectCount(args, 1, SIZE_MAX);
    configureManager(opts);
    const vx::string defaultText = opts.has("--text") ? opts.last("--text") : args[0];
    vx::locStringId id(args[0].c_str(), defaultText.c_str());
    for (const vx::string& name : opts.all("--file"))
        id.addAlternativeFile(name.c_str());
    vx::locString message(id);
    for (std::size_t i = 1; i < args.size(); ++i) {
        const vx::string::size_type equals = args[i].find(L'=');
        if (equals == vx::string::npos || equals == 0)
            throw usageError("not a parameter NAME=VALUE: " + vxutil::quoted(args[i]));
        message.params().set(vx::string(args[i].substr(equals + 1)), vx::string(args[i].substr(0, equals)).c_str());
    }
    const wchar_t* language = languageAsked(opts);
    const bool found = message.stringIdExists(language);
    printLine(vx::string(message.string(language)));
    return found ? 0 : 1;
}

int runDump(arguments args) {
    const valueOptions opts = takeValueOptions(args, {"--overlay"});
    expectCount(args, 1, 1);
    vx::locFile languageFile{vx::file(args[0])};
    if (!languageFile.exists())
        return 1;
    if (opts.has("--overlay"))
        languageFile.setOverlay(vx::locManager::overlayFileFor(languageFile, opts.last("--overlay")));
    std::vector<vx::string> keys;
    languageFile.keys(keys);
    for (const vx::string& key : keys) {
        vx::locMessage msg;
        if (!languageFile.getMessage(key.c_str(), msg))
            continue;
        vx::string line(key);
        line += L' ';
        line += severityPrefix(msg.msgState());
        line += oneLine(vx::string(static_cast<const wchar_t*>(msg)));
        printLine(line);
    }
    return 0;
}

int runWrite(arguments args) {
    const valueOptions opts = takeValueOptions(args, {"--lang", "--default-lang", "--path", "--default-file", "--overlay"});
    expectCount(args, 1, 1);
    configureManager(opts);
    const vx::file target(args[0]);
    try {
        // An application saving a document: the file is made, or must be writeable.
        const bool written = target.exists() ? target.isWriteable() : target.create();
        if (!written)
            throw vx::writeFileException(target);
    } catch (const vx::exception& failure) {
        const vx::string text(failure.message().string(languageAsked(opts)));
        // Logged when the ".logcfg" of vxutil switches it on (vxutil log enable vxutil ...).
        vxlog::logManager::getLogger("vxutil.loc.write")->log_info(text, __FILE__, __LINE__, "loc write");
        printLine(text);
        return 1;
    }
    printLine(target.fullName());
    return 0;
}

int runLoc(arguments args) {
    if (args.empty())
        throw usageError("missing action: get, dump or write");
    const vx::string action = args[0];
    args.erase(args.begin());
    if (action == L"get")
        return runGet(args);
    if (action == L"dump")
        return runDump(args);
    if (action == L"write")
        return runWrite(args);
    throw usageError("unknown action " + vxutil::quoted(action));
}

const vxutil::registration registered{
    {"loc", "resolve messages from language files",
     "get [OPTION VALUE]... ID [NAME=VALUE]... | dump [--overlay ID] FILE | write [OPTION VALUE]... PATH\n\n"
     "get    resolves the message ID as an application would and prints it, with each NAME=VALUE\n"
     "       filled into its placeholder [NAME]. Exits with 1 when no language file holds ID and\n"
     "       the default text (--text, else ID itself) is printed instead.\n"
     "dump   lists the entries of the language file FILE, with those of its includes and its\n"
     "       overlay (FILE's name with \"_ID\" before the extension), after aliases and commands:\n"
     "       one line \"KEY TEXT\" each, in key order, line feeds written as \\n; an alias that\n"
     "       leads to no text is left out. Exits with 1 when FILE does not exist.\n"
     "write  makes the file PATH as an application saving a document would; when that fails,\n"
     "       prints the message of the write failure (Msg_EWriteFile) and exits with 1; the\n"
     "       message also goes to the log of vxutil when its configuration switches that on\n"
     "       (see vxutil log).\n\n"
     "Options of get and write, each followed by its value:\n"
     "  --path DIR           a folder to search for language files (repeatable; replaces the\n"
     "                       folders beside the executable)\n"
     "  --lang L             the language asked for (the name of a folder below the search path)\n"
     "  --default-lang L     the default language\n"
     "  --default-file F     the file for ids that name none (default vxUtils.loc)\n"
     "  --overlay ID         the overlay id\n"
     "  --file F             (get) a language file of the id (repeatable, in order)\n"
     "  --text T             (get) the default text",
     runLoc},
};

} // namespace
