#include <vxDirectory.h>
#include <vxEnvironment.h>

#include "testSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using vx::directory;
using vx::directoryIterator;
using vx::file;
using vx::fileIterator;
using vx::recursiveFileIterator;

std::wstring wide(const std::string& ascii) { return std::wstring(ascii.begin(), ascii.end()); }

// The Windows form of a native path on drive C, which is "/".
vx::string windowsForm(const std::string& native) {
    std::wstring text = L"C:" + wide(native);
    std::replace(text.begin(), text.end(), L'/', L'\\');
    return vx::string(text);
}

// A fresh temporary directory, removed with everything in it at the end (rights restored first).
struct tempDir {
    tempDir() {
        char pattern[] = "/tmp/vxDirectory.XXXXXX";
        EXPECT_NE(::mkdtemp(pattern), nullptr);
        path = fs::canonical(pattern).string();
    }
    ~tempDir() {
        std::error_code ignored;
        for (auto it = fs::recursive_directory_iterator(path, ignored); it != fs::recursive_directory_iterator();
             it.increment(ignored))
            if (!it->is_symlink())
                fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
        fs::remove_all(path, ignored);
    }
    std::string operator/(const std::string& name) const { return path + "/" + name; }
    directory dir(const std::string& name = "") const {
        return directory(windowsForm(name.empty() ? path : *this / name));
    }
    void makeDirs(const std::string& name) const { fs::create_directories(*this / name); }
    void makeFile(const std::string& name, bool readOnly = false) const {
        fs::create_directories(fs::path(*this / name).parent_path());
        std::ofstream(*this / name) << "x";
        if (readOnly)
            ::chmod((*this / name).c_str(), 0444);
    }
    bool has(const std::string& name) const { return fs::exists(fs::symlink_status(*this / name)); }
    std::string path;
};

// Sets (or with a null value removes) variables through the library and restores them at the end.
struct variables {
    void set(const wchar_t* name, const wchar_t* value) {
        vx::string old;
        saved.emplace_back(name, vx::getEnvironmentVariable(name, old), old);
        vx::setEnvironmentVariable(name, value);
    }
    void set(const wchar_t* name, const std::string& native) { set(name, wide(native).c_str()); }
    ~variables() {
        for (auto it = saved.rbegin(); it != saved.rend(); ++it)
            vx::setEnvironmentVariable(std::get<0>(*it), std::get<1>(*it) ? std::get<2>(*it).c_str() : nullptr);
    }
    std::vector<std::tuple<const wchar_t*, bool, vx::string>> saved;
};

// Works in another directory and goes back at the end.
struct workingDirectory {
    explicit workingDirectory(const std::string& path) { fs::current_path(path); }
    ~workingDirectory() { fs::current_path(old); }
    fs::path old = fs::current_path();
};

// The names below root that a walk gives, as native relative paths.
std::string relative(const tempDir& root, const vx::fsEntry& entry) {
    const std::wstring prefix = root.dir().fullName();
    std::wstring text = entry.fullName();
    EXPECT_EQ(text.compare(0, prefix.size(), prefix), 0) << std::string(text.begin(), text.end());
    text.erase(0, prefix.size());
    std::replace(text.begin(), text.end(), L'\\', L'/');
    return std::string(text.begin(), text.end());
}

std::vector<std::string> dirNames(const tempDir& root, const directory& base, const wchar_t* filter, int mask) {
    std::vector<std::string> names;
    for (directoryIterator it(base, filter, mask); !it.fullName().empty(); ++it)
        names.push_back(relative(root, it));
    return names;
}

std::vector<std::string> fileNames(const tempDir& root, const directory& base, const wchar_t* filter, int mask) {
    std::vector<std::string> names;
    for (fileIterator it(base, filter, mask); !it.fullName().empty(); it++)
        names.push_back(relative(root, it));
    return names;
}

std::vector<std::string> walk(const tempDir& root, const directory& base, const wchar_t* fileFilter, int fileMask,
                              const wchar_t* dirFilter, int dirMask) {
    std::vector<std::string> names;
    recursiveFileIterator it(base, fileFilter, fileMask, dirFilter, dirMask);
    for (const file* f = &static_cast<const file&>(it); !f->fullName().empty(); f = &static_cast<const file&>(it)) {
        names.push_back(relative(root, *f));
        it.next();
    }
    return names;
}

using names = std::vector<std::string>;

