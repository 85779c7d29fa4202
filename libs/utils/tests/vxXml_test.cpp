#include <vxBinaryBuffer.h>
#include <vxException.h>
#include <vxFile.h>
#include <vxXml.h>

#include "testSupport.h"

#include <gtest/gtest.h>
#ifdef VX_TEST_WITH_PUGIXML
#include <pugixml.hpp>
#endif

#include <cstring>
#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <vector>

using vx::refPtr;
using vx::xmlDocument;
using vx::xmlNode;

namespace {

const std::wstring kInvalid = L"EUnexpected|Unexpected error occurred (xmlNode::parseText: invalid xml-format)";

// What f throws: "<id>|<text>" for a vx::exception, "bool" for the assertion form, else "nothing".
template <class F>
std::wstring thrown(F&& f) {
    try {
        f();
    } catch (const vx::exception& e) {
        return std::wstring(e.message().stringId().id()) + L"|" + e.message().string();
    } catch (bool) {
        return L"bool";
    }
    return L"nothing";
}

// A tree in one line: name, (attributes), "text", [children].
std::wstring dump(const xmlNode& n) {
    std::wstring attributes, children;
    for (const auto& a : n.attributes())
        attributes += L"," + a.first + L"=" + a.second;
    for (const auto& c : n.children())
        children += L"," + dump(*c);
    return n.name() + (attributes.empty() ? L"" : L"(" + attributes.substr(1) + L")") +
           (n.text().empty() ? L"" : L"\"" + n.text() + L"\"") + (children.empty() ? L"" : L"[" + children.substr(1) + L"]");
}

refPtr<xmlDocument> fromText(const std::string& utf8, bool keep = false) {
    refPtr<xmlDocument> doc = xmlDocument::createXmlDocument();
    doc->load(utf8.data(), utf8.size(), keep);
    return doc;
}

// What save appends to a buffer that holds some bytes already (which must stay in front).
std::string saved(const xmlDocument& doc, int encoding = xmlDocument::eUtf8) {
    vx::binaryBuffer b;
    b.write("pre", 3);
    doc.save(b, static_cast<xmlDocument::eEncoding>(encoding));
    const std::string all(b.data(), b.logicalLength());
    EXPECT_EQ(all.substr(0, 3), "pre");
    return all.substr(3);
}

// The bytes of a literal, null characters included.
template <std::size_t N>
std::string bin(const char (&s)[N]) { return std::string(s, N - 1); }

// A node's parser, reachable for the cases where it answers a position or null.
struct probe : xmlNode {
    using xmlNode::parseText;
};

} // namespace

