#include <vxConditionSql.h>
#include <vxException.h>

#include "testSupport.h"

#include <memory>
#include <optional>
#include <set>

#if defined(VX_TEST_WITH_SQLITE)
#include <sqlite3.h>
#endif

namespace {

using namespace vx::conditions;
using vx::genericSet;
using vx::genericValue;
using vx::scString;

std::unique_ptr<condition> parsed(const wchar_t* text) {
    std::unique_ptr<condition> c(condition::parse(text));
    EXPECT_NE(c, nullptr) << vxtest::show(text);
    return c;
}

vx::string textOf(const genericValue& v) {
    vx::string s;
    v.get(s);
    return vx::string(v.type() == typeid(int) ? L"i:" : v.type() == typeid(double) ? L"d:" : L"s:") + s;
}

// --- the placeholder forms --------------------------------------------------------------------------

TEST(ConditionSqlWhere, PlaceholdersAndCollectedOperands) {
    genericSet fields;
    fields.setGenericValue(scString::createFrom(L"k"), genericValue(7), false);
    vx::guid id;
    id.fromString(L"12345678-1234-1234-1234-123456789abc");
    const any a;
    std::vector<const condition*> none;
    const struct {
        std::shared_ptr<condition> c;
        const wchar_t* sql;
        std::vector<std::wstring> params;
    } rows[] = {
        {parsed(L"equal<int>(\"5\")"), L"(f = ?)", {L"i:5"}},
        {parsed(L"equal<bool>(\"true\")"), L"(f = ?)", {L"i:1"}},
        {parsed(L"equal<uint>(\"4000000000\")"), L"(f = ?)", {L"i:-294967296"}}, // 32 bits, as in the text form
        {parsed(L"equal<double>(\"2,5\")"), L"(f = ?)", {L"d:2.5"}},
        {parsed(L"equal<string>(\"it's\")"), L"(f = ?)", {L"s:it's"}},
        {parsed(L"equal<string>(\"\")"), L"(f = ? OR f IS NULL)", {L"s:"}},
        {parsed(L"smallerorequal<float>(\"2.5\")"), L"f <= ?", {L"d:2.5"}},
        {parsed(L"smallerorequal<string>(\"AB\")"), L"f <= ?", {L"s:AB"}},
        {parsed(L"and(equal<int>(\"1\"), or(smallerorequal<int>(\"2\"), equal<string>(\"x\")))"),
         L"((f = ?) AND (f <= ? OR (f = ?)))",
         {L"i:1", L"i:2", L"s:x"}},
        {std::make_shared<logicalAnd>(none), L"(1 = 1)", {}},
        {std::make_shared<logicalOr>(none), L"(1 = 0)", {}},
        {std::make_shared<stringMatches>(L"a*b?50%_\\'"), L"f LIKE ? ESCAPE '\\'", {L"s:a%b_50\\%\\_\\\\'"}},
        {std::make_shared<namedFieldValue>(L"own", equal<int>(3)), L"(own = ?)", {L"i:3"}},
        {std::make_shared<inCustomField>(fields), L"(k = ?)", {L"s:7"}},
        {std::make_shared<equal<vx::guid>>(id), L"(f = ?)", {L"s:12345678-1234-1234-1234-123456789abc"}},
        {std::make_shared<equal<vx::guid>>(vx::guid()), L"(f IS NULL)", {}},
    };
    for (const auto& row : rows) {
        if (!row.c)
            continue;
        std::vector<genericValue> params;
        EXPECT_EQ(toSqlWhere(*row.c, L"f", params), row.sql) << vxtest::show(row.sql);
        std::vector<std::wstring> texts;
        for (const genericValue& p : params)
            texts.push_back(textOf(p));
        EXPECT_EQ(texts, row.params) << vxtest::show(row.sql);
    }
    // The field name keeps its wildcards here.
    std::vector<genericValue> params;
    EXPECT_EQ(toSqlWhere(stringMatches(L"x"), L"col*", params), L"col* LIKE ? ESCAPE '\\'");
}

TEST(ConditionSqlWhere, ConditionsWithoutSqlFormThrow) {
    const struct {
        const wchar_t* condition;
        const wchar_t* name;
    } rows[] = {
        {L"any()", L"any"},
        {L"not(any())", L"logicalNot"},
        {L"bigger<int>(\"1\")", L"bigger<T>"},
        {L"biggerorequal<string>(\"1\")", L"biggerOrEqual<T>"},
        {L"smaller<double>(\"1\")", L"smaller<T>"},
        {L"notequal<short>(\"1\")", L"notequal<T>"},
        {L"in<int>(\"1\")", L"in<T>"},
        {L"and(equal<int>(\"1\"), any())", L"any"}, // anywhere in the tree
    };
    for (const auto& row : rows) {
        const auto c = parsed(row.condition);
        std::vector<genericValue> params;
        try {
            toSqlWhere(*c, L"f", params);
            ADD_FAILURE() << "no exception for " << vxtest::show(row.condition);
        } catch (const vx::unexpectedErrorException& e) {
            EXPECT_EQ(std::wstring(e.message().string()),
                      L"Unexpected error occurred (toSqlWhere: " + std::wstring(row.name) + L" has no SQL form)");
        }
    }
}

#if defined(VX_TEST_WITH_SQLITE)

// --- against SQLite: each condition evaluated on every row, and its SQL run on the same table -------

struct record {
    int id;
    std::optional<int> i;
    std::optional<double> d;
    std::optional<vx::string> s;
};

const record kRecords[] = {
    {1, 5, 2.5, vx::string(L"abc")},     {2, -1, 0.0, vx::string(L"ABC")},  {3, 7, 2.0, vx::string(L"it's")},
    {4, 1, -3.25, vx::string(L"O'Brien")}, {5, std::nullopt, std::nullopt, std::nullopt},
    {6, 10, 100.0, vx::string(L"")},    {7, 0, 2.5, vx::string(L"50%")},   {8, 5, 1e-3, vx::string(L"a_b")},
    {9, 2, 7.0, vx::string(L"axb")},     {10, 3, 3.0, vx::string(L"a*b")},  {11, 4, 4.0, vx::string(L"x\\y")},
    {12, 6, 6.0, vx::string(L"b")},
};

class sqliteTable {
public:
    sqliteTable() {
        EXPECT_EQ(sqlite3_open(":memory:", &mDb), SQLITE_OK);
        exec("CREATE TABLE t (id INTEGER PRIMARY KEY, i INTEGER, d REAL, s TEXT)");
        for (const record& r : kRecords) {
            sqlite3_stmt* insert = nullptr;
            sqlite3_prepare_v2(mDb, "INSERT INTO t VALUES (?, ?, ?, ?)", -1, &insert, nullptr);
            sqlite3_bind_int(insert, 1, r.id);
            if (r.i)
                sqlite3_bind_int(insert, 2, *r.i);
            if (r.d)
                sqlite3_bind_double(insert, 3, *r.d);
            const std::string s = r.s ? r.s->getMBCS() : std::string();
            if (r.s)
                sqlite3_bind_text(insert, 4, s.c_str(), static_cast<int>(s.size()), SQLITE_TRANSIENT);
            EXPECT_EQ(sqlite3_step(insert), SQLITE_DONE);
            sqlite3_finalize(insert);
        }
    }
    ~sqliteTable() { sqlite3_close(mDb); }

