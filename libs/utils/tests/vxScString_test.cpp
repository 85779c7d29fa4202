#include <vxScString.h>

#include "testSupport.h"

#include <set>
#include <unordered_set>

using vx::scString;

TEST(scString, equalTextsShareOneCopyEvenAcrossThreadsEqualHashesStayApartTheEmptyTextIsNullAllServeAsKeys) {
    vx::string text = L"Length";
    const scString a = scString::createFrom(text);
    EXPECT_EQ(&a.string(), &scString::createFrom(L"Length").string());
    EXPECT_NE(a, scString::createFrom(L"length"));
    text += L"!"; // the interned copy does not follow its source
    EXPECT_STREQ(a.c_str(), L"Length");
    // Length counts, not the first null.
    const scString withNull = scString::createFrom(vx::string(L"a\0b", 3));
    EXPECT_TRUE(withNull != scString::createFrom(L"a") && withNull.string().size() == 3u);
    const scString none;
    EXPECT_STREQ(none.c_str(), L"");
    EXPECT_TRUE(scString::createFrom(L"") == none && scString::createFrom(vx::string()) == none);
    EXPECT_TRUE(&none.string() == &vx::string::emptyString() &&
                &scString::createFrom(L"").string() == &vx::string::emptyString());
    const std::wstring failure =
        vxtest::failedAssertion([] { scString::createFrom(static_cast<const wchar_t*>(nullptr)); });
    EXPECT_EQ(failure.rfind(L"Assertion failed:\npText\n\nFile: libs/utils/src/vxScString.cpp\nLine: ", 0), 0u);
    // Texts with the same hash stay apart. Two units: h = (c2 xor (c1 * p)) * p. Equal inner values collide.
    const std::uint32_t p = 16777619u;
    const vx::string first{L'\x1', L'A'}, second{L'\x2', static_cast<wchar_t>(0x41u ^ (1u * p) ^ (2u * p))};
    const scString c = scString::createFrom(first), d = scString::createFrom(second);
    EXPECT_TRUE(c != d && c.string() == first && d.string() == second && scString::createFrom(second) == d);
    std::set<scString> sorted;
    std::unordered_set<scString> hashed;
    for (const wchar_t* name : {L"x", L"y", L"x", L"", L"z", L"y"}) {
        sorted.insert(scString::createFrom(name));
        hashed.insert(scString::createFrom(name));
    }
    EXPECT_TRUE(sorted.size() == 4u && hashed.size() == 4u && hashed.count(scString()) == 1u);
    constexpr int kThreads = 8, kNames = 300;
    std::vector<std::vector<const vx::string*>> shared(kThreads, std::vector<const vx::string*>(kNames)), own(kThreads);
    std::atomic<int> ready{0};
    vxtest::runThreads(kThreads, [&](int t) {
        for (++ready; ready < kThreads;)
            std::this_thread::yield();
        for (int i = 0; i < kNames; ++i) {
            const int n = (i * 7 + t * 31) % kNames; // every thread walks the shared names in its own order
            shared[t][n] = &scString::createFrom(vx::string::sformat(L"shared%d", n)).string();
            own[t].push_back(&scString::createFrom(vx::string::sformat(L"own%d_%d", t, i)).string());
        }
    });
    std::set<const vx::string*> distinct(shared[0].begin(), shared[0].end());
    for (int t = 0; t < kThreads; ++t) {
        EXPECT_EQ(shared[t], shared[0]) << "thread " << t;
        distinct.insert(own[t].begin(), own[t].end());
        EXPECT_EQ(*own[t][5], vx::string::sformat(L"own%d_5", t));
    }
    EXPECT_EQ(distinct.size(), static_cast<std::size_t>(kNames * (kThreads + 1)));
    EXPECT_EQ(*shared[3][17], L"shared17");
}
