// Logging at a customer's machine: show what a module's ".logcfg" switches on, switch classes on
// and off through the log manager's own saving, and show the newest lines of a process's ring of
// log files.
#include "command.h"

#include <vxBinaryBuffer.h>
#include <vxDirectory.h>
#include <vxEnvironment.h>
#include <vxFile.h>
#include <vxLogManager.h>
#include <vxLogger.h>

#include <algorithm>
#include <cstdio>
#include <deque>
#include <map>
#include <string>
#include <vector>

namespace {

using vxutil::arguments;
using vxutil::expectCount;
using vxutil::printLine;
using vxutil::quoted;
using vxutil::usageError;

// The manager works on the module given, as the module's own program would.
vx::sharedPtr<vxlog::logManager> managerOf(const vx::string& module) {
    if (module.empty())
        throw usageError("an empty module name");
    vxlog::logUtils::setModuleName(module);
    return vxlog::logManager::getInstance();
}

vx::file configFileOf(vx::string module) {
    const vx::directory folder = vxlog::logUtils::logAppDir(module);
    return vx::file(folder, module + L".logcfg");
}

vx::string describe(const vx::refPtr<vxlog::logger>& l) {
    return vx::string(l->isEnabled() ? L"enabled " : L"disabled ") + vxlog::logUtils::getStringFromLogLevel(l->level());
}

// The class name as the manager keeps it: lower case, "::" as ".".
vx::string classNameOf(const vx::string& name) {
    vx::string lower = name;
    lower.toLower();
    lower.replace(L"::", L".");
    if (lower.empty())
        throw usageError("an empty class name");
    return lower;
}

int runConfig(const arguments& args) {
    expectCount(args, 1, 1);
    const auto manager = managerOf(args[0]);
    const vx::file cfg = configFileOf(args[0]);
    printLine(L"config: " + cfg.fullName());
    if (!cfg.exists()) {
        printLine(L"no configuration: logging is off");
        return 0;
    }
    if (manager->startFailed()) {
        printLine(L"the configuration cannot be read: logging is off");
        return 1;
    }
    const auto root = manager->getRootLogger();
    printLine(L"root: " + (root ? describe(root) : vx::string(L"missing")));
    const auto classes = manager->logClasses();
    std::map<std::string, vx::refPtr<vxlog::logger>> sorted(classes.begin(), classes.end());
    for (const auto& entry : sorted)
        printLine(L"class " + entry.second->id() + L": " + describe(entry.second));
    const auto settings = vxlog::logSettings::getInstance();
    printLine(vx::string::sformat(L"files: %u of at most %lu bytes", settings->maxFileCount(),
                                  settings->maxFileSize()));
    printLine(L"format: " + settings->formatSpecifier());
    printLine(manager->isActive() ? L"logging is on" : L"logging is off");
    return 0;
}

int runEnable(const arguments& args, bool enable) {
    expectCount(args, enable ? 3 : 2, enable ? 3 : 2);
    vxlog::logLevel level = vxlog::none;
    if (enable) {
        level = vxlog::logUtils::getLogLevelFromString(args[2]);
        if (!args[2].isEqualTo(vxlog::logUtils::getStringFromLogLevel(level), false))
            throw usageError("unknown level " + quoted(args[2]) + ": none, trace, debug, info or ui");
    }
    const vx::string name = classNameOf(args[1]);
    const auto manager = managerOf(args[0]);
    if (manager->startFailed())
        return vxutil::failure(configFileOf(args[0]).fullName(), "the configuration cannot be read");
    auto root = manager->getRootLogger();
    if (name == L"root") {
        if (!root) {
            root = vxlog::logger::create(L"root", enable, level);
            manager->setRootLogger(root);
        }
        root->setEnabled(enable);
        if (enable)
            root->setLevel(level);
    } else {
        auto classes = manager->logClasses();
        const std::string key = name.getMBCS();
        const auto found = classes.find(key);
        if (!enable && found == classes.end())
            return vxutil::failure(args[1], "no such class in the configuration");
        if (found == classes.end())
            classes[key] = vxlog::logger::create(name, true, level);
        else if (enable)
            found->second->setLevel(level), found->second->setEnabled(true);
        else
            found->second->setEnabled(false);
        manager->setLogClasses(classes);
        // A class logs only while the root logger is on; it keeps its own level.
        if (enable && !root)
            manager->setRootLogger(vxlog::logger::create(L"root", true, vxlog::none));
        else if (enable)
            root->setEnabled(true);
    }
    manager->saveConfig();
    const vx::file cfg = configFileOf(args[0]);
    if (!cfg.exists())
        return vxutil::failure(cfg.fullName(), "cannot be written");
    printLine(L"config: " + cfg.fullName());
    printLine(name + L": " + (enable ? L"enabled " + vxlog::logUtils::getStringFromLogLevel(level) : L"disabled"));
    printLine(manager->isActive() ? L"logging is on" : L"logging is off");
    return 0;
}

// --- show ----------------------------------------------------------------------------------------

struct ringFile {
    unsigned index;
    vx::file f;
};

// The text after the last '\' of a name, without a trailing one.
vx::string lastPart(vx::string name) {
    while (!name.empty() && name.back() == L'\\')
        name.pop_back();
    return name.substr(name.find_last_of(L'\\') + 1);
}

bool isNumber(const vx::string& text) {
    return !text.empty() && text.size() <= 10 &&
           std::all_of(text.begin(), text.end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; });
}

