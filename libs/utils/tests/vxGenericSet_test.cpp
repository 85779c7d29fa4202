#include <vxGenericSet.h>

#include "testSupport.h"

#include <atomic>
#include <set>

namespace {

using vx::genericSet;
using vx::genericValue;
using vx::scString;

scString key(const wchar_t* text) {
    return scString::createFrom(text);
}

template <class T>
T read(const genericSet& s, const wchar_t* name, bool expected = true) {
    T out{};
    const vx::const_sharedPtr<genericValue> cell = s.genericValue(key(name));
    EXPECT_FALSE(cell.isNull()) << name;
    if (!cell.isNull()) {
        EXPECT_EQ(cell->get(out), expected) << name;
    }
    return out;
}

// --- setGenericValue: a new key takes a clone; an existing key keeps its type unless replaced --------

TEST(GenericSetWrite, KeyTypeIsFixedUnlessReplaced) {
    struct row {
        genericValue first;
        genericValue second;
        bool replace;
        bool answer;
        const std::type_info& type;
        const wchar_t* text;
    };
    const row rows[] = {
        {genericValue(5), genericValue(L"x"), false, false, typeid(int), L"5"},          // no conversion: kept
        {genericValue(5), genericValue(L"x"), true, true, typeid(vx::string), L"x"},     // replaced
        {genericValue(5), genericValue(L"7"), false, true, typeid(int), L"7"},           // converted
        {genericValue(5), genericValue(2.9), false, true, typeid(int), L"2"},            // truncated
        {genericValue(short(1)), genericValue(40000), false, false, typeid(short), L"32767"}, // range limit
        {genericValue(5), genericValue(), false, true, typeid(int), L"5"},               // empty: no change
        {genericValue(L"t"), genericValue(true), false, true, typeid(vx::string), L"1"},
    };
    for (const row& r : rows) {
        genericSet s;
        EXPECT_TRUE(s.setGenericValue(key(L"a"), r.first, false));
        EXPECT_EQ(s.setGenericValue(key(L"a"), r.second, r.replace), r.answer) << r.text;
        EXPECT_TRUE(s.genericValue(key(L"a"))->type() == r.type) << r.text;
        EXPECT_EQ(read<vx::string>(s, L"a"), r.text);
        EXPECT_EQ(s.size(), 1u);
    }

    // Replacing with an empty value empties the cell and answers false; the key stays.
    genericSet s;
    s.setGenericValue(key(L"a"), genericValue(1), false);
    EXPECT_FALSE(s.setGenericValue(key(L"a"), genericValue(), true));
    EXPECT_TRUE(s.genericValue(key(L"a"))->isEmpty() && s.size() == 1u);
    // An empty cell takes the next value as it is, whatever the replace flag.
    EXPECT_TRUE(s.setGenericValue(key(L"a"), genericValue(L"text"), false));
    EXPECT_EQ(read<vx::string>(s, L"a"), L"text");
    // A new key with an empty value gets an empty cell; the cell is a clone, not the argument.
    genericValue original(3);
    EXPECT_TRUE(s.setGenericValue(key(L"b"), original, false) && s.setGenericValue(key(L"c"), genericValue(), false));
    original.set(4, false);
    EXPECT_EQ(read<int>(s, L"b"), 3);
    EXPECT_TRUE(s.genericValue(key(L"c"))->isEmpty() && s.size() == 3u);
    // The cell itself as value: the answer is whether it holds anything.
    auto cellB = s.genericValue(key(L"b")), cellC = s.genericValue(key(L"c"));
    EXPECT_TRUE(s.setGenericValue(key(L"b"), *cellB, true));
    EXPECT_FALSE(s.setGenericValue(key(L"c"), *cellC, true));
}

TEST(GenericSetWrite, KeysAreTheTextCaseIncluded) {
    genericSet s;
    s.setGenericValue(key(L"Name"), genericValue(1), false);
    s.setGenericValue(key(L"name"), genericValue(2), false);
    s.setGenericValue(scString::createFrom(vx::string(L"Name")), genericValue(3), false);
    EXPECT_EQ(s.size(), 2u);
    EXPECT_EQ(read<int>(s, L"Name"), 3);
    EXPECT_TRUE(s.genericValue(key(L"missing")).isNull() && std::as_const(s).genericValue(key(L"NAME")).isNull());
}

// --- copies share the cells of the map they were made from; erase and clear swap in a new map ---------

TEST(GenericSetCopy, CopiesShareCellsButNotShape) {
    genericSet a;
    a.setGenericValue(key(L"x"), genericValue(1), false);
    genericSet b(a), c;
    c = a;
    c = c; // to itself: nothing
    EXPECT_TRUE(a == a && !(a == b) && a != c && c.size() == 1u);

    // A write to an existing key is seen through every copy.
    EXPECT_TRUE(b.setGenericValue(key(L"x"), genericValue(9), false));
    EXPECT_EQ(read<int>(a, L"x"), 9);
    EXPECT_EQ(read<int>(c, L"x"), 9);
    EXPECT_EQ(a.genericValue(key(L"x")).get(), c.genericValue(key(L"x")).get());
    // A replacing write changes the shared cell too: the cell is the same object.
    EXPECT_TRUE(c.setGenericValue(key(L"x"), genericValue(L"s"), true));
    EXPECT_EQ(read<vx::string>(a, L"x"), L"s");

    // New keys, erasures and clears are each set's own.
    b.setGenericValue(key(L"y"), genericValue(2), false);
    EXPECT_TRUE(a.size() == 1u && b.size() == 2u);
    a.erase(key(L"x"));
    a.erase(key(L"never"));
    EXPECT_TRUE(a.size() == 0u && b.size() == 2u && c.size() == 1u);
    b.clear();
    EXPECT_TRUE(b.size() == 0u && c.size() == 1u);
    EXPECT_TRUE(b.forEachItem([](const genericSet::item&) { return false; }, true));
}

// --- takeOverGenericValue shares the holder; a missing key changes nothing and still answers true -------

TEST(GenericSetTakeOver, SharesTheHolderOfAnExistingKeyOnly) {
    genericSet s;
    s.setGenericValue(key(L"a"), genericValue(1), false);
    int variable = 5;
    genericValue lender(&variable);
    EXPECT_TRUE(s.takeOverGenericValue(key(L"a"), lender));
    EXPECT_TRUE(s.genericValue(key(L"a"))->holderPtr().get() == lender.holderPtr().get());
    variable = 6;
    EXPECT_EQ(read<int>(s, L"a"), 6);

    EXPECT_TRUE(s.takeOverGenericValue(key(L"missing"), lender));
    EXPECT_TRUE(s.size() == 1u && s.genericValue(key(L"missing")).isNull());
    EXPECT_TRUE(s.takeOverGenericValue(key(L"a"), *s.genericValue(key(L"a"))));
}

// --- forEachItem walks a snapshot: changed values show, new keys do not -------------------------------

TEST(GenericSetWalk, SnapshotSeesChangedValuesButNotNewKeys) {
    genericSet s;
    const wchar_t* names[] = {L"k0", L"k1", L"k2", L"k3"};
    for (const wchar_t* n : names)
        s.setGenericValue(key(n), genericValue(0), false);

    std::set<vx::string> seen;
    int sum = 0;
    EXPECT_TRUE(s.forEachItem(
        [&](const genericSet::item& entry) {
            seen.insert(entry.first.string());
            int v = -1;
            entry.second->get(v);
            sum += v;
            // Writes from the callback: a new key and a change to every key.
            s.setGenericValue(key((L"new" + entry.first.string()).c_str()), genericValue(1), false);
            for (const wchar_t* n : names)
                s.setGenericValue(key(n), genericValue(10), false);
            s.erase(key(L"k3"));
            return true;
        },
        true));
    EXPECT_EQ(seen, (std::set<vx::string>{L"k0", L"k1", L"k2", L"k3"}));
    EXPECT_EQ(sum, 30); // the first item read 0, the three after it saw the change
    EXPECT_EQ(s.size(), 7u); // k0..k2 and four new keys

    // Stop flags: a false from the callback ends the walk only when asked to.
    struct row {
        bool stop;
        bool answer;
        int calls;
    };
    for (const row& r : {row{true, false, 1}, row{false, true, 7}}) {
        int calls = 0;
        EXPECT_EQ(s.forEachItem([&](const genericSet::item&) { return ++calls, false; }, r.stop), r.answer);
        EXPECT_EQ(calls, r.calls);
    }
}

// --- a genericValue over a set, for conditions: only the exact type reads it --------------------------

TEST(GenericSetValue, AValueLendsTheSet) {
    genericSet s;
    s.setGenericValue(key(L"a"), genericValue(1), false);
    const genericValue over(&s);
    const genericSet* p = nullptr;
    EXPECT_TRUE(over.getPtr(p) && p == &s);
    genericSet copy;
    EXPECT_TRUE(over.get(copy) && copy.size() == 1u);
    vx::string text = L"kept";
    EXPECT_FALSE(over.get(text));
    EXPECT_EQ(text, L"kept");
}

// --- writers from many threads lose no key; readers walk while they write ----------------------------

TEST(GenericSetConcurrency, WritersLoseNoKeyAndReadersSeeWholeMaps) {
    genericSet s;
    s.setGenericValue(key(L"shared"), genericValue(0), false);
    std::atomic<bool> stop{false};
    std::atomic<int> bad{0};
    constexpr int kKeys = 200;
    vxtest::runThreads(4, [&](int t) {
        if (t == 3) {
            while (!stop.load()) {
                std::uint64_t counted = 0;
                s.forEachItem([&](const genericSet::item& e) { return ++counted, !e.second.isNull(); }, true);
                bad += counted == 0;
                int v = 0;
                bad += !s.genericValue(key(L"shared"))->get(v);
            }
            return;
        }
        for (int i = 0; i < kKeys; ++i) {
            const vx::string name = vx::string(L"t") + std::to_wstring(t) + L"_" + std::to_wstring(i);
            s.setGenericValue(scString::createFrom(name), genericValue(i), false);
            s.setGenericValue(key(L"shared"), genericValue(vx::string(std::to_wstring(i))), false);
        }
        if (t == 0)
            stop = true;
    });
    stop = true;
    EXPECT_EQ(bad.load(), 0);
    EXPECT_EQ(s.size(), 3u * kKeys + 1u);
}

} // namespace
