#include <vxCondition.h>
#include <vxException.h>

#include "testSupport.h"

#include <memory>

namespace {

using namespace vx::conditions;
using vx::genericSet;
using vx::genericValue;
using vx::scString;

const wchar_t* const kFormat = L"!condition::parse: invalid condition-format";

// What parse makes of a text: the parsed condition's toString, "null", or "!" and the failure.
std::wstring outcome(const vx::string& text) {
    try {
        std::unique_ptr<condition> c(condition::parse(text));
        return c ? std::wstring(c->toString()) : L"null";
    } catch (const vx::unexpectedErrorException& e) {
        const std::wstring message = e.message().string();
        const std::wstring head = L"Unexpected error occurred (";
        if (message.rfind(head, 0) == 0 && message.back() == L')')
            return L"!" + message.substr(head.size(), message.size() - head.size() - 1);
        return L"!unexpected text: " + message;
    } catch (const vx::outOfMemoryException& e) {
        return std::wstring(L"!") + e.message().stringId().id();
    }
}

std::unique_ptr<condition> parsed(const vx::string& text) {
    std::unique_ptr<condition> c(condition::parse(text));
    EXPECT_NE(c, nullptr) << vxtest::show(text);
    return c;
}

// --- the grammar: spaces, names, type words, quoting, argument lists, trailing text ---------------

TEST(ConditionParse, TextsAndTheirOutcome) {
    const struct {
        const wchar_t* text;
        const wchar_t* outcome;
    } rows[] = {
        // keywords without a type, in any case, with spaces of every kind
        {L"  AND ( any() , NOT(any()) ) trailing", L"and(any(), logicalNot(\"any()\"))"},
        {L"\t\nor(any(),any(),any())", L"or(any(), any(), any())"},
        {L"any()", L"any()"},
        {L"Any ( any(), and(any(),any()) , )", L"any()"}, // arguments ignored, but parsed
        {L"any(\"x\")", kFormat},                          // a quoted argument without a type
        {L"not(any(),)", L"logicalNot(\"any()\")"},       // a trailing comma
        {L"and(any())", kFormat},
        {L"or(any())", kFormat},
        {L"not(any(),any())", kFormat},
        {L"not()", kFormat},
        {L"xor(any(),any())", kFormat},
        {L"any<int>(\"1\")", kFormat},
        {L"and<int>(\"1\",\"2\")", kFormat},
        {L"equal(any())", kFormat},
        // typed names; the type word is case-sensitive, the name is not
        {L"bigger<int>(\"5\")", L"bigger<int>(\"5\")"},
        {L"IsBigger < int > ( \"5\" )", L"bigger<int>(\"5\")"},
        {L"isbiggerorequal<double>(\"1,5\")", L"biggerOrEqual<double>(\"1.5\")"},
        {L"smaller<short>(\"-3\")", L"smaller<short>(\"-3\")"},
        {L"issmallerorequal<float>(\"2.25\")", L"smallerOrEqual<float>(\"2.25\")"},
        {L"==<string>(\"a b\")", L"equal<string>(\"a b\")"},
        {L"isEqual<bool>(\"true\")", L"equal<bool>(\"1\")"},
        {L"!=<long>(\"12abc\")", L"notequal<long>(\"12\")"},
        {L"isnotequal<ushort>(\"7\")", L"notequal<unsigned short>(\"7\")"},
        {L"equal<uint>(\"7\")", L"equal<unsigned int>(\"7\")"},
        {L"equal<ulong>(\"7\")", L"equal<unsigned long>(\"7\")"},
        {L"in<int>(\"1\",\"2\",)", L"in<int>(\"1\", \"2\")"},
        {L"isin<string>(\"b\", \"a\", \"b\")", L"in<string>(\"a\", \"b\")"},
        {L"in<int>()", kFormat},
        {L"equal<int>()", kFormat},
        {L"equal<int>(\"1\",\"2\")", kFormat},
        {L"equal<int>(5)", kFormat}, // an unquoted argument with a type
        {L"equal<string>(\"a\\\"b\")", L"equal<string>(\"a\"b\")"},
        {L"equal<string>(\"a\\\\\"b\")", L"equal<string>(\"a\\\"b\")"}, // \\" does not close
        {L"equal<string>(\"back\\slash\")", L"equal<string>(\"back\\slash\")"},
        {L"equal<string>(\"\")", L"equal<string>(\"\")"},
        // unknown type words and operands that do not convert: null, or for in an exception
        {L"equal<Int>(\"5\")", L"null"},
        {L"bigger<int>(\"x\")", L"null"},
        {L"equal<short>(\"40000\")", L"null"},
        {L"equal<Int>(\"1\",\"2\")", L"null"}, // the type word is looked at before the count
        {L"in<Int>(\"5\")", L"!condition::parse: invalid datatype Int"},
        {L"in<int>(\"1\",\"x\")", kFormat},
        {L"in<int>(\"x\",\"1\")", kFormat},
        {L"in<int>(\"x\")", L"null"}, // a single operand that does not convert
        {L"in<short>(\"40000\")", L"null"},
        // malformed texts
        {L"", kFormat},
        {L" \t\r\n", kFormat},
        {L"any", kFormat},
        {L"any )", kFormat},
        {L"any(", kFormat},
        {L"any(any()", kFormat},
        {L"any(any() any())", kFormat},
        {L"and(any(),,any())", kFormat},
        {L"equal<int(\"1\")", kFormat},
        {L"equal<int \"1\">(\"1\")", kFormat},
        {L"equal<int>", kFormat},
        {L"equal<int>(\"1", kFormat},
        {L"equal<int>(\"1\"", kFormat},
        {L"equal<int>(\"1\\\")", kFormat},
        {L"(any())", kFormat},
        // a nested condition that comes out null
        {L"and(equal<Int>(\"1\"), any())", L"!Msg_EOutOfMem"},
        {L"not(bigger<int>(\"x\"))", L"!Msg_EOutOfMem"},
        {L"any(bigger<int>(\"x\"))", L"any()"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(outcome(row.text), row.outcome) << vxtest::show(row.text);
}

TEST(ConditionParse, DeepNestingEndsAsMalformed) {
    vx::string deep;
    for (int i = 0; i < 150; ++i)
        deep += L"not(";
    vx::string closing(150, L')');
    EXPECT_EQ(outcome(deep + L"any()" + closing).substr(0, 11), L"logicalNot(");
    vx::string tooDeep;
    for (int i = 0; i < 100000; ++i)
        tooDeep += L"and(";
    EXPECT_EQ(outcome(tooDeep), kFormat);
}

// --- evaluation: exact holders, conversion, empty values, the logical nodes ----------------------

TEST(ConditionEvaluate, TypedOperatorsReadThroughConversion) {
    int variable = 9;
    const genericValue empty, seven(vx::string(L"7")), five(5), text(vx::string(L"abc")), over(&variable),
        half(2.5), none(static_cast<int*>(nullptr));
    const struct {
        const wchar_t* condition;
        const genericValue& value;
        bool expected;
    } rows[] = {
        {L"bigger<int>(\"5\")", seven, true},   // text "7" converts to int 7
        {L"bigger<int>(\"5\")", five, false},
        {L"bigger<int>(\"5\")", empty, false},
        {L"notequal<int>(\"5\")", empty, false},  // no value fails every typed operator
        {L"notequal<int>(\"5\")", text, false},   // so does one that does not convert
        {L"biggerorequal<int>(\"5\")", five, true},
        {L"smaller<int>(\"10\")", over, true},    // a lent variable, read in place
        {L"smallerorequal<int>(\"9\")", over, true},
        {L"equal<int>(\"9\")", over, true},
        {L"equal<int>(\"1\")", none, false},      // over nothing
        {L"equal<double>(\"2.5\")", half, true},
        {L"equal<int>(\"2\")", half, true},       // double to int truncates
        {L"equal<string>(\"2.5\")", half, true},
        {L"bigger<string>(\"ab\")", text, true},  // strings order by code unit, then length
        {L"smaller<string>(\"abd\")", text, true},
        {L"smaller<string>(\"B\")", text, false}, // case included
        {L"in<int>(\"1\",\"5\")", five, true},
        {L"in<int>(\"1\",\"5\")", seven, false},
        {L"in<string>(\"7\")", seven, true},
        {L"equal<bool>(\"true\")", five, true},
        {L"equal<ushort>(\"5\")", five, true},
        {L"and(any(), bigger<int>(\"1\"))", five, true},
        {L"and(any(), bigger<int>(\"6\"))", five, false},
        {L"or(bigger<int>(\"6\"), equal<int>(\"5\"))", five, true},
        {L"or(bigger<int>(\"6\"), equal<int>(\"4\"))", five, false},
        {L"not(any())", five, false},
        {L"  AND ( any() , NOT(any()) ) trailing", five, false},
    };
    for (const auto& row : rows) {
        const auto c = parsed(row.condition);
        ASSERT_TRUE(c) << vxtest::show(row.condition);
        EXPECT_EQ(c->isTrueGeneric(row.value), row.expected) << vxtest::show(row.condition);
    }
    std::vector<const condition*> noChildren;
    EXPECT_TRUE(logicalAnd(noChildren).isTrueGeneric(five));
    EXPECT_FALSE(logicalOr(noChildren).isTrueGeneric(five));
    EXPECT_TRUE(stringMatches(L"a*c").isTrueGeneric(text) && stringMatches(L"2.?").isTrueGeneric(half));
    EXPECT_FALSE(stringMatches(L"*").isTrueGeneric(empty) || stringMatches(L"A*").isTrueGeneric(text));
}

TEST(ConditionEvaluate, FieldConditionsOverGenericSets) {
    genericSet record;
    record.setGenericValue(scString::createFrom(L"count"), genericValue(12), false);
    record.setGenericValue(scString::createFrom(L"name"), genericValue(vx::string(L"pump")), false);
    const genericValue lent(&record), owned(record), notASet(5);

    const namedFieldValue countAbove10(L"count", bigger<int>(10)), countAbove20(L"count", bigger<int>(20)),
        missing(L"absent", bigger<int>(100)), caseDiffers(L"Count", bigger<int>(100));
    EXPECT_TRUE(countAbove10.isTrueGeneric(lent) && countAbove10.isTrueGeneric(owned));
    EXPECT_FALSE(countAbove20.isTrueGeneric(lent));
    EXPECT_TRUE(missing.isTrueGeneric(lent) && caseDiffers.isTrueGeneric(lent));
    EXPECT_TRUE(countAbove20.isTrueGeneric(notASet)); // no set: no restriction

    genericSet expected;
    expected.setGenericValue(scString::createFrom(L"name"), genericValue(vx::string(L"pump")), false);
    expected.setGenericValue(scString::createFrom(L"other"), genericValue(1), false); // not in record
    EXPECT_TRUE(inCustomField(expected).isTrueGeneric(lent));
    expected.setGenericValue(scString::createFrom(L"count"), genericValue(vx::string(L"12")), false);
    EXPECT_TRUE(inCustomField(expected).isTrueGeneric(lent)); // compared as text
    expected.setGenericValue(scString::createFrom(L"count"), genericValue(vx::string(L"13")), false);
    EXPECT_FALSE(inCustomField(expected).isTrueGeneric(lent));
    EXPECT_TRUE(inCustomField(expected).isTrueGeneric(notASet));

    // A value without a text form cannot be compared.
    genericSet odd;
    odd.setGenericValue(scString::createFrom(L"name"), genericValue(L'c'), false);
    const inCustomField oddField(odd);
    vxtest::failedAssertion([&] { oddField.isTrueGeneric(lent); });
}

// --- copies are deep; the variadic constructors end at a null pointer ----------------------------

TEST(ConditionConstruct, ChildrenAreDeepCopies) {
    auto child = std::make_unique<bigger<int>>(1);
    logicalAnd both(child.get(), child.get(), nullptr);
    child.reset(); // the children are the node's own
    EXPECT_EQ(both.toString(), L"and(bigger<int>(\"1\"), bigger<int>(\"1\"))");

    const any a;
    const smaller<int> s(3);
    logicalOr list(&a, &s, &a, &s, nullptr);
    EXPECT_EQ(list.toString(), L"or(any(), smaller<int>(\"3\"), any(), smaller<int>(\"3\"))");
    logicalOr copy(list);
    list.appendCondition(&a).appendCondition(nullptr);
    EXPECT_TRUE(list.children().size() == 5u && copy.children().size() == 4u);
    EXPECT_NE(copy.children()[0], list.children()[0]);
    copy = list;
    copy = copy;
    EXPECT_EQ(copy.toString(), list.toString());
    logicalOr twoOnly(&a, &s, nullptr);
    EXPECT_EQ(twoOnly.children().size(), 2u);

    std::unique_ptr<condition> deep(copy.clone());
    copy.appendCondition(&s);
    EXPECT_EQ(deep->toString(), list.toString());
    logicalNot n(s), n2(a);
    n2 = n;
    EXPECT_EQ(n2.toString(), L"logicalNot(\"smaller<int>(\"3\")\")");
    namedFieldValue f(L"x", s), f2(L"y", a);
    f2 = f;
    EXPECT_TRUE(f2.fieldName() == L"x" && f2.child() != f.child() && f2.toString() == L"smaller<int>(\"3\")");
}

// --- text forms -------------------------------------------------------------------------------------

TEST(ConditionText, PrintedFormsOfEveryClass) {
    genericSet fields;
    fields.setGenericValue(scString::createFrom(L"k"), genericValue(vx::string(L"v")), false);
    vx::guid g;
    const std::unique_ptr<condition> rows[] = {
        std::make_unique<any>(), std::make_unique<stringMatches>(L"a*b"),
        std::make_unique<namedFieldValue>(L"f", equal<int>(2)), std::make_unique<inCustomField>(fields),
        std::make_unique<inCustomField>(genericSet()), std::make_unique<in<int>>(),
        std::make_unique<equal<vx::guid>>(g), std::make_unique<bigger<double>>(2.0),
        std::make_unique<notequal<bool>>(true), std::make_unique<smallerOrEqual<unsigned long>>(4000000000ul),
    };
    const wchar_t* const texts[] = {
        L"any()", L"stringMatches(\"a*b\")", L"equal<int>(\"2\")", L"in<string>(\"v\")", L"in<string>()",
        L"",  // in<T> without members prints nothing at all
        L"equal<guid>(\"00000000-0000-0000-0000-000000000000\")", L"bigger<double>(\"2\")", L"notequal<bool>(\"1\")",
        L"smallerOrEqual<unsigned long>(\"4000000000\")"};
    for (std::size_t i = 0; i < std::size(rows); ++i)
        EXPECT_EQ(rows[i]->toString(), texts[i]) << i;
}

TEST(ConditionSql, EveryTabledForm) {
    genericSet fields;
    fields.setGenericValue(scString::createFrom(L"a"), genericValue(1), false);
    genericSet two(fields);
    two.setGenericValue(scString::createFrom(L"b"), genericValue(vx::string(L"it's")), false);
    vx::guid initialised;
    initialised.fromString(L"12345678-1234-1234-1234-123456789ABC");
    const any a;
    const struct {
        std::shared_ptr<condition> c;
        const wchar_t* field;
        const wchar_t* sql;
    } rows[] = {
        {std::make_shared<logicalAnd>(equal<int>(1), equal<int>(2)), L"x", L"((x = 1) AND (x = 2))"},
        {std::make_shared<logicalOr>(equal<int>(1), smallerOrEqual<int>(2)), L"x", L"((x = 1) OR x <= 2)"},
        {std::make_shared<logicalAnd>(a, a), L"x",
         L"((any::toSqlString() not implemented) AND (any::toSqlString() not implemented))"},
        {std::make_shared<stringMatches>(L"a*b?"), L"col*", L"col% LIKE 'a%b_'"},
        {std::make_shared<stringMatches>(L"it's"), L"c", L"c LIKE 'it's'"}, // never escaped
        {std::make_shared<namedFieldValue>(L"own", equal<int>(3)), L"ignored", L"(own = 3)"},
        {std::make_shared<inCustomField>(fields), L"ignored", L"(a = '1')"},
        {std::make_shared<equal<int>>(-5), L"c", L"(c = -5)"},
        {std::make_shared<equal<bool>>(true), L"c", L"(c = 1)"},
        {std::make_shared<equal<unsigned int>>(4000000000u), L"c", L"(c = -294967296)"}, // through %d
        {std::make_shared<equal<unsigned short>>(65535), L"c", L"(c = 65535)"},
        {std::make_shared<equal<double>>(2.5), L"c", L"(c = 2.500000)"},
        {std::make_shared<equal<float>>(-1.0f), L"c", L"(c = -1.000000)"},
        {std::make_shared<equal<vx::string>>(L"it's"), L"c", L"(c = 'it's')"},
        {std::make_shared<equal<vx::string>>(L""), L"c", L"(c = '' OR c IS NULL)"},
        {std::make_shared<equal<vx::guid>>(vx::guid()), L"c", L"(c IS NULL)"},
        {std::make_shared<smallerOrEqual<long>>(7L), L"x", L"x <= 7"},
        {std::make_shared<smallerOrEqual<double>>(2.5), L"x", L"x <= 2.5"},
        {std::make_shared<smallerOrEqual<double>>(2.0), L"x", L"x <= 2"},
        {std::make_shared<smallerOrEqual<float>>(100.0f), L"x", L"x <= 100"},
        {std::make_shared<smallerOrEqual<double>>(0.0), L"x", L"x <= 0"},
        {std::make_shared<smallerOrEqual<vx::string>>(L"AB"), L"x", L"x <= 4325441"}, // no usable SQL
        {std::make_shared<smallerOrEqual<vx::string>>(L""), L"x", L"x <= 0"},
        {std::make_shared<any>(), L"x", L"(any::toSqlString() not implemented)"},
        {std::make_shared<logicalNot>(a), L"x", L"(logicalNot::toSqlString() not implemented)"},
        {std::make_shared<bigger<int>>(1), L"x", L"(bigger<T>::toSqlString() not implemented)"},
        {std::make_shared<biggerOrEqual<double>>(1), L"x", L"(biggerOrEqual<T>::toSqlString() not implemented)"},
        {std::make_shared<smaller<vx::string>>(L"a"), L"x", L"(smaller<T>::toSqlString() not implemented)"},
        {std::make_shared<notequal<int>>(1), L"x", L"(notequal<T>::toSqlString() not implemented)"},
        {std::make_shared<in<int>>(std::set<int>{1}), L"x", L"(in<T>::toSqlString() not implemented)"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.c->toSqlString(row.field), row.sql) << vxtest::show(row.sql);
    const equal<vx::guid> byGuid(initialised);
    EXPECT_EQ(byGuid.toSqlString(L"id"), L"(id = '12345678-1234-1234-1234-123456789abc')");
    EXPECT_EQ(inCustomField(two).toSqlString(L"").size(), std::wstring(L"(a = '1' AND b = 'it's')").size());
}

} // namespace
