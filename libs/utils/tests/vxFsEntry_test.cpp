#include <vxFsEntry.h>

#include <vxDirectory.h>

#include "testSupport.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <type_traits>
#include <unistd.h>

using vx::fsEntry;
using vx::fsEntryName;
using vx::string;

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

const std::wstring& show(const std::wstring& text) {
    return text;
}

class scopedEnv {
public:
    scopedEnv(const char* name, const char* value) : mName(name) {
        const char* old = std::getenv(name);
        mHad = old != nullptr;
        if (mHad)
            mOld = old;
        value ? ::setenv(name, value, 1) : ::unsetenv(name);
    }
    ~scopedEnv() { mHad ? ::setenv(mName.c_str(), mOld.c_str(), 1) : ::unsetenv(mName.c_str()); }
    scopedEnv(const scopedEnv&) = delete;
    scopedEnv& operator=(const scopedEnv&) = delete;

private:
    std::string mName, mOld;
    bool mHad = false;
};

} // namespace

TEST(fsEntryConstruction, fromTwoTextsJoinsAndNormalises) {
    const struct {
        const wchar_t *a, *b;
        bool isDirectory;
        const wchar_t* expected;
    } cases[] = {
        {L"C:\\a", L"b", false, L"C:\\a\\b"},
        {L"C:\\a", L"b", true, L"C:\\a\\b\\"},
        {L"C:/a/", L"./b/../c", true, L"C:\\a\\c\\"},
        {L"", L"b", true, L""}, // an empty directory text drops the name
        {L"", L"", true, L""},
        {L"C:\\a", L"", true, L"C:\\a\\"},
    };
    for (const auto& c : cases) {
        const entry e(c.a, c.b, c.isDirectory);
        EXPECT_EQ(e.fullName(), c.expected) << c.a << L" + " << c.b;
        EXPECT_EQ(e.isDirectoryEntry(), c.isDirectory);
    }
}

TEST(fsEntryConstruction, fromANameKeepsItOrAddsExtraThenTheDelimiter) {
    const struct {
        fsEntryName name;
        const wchar_t* extra;
        bool isDirectory;
        const wchar_t* expected;
    } cases[] = {
        {raw(L"C:\\x\\..\\y"), L"", false, L"C:\\x\\..\\y"}, // as it stands
        {raw(L"C:\\x\\..\\y"), L"", true, L"C:\\x\\..\\y\\"},
        {raw(L"C:\\x\\\\\\"), L"", true, L"C:\\x\\"},
        {raw(L"C:\\x\\\\\\"), L"", false, L"C:\\x\\\\\\"},
        {raw(L"C:\\x"), L"y.txt", false, L"C:\\x\\y.txt"},
        {raw(L"C:\\x"), L"sub", true, L"C:\\x\\sub\\"},
        {raw(L"C:\\x\\..\\y"), L"z", false, L"C:\\y\\z"}, // extra normalises the whole
        {raw(L""), L"", true, L""},
        {raw(L""), L"z", true, L""},
    };
    for (const auto& c : cases) {
        const entry e(c.name, c.extra, c.isDirectory);
        EXPECT_EQ(e.fullName(), c.expected) << show(c.name.text()) << L" + " << c.extra;
    }
}

TEST(fsEntryAssignment, aDirectoryKeepsItsDelimiter) {
    entry dir(L"C:\\d", L"", true), plain(L"C:\\f", L"", false);
    dir = raw(L"C:\\other");
    EXPECT_EQ(dir.fullName(), L"C:\\other\\");
    dir = raw(L"C:\\two\\\\");
    EXPECT_EQ(dir.fullName(), L"C:\\two\\");
    dir = raw(L"");
    EXPECT_EQ(dir.fullName(), L"");
    plain = raw(L"C:\\other\\");
    EXPECT_EQ(plain.fullName(), L"C:\\other\\");
    // Copies take name and kind.
    const entry copy(dir);
    EXPECT_TRUE(copy.isDirectoryEntry());
    EXPECT_EQ(copy.entryName(), dir.entryName());
}