TEST(xmlParse, treesAndQuirks) {
    const struct { const char* text; bool keep; const wchar_t* tree; } cases[] = {
        {"<a>  x  </a>", false, L"a\"x\""}, {"<a>  x  </a>", true, L"a\"  x  \""}, {"<a>\n</a>", false, L"a\"\n\""},
        {"<a>\t x \n</a>", false, L"a\"x \n\""}, // only spaces and tabs are trimmed
        {"<a>one<b/>two</a>", false, L"a\"one\"[b]"}, {"<a>\n  one \n<b/></a>", true, L"a\"one \n\"[b]"},
        {"<a><b/><!-- c --><c/></a>", false, L"a[b,c]"}, {"<a><b/><!-- last --></a>", false, L"a[b]"},
        {"< a >x</ a >", false, L"a\"x\""}, {"<a><b></ b ></a>", false, L"a[b]"}, {"<e a b=\"1\"/>", false, L"e(a=1)"},
        {"<e a='1' b=\"2\"c='3' a=\"4\"/>", false, L"e(a=1,b=2,c=3,a=4)"}, {"<e x = \"a'b\" y='a\"b'/>", false, L"e(x=a'b,y=a\"b)"},
        {"<?xml version=\"1.0\"?><!DOCTYPE r><!-- c --><r/>trailing <junk", false, L"r"},
        {"<r><![CDATA[lost]]></r>", false, L"r"}, {"<r><x>1</x><x>2</x></r>", false, L"r[x\"1\",x\"2\"]"},
        {"<a>x<", false, L"a\"x\""}, {"<a", false, L"a"}, {"<a/>", false, L"a"},
        // entities: the named ones first, numeric ones of one to three digits, repeated passes
        {"<a v=\"&lt;&gt;&amp;&quot;&apos;\">&amp;lt;|&amp;amp;amp;</a>", false, L"a(v=<>&\"')\"<|&\""},
        {"<a>&#x41;&#x3b1;&#x20AC;|&#x1234;|&#65;|&#x</a>", false, L"a\"A\x3b1&#x20AC;|&#x1234;|&#65;|&#x\""},
        {"<a>[&#x0;&#xZZ;]&#x26;lt;|&#x4;a;</a>", false, L"a\"[]<|\x4\""},
        {"<a>&#x12&#x3b;</a>", false, L"a\"\x12\""}, // completed by a later replacement
        {"<a>a & b &amp;c; &lt</a>", false, L"a\"a & b &c; &lt\""}, {"<!--><r/>--><s/>", false, L"s"}, // "<!-->" opens a comment
    };
    for (const auto& c : cases)
        EXPECT_EQ(dump(*fromText(c.text, c.keep)), c.tree) << c.text;
}

TEST(xmlParse, invalidFormatsAndTheNestingLimit) {
    const auto nested = [](int depth) {
        std::string open, close;
        for (int i = 0; i < depth; ++i)
            open += "<n>", close += "</n>";
        return open + close;
    };
    const std::string cases[] = {
        "<",          "< ",          "<a/b>",        "<a x>",           "<a x=1>",          "<a x=\"1>",
        "<a x=\"1\" ", "<a>",        "<a>text</b>",  "<a>text</a",      "<ab>x</abc>",      "<a><b/>",
        "<a></ab>",   "<r><a>x<",    "<a><b></c></a>", nested(xmlNode::kMaxDepth + 1), nested(10000), // too deep
        "<a\xE2\x82>x</a\xE2\x82\xAC>", "<\xC3\xA9>x</\xC3>", // decoded, the names differ
    };
    for (const std::string& text : cases)
        EXPECT_EQ(thrown([&] { fromText(text); }), kInvalid) << text.substr(0, 40);
    int depth = 1;
    for (refPtr<xmlNode> n = fromText(nested(xmlNode::kMaxDepth)); !n->children().empty(); n = n->children()[0])
        ++depth;
    EXPECT_EQ(depth, xmlNode::kMaxDepth);
}

// Loading onto a document that holds one already.
TEST(xmlParse, whatALoadLeavesOfTheDocument) {
    const char* keep = "<keep a='1'>t<c/></keep>";
    const struct { const char *before, *text; std::wstring thrown, tree; } cases[] = {
        {keep, "", L"bool", L"keep(a=1)\"t\"[c]"}, // nothing found: the document stays as it was
        {keep, "just text", L"nothing", L"keep(a=1)\"t\"[c]"}, {keep, "<!-- open", L"nothing", L"keep(a=1)\"t\"[c]"},
        {keep, "<?xml version='1.0'?>", L"nothing", L"keep(a=1)\"t\"[c]"}, {keep, "<!DOCTYPE", L"nothing", L"keep(a=1)\"t\"[c]"},
        {keep, "<?pi", L"nothing", L"keep(a=1)\"t\"[c]"},
        {"", "<r a='1'><b/><!-- x", L"nothing", L"r(a=1)"}, // an unfinished comment drops the element's children
        {"", "<r x='1' y><c/></r>", kInvalid, L"r(x=1)"},  // a failure leaves what was read before it
        {"<r a='1'><b/></r>", "<s a='2'><c/></s>", L"nothing", L"s(a=1,a=2)[b,c]"}, // appended behind what was there
    };
    for (const auto& c : cases) {
        refPtr<xmlDocument> doc = xmlDocument::createXmlDocument();
        if (*c.before)
            doc->load(c.before, std::strlen(c.before), false);
        EXPECT_EQ(thrown([&] { doc->load(c.text, std::strlen(c.text), false); }), c.thrown) << c.text;
        EXPECT_EQ(dump(*doc), c.tree) << c.text;
    }
    probe p;
    EXPECT_EQ(p.parseText(L"<!-- x", false), nullptr);
    const wchar_t* closing = L"<!-- x --></a>";
    EXPECT_EQ(p.parseText(closing, false), closing + 10) << "an end tag answers its '<'";
    EXPECT_EQ(thrown([&] { p.parseText(nullptr, false); }),
              L"EUnexpected|Unexpected error occurred (xmlNode::parseText: NULL specified for pText)");
}

