#include <vxBinaryBuffer.h>
#include <vxDirectory.h>
#include <vxException.h>
#include <vxFile.h>
#include <vxGenericSet.h>
#include <vxXmlDatabase.h>
#include <vxXmlDbIStream.h>
#include <vxXmlDbOStream.h>

#include "testSupport.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

using vx::refPtr;

namespace {

// What f throws: "<text>" for a vx::exception, "bool" for the assertion form, else "nothing".
template <class F>
std::wstring thrown(F&& f) {
    return vxtest::thrownMessage<vx::exception>(std::forward<F>(f));
}

std::wstring unexpected(const std::wstring& details) { return L"Unexpected error occurred (" + details + L")"; }

int gAlive = 0; // test objects alive

// The counting and guid of every test object.
class persistentBase : public vx::iPersistent {
public:
    persistentBase() { ++gAlive; }
    unsigned long getRefCount() const override { return mCount; }
    unsigned long addRef() override { return ++mCount; }
    unsigned long release() override {
        const unsigned long n = --mCount;
        if (n == 0)
            delete this;
        return n;
    }
    const vx::guid& getGuid() const override { return mGuid; }
    void setGuid(const vx::guid& id) override { mGuid = id; }

protected:
    virtual ~persistentBase() { --gAlive; }

private:
    unsigned long mCount = 0;
    vx::guid mGuid;
};

// A node of a graph: a label, a link and any number of friends.
class node : public persistentBase {
public:
    explicit node(const wchar_t* className = L"node") : mClass(className) {}
    const wchar_t* className() const override { return mClass.c_str(); }
    void writeTo(vx::iDBOStream* s) const override {
        ++writes;
        s->write(L"label", label);
        s->write(L"next", next.get());
        for (const auto& f : friends)
            s->write(L"friend", f.get());
    }
    void readFrom(vx::iDBIStream* s) override {
        ++reads;
        if (proxy)
            *proxy = static_cast<vx::xmlDbIStream*>(s)->isProxyOnly();
        s->read(L"label", label);
        if (label == L"absent")
            throw vx::returnNullRefException();
        if (label == L"throw")
            throw vx::unexpectedErrorException(L"from readFrom");
        vx::iPersistent* p = nullptr;
        s->read(L"next", &p);
        next = static_cast<node*>(p);
        if (p)
            p->release();
        for (std::uint64_t i = 0, n = s->count(L"friend"); i < n; ++i) {
            s->read(L"friend", &p, i);
            friends.emplace_back(static_cast<node*>(p));
            if (p)
                p->release();
        }
    }
    // Breaks the cycles so that the counts can reach 0.
    void unlink() {
        next = nullptr;
        friends.clear();
    }

