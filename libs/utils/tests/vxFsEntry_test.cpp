#include <vxFsEntry.h>

#include <vxDirectory.h>

#include "testSupport.h"

#include <type_traits>

#ifdef _WIN32
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

TEST(fsEntry, constructionAssignmentPartsExistenceNativePathAndRemoteness) {
    // From two texts, normalised, or from a name, as it stands unless extra is given (which normalises the whole).
    // An empty directory text drops the name.
    const struct { bool fromName; const wchar_t *a, *b; bool isDirectory; const wchar_t* expected; } cases[] = {
        {false, L"C:\\a", L"b", false, L"C:\\a\\b"}, {false, L"C:/a/", L"./b/../c", true, L"C:\\a\\c\\"},
        {false, L"C:\\a", L"", true, L"C:\\a\\"}, {false, L"", L"b", true, L""},
        {true, L"C:\\x\\..\\y", L"", false, L"C:\\x\\..\\y"}, {true, L"C:\\x\\..\\y", L"", true, L"C:\\x\\..\\y\\"},
        {true, L"C:\\x\\\\\\", L"", true, L"C:\\x\\"}, {true, L"C:\\x\\\\\\", L"", false, L"C:\\x\\\\\\"},
        {true, L"C:\\x", L"sub", true, L"C:\\x\\sub\\"}, {true, L"C:\\x\\..\\y", L"z", false, L"C:\\y\\z"},
        {true, L"", L"", true, L""}, {true, L"", L"z", true, L""}};
    for (const auto& c : cases) {
        const entry e = c.fromName ? entry(raw(c.a), c.b, c.isDirectory) : entry(c.a, c.b, c.isDirectory);
        EXPECT_TRUE(e.fullName() == c.expected && e.isDirectoryEntry() == c.isDirectory) << c.a << L" + " << c.b;
    }
    // An assignment keeps a directory's one trailing delimiter.
    entry d(L"C:\\d", L"", true), plain(L"C:\\f", L"", false);
    EXPECT_EQ((d = raw(L"C:\\two\\\\")).fullName(), L"C:\\two\\");
    EXPECT_EQ((d = raw(L"C:\\other")).fullName(), L"C:\\other\\");
    EXPECT_EQ((plain = raw(L"C:\\other\\")).fullName(), L"C:\\other\\");
    EXPECT_EQ((d = raw(L"")).fullName(), L"");
    // getParts gives the drive upper-cased in the directory too.
    const std::pair<const wchar_t*, const wchar_t*> parts[] = { // the text; drive|directory|name|extension
        {L"c:\\a\\b.c.txt", L"C:|C:\\a\\|b.c.txt|txt"}, {L"C:\\dir.ext\\", L"C:|C:\\|dir.ext|ext"},
        {L"\\\\srv\\share\\f.log", L"\\\\srv|\\\\srv\\share\\|f.log|log"}, {L"", L"|||"}};
    for (const auto& [text, expected] : parts) {
        string drive = L"?", name = L"?", extension = L"?";
        vx::directory folder(L"C:\\previous");
        entry(raw(text), L"", false).getParts(drive, folder, name, extension, true);
        EXPECT_EQ(drive + L"|" + folder.fullName() + L"|" + name + L"|" + extension, expected);
    }
#ifndef _WIN32
    const vxtest::tempDir dir;
    const vxtest::scopedEnvironment drives("VX_DRIVES", "Q=" + dir.path());
    dir.makeFile("f");
    dir.makeDirs("Data");
    const struct { const wchar_t* name; bool isDirectory, exists; } entries[] = {
        {L"", true, true}, {L"f", false, true}, {L"F", false, true}, {L"missing", false, false}}; // case is ignored
    for (const auto& c : entries)
        EXPECT_EQ(entry(L"Q:\\", c.name, c.isDirectory).exists(), c.exists) << c.name;
    EXPECT_FALSE(entry(L"", L"", false).exists() || entry(L"P:\\", L"", true).exists()); // no name, no such drive
    // The mapping itself is the platform layer's (its tests cover it): success, its failure, and no name.
    const struct { fsEntryName name; bool ok; std::string native; } natives[] = {
        {raw(L"Q:\\data\\New File.txt"), true, dir / "Data/New File.txt"}, {raw(L"P:\\x"), false, "unchanged"},
        {raw(L""), false, "unchanged"}};
    for (const auto& c : natives) {
        std::string native = "unchanged";
        EXPECT_EQ(entry(c.name, L"", false).nativePath(native), c.ok) << show(c.name.text());
        EXPECT_EQ(native, c.native) << show(c.name.text());
    }
    const struct { const wchar_t* name; bool remote; } remotes[] = {
        {L"\\\\server\\share\\x", true}, {L"\\\\server", true}, {L"Q:\\local", false}, // a local file system
        // A letter the table does not know, no letter, and a name too short to take apart.
        {L"P:\\x", false}, {L"\\single", false}, {L"x", false}};
    for (const auto& c : remotes)
        EXPECT_EQ(entry(raw(c.name), L"", false).isRemote(), c.remote) << c.name;
#else
    const vxtest::tempDir dir;
    dir.makeFile("f");
    dir.makeDirs("Data");
    const string win = dir.windowsForm();
    const struct { const wchar_t* name; bool isDirectory, exists; } entries[] = {
        {L"", true, true}, {L"f", false, true}, {L"F", false, true}, {L"data", true, true}, {L"missing", false, false}};
    for (const auto& c : entries)
        EXPECT_EQ(entry(win, c.name, c.isDirectory).exists(), c.exists) << c.name;
    // The native path is the text with "." and ".." resolved and every '/' a backslash; a drive that
    // does not exist and a null character give none.
    vx::nativePathText native;
    EXPECT_TRUE(entry(raw((win + L"/x/../Data/./New File.txt").c_str()), L"", false).nativePath(native));
    EXPECT_EQ(native, win + L"\\Data\\New File.txt");
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
    EXPECT_FALSE(entry(raw(win.c_str()), L"", false).isRemote()); // a local disk
    EXPECT_FALSE(entry(raw((string(missing) + L":\\x").c_str()), L"", false).isRemote());
#endif
}
