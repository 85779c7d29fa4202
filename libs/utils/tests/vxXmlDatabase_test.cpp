#include <vxBinaryBuffer.h>
#include <vxDirectory.h>
#include <vxException.h>
#include <vxXmlDatabase.h>
#include <vxXmlDbIStream.h>
#include <vxXmlDbOStream.h>

#include "testSupport.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

using vx::refPtr;
using persistents = std::vector<refPtr<vx::iPersistent>>;

namespace {

// What f throws: "<text>" for a vx::exception, "bool" for the assertion form, else "nothing".
template <class F> std::wstring thrown(F&& f) { return vxtest::thrownMessage<vx::exception>(std::forward<F>(f)); }
std::wstring unexpected(const std::wstring& details) { return L"Unexpected error occurred (" + details + L")"; }

// Takes over the reference a read handed out.
template <class T>
refPtr<T> adopt(vx::iPersistent* p) {
    refPtr<T> r(static_cast<T*>(p));
    if (p)
        p->release();
    return r;
}

int gAlive = 0; // test objects alive

// A node of a graph: a label, a link and any number of friends. The label "absent" reads as absent, "throw" throws.
class node : public vx::iPersistent {
public:
    explicit node(const wchar_t* className = L"node") : mClass(className) { ++gAlive; }
    unsigned long getRefCount() const override { return mCount; }
    unsigned long addRef() override { return ++mCount; }
    unsigned long release() override { const unsigned long n = --mCount; if (!n) delete this; return n; }
    const vx::guid& getGuid() const override { return mGuid; }
    void setGuid(const vx::guid& id) override { mGuid = id; }
    const wchar_t* className() const override { return mClass.c_str(); }
    void writeTo(vx::iDBOStream* s) const override {
        ++writes, s->write(L"label", label), s->write(L"next", next.get());
        for (const auto& f : friends)
            s->write(L"friend", f.get());
    }
    void readFrom(vx::iDBIStream* s) override {
        ++reads, proxyOnly = static_cast<vx::xmlDbIStream*>(s)->isProxyOnly(), s->read(L"label", label);
        if (label == L"absent") throw vx::returnNullRefException();
        if (label == L"throw") throw vx::unexpectedErrorException(L"from readFrom");
        vx::iPersistent* p = nullptr;
        s->read(L"next", &p), next = adopt<node>(p);
        for (std::uint64_t i = 0, n = s->count(L"friend"); i < n; ++i)
            s->read(L"friend", &p, i), friends.push_back(adopt<node>(p));
    }
    void unlink() { next = nullptr, friends.clear(); } // breaks the cycles so that the counts can reach 0