TEST(xmlTree, parentsChildrenAndAttributes) {
    refPtr<xmlNode> root = xmlNode::createXmlNode(L"r"), other = xmlNode::createXmlNode(L"o"), none;
    refPtr<xmlNode> a = root->createChildNode(L"Item"), b = root->createChildNode(L"x"), c = root->createChildNode(L"item");
    EXPECT_EQ(a->parent(), root.get());
    EXPECT_FALSE(other->addNode(a)) << "one parent at most";
    EXPECT_FALSE(root->addNode(none));
    EXPECT_EQ(std::vector<refPtr<xmlNode>>({root->getFirstChildNode(L"item", true), root->getFirstChildNode(L"item", false),
                                            root->getLastChildNode(L"ITEM", false), root->getLastChildNode(L"Item", true),
                                            root->getNextChildNode(a, false), root->getNextChildNode(a, true),
                                            root->getNextChildNode(other, false), root->getNextChildNode(nullptr, false)}),
              std::vector<refPtr<xmlNode>>({c, a, c, a, c, none, none, none})); // "other" is no child
    EXPECT_TRUE(static_cast<const xmlNode&>(*root).hasChildNode(L"X", false) && !root->hasChildNode(L"X", true));
    EXPECT_FALSE(other->removeNode(a));
    EXPECT_TRUE(root->removeNode(b) && b->parent() == nullptr && other->addNode(b));
    EXPECT_EQ(dump(*root), L"r[Item,item]");
    root.reset();
    EXPECT_TRUE(a->parent() == nullptr && c->parent() == nullptr) << "the parent's destructor clears it";
    std::string many = "<r>";
    for (int i = 0; i < 3000; ++i)
        many += "<p><q k='" + std::to_string(i) + "'>t<s/></q></p>";
    refPtr<xmlDocument> big = fromText(many + "</r>");
    refPtr<xmlNode> held = big->children()[1500]->children()[0];
    big.reset();
    EXPECT_EQ(dump(*held), L"q(k=1500)\"t\"[s]") << "a node held elsewhere outlives its tree whole";
    EXPECT_EQ(held->parent(), nullptr);

    refPtr<xmlNode> n = fromText("<e a='1' b='2' a='3'/>");
    vx::string value = L"untouched";
    EXPECT_TRUE(!n->getAttribute(L"A", value) && value == L"untouched") << "names are compared with case";
    EXPECT_TRUE(n->getAttribute(L"a", value) && value == L"1");
    n->setAttribute(L"a", L"x");
    n->setAttribute(L"c", L"y");
    n->removeAttribute(L"b");
    n->removeAttribute(L"none");
    EXPECT_EQ(dump(*n), L"e(a=x,a=3,c=y)");
    n->removeAttribute(L"a");
    EXPECT_TRUE(n->hasAttribute(L"a") && !n->hasAttribute(L"b"));
}

