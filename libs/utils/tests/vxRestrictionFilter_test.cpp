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

filterValue value(const wchar_t* name, const genericValue& v) { return filterValue(name, v); }

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

const vx::guid kG1 = vx::guid().create();
const vx::guid kG2 = vx::guid().create();

TEST(restrictionFilter, valuesAreAddedAndRemoved) {
    restrictionFilter f;
    f.addFilterValue(value(L"a", genericValue(1)));
    f.addFilterValue(value(L"a", genericValue(1))); // duplicates are kept
    f.addFilterValue(value(L"a", genericValue(2)));
    f.addFilterValue(value(L"b", genericValue(L"x")));
    EXPECT_EQ(valuesOf(f), L"a=1;a=1;a=2;b=x;");
    f.removeFilterValue(value(L"a", genericValue(L"1")), false); // by text
    EXPECT_EQ(valuesOf(f), L"a=2;b=x;");
    f.addFilterValue(value(L"a", genericValue(vx::ndef()))); // removes every "a"
    EXPECT_EQ(valuesOf(f), L"b=x;");
    f.addFilterValue(value(L"a", genericValue(3)));
    f.removeFilterValue(value(L"b", genericValue(L"other")), true);
    EXPECT_EQ(valuesOf(f), L"a=3;");
    EXPECT_TRUE(f.contains(value(L"a", genericValue(vx::ndef()))));
    EXPECT_TRUE(f.contains(value(L"a", genericValue(3.0))));
    EXPECT_FALSE(f.contains(value(L"a", genericValue(4))));
    EXPECT_TRUE(f.containsAnyFilterValue(L"a"));
    EXPECT_FALSE(f.containsAnyFilterValue(L"A"));
}

TEST(restrictionFilter, objectsAreAddedAndRemoved) {
    restrictionFilter f;
    f.addFilterObject(objectInfo(L"C", kG1));
    f.addFilterObject(objectInfo(L"C", kG2));
    f.addFilterObject(objectInfo(L"D", kG1));
    f.removeFilterObject(objectInfo(L"C", kG1), false);
    EXPECT_EQ(f.filterObjectsCount(), 2u);
    f.removeFilterObject(objectInfo(L"C", vx::guid()), true);
    EXPECT_EQ(f.filterObjectsCount(), 1u);
    int seen = 0;
    EXPECT_FALSE(std::as_const(f).foreachObject(std::function<bool(const objectInfo&)>([&](const objectInfo& o) {
        ++seen;
        return o.className() != L"D";
    })));
    EXPECT_EQ(seen, 1);
}

TEST(restrictionFilter, matchesFilter) {
    const vx::filterValueStringCompare compare;
    restrictionFilter own({objectInfo(L"C", kG1)},
                          {value(L"a", genericValue(1)), value(L"a", genericValue(2)), value(L"s", genericValue(1.0))});
    const struct {
        restrictionFilter::valueList given;
        bool matches;
    } cases[] = {
        {{}, true},
        {{value(L"a", genericValue(2))}, true}, // alternatives of one name
        {{value(L"a", genericValue(3))}, false},
        {{value(L"b", genericValue(1))}, false},
        {{value(L"s", genericValue(L"1"))}, true}, // 1.0 prints as "1"
        {{value(L"a", genericValue(vx::ndef()))}, false},
        {{value(L"z", genericValue(vx::ndef()))}, true},
        {{value(L"a", genericValue(1)), value(L"a", genericValue(9))}, false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(own.matchesFilter(c.given, compare), c.matches) << valuesOf(restrictionFilter({}, c.given));
    EXPECT_TRUE(own.matchesFilter(restrictionFilter::objectList{}));
    EXPECT_TRUE(own.matchesFilter(restrictionFilter::objectList{objectInfo(L"C", kG1)}));
    EXPECT_FALSE(own.matchesFilter(restrictionFilter::objectList{objectInfo(L"C", kG2)}));
    EXPECT_TRUE(own.matchesFilter(restrictionFilter({objectInfo(L"C", kG1)}, {value(L"a", genericValue(1))}), compare));
    EXPECT_FALSE(own.matchesFilter(restrictionFilter({objectInfo(L"D", kG1)}, {}), compare));
}

TEST(restrictionFilter, isEqualIsWeakerThanEquality) {
    const restrictionFilter a({objectInfo(L"C", kG1), objectInfo(L"C", kG2)},
                              {value(L"x", genericValue(1)), value(L"y", genericValue(2))});
    const restrictionFilter b({objectInfo(L"C", kG1), objectInfo(L"D", kG2)},
                              {value(L"x", genericValue(L"1")), value(L"z", genericValue(5))});
    const restrictionFilter c({objectInfo(L"C", kG1)}, {value(L"x", genericValue(1))});
    EXPECT_TRUE(a.isEqual(b));
    EXPECT_FALSE(a.isEqual(c)); // other counts
    EXPECT_FALSE(restrictionFilter().isEqual(restrictionFilter()));
    EXPECT_FALSE(restrictionFilter({objectInfo(L"C", kG1)}, {}).isEqual(restrictionFilter({objectInfo(L"C", kG1)}, {})));
}

TEST(restrictionFilter, copiesAreIndependent) {
    restrictionFilter a;
    a.addFilterValue(value(L"x", genericValue(1)));
    restrictionFilter b(a);
    b.addFilterValue(value(L"y", genericValue(2)));
    a = b;
    b.addFilterValue(value(L"z", genericValue(3)));
    EXPECT_EQ(valuesOf(a), L"x=1;y=2;");
    EXPECT_EQ(valuesOf(b), L"x=1;y=2;z=3;");
}

TEST(restrictionFilter, throughTheStreamsWithAPrefix) {
    restrictionFilter out({objectInfo(L"Area", kG1), objectInfo(L"Area", kG2)},
                          {value(L"x", genericValue(1.5)), value(L"name", genericValue(L"A b"))});
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
    restrictionFilter back;
    back.addFilterValue(value(L"stale", genericValue(1)));
    back.readFrom(&in, L"my");
    EXPECT_EQ(valuesOf(back), L"x=1.5;name=A b;");
    std::as_const(back).foreachValue(std::function<bool(const filterValue&)>([](const filterValue& entry) {
        EXPECT_EQ(entry.second.type(), typeid(vx::string));
        return true;
    }));
    // Class names come back lower-cased, as every objectInfo read does.
    EXPECT_TRUE(back.matchesFilter(restrictionFilter::objectList{objectInfo(L"area", kG2)}));
    EXPECT_EQ(back.filterObjectsCount(), 2u);
}

} // namespace
