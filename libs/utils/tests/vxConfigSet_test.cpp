#include <vxConfigSet.h>

#include <gtest/gtest.h>

namespace {

// Setting replaces, a failed lookup leaves the value alone, and the empty name is a name.
TEST(configSet, setGetReplaceRemove) {
    vx::configSet set;
    EXPECT_TRUE(set.empty());
    set.setValue(L"b", L"1");
    set.setValue(L"a", L"2");
    set.setValue(L"b", L"3");
    set.setValue(L"", L"empty name");
    EXPECT_EQ(set.size(), 3u);

    vx::string value = L"untouched";
    EXPECT_FALSE(set.getValue(L"c", value));
    EXPECT_EQ(value, L"untouched");
    EXPECT_TRUE(set.getValue(L"b", value) && value == L"3");
    EXPECT_TRUE(set.getValue(L"", value) && value == L"empty name");

    EXPECT_TRUE(set.removeValue(L"a"));
    EXPECT_FALSE(set.removeValue(L"a"));
    EXPECT_FALSE(set.hasValue(L"a"));
    set.clear();
    EXPECT_TRUE(set.empty() && set.names().empty());
}

TEST(configSet, namesAreCaseSensitiveAndOrderedByCodePoint) {
    vx::configSet set;
    for (const wchar_t* name : {L"path", L"Path", L"PATH", L"\u00e9", L"z"})
        set.setValue(name, name);
    EXPECT_FALSE(set.hasValue(L"pATH"));
    EXPECT_EQ(set.names(), (std::vector<vx::string>{L"PATH", L"Path", L"path", L"z", L"\u00e9"}));
}

} // namespace