TEST(xmlTree, copies) {
    refPtr<xmlNode> source = fromText("<r k='v'>t<a><b x='1'/></a><c/></r>");
    refPtr<xmlNode> copy = xmlNode::createXmlNode(source);
    EXPECT_EQ(dump(*copy), dump(*source));
    EXPECT_TRUE(copy->children()[0]->parent() == nullptr && copy->children()[0]->children()[0]->parent() == nullptr)
        << "a copy's children have no parent";
    EXPECT_EQ(thrown([] { xmlNode::createXmlNode(vx::const_refPtr<xmlNode>()); }),
              L"EUnexpected|Unexpected error occurred (xmlNode::createXmlNode: NULL specified for pNode)");
    refPtr<xmlNode> target = fromText("<old o='1'><gone/></old>");
    refPtr<xmlNode> gone = target->children()[0];
    *target = *source;
    EXPECT_EQ(dump(*target), dump(*source));
    EXPECT_EQ(gone->parent(), nullptr);
    *target = *target;
    EXPECT_EQ(dump(*target), dump(*source));
    *target = *target->children()[0]; // a node's own child as the source
    EXPECT_EQ(dump(*target), L"a[b(x=1)]");
}

TEST(xmlWrite, textForm) {
    refPtr<xmlDocument> doc =
        fromText("<r a=\"&lt;&amp;&gt;&quot;&apos;\">top\nline<e/><t>x\ny</t><n>\n</n><p q='1'><i/></p></r>");
    vx::string text;
    doc->getText(text, L"> ");
    EXPECT_EQ(text, L"> <r a=\"&lt;&amp;&gt;&quot;&apos;\">\n>    topline\n>    <e/>\n>    <t>x\ny</t>\n>    <n>\n</n>\n"
                    L">    <p q=\"1\">\n>       <i/>\n>    </p>\n> </r>\n");
    EXPECT_EQ(saved(*fromText("<r/>")), "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<r/>\n");
    EXPECT_EQ(saved(*fromText("<r/>"), 7), vxtest::utf16le(L"<?xml version=\"1.0\" ?>\n<r/>\n") + bin("\0\0"));
    EXPECT_EQ(saved(*fromText("<r>\xF0\x9F\x98\x80</r>"), xmlDocument::eUtf16),
              vxtest::utf16le(L"<?xml version=\"1.0\" encoding=\"UTF-16\"?>\n<r>\U0001F600</r>\n") + bin("\0\0"));
}

