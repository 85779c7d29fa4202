#include "testSupport.h"

#include <vxLocFile.h>
#include <vxLocMessage.h>

#include <optional>

namespace fs = std::filesystem;
using vx::locFile;

namespace {

// A temporary directory whose write answers the file's name in Windows form.
struct tempDir : vxtest::tempDir {
    std::wstring write(const std::string& name, const std::string& bytes) const {
        return makeFile(name, bytes), windowsForm(name);
    }
};

// UTF-8 bytes of wide text, by the library's own encoder.
std::string utf8(const std::wstring& text) { return vx::string(text).getMBCS(); }

using maybeText = std::optional<std::wstring>;
const maybeText absent;

// The text of id, or nothing when the file does not hold it.
maybeText lookUp(const locFile& f, const wchar_t* id) {
    vx::locMessage msg(L"untouched");
    const bool found = f.getMessage(id, msg);
    EXPECT_TRUE(found || std::wstring(msg) == L"untouched") << "a failed lookup changed the message";
    return found ? maybeText(std::wstring(msg)) : absent;
}

// Rewrites a file and moves its modification time on by step, so that a lookup sees the change (or, with 0, not).
void rewrite(const tempDir& dir, const std::string& name, const std::string& bytes, std::int64_t step = 10) {
    const std::int64_t time = vx::file(dir.windowsForm(name)).lastModificationTime();
    dir.write(name, bytes);
    ASSERT_TRUE(vx::file(dir.windowsForm(name)).setLastModificationTime(time + step));
}

struct formatCase { const char* what; std::string content; maybeText expected; const wchar_t* id = L""; };

// Each case in a file of its own; a case without an id of its own looks up the table's.
void expectCases(const wchar_t* id, const std::vector<formatCase>& cases) {
    tempDir dir;
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const locFile f(dir.write("f" + std::to_string(i) + ".loc", cases[i].content).c_str());
        const wchar_t* asked = cases[i].id && !*cases[i].id ? id : cases[i].id;
        EXPECT_EQ(lookUp(f, asked), cases[i].expected) << cases[i].what;
    }
}

} // namespace

