#include <vxFsEntryName.h>

#include "testSupport.h"

#include <type_traits>
#include <unistd.h>

using vx::fsEntryName;
using vx::string;
using F = fsEntryName;

static_assert(sizeof(fsEntryName) == sizeof(vx::string), "one data member, the text");
static_assert(!std::is_polymorphic<fsEntryName>::value, "no virtual functions");

namespace {

fsEntryName raw(const std::wstring& text) {
    fsEntryName n;
    n.assignText(text);
    return n;
}

std::wstring set(const std::wstring& text, bool delimiter = false) {
    fsEntryName n;
    n.setName(text, delimiter);
    return n.text();
}

// Each test runs in a fresh temporary current directory with the default drive table, so the
// current directory is "C:" followed by its native path with '\' delimiters.
class fsEntryNameTest : public ::testing::Test {
protected:
    // "<cwd>" in an expected text stands for the current directory.
    std::wstring expand(std::wstring text) const {
        for (auto at = text.find(L"<cwd>"); at != std::wstring::npos; at = text.find(L"<cwd>"))
            text.replace(at, 5, mCwd);
        return text;
    }

    vxtest::tempDir mDir;
    vxtest::scopedEnvironment mNoDrives{"VX_DRIVES", nullptr};
    vxtest::scopedCurrentDirectory mInDir{mDir.path()};
    std::wstring mCwd = mDir.windowsForm();
};

} // namespace

TEST_F(fsEntryNameTest, setNameExpandsTheFirstReferenceNormalisesInOrderJoinsAndAsksTheSystem) {
    vxtest::scopedEnvironment env;
    for (const auto& [name, value] : {std::pair<const char*, const char*>{"VXFS_A", "C:/v"}, {"VXFS_B", "D:\\w"},
                                      {"VXFS_Q", "\"C:\\q\" tail"}, {"VXFS_UNSET", nullptr}, {"VXFS", "C:\\wrong"}})
        env.set(name, value);
    struct row { std::wstring in; bool delimiter; std::wstring out; } rows[] = {
        {L"", true, L""}, {L"\"\"", false, L"<cwd>"}, {L"C:/a//b/../c/./", false, L"C:\\a\\c"},
        {L"\"C:\\a b\"c\" -x", false, L"C:\\a b\"c"}, {L"\"C:\\a", false, L"C:\\a"}, // cut at the last quote, if any
        {L"\"\\x\"", false, L"C:\\x"}, // quotes go before the text is made absolute
        {L"C:\\a\\b\\..", false, L"C:\\a"}, {L"C:\\a\\b\\..\\..\\..\\c", false, L"C:\\c"},
        {L"C:\\a\\.\\..\\b", false, L"C:\\a\\b"}, // ".." runs before ".": the "." is what it removes
        {L"C:\\a\\\\..\\b", false, L"C:\\b"}, // doubles collapse first
        {L"C:\\a\\.\\.\\b\\.", false, L"C:\\a\\b"}, {L"C:\\a\\...\\b", false, L"C:\\a\\...\\b"},
        {L"\\\\\\\\server\\x", false, L"\\\\server\\x"}, {L"//server/x", false, L"\\\\server\\x"},
        {L"\\\\server\\..\\x", false, L"\\\\x"}, {L"\\\\..\\x", false, L"\\x"},
        {L"\\\\", false, L""}, {L"\\\\", true, L"\\"}, // a share without a server
        {L"\\x", false, L"C:\\x"}, {L"x", false, L"<cwd>\\x"}, {L"C:x", false, L"C:x"},
        {L"C:", true, L"C:\\"}, {L"C:\\", false, L"C:"}, {L"c:\\A\\b", false, L"c:\\A\\b"},
        {std::wstring(L"C:\\a\0b\\..\\c\0d", 13), false, std::wstring(L"C:\\c\0d", 6)},
        // The first reference to a variable is expanded, and every occurrence of it, before anything else.
        {L"%VXFS_A%\\a", false, L"C:\\v\\a"}, {L"%VXFS_A%\\%VXFS_A%", false, L"C:\\v\\C:\\v"},
        {L"%VXFS_A%\\%VXFS_B%", false, L"C:\\v\\%VXFS_B%"}, {L"%VXFS_Q%", false, L"C:\\q"},
        {L"%VXFS_UNSET%\\a", false, L"<cwd>\\%VXFS_UNSET%\\a"}, {L"a%VXFS_A", false, L"<cwd>\\a%VXFS_A"},
        {L"%%VXFS_A%", false, L"<cwd>\\%%VXFS_A%"}, {L"x%VXFS_B%y", false, L"<cwd>\\xD:\\wy"},
        {std::wstring(L"%VXFS\0_A%", 9), false, std::wstring(L"<cwd>\\%VXFS\0_A%", 15)},
    };
    for (const auto& r : rows)
        EXPECT_EQ(set(r.in, r.delimiter), expand(r.out)) << r.in;
    EXPECT_EQ(set(L"..\\y"), mCwd.substr(0, mCwd.rfind(L'\\')) + L"\\y");
    EXPECT_TRUE(fsEntryName().empty() && fsEntryName(L"C:/x/").text() == L"C:\\x");
    // Joining: an empty directory drops the name.
    EXPECT_EQ(F(L"C:/a/", L"../b", true).text() + L"|" + F(L"C:\\a", L"", false).text(), L"C:\\b\\|C:\\a");
    EXPECT_EQ(F(L"x", L"y", false).text() + L"|" + F(L"", L"C:\\b", true).text(), expand(L"<cwd>\\x\\y|"));
    // The current drive and directory come from the system.
#ifdef _WIN32
    const std::wstring drive = mCwd.substr(0, 2); // the temporary directory's drive
    EXPECT_EQ(set(L"\\x") + L"|" + set(L"y"), drive + L"\\x|" + mCwd + L"\\y");
    EXPECT_EQ(set(drive + L"\\.."), drive); // ".." at the root of a drive disappears
#else
    vxtest::scopedEnvironment drives("VX_DRIVES", "T=" + mDir.path());
    EXPECT_EQ(set(L"\\x") + L"|" + set(L"y"), L"T:\\x|T:\\y");
    EXPECT_EQ(set(L".."), L"T:"); // ".." at the root of a drive disappears
    // An unreadable current directory loses relative text (Windows does not remove a directory that is current).
    mDir.makeDirs("gone");
    ASSERT_EQ(::chdir((mDir / "gone").c_str()), 0);
    ASSERT_EQ(::rmdir((mDir / "gone").c_str()), 0);
    EXPECT_EQ(set(L"x") + set(L"\\x") + L"|" + set(L"C:\\x"), L"|C:\\x"); // no current drive either
    EXPECT_EQ(set(L"x", true), L"\\");
    EXPECT_THROW(raw(set(L"x", true)).name(), std::out_of_range);
#endif
}