// The byte forms are written in blocks of plain characters: they agree with the text form
// wherever special, non-ASCII and plain characters fall, in attributes, texts and the text of an
// element with children (whose newlines are dropped).
TEST(xmlWrite, byteFormsAgreeWithTheTextForm) {
    // Whole characters (on Windows the last one is two units).
    const std::wstring others[] = {L"&", L"<", L">", L"\"", L"'", L"\n", L" ", L"\x00E9", L"\x20AC", L"\U0001F600"};
    std::mt19937 random(12345);
    for (int round = 0; round < 300; ++round) {
        std::wstring text;
        for (int i = 0; i < round % 97; ++i) {
            const std::size_t pick = random() % 40;
            text += pick < std::size(others) ? others[pick] : std::wstring(1, static_cast<wchar_t>(L'a' + pick % 26));
        }
        refPtr<xmlDocument> doc = xmlDocument::createXmlDocument();
        doc->setName(L"r");
        doc->setAttribute(L"v", text);
        doc->setText(text);
        doc->createChildNode(L"c")->setText(text);
        vx::string wide;
        doc->getText(wide, vx::string());
        ASSERT_EQ(saved(*doc), "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + wide.getMBCS()) << round;
        ASSERT_EQ(saved(*doc, xmlDocument::eUtf16),
                  vxtest::utf16le(L"<?xml version=\"1.0\" encoding=\"UTF-16\"?>\n" + wide) + bin("\0\0")) << round;
    }
}

// Trees built in code are saved, loaded and compared: special and non-ASCII characters, a large
// document, and deep trees, which are copied, released and written without recursion per level.
TEST(xmlWrite, roundTripsOfTreesBuiltInCode) {
    refPtr<xmlDocument> doc = xmlDocument::createXmlDocument();
    doc->setName(L"données");
    doc->setAttribute(L"all", L"&<>\"' \x3b1 \x20AC \U0001F600 tab\there");
    doc->createChildNode(L"leaf")->setText(L"line one\nline two & <three>");
    std::wstring long_text;
    for (int i = 0; i < 300; ++i)
        long_text += L"\U0001F600\xE9";
    doc->createChildNode(L"long")->setText(long_text);
    doc->createChildNode(L"empty")->setAttribute(L"v", L"");
    for (int i = 0; i < 100000; ++i) {
        refPtr<xmlNode> row = doc->createChildNode(L"row");
        row->setAttribute(L"id", std::to_wstring(i));
        row->setText(L"value " + std::to_wstring(i * 7));
    }
    refPtr<xmlDocument> back = fromText(saved(*doc));
    EXPECT_EQ(back->children().size(), 100003u);
    EXPECT_EQ(dump(*back), dump(*doc));
    EXPECT_EQ(back->children()[2]->parent(), back.get());

    doc = fromText("<d/>");
    refPtr<xmlNode> n = doc, m;
    for (int i = 1; i < xmlNode::kMaxDepth; ++i)
        n = n->createChildNode(L"n");
    n->setText(L"bottom");
    for (m = fromText(saved(*doc)); !m->children().empty(); m = m->children()[0])
        ;
    EXPECT_EQ(m->text(), L"bottom");
    for (int i = 0; i < 200000; ++i)
        n = n->createChildNode(L"n");
    n.reset();
    EXPECT_EQ(xmlNode::createXmlNode(doc)->name(), L"d"); // the copy is released at once
    doc.reset();

    // A null character ends its piece of 256 characters in UTF-8 output.
    doc = fromText("<r/>");
    doc->setText(std::wstring(L"ab\0cd", 5) + std::wstring(300, L'x') + L"yz");
    const std::string bytes = saved(*doc);
    EXPECT_TRUE(bytes.find("cd") == std::string::npos && bytes.find("xxyz</r>") != std::string::npos) << bytes;
}

TEST(xmlLoad, encodings) {
    const struct { std::string bytes; std::wstring tree; } cases[] = {
        {"\xEF\xBB\xBF<r>\xC3\xA9\xF0\x9F\x98\x80</r>", L"r\"\xE9\U0001F600\""}, {"<r>\xC3\xA9</r>", L"r\"\xE9\""},
        {bin("\xFF\xFE<\0r\0>\0\xE9\0=\xD8\0\xDE<\0/\0r\0>\0"), L"r\"\xE9\U0001F600\""}, {bin("\xFF\xFE<\0r\0/\0>\0\x00\xD8"), L"r"},
        {bin("\xFF\xFE<\0r\0>\0x\0<\0/\0r\0>\0\x01"), L"r\"x\""}, // an odd byte after the end tag
        {"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><r a='\xE9'>\xA4\x80</r>", L"r(a=\xE9)\"\xA4\x80\""},
        {"<?xml version=\"1.0\" encoding=\"windows-1252\"?><r>\x80\x81\xE9</r>", L"r\"\x20AC\x81\xE9\""},
        {"<?xml encoding=\"no-such-thing\"?><r>\x80</r>", L"r\"\x20AC\""},
        {"<?xml encoding=\"latin1\"?><r>\xE9</r>", L"r\"\xE9\""}, {"<?xml encoding=\"UTF-8\"?><r>\xC3\xA9</r>", L"r\"\xE9\""},
        {"<?xml encoding=\"UTF-16LE\"?><r>\xC3\xA9</r>", L"r\"\xE9\""}, // the 'E' loses the name
        {"<?xml encoding='latin1'?><r>\xC3\xA9</r>", L"r\"\xE9\""}, // only '"' opens the value
        {"<?xml encoding=\"Latin1", L""},                              // no closing quote: still a name
        {"<?xml encoding=\"" + std::string(300, 'x') + "\"?><r>\x80</r>", L"r\"\x20AC\""}, // cut, unknown
        {bin("<?encoding=\"utf-16\"?>\0<\0r\0/\0>\0"), L"r"},
        // UTF-8 is parsed as bytes: broken sequences decode to U+FFFD where they stand, and an
        // end tag names its element by the decoded characters
        {"<a\xFF b\xC3='\xE2\x82'>x\xF0\x9F</a\xFE>", L"a\xFFFD(b\xFFFD=\xFFFD)\"x\xFFFD\""},
        {"<\xC3\xA9\xE2\x82\xAC>\xE2\x80\x83</\xC3\xA9\xE2\x82\xAC ><x/>", L"\xE9\x20AC\"\x2003\""},
        {bin("<r>a</r>\0<b/>"), L"r\"a\""}, {"\xEF\xBB\xBF", L"bool"}, {"", L"bool"}, // nothing to convert
    };
    for (const auto& c : cases) {
        std::wstring tree;
        const std::wstring outcome = thrown([&] { tree = dump(*fromText(c.bytes)); });
        EXPECT_EQ(outcome == L"nothing" ? tree : outcome, c.tree) << c.bytes;
    }
    refPtr<xmlDocument> doc = xmlDocument::createXmlDocument();
    doc->load(nullptr, 10, false);
    EXPECT_EQ(dump(*doc), L"");
}

namespace {

// Code points of wide text (a pair of surrogates is one where wchar_t has 16 bits).
std::vector<std::uint32_t> codePoints(const std::wstring& text) {
    std::vector<std::uint32_t> points;
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto c = static_cast<std::uint32_t>(text[i]);
        if (sizeof(wchar_t) == 2 && c >= 0xD800 && c < 0xDC00 && i + 1 < text.size())
            c = 0x10000 + ((c - 0xD800) << 10) + (static_cast<std::uint32_t>(text[++i]) - 0xDC00);
        points.push_back(c);
    }
    return points;
}

std::string utf8Of(const std::wstring& text) {
    std::string out;
    for (const std::uint32_t c : codePoints(text)) {
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | c >> 6), out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | c >> 12), out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | c >> 18), out += static_cast<char>(0x80 | (c >> 12 & 0x3F));
            out += static_cast<char>(0x80 | (c >> 6 & 0x3F)), out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