    vx::string mClass;
    vx::string label;
    refPtr<node> next;
    std::vector<refPtr<node>> friends;
    mutable int writes = 0;
    int reads = 0;
    bool* proxy = nullptr;
};

class factory : public vx::iObjectFactory {
public:
    unsigned long getRefCount() const override { return mCount; }
    unsigned long addRef() override { return ++mCount; }
    unsigned long release() override { return --mCount; }
    void createObject(const vx::string& className, vx::iPersistent** object) override {
        asked.push_back(className);
        if (className.lower() == L"node" || className == L"proxy" || className == L"part") {
            *object = new node(className.c_str());
            (*object)->addRef();
        }
    }
    std::vector<std::wstring> asked;

private:
    unsigned long mCount = 0;
};

// The text of a memory database written by f.
std::string written(const std::function<void(vx::xmlDbWriter&)>& f) {
    vx::binaryBuffer buffer;
    {
        vx::xmlDbWriter writer(&buffer, vx::directory(L"C:\\base"));
        f(writer);
        writer.close();
    }
    return std::string(buffer.data(), static_cast<std::size_t>(buffer.logicalLength()));
}

vx::binaryBuffer bufferOf(const std::string& text) {
    vx::binaryBuffer buffer;
    buffer.reserve(text.size());
    if (!text.empty())
        std::memcpy(buffer.data(), text.data(), text.size());
    buffer.setLogicalLength(text.size());
    return buffer;
}

// A reader over a copy of text, with its own factory.
struct memoryDb {
    explicit memoryDb(const std::string& text, const wchar_t* base = L"C:\\base")
        : buffer(bufferOf(text)), reader(&buffer, vx::directory(base)) {
        reader.addObjectFactory(&objects);
    }
    refPtr<node> object(const wchar_t* className, const vx::string& id) {
        vx::iPersistent* p = nullptr;
        reader.readObject(className, id, &p);
        refPtr<node> result(static_cast<node*>(p));
        if (p)
            p->release();
        return result;
    }
    vx::binaryBuffer buffer;
    factory objects;
    vx::xmlDbReader reader;
};

refPtr<node> makeNode(const wchar_t* label, const wchar_t* className = L"node") {
    refPtr<node> n(new node(className));
    n->label = label;
    return n;
}

const char kBom[] = "\xEF\xBB\xBF";
const std::string kHead = std::string(kBom) + "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
const std::string kEmpty = kHead + "<vxDatabase version=\"2\"/>\n";

// --- the file level --------------------------------------------------------------------------------

TEST(xmlDbWriter, graphWithSharingAndCycleIsWrittenOnceAndComesBackShared) {
    {
        refPtr<node> a = makeNode(L"a"), b = makeNode(L"b"), c = makeNode(L"c");
        a->next = b;
        b->next = a; // a cycle
        a->friends = {c, c};
        b->friends = {c}; // c shared three times
        vx::guid idA;
        const std::string text = written([&](vx::xmlDbWriter& w) {
            idA = w.writeObject(a.get(), true);
            EXPECT_EQ(w.writeObject(a.get(), true), idA); // a second time: the same guid, no element
        });
        EXPECT_EQ(a->writes + b->writes + c->writes, 3);
        EXPECT_FALSE(a->getGuid().isInitialized()); // the new guid is not written back
        // Each element enters its table when complete: c and b before a.
        std::size_t at = 0, elements = 0;
        while ((at = text.find("<node id=", at)) != std::string::npos)
            ++elements, ++at;
        EXPECT_EQ(elements, 3u);
        EXPECT_LT(text.find("<label>b</label>"), text.find("<label>a</label>"));
        EXPECT_EQ(text.rfind(kBom, 0), 0u);
        EXPECT_NE(text.find("<vxDatabase version=\"2\">"), std::string::npos) << text;

        memoryDb db(text);
        db.reader.open();
        refPtr<node> ra = db.object(L"node", idA.toString());
        ASSERT_TRUE(ra);
        EXPECT_EQ(ra->getGuid(), idA);
        ASSERT_TRUE(ra->next);
        EXPECT_EQ(ra->next->label, L"b");
        EXPECT_EQ(ra->next->next.get(), ra.get());
        ASSERT_EQ(ra->friends.size(), 2u);
        EXPECT_EQ(ra->friends[0].get(), ra->friends[1].get());
        EXPECT_EQ(ra->next->friends.at(0).get(), ra->friends[0].get());
        EXPECT_EQ(ra->reads + ra->next->reads + ra->friends[0]->reads, 3);
        EXPECT_EQ(db.object(L"node", idA.toString()).get(), ra.get()); // once per reader
        ra->next->unlink();
        ra->unlink();
        a->unlink();
        b->unlink();
    }
    EXPECT_EQ(gAlive, 0);
}

TEST(xmlDbWriter, nonRecursiveReferenceWritesTheGuidOnly) {
    refPtr<node> a = makeNode(L"a"), b = makeNode(L"b");
    a->next = b;
    const std::string text = written([&](vx::xmlDbWriter& w) { w.writeObject(a.get(), false); });
    EXPECT_EQ(b->writes, 0);
    EXPECT_NE(text.find("<next type=\"node\">00000000-0000-0000-0000-000000000000</next>"), std::string::npos)
        << text;
    a->unlink();
}

TEST(xmlDbWriter, nullObjectCreatesTheDatabaseOnly) {
    const std::string text = written([](vx::xmlDbWriter& w) {
        EXPECT_FALSE(w.writeObject(nullptr, true).isInitialized());
        EXPECT_TRUE(w.rootNode());
        w.setAttribute(L"app", L"demo");
    });
    EXPECT_EQ(text, kHead + "<vxDatabase version=\"2\" app=\"demo\"/>\n");
}

TEST(xmlDbWriter, createTwiceAndToString) {
    vx::binaryBuffer buffer;
    vx::xmlDbWriter writer(&buffer, vx::directory(L"C:\\base"));
    writer.create();
    EXPECT_EQ(thrown([&] { writer.create(); }), unexpected(L"xmlDbWriter::create: database already open"));
    const char* text = writer.toString();
    EXPECT_EQ(std::string(text), kEmpty);
    EXPECT_FALSE(writer.rootNode());
}

TEST(xmlDbWriter, toStringInFileModeAnswersAKeptBlockAndWritesNoFile) {
    vxtest::tempDir dir;
    const vx::file f(dir.windowsForm("db.xml"));
    vx::xmlDbWriter writer(f);
    writer.setAttribute(L"a", L"1");
    dir.makeFile("db.xml", "old");
    const char* text = writer.toString();
    EXPECT_EQ(std::string(text), kHead + "<vxDatabase version=\"2\" a=\"1\"/>\n");
    EXPECT_EQ(dir.read("db.xml"), "old");
}

TEST(xmlDbWriter, flushReleasesTheDocumentAndKeepsTheDictionaries) {
    vxtest::tempDir dir;
    const vx::file f(dir.windowsForm("db.xml"));
    refPtr<node> a = makeNode(L"a");
    vx::xmlDbWriter writer(f);
    const vx::guid id = writer.writeObject(a.get(), true);
    writer.flush();
    EXPECT_NE(dir.read("db.xml").find("<label>a</label>"), std::string::npos);
    EXPECT_EQ(writer.writeObject(a.get(), true), id); // recorded: nothing written
    EXPECT_EQ(dir.read("db.xml"), kEmpty);
    writer.close();
    EXPECT_EQ(a->writes, 1);
    EXPECT_EQ(dir.read("db.xml"), kEmpty);
}

TEST(xmlDbWriter, destructorSavesAndTheFileModeBaseIsTheFilesFolder) {
    vxtest::tempDir dir;
    const vx::file f(dir.windowsForm("sub/db.xml"));
    dir.makeDirs("sub");
    {
        vx::xmlDbWriter writer(f);
        EXPECT_EQ(writer.relBasePath().fullName(), dir.windowsForm("sub") + L"\\");
        writer.writeObject(makeNode(L"x").get(), true);
    }
    EXPECT_NE(dir.read("sub/db.xml").find("<label>x</label>"), std::string::npos);
    EXPECT_EQ(dir.count("sub"), 1u); // nothing left beside it
}

#ifndef _WIN32
TEST(xmlDbWriter, aFailedCloseKeepsThePreviousFile) {
    vxtest::tempDir dir;
    dir.makeDirs("ro");
    dir.makeFile("ro/db.xml", "previous");
    const vx::file f(dir.windowsForm("ro/db.xml"));
    // A folder where nothing new can be made: the temporary file beside the target fails.
    namespace fs = std::filesystem;
    fs::permissions(dir / "ro", fs::perms::owner_read | fs::perms::owner_exec | fs::perms::group_read |
                                    fs::perms::group_exec | fs::perms::others_read | fs::perms::others_exec);
    vxtest::expectUnprivileged([&] {
        vx::xmlDbWriter writer(f);
        const std::wstring created = thrown([&] { writer.create(); });
        return created == L"Error writing file " + f.fullName() && dir.read("ro/db.xml") == "previous";
    });
    std::filesystem::permissions(dir / "ro", std::filesystem::perms::owner_all);

    // A full disk: the file size limit is far below the database.
    dir.makeFile("big.xml", "previous");
    const vx::file big(dir.windowsForm("big.xml"));
    const std::string report = vxtest::inRestrictedChild(4096, false, [&](std::string& errors) {
        vx::xmlDbWriter writer(big);
        refPtr<node> n = makeNode(std::wstring(20000, L'x').c_str());
        writer.writeObject(n.get(), true);
        const std::wstring text = thrown([&] { writer.close(); });
        vxtest::check(errors, text == L"Error writing file " + big.fullName(), "close must fail");
        vxtest::check(errors, dir.read("big.xml") == kEmpty,
                      "the empty database of create must stay");
        vxtest::check(errors, dir.count() == 2, "no temporary file may stay");
    });
    EXPECT_EQ(report, "");
}
#endif

// --- the reader --------------------------------------------------------------------------------------

TEST(xmlDbReader, openChecksAndTexts) {
    vxtest::tempDir dir;
    const vx::file missing(dir.windowsForm("missing.xml"));
    vx::xmlDbReader noFile(missing);
    EXPECT_EQ(thrown([&] { noFile.open(); }), L"File " + missing.fullName() + L" not found!");

    struct {
        std::string text;
        std::wstring error;
    } cases[] = {
        {"<vxdatabase version=\"2\"/>", unexpected(L"xmlDbReader::open: invalid database format")},
        {"<other/>", unexpected(L"xmlDbReader::open: invalid database format")},
        {"", unexpected(L"xmlDbReader::open: invalid database format")},
        {"<vxDatabase><a>", unexpected(L"xmlNode::parseText: invalid xml-format")},
        {"<vxDatabase/>", L"nothing"},
    };
    for (const auto& c : cases) {
        memoryDb db(c.text);
        EXPECT_EQ(thrown([&] { db.reader.open(); }), c.error) << c.text.c_str();
        // The half-built document stays: a second open reports it.
        EXPECT_EQ(thrown([&] { db.reader.open(); }), unexpected(L"xmlDbReader::open: database already open"));
        db.reader.close();
        EXPECT_EQ(thrown([&] { db.reader.open(); }), c.error);
    }
    dir.makeFile("bad.xml", "<vxDatabase><x>");
    vx::xmlDbReader bad(vx::file(dir.windowsForm("bad.xml")));
    EXPECT_EQ(thrown([&] { bad.open(); }), L"File " + dir.windowsForm("bad.xml") + L" is not a valid XML-file!");
}

TEST(xmlDbReader, formatVersion) {
    const struct {
        const char* root;
        std::uint32_t version;
    } cases[] = {
        {"<vxDatabase/>", vx::xmlDbReader::kCurrentFormat},
        {"<vxDatabase version=\"1\"/>", 1},
        {"<vxDatabase version=\"7\"/>", 7},
        {"<vxDatabase version=\"x\"/>", vx::xmlDbReader::kCurrentFormat},
    };
    for (const auto& c : cases) {
        memoryDb db(c.root);
        db.reader.open();
        EXPECT_EQ(db.reader.formatVersion(), c.version) << c.root;
    }
}

TEST(xmlDbReader, readObjectFailures) {
    const vx::guid known = vx::guid().create();
    const std::string text = "<vxDatabase version=\"2\"><node_table><node id=\"" +
                             vx::string(known.toString()).getMBCS() +
                             "\"><label>k</label><next>0</next></node></node_table>"
                             "<thing_table><thing id=\"" + vx::string(known.toString()).getMBCS() +
                             "\"/></thing_table></vxDatabase>";
    memoryDb db(text);
    db.reader.open();
    const vx::guid other = vx::guid().create();
    struct {
        const wchar_t* className;
        vx::string id;
        std::wstring error;
    } cases[] = {
        {L"node", L"", L"nothing"},
        {L"missing", L"0", L"nothing"}, // the null reference: no table lookup
        {L"missing", other.toString(), unexpected(L"xmlDbReader::readObject: tablenode for missing not found")},
        {L"node", other.toString(),
         unexpected(L"xmlDbReader::readObject: objectnode for " + other.toString() + L" not found")},
        {L"node", L"no-guid", unexpected(L"xmlDbReader::readObject: objectnode for no-guid not found")},
        {L"thing", known.toString(), unexpected(L"xmlDbReader::readObject: Error creating object of class thing")},
        {L"NODE", known.toString(), L"nothing"}, // the table is found without regard to case
    };
    for (const auto& c : cases) {
        refPtr<node> got;
        EXPECT_EQ(thrown([&] { got = db.object(c.className, c.id); }), c.error) << c.className << L" " << vxtest::show(c.id);
        if (c.error == L"nothing") {
            EXPECT_EQ(static_cast<bool>(got), !c.id.empty() && c.id != L"0");
        }
    }
    // One dictionary per class, whatever the case of its name.
    EXPECT_EQ(db.object(L"node", known.toString()).get(), db.object(L"NODE", known.toString()).get());
}

TEST(xmlDbReader, readAllObjectsAndItsFailures) {
    struct {
        std::string table;
        std::wstring error;
        std::size_t count;
    } cases[] = {
        {"", L"nothing", 0},
        {"<node_table><node id=\"%1\"><label>a</label><next>0</next></node></node_table>", L"nothing", 1},
        {"<node_table><other id=\"%1\"/></node_table>", unexpected(L"xmlDbReader::readAllObjects: invalid file format"), 0},
        {"<node_table><node/></node_table>", unexpected(L"xmlDbReader::readAllObjects: invalid file format"), 0},
        {"<NODE_TABLE><NODE id=\"%1\"><label>absent</label></NODE>"
         "<NODE id=\"%2\"><label>b</label><next>0</next></NODE></NODE_TABLE>",
         L"nothing", 1}, // the first is absent and skipped
    };
    for (auto& c : cases) {
        std::string table = c.table;
        for (const char* mark : {"%1", "%2"}) {
            const auto at = table.find(mark);
            if (at != std::string::npos)
                table.replace(at, 2, vx::string(vx::guid().create().toString()).getMBCS());
        }
        memoryDb db("<vxDatabase>" + table + "</vxDatabase>");
        std::vector<refPtr<vx::iPersistent>> all;
        all.emplace_back(nullptr);
        EXPECT_EQ(thrown([&] { db.reader.readAllObjects(L"Node", all); }), c.error) << table.c_str();
        EXPECT_EQ(all.size(), c.count) << table.c_str();
        for (const auto& name : db.objects.asked)
            EXPECT_EQ(name, L"node"); // lower-cased on the way to the factory
        if (c.count) {
            EXPECT_EQ(db.reader.count(L"node"), c.count + (table.find("absent") != std::string::npos ? 1 : 0));
        }
    }
}

TEST(xmlDbReader, cancelStopsReadAllQuietlyButReadObjectThrows) {
    refPtr<node> a = makeNode(L"a"), b = makeNode(L"b"), c = makeNode(L"c");
    vx::guid idA;
    const std::string text = written([&](vx::xmlDbWriter& w) {
        idA = w.writeObject(a.get(), true);
        w.writeObject(b.get(), true);
        w.writeObject(c.get(), true);
    });
    {
        memoryDb db(text);
        int asked = 0;
        std::vector<int> progress;
        std::vector<refPtr<vx::iPersistent>> all;
        // The walk asks once per item and readObject once more: the third question is the
        // walk's, before the second item.
        db.reader.readAllObjects(
            L"node", all, [&] { return ++asked == 3; }, [&](int p) { progress.push_back(p); }, 0, 300);
        EXPECT_EQ(all.size(), 1u);
        EXPECT_EQ(progress, (std::vector<int>{0, 20, 100}));
    }
    {
        memoryDb db(text);
        db.reader.open();
        vx::iPersistent* p = nullptr;
        EXPECT_EQ(thrown([&] {
                      db.reader.readObject(
                          L"node", idA.toString(), &p, nullptr, [] { return true; }, {}, 0, 0);
                  }),
                  L"stopped");
        EXPECT_EQ(p, nullptr);
        // The object stays in its dictionary, unread.
        refPtr<node> again = db.object(L"node", idA.toString());
        ASSERT_TRUE(again);
        EXPECT_EQ(again->reads, 0);
    }
}

TEST(xmlDbReader, currentDirectoryIsTheBaseWhileReadingAllAndComesBack) {
    vxtest::tempDir dir;
    dir.makeDirs("base");
    refPtr<node> a = makeNode(L"throw");
    const std::string text = written([&](vx::xmlDbWriter& w) { w.writeObject(a.get(), true); });
    const vx::directory before(L".");
    memoryDb db(text, dir.windowsForm("base").c_str());
    std::vector<refPtr<vx::iPersistent>> all;
    EXPECT_EQ(thrown([&] { db.reader.readAllObjects(L"node", all); }), unexpected(L"from readFrom"));
    EXPECT_TRUE(before.isCurrent());
    memoryDb fine(written([](vx::xmlDbWriter& w) { w.writeObject(makeNode(L"ok").get(), true); }),
                  dir.windowsForm("base").c_str());
    fine.reader.readAllObjects(L"node", all);
    EXPECT_EQ(all.size(), 1u);
    EXPECT_TRUE(before.isCurrent());
}

TEST(xmlDbReader, proxiesShareTheEntryOfTheirId) {
    refPtr<node> a = makeNode(L"a");
    vx::guid id;
    const std::string text = written([&](vx::xmlDbWriter& w) { id = w.writeObject(a.get(), true); });
    memoryDb db(text);
    std::vector<refPtr<vx::iPersistent>> all;
    db.reader.readAllProxyObjects(L"node", L"proxy", all);
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(std::wstring(all[0]->className()), L"proxy");
    EXPECT_EQ(db.object(L"node", id.toString()).get(), all[0].get());
    EXPECT_EQ(db.objects.asked, (std::vector<std::wstring>{L"proxy"}));

    memoryDb other(text);
    other.reader.open();
    bool proxy = false;
    vx::iPersistent* p = nullptr;
    other.reader.readProxyObject(L"node", L"proxy", id.toString(), &p);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(static_cast<node*>(p)->label, L"a");
    p->release();
    static_cast<void>(proxy);
}

TEST(xmlDbReader, formatOneWithNumericIds) {
    const std::string text =
        "<vxDatabase version=\"1\"><Node_table>"
        "<Node12><label>a</label><next type=\"Node\">7</next></Node12>"
        "<node7><label>b</label><next type=\"Node\">12</next></node7>"
        "</Node_table></vxDatabase>";
    memoryDb db(text);
    std::vector<refPtr<vx::iPersistent>> all;
    db.reader.readAllObjects(L"Node", all);
    ASSERT_EQ(all.size(), 2u);
    auto* a = static_cast<node*>(all[0].get());
    auto* b = static_cast<node*>(all[1].get());
    EXPECT_EQ(a->next.get(), b);
    EXPECT_EQ(b->next.get(), a);
    EXPECT_TRUE(a->getGuid().isInitialized());
    EXPECT_NE(a->getGuid(), b->getGuid());
    EXPECT_EQ(db.object(L"node", L"12").get(), a);
    a->unlink();
    b->unlink();

    struct {
        std::string table;
        std::wstring error;
    } failures[] = {
        {"<Node_table><Node>x</Node></Node_table>", unexpected(L"xmlDbReader::readAllObjects: invalid file format")},
        {"<Node_table><Node0/></Node_table>",
         unexpected(L"xmlDbReader::readAllObjects: invalid tableentry for Node not found")},
        {"<Node_table><Nodex/></Node_table>",
         unexpected(L"xmlDbReader::readAllObjects: invalid tableentry for Node not found")},
        {"<Node_table><Node3><label>a</label><next type=\"Node\">4</next></Node3></Node_table>",
         unexpected(L"xmlDbReader::readObject: objectnode for class Node and object id 4 not found")},
    };
    for (const auto& c : failures) {
        memoryDb bad("<vxDatabase version=\"1\">" + c.table + "</vxDatabase>");
        EXPECT_EQ(thrown([&] { bad.reader.readAllObjects(L"Node", all); }), c.error) << c.table.c_str();
    }
}

TEST(xmlDbReader, valueItemsByIndex) {
    struct pair : vx::iDataConverter {
        const wchar_t* typeName() const override { return L"pair"; }
        void writeTo(vx::iDBOStream* s) const override { s->write(L"v", a, b); }
        void readFrom(vx::iDBIStream* s) override { s->read(L"v", a, b); }
        double a = 0, b = 0;
    };
    const std::string text = written([](vx::xmlDbWriter& w) {
        pair p;
        p.a = 1, p.b = 2;
        w.write(p, false);
        p.a = 3.5;
        w.write(p, false);
    });
    EXPECT_NE(text.find("<pair_table>\n      <pair>\n         <v>1,2</v>"), std::string::npos) << text;
    memoryDb db(text);
    pair p;
    db.reader.read(p, 1);
    EXPECT_EQ(p.a, 3.5);
    EXPECT_EQ(thrown([&] { db.reader.read(p, 2); }),
              unexpected(L"xmlDbReader::read: objectindex 2 within tablenode for pair not found"));
    struct other : pair {
        const wchar_t* typeName() const override { return L"other"; }
    } o;
    EXPECT_EQ(thrown([&] { db.reader.read(o, 0); }), unexpected(L"xmlDbReader::read: tablenode for other not found"));
}

TEST(xmlDbReader, longChainsNeitherExhaustTheStackNorLoseObjects) {
    const int n = 5000;
    std::vector<refPtr<node>> chain;
    for (int i = 0; i < n; ++i)
        chain.push_back(makeNode(std::to_wstring(i).c_str()));
    for (int i = 0; i + 1 < n; ++i)
        chain[i]->next = chain[i + 1];
    vx::guid first;
    const std::string text = written([&](vx::xmlDbWriter& w) { first = w.writeObject(chain[0].get(), true); });
    for (auto& c : chain)
        c->unlink();
    memoryDb db(text);
    db.reader.open();
    refPtr<node> head = db.object(L"node", first.toString());
    int length = 0;
    for (node* p = head.get(); p; p = p->next.get(), ++length)
        EXPECT_EQ(p->label, std::to_wstring(length));
    EXPECT_EQ(length, n);
    // Unlinked from the end, so that no release chain runs deep either.
    std::vector<node*> all;
    for (node* p = head.get(); p; p = p->next.get())
        all.push_back(p);
    for (auto it = all.rbegin(); it != all.rend(); ++it)
        (*it)->unlink();
}

TEST(xmlDbReader, aDatabaseMovedWithItsFilesIsReadWithAnotherBase) {
    struct files : persistentBase {
        const wchar_t* className() const override { return L"files"; }
        void writeTo(vx::iDBOStream* s) const override {
            s->write(L"f", f);
            s->write(L"d", d);
            s->write(L"far", far);
        }
        void readFrom(vx::iDBIStream* s) override {
            s->read(L"f", f);
            s->read(L"d", d);
            s->read(L"far", far);
        }
        vx::file f, far;
        vx::directory d;
    };
    refPtr<files> out(new files);
    out->f = vx::file(L"C:\\old\\data\\x.txt");
    out->d = vx::directory(L"C:\\old\\data\\pics");
    out->far = vx::file(L"D:\\elsewhere\\y.txt");
    vx::binaryBuffer buffer;
    vx::guid id;
    {
        vx::xmlDbWriter writer(&buffer, vx::directory(L"C:\\old"));
        id = writer.writeObject(out.get(), true);
    }
    const std::string text(buffer.data(), static_cast<std::size_t>(buffer.logicalLength()));
    EXPECT_NE(text.find("<f>.\\data\\x.txt</f>"), std::string::npos) << text;
    EXPECT_NE(text.find("<far>D:\\elsewhere\\y.txt</far>"), std::string::npos) << text;

    struct filesFactory : factory {
        void createObject(const vx::string&, vx::iPersistent** object) override {
            *object = new files;
            (*object)->addRef();
        }
    } made;
    vx::xmlDbReader reader(&buffer, vx::directory(L"E:\\new"));
    reader.addObjectFactory(&made);
    reader.open();
    vx::iPersistent* p = nullptr;
    reader.readObject(L"files", id.toString(), &p);
    ASSERT_NE(p, nullptr);
    auto* in = static_cast<files*>(p);
    EXPECT_EQ(in->f.fullName(), L"E:\\new\\data\\x.txt");
    EXPECT_EQ(in->d.fullName(), L"E:\\new\\data\\pics\\");
    EXPECT_EQ(in->far.fullName(), L"D:\\elsewhere\\y.txt");
    p->release();
}

TEST(xmlDbReader, factoriesAreCountedOnce) {
    factory f;
    {
        vx::binaryBuffer buffer;
        vx::xmlDbReader reader(&buffer, vx::directory(L"C:\\"));
        reader.addObjectFactory(&f);
        reader.addObjectFactory(&f);
        EXPECT_EQ(f.getRefCount(), 1u);
        reader.releaseObjectFactory(&f);
        reader.releaseObjectFactory(&f);
        EXPECT_EQ(f.getRefCount(), 0u);
        reader.addObjectFactory(&f);
    }
    EXPECT_EQ(f.getRefCount(), 0u);
}

} // namespace
