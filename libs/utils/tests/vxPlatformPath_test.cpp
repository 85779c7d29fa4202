// The native-path mapping and the file-system primitives of the platform layer.
#include "platform/vxPlatform.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

namespace platform = vx::platform;

// A fresh temporary directory without symbolic links in its path, removed at the end.
struct tempDir {
    tempDir() {
        char pattern[] = "/tmp/vxPlatformPath.XXXXXX";
        EXPECT_NE(::mkdtemp(pattern), nullptr);
        path = std::filesystem::canonical(pattern).string();
    }
    ~tempDir() { std::filesystem::remove_all(path); }
    std::string operator/(const std::string& name) const { return path + "/" + name; }
    std::string path;
};

// Sets (or with a null value removes) one variable and restores it at the end.
struct variable {
    variable(const char* n, const char* value) : name(n), wasSet(::getenv(n) != nullptr) {
        old = wasSet ? ::getenv(n) : "";
        set(value);
    }
    ~variable() { set(wasSet ? old.c_str() : nullptr); }
    void set(const char* value) const { value ? ::setenv(name.c_str(), value, 1) : ::unsetenv(name.c_str()); }
    void set(const std::string& value) const { set(value.c_str()); }
    std::string name, old;
    bool wasSet;
};

// Works in another directory and goes back at the end.
struct workingDirectory {
    explicit workingDirectory(const std::string& path) { std::filesystem::current_path(path); }
    ~workingDirectory() { std::filesystem::current_path(old); }
    std::filesystem::path old = std::filesystem::current_path();
};

std::wstring wide(const std::string& ascii) { return std::wstring(ascii.begin(), ascii.end()); }

// The Windows form of an ASCII native path on the default drive C.
std::wstring onC(const std::string& native) {
    std::wstring text = L"C:" + wide(native);
    for (wchar_t& c : text)
        if (c == L'/')
            c = L'\\';
    return text;
}

std::string toNative(const std::wstring& windowsForm) {
    std::string native;
    return platform::toNativePath(windowsForm, native) ? native : "<false>";
}

std::wstring fromNative(const std::string& native) {
    std::wstring windowsForm;
    return platform::fromNativePath(native, windowsForm) ? windowsForm : L"<false>";
}

void writeFile(const std::string& path, const std::string& content) { std::ofstream(path, std::ios::binary) << content; }

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// --- mapping -------------------------------------------------------------------------------------

TEST(platformPath, driveTableFromVxDrives) {
    tempDir dir;
    const std::string data = dir / "data";
    variable drives("VX_DRIVES", nullptr);
    EXPECT_EQ(platform::driveLetters(), L"C");

    // Items that are malformed, relative or empty are ignored; a later item for a letter wins.
    drives.set("e=" + data + "/usb//;bogus;F=relative;G=;D=/x;D=" + data + "/;;");
    EXPECT_EQ(platform::driveLetters(), L"CDE");
    std::string root;
    EXPECT_TRUE(platform::driveRoot(L'd', root));
    EXPECT_EQ(root, data);
    EXPECT_TRUE(platform::driveRoot(L'E', root));
    EXPECT_EQ(root, data + "/usb");
    EXPECT_FALSE(platform::driveRoot(L'F', root));

    const std::pair<std::string, std::wstring> fromRows[] = {
        {data + "/usb/x/y", L"E:\\x\\y"},            // the longest root wins
        {data + "/x", L"D:\\x"},
        {data, L"D:\\"},
        {data + "/usb", L"E:\\"},
        {data + "base/x", onC(data + "base/x")}, // roots end at a component boundary
        {"/", L"C:\\"},
        {"//a/./b/../c/", L"C:\\a\\c"},
        {"/../..", L"C:\\"},
        {"relative/x", L"<false>"},
        {"", L"<false>"},
    };
    for (const auto& row : fromRows)
        EXPECT_EQ(fromNative(row.first), row.second) << row.first;

    // A change of the variable takes effect at the next call.
    drives.set("C=" + data);
    EXPECT_EQ(fromNative("/etc"), L"<false>");
    EXPECT_EQ(fromNative(data + "/a"), L"C:\\a");
    EXPECT_EQ(toNative(L"C:\\..\\a"), data + "/a");
}