std::string utf16Of(const std::wstring& text) {
    std::string out = "\xFF\xFE";
    const auto unit = [&out](std::uint32_t u) { out += static_cast<char>(u & 0xFF), out += static_cast<char>(u >> 8); };
    for (const std::uint32_t c : codePoints(text)) {
        if (c < 0x10000) {
            unit(c);
        } else {
            unit(0xD800 + ((c - 0x10000) >> 10)), unit(0xDC00 + ((c - 0x10000) & 0x3FF));
        }
    }
    return out;
}

} // namespace

// UTF-8 is parsed as bytes, UTF-16 widened first: every document gives the same tree, or the
// same failure, either way and with either whitespace option.
TEST(xmlLoad, utf8AndWideReadingsAgree) {
    const std::wstring documents[] = {
        L"<a b='1' c=\"x&amp;y &lt;\">t &#65;</a>",
        L"<\xE9l\xE8ve nom='\x20AC' \x3B1=\"\x3B2\">\U0001F600 \x4E2D</\xE9l\xE8ve>",
        L"<\xE9>x</\xE8>", L"<a>x</b>", L"<ab>x</a>", L"<a>x</ab>", L"<\U0001F600>x</\U0001F600 >",
        L"<a  \t\n b = '1'\n c\t=\t\"2\"/>", L"<a b='1' c>", L"<a b='1", L"<a b=1/>",
        L"<r><!-- a <comment> --><?pi x?><!DOCTYPE r><x/>tail</r>", L"<r><!-- open",
        L"<r>  spaced \t <c>  inner  </c>  behind  </r>", L"<r>\t\x3000text\x3000\t</r>",
        L"<r a='&amp;lt;&#x41;&#x4;x;&amp;amp;amp;'>&quot;&apos;&gt;</r>", L"<r><unclosed></r>",
        L"<r>a</r><second/>", L"  <r/>", L"<r/", L"<", L"</r>", L"text only",
    };
    for (const std::wstring& text : documents) {
        for (const bool keep : {false, true}) {
            std::wstring asUtf8, asWide;
            const std::wstring utf8Outcome = thrown([&] { asUtf8 = dump(*fromText(utf8Of(text), keep)); });
            const std::wstring wideOutcome = thrown([&] { asWide = dump(*fromText(utf16Of(text), keep)); });
            EXPECT_EQ(utf8Outcome + asUtf8, wideOutcome + asWide) << utf8Of(text) << (keep ? " kept" : "");
        }
    }
}