TEST(fsEntryNameParts, getComponentsSplitsAnyTextSelectorsNestAndRelativeNameTo) {
    struct row { std::wstring text; bool lastDot; std::wstring parts; } rows[] = { // drive|path|name|extension
        {L"C:\\", true, L"C:|\\||"}, {L"c:\\x", true, L"C:|\\|x|"}, {L"C:\\a\\b.tar.gz", true, L"C:|\\a\\|b.tar|gz"},
        {L"C:\\a\\b.tar.gz", false, L"C:|\\a\\|b|tar.gz"}, {L"\\\\srv\\share\\x", true, L"\\\\srv|\\share\\|x|"},
        {L"\\\\srv", true, L"\\\\srv|\\||"}, {L"C:\\dir.ext\\", true, L"C:|\\|dir|ext"},
        {L"C:\\a\\.hidden", true, L"C:|\\a\\||hidden"}, {L"C:/a/b.c//", true, L"C:|/a\\|b|c"},
        {L"C:x", true, L"C:|\\||"}, {L"ab", true, L"|\\|b|"}, {L"", true, L"|||"},
        {std::wstring(L"C:\\a\0b.t", 8), true, std::wstring(L"C:|\\|a\0b|t", 10)},
    };
    for (const auto& r : rows) {
        string d = L"old", p = L"old", n = L"old", e = L"old";
        raw(r.text).getComponents(d, p, n, e, r.lastDot);
        EXPECT_EQ(d + L"|" + p + L"|" + n + L"|" + e, r.parts) << r.text;
    }
    // One character is no name: the outputs are cleared, then the range error comes.
    for (const wchar_t* one : {L"x", L"\\", L":"}) {
        string d = L"old", p = L"old", n = L"old", e = L"old";
        EXPECT_THROW(raw(one).getComponents(d, p, n, e, true), std::out_of_range) << one;
        EXPECT_EQ(d + p + n + e, L"");
        EXPECT_THROW(raw(one).driveLetter(), std::out_of_range);
    }
    EXPECT_TRUE(raw(L"c:\\x").driveLetter() == L'C' && raw(L"\\\\srv\\x").driveLetter() == L' ' &&
                fsEntryName().driveLetter() == L' ');
    // The part selectors nest.
    const fsEntryName n = raw(L"C:\\d\\a.b.c"), plain = raw(L"C:\\d\\f"), dir = raw(L"C:\\dir.ext\\"), empty;
    using getter = string (F::*)(int) const;
    const getter name = &F::name, path = &F::path, ext = &F::extension;
    const int noDrive = F::noDrive, noExt = F::noExtension, first = F::firstDot, drive = F::withDrive,
              withPath = F::withPath, withName = F::withName, withExt = F::withExtension;
    struct selector { getter get; fsEntryName of; int parts; std::wstring out; } selectors[] = {
        {name, n, 0, L"a.b.c"}, {name, n, noExt, L"a.b"}, {name, n, noExt | first, L"a"}, {path, empty, 0, L""},
        {name, n, noExt | withExt, L"a.b.c"}, {name, n, withPath, L"\\d\\a.b.c"}, {name, n, drive, L"a.b.c"},
        {name, n, drive | withPath, L"C:\\d\\a.b.c"}, {name, plain, noExt | withExt, L"f"}, {name, dir, 0, L"dir.ext"},
        {path, n, 0, L"C:\\d\\"}, {path, n, noDrive, L"\\d\\"}, {path, n, noDrive | drive, L"C:\\d\\"},
        {path, n, withName, L"C:\\d\\a.b"}, {path, n, withName | first, L"C:\\d\\a"},
        {path, n, withName | withExt, L"C:\\d\\a.b.c"}, {path, n, withExt | withPath | noExt, L"C:\\d\\"},
        {path, plain, withName | withExt, L"C:\\d\\f"}, {ext, n, 0, L"c"}, {ext, n, first, L"b.c"},
        {ext, n, withPath | drive, L"c"}, {ext, n, withName, L"a.b.c"}, {ext, n, withName | drive, L"a.b.c"},
        {ext, n, withName | withPath, L"\\d\\a.b.c"}, {ext, n, withName | withPath | drive, L"C:\\d\\a.b.c"},
        {ext, plain, withName, L"f"}, {ext, dir, 0, L"ext"},
    };
    for (const auto& r : selectors)
        EXPECT_EQ((r.of.*r.get)(r.parts), r.out) << vxtest::show(r.of.text()) << " parts " << r.parts;
    // relativeNameTo folds case, matches a plain prefix, and ends even where the parent never shrinks.
    vxtest::scopedEnvironment grows("vxfs_grow", "%vxfs_grow%\\q\\r");
    const fsEntryName file = raw(L"C:\\A\\B\\File.TXT");
    struct relative { fsEntryName of, base; std::wstring out; } relatives[] = {
        {file, raw(L"c:\\a\\"), L".\\b\\file.txt"}, {file, raw(L"c:\\a\\c\\"), L"..\\b\\file.txt"},
        {file, raw(L"D:\\"), L"C:\\A\\B\\File.TXT"}, {file, raw(L""), L""},
        {file, raw(L"c:\\a"), L".\\\\b\\file.txt"}, {file, raw(L"C:\\A\\B\\File.TXT"), L".\\"},
        {raw(L"C:\\foobar\\x"), raw(L"C:\\foo"), L".\\bar\\x"}, {raw(L"C:\\a\\x"), raw(L"C:\\a\\b\\c\\"), L"..\\..\\x"},
        {raw(L"C:\\a\\\\/x"), raw(L"C:\\a\\b\\"), L"..\\x"}, // leading delimiters go at level 1
        {raw(L"\\\\srv\\s\\x"), raw(L"\\\\SRV\\t\\"), L"..\\s\\x"},
        {raw(L"C:"), raw(L"C:\\a\\"), L""}, {raw(L"\\\\srv"), raw(L"\\\\srv\\s\\"), L""}, // root not reached
        {raw(L"C:\\z"), raw(L"C:\\%vxfs_grow%\\y\\"), L""}, // the parent grows without end
        {raw(L""), raw(L"C:\\"), L""}, {raw(L""), raw(L""), L""},
    };
    for (const auto& r : relatives)
        EXPECT_EQ(r.of.relativeNameTo(r.base), r.out) << vxtest::show(r.of.text() + L" from " + r.base.text());
}