    vx::string mClass, label;
    refPtr<node> next;
    std::vector<refPtr<node>> friends;
    mutable int writes = 0;
    int reads = 0;
    bool proxyOnly = false;
    unsigned long mCount = 0;
    vx::guid mGuid;

protected:
    virtual ~node() { --gAlive; }
};

// Paths, written relative to the database's base where they can be.
struct files : node {
    files() : node(L"files") {}
    void writeTo(vx::iDBOStream* s) const override { s->write(L"f", f), s->write(L"d", d), s->write(L"far", far); }
    void readFrom(vx::iDBIStream* s) override { s->read(L"f", f), s->read(L"d", d), s->read(L"far", far); }
    vx::file f, far;
    vx::directory d;
};

// Checks at its end that every reader released it.
struct factory : vx::iObjectFactory {
    ~factory() { EXPECT_EQ(mCount, 0u); }
    unsigned long getRefCount() const override { return mCount; }
    unsigned long addRef() override { return ++mCount; }
    unsigned long release() override { return --mCount; }
    void createObject(const vx::string& className, vx::iPersistent** object) override {
        asked.push_back(className);
        if (className == L"files")
            (*object = new files)->addRef();
        else if (className.lower() == L"node" || className == L"proxy")
            (*object = new node(className.c_str()))->addRef();
    }
    std::vector<std::wstring> asked;
    unsigned long mCount = 0;
};

// A value item of two numbers, in the table of its type name.
struct pair : vx::iDataConverter {
    const wchar_t* typeName() const override { return type; }
    void writeTo(vx::iDBOStream* s) const override { s->write(L"v", a, b); }
    void readFrom(vx::iDBIStream* s) override { s->read(L"v", a, b); }
    double a = 0, b = 0;
    const wchar_t* type = L"pair";
};

// The text of a memory database written by f.
std::string written(const std::function<void(vx::xmlDbWriter&)>& f, const wchar_t* base = L"C:\\") {
    vx::binaryBuffer buffer;
    { vx::xmlDbWriter writer(&buffer, vx::directory(base)); f(writer); writer.close(); }
    return vxtest::bytesOf(buffer);
}

// A reader over a copy of text, with its own factory.
struct memoryDb {
    explicit memoryDb(const std::string& text, const wchar_t* base = L"C:\\") : reader(&buffer, vx::directory(base)) {
        buffer.write(text.data(), text.size());
        reader.addObjectFactory(&objects);
    }
    refPtr<node> object(const wchar_t* className, const vx::string& id, const wchar_t* proxyClass = nullptr) {
        vx::iPersistent* p = nullptr;
        proxyClass ? reader.readProxyObject(className, proxyClass, id, &p) : reader.readObject(className, id, &p);
        return adopt<node>(p);
    }
    persistents all(const wchar_t* className) { persistents r; reader.readAllObjects(className, r); return r; }
    vx::binaryBuffer buffer;
    factory objects;
    vx::xmlDbReader reader;
};

refPtr<node> makeNode(const wchar_t* label) { refPtr<node> n(new node); n->label = label; return n; }
std::string idText(const vx::guid& id) { return vx::string(id.toString()).getMBCS(); }
const std::string kHead = "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
const std::string kEmpty = kHead + "<vxDatabase version=\"2\"/>\n";

TEST(xmlDbWriter, graphWithSharingAndCycleIsWrittenOnceAndComesBackShared) {
    {
        refPtr<node> a = makeNode(L"a"), b = makeNode(L"b"), c = makeNode(L"c");
        a->next = b, b->next = a;              // a cycle
        a->friends = {c, c}, b->friends = {c}; // c shared three times
        vx::guid idA;
        const std::string text = written([&](vx::xmlDbWriter& w) {
            idA = w.writeObject(a.get(), true);
            EXPECT_EQ(w.writeObject(a.get(), true), idA); // a second time: the same guid, no element
        });
        EXPECT_EQ(a->writes + b->writes + c->writes, 3);
        EXPECT_FALSE(a->getGuid().isInitialized()); // the new guid is not written back
        // Each element enters its table when complete: c and b before a.
        EXPECT_LT(text.find("<label>b</label>"), text.find("<label>a</label>"));

        memoryDb db(text);
        EXPECT_EQ(db.reader.count(L"node"), 3u);
        refPtr<node> ra = db.object(L"node", idA.toString());
        ASSERT_TRUE(ra && ra->next && ra->friends.size() == 2 && ra->next->friends.size() == 1);
        EXPECT_EQ(ra->getGuid(), idA);
        EXPECT_EQ(ra->next->label + ra->friends[0]->label, L"bc");
        const node* rc = ra->friends[0].get();
        EXPECT_TRUE(ra->next->next.get() == ra.get() && ra->friends[1].get() == rc && ra->next->friends[0].get() == rc);
        EXPECT_EQ(ra->reads + ra->next->reads + ra->friends[0]->reads, 3);
        EXPECT_EQ(db.object(L"node", idA.toString()).get(), ra.get()); // once per reader
        // Not recursive: the reference is the guid the object has, here none, and the object is not written.
        const std::string flat = written([&](vx::xmlDbWriter& w) { w.writeObject(a.get(), false); });
        EXPECT_NE(flat.find("<next type=\"node\">" + idText(vx::guid()) + "</next>"), std::string::npos) << flat;
        EXPECT_EQ(b->writes, 1);
        ra->next->unlink(), ra->unlink(), a->unlink(), b->unlink();
    }
    EXPECT_EQ(gAlive, 0);
}

TEST(xmlDbWriter, memoryAndFileMode) {
    EXPECT_EQ(written([](vx::xmlDbWriter& w) {
                  EXPECT_FALSE(w.writeObject(nullptr, true).isInitialized()); // creates the database only
                  EXPECT_TRUE(w.rootNode());
                  w.setAttribute(L"app", L"demo");
              }),
              kHead + "<vxDatabase version=\"2\" app=\"demo\"/>\n");
    vx::binaryBuffer buffer;
    vx::xmlDbWriter writer(&buffer, vx::directory(L"C:\\base"));
    writer.create();
    EXPECT_EQ(thrown([&] { writer.create(); }), unexpected(L"xmlDbWriter::create: database already open"));
    EXPECT_EQ(std::string(writer.toString()), kEmpty);
    EXPECT_FALSE(writer.rootNode());

    vxtest::tempDir dir;
    const vx::file f(dir.windowsForm("db.xml"));
    refPtr<node> a = makeNode(L"a");
    {
        vx::xmlDbWriter writer(f);
        EXPECT_EQ(writer.relBasePath().fullName(), dir.windowsForm() + L"\\"); // the file's folder
        writer.setAttribute(L"x", L"1");
        dir.makeFile("db.xml", "old");
        // toString answers a block the writer keeps, and writes no file.
        EXPECT_EQ(std::string(writer.toString()), kHead + "<vxDatabase version=\"2\" x=\"1\"/>\n");
        EXPECT_EQ(dir.read("db.xml"), "old");
        const vx::guid id = writer.writeObject(a.get(), true);
        writer.flush();
        EXPECT_NE(dir.read("db.xml").find("<label>a</label>"), std::string::npos);
        // flush released the document and kept the dictionaries: a is not written again.
        EXPECT_EQ(writer.writeObject(a.get(), true), id);
        writer.close();
        EXPECT_EQ(a->writes, 1);
        EXPECT_EQ(dir.read("db.xml"), kEmpty);
    }
    vx::xmlDbWriter(f).writeObject(makeNode(L"x").get(), true); // the destructor saves
    EXPECT_NE(dir.read("db.xml").find("<label>x</label>"), std::string::npos);
    EXPECT_EQ(dir.count(), 1u); // nothing left beside it
}

// An object whose values are whatever its body writes.
struct shaped : node {
    explicit shaped(std::function<void(vx::iDBOStream*)> f) : node(L"shaped"), body(std::move(f)) {}
    void writeTo(vx::iDBOStream* s) const override { body(s); }
    std::function<void(vx::iDBOStream*)> body;
};

// A nested value whose body is given too.
struct nested : vx::iDataConverter {
    const wchar_t* typeName() const override { return L"inner"; }
    void writeTo(vx::iDBOStream* s) const override { s->write(L"v", text), s->write(L"w", 2.5); }
    void readFrom(vx::iDBIStream*) override {}
    vx::string text;
};

// Element names, attributes and texts the writer keeps as text while the tree is out of reach,
// and those it must keep as nodes: either way the file is the one the tree gives, in order, and
// the tree handed out afterwards has every element.
TEST(xmlDbWriter, elementsWrittenAheadGiveTheTreesText) {
    refPtr<vx::xmlNode> held; // a node the application keeps
    const vx::string withNull(L"a\0b", 3);
    using body = std::function<void(vx::iDBOStream*)>;
    const std::vector<std::pair<const char*, body>> cases = {
        {"plain", [](vx::iDBOStream* s) { s->write(L"a", 1), s->write(L"b", vx::string(L"text")); }},
        {"empty and spaced", [](vx::iDBOStream* s) { s->write(L"e", vx::string()), s->write(L"s", vx::string(L"  x  ")); }},
        {"escaped", [](vx::iDBOStream* s) { s->write(L"t", vx::string(L"<a> \"q\" 'p' >")); }},
        {"ampersand", [](vx::iDBOStream* s) { s->write(L"t", vx::string(L"&lt; & &amp;")); }},
        {"controls", [](vx::iDBOStream* s) { s->write(L"t", vx::string(L"tab\tline\nret\r")); }},
        {"non-ASCII", [](vx::iDBOStream* s) { s->write(L"t", vx::string(L"\u00fc\u20ac\U0001D11E")); }},
        {"null character", [&](vx::iDBOStream* s) { s->write(L"t", withNull); }},
        {"property names", [](vx::iDBOStream* s) { s->write(L"two words", vx::string(L"v"), true); }},
        {"odd tag", [](vx::iDBOStream* s) { s->write(L"\u00e9t\u00e9", 1); }},
        {"nested", [](vx::iDBOStream* s) { nested n; n.text = L"deep"; s->write(L"n", n); }},
        {"text beside children", [](vx::iDBOStream* s) {
             s->write(L"a", 1);
             static_cast<vx::xmlDbOStream*>(s)->rootNode()->setText(L"own");
         }},
        {"held by the application", [&](vx::iDBOStream* s) {
             s->write(L"a", 1);
             held = static_cast<vx::xmlDbOStream*>(s)->rootNode();
         }},
        {"another kind of node", [](vx::iDBOStream* s) {
             refPtr<vx::xmlNode> document(vx::xmlDocument::createXmlDocument().get());
             document->setName(L"doc");
             static_cast<vx::xmlDbOStream*>(s)->rootNode()->addNode(document);
         }},
    };
    for (const auto& [name, f] : cases) {
        SCOPED_TRACE(name);
        // Kept as text where it can be, a plain object before and after, and the root's own attribute.
        const auto write = [&, f = f](vx::xmlDbWriter& w, const std::function<void()>& around) {
            refPtr<node> before = makeNode(L"before"), after = makeNode(L"after");
            refPtr<shaped> object(new shaped(f));
            // Guids of their own, so that every writing gives the same text.
            const wchar_t* ids[] = {L"10000000-0001-0001-0000-000000000001", L"10000000-0001-0001-0000-000000000002",
                                    L"10000000-0001-0001-0000-000000000003"};
            vx::guid id;
            before->setGuid(id.fromString(ids[0])), object->setGuid(id.fromString(ids[1])), after->setGuid(id.fromString(ids[2]));
            w.create();
            around();
            w.writeObject(before.get(), true);
            w.writeObject(object.get(), true);
            if (held)
                held->getFirstChildNode(L"a", true)->setText(L"changed later"); // still counts
            w.writeObject(after.get(), true);
            w.setAttribute(L"k", std::string(name) == "null character" ? withNull : vx::string(L"v"));
            held = nullptr;
        };
        const std::string asNodes = written([&](vx::xmlDbWriter& w) { write(w, [&] { w.rootNode(); }); });
        EXPECT_EQ(written([&](vx::xmlDbWriter& w) { write(w, [] {}); }), asNodes);
        refPtr<vx::xmlNode> tree;
        EXPECT_EQ(written([&](vx::xmlDbWriter& w) { write(w, [] {}), tree = w.rootNode(); }), asNodes);
        ASSERT_TRUE(tree);
        const refPtr<vx::xmlNode> table = tree->getFirstChildNode(L"node_table", true);
        ASSERT_TRUE(table && table->children().size() == 2);
        EXPECT_EQ(table->children()[1]->parent(), table.get());
        EXPECT_EQ(table->children()[1]->getFirstChildNode(L"label", true)->text(), L"after");
        EXPECT_EQ(asNodes.find("changed later") != std::string::npos, std::string(name) == "held by the application");
    }
}

#ifndef _WIN32
TEST(xmlDbWriter, aFailedCloseKeepsThePreviousFile) {
    vxtest::tempDir dir;
    dir.makeFile("ro/db.xml", "previous");
    const vx::file f(dir.windowsForm("ro/db.xml"));
    // A folder where nothing new can be made: the temporary file beside the target fails.
    vxtest::setMode(dir / "ro", 0555);
    vxtest::expectUnprivileged([&] {
        vx::xmlDbWriter writer(f);
        return thrown([&] { writer.create(); }) == L"Error writing file " + f.fullName() &&
               dir.read("ro/db.xml") == "previous";
    });

    // A full disk: the file size limit is far below the database.
    dir.makeFile("big.xml", "previous");
    const vx::file big(dir.windowsForm("big.xml"));
    EXPECT_EQ(vxtest::inRestrictedChild(4096, false, [&](std::string& errors) {
                  vx::xmlDbWriter writer(big);
                  writer.writeObject(makeNode(std::wstring(20000, L'x').c_str()).get(), true);
                  const std::wstring text = thrown([&] { writer.close(); });
                  vxtest::check(errors, text == L"Error writing file " + big.fullName(), "close must fail");
                  vxtest::check(errors, dir.read("big.xml") == kEmpty && dir.count() == 2,
                                "the empty database of create must stay, and no temporary file");
              }),
              "");
}
#endif

TEST(xmlDbReader, everyFailureText) {
    vxtest::tempDir dir;
    const vx::file missing(dir.windowsForm("missing.xml")), bad(dir.windowsForm("bad.xml"));
    dir.makeFile("bad.xml", "<vxDatabase><x>");
    EXPECT_EQ(thrown([&] { vx::xmlDbReader(missing).open(); }), L"File " + missing.fullName() + L" not found!");
    EXPECT_EQ(thrown([&] { vx::xmlDbReader(bad).open(); }), L"File " + bad.fullName() + L" is not a valid XML-file!");

    const vx::guid known = vx::guid().create(), other = vx::guid().create();
    const std::string objects = "<vxDatabase><node_table><node id=\"" + idText(known) +
                                "\"><label>k</label></node></node_table><thing_table><thing id=\"" + idText(known) +
                                "\"/></thing_table><pair_table><pair/><pair/></pair_table></vxDatabase>";
    using action = std::function<void(memoryDb&)>;
    const action open = [](memoryDb& db) { db.reader.open(); }, all = [](memoryDb& db) { db.all(L"Node"); };
    const auto object = [](auto c, vx::string id) -> action { return [=](memoryDb& db) { db.object(c, id); }; };
    const auto item = [](const wchar_t* type, int i) -> action {
        return [=](memoryDb& db) { pair p; p.type = type, db.reader.read(p, i); };
    };
    const auto v1 = [](const std::string& table) { return "<vxDatabase version=\"1\">" + table + "</vxDatabase>"; };
    const auto v2 = [](const std::string& table) { return "<vxDatabase>" + table + "</vxDatabase>"; };
    const std::wstring format = unexpected(L"xmlDbReader::open: invalid database format"),
                       file = unexpected(L"xmlDbReader::readAllObjects: invalid file format"),
                       entry = unexpected(L"xmlDbReader::readAllObjects: invalid tableentry for Node not found"),
                       readObject = L"xmlDbReader::readObject: ";
    const struct { std::string text; action act; std::wstring error; } cases[] = {
        {"<vxdatabase version=\"2\"/>", open, format}, {"<other/>", open, format}, {"", open, format},
        {"<vxDatabase><a>", open, unexpected(L"xmlNode::parseText: invalid xml-format")},
        {objects, object(L"missing", other.toString()), unexpected(readObject + L"tablenode for missing not found")},
        {objects, object(L"node", other.toString()),
         unexpected(readObject + L"objectnode for " + other.toString() + L" not found")},
        {objects, object(L"node", L"no-guid"), unexpected(readObject + L"objectnode for no-guid not found")},
        {objects, object(L"thing", known.toString()), unexpected(readObject + L"Error creating object of class thing")},
        {objects, item(L"pair", 2), unexpected(L"xmlDbReader::read: objectindex 2 within tablenode for pair not found")},
        {objects, item(L"other", 0), unexpected(L"xmlDbReader::read: tablenode for other not found")},
        {v2("<node_table><other id=\"1\"/></node_table>"), all, file},
        {v2("<node_table><node/></node_table>"), all, file}, {v1("<Node_table><Node>x</Node></Node_table>"), all, file},
        {v1("<Node_table><Node0/></Node_table>"), all, entry}, {v1("<Node_table><Nodex/></Node_table>"), all, entry},
        {v1("<Node_table><Node3><label>a</label><next type=\"Node\">4</next></Node3></Node_table>"), all,
         unexpected(readObject + L"objectnode for class Node and object id 4 not found")},
    };
    for (const auto& c : cases) {
        memoryDb db(c.text);
        if (c.text.find("_table") != std::string::npos)
            db.reader.open();
        EXPECT_EQ(thrown([&] { c.act(db); }), c.error) << c.text.c_str();
        // The document stays, even a half-built one: a second open reports it.
        EXPECT_EQ(thrown([&] { db.reader.open(); }), unexpected(L"xmlDbReader::open: database already open"));
        db.reader.close();
        if (c.text.find("_table") == std::string::npos) { // refused by open: refused again
            EXPECT_EQ(thrown([&] { c.act(db); }), c.error) << c.text.c_str();
        }
    }
}

TEST(xmlDbReader, lookups) {
    for (const auto& [root, version] : std::vector<std::pair<const char*, std::uint32_t>>{
             {"<vxDatabase/>", 2}, {"<vxDatabase version=\"1\"/>", 1}, {"<vxDatabase version=\"7\"/>", 7},
             {"<vxDatabase version=\"x\"/>", vx::xmlDbReader::kCurrentFormat}}) {
        memoryDb db(root);
        EXPECT_TRUE(db.all(L"node").empty()); // no table: nothing
        EXPECT_EQ(db.reader.formatVersion(), version) << root;
    }
    const vx::guid absent = vx::guid().create(), present = vx::guid().create();
    memoryDb db("<vxDatabase><NODE_TABLE><NODE id=\"" + idText(absent) + "\"><label>absent</label></NODE><NODE id=\"" +
                idText(present) + "\"><label>b</label><next>0</next></NODE></NODE_TABLE></vxDatabase>");
    const auto first = db.all(L"Node");
    EXPECT_EQ(first.size(), 1u); // the absent one is skipped
    EXPECT_EQ(db.objects.asked, (std::vector<std::wstring>{L"node", L"node"})); // lower-cased on the way
    EXPECT_FALSE(db.object(L"node", absent.toString())); // dropped from the dictionary: read again, absent again
    EXPECT_FALSE(db.object(L"node", L"") || db.object(L"missing", L"0")); // null references: no table lookup
    // One dictionary per class, whatever the case of its name.
    EXPECT_EQ(db.object(L"Node", present.toString()).get(), first.at(0).get());
    EXPECT_EQ(db.objects.asked.size(), 3u);
}

TEST(xmlDbReader, cancelStopsReadAllQuietlyButReadObjectThrows) {
    vx::guid last;
    memoryDb db(written([&](vx::xmlDbWriter& w) {
        for (const wchar_t* label : {L"a", L"b", L"c"})
            last = w.writeObject(makeNode(label).get(), true);
    }));
    int asked = 0;
    std::vector<int> progress;
    persistents all;
    // The walk asks once per item and readObject once more: the third question is the walk's, before the second item.
    db.reader.readAllObjects(L"node", all, [&] { return ++asked == 3; }, [&](int p) { progress.push_back(p); }, 0, 300);
    EXPECT_EQ(all.size(), 1u);
    EXPECT_EQ(progress, (std::vector<int>{0, 20, 100}));

    vx::iPersistent* p = nullptr;
    EXPECT_EQ(thrown([&] { db.reader.readObject(L"node", last.toString(), &p, {}, [] { return true; }, {}, 0, 0); }),
              L"stopped");
    EXPECT_EQ(p, nullptr);
    const refPtr<node> again = db.object(L"node", last.toString());
    EXPECT_TRUE(again && again->reads == 0); // in its dictionary, unread
}

TEST(xmlDbReader, currentDirectoryIsTheBaseWhileReadingAllAndComesBack) {
    vxtest::tempDir dir;
    const vx::directory before(L".");
    for (const wchar_t* label : {L"throw", L"ok"}) {
        memoryDb db(written([&](vx::xmlDbWriter& w) { w.writeObject(makeNode(label).get(), true); }),
                    dir.windowsForm().c_str());
        EXPECT_EQ(thrown([&] { db.all(L"node"); }),
                  std::wstring(label) == L"ok" ? L"nothing" : unexpected(L"from readFrom"));
        EXPECT_TRUE(before.isCurrent()) << label;
    }
}

TEST(xmlDbReader, proxiesShareTheEntryOfTheirId) {
    vx::guid id;
    const std::string text = written([&](vx::xmlDbWriter& w) { id = w.writeObject(makeNode(L"a").get(), true); });
    memoryDb db(text), other(text);
    persistents all;
    db.reader.readAllProxyObjects(L"node", L"proxy", all);
    ASSERT_EQ(all.size(), 1u);
    EXPECT_TRUE(static_cast<node*>(all[0].get())->proxyOnly && all[0]->className() == vx::string(L"proxy"));
    EXPECT_EQ(db.object(L"node", id.toString()).get(), all[0].get());
    EXPECT_EQ(db.objects.asked, (std::vector<std::wstring>{L"proxy"}));

    other.reader.open();
    const refPtr<node> proxy = other.object(L"node", id.toString(), L"proxy");
    EXPECT_TRUE(proxy && proxy->label == L"a" && proxy->proxyOnly && proxy->mClass == L"proxy");
}

TEST(xmlDbReader, formatOneWithNumericIdsAndValueItemsByIndex) {
    memoryDb db("<vxDatabase version=\"1\"><Node_table><Node12><label>a</label><next type=\"Node\">7</next></Node12>"
                "<node7><label>b</label><next type=\"Node\">12</next></node7></Node_table></vxDatabase>");
    const auto all = db.all(L"Node");
    ASSERT_EQ(all.size(), 2u);
    auto *a = static_cast<node*>(all[0].get()), *b = static_cast<node*>(all[1].get());
    EXPECT_TRUE(a->next.get() == b && b->next.get() == a);
    EXPECT_TRUE(a->getGuid().isInitialized() && a->getGuid() != b->getGuid());
    EXPECT_EQ(db.object(L"node", L"12").get(), a);
    a->unlink(), b->unlink();

    const std::string text = written([](vx::xmlDbWriter& w) {
        for (pair p; p.a < 3; p.a += 2.5, p.b = 2) // (0, 0), (2.5, 2)
            w.write(p, false);
    });
    EXPECT_NE(text.find("<pair_table>\n      <pair>\n         <v>0,0</v>"), std::string::npos) << text;
    memoryDb values(text);
    pair p;
    values.reader.read(p, 1);
    EXPECT_EQ(std::make_pair(p.a, p.b), std::make_pair(2.5, 2.0));
}

TEST(xmlDbReader, longChainsNeitherExhaustTheStackNorLoseObjects) {
    std::vector<refPtr<node>> chain{makeNode(L"0")};
    for (int i = 1; i < 5000; ++i)
        chain.push_back(chain.back()->next = makeNode(std::to_wstring(i).c_str()));
    vx::guid first;
    memoryDb db(written([&](vx::xmlDbWriter& w) { first = w.writeObject(chain[0].get(), true); }));
    for (auto& c : chain)
        c->unlink();
    db.reader.open();
    const refPtr<node> head = db.object(L"node", first.toString());
    std::vector<node*> all; // as long as each is in its place
    for (node* p = head.get(); p && p->label == std::to_wstring(all.size()); p = p->next.get())
        all.push_back(p);
    EXPECT_EQ(all.size(), chain.size());
    for (auto it = all.rbegin(); it != all.rend(); ++it)
        (*it)->unlink(); // from the end, so that no release chain runs deep either
}

TEST(xmlDbReader, aDatabaseMovedWithItsFilesIsReadWithAnotherBase) {
    const refPtr<files> out(new files);
    out->f = vx::file(L"C:\\old\\data\\x.txt"), out->far = vx::file(L"D:\\elsewhere\\y.txt");
    out->d = vx::directory(L"C:\\old\\data\\pics");
    vx::guid id;
    const std::string text = written([&](vx::xmlDbWriter& w) { id = w.writeObject(out.get(), true); }, L"C:\\old");
    EXPECT_NE(text.find("<f>.\\data\\x.txt</f>"), std::string::npos) << text;
    EXPECT_NE(text.find("<far>D:\\elsewhere\\y.txt</far>"), std::string::npos) << text;

    memoryDb db(text, L"E:\\new");
    db.reader.addObjectFactory(&db.objects); // counted once, released once
    EXPECT_EQ(db.objects.getRefCount(), 1u);
    db.reader.open();
    const refPtr<node> read = db.object(L"files", id.toString());
    ASSERT_TRUE(read);
    const auto& in = static_cast<const files&>(*read);
    EXPECT_EQ(in.f.fullName() + L";" + in.d.fullName() + L";" + in.far.fullName(),
              L"E:\\new\\data\\x.txt;E:\\new\\data\\pics\\;D:\\elsewhere\\y.txt");
}

} // namespace