    // The ids of the rows the predicate selects; none where SQLite does not accept the text.
    std::optional<std::set<int>> select(const vx::string& where, const std::vector<genericValue>& params = {}) {
        const std::string sql = "SELECT id FROM t WHERE " + where.getMBCS();
        sqlite3_stmt* query = nullptr;
        if (sqlite3_prepare_v2(mDb, sql.c_str(), -1, &query, nullptr) != SQLITE_OK) {
            sqlite3_finalize(query);
            return std::nullopt;
        }
        std::vector<std::string> texts(params.size());
        for (std::size_t n = 0; n < params.size(); ++n) {
            const int slot = static_cast<int>(n + 1);
            int i = 0;
            double d = 0;
            vx::string s;
            if (params[n].type() == typeid(int) && params[n].get(i)) {
                sqlite3_bind_int(query, slot, i);
            } else if (params[n].type() == typeid(double) && params[n].get(d)) {
                sqlite3_bind_double(query, slot, d);
            } else {
                params[n].get(s);
                texts[n] = s.getMBCS();
                sqlite3_bind_text(query, slot, texts[n].c_str(), static_cast<int>(texts[n].size()), SQLITE_STATIC);
            }
        }
        std::set<int> ids;
        while (sqlite3_step(query) == SQLITE_ROW)
            ids.insert(sqlite3_column_int(query, 0));
        sqlite3_finalize(query);
        return ids;
    }

private:
    void exec(const char* sql) { EXPECT_EQ(sqlite3_exec(mDb, sql, nullptr, nullptr, nullptr), SQLITE_OK); }
    sqlite3* mDb = nullptr;
};

genericValue columnValue(const record& r, const vx::string& column) {
    if (column == L"i")
        return r.i ? genericValue(*r.i) : genericValue();
    if (column == L"d")
        return r.d ? genericValue(*r.d) : genericValue();
    return r.s ? genericValue(*r.s) : genericValue();
}

genericSet rowSet(const record& r) {
    genericSet fields; // a NULL column is a missing field
    for (const wchar_t* column : {L"i", L"d", L"s"}) {
        const genericValue v = columnValue(r, column);
        if (!v.isEmpty())
            fields.setGenericValue(scString::createFrom(column), v, false);
    }
    return fields;
}

// The rows where evaluation and the selection of where differ; none where SQLite refuses where.
std::optional<std::set<int>> differences(sqliteTable& table, const condition& c, const vx::string& column,
                                         bool overRows, const vx::string& where,
                                         const std::vector<genericValue>& params = {}) {
    const std::optional<std::set<int>> selected = table.select(where, params);
    if (!selected)
        return std::nullopt;
    std::set<int> differ;
    for (const record& r : kRecords) {
        genericSet fields = rowSet(r);
        const bool accepted =
            overRows ? c.isTrueGeneric(genericValue(&fields)) : c.isTrueGeneric(columnValue(r, column));
        if (accepted != (selected->count(r.id) != 0))
            differ.insert(r.id);
    }
    return differ;
}

TEST(ConditionSqlWhere, SqliteSelectsWhatEvaluationAccepts) {
    sqliteTable table;
    genericSet expectIts;
    expectIts.setGenericValue(scString::createFrom(L"s"), genericValue(vx::string(L"it's")), false);
    genericSet expectTwo(expectIts);
    expectTwo.setGenericValue(scString::createFrom(L"i"), genericValue(vx::string(L"7")), false);
    const struct {
        std::shared_ptr<condition> c;
        const wchar_t* column;
        bool overRows; // evaluated on the whole row as a set instead of the column's value
        std::set<int> differ; // rows where the two answers differ by design
    } rows[] = {
        {parsed(L"equal<int>(\"5\")"), L"i", false, {}},
        {parsed(L"smallerorequal<int>(\"4\")"), L"i", false, {}},
        {parsed(L"or(equal<int>(\"10\"), smallerorequal<int>(\"0\"))"), L"i", false, {}},
        {parsed(L"and(smallerorequal<int>(\"6\"), equal<int>(\"5\"))"), L"i", false, {}},
        {parsed(L"equal<double>(\"2.5\")"), L"d", false, {}},
        {parsed(L"smallerorequal<double>(\"2,5\")"), L"d", false, {}},
        {parsed(L"smallerorequal<float>(\"0.001\")"), L"d", false, {}},
        {parsed(L"equal<string>(\"it's\")"), L"s", false, {}},
        {parsed(L"equal<string>(\"O'Brien\")"), L"s", false, {}},
        {parsed(L"smallerorequal<string>(\"abc\")"), L"s", false, {}},
        // The empty text stands for NULL as well in SQL; an empty value fails every typed operator.
        {parsed(L"equal<string>(\"\")"), L"s", false, {5}},
        // LIKE ignores the case of ASCII letters; wildcard matching does not.
        {std::make_shared<stringMatches>(L"a*"), L"s", false, {2}},
        {std::make_shared<stringMatches>(L"?b?"), L"s", false, {2}},
        {std::make_shared<stringMatches>(L"50%"), L"s", false, {}},
        {std::make_shared<stringMatches>(L"a_b"), L"s", false, {}},
        {std::make_shared<stringMatches>(L"*'*"), L"s", false, {}},
        {std::make_shared<stringMatches>(L"x\\y"), L"s", false, {}},
        {std::make_shared<stringMatches>(L"*"), L"s", false, {}},
        {std::make_shared<stringMatches>(L"7"), L"i", false, {}}, // numbers match as text on both sides
        // A field condition restricts only rows that have the field: a NULL column passes.
        {std::make_shared<namedFieldValue>(L"s", equal<vx::string>(L"abc")), L"unused", true, {5}},
        {std::make_shared<namedFieldValue>(L"i", smallerOrEqual<int>(2)), L"unused", true, {5}},
        {std::make_shared<inCustomField>(expectIts), L"unused", true, {5}},
        {std::make_shared<inCustomField>(expectTwo), L"unused", true, {5}},
    };
    for (const auto& row : rows) {
        if (!row.c)
            continue;
        std::vector<genericValue> params;
        const vx::string where = toSqlWhere(*row.c, row.column, params);
        EXPECT_EQ(differences(table, *row.c, row.column, row.overRows, where, params), row.differ)
            << vxtest::show(row.c->toString()) << " as " << vxtest::show(where);
    }
}

// The tabled SQL text, operands unescaped, run as it stands: it agrees with evaluation only where
// no operand holds a quote or a LIKE wildcard; a quote breaks the statement.
TEST(ConditionSqlString, SqliteRunsTheTabledTextAsItStands) {
    sqliteTable table;
    genericSet expectSeven, expectIts;
    expectSeven.setGenericValue(scString::createFrom(L"i"), genericValue(vx::string(L"7")), false);
    expectIts.setGenericValue(scString::createFrom(L"s"), genericValue(vx::string(L"it's")), false);
    const std::optional<std::set<int>> refused;
    const struct {
        std::shared_ptr<condition> c;
        const wchar_t* column;
        bool overRows;
        std::optional<std::set<int>> differ;
    } rows[] = {
        {parsed(L"or(equal<int>(\"10\"), smallerorequal<int>(\"0\"))"), L"i", false, std::set<int>{}},
        {parsed(L"and(smallerorequal<long>(\"6\"), equal<short>(\"5\"))"), L"i", false, std::set<int>{}},
        {parsed(L"equal<double>(\"2.5\")"), L"d", false, std::set<int>{}},
        {parsed(L"smallerorequal<double>(\"2,5\")"), L"d", false, std::set<int>{}},
        {parsed(L"equal<string>(\"abc\")"), L"s", false, std::set<int>{}},
        {parsed(L"equal<string>(\"\")"), L"s", false, std::set<int>{5}},
        {parsed(L"equal<string>(\"it's\")"), L"s", false, refused},
        {std::make_shared<stringMatches>(L"a*"), L"s", false, std::set<int>{2}},
        {std::make_shared<stringMatches>(L"a_b"), L"s", false, std::set<int>{9, 10}}, // '_' is LIKE's too
        {std::make_shared<stringMatches>(L"*'*"), L"s", false, refused},
        // No usable SQL: the text column against the number "abc" makes, which SQLite reads as text.
        {parsed(L"smallerorequal<string>(\"abc\")"), L"s", false, std::set<int>{1, 2, 4, 8, 10}},
        {std::make_shared<namedFieldValue>(L"i", smallerOrEqual<int>(2)), L"unused", true, std::set<int>{5}},
        {std::make_shared<inCustomField>(expectSeven), L"unused", true, std::set<int>{5}},
        {std::make_shared<inCustomField>(expectIts), L"unused", true, refused},
    };
    for (const auto& row : rows) {
        if (!row.c)
            continue;
        const vx::string sql = row.c->toSqlString(row.column);
        EXPECT_EQ(differences(table, *row.c, row.column, row.overRows, sql), row.differ) << vxtest::show(sql);
    }
}

#endif

} // namespace
