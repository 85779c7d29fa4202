// The native-path mapping and the file-system primitives of the platform layer on POSIX systems.
#include "platform/fileSystem.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "platform/posix/posixShared.h"

#include "testSupport.h"

#include <cerrno>
#include <sys/stat.h>

namespace {

namespace platform = vx::platform;
using vxtest::windowsForm;

std::string toNative(const std::wstring& windows) {
    std::string native;
    return platform::toNativePath(windows, native) ? native : "<false>";
}
std::wstring fromNative(const std::string& native) {
    std::wstring windows;
    return platform::posix::fromNativePath(native, windows) ? windows : L"<false>";
}

TEST(platformPath, driveTableFromVxDrivesSharesBelowVxUncRootAndWindowsFormToNative) {
    vxtest::tempDir dir;
    const std::string data = dir / "data", shares = dir / "unc";
    dir.makeDirs("unc/srv/share/d");
    vxtest::scopedEnvironment drives("VX_DRIVES", nullptr);
    drives.set("VX_UNC_ROOT", nullptr);
    EXPECT_EQ(platform::posix::driveLetters(), L"C");
    errno = 0;
    platform::fileStatus status;
    EXPECT_TRUE(toNative(L"\\\\srv\\share\\f") == "<false>" && errno == ENOENT); // no share without VX_UNC_ROOT
    EXPECT_FALSE(platform::statPath(L"\\\\srv\\share", status));
    drives.set("VX_UNC_ROOT", shares);
    // Items that are malformed, relative or empty are ignored; a later item for a letter wins.
    drives.set("VX_DRIVES", "e=" + data + "/usb//;bogus;F=relative;G=;D=/x;D=" + data + "/;;");
    EXPECT_EQ(platform::posix::driveLetters(), L"CDE");
    std::string root;
    EXPECT_TRUE(platform::posix::driveRoot(L'd', root) && root == data);
    EXPECT_TRUE(platform::posix::driveRoot(L'E', root) && root == data + "/usb");
    EXPECT_FALSE(platform::posix::driveRoot(L'F', root));
    // The longest root wins; roots end at a component boundary. Below VX_UNC_ROOT a server and a share make a share.
    const std::pair<std::string, std::wstring> fromRows[] = {
        {data + "/usb/x/y", L"E:\\x\\y"}, {data + "/x", L"D:\\x"}, {data, L"D:\\"}, {data + "/usb", L"E:\\"},
        {data + "base/x", windowsForm(data + "base/x")}, {"/", L"C:\\"}, {"//a/./b/../c/", L"C:\\a\\c"},
        {"/../..", L"C:\\"}, {"relative/x", L"<false>"}, {"", L"<false>"},
        {shares + "/srv/share/f", L"\\\\srv\\share\\f"}, {shares + "/srv/share", L"\\\\srv\\share"},
        {shares + "/srv", windowsForm(shares + "/srv")},
    };
    for (const auto& row : fromRows)
        EXPECT_EQ(fromNative(row.first), row.second) << row.first;
    drives.set("VX_DRIVES", "C=" + data); // "C" too may be given another root
    EXPECT_EQ(fromNative("/etc") + L"|" + fromNative(data + "/a"), L"<false>|C:\\a");
    dir.makeDirs("data/sub");
    drives.set("VX_DRIVES", "D=" + data);
    // Relative forms are read against the current directory, which is answered in Windows form.
    vxtest::scopedCurrentDirectory cd(data + "/sub");
    std::wstring current;
    EXPECT_TRUE(platform::currentDirectory(current) && current == L"D:\\sub" && platform::currentDriveLetter() == L'D');
    // ".." stops at the drive's root and at the share; Q is no drive; no native name holds a lone surrogate or a null.
    const std::pair<std::wstring, std::string> rows[] = {
        {L"D:\\sub\\x", data + "/sub/x"}, {L"d:/sub\\\\x\\", data + "/sub/x"}, {L"D:\\..\\..\\x", data + "/x"},
        {L"D:\\a\\.\\..\\b", data + "/b"}, {L"D:\\", data}, {L"\\\\?\\D:\\x", data + "/x"}, {L"C:\\", "/"},
        {L"Q:\\x", "<false>"}, {L"D:\\\xD800", "<false>"}, {L"D:\\\x110000", "<false>"}, {L"", "<false>"},
        {std::wstring(L"D:\\a\0b", 6), "<false>"}, {L"x\\y", data + "/sub/x/y"}, {L"..\\x", data + "/x"},
        {L"\\x", data + "/x"}, {L"D:x", data + "/sub/x"}, {L"C:x", "/x"}, {L"D:", data + "/sub"},
        {L"\\\\srv\\share\\f", shares + "/srv/share/f"}, {L"//srv/share/../../f", shares + "/srv/share/f"},
        {L"\\\\?\\UNC\\srv\\share", shares + "/srv/share"}, {L"\\\\srv", "<false>"}, {L"\\\\srv\\\\", "<false>"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(toNative(row.first), row.second) << vxtest::show(row.first);
    EXPECT_TRUE(platform::statPath(L"\\\\srv\\share\\d", status) && status.isDirectory);
    // A current directory on a share has no drive; "\x" is at the share's root.
    vxtest::scopedCurrentDirectory onShare(shares + "/srv/share/d");
    EXPECT_TRUE(platform::currentDirectory(current) && current == L"\\\\srv\\share\\d" &&
                platform::currentDriveLetter() == 0);
    EXPECT_EQ(toNative(L"\\x"), shares + "/srv/share/x");
}

TEST(platformPath, lookupIgnoresCaseWhereTheExactPathDoesNotExistAndNamesThatAreNotUtf8RoundTrip) {
    vxtest::tempDir dir;
    dir.makeFile("Data/Sub/readme.txt");
    dir.makeFile("Data/Sub/README.txt");
    vxtest::scopedEnvironment drives("VX_DRIVES", "D=" + dir.path());
    const std::pair<std::wstring, std::string> rows[] = {
        {L"D:\\Data\\Sub\\readme.txt", dir / "Data/Sub/readme.txt"}, // exact match wins
        {L"D:\\DATA\\sub\\readme.txt", dir / "Data/Sub/readme.txt"},
        {L"D:\\data\\SUB\\ReadMe.TXT", dir / "Data/Sub/README.txt"}, // several: the smallest in byte order
        {L"D:\\dATA\\new\\File.txt", dir / "Data/new/File.txt"},     // new names stay as given
    };
    for (const auto& row : rows)
        EXPECT_EQ(toNative(row.first), row.second);
    // A new entry is made under the resolved parent with the name as given.
    EXPECT_TRUE(platform::createNewFile(L"D:\\DATA\\SUB\\New.Txt", 0x80) && dir.has("Data/Sub/New.Txt"));
    EXPECT_FALSE(platform::createNewFile(L"D:\\data\\sub\\NEW.TXT", 0x80)); // exists in another case
    // Latin-1 "café", a lone continuation byte, a cut sequence and an encoded surrogate.
    const std::string name = "caf\xE9-\x80-\xE2\x82-\xED\xA0\x80-\xC3\xA9";
    dir.makeFile(name, "bytes");
    const std::wstring windows = fromNative(dir / name);
    EXPECT_EQ(windows, (std::wstring{L'D', L':', L'\\', L'c', L'a', L'f', 0xDCE9, L'-', 0xDC80, L'-', 0xDCE2, 0xDC82,
                                     L'-', 0xDCED, 0xDCA0, 0xDC80, L'-', 0xE9}));
    EXPECT_EQ(toNative(windows), dir / name);
    platform::fileStatus status;
    EXPECT_TRUE(platform::statPath(windows, status) && status.size == 5u);
    // Case-insensitive lookup of such a name: escaped bytes match only themselves.
    std::wstring upper = windows;
    upper[3] = L'C';
    upper.back() = 0xC9;
    EXPECT_EQ(toNative(upper), dir / name);
}

// File-system primitives on drive D, a temporary directory, where the file and directory classes do not show them.
class fileSystem : public ::testing::Test {
protected:
    static std::wstring on(const std::string& name) { return L"D:\\" + std::wstring(name.begin(), name.end()); }

    vxtest::tempDir mDir;
    vxtest::scopedEnvironment mDrives{"VX_DRIVES", "D=" + mDir.path()};
};

TEST_F(fileSystem, statusAttributesRenameMoveAccessAndMode) {
    for (const char* name : {"f", ".hidden", "w", "r"})
        mDir.makeFile(name);
    mDir.makeFile("ro", "", 0444);
    mDir.makeDirs(".d");
    mDir.makeDirs("dir");
    ASSERT_EQ(::mkfifo((mDir / "fifo").c_str(), 0644), 0);
    const std::pair<const char*, std::uint32_t> rows[] = {
        {"f", 0x20}, {".hidden", 0x22}, {"ro", 0x21}, {".d", 0x12}, {"fifo", 0x04}, {"missing", 0xFFFF}};
    for (const auto& [name, attributes] : rows) {
        platform::fileStatus status;
        EXPECT_EQ(platform::statPath(on(name), status) ? status.attributes : 0xFFFF, attributes) << name;
    }
    // Rename and move: never over an existing target, a change of case only is a rename.
    EXPECT_FALSE(platform::renamePath(on("w"), on("r")) || platform::movePath(on("w"), on("dir"))); // the targets exist
    EXPECT_TRUE(platform::movePath(on("w"), on("dir\\w3")));
    EXPECT_TRUE(platform::renamePath(on("DIR\\W3"), on("dir\\W3"))); // only the case changes
    EXPECT_TRUE(mDir.has("dir/W3") && !mDir.has("dir/w3"));
    EXPECT_TRUE(platform::movePath(on("dir"), on("dir2")) && mDir.has("dir2/W3"));
    EXPECT_FALSE(platform::movePath(on("missing"), on("x")));
    // Access and mode follow the owner bits; other modes than 0, 2, 4 and 6 are never granted.
    mDir.makeFile("f", "", 0666);
    std::string granted;
    for (int mode = -1; mode <= 8; ++mode)
        granted += platform::accessPath(on("f"), mode) ? std::to_string(mode) : "";
    EXPECT_EQ(granted, "0246");
    // Read-only: nobody writes; writable again: the owner writes, group and others stay; the owner may not
    // read (0x080): neither may anyone else.
    const std::pair<int, int> modes[] = {{0x100, 0444}, {0x180, 0644}, {0x080, 0200}, {0x000, 0000}};
    for (const auto& row : modes) {
        EXPECT_TRUE(platform::changeMode(on("f"), row.first));
        EXPECT_EQ(mDir.mode("f"), row.second) << std::hex << row.first;
        EXPECT_TRUE(platform::accessPath(on("f"), 2) == ((row.second & 0200) != 0) &&
                    platform::accessPath(on("f"), 4) == ((row.second & 0400) != 0));
    }
    EXPECT_TRUE(platform::createNewFile(on("new"), 0x100) && (mDir.mode("new") & 0622) == 0400);
}

TEST_F(fileSystem, copyKeepsModeAndTimesHandlesMoveAndNeitherWaitsForAPipe) {
    mDir.makeFile("src", "content", 0640);
    ASSERT_TRUE(platform::setModificationTime(on("src"), 1234567890));
    EXPECT_TRUE(platform::copyFile(on("src"), on("dst"), true));
    EXPECT_TRUE(mDir.read("dst") == "content" && mDir.mode("dst") == 0640);
    platform::fileStatus a, b;
    EXPECT_TRUE(platform::statPath(on("dst"), b) && b.modificationTime == 1234567890);
    EXPECT_TRUE(platform::copyFile(on("src"), on("DST"), false)); // the existing target in another case
    ASSERT_EQ(::mkfifo((mDir / "fifo").c_str(), 0644), 0);
    // At once, not waiting for a writer.
    EXPECT_FALSE(platform::copyFile(on("fifo"), on("fromFifo"), true) || mDir.has("fromFifo"));
    mDir.makeFile("other", "");
    ::chmod((mDir / "src").c_str(), 0400);
    EXPECT_TRUE(platform::copyFileProperties(on("src"), on("other")) && mDir.mode("other") == 0400);
    ASSERT_TRUE(platform::statPath(on("src"), a) && platform::statPath(on("other"), b));
    EXPECT_TRUE(a.modificationTime == b.modificationTime && a.accessTime == b.accessTime);
    // Handles move, and never wait for a pipe either.
    {
        platform::fileHandle out;
        ASSERT_TRUE(out.open(on("f"), platform::fileHandle::openWrite) && out.write("abc", 3));
        platform::fileHandle moved = std::move(out);
        EXPECT_TRUE(!out.isOpen() && moved.close());
        ASSERT_TRUE(out.open(on("F"), platform::fileHandle::openAppend) && out.write("de", 2));
    }
    platform::fileHandle in;
    ASSERT_TRUE(in.open(on("f"), platform::fileHandle::openRead));
    char buffer[8];
    std::size_t done = 0;
    EXPECT_TRUE(in.read(buffer, 8, done) && std::string(buffer, done) == "abcde");
    EXPECT_TRUE(in.read(buffer, 8, done) && done == 0u && !in.write("x", 1));
    platform::fileHandle other;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(other.open(on("fifo"), platform::fileHandle::openRead) ||
                 other.open(on("fifo"), platform::fileHandle::openWrite));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_FALSE(other.isOpen() || other.read(buffer, 1, done));
}

} // namespace
