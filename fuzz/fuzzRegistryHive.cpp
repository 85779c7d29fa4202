// Registry hive files: any bytes dropped into the store as a hive read in bounded time, and what
// is read exports to a file that reads back as the same hive.
//
// Input: the bytes of HKEY_CURRENT_USER.reg in a store folder of the fuzzer's own. Every key is
// listed and every value read (a bounded number of them), then the hive is exported, the export
// put in the hive's place and exported again: both exports must be the same bytes.
#include <vxRegistry.h>

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

// The store's folder, made once per run and removed at the end. A plain array, not a string: it
// must outlive the handler that removes the folder at exit.
char gFolder[] = "/tmp/fuzzRegistryHive.XXXXXX";

void removeFolder() {
    for (const char* name : {"/HKEY_CURRENT_USER.reg", "/HKEY_CURRENT_USER.reg.lock", "/HKEY_CURRENT_USER.reg.new"})
        std::remove((std::string(gFolder) + name).c_str());
    ::rmdir(gFolder);
}

std::string hiveFile() {
    static const bool made = [] {
        check(::mkdtemp(gFolder) != nullptr, "a temporary folder");
        check(::setenv("VX_REGISTRY_DIR", gFolder, 1) == 0, "the store's folder");
        std::atexit(removeFolder);
        return true;
    }();
    (void)made;
    return std::string(gFolder) + "/HKEY_CURRENT_USER.reg";
}

void writeHive(const std::string& bytes) {
    std::ofstream(hiveFile(), std::ios::binary | std::ios::trunc)
        .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// Lists the keys and reads the values below path, depth first, while budget lasts.
void walk(const vx::string& path, int& budget) {
    if (--budget < 0)
        return;
    std::vector<vx::string> values, keys;
    vx::regGetValues(path.c_str(), values);
    for (const vx::string& name : values)
        vx::regGetValue((path + L"\\" + name).c_str());
    vx::regGetKeys(path.c_str(), keys);
    for (const vx::string& name : keys) {
        check(!name.empty(), "a key has a name");
        walk(path + L"\\" + name, budget);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    writeHive(std::string(reinterpret_cast<const char*>(data), size));
    int budget = 300;
    walk(L"HKEY_CURRENT_USER", budget);

    std::string first, second;
    if (!vx::regExport(L"HKEY_CURRENT_USER", first))
        return 0; // a file that is no registry file reads as nothing
    writeHive(first);
    check(vx::regExport(L"HKEY_CURRENT_USER", second), "the export reads back");
    check(first == second, "the export reads back as the same hive");
    return 0;
}
