#include <vxBinaryBuffer.h>
#include <vxDirectory.h>
#include <vxRestrictionFilter.h>
#include <vxXmlDbIStream.h>
#include <vxXmlDbOStream.h>

#include "testSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using vx::filterValue;
using vx::genericValue;
using vx::objectInfo;
using vx::restrictionFilter;

template <class T> filterValue value(const wchar_t* name, T v) { return filterValue(name, genericValue(v)); }
const genericValue kAny{vx::ndef()};
const vx::guid kG1 = vx::guid().create(), kG2 = vx::guid().create();

// "name=text;" for each value, in order.
std::wstring valuesOf(const restrictionFilter& f) {
    std::wstring out;
    f.foreachValue(std::function<bool(const filterValue&)>([&](const filterValue& entry) {
        vx::string text;
        entry.second.get(text);
        out += entry.first + L"=" + text + L";";
        return true;
    }));
    return out;
}

TEST(restrictionFilter, valuesAndObjectsAreAddedAndRemoved) {
    restrictionFilter f;
    for (const filterValue& v : {value(L"a", 1), value(L"a", 1), value(L"a", 2), value(L"b", L"x")})
        f.addFilterValue(v); // duplicates are kept
    EXPECT_EQ(valuesOf(f), L"a=1;a=1;a=2;b=x;");
    f.removeFilterValue(value(L"a", L"1"), false); // by text
    EXPECT_EQ(valuesOf(f), L"a=2;b=x;");
    f.addFilterValue(filterValue(L"a", kAny)); // removes every "a"
    EXPECT_EQ(valuesOf(f), L"b=x;");
    f.addFilterValue(value(L"a", 3)), f.removeFilterValue(value(L"b", L"other"), true); // by name
    EXPECT_EQ(valuesOf(f), L"a=3;");
    EXPECT_TRUE(f.contains(filterValue(L"a", kAny)) && f.contains(value(L"a", 3.0)) && f.containsAnyFilterValue(L"a"));
    EXPECT_FALSE(f.contains(value(L"a", 4)) || f.containsAnyFilterValue(L"A"));
    for (const objectInfo& o : {objectInfo(L"C", kG1), objectInfo(L"C", kG2), objectInfo(L"D", kG1)})
        f.addFilterObject(o);
    f.removeFilterObject(objectInfo(L"C", kG1), false);
    EXPECT_EQ(f.filterObjectsCount(), 2u);
    f.removeFilterObject(objectInfo(L"C", vx::guid()), true);
    EXPECT_EQ(f.filterObjectsCount(), 1u);
    EXPECT_FALSE(std::as_const(f).foreachObject(
        std::function<bool(const objectInfo&)>([](const objectInfo& o) { return o.className() != L"D"; })));
    restrictionFilter a({}, {value(L"x", 1)}), b(a); // copies are independent
    b.addFilterValue(value(L"y", 2));
    a = b;
    b.addFilterValue(value(L"z", 3));
    EXPECT_EQ(valuesOf(a) + L"|" + valuesOf(b), L"x=1;y=2;|x=1;y=2;z=3;");
}

TEST(restrictionFilter, matchesFilter) {
    const vx::filterValueStringCompare compare;
    const restrictionFilter own({objectInfo(L"C", kG1)}, {value(L"a", 1), value(L"a", 2), value(L"s", 1.0)});
    const struct { restrictionFilter::valueList given; bool matches; } cases[] = {
        {{}, true}, {{value(L"a", 2)}, true}, {{value(L"s", L"1")}, true}, // alternatives of one name; 1.0 is "1"
        {{value(L"a", 3)}, false}, {{value(L"b", 1)}, false}, {{value(L"a", 1), value(L"a", 9)}, false},
        {{filterValue(L"a", kAny)}, false}, {{filterValue(L"z", kAny)}, true}, // any value: the name is absent
    };
    for (const auto& c : cases)
        EXPECT_EQ(own.matchesFilter(c.given, compare), c.matches) << valuesOf(restrictionFilter({}, c.given));
    EXPECT_TRUE(own.matchesFilter(restrictionFilter::objectList{}));
    EXPECT_TRUE(own.matchesFilter(restrictionFilter::objectList{objectInfo(L"C", kG1)}));
    EXPECT_FALSE(own.matchesFilter(restrictionFilter::objectList{objectInfo(L"C", kG2)}));
    EXPECT_TRUE(own.matchesFilter(restrictionFilter({objectInfo(L"C", kG1)}, {value(L"a", 1)}), compare));
    EXPECT_FALSE(own.matchesFilter(restrictionFilter({objectInfo(L"D", kG1)}, {}), compare));
}

TEST(restrictionFilter, isEqualAsksForOneSharedObjectAndValueAndTheSameCounts) {
    const restrictionFilter a({objectInfo(L"C", kG1), objectInfo(L"C", kG2)}, {value(L"x", 1), value(L"y", 2)});
    EXPECT_TRUE(a.isEqual(restrictionFilter({objectInfo(L"C", kG1), objectInfo(L"D", kG2)},
                                            {value(L"x", L"1"), value(L"z", 5)})));
    EXPECT_FALSE(a.isEqual(restrictionFilter({objectInfo(L"C", kG1)}, {value(L"x", 1)}))); // other counts
    EXPECT_FALSE(a.isEqual(restrictionFilter({objectInfo(L"D", kG1), objectInfo(L"D", kG2)}, // no object shared
                                             {value(L"x", 1), value(L"y", 2)})));
    EXPECT_FALSE(restrictionFilter().isEqual(restrictionFilter()));
    const restrictionFilter noValues({objectInfo(L"C", kG1)}, {});
    EXPECT_FALSE(noValues.isEqual(noValues));
}

TEST(restrictionFilter, throughTheStreamsWithAPrefix) {
    const restrictionFilter out({objectInfo(L"Area", kG1), objectInfo(L"Area", kG2)},
                                {value(L"x", 1.5), value(L"name", L"A b")});
    vx::binaryBuffer buffer;
    vx::xmlDbWriter writer(&buffer, vx::directory(L"C:\\"));
    writer.create();
    vx::xmlDbOStream stream(&writer, L"item", false);
    out.writeTo(&stream, L"my");
    std::wstring tags;
    for (const auto& child : stream.rootNode()->children())
        tags += child->name() + L";";
    EXPECT_EQ(tags, L"myrfilter;myrfilter;myvfilter;myvfilter;");

    vx::xmlDbReader reader(&buffer, vx::directory(L"C:\\"));
    vx::xmlDbIStream in(&reader, stream.rootNode(), false);
    restrictionFilter back({}, {value(L"stale", 1)});
    back.readFrom(&in, L"my");
    EXPECT_EQ(valuesOf(back), L"x=1.5;name=A b;");
    EXPECT_TRUE(std::as_const(back).foreachValue(std::function<bool(const filterValue&)>(
        [](const filterValue& entry) { return entry.second.type() == typeid(vx::string); }))); // as text
    // Class names come back lower-cased, as every objectInfo read does.
    EXPECT_TRUE(back.filterObjectsCount() == 2 &&
                back.matchesFilter(restrictionFilter::objectList{objectInfo(L"area", kG2)}));
}

} // namespace
