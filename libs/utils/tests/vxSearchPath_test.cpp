#include <vxEnvironment.h>
#include <vxSearchPath.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

// A temporary tree; its paths are given in Windows form on the default drive table (C: is /).
class searchPathTest : public ::testing::Test {
protected:
    void SetUp() override {
        unsetenv("VX_DRIVES");
        char pattern[] = "/tmp/vxSearchPathXXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        mRoot = pattern;
    }
    void TearDown() override {
        std::error_code ignored;
        fs::remove_all(mRoot, ignored);
    }

    // Makes the directories of a relative native path and returns its Windows form.
    std::wstring dir(const std::string& relative) {
        fs::create_directories(mRoot / relative);
        return win(relative);
    }
    void touch(const std::string& relative) {
        fs::create_directories((mRoot / relative).parent_path());
        std::ofstream(mRoot / relative) << "x";
    }
    std::wstring win(const std::string& relative) const {
        std::wstring out = L"C:";
        for (char c : (mRoot / relative).string())
            out += c == '/' ? L'\\' : static_cast<wchar_t>(c);
        return out;
    }
    static std::vector<std::wstring> names(const vx::searchPath& path) {
        std::vector<std::wstring> out;
        for (const vx::directory& d : path.directories())
            out.push_back(d.fullName());
        return out;
    }

    fs::path mRoot;
};

std::wstring slash(const std::wstring& text) { return text + L"\\"; }

TEST_F(searchPathTest, fromStringKeepsExistingDistinctDirectoriesInOrder) {
    const std::wstring a = dir("a"), b = dir("b"), lower = dir("x");
    vx::searchPath path;
    vx::searchPath::fromString(a + L";;" + b + L";", path, L';');
    EXPECT_EQ(names(path), (std::vector<std::wstring>{slash(a), slash(b)}));

    // Blanks and tabs around a piece go; a missing directory and a duplicate in another case are
    // not added; the first spelling stays. Repeated calls accumulate.
    const std::wstring upper = win("X");
    vx::searchPath::fromString(L" \t" + upper + L"  ;" + lower + L";" + win("missing") + L";" + a, path, L';');
    EXPECT_EQ(names(path), (std::vector<std::wstring>{slash(a), slash(b), slash(upper)}));

    // appendDirectory asks no questions about existence.
    path.appendDirectory(vx::directory(win("missing")));
    EXPECT_EQ(path.size(), 4u);
    EXPECT_TRUE(path.containsDirectory(vx::directory(win("MISSING"))));
    path.removeDirectory(vx::directory(win("B")));
    EXPECT_EQ(names(path), (std::vector<std::wstring>{slash(a), slash(upper), slash(win("missing"))}));
}

TEST_F(searchPathTest, fromStringWithABaseTakesDottedPiecesBelowIt) {
    const std::wstring base = dir("base");
    dir("base/sub");
    const std::wstring other = dir("other");
    vx::searchPath path;
    vx::searchPath::fromString(L".\\sub;" + other + L";.\\none", path, vx::directory(base), L';');
    EXPECT_EQ(names(path), (std::vector<std::wstring>{slash(base + L"\\sub"), slash(other)}));
}

TEST_F(searchPathTest, fromDollarPathUsesTheSystemSeparator) {
    const std::wstring a = dir("a"), b = dir("b");
    vx::string saved;
    const bool hadPath = vx::getEnvironmentVariable(L"PATH", saved);

    vx::searchPath path;
    vx::setEnvironmentVariable(L"PATH", L"");
    vx::searchPath::fromDollarPath(path);
    EXPECT_TRUE(path.empty());

    setenv("PATH", ((mRoot / "a").string() + ":" + (mRoot / "b").string()).c_str(), 1);
    vx::searchPath::fromDollarPath(path);
    EXPECT_EQ(names(path), (std::vector<std::wstring>{slash(a), slash(b)}));

    if (hadPath)
        vx::setEnvironmentVariable(L"PATH", saved.c_str());
}

TEST_F(searchPathTest, theFirstEntryWinsAndADeepHitBeatsALaterDirectOne) {
    const std::wstring early = dir("early"), late = dir("late");
    touch("early/deep/er/target.txt");
    touch("early/.hidden/target.txt");
    touch("late/target.txt");
    vx::searchPath path;
    path.appendDirectory(vx::directory(early));
    path.appendDirectory(vx::directory(late));

    vx::directory found(win("unchanged"));
    ASSERT_TRUE(path.findContainingDir(L"target.txt", found, false));
    EXPECT_EQ(found.fullName(), slash(late));
    ASSERT_TRUE(path.findContainingDir(L"target.txt", found, true));
    EXPECT_EQ(found.fullName(), slash(early + L"\\deep\\er"));

    vx::file f;
    ASSERT_TRUE(path.findFile(L"er\\target.txt", f, true));
    EXPECT_EQ(f.fullName(), early + L"\\deep\\er\\target.txt");

    found = vx::directory(win("unchanged"));
    EXPECT_FALSE(path.findContainingDir(L"absent.txt", found, true));
    EXPECT_EQ(found.fullName(), slash(win("unchanged")));
}

TEST_F(searchPathTest, findFilesSkipsHiddenEntriesAndKeepsDuplicates) {
    const std::wstring a = dir("a");
    touch("a/one.txt");
    touch("a/.two.txt");
    touch("a/sub/three.txt");
    touch("a/.hiddenDir/four.txt");
    touch("a/sub/five.dat");
    vx::searchPath path;
    path.appendDirectory(vx::directory(a));

    std::vector<vx::file> out;
    path.findFiles(L"*.txt", out, false);
    path.findFiles(L"*.txt", out, true);
    std::vector<std::wstring> found;
    for (const vx::file& f : out)
        found.push_back(f.fullName());
    EXPECT_EQ(found, (std::vector<std::wstring>{a + L"\\one.txt", a + L"\\one.txt", a + L"\\sub\\three.txt"}));
}

TEST_F(searchPathTest, collectingSubdirectoriesIsDepthFirstAndEndsAtLinks) {
    const std::wstring top = dir("top");
    dir("top/a/a1");
    dir("top/b");
    dir("top/.hidden/h1");
    fs::create_directory_symlink(mRoot / "top", mRoot / "top/b/loop");

    vx::searchPath path;
    path.collectSubdirectories(vx::directory(top), true);
    EXPECT_EQ(names(path), (std::vector<std::wstring>{slash(top + L"\\a"), slash(top + L"\\a\\a1"),
                                                      slash(top + L"\\b"), slash(top + L"\\b\\loop")}));

    // The list form walks the entries it held when it started, and adds nothing twice.
    vx::searchPath flat;
    flat.appendDirectory(vx::directory(top));
    flat.collectSubdirectories(false);
    flat.collectSubdirectories(false);
    EXPECT_EQ(names(flat), (std::vector<std::wstring>{slash(top), slash(top + L"\\a"), slash(top + L"\\b"),
                                                      slash(top + L"\\a\\a1"), slash(top + L"\\b\\loop")}));
}

} // namespace
