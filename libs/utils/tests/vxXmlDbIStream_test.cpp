// The values inside an object element: how each is written, and how it is found and read back.
#include <vxBinaryBuffer.h>
#include <vxDirectory.h>
#include <vxException.h>
#include <vxGenericSet.h>
#include <vxXmlDatabase.h>
#include <vxXmlDbIStream.h>
#include <vxXmlDbOStream.h>

#include "testSupport.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

using vx::refPtr;

namespace {

template <class F>
std::wstring thrown(F&& f) {
    return vxtest::thrownMessage<vx::exception>(std::forward<F>(f));
}

// A stream with its writer in memory; the element's children are what the writes made.
struct output {
    vx::binaryBuffer buffer;
    vx::xmlDbWriter writer{&buffer, vx::directory(L"C:\\base")};
    vx::xmlDbOStream stream{&writer, L"item", false};

    // The texts of the children, one per line as "tag(attributes)=text".
    std::wstring children() {
        std::wstring out;
        for (const auto& child : stream.rootNode()->children()) {
            out += child->name();
            for (const auto& a : child->attributes())
                out += L"(" + a.first + L"=" + a.second + L")";
            out += L"=" + child->text() + L"\n";
        }
        return out;
    }
};

// The element of one object after the way through the XML text: written by write, loaded with
// trimming as the reader loads it.
refPtr<vx::xmlNode> throughText(const std::function<void(vx::iDBOStream&)>& write) {
    vx::binaryBuffer buffer;
    {
        vx::xmlDbWriter writer(&buffer, vx::directory(L"C:\\base"));
        writer.create();
        vx::xmlDbOStream stream(&writer, L"item", false);
        write(stream);
        refPtr<vx::xmlNode> root = writer.rootNode();
        refPtr<vx::xmlNode> element = stream.rootNode();
        root->addNode(element);
    }
    refPtr<vx::xmlDocument> doc = vx::xmlDocument::createXmlDocument();
    doc->load(buffer.data(), buffer.logicalLength(), false);
    return doc->getFirstChildNode(L"item", true);
}

template <class T>
T readBack(const std::function<void(vx::iDBOStream&)>& write, const wchar_t* name) {
    vx::binaryBuffer none;
    vx::xmlDbReader reader(&none, vx::directory(L"C:\\base"));
    vx::xmlDbIStream in(&reader, throughText(write), false);
    T value{};
    try {
        in.read(name, value);
    } catch (const vx::exception& e) {
        ADD_FAILURE() << vxtest::show(e.message().string());
    }
    return value;
}

TEST(xmlDbOStream, scalarTexts) {
    output out;
    auto& s = out.stream;
    s.write(L"b", true);
    s.write(L"b", false);
    s.write(L"sc", static_cast<signed char>('A'));
    s.write(L"uc", static_cast<unsigned char>(200));
    s.write(L"sh", static_cast<short>(-5));
    s.write(L"us", static_cast<unsigned short>(65535));
    s.write(L"i", -2147483647 - 1);
    s.write(L"ui", 4294967295u);
    s.write(L"l", -1L);
    s.write(L"ul", 4294967295ul);
    s.write(L"f", 1.5f);
    s.write(L"d", 2.0);
    s.write(L"d", 1e-9);
    s.write(L"d", 123456789.123456789);
    s.write(L"d", -0.5);
    s.write(L"u2", 1u, 2u);
    s.write(L"d2", 1.5, -2.0);
    s.write(L"d3", 1.0, 2.25, 3.0);
    s.write(L"d4", 0.1, 0.2, 0.3, 1e12);
    s.write(L"s", vx::string(L"a<b"));
    s.write(L"w", L"text"); // a C text is a string, not a bool
    s.write(nullptr, vx::string(L"no name"));
    s.write(L"odd name", 7, true);
    EXPECT_EQ(out.children(), L"b=1\nb=0\nsc=A\nuc=\u00C8\nsh=-5\nus=65535\ni=-2147483648\nui=4294967295\n"
                              L"l=-1\nul=4294967295\nf=1.5\nd=2\nd=0\nd=123456789.12345679\nd=-0.5\n"
                              L"u2=1,2\nd2=1.5,-2\nd3=1,2.25,3\nd4=0.1,0.2,0.3,1000000000000\ns=a<b\n"
                              L"w=text\n=no name\nProperty(name=odd name)=7\n");
}

TEST(xmlDbOStream, characterZeroIsRefused) {
    output out;
    EXPECT_EQ(thrown([&] { out.stream.write(L"c", static_cast<signed char>(0)); }),
              L"Unexpected error occurred (xmlDbOStream::write: the character value 0 of c cannot be stored)");
    EXPECT_EQ(thrown([&] { out.stream.write(L"c", static_cast<unsigned char>(0)); }),
              L"Unexpected error occurred (xmlDbOStream::write: the character value 0 of c cannot be stored)");
    EXPECT_EQ(out.children(), L"");
}

TEST(xmlDbIStream, everyCharacterButZeroComesBack) {
    auto& manager = vx::typeconvert::typeConversionManager::instance();
    for (int v = 1; v < 256; ++v) {
        const vx::string text(1, static_cast<wchar_t>(v));
        unsigned char u = 0;
        signed char c = 0;
        EXPECT_TRUE(manager.convert(typeid(u), &u, typeid(text), &text, 0, nullptr));
        EXPECT_TRUE(manager.convert(typeid(c), &c, typeid(text), &text, 0, nullptr));
        EXPECT_EQ(u, v);
        EXPECT_EQ(c, static_cast<signed char>(v));
    }
    for (const wchar_t* refused : {L"", L"ab", L"\u0100"}) {
        const vx::string text(refused);
        unsigned char u = 7;
        EXPECT_FALSE(manager.convert(typeid(u), &u, typeid(text), &text, 0, nullptr));
        EXPECT_EQ(u, 7);
    }
    // Through the file: a tab or a blank alone is trimmed away on loading, as in any text.
    for (int v = 1; v < 256; ++v) {
        if (v == 9 || v == 32)
            continue;
        const auto u = static_cast<unsigned char>(v);
        EXPECT_EQ(readBack<unsigned char>([u](vx::iDBOStream& s) { s.write(L"c", u); }, L"c"), u) << v;
        const auto c = static_cast<signed char>(v);
        EXPECT_EQ(readBack<signed char>([c](vx::iDBOStream& s) { s.write(L"c", c); }, L"c"), c) << v;
    }
}

TEST(xmlDbIStream, documentedLossesOnTheWayThroughTheText) {
    const struct {
        vx::string written;
        vx::string read;
    } strings[] = {
        {L"  padded\t", L"padded"}, // trimmed on loading
        {L"", L""},
        {L"a & b < c", L"a & b < c"},
        {L"\u00e4\u4e2d\U0001F600", L"\u00e4\u4e2d\U0001F600"},
    };
    for (const auto& c : strings)
        EXPECT_EQ(readBack<vx::string>([&](vx::iDBOStream& s) { s.write(L"s", c.written); }, L"s"), c.read);
    const struct {
        double written;
        double read;
    } doubles[] = {{1e-9, 0}, {123456789.123456789, 123456789.12345679}, {-2.5, -2.5}, {1.0 / 3, 0.33333333}};
    for (const auto& c : doubles)
        EXPECT_EQ(readBack<double>([&](vx::iDBOStream& s) { s.write(L"d", c.written); }, L"d"), c.read);
    EXPECT_EQ(readBack<bool>([](vx::iDBOStream& s) { s.write(L"b", true); }, L"b"), true);
    EXPECT_EQ(readBack<long>([](vx::iDBOStream& s) { s.write(L"l", -7L); }, L"l"), -7L);
    EXPECT_EQ(readBack<unsigned short>([](vx::iDBOStream& s) { s.write(L"u", static_cast<unsigned short>(9)); }, L"u"),
              9);
}

TEST(xmlDbIStream, findingAndFailureTexts) {
    const refPtr<vx::xmlNode> item = throughText([](vx::iDBOStream& s) {
        s.write(L"v", 1);
        s.write(L"v", vx::string(L"abc"));
        s.write(L"three", vx::string(L"1,2,3"));
        s.write(L"pair", vx::string(L"1.5,x"));
        s.write(L"p", vx::string(L"one"), true);
        s.write(L"Property", vx::string(L"plain")); // no name attribute
        s.write(L"p", vx::string(L"two"), true);
    });
    vx::binaryBuffer none;
    vx::xmlDbReader reader(&none, vx::directory(L"C:\\base"));
    vx::xmlDbIStream in(&reader, item, false);
    int i = 0;
    unsigned int a = 0, b = 0;
    double x = 0, y = 0;
    signed char sc = 0;
    unsigned char uc = 0;
    bool flag = false;
    short sh = 0;
    const struct {
        std::function<void()> read;
        std::wstring error;
    } cases[] = {
        {[&] { in.read(L"v", i); }, L"nothing"},
        {[&] { in.read(L"missing", i); }, L"Attribute missing(0) not found!"},
        {[&] { in.read(L"v", i, 2); }, L"Attribute v(2) not found!"},
        {[&] { in.read(L"v", i, 1); }, L"Attribute v(1) with Value abc not convertible to type int!"},
        {[&] { in.read(L"three", a, b); },
         L"Attribute three(0) with Value 1,2,3 not convertible to type unsigned int,unsigned int!"},
        {[&] { in.read(L"pair", x, y); }, L"Attribute pair(0) with Value 1.5,x not convertible to type double,double!"},
        {[&] { in.read(L"v", sc, 1); }, L"Attribute v(1) with Value abc not convertible to type char!"},
        {[&] { in.read(L"v", uc, 1); }, L"Attribute v(1) with Value abc not convertible to type unsigned char!"},
        {[&] { in.read(L"v", flag, 1); }, L"Attribute v(1) with Value abc not convertible to type bool!"},
        {[&] { in.read(L"v", sh, 1); }, L"Attribute v(1) with Value abc not convertible to type short!"},
        {[&] { in.read(L"p", i, 0, true); }, L"Attribute p(0) with Value one not convertible to type int!"},
        {[&] {
             vx::string name, value;
             in.readProperty(name, value, 2);
         },
         L"Attribute Property(2) not found!"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(thrown(c.read), c.error);
    EXPECT_EQ(i, 1);
    EXPECT_EQ(x, 1.5); // stored before the second piece failed

    EXPECT_EQ(in.count(L"v"), 2u);
    EXPECT_EQ(in.count(L"absent"), 0u);
    EXPECT_FALSE(in.isAvailable(L"absent"));
    EXPECT_TRUE(in.isAvailable(L"v", 1));
    EXPECT_EQ(in.count(L"p", true), 2u);
    EXPECT_EQ(in.countProperties(), 2u);
    EXPECT_EQ(in.count(L"Property"), 3u); // by tag, the unnamed one too
    EXPECT_FALSE(in.isAvailable(L"Property", 0, true));
    vx::string name, value;
    in.readProperty(name, value, 1);
    EXPECT_EQ(name + L"=" + value, L"p=two");
    in.read(L"Property", value, 1);
    EXPECT_EQ(value, L"plain");
}

TEST(xmlDbIStream, objectInfoAndNullReferences) {
    const vx::guid id = vx::guid().create();
    output out;
    out.stream.write(L"o", vx::objectInfo(L"MyClass", id));
    out.stream.write(L"none", vx::objectInfo(L"MyClass", vx::guid()));
    out.stream.write(L"ref", static_cast<const vx::iPersistent*>(nullptr), true);
    out.stream.writeAggregated(L"agg", nullptr);
    EXPECT_EQ(out.children(), L"o(type=MyClass)=" + id.toString() + L"\nnone(type=MyClass)=0\n"
                              L"Property(name=ref)=0\nagg=0\n");

    vx::binaryBuffer none;
    vx::xmlDbReader reader(&none, vx::directory(L"C:\\base"));
    vx::xmlDbIStream in(&reader, out.stream.rootNode(), false);
    vx::objectInfo info;
    in.read(L"o", info);
    EXPECT_EQ(info, vx::objectInfo(L"myclass", id)); // lower-cased
    in.read(L"agg", info);
    EXPECT_EQ(info, vx::objectInfo(L"agg", vx::guid())); // no type: the tag
    vx::iPersistent* p = reinterpret_cast<vx::iPersistent*>(&info);
    in.read(L"ref", &p, 0, true);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(thrown([&] { in.readAggregated(L"agg", &p); }),
              L"Unexpected error occurred (xmlDbReader::readObject: Error creating object of class agg)");
}

// --- nested items ----------------------------------------------------------------------------------

// A converter holding a number and, below it, another converter down to a given depth.
struct nested : vx::iDataConverter {
    explicit nested(int levels) : depth(levels) {}
    const wchar_t* typeName() const override { return L"nested"; }
    void writeTo(vx::iDBOStream* s) const override {
        s->write(L"n", number);
        if (depth > 1) {
            nested inner(depth - 1);
            inner.number = number * 10;
            s->write(L"inner", inner);
        }
    }
    void readFrom(vx::iDBIStream* s) override {
        s->read(L"n", number);
        if (s->isAvailable(L"inner")) {
            nested inner(0);
            s->read(L"inner", inner);
            numbers.push_back(inner.number);
            numbers.insert(numbers.end(), inner.numbers.begin(), inner.numbers.end());
        }
    }
    int depth;
    int number = 0;
    std::vector<int> numbers;
};

struct anyShape : vx::iPolymorphDataConverter {
    const wchar_t* typeName() const override { return L"shape"; }
    void writeTo(vx::iDBOStream*) const override {}
    void readFrom(vx::iDBIStream* s) override { s->read(L"n", number); }
    bool acceptType(const vx::string& type) override {
        accepted = type;
        return type == L"nested" || type == L"circle";
    }
    vx::string accepted;
    int number = 0;
};

TEST(xmlDbIStream, dataConvertersNestedThreeDeep) {
    const refPtr<vx::xmlNode> item = throughText([](vx::iDBOStream& s) {
        nested outer(3);
        outer.number = 1;
        s.write(L"value", outer);
        s.write(L"prop", outer, true);
    });
    EXPECT_EQ(item->getFirstChildNode(L"value", true)->getFirstChildNode(L"inner", true)->getFirstChildNode(L"inner", true)
                  ->getFirstChildNode(L"n", true)
                  ->text(),
              L"100");
    vx::string type;
    EXPECT_TRUE(item->getFirstChildNode(L"value", true)->getAttribute(L"type", type));
    EXPECT_EQ(type, L"nested");
    EXPECT_FALSE(item->getFirstChildNode(L"value", true)->hasAttribute(L"id"));

    vx::binaryBuffer none;
    vx::xmlDbReader reader(&none, vx::directory(L"C:\\base"));
    vx::xmlDbIStream in(&reader, item, false);
    nested back(0);
    in.read(L"value", back);
    EXPECT_EQ(back.number, 1);
    EXPECT_EQ(back.numbers, (std::vector<int>{10, 100}));
    nested prop(0);
    in.read(L"prop", prop, 0, true);
    EXPECT_EQ(prop.numbers, (std::vector<int>{10, 100}));

    anyShape shape;
    in.read(L"value", shape);
    EXPECT_EQ(shape.accepted, L"nested");
    EXPECT_EQ(shape.number, 1);

    struct otherType : nested {
        otherType() : nested(0) {}
        const wchar_t* typeName() const override { return L"Nested"; }
    } wrong;
    EXPECT_EQ(thrown([&] { in.read(L"value", wrong); }),
              L"Attribute value(0) with Value nested not convertible to type Nested!");
    const refPtr<vx::xmlNode> square = throughText([](vx::iDBOStream& s) {
        struct sq : nested {
            sq() : nested(1) {}
            const wchar_t* typeName() const override { return L"square"; }
        } q;
        s.write(L"v", q);
    });
    vx::xmlDbIStream squares(&reader, square, false);
    EXPECT_EQ(thrown([&] { squares.read(L"v", shape); }),
              L"Attribute v(0) with Value square not convertible to type shape!");
}

// An object with an aggregated part.
struct part : vx::iPersistent {
    explicit part(const wchar_t* name = L"part") : className_(name) {}
    unsigned long getRefCount() const override { return count; }
    unsigned long addRef() override { return ++count; }
    unsigned long release() override {
        const unsigned long n = --count;
        if (!n)
            delete this;
        return n;
    }
    const wchar_t* className() const override { return className_.c_str(); }
    void writeTo(vx::iDBOStream* s) const override {
        s->write(L"label", label);
        if (inner)
            s->writeAggregated(L"inner", inner.get());
    }
    void readFrom(vx::iDBIStream* s) override {
        proxy = static_cast<vx::xmlDbIStream*>(s)->isProxyOnly();
        s->read(L"label", label);
        if (s->isAvailable(L"inner")) {
            vx::iPersistent* p = nullptr;
            s->readAggregated(L"inner", &p);
            inner = static_cast<part*>(p);
            p->release();
        }
    }
    const vx::guid& getGuid() const override { return id; }
    void setGuid(const vx::guid& g) override { id = g; }

    vx::string className_;
    vx::string label;
    refPtr<part> inner;
    vx::guid id;
    bool proxy = false;
    unsigned long count = 0;

protected:
    virtual ~part() = default;
};

struct partFactory : vx::iObjectFactory {
    unsigned long getRefCount() const override { return 1; }
    unsigned long addRef() override { return 1; }
    unsigned long release() override { return 1; }
    void createObject(const vx::string& className, vx::iPersistent** object) override {
        if (className == L"part" || className == L"proxy") {
            *object = new part(className.c_str());
            (*object)->addRef();
        }
    }
};

TEST(xmlDbIStream, aggregatedObjectsLiveInsideTheirOwnerAndProxyOnlyIsPassedDown) {
    refPtr<part> owner(new part), shared(new part);
    shared->label = L"shared";
    shared->setGuid(vx::guid().create());
    owner->label = L"owner";
    owner->inner = shared;
    vx::binaryBuffer buffer;
    vx::guid id;
    {
        vx::xmlDbWriter writer(&buffer, vx::directory(L"C:\\base"));
        id = writer.writeObject(owner.get(), true);
        refPtr<part> second(new part);
        second->inner = shared; // an aggregated object shared by two owners is stored twice
        writer.writeObject(second.get(), true);
    }
    const std::string text(buffer.data(), static_cast<std::size_t>(buffer.logicalLength()));
    const std::string tag = "<inner type=\"part\" id=\"" + vx::string(shared->getGuid().toString()).getMBCS() + "\">";
    EXPECT_NE(text.find(tag), text.rfind(tag)) << text;

    partFactory made;
    vx::xmlDbReader reader(&buffer, vx::directory(L"C:\\base"));
    reader.addObjectFactory(&made);
    reader.open();
    vx::iPersistent* p = nullptr;
    reader.readProxyObject(L"part", L"proxy", id.toString(), &p);
    refPtr<part> back(static_cast<part*>(p));
    p->release();
    EXPECT_TRUE(back->proxy);
    ASSERT_TRUE(back->inner);
    EXPECT_TRUE(back->inner->proxy);
    EXPECT_EQ(back->inner->label, L"shared");
    EXPECT_EQ(back->inner->getGuid(), shared->getGuid());
    std::vector<refPtr<vx::iPersistent>> all;
    reader.readAllObjects(L"part", all);
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].get(), back.get()); // the proxy read first is what later reads get
    EXPECT_NE(static_cast<part*>(all[1].get())->inner.get(), back->inner.get());
    owner->inner = nullptr;
}

TEST(xmlDbIStream, deeplyAggregatedObjectsAreReadAfterwards) {
    refPtr<part> top(new part);
    part* last = top.get();
    for (int i = 0; i < 400; ++i) { // deeper than references are followed, within what is written
        last->inner = refPtr<part>(new part);
        last = last->inner.get();
        last->label = std::to_wstring(i);
    }
    vx::binaryBuffer buffer;
    vx::guid id;
    {
        vx::xmlDbWriter writer(&buffer, vx::directory(L"C:\\base"));
        id = writer.writeObject(top.get(), true);
    }
    partFactory made;
    vx::xmlDbReader reader(&buffer, vx::directory(L"C:\\base"));
    reader.addObjectFactory(&made);
    reader.open();
    vx::iPersistent* p = nullptr;
    reader.readObject(L"part", id.toString(), &p);
    refPtr<part> back(static_cast<part*>(p));
    p->release();
    int n = 0;
    for (part* q = back->inner.get(); q; q = q->inner.get(), ++n)
        EXPECT_EQ(q->label, std::to_wstring(n));
    EXPECT_EQ(n, 400);

    // Much deeper nesting is refused when written, before the file could not be read back.
    for (int i = 0; i < 200; ++i) {
        last->inner = refPtr<part>(new part);
        last = last->inner.get();
    }
    vx::xmlDbWriter writer(&buffer, vx::directory(L"C:\\base"));
    EXPECT_EQ(thrown([&] { writer.writeObject(top.get(), true); }),
              L"Unexpected error occurred (xmlDbOStream::write: values nested deeper than 512)");
}

// --- generic sets ----------------------------------------------------------------------------------

TEST(genericSetStreams, numbersInTheShortDoubleFormAndEverythingBackAsText) {
    vx::genericSet set;
    set.setGenericValue(vx::scString::createFrom(L"int"), vx::genericValue(7), true);
    set.setGenericValue(vx::scString::createFrom(L"padded"), vx::genericValue(L"007"), true);
    set.setGenericValue(vx::scString::createFrom(L"text"), vx::genericValue(L"abc"), true);
    set.setGenericValue(vx::scString::createFrom(L"flag"), vx::genericValue(true), true);
    set.setGenericValue(vx::scString::createFrom(L"third"), vx::genericValue(1.0 / 3), true);
    set.setGenericValue(vx::scString::createFrom(L"not a tag"), vx::genericValue(L"x y"), true);
    set.setGenericValue(vx::scString::createFrom(L"nothing"), vx::genericValue(vx::ndef()), true);
    const refPtr<vx::xmlNode> item = throughText([&](vx::iDBOStream& s) { vx::writeGenericSet(set).writeTo(&s); });
    EXPECT_EQ(item->children().size(), 6u); // ndef has no text form

    vx::binaryBuffer none;
    vx::xmlDbReader reader(&none, vx::directory(L"C:\\base"));
    vx::xmlDbIStream in(&reader, item, false);
    vx::genericSet back;
    back.setGenericValue(vx::scString::createFrom(L"stale"), vx::genericValue(1), true);
    vx::readGenericSet(back).readFrom(&in);
    std::map<std::wstring, std::wstring> values;
    back.forEachItem(
        [&](const vx::genericSet::item& entry) {
            EXPECT_EQ(entry.second->type(), typeid(vx::string));
            vx::string text;
            entry.second->get(text);
            values[entry.first.string()] = text;
            return true;
        },
        false);
    EXPECT_EQ(values, (std::map<std::wstring, std::wstring>{{L"int", L"7"},
                                                            {L"padded", L"7"},
                                                            {L"text", L"abc"},
                                                            {L"flag", L"1"},
                                                            {L"third", L"0.33333333"},
                                                            {L"not a tag", L"x y"}}));
}

} // namespace
