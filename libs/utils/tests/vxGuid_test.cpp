#include <vxGuid.h>

#include "testSupport.h"

#include <cstring>
#include <ctime>
#include <set>

using vx::guid;

namespace {

guid parsed(const wchar_t* text) {
    guid g;
    g.fromString(text);
    return g;
}

// The 60-bit time count of a time-based guid.
std::uint64_t timeCount(const guid& g) {
    return (static_cast<std::uint64_t>(g.data3 & 0x0FFF) << 48) | (static_cast<std::uint64_t>(g.data2) << 32) | g.data1;
}

// Each guid was made after the one before it: greater, unless the low 32 bits of the time count wrapped between.
void expectMadeInOrder(const std::vector<guid>& list) {
    for (std::size_t i = 1; i < list.size(); ++i) {
        const guid &a = list[i - 1], &b = list[i];
        ASSERT_LT(timeCount(a), timeCount(b));
        ASSERT_TRUE(timeCount(a) >> 32 != timeCount(b) >> 32 || a < b) << a.toString().getMBCS() << " " << i;
    }
}

} // namespace

TEST(guid, textFormOrderAndTimeBasedGuidsThatGrowWithinOneTickAndAcrossThreadsWithAClockSequenceOfTheirOwnInAChild) {
    // Lower-case out, either case in; the first three fields are numbers, the last eight bytes.
    guid g = parsed(L"01234567-89AB-CDEF-0123-456789ABCDEF"), other = g;
    EXPECT_TRUE(g.data1 == 0x01234567u && g.data2 == 0x89ab && g.data3 == 0xcdef && g.data4[0] == 0x01 &&
                g.data4[7] == 0xef && g == parsed(L"01234567-89ab-cdef-0123-456789abcdef"));
    EXPECT_EQ(guid::toString(g), L"01234567-89ab-cdef-0123-456789abcdef");
    EXPECT_TRUE(g.fromString(L"0") == guid() && other.fromString(L"") == guid());
    EXPECT_TRUE(!guid().isInitialized() && guid().toString() == L"00000000-0000-0000-0000-000000000000");
    // One zero among the three numbers is enough; the eight bytes do not count.
    EXPECT_TRUE(parsed(L"00000001-0001-0001-0000-000000000000").isInitialized());
    for (const wchar_t* text : {L"00000000-0001-0001-ffff-ffffffffffff", L"00000001-0000-0001-ffff-ffffffffffff",
                                L"00000001-0001-0000-ffff-ffffffffffff"})
        EXPECT_FALSE(parsed(text).isInitialized()) << text;
    const guid before = parsed(L"11111111-2222-3333-4444-555555555555");
    for (const wchar_t* text :
         {L"{01234567-89ab-cdef-0123-456789abcdef}", L"01234567-89ab-cdef-0123-456789abcde",
          L"01234567-89ab-cdef-0123-456789abcdef0", L"0123456789ab-cdef-0123-456789abcdef-",
          L"01234567-89ab-cdef-0123+456789abcdef", L"0123456g-89ab-cdef-0123-456789abcdef",
          L" 1234567-89ab-cdef-0123-456789abcdef", L"01234567-89ab-cdef-0123-456789abcde ",
          L"0x234567-89ab-cdef-0123-456789abcdef", L"00", L" 0", L"-"}) {
        SCOPED_TRACE(vx::string(text).getMBCS());
        guid kept = before;
        vxtest::failedAssertion([&] { kept.fromString(text); }, 0); // throws false, presents nothing
        EXPECT_EQ(kept, before);
    }
    // Ordered field by field, as unsigned numbers.
    const std::vector<const wchar_t*> ascending{
        L"00000000-0000-0000-0000-000000000000", L"00000000-0000-0000-0000-0000000000ff",
        L"00000000-0000-0000-7f00-000000000000", L"00000000-0000-0000-8000-000000000000",
        L"00000000-0000-0001-0000-000000000000", L"00000000-0000-ffff-0000-000000000000",
        L"00000000-0001-0000-0000-000000000000", L"00000000-8000-0000-0000-000000000000",
        L"7fffffff-ffff-ffff-ffff-ffffffffffff", L"80000000-0000-0000-0000-000000000000"};
    for (std::size_t i = 0; i + 1 < ascending.size(); ++i) {
        const guid low = parsed(ascending[i]), high = parsed(ascending[i + 1]);
        EXPECT_TRUE(low < high && !(high < low) && !(low < low)) << ascending[i];
    }
    guid a, b;
    a.create();
    b.create();
    EXPECT_TRUE(a.isInitialized() && a.data3 >> 12 == 1 && (a.data4[0] & 0xC0) == 0x80); // version 1, variant 10
    EXPECT_EQ(std::memcmp(a.data4 + 1, b.data4 + 1, 7), 0); // same clock sequence and node
    // The time count is now: 100 ns steps since 15 October 1582.
    const auto unixSeconds = static_cast<std::int64_t>((timeCount(a) - 0x01B21DD213814000ULL) / 10000000);
    EXPECT_LE(std::abs(static_cast<std::int64_t>(std::time(nullptr)) - unixSeconds), 60);
    // Each thread makes far more than one per 100 ns step and sees them grow; all are distinct.
    constexpr int kThreads = 4, kEach = 5000;
    std::vector<std::vector<guid>> perThread(kThreads, std::vector<guid>(kEach));
    std::vector<guid> inOrder;
    std::mutex order;
    vxtest::runThreads(kThreads, [&](int t) {
        for (guid& made : perThread[t])
            made.create();
        for (int i = 0; i < 200; ++i) { // creation order across threads, made visible by a lock
            std::lock_guard<std::mutex> lock(order);
            inOrder.emplace_back().create();
        }
    });
    std::set<guid> distinct;
    for (const std::vector<guid>& list : perThread) {
        expectMadeInOrder(list);
        distinct.insert(list.begin(), list.end());
    }
    expectMadeInOrder(inOrder);
    EXPECT_EQ(distinct.size(), static_cast<std::size_t>(kThreads * kEach));
#if !defined(_WIN32)
    // A forked child has the same node: a shared clock sequence could make equal guids from equal time counts.
    EXPECT_EQ(vxtest::inRestrictedChild(0, false, [&](std::string& errors) {
        guid inChild;
        inChild.create();
        vxtest::check(errors, std::memcmp(inChild.data4 + 2, a.data4 + 2, 6) == 0, "another node");
        vxtest::check(errors, std::memcmp(inChild.data4, a.data4, 2) != 0, "the same clock sequence");
    }), "");
#endif
}
