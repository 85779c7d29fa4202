#include <vxFsEntry.h>

#include <vxDirectory.h>

#include "testSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#ifdef _WIN32
#include <filesystem>
#include <fstream>
#include <windows.h>
#endif

using vx::fsEntry;
using vx::fsEntryName;
using vx::string;
using vxtest::show;

static_assert(std::is_abstract<fsEntry>::value, "rename is pure");
static_assert(std::has_virtual_destructor<fsEntry>::value, "entries are deleted through the base");

namespace {

// An entry that opens the protected constructors to the tests.
class entry : public fsEntry {
public:
    entry(const string& a, const string& b, bool isDirectory) : fsEntry(a, b, isDirectory) {}
    entry(const fsEntryName& name, const string& extra, bool isDirectory) : fsEntry(name, extra, isDirectory) {}
    using fsEntry::operator=;
    bool rename(const string&) override { return false; }
};

fsEntryName raw(const wchar_t* text) {
    fsEntryName n;
    n.assignText(text);
    return n;
}

} // namespace

// --- construction and assignment: the directory flag keeps one trailing delimiter ----------------

TEST(fsEntryConstruction, fromTwoTextsOrANameAndExtra) {
    const struct { const wchar_t *a, *b; bool isDirectory; const wchar_t* expected; } cases[] = {
        {L"C:\\a", L"b", false, L"C:\\a\\b"}, {L"C:/a/", L"./b/../c", true, L"C:\\a\\c\\"},
        {L"", L"b", true, L""}, // an empty directory text drops the name
        {L"C:\\a", L"", true, L"C:\\a\\"},
    };
    for (const auto& c : cases) {
        const entry e(c.a, c.b, c.isDirectory);
        EXPECT_EQ(e.fullName(), c.expected) << c.a << L" + " << c.b;
        EXPECT_EQ(e.isDirectoryEntry(), c.isDirectory);
    }

    const struct { fsEntryName name; const wchar_t* extra; bool isDirectory; const wchar_t* expected; } fromName[] = {
        {raw(L"C:\\x\\..\\y"), L"", false, L"C:\\x\\..\\y"}, // as it stands
        {raw(L"C:\\x\\..\\y"), L"", true, L"C:\\x\\..\\y\\"}, {raw(L"C:\\x\\\\\\"), L"", true, L"C:\\x\\"},
        {raw(L"C:\\x\\\\\\"), L"", false, L"C:\\x\\\\\\"}, {raw(L"C:\\x"), L"sub", true, L"C:\\x\\sub\\"},
        {raw(L"C:\\x\\..\\y"), L"z", false, L"C:\\y\\z"}, // extra normalises the whole
        {raw(L""), L"", true, L""}, {raw(L""), L"z", true, L""},
    };
    for (const auto& c : fromName)
        EXPECT_EQ(entry(c.name, c.extra, c.isDirectory).fullName(), c.expected) << show(c.name.text() + c.extra);
}

TEST(fsEntryConstruction, assignmentKeepsADirectorysDelimiter) {
    entry dir(L"C:\\d", L"", true), plain(L"C:\\f", L"", false);
    EXPECT_EQ((dir = raw(L"C:\\two\\\\")).fullName(), L"C:\\two\\");
    EXPECT_EQ((dir = raw(L"C:\\other")).fullName(), L"C:\\other\\");
    EXPECT_EQ((plain = raw(L"C:\\other\\")).fullName(), L"C:\\other\\");
    const entry copy(dir); // copies take name and kind
    EXPECT_TRUE(copy.isDirectoryEntry() && copy.entryName() == dir.entryName());
    EXPECT_EQ((dir = raw(L"")).fullName(), L"");
}

#ifndef _WIN32
// --- the system's view: existence, native path and remote drives, on drive Q ----------------------

class fsEntryOnQ : public ::testing::Test {
protected:
    vxtest::tempDir mDir;
    vxtest::scopedEnvironment mEnv{"VX_DRIVES", "Q=" + mDir.path()};
};