// Whole texts in each encoding are read in the test of reading in blocks.
TEST(locFileFormat, linesKeysValuesCommentsContinuationsLongLinesAndEncodings) {
    // 1023 characters fill the buffer; the rest of the line arrives as a line of its own.
    const std::string split = "Key " + std::string(1019, 'x') + " Tail rest ; note\nAfter y\n";
    const std::string fits = "Key " + std::string(1017, 'x') + "y\nNext z\n"; // 1022 and the line feed
    // Characters, not bytes, count: 1019 two-byte characters fill the buffer as well.
    const std::string wide = "Key " + utf8(std::wstring(1019, L'\u00E9')) + " Tail rest\n";
    const std::string utf16 = "\xFF\xFE" + vxtest::utf16le(L"A x") + std::string("\x00\xD8", 2) + // unpaired surrogate
                              vxtest::utf16le(L"y\nB z") + "\x41";                               // odd last byte
    expectCases(L"Key", {
        {"comment behind", "Key Text ; note\n", L"Text"}, {"two ;", "Key a;b;c\n", L"a;b"},
        {"quoted ;", "Key \"Text ; note\"\n", L"Text ; note"}, {"only a comment", "Key ;\n", L""},
        {"last quote ends", "Key \"a \"b\" c\" ; x\n", L"a \"b\" c"},
        {"unclosed quote", "Key \"open text\n", L"open text"}, {"quote inside", "Key say \"hi\"\n", L"say \"hi\""},
        {"blanks, tabs, CR LF", "  \tKey \t  Text\there \t\r\n", L"Text here"},
        {"\\n", "Key Line1\\n\\nLine2\n", L"Line1\n\nLine2"}, {"\\ before \\n", "Key a\\\\nb\n", L"a\\\nb"},
        {"first wins", "Key first\nKey second\n", L"first"}, {"key case", "Key Text\n", absent, L"key"},
        {"no blank", "Key\n", absent}, {"; in key", "Ke;y Text\n", absent, L"Ke;y"},
        {"comment line", ";Key Text\n", absent, L";Key"}, {"no last end", "A one\nB two", L"two", L"B"},
        {"id trimmed", "Key Text\n", L"Text", L" \tKey \t\r\n"}, {"null id", "Key Text\n", absent, nullptr},
        {"null ends line", std::string("Key Te\0xt\nB two\n", 16), L"Te"},
        {"include entry", "#include other.loc ; x\n", L"other.loc", L"#include"},
        {"severity prefix", "Key E: Broken\n", L"Broken"},
        // Continued lines join their value parts.
        {"quoted blank", "Key \"abc \"\\\n   \"def\" ; note\n", L"abc def"},
        {"next part's ;", "Key a \\\nb ; note\n", L"ab"}, {"first part's ;", "Key a ; note \\\nb\n", L"ab"},
        {"value on next line", "Key \\\n    Long text\n", L"Long text"},
        {"three lines", "Key a\\\nb\\\nc\nNext x\n", L"abc"}, {"at the end", "Key a\\", L"a"},
        {"line after", "Key a\\\nb\nNext x\n", L"x", L"Next"}, {"empty lines", "Key a\\\n\n\t\nb\n", L"ab"},
        {"next line whole", "Key a\\\nOther text\n", absent, L"Other"}, {"\\n after join", "Key a\\\\\nnb\n", L"a\nb"},
        {"comment line ends", "; note \\\nKey x\n", L"x"},
        {"split", split, std::wstring(1019, L'x')}, {"split, the rest", split, L"rest", L"Tail"},
        {"split, the next line", split, L"y", L"After"}, {"fits", fits, std::wstring(1017, L'x') + L"y"},
        {"fits, the next line", fits, L"z", L"Next"}, {"wide", wide, std::wstring(1019, L'\u00E9')},
        {"huge", "Key " + std::string(200000, 'q'), std::wstring(1019, L'q')},
        // The byte order mark decides; broken text becomes replacement characters.
        {"UTF-16LE, unpaired surrogate", utf16, L"x\uFFFDy", L"A"}, {"UTF-16LE, odd byte", utf16, L"z\uFFFD", L"B"},
        {"invalid UTF-8 without a mark", "Key \xC3(\xFF\n", L"\uFFFD(\uFFFD"},
        // A big-endian mark is no mark: its bytes are no UTF-8 and become part of the first key.
        {"big-endian mark", "\xFE\xFFKey x\n", absent}, {"in the key", "\xFE\xFFKey x\n", L"x", L"\uFFFD\uFFFDKey"},
    });
}

TEST(locFileResolve, aliasesFollowAndCyclesEndCommandsReplaceAfterAllEntriesInFileOrder) {
    std::string chain; // a very long one
    for (int i = 0; i < 100000; ++i)
        chain += "K" + std::to_string(i) + " $$K" + std::to_string(i + 1) + "\n";
    expectCases(L"A", {
        {"alias", "A $$B\nB Text\n", L"Text"}, {"chain", "A $$B\nB $$C\nC $$D\nD End\n", L"End"},
        {"two-key cycle", "A $$B\nB $$A\n", L"$$A"}, {"self", "A $$A\n", L"$$A"},
        {"later cycle", "A $$B\nB $$C\nC $$B\n", L"$$B"}, {"long chain", chain + "K100000 End\n", L"End", L"K0"},
        {"no target", "A $$Nowhere\n", absent}, {"empty target", "A $$\n", absent},
        {"quoted alias", "A \"$$B\"\nB Text\n", L"Text"}, {"single $", "A $B\nB Text\n", L"$B"},
        {"every text", "A foo bar\n;;cmd(replace:::foo:::baz)\nB more foo\n", L"more baz", L"B"},
        {"before entries", ";;cmd(replace:::foo:::baz)\nA foo foo\n", L"baz baz"},
        {"unknown verb", ";;cmd(delete:::foo:::baz)\nA foo\n", L"foo"},
        {"2 fields", ";;cmd(replace:::foo)\nA foo\n", L"foo"},
        {"in file order", ";;cmd(replace:::a:::b)\n;;cmd(replace:::b:::c)\nA ab\n", L"cc"},
        {"inserted not searched", ";;cmd(replace:::a:::aa)\nA aba\n", L"aabaa"},
        {"4 fields", ";;cmd(replace:::a:::b:::c)\nA a\n", L"b"}, {"no search", ";;cmd(replace::::::x)\nA a\n", L"a"},
        {"by nothing", ";;cmd(replace:::o:::)\nA foo\n", L"f"},
        {"blanks and ) go", "  ;;cmd(replace:::o:::0)  \t\nA foo\n", L"f00"},
        {"only )", ";;cmd(replace:::o:::))\nA o\n", L")"},
        {"inside a line", "Note text ;;cmd(replace:::t:::T)\nA t\n", L"T"},
        {"verb case", ";;cmd(Replace:::a:::b)\nA a\n", L"a"},
        {"alias texts", ";;cmd(replace:::B:::C)\nA $$B\nB bee\nC sea\n", L"sea"},
        {"\\n in place", ";;cmd(replace:::\\n:::+)\nA x\\ny\n", L"x\ny"},
    });
}

