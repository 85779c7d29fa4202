#include <vxBinaryBuffer.h>
#include <vxCompoundDoc.h>
#include <vxException.h>

#include "testSupport.h"

#include <map>

#ifndef _WIN32
#include <sys/stat.h>
#endif

using vx::compoundDocReader, vx::compoundDocUtils, vx::compoundDocWriter;

namespace {

using vxtest::bytesOf;
using names = std::vector<std::string>;
using blocks = std::map<std::string, std::string>;

// What an exception of type E that f throws says: "<id>|<text>", or what went wrong instead.
template <class E, class F>
std::wstring thrown(F&& f) {
    try { f(); } catch (const E& e) { return std::wstring(e.message().stringId().id()) + L"|" + e.message().string(); }
    catch (const vx::exception& e) { return L"other exception: " + std::wstring(e.message().string()); }
    return L"nothing thrown";
}

std::string le64(std::uint64_t v) {
    std::string s;
    for (int i = 0; i < 8; ++i)
        s.push_back(static_cast<char>(v >> (8 * i)));
    return s;
}

const std::string kMagic = "vxcompoundDoc";

// One entry of a dictionary as the format lays it out; for forging documents.
std::string entry(const std::string& name, std::uint64_t start, std::uint64_t end) {
    return le64(name.size()) + name + le64(start) + le64(end);
}

// A document around data and raw dictionary entries, with the dictionary at data's end.
std::string forged(const std::string& data, const std::string& entries) {
    return data + kMagic + entries + le64(0) + kMagic + le64(data.size());
}

class compoundDocTest : public ::testing::Test {
protected:
    // The file of that name in the temporary directory, '/' between its parts.
    vx::file at(const std::string& name) const { return vx::file(dir.windowsForm(name)); }
    void put(const std::string& name, const std::string& bytes) const { dir.makeFile(name, bytes); }
    std::string get(const std::string& name) const { return dir.read(name); }
    // Every block of the document by name, read through the library.
    blocks contents(const std::string& name) const {
        compoundDocReader reader(at(name));
        reader.open();
        names dictionary;
        reader.getDictionary(dictionary);
        blocks result;
        vx::binaryBuffer b;
        for (const auto& n : dictionary)
            result[n] = reader.read(n.c_str(), b) ? bytesOf(b) : "<unreadable>";
        return result;
    }
    static void add(compoundDocWriter& w, const char* name, std::string s) { w.write(name, s.data(), s.size()); }
    // A document of these blocks, completed by the writer's destructor.
    void write(const char* name, std::initializer_list<std::pair<const char*, std::string>> blocks) const {
        compoundDocWriter w(at(name));
        for (const auto& [block, data] : blocks)
            add(w, block, data);
    }