TEST_F(fsEntryOnQ, existsNativePathAndRemote) {
    mDir.makeFile("f");
    const struct { const wchar_t* name; bool isDirectory, exists; } cases[] = {
        {L"", true, true}, {L"f", false, true}, {L"F", false, true}, // case is ignored
        {L"missing", false, false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(entry(L"Q:\\", c.name, c.isDirectory).exists(), c.exists) << c.name;
    EXPECT_FALSE(entry(L"", L"", false).exists() || entry(L"P:\\", L"", true).exists()); // no name, no such drive

    mDir.makeDirs("Data");
    const vxtest::scopedEnvironment shares("VX_UNC_ROOT", nullptr);
    const struct { fsEntryName name; bool isDirectory, ok; std::string native; } natives[] = {
        {raw(L"Q:\\data\\New File.txt"), false, true, mDir / "Data/New File.txt"}, // case matched
        {raw(L"Q:\\DATA"), true, true, mDir / "Data"},
        {raw(L"P:\\x"), false, false, ""}, {raw(L""), false, false, ""}, // no such drive; no name
        {raw(L"\\\\srv\\share\\x"), false, false, ""}, {fsEntryName(string(L"Q:\\a\0b", 6)), false, false, ""},
    };
    for (const auto& c : natives) {
        std::string native = "unchanged";
        EXPECT_EQ(entry(c.name, L"", c.isDirectory).nativePath(native), c.ok) << show(c.name.text());
        EXPECT_EQ(native, c.ok ? c.native : "unchanged") << show(c.name.text());
    }

    const struct { const wchar_t* name; bool remote; } remotes[] = {
        {L"\\\\server\\share\\x", true}, {L"\\\\server", true}, {L"Q:\\local", false}, // a local file system
        // A letter the table does not know, no letter, and a name too short to take apart.
        {L"P:\\x", false}, {L"\\single", false}, {L"x", false},
    };
    for (const auto& c : remotes)
        EXPECT_EQ(entry(raw(c.name), L"", false).isRemote(), c.remote) << c.name;
}

#else

// --- the system's view on Windows: real drives, native paths in UTF-16 --------------------------

class fsEntryOnWindows : public ::testing::Test {
protected:
    fsEntryOnWindows() {
        mPath = std::filesystem::temp_directory_path() / (L"vxFsEntry." + std::to_wstring(::GetCurrentProcessId()));
        std::filesystem::create_directories(mPath / L"Data");
        std::ofstream(mPath / L"f") << "x";
        mWin = mPath.wstring();
    }
    ~fsEntryOnWindows() override {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
    std::filesystem::path mPath;
    string mWin;
};

TEST_F(fsEntryOnWindows, existsNativePathAndRemote) {
    const struct { const wchar_t* name; bool isDirectory, exists; } cases[] = {
        {L"", true, true}, {L"f", false, true}, {L"F", false, true}, {L"data", true, true}, {L"missing", false, false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(entry(mWin, c.name, c.isDirectory).exists(), c.exists) << c.name;

    // The native path is the text with "." and ".." resolved and every '/' a backslash; a drive that
    // does not exist and a null character give none.
    vx::nativePathText native;
    EXPECT_TRUE(entry(raw((mWin + L"/x/../Data/./New File.txt").c_str()), L"", false).nativePath(native));
    EXPECT_EQ(native, mWin + L"\\Data\\New File.txt");
    DWORD drives = ::GetLogicalDrives();
    wchar_t missing = 0;
    for (wchar_t letter = L'Z'; letter >= L'D' && !missing; --letter)
        if (!(drives & (1u << (letter - L'A'))))
            missing = letter;
    ASSERT_NE(missing, 0);
    native = L"unchanged";
    EXPECT_FALSE(entry(raw((string(missing) + L":\\x").c_str()), L"", false).nativePath(native));
    EXPECT_FALSE(entry(fsEntryName(string(L"C:\\a\0b", 6)), L"", false).nativePath(native));
    EXPECT_EQ(native, L"unchanged");

    EXPECT_TRUE(entry(raw(L"\\\\server\\share\\x"), L"", false).isRemote());
    EXPECT_FALSE(entry(raw(mWin.c_str()), L"", false).isRemote()); // a local disk
    EXPECT_FALSE(entry(raw((string(missing) + L":\\x").c_str()), L"", false).isRemote());
}

#endif

// --- parts: the drive upper-cased, the directory with its delimiter -------------------------------

TEST(fsEntryParts, driveDirectoryNameAndExtension) {
    const struct { const wchar_t *text, *drive, *dir, *name, *extension; } cases[] = {
        {L"c:\\a\\b.c.txt", L"C:", L"C:\\a\\", L"b.c.txt", L"txt"},
        {L"C:\\dir.ext\\", L"C:", L"C:\\", L"dir.ext", L"ext"},
        {L"\\\\srv\\share\\f.log", L"\\\\srv", L"\\\\srv\\share\\", L"f.log", L"log"}, {L"", L"", L"", L"", L""},
    };
    for (const auto& c : cases) {
        string drive = L"?", name = L"?", extension = L"?";
        vx::directory dir(L"C:\\previous");
        entry(raw(c.text), L"", false).getParts(drive, dir, name, extension, true);
        EXPECT_EQ(drive + L"|" + dir.fullName() + L"|" + name + L"|" + extension,
                  string(c.drive) + L"|" + c.dir + L"|" + c.name + L"|" + c.extension);
    }
}
