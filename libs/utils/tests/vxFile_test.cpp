#include <vxDirectory.h>
#include <vxEnvironment.h>
#include <vxException.h>
#include <vxVersion.h>

#include "testSupport.h"

#include <ctime>
#include <set>
#include <sys/stat.h>

#ifdef _WIN32
#include <windows.h>
#endif

using vx::file;
using vx::string;

namespace {

using scopedEnv = vxtest::scopedEnvironment;
using vxtest::randomBytes;
using vxtest::show;

bool resize(const std::string& native, std::uintmax_t size) { // false where the file system cannot hold it
    std::error_code error;
    std::filesystem::resize_file(native, size, error);
    return !error;
}

// Each test works in a fresh temporary directory, with the default drive table ("C:" is "/"), so "C:" followed by the
// native path with '\' names the same entry. Names are native and relative to that directory, except for at(), which
// takes the library's form.
class fileTest : public ::testing::Test {
protected:
    std::string native(const std::string& name) const { return mTemp / name; }
    file at(const string& name) const { return file(mWin, name); }
    static std::string utf8(const string& name) { return name.getMBCS(); }
    void write(const std::string& name, const std::string& bytes, mode_t mode = 0644) const {
        mTemp.makeFile(name, bytes, mode);
    }
    void write(std::initializer_list<std::pair<const char*, const char*>> files) const {
        for (const auto& [name, bytes] : files)
            write(name, bytes);
    }
    std::string read(const std::string& name) const { return mTemp.read(name); }
    bool present(const std::string& name) const { return mTemp.has(name); }
    // Permission bits of the owner (0400 read, 0200 write), -1 when missing.
    int ownerBits(const std::string& name) const { return mTemp.mode(name) < 0 ? -1 : mTemp.mode(name) & 0600; }
    std::size_t entries() const { return mTemp.count(); }