    vxtest::tempDir dir;
};

TEST_F(compoundDocTest, documentsHaveExactlyTheseBytesWithNamesSortedBytewiseAndAThousandBlocksRoundTrip) {
    compoundDocWriter(at("empty.vxc")).create(); // the destructor completes it
    EXPECT_EQ(get("empty.vxc"), forged("", ""));
    // Names sort bytewise and match exactly; empty blocks have equal offsets.
    {
        compoundDocWriter w(at("d"));
        for (const char* name : {"\xC3\xA9", "a", "Z", "ab", "A"})
            add(w, name, name);
        EXPECT_TRUE(w.has("ab") && !w.has("AB") && !w.has(nullptr));
    }
    compoundDocReader d(at("d"));
    d.open();
    names listed;
    EXPECT_TRUE(d.getDictionary(listed) && listed == (names{"A", "Z", "a", "ab", "\xC3\xA9"}));
    EXPECT_TRUE(d.has("Z") && !d.has("z") && !d.has("a ") && !d.has(nullptr));
    EXPECT_TRUE(d.length(nullptr) == 0u && d.length("missing") == 0u);
    {
        compoundDocWriter w(at("e"));
        add(w, "x", "abc");
        w.write("empty", nullptr, 0);
        add(w, "y", "");
        add(w, "z", "d");
    }
    EXPECT_EQ(get("e"), forged("abcd", entry("empty", 3, 3) + entry("x", 0, 3) + entry("y", 3, 3) + entry("z", 3, 4)));
    EXPECT_EQ(contents("e"), (blocks{{"empty", ""}, {"x", "abc"}, {"y", ""}, {"z", "d"}})); // y empties the buffer
    // A thousand blocks: the data in the order written, then the dictionary sorted; read forwards and backwards.
    std::mt19937 random(7);
    std::vector<std::pair<std::string, std::string>> written;
    std::string data, entries;
    blocks dictionary; // each name's entry as the format lays it out
    {
        compoundDocWriter w(at("big.vxc"));
        for (int i = 0; i < 1000; ++i) {
            // Names out of order; mostly small blocks, some at and beyond the sizes where reading changes its way.
            const std::string name = "block" + std::to_string((i * 7919) % 1000);
            const std::size_t sizes[] = {16384, 16385, 65536, 70000};
            const auto bytes = vxtest::randomBytes(i % 97 == 0 ? sizes[(i / 97) % 4] : random() % 3000, random());
            add(w, name.c_str(), bytes);
            written.emplace_back(name, bytes);
            dictionary[name] = entry(name, data.size(), data.size() + bytes.size());
            data += bytes;
        }
    }
    names sorted;
    for (const auto& [name, bytes] : dictionary)
        entries += bytes, sorted.push_back(name);
    EXPECT_TRUE(get("big.vxc") == forged(data, entries));
    compoundDocReader r(at("big.vxc"));
    r.open();
    EXPECT_TRUE(r.getDictionary(listed) && listed == sorted);
    vx::binaryBuffer b;
    for (int pass = 0; pass < 2; ++pass) // forwards, then backwards
        for (std::size_t i = 0; i < written.size(); ++i) {
            const auto& [name, bytes] = written[pass ? written.size() - 1 - i : i];
            ASSERT_TRUE(r.length(name.c_str()) == bytes.size() && r.read(name.c_str(), b) && bytesOf(b) == bytes)
                << name;
        }
}

TEST_F(compoundDocTest, flushGivesACompleteFileAndLaterWritesExtendIt) {
    compoundDocWriter w(at("d"));
    add(w, "one", "1111");
    w.flush();
    w.flush(); // twice in a row writes the same dictionary at the same place
    EXPECT_EQ(contents("d"), (blocks{{"one", "1111"}}));
    // A small block is gathered: the file still holds the flushed document. From 64 KiB on a block goes
    // to the file at once, over the dictionary: until the next flush the file is no document.
    add(w, "two", "22");
    EXPECT_EQ(contents("d"), (blocks{{"one", "1111"}}));
    w.flush();
    const std::string large(65536, 'L');
    add(w, "large", large);
    EXPECT_EQ(thrown<vx::invalidFileFormatException>([&] { contents("d"); }).substr(0, 22), L"Msg_EInvalidFileFormat");
    add(w, "three", "");
    w.close();
    EXPECT_EQ(contents("d"), (blocks{{"large", large}, {"one", "1111"}, {"three", ""}, {"two", "22"}}));
    // The same bytes as the document written without a flush.
    write("once", {{"one", "1111"}, {"two", "22"}, {"large", large}, {"three", ""}});
    EXPECT_EQ(get("d"), get("once"));
}

TEST_F(compoundDocTest, misuseThrowsAndLeavesTheDocumentAsItWasAndCreateReplacesAFile) {
    const std::wstring unexpected = L"EUnexpected|Unexpected error occurred (compoundDocWriter::";
    compoundDocWriter w(at("d"));
    EXPECT_EQ(thrown<vx::unexpectedErrorException>([&] { w.flush(); }), unexpected + L"flush: file not opened)");
    w.close(); // nothing open: nothing happens
    EXPECT_EQ(get("d"), "<missing>");
    const std::string name127(127, 'n'), name128(128, 'n');
    char data[] = "data";
    const struct { const char* name; void* data; std::wstring details; } refused[] = {
        {nullptr, data, L"write: datablock without a name"}, {"", data, L"write: datablock without a name"},
        {name128.c_str(), data, L"write: name of datablock " + std::wstring(128, L'n') + L" longer than 127 bytes"},
        {"x", nullptr, L"write: datablock x without data"}};
    for (const auto& c : refused) {
        EXPECT_EQ(thrown<vx::unexpectedErrorException>([&] { w.write(c.name, c.data, 1); }),
                  unexpected + c.details + L")");
        EXPECT_EQ(get("d"), "<missing>") << "refused before the file is made";
    }
    w.write(name127.c_str(), data, 4);
    EXPECT_EQ(thrown<vx::unexpectedErrorException>([&] { w.create(); }), unexpected + L"create: file already open)");
    add(w, "\xC3\xA9", "1");
    EXPECT_EQ(thrown<vx::unexpectedErrorException>([&] { add(w, "\xC3\xA9", "2"); }),
              unexpected + L"write: datablock \u00E9 already existing)");
    w.close();
    EXPECT_EQ(contents("d"), (blocks{{name127, "data"}, {"\xC3\xA9", "1"}}));
    EXPECT_TRUE(w.has(name127.c_str())) << "known until the next create";
    // A write after close starts a new document, which replaces the longer one before.
    add(w, "b", "2");
    EXPECT_FALSE(w.has(name127.c_str()));
    w.close();
    EXPECT_EQ(contents("d"), (blocks{{"b", "2"}}));
    EXPECT_EQ(thrown<vx::writeFileException>([&] { compoundDocWriter(at("no/such/dir/d")).create(); }),
              L"Msg_EWriteFile|Error writing file " + at("no/such/dir/d").fullName());
    dir.makeDirs("dir");
    compoundDocWriter onDirectory(at("dir"));
    EXPECT_EQ(thrown<vx::writeFileException>([&] { add(onDirectory, "a", "1"); }).substr(0, 15), L"Msg_EWriteFile|");
}

TEST_F(compoundDocTest, openRefusesWhatIsNoDocumentAndTheReaderTakesEntriesAsTheyStand) {
    const std::string valid = forged("abc", entry("a", 0, 1) + entry("b", 1, 3)), abc = "abc" + kMagic + le64(0);
    std::vector<std::pair<std::string, std::string>> cases = {
        {"21 bytes without the magic", std::string(21, 'v')}, {"wrong trailer magic", abc + "vxcompoundDoC" + le64(3)},
        {"a wrong magic at D", forged("abc", "").replace(3, 1, "V")}, {"D beyond the end", abc + kMagic + le64(1000)},
        {"D just behind the trailer", abc + kMagic + le64(37)}, {"D beyond any position", abc + kMagic + le64(~0ull)},
        {"a name length of 128", forged("", entry(std::string(128, 'n'), 0, 0))},
        {"a huge name length", forged("", le64(~0ull))},
        {"no end mark", "abc" + kMagic + entry("a", 0, 1) + kMagic + le64(3)}}; // the loop runs on into the trailer
    for (std::size_t size = 0; size < valid.size(); ++size) // every cut of a valid document, the empty file too
        cases.emplace_back("cut at " + std::to_string(size), valid.substr(0, size));
    for (const auto& [what, bytes] : cases) {
        put("d", bytes);
        EXPECT_EQ(thrown<vx::invalidFileFormatException>([&] { compoundDocReader(at("d")).open(); }),
                  L"Msg_EInvalidFileFormat|Invalid file format in File " + at("d").fullName() + L"!") << what;
    }
    EXPECT_EQ(thrown<vx::readFileException>([&] { compoundDocReader(at("missing")).open(); }),
              L"Msg_EReadFile|Error reading file " + at("missing").fullName());
    EXPECT_FALSE(compoundDocReader(at("missing")).isValid());
    // A failed open leaves the reader closed; close forgets the dictionary.
    put("d", "abc" + kMagic + le64(0) + kMagic + le64(1000)); // the trailer points outside
    compoundDocReader r(at("d"));
    EXPECT_TRUE(r.isValid()) << "the quick check looks at the trailer magic only";
    EXPECT_THROW(r.open(), vx::invalidFileFormatException);
    EXPECT_THROW(r.open(), vx::invalidFileFormatException) << "no 'already open' after a failure";
    put("d", forged("abc", entry("a", 0, 3)));
    r.open();
    EXPECT_EQ(thrown<vx::unexpectedErrorException>([&] { r.open(); }),
              L"EUnexpected|Unexpected error occurred (compoundDocReader::open: file already open)");
    EXPECT_TRUE(r.has("a"));
    r.close();
    r.close();
    vx::binaryBuffer b;
    names listed;
    EXPECT_FALSE(r.has("a") || r.read("a", b) || r.getDictionary(listed));
    r.open();
    EXPECT_TRUE(r.read("a", b) && bytesOf(b) == "abc");
    EXPECT_FALSE(compoundDocReader(at("d")).read("a", b)) << "not open yet";
    for (const std::string& bytes : {std::string(), std::string(20, 'x'), std::string(42, 'x')}) {
        put("bad", bytes);
        EXPECT_FALSE(compoundDocReader(at("bad")).isValid()) << bytes.size();
    }
    // Forged dictionaries: the reader checks neither order, nor uniqueness, nor offsets.
    r.close();
    put("d", forged("0123456789", entry("b", 2, 4) + entry("a", 0, 1) + entry("a", 5, 9) + entry("out", 8, 100000) +
                                      entry("far", ~0ull - 1, ~0ull) + entry("back", 6, 2) + entry("all", 0, 10)));
    r.open();
    EXPECT_TRUE(r.getDictionary(listed) && listed == (names{"a", "all", "b", "back", "far", "out"}));
    EXPECT_TRUE(r.read("a", b) && bytesOf(b) == "0") << "the first of two equal names stands";
    EXPECT_TRUE(r.read("all", b) && bytesOf(b) == "0123456789");
    EXPECT_TRUE(r.read("b", b) && bytesOf(b) == "23") << "the previous content is replaced";
    // Blocks outside the file are refused before any room is made; out stays as it was.
    EXPECT_TRUE(r.length("out") == 99992u && r.length("far") == 1u && r.length("back") == 0u);
    for (const char* name : {"out", "far", "back", "missing"})
        EXPECT_TRUE(!r.read(name, b) && bytesOf(b) == "23") << name;
    // A block may reach into the dictionary: the offsets are only positions in the file.
    put("e", forged("", entry("self", 0, 13)));
    EXPECT_EQ(contents("e"), (blocks{{"self", kMagic}}));
    // The smallest document: 21 bytes whose dictionary is its own trailer, D = 0 read as the end mark.
    put("tiny", kMagic + le64(0));
    compoundDocReader tiny(at("tiny"));
    tiny.open();
    EXPECT_TRUE(!tiny.getDictionary(listed) && listed.empty()) << "no entries: false, and the list emptied";
}

TEST_F(compoundDocTest, thumbnailFormatIsTheLowerCaseExtensionInUtf16AndTheKnownBlocksAreExtracted) {
    const struct { const wchar_t* image; const char* utf8; std::string format; } cases[] = {
        {L"Pic.PNG", "Pic.PNG", std::string("\x04\0\0\0p\0n\0g\0\0\0", 12)},
        {L"a.b.JPeG", "a.b.JPeG", std::string("\x05\0\0\0j\0p\0e\0g\0\0\0", 14)},
        {L"noextension", "noextension", std::string("\x01\0\0\0\0\0", 6)},
        {L"x.\u00E4", "x.\xC3\xA4", std::string("\x02\0\0\0\xE4\0\0\0", 8)},
        {L"x.\U0001F600", "x.\xF0\x9F\x98\x80", std::string("\x03\0\0\0\x3D\xD8\x00\xDE\0\0", 10)}}; // a pair
    dir.makeDirs("img");
    for (const auto& c : cases) {
        const std::string bytes = std::string("\x89PNG\r\n\x1A\n", 8) + c.utf8;
        const vx::file image(vx::string(dir.windowsForm() + L"\\img\\" + c.image));
#ifdef _WIN32
        // Native names are UTF-16 here: the image is made by its wide name.
        std::ofstream(std::filesystem::path(std::wstring(image.fullName())), std::ios::binary) << bytes;
#else
        put(std::string("img/") + c.utf8, bytes);
#endif
        {
            compoundDocWriter w(at("d"));
            EXPECT_TRUE(compoundDocUtils::writeThumbnail(image, w)) << c.utf8;
        }
        EXPECT_EQ(contents("d"), (blocks{{"thumbnail", bytes}, {"thumbnailformat", c.format}})) << c.utf8;
    }
    compoundDocWriter w(at("none"));
    EXPECT_TRUE(!compoundDocUtils::writeThumbnail(at("img/missing.png"), w) && get("none") == "<missing>");
    // The known blocks are extracted by name.
    write("d", {{"thumbnail", "T"}, {"productioninfo", "P"}, {"info", ""}});
    write("bare", {{"other", "x"}});
    put("plain", "no document");
    const struct { bool (*extract)(const vx::file&, vx::binaryBuffer&); std::string content; } extracts[] = {
        {&compoundDocUtils::extractThumbnail, "T"}, {&compoundDocUtils::extractProductionInfo, "P"},
        {&compoundDocUtils::extractInfo, ""}}; // present but empty: false
    for (const auto& c : extracts) {
        vx::binaryBuffer out;
        out.write("previous", 8);
        EXPECT_TRUE(c.extract(at("d"), out) == !c.content.empty() && bytesOf(out) == c.content) << c.content;
        EXPECT_THROW(c.extract(at("plain"), out), vx::invalidFileFormatException);
        EXPECT_THROW(c.extract(at("missing"), out), vx::readFileException);
        out.write("previous", 8);
        EXPECT_TRUE(!c.extract(at("bare"), out) && out.logicalLength() == 0u) << "emptied when the block is missing";
    }
}

// A read-only directory and a full disk need the owner's bits and a child with a limit on file sizes:
// POSIX only (a directory's read-only attribute keeps no file out on Windows).
#ifndef _WIN32
TEST_F(compoundDocTest, readOnlyDirectoryRefusesAndKeepsTheExistingDocument) {
    dir.makeDirs("ro");
    write("ro/d", {{"old", "keep me"}});
    const std::string before = get("ro/d");
    // The file itself may be written: only the directory is read-only.
    ::chmod((dir / "ro/d").c_str(), 0666);
    ::chmod((dir / "ro").c_str(), 0555);
    ::chmod(dir.path().c_str(), 0755);
    vxtest::expectUnprivileged([&] {
        compoundDocWriter existing(at("ro/d")), fresh(at("ro/new"));
        return thrown<vx::writeFileException>([&] { existing.create(); }) ==
                   L"Msg_EWriteFile|Error writing file " + at("ro/d").fullName() &&
               thrown<vx::writeFileException>([&] { add(fresh, "a", "1"); }).substr(0, 15) == L"Msg_EWriteFile|";
    });
    EXPECT_TRUE(get("ro/d") == before && get("ro/new") == "<missing>");
}

TEST_F(compoundDocTest, fullDiskFailsTheWriteAndKeepsTheBlocksBeforeIt) {
    // A limit on file sizes stands in for a full disk: writes beyond 64 KiB fail.
    const std::string report = vxtest::inRestrictedChild(65536, false, [&](std::string& errors) {
        const auto fails = [&](const std::function<void()>& f, const char* what) {
            vxtest::check(errors, thrown<vx::writeFileException>(f).substr(0, 15) == L"Msg_EWriteFile|", what);
        };
        compoundDocWriter a(at("a"));
        add(a, "first", std::string(10000, '1'));
        a.flush();
        vxtest::check(errors, thrown<vx::writeFileException>([&] { add(a, "big", std::string(100000, 'b')); }) ==
                                  L"Msg_EWriteFile|Error writing file " + at("a").fullName(), "a: big block");
        vxtest::check(errors, !a.has("big"), "a: the failed block is known");
        add(a, "small", "s"); // fits where the failed block began
        a.close();
        {
            compoundDocWriter b(at("b")); // completed by the destructor
            add(b, "first", std::string(10000, '1'));
            fails([&] { add(b, "big", std::string(100000, 'b')); }, "b: big block");
        }
        compoundDocWriter c(at("c"));
        add(c, "exact", std::string(65536, 'e'));
        fails([&] { c.flush(); }, "c: no room to flush");
        fails([&] { c.close(); }, "c: no room to close");
        c.close(); // closed now, even though it failed
        // Gathered blocks that do not fit fail at the close that sends them; the dictionary before them fits.
        compoundDocWriter d(at("d"));
        for (const char* name : {"d1", "d2", "d3", "d4"})
            add(d, name, std::string(20000, name[1]));
        fails([&] { d.close(); }, "d: gathered blocks");
    });
    EXPECT_EQ(report, "");
    EXPECT_EQ(contents("a"), (blocks{{"first", std::string(10000, '1')}, {"small", "s"}}));
    EXPECT_EQ(contents("b"), (blocks{{"first", std::string(10000, '1')}}));
    EXPECT_THROW(contents("c"), vx::invalidFileFormatException) << "no room for the dictionary";
    EXPECT_EQ(contents("d"), (blocks{{"d1", std::string(20000, '1')}, {"d2", std::string(20000, '2')},
                                     {"d3", std::string(20000, '3')}}));
}
#endif

} // namespace
