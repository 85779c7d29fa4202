#include <vxEnvironment.h>
#include <vxSearchPath.h>

#include "testSupport.h"

namespace {

using names = std::vector<std::wstring>;

// A temporary tree; its paths are given in Windows form (on POSIX systems on the default drive table).
class searchPathTest : public ::testing::Test {
protected:
    // Makes the directories of a relative native path and gives its Windows form.
    std::wstring dir(const std::string& relative) const {
        mRoot.makeDirs(relative);
        return win(relative);
    }
    std::wstring win(const std::string& relative) const { return mRoot.windowsForm(relative); }
    // The full names of the entries of a search path or a list of files.
    template <class List>
    static names listed(const List& list) {
        names out;
        for (const auto& entry : list)
            out.push_back(entry.fullName());
        return out;
    }

    vxtest::scopedEnvironment mDrives{"VX_DRIVES", nullptr};
    vxtest::tempDir mRoot;
};

std::wstring slash(const std::wstring& text) { return text + L"\\"; }

TEST_F(searchPathTest, fromStringKeepsExistingDistinctDirectoriesInOrderAndFindingTakesTheFirstEntry) {
    const std::wstring a = dir("a"), b = dir("b"), lower = dir("x"), upper = win("X");
    vx::searchPath path;
    vx::searchPath::fromString(a + L";;" + b + L";", path, L';');
    EXPECT_EQ(listed(path), (names{slash(a), slash(b)}));
    // Blanks and tabs around a piece go; a missing directory and a duplicate in another case are
    // not added; the first spelling stays. Repeated calls accumulate.
    vx::searchPath::fromString(L" \t" + upper + L"  ;" + lower + L";" + win("missing") + L";" + a, path, L';');
    EXPECT_EQ(listed(path), (names{slash(a), slash(b), slash(upper)}));
    path.appendDirectory(vx::directory(win("missing")));
    EXPECT_TRUE(path.containsDirectory(vx::directory(win("MISSING"))));
    path.removeDirectory(vx::directory(win("B")));
    EXPECT_EQ(listed(path), (names{slash(a), slash(upper), slash(win("missing"))}));
    // Relative pieces against a base.
    const std::wstring base = dir("base"), sub = dir("base/sub"), other = dir("other");
    vx::searchPath based;
    vx::searchPath::fromString(L".\\sub;" + other + L";.\\none", based, vx::directory(base), L';');
    EXPECT_EQ(listed(based), (names{slash(sub), slash(other)}));
    EXPECT_TRUE(based == based && based != path);
    // PATH is read with the system's separator; an empty one adds nothing.
    vxtest::scopedEnvironment env("PATH", "");
    vx::searchPath fromPath;
    vx::searchPath::fromDollarPath(fromPath);
    EXPECT_TRUE(fromPath.empty());
    env.set("PATH", (mRoot / "a") + static_cast<char>(vx::searchPath::pathSeparator) + (mRoot / "b"));
    vx::searchPath::fromDollarPath(fromPath);
    EXPECT_EQ(listed(fromPath), (names{slash(a), slash(b)}));
    // Finding takes the first entry; a deep hit beats a later direct one.
    const std::wstring early = win("early"), late = win("late");
    for (const char* name : {"early/deep/er/target.txt", "early/.hidden/target.txt", "late/target.txt"})
        mRoot.makeFile(name);
    vx::searchPath list;
    vx::searchPath::fromString(early + L";" + late, list, L';');
    vx::directory found(win("unchanged"));
    EXPECT_TRUE(list.findContainingDir(L"target.txt", found, false) && found.fullName() == slash(late));
    EXPECT_TRUE(list.findContainingDir(L"target.txt", found, true) && found.fullName() == slash(early + L"\\deep\\er"));
    vx::file f;
    EXPECT_TRUE(list.findFile(L"er\\target.txt", f, true) && f.fullName() == early + L"\\deep\\er\\target.txt");
    found = vx::directory(win("unchanged"));
    EXPECT_FALSE(list.findContainingDir(L"absent.txt", found, true) || found.fullName() != slash(win("unchanged")));
    // findFiles skips hidden entries and keeps duplicates; the other entries of the path hold no files.
    const std::wstring tree = win("a");
    for (const char* name : {"a/one.txt", "a/.two.txt", "a/sub/three.txt", "a/.hiddenDir/four.txt", "a/sub/five.dat"})
        mRoot.makeFile(name);
    std::vector<vx::file> out;
    path.findFiles(L"*.txt", out, false);
    path.findFiles(L"*.txt", out, true);
    EXPECT_EQ(listed(out), (names{tree + L"\\one.txt", tree + L"\\one.txt", tree + L"\\sub\\three.txt"}));
    // Collecting subdirectories is depth first and ends at links.
    const std::wstring top = dir("top");
    for (const char* below : {"top/a/a1", "top/b", "top/.hidden/h1"})
        mRoot.makeDirs(below);
#ifdef _WIN32
    const names loop; // a link needs a privilege on Windows that tests do not have
#else
    std::filesystem::create_directory_symlink(mRoot / "top", mRoot / "top/b/loop");
    const names loop{slash(top + L"\\b\\loop")};
#endif
    const auto withLoop = [&](names list) {
        list.insert(list.end(), loop.begin(), loop.end());
        return list;
    };
    vx::searchPath collected;
    collected.collectSubdirectories(vx::directory(top), true);
    EXPECT_EQ(listed(collected), withLoop({slash(top + L"\\a"), slash(top + L"\\a\\a1"), slash(top + L"\\b")}));
    // The list form walks the entries it held when it started, and adds nothing twice.
    vx::searchPath flat;
    flat.appendDirectory(vx::directory(top));
    flat.collectSubdirectories(false);
    flat.collectSubdirectories(false);
    EXPECT_EQ(listed(flat), withLoop({slash(top), slash(top + L"\\a"), slash(top + L"\\b"), slash(top + L"\\a\\a1")}));
}

} // namespace
