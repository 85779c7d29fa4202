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

#include <functional>
#include <map>
#include <string>
#include <tuple>
#include <typeinfo>
#include <utility>
#include <vector>

using vx::refPtr;

namespace {

template <class F>
std::wstring thrown(F&& f) { return vxtest::thrownMessage<vx::exception>(std::forward<F>(f)); }

vx::directory base() { return vx::directory(L"C:\\base"); }

// The element of one object after the way through the XML text: written by write, loaded with
// trimming as the reader loads it.
refPtr<vx::xmlNode> throughText(const std::function<void(vx::iDBOStream&)>& write) {
    vx::binaryBuffer buffer;
    {
        vx::xmlDbWriter writer(&buffer, base());
        writer.create();
        vx::xmlDbOStream stream(&writer, L"item", false);
        write(stream);
        refPtr<vx::xmlNode> element = stream.rootNode();
        writer.rootNode()->addNode(element);
    }
    refPtr<vx::xmlDocument> doc = vx::xmlDocument::createXmlDocument();
    doc->load(buffer.data(), buffer.logicalLength(), false);
    return doc->getFirstChildNode(L"item", true);
}

// A stream over such an element, with a reader that has no database behind it.
struct readerOfNothing {
    vx::binaryBuffer none;
    vx::xmlDbReader reader{&none, base()};
};
struct input : readerOfNothing, vx::xmlDbIStream {
    explicit input(const refPtr<vx::xmlNode>& item) : vx::xmlDbIStream(&reader, item, false) {}
    template <class T>
    T get(const wchar_t* name, std::uint64_t nth = 0, bool asProperty = false) {
        T value{};
        read(name, value, nth, asProperty);
        return value;
    }
};

const wchar_t* const kId = L"0f1e2d3c-4b5a-6978-8796-a5b4c3d2e1f0";

// One element with a value of every kind, written for each test that reads it.
refPtr<vx::xmlNode> sample() {
    return throughText([](vx::iDBOStream& s) {
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
        for (const double d : {2.0, 1e-9, 123456789.123456789, -0.5, 1.0 / 3})
            s.write(L"d", d);
        s.write(L"u2", 1u, 2u);
        s.write(L"d2", 1.5, -2.0);
        s.write(L"d3", 1.0, 2.25, 3.0);
        s.write(L"d4", 0.1, 0.2, 0.3, 1e12);
        for (const wchar_t* text : {L"a<b & c", L"  padded\t", L"", L"\u00e4\u4e2d\U0001F600"})
            s.write(L"s", vx::string(text));
        s.write(L"w", L"text"); // a C text is a string, not a bool
        s.write(L"odd name", 7, true);
        s.write(L"p", vx::string(L"one"), true);
        s.write(L"Property", vx::string(L"plain"));
        s.write(L"p", vx::string(L"two"), true);
        s.write(L"o", vx::objectInfo(L"MyClass", vx::guid().fromString(kId)));
        s.write(L"none", vx::objectInfo(L"MyClass", vx::guid()));
        s.write(L"ref", static_cast<const vx::iPersistent*>(nullptr), true);
        s.writeAggregated(L"agg", nullptr);
    });
}

TEST(xmlDbStreams, everyValueWrittenFoundAndReadBack) {
    input in(sample());
    std::wstring out;
    for (const auto& child : in.rootNode()->children()) {
        out += child->name();
        for (const auto& a : child->attributes())
            out += L"(" + a.first + L"=" + a.second + L")";
        out += L"=" + child->text() + L"\n";
    }
    EXPECT_EQ(out, L"b=1\nb=0\nsc=A\nuc=\u00C8\nsh=-5\nus=65535\ni=-2147483648\nui=4294967295\nl=-1\nul=4294967295\n"
                   L"f=1.5\nd=2\nd=0\nd=123456789.12345679\nd=-0.5\nd=0.33333333\nu2=1,2\nd2=1.5,-2\nd3=1,2.25,3\n"
                   L"d4=0.1,0.2,0.3,1000000000000\ns=a<b & c\ns=padded\ns=\ns=\u00e4\u4e2d\U0001F600\nw=text\n"
                   L"Property(name=odd name)=7\nProperty(name=p)=one\nProperty=plain\nProperty(name=p)=two\n"
                   L"o(type=MyClass)=0f1e2d3c-4b5a-6978-8796-a5b4c3d2e1f0\nnone(type=MyClass)=0\n"
                   L"Property(name=ref)=0\nagg=0\n");
    EXPECT_EQ(std::make_tuple(in.get<bool>(L"b"), in.get<bool>(L"b", 1), in.get<signed char>(L"sc"), in.get<unsigned char>(L"uc"),
                              in.get<short>(L"sh"), in.get<unsigned short>(L"us"), in.get<int>(L"i"), in.get<unsigned int>(L"ui"),
                              in.get<long>(L"l"), in.get<unsigned long>(L"ul"), in.get<float>(L"f")),
              std::make_tuple(true, false, 'A', 200, -5, 65535, -2147483647 - 1, 4294967295u, -1L, 4294967295ul, 1.5f));
    const wchar_t* strings[] = {L"a<b & c", L"padded", L"", L"\u00e4\u4e2d\U0001F600"}; // trimmed on loading
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(in.get<vx::string>(L"s", i), strings[i]);
    EXPECT_EQ(std::make_tuple(in.get<double>(L"d"), in.get<double>(L"d", 1), in.get<double>(L"d", 2), in.get<double>(L"d", 3),
                              in.get<double>(L"d", 4)),
              std::make_tuple(2, 0, 123456789.12345679, -0.5, 0.33333333)); // 8 decimals
    unsigned int u[2] = {};
    double d[9] = {};
    in.read(L"u2", u[0], u[1]);
    in.read(L"d2", d[0], d[1]);
    in.read(L"d3", d[2], d[3], d[4]);
    in.read(L"d4", d[5], d[6], d[7], d[8]);
    EXPECT_TRUE(u[0] == 1 && u[1] == 2);
    EXPECT_EQ(std::vector<double>(d, d + 9), (std::vector<double>{1.5, -2, 1, 2.25, 3, 0.1, 0.2, 0.3, 1e12}));
    EXPECT_EQ(in.get<vx::objectInfo>(L"o"), vx::objectInfo(L"myclass", vx::guid().fromString(kId))); // lower-cased
    EXPECT_EQ(in.get<vx::objectInfo>(L"agg"), vx::objectInfo(L"agg", vx::guid()));                  // no type: the tag
    vx::iPersistent* p = reinterpret_cast<vx::iPersistent*>(&in);
    in.read(L"ref", &p, 0, true);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(thrown([&] { in.readAggregated(L"agg", &p); }),
              L"Unexpected error occurred (xmlDbReader::readObject: Error creating object of class agg)");

    // Finding values, and the texts of what is not found or not convertible.
    vx::string name, value;
    const std::wstring abc = L"Attribute s(0) with Value a<b & c not convertible to type ";
    const std::pair<std::function<void()>, std::wstring> cases[] = {
        {[&] { in.get<int>(L"missing"); }, L"Attribute missing(0) not found!"},
        {[&] { in.get<int>(L"b", 2); }, L"Attribute b(2) not found!"},
        {[&] { in.readProperty(name, value, 4); }, L"Attribute Property(4) not found!"},
        {[&] { in.get<int>(L"p", 0, true); }, L"Attribute p(0) with Value one not convertible to type int!"},
        {[&] { in.read(L"d3", u[0], u[1]); }, L"Attribute d3(0) with Value 1,2.25,3 not convertible to type unsigned int,unsigned int!"},
        {[&] { in.read(L"d4", d[0], d[1]); }, L"Attribute d4(0) with Value 0.1,0.2,0.3,1000000000000 not convertible to type double,double!"},
        {[&] { in.get<int>(L"s"); }, abc + L"int!"},
        {[&] { in.get<signed char>(L"s"); }, abc + L"char!"},
        {[&] { in.get<unsigned char>(L"s"); }, abc + L"unsigned char!"},
        {[&] { in.get<bool>(L"s"); }, abc + L"bool!"},
        {[&] { in.get<short>(L"s"); }, abc + L"short!"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(thrown(c.first), c.second);
    EXPECT_EQ(std::make_tuple(in.count(L"d"), in.count(L"absent"), in.count(L"p", true), in.countProperties(), in.count(L"Property")),
              std::make_tuple(5u, 0u, 2u, 4u, 5u)); // by tag "Property" counts the unnamed one too
    EXPECT_TRUE(in.isAvailable(L"b", 1) && !in.isAvailable(L"absent") && !in.isAvailable(L"Property", 0, true));
    in.readProperty(name, value, 2);
    EXPECT_EQ(name + L"=" + value, L"p=two");
    EXPECT_EQ(in.get<vx::string>(L"Property", 2), L"plain");
}

TEST(xmlDbStreams, charactersOneTo255ComeBackAndZeroIsRefused) {
    input in(throughText([](vx::iDBOStream& s) {
        for (int v = 1; v < 256; ++v) {
            s.write(L"u", static_cast<unsigned char>(v));
            s.write(L"c", static_cast<signed char>(v));
        }
        const std::wstring refused = L"Unexpected error occurred (xmlDbOStream::write: the character value 0 of z cannot be stored)";
        EXPECT_EQ(thrown([&] { s.write(L"z", static_cast<signed char>(0)); }), refused);
        EXPECT_EQ(thrown([&] { s.write(L"z", static_cast<unsigned char>(0)); }), refused);
    }));
    EXPECT_FALSE(in.isAvailable(L"z"));
    auto& manager = vx::typeconvert::typeConversionManager::instance();
    for (int v = 1; v < 256; ++v) {
        const vx::string text(1, static_cast<wchar_t>(v));
        unsigned char u = 0;
        signed char c = 0;
        EXPECT_TRUE(manager.convert(typeid(u), &u, typeid(text), &text, 0, nullptr) && u == v) << v;
        EXPECT_TRUE(manager.convert(typeid(c), &c, typeid(text), &text, 0, nullptr) && c == static_cast<signed char>(v));
        if (v == 9 || v == 32) // a tab or a blank alone is trimmed away on loading, as in any text
            EXPECT_EQ(thrown([&] { in.get<unsigned char>(L"u", v - 1); }),
                      L"Attribute u(" + std::to_wstring(v - 1) + L") with Value  not convertible to type unsigned char!");
        else
            EXPECT_TRUE(in.get<unsigned char>(L"u", v - 1) == u && in.get<signed char>(L"c", v - 1) == c) << v;
    }
    unsigned char u = 0;
    for (const vx::string text : {L"", L"ab", L"\u0100"})
        EXPECT_FALSE(manager.convert(typeid(u), &u, typeid(text), &text, 0, nullptr)) << vxtest::show(text);
}

// A converter holding a number and, below it, another converter down to a given depth; reading
// collects the numbers of all levels.
struct nested : vx::iDataConverter {
    explicit nested(int levels = 0, int n = 0, const wchar_t* type = L"nested") : depth(levels), number(n), name(type) {}
    const wchar_t* typeName() const override { return name; }
    void writeTo(vx::iDBOStream* s) const override {
        s->write(L"n", number);
        if (depth > 1)
            s->write(L"inner", nested(depth - 1, number * 10));
    }
    void readFrom(vx::iDBIStream* s) override {
        nested inner;
        s->read(L"n", number);
        if (s->isAvailable(L"inner"))
            s->read(L"inner", inner);
        numbers = std::to_wstring(number) + (inner.numbers.empty() ? L"" : L"," + inner.numbers);
    }
    int depth, number;
    const wchar_t* name;
    std::wstring numbers;
};

struct anyShape : vx::iPolymorphDataConverter {
    const wchar_t* typeName() const override { return L"shape"; }
    void writeTo(vx::iDBOStream*) const override {}
    void readFrom(vx::iDBIStream* s) override { s->read(L"n", number); }
    bool acceptType(const vx::string& type) override { return (accepted = type) == L"nested" || type == L"circle"; }
    vx::string accepted;
    int number = 0;
};

TEST(xmlDbStreams, dataConvertersNestedThreeDeep) {
    input in(throughText([](vx::iDBOStream& s) {
        s.write(L"value", nested(3, 1));
        s.write(L"prop", nested(3, 1), true);
        s.write(L"square", nested(1, 0, L"square"));
    }));
    const refPtr<vx::xmlNode> value = in.rootNode()->getFirstChildNode(L"value", true);
    EXPECT_EQ(value->getFirstChildNode(L"inner", true)->getFirstChildNode(L"inner", true)->getFirstChildNode(L"n", true)->text(),
              L"100");
    vx::string type;
    EXPECT_TRUE(value->getAttribute(L"type", type) && type == L"nested" && !value->hasAttribute(L"id"));
    nested back, prop, wrong(0, 0, L"Nested");
    in.read(L"value", back);
    in.read(L"prop", prop, 0, true);
    EXPECT_EQ(back.numbers + L"|" + prop.numbers, L"1,10,100|1,10,100");
    anyShape shape;
    in.read(L"value", shape);
    EXPECT_EQ(shape.accepted + L"=" + std::to_wstring(shape.number), L"nested=1");
    EXPECT_EQ(thrown([&] { in.read(L"value", wrong); }), L"Attribute value(0) with Value nested not convertible to type Nested!");
    EXPECT_EQ(thrown([&] { in.read(L"square", shape); }), L"Attribute square(0) with Value square not convertible to type shape!");
}

// An object with an aggregated part; it also makes the parts (and proxies of them) a reader reads.
struct part : vx::iPersistent, vx::iObjectFactory, vx::refObj {
    explicit part(const wchar_t* name = L"part") : className_(name) {}
    unsigned long getRefCount() const override { return refObj::getRefCount(); }
    unsigned long addRef() override { return refObj::addRef(); }
    unsigned long release() override { return refObj::release(); }
    void deleteThis() override { delete this; }
    const wchar_t* className() const override { return className_.c_str(); }
    const vx::guid& getGuid() const override { return id; }
    void setGuid(const vx::guid& g) override { id = g; }
    void writeTo(vx::iDBOStream* s) const override {
        s->write(L"label", label);
        if (inner)
            s->writeAggregated(L"inner", inner.get());
    }
    void readFrom(vx::iDBIStream* s) override {
        proxy = static_cast<vx::xmlDbIStream*>(s)->isProxyOnly();
        s->read(L"label", label);
        vx::iPersistent* p = nullptr;
        if (s->isAvailable(L"inner")) {
            s->readAggregated(L"inner", &p);
            inner = static_cast<part*>(p);
            p->release();
        }
    }
    void createObject(const vx::string& className, vx::iPersistent** object) override {
        if (className == L"part" || className == L"proxy")
            (*object = new part(className.c_str()))->addRef();
    }
    vx::string className_, label;
    refPtr<part> inner;
    vx::guid id;
    bool proxy = false;
};

// Aggregated objects are stored inside their owner, a proxy's parts are read as proxies too, and a
// chain deeper than references are followed (within what is written) is read afterwards.
TEST(xmlDbStreams, aggregatedObjects) {
    refPtr<part> owner(new part), second(new part), shared(new part), chain(new part);
    shared->label = L"shared";
    shared->setGuid(vx::guid().create());
    owner->inner = second->inner = shared; // an aggregated object shared by two owners is stored twice
    part* last = chain.get();
    for (int i = 0; i < 400; ++i)
        (last = (last->inner = refPtr<part>(new part)).get())->label = std::to_wstring(i);
    vx::binaryBuffer buffer;
    vx::xmlDbWriter writer(&buffer, base());
    const vx::guid id = writer.writeObject(owner.get(), true);
    writer.writeObject(second.get(), true);
    const vx::guid chainId = writer.writeObject(chain.get(), true);
    writer.close();
    vx::xmlDbReader reader(&buffer, base());
    reader.addObjectFactory(owner.get());
    reader.open();
    vx::iPersistent* p = nullptr;
    const auto taken = [&p] { refPtr<part> r(static_cast<part*>(p)); p->release(); return r; }; // the read's reference
    reader.readProxyObject(L"part", L"proxy", id.toString(), &p);
    const refPtr<part> back = taken();
    ASSERT_TRUE(back->inner);
    EXPECT_TRUE(back->proxy && back->inner->proxy);
    EXPECT_EQ(back->inner->label, L"shared");
    EXPECT_EQ(back->inner->getGuid(), shared->getGuid());
    reader.readObject(L"part", chainId.toString(), &p);
    const refPtr<part> head = taken();
    int n = 0;
    for (part* q = head->inner.get(); q; q = q->inner.get(), ++n)
        EXPECT_EQ(q->label, std::to_wstring(n));
    EXPECT_EQ(n, 400);
    std::vector<refPtr<vx::iPersistent>> all;
    reader.readAllObjects(L"part", all);
    ASSERT_EQ(all.size(), 3u);
    EXPECT_EQ(all[0].get(), back.get()); // the proxy read first is what later reads get
    EXPECT_NE(static_cast<part*>(all[1].get())->inner.get(), back->inner.get());

    // Much deeper nesting is refused when written, before the file could not be read back.
    for (int i = 0; i < 200; ++i)
        last = (last->inner = refPtr<part>(new part)).get();
    EXPECT_EQ(thrown([&] { vx::xmlDbWriter(&buffer, base()).writeObject(chain.get(), true); }),
              L"Unexpected error occurred (xmlDbOStream::write: values nested deeper than 512)");
}

TEST(genericSetStreams, numbersInTheShortDoubleFormAndEverythingBackAsText) {
    vx::genericSet set, back;
    const auto put = [](vx::genericSet& to, const wchar_t* key, const auto& value) {
        to.setGenericValue(vx::scString::createFrom(key), vx::genericValue(value), true);
    };
    put(set, L"int", 7);
    put(set, L"padded", L"007");
    put(set, L"text", L"abc");
    put(set, L"flag", true);
    put(set, L"third", 1.0 / 3);
    put(set, L"not a tag", L"x y");
    put(set, L"nothing", vx::ndef()); // no text form: left out
    put(back, L"stale", 1);
    input in(throughText([&](vx::iDBOStream& s) { vx::writeGenericSet(set).writeTo(&s); }));
    vx::readGenericSet(back).readFrom(&in);
    std::map<std::wstring, std::wstring> texts;
    back.forEachItem([&](const vx::genericSet::item& entry) {
        vx::string text;
        EXPECT_TRUE(entry.second->type() == typeid(vx::string) && entry.second->get(text));
        return texts.emplace(entry.first.string(), text).second;
    }, false);
    EXPECT_EQ(texts, (std::map<std::wstring, std::wstring>{{L"int", L"7"}, {L"padded", L"7"}, {L"text", L"abc"},
                                                           {L"flag", L"1"}, {L"third", L"0.33333333"}, {L"not a tag", L"x y"}}));
}

} // namespace