TEST(locFileInclude, nestedIncludesAreReadAgainWhenTouchedNamesCountCyclesEndAndNestingStopsAtTheMaximumDepth) {
    tempDir dir;
    const std::wstring top = dir.write("top.loc", "Top t\nShared top\n#include sub/middle.loc ; note\n");
    dir.write("sub/middle.loc", "Middle m\n#include ..\\deep\\Deeper.LOC\n");
    dir.write("deep/deeper.loc", "Deeper d\n\t#include\tlast.loc\t\n");
    dir.write("deep/last.loc", "Last l\nShared last\nAlias $$Top\n");
    const locFile f(top.c_str());
    EXPECT_TRUE(lookUp(f, L"Middle") == L"m" && lookUp(f, L"Deeper") == L"d" && lookUp(f, L"Last") == L"l");
    EXPECT_EQ(lookUp(f, L"Shared"), L"top"); // the including file's own entry first
    // An alias is followed within the file that holds it (and its includes) only.
    EXPECT_TRUE(lookUp(f, L"Alias") == absent && lookUp(f, L"Nowhere") == absent);
    // A touched include is read again, and still does not include the file above it.
    rewrite(dir, "sub/middle.loc", "Middle new\n#include ../top.loc\n");
    EXPECT_TRUE(lookUp(f, L"Middle") == L"new" && lookUp(f, L"Nowhere") == absent);
    EXPECT_TRUE(f.includes().size() == 1u && f.includes()[0].includes().empty());
    dir.write("x.loc", "X x\n");
    dir.write("y.loc", "Y y\n");
#ifndef _WIN32 // Windows has no unreadable mode: there the file is missing
    dir.makeFile("locked.loc", "L l\n", 0);
#endif
    fs::create_directories(dir / "folder.loc");
    // Cut with the comment, not readable, a folder, no name, no '#', joins, met already.
    const locFile names(dir.write("main.loc", "; #include y.loc\n#include locked.loc\n#include folder.loc\n#include\n"
                                              "include x.loc\n  #include x.loc ; again\n#include X.LOC\n").c_str());
    EXPECT_EQ(lookUp(names, L"X"), L"x");
    EXPECT_TRUE(lookUp(names, L"Y") == absent && lookUp(names, L"L") == absent && names.includes().size() == 1u);
    // Eight characters go from the first character of the line that is one of the letters of
    // "#include": here "Key in#in" goes (eight from the "e" on), and "clude y.loc" is the name.
    dir.write("clude y.loc", "N n\n");
    const locFile odd(dir.write("odd.loc", "Key in#include y.loc\n").c_str());
    EXPECT_TRUE(lookUp(odd, L"N") == L"n" && lookUp(odd, L"Y") == absent);

    // Cycles end, and missing files are skipped.
    const std::wstring a = dir.write("a.loc", "A a\n#include missing.loc\n#include B.loc\n#include a.loc\nX $$Y\n");
    dir.write("b.loc", "B b\n#include A.LOC\n#include c.loc\nY $$X\n");
    dir.write("c.loc", "C c\n#include b.loc\n#include a.loc\n");
    const locFile cycle(a.c_str());
    // Aliases that point at each other across files: each file follows its own.
    EXPECT_TRUE(lookUp(cycle, L"C") == L"c" && lookUp(cycle, L"Nowhere") == absent && lookUp(cycle, L"X") == absent);
    // The first file is met in its own scan: b.loc does not include it again.
    EXPECT_TRUE(cycle.includes().size() == 1u && cycle.includes()[0].includes().size() == 1u &&
                cycle.includes()[0].includes()[0].includes().empty());
    // Asked on its own, b.loc includes a.loc, which does not include b.loc again.
    const locFile b(dir.windowsForm("b.loc").c_str());
    EXPECT_TRUE(lookUp(b, L"A") == L"a" && lookUp(b, L"Nowhere") == absent);
    for (int i = 0; i < static_cast<int>(locFile::kMaxIncludeDepth) + 10; ++i)
        dir.write("f" + std::to_string(i) + ".loc",
                  "K" + std::to_string(i) + " v\n#include f" + std::to_string(i + 1) + ".loc\n");
    const locFile deepest(dir.windowsForm("f0.loc").c_str());
    EXPECT_EQ(lookUp(deepest, (L"K" + std::to_wstring(locFile::kMaxIncludeDepth - 1)).c_str()), L"v");
    EXPECT_EQ(lookUp(deepest, (L"K" + std::to_wstring(locFile::kMaxIncludeDepth)).c_str()), absent);
}

