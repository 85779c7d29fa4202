// Compound documents: any bytes, opened as a document, end in a defined way, and whatever opens
// can be read block by block and written again to a document that reads back the same.
//
// Input: the bytes of the file. Small files are the interesting ones, so the trailer's pointer
// and the dictionary are within reach of the mutations.
#include <vxBinaryBuffer.h>
#include <vxCompoundDoc.h>
#include <vxException.h>
#include <vxFile.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

void check(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "failed: %s\n", what);
        std::abort();
    }
}

// One temporary directory per run, with the document and its copy.
struct scratch {
    std::string native;
    vx::string windows;

    scratch() {
        const char* temporary = std::getenv("TMPDIR");
        std::string pattern = std::string(temporary ? temporary : "/tmp") + "/vxFuzzCdoc.XXXXXX";
        check(::mkdtemp(pattern.data()) != nullptr, "a temporary directory");
        native = pattern;
        std::wstring text = L"C:" + std::wstring(native.begin(), native.end());
        for (auto& c : text)
            c = c == L'/' ? L'\\' : c;
        windows = vx::string(text);
    }
    ~scratch() {
        ::unlink((native + "/doc").c_str());
        ::unlink((native + "/copy").c_str());
        ::rmdir(native.c_str());
    }
};

const scratch& dir() {
    static const scratch s;
    return s;
}

std::string bytesOf(const vx::binaryBuffer& b) {
    return b.logicalLength() ? std::string(b.data(), b.logicalLength()) : std::string();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string path = dir().native + "/doc";
    std::FILE* out = std::fopen(path.c_str(), "wb");
    check(out != nullptr, "the input is written");
    check(std::fwrite(data, 1, size, out) == size && std::fclose(out) == 0, "the input is written");

    const vx::file doc(dir().windows + L"\\doc");
    vx::compoundDocReader reader(doc);
    try {
        reader.open();
    } catch (const vx::invalidFileFormatException&) {
        check(!reader.isValid() || size >= 21, "a refused file is not open");
        return 0;
    }
    check(size >= 21, "at least a trailer");
    check(reader.isValid(), "an open document is valid");

    std::vector<std::string> names;
    const bool any = reader.getDictionary(names);
    check(any == !names.empty(), "getDictionary tells whether there are names");
    for (std::size_t i = 0; i < names.size(); ++i) {
        check(!names[i].empty() && names[i].size() <= 127, "names of 1 to 127 bytes");
        check(i == 0 || names[i - 1] < names[i], "names sorted and unique");
    }
    // A stored name may hold a null byte: it is listed, but a name given as C text cannot reach it.
    std::vector<std::string> reachable;
    for (const std::string& name : names)
        if (name.find('\0') == std::string::npos)
            reachable.push_back(name);
    names = reachable;
    std::vector<std::string> contents;
    for (std::size_t i = 0; i < names.size(); ++i) {
        check(reader.has(names[i].c_str()), "every listed name is there");
        vx::binaryBuffer block;
        block.write("stale", 5);
        const std::uint64_t length = reader.length(names[i].c_str());
        if (reader.read(names[i].c_str(), block)) {
            check(block.logicalLength() == length && length <= size, "a block read has its length");
            contents.push_back(bytesOf(block));
        } else {
            check(bytesOf(block) == "stale", "a refused block leaves the buffer");
            contents.push_back(std::string());
        }
    }
    reader.close();
    check(!reader.has(names.empty() ? "x" : names[0].c_str()), "a closed reader knows nothing");

    // The blocks written again give a document that reads back the same.
    const vx::file copy(dir().windows + L"\\copy");
    {
        vx::compoundDocWriter writer(copy);
        writer.create();
        for (std::size_t i = 0; i < names.size(); ++i)
            writer.write(names[i].c_str(), contents[i].data(), contents[i].size());
        writer.close();
    }
    vx::compoundDocReader again(copy);
    again.open();
    std::vector<std::string> copied;
    again.getDictionary(copied);
    check(copied == names, "the copy has the same names");
    for (std::size_t i = 0; i < names.size(); ++i) {
        vx::binaryBuffer block;
        check(again.read(names[i].c_str(), block) && bytesOf(block) == contents[i], "the copy has the same blocks");
    }
    return 0;
}