TEST(fsEntryExistence, countsFilesAndDirectories) {
    char pattern[] = "/tmp/vxFsEntry.XXXXXX";
    ASSERT_NE(::mkdtemp(pattern), nullptr);
    char real[PATH_MAX];
    ASSERT_NE(::realpath(pattern, real), nullptr);
    const scopedEnv drives("VX_DRIVES", (std::string("Q=") + real).c_str());
    const std::string file = std::string(real) + "/f";
    ::close(::creat(file.c_str(), 0600));
    EXPECT_TRUE(entry(L"Q:\\", L"", true).exists());
    EXPECT_TRUE(entry(L"Q:\\", L"f", false).exists());
    EXPECT_TRUE(entry(L"Q:\\", L"F", false).exists()); // case is ignored
    EXPECT_FALSE(entry(L"Q:\\", L"missing", false).exists());
    EXPECT_FALSE(entry(L"", L"", false).exists());
    EXPECT_FALSE(entry(L"P:\\", L"", true).exists()); // no such drive
    ::unlink(file.c_str());
    ::rmdir(real);
}

TEST(fsEntryNative, thePathTheSystemKnows) {
    char pattern[] = "/tmp/vxFsEntry.XXXXXX";
    ASSERT_NE(::mkdtemp(pattern), nullptr);
    char real[PATH_MAX];
    ASSERT_NE(::realpath(pattern, real), nullptr);
    const std::string root = real;
    ASSERT_EQ(::mkdir((root + "/Data").c_str(), 0700), 0);
    const scopedEnv drives("VX_DRIVES", ("Q=" + root).c_str());
    const scopedEnv shares("VX_UNC_ROOT", nullptr);
    const struct {
        fsEntryName name;
        bool isDirectory;
        bool ok;
        std::string native;
    } cases[] = {
        {raw(L"Q:\\data\\New File.txt"), false, true, root + "/Data/New File.txt"}, // case matched
        {raw(L"Q:\\DATA"), true, true, root + "/Data"},
        {raw(L"Q:\\\xdcff\u00e4"), false, true, root + "/\xff\xc3\xa4"},
        {raw(L"P:\\x"), false, false, ""},           // no such drive
        {raw(L"\\\\srv\\share\\x"), false, false, ""}, // no root for shares
        {fsEntryName(string(L"Q:\\a\0b", 6)), false, false, ""},
        {raw(L""), false, false, ""},
    };
    for (const auto& c : cases) {
        std::string native = "unchanged";
        EXPECT_EQ(entry(c.name, L"", c.isDirectory).nativePath(native), c.ok) << show(c.name.text());
        EXPECT_EQ(native, c.ok ? c.native : "unchanged") << show(c.name.text());
    }
    ::rmdir((root + "/Data").c_str());
    ::rmdir(real);
}

TEST(fsEntryRemote, sharesAndNetworkDrives) {
    char pattern[] = "/tmp/vxFsEntry.XXXXXX";
    ASSERT_NE(::mkdtemp(pattern), nullptr);
    const scopedEnv drives("VX_DRIVES", (std::string("Q=") + pattern).c_str());
    const struct {
        fsEntryName name;
        bool remote;
    } cases[] = {
        {raw(L"\\\\server\\share\\x"), true},
        {raw(L"\\\\server"), true},
        {raw(L"Q:\\local"), false}, // a drive on a local file system
        {raw(L"P:\\x"), false},     // a letter the table does not know
        {raw(L"\\single"), false},  // no drive letter
        {raw(L""), false},
        {raw(L"x"), false}, // one character cannot be taken apart
    };
    for (const auto& c : cases)
        EXPECT_EQ(entry(c.name, L"", false).isRemote(), c.remote) << show(c.name.text());
    ::rmdir(pattern);
}

TEST(fsEntryParts, driveDirectoryNameAndExtension) {
    const struct {
        const wchar_t *text, *drive, *dir, *name, *extension;
    } cases[] = {
        {L"c:\\a\\b.c.txt", L"C:", L"C:\\a\\", L"b.c.txt", L"txt"}, // the drive is upper-cased
        {L"C:\\x", L"C:", L"C:\\", L"x", L""},
        {L"C:\\dir.ext\\", L"C:", L"C:\\", L"dir.ext", L"ext"},
        {L"\\\\srv\\share\\f.log", L"\\\\srv", L"\\\\srv\\share\\", L"f.log", L"log"},
        {L"", L"", L"", L"", L""},
    };
    for (const auto& c : cases) {
        string drive = L"?", name = L"?", extension = L"?";
        vx::directory dir(L"C:\\previous");
        entry(raw(c.text), L"", false).getParts(drive, dir, name, extension, true);
        EXPECT_EQ(drive, c.drive) << c.text;
        EXPECT_EQ(dir.fullName(), c.dir) << c.text;
        EXPECT_EQ(name, c.name) << c.text;
        EXPECT_EQ(extension, c.extension) << c.text;
    }
}