TEST(xmlFile, loadAndSave) {
    vxtest::tempDir dir;
    const vx::file f(dir.windowsForm("d.xml")), missing(dir.windowsForm("none.xml"));
    refPtr<xmlDocument> doc = fromText("<r><a x='1'>t</a></r>");
    doc->save(f, xmlDocument::eUtf8);
    refPtr<xmlDocument> back = xmlDocument::createXmlDocument();
    back->load(f, false);
    EXPECT_EQ(dump(*back), L"r[a(x=1)\"t\"]");
    EXPECT_EQ(thrown([&] { back->load(missing, false); }), L"Msg_EFileNotFound|File " + missing.fullName() + L" not found!");
    dir.makeFile("empty.xml", "");
    back->load(vx::file(dir.windowsForm("empty.xml")), false);
    EXPECT_EQ(dump(*back), L"r[a(x=1)\"t\"]") << "an empty file changes nothing";
    doc->save(f, xmlDocument::eUtf16);
    EXPECT_EQ(thrown([&] { back->load(f, false); }), L"Msg_EInvalidXml|File " + f.fullName() + L" is not a valid XML-file!")
        << "UTF-16 output has no mark and does not load again";
    // Saving replaces the file and keeps its permission bits; nothing is left beside it.
    vxtest::setMode(dir / "d.xml", 0640);
    const int mode = dir.mode("d.xml");
    doc->save(f, xmlDocument::eUtf8);
    EXPECT_EQ(dir.mode("d.xml"), mode);
    EXPECT_EQ(dir.count(), 2u);
    // A read-only file is refused and kept.
    const std::string before = dir.read("d.xml");
    vxtest::setMode(dir / "d.xml", 0444);
    EXPECT_EQ(thrown([&] { doc->save(f, xmlDocument::eUtf16); }), L"Msg_EWriteFile|Error writing file " + f.fullName());
    EXPECT_EQ(dir.read("d.xml"), before);
}

#ifndef _WIN32 // a child process with a file-size limit; a file nobody may read
TEST(xmlFile, failedWriteKeepsTheOldFileAndUnreadableFilesAreReported) {
    vxtest::tempDir dir;
    dir.makeFile("d.xml", "<old/>");
    const vx::file f(dir.windowsForm("d.xml"));
    refPtr<xmlDocument> big = xmlDocument::createXmlDocument();
    big->setName(L"big");
    big->setText(std::wstring(100000, L'x'));
    const std::string report = vxtest::inRestrictedChild(4096, false, [&](std::string& errors) {
        vxtest::check(errors, thrown([&] { big->save(f, xmlDocument::eUtf8); }).rfind(L"Msg_EWriteFile|", 0) == 0,
                      "writeFileException");
    });
    EXPECT_EQ(report, "");
    EXPECT_EQ(dir.read("d.xml"), "<old/>");
    EXPECT_EQ(dir.count(), 1u) << "the file beside it is removed";
    vxtest::setMode(dir / "d.xml", 0);
    vxtest::setMode(dir.path(), 0755);
    vxtest::expectUnprivileged([&] {
        refPtr<xmlDocument> doc = xmlDocument::createXmlDocument();
        return thrown([&] { doc->load(f, false); }) == L"Msg_EReadFile|Error reading file " + f.fullName();
    });
}
#endif

