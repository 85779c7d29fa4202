// The registry: read, set, list and remove values and keys; export and import registry files.
#include "command.h"

#include <vxBinaryBuffer.h>
#include <vxFile.h>
#include <vxRegistry.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace {

using vxutil::arguments;
using vxutil::expectCount;
using vxutil::failure;
using vxutil::printLine;
using vxutil::usageError;

// Whether the key that holds the value at path lists a value of that name: an empty text is
// then the value, not its absence.
bool hasValue(const vx::string& path) {
    const std::size_t slash = path.rfind(L'\\');
    if (slash == vx::string::npos)
        return false;
    std::vector<vx::string> names;
    vx::regGetValues(path.substr(0, slash).c_str(), names);
    // Names compare as the registry compares them: by the library's case folding.
    const vx::string wanted = path.substr(slash + 1);
    for (const vx::string& name : names)
        if (name.isEqualTo(wanted, false))
            return true;
    return false;
}

int runGet(arguments args) {
    expectCount(args, 1, 1);
    const vx::string value = vx::regGetValue(args[0].c_str());
    if (value.empty() && !hasValue(args[0]))
        return failure(args[0], "no such value");
    printLine(value);
    return 0;
}

int runSet(arguments args, bool dword) {
    expectCount(args, 2, 2);
    const bool ok = dword ? vx::regSetValue(args[0].c_str(),
                                            static_cast<unsigned long>(vxutil::toUnsigned(args[1], 0xFFFFFFFFull)))
                          : vx::regSetValue(args[0].c_str(), args[1].c_str());
    return ok ? 0 : failure(args[0], "cannot be set");
}

int runList(arguments args) {
    expectCount(args, 1, 1);
    std::vector<vx::string> keys, values;
    vx::regGetKeys(args[0].c_str(), keys);
    vx::regGetValues(args[0].c_str(), values);
    std::string ignored;
    if (keys.empty() && values.empty() && !vx::regExport(args[0].c_str(), ignored))
        return failure(args[0], "no such key");
    // In the order of the names, whatever order the registry keeps them in.
    const auto byName = [](const vx::string& a, const vx::string& b) {
        const vx::string la = a.lower(), lb = b.lower();
        return la != lb ? la < lb : a < b;
    };
    std::sort(keys.begin(), keys.end(), byName);
    std::sort(values.begin(), values.end(), byName);
    for (const vx::string& key : keys)
        printLine(key + L"\\");
    for (const vx::string& value : values)
        printLine(value.empty() ? vx::string(L"@") : value);
    return 0;
}

int runRemove(arguments args) {
    expectCount(args, 1, 1);
    return vx::regRemoveValue(args[0].c_str()) ? 0 : failure(args[0], "no such value, or a key with sub-keys");
}

int runExport(arguments args) {
    expectCount(args, 1, 2);
    const vx::string path = args.size() == 2 ? args[0] + L"\\" + args[1] : args[0];
    std::string bytes;
    if (!vx::regExport(path.c_str(), bytes))
        return failure(path, "no such key");
    std::fwrite(bytes.data(), 1, bytes.size(), stdout);
    std::fflush(stdout);
    return 0;
}

int runImport(arguments args) {
    expectCount(args, 1, 1);
    vx::binaryBuffer buffer;
    if (!buffer.readFromFile(vx::file(args[0])))
        return failure(args[0], "cannot be read");
    const std::string bytes(buffer.data(), static_cast<std::size_t>(buffer.logicalLength()));
    return vx::regImport(bytes) ? 0 : failure(args[0], "is no registry file, or a part of it failed");
}

int runReg(arguments args) {
    const vxutil::options given = vxutil::takeOptions(args, {"--dword"});
    if (args.empty())
        throw usageError("missing action: get, set, list, remove, export or import");
    const vx::string action = args[0];
    args.erase(args.begin());
    if (given.has("--dword") && action != L"set")
        throw usageError("--dword goes with set only");
    if (action == L"get")
        return runGet(args);
    if (action == L"set")
        return runSet(args, given.has("--dword"));
    if (action == L"list")
        return runList(args);
    if (action == L"remove")
        return runRemove(args);
    if (action == L"export")
        return runExport(args);
    if (action == L"import")
        return runImport(args);
    throw usageError("unknown action: " + vxutil::quoted(action));
}

const vxutil::registration registered{
    {"reg", "read and change the registry; export and import registry files",
     "get PATH | set [--dword] PATH VALUE | list PATH | remove PATH | export HIVE [KEY] | import FILE\n\n"
     "PATH is a hive (HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE, HKEY_CLASSES_ROOT, HKEY_USERS,\n"
     "HKEY_CURRENT_CONFIG, exactly so), then keys and a value's name, separated by '\\'; a PATH\n"
     "ending in '\\' names the key's default value. On Windows this is the system's registry;\n"
     "elsewhere a file per hive in $VX_REGISTRY_DIR (else $XDG_CONFIG_HOME/vxUtils/registry, else\n"
     "~/.config/vxUtils/registry).\n"
     "get     prints the value: a DWORD in decimal, anything else as text.\n"
     "set     sets a text value, or with --dword a DWORD (decimal or 0x hexadecimal), making the\n"
     "        keys that are missing.\n"
     "list    prints the sub-keys of the key at PATH, each followed by '\\', then the names of its\n"
     "        values (@ for the default value), each in the order of their names.\n"
     "remove  removes the value at PATH, else the key of that name when it has no sub-keys.\n"
     "export  writes the key and everything below it to standard output as a registry file, as\n"
     "        the registry editor exports it (UTF-16LE, \"Windows Registry Editor Version 5.00\").\n"
     "import  applies a registry file (UTF-16LE or UTF-8): sets its values, makes its keys, and\n"
     "        removes the keys of [-KEY] sections and the values given as \"NAME\"=-.\n"
     "The exit status is 1 when the value or key is missing or the change failed.",
     runReg},
};

} // namespace