    scopedEnv mDrives{"VX_DRIVES", nullptr};
    scopedEnv mShares{"VX_UNC_ROOT", nullptr};
    vxtest::tempDir mTemp;
    const std::string mDir = mTemp.path();
    const string mWin = mTemp.windowsForm();
};

TEST_F(fileTest, existenceCreationRightsAndTheAccessTests) {
    write("f", "x");
    mTemp.makeDirs("d");
    EXPECT_TRUE(at(L"F").exists() && at(L"d").fsEntry::exists()); // lookup ignores case, as the system's does
    EXPECT_FALSE(at(L"d").exists() || at(L"m").exists() || at(L"m").fsEntry::exists());
    // The probe leaves nothing; a missing directory or a directory's name takes no file.
    EXPECT_TRUE(at(L"new.txt").isWriteable() && !(at(L"nodir\\new.txt").isWriteable() || at(L"d").isWriteable()));
    EXPECT_EQ(entries(), 2u);
    // create makes a new file with the owner's bits.
    const std::pair<file::eAccessMode, int> created[] = {
        {file::accessReadWrite, 0600}, {file::accessRead, 0400}, {file::accessNone, 0400},
        {file::accessWrite, 0600}}; // a new file is always readable
    for (const auto& [mode, bits] : created) {
        EXPECT_TRUE(at(L"c").create(mode) && ownerBits("c") == bits) << mode;
        EXPECT_FALSE(at(L"c").create(mode)) << "exists already";
        vxtest::setMode(native("c"), 0600);
        std::filesystem::remove(native("c"));
    }
    EXPECT_FALSE(at(L"d").create(file::accessRead) || at(L"nodir\\x").create(file::accessReadWrite));
#ifndef _WIN32 // the directory's rights count (on Windows its read-only attribute keeps no file out)
    mTemp.makeDirs("ro");
    ::chmod(native("ro").c_str(), 0555);
    ::chmod(mDir.c_str(), 0755);
    vxtest::expectUnprivileged([&] { return !at(L"ro\\new.txt").isWriteable() && !present("ro/new.txt"); });
#endif
    // change() writes the owner's bits; accessMode, check and the is-tests read them back. Only the owner's bits count.
    // On Windows every file can be read, and the right to write is the read-only attribute.
#ifdef _WIN32
    const int noRight = 0400, writeOnly = 0600;
#else
    const int noRight = 0000, writeOnly = 0200;
#endif
    write("f", "data", 0066);
    const file f = at(L"f");
    const auto expectRights = [&](int bits, int mode) {
        const bool readable = bits & 0400, writeable = bits & 0200;
        EXPECT_EQ(ownerBits("f"), bits) << mode;
        EXPECT_EQ(f.accessMode(), (readable ? file::accessRead : 0) | (writeable ? file::accessWrite : 0)) << mode;
        EXPECT_TRUE(f.isReadable() == readable && f.check(file::accessRead) == readable) << mode;
        EXPECT_TRUE(f.isWriteable() == writeable && f.check(file::accessWrite) == writeable) << mode;
        EXPECT_EQ(f.check(file::accessReadWrite), readable && writeable) << mode;
        EXPECT_TRUE(f.check(file::accessNone) && !f.check(file::accessMissing)) << mode;
    };
    expectRights(noRight, -1); // as written
    const std::pair<file::eAccessMode, int> changes[] = {
        {file::accessRead, 0400}, {file::accessNone, noRight}, {file::accessWrite, writeOnly},
        {file::accessReadWrite, 0600}, {file::accessMissing, 0600}}; // every bit set: both rights
    for (const auto& [mode, bits] : changes) {
        EXPECT_TRUE(f.change(mode)) << mode;
        expectRights(bits, mode);
    }
    EXPECT_EQ(read("f"), "data");
    EXPECT_TRUE(!at(L"d").change(file::accessRead) && at(L"d").accessMode() == file::accessMissing);
#ifndef _WIN32
    // allowRead and allowWrite are twins: taking a right keeps only the other one, and giving one to a file with no
    // other right is a no-op that answers true.
    const struct { mode_t before; bool read, allow; int after; } cases[] = {
        {0400, false, true, 0600},  {0600, false, false, 0400}, {0400, false, false, 0400},
        {0000, false, true, 0000},  {0200, false, false, 0000}, {0600, true, false, 0200},
        {0200, true, true, 0600},   {0000, true, true, 0000},   {0400, true, false, 0000}};
    for (const auto& c : cases) {
        write("f", "x", c.before);
        EXPECT_TRUE((c.read ? at(L"f").allowRead(c.allow) : at(L"f").allowWrite(c.allow)) && ownerBits("f") == c.after)
            << c.read << c.allow << " " << c.before;
    }
    for (bool allow : {false, true})
        EXPECT_FALSE(at(L"m").allowRead(allow) || at(L"m").allowWrite(allow) || present("m"));
#else
    // allowWrite sets and clears the read-only attribute, and taking the right to read keeps the right to write. A
    // read-only file is neither written, overwritten, removed nor given a time, whoever asks.
    write("f", "data");
    write("g", "other");
    EXPECT_TRUE(f.allowWrite(false) && ownerBits("f") == 0400 && f.allowWrite(true) && ownerBits("f") == 0600);
    EXPECT_TRUE(f.allowRead(false) && ownerBits("f") == 0600);
    ASSERT_TRUE(f.change(file::accessRead));
    const std::int64_t time = f.lastModificationTime();
    EXPECT_FALSE(at(L"g").copy(f, true) || at(L"g").appendTo(f) || f.remove());
    EXPECT_TRUE(f.setLastModificationTime(time - 1000)); // true, as the file exists
    EXPECT_TRUE(f.lastModificationTime() == time && read("f") == "data");
#endif
}

// A failure leaves files and the object's name alone.
TEST_F(fileTest, copyMoveRemoveRenameAndSetExtension) {
    write("src", "source bytes", 0640);
    write({{"dst", "old"}, {"a", "aa"}, {"b", "bb"}});
    mTemp.makeDirs("d");
    EXPECT_TRUE(!at(L"src").copy(at(L"dst"), false) && read("dst") == "old");
    EXPECT_TRUE(at(L"src").copy(at(L"dst"), true) && read("dst") == "source bytes");
    EXPECT_TRUE(at(L"src").copy(at(L"new"), false) && read("new") == "source bytes" && ownerBits("new") == 0600);
    // A read-only target is kept; a missing source copies nothing; onto itself, in any case, the source survives.
    write("ro", "keep", 0400);
    EXPECT_TRUE(!at(L"src").copy(at(L"ro"), true) && read("ro") == "keep");
    EXPECT_FALSE(at(L"missing").copy(at(L"x"), true) || present("x") || at(L"src").copy(at(L"SRC"), true));
    EXPECT_EQ(read("src"), "source bytes");
    // move leaves the object's name; remove takes only writeable files.
    const file a = at(L"a");
    EXPECT_TRUE(!a.move(at(L"b")) && read("b") == "bb" && a.move(at(L"d\\moved")) && a.fullName() == mWin + L"\\a");
    EXPECT_TRUE(read("d/moved") == "aa" && !present("a") && !a.move(at(L"c")) && at(L"b").remove() && !present("b"));
    EXPECT_FALSE(at(L"b").remove() || at(L"ro").remove() || at(L"d").remove() || !present("ro") || !present("d"));
    // rename and setExtension take the new name only on success.
    write({{"a.txt", "a"}, {"b.txt", "b"}});
    file f = at(L"a.txt"), missing = at(L"m");
    EXPECT_FALSE(f.rename(L"B.TXT")); // an existing file in any case counts
    EXPECT_TRUE(f.fullName() == mWin + L"\\a.txt" && read("b.txt") == "b");
    EXPECT_TRUE(f.rename(L"c.txt") && f.fullName() == mWin + L"\\c.txt" && read("c.txt") == "a" && !present("a.txt"));
    // The new name is normalised in the old directory.
    EXPECT_TRUE(f.rename(L"d/../d\\e.txt") && f.fullName() == mWin + L"\\d\\e.txt" && read("d/e.txt") == "a");
    EXPECT_TRUE(!missing.rename(L"n") && missing.fullName() == mWin + L"\\m");
    const struct { const wchar_t* ext; bool lastDot; const char* expected; } cases[] = {
        {nullptr, true, "a.b"}, {nullptr, false, "a"}, {L"", true, "a.b"},
        {L"x", true, "a.b.x"},  {L"x", false, "a.x"},  {L".x", true, "a.b..x"}};
    for (const auto& c : cases) {
        write("a.b.c", "abc");
        file g = at(L"a.b.c");
        EXPECT_TRUE(g.setExtension(c.ext, c.lastDot) && read(c.expected) == "abc") << c.expected;
        EXPECT_EQ(g.fullName(), vxtest::windowsForm(native(c.expected)));
        std::filesystem::remove(native(c.expected));
    }
}

// Sizes are 32-bit values; a time keeps its low 32 bits, sign-extended.
TEST_F(fileTest, sizeAndTimesKeepTheLow32BitsTimesSignExtendedAndCopiedAlongWithTheRightsAndNoVersions) {
    mTemp.makeDirs("d");
    write("f", std::string(70000, 'z'));
    EXPECT_TRUE(at(L"f").size() == 70000u && at(L"missing").size() == 0u && at(L"d").size() == 0u);
    struct stat info;
    ASSERT_EQ(::stat(native("f").c_str(), &info), 0);
    EXPECT_EQ(at(L"f").creationTime(), info.st_ctime); // the status-change time (Windows: the creation time)
    const std::pair<std::int64_t, std::int64_t> cases[] = {
        {1000000000, 1000000000}, {(1LL << 32) + 5, 5},           {0xFFFFFFFFLL, -1},
        {0x80000000LL, -2147483648LL}, {0x7FFFFFFFLL, 0x7FFFFFFFLL}, {-(1LL << 40) + 77, 77}};
    for (const auto& [given, stored] : cases)
        EXPECT_TRUE(at(L"f").setLastModificationTime(given) && at(L"f").lastModificationTime() == stored) << given;
    EXPECT_FALSE(at(L"m").setLastModificationTime(1000) || present("m"));
    // A read-only file keeps its time, and the answer is still true.
    write("ro", "x", 0400);
    const std::int64_t before = at(L"ro").lastModificationTime();
    EXPECT_TRUE(at(L"ro").setLastModificationTime(12345) && at(L"ro").lastModificationTime() == before);
    // setFilePropsLike copies times and rights and checks nothing; a missing model or a missing file changes nothing,
    // and the answer is true.
    EXPECT_TRUE(at(L"f").setFilePropsLike(at(L"ro")) && at(L"f").lastModificationTime() == before);
    EXPECT_EQ(ownerBits("f"), 0400);
    EXPECT_TRUE(at(L"f").setFilePropsLike(at(L"missing")) && ownerBits("f") == 0400);
    EXPECT_TRUE(at(L"missing").setFilePropsLike(at(L"f")) && !present("missing"));
    // There are no version resources here, so every query answers false and writes nothing.
    write("prog", "\x7f" "ELF");
    for (const file& f : {at(L"prog"), at(L"missing"), file()}) {
        unsigned a = 1, b = 2, c = 3, d = 4;
        vx::version v(5, 6, 7, 8);
        string fileText = L"old", productText = L"old";
        EXPECT_FALSE(f.getFixedFileVersion(a, b, c, d) || f.getFixedProductVersion(a, b, c, d) ||
                     f.getFixedFileVersion(v) || f.getFixedProductVersion(v) ||
                     f.getFixedFileVersionString(fileText, 3) || f.getFixedProductVersionString(productText, ~0u));
        EXPECT_TRUE(a + b + c + d == 10u && v == vx::version(5, 6, 7, 8)) << "not written";
        EXPECT_EQ(fileText + productText, L"") << "texts are emptied";
    }
    // 4 GiB and more are reported modulo 2^32 (a sparse file takes no room).
    write("big", "");
    if (!resize(native("big"), (1ULL << 32) + 5))
        GTEST_SKIP() << "no sparse files of 4 GiB here";
    EXPECT_EQ(at(L"big").size(), 5u);
    ASSERT_TRUE(resize(native("big"), (1ULL << 32) - 1));
    EXPECT_EQ(at(L"big").size(), 0xFFFFFFFFu);
}

TEST_F(fileTest, appendToMovesWholeItemsOfTwoBytesGetCrc32ReadsEveryByteAndIsIdenticalToComparesContents) {
    for (const std::size_t size : {0u, 1u, 3u, 2049u, 100000u}) {
        const std::string bytes = randomBytes(size, static_cast<unsigned>(size));
        write("src", bytes);
        write("dst", "head");
        EXPECT_TRUE(at(L"src").appendTo(at(L"dst")) && read("src") == bytes) << size;
        EXPECT_EQ(read("dst"), "head" + bytes.substr(0, size / 2 * 2)) << size; // an odd last byte is lost
    }
    write("src", "abc");
    EXPECT_TRUE(at(L"src").appendTo(at(L"new")) && read("new") == "ab"); // a missing target is made
    // Onto itself, in any case, it doubles once and ends.
    const std::string big = randomBytes(300000, 7);
    write("big", big);
    EXPECT_TRUE(at(L"big").appendTo(at(L"BIG")) && read("big") == big + big);
    // A failure touches nothing it cannot use.
    write("ro", "keep", 0400);
    mTemp.makeDirs("d");
#ifndef _WIN32 // every file can be read on Windows
    write("unreadable", "abcd", 0200);
    EXPECT_FALSE(at(L"unreadable").appendTo(at(L"out")));
    unsigned long zeroed = 7;
    EXPECT_TRUE(!at(L"unreadable").getCrc32(zeroed) && zeroed == 0u) << "a file that cannot be opened gives 0";
#endif
    EXPECT_FALSE(at(L"missing").appendTo(at(L"out")) || present("out"));
    EXPECT_FALSE(at(L"src").appendTo(at(L"ro")) || at(L"d").appendTo(at(L"out")) || at(L"src").appendTo(at(L"d")) ||
                 at(L"src").appendTo(at(L"nodir\\out")));
    EXPECT_EQ(read("ro"), "keep");
    // getCrc32 at sizes that cross the 512 KiB read blocks, end on one, and just before and after one.
    const std::string data = randomBytes(3 * 524288 + 12345, 42);
    for (std::size_t n : {0u, 1u, 17u, 524287u, 524288u, 524289u, 3u * 524288u + 12345u}) {
        write("f", data.substr(0, n));
        unsigned long crc = 0x5A5A;
        EXPECT_TRUE(at(L"f").getCrc32(crc) && crc == vxtest::referenceCrc(data.substr(0, n))) << n;
    }
    unsigned long crc = 0x5A5A;
    EXPECT_TRUE(!at(L"missing").getCrc32(crc) && !at(L"d").getCrc32(crc) && crc == 0x5A5Au) << "crc unwritten";
    // isIdenticalTo compares names, then contents.
    write({{"one", "same"}, {"two", "same"}, {"three", "other"}, {"four", "othes"}, {"e1", ""}, {"e2", ""}});
    write("u1", "x", 0200);
    write("u2", "x", 0200);
    const struct { const wchar_t *a, *b; bool identical; } cases[] = {
        {L"missing", L"MISSING", true}, // the same name in any case, not looked at
        {L"one", L"two", true},   {L"three", L"four", false}, {L"one", L"missing", false},
        {L"missing", L"other", false}, {L"e1", L"e2", true},
#ifndef _WIN32
        {L"u1", L"u2", false}, // unreadable: never (every file can be read on Windows)
#endif
    };
    for (const auto& c : cases)
        EXPECT_TRUE(at(c.a).isIdenticalTo(at(c.b)) == c.identical && at(c.b).isIdenticalTo(at(c.a)) == c.identical)
            << c.a << L" " << c.b;
}

#ifdef _WIN32
// The library's own DLL carries a version resource: its release, file and product alike.
TEST_F(fileTest, versionQueriesReadTheResourceOfTheLibrary) {
    const vx::version release(VX_TEST_VERSION_MAJOR, VX_TEST_VERSION_MINOR, VX_TEST_VERSION_PATCH, 0);
    file library;
    ASSERT_TRUE(vx::getModuleFileName(L"vxUtils", library));
    unsigned a = 9, b = 9, c = 9, d = 9;
    vx::version product;
    ASSERT_TRUE(library.getFixedFileVersion(a, b, c, d) && library.getFixedProductVersion(product));
    EXPECT_TRUE(vx::version(a, b, c, d) == release && product == release);
    string text;
    ASSERT_TRUE(library.getFixedFileVersionString(text, 3));
    EXPECT_EQ(text, string::sformat(L"%03u.%03u.%03u.000", VX_TEST_VERSION_MAJOR, VX_TEST_VERSION_MINOR,
                                    VX_TEST_VERSION_PATCH));
}
#endif

TEST(fileNames, removeIllegalFileCharsDropsEightCharactersFilesCarryTheNameOnlyAndExceptionsNameIt) {
    const std::pair<string, string> cases[] = {
        {L"a*b#c", L"a*b#c"}, {L"a:b?c", L"abc"}, {L"\\/:?\"<>|", L""}, {L"  keeps blanks  ", L"  keeps blanks  "},
        {L"\u00e4\u20ac|\U0001F600", L"\u00e4\u20ac\U0001F600"}, {L"", L""},
        {string(L"a\0:b", 4), string(L"a\0b", 3)}}; // an embedded null is a character like others
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(file::removeIllegalFileChars(text), expected) << show(text);
    // A file joins a directory and a name; a name given whole stands as it is, as a file's and not a directory's.
    EXPECT_EQ(file(vx::directory(L"C:\\a"), L"sub\\..\\b.txt").fullName(), L"C:\\a\\b.txt");
    EXPECT_TRUE(file(vx::directory(), L"b.txt").fullName().empty() && !file().isDirectoryEntry());
    vx::fsEntryName raw;
    raw.assignText(L"C:\\x\\..\\y\\\\");
    EXPECT_TRUE(file(raw).fullName() == L"C:\\x\\..\\y\\\\" && (file() = raw).fullName() == L"C:\\x\\..\\y\\\\");
    // The exceptions of a file name its full name.
    const file f(L"C:\\data\\..\\plan.vx");
    const vx::outOfMemoryException cause;
    const struct { vx::exception e; const wchar_t* text; std::size_t nested; } exceptions[] = {
        {vx::fileException(f, &cause), L"Error accessing file C:\\plan.vx", 1},
        {vx::fileNotFoundException(f), L"File C:\\plan.vx not found!", 0},
        {vx::readFileException(f), L"Error reading file C:\\plan.vx", 0},
        {vx::writeFileException(f, &cause), L"Error writing file C:\\plan.vx", 1},
        {vx::fileWriteProtectedException(f), L"File C:\\plan.vx is write protected!", 0},
        {vx::invalidFileFormatException(f, &cause), L"Invalid file format in File C:\\plan.vx!", 1},
        {vx::invalidXmlException(f), L"File C:\\plan.vx is not a valid XML-file!", 0},
        {vx::moduleLoadException(f), L"Error loading module C:\\plan.vx", 0},
        {vx::readFileException(file()), L"Error reading file ", 0}};
    for (const auto& c : exceptions)
        EXPECT_EQ(std::wstring(c.e.message().string()) + L" / " + std::to_wstring(c.e.nestedMessages().size()),
                  c.text + (L" / " + std::to_wstring(c.nested)));
}

// Random files are named "<thread id>_<counter>".
TEST_F(fileTest, generateRandomFileReservesANewEmptyFileAlsoAcrossThreads) {
    const vx::directory dir(mWin);
    const file a = file::generateRandomFile(dir, L"tmp"), b = file::generateRandomFile(dir, L"tmp"),
               c = file::generateRandomFile(dir, L"");
    const string stem = string::sformat(L"%lu_", vx::getCurrentThreadId());
    for (const file* f : {&a, &b, &c}) {
        EXPECT_TRUE(f->exists() && f->size() == 0u && f->entryName().path(0) == mWin + L"\\") << show(f->fullName());
        const string name = f->entryName().name(vx::fsEntryName::noExtension);
        EXPECT_EQ(name.substr(0, stem.size()), stem) << show(name);
        EXPECT_EQ(name.find_first_not_of(L"0123456789", stem.size()), string::npos) << show(name);
    }
    EXPECT_TRUE(a.entryName().extension(0) == L"tmp" && c.entryName().name(0).find(L'.') == string::npos);
    std::vector<string> names(8 * 25);
    vxtest::runThreads(8, [&](int t) {
        for (int i = 0; i < 25; ++i)
            names[t * 25 + i] = file::generateRandomFile(dir, L"r").fullName();
    });
    const std::set<string> distinct(names.begin(), names.end());
    EXPECT_TRUE(distinct.size() == names.size() && distinct.count(string()) == 0u && entries() == names.size() + 3);
    // An empty directory object means the temporary directory, and names that directories hold are passed over.
    const scopedEnv tmp("TMP", mDir + "/t");
    const long long now = static_cast<long long>(std::time(nullptr));
    for (long long t = now - 1; t < now + 40; ++t)
        mTemp.makeDirs("t/" + utf8(stem) + std::to_string(t));
    const file f = file::generateRandomFile(vx::directory(), L"");
    EXPECT_TRUE(f.entryName().path(0) == mWin + L"\\t\\" && f.exists()) << show(f.fullName());
    // Where nothing can be made it gives up, with an empty name.
    EXPECT_TRUE(file::generateRandomFile(vx::directory(mWin + L"\\missing"), L"x").fullName().empty());
    EXPECT_FALSE(present("missing"));
}

// Every operation on an empty name answers false and touches nothing: it must never reach the system as the current
// directory. So does every operation on a name holding a null, a component or a path too long for the system; the
// part before the null is never taken for the name. Other names reach the system as they are.
TEST_F(fileTest, everyOperationOnAnEmptyOrImpossibleNameAnswersFalseOthersWithBlanksQuotesOrBeyondAsciiWork) {
    vxtest::scopedCurrentDirectory inDir(mDir);
    write("f", "data", 0600);
    file f = at(L"f");
    string deep;
    for (int i = 0; i < 40; ++i)
        deep += L"level-of-a-very-deep-tree-" + string(80, L'd') + L"\\";
    EXPECT_EQ(at(string(L"x\0y", 3)).fullName().size(), mWin.size() + 4);
    for (const string& name : {string(), string(L"x\0y", 3), string(300, L'n'), string(deep + L"f")}) {
        file e = name.empty() ? file() : at(name);
        unsigned long crc = 99;
        EXPECT_FALSE(e.exists() || e.fsEntry::exists() || e.isRemote() || e.check(file::accessNone)) << show(name);
        EXPECT_FALSE(e.isReadable() || e.isWriteable() || e.change(file::accessRead) || e.create(file::accessRead));
        EXPECT_FALSE(e.allowRead(false) || e.allowRead(true) || e.allowWrite(false) || e.allowWrite(true));
        EXPECT_FALSE(e.copy(f, true) || f.copy(e, true) || e.move(f) || f.move(e) || f.rename(name));
        EXPECT_FALSE(e.remove() || e.rename(L"x") || e.setExtension(L"x", true) || e.appendTo(f) || f.appendTo(e));
        EXPECT_FALSE(e.setLastModificationTime(5) || e.getCrc32(crc) || e.isIdenticalTo(f) || f.isIdenticalTo(e));
        EXPECT_TRUE(crc == 99u && e.size() == 0u && e.creationTime() == 0 && e.lastModificationTime() == 0 &&
                    e.accessMode() == file::accessMissing) << show(name);
        EXPECT_TRUE(f.fullName() == mWin + L"\\f" && read("f") == "data" && entries() == 1u && ownerBits("f") == 0600);
    }
    EXPECT_FALSE(file().setFilePropsLike(f) || f.setFilePropsLike(file()) || file().isIdenticalTo(file()));
    EXPECT_EQ(file().relativeNameTo(vx::fsEntryName(L"C:\\")), L"");
    // A one-character text is no name to take apart.
    vx::fsEntryName one;
    one.assignText(L"x");
    file x(one);
    EXPECT_TRUE(!x.isRemote() && !x.rename(L"y") && !x.setExtension(L"y", true) && x.fullName() == L"x");
    // Names with blanks, quotes and characters beyond ASCII reach the system as they are.
#ifdef _WIN32
    // Native names are UTF-16 here, and '*' may not stand in one.
    const auto onDisk = [&](const string& name) { return std::filesystem::path(mWin + L"\\" + name); };
    const auto has = [&](const string& name) { return std::filesystem::exists(onDisk(name)); };
    const auto put = [&](const string& n, const std::string& b) { std::ofstream(onDisk(n), std::ios::binary) << b; };
    const wchar_t* const special = L"a#b";
#else
    const auto has = [&](const string& name) { return present(utf8(name)); };
    const auto put = [&](const string& name, const std::string& bytes) { write(utf8(name), bytes); };
    const wchar_t* const special = L"a*b#c";
#endif
    for (const wchar_t* text : {L"it's a 'quote' .txt", L"\u00e4\u00f6\u00fc \u20ac \u65e5\u672c.txt", L"\U0001F600",
                                L"semi;colon & percent %x", special}) {
        const string name = text, copy = name + L" copy", renamed = name + L" renamed";
        file g = at(name);
        EXPECT_TRUE(g.create(file::accessReadWrite) && has(name) && g.exists()) << show(name);
        put(name, "123456789");
        EXPECT_TRUE(g.size() == 9 && g.copy(at(copy), false) && at(copy).isIdenticalTo(g)) << show(name);
        EXPECT_TRUE(g.rename(renamed) && has(renamed) && g.remove() && !has(renamed)) << show(name);
    }
}

// Records every progress value; answers false (cancels) once `stopAt` values were seen.
struct progressLog {
    std::vector<double> values;
    std::size_t stopAt = SIZE_MAX;
    static bool record(double value, void* context) {
        auto* log = static_cast<progressLog*>(context);
        log->values.push_back(value);
        return log->values.size() < log->stopAt;
    }
};

TEST_F(fileTest, gzipCopiesReportProgressIn32BitsCancelRefuseTheirOwnSourceAndFailWithoutHarm) {
    const struct { std::size_t size; std::vector<double> progress; } cases[] = {
        {0, {}}, {1, {100}}, {1024, {100}}, {2048, {0, 100}}, {3000, {0, 0, 100}}};
    for (const auto& c : cases) {
        const std::string bytes = randomBytes(c.size, static_cast<unsigned>(c.size));
        write("plain", bytes);
        progressLog packing, unpacking;
        ASSERT_TRUE(at(L"plain").gzCompressTo(at(L"packed.gz"), &progressLog::record, &packing) &&
                    at(L"packed.gz").gzUncompressTo(at(L"back"), &progressLog::record, &unpacking)) << c.size;
        EXPECT_TRUE(packing.values == c.progress && read("packed.gz").substr(0, 3) == "\x1F\x8B\x08") << c.size;
        // Back again: progress counts the bytes written against the compressed size, in whole multiples of 100.
        std::vector<double> expected;
        for (std::size_t done = 1024; done < c.size + 1024; done += 1024)
            expected.push_back(static_cast<double>((std::min(done, c.size) / at(L"packed.gz").size()) * 100));
        EXPECT_TRUE(unpacking.values == expected && read("back") == bytes) << c.size;
    }
    // A cancel leaves the partial target.
    write("plain", randomBytes(5000, 1));
    progressLog log{{}, 2};
    EXPECT_FALSE(at(L"plain").gzCompressTo(at(L"packed.gz"), &progressLog::record, &log));
    EXPECT_TRUE(log.values.size() == 2u && present("packed.gz"));
    ASSERT_TRUE(at(L"plain").gzCompressTo(at(L"packed.gz")));
    log = progressLog{{}, 1};
    EXPECT_FALSE(at(L"packed.gz").gzUncompressTo(at(L"back"), &progressLog::record, &log));
    EXPECT_TRUE(read("back").size() == 1024u && read("plain").size() == 5000u);
    // Neither a copy onto the source nor one of a missing or empty name touches the target.
    write("f", "some bytes");
    EXPECT_FALSE(at(L"f").gzCompressTo(at(L"F")) || at(L"f").gzUncompressTo(at(L"F")));
    EXPECT_FALSE(at(L"missing").gzCompressTo(at(L"f")) || at(L"missing").gzUncompressTo(at(L"f")));
    EXPECT_FALSE(file().gzCompressTo(at(L"f")) || at(L"f").gzCompressTo(file()) || at(L"f").gzUncompressTo(file()));
    EXPECT_EQ(read("f"), "some bytes");
#ifndef _WIN32 // a read-only directory and a limit on file sizes need a POSIX child process
    // They fail without harm in a read-only directory and on a full disk.
    using vxtest::check;
    ::chmod(mDir.c_str(), 0777);
    ASSERT_EQ(::mkdir(native("ro").c_str(), 0555), 0);
    ::chmod(native("ro").c_str(), 0555);
    const std::string plain = randomBytes(100000, 4);
    write("plain", plain, 0644);
    ASSERT_TRUE(at(L"plain").gzCompressTo(at(L"plain.gz")));
    ::chmod(native("plain.gz").c_str(), 0644);
    const std::string packed = read("plain.gz");
    EXPECT_EQ(vxtest::inRestrictedChild(65536, true, [&](std::string& errors) {
        check(errors, !at(L"plain").gzCompressTo(at(L"ro\\x.gz")), "compressed into a read-only directory");
        check(errors, !at(L"plain.gz").gzUncompressTo(at(L"ro\\x")), "uncompressed into a read-only directory");
        check(errors, !at(L"plain").gzCompressTo(at(L"full.gz")), "compressed beyond the limit");
        check(errors, !at(L"plain.gz").gzUncompressTo(at(L"full")), "uncompressed beyond the limit");
    }), "");
    EXPECT_FALSE(present("ro/x.gz") || present("ro/x"));
    EXPECT_TRUE(read("plain") == plain && read("plain.gz") == packed);
#endif
    // A file whose 32-bit size is 0 reports its progress complete at once.
    write("huge", "");
    if (!resize(native("huge"), 1ULL << 32))
        GTEST_SKIP() << "no sparse files of 4 GiB here";
    log = progressLog{{}, 1};
    EXPECT_FALSE(at(L"huge").gzCompressTo(at(L"huge.gz"), &progressLog::record, &log));
    EXPECT_EQ(log.values, std::vector<double>{100});
}

// Plain data is copied as it is; gzip data cut short is a failure; bytes after the last member are left out and
// counted, across more than one read of the file.
TEST_F(fileTest, gzUncompressToCopiesPlainDataCountsDataAfterTheLastMemberAndReadsTheSystemsGzip) {
    write("a", randomBytes(20000, 2));
    ASSERT_TRUE(at(L"a").gzCompressTo(at(L"a.gz")));
    const std::string packed = read("a.gz");
    write("cut.gz", packed.substr(0, 9000));
    EXPECT_FALSE(at(L"cut.gz").gzUncompressTo(at(L"out")));
    write("tail.gz", packed + std::string(70000, 'x'));
    write("plain.gz", "no gzip data");
    const std::pair<const wchar_t*, std::uint64_t> cases[] = {{L"a.gz", 0}, {L"tail.gz", 70000}, {L"plain.gz", 0}};
    for (const auto& [name, expected] : cases) {
        std::uint64_t ignored = 99;
        EXPECT_TRUE(at(name).gzUncompressTo(at(L"out"), ignored) && ignored == expected) << name;
    }
    EXPECT_EQ(read("out"), "no gzip data");
    // Files of the system's tools read both ways.
    if (std::system("command -v gzip >/dev/null 2>&1 && command -v gunzip >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "no gzip here";
    const std::string a = randomBytes(70000, 3) + std::string(100000, 'a'), b = "second member\n";
    write("a", a);
    write("b", b);
    const vxtest::scopedCurrentDirectory inDir(mDir);
    ASSERT_EQ(std::system("gzip -9 -c a > a.gz && gzip -1 -c b > b.gz && cat a.gz b.gz > ab.gz"), 0);
    EXPECT_TRUE(at(L"a.gz").gzUncompressTo(at(L"a.out")) && read("a.out") == a);
    EXPECT_TRUE(at(L"ab.gz").gzUncompressTo(at(L"ab.out")) && read("ab.out") == a + b);
    ASSERT_TRUE(at(L"a").gzCompressTo(at(L"mine.gz")));
    ASSERT_EQ(std::system("gzip -t mine.gz && gunzip -c mine.gz > mine"), 0);
    EXPECT_TRUE(read("mine") == a);
}

// A PE image of 0x400 bytes: "MZ", the signature's offset 0x80 at 0x3C, "PE\0\0", the section count (+6) and the
// optional header's size (+20) of the file header, the magic (+24), the 8 bytes at +0xF8 (address and size of the
// managed header's entry), one section header behind the optional header at virtual address 0x2000 and raw offset
// 0x200, and the managed header's flags (+16) at raw offset 0x210 (address 0x2010).
struct peImage {
    static constexpr std::size_t kPe = 0x80;
    explicit peImage(std::uint16_t magic, std::uint16_t optionalSize = 0xF0) : bytes(0x400, '\0') {
        put16(0, 0x5A4D).put32(0x3C, kPe).put32(kPe, 0x4550);
        put16(kPe + 6, 1).put16(kPe + 20, optionalSize).put16(kPe + 24, magic);
        const std::size_t section = kPe + 24 + optionalSize; // virtual size and address, raw size and offset
        put32(section + 8, 0x100).put32(section + 12, 0x2000).put32(section + 16, 0x100).put32(section + 20, 0x200);
        put32(0x210 + 16, 0x1); // managed flags: IL only, 32 bits not required
    }
    peImage& managed(std::uint32_t at, std::uint32_t size) { return put32(kPe + 0xF8, at).put32(kPe + 0xFC, size); }
    peImage& put16(std::size_t at, std::uint32_t v) {
        bytes[at] = static_cast<char>(v), bytes[at + 1] = static_cast<char>(v >> 8);
        return *this;
    }
    peImage& put32(std::size_t at, std::uint32_t v) { return put16(at, v & 0xFFFF).put16(at + 2, v >> 16); }
    std::string cut(std::size_t size) const { return bytes.substr(0, size); }
    std::string bytes;
};

TEST_F(fileTest, imageArchitectureReadsTheMagicAndTheManagedFlag) {
    const std::size_t pe = peImage::kPe, section = pe + 24 + 0xF0;
    const struct { const char* what; std::string bytes; int expected; } cases[] = {
        {"64-bit", peImage(0x20B).bytes, 0x20B}, {"32-bit", peImage(0x10B).bytes, 0x10B},
        {"managed, any width", peImage(0x10B).managed(0x2010, 0x48).bytes, 1},
        {"managed, 32 bits required", peImage(0x10B).managed(0x2010, 0x48).put32(0x220, 0x3).bytes, 0x10B},
        {"managed address in no section", peImage(0x10B).managed(0x9000, 0x48).bytes, 0x10B},
        {"section spans its raw size", peImage(0x10B).managed(0x2010, 0x48).put32(section + 8, 0).bytes, 1},
        // A 32-bit image's section table starts at +0xF8: the first section's name is read as the managed entry. Here
        // it names the section's own address.
        {"32-bit, section name read as the entry", peImage(0x10B, 0xE0).managed(0x2010, 0x48).bytes, 1},
        {"no MZ", peImage(0x20B).put16(0, 0x5A4E).bytes, 0}, {"PE\\0\\1", peImage(0x20B).put16(pe + 2, 0x100).bytes, 0},
        {"signature beyond the end", peImage(0x20B).put32(0x3C, 0x10000).bytes, 0},
        {"signature offset wraps", peImage(0x20B).put32(0x3C, 0xFFFFFFF0).bytes, 0},
        {"cut before the magic", peImage(0x20B).cut(pe + 25), 0},
        {"cut before the managed entry", peImage(0x10B).cut(pe + 0xFE), 0},
        {"cut in the section table", peImage(0x10B).managed(0x2010, 0x48).cut(section + 16), 0},
        {"managed header beyond the end",
         peImage(0x10B).managed(0x2010, 0x48).put32(section + 20, 0x7FFFFFF0).bytes, 0},
        {"empty", "", 0}, {"MZ only", "MZ", 0}};
    for (const auto& c : cases) {
        write("image.exe", c.bytes);
        EXPECT_EQ(vx::imageArchitecture(at(L"image.exe")), c.expected) << c.what;
    }
    EXPECT_TRUE(vx::imageArchitecture(at(L"missing.exe")) == vx::peArchitectureUnknown &&
                vx::imageArchitecture(file(mWin)) == vx::peArchitectureUnknown);
}

} // namespace
