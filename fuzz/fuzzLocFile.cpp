// Language files: any bytes load as a language file, and every lookup ends.
//
// Input: the bytes of the file. They are written as "f.loc" and again as "g.loc" in a folder of
// their own, so that "#include" lines can name real files (the file itself, each other, cycles);
// the second half also serves as the overlay "f_o.loc". Every key the file lists is looked up,
// with a few fixed ones.
#include <vxFile.h>
#include <vxLocFile.h>
#include <vxLocMessage.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
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

// The folder of the files, made once per run and removed at the end. A plain array, not a
// string: it must outlive the handler that removes the folder at exit.
char gFolder[] = "/tmp/fuzzLocFile.XXXXXX";

void removeFolder() {
    for (const char* name : {"/f.loc", "/g.loc", "/f_o.loc"})
        std::remove((std::string(gFolder) + name).c_str());
    ::rmdir(gFolder);
}

std::string folder() {
    static const bool made = [] {
        check(::mkdtemp(gFolder) != nullptr, "a temporary folder");
        std::atexit(removeFolder);
        return true;
    }();
    (void)made;
    return gFolder;
}

void writeFile(const std::string& name, const std::uint8_t* data, std::size_t size) {
    std::ofstream(folder() + "/" + name, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
}

std::wstring windowsForm(const std::string& name) {
    std::wstring text = L"C:";
    for (char c : folder() + "/" + name)
        text += c == '/' ? L'\\' : static_cast<wchar_t>(static_cast<unsigned char>(c));
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    writeFile("f.loc", data, size);
    writeFile("g.loc", data, size);
    writeFile("f_o.loc", data + size / 2, size - size / 2);

    vx::locFile plain(windowsForm("f.loc").c_str());
    vx::locFile overlaid(windowsForm("f.loc").c_str());
    overlaid.setOverlay(vx::file(vx::string(windowsForm("f_o.loc"))));

    for (const vx::locFile* f : {&plain, &overlaid}) {
        std::vector<vx::string> keys;
        f->keys(keys);
        for (std::size_t i = 1; i < keys.size(); ++i)
            check(keys[i - 1] < keys[i], "keys are sorted and unique");
        keys.push_back(L"#include");
        keys.push_back(L"");
        keys.push_back(L"Missing key");
        std::size_t asked = 0;
        for (const vx::string& key : keys) {
            if (++asked > 256)
                break;
            vx::locMessage msg(L"untouched");
            if (!f->getMessage(key.c_str(), msg))
                check(msg == L"untouched", "a failed lookup leaves the message");
        }
    }
    return 0;
}