TEST(locFileFreshness, theOverlayMergesOverEntriesAndATouchedFileOrOverlayIsReadAnew) {
    tempDir dir;
    locFile f(
        dir.write("app.loc", "Title Velmora Draw\nKeep unchanged\nSwap old\n;;cmd(replace:::Draw:::Sketch)\n").c_str());
    dir.write("extra.loc", "Extra e\n");
    f.setOverlay(vx::file(dir.write("app_site.loc", "Swap new\nAdded overlay text\nTwice a\n#include extra.loc\n"
                                                    ";;cmd(replace:::Velmora:::Acme)\n;;cmd(replace:::a:::ab)\n")));
    EXPECT_EQ(lookUp(f, L"Title"), L"Acme Sketch");   // the file's command, then the overlay's
    EXPECT_EQ(lookUp(f, L"Keep"), L"unchabnged");    // the overlay's commands reach every text
    EXPECT_EQ(lookUp(f, L"Added"), L"overlabby text"); // its own entries meet its commands twice
    EXPECT_TRUE(lookUp(f, L"Swap") == L"new" && lookUp(f, L"Twice") == L"abb");
    EXPECT_EQ(lookUp(f, L"Extra"), absent);          // the overlay's includes are not followed
    std::vector<vx::string> keys;
    f.keys(keys);
    EXPECT_EQ(keys, (std::vector<vx::string>{L"#include", L"Added", L"Keep", L"Swap", L"Title", L"Twice"}));
    // An overlay that appears, changes and goes.
    f.setOverlay(vx::file(dir.windowsForm("app_x.loc")));
    EXPECT_EQ(lookUp(f, L"Title"), L"Velmora Sketch");
    dir.write("app_x.loc", "Title overlay\n");
    EXPECT_EQ(lookUp(f, L"Title"), L"overlay");
    rewrite(dir, "app_x.loc", "Title changed\n");
    EXPECT_EQ(lookUp(f, L"Title"), L"changed");
    fs::remove(dir / "app_x.loc");
    EXPECT_EQ(lookUp(f, L"Title"), L"Velmora Sketch");
    f.setOverlay(vx::file());
    EXPECT_EQ(lookUp(f, L"Title"), L"Velmora Sketch");
    // A file that cannot be read: the failed load ends the first lookup; the overlay's entries
    // then stand, and the missing file's time (0) has not changed.
    locFile gone(dir.windowsForm("gone.loc").c_str());
    gone.setOverlay(vx::file(dir.write("gone_x.loc", "Key overlay\n")));
    EXPECT_EQ(lookUp(gone, L"Key"), absent);
    EXPECT_EQ(lookUp(gone, L"Key"), L"overlay");
    // A touched file is read anew, and copies check their file too.
    const locFile fresh(dir.write("fresh.loc", "Key first\nGone soon\n").c_str());
    EXPECT_EQ(lookUp(fresh, L"Key"), L"first");
    const locFile copy(fresh);
    rewrite(dir, "fresh.loc", "Key second\n", 0); // the same time: nothing is read
    EXPECT_EQ(lookUp(fresh, L"Key"), L"first");
    rewrite(dir, "fresh.loc", "Key second\n", 1); // another time: read anew, the old entries gone
    EXPECT_TRUE(lookUp(fresh, L"Key") == L"second" && lookUp(fresh, L"Gone") == absent);
    fs::remove(dir / "fresh.loc");
    EXPECT_TRUE(lookUp(fresh, L"Key") == absent && lookUp(copy, L"Key") == absent);
    dir.write("fresh.loc", "Key third\n");
    EXPECT_EQ(lookUp(fresh, L"Key"), L"third");
    // An empty map is never fresh: read at every lookup, whatever the time.
    locFile empty(dir.write("empty.loc", "; nothing yet\n").c_str());
    EXPECT_EQ(lookUp(empty, L"Key"), absent);
    rewrite(dir, "empty.loc", "Key now\n", 0);
    EXPECT_EQ(lookUp(empty, L"Key"), L"now");
    for (const locFile& nothing : {locFile(dir.windowsForm("missing.loc").c_str()), locFile(),
                                   locFile(dir.windowsForm("").c_str())}) // missing, empty, a folder
        EXPECT_EQ(lookUp(nothing, L"Key"), absent);
    const std::wstring b = dir.write("b.loc", "Key b\n");
    empty = vx::file(b);
    locFile joined(dir.windowsForm("").c_str(), L"b.loc");
    const locFile moved(std::move(joined));
    EXPECT_TRUE(lookUp(empty, L"Key") == L"b" && lookUp(moved, L"Key") == L"b");
}