TEST(fsEntryNameRaw, appendingRemovingRelativePathsAndInvalidCharacters) {
    const auto apply = [](const std::wstring& text, auto change) {
        fsEntryName n = raw(text);
        change(n);
        return n.text();
    };
    const auto delimit = [](F& n) { n.appendDelimiter(); };
    const auto ext = [](const wchar_t* e) { return [e](F& n) { n.appendExtension(e); }; };
    const auto remove = [](int parts) { return [parts](F& n) { n.removeExtension(parts); }; };
    EXPECT_EQ(apply(L"C:\\a\\\\\\", delimit) + L"|" + apply(L"\\\\", delimit) + L"|" + apply(L"", delimit),
              L"C:\\a\\||");
    EXPECT_EQ(apply(L"C:\\a\\", ext(L"txt")) + L"|" + apply(L"C:\\a", ext(L"")) + L"|" + apply(L"C:\\a", ext(L".txt")) +
                  L"|" + apply(L"\\", ext(L"txt")), L"C:\\a.txt|C:\\a.|C:\\a..txt|");
    // removeExtension appends to the stored text instead of replacing it.
    EXPECT_EQ(apply(L"C:\\a\\b.t.gz", remove(0)), L"C:\\a\\b.t.gzC:\\a\\b.t");
    EXPECT_EQ(apply(L"C:\\a\\b.t.gz", remove(F::firstDot)) + L"|" + apply(L"", remove(0)), L"C:\\a\\b.t.gzC:\\a\\b|");
    // The raw-text helpers.
    struct row { std::wstring text; bool relative; int levels; } rows[] = {
        {L"/", true, 0}, {L"", true, 0}, {L"a", true, 0}, {L"..\\..\\x", true, 2}, {L"a\\b\\c", true, 2},
        {L"a/b/", true, 1}, {L"a\\\\b\\\\", true, 2}, {L"//", false, -7}, {L"\\x", false, -7},
        {L"C:", false, -7}, {L"x:y", false, -7},
    };
    for (const auto& r : rows) {
        int levels = -7;
        EXPECT_EQ(F::isARelativePath(r.text, &levels), r.relative) << r.text;
        EXPECT_TRUE(levels == r.levels && F::isARelativePath(r.text, nullptr) == r.relative) << r.text;
    }
    for (wchar_t c : std::wstring(L"\\/<>:*?|#\""))
        EXPECT_TRUE(F::containsInvalidChars(string(L"a") + c)) << c;
    EXPECT_FALSE(F::containsInvalidChars(L"a.b c") || F::containsInvalidChars(L""));
    EXPECT_TRUE(F::containsInvalidChars(std::wstring(L"a\0#", 3)));
    const struct { std::wstring text; wchar_t replacement; std::wstring out; } replacements[] = {
        {L"a?b", L'_', L"a b"}, {L"a?b", L'#', L"a b"}, // an invalid replacement is not written
        {L"  <x>  ", L'_', L"x"}, {L"??", L'?', L""}, {L"1\\2/3<4>5:6*7?8|9#0\"", L'?', L"1 2 3 4 5 6 7 8 9 0"},
        {std::wstring(L"a\0?b", 4), L'_', L"a"}, {L"\x00e9t\x00e9", L'_', L"\x00e9t\x00e9"}, {L"", L'?', L""},
    };
    for (const auto& c : replacements)
        EXPECT_EQ(F::replaceInvalidChars(c.text, c.replacement), c.out) << c.text;
}
