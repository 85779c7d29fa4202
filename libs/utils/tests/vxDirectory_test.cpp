#include <vxDirectory.h>
#include <vxEnvironment.h>

#include "testSupport.h"

#include <set>
#include <sys/stat.h>

#ifdef _WIN32
#include <windows.h>
#include <shlobj.h>
#endif

namespace {

namespace fs = std::filesystem;
using vx::directory;
using vx::directoryIterator;
using vx::file;
using vx::fileIterator;
using vx::recursiveFileIterator;
using names = std::vector<std::string>;
using texts = std::vector<vx::string>;

// A temporary tree, made with the given files, whose directories are handed out as objects.
struct tempTree : vxtest::tempDir {
    explicit tempTree(std::initializer_list<const char*> files = {}) {
        for (const char* f : files)
            makeFile(f);
    }
    void addDirs(std::initializer_list<const char*> names) const {
        for (const char* name : names)
            makeDirs(name);
    }
    directory dir(const std::string& name = "") const { return directory(windowsForm(name)); }
    // An entry's name below the tree as a native relative path, "Sub/" for a directory.
    std::string relative(const vx::fsEntry& entry) const {
        const std::wstring prefix = dir().fullName();
        std::wstring text = entry.fullName();
        EXPECT_EQ(text.compare(0, prefix.size(), prefix), 0) << vxtest::show(text);
        std::replace(text.begin(), text.end(), L'\\', L'/');
        return std::string(text.begin() + std::min(prefix.size(), text.size()), text.end());
    }
};

// Names as this system keeps them: Windows drops a trailing dot, so "abc." is "abc".
names asKept(names list) {
#ifdef _WIN32
    std::replace(list.begin(), list.end(), std::string("abc."), std::string("abc"));
#endif
    return list;
}

// The names of the sample tree of the iteration test on this system. Names on Windows ignore case: of the twins
// "A.txt" and "a.txt", "Sub" and "sub" only the one made first is there, and holds both contents.
names inSampleTree(names list) {
#ifdef _WIN32
    const auto twin = [](const std::string& name) { return name == "a.txt" || name == "sub/"; };
    list.erase(std::remove_if(list.begin(), list.end(), twin), list.end());
    for (std::string& name : list)
        if (name.compare(0, 4, "sub/") == 0)
            name.replace(0, 4, "Sub/");
#endif
    return list;
}

const vx::fsEntry& current(const vx::fsEntry& it) { return it; }
const vx::fsEntry& current(const recursiveFileIterator& it) { return static_cast<const file&>(it); }

// Everything an iterator gives until it is exhausted, as names below the tree.
template <class iterator>
names all(const tempTree& root, iterator&& it) {
    names out;
    for (; !current(it).fullName().empty(); ++it)
        out.push_back(root.relative(current(it)));
    return out;
}

names walk(const tempTree& root, const directory& base, const wchar_t* fileFilter, int fileMask,
           const wchar_t* dirFilter = L"*.*", int dirMask = 0) {
    return all(root, recursiveFileIterator(base, fileFilter, fileMask, dirFilter, dirMask));
}

texts listAll(const directory& base, bool recursive = true, const wchar_t* filter = L"*.*", int mask = 0) {
    texts out;
    base.listAllFiles(out, recursive, filter, mask);
    return out;
}

// An entry that is neither a file nor a directory to the find functions: a FIFO on POSIX
// systems, a file with the system attribute on Windows.
void makeSystemEntry(const tempTree& root, const std::string& name) {
#ifdef _WIN32
    root.makeFile(name);
    ASSERT_TRUE(::SetFileAttributesW(fs::path(root / name).c_str(), FILE_ATTRIBUTE_SYSTEM));
#else
    ASSERT_EQ(::mkfifo((root / name).c_str(), 0644), 0);
#endif
}

TEST(directoryFilter, followsTheFindFunctions) {
    tempTree root{"a.txt", "B.TXT", "noext", "x.tar.gz", "abc.", "readme", ".hidden", "%HOME%.txt"};
    root.makeDirs("dir.txt");
    const names every{"%HOME%.txt", ".hidden", "a.txt", "abc.", "B.TXT", "noext", "readme", "x.tar.gz"};
    const struct { const wchar_t* filter; names files; } rows[] = {
        {L"*.*", every}, {L"*", every}, {L"?.txt", {"a.txt", "B.TXT"}}, {L"??.txt", {}},
        {L"*.TxT", {"%HOME%.txt", "a.txt", "B.TXT"}}, // case is ignored; directories never count
        {L"*.", {"abc.", "noext", "readme"}}, // names without a dot (and a real trailing dot)
        {L"readme.", {"readme"}}, {L"noext*.", {"noext"}}, {L"noext.*", {"noext"}}, // "*" and ".*" may match nothing
        {L"x.*", {"x.tar.gz"}}, {L"x*z", {"x.tar.gz"}}, {L".*", {".hidden"}}, {L"a*", {"a.txt", "abc."}},
        {L"*.htm", {}},                  // no short names: ".html" would not count either
        {L"%HOME%.txt", {"%HOME%.txt"}}, // the name is taken as it is, never expanded
        {L"", {}}, {nullptr, {}}};
    for (const auto& row : rows)
        EXPECT_EQ(all(root, fileIterator(root.dir(), row.filter, 0)), asKept(row.files))
            << (row.filter ? row.filter : L"-");
    EXPECT_TRUE(root.dir().numberOfFiles(L"*.txt", 0) == 3u && root.dir().numberOfFiles(nullptr, 0) == 0u);
    // The search text is base plus filter, split at its last delimiter as the find functions split it; the entries
    // are still named below the base.
    root.makeFile("Sub/x.txt");
    EXPECT_EQ(all(root, fileIterator(root.dir(), L"Sub\\*.txt", 0)), names{"x.txt"});
    EXPECT_EQ(all(root, fileIterator(root.dir(), L"Sub/", 0)), names{});
    EXPECT_EQ(all(root, directoryIterator(root.dir("Sub"), L"..\\*", 0)), (names{"Sub/dir.txt/", "Sub/Sub/"}));
}

// Masks exclude; directories come in name order, a level's files after its sub-trees.
TEST(directoryIteration, eachIteratorInItsOrderAndListAllFilesAgreesWithTheWalk) {
    // Three levels with hidden entries, a read-only file and names that differ only by case.
    tempTree tree{"b.txt", "A.txt", "a.txt", ".hid.txt", "Sub/x.txt", "Sub/deep/y.txt", "Sub/.hiddenDir/h.txt",
                  "sub/z.txt"};
    tree.makeFile("ro.txt", "x", 0444);
    tree.makeDirs("empty");
    const directory root = tree.dir();
    const struct { directory base; const wchar_t* filter; int mask; names expected; } dirRows[] = {
        {root, L"*.*", 0, {"empty/", "Sub/", "sub/"}}, {tree.dir("Sub"), L"*.*", 0, {"Sub/.hiddenDir/", "Sub/deep/"}},
        {tree.dir("Sub"), L"*", vx::DI_HIDDEN, {"Sub/deep/"}}, {root, L"s*", 0, {"Sub/", "sub/"}},
        {root, L"*.*", vx::DI_SUBDIR, {}}};
    for (const auto& row : dirRows)
        EXPECT_EQ(all(tree, directoryIterator(row.base, row.filter, row.mask)), inSampleTree(row.expected)) << row.mask;
    const names files{".hid.txt", "A.txt", "a.txt", "b.txt", "ro.txt"};
    const struct { int mask; names expected; } fileRows[] = {
        {0, files}, {vx::DI_HIDDEN, {"A.txt", "a.txt", "b.txt", "ro.txt"}},
        {vx::DI_RDONLY, {".hid.txt", "A.txt", "a.txt", "b.txt"}}, {vx::DI_ARCH, {}}, {vx::DI_SYSTEM, files}};
    for (const auto& row : fileRows)
        EXPECT_EQ(all(tree, fileIterator(root, L"*.*", row.mask)), inSampleTree(row.expected)) << row.mask;
    const struct { const wchar_t* fileFilter; int fileMask; const wchar_t* dirFilter; int dirMask; names expected; }
        walkRows[] = {
            {L"*.*", 0, L"*.*", 0, {"Sub/.hiddenDir/h.txt", "Sub/deep/y.txt", "Sub/x.txt", "sub/z.txt", ".hid.txt",
                                    "A.txt", "a.txt", "b.txt", "ro.txt"}},
            {L"*.*", vx::DI_HIDDEN | vx::DI_RDONLY, L"*.*", vx::DI_HIDDEN,
             {"Sub/deep/y.txt", "Sub/x.txt", "sub/z.txt", "A.txt", "a.txt", "b.txt"}},
            // The directory filter limits the descent, the file filter does not.
            {L"*.*", 0, L"s*", 0, {"Sub/x.txt", "sub/z.txt", ".hid.txt", "A.txt", "a.txt", "b.txt", "ro.txt"}},
            {L"y*", 0, L"*", 0, {"Sub/deep/y.txt"}}, {L"*.*", 0, L"*.*", vx::DI_SUBDIR, files},
            {L"nothing", 0, L"*.*", 0, {}}};
    for (const auto& r : walkRows)
        EXPECT_EQ(walk(tree, root, r.fileFilter, r.fileMask, r.dirFilter, r.dirMask), inSampleTree(r.expected))
            << r.fileFilter << L" " << r.dirFilter;
    EXPECT_EQ(directoryIterator(tree.dir("Sub"), L"*.*", 0).attributes(), vx::DI_SUBDIR | vx::DI_HIDDEN);
    fileIterator f(root, L"ro.txt", 0);
    EXPECT_EQ(f.attributes(), vx::DI_ARCH | vx::DI_RDONLY);
    f++;
    EXPECT_EQ(f.attributes(), 0);
    // listAllFiles puts a level's files first and agrees with the walk.
    EXPECT_EQ(listAll(tempTree{"a/x.txt", "y.txt"}.dir()), (texts{L".\\y.txt", L".\\a\\x.txt"}));
    tree.makeFile("Sub/deep/deeper/q.TXT");
    tree.makeFile("Sub/deep/.h/r.txt");
    for (const int mask : {0, vx::DI_HIDDEN, vx::DI_RDONLY}) {
        texts listed{L"kept"};
        tree.dir().listAllFiles(listed, true, L"*.txt", mask);
        ASSERT_EQ(listed.front(), L"kept"); // appended to what was there
        listed.erase(listed.begin());
        // listAllFiles never enters hidden or system directories, whatever the mask.
        std::multiset<vx::string> fromWalk;
        for (std::string name : walk(tree, tree.dir(), L"*.txt", mask, L"*.*", vx::DI_HIDDEN | vx::DI_SYSTEM)) {
            std::replace(name.begin(), name.end(), '/', '\\');
            fromWalk.insert(vx::string(L".\\" + std::wstring(name.begin(), name.end())).lower());
        }
        EXPECT_EQ(std::multiset<vx::string>(listed.begin(), listed.end()), fromWalk) << mask;
    }
#ifdef _WIN32
    EXPECT_EQ(listAll(tree.dir("Sub"), false), (texts{L".\\x.txt", L".\\z.txt"}));
#else
    EXPECT_EQ(listAll(tree.dir("Sub"), false), texts{L".\\x.txt"});
#endif
}

TEST(directoryTree, createRemoveClearIsEmptyRenameAndReadOnlyFiles) {
    tempTree root;
#ifndef _WIN32
    vxtest::scopedEnvironment drives("VX_DRIVES", "Q=" + root.path() + "/missing-root");
#endif
    EXPECT_FALSE(root.dir("a/b/c").create(false) || root.has("a"));
    EXPECT_TRUE(root.dir("a/b/c").create(true) && fs::is_directory(root / "a/b/c"));
    EXPECT_TRUE(root.dir("a/b").create(false)); // exists already
    // The parent is found whatever its case.
    EXPECT_TRUE(root.dir("A/B/new").create(false) && fs::is_directory(root / "a/b/new") && !directory().create(true));
    // A name holding a '%' pair is made as it stands, parents included.
    vx::fsEntryName percent;
    percent.assignText(root.dir().fullName() + L"%HOME%\\x\\");
    EXPECT_TRUE(directory(percent).create(true) && fs::is_directory(root / "%HOME%/x"));
#ifndef _WIN32
    EXPECT_FALSE(directory(vx::string(L"Q:\\x\\y\\")).create(true)); // a missing drive root ends it
#endif
    EXPECT_FALSE(directory(vx::string(L"R:\\x\\")).create(true));    // so does an unknown drive
    EXPECT_FALSE(directory(vx::string(L"\\\\server\\share\\x\\")).create(true));
    for (const char* f : {"hidden/.h", "file/f", "a/plain.txt"})
        root.makeFile(f);
    root.addDirs({"sub/s", "none", "system", "hiddenSub/.d"});
    makeSystemEntry(root, "system/fifo");
    // isEmpty overlooks hidden and system entries.
    for (const auto& [name, empty] : std::vector<std::pair<const char*, bool>>{
             {"hidden", true}, {"hiddenSub", true}, {"system", true}, {"file", false}, {"sub", false},
             {"none", true}, {"missing", true}})
        EXPECT_EQ(root.dir(name).isEmpty(), empty) << name;
    // rename keeps the parent, and fails onto an existing directory, even an empty one.
    directory d = root.dir("file");
    EXPECT_TRUE(!d.rename(L"none") && d == root.dir("file"));
    EXPECT_TRUE(d.rename(L"new") && d.fullName() == root.dir("new").fullName() && !root.has("file"));
    EXPECT_TRUE(d.rename(L"NEW") && d.fullName() == root.dir("NEW").fullName() && root.has("NEW/f"));
    EXPECT_FALSE(directory().rename(L"x"));
    root.makeFile("a/b/ro.txt", "x", 0444);
    EXPECT_TRUE(root.dir("a").containsReadOnlyFiles(true) && root.dir("a/b").containsReadOnlyFiles(false));
    EXPECT_FALSE(root.dir("a").containsReadOnlyFiles(false) || root.dir("missing").containsReadOnlyFiles(true));
    // remove and clear leave read-only, hidden and system entries.
    for (const char* kept : {"", "a/b/.hidden", "a/b/ro.txt", "a/b/pipe"}) {
        tempTree tree{"t/a/b/plain.txt", "t/a/other.txt", "t/c/d.txt", "t/top.txt"};
        const std::string special = std::string("t/") + kept;
        if (special == "t/a/b/pipe")
            makeSystemEntry(tree, special);
        else if (*kept)
            tree.makeFile(special, "x", special == "t/a/b/ro.txt" ? 0444 : 0644);
        EXPECT_EQ(tree.dir("t").remove(true), !*kept) << kept;
        // The entry and the directories leading to it stay; everything else is gone.
        EXPECT_EQ(tree.has(special), *kept != 0);
        for (const char* gone : {"t/a/b/plain.txt", "t/a/other.txt", "t/c", "t/top.txt"})
            EXPECT_FALSE(tree.has(gone)) << gone << " with " << kept;
    }
    tempTree tree{"t/f.txt", "t/s/g.txt", "t/s/.h.txt"};
    tree.makeFile("t/ro.txt", "x", 0444);
    EXPECT_FALSE(tree.dir("t").remove(false)); // the files go, the sub-directory stays
    EXPECT_TRUE(!tree.has("t/f.txt") && tree.has("t/s/g.txt") && tree.has("t/ro.txt"));
    tree.makeFile("t/f.txt");
    EXPECT_TRUE(tree.dir("t").clear(false) && !tree.has("t/f.txt") && tree.has("t/s/g.txt"));
    EXPECT_TRUE(tree.dir("t").clear(true) && !tree.has("t/s/g.txt") && tree.has("t/s/.h.txt") && tree.has("t/ro.txt"));
    EXPECT_TRUE(tree.dir("missing").clear(true) && !tree.dir("missing").remove(true) && !directory().remove(true));
#ifndef _WIN32
    // A read-only directory is not removed, even when empty (not on Windows: Wine cannot make one read-only).
    tree.makeDirs("locked");
    ::chmod((tree / "locked").c_str(), 0555);
    EXPECT_TRUE(!tree.dir("locked").remove(true) && tree.has("locked"));
#endif
}

TEST(directoryName, rootsComparisonMakeCurrentDiskSpaceAndWellKnownFolders) {
    for (const auto& [name, root] : std::vector<std::pair<const wchar_t*, bool>>{
             {L"C:\\", true}, {L"c:", true}, {L"\\\\server\\", true}, {L"\\\\server\\share\\", false},
             {L"C:\\a\\", false}, {L"", false}})
        EXPECT_EQ(directory(vx::string(name)).isRoot(), root) << name;
    const directory x(vx::string(L"C:\\Data\\X"));
    EXPECT_TRUE(x == directory(vx::string(L"c:\\data\\x\\")) && x != directory(vx::string(L"C:\\Data\\Y")) &&
                x != directory(vx::string(L"C:\\Data")));
    EXPECT_FALSE(directory() == directory()); // two empty names are not equal
    EXPECT_EQ(directory(vx::string(L"C:\\a"), L"b").fullName(), L"C:\\a\\b\\");
    EXPECT_EQ(directory(x, L"..\\b").fullName(), L"C:\\Data\\b\\");
    // makeCurrent changes the current directory only on success.
    tempTree root{"plain"};
    root.makeDirs("here");
    vxtest::scopedCurrentDirectory back(root.path());
    EXPECT_TRUE(root.dir().isCurrent() && !root.dir("here").isCurrent());
    EXPECT_TRUE(root.dir("HERE").makeCurrent()); // found whatever its case
    EXPECT_TRUE(fs::equivalent(fs::current_path(), root / "here") && root.dir("here").isCurrent());
    for (const directory& bad : {root.dir("missing"), root.dir("plain"), directory(), directory(vx::string(L"R:\\"))}) {
        EXPECT_FALSE(bad.makeCurrent()) << vxtest::show(bad.fullName());
        EXPECT_TRUE(fs::equivalent(fs::current_path(), root / "here"));
    }
    // getDiskSpace saturates at 32 bits.
    const fs::space_info space = fs::space(root.path());
    const auto saturated = [](std::uintmax_t bytes) { return bytes > 0xFFFFFFFFu ? 0xFFFFFFFFul : bytes; };
    unsigned long value = 7;
    for (const auto& [base, shift] : std::vector<std::pair<directory::eDSBaseSize, int>>{
             {directory::dsBytes, 0}, {directory::dsKilo, 10}, {directory::dsMega, 20}, {directory::dsGiga, 30}}) {
        ASSERT_TRUE(root.dir().getDiskSpace(directory::dsTotal, base, &value));
        EXPECT_EQ(value, saturated(space.capacity >> shift)) << shift;
    }
    // Unknown kinds and units write 0 and still answer true; failures leave the value alone.
    unsigned long unit = 7, untouched = 7;
    EXPECT_TRUE(root.dir().getDiskSpace(static_cast<directory::eDSType>(3), directory::dsKilo, &value) && value == 0u);
    EXPECT_TRUE(root.dir().getDiskSpace(directory::dsTotal, static_cast<directory::eDSBaseSize>(9), &unit) && !unit);
    EXPECT_FALSE(root.dir("missing").getDiskSpace(directory::dsTotal, directory::dsBytes, &untouched) ||
                 directory().getDiskSpace(directory::dsTotal, directory::dsBytes, &untouched) ||
                 root.dir().getDiskSpace(directory::dsTotal, directory::dsBytes, nullptr) || untouched != 7u);
#ifndef _WIN32
    // Well-known folders follow the XDG variables and the user-dirs file.
    tempTree homeDir;
    vxtest::scopedEnvironment env("HOME", homeDir.path());
    for (const char* name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CONFIG_DIRS"})
        env.set(name, nullptr);
    const vx::string home = homeDir.dir().fullName();
    const std::pair<directory, vx::string> defaults[] = {
        {directory::userHomeDir(), home}, {directory::userDocumentsDir(false), home},
        {directory::desktopDir(false), home + L"Desktop\\"}, {directory::commonDocumentsDir(false), home + L"Public\\"},
        {directory::userAppdataDir(nullptr, false), home + L".config\\"},
        {directory::userLocalAppdataDir(L"vx\\app", false), home + L".local\\share\\vx\\app\\"},
        {directory::allUserAppdataDir(L"vx", false), L"C:\\etc\\xdg\\vx\\"}};
    for (const auto& row : defaults)
        EXPECT_EQ(row.first.fullName(), row.second);
    EXPECT_FALSE(homeDir.has("Desktop"));
    // Relative values count as unset; the user-dirs file names the desktop and public folders.
    homeDir.makeFile("cfg/user-dirs.dirs",
                     "# comment\nXDG_DESKTOP_DIR=\"$HOME/Schreib tisch\"\nXDG_PUBLICSHARE_DIR=\"/srv/pub\"\n");
    env.set("XDG_CONFIG_HOME", homeDir / "cfg");
    env.set("XDG_DATA_HOME", "relative/data");
    env.set("XDG_CONFIG_DIRS", "relative:/opt/conf:/etc/xdg");
    EXPECT_EQ(directory::desktopDir(false).fullName(), home + L"Schreib tisch\\");
    EXPECT_EQ(directory::commonDocumentsDir(false).fullName(), L"C:\\srv\\pub\\");
    EXPECT_EQ(directory::userAppdataDir(L"app", false).fullName(), home + L"cfg\\app\\");
    EXPECT_EQ(directory::userLocalAppdataDir(nullptr, false).fullName(), home + L".local\\share\\");
    EXPECT_EQ(directory::allUserAppdataDir(nullptr, false).fullName(), L"C:\\opt\\conf\\");
    // create makes the last level only: ~/.local/share is missing.
    EXPECT_TRUE(directory::desktopDir(true).exists() && homeDir.has("Schreib tisch"));
    EXPECT_TRUE(!directory::userLocalAppdataDir(L"vx", true).exists() &&
                directory::userAppdataDir(L"vx", true).exists());
    // Without a home the folders that need one fall back to "c:\", without the sub-folder.
    env.set("HOME", nullptr);
    EXPECT_EQ(directory::userHomeDir().fullName(), L"c:\\");
    EXPECT_EQ(directory::userLocalAppdataDir(L"vx", true).fullName(), L"c:\\");
    EXPECT_EQ(directory::userAppdataDir(L"app", false).fullName(), home + L"cfg\\app\\");
#else
    // Well-known folders are the system's folders.
    const auto folder = [](int csidl) {
        wchar_t buffer[MAX_PATH + 1] = {};
        EXPECT_TRUE(SUCCEEDED(::SHGetFolderPathW(nullptr, csidl, nullptr, SHGFP_TYPE_CURRENT, buffer))) << csidl;
        return directory(vx::string(buffer)).fullName();
    };
    const std::pair<directory, vx::string> rows[] = {
        {directory::userHomeDir(), folder(CSIDL_PERSONAL)},
        {directory::userDocumentsDir(false), folder(CSIDL_PERSONAL)},
        {directory::desktopDir(false), folder(CSIDL_DESKTOPDIRECTORY)},
        {directory::commonDocumentsDir(false), folder(CSIDL_COMMON_DOCUMENTS)},
        {directory::userAppdataDir(nullptr, false), folder(CSIDL_APPDATA)},
        {directory::userLocalAppdataDir(L"vx\\app", false), folder(CSIDL_LOCAL_APPDATA) + L"vx\\app\\"},
        {directory::allUserAppdataDir(L"vx", false), folder(CSIDL_COMMON_APPDATA) + L"vx\\"}};
    for (const auto& row : rows)
        EXPECT_EQ(row.first.fullName(), row.second);
#endif
}

TEST(temporaryDirectory, orderOfPreferenceThreadsAndRandomDirectories) {
    tempTree root;
    root.addDirs({"tmp", "temp", "tmpdir", "override", "t0", "t1", "t2", "t3"});
    vxtest::scopedEnvironment env("TMP", root.windowsForm("tmp").getMBCS());
    env.set("TEMP", root.windowsForm("temp").getMBCS());
#ifndef _WIN32
    env.set("TMPDIR", root / "tmpdir");
#endif
    EXPECT_EQ(directory::systemTempDir(), root.dir("tmp"));
    env.set("TMP", "");
    EXPECT_EQ(directory::systemTempDir(), root.dir("temp"));
    env.set("TEMP", nullptr);
#ifdef _WIN32
    // After TMP and TEMP the system's own answer.
    wchar_t buffer[MAX_PATH + 2];
    const vx::string fallback = directory(vx::string(buffer, ::GetTempPathW(MAX_PATH + 2, buffer))).fullName();
#else
    EXPECT_EQ(directory::systemTempDir(), root.dir("tmpdir"));
    env.set("TMPDIR", "relative");
    const vx::string fallback = L"C:\\tmp\\";
#endif
    EXPECT_EQ(directory::systemTempDir().fullName(), fallback);
    // The override counts only while it exists; a missing one is not even taken.
    directory::overwriteSystemTempDir(root.dir("missing"));
    EXPECT_EQ(directory::systemTempDir().fullName(), fallback);
    directory::overwriteSystemTempDir(root.dir("override"));
    EXPECT_EQ(directory::systemTempDir(), root.dir("override"));
    fs::remove(root / "override");
    EXPECT_EQ(directory::systemTempDir().fullName(), fallback);
    // The thread's own entry comes first; an empty directory takes it away.
    const unsigned long self = vx::getCurrentThreadId();
    const struct { unsigned long thread; const char *dir, *expected; } entries[] = {
        {self, "missing", "missing"}, {self, "temp", "temp"}, {self + 1, nullptr, "temp"}, {self, nullptr, nullptr}};
    for (const auto& e : entries) {
        directory::setThreadTempDir(e.thread, e.dir ? root.dir(e.dir) : directory());
        EXPECT_EQ(directory::systemTempDir().fullName(), e.expected ? root.dir(e.expected).fullName() : fallback);
    }
    // Each thread keeps its own, and a random directory made without a base lies in it. Random directories are new,
    // also across threads.
    const directory before = directory::systemTempDir();
    std::set<vx::string> made;
    std::mutex lock;
    vxtest::runThreads(4, [&](int t) {
        const directory mine = root.dir("t" + std::to_string(t));
        texts shared;
        for (int round = 0; round < 200; ++round) {
            directory::setThreadTempDir(vx::getCurrentThreadId(), mine);
            EXPECT_EQ(directory::systemTempDir(), mine);
            const directory below = directory::generateRandomDirectory(directory());
            EXPECT_TRUE(directory(below.entryName().path(0)) == mine && below.remove(false));
            directory::setThreadTempDir(vx::getCurrentThreadId(), directory());
            if (round < 20)
                shared.push_back(directory::generateRandomDirectory(root.dir("base/below")).fullName());
        }
        std::lock_guard<std::mutex> guard(lock);
        made.insert(shared.begin(), shared.end());
    });
    EXPECT_EQ(directory::systemTempDir(), before);
    EXPECT_EQ(made.size(), 80u); // never the same directory twice
    for (const vx::string& name : made)
        EXPECT_TRUE(directory(name).exists());
#ifndef _WIN32
    // Where nothing may be made, the name is given, but nothing is made.
    root.makeDirs("locked");
    ::chmod((root / "locked").c_str(), 0555);
    ::chmod(root.path().c_str(), 0755);
    vxtest::expectUnprivileged([&] {
        const directory refused = directory::generateRandomDirectory(root.dir("locked"));
        return !refused.fullName().empty() && !refused.exists() &&
               refused.entryName().path(0) == root.dir("locked").fullName();
    });
#endif
}

TEST(directoryBadInput, missingBasesVanishingEntriesLongPathsAndDeepTrees) {
    tempTree root{"plain.txt"};
    for (const directory& base : {root.dir("missing"), directory(), root.dir("plain.txt")}) {
        EXPECT_TRUE(all(root, directoryIterator(base, L"*.*", 0)).empty() && walk(root, base, L"*.*", 0).empty() &&
                    all(root, fileIterator(base, L"*.*", 0)).empty() && listAll(base).empty() &&
                    !base.numberOfFiles(L"*.*", 0)) << vxtest::show(base.fullName());
    }
    // Advancing an exhausted iterator changes nothing; a moved-from one is exhausted.
    fileIterator it(root.dir(), L"*.*", 0);
    fileIterator moved(std::move(it));
    EXPECT_TRUE(it.fullName().empty() && root.relative(moved) == "plain.txt");
    moved.next(), moved++;
    recursiveFileIterator walker(root.dir(), L"*.*", 0, L"*.*", 0);
    walker.next(), walker++;
    EXPECT_TRUE(moved.fullName().empty() && current(walker).fullName().empty());
    // Entries that vanish during a walk are skipped.
    for (const char* f : {"d/a.txt", "d/b.txt", "d/c.txt", "e/gone/x.txt", "e/stays/y.txt"})
        root.makeFile(f);
    fileIterator vanishing(root.dir("d"), L"*.*", 0);
    EXPECT_EQ(root.relative(vanishing), "d/a.txt");
    fs::remove(root / "d/b.txt");
    EXPECT_EQ(root.relative(++vanishing), "d/c.txt");
    fs::remove_all(root / "d");
    EXPECT_TRUE((++vanishing).fullName().empty());
    // A sub-directory removed before the walk reaches it gives nothing.
    recursiveFileIterator partial(root.dir("e"), L"*.*", 0, L"*.*", 0);
    const std::string first = root.relative(current(partial));
    fs::remove_all(root / (first == "e/gone/x.txt" ? "e/stays" : "e/gone"));
    partial.next();
    EXPECT_EQ(first, "e/gone/x.txt");
    EXPECT_EQ(all(root, partial), names{});
    // Windows limits classic paths to 260 characters; the library's paths go beyond.
    std::string deep = "long";
    for (int level = 0; level < 12; ++level)
        deep += "/" + std::string(30, static_cast<char>('a' + level));
    const directory d = root.dir(deep);
    ASSERT_GT(d.fullName().size(), 300u);
    EXPECT_TRUE(d.create(true) && d.exists());
    const file x(d.fullName(), vx::string(L"x.txt"));
    EXPECT_TRUE(x.create(file::accessReadWrite) && x.copy(file(d.fullName(), vx::string(L"y.txt")), false));
    EXPECT_EQ(all(root, fileIterator(d, L"*.txt", 0)), (names{deep + "/x.txt", deep + "/y.txt"}));
    EXPECT_TRUE(root.dir("long").remove(true) && !root.has("long"));
    // Deep trees are walked whole and leave no descriptor open.
    using vxtest::openDescriptors; // on Windows the find handle closes once the names are read
    // Deeper than the number of levels that keep a descriptor, so the deepest are read by path.
    std::string path = "t";
    names expected;
    for (int level = 0; level < 100; ++level) {
        path += "/d";
        root.makeFile(path + "/f" + std::to_string(level));
        expected.insert(expected.begin(), path + "/f" + std::to_string(level));
    }
    const auto before = openDescriptors();
    {
        recursiveFileIterator walker(root.dir("t"), L"f*", 0, L"*.*", 0);
#ifndef _WIN32
        EXPECT_GT(openDescriptors(), before); // the levels above the current file are open
#endif
        EXPECT_EQ(all(root, walker), expected);
        directoryIterator unfinished(root.dir("t"), L"*.*", 0);
        fileIterator another(root.dir("t/d"), L"*.*", 0);
    }
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_TRUE(listAll(root.dir("t")).size() == 100u && root.dir("t").remove(true) && !root.has("t"));
    EXPECT_EQ(openDescriptors(), before);
}

#ifndef _WIN32
// Symbolic links need a privilege on Windows that tests do not have; Windows has no unreadable directories the find
// functions would pass over.
TEST(directoryBadInput, linkLoopsEndLinksAreNotEnteredAndUnreadableSubDirectoriesAreSkipped) {
    tempTree root{"t/a/x.txt", "outside/keep.txt", "u/a/x.txt", "u/b/secret.txt", "u/c/z.txt"};
    fs::create_directory_symlink(root / "t", root / "t/a/up"); // back up: a loop
    fs::create_directory_symlink(".", root / "t/a/self");      // onto itself
    fs::create_directory_symlink(root / "outside", root / "t/out");
    fs::create_symlink(root / "outside/keep.txt", root / "t/linked.txt");
    fs::create_symlink(root / "nowhere", root / "t/dangling");
    EXPECT_EQ(walk(root, root.dir("t"), L"*.*", vx::DI_SYSTEM), (names{"t/a/x.txt", "t/linked.txt"}));
    EXPECT_EQ(listAll(root.dir("t")), (texts{L".\\dangling", L".\\linked.txt", L".\\a\\x.txt"}));
    // The links are listed one level deep, marked as links.
    directoryIterator dirs(root.dir("t/a"), L"*.*", 0);
    EXPECT_TRUE(root.relative(dirs) == "t/a/self/" && dirs.attributes() == (vx::DI_SUBDIR | vx::DI_LINK));
    EXPECT_EQ(all(root, directoryIterator(root.dir("t"), L"*.*", vx::DI_LINK)), names{"t/a/"});
    EXPECT_EQ(all(root, fileIterator(root.dir("t"), L"*.*", 0)), (names{"t/dangling", "t/linked.txt"}));
    EXPECT_EQ(fileIterator(root.dir("t"), L"dangling", 0).attributes(), vx::DI_SYSTEM | vx::DI_LINK);
    // Removal takes the links themselves, never what they point to; the dangling link is a system entry and stays.
    EXPECT_TRUE(!root.dir("t").remove(true) && root.has("outside/keep.txt"));
    EXPECT_EQ(all(root, fileIterator(root.dir("t"), L"*.*", 0)), names{"t/dangling"});
    EXPECT_EQ(all(root, directoryIterator(root.dir("t"), L"*.*", 0)), names{});
    fs::remove(root / "t/dangling");
    EXPECT_TRUE(root.dir("t").remove(true) && !root.has("t"));
    ::chmod((root / "u/b").c_str(), 0);
    ::chmod(root.path().c_str(), 0755);
    vxtest::expectUnprivileged([&] {
        return walk(root, root.dir("u"), L"*.*", 0) == names{"u/a/x.txt", "u/c/z.txt"} &&
               listAll(root.dir("u")).size() == 2;
    });
}
#endif

} // namespace