TEST(platformPath, windowsFormToNative) {
    tempDir dir;
    const std::string data = dir / "data";
    std::filesystem::create_directories(data + "/sub");
    variable drives("VX_DRIVES", ("D=" + data).c_str());
    const std::pair<std::wstring, std::string> rows[] = {
        {L"D:\\sub\\x", data + "/sub/x"},
        {L"d:/sub\\\\x\\", data + "/sub/x"},
        {L"D:\\..\\..\\x", data + "/x"},      // ".." stops at the drive's root
        {L"D:\\a\\.\\..\\b", data + "/b"},
        {L"D:\\", data},
        {L"\\\\?\\D:\\x", data + "/x"},
        {L"C:\\", "/"},
        {L"Q:\\x", "<false>"},                // no such drive
        {L"D:\\\xD800", "<false>"},           // no native name holds a lone surrogate
        {L"D:\\\x110000", "<false>"},
        {std::wstring(L"D:\\a\0b", 6), "<false>"},
        {L"", "<false>"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(toNative(row.first), row.second) << std::string(row.first.begin(), row.first.end());

    // Relative forms against the current directory, which is answered in Windows form.
    workingDirectory cd(data + "/sub");
    std::wstring current;
    EXPECT_TRUE(platform::currentDirectory(current));
    EXPECT_EQ(current, L"D:\\sub");
    EXPECT_EQ(platform::currentDriveLetter(), L'D');
    EXPECT_EQ(toNative(L"x\\y"), data + "/sub/x/y");
    EXPECT_EQ(toNative(L"..\\x"), data + "/x");
    EXPECT_EQ(toNative(L"\\x"), data + "/x");
    EXPECT_EQ(toNative(L"D:x"), data + "/sub/x");
    EXPECT_EQ(toNative(L"C:x"), "/x");
    EXPECT_EQ(toNative(L"D:"), data + "/sub");
}

TEST(platformPath, shares) {
    tempDir dir;
    const std::string shares = dir / "unc";
    std::filesystem::create_directories(shares + "/srv/share/d");
    variable uncRoot("VX_UNC_ROOT", nullptr);
    errno = 0;
    EXPECT_EQ(toNative(L"\\\\srv\\share\\f"), "<false>");
    EXPECT_EQ(errno, ENOENT);
    platform::fileStatus status;
    EXPECT_FALSE(platform::statPath(L"\\\\srv\\share", status));

    uncRoot.set(shares);
    EXPECT_EQ(toNative(L"\\\\srv\\share\\f"), shares + "/srv/share/f");
    EXPECT_EQ(toNative(L"//srv/share/../../f"), shares + "/srv/share/f"); // ".." stops at the share
    EXPECT_EQ(toNative(L"\\\\?\\UNC\\srv\\share"), shares + "/srv/share");
    EXPECT_EQ(toNative(L"\\\\srv"), "<false>");
    EXPECT_EQ(toNative(L"\\\\srv\\\\"), "<false>");
    EXPECT_TRUE(platform::statPath(L"\\\\srv\\share\\d", status));
    EXPECT_TRUE(status.isDirectory);
    EXPECT_EQ(fromNative(shares + "/srv/share/f"), L"\\\\srv\\share\\f");
    EXPECT_EQ(fromNative(shares + "/srv/share"), L"\\\\srv\\share");
    EXPECT_EQ(fromNative(shares + "/srv"), onC(shares + "/srv")); // no share named: a plain directory

    // A current directory on a share has no drive; "\x" is at the share's root.
    workingDirectory cd(shares + "/srv/share/d");
    std::wstring current;
    EXPECT_TRUE(platform::currentDirectory(current));
    EXPECT_EQ(current, L"\\\\srv\\share\\d");
    EXPECT_EQ(platform::currentDriveLetter(), 0);
    EXPECT_EQ(toNative(L"\\x"), shares + "/srv/share/x");
}

TEST(platformPath, lookupIgnoresCaseWhereTheExactPathDoesNotExist) {
    tempDir dir;
    std::filesystem::create_directories(dir / "Data/Sub");
    writeFile(dir / "Data/Sub/readme.txt", "lower");
    writeFile(dir / "Data/Sub/README.txt", "upper");
    variable drives("VX_DRIVES", ("D=" + dir.path).c_str());
    const std::pair<std::wstring, std::string> rows[] = {
        {L"D:\\Data\\Sub\\readme.txt", dir / "Data/Sub/readme.txt"}, // exact match wins
        {L"D:\\Data\\Sub\\README.txt", dir / "Data/Sub/README.txt"},
        {L"D:\\DATA\\sub\\readme.txt", dir / "Data/Sub/readme.txt"},
        {L"D:\\data\\SUB\\ReadMe.TXT", dir / "Data/Sub/README.txt"}, // several: the smallest in byte order
        {L"D:\\dATA\\new\\File.txt", dir / "Data/new/File.txt"},     // new names stay as given
    };
    for (const auto& row : rows)
        EXPECT_EQ(toNative(row.first), row.second);

    // A new entry is made under the resolved parent with the name as given.
    EXPECT_TRUE(platform::createNewFile(L"D:\\DATA\\SUB\\New.Txt", 0x80));
    EXPECT_TRUE(std::filesystem::exists(dir / "Data/Sub/New.Txt"));
    EXPECT_FALSE(platform::createNewFile(L"D:\\data\\sub\\NEW.TXT", 0x80)); // exists in another case
}

TEST(platformPath, namesThatAreNotUtf8RoundTrip) {
    tempDir dir;
    variable drives("VX_DRIVES", ("D=" + dir.path).c_str());
    // Latin-1 "café", a lone continuation byte, a cut sequence and an encoded surrogate.
    const std::string name = "caf\xE9-\x80-\xE2\x82-\xED\xA0\x80-\xC3\xA9";
    writeFile(dir / name, "bytes");
    const std::wstring windowsForm = fromNative(dir / name);
    EXPECT_EQ(windowsForm, (std::wstring{L'D', L':', L'\\', L'c', L'a', L'f', 0xDCE9, L'-', 0xDC80, L'-', 0xDCE2, 0xDC82,
                                         L'-', 0xDCED, 0xDCA0, 0xDC80, L'-', 0xE9}));
    EXPECT_EQ(toNative(windowsForm), dir / name);
    platform::fileStatus status;
    EXPECT_TRUE(platform::statPath(windowsForm, status));
    EXPECT_EQ(status.size, 5u);
    // Case-insensitive lookup of such a name: escaped bytes match only themselves.
    std::wstring upper = windowsForm;
    upper[3] = L'C';
    upper.back() = 0xC9;
    EXPECT_EQ(toNative(upper), dir / name);
}

// --- file-system primitives ------------------------------------------------------------------------

class fileSystem : public ::testing::Test {
protected:
    fileSystem() : mDrives("VX_DRIVES", ("D=" + mDir.path).c_str()) {}
    std::string native(const std::string& name) const { return mDir / name; }
    static std::wstring on(const std::string& name) { return L"D:\\" + wide(name); }
    static std::uint32_t attributes(const std::string& name) {
        platform::fileStatus status;
        return platform::statPath(on(name), status) ? status.attributes : 0xFFFF;
    }
    static mode_t modeOf(const std::string& path) {
        struct stat info;
        return ::stat(path.c_str(), &info) == 0 ? (info.st_mode & 0777) : 07777;
    }

    tempDir mDir;
    variable mDrives;
};

TEST_F(fileSystem, statusAndAttributes) {
    writeFile(native("f"), "12345");
    writeFile(native(".hidden"), "");
    writeFile(native("ro"), "");
    ::chmod(native("ro").c_str(), 0444);
    std::filesystem::create_directory(native(".d"));
    ASSERT_EQ(::mkfifo(native("fifo").c_str(), 0644), 0);
    EXPECT_EQ(attributes("f"), 0x20u);
    EXPECT_EQ(attributes(".hidden"), 0x22u);
    EXPECT_EQ(attributes("ro"), 0x21u);
    EXPECT_EQ(attributes(".d"), 0x12u);
    EXPECT_EQ(attributes("fifo"), 0x04u);
    EXPECT_EQ(attributes("missing"), 0xFFFFu);

    platform::fileStatus status;
    ASSERT_TRUE(platform::statPath(on("f"), status));
    EXPECT_EQ(status.size, 5u);
    EXPECT_FALSE(status.isDirectory);
    ASSERT_TRUE(platform::setModificationTime(on("f"), 1000000000));
    ASSERT_TRUE(platform::statPath(on("f"), status));
    EXPECT_EQ(status.modificationTime, 1000000000);
    EXPECT_GT(status.creationTime, 1000000000); // the status change just now
    EXPECT_FALSE(platform::setModificationTime(on("ro"), 1));
    ASSERT_TRUE(platform::statPath(L"D:\\fifo", status));
    EXPECT_EQ(status.size, 0u);
}

TEST_F(fileSystem, accessAndModeFollowTheOwnerBits) {
    writeFile(native("f"), "");
    for (int mode : {0, 2, 4, 6})
        EXPECT_TRUE(platform::accessPath(on("f"), mode)) << mode;
    for (int mode : {1, 3, 8, -1})
        EXPECT_FALSE(platform::accessPath(on("f"), mode)) << mode;
    EXPECT_FALSE(platform::accessPath(on("missing"), 0));

    ::chmod(native("f").c_str(), 0666);
    const std::pair<int, mode_t> rows[] = {
        {0x100, 0444}, // read-only: nobody writes
        {0x180, 0644}, // the owner may write again; group and others stay
        {0x080, 0200}, // the owner may not read, and neither may anyone else
        {0x000, 0000},
    };
    for (const auto& row : rows) {
        EXPECT_TRUE(platform::changeMode(on("f"), row.first));
        EXPECT_EQ(modeOf(native("f")), row.second) << std::hex << row.first;
        EXPECT_EQ(platform::accessPath(on("f"), 2), (row.second & 0200) != 0);
        EXPECT_EQ(platform::accessPath(on("f"), 4), (row.second & 0400) != 0);
    }
    EXPECT_FALSE(platform::changeMode(on("missing"), 0x180));
}

TEST_F(fileSystem, createRemoveRenameMove) {
    EXPECT_TRUE(platform::createNewFile(on("w"), 0x80));
    EXPECT_TRUE(platform::createNewFile(on("r"), 0x100));
    EXPECT_FALSE(platform::createNewFile(on("w"), 0x80));
    EXPECT_NE(modeOf(native("w")) & 0200, 0u);
    EXPECT_EQ(modeOf(native("r")) & 0222, 0u);
    EXPECT_NE(modeOf(native("r")) & 0400, 0u);

    EXPECT_FALSE(platform::removeFile(on("r")));   // read-only
    std::filesystem::create_directory(native("dir"));
    EXPECT_FALSE(platform::removeFile(on("dir")));
    EXPECT_FALSE(platform::removeFile(on("missing")));

    EXPECT_FALSE(platform::renamePath(on("w"), on("r")));   // the target exists
    EXPECT_FALSE(platform::movePath(on("w"), on("dir")));
    EXPECT_TRUE(platform::renamePath(on("w"), on("w2")));
    EXPECT_TRUE(platform::movePath(on("w2"), on("dir\\w3")));
    EXPECT_TRUE(platform::renamePath(on("DIR\\W3"), on("dir\\W3"))); // only the case changes
    EXPECT_TRUE(std::filesystem::exists(native("dir/W3")));
    EXPECT_FALSE(std::filesystem::exists(native("dir/w3")));
    EXPECT_TRUE(platform::movePath(on("dir"), on("dir2")));
    EXPECT_TRUE(platform::removeFile(on("dir2\\w3")));
    EXPECT_FALSE(std::filesystem::exists(native("dir2/W3")));
    EXPECT_FALSE(platform::movePath(on("missing"), on("x")));
}

TEST_F(fileSystem, copyAndProperties) {
    writeFile(native("src"), "content");
    ::chmod(native("src").c_str(), 0640);
    ASSERT_TRUE(platform::setModificationTime(on("src"), 1234567890));
    EXPECT_TRUE(platform::copyFile(on("src"), on("dst"), true));
    EXPECT_EQ(readFile(native("dst")), "content");
    EXPECT_EQ(modeOf(native("dst")), 0640u);
    EXPECT_EQ(std::filesystem::last_write_time(native("dst")), std::filesystem::last_write_time(native("src")));

    writeFile(native("src"), "new");
    EXPECT_FALSE(platform::copyFile(on("src"), on("dst"), true));
    EXPECT_TRUE(platform::copyFile(on("src"), on("DST"), false));
    EXPECT_EQ(readFile(native("dst")), "new");
    EXPECT_FALSE(platform::copyFile(on("src"), on("src"), false)); // never truncates its source
    EXPECT_EQ(readFile(native("src")), "new");
    ::chmod(native("dst").c_str(), 0444);
    EXPECT_FALSE(platform::copyFile(on("src"), on("dst"), false));
    ASSERT_EQ(::mkfifo(native("fifo").c_str(), 0644), 0);
    EXPECT_FALSE(platform::copyFile(on("fifo"), on("fromFifo"), true)); // at once, not waiting for a writer
    EXPECT_FALSE(std::filesystem::exists(native("fromFifo")));

    writeFile(native("other"), "");
    ::chmod(native("src").c_str(), 0400);
    EXPECT_TRUE(platform::copyFileProperties(on("src"), on("other")));
    EXPECT_EQ(modeOf(native("other")), 0400u);
    platform::fileStatus a, b;
    ASSERT_TRUE(platform::statPath(on("src"), a) && platform::statPath(on("other"), b));
    EXPECT_EQ(a.modificationTime, b.modificationTime);
    EXPECT_EQ(a.accessTime, b.accessTime);
}

TEST_F(fileSystem, handles) {
    {
        platform::fileHandle out;
        ASSERT_TRUE(out.open(on("f"), platform::fileHandle::openWrite));
        EXPECT_TRUE(out.write("abc", 3));
        platform::fileHandle moved = std::move(out);
        EXPECT_FALSE(out.isOpen());
        EXPECT_TRUE(moved.close());
    }
    {
        platform::fileHandle out;
        ASSERT_TRUE(out.open(on("F"), platform::fileHandle::openAppend));
        EXPECT_TRUE(out.write("de", 2));
    }
    platform::fileHandle in;
    ASSERT_TRUE(in.open(on("f"), platform::fileHandle::openRead));
    char buffer[8];
    std::size_t done = 0;
    EXPECT_TRUE(in.read(buffer, 4, done));
    EXPECT_EQ(std::string(buffer, done), "abcd");
    EXPECT_TRUE(in.read(buffer, 8, done));
    EXPECT_EQ(std::string(buffer, done), "e");
    EXPECT_TRUE(in.read(buffer, 8, done));
    EXPECT_EQ(done, 0u);
    EXPECT_FALSE(in.write("x", 1));

    platform::fileHandle other;
    ::chmod(native("f").c_str(), 0444);
    EXPECT_FALSE(other.open(on("f"), platform::fileHandle::openAppend)); // read-only
    EXPECT_EQ(readFile(native("f")), "abcde");
    EXPECT_FALSE(other.open(on("missing"), platform::fileHandle::openRead));
    std::filesystem::create_directory(native("dir"));
    EXPECT_FALSE(other.open(on("dir"), platform::fileHandle::openRead));
    ASSERT_EQ(::mkfifo(native("fifo").c_str(), 0644), 0);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(other.open(on("fifo"), platform::fileHandle::openRead));
    EXPECT_FALSE(other.open(on("fifo"), platform::fileHandle::openWrite));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_FALSE(other.isOpen());
    EXPECT_FALSE(other.read(buffer, 1, done));
}

TEST_F(fileSystem, remoteDrives) {
    EXPECT_FALSE(platform::isRemoteDrive(L'D')); // a temporary directory is local
    EXPECT_FALSE(platform::isRemoteDrive(L'Q'));
}

} // namespace
