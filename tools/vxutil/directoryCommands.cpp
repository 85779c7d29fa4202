// Commands over directories: list what a directory holds, one level or the whole tree, through
// the library's iterators.
#include "command.h"

#include <vxDirectory.h>

#include <cstdio>

namespace {

using vxutil::arguments;
using vxutil::expectCount;
using vxutil::printLine;
using vxutil::usageError;

// Takes "--mask N" out of args (before a lone "--"); 0 when it is not given.
int takeMask(arguments& args) {
    int mask = 0;
    bool given = false;
    for (std::size_t i = 0; i < args.size() && args[i] != L"--";) {
        if (args[i] != L"--mask") {
            ++i;
            continue;
        }
        if (given)
            throw usageError("--mask given twice");
        if (i + 1 >= args.size())
            throw usageError("--mask needs a number");
        mask = static_cast<int>(vxutil::toInteger(args[i + 1], 0, 0x7FFFFFFF));
        given = true;
        args.erase(args.begin() + static_cast<std::ptrdiff_t>(i), args.begin() + static_cast<std::ptrdiff_t>(i) + 2);
    }
    return mask;
}

// The attributes as five letters: directory, link, read-only, hidden, system.
vx::string attributeLetters(int attributes) {
    const struct {
        int bit;
        wchar_t letter;
    } letters[] = {{vx::DI_SUBDIR, L'd'}, {vx::DI_LINK, L'l'}, {vx::DI_RDONLY, L'r'}, {vx::DI_HIDDEN, L'h'},
                   {vx::DI_SYSTEM, L's'}};
    vx::string text;
    for (const auto& l : letters)
        text += (attributes & l.bit) ? l.letter : L'-';
    return text;
}

// The entry's name below base, whose text it starts with.
vx::string below(const vx::directory& base, const vx::fsEntry& entry) {
    return vx::string(entry.fullName().substr(base.fullName().size()));
}

int runLs(arguments args) {
    const int mask = takeMask(args);
    const vxutil::options given = vxutil::takeOptions(args, {"--recursive"});
    expectCount(args, 1, 2);
    const vx::directory base(args[0]);
    const vx::string filter = args.size() > 1 ? args[1] : vx::string(L"*.*");
    if (base.fullName().empty() || !base.exists()) {
        std::fprintf(stderr, "vxutil: %s: no such directory\n", vxutil::quoted(args[0]).c_str());
        return 1;
    }
    if (given.has("--recursive")) {
        // The mask keeps out files and the directories not to enter alike; the filter only files.
        for (vx::recursiveFileIterator it(base, filter, mask, L"*.*", mask);; it.next()) {
            const vx::file& current = it;
            if (current.fullName().empty())
                break;
            printLine(vxutil::shown(below(base, current)));
        }
        return 0;
    }
    for (vx::directoryIterator it(base, filter.c_str(), mask); !it.fullName().empty(); it.next())
        printLine(attributeLetters(it.attributes()) + L"  " + vxutil::shown(below(base, it)));
    for (vx::fileIterator it(base, filter, mask); !it.fullName().empty(); it.next())
        printLine(attributeLetters(it.attributes()) + L"  " + vxutil::shown(below(base, it)));
    return 0;
}

const vxutil::registration registered{
    {"ls", "list a directory, or every file below it",
     "DIR [FILTER] [--recursive] [--mask N]\n\n"
     "Lists the sub-directories of DIR (with a trailing '\\') and then its files, each after five\n"
     "letters for its attributes: d directory, l symbolic link, r read-only, h hidden (the name\n"
     "starts with '.'), s system (neither a regular file nor a directory). Entries come in the\n"
     "order of their names with case ignored.\n\n"
     "FILTER (default *.*) chooses names as the Windows find functions do: case is ignored, * is\n"
     "any run of characters and ? one, *.* matches every name, *. the names without a dot.\n"
     "--mask N leaves out the entries that have any attribute of N: 1 read-only, 2 hidden,\n"
     "4 system, 16 directory, 32 regular file, 1024 symbolic link (decimal or 0x hex).\n\n"
     "--recursive lists every file below DIR instead, by its path below DIR: the files of a\n"
     "sub-directory, and of everything below it, before those of the directory itself. FILTER\n"
     "chooses files only; the mask also keeps the walk out of such directories. Symbolic links\n"
     "to directories are not entered.\n\n"
     "Exit status 1 when DIR does not exist.",
     runLs},
};

} // namespace