#ifdef VX_TEST_WITH_PUGIXML // the cross build has no pugixml for the target
TEST(xmlCrossCheck, sameTreeAsPugixml) {
    const auto utf8 = [](const std::wstring& s) { return vx::string(s).getMBCS(); };
    // The same tree: names, attributes in order, the text of elements without children, children.
    std::function<void(const xmlNode&, const pugi::xml_node&, const std::string&)> expectSame =
        [&](const xmlNode& ours, const pugi::xml_node& theirs, const std::string& where) {
            ASSERT_EQ(utf8(ours.name()), theirs.name()) << where;
            std::vector<std::pair<std::string, std::string>> a, b;
            for (const auto& attribute : ours.attributes())
                a.emplace_back(utf8(attribute.first), utf8(attribute.second));
            for (const pugi::xml_attribute attribute : theirs.attributes())
                b.emplace_back(attribute.name(), attribute.value());
            EXPECT_EQ(a, b) << where;
            std::vector<pugi::xml_node> elements;
            for (const pugi::xml_node child : theirs.children())
                if (child.type() == pugi::node_element)
                    elements.push_back(child);
            ASSERT_EQ(ours.children().size(), elements.size()) << where;
            if (elements.empty()) {
                EXPECT_EQ(utf8(ours.text()), theirs.child_value()) << where;
            }
            for (std::size_t i = 0; i < elements.size(); ++i)
                expectSame(*ours.children()[i], elements[i], where + "/" + elements[i].name());
        };
    std::mt19937 random(20240613);
    const std::vector<std::string> alphabet = {"a", "b", "Z", "0", " ", "&amp;", "&lt;", "&gt;", "&quot;",
                                               "&apos;", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "-"};
    const auto pick = [&](std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(random); };
    const auto text = [&](bool newlines) {
        std::string s;
        for (std::size_t i = pick(12); i > 0; --i)
            s += newlines && pick(8) == 0 ? "\n" : alphabet[pick(alphabet.size())];
        return s;
    };
    for (int round = 0; round < 200; ++round) {
        std::string doc = "<?xml version=\"1.0\"?>\n<!-- generated -->\n";
        int elements = 0;
        std::function<void(int)> element = [&](int depth) {
            const std::string name = std::string("e") + static_cast<char>('a' + pick(5)) + (pick(2) ? "-x.1" : "");
            doc += "<" + name;
            for (std::size_t i = pick(4); i > 0; --i)
                doc += " a" + std::to_string(i) + (pick(2) ? "=\"" + text(false) + "\"" : "='" + text(false) + "'");
            const std::size_t children = depth < 5 && ++elements < 60 ? pick(5) : 0;
            if (children == 0 && pick(3) == 0)
                return void(doc += "/>");
            doc += children == 0 ? ">" + text(true) : ">";
            for (std::size_t i = 0; i < children; ++i) {
                doc += pick(2) ? "\n  " : "";
                element(depth + 1);
                doc += pick(4) == 0 ? "<!-- between -->" : "";
            }
            doc += "</" + name + (pick(2) ? " >" : ">");
        };
        element(0);
        pugi::xml_document theirs;
        ASSERT_TRUE(theirs.load_buffer(doc.data(), doc.size(), pugi::parse_default | pugi::parse_ws_pcdata)) << doc;
        refPtr<xmlDocument> ours = fromText(doc, true);
        expectSame(*ours, theirs.document_element(), doc);
        // What the writer makes reads back the same.
        expectSame(*fromText(saved(*ours), true), theirs.document_element(), doc);
    }
}
#endif
