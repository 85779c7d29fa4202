// Commands over byte blocks and files: base64 text, gzip files and the architecture of Windows
// executables.
#include "command.h"

#include <vxBinaryBuffer.h>
#include <vxEnvironment.h>
#include <vxDirectory.h>
#include <vxFile.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

using vxutil::arguments;
using vxutil::expectCount;
using vxutil::failure;
using vxutil::printLine;
using vxutil::quoted;
using vxutil::takeOptions;
using vxutil::usageError;

// Sources of at least this size show a progress bar when standard error is a terminal.
constexpr std::uint64_t kProgressThreshold = 1 << 20;
// The library reports progress once per chunk of this many bytes.
constexpr std::uint64_t kChunk = 1024;
constexpr int kBarWidth = 40;

void writeBytes(const char* data, std::uint64_t size) {
    if (size > 0)
        std::fwrite(data, 1, static_cast<std::size_t>(size), stdout);
}

// --- base64 -------------------------------------------------------------------------------------

bool readStandardInput(vx::binaryBuffer& buffer) {
    char chunk[65536];
    for (std::size_t n; (n = std::fread(chunk, 1, sizeof chunk, stdin)) > 0;)
        buffer.write(chunk, n);
    return !std::ferror(stdin);
}

int runBase64(arguments args) {
    takeOptions(args);
    if (args.empty())
        throw usageError("missing action: encode or decode");
    const vx::string action = args[0];
    args.erase(args.begin());
    if (action != L"encode" && action != L"decode")
        throw usageError("unknown action " + quoted(action));
    expectCount(args, 0, 1);
    vx::binaryBuffer buffer;
    if (args.empty() ? !readStandardInput(buffer) : !buffer.readFromFile(vx::file(args[0]))) {
        failure(args.empty() ? vx::string(L"standard input") : args[0], "cannot be read");
        return 1;
    }
    if (action == L"encode") {
        buffer.base64Encode();
        writeBytes(buffer.data(), buffer.logicalLength());
        std::fputc('\n', stdout);
    } else {
        buffer.base64Decode();
        writeBytes(buffer.data(), buffer.logicalLength());
    }
    return 0;
}

// --- gzip and gunzip ----------------------------------------------------------------------------

volatile std::sig_atomic_t interrupted = 0;

void onInterrupt(int) {
    interrupted = 1;
}

// The library calls back once per chunk of 1024 bytes, with a percentage in whole steps of 100
// (its arithmetic is in integers); the bar counts the calls against the expected bytes instead.
struct progressBar {
    std::uint64_t expected = 0; // bytes the bar counts towards; 0 when unknown
    std::uint64_t done = 0;
    bool visible = false;
    int drawn = -1;

    void draw(int percent) {
        if (!visible || percent == drawn)
            return;
        drawn = percent;
        const int filled = percent * kBarWidth / 100;
        std::fprintf(stderr, "\r[%s%s] %3d%%", std::string(static_cast<std::size_t>(filled), '#').c_str(),
                     std::string(static_cast<std::size_t>(kBarWidth - filled), ' ').c_str(), percent);
        std::fflush(stderr);
    }
    void finish(bool complete) {
        if (!visible)
            return;
        if (complete)
            draw(100);
        std::fputc('\n', stderr);
    }
    static bool step(double, void* context) {
        auto* bar = static_cast<progressBar*>(context);
        bar->done += kChunk;
        if (bar->expected > 0)
            bar->draw(static_cast<int>((bar->done < bar->expected ? bar->done : bar->expected) * 100 / bar->expected));
        return interrupted == 0;
    }
};

// The uncompressed size that the last member's trailer gives (modulo 4 GiB), and whether the
// file starts as gzip data.
bool gzipHeader(const vx::file& f, bool& isGzip, std::uint64_t& size) {
    vx::nativePathText native;
    if (!f.nativePath(native))
        return false;
    std::ifstream stream(std::filesystem::path(native), std::ios::binary);
    if (!stream)
        return false;
    unsigned char head[3] = {}, tail[4] = {};
    const bool headRead = stream.read(reinterpret_cast<char*>(head), 3).gcount() == 3;
    isGzip = headRead && head[0] == 0x1F && head[1] == 0x8B && head[2] == 0x08;
    size = 0;
    if (isGzip && stream.seekg(-4, std::ios::end) && stream.read(reinterpret_cast<char*>(tail), 4).gcount() == 4)
        size = tail[0] | tail[1] << 8 | tail[2] << 16 | static_cast<std::uint64_t>(tail[3]) << 24;
    return true;
}