// check() must answer true for a user without special rights: the calling one, or for the
// superuser, who may read and write everything, the user nobody in a child process.
void expectAsUser(const std::function<bool()>& check) {
    if (::geteuid() != 0) {
        EXPECT_TRUE(check());
        return;
    }
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (::setgid(65534) != 0 || ::setuid(65534) != 0)
            std::_Exit(2);
        std::_Exit(check() ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

// Three levels with hidden entries, a read-only file and names that differ only by case.
struct sampleTree : tempDir {
    sampleTree() {
        for (const char* f : {"b.txt", "A.txt", "a.txt", ".hid.txt", "Sub/x.txt", "Sub/deep/y.txt",
                              "Sub/.hiddenDir/h.txt", "sub/z.txt"})
            makeFile(f);
        makeFile("ro.txt", true);
        makeDirs("empty");
    }
};

// --- filters -----------------------------------------------------------------------------------------

TEST(directoryFilter, followsTheFindFunctions) {
    tempDir root;
    for (const char* f : {"a.txt", "B.TXT", "noext", "x.tar.gz", "abc.", "readme", ".hidden", "%HOME%.txt"})
        root.makeFile(f);
    root.makeDirs("dir.txt");
    const struct {
        const wchar_t* filter;
        names files;
    } rows[] = {
        {L"*.*", {"%HOME%.txt", ".hidden", "a.txt", "abc.", "B.TXT", "noext", "readme", "x.tar.gz"}},
        {L"*", {"%HOME%.txt", ".hidden", "a.txt", "abc.", "B.TXT", "noext", "readme", "x.tar.gz"}},
        {L"*.TxT", {"%HOME%.txt", "a.txt", "B.TXT"}}, // case is ignored; directories never count
        {L"?.txt", {"a.txt", "B.TXT"}},
        {L"??.txt", {}},
        {L"*.", {"abc.", "noext", "readme"}},   // names without a dot (and a real trailing dot)
        {L"readme.", {"readme"}},
        {L"noext.*", {"noext"}},                // ".*" may match nothing at the end
        {L"x.*", {"x.tar.gz"}},
        {L"*.gz", {"x.tar.gz"}},
        {L"*.htm", {}},                         // no short names: ".html" would not count either
        {L"x*z", {"x.tar.gz"}},
        {L".*", {".hidden"}},
        {L"a*", {"a.txt", "abc."}},
        {L"%HOME%.txt", {"%HOME%.txt"}},        // the name is taken as it is, never expanded
        {L"", {}},
        {nullptr, {}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(fileNames(root, root.dir(), row.filter, 0), row.files) << (row.filter ? row.filter : L"<null>");
    EXPECT_EQ(root.dir().numberOfFiles(L"*.txt", 0), 3u);
    EXPECT_EQ(root.dir().numberOfFiles(nullptr, 0), 0u);
}

TEST(directoryFilter, aDelimiterInTheFilterSearchesThereButNamesBelowTheBase) {
    tempDir root;
    root.makeFile("Sub/x.txt");
    // The search text is base plus filter, split at its last delimiter, as the find functions
    // split it; the entries are still named below the base.
    EXPECT_EQ(fileNames(root, root.dir(), L"Sub\\*.txt", 0), names{"x.txt"});
    EXPECT_EQ(fileNames(root, root.dir(), L"Sub/", 0), names{});
    EXPECT_EQ(dirNames(root, root.dir("Sub"), L"..\\*", 0), names{"Sub/Sub/"});
}

// --- iteration order -----------------------------------------------------------------------------

TEST(directoryIteration, eachIteratorInItsOrder) {
    sampleTree tree;
    const directory root = tree.dir();
    const struct {
        directory base;
        const wchar_t* filter;
        int mask;
        names expected;
    } dirRows[] = {
        {root, L"*.*", 0, {"empty/", "Sub/", "sub/"}},
        {tree.dir("Sub"), L"*.*", 0, {"Sub/.hiddenDir/", "Sub/deep/"}},
        {tree.dir("Sub"), L"*", vx::DI_HIDDEN, {"Sub/deep/"}},
        {root, L"s*", 0, {"Sub/", "sub/"}},
        {root, L"*.*", vx::DI_SUBDIR, {}},
    };
    for (const auto& row : dirRows)
        EXPECT_EQ(dirNames(tree, row.base, row.filter, row.mask), row.expected) << row.base.fullName().getMBCS();

    const struct {
        int mask;
        names expected;
    } fileRows[] = {
        {0, {".hid.txt", "A.txt", "a.txt", "b.txt", "ro.txt"}},
        {vx::DI_HIDDEN, {"A.txt", "a.txt", "b.txt", "ro.txt"}},
        {vx::DI_RDONLY, {".hid.txt", "A.txt", "a.txt", "b.txt"}},
        {vx::DI_ARCH, {}},
        {vx::DI_SYSTEM, {".hid.txt", "A.txt", "a.txt", "b.txt", "ro.txt"}},
    };
    for (const auto& row : fileRows)
        EXPECT_EQ(fileNames(tree, root, L"*.*", row.mask), row.expected) << row.mask;

    const struct {
        const wchar_t* fileFilter;
        int fileMask;
        const wchar_t* dirFilter;
        int dirMask;
        names expected;
    } walkRows[] = {
        {L"*.*", 0, L"*.*", 0,
         {"Sub/.hiddenDir/h.txt", "Sub/deep/y.txt", "Sub/x.txt", "sub/z.txt", ".hid.txt", "A.txt", "a.txt", "b.txt",
          "ro.txt"}},
        {L"*.*", vx::DI_HIDDEN | vx::DI_RDONLY, L"*.*", vx::DI_HIDDEN,
         {"Sub/deep/y.txt", "Sub/x.txt", "sub/z.txt", "A.txt", "a.txt", "b.txt"}},
        // The directory filter limits the descent, the file filter does not.
        {L"*.*", 0, L"s*", 0, {"Sub/x.txt", "sub/z.txt", ".hid.txt", "A.txt", "a.txt", "b.txt", "ro.txt"}},
        {L"y*", 0, L"*", 0, {"Sub/deep/y.txt"}},
        {L"*.*", 0, L"*.*", vx::DI_SUBDIR, {".hid.txt", "A.txt", "a.txt", "b.txt", "ro.txt"}},
        {L"nothing", 0, L"*.*", 0, {}},
    };
    for (const auto& row : walkRows)
        EXPECT_EQ(walk(tree, root, row.fileFilter, row.fileMask, row.dirFilter, row.dirMask), row.expected)
            << row.fileFilter << L" " << row.dirFilter;

    // Attributes of the current entry come with it.
    directoryIterator d(tree.dir("Sub"), L"*.*", 0);
    EXPECT_EQ(d.attributes(), vx::DI_SUBDIR | vx::DI_HIDDEN);
    fileIterator f(root, L"ro.txt", 0);
    EXPECT_EQ(f.attributes(), vx::DI_ARCH | vx::DI_RDONLY);
    f.next();
    EXPECT_EQ(f.attributes(), 0);
}

TEST(directoryIteration, subDirectoryFilesComeBeforeTheDirectorysOwn) {
    tempDir root;
    root.makeFile("a/x.txt");
    root.makeFile("y.txt");
    EXPECT_EQ(walk(root, root.dir(), L"*.*", 0, L"*.*", 0), (names{"a/x.txt", "y.txt"}));
    std::vector<vx::string> listed;
    root.dir().listAllFiles(listed, true, L"*.*", 0);
    EXPECT_EQ(listed, (std::vector<vx::string>{L".\\y.txt", L".\\a\\x.txt"}));
}

TEST(directoryIteration, listAllFilesAgreesWithTheRecursiveWalk) {
    sampleTree tree;
    tree.makeFile("Sub/deep/deeper/q.TXT");
    tree.makeFile("Sub/deep/.h/r.txt");
    for (const int mask : {0, vx::DI_HIDDEN, vx::DI_RDONLY}) {
        std::vector<vx::string> listed{L"kept"};
        tree.dir().listAllFiles(listed, true, L"*.txt", mask);
        ASSERT_EQ(listed.front(), L"kept"); // appended to what was there
        listed.erase(listed.begin());
        // listAllFiles never enters hidden or system directories, whatever the mask.
        std::multiset<vx::string> fromWalk;
        for (const std::string& name : walk(tree, tree.dir(), L"*.txt", mask, L"*.*", vx::DI_HIDDEN | vx::DI_SYSTEM)) {
            vx::string text = L".\\" + wide(name);
            std::replace(text.begin(), text.end(), L'/', L'\\');
            fromWalk.insert(text.lower());
        }
        EXPECT_EQ(std::multiset<vx::string>(listed.begin(), listed.end()), fromWalk) << mask;
        EXPECT_EQ(listed.size(), mask == 0 ? 9u : 8u);
    }
    // Files first, then the sub-directories; only this level without recursion.
    std::vector<vx::string> flat;
    tree.dir("Sub").listAllFiles(flat, false, L"*.*", 0);
    EXPECT_EQ(flat, std::vector<vx::string>{L".\\x.txt"});
}

// --- creating, removing, clearing ----------------------------------------------------------------

TEST(directoryTree, createMakesEveryLevelOnlyWhenAsked) {
    tempDir root;
    variables vars;
    vars.set(L"VX_DRIVES", "Q=" + root.path + "/missing-root");
    EXPECT_FALSE(root.dir("a/b/c").create(false));
    EXPECT_FALSE(root.has("a"));
    EXPECT_TRUE(root.dir("a/b/c").create(true));
    EXPECT_TRUE(fs::is_directory(root / "a/b/c"));
    EXPECT_TRUE(root.dir("a/b").create(false)); // exists already
    EXPECT_TRUE(root.dir("A/B/new").create(false)); // the parent is found whatever its case
    EXPECT_TRUE(fs::is_directory(root / "a/b/new"));
    EXPECT_FALSE(directory().create(true));
    // A name holding a '%' pair is made as it stands, parents included.
    vx::fsEntryName percent;
    percent.assignText(root.dir().fullName() + L"%HOME%\\x\\");
    EXPECT_TRUE(directory(percent).create(true));
    EXPECT_TRUE(fs::is_directory(root / "%HOME%/x"));
    EXPECT_FALSE(directory(vx::string(L"Q:\\x\\y\\")).create(true)); // a missing drive root ends it
    EXPECT_FALSE(directory(vx::string(L"R:\\x\\")).create(true));    // so does an unknown drive
    EXPECT_FALSE(directory(vx::string(L"\\\\server\\share\\x\\")).create(true));
}

TEST(directoryTree, removeLeavesReadOnlyHiddenAndSystemEntries) {
    const struct {
        const char* kept; // a special entry deep in the tree, or null
        bool fifo;
    } rows[] = {{nullptr, false}, {"a/b/.hidden", false}, {"a/b/ro.txt", false}, {"a/b/pipe", true}};
    for (const auto& row : rows) {
        tempDir root;
        root.makeFile("t/a/b/plain.txt");
        root.makeFile("t/a/other.txt");
        root.makeFile("t/c/d.txt");
        root.makeFile("t/top.txt");
        if (row.kept && row.fifo)
            ASSERT_EQ(::mkfifo((root / "t/" + row.kept).c_str(), 0644), 0);
        else if (row.kept)
            root.makeFile(std::string("t/") + row.kept, std::string(row.kept).find("ro") != std::string::npos);
        const bool removed = root.dir("t").remove(true);
        EXPECT_EQ(removed, row.kept == nullptr) << (row.kept ? row.kept : "");
        if (row.kept) {
            // The entry and the directories leading to it stay; everything else is gone.
            EXPECT_TRUE(root.has(std::string("t/") + row.kept));
            EXPECT_FALSE(root.has("t/a/b/plain.txt") || root.has("t/a/other.txt") || root.has("t/c") ||
                         root.has("t/top.txt"));
        } else {
            EXPECT_FALSE(root.has("t"));
        }
    }
}

TEST(directoryTree, removeWithoutRecursionAndClear) {
    tempDir root;
    root.makeFile("t/f.txt");
    root.makeFile("t/s/g.txt");
    root.makeFile("t/s/.h.txt");
    root.makeFile("t/ro.txt", true);
    EXPECT_FALSE(root.dir("t").remove(false)); // the files go, the sub-directory stays
    EXPECT_FALSE(root.has("t/f.txt"));
    EXPECT_TRUE(root.has("t/s/g.txt") && root.has("t/ro.txt"));

    root.makeFile("t/f.txt");
    EXPECT_TRUE(root.dir("t").clear(false));
    EXPECT_FALSE(root.has("t/f.txt"));
    EXPECT_TRUE(root.has("t/s/g.txt"));
    EXPECT_TRUE(root.dir("t").clear(true));
    EXPECT_FALSE(root.has("t/s/g.txt"));
    EXPECT_TRUE(root.has("t/s/.h.txt") && root.has("t/ro.txt") && root.has("t/s"));
    EXPECT_TRUE(root.dir("missing").clear(true));
    EXPECT_FALSE(root.dir("missing").remove(true));
    EXPECT_FALSE(directory().remove(true));

    // A read-only directory is not removed, even when empty.
    root.makeDirs("locked");
    ::chmod((root / "locked").c_str(), 0555);
    EXPECT_FALSE(root.dir("locked").remove(true));
    EXPECT_TRUE(root.has("locked"));
}

TEST(directoryTree, isEmptyOverlooksHiddenAndSystemEntries) {
    tempDir root;
    root.makeFile("hidden/.h");
    root.makeFile("file/f");
    root.makeDirs("sub/s");
    root.makeDirs("none");
    root.makeDirs("system");
    ASSERT_EQ(::mkfifo((root / "system/fifo").c_str(), 0644), 0);
    const struct {
        const char* name;
        bool empty;
    } rows[] = {{"hidden", true}, {"system", true}, {"file", false}, {"sub", false},
                {"none", true},   {"missing", true}, {"", false}};
    for (const auto& row : rows)
        EXPECT_EQ(root.dir(row.name).isEmpty(), row.empty) << row.name;
}

TEST(directoryTree, renameKeepsTheParent) {
    tempDir root;
    root.makeFile("old/f.txt");
    root.makeDirs("taken");
    directory d = root.dir("old");
    EXPECT_FALSE(d.rename(L"taken"));
    EXPECT_EQ(d, root.dir("old"));
    EXPECT_TRUE(d.rename(L"new"));
    EXPECT_EQ(d.fullName(), root.dir("new").fullName());
    EXPECT_TRUE(root.has("new/f.txt") && !root.has("old"));
    EXPECT_TRUE(d.rename(L"NEW")); // only the case changes
    EXPECT_EQ(d.fullName(), root.dir("NEW").fullName());
    EXPECT_TRUE(root.has("NEW/f.txt"));
    directory none;
    EXPECT_FALSE(none.rename(L"x"));
}

TEST(directoryTree, readOnlyFilesAreFound) {
    tempDir root;
    root.makeFile("a/b/ro.txt", true);
    root.makeFile("a/plain.txt");
    EXPECT_FALSE(root.dir("a").containsReadOnlyFiles(false));
    EXPECT_TRUE(root.dir("a").containsReadOnlyFiles(true));
    EXPECT_TRUE(root.dir("a/b").containsReadOnlyFiles(false));
    EXPECT_FALSE(root.dir("missing").containsReadOnlyFiles(true));
}

// --- names and places ----------------------------------------------------------------------------

TEST(directoryName, rootsAndComparison) {
    const struct {
        const wchar_t* name;
        bool root;
    } rows[] = {{L"C:\\", true},           {L"c:", true},      {L"\\\\server\\", true},
                {L"\\\\server\\share\\", false}, {L"C:\\a\\", false}, {L"", false}};
    for (const auto& row : rows) {
        directory d;
        d = vx::fsEntryName(vx::string(row.name));
        EXPECT_EQ(d.isRoot(), row.root) << row.name;
    }
    EXPECT_EQ(directory(vx::string(L"C:\\Data\\X")), directory(vx::string(L"c:\\data\\x\\")));
    EXPECT_NE(directory(vx::string(L"C:\\Data\\X")), directory(vx::string(L"C:\\Data\\Y")));
    EXPECT_NE(directory(vx::string(L"C:\\Data")), directory(vx::string(L"C:\\Data\\X")));
    EXPECT_FALSE(directory() == directory()); // two empty names are not equal
    EXPECT_EQ(directory(vx::string(L"C:\\a"), L"b").fullName(), L"C:\\a\\b\\");
    EXPECT_EQ(directory(vx::string(L""), L"b").fullName(), L"");
}

TEST(directoryName, makeCurrentChangesTheCurrentDirectoryOnlyOnSuccess) {
    tempDir root;
    root.makeDirs("here");
    root.makeFile("plain");
    workingDirectory back(root.path);
    EXPECT_TRUE(root.dir().isCurrent());
    EXPECT_FALSE(root.dir("here").isCurrent());
    EXPECT_TRUE(root.dir("HERE").makeCurrent()); // found whatever its case
    EXPECT_EQ(fs::current_path(), fs::path(root / "here"));
    EXPECT_TRUE(root.dir("here").isCurrent());
    for (const char* bad : {"missing", "plain"}) {
        EXPECT_FALSE(root.dir(bad).makeCurrent()) << bad;
        EXPECT_EQ(fs::current_path(), fs::path(root / "here"));
    }
    EXPECT_FALSE(directory().makeCurrent());
    EXPECT_FALSE(directory(vx::string(L"R:\\")).makeCurrent());
}

TEST(directoryName, diskSpaceSaturatesAt32Bits) {
    tempDir root;
    const fs::space_info space = fs::space(root.path);
    unsigned long value = 7;
    const auto expect = [](std::uintmax_t bytes) { return bytes > 0xFFFFFFFFu ? 0xFFFFFFFFul : bytes; };
    ASSERT_TRUE(root.dir().getDiskSpace(directory::dsTotal, directory::dsBytes, &value));
    EXPECT_EQ(value, expect(space.capacity));
    ASSERT_TRUE(root.dir().getDiskSpace(directory::dsTotal, directory::dsMega, &value));
    EXPECT_EQ(value, expect(space.capacity >> 20));
    ASSERT_TRUE(root.dir().getDiskSpace(directory::dsTotal, directory::dsGiga, &value));
    EXPECT_EQ(value, expect(space.capacity >> 30));
    ASSERT_TRUE(root.dir().getDiskSpace(directory::dsFreeToCaller, directory::dsKilo, &value));
    ASSERT_TRUE(root.dir().getDiskSpace(static_cast<directory::eDSType>(3), directory::dsKilo, &value));
    EXPECT_EQ(value, 0u);
    value = 7;
    ASSERT_TRUE(root.dir().getDiskSpace(directory::dsTotal, static_cast<directory::eDSBaseSize>(9), &value));
    EXPECT_EQ(value, 0u);
    value = 7;
    EXPECT_FALSE(root.dir("missing").getDiskSpace(directory::dsTotal, directory::dsBytes, &value));
    EXPECT_FALSE(directory().getDiskSpace(directory::dsTotal, directory::dsBytes, &value));
    EXPECT_EQ(value, 7u);
    EXPECT_FALSE(root.dir().getDiskSpace(directory::dsTotal, directory::dsBytes, nullptr));
}

TEST(directoryName, wellKnownFolders) {
    tempDir root;
    variables vars;
    vars.set(L"HOME", root.path);
    vars.set(L"XDG_CONFIG_HOME", nullptr);
    vars.set(L"XDG_DATA_HOME", nullptr);
    vars.set(L"XDG_CONFIG_DIRS", nullptr);
    const vx::string home = root.dir().fullName();
    const struct {
        directory got;
        vx::string expected;
    } defaults[] = {
        {directory::userHomeDir(), home},
        {directory::userDocumentsDir(false), home},
        {directory::desktopDir(false), home + L"Desktop\\"},
        {directory::commonDocumentsDir(false), home + L"Public\\"},
        {directory::userAppdataDir(nullptr, false), home + L".config\\"},
        {directory::userLocalAppdataDir(L"vx\\app", false), home + L".local\\share\\vx\\app\\"},
        {directory::allUserAppdataDir(L"vx", false), L"C:\\etc\\xdg\\vx\\"},
    };
    for (const auto& row : defaults)
        EXPECT_EQ(row.got.fullName(), row.expected);
    EXPECT_FALSE(root.has("Desktop"));

    // Relative values count as unset; the user-dirs file names the desktop and public folders.
    root.makeDirs("cfg");
    std::ofstream(root / "cfg/user-dirs.dirs") << "# comment\nXDG_DESKTOP_DIR=\"$HOME/Schreib tisch\"\n"
                                               << "XDG_PUBLICSHARE_DIR=\"/srv/pub\"\n";
    vars.set(L"XDG_CONFIG_HOME", root / "cfg");
    vars.set(L"XDG_DATA_HOME", "relative/data");
    vars.set(L"XDG_CONFIG_DIRS", "relative:/opt/conf:/etc/xdg");
    EXPECT_EQ(directory::desktopDir(false).fullName(), home + L"Schreib tisch\\");
    EXPECT_EQ(directory::commonDocumentsDir(false).fullName(), L"C:\\srv\\pub\\");
    EXPECT_EQ(directory::userAppdataDir(L"app", false).fullName(), home + L"cfg\\app\\");
    EXPECT_EQ(directory::userLocalAppdataDir(nullptr, false).fullName(), home + L".local\\share\\");
    EXPECT_EQ(directory::allUserAppdataDir(nullptr, false).fullName(), L"C:\\opt\\conf\\");

    // create makes the last level only.
    EXPECT_TRUE(directory::desktopDir(true).exists());
    EXPECT_TRUE(root.has("Schreib tisch"));
    EXPECT_FALSE(directory::userLocalAppdataDir(L"vx", true).exists()); // ~/.local/share is missing
    EXPECT_TRUE(directory::userAppdataDir(L"vx", true).exists());

    // Without a home the folders that need one fall back to "c:\", without the sub-folder.
    vars.set(L"HOME", nullptr);
    EXPECT_EQ(directory::userHomeDir().fullName(), L"c:\\");
    EXPECT_EQ(directory::userLocalAppdataDir(L"vx", true).fullName(), L"c:\\");
    EXPECT_EQ(directory::userAppdataDir(L"app", false).fullName(), home + L"cfg\\app\\");
}

// --- temporary directories -----------------------------------------------------------------------

TEST(temporaryDirectory, orderOfPreference) {
    tempDir root;
    root.makeDirs("tmp");
    root.makeDirs("temp");
    root.makeDirs("tmpdir");
    root.makeDirs("override");
    variables vars;
    vars.set(L"TMP", windowsForm(root / "tmp").c_str());
    vars.set(L"TEMP", windowsForm(root / "temp").c_str());
    vars.set(L"TMPDIR", root / "tmpdir");
    EXPECT_EQ(directory::systemTempDir(), root.dir("tmp"));
    vars.set(L"TMP", L"");
    EXPECT_EQ(directory::systemTempDir(), root.dir("temp"));
    vars.set(L"TEMP", nullptr);
    EXPECT_EQ(directory::systemTempDir(), root.dir("tmpdir"));
    vars.set(L"TMPDIR", "relative");
    EXPECT_EQ(directory::systemTempDir().fullName(), L"C:\\tmp\\");

    // The override counts only while it exists; a missing one is not even taken.
    directory::overwriteSystemTempDir(root.dir("missing"));
    EXPECT_EQ(directory::systemTempDir().fullName(), L"C:\\tmp\\");
    directory::overwriteSystemTempDir(root.dir("override"));
    EXPECT_EQ(directory::systemTempDir(), root.dir("override"));
    fs::remove(root / "override");
    EXPECT_EQ(directory::systemTempDir().fullName(), L"C:\\tmp\\");

    // The thread's own entry comes first; an empty directory takes it away.
    const unsigned long self = vx::getCurrentThreadId();
    directory::setThreadTempDir(self, root.dir("missing"));
    EXPECT_EQ(directory::systemTempDir(), root.dir("missing"));
    directory::setThreadTempDir(self, root.dir("temp"));
    EXPECT_EQ(directory::systemTempDir(), root.dir("temp"));
    directory::setThreadTempDir(self + 1, directory());
    EXPECT_EQ(directory::systemTempDir(), root.dir("temp"));
    directory::setThreadTempDir(self, directory());
    EXPECT_EQ(directory::systemTempDir().fullName(), L"C:\\tmp\\");
}

TEST(temporaryDirectory, eachThreadKeepsItsOwn) {
    tempDir root;
    root.makeDirs("t0");
    root.makeDirs("t1");
    const directory before = directory::systemTempDir();
    vxtest::runThreads(2, [&](int t) {
        const directory mine = root.dir("t" + std::to_string(t));
        for (int round = 0; round < 200; ++round) {
            directory::setThreadTempDir(vx::getCurrentThreadId(), mine);
            EXPECT_EQ(directory::systemTempDir(), mine);
            // A directory made below it lies in this thread's directory.
            const directory made = directory::generateRandomDirectory(directory());
            EXPECT_EQ(directory(made.entryName().path(0)), mine);
            EXPECT_TRUE(made.remove(false));
            directory::setThreadTempDir(vx::getCurrentThreadId(), directory());
        }
    });
    EXPECT_EQ(directory::systemTempDir(), before);
}

TEST(temporaryDirectory, randomDirectoriesAreNew) {
    tempDir root;
    std::set<vx::string> made;
    vxtest::runThreads(4, [&](int) {
        std::vector<vx::string> mine;
        for (int i = 0; i < 20; ++i)
            mine.push_back(directory::generateRandomDirectory(root.dir("base/below")).fullName());
        static std::mutex lock;
        std::lock_guard<std::mutex> guard(lock);
        made.insert(mine.begin(), mine.end());
    });
    EXPECT_EQ(made.size(), 80u); // never the same directory twice, also across threads
    for (const vx::string& name : made)
        EXPECT_TRUE(directory(name).exists());

    // Where nothing may be made, the name is given, but nothing is made.
    root.makeDirs("locked");
    ::chmod((root / "locked").c_str(), 0555);
    ::chmod(root.path.c_str(), 0755);
    expectAsUser([&] {
        const directory refused = directory::generateRandomDirectory(root.dir("locked"));
        return !refused.fullName().empty() && !refused.exists() &&
               refused.entryName().path(0) == root.dir("locked").fullName();
    });
}

// --- bad input -----------------------------------------------------------------------------------

TEST(directoryBadInput, missingBasesGiveExhaustedIterators) {
    tempDir root;
    root.makeFile("plain.txt");
    for (const directory& base : {root.dir("missing"), directory(), root.dir("plain.txt")}) {
        EXPECT_TRUE(directoryIterator(base, L"*.*", 0).fullName().empty());
        EXPECT_TRUE(fileIterator(base, L"*.*", 0).fullName().empty());
        EXPECT_TRUE(static_cast<const file&>(recursiveFileIterator(base, L"*.*", 0, L"*.*", 0)).fullName().empty());
        std::vector<vx::string> out;
        base.listAllFiles(out, true, L"*.*", 0);
        EXPECT_TRUE(out.empty());
        EXPECT_EQ(base.numberOfFiles(L"*.*", 0), 0u);
    }
    // Advancing an exhausted iterator changes nothing; a moved-from one is exhausted.
    fileIterator it(root.dir(), L"*.*", 0);
    fileIterator moved(std::move(it));
    EXPECT_TRUE(it.fullName().empty());
    EXPECT_EQ(relative(root, moved), "plain.txt");
    moved.next();
    moved.next();
    EXPECT_TRUE(moved.fullName().empty());
    recursiveFileIterator walker(root.dir(), L"*.*", 0, L"*.*", 0);
    walker.next();
    walker++;
    EXPECT_TRUE(static_cast<const file&>(walker).fullName().empty());
}

TEST(directoryBadInput, entriesThatVanishDuringAWalkAreSkipped) {
    tempDir root;
    for (const char* f : {"d/a.txt", "d/b.txt", "d/c.txt", "e/gone/x.txt", "e/stays/y.txt"})
        root.makeFile(f);
    fileIterator it(root.dir("d"), L"*.*", 0);
    EXPECT_EQ(relative(root, it), "d/a.txt");
    fs::remove(root / "d/b.txt");
    it.next();
    EXPECT_EQ(relative(root, it), "d/c.txt");
    fs::remove_all(root / "d");
    it.next();
    EXPECT_TRUE(it.fullName().empty());

    // A sub-directory removed before the walk reaches it gives nothing.
    recursiveFileIterator walker(root.dir("e"), L"*.*", 0, L"*.*", 0);
    std::vector<std::string> seen{relative(root, walker)};
    fs::remove_all(root / (seen.front() == "e/gone/x.txt" ? "e/stays" : "e/gone"));
    for (walker.next(); !static_cast<const file&>(walker).fullName().empty(); walker.next())
        seen.push_back(relative(root, walker));
    EXPECT_EQ(seen, names{"e/gone/x.txt"});
}

TEST(directoryBadInput, unreadableSubDirectoriesAreSkipped) {
    tempDir root;
    root.makeFile("a/x.txt");
    root.makeFile("b/secret.txt");
    root.makeFile("c/z.txt");
    ::chmod((root / "b").c_str(), 0);
    ::chmod(root.path.c_str(), 0755);
    const auto check = [&] {
        names got = walk(root, root.dir(), L"*.*", 0, L"*.*", 0);
        std::vector<vx::string> listed;
        root.dir().listAllFiles(listed, true, L"*.*", 0);
        return got == names{"a/x.txt", "c/z.txt"} && listed.size() == 2;
    };
    expectAsUser(check);
}

TEST(directoryBadInput, deepTreesAreWalkedWholeAndLeaveNoDescriptorOpen) {
    const auto openDescriptors = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    };
    tempDir root;
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
        EXPECT_GT(openDescriptors(), before); // the levels above the current file are open
        names got;
        for (; !static_cast<const file&>(walker).fullName().empty(); walker.next())
            got.push_back(relative(root, walker));
        EXPECT_EQ(got, expected);
        directoryIterator unfinished(root.dir("t"), L"*.*", 0);
        fileIterator another(root.dir("t/d"), L"*.*", 0);
    }
    EXPECT_EQ(openDescriptors(), before);
    std::vector<vx::string> listed;
    root.dir("t").listAllFiles(listed, true, L"*.*", 0);
    EXPECT_EQ(listed.size(), 100u);
    EXPECT_TRUE(root.dir("t").remove(true));
    EXPECT_FALSE(root.has("t"));
    EXPECT_EQ(openDescriptors(), before);
}

TEST(directoryBadInput, linkLoopsEndAndLinksAreNotEntered) {
    tempDir root;
    root.makeFile("t/a/x.txt");
    root.makeFile("outside/keep.txt");
    fs::create_directory_symlink(root / "t", root / "t/a/up");    // back up: a loop
    fs::create_directory_symlink(".", root / "t/a/self");         // onto itself
    fs::create_directory_symlink(root / "outside", root / "t/out");
    fs::create_symlink(root / "outside/keep.txt", root / "t/linked.txt");
    fs::create_symlink(root / "nowhere", root / "t/dangling");
    const names expected{"t/a/x.txt", "t/linked.txt"};
    EXPECT_EQ(walk(root, root.dir("t"), L"*.*", vx::DI_SYSTEM, L"*.*", 0), expected);
    std::vector<vx::string> listed;
    root.dir("t").listAllFiles(listed, true, L"*.*", 0);
    EXPECT_EQ(listed, (std::vector<vx::string>{L".\\dangling", L".\\linked.txt", L".\\a\\x.txt"}));
    // The links are listed one level deep, marked as links.
    directoryIterator dirs(root.dir("t/a"), L"*.*", 0);
    EXPECT_EQ(relative(root, dirs), "t/a/self/");
    EXPECT_EQ(dirs.attributes(), vx::DI_SUBDIR | vx::DI_LINK);
    EXPECT_EQ(dirNames(root, root.dir("t"), L"*.*", vx::DI_LINK), names{"t/a/"});
    EXPECT_EQ(fileNames(root, root.dir("t"), L"*.*", 0), (names{"t/dangling", "t/linked.txt"}));
    EXPECT_EQ(fileIterator(root.dir("t"), L"dangling", 0).attributes(), vx::DI_SYSTEM | vx::DI_LINK);

    // Removal takes the links themselves, never what they point to; the dangling link is a
    // system entry and stays.
    EXPECT_FALSE(root.dir("t").remove(true));
    EXPECT_TRUE(root.has("outside/keep.txt"));
    EXPECT_EQ(fileNames(root, root.dir("t"), L"*.*", 0), names{"t/dangling"});
    EXPECT_EQ(dirNames(root, root.dir("t"), L"*.*", 0), names{});
    fs::remove(root / "t/dangling");
    EXPECT_TRUE(root.dir("t").remove(true));
    EXPECT_FALSE(root.has("t"));
}

} // namespace