TEST(locFileBounds, textsGrownByCommandsOrJoinedPastTheirLimitFailTheLoad) {
    tempDir dir;
    // Each command makes every "a" four: within the limit once, far beyond it ten times over.
    std::string tenTimes = "A aaaa\n";
    for (int i = 0; i < 10; ++i)
        tenTimes += "\n;;cmd(replace:::a:::aaaa)";
    const locFile fine(dir.write("fine.loc", "A aaaa\n;;cmd(replace:::a:::aaaa)\n").c_str());
    EXPECT_TRUE(lookUp(fine, L"A") == std::wstring(16, L'a') && std::wstring(fine.loadError()).empty());
    const std::wstring name = dir.write("bomb.loc", tenTimes);
    const locFile bomb(name.c_str());
    EXPECT_TRUE(lookUp(bomb, L"A") == absent && lookUp(bomb, L"Missing") == absent);
    // The tenth command (line 12) would make 4^11 a's, past the limit: its line is named.
    EXPECT_EQ(std::wstring(bomb.loadError()), name + L"(12): the command would make the texts longer than " +
              std::to_wstring(locFile::kGrowthFactor * tenTimes.size() + locFile::kGrowthAllowance) + L" characters");
    // An overlay's commands count against the limit too, and name the overlay.
    locFile overlaid(dir.write("base.loc", "A aaaa\n").c_str());
    overlaid.setOverlay(vx::file(dir.write("over.loc", tenTimes)));
    EXPECT_EQ(lookUp(overlaid, L"A"), absent);
    EXPECT_EQ(std::wstring(overlaid.loadError()).rfind(dir.windowsForm("over.loc") + L"(12): ", 0), 0u);
    // A text joined from continued lines may reach its limit, not pass it: the line that passes it
    // is named, and nothing more of the file is read.
    const std::size_t whole = locFile::kMaxMessageLength / 1000; // lines of 1000, and 576 more make the limit
    std::string content = "M ";
    for (std::size_t i = 0; i < whole; ++i)
        content += std::string(1000, 'y') + "\\\n";
    const locFile fits(dir.write("fits.loc", content + std::string(576, 'y') + "\n").c_str());
    EXPECT_EQ(lookUp(fits, L"M"), std::wstring(locFile::kMaxMessageLength, L'y'));
    const std::wstring longName = dir.write("long.loc", content + std::string(577, 'y') + "\nN n\n");
    const locFile f(longName.c_str());
    EXPECT_TRUE(lookUp(f, L"M") == absent && lookUp(f, L"N") == absent);
    EXPECT_EQ(std::wstring(f.loadError()), longName + L"(" + std::to_wstring(whole + 1) +
                                               L"): the text of M would be longer than " +
                                               std::to_wstring(locFile::kMaxMessageLength) + L" characters");
}