// The files of the ring in a process's folder, oldest first: the newest (a tie goes to the higher
// index, as the library chooses) is last, and the ring goes on from the one after it.
std::vector<ringFile> ringOf(const vx::directory& folder, const vx::string& module) {
    std::vector<ringFile> files;
    const vx::string prefix = module + L"_";
    for (vx::fileIterator it(folder, L"*.log", vx::DI_HIDDEN | vx::DI_SYSTEM); !it.fullName().empty(); it.next()) {
        const vx::string name = lastPart(it.fullName());
        if (name.size() <= prefix.size() + 4 || !vx::string(name.substr(0, prefix.size())).isEqualTo(prefix, false))
            continue;
        const vx::string number = name.substr(prefix.size(), name.size() - prefix.size() - 4);
        if (isNumber(number))
            files.push_back({static_cast<unsigned>(std::stoul(number)), vx::file(it.fullName())});
    }
    std::sort(files.begin(), files.end(), [](const ringFile& a, const ringFile& b) { return a.index < b.index; });
    std::size_t newest = 0;
    for (std::size_t i = 1; i < files.size(); ++i)
        if (files[i].f.lastModificationTime() >= files[newest].f.lastModificationTime())
            newest = i;
    std::rotate(files.begin(), files.begin() + static_cast<std::ptrdiff_t>(files.empty() ? 0 : newest + 1),
                files.end());
    return files;
}

// The process folder to show: the one asked for, else the one written last.
vx::directory processFolder(const vx::directory& app, const vx::string& module, const vx::string& pid) {
    if (!pid.empty())
        return vx::directory(app, pid);
    vx::directory best;
    std::int64_t bestTime = 0;
    for (vx::directoryIterator it(app, L"*.*", vx::DI_HIDDEN | vx::DI_SYSTEM); !it.fullName().empty(); it.next()) {
        if (!isNumber(lastPart(it.fullName())))
            continue;
        const auto ring = ringOf(it, module);
        if (!ring.empty() && (best.fullName().empty() || ring.back().f.lastModificationTime() >= bestTime)) {
            best = it;
            bestTime = ring.back().f.lastModificationTime();
        }
    }
    return best;
}

std::string bytesOf(const vx::file& f) {
    vx::binaryBuffer buffer;
    if (!buffer.readFromFile(f))
        return std::string();
    return std::string(buffer.data(), static_cast<std::size_t>(buffer.logicalLength()));
}

void writeBytes(const std::string& bytes) {
    std::fwrite(bytes.data(), 1, bytes.size(), stdout);
    std::fflush(stdout);
}

