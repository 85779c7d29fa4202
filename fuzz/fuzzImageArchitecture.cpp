// Executable images: any bytes end in a defined result, and a result other than "unknown" is
// backed by the signatures and the magic that the file holds.
//
// Input: the bytes of the file. Offsets are small so that the mutations reach the headers.
#include <vxBinaryBuffer.h>
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

std::uint32_t le(const std::string& bytes, std::size_t at, int width) {
    std::uint32_t value = 0;
    for (int i = width - 1; i >= 0; --i)
        value = value << 8 | static_cast<unsigned char>(bytes[at + static_cast<std::size_t>(i)]);
    return value;
}

// The image's file, in a directory that is removed when the run ends.
struct scratch {
    std::string native;
    vx::file image;
    scratch() {
        char pattern[] = "/tmp/fuzzImageArchitecture.XXXXXX";
        check(::mkdtemp(pattern) != nullptr, "a temporary directory");
        native = pattern;
        vx::string dir = L"C:" + vx::string(native.begin(), native.end());
        for (auto& c : dir)
            c = c == L'/' ? L'\\' : c;
        image = vx::file(dir, L"image.exe");
    }
    ~scratch() {
        std::error_code ignored;
        std::filesystem::remove_all(native, ignored);
    }
};

const vx::file& imageFile() {
    static const scratch s;
    return s.image;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    vx::binaryBuffer buffer;
    buffer.write(bytes.data(), bytes.size());
    check(buffer.writeToFile(imageFile(), false), "the image is written");
    const int result = vx::imageArchitecture(imageFile());
    if (result == vx::peArchitectureUnknown)
        return 0;
    check(size >= 0x40 && bytes[0] == 'M' && bytes[1] == 'Z', "MZ at the start");
    const std::uint64_t pe = le(bytes, 0x3C, 4);
    check(pe + 26 <= size && std::memcmp(bytes.data() + pe, "PE\0\0", 4) == 0, "PE\\0\\0 at the stored offset");
    const std::uint32_t magic = le(bytes, static_cast<std::size_t>(pe) + 24, 2);
    check(result == static_cast<int>(magic) || (result == vx::peArchitectureAny && magic == 0x10B),
          "the magic, or a managed image whose magic is 0x10B");
    return 0;
}
