#include <vxEnvironment.h>
#include <vxException.h>
#include <vxFile.h>
#include <vxVersion.h>

#include <vxDirectory.h>

#include "testSupport.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <random>
#include <set>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using vx::file;
using vx::string;

namespace {

// Sets (or, with null, removes) one environment variable and restores it afterwards.
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

// For messages: gtest prints a std::wstring, not its derived classes.
const std::wstring& show(const std::wstring& text) {
    return text;
}

// The CRC-32 bit by bit, independent of any table.
std::uint32_t referenceCrc(const std::string& bytes) {
    std::uint32_t crc = 0xFFFFFFFFu;
    for (unsigned char b : bytes) {
        crc ^= b;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) ? (crc >> 1) ^ 0xEDB88320u : crc >> 1;
    }
    return ~crc;
}

std::string randomBytes(std::size_t size, unsigned seed) {
    std::mt19937 generator(seed);
    std::string bytes(size, '\0');
    for (auto& b : bytes)
        b = static_cast<char>(generator() & 0xFF);
    return bytes;
}

// Each test works in a fresh temporary directory, with the default drive table ("C:" is "/"),
// so "C:" followed by the native path with '\' names the same entry.
class fileTest : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/vxFile.XXXXXX";
        ASSERT_NE(::mkdtemp(pattern), nullptr);
        char buffer[PATH_MAX];
        ASSERT_NE(::realpath(pattern, buffer), nullptr);
        mDir = buffer;
        mWin = windowsForm(mDir);
    }
    void TearDown() override {
        // Read-only directories and unreadable files must not keep the tree alive.
        std::error_code ignored;
        for (auto it = std::filesystem::recursive_directory_iterator(mDir, ignored);
             it != std::filesystem::recursive_directory_iterator(); it.increment(ignored))
            ::chmod(it->path().c_str(), it->is_directory(ignored) ? 0700 : 0600);
        std::filesystem::remove_all(mDir, ignored);
    }

    static string windowsForm(const std::string& native) {
        string text = L"C:" + string(native.begin(), native.end());
        for (auto& c : text)
            c = c == L'/' ? L'\\' : c;
        return text;
    }
    // The native path of a name in the temporary directory (given as UTF-8).
    std::string native(const std::string& name) const { return mDir + "/" + name; }
    // The file of that name in the temporary directory.
    file at(const string& name) const { return file(mWin, name); }
    std::string utf8(const string& name) const { return name.getMBCS(); }

    void write(const std::string& name, const std::string& bytes, mode_t mode = 0644) const {
        const int fd = ::open(native(name).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ASSERT_GE(fd, 0) << name;
        ASSERT_EQ(::write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        ::close(fd);
        ::chmod(native(name).c_str(), mode);
    }
    std::string read(const std::string& name) const {
        std::string bytes;
        const int fd = ::open(native(name).c_str(), O_RDONLY);
        if (fd < 0)
            return "<missing>";
        char buffer[65536];
        for (ssize_t n; (n = ::read(fd, buffer, sizeof buffer)) > 0;)
            bytes.append(buffer, static_cast<std::size_t>(n));
        ::close(fd);
        return bytes;
    }
    bool present(const std::string& name) const {
        struct stat info;
        return ::lstat(native(name).c_str(), &info) == 0;
    }
    // Permission bits of the owner (0400 read, 0200 write), -1 when missing.
    int ownerBits(const std::string& name) const {
        struct stat info;
        return ::stat(native(name).c_str(), &info) == 0 ? static_cast<int>(info.st_mode & 0600) : -1;
    }
    std::size_t entries() const {
        std::size_t n = 0;
        for ([[maybe_unused]] const auto& e : std::filesystem::directory_iterator(mDir))
            ++n;
        return n;
    }

    scopedEnv mDrives{"VX_DRIVES", nullptr};
    scopedEnv mShares{"VX_UNC_ROOT", nullptr};
    std::string mDir;
    string mWin;
};

// --- names: construction and assignment ------------------------------------------------------------------

TEST_F(fileTest, constructorsNormaliseOrJoinTheName) {
    EXPECT_TRUE(file().fullName().empty());
    EXPECT_EQ(file(L"C:/a//b/../c.txt").fullName(), L"C:\\a\\c.txt");
    EXPECT_EQ(file(L"C:\\a", L"b.txt").fullName(), L"C:\\a\\b.txt");
    EXPECT_EQ(file(L"C:\\a\\", L"sub\\..\\b.txt").fullName(), L"C:\\a\\b.txt");
    // An empty directory text drops the name.
    EXPECT_TRUE(file(L"", L"b.txt").fullName().empty());
    EXPECT_EQ(file(vx::fsEntryName(L"C:\\a"), L"b").fullName(), L"C:\\a\\b");
    EXPECT_EQ(file(vx::directory(L"C:\\a"), L"b.txt").fullName(), L"C:\\a\\b.txt");
    EXPECT_TRUE(file(vx::directory(), L"b.txt").fullName().empty());
    // Without extra the name stands as it is, even text that was never normalised.
    vx::fsEntryName raw;
    raw.assignText(L"C:\\x\\..\\y\\");
    EXPECT_EQ(file(raw).fullName(), L"C:\\x\\..\\y\\");
    EXPECT_FALSE(file().isDirectoryEntry());
}

TEST_F(fileTest, copiesAndAssignmentsCarryTheNameOnly) {
    file a(L"C:\\a.txt");
    file b = a;
    EXPECT_EQ(b.fullName(), L"C:\\a.txt");
    b = file(L"C:\\b.txt");
    EXPECT_EQ(a.fullName(), L"C:\\a.txt");
    vx::fsEntryName n;
    n.assignText(L"C:\\c\\");
    b = n; // as it stands: a file's name gets no delimiter added or removed
    EXPECT_EQ(b.fullName(), L"C:\\c\\");
    // The base "C:" has no trailing delimiter, so the leading one of the rest stays.
    EXPECT_EQ(b.relativeNameTo(vx::fsEntryName(L"C:\\")), L".\\\\c\\");
}

// --- existence and rights --------------------------------------------------------------------------------

TEST_F(fileTest, existsOnlyForFilesWhileTheEntryCountsDirectories) {
    write("f", "x");
    ASSERT_EQ(::mkdir(native("d").c_str(), 0700), 0);
    const file f = at(L"f"), d = at(L"d"), missing = at(L"m");
    EXPECT_TRUE(f.exists());
    EXPECT_FALSE(d.exists());
    EXPECT_TRUE(d.fsEntry::exists());
    EXPECT_TRUE(static_cast<const vx::fsEntry&>(f).exists());
    EXPECT_FALSE(missing.exists());
    EXPECT_FALSE(missing.fsEntry::exists());
    // Lookup ignores case, as the names' own system does.
    EXPECT_TRUE(at(L"F").exists());
}

TEST_F(fileTest, accessModeAndChecksFollowTheOwnersBits) {
    const struct {
        mode_t mode;
        file::eAccessMode expected;
        bool readable, writeable;
    } cases[] = {
        {0600, file::accessReadWrite, true, true},
        {0400, file::accessRead, true, false},
        {0200, file::accessWrite, false, true},
        {0000, file::accessNone, false, false},
        {0066, file::accessNone, false, false}, // group and others do not count
    };
    for (const auto& c : cases) {
        write("f", "", c.mode);
        const file f = at(L"f");
        EXPECT_EQ(f.accessMode(), c.expected) << std::oct << c.mode;
        EXPECT_EQ(f.isReadable(), c.readable) << std::oct << c.mode;
        EXPECT_EQ(f.check(file::accessRead), c.readable) << std::oct << c.mode;
        EXPECT_EQ(f.isWriteable(), c.writeable) << std::oct << c.mode;
        EXPECT_EQ(f.check(file::accessWrite), c.writeable) << std::oct << c.mode;
        EXPECT_EQ(f.check(file::accessReadWrite), c.readable && c.writeable) << std::oct << c.mode;
        EXPECT_TRUE(f.check(file::accessNone));
        EXPECT_FALSE(f.check(file::accessMissing));
        ::unlink(native("f").c_str());
    }
    ASSERT_EQ(::mkdir(native("d").c_str(), 0700), 0);
    EXPECT_EQ(at(L"d").accessMode(), file::accessMissing);
    EXPECT_EQ(at(L"m").accessMode(), file::accessMissing);
    EXPECT_FALSE(at(L"m").isReadable());
}

TEST_F(fileTest, isWriteableProbesAMissingFileAndLeavesNothing) {
    EXPECT_TRUE(at(L"new.txt").isWriteable());
    EXPECT_FALSE(present("new.txt"));
    EXPECT_EQ(entries(), 0u);
    // In a directory that does not exist nothing can be made.
    EXPECT_FALSE(at(L"nodir\\new.txt").isWriteable());
    EXPECT_FALSE(present("nodir"));
    // A directory's name is no file, and the probe cannot make one there.
    ASSERT_EQ(::mkdir(native("d").c_str(), 0700), 0);
    EXPECT_FALSE(at(L"d").isWriteable());
    EXPECT_EQ(entries(), 1u);
}

TEST_F(fileTest, isWriteableProbeAnswersForTheDirectory) {
    if (::geteuid() == 0)
        GTEST_SKIP() << "the superuser writes into any directory";
    ASSERT_EQ(::mkdir(native("ro").c_str(), 0500), 0);
    EXPECT_FALSE(at(L"ro\\new.txt").isWriteable());
}

TEST_F(fileTest, createAndChangeSetTheRights) {
    const struct {
        file::eAccessMode mode;
        int bits;
    } cases[] = {
        {file::accessReadWrite, 0600},
        {file::accessRead, 0400},
        {file::accessWrite, 0600}, // a new file is always readable
        {file::accessNone, 0400},
    };
    for (const auto& c : cases) {
        const file f = at(L"c");
        EXPECT_TRUE(f.create(c.mode)) << c.mode;
        EXPECT_EQ(ownerBits("c"), c.bits) << c.mode;
        EXPECT_EQ(read("c"), "");
        EXPECT_FALSE(f.create(c.mode)) << "exists already";
        ::chmod(native("c").c_str(), 0600);
        ::unlink(native("c").c_str());
    }
    write("f", "data", 0600);
    const struct {
        file::eAccessMode mode;
        int bits;
    } changes[] = {
        {file::accessRead, 0400},
        {file::accessNone, 0000},
        {file::accessWrite, 0200},
        {file::accessReadWrite, 0600},
        {file::accessMissing, 0600}, // every bit set: both rights
    };
    for (const auto& c : changes) {
        EXPECT_TRUE(at(L"f").change(c.mode)) << c.mode;
        EXPECT_EQ(ownerBits("f"), c.bits) << c.mode;
    }
    EXPECT_EQ(read("f"), "data");
    EXPECT_FALSE(at(L"m").change(file::accessRead));
    EXPECT_FALSE(present("m"));
    ASSERT_EQ(::mkdir(native("d").c_str(), 0700), 0);
    EXPECT_FALSE(at(L"d").change(file::accessRead));
    EXPECT_FALSE(at(L"d").create(file::accessRead));
    EXPECT_FALSE(at(L"nodir\\x").create(file::accessReadWrite));
}

TEST_F(fileTest, allowReadAndAllowWriteChangeOneRight) {
    const struct {
        const char* what;
        mode_t before;
        bool read; // allowRead, else allowWrite
        bool allow;
        int after;
    } cases[] = {
        {"allowWrite(true) on read-only clears the flag", 0400, false, true, 0600},
        {"allowWrite(false) sets it", 0600, false, false, 0400},
        {"allowWrite(false) when already read-only", 0400, false, false, 0400},
        {"allowWrite(true) when already writeable", 0600, false, true, 0600},
        {"allowWrite(true) on a file with neither right keeps it so", 0000, false, true, 0000},
        {"allowWrite(true) on write-only", 0200, false, true, 0200},
        {"allowWrite(false) on write-only takes both", 0200, false, false, 0000},
        {"allowRead(false) keeps writing", 0600, true, false, 0200},
        {"allowRead(true) gives reading back", 0200, true, true, 0600},
        {"allowRead(true) on a file with neither right keeps it so", 0000, true, true, 0000},
        {"allowRead(true) when read-only", 0400, true, true, 0400},
        {"allowRead(false) on read-only takes both", 0400, true, false, 0000},
    };
    for (const auto& c : cases) {
        write("f", "x", c.before);
        const file f = at(L"f");
        EXPECT_TRUE(c.read ? f.allowRead(c.allow) : f.allowWrite(c.allow)) << c.what;
        EXPECT_EQ(ownerBits("f"), c.after) << c.what;
        ::chmod(native("f").c_str(), 0600);
        ::unlink(native("f").c_str());
    }
    for (bool allow : {false, true}) {
        EXPECT_FALSE(at(L"m").allowRead(allow));
        EXPECT_FALSE(at(L"m").allowWrite(allow));
    }
    EXPECT_FALSE(present("m"));
}

// --- copying, moving, removing ---------------------------------------------------------------------------

TEST_F(fileTest, copyKeepsOrReplacesTheTarget) {
    write("src", "source bytes", 0640);
    write("dst", "old");
    EXPECT_FALSE(at(L"src").copy(at(L"dst"), false));
    EXPECT_EQ(read("dst"), "old");
    EXPECT_TRUE(at(L"src").copy(at(L"dst"), true));
    EXPECT_EQ(read("dst"), "source bytes");
    EXPECT_TRUE(at(L"src").copy(at(L"new"), false));
    EXPECT_EQ(read("new"), "source bytes");
    EXPECT_EQ(ownerBits("new"), 0600);
    // A read-only target is not replaced; a missing source copies nothing.
    write("ro", "keep", 0400);
    EXPECT_FALSE(at(L"src").copy(at(L"ro"), true));
    EXPECT_EQ(read("ro"), "keep");
    EXPECT_FALSE(at(L"missing").copy(at(L"x"), true));
    EXPECT_FALSE(present("x"));
    // Onto itself, in any case: the source survives.
    EXPECT_FALSE(at(L"src").copy(at(L"SRC"), true));
    EXPECT_EQ(read("src"), "source bytes");
}

TEST_F(fileTest, moveLeavesTheObjectsName) {
    write("a", "aa");
    write("b", "bb");
    const file a = at(L"a");
    EXPECT_FALSE(a.move(at(L"b")));
    EXPECT_EQ(read("b"), "bb");
    ASSERT_EQ(::mkdir(native("d").c_str(), 0700), 0);
    EXPECT_TRUE(a.move(at(L"d\\moved")));
    EXPECT_EQ(a.fullName(), mWin + L"\\a");
    EXPECT_FALSE(present("a"));
    EXPECT_EQ(read("d/moved"), "aa");
    EXPECT_FALSE(a.move(at(L"c")));
}

TEST_F(fileTest, removeTakesOnlyWriteableFiles) {
    write("f", "x");
    write("ro", "x", 0400);
    ASSERT_EQ(::mkdir(native("d").c_str(), 0700), 0);
    EXPECT_TRUE(at(L"f").remove());
    EXPECT_FALSE(present("f"));
    EXPECT_FALSE(at(L"f").remove());
    EXPECT_FALSE(at(L"ro").remove());
    EXPECT_TRUE(present("ro"));
    EXPECT_FALSE(at(L"d").remove());
    EXPECT_TRUE(present("d"));
}

// --- renaming ----------------------------------------------------------------------------------------------

TEST_F(fileTest, renameTakesTheNewNameOnlyOnSuccess) {
    write("a.txt", "a");
    write("b.txt", "b");
    file f = at(L"a.txt");
    EXPECT_FALSE(f.rename(L"b.txt"));
    EXPECT_EQ(f.fullName(), mWin + L"\\a.txt");
    EXPECT_EQ(read("b.txt"), "b");
    // An existing file in another case counts as existing.
    EXPECT_FALSE(f.rename(L"B.TXT"));
    EXPECT_TRUE(f.rename(L"c.txt"));
    EXPECT_EQ(f.fullName(), mWin + L"\\c.txt");
    EXPECT_EQ(read("c.txt"), "a");
    EXPECT_FALSE(present("a.txt"));
    // The new name is normalised in the old directory.
    ASSERT_EQ(::mkdir(native("d").c_str(), 0700), 0);
    EXPECT_TRUE(f.rename(L"d/../d\\e.txt"));
    EXPECT_EQ(f.fullName(), mWin + L"\\d\\e.txt");
    EXPECT_EQ(read("d/e.txt"), "a");
    file missing = at(L"m");
    EXPECT_FALSE(missing.rename(L"n"));
    EXPECT_EQ(missing.fullName(), mWin + L"\\m");
}

TEST_F(fileTest, setExtensionRenamesToTheBareNameAndTheExtension) {
    const struct {
        const wchar_t* ext;
        bool lastDot;
        const char* expected;
    } cases[] = {
        {nullptr, true, "a.b"},  {nullptr, false, "a"},      {L"", true, "a.b"},
        {L"x", true, "a.b.x"},   {L"x", false, "a.x"},       {L".x", true, "a.b..x"},
    };
    for (const auto& c : cases) {
        write("a.b.c", "abc");
        file f = at(L"a.b.c");
        EXPECT_TRUE(f.setExtension(c.ext, c.lastDot)) << c.expected;
        EXPECT_EQ(f.fullName(), mWin + L"\\" + string(c.expected, c.expected + std::strlen(c.expected)));
        EXPECT_EQ(read(c.expected), "abc");
        ::unlink(native(c.expected).c_str());
    }
    // Onto an existing file it fails and keeps the name.
    write("a.b.c", "1");
    write("a.b", "2");
    file f = at(L"a.b.c");
    EXPECT_FALSE(f.setExtension(nullptr, true));
    EXPECT_EQ(f.fullName(), mWin + L"\\a.b.c");
}

// --- size and times ------------------------------------------------------------------------------------------

TEST_F(fileTest, sizeIsA32BitValue) {
    for (std::size_t n : {0u, 1u, 3u, 70000u}) {
        write("f", std::string(n, 'z'));
        EXPECT_EQ(at(L"f").size(), n);
    }
    EXPECT_EQ(at(L"missing").size(), 0u);
    ASSERT_EQ(::mkdir(native("d").c_str(), 0700), 0);
    EXPECT_EQ(at(L"d").size(), 0u);
    // 4 GiB and more are reported modulo 2^32 (a sparse file takes no room).
    write("big", "");
    if (::truncate(native("big").c_str(), (1LL << 32) + 5) != 0)
        GTEST_SKIP() << "no sparse files of 4 GiB here";
    EXPECT_EQ(at(L"big").size(), 5u);
    ASSERT_EQ(::truncate(native("big").c_str(), (1LL << 32) - 1), 0);
    EXPECT_EQ(at(L"big").size(), 0xFFFFFFFFu);
}

TEST_F(fileTest, setLastModificationTimeUsesTheLow32BitsSignExtended) {
    write("f", "x");
    struct stat info;
    ASSERT_EQ(::stat(native("f").c_str(), &info), 0);
    EXPECT_EQ(at(L"f").creationTime(), info.st_ctim.tv_sec); // the status-change time
    EXPECT_EQ(at(L"m").creationTime(), 0);
    EXPECT_EQ(at(L"m").lastModificationTime(), 0);
    const struct {
        std::int64_t given, stored;
    } cases[] = {
        {1000000000, 1000000000},
        {(1LL << 32) + 5, 5},
        {0xFFFFFFFFLL, -1},
        {0x80000000LL, -2147483648LL},
        {0x7FFFFFFFLL, 0x7FFFFFFFLL},
        {-(1LL << 40) + 77, 77},
    };
    for (const auto& c : cases) {
        EXPECT_TRUE(at(L"f").setLastModificationTime(c.given)) << c.given;
        EXPECT_EQ(at(L"f").lastModificationTime(), c.stored) << c.given;
    }
    EXPECT_FALSE(at(L"m").setLastModificationTime(1000));
    EXPECT_FALSE(present("m"));
    // A read-only file keeps its time, and the answer is still true.
    write("ro", "x", 0400);
    const std::int64_t before = at(L"ro").lastModificationTime();
    EXPECT_TRUE(at(L"ro").setLastModificationTime(12345));
    EXPECT_EQ(at(L"ro").lastModificationTime(), before);
}

TEST_F(fileTest, setFilePropsLikeCopiesTimesAndRights) {
    write("model", "m", 0400);
    ASSERT_TRUE(at(L"model").exists());
    ::chmod(native("model").c_str(), 0600);
    ASSERT_TRUE(at(L"model").setLastModificationTime(1234567));
    ::chmod(native("model").c_str(), 0400);
    write("f", "f", 0644);
    EXPECT_TRUE(at(L"f").setFilePropsLike(at(L"model")));
    EXPECT_EQ(at(L"f").lastModificationTime(), 1234567);
    EXPECT_EQ(ownerBits("f"), 0400);
    // Nothing is checked: a missing model or a missing file changes nothing and is true.
    EXPECT_TRUE(at(L"f").setFilePropsLike(at(L"missing")));
    EXPECT_EQ(ownerBits("f"), 0400);
    EXPECT_TRUE(at(L"missing").setFilePropsLike(at(L"f")));
    EXPECT_FALSE(present("missing"));
}

// --- contents ------------------------------------------------------------------------------------------------

TEST_F(fileTest, appendToMovesWholeItemsOfTwoBytes) {
    const struct {
        std::size_t sourceSize;
        std::size_t added;
    } cases[] = {{0, 0}, {1, 0}, {2, 2}, {3, 2}, {2048, 2048}, {2049, 2048}, {5001, 5000}, {100000, 100000}};
    for (const auto& c : cases) {
        const std::string bytes = randomBytes(c.sourceSize, static_cast<unsigned>(c.sourceSize));
        write("src", bytes);
        write("dst", "head");
        EXPECT_TRUE(at(L"src").appendTo(at(L"dst"))) << c.sourceSize;
        EXPECT_EQ(read("dst"), "head" + bytes.substr(0, c.added)) << c.sourceSize;
        EXPECT_EQ(read("src"), bytes);
    }
    // A missing target is made.
    write("src", "abc");
    EXPECT_TRUE(at(L"src").appendTo(at(L"new")));
    EXPECT_EQ(read("new"), "ab");
}

TEST_F(fileTest, appendToFailsWithoutTouchingWhatItCannotUse) {
    write("src", "abcd");
    EXPECT_FALSE(at(L"missing").appendTo(at(L"dst")));
    EXPECT_FALSE(present("dst"));
    write("unreadable", "abcd", 0200);
    EXPECT_FALSE(at(L"unreadable").appendTo(at(L"dst")));
    EXPECT_FALSE(present("dst"));
    write("ro", "keep", 0400);
    EXPECT_FALSE(at(L"src").appendTo(at(L"ro")));
    EXPECT_EQ(read("ro"), "keep");
    ASSERT_EQ(::mkdir(native("d").c_str(), 0700), 0);
    EXPECT_FALSE(at(L"d").appendTo(at(L"dst")));
    EXPECT_FALSE(at(L"src").appendTo(at(L"d")));
    EXPECT_FALSE(at(L"src").appendTo(at(L"nodir\\dst")));
}

TEST_F(fileTest, appendToItselfDoublesOnceAndEnds) {
    write("self", "12345");
    EXPECT_TRUE(at(L"self").appendTo(at(L"self")));
    EXPECT_EQ(read("self"), "123451234");
    const std::string big = randomBytes(300000, 7);
    write("big", big);
    EXPECT_TRUE(at(L"big").appendTo(at(L"BIG")));
    EXPECT_EQ(read("big"), big + big);
}

TEST_F(fileTest, getCrc32KnownValues) {
    const struct {
        std::string bytes;
        unsigned long crc;
    } cases[] = {
        {"", 0},
        {"a", 0xE8B7BE43},
        {"123456789", 0xCBF43926},
        {"The quick brown fox jumps over the lazy dog", 0x414FA339},
        {std::string(32, '\0'), 0x190A55AD},
        {std::string(32, '\xFF'), 0xFF6CAB0B},
    };
    for (const auto& c : cases) {
        write("f", c.bytes);
        file f = at(L"f");
        unsigned long crc = 0x5A5A;
        EXPECT_TRUE(f.getCrc32(crc)) << c.bytes;
        EXPECT_EQ(crc, c.crc) << c.bytes;
    }
}

TEST_F(fileTest, getCrc32MatchesTheBitwiseDefinitionAtEveryLengthAndAcrossBlocks) {
    // Every length up to 40 covers each tail of the eight-byte steps; the large sizes cross the
    // 512 KiB read blocks, end on one, and just before and after one.
    std::vector<std::size_t> sizes;
    for (std::size_t n = 0; n <= 40; ++n)
        sizes.push_back(n);
    for (std::size_t n : {524287u, 524288u, 524289u, 3u * 524288u + 12345u})
        sizes.push_back(n);
    const std::string data = randomBytes(3 * 524288 + 12345, 42);
    for (std::size_t n : sizes) {
        const std::string bytes = data.substr(0, n);
        write("f", bytes);
        file f = at(L"f");
        unsigned long crc = 0;
        ASSERT_TRUE(f.getCrc32(crc)) << n;
        EXPECT_EQ(crc, referenceCrc(bytes)) << n;
    }
}

TEST_F(fileTest, getCrc32FailsOnMissingAndUnreadableFiles) {
    unsigned long crc = 0x5A5A;
    file missing = at(L"missing");
    EXPECT_FALSE(missing.getCrc32(crc));
    EXPECT_EQ(crc, 0x5A5Au) << "a missing file leaves crc unwritten";
    ASSERT_EQ(::mkdir(native("d").c_str(), 0700), 0);
    file d = at(L"d");
    EXPECT_FALSE(d.getCrc32(crc));
    EXPECT_EQ(crc, 0x5A5Au);
    write("unreadable", "data", 0200);
    file unreadable = at(L"unreadable");
    EXPECT_FALSE(unreadable.getCrc32(crc));
    EXPECT_EQ(crc, 0u) << "a file that cannot be opened gives 0";
}

TEST_F(fileTest, isIdenticalToComparesNamesThenContents) {
    write("one", "same");
    write("two", "same");
    write("three", "other");
    write("four", "othes");
    const struct {
        const wchar_t *a, *b;
        bool identical;
    } cases[] = {
        {L"missing", L"MISSING", true}, // the same name in any case, not looked at
        {L"one", L"two", true},
        {L"one", L"three", false},
        {L"three", L"four", false},
        {L"one", L"missing", false},
        {L"missing", L"other", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(at(c.a).isIdenticalTo(at(c.b)), c.identical) << c.a << L" " << c.b;
        EXPECT_EQ(at(c.b).isIdenticalTo(at(c.a)), c.identical) << c.b << L" " << c.a;
    }
    // Two empty files, and two unreadable ones.
    write("e1", "");
    write("e2", "");
    EXPECT_TRUE(at(L"e1").isIdenticalTo(at(L"e2")));
    write("u1", "x", 0200);
    write("u2", "x", 0200);
    EXPECT_FALSE(at(L"u1").isIdenticalTo(at(L"u2")));
}

// --- version resources ------------------------------------------------------------------------------------

TEST_F(fileTest, versionQueriesAnswerFalseWithoutAResource) {
    write("prog", "\x7f" "ELF");
    for (const file& f : {at(L"prog"), at(L"missing"), file()}) {
        unsigned a = 1, b = 2, c = 3, d = 4;
        EXPECT_FALSE(f.getFixedFileVersion(a, b, c, d));
        EXPECT_FALSE(f.getFixedProductVersion(a, b, c, d));
        EXPECT_EQ(a + b + c + d, 10u) << "not written";
        vx::version v(5, 6, 7, 8);
        EXPECT_FALSE(f.getFixedFileVersion(v));
        EXPECT_FALSE(f.getFixedProductVersion(v));
        EXPECT_EQ(v, vx::version(5, 6, 7, 8));
        string text = L"old";
        EXPECT_FALSE(f.getFixedFileVersionString(text, 3));
        EXPECT_EQ(text, L"");
        text = L"old";
        EXPECT_FALSE(f.getFixedProductVersionString(text, 0xFFFFFFFFu));
        EXPECT_EQ(text, L"");
    }
}

// --- static helpers ---------------------------------------------------------------------------------------

TEST(fileNames, removeIllegalFileCharsDropsEightCharacters) {
    const struct {
        const wchar_t *text, *expected;
    } cases[] = {
        {L"a*b#c", L"a*b#c"},
        {L"a:b?c", L"abc"},
        {L"\\/:?\"<>|", L""},
        {L"C:\\dir\\name.txt", L"Cdirname.txt"},
        {L"  keeps blanks  ", L"  keeps blanks  "},
        {L"\u00e4\u20ac|\U0001F600", L"\u00e4\u20ac\U0001F600"},
        {L"", L""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(file::removeIllegalFileChars(c.text), c.expected) << c.text;
    // An embedded null is a character like others.
    EXPECT_EQ(file::removeIllegalFileChars(string(L"a\0:b", 4)), string(L"a\0b", 3));
}

TEST_F(fileTest, generateRandomFileReservesANewEmptyFile) {
    const vx::directory dir(mWin);
    const file a = file::generateRandomFile(dir, L"tmp");
    const file b = file::generateRandomFile(dir, L"tmp");
    const file c = file::generateRandomFile(dir, L"");
    for (const file* f : {&a, &b, &c}) {
        EXPECT_TRUE(f->exists()) << show(f->fullName());
        EXPECT_EQ(f->size(), 0u);
        EXPECT_EQ(f->entryName().path(0), mWin + L"\\");
        // "<thread id>_<counter>"
        const string name = f->entryName().name(vx::fsEntryName::noExtension);
        const string stem = string::sformat(L"%lu_", vx::getCurrentThreadId());
        EXPECT_EQ(name.substr(0, stem.size()), stem) << show(name);
        EXPECT_EQ(name.find_first_not_of(L"0123456789", stem.size()), string::npos) << show(name);
    }
    EXPECT_NE(a.fullName(), b.fullName());
    EXPECT_EQ(a.entryName().extension(0), L"tmp");
    EXPECT_EQ(c.entryName().name(0).find(L'.'), string::npos);
    EXPECT_EQ(entries(), 3u);
}

TEST_F(fileTest, generateRandomFileWithAnEmptyDirectoryUsesTheTemporaryDirectory) {
    const scopedEnv tmp("TMP", mDir.c_str());
    const file f = file::generateRandomFile(vx::directory(), L"x");
    EXPECT_EQ(f.entryName().path(0), mWin + L"\\");
    EXPECT_TRUE(f.exists());
    EXPECT_EQ(f.size(), 0u);
}

TEST_F(fileTest, generateRandomFilePassesNamesInUseByDirectories) {
    const std::string stem = std::to_string(vx::getCurrentThreadId()) + "_";
    const long long now = static_cast<long long>(std::time(nullptr));
    for (long long t = now - 1; t < now + 40; ++t)
        ASSERT_EQ(::mkdir(native(stem + std::to_string(t)).c_str(), 0700), 0);
    const file f = file::generateRandomFile(vx::directory(mWin), L"");
    EXPECT_TRUE(f.exists()) << show(f.fullName());
}

TEST_F(fileTest, generateRandomFileGivesUpWhereNothingCanBeMade) {
    const file f = file::generateRandomFile(vx::directory(mWin + L"\\missing"), L"x");
    EXPECT_TRUE(f.fullName().empty());
    EXPECT_FALSE(present("missing"));
}

TEST_F(fileTest, generateRandomFileIsSafeAcrossThreads) {
    const vx::directory dir(mWin);
    std::vector<string> names(8 * 25);
    vxtest::runThreads(8, [&](int t) {
        for (int i = 0; i < 25; ++i)
            names[t * 25 + i] = file::generateRandomFile(dir, L"r").fullName();
    });
    const std::set<string> distinct(names.begin(), names.end());
    EXPECT_EQ(distinct.size(), names.size());
    EXPECT_EQ(distinct.count(string()), 0u);
    EXPECT_EQ(entries(), names.size());
}

// --- names the system finds hard --------------------------------------------------------------------------

TEST_F(fileTest, namesWithBlanksQuotesAndCharactersBeyondAscii) {
    const string names[] = {
        L"with blanks .txt", L"it's a 'quote'", L"\u00e4\u00f6\u00fc \u20ac \u65e5\u672c.txt", L"\U0001F600",
        L"semi;colon & percent %x", L"a*b#c",
    };
    for (const string& name : names) {
        file f = at(name);
        EXPECT_TRUE(f.create(file::accessReadWrite)) << show(name);
        EXPECT_TRUE(present(utf8(name))) << show(name);
        EXPECT_TRUE(f.exists()) << show(name);
        write(utf8(name), "123456789");
        EXPECT_EQ(f.size(), 9u);
        unsigned long crc = 0;
        EXPECT_TRUE(f.getCrc32(crc));
        EXPECT_EQ(crc, 0xCBF43926u);
        EXPECT_TRUE(f.copy(at(name + L" copy"), false));
        EXPECT_EQ(read(utf8(name + L" copy")), "123456789");
        EXPECT_TRUE(f.rename(name + L" renamed"));
        EXPECT_TRUE(present(utf8(name + L" renamed")));
        EXPECT_TRUE(f.remove());
        EXPECT_FALSE(present(utf8(name + L" renamed")));
    }
}

TEST_F(fileTest, aNativeNameThatIsNotUtf8) {
    write("bad\xff\xfe.bin", "123456789");
    // Each byte of an invalid sequence stands as U+DC80 + byte.
    file f = at(L"bad\xdcff\xdcfe.bin");
    EXPECT_TRUE(f.exists());
    EXPECT_EQ(f.size(), 9u);
    unsigned long crc = 0;
    EXPECT_TRUE(f.getCrc32(crc));
    EXPECT_EQ(crc, 0xCBF43926u);
    EXPECT_TRUE(f.setExtension(L"dat", true));
    EXPECT_TRUE(present("bad\xff\xfe.dat"));
    EXPECT_TRUE(f.rename(L"good.dat"));
    EXPECT_EQ(read("good.dat"), "123456789");
    EXPECT_TRUE(at(L"good.dat").copy(at(L"\xdc80"), false));
    EXPECT_EQ(read("\x80"), "123456789");
}

TEST_F(fileTest, aNameHoldingANullNamesNothing) {
    write("a", "abc");
    const file f = at(string(L"a\0b", 3));
    EXPECT_EQ(f.fullName().size(), mWin.size() + 4);
    EXPECT_FALSE(f.exists());
    EXPECT_FALSE(f.create(file::accessReadWrite));
    EXPECT_FALSE(f.isWriteable());
    EXPECT_EQ(f.accessMode(), file::accessMissing);
    EXPECT_FALSE(f.remove());
    EXPECT_FALSE(f.appendTo(at(L"a")));
    EXPECT_FALSE(at(L"a").appendTo(f));
    EXPECT_FALSE(at(L"a").copy(f, true));
    EXPECT_FALSE(at(L"a").move(f));
    EXPECT_EQ(f.size(), 0u);
    file g = at(L"a");
    EXPECT_FALSE(g.rename(string(L"x\0y", 3)));
    // The part before the null is never taken for the name.
    EXPECT_EQ(read("a"), "abc");
    EXPECT_EQ(entries(), 1u);
}

TEST_F(fileTest, namesLongerThanTheSystemAllows) {
    const string longComponent(300, L'n');
    string deep;
    for (int i = 0; i < 40; ++i)
        deep += L"level-of-a-very-deep-tree-" + string(80, L'd') + L"\\";
    for (const string& name : std::vector<string>{longComponent, deep + L"f"}) {
        file f = at(name);
        EXPECT_FALSE(f.exists());
        EXPECT_FALSE(f.create(file::accessReadWrite));
        EXPECT_FALSE(f.isWriteable());
        EXPECT_EQ(f.accessMode(), file::accessMissing);
        EXPECT_EQ(f.size(), 0u);
        unsigned long crc = 7;
        EXPECT_FALSE(f.getCrc32(crc));
        write("short", "xy");
        EXPECT_FALSE(at(L"short").copy(f, true));
        EXPECT_FALSE(at(L"short").appendTo(f));
        file s = at(L"short");
        EXPECT_FALSE(s.rename(longComponent));
        EXPECT_EQ(s.fullName(), mWin + L"\\short");
    }
    EXPECT_EQ(entries(), 1u);
}

// --- empty names ------------------------------------------------------------------------------------------

TEST_F(fileTest, everyOperationOnAnEmptyNameAnswersFalse) {
    char old[PATH_MAX];
    ASSERT_NE(::getcwd(old, sizeof old), nullptr);
    // An empty name must never reach the system as the current directory.
    ASSERT_EQ(::chdir(mDir.c_str()), 0);
    write("f", "data");
    file e;
    const file f = at(L"f");
    unsigned long crc = 99;
    EXPECT_FALSE(e.exists());
    EXPECT_FALSE(e.fsEntry::exists());
    EXPECT_FALSE(e.isRemote());
    EXPECT_FALSE(e.check(file::accessNone));
    EXPECT_EQ(e.accessMode(), file::accessMissing);
    EXPECT_FALSE(e.isReadable());
    EXPECT_FALSE(e.isWriteable());
    EXPECT_FALSE(e.change(file::accessRead));
    EXPECT_FALSE(e.create(file::accessReadWrite));
    for (bool allow : {false, true}) {
        EXPECT_FALSE(e.allowRead(allow));
        EXPECT_FALSE(e.allowWrite(allow));
    }
    EXPECT_FALSE(e.copy(f, true));
    EXPECT_FALSE(f.copy(e, true));
    EXPECT_FALSE(e.move(f));
    EXPECT_FALSE(f.move(e));
    EXPECT_FALSE(e.remove());
    EXPECT_FALSE(e.rename(L"x"));
    EXPECT_FALSE(e.setExtension(L"x", true));
    EXPECT_EQ(e.size(), 0u);
    EXPECT_EQ(e.creationTime(), 0);
    EXPECT_EQ(e.lastModificationTime(), 0);
    EXPECT_FALSE(e.setLastModificationTime(5));
    EXPECT_FALSE(e.setFilePropsLike(f));
    EXPECT_FALSE(f.setFilePropsLike(e));
    EXPECT_FALSE(e.appendTo(f));
    EXPECT_FALSE(f.appendTo(e));
    EXPECT_FALSE(e.getCrc32(crc));
    EXPECT_EQ(crc, 99u);
    EXPECT_FALSE(e.isIdenticalTo(e));
    EXPECT_FALSE(e.isIdenticalTo(f));
    EXPECT_FALSE(f.isIdenticalTo(e));
    EXPECT_EQ(e.relativeNameTo(vx::fsEntryName(L"C:\\")), L"");
    EXPECT_EQ(::chdir(old), 0);
    EXPECT_EQ(read("f"), "data");
    EXPECT_EQ(entries(), 1u);
    EXPECT_EQ(ownerBits("f"), 0600);
}

TEST_F(fileTest, aOneCharacterTextIsNoNameToTakeApart) {
    vx::fsEntryName one;
    one.assignText(L"x");
    file f(one);
    EXPECT_FALSE(f.isRemote());
    EXPECT_FALSE(f.rename(L"y"));
    EXPECT_FALSE(f.setExtension(L"y", true));
    EXPECT_EQ(f.fullName(), L"x");
}

// --- the file exceptions --------------------------------------------------------------------------------

TEST(fileExceptions, nameTheFilesFullName) {
    const file f(L"C:\\data\\..\\plan.vx");
    const vx::outOfMemoryException cause;
    const struct {
        vx::exception e;
        const wchar_t* text;
        std::size_t nested;
    } cases[] = {
        {vx::fileException(f, &cause), L"Error accessing file C:\\plan.vx", 1},
        {vx::fileNotFoundException(f), L"File C:\\plan.vx not found!", 0},
        {vx::readFileException(f), L"Error reading file C:\\plan.vx", 0},
        {vx::writeFileException(f, &cause), L"Error writing file C:\\plan.vx", 1},
        {vx::fileWriteProtectedException(f), L"File C:\\plan.vx is write protected!", 0},
        {vx::invalidFileFormatException(f, &cause), L"Invalid file format in File C:\\plan.vx!", 1},
        {vx::invalidXmlException(f), L"File C:\\plan.vx is not a valid XML-file!", 0},
        {vx::moduleLoadException(f), L"Error loading module C:\\plan.vx", 0},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.e.message().string(), std::wstring(c.text));
        EXPECT_EQ(c.e.nestedMessages().size(), c.nested) << c.text;
    }
    EXPECT_EQ(vx::readFileException(file()).message().string(), std::wstring(L"Error reading file "));
}

} // namespace