int runShow(arguments args) {
    vx::string pid;
    for (std::size_t i = 0; i < args.size(); ++i)
        if (args[i] == L"--pid") {
            if (i + 1 >= args.size() || !isNumber(args[i + 1]))
                throw usageError("--pid takes a process id");
            pid = vx::string(std::to_wstring(std::stoul(args[i + 1])));
            args.erase(args.begin() + static_cast<std::ptrdiff_t>(i), args.begin() + static_cast<std::ptrdiff_t>(i) + 2);
            break;
        }
    const vxutil::options given = vxutil::takeOptions(args, {"--follow", "--all"});
    expectCount(args, 1, 1);
    vx::string module = args[0];
    if (module.empty())
        throw usageError("an empty module name");
    // The manager is not started here: its start-up would remove the folders of ended processes,
    // which are what a person usually wants to read.
    const vx::directory app = vxlog::logUtils::logAppDir(module);
    const vx::directory folder = processFolder(app, module, pid);
    auto ring = folder.fullName().empty() ? std::vector<ringFile>() : ringOf(folder, module);
    if (ring.empty())
        return vxutil::failure(pid.empty() ? app.fullName() : vx::directory(folder).fullName(), "no log files");

    // The newest lines, up to 100 unless all are asked for.
    std::deque<std::string> lines;
    std::map<std::wstring, std::size_t> shown; // bytes shown per file
    for (const auto& entry : ring) {
        const std::string bytes = bytesOf(entry.f);
        shown[entry.f.fullName()] = bytes.size();
        for (std::size_t start = 0; start < bytes.size();) {
            std::size_t end = bytes.find('\n', start);
            end = end == std::string::npos ? bytes.size() : end + 1;
            lines.push_back(bytes.substr(start, end - start));
            if (!given.has("--all") && lines.size() > 100)
                lines.pop_front();
            start = end;
        }
    }
    for (const auto& line : lines)
        writeBytes(line.back() == '\n' ? line : line + "\n");
    if (!given.has("--follow"))
        return 0;
    // Prints what is added, file by file in the order of the ring, until the tool is stopped.
    const auto printNew = [&shown](const vx::file& f) {
        const std::string bytes = bytesOf(f);
        std::size_t& done = shown[f.fullName()];
        if (bytes.size() < done) // the ring came round and emptied the file
            done = 0;
        const std::size_t complete = bytes.rfind('\n');
        if (complete != std::string::npos && complete + 1 > done) {
            writeBytes(bytes.substr(done, complete + 1 - done));
            done = complete + 1;
        }
    };
    vx::file current = ring.back().f;
    for (;;) {
        vx::sleep(250);
        ring = ringOf(folder, module);
        if (ring.empty())
            continue;
        if (ring.back().f.fullName() != current.fullName()) {
            printNew(current); // what the old file got before the next one began
            current = ring.back().f;
            shown[current.fullName()] = 0; // a file the ring came round to was made anew
        }
        printNew(current);
    }
}

int runLog(arguments args) {
    if (args.empty())
        throw usageError("missing action: config, enable, disable or show");
    const vx::string action = args[0];
    args.erase(args.begin());
    try {
        if (action == L"config")
            return runConfig(args);
        if (action == L"enable")
            return runEnable(args, true);
        if (action == L"disable")
            return runEnable(args, false);
        if (action == L"show")
            return runShow(args);
    } catch (const vx::exception& e) {
        return vxutil::failure(args.empty() ? action : args[0], e);
    }
    throw usageError("unknown action " + quoted(action));
}

const vxutil::registration registered{
    {"log", "switch logging on and off, and read the log files",
     "config MODULE | enable MODULE CLASS LEVEL | disable MODULE CLASS |\n"
     "       show MODULE [--pid N] [--all] [--follow]\n\n"
     "config   prints the path of MODULE's configuration (MODULE.logcfg in Velmora\\MODULE below\n"
     "         the home folder) and what it switches on.\n"
     "enable   switches CLASS (\"root\" for the root logger) on at LEVEL: none, trace, debug, info\n"
     "         or ui. CLASS is matched without regard to case, \"::\" standing for \".\"; enabling\n"
     "         a class also switches the root logger on, keeping its level.\n"
     "disable  switches CLASS off, keeping its level.\n"
     "         config, enable and disable start logging for MODULE as its program does, which\n"
     "         removes the log folders of its processes that have ended.\n"
     "show     prints the newest 100 lines (all with --all) of the ring of log files of the\n"
     "         process N, or of the process that wrote last, in order across the files; with\n"
     "         --follow it then prints each new line until it is stopped.\n"
     "Exit status 1 when the configuration cannot be read or written, when disable names a class\n"
     "that is not configured, or when show finds no log files.",
     runLog},
};

} // namespace
