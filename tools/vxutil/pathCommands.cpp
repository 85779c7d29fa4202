// Commands over path names and files: normalise a path, take it apart, express it from a base,
// show the native path it maps to, and the CRC-32 of files.
#include "command.h"

#include <vxFile.h>
#include <vxFsEntryName.h>

#include <cstdio>

namespace {

using vxutil::arguments;
using vxutil::expectCount;
using vxutil::printLine;
using vxutil::takeOptions;
using vxutil::usageError;

vx::fsEntryName normalised(const vx::string& text, bool delimiter) {
    vx::fsEntryName name;
    name.setName(text, delimiter);
    return name;
}

int runNormalize(arguments args, bool delimiter) {
    expectCount(args, 1, static_cast<std::size_t>(-1));
    for (const vx::string& text : args)
        printLine(normalised(text, delimiter));
    return 0;
}

int runParts(arguments args, bool firstDot) {
    expectCount(args, 1, 1);
    vx::string drive, path, name, extension;
    normalised(args[0], false).getComponents(drive, path, name, extension, !firstDot);
    printLine(L"drive     " + drive);
    printLine(L"path      " + path);
    printLine(L"name      " + name);
    printLine(L"extension " + extension);
    return 0;
}

int runRelative(arguments args) {
    expectCount(args, 2, 2);
    // The base is a directory: with its trailing delimiter the rest starts cleanly.
    const vx::string relative = normalised(args[0], false).relativeNameTo(normalised(args[1], true));
    if (relative.empty())
        return 1;
    printLine(relative);
    return 0;
}

// The bytes as the system has them, which need not be UTF-8.
[[maybe_unused]] void printNative(const std::string& native) {
    std::fwrite(native.data(), 1, native.size(), stdout);
    std::fputc('\n', stdout);
}

// The system's own text.
[[maybe_unused]] void printNative(const std::wstring& native) {
    printLine(native);
}

int runNative(arguments args) {
    expectCount(args, 1, 1);
    vx::nativePathText native;
    if (!vx::file(args[0]).nativePath(native))
        return 1;
    printNative(native);
    return 0;
}

int runPath(arguments args) {
    const vxutil::options given = takeOptions(args, {"--directory", "--first-dot"});
    if (args.empty())
        throw usageError("missing action: normalize, parts, relative or native");
    const vx::string action = args[0];
    args.erase(args.begin());
    const bool directory = given.has("--directory"), firstDot = given.has("--first-dot");
    if (directory && action != L"normalize")
        throw usageError("--directory belongs to normalize");
    if (firstDot && action != L"parts")
        throw usageError("--first-dot belongs to parts");
    if (action == L"normalize")
        return runNormalize(args, directory);
    if (action == L"parts")
        return runParts(args, firstDot);
    if (action == L"relative")
        return runRelative(args);
    if (action == L"native")
        return runNative(args);
    throw usageError("unknown action " + vxutil::quoted(action));
}

int runCrc32(arguments args) {
    takeOptions(args);
    expectCount(args, 1, static_cast<std::size_t>(-1));
    int status = 0;
    for (const vx::string& text : args) {
        vx::file f(text);
        unsigned long crc = 0;
        if (!f.getCrc32(crc)) {
            std::fprintf(stderr, "vxutil: %s: %s\n", vxutil::quoted(text).c_str(),
                         f.exists() ? "cannot be read" : "no such file");
            status = 1;
            continue;
        }
        printLine(vx::string::sformat(L"%08x  ", static_cast<unsigned>(crc)) + text);
    }
    return status;
}

const vxutil::registration registered{
    {"path", "normalise path names, take them apart, relate and map them",
     "normalize [--directory] TEXT... | parts [--first-dot] TEXT | relative TEXT BASE |\n"
     "       native TEXT\n\n"
     "Paths are written in the Windows manner: '\\' delimits, \"C:\" is a drive (by default the\n"
     "root /), \"\\\\server\\share\" a share; '/' is read as '\\'.\n\n"
     "normalize  prints each TEXT as an absolute, normalised name: the first %NAME% expanded,\n"
     "           quotes stripped, relative text taken from the current directory, doubled\n"
     "           delimiters, \".\" and \"..\" resolved. --directory keeps one trailing '\\'.\n"
     "parts      prints the drive, the path, the name and the extension of the normalised\n"
     "           TEXT; the extension follows the last dot, or the first with --first-dot.\n"
     "relative   prints TEXT as seen from the directory BASE (\".\\x\", \"..\\x\", lower case);\n"
     "           TEXT itself when the drives differ; exit status 1 when BASE leads nowhere.\n"
     "native     prints the path of this system that TEXT maps to (the drive table comes\n"
     "           from VX_DRIVES, shares from VX_UNC_ROOT); exit status 1 when there is none.",
     runPath},
    {"crc32", "the CRC-32 of files",
     "FILE...\n\n"
     "Prints the CRC-32 (IEEE 802.3, as zlib and gzip compute it) of each FILE in hexadecimal,\n"
     "followed by the name as given. A file that is missing or cannot be read is reported on\n"
     "standard error, and the exit status is then 1.",
     runCrc32},
};

} // namespace