int runGzipCopy(arguments args, bool compress) {
    const vxutil::options given = takeOptions(args, {"--force", "--progress"});
    expectCount(args, 1, 1);
    const vx::string sourceName = args[0];
    vx::string targetName = sourceName + L".gz";
    if (!compress) {
        const vx::string ending = sourceName.size() >= 3 ? sourceName.substr(sourceName.size() - 3) : vx::string();
        if (ending.lower() != L".gz")
            throw usageError("the name of FILE must end in .gz");
        targetName = sourceName.substr(0, sourceName.size() - 3);
    }
    const vx::file source(sourceName), target(targetName);
    if (!source.exists()) {
        failure(sourceName, "no such file");
        return 1;
    }
    progressBar bar;
    bar.expected = source.size();
    if (!compress) {
        bool isGzip = false;
        if (!gzipHeader(source, isGzip, bar.expected)) {
            failure(sourceName, "cannot be read");
            return 1;
        }
        if (!isGzip) {
            failure(sourceName, "is not gzip data");
            return 1;
        }
    }
    // Nothing is replaced without being asked for.
    if (target.fsEntry::exists() && !given.has("--force")) {
        failure(targetName, "exists (--force replaces it)");
        return 1;
    }
    bar.visible = given.has("--progress") || (vx::isTerminal(2) && source.size() >= kProgressThreshold);

    // Written beside the target and put in its place only when complete: a damaged source, a
    // full disk or an interruption leaves a target that was there as it was.
    vx::string drive, name, extension;
    vx::directory folder;
    target.getParts(drive, folder, name, extension);
    const vx::file partial = vx::file::generateRandomFile(folder, L"tmp");
    interrupted = 0;
    const auto previous = std::signal(SIGINT, onInterrupt);
    std::uint64_t ignored = 0;
    bool done = !partial.fullName().empty() &&
                (compress ? source.gzCompressTo(partial, &progressBar::step, &bar)
                          : source.gzUncompressTo(partial, ignored, &progressBar::step, &bar));
    std::signal(SIGINT, previous);
    if (done && target.fsEntry::exists())
        done = target.remove();
    done = done && partial.move(target);
    bar.finish(done);
    if (!done) {
        partial.remove();
        failure(sourceName, interrupted ? "interrupted" :
                 compress ? "cannot be compressed (the target cannot be written)"
                          : "cannot be uncompressed (damaged or cut data, or the target cannot be written)");
        return 1;
    }
    // As gzip -d: what follows the last member is left out, and the user is told.
    if (ignored > 0)
        std::fprintf(stderr, "vxutil: %s: decompression OK, %llu bytes after the gzip data ignored\n",
                     vxutil::quoted(sourceName).c_str(), static_cast<unsigned long long>(ignored));
    printLine(targetName + vx::string::sformat(L"  %lu -> %lu bytes", source.size(), target.size()));
    return 0;
}

int runGzip(arguments args) {
    return runGzipCopy(std::move(args), true);
}

int runGunzip(arguments args) {
    return runGzipCopy(std::move(args), false);
}

// --- pe ----------------------------------------------------------------------------------------------

int runPe(arguments args) {
    takeOptions(args);
    expectCount(args, 1, 1);
    const int architecture = vx::imageArchitecture(vx::file(args[0]));
    switch (architecture) {
    case vx::peArchitectureUnknown:
        printLine(L"unknown");
        return 1;
    case vx::peArchitectureAny:
        printLine(L"any (managed, runs as 32 or 64 bits)");
        return 0;
    case vx::peArchitecture32:
        printLine(L"32-bit");
        return 0;
    case vx::peArchitecture64:
        printLine(L"64-bit");
        return 0;
    default:
        printLine(vx::string::sformat(L"other (optional header magic 0x%x)", architecture));
        return 0;
    }
}

const vxutil::registration registered{
    {"base64", "base64 text of bytes, and the bytes of base64 text",
     "encode|decode [FILE]\n\n"
     "encode  prints the base64 text (RFC 4648, '=' padding, one line) of the bytes of FILE or of\n"
     "        standard input.\n"
     "decode  writes the bytes that the base64 text of FILE or of standard input holds. Decoding\n"
     "        stops quietly at the first '=' and at the first character outside the alphabet,\n"
     "        a line break included: text broken into lines decodes up to its first break.\n"
     "Exit status 1 when FILE cannot be read.",
     runBase64},
    {"gzip", "compress a file to FILE.gz",
     "[--force] [--progress] FILE\n\n"
     "Writes FILE in gzip form to FILE.gz and prints the new name with both sizes; FILE stays.\n"
     "An existing FILE.gz is replaced only with --force. A progress bar appears on standard\n"
     "error for files of 1 MiB or more when it is a terminal, and always with --progress.\n"
     "Exit status 1 when FILE is missing, FILE.gz exists, or the copy fails or is interrupted\n"
     "(Ctrl-C); no partial FILE.gz is left then.",
     runGzip},
    {"gunzip", "uncompress FILE.gz to FILE",
     "[--force] [--progress] FILE.gz\n\n"
     "Writes the bytes that the gzip file holds to the name without .gz and prints that name\n"
     "with both sizes; FILE.gz stays. Several gzip members in a row are read one after the\n"
     "other; bytes after the last member that start no new one are left out, and a notice on\n"
     "standard error says how many, as gzip -d does. An existing target is replaced only with\n"
     "--force; the progress bar is that of gzip.\n"
     "Exit status 1 when FILE.gz is missing or not gzip data, the target exists, or the data is\n"
     "damaged or cut short; no partial target is left then.",
     runGunzip},
    {"pe", "the architecture a Windows executable is built for",
     "FILE\n\n"
     "Prints \"32-bit\" or \"64-bit\" (the magic of the optional header), \"any\" for a managed image\n"
     "that runs as either width, or \"unknown\" with exit status 1 when FILE is no PE image or\n"
     "cannot be read.",
     runPe},
};

} // namespace