#ifndef _WIN32 // links and FIFOs made by hand
TEST(locFileBounds, aFileReachedAgainThroughALinkIsNotIncludedTwice) {
    tempDir dir;
    // Two names for one folder: each file includes itself and the other through both names,
    // which by path text alone would fan out without end.
    dir.write("d/a.loc", "A a\n#include a.loc\n#include ../e/a.loc\n#include ../e/b.loc\n#include b.loc\n");
    dir.write("d/b.loc", "B b\n#include ../e/a.loc\n#include ../d/b.loc\n#include ../e/b.loc\n");
    fs::create_directory_symlink(dir / "d", dir / "e");
    ::mkfifo((dir / "d/fifo.loc").c_str(), 0644);
    dir.write("d/c.loc", "C c\n#include fifo.loc\n#include .\n#include b.loc\n");
    const locFile a(dir.windowsForm("d/a.loc").c_str());
    EXPECT_EQ(lookUp(a, L"B"), L"b");
    EXPECT_TRUE(a.includes().size() == 1u && a.includes()[0].includes().empty()); // b.loc, once
    // A FIFO and a folder are no language files: passed over without blocking.
    EXPECT_EQ(lookUp(locFile(dir.windowsForm("d/c.loc").c_str()), L"B"), L"b");
}
#endif

// The file is read in blocks of 64 KiB: lines whose lengths differ put every kind of character,
// and a CR of a CR LF, across a block's end somewhere in a file of a few hundred kilobytes.
TEST(locFileBounds, aFileReadInBlocksGivesTheTextOfTheWhole) {
    tempDir dir;
    const int lines = 12000;
    std::wstring text;
    const auto value = [](int i) { return L"v" + std::wstring(i % 41u, L'.') + L"\u00E9\u20AC\U0001F600"; };
    for (int i = 0; i < lines; ++i) {
        text += L"K" + std::to_wstring(i) + L" " + value(i) + (i % 2 ? L"\r\n" : L"\n");
        if (i == lines / 2)
            text += L"Long " + std::wstring(3000, L'x') + L"\n"; // pieces of 1023 characters
    }
    for (const std::string& bytes : {utf8(text), "\xEF\xBB\xBF" + utf8(text), "\xFF\xFE" + vxtest::utf16le(text)}) {
        const locFile f(dir.write("f.loc", bytes).c_str());
        int wrong = 0;
        for (int i = 0; i < lines; ++i)
            wrong += lookUp(f, (L"K" + std::to_wstring(i)).c_str()) != value(i);
        EXPECT_EQ(wrong, 0) << bytes.substr(0, 3);
        EXPECT_EQ(lookUp(f, L"Long"), std::wstring(1018, L'x')) << bytes.substr(0, 3);
    }
}
