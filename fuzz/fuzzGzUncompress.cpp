// gzip input: any bytes given to binaryBuffer::gzUncompress and file::gzUncompressTo end in a
// defined way. A failure keeps the buffer's content; data that is not gzip comes back as it was;
// both ways give the same bytes; and what was read compresses and reads back to the same bytes.
//
// Input: the bytes of the buffer (and of the file).
#include <vxBinaryBuffer.h>
#include <vxDirectory.h>
#include <vxEnvironment.h>
#include <vxFile.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace {

void check(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "failed: %s\n", what);
        std::abort();
    }
}

std::string contentOf(const vx::binaryBuffer& b) {
    return b.logicalLength() ? std::string(b.data(), b.logicalLength()) : std::string();
}

// One temporary directory per run: the codecs' temporary files and the two files of the copy.
// Removed when the run ends.
struct scratch {
    std::string native;
    vx::string dir;
    scratch() {
        char pattern[] = "/tmp/fuzzGzUncompress.XXXXXX";
        check(::mkdtemp(pattern) != nullptr, "a temporary directory");
        native = pattern;
        dir = L"C:" + vx::string(native.begin(), native.end());
        for (auto& c : dir)
            c = c == L'/' ? L'\\' : c;
    }
    ~scratch() {
        std::error_code ignored;
        std::filesystem::remove_all(native, ignored);
    }
};

const scratch& place() {
    static const scratch s;
    return s;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    vx::directory::setThreadTempDir(vx::getCurrentThreadId(), vx::directory(place().dir));
    const std::string input(reinterpret_cast<const char*>(data), size);

    vx::binaryBuffer buffer;
    buffer.write(input.data(), input.size());
    const bool done = buffer.gzUncompress();
    if (!done)
        check(contentOf(buffer) == input, "a failure keeps the content");
    if (input.size() < 2 || input[0] != '\x1F' || input[1] != '\x8B')
        check(done && contentOf(buffer) == input, "data that is not gzip comes back as it was");

    const vx::file packed(place().dir, L"in.gz"), plain(place().dir, L"out");
    vx::binaryBuffer source;
    source.write(input.data(), input.size());
    check(source.writeToFile(packed, false), "the input file is written");
    const bool copied = packed.gzUncompressTo(plain);
    check(copied == done, "both ways agree on success");
    if (done) {
        vx::binaryBuffer fromFile;
        check(fromFile.readFromFile(plain) && fromFile == buffer, "both ways give the same bytes");
        vx::binaryBuffer again(buffer);
        check(again.gzCompress() && again.isGZCompressed() && again.gzUncompress() && again == buffer,
              "what was read compresses and reads back");
    }
    plain.remove();
    packed.remove();
    return 0;
}
